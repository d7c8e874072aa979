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

}  // namespace host
