// The link object `cvar`: native global variables as attributes.
#pragma once

#include "runtime/python.hpp"

namespace vswitchpy {

// A native global variable. All of this interface are read-only: `refuse` sets the error of an assignment.
struct LinkedVariable {
  const char *name;
  PyObject *(*read)();
  void (*refuse)();
};

// Defined by the interface.
extern const LinkedVariable linked_variables[];
extern const int linked_variable_count;

// A link object without variables. New reference, or null with an error set.
PyObject *new_variable_link();

// Makes the variable of that name an attribute.
void link_variable(PyObject *link, const char *name);

}  // namespace vswitchpy
