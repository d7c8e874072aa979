// Which uplink of a team carries the traffic of a port: the uplinks that are fit, and the choice among them.
#include "platform/forwarding/teaming.hpp"

#include <algorithm>

#include "constants/constants.hpp"

namespace forwarding {

namespace {

using namespace constant;

std::uint32_t criteria_of(Team const &team) {
  return team.has(TEAM_FRP_FLAG_LACP_CLIENT) ? team.criteria | TEAM_FRP_CRIT_LACP_PORT_DOWN : team.criteria;
}

bool works(Team const &team, Member const &member) {
  std::uint32_t const criteria = criteria_of(team);
  if ((criteria & TEAM_FRP_CRIT_LINK_STATE) && (!member.link_up || member.is_waiting))
    return false;
  if ((criteria & TEAM_FRP_CRIT_DRV_PRESENT) && !member.has_nic)
    return false;
  if ((criteria & TEAM_FRP_CRIT_LACP_PORT_DOWN) && member.is_lacp_down)
    return false;
  if ((criteria & TEAM_FRP_CRIT_PORT_BLOCKED) && member.is_blocked)
    return false;
  if ((criteria & TEAM_FRP_CRIT_BEACON_STATE) && member.has_no_beacons)
    return false;
  return !(criteria & TEAM_FRP_CRIT_LINK_ERR) || !team.wanted || team.wanted->error_percent == 0 ||
         member.error_percent < team.wanted->error_percent;
}

// What TEAM_FRP_FLAG_BEST_EFFORT overlooks: the uplink works, but not as the policy wants.
bool is_as_wanted(Team const &team, Member const &member) {
  constexpr std::uint32_t of_the_nic =
      TEAM_FRP_CRIT_LINK_SPEED | TEAM_FRP_CRIT_LINK_SPEED_GTE | TEAM_FRP_CRIT_LINK_DUPLEX;
  if (!team.wanted || !(team.criteria & of_the_nic))
    return true;
  if (!member.has_nic)
    return false;
  if ((team.criteria & TEAM_FRP_CRIT_LINK_SPEED) && member.speed != team.wanted->speed)
    return false;
  if ((team.criteria & TEAM_FRP_CRIT_LINK_SPEED_GTE) && member.speed < team.wanted->speed)
    return false;
  return !(team.criteria & TEAM_FRP_CRIT_LINK_DUPLEX) || member.is_full_duplex == team.wanted->full_duplex;
}

// The uplinks of a list in the order in which they come into question.
struct Ordered {
  std::array<UplinkPosition, most_uplinks> uplinks{};
  std::size_t count = 0;

