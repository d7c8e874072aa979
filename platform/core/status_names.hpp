// The names of the status codes.
#pragma once

#include "platform/core/export.hpp"
#include "platform/core/failure.hpp"

namespace host {

// Null for a number that is no status.
HOST_API char const *status_name(Status status);

}  // namespace host
