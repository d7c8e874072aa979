// The module's functions as the companion layer calls and offers them.
#pragma once

#include "companion/extension.hpp"

namespace vswitchpy {

// Sets up what the functions below need. False with the error set.
bool prepare_functions();

// Calls a function of the module as the interpreter would: a result with an error pending becomes the
// interpreter's SystemError (checked_result). Notes what is handed out and what is taken back.
PyObject *call_function(MethodIndex method, Arguments arguments);
PyObject *checked_result(MethodIndex method, PyObject *result);

// As call_function, with the interpreter lock released while a function of a library works.
PyObject *call_without_lock(MethodIndex method, Arguments arguments);

// Position of a function of the native module, or of one that this layer offers for it; no_method for anything else.
MethodIndex index_of_function(PyObject *function);

// As call_function for a function of a record: a view in the result keeps the record alive.
PyObject *call_method(MethodIndex method, Arguments arguments);

// A function of the module with its documentation, for the companion layer's dictionary.
PyObject *new_function(MethodIndex method, PyObject *module, PyObject *module_name);

}  // namespace vswitchpy
