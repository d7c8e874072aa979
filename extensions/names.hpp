// Names in slots of fixed width, as records hold them.
#pragma once

#include "extensions/memory.hpp"

namespace vswitchpy {

// The name that starts `offset` bytes into a record.
inline SlotText slot_at(const void *record, std::int64_t offset, std::size_t width) {
  return {reinterpret_cast<const char *>(byte_at(record, offset)), width};
}
// The name up to its terminator; one that fills its slot has none and is read whole.
TextObject slot_text(const void *slot, std::size_t width);
TextObject no_text();
// Cuts the text at the width, leaving it without a terminator then, and fills a shorter one up with zeros. A null
// text clears the slot.
void write_slot(void *slot, const char *text, std::size_t width);

}  // namespace vswitchpy
