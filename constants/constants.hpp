// The named constants as C++ constants, for the extensions, the simulated host and C++ tests.
#pragma once

namespace constant {

#define FAMILY(name, doc)
#define INTEGER(name, value) inline constexpr auto name = value;
#define TEXT(name, value) inline constexpr char name[] = value;
#define VARIABLE(name)
#include "constants/all.def"
#undef VARIABLE
#undef TEXT
#undef INTEGER
#undef FAMILY

}  // namespace constant
