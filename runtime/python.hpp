// The interpreter's interface, of the one version that the module is built for.
#pragma once

#include <Python.h>

#include <cstddef>
#include <cstring>

static_assert(PY_MAJOR_VERSION == 3 && PY_MINOR_VERSION == 11, "the module reads what Python 3.11 lays out");

// Not in every version from 3.6 to 3.13: weak, so that another one loads the module, and is told what is wrong.
#pragma weak PyCMethod_New
#pragma weak PyImport_GetModule
#pragma weak PyInterpreterState_Get
#pragma weak PyModule_AddObjectRef
#pragma weak PyObject_CallNoArgs
#pragma weak PyObject_CallOneArg
#pragma weak PyObject_Vectorcall
#pragma weak PyVectorcall_Call
#pragma weak _PyErr_ChainExceptions
#pragma weak _PyThreadState_UncheckedGet
#pragma weak _Py_IsFinalizing

namespace vswitchpy {

// Whether the interpreter that loads the module `name` is of the version that it is built for; else ImportError is set.
inline bool version_fits(const char *name) {
  constexpr char built_for[] = "3.11";
  constexpr std::size_t size = sizeof built_for - 1;
  const char *running = Py_GetVersion();
  if (std::strncmp(running, built_for, size) == 0 && (running[size] < '0' || running[size] > '9')) {
    return true;
  }
  const char *end = std::strpbrk(running, " +");
  char version[32] = {};
  std::memcpy(version, running, end && end - running < 31 ? static_cast<std::size_t>(end - running) : 0);
  PyErr_Format(PyExc_ImportError, "%s is built for Python %s, and this is Python %s", name, built_for, version);
  return false;
}

}  // namespace vswitchpy
