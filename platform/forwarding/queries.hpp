// The queries by which a switch that snoops asks its clients.
#pragma once

#include "platform/forwarding/moment.hpp"

namespace forwarding {

// How often, in microseconds; 0: never.
std::int64_t query_period(Tables const &tables, std::uint32_t vswitch);
// One of each version to each client port that can receive (kind 11).
void ask_clients(Moment const &moment);

}  // namespace forwarding
