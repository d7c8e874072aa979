// The values of properties as they were written, whatever the rules of their names say. The one owner of their tables.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

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

// A value as it is stored.
struct StoredProperty {
  std::string name;
  std::string owner;
  std::uint32_t type = CONFIG_PROP_TYPE;
  bool is_volatile = false;
  std::string value;
};

struct PlacedProperty {
  PropertyPlace place;
  StoredProperty property;
};

struct PropertyWrite {
  std::string_view value;
  std::string_view owner = {};
  Lifetime lifetime = Lifetime::persistent;
  std::int64_t type = CONFIG_PROP_TYPE;
};

// The value in effect (`until_boot`), or the persistent one.
std::optional<std::string> stored_value(Database &database, PropertyPlace const &place, std::string_view name,
                                        Lifetime lifetime = Lifetime::until_boot);
std::optional<StoredProperty> value_in_effect(Database &database, PropertyPlace const &place, std::string_view name);
// The latest value whose type does not have the bits.
std::optional<std::string> value_without_type(Database &database, PropertyPlace const &place, std::string_view name,
                                              std::uint32_t type);
// None where the property has no value at all.
std::optional<std::string> stored_owner(Database &database, PropertyPlace const &place, std::string_view name);

// A persistent value takes the place of both.
void store_value(Database &database, PropertyPlace const &place, std::string_view name, PropertyWrite const &write);
// Of both values.
void store_owner(Database &database, PropertyPlace const &place, std::string_view name, std::string_view owner);
// Removes the volatile value, or (`persistent`) both; says whether there was one.
bool remove_value(Database &database, PropertyPlace const &place, std::string_view name, Lifetime lifetime);

// What was written at a place, by name; of each property the value in effect, or (`both`) the persistent value and then
// the volatile one.
enum class Values { in_effect, both };
HOST_API std::vector<StoredProperty> stored_properties(Database &database, PropertyPlace const &place, Values values);

// Both values of a property, at all places of a switch that have it.
std::vector<PlacedProperty> values_of_switch(Database &database, RowId vswitch, std::string_view name);
// All of the host, by switch, port and name.
std::vector<PlacedProperty> all_values(Database &database);

// In place of a switch: all of them.
inline constexpr RowId all_switches = 0;
std::vector<PlacedProperty> volatile_values(Database &database, RowId vswitch);
void remove_volatile_values(Database &database, RowId vswitch);
void remove_values_of_switch(Database &database, RowId vswitch);
void remove_values_of_port(Database &database, PropertyPlace const &port);
// With what was saved of it.
void forget_values_of_port(Database &database, PropertyPlace const &port);

// Volatile values that save and restore keeps over an upgrade.
void save_volatile_values(Database &database, RowId vswitch);
std::vector<PlacedProperty> saved_values(Database &database, RowId vswitch);
void forget_saved_values(Database &database, RowId vswitch);

}  // namespace host
