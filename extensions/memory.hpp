// Reads and writes at byte addresses: records stand back to back in tables and need not be aligned.
#pragma once

#include "runtime/convert.hpp"
#include "runtime/results.hpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vswitchpy {

// Offsets are 64 bits wide and counted in bytes, so that an index that nothing bounds, negative ones included,
// leads where the platform's own arithmetic leads.
inline std::uint8_t *byte_at(const void *start, std::int64_t offset) {
  return reinterpret_cast<std::uint8_t *>(reinterpret_cast<std::uintptr_t>(start) +
                                          static_cast<std::uintptr_t>(offset));
}

template <class T>
T *record_at(const void *start, std::int64_t offset) {
  return reinterpret_cast<T *>(byte_at(start, offset));
}

inline constexpr std::int64_t element_offset(std::size_t first, std::size_t stride, int index) {
  return static_cast<std::int64_t>(first) + static_cast<std::int64_t>(stride) * index;
}

template <class T>
T load(const void *start, std::int64_t offset) {
  T value;
  std::memcpy(&value, byte_at(start, offset), sizeof value);
  return value;
}

template <class T>
void store(void *start, std::int64_t offset, T value) {
  std::memcpy(byte_at(start, offset), &value, sizeof value);
}

// A record of its own for the script, null without memory.
template <class T>
Owned<T> owned_copy(const void *source) {
  void *copy = std::malloc(sizeof(T));
  if (copy) {
    std::memcpy(copy, source, sizeof(T));
  }
  return {static_cast<T *>(copy)};
}

}  // namespace vswitchpy
