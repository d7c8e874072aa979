// The named constants that the host works with, as C++ constants; the values stand in constants/*.def.
#pragma once

namespace host {

#define FAMILY(name, documentation)
#define INTEGER(name, value) inline constexpr auto name = value;
#define TEXT(name, text) inline constexpr char const name[] = text;
#define VARIABLE(name)
#include "constants/distributed_ports.def"
#include "constants/kernel.def"
#include "constants/mirroring.def"
#include "constants/options_and_rtm.def"
#include "constants/policies.def"
#include "constants/ports_and_links.def"
#include "constants/property_keys.def"
#include "constants/property_store.def"
#include "constants/status_codes.def"
#include "constants/switch_device.def"
#undef VARIABLE
#undef TEXT
#undef INTEGER
#undef FAMILY

}  // namespace host
