// The host's clock, the only source of time of everything that the host does.
#include "platform/core/clock.hpp"

#include <chrono>

namespace host {

std::int64_t clock_now(Database &database) {
  Rows row = database.rows("SELECT stopped_clock FROM host");
  if (row.next() && !row.is_null(0))
    return row.integer(0);
  auto const now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

bool clock_is_stopped(Database &database) {
  Rows row = database.rows("SELECT 1 FROM host WHERE stopped_clock IS NOT NULL");
  return row.next();
}

void stop_clock(Database &database, std::int64_t at) {
  database.execute("UPDATE host SET stopped_clock = ?", at);
}

void run_clock(Database &database) {
  database.execute("UPDATE host SET stopped_clock = NULL");
}

}  // namespace host
