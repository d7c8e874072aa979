// A state of the former format becomes one of this format.
#pragma once

#include "platform/core/database.hpp"

namespace host {

// Needs a writing transaction, a state that identify() calls a former one, and foreign keys that are not enforced yet.
void migrate(Database &database);

}  // namespace host
