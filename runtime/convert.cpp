// Conversion between Python values and native scalars and texts, and the argument errors.
#include "runtime/convert.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vswitchpy {
namespace {

void raise_integer_overflow(PyObject *number) {
  PyLong_AsLong(number);
}

// Signed conversions: a number beyond 64 bits is read as -1 without a range check. The platform's scripts
// get the call and then the interpreter's error, not the argument error.
Outcome signed_from(PyObject *object, long lowest, long highest, std::uint64_t *value, Deferred *deferred) {
  if (!PyLong_Check(object)) {
    return Outcome::type_error;
  }
  int beyond = 0;
  const long number = PyLong_AsLongAndOverflow(object, &beyond);
  if (beyond) {
    deferred->set(object, raise_integer_overflow);
  } else if (number < lowest || number > highest) {
    return Outcome::overflow;
  }
  *value = static_cast<std::uint64_t>(number);
  return Outcome::ok;
}

// Whether a positive number beyond the signed 64-bit range still fits 64 bits unsigned.
bool large_unsigned_from(PyObject *object, std::uint64_t *value) {
  const std::uint64_t number = PyLong_AsUnsignedLong(object);
  if (number == static_cast<std::uint64_t>(-1) && PyErr_Occurred()) {
    PyErr_Clear();
    return false;
  }
  *value = number;
  return true;
}

// Unsigned conversions: too negative or too large for 64 bits is TypeError; a negative number within them
// is `negative`, a larger one than `highest` OverflowError.
Outcome unsigned_from(PyObject *object, std::uint64_t highest, Outcome negative, std::uint64_t *value) {
  if (!PyLong_Check(object)) {
    return Outcome::type_error;
  }
  int beyond = 0;
  const long number = PyLong_AsLongAndOverflow(object, &beyond);
  std::uint64_t magnitude = static_cast<std::uint64_t>(number);
  if (beyond > 0) {
    if (!large_unsigned_from(object, &magnitude)) {
      return Outcome::type_error;
    }
  } else if (beyond < 0) {
    return Outcome::type_error;
  } else if (number < 0) {
    return negative;
  }
  if (magnitude > highest) {
    return Outcome::overflow;
  }
  *value = magnitude;
  return Outcome::ok;
}

Outcome character_from(PyObject *object, std::uint64_t *value, Deferred *deferred) {
  if (PyUnicode_Check(object)) {
    char character = 0;
    const Outcome outcome = fixed_text_from(object, &character, 1);
    *value = static_cast<std::uint64_t>(static_cast<std::int64_t>(character));
    return outcome;
  }
  return signed_from(object, SCHAR_MIN, SCHAR_MAX, value, deferred);
}

swig_type_info *char_pointer_type() {
  // Looked up once: the registry never forgets a descriptor.
  static swig_type_info *type = nullptr;
  if (!type) {
    type = find_descriptor("_p_char");
  }
  return type;
}

}  // namespace

bool Deferred::error_left = false;

PyObject *exception_class(Outcome outcome) {
  switch (outcome) {
    case Outcome::io_error: return PyExc_IOError;
    case Outcome::index_error: return PyExc_IndexError;
    case Outcome::generic_failure:
    case Outcome::type_error: return PyExc_TypeError;
    case Outcome::division_by_zero: return PyExc_ZeroDivisionError;
    case Outcome::overflow: return PyExc_OverflowError;
    case Outcome::syntax_error: return PyExc_SyntaxError;
    case Outcome::value_error: return PyExc_ValueError;
    case Outcome::system_error: return PyExc_SystemError;
    case Outcome::attribute_error: return PyExc_AttributeError;
    case Outcome::memory_error: return PyExc_MemoryError;
    default: return PyExc_RuntimeError;
  }
}

Outcome any_scalar_from(PyObject *object, Scalar scalar, std::uint64_t *value, Deferred *deferred) {
  switch (scalar) {
    case Scalar::unsigned_8: return unsigned_from(object, UINT8_MAX, Outcome::overflow, value);
    case Scalar::unsigned_16: return unsigned_from(object, UINT16_MAX, Outcome::overflow, value);
    case Scalar::unsigned_32: return unsigned_from(object, UINT32_MAX, Outcome::overflow, value);
    case Scalar::unsigned_64: return unsigned_from(object, UINT64_MAX, Outcome::type_error, value);
    case Scalar::size: return unsigned_from(object, UINT64_MAX, Outcome::overflow, value);
    case Scalar::signed_32:
    case Scalar::signed_32_in_byte: return signed_from(object, INT32_MIN, INT32_MAX, value, deferred);
    case Scalar::character: return character_from(object, value, deferred);
  }
  return Outcome::system_error;
}

PyObject *scalar_to_python(const void *address, Scalar scalar) {
  return scalar == Scalar::character ? text_to_python(static_cast<const char *>(address), 1)
                                     : number_to_python(address, scalar);
}

