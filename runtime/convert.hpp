// Conversion between Python values and native scalars and texts, and the argument errors.
#pragma once

#include "runtime/proxy.hpp"

#include <bit>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace vswitchpy {

// What a conversion reports; the negative kinds are the runtime's own numbers.
enum class Outcome : int {
  ok = 0,
  generic_failure = -1,
  io_error = -2,
  runtime_error = -3,
  index_error = -4,
  type_error = -5,
  division_by_zero = -6,
  overflow = -7,
  syntax_error = -8,
  value_error = -9,
  system_error = -10,
  attribute_error = -11,
  memory_error = -12,
};

// The exception class of a kind (borrowed); RuntimeError for an unknown one.
PyObject *exception_class(Outcome outcome);

// How a scalar converts. Width and C++ type follow from it.
enum class Scalar : std::uint8_t {
  unsigned_8,
  unsigned_16,
  unsigned_32,
  unsigned_64,        // negative: TypeError
  size,               // as wide, but negative: OverflowError
  signed_32,          // int and the enumerations
  signed_32_in_byte,  // the one-byte enumeration: the range of int, of which the low byte is kept
  character,          // qel_Bool: one character or a signed byte
};

// An int conversion that the interpreter must still complain about. A number beyond 64 bits is passed on
// as -1, and data that is no buffer as null; the interpreter's own error is raised only once the call is
// over, so that everything between runs as if nothing were pending. Scripts rely on the call being made.
class Deferred {
 public:
  void set(PyObject *offender, void (*raise_error)(PyObject *)) {
    offender_ = offender;
    raise_error_ = raise_error;
  }
  // Sets the error if there is one; the result stays as it is.
  void raise() const {
    if (offender_) [[unlikely]] {
      raise_error_(offender_);
      error_left = true;
    }
  }

  // A function has returned a result with an error pending. Whoever calls functions without the interpreter's own check
  // looks here and resets it: asking the interpreter costs a tenth of a call, and a fifth of a setter.
  static bool error_left;

 private:
  PyObject *offender_ = nullptr;  // borrowed from the argument tuple
  void (*raise_error_)(PyObject *) = nullptr;
};

// The largest number that the scalar takes.
constexpr std::uint64_t highest(Scalar scalar) {
  switch (scalar) {
    case Scalar::unsigned_8: return UINT8_MAX;
    case Scalar::unsigned_16: return UINT16_MAX;
    case Scalar::unsigned_32: return UINT32_MAX;
    case Scalar::unsigned_64:
    case Scalar::size: return UINT64_MAX;
    case Scalar::signed_32:
    case Scalar::signed_32_in_byte: return INT32_MAX;
    case Scalar::character: return SCHAR_MAX;
  }
  return 0;
}

// The value of a plain int from 0 to 2**60 - 1; false for anything else. A number has 30 bits in each of its digits.
inline bool short_number(PyObject *object, std::uint64_t *value) {
  if (!PyLong_CheckExact(object)) {
    return false;
  }
  static_assert(PyLong_SHIFT == 30);
  const auto *digits = reinterpret_cast<PyLongObject *>(object)->ob_digit;
  const Py_ssize_t count = Py_SIZE(object);
  if (count == 1) {
    *value = digits[0];
  } else if (count == 2) {
    *value = digits[0] | static_cast<std::uint64_t>(digits[1]) << PyLong_SHIFT;
  } else {
    *value = 0;
    return count == 0;
  }
  return true;
}

// Converts to the scalar's native value, widened to 64 bits. On failure no error is set.
Outcome any_scalar_from(PyObject *object, Scalar scalar, std::uint64_t *value, Deferred *deferred);
inline Outcome scalar_from(PyObject *object, Scalar scalar, std::uint64_t *value, Deferred *deferred) {
  std::uint64_t number = 0;
  if (short_number(object, &number) && number <= highest(scalar)) [[likely]] {
    *value = number;
    return Outcome::ok;
  }
  return any_scalar_from(object, scalar, value, deferred);
}

// Reading and storing at an address that need not be aligned.
template <class T>
T load(const void *address) {
  T value;
  std::memcpy(&value, address, sizeof value);
  return value;
}

constexpr std::size_t scalar_width(Scalar scalar) {
  switch (scalar) {
    case Scalar::unsigned_16: return 2;
    case Scalar::unsigned_32:
    case Scalar::signed_32: return 4;
    case Scalar::unsigned_64:
    case Scalar::size: return 8;
    default: return 1;
  }
}

inline void store_scalar(void *address, Scalar scalar, std::uint64_t value) {
  // Little-endian: the low bytes come first.
  switch (scalar_width(scalar)) {
    case 1: std::memcpy(address, &value, 1); break;
    case 2: std::memcpy(address, &value, 2); break;
    case 4: std::memcpy(address, &value, 4); break;
    default: std::memcpy(address, &value, 8);
  }
}

