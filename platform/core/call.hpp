// What every exported function runs in: one transaction, exceptions turned into a status or an abort.
#pragma once

#include <type_traits>

#include "platform/core/export.hpp"
#include "platform/core/failure.hpp"

namespace host {

class Database;

enum class Access { read, write };

// A body without its type, so that the machinery behind a call is compiled once.
struct CallBody {
  void (*run)(void *body, Database &database);
  void *body;
};

// Runs the body in a transaction. A refusal rolls it back and is the result; a fault rolls it back and
// jumps out of the call, when there is a module to jump to. A body must not call functions of the caller: they
// may call the host, fork or jump. It collects what they are to see, and they run after it.
HOST_API Status run_call(Access access, CallBody body);

namespace detail {

template <typename Body>
Status call(Access access, Body &&body) {
  using Plain = std::remove_reference_t<Body>;
  // An abort jumps over the frames of the exported function: nothing there may need a destructor.
  static_assert(std::is_trivially_destructible_v<Plain>, "capture by reference");
  return run_call(access,
                  {[](void *pointer, Database &database) { (*static_cast<Plain *>(pointer))(database); }, &body});
}

}  // namespace detail

// A call that reads the state of the host.
template <typename Body>
Status query(Body &&body) {
  return detail::call(Access::read, body);
}

// A call that changes it.
template <typename Body>
Status update(Body &&body) {
  return detail::call(Access::write, body);
}

}  // namespace host
