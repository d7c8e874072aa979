// The uplink ports of the switches and the physical NICs behind them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/ports.hpp"

namespace host {

// Of a beacon segment's name, with its terminator.
inline constexpr std::size_t segment_room = 32;

struct PhysicalNic {
  std::string name;
  MacAddress mac;
  std::string driver;
  std::int64_t speed;   // Mbit/s
  std::int64_t duplex;  // a QEL_LINK_DUPLEX_* value
  bool carrier;
  std::int64_t numa_node;
  bool smartnic;        // a NIC that switches by itself
  std::int64_t errors;  // how many percent of its frames are damaged
  std::string segment;  // NICs of one segment hear each other's beacons
};

struct Uplink {
  std::string name;  // of the uplink port
  RowId port;
  std::optional<RowId> nic;
  std::string nic_name;  // empty without a NIC
  bool link_up;
  bool made_port;  // its port was made for it, and goes with it
  // Of the NIC; 0 without one.
  std::int64_t speed;
  std::int64_t duplex;
  std::int64_t recovery;                  // grows each time that the NIC, or its carrier, is up again
  std::optional<std::int64_t> link_back;  // when its link last came back; none while it has been up since the boot
  std::optional<std::int64_t> numa_node;  // that teaming knows the NIC to be on
  std::int64_t errors;                    // of the NIC, in percent
};

// ---- physical NICs -------------------------------------------------------------------------------------

// Refuses with QEL_EXISTS.
void add_physical_nic(Database &database, PhysicalNic const &nic);
HOST_API std::optional<RowId> nic_by_name(Database &database, std::string_view name);

struct NicRow {
  RowId row;
  PhysicalNic nic;
  bool admin_up;
  std::int64_t recovery;  // as of an Uplink
  std::optional<std::int64_t> link_back;
};
HOST_API std::vector<NicRow> load_nics(Database &database);

// Refuses with QEL_NOT_FOUND.
void set_carrier(Database &database, RowId nic, bool up);
// Refuses with QEL_NO_SUCH_DEVICE.
void set_admin_link_state(Database &database, Uplink const &uplink, bool up);
// How many percent of its frames are damaged, and whose beacons it hears.
HOST_API void set_nic_errors(Database &database, RowId nic, std::int64_t percent);
HOST_API void set_nic_segment(Database &database, RowId nic, std::string_view segment);
void set_all_nics_up(Database &database);
// Teaming looks up on which NUMA node the NIC of each uplink port is: of one switch, or of all.
HOST_API void refresh_numa_nodes(Database &database, RowId vswitch);
void refresh_all_numa_nodes(Database &database);

// Whether a NIC that switches by itself is behind an uplink port of the switch.
HOST_API bool has_smartnic(Database &database, RowId vswitch);

// ---- NICs behind uplink ports --------------------------------------------------------------------------

struct BoundUplink {
  RowId vswitch;
  RowId port;
  std::string name;
};
// The uplink port that a NIC backs.
HOST_API std::optional<BoundUplink> bound_uplink(Database &database, RowId nic);

// Puts a NIC behind an uplink port, in place of the one that its name gave. Refuses with QEL_NOT_FOUND or QEL_BUSY.
void bind_nic(Database &database, RowId vswitch, std::string_view uplink, std::string_view nic);

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

// ---- uplink ports --------------------------------------------------------------------------------------

// In the order of their positions.
HOST_API std::vector<Uplink> load_uplinks(Database &database, RowId vswitch);
// By the name of the uplink port or else of its NIC. Refuses with QEL_NOT_FOUND.
HOST_API Uplink find_uplink(Database &database, RowId vswitch, std::string_view name);
// By the name of its NIC, or else of the uplink port, of the oldest switch that has one of that name.
std::optional<RowId> port_of_uplink(Database &database, std::string_view name);

// The caller knows that the port is free.
void insert_uplink(Database &database, RowId vswitch, RowId port, std::string_view name, bool made_port);
void set_uplink_position(Database &database, RowId port, std::int64_t position);
void set_uplink_nic(Database &database, RowId port, RowId nic);
// Its port goes with it if it was made for it, and becomes free if not.
void remove_uplink(Database &database, RowId vswitch, Uplink const &uplink);
// Whether the port of an uplink goes with it; a port of no uplink is left alone.
void set_made_for_uplink(Database &database, RowId port, bool made);
bool was_made_for_uplink(Database &database, RowId port);
void keep_ports_of_uplinks(Database &database, RowId vswitch);

}  // namespace host
