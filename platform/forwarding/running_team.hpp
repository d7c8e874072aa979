// What the team of a switch has found by itself: what LACP negotiated, who hears whose beacons, what uplinks carry.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/forwarding/beacons.hpp"
#include "platform/forwarding/lacp.hpp"
#include "platform/forwarding/teaming.hpp"

namespace forwarding {

struct RunningLag {
  std::vector<LacpMember> members;  // in the LAG's order; none of a fixed LAG
  UplinkSet up = 0;                 // by position in the switch
  std::uint32_t changed = 0;        // the members that are not stored as they are, by place
};

struct RunningTeam {
  std::vector<RunningLag> lags;
  Beacons beacons{0};
};

// The uplink to which a port was moved because of the load, and what that was decided by (basis_of_moves).
struct MovedPort {
  UplinkPosition uplink = 0;
  std::string basis;

  bool operator==(MovedPort const &) const = default;
};

// What a port or an uplink has sent since the load was looked at last. Of an uplink it is the difference between its
// counters and `before`.
struct PortLoad {
  std::uint64_t bytes = 0;
  std::uint64_t before = 0;
  std::optional<MovedPort> moved;
  bool is_changed = false;
};

}  // namespace forwarding
