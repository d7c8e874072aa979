// The uplink ports of the switches and the physical NICs behind them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "interface/policy_records.h"
#include "platform/core/ports.hpp"
#include "platform/core/properties.hpp"

namespace host {

struct UplinkPortName {
  std::string name;
  std::string dvport_id;  // empty where the host is to give one
};

struct PhysicalNic {
  std::string name;
  MacAddress mac;
  std::string driver;
  std::int64_t speed;   // Mbit/s
  std::int64_t duplex;  // a QEL_LINK_DUPLEX_* value
  bool carrier;
  std::int64_t numa_node;
  bool smartnic;  // a NIC that switches by itself
};

struct Uplink {
  std::string name;  // of the uplink port
  RowId port;
  std::optional<RowId> nic;
  std::string nic_name;  // empty without a NIC
  bool link_up;
};

void add_physical_nic(Database &database, PhysicalNic const &nic);
// Puts a NIC behind an uplink port, in place of the one that its name gave. Refuses with QEL_NOT_FOUND or QEL_BUSY.
void bind_nic(Database &database, RowId vswitch, std::string_view uplink, std::string_view nic);
// Refuses with QEL_NOT_FOUND.
HOST_API void set_carrier(Database &database, std::string_view nic, bool up);
void set_all_nics_up(Database &database);

// Which uplink port has which NIC, and the NUMA node that teaming knows it to be on.
struct NicBinding {
  RowId vswitch;
  RowId port;
  RowId nic;
  std::optional<std::int64_t> numa_node;
};
std::vector<NicBinding> nic_bindings(Database &database);
void release_nics(Database &database);
void bind_nic_again(Database &database, NicBinding const &binding);
// Where the uplink port has the NIC again.
void restore_numa_node(Database &database, NicBinding const &binding);

// Takes away the uplink ports of a switch that are not in the list with the same port. Their ports become free, and so
// do those of the others as soon as these go: none is removed.
void release_uplink_ports(Database &database, RowId vswitch, std::vector<UplinkPortName> const &kept);
// Whether the port of an uplink goes with it; a port of no uplink is left alone.
void set_made_for_uplink(Database &database, RowId port, bool made);

// In order. A change of the list is a write of its property.
HOST_API std::vector<UplinkPortName> uplink_port_names(Database &database, RowId vswitch);
// The value of the property QEL_HNQPROP_HOST_UPLINKPORTS.
HOST_API std::string uplink_ports_value(std::vector<UplinkPortName> const &list);
// Refuses with QEL_BAD_PARAM, QEL_LIMIT_EXCEEDED or QEL_NAME_TOO_LONG.
std::vector<UplinkPortName> parse_uplink_ports(std::string_view value);
HOST_API void set_uplink_ports(Database &database, RowId vswitch, std::vector<UplinkPortName> const &list);
HOST_API void add_uplink_port(Database &database, RowId vswitch, UplinkPortName const &uplink);
HOST_API void remove_uplink_port(Database &database, RowId vswitch, std::string_view name);

HOST_API std::vector<Uplink> load_uplinks(Database &database, RowId vswitch);
// By the name of the uplink port or else of its NIC. Refuses with QEL_NOT_FOUND.
HOST_API Uplink find_uplink(Database &database, RowId vswitch, std::string_view name);
// Refuses with QEL_NO_SUCH_DEVICE.
HOST_API void set_admin_link_state(Database &database, Uplink const &uplink, bool up);

// The rules of QEL_HNQPROP_HOST_UPLINKPORTS.
std::string admit_uplink_ports(Database &database, PropertyPlace const &place, std::string_view value);
std::string no_uplink_ports(Database &database, PropertyPlace const &place);
void apply_uplink_ports(Database &database, PropertyPlace const &place, std::string_view value);

}  // namespace host
