// Mirror sessions and the frame that is on its way: which select it, which copies they make of it, and for whom.
#pragma once

#include <cstdint>

#include "platform/forwarding/receivers.hpp"
#include "platform/forwarding/sink.hpp"

namespace forwarding {

// A frame that has its VLAN: from here on sessions of its switch may select it. What was selected before is forgotten.
void begin_mirroring(Passage const &passage);

enum class Direction : std::uint8_t { in, out };

// The sessions with the port, or the frame's VLAN, as a source in this direction select the frame, unless they have
// already (M-1, M-2).
void select_at(Passage const &passage, PortIndex port, Direction direction);

// Hands over the copies of the sessions that have selected it, and counts (M-5, M-8 to M-12, E-0).
void deliver_copies(Passage const &passage, std::int64_t now, Sink &sink);

}  // namespace forwarding
