// The exception bridge: how a host library aborts a call and the wrapper raises a Python exception.
#include "runtime/bridge.hpp"

#include "runtime/convert.hpp"

#define EXPORTED __attribute__((visibility("default")))

extern "C" {
EXPORTED jmp_buf exception_buffer;
EXPORTED int exception_status;
EXPORTED PyObject *exceptionType;
EXPORTED const char *exceptionMsg;
}

namespace vswitchpy {

int calls_in_progress = 0;

PyObject *raise_aborted_call() {
  if (!exceptionType) {
    PyErr_SetString(PyExc_SystemError, "a host library aborted the call without an exception class");
    return nullptr;
  }
  // The text may be anything the library had at hand; "surrogateescape" keeps it whole.
  PyObject *message = text_to_python(exceptionMsg);
  if (message) {
    PyErr_SetObject(exceptionType, message);
    Py_DECREF(message);
  }
  return nullptr;
}

PyObject *call_back(PyObject *function, PyObject *const *items, std::size_t count) {
  jmp_buf target;
  std::memcpy(&target, &exception_buffer, sizeof target);
  PyObject *result = PyObject_Vectorcall(function, items, count, nullptr);
  std::memcpy(&exception_buffer, &target, sizeof target);
  return result;
}

}  // namespace vswitchpy
