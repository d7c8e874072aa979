// Memory that calls hand to scripts: allocator memory, because scripts may release it with the system's free.
#pragma once

#include <cstdlib>
#include <memory>
#include <new>

#include "platform/core/export.hpp"
#include "platform/core/handed_out.hpp"

namespace host {

// Releases a record that was handed out. Anything else is left alone, counted and reported in the trace: it was
// released before, or is not ours. A null pointer is ignored.
HOST_API void release_memory(void *record, char const *function = __builtin_FUNCTION());

struct TakeBack {
  void operator()(void *record) const { take_back(record); }
};

// A record on its way to the caller. It counts as handed out from the beginning, so that release() cannot fail.
template <typename Record>
using OwnedRecord = std::unique_ptr<Record, TakeBack>;

// A zeroed record with `extra` bytes behind it.
template <typename Record>
OwnedRecord<Record> allocate_record(std::size_t extra = 0) {
  std::unique_ptr<void, decltype(&std::free)> memory(std::calloc(1, sizeof(Record) + extra), std::free);
  if (!memory)
    throw std::bad_alloc();
  hand_out(memory.get(), sizeof(Record) + extra);
  return OwnedRecord<Record>(static_cast<Record *>(memory.release()));
}

// The elements that follow a record's fixed part. Records declare them as arrays of no elements, which the
// compiler would take at their word.
template <typename Element, typename Record>
Element *elements_behind(Record *record) {
  return reinterpret_cast<Element *>(record + 1);
}

template <typename Element, typename Record>
Element const *elements_behind(Record const *record) {
  return reinterpret_cast<Element const *>(record + 1);
}

}  // namespace host
