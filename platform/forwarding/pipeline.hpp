// The way of a frame through a switch, from the gate of the port where it comes in to its deliveries.
#pragma once

#include <cstdint>

#include "platform/forwarding/sink.hpp"
#include "platform/forwarding/tables.hpp"
#include "platform/forwarding/traffic.hpp"

namespace forwarding {

// Sends a frame through its switch at a time, in microseconds since the epoch. `traffic` is of these tables. The
// frame's place is a NIC or a port that is no uplink's.
void forward(Tables const &tables, Traffic &traffic, std::int64_t now, Frame frame, Sink &sink);

}  // namespace forwarding
