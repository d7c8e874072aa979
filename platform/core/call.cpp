// Runs the body of an exported function, and aborts the call through the module's jump buffer.
#include "platform/core/call.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <exception>
#include <new>

#include "platform/core/database.hpp"
#include "platform/core/state_file.hpp"

// The module exports the first three, the interpreter the rest. All are absent in a plain C program.
extern "C" {
extern jmp_buf exception_buffer __attribute__((weak));
extern void *exceptionType __attribute__((weak));
extern char const *exceptionMsg __attribute__((weak));
extern void *PyExc_MemoryError __attribute__((weak));
extern void *PyExc_OSError __attribute__((weak));
extern void *PyExc_RuntimeError __attribute__((weak));
}

namespace host {

namespace {

// Where an abort goes to. The module's symbols, or nothing.
struct Bridge {
  jmp_buf *buffer;
  void **exception_type;
  char const **message;
};

struct Outcome {
  Status status;
  bool faulted;
  ExceptionClass exception_class;
};

// The message of the fault at hand. It outlives the jump; a longer text is cut.
thread_local char fault_message[4096];

Outcome faulted(ExceptionClass exception_class, Status status, char const *message) {
  std::snprintf(fault_message, sizeof fault_message, "%s", message);
  return {status, true, exception_class};
}

Outcome run(Access access, CallBody body) {
  try {
    HostLock lock;
    Database &database = open_host();
    Transaction transaction(database, access == Access::write);
    body.run(body.body, database);
    transaction.commit();
    return {QEL_OK, false, {}};
  } catch (Refusal const &refusal) {
    return {refusal.status(), false, {}};
  } catch (Fault const &fault) {
    return faulted(fault.exception_class(), fault.status(), fault.message().c_str());
  } catch (std::bad_alloc const &) {
    return faulted(ExceptionClass::memory_error, QEL_NO_MEMORY, "the host has no memory left");
  } catch (std::exception const &defect) {
    return faulted(ExceptionClass::runtime_error, QEL_FAILURE, defect.what());
  }
}

void *exception_object(ExceptionClass exception_class) {
  void **symbol = nullptr;
  char const *name = nullptr;
  switch (exception_class) {
    case ExceptionClass::memory_error: symbol = &PyExc_MemoryError, name = "PyExc_MemoryError"; break;
    case ExceptionClass::os_error: symbol = &PyExc_OSError, name = "PyExc_OSError"; break;
    case ExceptionClass::runtime_error: symbol = &PyExc_RuntimeError, name = "PyExc_RuntimeError"; break;
  }
  if (!symbol)
    symbol = static_cast<void **>(dlsym(RTLD_DEFAULT, name));
  return symbol ? *symbol : nullptr;
}

Bridge find_bridge() {
  if (&exception_buffer && &exceptionType && &exceptionMsg) {
    return {&exception_buffer, &exceptionType, &exceptionMsg};
  }
  // Loaded before the module: the references stayed unbound.
  void *module = dlopen("libvswitchpy.so", RTLD_LAZY | RTLD_NOLOAD);
  if (!module)
    return {};
  Bridge bridge{static_cast<jmp_buf *>(dlsym(module, "exception_buffer")),
                static_cast<void **>(dlsym(module, "exceptionType")),
                static_cast<char const **>(dlsym(module, "exceptionMsg"))};
  dlclose(module);
  return bridge;
}

// A jump buffer that no setjmp has filled is all zeros; jumping there would end the process.
bool is_armed(jmp_buf const *buffer) {
  auto const *bytes = reinterpret_cast<unsigned char const *>(buffer);
  return std::any_of(bytes, bytes + sizeof(jmp_buf), [](unsigned char byte) { return byte != 0; });
}

Status abort_call(Outcome const &outcome) {
  Bridge const bridge = find_bridge();
  void *const exception = exception_object(outcome.exception_class);
  if (!bridge.buffer || !bridge.exception_type || !bridge.message || !exception || !is_armed(bridge.buffer)) {
    std::fprintf(stderr, "vswitch host: %s\n", fault_message);
    return outcome.status;
  }
  *bridge.exception_type = exception;
  *bridge.message = fault_message;
  std::longjmp(*bridge.buffer, 1);
}

}  // namespace

Status run_call(Access access, CallBody body) {
  // All objects of the call live and die inside run(): the jump skips no destructor.
  Outcome const outcome = run(access, body);
  return outcome.faulted ? abort_call(outcome) : outcome.status;
}

}  // namespace host
