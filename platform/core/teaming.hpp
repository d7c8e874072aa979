// The teaming policies of the switches.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "interface/policy_records.h"
#include "platform/core/properties.hpp"

namespace host {

// The uplink ports that some policy of the switch or of one of its ports names; not those of the default policies.
std::vector<std::string> configured_team_members(Database &database, RowId vswitch);

// The rules of VSPROP_SWITCH_TEAMING and of VSPROP_PORT_TEAMING_POLICY.
std::string admit_teaming_policy(Database &database, PropertyPlace const &place, std::string_view value);
std::string default_teaming_policy(Database &database, PropertyPlace const &place);
std::string switch_teaming_policy(Database &database, PropertyPlace const &place);

// The rules of VSPROP_PORT_TEAMING_OVERRIDE.
std::string admit_teaming_override(Database &database, PropertyPlace const &place, std::string_view value);

// The rules of VSPROP_LS_TEAMING_POLICY and of VSPROP_PORT_LS_TEAMING_POLICY.
std::string admit_ls_teaming_table(Database &database, PropertyPlace const &place, std::string_view value);
std::string admit_ls_teaming_choice(Database &database, PropertyPlace const &place, std::string_view value);

// The length in bytes of a table that a caller passes. Refuses with QEL_LIMIT_EXCEEDED.
HOST_API std::size_t ls_teaming_table_size(LSTeamTable const *table);

// What the running switch works with: the table in effect without the uplink ports that the switch does not have.
HOST_API std::vector<LSTeamPolicy> ls_teaming_in_force(Database &database, RowId vswitch);

// The policy that the port chose, if the switch has it; else the empty text.
HOST_API std::string port_ls_teaming_in_force(Database &database, PropertyPlace const &port);

}  // namespace host
