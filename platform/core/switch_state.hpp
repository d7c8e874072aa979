// The state of the distributed switches apart from their settings: port sets, kinds of ports, external identifiers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/ports.hpp"
#include "platform/core/switches.hpp"

namespace host {

// Gives a switch its port set on this host. Refuses with QEL_EXISTS.
HOST_API void give_portset(Database &database, RowId vswitch);

// Refuses with QEL_IS_DISCONNECTED, or QEL_BUSY when a port has a client that is not an uplink.
HOST_API void take_portset(Database &database, RowId vswitch);

// Refuses with QEL_BUSY while the switch has a port set.
HOST_API void remove_switch_state(Database &database, RowId vswitch);

// Refuses with QEL_NOT_SUPPORTED, or QEL_VERSION_MISMATCH_MAJOR for a version below that of the switch.
HOST_API void raise_switch_version(Database &database, RowId vswitch, std::uint32_t version);

// Refuses with QEL_BAD_PARAM, QEL_LIMIT_EXCEEDED or, below the number of ports there are, QEL_BUSY.
HOST_API void set_most_ports(Database &database, RowId vswitch, std::uint32_t max_ports);

HOST_API bool has_switch(Database &database, RowId vswitch);

// Empty for a port that is gone.
HOST_API std::string dvport_id_of(Database &database, RowId port);

struct ListedPort {
  RowId row;
  std::string dvport_id;
  int type;  // a DVSPORT_TYPE_* value
};

// In the order of their numbers.
HOST_API std::vector<ListedPort> list_ports(Database &database, RowId vswitch);

// The kind of a port while it has no client.
HOST_API void set_port_kind(Database &database, RowId port, std::int64_t kind);

// A port that was removed while its client was connected comes back; any other is added. Refuses as add_port.
HOST_API RowId add_or_revive_port(Database &database, RowId vswitch, std::string_view dvport_id);

// A port with a client becomes a zombie. Refuses with QEL_NOT_FOUND, or QEL_BUSY for the port of an uplink.
HOST_API void remove_port_state(Database &database, RowId vswitch, std::string_view dvport_id);

HOST_API void drop_zombie_ports(Database &database);

// Refuses with QEL_EXISTS when another port of the switch has it. The empty text takes the identifier away.
HOST_API void set_external_id(Database &database, RowId vswitch, RowId port, std::string_view external_id);

struct ExternalPort {
  std::string dvport_id;
  std::string external_id;
};

// Refuses with QEL_NOT_FOUND.
HOST_API ExternalPort port_by_external_id(Database &database, RowId vswitch, std::string_view external_id);

// Empty for none.
HOST_API std::string external_id_of(Database &database, RowId port);

// Whether a NIC that switches by itself is behind an uplink port of the switch.
HOST_API bool has_smartnic(Database &database, RowId vswitch);

}  // namespace host
