// Type descriptors: registration in the process-wide runtime record, lookup, and class data.
#pragma once

#include "runtime/shared_runtime.hpp"

#include <cstdint>

namespace vswitchpy {

// Position of a descriptor in this module's sorted table.
using TypeIndex = std::uint16_t;
inline constexpr TypeIndex no_type = 0xffff;

// This module's descriptors as declared; `initial` must be sorted by mangled name in byte order.
struct TypeTable {
  swig_type_info *initial;
  swig_cast_info *casts;       // one per type, followed by an empty one each: casts[2 * i]
  swig_type_info **types;      // size + 1: filled by registration, possibly with other modules' descriptors
  swig_type_info **type_list;  // size: addresses of `initial`
  swig_cast_info **cast_list;  // size: addresses of `casts[2 * i]`
  std::size_t size;
};

// Publishes the table, or joins the ring that another module published. A second call in the same
// process finds itself in the ring and changes nothing.
void register_types(const TypeTable &table);

extern swig_type_info **registered_types;

inline swig_type_info *descriptor(TypeIndex index) {
  return index == no_type ? nullptr : registered_types[index];
}

// The descriptor of a mangled name anywhere in the ring, or null.
swig_type_info *find_descriptor(const char *mangled_name);

// The spelling that a person reads: the display string after its last bar, else the mangled name,
// else "unknown".
const char *pretty_name(const swig_type_info *type);

// Whether a pointer described by `from` may be used as `to`; converts it in place.
bool cast_pointer(const swig_type_info *from, const swig_type_info *to, void **pointer);

// Attaches a shadow class to the descriptor and to those that its casts lead to. False with a Python
// error set if memory is gone.
bool register_class(swig_type_info *type, PyObject *shadow_class);

// Whether the interpreter's shutdown has taken the classes away already: what is still alive then goes with the
// process.
bool classes_released();

// The interned attribute name "this"; borrowed, null with an error set if memory is gone.
PyObject *this_name();

}  // namespace vswitchpy
