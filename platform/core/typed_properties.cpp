// Properties with their property types: what the type of a property decides, listing, and the views of others.
#include "platform/core/typed_properties.hpp"

#include <algorithm>
#include <map>

#include "platform/core/property_rules.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

// The constants are signed, because the topmost bit is among them.
constexpr auto all_types = static_cast<std::uint32_t>(ALL_PROP_TYPE);
constexpr auto no_sync = static_cast<std::uint32_t>(NO_SYNC_PROP_TYPE);

bool is_wanted(StoredProperty const &property, std::uint32_t wanted) {
  bool const is_public = (property.type & no_sync) == 0;
  return (property.type & wanted) != 0 && (is_public || (wanted & no_sync) != 0);
}

bool are_same(PlacedProperty const &one, PlacedProperty const &other) {
  return one.place.port == other.place.port && one.place.scope == other.place.scope &&
         one.property.name == other.property.name;
}

// The latest value that NICs are told of.
std::optional<std::string> synchronised_value(Database &database, PropertyPlace const &place, std::string_view name) {
  return value_without_type(database, place, name, no_sync);
}

}  // namespace

std::uint32_t property_type_for_write(std::uint32_t type) {
  refuse_if((type & ~all_types) != 0, QEL_BAD_PARAM);
  return type == 0 ? static_cast<std::uint32_t>(CONFIG_PROP_TYPE) : type;
}

std::uint32_t property_types_wanted(std::uint32_t types) {
  refuse_if((types & ~all_types) != 0, QEL_BAD_PARAM);
  return types == 0 ? static_cast<std::uint32_t>(ALL_PUBLIC_PROP_TYPE) : types;
}

void set_typed_property(Database &database, PropertyPlace place, std::string_view name, std::string_view value,
                        std::uint32_t type) {
  bool const is_volatile = (type & VOLATILE_PROP_TYPE) != 0;
  set_property(database, place, name,
               {.value = value,
                .owner = {},
                .lifetime = is_volatile ? Lifetime::until_boot : Lifetime::persistent,
                .type = property_type_for_write(type)});
}

// Rules tie properties to each other (a teaming policy needs its uplink ports), so what is refused is tried again
// after the others.
std::optional<RefusedProperty> set_properties(Database &database, std::vector<PlacedProperty> pending) {
  while (!pending.empty()) {
    std::vector<PlacedProperty> refused;
    std::optional<RefusedProperty> first;
    for (PlacedProperty &wanted : pending) {
      // A persistent write would remove the volatile value: that one comes second.
      bool const too_early =
          wanted.property.is_volatile &&
          std::any_of(refused.begin(), refused.end(), [&](auto const &other) { return are_same(other, wanted); });
      if (!too_early) {
        try {
          set_property(database, wanted.place, wanted.property.name,
                       {.value = wanted.property.value,
                        .owner = wanted.property.owner,
                        .lifetime = wanted.property.is_volatile ? Lifetime::until_boot : Lifetime::persistent,
                        .type = wanted.property.type});
          continue;
        } catch (Refusal const &refusal) {
          if (!first)
            first = RefusedProperty{wanted, refusal.status()};
        }
      }
      refused.push_back(std::move(wanted));
    }
    if (refused.size() == pending.size())
      return first;
    pending = std::move(refused);
  }
  return std::nullopt;
}

bool is_admitted(Database &database, PropertyPlace const &place, std::string_view name, std::string_view value) {
  KnownProperty const *const known = known_property(name);
  if (!known || known->read_only)
    return true;
  try {
    known->admit(database, place, value);
    return true;
  } catch (Refusal const &) {
    return false;
  }
}

PropertyPlace home_of(PropertyPlace place, std::string_view name) {
  if (KnownProperty const *known = known_property(name)) {
    refuse_if((known->home == Scope::port) != (place.scope == Scope::port), QEL_BAD_PARAM);
    place.scope = known->home;
  }
  return place;
}

std::vector<StoredProperty> vendor_properties(Database &database, PropertyPlace place, std::uint32_t wanted) {
  std::vector<StoredProperty> list = stored_properties(database, place, Values::in_effect);
  std::erase_if(list, [&](auto const &property) { return property.owner.empty() || !is_wanted(property, wanted); });
  return list;
}

std::vector<StoredProperty> extra_properties(Database &database, PropertyPlace place, std::uint32_t wanted) {
  std::vector<StoredProperty> list = stored_properties(database, place, Values::in_effect);
  std::erase_if(list, [&](auto const &property) {
    return !property.owner.empty() || known_property(property.name) || !is_wanted(property, wanted);
  });
  return list;
}

std::vector<StoredProperty> extra_switch_properties(Database &database, RowId vswitch, std::uint32_t wanted) {
  std::map<std::string, StoredProperty> by_name;
  for (Scope const scope : {Scope::global, Scope::host}) {
    for (StoredProperty &property : extra_properties(database, {vswitch, scope}, wanted))
      by_name[property.name] = std::move(property);
  }
  std::vector<StoredProperty> list;
  list.reserve(by_name.size());
  for (auto &[name, property] : by_name)
    list.push_back(std::move(property));
  return list;
}

StoredProperty lookup_property(Database &database, PropertyPlace place, std::string_view name) {
  if (std::optional<StoredProperty> found = value_in_effect(database, home_of(place, name), name))
    return *std::move(found);
  StoredProperty property;
  property.name = name;
  property.value = get_property(database, place, name);
  return property;
}

std::string host_value(Database &database, RowId vswitch, std::string_view name) {
  PropertyPlace const place{vswitch, Scope::host};
  bool const has_own = known_property(name) || stored_property(database, place, name);
  return get_property(database, {vswitch, has_own ? Scope::host : Scope::global}, name);
}

std::string smartnic_value(Database &database, PropertyPlace place, std::string_view name) {
  refuse_if(!has_smartnic(database, place.vswitch), QEL_NOT_SUPPORTED);
  std::optional<std::string> value = synchronised_value(database, home_of(place, name), name);
  KnownProperty const *const known = known_property(name);
  if (!value && !known && place.scope == Scope::host)
    value = synchronised_value(database, {place.vswitch, Scope::global}, name);
  if (value)
    return *std::move(value);
  refuse_if(!known || !known->default_value, QEL_NOT_FOUND);
  return known->default_value(database, home_of(place, name));
}

std::string uplink_data_name(std::uint32_t kind) {
  return "uplink.data." + std::to_string(kind);
}

}  // namespace host
