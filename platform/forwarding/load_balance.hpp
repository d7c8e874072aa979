// Balancing by load: which port moves to another uplink when one has too much to carry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "platform/forwarding/teaming.hpp"

namespace forwarding {

// An uplink that is fit, and the bytes that it has sent since the load was last looked at.
struct LoadedUplink {
  UplinkPosition uplink = 0;
  std::uint64_t bytes = 0;
  std::uint32_t speed = 0;  // Mbit/s
};

// A client port that is balanced by load, the uplink that carries it, and the bytes that the team has sent for it.
struct LoadingPort {
  std::uint32_t number = 0;
  std::uint64_t bytes = 0;
  UplinkPosition uplink = 0;
};

struct LoadMove {
  std::size_t port = 0;  // its place among the ports
  UplinkPosition uplink = 0;
};

// `uplinks`: in the order of `fit`. None: nobody moves.
std::optional<LoadMove> balance_load(std::span<LoadedUplink const> uplinks, std::span<LoadingPort const> ports);

// What moves were decided by: a policy, and the uplinks that were fit by it. Moves of another one are forgotten.
std::string basis_of_moves(Team const &team, Fit const &fit, std::span<Member const> members);

}  // namespace forwarding
