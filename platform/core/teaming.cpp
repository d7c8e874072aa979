// The teaming policies of the switches, of their ports and of logical switches.
#include "platform/core/teaming.hpp"

#include <algorithm>
#include <set>

#include "platform/core/property_values.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

constexpr int most_percent = 100;
constexpr std::uint32_t most_ls_policies = 128;
constexpr std::size_t count_size = sizeof(qel_uint32);

// The names that count; the record has room for more.
template <typename Policy>
std::uint32_t count_members(Policy const &policy) {
  // Each count is compared by itself, so that their sum cannot wrap.
  constexpr auto most = static_cast<std::uint32_t>(QEL_TEAM_MAX_UPLINKS);
  refuse_if(policy.numActive > most || policy.numStandby > most - policy.numActive, QEL_LIMIT_EXCEEDED);
  return policy.numActive + policy.numStandby;
}

template <typename Policy>
std::vector<std::string> members(Policy const &policy) {
  std::uint32_t const count = count_members(policy);
  std::vector<std::string> names;
  for (std::uint32_t i = 0; i < count; ++i)
    names.emplace_back(field_text(policy.uplinkPortName[i]));
  return names;
}

std::set<std::string, std::less<>> names_of_uplink_ports(Database &database, RowId vswitch) {
  std::set<std::string, std::less<>> names;
  for (Uplink const &uplink : load_uplinks(database, vswitch))
    names.insert(uplink.name);
  return names;
}

// The rules that both kinds of policy share.
template <typename Policy>
void refuse_policy(Database &database, RowId vswitch, Policy const &policy) {
  std::vector<std::string> const names = members(policy);
  refuse_if(policy.loadBalance > static_cast<std::uint32_t>(TEAM_FRP_TYPE_LB_LBT), QEL_BAD_PARAM);
  std::set<std::string> const distinct(names.begin(), names.end());
  refuse_if(distinct.size() != names.size(), QEL_BAD_PARAM);
  auto const uplinks = names_of_uplink_ports(database, vswitch);
  for (std::string const &name : names)
    refuse_if(!uplinks.count(name), QEL_NOT_FOUND);
}

std::vector<LSTeamPolicy> parse_ls_table(std::string_view value) {
  refuse_if(value.size() < count_size, QEL_BAD_PARAM);
  std::uint32_t const count = property_number(value);
  refuse_if(count > most_ls_policies, QEL_LIMIT_EXCEEDED);
  refuse_if(value.size() != count_size + count * sizeof(LSTeamPolicy), QEL_BAD_PARAM);
  std::vector<LSTeamPolicy> policies;
  for (std::uint32_t i = 0; i < count; ++i)
    policies.push_back(record_at<LSTeamPolicy>(value, count_size + i * sizeof(LSTeamPolicy)));
  return policies;
}

bool has_ls_policy(Database &database, RowId vswitch, std::string_view name) {
  std::vector<LSTeamPolicy> const policies =
      parse_ls_table(get_switch_property(database, vswitch, VSPROP_LS_TEAMING_POLICY));
  return std::any_of(policies.begin(), policies.end(),
                     [&](LSTeamPolicy const &policy) { return field_text(policy.name) == name; });
}

// Takes the names that `keeps` refuses out of the slots from `first` on; gives how many are left.
template <typename Keeps>
std::uint32_t keep_names(std::vector<std::string> &kept, LSTeamPolicy const &policy, std::uint32_t first,
                         std::uint32_t count, Keeps &&keeps) {
  std::uint32_t left = 0;
  for (std::uint32_t i = first; i < first + count; ++i) {
    std::string name(field_text(policy.uplinkPortName[i]));
    if (!keeps(name))
      continue;
    kept.push_back(std::move(name));
    ++left;
  }
  return left;
}

}  // namespace

