// The table of the property names that the host knows, and the rules of the plain ones.
#include "platform/core/known_properties.hpp"

#include <cstring>
#include <unordered_map>

#include "platform/core/ports.hpp"
#include "platform/core/teaming.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

namespace {

constexpr std::uint32_t smallest_mtu = 1280;
constexpr std::uint32_t largest_mtu = 9000;
constexpr std::uint32_t default_mtu = 1500;

std::string admit_number(std::string_view value, std::uint32_t lowest, std::uint32_t highest) {
  refuse_if(value.size() != sizeof(std::uint32_t), QEL_BAD_PARAM);
  std::uint32_t const number = property_number(value);
  refuse_if(number < lowest || number > highest, QEL_BAD_PARAM);
  return std::string(value);
}

std::string admit_mtu(Database &, PropertyPlace const &, std::string_view value) {
  return admit_number(value, smallest_mtu, largest_mtu);
}

std::string default_mtu_value(Database &, PropertyPlace const &) {
  return property_bytes(default_mtu);
}

std::string admit_filter_mode(Database &, PropertyPlace const &, std::string_view value) {
  return admit_number(value, VS_MCAST_FILTER_MODE_LEGACY, VS_MCAST_FILTER_MODE_MLD);
}

std::string default_filter_mode(Database &, PropertyPlace const &) {
  return property_bytes(VS_MCAST_FILTER_MODE_LEGACY);
}

std::string admit_any_number(Database &, PropertyPlace const &, std::string_view value) {
  return admit_number(value, 0, UINT32_MAX);
}

std::string zero(Database &, PropertyPlace const &) {
  return property_bytes(0);
}

std::string switch_alias(Database &database, PropertyPlace const &place) {
  return load_switch(database, place.vswitch).alias;
}

std::string switch_version(Database &database, PropertyPlace const &place) {
  return property_bytes(static_cast<std::uint32_t>(load_switch(database, place.vswitch).version));
}

constexpr bool writable = false;
constexpr bool read_only = true;

constexpr KnownProperty known_properties[] = {
    {VSPROP_MTU, Scope::global, writable, admit_mtu, default_mtu_value, nullptr},
    {VSPROP_MULTICAST_FILTER, Scope::global, writable, admit_filter_mode, default_filter_mode, nullptr},
    {VSPROP_SWITCH_TEAMING, Scope::global, writable, admit_teaming_policy, default_teaming_policy, nullptr},
    {QEL_HNQPROP_HOST_UPLINKPORTS, Scope::host, writable, admit_uplink_ports, no_uplink_ports, apply_uplink_ports},
    {QEL_HNQPROP_SWITCH_ALIAS, Scope::global, read_only, nullptr, switch_alias, nullptr},
    {QEL_HNQPROP_SWITCH_VERSION, Scope::global, read_only, nullptr, switch_version, nullptr},
    {QEL_HNQPROP_PORT_CONNECTID, Scope::port, writable, admit_any_number, zero, nullptr},
};

}  // namespace

KnownProperty const *known_property(std::string_view name) {
  static std::unordered_map<std::string_view, KnownProperty const *> const by_name = [] {
    std::unordered_map<std::string_view, KnownProperty const *> map;
    for (KnownProperty const &property : known_properties)
      map.emplace(property.name, &property);
    return map;
  }();
  auto const found = by_name.find(name);
  return found == by_name.end() ? nullptr : found->second;
}

std::string property_bytes(std::uint32_t number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

std::uint32_t property_number(std::string_view bytes) {
  std::uint32_t number = 0;
  std::memcpy(&number, bytes.data(), std::min(sizeof number, bytes.size()));
  return number;
}

}  // namespace host
