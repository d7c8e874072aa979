// Compiles the interface into the tables that the module carries.
#include "interface/interface.hpp"

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

}  // namespace vswitchpy
