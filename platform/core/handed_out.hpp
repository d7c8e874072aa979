// The records that this process's callers have been handed and have not released: who asked for them, how large.
#pragma once

#include <cstddef>

#include "platform/core/export.hpp"

namespace host {

// Registers a record that the running call returns. An address that is known already stands for the new record: the
// old one was released with the system's free.
HOST_API void hand_out(void const *record, std::size_t size);

// Releases a record that the running call does not return after all.
HOST_API void take_back(void *record);

// Releases a record that was handed out. Anything else is left alone, counted and reported in the trace: it was
// released before, or is not ours. A null pointer is ignored.
HOST_API void release_memory(void *record, char const *function = __builtin_FUNCTION());

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
