// The records that this process's callers have been handed and have not released: who asked for them, how large.
#pragma once

#include <cstddef>
#include <optional>

#include "platform/core/export.hpp"

namespace host {

// Registers a record that the running call returns. An address that is known already stands for the new record: the
// old one was released with the system's free.
HOST_API void hand_out(void const *record, std::size_t size);

// Releases a record that the running call does not return after all.
HOST_API void take_back(void *record);

// A record that comes back: its size, or none where it is not handed out, which is counted.
std::optional<std::size_t> take_from_register(void const *record);

struct MemoryCounts {
  std::size_t records;         // handed out and not released
  std::size_t bytes;           // their sizes
  std::size_t wrong_releases;  // since the process began
};

HOST_API MemoryCounts memory_counts();

// What one call hands out, for the trace.
void begin_handing_out(char const *function);
std::size_t bytes_handed_out();

// Calls visit(function, bytes) for each record that this process, not a parent, was handed and has not released.
void for_each_unreleased(void (*visit)(char const *function, std::size_t bytes));

}  // namespace host
