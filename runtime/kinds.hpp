// What rows and entries have in common: the kinds of fields, arguments and results, and where a field lies.
#pragma once

#include "runtime/convert.hpp"

namespace vswitchpy {

// ---- fields ----------------------------------------------------------------------------------------

enum class FieldKind : std::uint8_t {
  scalar,
  bits,
  character_array,
  mac_text,    // read as text, written as an array
  owned_text,  // the one `char *` that its record owns
  // Up to here the value stands for itself, from here on it is a proxy.
  array,  // of bytes, scalars, records or rows; of no elements for a flexible array
  embedded_record,
  pointer,
  any_pointer,  // void *: takes a proxy of any type
};

// Where a field lies in its record, and how it is read and written there.
struct FieldPlace {
  std::uint32_t offset = 0;
  std::uint32_t size = 0;  // bytes that the field covers
  FieldKind kind{};
  Scalar scalar{};
  std::uint8_t first_bit = 0;
  std::uint8_t bit_count = 0;
};

// ---- records ---------------------------------------------------------------------------------------

// How the constructor of a variable-length record sizes its block and where it leaves the count.
struct Counted {
  std::uint32_t bytes_per_entry = 0;
  std::uint32_t fixed_bytes = 0;
  std::uint32_t count_offset = 0;
};

// ---- calls -----------------------------------------------------------------------------------------

enum class Typemap : std::uint8_t {
  self,  // record pointer that must not be null
  text,
  fixed_text,
  scalar,
  pointer,           // of exactly one descriptor
  disowned_pointer,  // likewise; the proxy gives up its memory
  record_value,      // a record passed by reference: null is an error
  any_pointer,
  raw_bytes,          // the buffer of a bytes object, unchecked
  raw_bytes_or_text,  // likewise, or the UTF-8 of a str
  six_bytes,          // start of any readable buffer, its length unchecked
  record_output,
  integer_output,
  boolean_output,
  text_output,
};

// Of all text outputs of one call, with their terminators.
inline constexpr std::size_t text_output_room = 256;

constexpr bool is_output(Typemap typemap) {
  return typemap >= Typemap::record_output;
}

enum class Result : std::uint8_t { none, scalar, text, slot_text, borrowed_pointer, owned_pointer, object };

// Where a name ends that fills its slot: the module measures it up to its terminator and reads on into what follows, as
// its scripts expect; the companion layer stops at the slot.
enum class NameEnd : bool { terminator, slot };

// One native argument or result, whatever its type.
class Slot {
 public:
  template <class T>
  T get() const {
    if constexpr (std::is_pointer_v<T>) {
      return reinterpret_cast<T>(bits_);
    } else if constexpr (std::is_enum_v<T>) {
      // By way of the integer of its width: the byte-wide enumeration keeps the low byte.
      return static_cast<T>(static_cast<std::underlying_type_t<T>>(bits_));
    } else {
      return static_cast<T>(bits_);
    }
  }
  template <class T>
  void set(T value) {
    if constexpr (std::is_pointer_v<T>) {
      bits_ = reinterpret_cast<std::uint64_t>(value);
    } else {
      bits_ = static_cast<std::uint64_t>(value);
    }
  }
  const void *address() const { return &bits_; }

 private:
  std::uint64_t bits_;
};

// Calls the native function with its arguments from `slots` and leaves its result in `result`: one value, or a slot's
// text and width.
using Invoke = void (*)(const Slot *slots, Slot *result);

}  // namespace vswitchpy
