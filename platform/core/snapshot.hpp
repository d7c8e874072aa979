// Whole states of the host: saved to a file, brought back from one, made anew from a description.
#pragma once

#include <string>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

// All need a database without a transaction, and leave the host in either state, never between.

// Writes the state to a file of its own, in place of one that is there. The file can be used as a state file.
HOST_API void save_snapshot(Database &database, std::string const &path);

// The state becomes that of a file that save_snapshot wrote, or of any state file.
HOST_API void restore_snapshot(Database &database, std::string const &path);

// The state becomes that of a fresh host that has booted from this text. Throws a DescriptionError.
HOST_API void reset_host(Database &database, std::string const &description);

}  // namespace host
