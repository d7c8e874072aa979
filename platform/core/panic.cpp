// Panic: how scripts and libraries report what must not happen.
#include <cstdio>

#include "platform/core/export.hpp"

// The text is a script's: a "%" in it must never be taken for a format. The host only logs it, so that a
// script's panic does not end the process.
extern "C" HOST_API void Panic(char const *fmt, ...) {
  std::fprintf(stderr, "%s\n", fmt ? fmt : "(null)");
}
