// The property store: two values for each property, owners, and the rules of the names that the host knows.
#include "platform/core/properties.hpp"

#include "platform/core/property_rules.hpp"

namespace host {

namespace {

constexpr std::size_t largest_value = 1048576;

// A switch's property is reached from both scopes of the switch, but stands at one.
PropertyPlace home(PropertyPlace place, KnownProperty const *known) {
  if (!known)
    return place;
  refuse_if((known->home == Scope::port) != (place.scope == Scope::port), QEL_BAD_PARAM);
  place.scope = known->home;
  return place;
}

bool has_default(KnownProperty const *known) {
  return known && known->default_value;
}

bool is_other_owner(std::string_view asked, std::string_view owner) {
  return !asked.empty() && asked != owner;
}

std::string value_or_default(Database &database, PropertyPlace place, std::string_view name, Lifetime lifetime,
                             KnownProperty const *known) {
  std::optional<std::string> value = stored_value(database, place, name, lifetime);
  if (value)
    return *std::move(value);
  refuse_if(!has_default(known), QEL_NOT_FOUND);
  return known->default_value(database, place);
}

// The value in effect before a change; after it, what followed from that one is forgotten if there is another now.
class FormerValue {
 public:
  FormerValue(Database &database, PropertyPlace const &place, std::string_view name, KnownProperty const *known)
      : database_(database), place_(place), name_(name), known_(known) {
    if (known_ && known_->forget)
      value_ = in_effect();
  }

  void forget_if_changed() const {
    if (!known_ || !known_->forget)
      return;
    std::string const value = in_effect();
    if (value != value_)
      known_->forget(database_, place_, value_, value);
  }

 private:
  std::string in_effect() const { return value_or_default(database_, place_, name_, Lifetime::until_boot, known_); }

  Database &database_;
  PropertyPlace const &place_;
  std::string_view name_;
  KnownProperty const *known_;
  std::string value_;
};

PropertyPlace switch_place(RowId vswitch, std::string_view name) {
  return {vswitch, known_property(name)->home};
}

}  // namespace

void set_property(Database &database, PropertyPlace place, std::string_view name, PropertyWrite const &write) {
  KnownProperty const *const known = known_property(name);
  place = home(place, known);
  refuse_if(write.value.size() > largest_value, QEL_LIMIT_EXCEEDED);
  refuse_if(known && known->read_only, QEL_READ_ONLY);

  std::optional<std::string> const former_owner = stored_owner(database, place, name);
  std::string_view owner = write.owner;
  if (former_owner && !former_owner->empty()) {
    refuse_if(is_other_owner(owner, *former_owner), QEL_NO_PERMISSION);
    owner = *former_owner;
  }
  std::string const value = known ? known->admit(database, place, write.value) : std::string(write.value);
  FormerValue const former(database, place, name, known);

  if (write.lifetime != Lifetime::persistent && former_owner && *former_owner != owner)
    store_owner(database, place, name, owner);
  store_value(database, place, name, {value, owner, write.lifetime, write.type});
  if (known && known->apply)
    known->apply(database, place, value);
  former.forget_if_changed();
}

std::string get_property(Database &database, PropertyPlace place, std::string_view name, Lifetime lifetime,
                         std::string_view owner) {
  KnownProperty const *const known = known_property(name);
  place = home(place, known);
  if (!owner.empty()) {
    std::optional<std::string> const actual = stored_owner(database, place, name);
    refuse_if(!actual || *actual != owner, QEL_NOT_FOUND);
  }
  return value_or_default(database, place, name, lifetime, known);
}

void clear_property(Database &database, PropertyPlace place, std::string_view name, Lifetime lifetime,
                    std::string_view owner) {
  KnownProperty const *const known = known_property(name);
  place = home(place, known);
  refuse_if(known && known->read_only, QEL_READ_ONLY);
  std::optional<std::string> const actual_owner = stored_owner(database, place, name);
  if (actual_owner)
    refuse_if(is_other_owner(owner, *actual_owner), QEL_NO_PERMISSION);

  FormerValue const former(database, place, name, known);
  if (!remove_value(database, place, name, lifetime)) {
    refuse_if(!has_default(known), QEL_NOT_FOUND);
    return;
  }
  if (known && known->apply) {
    std::string const value = value_or_default(database, place, name, Lifetime::until_boot, known);
    known->apply(database, place, known->admit(database, place, value));
  }
  former.forget_if_changed();
}

void set_switch_property(Database &database, RowId vswitch, std::string_view name, std::string_view value) {
  set_property(database, switch_place(vswitch, name), name, {.value = value});
}

std::string get_switch_property(Database &database, RowId vswitch, std::string_view name) {
  return get_property(database, switch_place(vswitch, name), name);
}

void clear_switch_property(Database &database, RowId vswitch, std::string_view name) {
  clear_property(database, switch_place(vswitch, name), name);
}

std::optional<std::string> stored_property(Database &database, PropertyPlace place, std::string_view name) {
  return stored_value(database, home(place, known_property(name)), name);
}

void forget_volatile_properties(Database &database, RowId vswitch) {
  std::vector<PlacedProperty> const lost = volatile_values(database, vswitch);
  // All are gone before any property takes effect again: what one lost may be what another needs.
  remove_volatile_values(database, vswitch);
  for (auto const &[place, property] : lost) {
    KnownProperty const *const known = known_property(property.name);
    if (!known || !known->apply)
      continue;
    known->apply(database, place, value_or_default(database, place, property.name, Lifetime::persistent, known));
  }
}

}  // namespace host
