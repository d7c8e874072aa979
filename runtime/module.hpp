// The module frame: what the interface hands to it, and the ready-made functions it offers.
#pragma once

#include "runtime/type_registry.hpp"
#include "runtime/variable_link.hpp"

namespace vswitchpy {

struct Engine;

// Defined by the interface's tables.
extern PyMethodDef *const module_methods;
extern const TypeTable module_types;
extern const Engine module_engine;

// What the module dictionary gets, in declaration order: for each item a kind character, the name, and for a
// text its value, all terminated, with an empty text at the end. The values of the integers stand in an array
// of their own.
enum class ItemKind : char { integer = 'i', text = 's', variable = 'v' };
extern const char *const constant_texts;
extern const long long *const constant_integers;

// SWIG_PyInstanceMethod_New(func): an instance method object around `func`.
PyObject *new_instance_method(PyObject *module, PyObject *function);

}  // namespace vswitchpy
