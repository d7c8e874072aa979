// Which uplink teaming chooses for a port, and what follows from a change of links.
#include "platform/core/uplink_choice.hpp"

#include <algorithm>

#include "platform/core/blocking.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/lags.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/runtime_options.hpp"
#include "platform/core/teaming.hpp"
#include "platform/core/traffic.hpp"

namespace host {

using forwarding::Member;
using forwarding::Team;
using forwarding::TeamPort;
using forwarding::UplinkPosition;
using forwarding::WantedLink;

std::optional<UplinkPosition> position_of(std::vector<Uplink> const &uplinks, std::string_view name) {
  for (std::size_t i = 0; i < uplinks.size(); ++i) {
    if (uplinks[i].name == name)
      return static_cast<UplinkPosition>(i);
  }
  return std::nullopt;
}

namespace {

constexpr std::uint64_t announcement_interval = 100;  // milliseconds
constexpr std::uint64_t milliseconds_per_second = 1000;
constexpr std::int64_t microseconds_per_millisecond = 1000;

// A policy of a switch, a port or a logical switch, with those of its uplink ports that the switch has.
template <typename Policy>
Team team_members(Policy const &policy, std::vector<Uplink> const &uplinks) {
  Team team;
  team.load_balance = policy.loadBalance;
  team.criteria = policy.linkCriteria;
  team.flags = policy.flags;
  auto const most = static_cast<std::uint32_t>(QEL_TEAM_MAX_UPLINKS);
  std::uint32_t const active = std::min(policy.numActive, most);
  std::uint32_t const count = active + std::min(policy.numStandby, most - active);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (auto const position = position_of(uplinks, field_text(policy.uplinkPortName[i])))
      (i < active ? team.active : team.standby).push_back(*position);
  }
  return team;
}

Team team_from(VSTeamPolicy const &policy, std::vector<Uplink> const &uplinks) {
  Team team = team_members(policy, uplinks);
  team.wanted = WantedLink{policy.speed, policy.fullDuplex != 0, static_cast<std::uint8_t>(policy.percentError)};
  return team;
}

VSTeamPolicy switch_policy(Database &database, RowId vswitch) {
  return record_from_value<VSTeamPolicy>(get_switch_property(database, vswitch, VSPROP_SWITCH_TEAMING));
}

}  // namespace

Team switch_team(Database &database, RowId vswitch, std::vector<Uplink> const &uplinks) {
  return team_from(switch_policy(database, vswitch), uplinks);
}

// The policy that holds for a port: that of its logical switch goes before its own, and that before the switch's.
Team port_team(Database &database, PropertyPlace const &place, std::vector<Uplink> const &uplinks) {
  if (stored_property(database, place, VSPROP_PORT_LS_TEAMING_POLICY)) {
    std::string const name = port_ls_teaming_in_force(database, place);
    for (LSTeamPolicy const &policy : ls_teaming_in_force(database, place.vswitch)) {
      if (field_text(policy.name) == name)
        return team_members(policy, uplinks);
    }
  }
  std::optional<std::string> const own = stored_property(database, place, VSPROP_PORT_TEAMING_POLICY);
  return team_from(own ? record_from_value<VSTeamPolicy>(*own) : switch_policy(database, place.vswitch), uplinks);
}

