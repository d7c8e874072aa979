// Makes the mirror sessions of the tables of forwarding from the state of a host.
#pragma once

#include <array>
#include <vector>

#include "platform/core/uplinks.hpp"
#include "platform/forwarding/mirror_session.hpp"

namespace sim {

// Those of a switch that run and have destinations, in their order. What they name and the switch does not have is not
// in them.
std::vector<forwarding::MirrorSession> mirror_sessions(host::Database &database, host::RowId vswitch,
                                                       std::vector<host::PortRow> const &ports,
                                                       std::vector<host::Uplink> const &uplinks);

// The default one, and that for mirroring.
std::array<forwarding::Stack, 2> mirror_stacks(host::Database &database);

}  // namespace sim
