// Which uplink teaming chooses for a port, and what follows from a change of links.
#include "platform/core/uplink_choice.hpp"

#include <algorithm>

#include "platform/core/blocking.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/lags.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/runtime_options.hpp"
#include "platform/core/team_rows.hpp"
#include "platform/core/teaming.hpp"
#include "platform/core/traffic.hpp"
#include "platform/forwarding/announcements.hpp"
#include "platform/forwarding/load_balance.hpp"

namespace host {

using forwarding::EventKind;
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

// By the beacons of the switch, where its policy has some of its uplinks send them.
bool has_failed(Database &database, RowId vswitch, Uplink const &uplink) {
  std::vector<Uplink> const uplinks = load_uplinks(database, vswitch);
  Team const team = team_from(switch_policy(database, vswitch), uplinks);
  auto const count = [&](std::vector<UplinkPosition> const &list) {
    return std::count_if(list.begin(), list.end(), [&](UplinkPosition at) { return uplinks[at].link_up; });
  };
  bool const sends = (team.criteria & TEAM_FRP_CRIT_BEACON_STATE) && count(team.active) + count(team.standby) > 1;
  return sends && has_beacon_failed(database, uplink.port);
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
          .has_no_beacons = asks(TEAM_FRP_CRIT_BEACON_STATE) && has_failed(database, vswitch, uplink),
          .speed = static_cast<std::uint32_t>(uplink.speed),
          .is_full_duplex = uplink.duplex == QEL_LINK_DUPLEX_FULL,
          .error_percent = static_cast<std::uint8_t>(uplink.errors),
          .recovery = uplink.recovery,
          .numa_node = uplink.numa_node};
}

std::vector<Member> team_members_now(Database &database, RowId vswitch, Team const &team,
                                     std::vector<Uplink> const &uplinks) {
  std::vector<Member> members;
  for (Uplink const &uplink : uplinks)
    members.push_back(team_member(database, vswitch, team, uplink));
  return members;
}

// A port may be tied to an uplink that the switch does not have.
enum class Missing { refuse, overlook };

TeamPort team_port(Database &database, PropertyPlace const &place, std::vector<Uplink> const &uplinks,
                   Missing missing = Missing::refuse) {
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
    refuse_if(!port.tied && missing == Missing::refuse, QEL_NOT_FOUND);
  }
  return port;
}

// Where balancing by load has moved the port, as long as nothing has changed that this was decided by.
std::optional<UplinkPosition> moved_to(Database &database, RowId port, Team const &team,
                                       std::vector<Member> const &members, std::vector<Uplink> const &uplinks,
                                       std::optional<std::int64_t> numa_node) {
  std::optional<PortMove> const move = find_port_move(database, port);
  if (!move)
    return std::nullopt;
  forwarding::Fit const fit = forwarding::fit_uplinks(team, members, numa_node);
  if (move->basis != forwarding::basis_of_moves(team, fit, members))
    return std::nullopt;
  for (std::size_t i = 0; i < uplinks.size(); ++i) {
    if (uplinks[i].port == move->uplink)
      return static_cast<UplinkPosition>(i);
  }
  return std::nullopt;
}

// The uplinks, by position, that are in a LAG.
forwarding::UplinkSet uplinks_in_lags(Database &database, RowId vswitch, std::vector<Uplink> const &uplinks) {
  forwarding::UplinkSet set = 0;
  for (Lag const &lag : load_lags(database, vswitch)) {
    for (LagMember const &member : lag.members) {
      if (auto const position = position_of(uplinks, member.uplink.name))
        set |= forwarding::only(*position);
    }
  }
  return set;
}

