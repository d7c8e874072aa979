// Faults on demand: rules in the state file that make calls fail, abort or answer late.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"
#include "platform/core/failure.hpp"

namespace host {

// The numbers stand in the state file.
enum class FaultKind { fail = 0, fail_after = 1, abort = 2, delay = 3 };

inline constexpr std::uint32_t always_in_million = 1000000;
inline constexpr std::uint32_t longest_delay = 60000;

struct FaultRule {
  std::int64_t number = 0;  // given when the rule is added
  std::string call;         // the function's name; empty for every call
  FaultKind kind = FaultKind::fail;
  Status status = QEL_FAILURE;                                     // of a failure, or of an abort without a module
  ExceptionClass exception_class = ExceptionClass::runtime_error;  // of an abort
  std::string message;                                             // of an abort
  std::uint32_t milliseconds = 0;                                  // of a delay
  std::uint32_t skip = 0;                                          // matching calls that pass first
  std::optional<std::uint32_t> times;                              // none: without end
  std::uint32_t in_million = always_in_million;                    // how many of a million matching calls it meets
  std::uint64_t generator = 0;                                     // the state of the random numbers: at first the seed
  std::int64_t met = 0;                                            // calls that it has met
};

// Refuses with QEL_BAD_PARAM a rule that could never say what to do. The result is the rule's number.
HOST_API std::int64_t add_fault(Database &database, FaultRule const &rule);

// In the order in which they were added.
HOST_API std::vector<FaultRule> load_faults(Database &database);

// Refuses with QEL_NOT_FOUND.
HOST_API void clear_fault(Database &database, std::int64_t number);
HOST_API void clear_all_faults(Database &database);

// Whether there are rules. Costs next to nothing as long as the state does not change. Needs a transaction that has
// read something, or a writing one.
bool has_faults(Database &database);

// To be called after a commit that has left the rules alone: that change need not make the next call look again.
void keep_knowing_faults(Database &database);

// What is to happen to one call.
struct Injection {
  std::uint32_t milliseconds = 0;
  // The rule that decides the call's result, if any.
  std::optional<FaultRule> rule;
};

// Counts the call in all rules that match it. Needs a writing transaction, which is to be committed whatever
// becomes of the call.
Injection next_injection(Database &database, std::string_view call);

}  // namespace host
