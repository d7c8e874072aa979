// The whole interface: all rows, in the order of the method table.
#pragma once

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

struct Interface {
  static constexpr auto records =
      flatten_records<packet_headers, kernel_records, mirror_records, policy_records, status_records, option_records>();
  static constexpr auto calls =
      concatenate<switch_queries, distributed_switch_configuration, distributed_switch_state, helper_calls>();
  static constexpr auto types =
      concatenate<scalar_types, opaque_types, enumeration_types, function_types, pointer_types>();
};

}  // namespace vswitchpy
