// The tables of the state file, and telling a state file from anything else.
#pragma once

#include "platform/core/database.hpp"

namespace host {

enum class Identity { fresh, host };

// Throws a fault for a file that is damaged, not ours, or of a newer format. Writes nothing. Needs a transaction.
Identity identify(Database &database);

// Needs a writing transaction.
void create_schema(Database &database);

}  // namespace host
