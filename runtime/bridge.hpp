// The exception bridge: how a host library aborts a call and the wrapper raises a Python exception.
#pragma once

#include <Python.h>

#include <csetjmp>
#include <cstddef>
#include <cstring>

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

// The call that is interrupted when a library calls back and the script calls the module from there: it gets its jump
// target back afterwards. Trivial on purpose, see above; filled only when there is such a call.
struct OuterCall {
  int depth;
  jmp_buf target;
};
extern int calls_in_progress;

inline void enter_call(OuterCall &outer) {
  outer.depth = calls_in_progress++;
  if (outer.depth) [[unlikely]] {
    std::memcpy(&outer.target, &exception_buffer, sizeof outer.target);
  }
}

// However the call ended. Calls of different threads may end in any order: each is in a function of its script's.
inline void leave_call(const OuterCall &outer) {
  --calls_in_progress;
  if (outer.depth) [[unlikely]] {
    std::memcpy(&exception_buffer, &outer.target, sizeof outer.target);
  }
}

// Raises what the library left. Returns null.
PyObject *raise_aborted_call();

// Calls a script's function for a library that is in the middle of a call. Other threads may run meanwhile and make
// calls of their own, which need not be over: the library gets the jump target back that it had.
PyObject *call_back(PyObject *function, PyObject *const *items, std::size_t count);

}  // namespace vswitchpy
