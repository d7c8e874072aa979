// The exception bridge: how a host library aborts a call and the wrapper raises a Python exception.
#pragma once

#include <Python.h>

#include <csetjmp>
#include <cstddef>

// A library that cannot go on stores an exception class and a message here and jumps to
// `exception_buffer` with a non-zero value. Names, types and sizes are part of the binary interface with
// the closed libraries, which find them by name in this module.
extern "C" {
extern jmp_buf exception_buffer;
extern int exception_status;
extern PyObject *exceptionType;   // never released by the module
extern const char *exceptionMsg;  // likewise; must stay valid until the wrapper has raised it
}

static_assert(sizeof(jmp_buf) == 200, "the closed libraries jump into this buffer");

// True when the bridge is armed, false when a library has jumped back. A macro because a jump target is
// gone as soon as the function that set it returns. Between it and the end of the library call the calling
// function must not create anything that needs a destructor: a jump would skip it.
// setjmp, not sigsetjmp: saving the signal mask would cost two system calls for each wrapped call.
#define VSWITCHPY_BRIDGE_ARMED() ((exception_status = _setjmp(exception_buffer)) == 0)

namespace vswitchpy {

// Raises what the library left. Returns null.
PyObject *raise_aborted_call();

}  // namespace vswitchpy
