// What the state says of the host itself, in one row: boots, clock, description, and how it changes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

// All need a transaction.

// How often the host has booted.
HOST_API std::int64_t boot_count(Database &database);
void count_boot(Database &database);

// What the host first booted from.
HOST_API std::string host_description(Database &database);
void keep_description(Database &database, std::string_view text);

// Another text whenever the whole state was replaced.
HOST_API std::string state_id(Database &database);
void renew_state_id(Database &database);

// Where the clock stands in microseconds since the epoch; none while it runs.
std::optional<std::int64_t> stopped_at(Database &database);
void set_stopped_at(Database &database, std::optional<std::int64_t> time);

// To be called in each transaction that changes the configuration: what was made of it is out of date.
HOST_API void note_new_configuration(Database &database);
// To be called after its commit: the next one need not look again.
void keep_knowing_configuration(Database &database);

// Up to which all that was due has happened. A boot begins anew.
void set_events_until(Database &database, std::int64_t time);

// What tells whether the state is still the one that was taken up before, and what of the host's time stands in it.
struct StateMark {
  std::string id;
  std::int64_t generation;
  bool is_dirty;  // the configuration has changed since somebody took it up
  std::int64_t traffic_sequence;
  std::optional<std::int64_t> stopped_at;
  std::int64_t events_until;
};
HOST_API StateMark state_mark(Database &database);

// What traffic leaves behind has changed.
HOST_API void note_new_traffic(Database &database, std::int64_t sequence, std::int64_t events_until);
// The same, and the configuration was taken up.
HOST_API void note_taken_up(Database &database, std::int64_t sequence, std::int64_t events_until);

}  // namespace host
