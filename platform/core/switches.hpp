// The switches of the host: making, removing, finding them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"

namespace host {

// The number of a row; switches, ports and NICs are known inside the host by it.
using RowId = std::int64_t;

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
HOST_API void destroy_switch(Database &database, RowId vswitch);

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
