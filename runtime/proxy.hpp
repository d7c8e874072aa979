// Proxy objects: Python objects that carry a native pointer, its descriptor and an ownership flag.
#pragma once

#include "runtime/type_registry.hpp"

namespace vswitchpy {

enum class Ownership : int { borrowed = 0, owned = 1 };

// The type of this module's proxies; readied with the first one.
extern PyTypeObject proxy_type;

// A bare proxy, never wrapped in a shadow instance. New reference, or null with an error set.
PyObject *new_bare_proxy(void *pointer, swig_type_info *type, Ownership ownership);

// What a wrapper returns for a native pointer: None for null, an instance of the registered shadow
// class that holds the proxy in `this`, or the bare proxy if no class is registered. New reference.
PyObject *new_proxy(void *pointer, swig_type_info *type, Ownership ownership);

// A private copy of a byte block with its type; made only for constants that no integer or text holds.
PyObject *new_packed(const void *bytes, std::size_t size, swig_type_info *type);

enum class Disown : bool { no, yes };

// Reads the native pointer out of a proxy, an object with a proxy in its attribute `this`, or None
// (null). A null `type` accepts every pointer type. False if the object holds no such pointer; no error
// is set then. With Disown::yes the proxy found gives up its memory.
bool any_pointer_from(PyObject *object, swig_type_info *type, Disown disown, void **pointer);
inline bool pointer_from(PyObject *object, swig_type_info *type, Disown disown, void **pointer) {
  if (Py_TYPE(object) == &proxy_type && disown == Disown::no) [[likely]] {
    const auto *proxy = reinterpret_cast<SwigPyObject *>(object);
    if (proxy->ty == type) [[likely]] {
      *pointer = proxy->ptr;
      return true;
    }
  }
  return any_pointer_from(object, type, disown, pointer);
}

}  // namespace vswitchpy
