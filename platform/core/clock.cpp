// The host's clock, the only source of time of everything that the host does.
#include "platform/core/clock.hpp"

#include <chrono>

#include "platform/core/host_row.hpp"

namespace host {

std::int64_t clock_now(Database &database) {
  if (std::optional<std::int64_t> const stopped = stopped_at(database))
    return *stopped;
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

bool clock_is_stopped(Database &database) {
  return stopped_at(database).has_value();
}

void stop_clock(Database &database, std::int64_t at) {
  set_stopped_at(database, at);
}

void run_clock(Database &database) {
  set_stopped_at(database, std::nullopt);
}

}  // namespace host
