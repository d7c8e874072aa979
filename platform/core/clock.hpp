// The host's clock, the only source of time of everything that the host does.
#pragma once

#include <cstdint>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

inline constexpr std::int64_t microseconds_per_second = 1000000;

// Where a clock can be stopped at most: what is due later, after the longest of all waits, has a time, too.
inline constexpr std::int64_t latest_time = 9'000'000'000'000'000'000;

// Microseconds since the epoch. A stopped clock stands in the state file, so that it is the same for all processes.
HOST_API std::int64_t clock_now(Database &database);

HOST_API bool clock_is_stopped(Database &database);

// Needs a writing transaction.
HOST_API void stop_clock(Database &database, std::int64_t at);
HOST_API void run_clock(Database &database);

}  // namespace host
