// The rules of the property names that the host knows: where they belong, what values they take, what a change does.
#pragma once

#include <string>
#include <string_view>

#include "platform/core/property_store.hpp"

namespace host {

struct KnownProperty {
  std::string_view name;
  Scope home;
  bool read_only;
  // Refuses a value that the property cannot have now; else gives the value as it is to be stored.
  std::string (*admit)(Database &, PropertyPlace const &, std::string_view value);
  // The value where none is stored; for read-only properties, the value. Null for a property that then is not there.
  std::string (*default_value)(Database &, PropertyPlace const &);
  // Makes the rest of the state follow the value in effect. Refuses nothing. May be null.
  void (*apply)(Database &, PropertyPlace const &, std::string_view value);
  // Forgets what was so by the former value in effect, where a write or a clearing has changed it. May be null.
  void (*forget)(Database &, PropertyPlace const &, std::string_view former, std::string_view value) = nullptr;
};

// Null for a name without rules. The table is known_properties.cpp, where the rules of all families meet; they
// themselves read and write properties, which is why nothing but this declaration stands between the two.
KnownProperty const *known_property(std::string_view name);

}  // namespace host
