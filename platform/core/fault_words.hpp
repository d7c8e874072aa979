// Faults on demand as people name them: the words of the command line and of other descriptions.
#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/core/faults.hpp"

namespace host {

inline std::map<std::string, FaultKind> const fault_kinds{{"fail", FaultKind::fail},
                                                          {"fail-after", FaultKind::fail_after},
                                                          {"abort", FaultKind::abort},
                                                          {"delay", FaultKind::delay}};

inline std::map<std::string, ExceptionClass> const exceptions{{"OSError", ExceptionClass::os_error},
                                                              {"RuntimeError", ExceptionClass::runtime_error},
                                                              {"MemoryError", ExceptionClass::memory_error},
                                                              {"ValueError", ExceptionClass::value_error}};

template <typename Number>
std::string word_for(std::map<std::string, Number> const &words, Number number) {
  for (auto const &[word, meaning] : words) {
    if (meaning == number)
      return word;
  }
  return "unknown";
}

inline std::string fault_kind_word(FaultKind kind) {
  return word_for(fault_kinds, kind);
}

inline std::string exception_word(ExceptionClass exception) {
  return word_for(exceptions, exception);
}

struct DescribedFault {
  std::string kind;
  std::string call;  // empty: every call
  std::string status = "QEL_FAILURE";
  std::string exception = "RuntimeError";
  std::string message = "a fault on demand";
  std::uint32_t milliseconds = 0;
  std::uint32_t skip = 0;
  std::optional<std::uint32_t> times;
  double probability = 1;
  std::uint64_t seed = 0;
};

// Says what is wrong with a description.
class FaultDescriptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws a FaultDescriptionError.
HOST_API FaultRule fault_rule(DescribedFault const &described);

}  // namespace host
