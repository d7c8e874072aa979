// What traffic leaves behind, from the state of a host and back to it.
#pragma once

#include "platform/core/database.hpp"
#include "platform/forwarding/traffic.hpp"
#include "platform/sim/compile.hpp"

namespace sim {

// Both need a transaction; to store, a writing one.
forwarding::Traffic load_traffic(host::Database &database, Compiled const &compiled);

// Writes what has changed since it was loaded or stored last.
void store_traffic(host::Database &database, Compiled const &compiled, forwarding::Traffic &traffic);

}  // namespace sim
