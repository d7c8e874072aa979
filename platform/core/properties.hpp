// The property store: every configured value of a switch or a port, by name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"
#include "platform/core/switches.hpp"

namespace host {

// The numbers stand in the state file.
enum class Scope { global = 0, host = 1, port = 2 };

// A property has two values; the volatile one is in effect until the next boot, or until it is cleared.
enum class Lifetime { persistent = 0, until_boot = 1 };

// Where a property is: at a switch (globally or on this host), or at one of its ports.
struct PropertyPlace {
  RowId vswitch;
  Scope scope;
  RowId port = 0;
};

struct PropertyWrite {
  std::string_view value;
  std::string_view owner = {};
  Lifetime lifetime = Lifetime::persistent;
  std::int64_t type = CONFIG_PROP_TYPE;
};

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
inline constexpr RowId all_switches = 0;
void forget_volatile_properties(Database &database, RowId vswitch = all_switches);

}  // namespace host
