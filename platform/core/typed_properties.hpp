// Properties with their property types: what the type of a property decides, listing, and the views of others.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/properties.hpp"

namespace host {

constexpr std::size_t property_name_room = 256;
constexpr std::size_t property_owner_room = 128;

// *_PROP_TYPE bits for a write; 0 is CONFIG_PROP_TYPE. Refuses with QEL_BAD_PARAM.
HOST_API std::uint32_t property_type_for_write(std::uint32_t type);
// The same for a list; 0 is ALL_PUBLIC_PROP_TYPE.
HOST_API std::uint32_t property_types_wanted(std::uint32_t types);

// The type decides which of the two values is written.
HOST_API void set_typed_property(Database &database, PropertyPlace place, std::string_view name, std::string_view value,
                                 std::uint32_t type);

struct RefusedProperty {
  PlacedProperty property;
  Status status;
};

// Sets all in an order that the rules which tie them to each other allow. Where there is none, the result is the first
// one that stays refused.
std::optional<RefusedProperty> set_properties(Database &database, std::vector<PlacedProperty> pending);

// Whether the rules of the name, if it has any, allow the value now.
HOST_API bool is_admitted(Database &database, PropertyPlace const &place, std::string_view name,
                          std::string_view value);

// Where a property is that is asked for at a place: a known one of a switch is reached from both scopes.
PropertyPlace home_of(PropertyPlace place, std::string_view name);

// Of the properties with an owner, or of those without owner and rules: the ones of a type that is wanted.
HOST_API std::vector<StoredProperty> vendor_properties(Database &database, PropertyPlace place, std::uint32_t wanted);
HOST_API std::vector<StoredProperty> extra_properties(Database &database, PropertyPlace place, std::uint32_t wanted);
// A property of the host goes before the global one of its name.
HOST_API std::vector<StoredProperty> extra_switch_properties(Database &database, RowId vswitch, std::uint32_t wanted);

// The value in effect with its type, or the default. Refuses with QEL_NOT_FOUND.
HOST_API StoredProperty lookup_property(Database &database, PropertyPlace place, std::string_view name);

// The value in effect; where the host has none, the global one. Refuses with QEL_NOT_FOUND.
HOST_API std::string host_value(Database &database, RowId vswitch, std::string_view name);

// What the part of the switch sees that runs on a SmartNIC. Refuses with QEL_NOT_SUPPORTED or QEL_NOT_FOUND.
HOST_API std::string smartnic_value(Database &database, PropertyPlace place, std::string_view name);

// The property that holds one kind of data of an uplink.
HOST_API std::string uplink_data_name(std::uint32_t kind);

}  // namespace host
