// The switches of the host: making, removing, finding them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

struct Switch {
  RowId row;
  std::string alias;
  std::string switch_id;
  std::string portset;  // empty for a switch without a port set on this host
  std::string class_name;
  std::int64_t max_ports;
  std::int64_t version;
  std::int64_t flags;
  bool persistent;
};

struct NewSwitch {
  std::string_view alias;
  std::string_view switch_id;
  std::string_view class_name;
  std::uint32_t max_ports;
  bool persistent;
  std::uint32_t mtu;
  std::uint32_t version;
  std::uint32_t flags;
};

// The greatest number of ports that a switch can be given.
constexpr std::uint32_t most_ports = 8192;

// Refuses with QEL_NOT_SUPPORTED.
HOST_API void refuse_unknown_version(std::uint32_t version);

HOST_API RowId create_switch(Database &database, NewSwitch const &wanted);
// With its ports, uplink ports and properties, whatever their clients are.
void remove_switch(Database &database, RowId vswitch);
// As a boot does.
void remove_volatile_switches(Database &database);

// What an image or a call changes of a switch.
struct SwitchSettings {
  std::string_view alias;
  std::int64_t max_ports;
  std::int64_t version;
  std::int64_t flags;
  bool persistent;
};
// Refuses with QEL_EXISTS where another switch has the alias.
void change_switch(Database &database, RowId vswitch, SwitchSettings const &settings);
void set_switch_version(Database &database, RowId vswitch, std::int64_t version);
void set_room_for_ports(Database &database, RowId vswitch, std::int64_t max_ports);
// Switches may exchange their aliases. No alias begins with the character that this one does.
void set_aside_alias(Database &database, RowId vswitch);
// The port-set name follows from the switch's number: one that gets it again gets the same.
void set_portset(Database &database, RowId vswitch, bool has_one);

HOST_API bool has_switch(Database &database, RowId vswitch);
std::optional<RowId> find_switch_by_id(Database &database, std::string_view switch_id);

// Each refuses with QEL_NOT_FOUND.
HOST_API RowId switch_by_alias(Database &database, std::string_view alias);
HOST_API RowId switch_by_id(Database &database, std::string_view switch_id);
HOST_API RowId switch_by_portset(Database &database, std::string_view portset);
// Only a switch with a port set on this host.
HOST_API RowId switch_by_any_name(Database &database, std::string_view name);

HOST_API Switch load_switch(Database &database, RowId vswitch);

// All switches, in the order of creation.
HOST_API std::vector<Switch> load_switches(Database &database);

}  // namespace host
