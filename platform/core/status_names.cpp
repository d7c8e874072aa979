// The names of the status codes.
#include "platform/core/status_names.hpp"

namespace host {

char const *status_name(Status status) {
  switch (status) {
#define FAMILY(name, documentation)
#define TEXT(name, text)
#define INTEGER(name, value) \
  case value:                \
    return #name;
#include "constants/status_codes.def"
#undef INTEGER
#undef TEXT
#undef FAMILY
    // The one status outside the family.
    case QEL_GENERIC_LINUX_ERROR: return "QEL_GENERIC_LINUX_ERROR";
    default: return nullptr;
  }
}

std::optional<Status> status_by_name(std::string_view name) {
#define FAMILY(name, documentation)
#define TEXT(name, text)
#define INTEGER(constant, value) \
  if (name == #constant)         \
    return value;
#include "constants/status_codes.def"
#undef INTEGER
#undef TEXT
#undef FAMILY
  if (name == "QEL_GENERIC_LINUX_ERROR")
    return QEL_GENERIC_LINUX_ERROR;
  return std::nullopt;
}

}  // namespace host
