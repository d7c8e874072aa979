// Which uplink teaming chooses for a port, and what follows from a change of links.
#include "platform/core/uplink_choice.hpp"

#include <algorithm>
#include <cstring>

#include "platform/core/clock.hpp"
#include "platform/core/counters.hpp"
#include "platform/core/lags.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/rtm.hpp"
#include "platform/core/runtime_options.hpp"
#include "platform/core/teaming.hpp"

namespace host {

namespace {

constexpr std::uint64_t announcement_interval = 100;  // milliseconds
constexpr std::uint64_t milliseconds_per_second = 1000;
constexpr std::int64_t microseconds_per_millisecond = 1000;

// An uplink with what the failure criteria look at.
struct TeamMember {
  Uplink uplink;
  std::int64_t speed;
  std::int64_t duplex;
  std::int64_t recovery;
  std::optional<std::int64_t> link_back;
  std::optional<std::int64_t> numa_node;
};

// A policy of a switch, a port or a logical switch.
struct Team {
  std::uint32_t load_balance;
  std::uint32_t criteria;
  std::uint32_t flags;
  std::uint32_t speed;
  bool full_duplex;
  std::vector<std::string> active;
  std::vector<std::string> standby;
};

template <typename Policy>
Team team_members(Policy const &policy) {
  Team team{policy.loadBalance, policy.linkCriteria, policy.flags, 0, false, {}, {}};
  auto const most = static_cast<std::uint32_t>(QEL_TEAM_MAX_UPLINKS);
  std::uint32_t const active = std::min(policy.numActive, most);
  std::uint32_t const count = active + std::min(policy.numStandby, most - active);
  for (std::uint32_t i = 0; i < count; ++i)
    (i < active ? team.active : team.standby).emplace_back(field_text(policy.uplinkPortName[i]));
  return team;
}

Team team_from(VSTeamPolicy const &policy) {
  Team team = team_members(policy);
  team.speed = policy.speed;
  team.full_duplex = policy.fullDuplex != 0;
  return team;
}

// The policy that holds for a port: that of its logical switch goes before its own, and that before the switch's.
Team port_team(Database &database, RowId vswitch, RowId port) {
  PropertyPlace const place{vswitch, Scope::port, port};
  if (stored_property(database, place, VSPROP_PORT_LS_TEAMING_POLICY)) {
    std::string const name = port_ls_teaming_in_force(database, place);
    for (LSTeamPolicy const &policy : ls_teaming_in_force(database, vswitch)) {
      if (field_text(policy.name) == name)
        return team_members(policy);
    }
  }
  std::optional<std::string> const own = stored_property(database, place, VSPROP_PORT_TEAMING_POLICY);
  return team_from(
      record_from_value<VSTeamPolicy>(own ? *own : get_switch_property(database, vswitch, VSPROP_SWITCH_TEAMING)));
}

TeamMember load_member(Database &database, Uplink const &uplink) {
  TeamMember member{uplink, 0, 0, 0, std::nullopt, std::nullopt};
  Rows row = database.rows(
      "SELECT speed, duplex, recovery, uplink_port.numa_node, link_back FROM uplink_port"
      " JOIN physical_nic ON physical_nic.id = uplink_port.nic WHERE uplink_port.port = ?",
      uplink.port);
  if (!row.next())
    return member;
  member.speed = row.integer(0);
  member.duplex = row.integer(1);
  member.recovery = row.integer(2);
  if (!row.is_null(3))
    member.numa_node = row.integer(3);
  if (!row.is_null(4))
    member.link_back = row.integer(4);
  return member;
}

// What TEAM_FRP_FLAG_BEST_EFFORT overlooks: the uplink works, but not as the policy wants.
bool is_as_wanted(Team const &team, TeamMember const &member) {
  auto const asks = [&](std::int64_t criterion) { return (team.criteria & criterion) != 0; };
  if (asks(TEAM_FRP_CRIT_LINK_SPEED) && member.speed != team.speed)
    return false;
  if (asks(TEAM_FRP_CRIT_LINK_SPEED_GTE) && member.speed < team.speed)
    return false;
  return !asks(TEAM_FRP_CRIT_LINK_DUPLEX) ||
         member.duplex == (team.full_duplex ? QEL_LINK_DUPLEX_FULL : QEL_LINK_DUPLEX_HALF);
}

// A link that came back must have stayed for a while. A clock that was set back leaves nothing to wait for.
bool is_waiting(Database &database, TeamMember const &member) {
  if (!member.link_back)
    return false;
  std::int64_t const since = clock_now(database) - *member.link_back;
  std::int64_t const delay = runtime_option_number(database, VS_RT_OPT_TEAM_POLICY_UP_DELAY);
  return since >= 0 && since < delay * microseconds_per_millisecond;
}

bool works(Database &database, RowId vswitch, Team const &team, TeamMember const &member) {
  auto const asks = [&](std::int64_t criterion) { return (team.criteria & criterion) != 0; };
  if (asks(TEAM_FRP_CRIT_LINK_STATE) && (!member.uplink.link_up || is_waiting(database, member)))
    return false;
  if (asks(TEAM_FRP_CRIT_DRV_PRESENT) && !member.uplink.nic)
    return false;
  if (asks(TEAM_FRP_CRIT_LACP_PORT_DOWN) && lacp_state(database, vswitch, member.uplink) == false)
    return false;
  return !asks(TEAM_FRP_CRIT_PORT_BLOCKED) || !is_blocked(database, member.uplink.port);
}

using Members = std::vector<TeamMember>;

// The members in the order in which they come into question.
Members ordered_members(Database &database, std::vector<Uplink> const &uplinks, Team const &team,
                        std::vector<std::string> const &names) {
  Members members;
  for (std::string const &name : names) {
    auto const found =
        std::find_if(uplinks.begin(), uplinks.end(), [&](Uplink const &uplink) { return uplink.name == name; });
    if (found != uplinks.end())
      members.push_back(load_member(database, *found));
  }
  if (team.flags & TEAM_FRP_FLAG_REVERSE)
    std::reverse(members.begin(), members.end());
  // An uplink that failed goes to the end of the order when it comes back: nothing moves back to it.
  if (team.flags & TEAM_FRP_FLAG_ROLLING) {
    std::stable_sort(members.begin(), members.end(),
                     [](TeamMember const &left, TeamMember const &right) { return left.recovery < right.recovery; });
  }
  return members;
}

// The active uplinks that are fit, and for each that is not, a standby one that is.
template <typename IsFit>
Members fit_members(Members const &active, Members const &standby, IsFit &&is_fit) {
  Members fit;
  std::copy_if(active.begin(), active.end(), std::back_inserter(fit), is_fit);
  for (TeamMember const &member : standby) {
    if (fit.size() >= std::max<std::size_t>(active.size(), 1))
      break;
    if (is_fit(member))
      fit.push_back(member);
  }
  return fit;
}

struct ChoosingPort {
  RowId vswitch;
  std::int64_t client_type;
  std::string mac;
  std::int64_t numa_node;
};

ChoosingPort load_port(Database &database, std::uint32_t number) {
  Rows row = database.rows("SELECT vswitch, client_type, client_mac, client_numa_node FROM port WHERE id = ?", number);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return {row.integer(0), row.integer(1), row.text(2), row.integer(3)};
}

std::size_t share_of(Team const &team, ChoosingPort const &port, std::uint32_t number) {
  switch (team.load_balance) {
    case TEAM_FRP_TYPE_LB_SRCMAC: return port.mac.empty() ? 0 : static_cast<unsigned char>(port.mac.back());
    case TEAM_FRP_TYPE_LB_SRCID:
    case TEAM_FRP_TYPE_LB_IP:
    case TEAM_FRP_TYPE_LB_LBT: return number;
    default: return 0;
  }
}

std::uint64_t count_clients(Database &database, RowId vswitch) {
  Rows count = database.rows("SELECT count(*) FROM port WHERE vswitch = ? AND client_mac IS NOT NULL", vswitch);
  return count.next() ? static_cast<std::uint64_t>(count.integer(0)) : 0;
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
  add_to_counter(database, vswitch, no_port, counter::rarp_packets, packets);
  add_to_counter(database, vswitch, no_port, counter::rarp_time, time);
  std::uint64_t const longest = read_counter(database, vswitch, no_port, counter::rarp_longest);
  set_counter(database, vswitch, no_port, counter::rarp_longest, std::max(longest, time));
}

}  // namespace

Uplink choose_uplink(Database &database, std::uint32_t port_number) {
  ChoosingPort const port = load_port(database, port_number);
  refuse_if(port.client_type == VS_PORT_CLIENT_UPLINK, QEL_BAD_PARAM);
  std::vector<Uplink> const uplinks = load_uplinks(database, port.vswitch);

  // 1. A port that is tied to an uplink has no other.
  std::optional<std::string> const tied =
      stored_property(database, {port.vswitch, Scope::port, port_number}, VSPROP_PORT_TEAMING_OVERRIDE);
  if (tied && !tied->empty()) {
    Uplink uplink = find_uplink(database, port.vswitch, *tied);
    refuse_if(!uplink.link_up, QEL_ENETDOWN);
    return uplink;
  }

  // 2. The uplinks that are fit by the policy's criteria.
  Team const team = port_team(database, port.vswitch, port_number);
  Members const active = ordered_members(database, uplinks, team, team.active);
  Members const standby = ordered_members(database, uplinks, team, team.standby);
  Members members;
  if (team.load_balance == TEAM_FRP_TYPE_NONE) {
    // Without teaming there is one uplink, and nothing takes its place.
    Members const only(active.begin(), active.begin() + (active.empty() ? 0 : 1));
    members =
        fit_members(only, {}, [&](TeamMember const &member) { return works(database, port.vswitch, team, member); });
  } else {
    auto const is_working = [&](TeamMember const &member) { return works(database, port.vswitch, team, member); };
    members = fit_members(active, standby,
                          [&](TeamMember const &member) { return is_working(member) && is_as_wanted(team, member); });
    if (members.empty() && (team.flags & TEAM_FRP_FLAG_BEST_EFFORT))
      members = fit_members(active, standby, is_working);
  }
  refuse_if(members.empty(), QEL_ENETDOWN);

  // 3. Those near the port's client, where there are any.
  if (runtime_option_number(database, VS_RT_OPT_TEAMING_NUMA_AWARE)) {
    Members near;
    std::copy_if(members.begin(), members.end(), std::back_inserter(near),
                 [&](TeamMember const &member) { return member.numa_node == port.numa_node; });
    if (!near.empty())
      members = near;
  }

  // 4. The port's share of them.
  return members[share_of(team, port, port_number) % members.size()].uplink;
}

std::string dvport_of_uplink(Database &database, std::string_view uplink) {
  Rows rows = database.rows(
      "SELECT port.dvport_id FROM physical_nic JOIN uplink_port ON uplink_port.nic = physical_nic.id"
      " JOIN port ON port.id = uplink_port.port WHERE physical_nic.name = ?1"
      " UNION ALL SELECT dvport_id FROM (SELECT port.dvport_id FROM uplink_port JOIN port ON port.id = uplink_port.port"
      " WHERE uplink_port.name = ?1 ORDER BY uplink_port.vswitch) LIMIT 1",
      uplink);
  refuse_if(!rows.next(), QEL_NOT_FOUND);
  return rows.text(0);
}

void refresh_numa_nodes(Database &database, RowId vswitch) {
  database.execute(
      "UPDATE uplink_port SET numa_node = (SELECT numa_node FROM physical_nic WHERE id = nic) WHERE vswitch = ?",
      vswitch);
}

void refresh_all_numa_nodes(Database &database) {
  database.execute("UPDATE uplink_port SET numa_node = (SELECT numa_node FROM physical_nic WHERE id = nic)");
}

void change_admin_link_state(Database &database, RowId vswitch, Uplink const &uplink, bool up) {
  set_admin_link_state(database, uplink, up);
  if (find_uplink(database, vswitch, uplink.name).link_up == uplink.link_up)
    return;
  auto const policy = record_from_value<VSTeamPolicy>(get_switch_property(database, vswitch, VSPROP_SWITCH_TEAMING));
  if (!(policy.flags & TEAM_FRP_FLAG_NOTIFY_SWITCH))
    return;
  Team const team = team_from(policy);
  auto const names = [&](std::vector<std::string> const &list) {
    return std::find(list.begin(), list.end(), uplink.name) != list.end();
  };
  if (names(team.active) || names(team.standby))
    announce_clients(database, vswitch);
}

}  // namespace host
