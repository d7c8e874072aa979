// What is set for the host as a whole, by name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core/database.hpp"
#include "platform/core/property_store.hpp"

namespace host {

HOST_API std::optional<std::string> host_setting(Database &database, std::string_view name);
HOST_API void set_host_setting(Database &database, std::string_view name, std::string_view value, Lifetime lifetime);

// As a boot does.
void forget_volatile_settings(Database &database);

// As save and restore does: the first time it saves them all, the second time it brings them back.
void save_or_restore_settings(Database &database);
void forget_saved_settings(Database &database);

}  // namespace host
