// What is due by the host's clock, whoever makes it happen.
#pragma once

#include <cstdint>

#include "platform/forwarding/tables.hpp"
#include "platform/forwarding/traffic.hpp"

namespace sim {

// Everything that is due up to a time, in microseconds, happens. `until`: up to which all has happened before.
void run_due(forwarding::Tables const &tables, forwarding::Traffic &traffic, std::int64_t until, std::int64_t now);

}  // namespace sim