// The client ports of a switch that announce themselves, by number: not those of an IP hash or behind a LAG.
std::vector<std::uint32_t> announcing_ports(Database &database, RowId vswitch) {
  std::vector<Uplink> const uplinks = load_uplinks(database, vswitch);
  forwarding::UplinkSet const in_lags = uplinks_in_lags(database, vswitch, uplinks);
  std::vector<std::uint32_t> ports;
  for (PortRow const &row : load_ports(database, vswitch)) {
    if (row.client.is_uplink() || row.client.effective_mac().value_or(MacAddress{}) == MacAddress{})
      continue;
    PropertyPlace const place{vswitch, Scope::port, row.row};
    Team const team = port_team(database, place, uplinks);
    TeamPort const port = team_port(database, place, uplinks, Missing::overlook);
    bool const by_ip = !port.tied && team.load_balance == TEAM_FRP_TYPE_LB_IP;
    bool const is_blocked = !port.tied && team.has(TEAM_FRP_FLAG_BLOCK_OUTPUT);
    std::optional<UplinkPosition> uplink;
    if (in_lags && !is_blocked)
      uplink = forwarding::choose(team, team_members_now(database, vswitch, team, uplinks), port, nullptr);
    if (!by_ip && !(uplink && in_lags & forwarding::only(*uplink)))
      ports.push_back(port.number);
  }
  return ports;
}

// One round of announcements: a packet for each client, so many in each interval, for so long at most. It is counted
// here; the packets are due, and whoever lets happen what is due sends them.
void announce_clients(Database &database, RowId vswitch) {
  std::vector<std::uint32_t> ports = announcing_ports(database, vswitch);
  forwarding::RoundPace const pace{runtime_option_number(database, VS_RT_OPT_MAX_RARPS_PER_INTERVAL),
                                   runtime_option_number(database, VS_RT_OPT_RARP_ADVERTISEMENT_DURATION)};
  std::uint64_t const packets = pace.packets(ports.size());
  if (packets == 0)
    return;
  std::uint64_t const time = pace.milliseconds(packets);
  SwitchCounters counters = load_switch_counters(database, vswitch);
  counters.rarp_packets += packets;
  counters.rarp_time += time;
  counters.rarp_longest = std::max(counters.rarp_longest, time);
  store_switch_counters(database, vswitch, counters);
  ports.resize(packets);
  std::int64_t const now = clock_now(database);
  std::vector<std::uint8_t> const detail = packed(forwarding::Round{now, std::move(ports)});
  set_timer(database, vswitch,
            {static_cast<std::int64_t>(EventKind::announcement), 0, {detail.begin(), detail.end()}, now});
}

// The wait for a link that came back ends later; one that went down is not waited for any more.
void wait_for_link(Database &database, RowId vswitch, Uplink const &uplink) {
  auto const kind = static_cast<std::int64_t>(EventKind::up_delay_end);
  std::int64_t const delay = runtime_option_number(database, VS_RT_OPT_TEAM_POLICY_UP_DELAY);
  if (uplink.link_up && uplink.link_back && delay != 0)
    set_timer(database, vswitch, {kind, uplink.port, {}, *uplink.link_back + delay * microseconds_per_millisecond});
  else
    clear_timer(database, vswitch, kind, uplink.port);
}

// What was learned at an uplink whose link is down now is gone. A switch whose teaming notifies the physical network
// announces the addresses of its clients when the link of an uplink of its team has changed.
void announce_change(Database &database, RowId vswitch, Uplink const &former) {
  Uplink const uplink = find_uplink(database, vswitch, former.name);
  if (uplink.link_up == former.link_up)
    return;
  wait_for_link(database, vswitch, uplink);
  if (former.link_up) {
    forget_learned_at(database, former.port);
    lose_lacp(database, former.port);
  }
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
  TeamPort chooser = team_port(database, place, uplinks);
  Team const team = port_team(database, place, uplinks);
  std::vector<Member> const members = team_members_now(database, port.vswitch, team, uplinks);
  if (team.load_balance == TEAM_FRP_TYPE_LB_LBT)
    chooser.moved = moved_to(database, port_number, team, members, uplinks, chooser.numa_node);
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
  return forwarding::fit_uplinks(team, team_members_now(database, vswitch, team, uplinks), port.numa_node).count == 0;
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
