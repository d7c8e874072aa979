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

namespace detail {

template <typename Body>
Status call(Access access, char const *function, Body &&body) {
  using Plain = std::remove_reference_t<Body>;
  // An abort jumps over the frames of the exported function: nothing there may need a destructor.
  static_assert(std::is_trivially_destructible_v<Plain>, "capture by reference");
  return run_call(access, function,
                  {[](void *pointer, Database &database) { (*static_cast<Plain *>(pointer))(database); },
                   const_cast<std::remove_const_t<Plain> *>(&body)});
}

}  // namespace detail

// A call that reads the state of the host. `function` is the exported function: what serves several of them takes it
// as its own last parameter in the same way.
template <typename Body>
Status query(Body &&body, char const *function = __builtin_FUNCTION()) {
  return detail::call(Access::read, function, body);
}

// A call that changes it.
template <typename Body>
Status update(Body &&body, char const *function = __builtin_FUNCTION()) {
  return detail::call(Access::write, function, body);
}

}  // namespace host
