// Faults on demand as people name them: the rule that a description means.
#include "platform/core/fault_words.hpp"

#include <dlfcn.h>

#include <cmath>

#include "platform/core/status_names.hpp"

namespace host {

namespace {

// A program may have loaded the libraries for itself only.
bool has_function(char const *name) {
  if (dlsym(RTLD_DEFAULT, name))
    return true;
  for (char const *const library : {"libvswitch.so", "libdvs.so"}) {
    void *const loaded = dlopen(library, RTLD_LAZY | RTLD_LOCAL);
    if (!loaded)
      continue;
    bool const is_there = dlsym(loaded, name) != nullptr;
    dlclose(loaded);
    if (is_there)
      return true;
  }
  return false;
}

void require(bool holds, std::string const &otherwise) {
  if (!holds)
    throw FaultDescriptionError(otherwise);
}

}  // namespace

FaultRule fault_rule(DescribedFault const &described) {
  std::optional<FaultKind> const kind = meaning_of(fault_kinds, described.kind);
  require(kind.has_value(), described.kind + ": is not one of fail, fail-after, abort and delay");
  std::optional<Status> const status = status_by_name(described.status);
  require(status && *status != QEL_OK, described.status + ": is not the name of a failing status");
  std::optional<ExceptionClass> const exception = meaning_of(exceptions, described.exception);
  require(exception.has_value(),
          described.exception + ": is not one of OSError, RuntimeError, MemoryError and ValueError");
  require(described.call.empty() || has_function(described.call.c_str()),
          described.call + ": the host has no such function");
  require(*kind != FaultKind::delay || described.milliseconds != 0, "a delay needs --milliseconds");
  FaultRule rule;
  rule.kind = *kind;
  rule.call = described.call;
  rule.status = *status;
  rule.exception_class = *exception;
  rule.message = described.message;
  rule.milliseconds = described.milliseconds;
  rule.skip = described.skip;
  rule.times = described.times;
  rule.in_million = static_cast<std::uint32_t>(std::lround(described.probability * always_in_million));
  rule.generator = described.seed;
  return rule;
}

}  // namespace host