Outcome any_text_from(PyObject *object, const char **text, std::size_t *size) {
  if (PyUnicode_Check(object)) {
    Py_ssize_t length = 0;
    *text = PyUnicode_AsUTF8AndSize(object, &length);
    if (!*text) {
      const bool no_memory = PyErr_ExceptionMatches(PyExc_MemoryError);
      PyErr_Clear();
      return no_memory ? Outcome::memory_error : Outcome::type_error;
    }
    *size = static_cast<std::size_t>(length) + 1;
    return Outcome::ok;
  }
  void *pointer = nullptr;
  swig_type_info *type = char_pointer_type();
  if (!type || !pointer_from(object, type, Disown::no, &pointer)) {
    return Outcome::type_error;
  }
  *text = static_cast<const char *>(pointer);
  *size = pointer ? std::strlen(*text) + 1 : 0;
  return Outcome::ok;
}

Outcome fixed_text_from(PyObject *object, char *destination, std::size_t capacity) {
  const char *text = nullptr;
  std::size_t size = 0;
  const Outcome outcome = text_from(object, &text, &size);
  if (outcome != Outcome::ok) {
    return outcome;
  }
  if (capacity == 1 && size == 2) {
    size = 1;
  }
  if (size > capacity) {
    return Outcome::type_error;
  }
  if (!destination) {
    return Outcome::ok;
  }
  if (size > 0) {
    std::memmove(destination, text, size);
  }
  std::memset(destination + size, 0, capacity - size);
  return Outcome::ok;
}

PyObject *text_to_python(const char *text, std::size_t size) {
  if (!text) {
    Py_RETURN_NONE;
  }
  if (size > INT_MAX) {
    // The platform's texts are counted by an int; a longer one stays where it is, as a `char *`.
    swig_type_info *type = char_pointer_type();
    if (!type) {
      Py_RETURN_NONE;
    }
    return new_proxy(const_cast<char *>(text), type, Ownership::borrowed);
  }
  return decoded_text(text, size);
}

PyObject *text_to_python(const char *text) {
  return text_to_python(text, text ? std::strlen(text) : 0);
}

std::size_t SWIG_strnlen(const char *text, std::size_t size) {
  return strnlen(text, size);
}

char *unused_copies[most_unused_copies];
std::size_t unused_copy_count = 0;

namespace {

// Names and types are plain ASCII, and the text is put together where it stays: the interpreter's own formatting takes
// twice as long as all the rest of an error.
PyObject *argument_error_text(const char *method, int position, const char *type) {
  const char digit = static_cast<char>('0' + position);
  const std::string_view parts[] = {"in method '", method, "', argument ", {&digit, 1}, " of type '", type, "'"};
  std::size_t size = 0;
  for (const std::string_view &part : parts) {
    size += part.size();
  }
  PyObject *text = PyUnicode_New(static_cast<Py_ssize_t>(size), 127);
  if (text) {
    Py_UCS1 *out = PyUnicode_1BYTE_DATA(text);
    for (const std::string_view &part : parts) {
      std::memcpy(out, part.data(), part.size());
      out += part.size();
    }
  }
  return text;
}

}  // namespace

PyObject *argument_error(Outcome outcome, const char *method, int position, const char *type) {
  PyObject *text = argument_error_text(method, position, type);
  if (text) {
    PyErr_SetObject(exception_class(outcome), text);
    Py_DECREF(text);
  }
  return nullptr;
}

PyObject *null_reference_error(const char *method, int position, const char *type) {
  return PyErr_Format(PyExc_ValueError, "invalid null reference in method '%s', argument %d of type '%s'", method,
                      position, type);
}

PyObject *null_variable_error(const char *field, const char *type) {
  return PyErr_Format(PyExc_ValueError, "invalid null reference in variable '%s' of type '%s'", field, type);
}

PyObject *argument_count_error(Arguments arguments, int expected, const char *name) {
  static_assert(sizeof("OOOOOOOO") - 1 == most_arguments);
  char format[most_arguments + sizeof(":") + longest_function_name];
  std::snprintf(format, sizeof format, "%.*s:%s", expected, "OOOOOOOO", name);
  PyObject *tuple = PyTuple_New(arguments.count);
  for (Py_ssize_t i = 0; tuple && i < arguments.count; ++i) {
    PyTuple_SET_ITEM(tuple, i, Py_NewRef(arguments.items[i]));
  }
  PyObject *ignored[most_arguments];
  if (tuple) {
    PyArg_ParseTuple(tuple, format, &ignored[0], &ignored[1], &ignored[2], &ignored[3], &ignored[4], &ignored[5],
                     &ignored[6], &ignored[7]);
    Py_DECREF(tuple);
  }
  return nullptr;
}

}  // namespace vswitchpy
