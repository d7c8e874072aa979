// The names of the status codes.
#pragma once

#include <optional>
#include <string_view>

#include "platform/core/export.hpp"
#include "platform/core/failure.hpp"

namespace host {

// Null for a number that is no status.
HOST_API char const *status_name(Status status);

// The number of a name such as "QEL_BUSY".
HOST_API std::optional<Status> status_by_name(std::string_view name);

}  // namespace host
