// The words of the command line for what the host numbers.
#pragma once

#include <map>
#include <string>

#include "platform/core/faults.hpp"

namespace tool {

inline std::map<std::string, host::FaultKind> const fault_kinds{{"fail", host::FaultKind::fail},
                                                                {"fail-after", host::FaultKind::fail_after},
                                                                {"abort", host::FaultKind::abort},
                                                                {"delay", host::FaultKind::delay}};

inline std::map<std::string, host::ExceptionClass> const exceptions{
    {"OSError", host::ExceptionClass::os_error},
    {"RuntimeError", host::ExceptionClass::runtime_error},
    {"MemoryError", host::ExceptionClass::memory_error},
    {"ValueError", host::ExceptionClass::value_error}};

template <typename Number>
std::string word_for(std::map<std::string, Number> const &words, Number number) {
  for (auto const &[word, meaning] : words) {
    if (meaning == number)
      return word;
  }
  return "unknown";
}

inline std::string fault_kind_word(host::FaultKind kind) {
  return word_for(fault_kinds, kind);
}

inline std::string exception_word(host::ExceptionClass exception) {
  return word_for(exceptions, exception);
}

}  // namespace tool
