// What is due by the host's clock, whoever makes it happen.
#include "platform/sim/events.hpp"

namespace sim {

// So far addresses age, which gives no frames and depends on nothing but the time.
void run_due(forwarding::Tables const &tables, forwarding::Traffic &traffic, std::int64_t /*until*/, std::int64_t now) {
  for (std::uint32_t vswitch = 0; vswitch < tables.switches.size(); ++vswitch)
    traffic.age(tables, vswitch, now);
}

}  // namespace sim
