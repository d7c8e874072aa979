// What every exported function runs in: one transaction, exceptions turned into a status or an abort.
#pragma once

#include <type_traits>

#include "platform/core/export.hpp"
#include "platform/core/failure.hpp"
#include "platform/core/trace.hpp"

namespace host {

class Database;

enum class Access { read, write };

// A body without its type, so that the machinery behind a call is compiled once.
struct CallBody {
  void (*run)(void *body, Database &database);
  void *body;
};

// In place of the name of an exported function: faults on demand pass by, and the trace does not have it.
inline constexpr char const *not_an_exported_call = nullptr;

// Runs the body in a transaction, or in a snapshot if it only reads. A refusal rolls it back and is the result; a fault
// rolls it back and jumps out of the call, when there is a module to jump to. Faults on demand come in here. A body
// must not call functions of the caller: they may call the host, fork or jump. It collects what they are to see, and
// they run after it.
HOST_API Status run_call(Access access, char const *function, CallBody body);

// How a body ended: with a status, or with a fault.
struct Outcome {
  Status status;
  bool faulted;
  ExceptionClass exception_class;
};

// A part of a call that has something to clear up before it may be aborted, which end_call() does where there was a
// fault.
HOST_API Outcome run_part(Access access, CallBody body);
HOST_API Status end_call(Outcome const &outcome);

namespace detail {

template <typename Body>
CallBody plain_body(Body &body) {
  // An abort jumps over the frames of the exported function: nothing there may need a destructor.
  static_assert(std::is_trivially_destructible_v<Body>, "capture by reference");
  return {[](void *pointer, Database &database) { (*static_cast<Body *>(pointer))(database); },
          const_cast<std::remove_const_t<Body> *>(&body)};
}

}  // namespace detail

// A call that reads the state of the host. `function` is the exported function: what serves several of them takes it
// as its own last parameter in the same way.
template <typename Body>
Status query(Body &&body, char const *function = __builtin_FUNCTION()) {
  return run_call(Access::read, function, detail::plain_body(body));
}

// A call that changes it.
template <typename Body>
Status update(Body &&body, char const *function = __builtin_FUNCTION()) {
  return run_call(Access::write, function, detail::plain_body(body));
}

template <typename Body>
Outcome query_part(Body &&body) {
  return run_part(Access::read, detail::plain_body(body));
}

}  // namespace host
