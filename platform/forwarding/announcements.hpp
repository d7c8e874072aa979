// How a switch announces its clients where their uplinks have changed: rounds of frames, so many at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/forwarding/moment.hpp"

namespace forwarding {

// A round that is going on, in the detail of its timer: since when, and the numbers of the ports whose turn is still to
// come.
struct Round {
  std::int64_t begin = 0;  // microseconds
  std::vector<std::uint32_t> ports{};
};
std::vector<std::uint8_t> packed(Round const &round);
Round unpacked_round(std::span<std::uint8_t const> detail);

// So many at a time, for so many seconds.
struct RoundPace {
  std::uint64_t at_once;
  std::uint64_t duration;

  // How many ports a round of at most so many comes to, and how long it takes in milliseconds.
  std::uint64_t packets(std::size_t ports) const;
  std::uint64_t milliseconds(std::uint64_t packets) const;
};

// The round that a change at a time begins for some ports, in place of the one that is still going on; it is counted
// now. Nothing where there are no ports.
void begin_round(Moment const &moment, std::vector<PortIndex> const &ports);

// What LACP does when it has brought a member of the switch's team up or down (N-1): all clients are announced where
// the switch's policy notifies the network.
void announce_all(Moment const &moment, UplinkPosition changed);

// The ends of waits for links that came back: the clients whose uplink changes by it are announced (kind 6).
void end_up_delays(Moment const &moment);

// The next frames of a round (kind 7).
void go_on_with_round(Moment const &moment);

}  // namespace forwarding
