// The distributed ports of the switches and their clients.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/mac_address.hpp"
#include "platform/core/switches.hpp"

namespace host {

struct Port {
  RowId row;  // also the port's number
  std::string dvport_id;
  std::int64_t client_type;  // a VS_PORT_CLIENT_* value
};

// Refuses with QEL_EXISTS or QEL_LIMIT_EXCEEDED.
HOST_API RowId add_port(Database &database, RowId vswitch, std::string_view dvport_id);
// Asks nothing: the caller knows that there is room, and no such port.
RowId insert_port(Database &database, RowId vswitch, std::string_view dvport_id);

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
bool has_port(Database &database, RowId number);

// Refuses with QEL_NOT_FOUND.
HOST_API Port port_by_id(Database &database, RowId vswitch, std::string_view dvport_id);

// Empty for a port that is gone.
HOST_API std::string dvport_id_of(Database &database, RowId port);

struct PortClient {
  std::int64_t type;  // a VS_PORT_CLIENT_* value; VS_PORT_CLIENT_UNKNOWN for none
  std::string name;
  std::optional<MacAddress> mac;
  std::int64_t numa_node;
  bool is_router;
  bool is_promiscuous;
  // What runs of it: the address that it has given itself (none: the one that it was given), its link.
  std::optional<MacAddress> own_mac;
  bool link_up;

  std::optional<MacAddress> effective_mac() const { return own_mac ? own_mac : mac; }
  bool is_uplink() const { return type == VS_PORT_CLIENT_UPLINK; }
};

// All that the state says of a port by itself.
struct PortRow {
  RowId row;
  std::string dvport_id;
  PortClient client;
  std::int64_t kind;        // the DVSPORT_TYPE_* value that it has without a client, or that of a zombie
  std::string external_id;  // empty for none

  // A DVSPORT_TYPE_* value.
  int type() const {
    bool const is_active = client.type != VS_PORT_CLIENT_UNKNOWN && kind != DVSPORT_TYPE_ZOMBIE;
    return is_active ? DVSPORT_TYPE_ACTIVE : static_cast<int>(kind);
  }
  // Neither an uplink nor nothing.
  bool is_client_port() const { return client.type != VS_PORT_CLIENT_UNKNOWN && !client.is_uplink(); }
};

// A condition on a column that names a port: that it is of the switch whose number is bound next.
#define PORTS_OF_SWITCH " IN (SELECT id FROM port WHERE vswitch = ?)"

// In the order of their numbers, zombies included.
HOST_API std::vector<PortRow> load_ports(Database &database, RowId vswitch);
// Those whose clients have an address, in no order.
std::vector<PortRow> load_ports_with_addresses(Database &database, RowId vswitch);
// Refuses with QEL_NOT_FOUND.
HOST_API PortRow load_port(Database &database, RowId port);

// Whether a client has the address, as its own or as the one that it was given.
bool is_client_mac(Database &database, RowId vswitch, MacAddress const &mac);

HOST_API void connect_client(Database &database, RowId port, std::int64_t client_type, std::string_view name,
                             std::optional<MacAddress> mac);
// What only a boot description says of a client.
void describe_client(Database &database, RowId port, std::int64_t numa_node, bool is_router);
// Whether the client itself is in promiscuous mode.
HOST_API void set_promiscuous_client(Database &database, RowId port, bool promiscuous);
// The hardware multicast addresses that a client wants, in its order.
HOST_API std::vector<MacAddress> client_multicast_macs(Database &database, RowId port);
HOST_API void set_client_multicast_macs(Database &database, RowId port, std::vector<MacAddress> const &macs);
// The address that a client gives itself; none: the one that it was given. And its link.
HOST_API void set_client_mac(Database &database, RowId port, std::optional<MacAddress> const &mac);
HOST_API void set_client_link(Database &database, RowId port, bool up);
HOST_API void disconnect_client(Database &database, RowId port);
// What runs of clients is as after connecting them; only that they are promiscuous stays.
void restart_clients(Database &database);

// Whether a port has a client that is not an uplink.
bool has_clients(Database &database, RowId vswitch);
// Refuses with QEL_BUSY when a port has a client that is not an uplink.
HOST_API void destroy_switch(Database &database, RowId vswitch);

// Removes a port whatever its client is, with its properties.
void drop_port(Database &database, RowId vswitch, RowId port);

HOST_API std::int64_t count_ports(Database &database, RowId vswitch);
HOST_API std::int64_t count_active_ports(Database &database, RowId vswitch);

// The kind of a port while it has no client, or that of a zombie.
HOST_API void set_port_kind(Database &database, RowId port, std::int64_t kind);
void drop_zombie_ports(Database &database);

// Refuses with QEL_EXISTS when another port of the switch has it. The empty text takes the identifier away.
HOST_API void set_external_id(Database &database, RowId vswitch, RowId port, std::string_view external_id);
void clear_external_ids(Database &database, RowId vswitch);
// Refuses with QEL_NOT_FOUND.
HOST_API Port port_by_external_id(Database &database, RowId vswitch, std::string_view external_id);

}  // namespace host
