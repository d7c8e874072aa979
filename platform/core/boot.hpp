// Booting the host: a fresh one from its description, a known one back to its persistent state.
#pragma once

#include <string>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

// Fills the tables from the description in a file, or from the built-in one where the path is empty.
// Needs a writing transaction.
void boot_fresh_host(Database &database, std::string const &description_path);

// Boots this process's host again: everything volatile is lost.
HOST_API Status boot();

// How often the host has booted. Needs a transaction.
HOST_API std::int64_t boot_count(Database &database);

}  // namespace host
