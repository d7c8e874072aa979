// The whole interface: all rows, compiled into the tables that the module carries.
#include "extensions/helpers.rows.hpp"
#include "interface/distributed_switch_configuration.rows.hpp"
#include "interface/distributed_switch_state.rows.hpp"
#include "interface/kernel_records.rows.hpp"
#include "interface/mirror_records.rows.hpp"
#include "interface/option_records.rows.hpp"
#include "interface/packet_headers.rows.hpp"
#include "interface/policy_records.rows.hpp"
#include "interface/status_records.rows.hpp"
#include "interface/switch_queries.rows.hpp"
#include "interface/types.rows.hpp"
#include "runtime/tables.hpp"

namespace vswitchpy {
namespace {

// The order is that of the method table.
struct Interface {
  static constexpr std::array<PyMethodDef, 1> first_methods = {{
      {"SWIG_PyInstanceMethod_New", new_instance_method, METH_O, nullptr},
  }};
  static constexpr auto records =
      flatten_records<packet_headers, kernel_records, mirror_records, policy_records, status_records, option_records>();
  static constexpr auto calls =
      concatenate<switch_queries, distributed_switch_configuration, distributed_switch_state, helper_calls>();
  static constexpr auto types =
      concatenate<scalar_types, opaque_types, enumeration_types, function_types, pointer_types>();
  static constexpr std::array<PyMethodDef, 1> last_methods = {{
      {"Panic", panic, METH_VARARGS, nullptr},
  }};
};

using Module = Tables<Interface>;

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
