// The distributed ports of the switches and their clients.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/core/switches.hpp"

namespace host {

using MacAddress = std::array<unsigned char, 6>;

struct Port {
  RowId row;  // also the port's number
  std::string dvport_id;
  std::int64_t client_type;  // a VS_PORT_CLIENT_* value
};

// Refuses with QEL_EXISTS or QEL_LIMIT_EXCEEDED.
HOST_API RowId add_port(Database &database, RowId vswitch, std::string_view dvport_id);

// Refuses with QEL_NOT_FOUND, or QEL_BUSY when the port has a client.
HOST_API void remove_port(Database &database, RowId vswitch, std::string_view dvport_id);

HOST_API std::optional<Port> find_port(Database &database, RowId vswitch, std::string_view dvport_id);

struct NumberedPort {
  RowId vswitch;
  RowId row;
  std::int64_t client_type;
};

// Refuses with QEL_NOT_FOUND.
HOST_API NumberedPort port_by_number(Database &database, RowId number);

// Refuses with QEL_NOT_FOUND.
HOST_API Port port_by_id(Database &database, RowId vswitch, std::string_view dvport_id);

HOST_API void connect_client(Database &database, RowId port, std::int64_t client_type, std::string_view name,
                             std::optional<MacAddress> mac);
// What only a boot description says of a client.
void describe_client(Database &database, RowId port, std::int64_t numa_node, bool is_router);
HOST_API void disconnect_client(Database &database, RowId port);

// Removes a port whatever its client is, with its properties.
void drop_port(Database &database, RowId vswitch, RowId port);

HOST_API std::int64_t count_ports(Database &database, RowId vswitch);
HOST_API std::int64_t count_active_ports(Database &database, RowId vswitch);

}  // namespace host
