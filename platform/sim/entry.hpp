// What every function of the C interface runs in: exceptions become a status and a text.
#pragma once

#include <exception>
#include <new>
#include <string>
#include <utility>

#include "platform/sim/vswitch_sim.h"

namespace sim {

// An operation that cannot be done. Refusals and faults of the core have their own way through entry().
class Failure : public std::exception {
 public:
  Failure(vssim_status status, std::string text) : status_(status), text_(std::move(text)) {}
  vssim_status status() const { return status_; }
  char const *what() const noexcept override { return text_.c_str(); }

 private:
  vssim_status status_;
  std::string text_;
};

[[noreturn]] inline void fail(vssim_status status, std::string text) {
  throw Failure(status, std::move(text));
}

inline void require(bool holds, char const *otherwise) {
  if (!holds)
    fail(VSSIM_BAD_ARGUMENT, otherwise);
}

// The status of the exception that is being handled; its text becomes that of vssim_error().
int status_of_failure() noexcept;

// Runs the body of a function of the interface.
template <typename Body>
int entry(Body &&body) noexcept {
  try {
    std::forward<Body>(body)();
    return VSSIM_OK;
  } catch (...) {
    return status_of_failure();
  }
}

// A text for the caller, who releases it with vssim_free().
char *handed_out_text(std::string_view text);

}  // namespace sim
