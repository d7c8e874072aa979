// The property store: every configured value of a switch or a port, by name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core/export.hpp"
#include "platform/core/property_store.hpp"

namespace host {

// Sets a property by the rules of its name, whoever asks: typed calls come through here too.
HOST_API void set_property(Database &database, PropertyPlace place, std::string_view name, PropertyWrite const &write);

// The value in effect (`until_boot`), or the persistent one. Refuses with QEL_NOT_FOUND.
HOST_API std::string get_property(Database &database, PropertyPlace place, std::string_view name,
                                  Lifetime lifetime = Lifetime::until_boot, std::string_view owner = {});

// Clears the volatile value, or (`persistent`) both.
HOST_API void clear_property(Database &database, PropertyPlace place, std::string_view name,
                             Lifetime lifetime = Lifetime::persistent, std::string_view owner = {});

// The same for properties of a switch that the host knows: the scope follows from the name.
HOST_API void set_switch_property(Database &database, RowId vswitch, std::string_view name, std::string_view value);
HOST_API std::string get_switch_property(Database &database, RowId vswitch, std::string_view name);
HOST_API void clear_switch_property(Database &database, RowId vswitch, std::string_view name);

// The value in effect as somebody wrote it, without the default of the name.
std::optional<std::string> stored_property(Database &database, PropertyPlace place, std::string_view name);

// Drops every volatile value of the host, as a boot does; or only those of one switch.
void forget_volatile_properties(Database &database, RowId vswitch = all_switches);

}  // namespace host
