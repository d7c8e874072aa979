// What functions of the module's own return when a number, a text or a pointer does not say it.
#pragma once

#include "runtime/python.hpp"

#include <cstddef>
#include <string_view>

namespace vswitchpy {

// What an extension returns when the proxy is to own it.
template <class T>
struct Owned {
  T *pointer;
};

// A name in a slot of fixed width; a null text is None.
struct SlotText {
  const char *text;
  std::size_t width;
};

// What an extension returns when it makes the Python object itself: a new reference, or null with an error
// set. The annotation says in Python's terms what it can be.
struct TextObject {
  PyObject *object;
  static constexpr std::string_view annotation = "str | None";
};
struct BytesObject {
  PyObject *object;
  static constexpr std::string_view annotation = "bytes";
};
struct IntegerOrBytesObject {
  PyObject *object;
  static constexpr std::string_view annotation = "int | bytes";
};

}  // namespace vswitchpy
