// Which uplink of a team carries the traffic of a port: the uplinks that are fit, and the choice among them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/forwarding/frame.hpp"

namespace forwarding {

inline constexpr std::size_t most_uplinks = 32;

// The place of an uplink among the uplink ports of its switch, in their order.
using UplinkPosition = std::uint8_t;

// A set of uplinks of a switch, as bits by position.
using UplinkSet = std::uint32_t;

constexpr UplinkSet only(UplinkPosition uplink) {
  return UplinkSet{1} << uplink;
}

// An uplink as the failure criteria see it at a moment.
struct Member {
  bool has_nic = false;
  bool link_up = false;
  bool is_waiting = false;      // the link is back, but not long enough (TeamPolicyUpDelay)
  bool is_blocked = false;      // its port
  bool is_lacp_down = false;    // it is in a LAG, and LACP does not have it up
  bool has_no_beacons = false;  // those of the larger group do not hear its beacons
  std::uint32_t speed = 0;      // Mbit/s
  bool is_full_duplex = false;
  std::uint8_t error_percent = 0;
  std::int64_t recovery = 0;  // grows with each link that came back: the latest one has the highest
  std::optional<std::int64_t> numa_node;
};

// What the criteria of speed, duplex and errors compare with. A policy of a logical switch has none of it.
struct WantedLink {
  std::uint32_t speed = 0;
  bool full_duplex = false;
  std::uint8_t error_percent = 0;
};

// A teaming policy of a switch, a port or a logical switch.
struct Team {
  std::uint32_t load_balance = 0;  // TEAM_FRP_TYPE_*
  std::uint32_t criteria = 0;      // TEAM_FRP_CRIT_*
  std::uint32_t flags = 0;         // TEAM_FRP_FLAG_*
  std::optional<WantedLink> wanted;
  std::vector<UplinkPosition> active;
  std::vector<UplinkPosition> standby;

  bool has(std::uint32_t flag) const { return (flags & flag) != 0; }
};

// The port that the choice is for.
struct TeamPort {
  std::uint32_t number = 0;
  MacAddress mac = 0;                     // the effective address of the client
  std::optional<std::int64_t> numa_node;  // where the client's memory is; none where teaming does not look at it
  std::optional<UplinkPosition> tied;     // the uplink that the port is tied to: it has no policy then
  std::optional<UplinkPosition> moved{};  // where balancing by load has moved the port
};

// The uplinks that are fit, in the order in which they come into question.
struct Fit {
  std::array<UplinkPosition, most_uplinks> uplinks{};
  std::uint8_t count = 0;
  UplinkSet set = 0;
  // The policy's first active uplink, which is all that a team without load balancing uses.
  std::optional<UplinkPosition> first_active;

  void add(UplinkPosition uplink) {
    uplinks[count++] = uplink;
    set |= only(uplink);
  }
};

// `members`: all uplinks of the switch, by position. `numa_node`: those near it are preferred.
Fit fit_uplinks(Team const &team, std::span<Member const> members, std::optional<std::int64_t> numa_node);

// The one of the fit uplinks that carries a frame of the port, or without a frame all that the port's frames do not
// decide; none if none is fit.
std::optional<UplinkPosition> pick(Fit const &fit, Team const &team, TeamPort const &port, Header const *frame);

// Both at once, and what a port is tied to.
std::optional<UplinkPosition> choose(Team const &team, std::span<Member const> members, TeamPort const &port,
                                     Header const *frame);

// How a LAG spreads frames over its members.
enum class LagHash : std::uint8_t { l2, l2_l3, l3_l4, vlan_source_mac };

// The number that the members of a LAG that are up are counted off by.
std::uint32_t lag_share(LagHash hash, Header const &frame, std::uint16_t vlan);

}  // namespace forwarding