namespace {

// A link that came back must have stayed for a while. A clock that was set back leaves nothing to wait for.
bool is_waiting(Database &database, Uplink const &uplink) {
  if (!uplink.link_back)
    return false;
  std::int64_t const since = clock_now(database) - *uplink.link_back;
  std::int64_t const delay = runtime_option_number(database, VS_RT_OPT_TEAM_POLICY_UP_DELAY);
  return since >= 0 && since < delay * microseconds_per_millisecond;
}

// What no criterion of the team looks at is left out.
Member team_member(Database &database, RowId vswitch, Team const &team, Uplink const &uplink) {
  auto const asks = [&](std::int64_t criterion) { return (team.criteria & criterion) != 0; };
  bool const asks_lacp = asks(TEAM_FRP_CRIT_LACP_PORT_DOWN) || team.has(TEAM_FRP_FLAG_LACP_CLIENT);
  return {.has_nic = uplink.nic.has_value(),
          .link_up = uplink.link_up,
          .is_waiting = asks(TEAM_FRP_CRIT_LINK_STATE) && is_waiting(database, uplink),
          .is_blocked = asks(TEAM_FRP_CRIT_PORT_BLOCKED) && is_blocked(database, uplink.port),
          .is_lacp_down = asks_lacp && lacp_state(database, vswitch, uplink) == false,
          .speed = static_cast<std::uint32_t>(uplink.speed),
          .is_full_duplex = uplink.duplex == QEL_LINK_DUPLEX_FULL,
          .error_percent = static_cast<std::uint8_t>(uplink.errors),
          .recovery = uplink.recovery,
          .numa_node = uplink.numa_node};
}

TeamPort team_port(Database &database, PropertyPlace const &place, std::vector<Uplink> const &uplinks) {
  PortClient const client = load_port(database, place.port).client;
  TeamPort port;
  port.number = static_cast<std::uint32_t>(place.port);
  for (unsigned char const byte : client.effective_mac().value_or(MacAddress{}))
    port.mac = port.mac << 8 | byte;
  if (runtime_option_number(database, VS_RT_OPT_TEAMING_NUMA_AWARE))
    port.numa_node = client.numa_node;
  std::optional<std::string> const tied = stored_property(database, place, VSPROP_PORT_TEAMING_OVERRIDE);
  if (tied && !tied->empty()) {
    port.tied = position_of(uplinks, *tied);
    refuse_if(!port.tied, QEL_NOT_FOUND);
  }
  return port;
}

std::uint64_t count_clients(Database &database, RowId vswitch) {
  std::vector<PortRow> const ports = load_ports(database, vswitch);
  return static_cast<std::uint64_t>(
      std::count_if(ports.begin(), ports.end(), [](PortRow const &port) { return port.client.mac.has_value(); }));
}

// One round of announcements: a packet for each client, so many in each interval, for so long at most.
void announce_clients(Database &database, RowId vswitch) {
  std::uint64_t const in_interval = runtime_option_number(database, VS_RT_OPT_MAX_RARPS_PER_INTERVAL);
  std::uint64_t const most_intervals = runtime_option_number(database, VS_RT_OPT_RARP_ADVERTISEMENT_DURATION) *
                                       milliseconds_per_second / announcement_interval;
  std::uint64_t const packets = std::min(count_clients(database, vswitch), in_interval * most_intervals);
  if (packets == 0)
    return;
  std::uint64_t const time = (packets + in_interval - 1) / in_interval * announcement_interval;
  SwitchCounters counters = load_switch_counters(database, vswitch);
  counters.rarp_packets += packets;
  counters.rarp_time += time;
  counters.rarp_longest = std::max(counters.rarp_longest, time);
  store_switch_counters(database, vswitch, counters);
}

// What was learned at an uplink whose link is down now is gone. A switch whose teaming notifies the physical network
// announces the addresses of its clients when the link of an uplink of its team has changed.
void announce_change(Database &database, RowId vswitch, Uplink const &former) {
  if (find_uplink(database, vswitch, former.name).link_up == former.link_up)
    return;
  if (former.link_up)
    forget_learned_at(database, former.port);
  VSTeamPolicy const policy = switch_policy(database, vswitch);
  if (!(policy.flags & TEAM_FRP_FLAG_NOTIFY_SWITCH))
    return;
  Team const team = team_from(policy, {former});
  if (!team.active.empty() || !team.standby.empty())
    announce_clients(database, vswitch);
}

}  // namespace

Uplink choose_uplink(Database &database, std::uint32_t port_number) {
  NumberedPort const port = port_by_number(database, port_number);
  refuse_if(port.client_type == VS_PORT_CLIENT_UPLINK, QEL_BAD_PARAM);
  PropertyPlace const place{port.vswitch, Scope::port, port_number};
  std::vector<Uplink> const uplinks = load_uplinks(database, port.vswitch);
  TeamPort const chooser = team_port(database, place, uplinks);
  Team const team = port_team(database, place, uplinks);
  std::vector<Member> members;
  for (Uplink const &uplink : uplinks)
    members.push_back(team_member(database, port.vswitch, team, uplink));
  std::optional<UplinkPosition> const chosen = forwarding::choose(team, members, chooser, nullptr);
  refuse_if(!chosen, QEL_ENETDOWN);
  return uplinks[*chosen];
}

bool is_tracked_down(Database &database, RowId vswitch, RowId port_row) {
  PropertyPlace const place{vswitch, Scope::port, port_row};
  std::vector<Uplink> const uplinks = load_uplinks(database, vswitch);
  TeamPort const port = team_port(database, place, uplinks);
  Team const team = port_team(database, place, uplinks);
  // A port that is tied to an uplink has no policy.
  if (port.tied || !team.has(TEAM_FRP_FLAG_LST))
    return false;
  std::vector<Member> members;
  for (Uplink const &uplink : uplinks)
    members.push_back(team_member(database, vswitch, team, uplink));
  return forwarding::fit_uplinks(team, members, port.numa_node).count == 0;
}

std::string dvport_of_uplink(Database &database, std::string_view uplink) {
  std::optional<RowId> const port = port_of_uplink(database, uplink);
  refuse_if(!port, QEL_NOT_FOUND);
  return dvport_id_of(database, *port);
}

void change_admin_link_state(Database &database, RowId vswitch, Uplink const &uplink, bool up) {
  set_admin_link_state(database, uplink, up);
  announce_change(database, vswitch, uplink);
}

void change_carrier(Database &database, std::string_view nic, bool up) {
  std::optional<RowId> const row = nic_by_name(database, nic);
  refuse_if(!row, QEL_NOT_FOUND);
  std::optional<BoundUplink> const bound = bound_uplink(database, *row);
  if (!bound) {
    set_carrier(database, *row, up);
    return;
  }
  Uplink const former = find_uplink(database, bound->vswitch, bound->name);
  set_carrier(database, *row, up);
  announce_change(database, bound->vswitch, former);
}

}  // namespace host
