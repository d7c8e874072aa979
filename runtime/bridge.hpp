// The exception bridge: how a host library aborts a call and the wrapper raises a Python exception.
#pragma once

#include "runtime/python.hpp"

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
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
  bool interrupted;
  jmp_buf target;
};

// What is going on at the bridge. One word, so that every call looks at it once; as a rule it is 0, and then a call
// costs no more. Read and written with the interpreter lock held.
// Its low half counts the calls in progress, its high half the claims: threads that hold the bridge or wait for it.
extern std::uint64_t bridge_use;
inline constexpr std::uint64_t one_call = 1;
inline constexpr std::uint64_t one_claim = std::uint64_t{1} << 32;

constexpr bool is_claimed(std::uint64_t use) {
  return use >= one_claim;
}

// ---- calls without the interpreter lock --------------------------------------------------------------------

// There is one jump target, so a call that gives the interpreter lock up holds the bridge until it is over. Everybody
// else waits for it at the bridge, without the interpreter lock. All of this is read and written with that lock held.

// Returns when no other thread holds the bridge, or when the interpreter ends.
void wait_for_bridge();

// Takes the bridge for a call of this thread that is to run without the interpreter lock. False if that is not
// possible: a library is in the middle of a call and would come back to a jump target that is not its own.
bool hold_bridge();
void give_bridge_up();

// Around a fork: no other thread is in the middle of a call then, whose work the child would find half done.
void hold_bridge_for_fork();
void give_bridge_up_in_parent();
void give_bridge_up_in_child();

// Memory that a call without the interpreter lock may be using is freed once that is over.
void free_later(void *memory);
inline void free_memory(void *memory) {
  if (is_claimed(bridge_use)) [[unlikely]] {
    free_later(memory);
  } else {
    std::free(memory);
  }
}

// ---- every call ----------------------------------------------------------------------------------------------

// The rest of enter_call where there is a call in progress or a claim.
void enter_call_beside_others(OuterCall &outer);

inline void enter_call(OuterCall &outer) {
  const std::uint64_t before = bridge_use;
  bridge_use = before + one_call;
  outer.interrupted = before;
  if (before) [[unlikely]] {
    enter_call_beside_others(outer);
  }
}

// However the call ended. Calls of different threads may end in any order: each is in a function of its script's.
inline void leave_call(const OuterCall &outer) {
  bridge_use -= one_call;
  if (outer.interrupted) [[unlikely]] {
    std::memcpy(&exception_buffer, &outer.target, sizeof outer.target);
  }
}

// Raises what the library left. Returns null.
PyObject *raise_aborted_call();

// Calls a script's function for a library that is in the middle of a call. Other threads may run meanwhile and make
// calls of their own, which need not be over: the library gets the jump target back that it had, and the bridge if it
// held that.
PyObject *call_back(PyObject *function, PyObject *const *items, std::size_t count);

}  // namespace vswitchpy
