// The one call that no row describes.
#pragma once

#include "runtime/python.hpp"

namespace vswitchpy {

// Panic(fmt, ...): hands the first argument to the host's log; the others are dropped unread.
PyObject *panic(PyObject *module, PyObject *tuple);

}  // namespace vswitchpy
