// Compiles the interface into the tables that the module carries.
#include "interface/interface.hpp"
#include "runtime/bridge.hpp"
#include "runtime/engine.hpp"

namespace vswitchpy {
namespace {

// With the functions that no row describes.
struct BoundInterface : Interface {
  static constexpr std::array<PyMethodDef, 1> first_methods = {{
      {"SWIG_PyInstanceMethod_New", new_instance_method, METH_O, nullptr},
  }};
  static constexpr std::array<PyMethodDef, 1> last_methods = {{
      {"Panic", panic, METH_VARARGS, nullptr},
  }};
};

using Module = Tables<BoundInterface>;

// The closed sets of the interface.
static_assert(Module::record_count == 117);
static_assert(Module::type_count == 216);

}  // namespace

const char *const text_pool = Module::texts.data();
const ArgumentEntry *const argument_entries = Module::arguments.data();
PyMethodDef *const module_methods = Module::methods.data();
const TypeTable module_types = {Module::types.data(),     Module::casts.data(),     Module::registered.data(),
                                Module::type_list.data(), Module::cast_list.data(), Module::type_count};
const Engine module_engine = {
    Module::fields.data(),
    Module::records.data(),
    Module::method_entries.data(),
    Module::methods.data() + BoundInterface::first_methods.size(),
    Module::record_count,
    Module::derived_method_count,
    Module::texts.data(),
    &record_classes,
    &Deferred::error_left,
    Module::registered.data(),
    &proxy_type,
    find_descriptor,
    read_field,
    write_field,
    Module::call,
    new_bare_proxy,
    new_proxy,
    pointer_from,
    call_back,
};

}  // namespace vswitchpy
