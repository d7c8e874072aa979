// The teaming policies of the switches.
#include "platform/core/teaming.hpp"

#include <algorithm>
#include <cstring>
#include <set>

#include "interface/policy_records.h"
#include "platform/core/text.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

constexpr int most_percent = 100;

VSTeamPolicy policy_from_bytes(std::string_view value) {
  VSTeamPolicy policy;
  refuse_if(value.size() != sizeof policy, QEL_BAD_PARAM);
  std::memcpy(&policy, value.data(), sizeof policy);
  return policy;
}

std::vector<std::string> members(VSTeamPolicy const &policy) {
  // Each count is compared by itself, so that their sum cannot wrap.
  constexpr auto most = static_cast<std::uint32_t>(QEL_TEAM_MAX_UPLINKS);
  refuse_if(policy.numActive > most || policy.numStandby > most - policy.numActive, QEL_LIMIT_EXCEEDED);
  std::vector<std::string> names;
  for (std::uint32_t i = 0; i < policy.numActive + policy.numStandby; ++i) {
    names.emplace_back(field_text(policy.uplinkPortName[i]));
  }
  return names;
}

}  // namespace

std::vector<std::string> configured_team_members(Database &database, RowId vswitch) {
  std::optional<std::string> const stored = stored_property(database, {vswitch, Scope::global}, VSPROP_SWITCH_TEAMING);
  if (!stored)
    return {};
  return members(policy_from_bytes(*stored));
}

std::string admit_teaming_policy(Database &database, PropertyPlace const &place, std::string_view value) {
  VSTeamPolicy const policy = policy_from_bytes(value);
  std::vector<std::string> const names = members(policy);
  refuse_if(policy.loadBalance > static_cast<std::uint32_t>(TEAM_FRP_TYPE_LB_LBT), QEL_BAD_PARAM);
  refuse_if(policy.percentError > most_percent, QEL_BAD_PARAM);
  std::set<std::string> const distinct(names.begin(), names.end());
  refuse_if(distinct.size() != names.size(), QEL_BAD_PARAM);
  std::vector<UplinkPortName> const uplinks = uplink_port_names(database, place.vswitch);
  for (std::string const &name : names) {
    bool const known =
        std::any_of(uplinks.begin(), uplinks.end(), [&](auto const &uplink) { return uplink.name == name; });
    refuse_if(!known, QEL_NOT_FOUND);
  }
  return std::string(value);
}

std::string default_teaming_policy(Database &database, PropertyPlace const &place) {
  VSTeamPolicy policy{};
  policy.loadBalance = TEAM_FRP_TYPE_LB_SRCID;
  policy.linkCriteria = TEAM_FRP_CRIT_LINK_STATE;
  policy.flags = TEAM_FRP_FLAG_NOTIFY_SWITCH;
  for (UplinkPortName const &uplink : uplink_port_names(database, place.vswitch)) {
    fill_text(policy.uplinkPortName[policy.numActive++], uplink.name);
  }
  return std::string(reinterpret_cast<char const *>(&policy), sizeof policy);
}

}  // namespace host
