// Memory that calls hand to scripts: allocator memory, because scripts may release it with the system's free.
#pragma once

#include <cstdlib>
#include <memory>
#include <new>

#include "platform/core/handed_out.hpp"

namespace host {

struct ReleaseMemory {
  std::size_t size = 0;
  void operator()(void *memory) const { std::free(memory); }
};

// A record on its way to the caller.
template <typename Record>
class OwnedRecord : public std::unique_ptr<Record, ReleaseMemory> {
  using Base = std::unique_ptr<Record, ReleaseMemory>;

 public:
  using Base::Base;

  // To the caller, who has to release it.
  [[nodiscard]] Record *release() {
    hand_out(this->get(), this->get_deleter().size);
    return Base::release();
  }
};

// A zeroed record with `extra` bytes behind it.
template <typename Record>
OwnedRecord<Record> allocate_record(std::size_t extra = 0) {
  void *memory = std::calloc(1, sizeof(Record) + extra);
  if (!memory)
    throw std::bad_alloc();
  return OwnedRecord<Record>(static_cast<Record *>(memory), ReleaseMemory{sizeof(Record) + extra});
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
