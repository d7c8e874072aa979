// How the switches learn MAC addresses: the settings in force and the policies of ports.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "interface/policy_records.h"
#include "interface/status_records.h"
#include "platform/core/ports.hpp"

namespace host {

// Of addresses that a switch learns.
inline constexpr std::uint32_t most_learned = 1048576;

struct LearningSettings {
  std::uint32_t aging_time;  // seconds; 0 for never
  std::uint32_t mac_limit;
  bool learn_static;
  bool static_allowed;
};

// For all switches that have no settings of their own.
HOST_API VSMACLearningGlobalProps global_learning_settings(Database &database);
// Whether they were set, and are not just the defaults.
HOST_API bool has_global_learning_settings(Database &database);
// Refuses with QEL_BAD_PARAM or QEL_LIMIT_EXCEEDED.
HOST_API void set_global_learning_settings(Database &database, VSMACLearningGlobalProps settings);

// In force on a switch.
HOST_API LearningSettings learning_settings(Database &database, RowId vswitch);

// Only with a policy of its own an uplink has a limit of its own.
bool has_learning_policy(Database &database, RowId vswitch, RowId port);
// In force on a port that is no uplink.
HOST_API VSPMACLearning port_learning_policy(Database &database, RowId vswitch, RowId port);
void set_port_learning_policy(Database &database, RowId vswitch, RowId port, VSPMACLearning const &policy);
// Of all uplinks of the switch together.
HOST_API VSPMACLearning team_learning_policy(Database &database, RowId vswitch);

}  // namespace host
