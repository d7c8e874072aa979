// The teaming policies of the switches.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/core/properties.hpp"

namespace host {

// The uplink ports that a configured policy of the switch names; none while the default is in effect.
std::vector<std::string> configured_team_members(Database &database, RowId vswitch);

// The rules of VSPROP_SWITCH_TEAMING.
std::string admit_teaming_policy(Database &database, PropertyPlace const &place, std::string_view value);
std::string default_teaming_policy(Database &database, PropertyPlace const &place);

}  // namespace host
