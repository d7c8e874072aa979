// The state of the distributed switches apart from their settings: port sets, versions, ports that come and go.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/core/ports.hpp"

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

// A port that was removed while its client was connected comes back; any other is added. Refuses as add_port.
HOST_API RowId add_or_revive_port(Database &database, RowId vswitch, std::string_view dvport_id);

// A port with a client becomes a zombie. Refuses with QEL_NOT_FOUND, or QEL_BUSY for the port of an uplink.
HOST_API void remove_port_state(Database &database, RowId vswitch, std::string_view dvport_id);

}  // namespace host
