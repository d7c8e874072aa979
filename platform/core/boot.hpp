// Booting the host: a fresh one from its description, a known one back to its persistent state.
#pragma once

#include <string>
#include <string_view>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"
#include "platform/core/host_row.hpp"

namespace host {

// Fills the tables from the description in a file, or from the built-in one where the path is empty.
// Needs a writing transaction.
void boot_fresh_host(Database &database, std::string const &description_path);

// The same from the text of a description, which is kept for host_description() (host_row.hpp). Throws a
// DescriptionError.
HOST_API void boot_from_text(Database &database, std::string const &text);

// Boots again: everything volatile is lost. Needs a writing transaction.
HOST_API void boot_again(Database &database);

// The built-in description, as JSON.
HOST_API std::string_view default_description();

// Boots the host in use again: everything volatile is lost. A call, which is defined with them.
HOST_API Status boot();

}  // namespace host