  std::span<UplinkPosition const> all() const { return {uplinks.data(), count}; }
};

Ordered in_order(Team const &team, std::vector<UplinkPosition> const &list, std::span<Member const> members) {
  Ordered ordered;
  ordered.count = std::min(list.size(), most_uplinks);
  auto const begin = ordered.uplinks.begin();
  auto const end = std::copy_n(list.begin(), ordered.count, begin);
  if (team.has(TEAM_FRP_FLAG_REVERSE))
    std::reverse(begin, end);
  // An uplink that failed goes to the end of the order when it comes back: nothing moves back to it. By insertion: the
  // library's stable sort would allocate.
  if (team.has(TEAM_FRP_FLAG_ROLLING)) {
    for (auto next = begin; next != end; ++next) {
      auto const place = std::upper_bound(begin, next, *next, [&](UplinkPosition left, UplinkPosition right) {
        return members[left].recovery < members[right].recovery;
      });
      std::rotate(place, next, next + 1);
    }
  }
  return ordered;
}

// The active uplinks that are fit, and for each that is not, or with all available always, a standby one that is. A
// policy of standby uplinks only uses one of them.
template <typename IsFit>
Fit fit_of(Team const &team, Ordered const &active, Ordered const &standby, IsFit const &is_fit) {
  Fit fit;
  for (UplinkPosition uplink : active.all()) {
    if (is_fit(uplink))
      fit.add(uplink);
  }
  std::size_t const enough =
      team.has(TEAM_FRP_FLAG_ALL_AVAILABLE) ? most_uplinks : std::max<std::size_t>(active.count, 1);
  for (UplinkPosition uplink : standby.all()) {
    if (fit.count >= enough)
      break;
    if (is_fit(uplink))
      fit.add(uplink);
  }
  return fit;
}

Fit near(Fit const &fit, std::span<Member const> members, std::int64_t numa_node) {
  Fit found;
  for (std::size_t i = 0; i < fit.count; ++i) {
    if (members[fit.uplinks[i]].numa_node == numa_node)
      found.add(fit.uplinks[i]);
  }
  return found.count ? found : fit;
}

constexpr std::uint32_t folded(std::uint32_t h) {
  h ^= h >> 16;
  return h ^ h >> 8;
}

std::uint32_t address_share(Header const &frame) {
  return std::uint32_t{last_byte(frame.source)} ^ last_byte(frame.destination);
}

std::uint32_t share(Team const &team, TeamPort const &port, Header const *frame) {
  switch (team.load_balance) {
    case TEAM_FRP_TYPE_LB_SRCMAC: return last_byte(frame ? frame->source : port.mac);
    case TEAM_FRP_TYPE_LB_IP: {
      if (!frame)
        return port.number;
      std::optional<std::uint32_t> const words = ip_words(*frame);
      return words ? folded(*words) & 0xff : address_share(*frame);
    }
    case TEAM_FRP_TYPE_FO_EXPLICIT: return 0;
    default: return port.number;
  }
}

}  // namespace

Fit fit_uplinks(Team const &team, std::span<Member const> members, std::optional<std::int64_t> numa_node) {
  Ordered const active = in_order(team, team.active, members);
  Ordered const standby = in_order(team, team.standby, members);
  auto const is_working = [&](UplinkPosition uplink) { return works(team, members[uplink]); };
  Fit fit = fit_of(team, active, standby,
                   [&](UplinkPosition uplink) { return is_working(uplink) && is_as_wanted(team, members[uplink]); });
  if (fit.count == 0 && team.has(TEAM_FRP_FLAG_BEST_EFFORT))
    fit = fit_of(team, active, standby, is_working);
  if (numa_node)
    fit = near(fit, members, *numa_node);
  if (active.count)
    fit.first_active = active.uplinks[0];
  return fit;
}

std::optional<UplinkPosition> pick(Fit const &fit, Team const &team, TeamPort const &port, Header const *frame) {
  if (fit.count == 0)
    return std::nullopt;
  if (team.load_balance == TEAM_FRP_TYPE_NONE) {
    bool const is_fit = fit.first_active && (fit.set & only(*fit.first_active));
    return is_fit ? fit.first_active : std::nullopt;
  }
  if (team.load_balance == TEAM_FRP_TYPE_LB_LBT && port.moved && (fit.set & only(*port.moved)))
    return port.moved;
  return fit.uplinks[share(team, port, frame) % fit.count];
}

std::optional<UplinkPosition> choose(Team const &team, std::span<Member const> members, TeamPort const &port,
                                     Header const *frame) {
  if (port.tied)
    return members[*port.tied].link_up ? port.tied : std::nullopt;
  return pick(fit_uplinks(team, members, port.numa_node), team, port, frame);
}

std::uint32_t lag_share(LagHash hash, Header const &frame, std::uint16_t vlan) {
  constexpr std::uint32_t half_of_mac = 0xffffff;
  std::uint32_t const l2 = address_share(frame) ^ frame.inner_type;
  switch (hash) {
    case LagHash::l2: return l2;
    case LagHash::l2_l3: {
      std::optional<std::uint32_t> const words = ip_words(frame);
      return words ? folded(l2 ^ *words) : l2;
    }
    case LagHash::l3_l4: {
      std::optional<std::uint32_t> const words = ip_words(frame);
      return words ? folded(transport_ports(frame) ^ *words) >> 1 : l2;
    }
    case LagHash::vlan_source_mac: {
      auto const high = static_cast<std::uint32_t>(frame.source >> 24);
      return vlan ^ high ^ (static_cast<std::uint32_t>(frame.source) & half_of_mac);
    }
  }
  return l2;
}

}  // namespace forwarding
