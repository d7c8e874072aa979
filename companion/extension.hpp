// The module's engine as the layer sees it, and names of the layer's own.
#pragma once

#include "runtime/engine.hpp"

namespace vswitchpy {

extern const Engine *engine;

inline const char *engine_text(TextOffset offset) {
  return engine->texts + offset;
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
