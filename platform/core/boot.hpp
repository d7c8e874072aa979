// Booting the host: a fresh one from its description, a known one back to its persistent state.
#pragma once

#include <string>
#include <string_view>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

// Fills the tables from the description in a file, or from the built-in one where the path is empty.
// Needs a writing transaction.
void boot_fresh_host(Database &database, std::string const &description_path);

// The same from the text of a description, which is kept for host_description(). Throws a DescriptionError.
HOST_API void boot_from_text(Database &database, std::string const &text);

// What the host first booted from. Needs a transaction.
HOST_API std::string host_description(Database &database);

// Boots again: everything volatile is lost. Needs a writing transaction.
HOST_API void boot_again(Database &database);

// The built-in description, as JSON.
HOST_API std::string_view default_description();

// Another text whenever the whole state was replaced. Needs a transaction.
HOST_API std::string state_id(Database &database);

// Boots this process's host again: everything volatile is lost.
HOST_API Status boot();

// How often the host has booted. Needs a transaction.
HOST_API std::int64_t boot_count(Database &database);

}  // namespace host
