// An interpreter for the C++ tests, started once.
#pragma once

#include <Python.h>

#include <string>

namespace vswitchpy {

inline void start_interpreter() {
  if (!Py_IsInitialized()) {
    Py_InitializeEx(0);
  }
}

// The pending error as "Class: text", cleared.
inline std::string take_error() {
  PyObject *type = nullptr;
  PyObject *value = nullptr;
  PyObject *traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  if (!type) {
    return "no error";
  }
  PyObject *text = PyObject_Str(value);
  std::string result = std::string(reinterpret_cast<PyTypeObject *>(type)->tp_name) + ": " + PyUnicode_AsUTF8(text);
  Py_DECREF(text);
  Py_XDECREF(type);
  Py_XDECREF(value);
  Py_XDECREF(traceback);
  return result;
}

inline std::string text_of(PyObject *object) {
  PyObject *text = PyObject_Str(object);
  std::string result = PyUnicode_AsUTF8(text);
  Py_DECREF(text);
  return result;
}

}  // namespace vswitchpy
