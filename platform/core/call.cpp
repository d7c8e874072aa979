// Runs the body of an exported function, and aborts the call through the module's jump buffer.
#include "platform/core/call.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <csetjmp>
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <thread>

#include "platform/core/database.hpp"
#include "platform/core/faults.hpp"
#include "platform/core/handed_out.hpp"
#include "platform/core/host.hpp"
#include "platform/core/host_row.hpp"
#include "platform/core/trace.hpp"

// The module exports the first three, the interpreter the rest. All are absent in a plain C program.
extern "C" {
extern jmp_buf exception_buffer __attribute__((weak));
extern void *exceptionType __attribute__((weak));
extern char const *exceptionMsg __attribute__((weak));
extern void *PyExc_MemoryError __attribute__((weak));
extern void *PyExc_OSError __attribute__((weak));
extern void *PyExc_RuntimeError __attribute__((weak));
extern void *PyExc_ValueError __attribute__((weak));
}

namespace host {

namespace {

// Where an abort goes to. The module's symbols, or nothing.
struct Bridge {
  jmp_buf *buffer;
  void **exception_type;
  char const **message;
};

// The message of the fault at hand. It outlives the jump; a longer text is cut.
thread_local char fault_message[4096];

Outcome faulted(ExceptionClass exception_class, Status status, char const *message) {
  std::snprintf(fault_message, sizeof fault_message, "%s", message);
  return {status, true, exception_class};
}

Outcome const done{QEL_OK, false, {}};

// What happens to one call beside its body.
struct Course {
  std::chrono::milliseconds delay{0};
  std::shared_ptr<TraceFile> trace;  // that of the host
};

void run_regardless(Database &database, Access access, CallBody body) {
  Transaction transaction(database, access == Access::write);
  body.run(body.body, database);
  if (access == Access::write)
    note_new_configuration(database);
  transaction.commit();
}

// Ends a body at its first statement.
struct FaultsExist {};

void stop_if_faults(Database &database) {
  if (has_faults(database))
    throw FaultsExist();
}

void write_without_faults(Database &database, CallBody body) {
  Transaction transaction(database, true);
  stop_if_faults(database);
  body.run(body.body, database);
  note_new_configuration(database);
  transaction.commit();
  keep_knowing_faults(database);
  keep_knowing_configuration(database);
}

// A transaction that reads is current from its first statement on, which is the body's: to look for rules with a
// statement of our own would cost more than many a body. Nothing is handed out by then.
void read_without_faults(Database &database, CallBody body) {
  Transaction transaction(database, false);
  database.after_next_step(stop_if_faults);
  try {
    body.run(body.body, database);
  } catch (Refusal const &) {
    // Wrong arguments are refused without a statement.
    if (database.withdraw_after_next_step() && !load_faults(database).empty())
      throw FaultsExist();
    throw;
  }
  database.withdraw_after_next_step();
  transaction.commit();
}

// 1. Count the call in the rules, whatever becomes of it. 2. Fail before the work, or 3. do the work, and 4. report
// the failure nevertheless.
Outcome run_with_faults(Database &database, Access access, char const *function, CallBody body, Course &course) {
  Injection injection;
  {
    Transaction transaction(database, true);
    injection = next_injection(database, function);
    transaction.commit();
  }
  course.delay = std::chrono::milliseconds(injection.milliseconds);
  if (!injection.rule) {
    run_regardless(database, access, body);
    return done;
  }
  FaultRule const &rule = *injection.rule;
  if (rule.kind == FaultKind::abort)
    throw Fault(rule.exception_class, rule.status, rule.message);
  // A call that only reads has no work that could stay done, but outputs that a failing call leaves alone.
  if (rule.kind == FaultKind::fail_after && access == Access::write)
    run_regardless(database, access, body);
  return {rule.status, false, {}};
}

Outcome run(Access access, char const *function, CallBody body, Course &course) {
  try {
    HostLock const lock;
    course.trace = HostLock::locked().trace;
    Database &database = open_host();
    if (function == not_an_exported_call) {
      run_regardless(database, access, body);
      return done;
    }
    try {
      if (access == Access::write) {
        write_without_faults(database, body);
      } else {
        read_without_faults(database, body);
      }
      return done;
    } catch (FaultsExist const &) {
      // Where nothing can be counted, no rule is in effect.
      if (database.is_read_only()) {
        run_regardless(database, access, body);
        return done;
      }
      return run_with_faults(database, access, function, body, course);
    }
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

char const *exception_name(ExceptionClass exception_class) {
  switch (exception_class) {
    case ExceptionClass::memory_error: return "MemoryError";
    case ExceptionClass::os_error: return "OSError";
    case ExceptionClass::value_error: return "ValueError";
    default: return "RuntimeError";
  }
}

// A late answer keeps nobody else waiting: neither the lock nor a transaction is held any more.
Outcome run_in_time(Access access, char const *function, CallBody body, Course &course) {
  Outcome const outcome = run(access, function, body, course);
  if (course.delay.count() > 0)
    std::this_thread::sleep_for(course.delay);
  return outcome;
}

Outcome run_untraced(Access access, char const *function, CallBody body) {
  Course course;
  return run_in_time(access, function, body, course);
}

Outcome run_traced(Access access, char const *function, CallBody body) {
  auto const start = std::chrono::steady_clock::now();
  Course course;
  Outcome const outcome = run_in_time(access, function, body, course);
  auto const taken = std::chrono::steady_clock::now() - start;
  trace_call({function, outcome.status, outcome.faulted ? exception_name(outcome.exception_class) : nullptr,
              outcome.faulted ? fault_message : nullptr,
              std::chrono::duration_cast<std::chrono::microseconds>(taken).count(), bytes_handed_out(),
              course.trace.get()});
  return outcome;
}

Outcome run_noted(Access access, char const *function, CallBody body) {
  return function && may_trace() ? run_traced(access, function, body) : run_untraced(access, function, body);
}

void *exception_object(ExceptionClass exception_class) {
  void **symbol = nullptr;
  char const *name = nullptr;
  switch (exception_class) {
    case ExceptionClass::memory_error: symbol = &PyExc_MemoryError, name = "PyExc_MemoryError"; break;
    case ExceptionClass::os_error: symbol = &PyExc_OSError, name = "PyExc_OSError"; break;
    case ExceptionClass::runtime_error: symbol = &PyExc_RuntimeError, name = "PyExc_RuntimeError"; break;
    case ExceptionClass::value_error: symbol = &PyExc_ValueError, name = "PyExc_ValueError"; break;
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

// The C and C++ libraries keep variables for each thread from its first use of them on. Where there is no memory for
// that they end the process, so it must not come as late as the first exception.
void prepare_thread() {
  fault_message[sizeof fault_message - 1] = '\0';
  [[maybe_unused]] int const volatile asked = std::uncaught_exceptions();  // or the compiler leaves it out
}

// Of the thread that loads the library.
[[maybe_unused]] bool const is_prepared = (prepare_thread(), true);

}  // namespace

Outcome run_part(Access access, CallBody body) {
  prepare_thread();
  Course course;
  return run_in_time(access, not_an_exported_call, body, course);
}

Status end_call(Outcome const &outcome) {
  return outcome.faulted ? abort_call(outcome) : outcome.status;
}

Status run_call(Access access, char const *function, CallBody body) {
  prepare_thread();
  if (trace_state.load(std::memory_order_relaxed) == TraceState::unknown)
    start_trace();
  begin_handing_out(function);
  // All objects of the call live and die inside: the jump skips no destructor.
  return end_call(run_noted(access, function, body));
}

}  // namespace host
