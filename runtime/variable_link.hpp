// The link object `cvar`: native global variables as attributes.
#pragma once

#include "runtime/python.hpp"

namespace vswitchpy {

// A native global variable. Both of this interface are read-only: `refuse` sets the error of an assignment.
struct LinkedVariable {
  const char *name;
  PyObject *(*read)();
  void (*refuse)();
};

// A link object without variables. New reference, or null with an error set.
PyObject *new_variable_link();

// Adds a variable in front of those that are linked already. False with an error set if memory is gone.
bool link_variable(PyObject *link, const LinkedVariable &variable);

}  // namespace vswitchpy
