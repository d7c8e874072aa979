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

std::uint64_t bridge_use = 0;

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

// ---- calls without the interpreter lock --------------------------------------------------------------------

namespace {

std::uint64_t calls_in_progress() {
  return bridge_use % one_claim;
}

PyThreadState *bridge_holder = nullptr;
// Locked while there is a holder. Made with the first one, and never taken down.
PyThread_type_lock bridge_lock = nullptr;
bool held_for_fork = false;

// A call whose library is calling a script back: others may call meanwhile, for which it lends the bridge if it holds
// that. Stands in the frame of call_back.
struct LentCall {
  PyThreadState *thread;
  bool held;
  LentCall *before;
  LentCall *behind;
};
LentCall *lent_calls = nullptr;

std::uint64_t count_lent_calls() {
  std::uint64_t count = 0;
  for (const LentCall *call = lent_calls; call; call = call->behind) {
    ++count;
  }
  return count;
}

void lend(LentCall &call) {
  call = {PyThreadState_Get(), bridge_holder == PyThreadState_Get(), nullptr, lent_calls};
  if (lent_calls) {
    lent_calls->before = &call;
  }
  lent_calls = &call;
}

void forget(const LentCall &call) {
  (call.before ? call.before->behind : lent_calls) = call.behind;
  if (call.behind) {
    call.behind->before = call.before;
  }
}

void lock_bridge() {
  if (PyThread_acquire_lock(bridge_lock, NOWAIT_LOCK)) {
    return;
  }
  PyThreadState *self = PyEval_SaveThread();
  PyThread_acquire_lock(bridge_lock, WAIT_LOCK);
  PyEval_RestoreThread(self);
}

void take_bridge() {
  bridge_use += one_claim;
  lock_bridge();
  bridge_holder = PyThreadState_Get();
}

// ---- memory that is freed later

void **unfreed = nullptr;
std::size_t unfreed_count = 0;
std::size_t unfreed_room = 0;

void free_unfreed() {
  while (unfreed_count) {
    std::free(unfreed[--unfreed_count]);
  }
}

}  // namespace

void wait_for_bridge() {
  // Threads do not come back from a call once the interpreter ends: that one's jump target is put back behind ours.
  if (!bridge_holder || bridge_holder == PyThreadState_Get() || _Py_IsFinalizing()) {
    return;
  }
  bridge_use += one_claim;
  lock_bridge();
  // With the interpreter lock nobody else takes the bridge before this call is over.
  PyThread_release_lock(bridge_lock);
  bridge_use -= one_claim;
}

void enter_call_beside_others(OuterCall &outer) {
  // A call that waits is not in progress yet.
  bridge_use -= one_call;
  if (is_claimed(bridge_use)) {
    wait_for_bridge();
  }
  outer.interrupted = calls_in_progress();
  bridge_use += one_call;
  if (outer.interrupted) {
    std::memcpy(&outer.target, &exception_buffer, sizeof outer.target);
  }
}

bool hold_bridge() {
  if (!bridge_lock && !(bridge_lock = PyThread_allocate_lock())) {
    return false;
  }
  if (bridge_holder == PyThreadState_Get() || calls_in_progress() != count_lent_calls()) {
    return false;
  }
  take_bridge();
  if (calls_in_progress() != count_lent_calls()) {
    give_bridge_up();
    return false;
  }
  return true;
}

void give_bridge_up() {
  bridge_holder = nullptr;
  PyThread_release_lock(bridge_lock);
  // Those who wait may have been given the addresses already.
  bridge_use -= one_claim;
  if (!is_claimed(bridge_use)) {
    free_unfreed();
  }
}

void hold_bridge_for_fork() {
  if (bridge_lock && bridge_holder != PyThreadState_Get()) {
    take_bridge();
    held_for_fork = true;
  }
}

void give_bridge_up_in_parent() {
  if (held_for_fork) {
    held_for_fork = false;
    give_bridge_up();
  }
}

void give_bridge_up_in_child() {
  // The calls of other threads did not come along.
  bridge_use = calls_in_progress() + (bridge_holder ? one_claim : 0);
  for (const LentCall *call = lent_calls; call; call = call->behind) {
    if (call->thread != PyThreadState_Get()) {
      bridge_use -= one_call;
      forget(*call);
    } else if (call->held) {
      bridge_use += one_claim;
    }
  }
  give_bridge_up_in_parent();
}

void free_later(void *memory) {
  if (unfreed_count == unfreed_room) {
    const std::size_t room = unfreed_room ? 2 * unfreed_room : 64;
    void *grown = std::realloc(unfreed, room * sizeof *unfreed);
    if (!grown) {
      return;  // lost, which is better than used
    }
    unfreed = static_cast<void **>(grown);
    unfreed_room = room;
  }
  unfreed[unfreed_count++] = memory;
}

PyObject *call_back(PyObject *function, PyObject *const *items, std::size_t count) {
  jmp_buf target;
  std::memcpy(&target, &exception_buffer, sizeof target);
  LentCall call;
  lend(call);
  if (call.held) {
    // Still with a claim: memory that the call uses stays.
    bridge_holder = nullptr;
    PyThread_release_lock(bridge_lock);
  }
  PyObject *result = PyObject_Vectorcall(function, items, count, nullptr);
  if (call.held) {
    lock_bridge();
    bridge_holder = call.thread;
  } else if (is_claimed(bridge_use)) [[unlikely]] {
    wait_for_bridge();
  }
  forget(call);
  std::memcpy(&exception_buffer, &target, sizeof target);
  return result;
}

}  // namespace vswitchpy
