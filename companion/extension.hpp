// The module's engine as the layer sees it, and names of the layer's own.
#pragma once

#include "runtime/engine.hpp"

namespace vswitchpy {

extern const Engine *engine;

inline const char *engine_text(TextOffset offset) {
  return engine->texts + offset;
}

// A type of the layer's own that scripts do not make: its name and the size of its instances; the rest is for the
// caller to fill in.
constexpr PyTypeObject type_of_the_layer(const char *name, std::size_t size) {
  PyTypeObject type = {};
  type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
  type.tp_name = name;
  type.tp_basicsize = static_cast<Py_ssize_t>(size);
  type.tp_flags = Py_TPFLAGS_DEFAULT | Py_TPFLAGS_DISALLOW_INSTANTIATION;
  return type;
}

// Positions in the module's method table; `no_method` where there is none.
using MethodIndex = std::uint16_t;
inline constexpr MethodIndex no_method = 0xffff;

inline const char *method_name(MethodIndex method) {
  return engine_text(engine->methods[method].name);
}

// The native module's own function. New reference.
PyObject *native_function(MethodIndex method);

// A function of the companion layer's Python part, imported when first needed. New reference.
PyObject *python_part(const char *module, const char *name);

// A name of the companion layer. New reference.
PyObject *python_name(const char *name);

}  // namespace vswitchpy