std::vector<std::string> configured_team_members(Database &database, RowId vswitch) {
  std::vector<std::string> names;
  auto const add = [&](auto const &policy) {
    std::vector<std::string> const more = members(policy);
    names.insert(names.end(), more.begin(), more.end());
  };
  for (char const *name : {VSPROP_SWITCH_TEAMING, VSPROP_PORT_TEAMING_POLICY, QBR_PRP_LAN_TEAMING_POLICY}) {
    for (PlacedProperty const &placed : values_of_switch(database, vswitch, name))
      add(record_from_value<VSTeamPolicy>(placed.property.value));
  }
  for (PlacedProperty const &placed : values_of_switch(database, vswitch, VSPROP_PORT_TEAMING_OVERRIDE))
    names.push_back(placed.property.value);
  for (PlacedProperty const &placed : values_of_switch(database, vswitch, VSPROP_LS_TEAMING_POLICY)) {
    for (LSTeamPolicy const &policy : parse_ls_table(placed.property.value))
      add(policy);
  }
  return names;
}

std::string admit_teaming_policy(Database &database, PropertyPlace const &place, std::string_view value) {
  auto const policy = record_from_value<VSTeamPolicy>(value);
  refuse_if(policy.percentError > most_percent, QEL_BAD_PARAM);
  refuse_policy(database, place.vswitch, policy);
  return std::string(value);
}

std::string default_teaming_policy(Database &database, PropertyPlace const &place) {
  VSTeamPolicy policy{};
  policy.loadBalance = TEAM_FRP_TYPE_LB_SRCID;
  policy.linkCriteria = TEAM_FRP_CRIT_LINK_STATE;
  policy.flags = TEAM_FRP_FLAG_NOTIFY_SWITCH;
  for (Uplink const &uplink : load_uplinks(database, place.vswitch)) {
    fill_text(policy.uplinkPortName[policy.numActive++], uplink.name);
  }
  return record_value(policy);
}

std::string switch_teaming_policy(Database &database, PropertyPlace const &place) {
  return get_switch_property(database, place.vswitch, VSPROP_SWITCH_TEAMING);
}

std::string admit_teaming_override(Database &database, PropertyPlace const &place, std::string_view value) {
  std::string name = name_in_value(value, QEL_HNQ_NAME_MAX_LEN);
  refuse_if(!names_of_uplink_ports(database, place.vswitch).count(name), QEL_NOT_FOUND);
  return name;
}

std::string admit_ls_teaming_table(Database &database, PropertyPlace const &place, std::string_view value) {
  std::set<std::string> names;
  for (LSTeamPolicy const &policy : parse_ls_table(value)) {
    refuse_if(!names.insert(name_in_field(policy.name)).second, QEL_EXISTS);
    refuse_policy(database, place.vswitch, policy);
  }
  return std::string(value);
}

std::string admit_ls_teaming_choice(Database &database, PropertyPlace const &place, std::string_view value) {
  std::string name = name_in_value(value, sizeof(LSTeamPolicy::name));
  refuse_if(!has_ls_policy(database, place.vswitch, name), QEL_NOT_FOUND);
  return name;
}

std::size_t ls_teaming_table_size(LSTeamTable const *table) {
  std::uint32_t count = 0;
  std::memcpy(&count, table, sizeof count);
  refuse_if(count > most_ls_policies, QEL_LIMIT_EXCEEDED);
  return count_size + count * sizeof(LSTeamPolicy);
}

std::vector<LSTeamPolicy> ls_teaming_in_force(Database &database, RowId vswitch) {
  std::vector<LSTeamPolicy> policies = parse_ls_table(get_switch_property(database, vswitch, VSPROP_LS_TEAMING_POLICY));
  auto const uplinks = names_of_uplink_ports(database, vswitch);
  auto const is_there = [&](std::string const &name) { return uplinks.count(name) != 0; };
  for (LSTeamPolicy &policy : policies) {
    std::vector<std::string> kept;
    std::uint32_t const active = keep_names(kept, policy, 0, policy.numActive, is_there);
    std::uint32_t const standby = keep_names(kept, policy, policy.numActive, policy.numStandby, is_there);
    std::memset(policy.uplinkPortName, 0, sizeof policy.uplinkPortName);
    policy.numActive = active;
    policy.numStandby = standby;
    for (std::size_t i = 0; i < kept.size(); ++i)
      fill_text(policy.uplinkPortName[i], kept[i]);
  }
  return policies;
}

std::string port_ls_teaming_in_force(Database &database, PropertyPlace const &port) {
  std::string name = get_property(database, port, VSPROP_PORT_LS_TEAMING_POLICY);
  return has_ls_policy(database, port.vswitch, name) ? name : std::string();
}

}  // namespace host
