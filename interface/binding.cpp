// Compiles the interface into the tables that the module carries.
#include "interface/interface.hpp"
#include "interface/panic.hpp"
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
const TypeTable module_types = {.initial = Module::types.data(),
                                .casts = Module::casts.data(),
                                .types = Module::registered.data(),
                                .type_list = Module::type_list.data(),
                                .cast_list = Module::cast_list.data(),
                                .size = Module::type_count};
const Engine module_engine = {
    .fields = Module::fields.data(),
    .records = Module::records.data(),
    .calls = Module::calls.data(),
    .methods = Module::method_entries.data(),
    .definitions = Module::methods.data() + BoundInterface::first_methods.size(),
    .record_count = Module::record_count,
    .method_count = Module::derived_method_count,
    .texts = Module::texts.data(),
    .record_classes = &record_classes,
    .error_left = &Deferred::error_left,
    .types = Module::registered.data(),
    .proxy_type = &proxy_type,
    .find_descriptor = find_descriptor,
    .read_field = read_field,
    .write_field = write_field,
    .call = Module::call,
    .call_without_lock = Module::call_without_lock,
    .new_bare_proxy = new_bare_proxy,
    .new_proxy = new_proxy,
    .pointer_from = pointer_from,
    .call_back = call_back,
    .bridge_use = &bridge_use,
    .wait_for_bridge = wait_for_bridge,
    .free_later = free_later,
    .hold_bridge_for_fork = hold_bridge_for_fork,
    .give_bridge_up_in_parent = give_bridge_up_in_parent,
    .give_bridge_up_in_child = give_bridge_up_in_child,
};

}  // namespace vswitchpy
