// Faults on demand as people name them: the words of the command line and of other descriptions.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/core/faults.hpp"

namespace host {

// Nothing that allocates as the library is loaded.
template <typename Number>
struct Word {
  std::string_view text;
  Number meaning;
};

inline constexpr Word<FaultKind> fault_kinds[] = {{"fail", FaultKind::fail},
                                                  {"fail-after", FaultKind::fail_after},
                                                  {"abort", FaultKind::abort},
                                                  {"delay", FaultKind::delay}};

inline constexpr Word<ExceptionClass> exceptions[] = {{"OSError", ExceptionClass::os_error},
                                                      {"RuntimeError", ExceptionClass::runtime_error},
                                                      {"MemoryError", ExceptionClass::memory_error},
                                                      {"ValueError", ExceptionClass::value_error}};

template <typename Number, std::size_t count>
std::string word_for(Word<Number> const (&words)[count], Number number) {
  for (Word<Number> const &word : words) {
    if (word.meaning == number)
      return std::string(word.text);
  }
  return "unknown";
}

template <typename Number, std::size_t count>
std::optional<Number> meaning_of(Word<Number> const (&words)[count], std::string_view text) {
  for (Word<Number> const &word : words) {
    if (word.text == text)
      return word.meaning;
  }
  return std::nullopt;
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
