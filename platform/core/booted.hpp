// Hosts that have just booted, kept so that the next one of the same description need not do all of it again: tests
// make hosts by the hundred.
#pragma once

#include <string>

#include "platform/core/database.hpp"

namespace host {

// Both are called with a host locked, which a fork waits for, and need databases without a transaction.

// The content becomes that of a fresh host of this description, if one has been kept.
bool copy_booted(Database &target, std::string const &description);

// Keeps what has just booted, unless something in it has a time that was the time of day.
void keep_booted(Database &booted, std::string const &description);

}  // namespace host
