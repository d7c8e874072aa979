// The two ways in which a call fails: a refusal becomes a status, a fault aborts the call.
#pragma once

#include <string>

#include "platform/core/constants.hpp"
#include "platform/core/export.hpp"

namespace host {

using Status = int;

// The call cannot be done, and a status says why.
class HOST_API Refusal {
 public:
  explicit Refusal(Status status) : status_(status) {}
  Status status() const { return status_; }

 private:
  Status status_;
};

// The Python exception that an aborted call raises.
// The numbers stand in the state file.
enum class ExceptionClass { runtime_error = 0, os_error = 1, memory_error = 2, value_error = 3 };

// What no status can say. `status` is for callers that have no exceptions to raise.
class HOST_API Fault {
 public:
  Fault(ExceptionClass exception_class, Status status, std::string message)
      : exception_class_(exception_class), status_(status), message_(std::move(message)) {}
  ExceptionClass exception_class() const { return exception_class_; }
  Status status() const { return status_; }
  std::string const &message() const { return message_; }

 private:
  ExceptionClass exception_class_;
  Status status_;
  std::string message_;
};

[[noreturn]] inline void refuse(Status status) {
  throw Refusal(status);
}

inline void refuse_if(bool condition, Status status) {
  if (condition)
    refuse(status);
}

}  // namespace host