// Of any scalar but a character.
inline PyObject *number_to_python(const void *address, Scalar scalar) {
  switch (scalar) {
    case Scalar::unsigned_16: return PyLong_FromLong(load<std::uint16_t>(address));
    case Scalar::unsigned_32: return PyLong_FromLong(load<std::uint32_t>(address));
    case Scalar::unsigned_64:
    case Scalar::size: return PyLong_FromUnsignedLong(load<std::uint64_t>(address));
    case Scalar::signed_32: return PyLong_FromLong(load<std::int32_t>(address));
    default: return PyLong_FromLong(load<std::uint8_t>(address));
  }
}
PyObject *scalar_to_python(const void *address, Scalar scalar);

// UTF-8 of a str, or the text that a `char *` proxy points at, or null for None. Borrowed: valid while the
// object lives. `size` counts the terminator and is 0 for a null text.
Outcome any_text_from(PyObject *object, const char **text, std::size_t *size);
inline Outcome text_from(PyObject *object, const char **text, std::size_t *size) {
  if (PyUnicode_Check(object) && PyUnicode_IS_COMPACT_ASCII(object)) [[likely]] {
    *text = static_cast<const char *>(PyUnicode_DATA(object));
    *size = static_cast<std::size_t>(PyUnicode_GET_LENGTH(object)) + 1;
    return Outcome::ok;
  }
  return any_text_from(object, text, size);
}

// Fills all `capacity` bytes: the text, then zeros. At most capacity - 1 bytes of text fit; a single byte
// of capacity takes one character without its terminator. None gives zeros. The destination is written only once the
// text is known to fit, and may be where it came from; without one, the text is only checked.
Outcome fixed_text_from(PyObject *object, char *destination, std::size_t capacity);

// A text decoded from UTF-8 with "surrogateescape"; None for null. New reference.
PyObject *text_to_python(const char *text);
PyObject *text_to_python(const char *text, std::size_t size);

// As strnlen, without a call: names are short, and eight bytes at a time are looked at.
inline std::size_t field_text_size(const char *text, std::size_t capacity) {
  constexpr std::uint64_t high_bits = 0x8080808080808080;
  constexpr std::uint64_t low_bits = 0x0101010101010101;
  std::size_t size = 0;
  for (; size + sizeof(std::uint64_t) <= capacity; size += sizeof(std::uint64_t)) {
    const auto word = load<std::uint64_t>(text + size);
    // The lowest of these bits stands in the first byte that is zero.
    if (const std::uint64_t ends = (word - low_bits) & ~word & high_bits) {
      return size + static_cast<std::size_t>(std::countr_zero(ends)) / 8;
    }
  }
  while (size < capacity && text[size]) {
    ++size;
  }
  return size;
}

// As text_to_python of a text that is there and no longer than a platform's text can be.
inline PyObject *decoded_text(const char *text, std::size_t size) {
  return PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(size), "surrogateescape");
}

// Length of the text in at most `size` bytes.
extern "C" __attribute__((visibility("default"))) std::size_t SWIG_strnlen(const char *text, std::size_t size);

// Blocks for short copies, kept for the next call. A block whose call was aborted never comes back here. Not where a
// sanitizer should see each copy.
#ifdef __SANITIZE_ADDRESS__
inline constexpr std::size_t short_copy = 0;
#else
inline constexpr std::size_t short_copy = 64;
#endif
inline constexpr std::size_t most_unused_copies = 16;
extern char *unused_copies[most_unused_copies];
extern std::size_t unused_copy_count;

// Private, terminated copies of the texts of one call. They are released by the frame that made them, and
// not at all when the host aborts the call: the host may still point at them then. Null without memory.
inline char *new_copy(std::size_t size) {
  if (size <= short_copy && unused_copy_count) {
    return unused_copies[--unused_copy_count];
  }
  return static_cast<char *>(std::malloc(size <= short_copy ? short_copy : size));
}
inline char *copy_text(const char *text, std::size_t size) {
  char *copy = new_copy(size);
  if (copy) {
    std::memcpy(copy, text, size);
  }
  return copy;
}
inline void release_text(char *copy, std::size_t size) {
  if (copy && size <= short_copy && unused_copy_count < most_unused_copies) {
    unused_copies[unused_copy_count++] = copy;
  } else {
    std::free(copy);
  }
}

// "in method 'NAME', argument N of type 'TYPE'" and its null-reference forms. All return null with the
// error set. `method` and `type` end at their terminators.
PyObject *argument_error(Outcome outcome, const char *method, int position, const char *type);
PyObject *null_reference_error(const char *method, int position, const char *type);
PyObject *null_variable_error(const char *field, const char *type);

// The positional arguments that the interpreter passes, borrowed.
struct Arguments {
  PyObject *const *items;
  Py_ssize_t count;
};

inline Arguments arguments_in(PyObject *tuple) {
  return {reinterpret_cast<PyTupleObject *>(tuple)->ob_item, PyTuple_GET_SIZE(tuple)};
}

// As many as a function of the interface can have, and the length of its name.
inline constexpr std::size_t most_arguments = 8;
inline constexpr std::size_t longest_function_name = 100;

// Raises the interpreter's own error for a wrong argument count: as PyArg_ParseTuple with one "O" for each
// argument, a colon and the name.
PyObject *argument_count_error(Arguments arguments, int expected, const char *name);

}  // namespace vswitchpy
