// What teams have found by themselves, from the state of a host and back to it.
#pragma once

#include <cstdint>

#include "platform/core/database.hpp"
#include "platform/forwarding/traffic.hpp"
#include "platform/sim/compile.hpp"

namespace sim {

// Of a switch.
void load_team(host::Database &database, Compiled const &compiled, std::uint32_t vswitch, forwarding::Traffic &traffic);
// What has changed since it was loaded or stored last; loads: store_loads(), of all switches.
void store_team(host::Database &database, Compiled const &compiled, std::uint32_t vswitch,
                forwarding::Traffic &traffic);
void store_loads(host::Database &database, Compiled const &compiled, forwarding::Traffic &traffic);

}  // namespace sim
