// The tables of the state file, and telling a state file from anything else.
#pragma once

#include "platform/core/database.hpp"

namespace host {

// `former`: a host of the format before this one, which migrate() makes one of this.
enum class Identity { fresh, former, host };

// Throws a fault for a file that is damaged, not ours, or of another format. Writes nothing. Needs a transaction.
Identity identify(Database &database);

// The fault for a file of another format than this host's.
[[noreturn]] void refuse_format(Database &database);

// Needs a writing transaction.
void create_schema(Database &database);

}  // namespace host
