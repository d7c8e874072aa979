// The MAC tables of the switches: addresses of clients, set by hand, and learned.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/core/mac_settings.hpp"
#include "platform/core/property_store.hpp"
#include "platform/core/traffic.hpp"

namespace host {

struct MacEntry {
  MacKey key;
  std::int64_t type;  // a VS_MAC_ADDR_TYPE_* value
  RowId port;
  bool aging;
  std::int64_t elapsed;  // seconds
  std::int64_t moves;
};

// What is there now, by type, address, VLAN and overlay network.
HOST_API std::vector<MacEntry> load_mac_table(Database &database, RowId vswitch, TableSide side);
HOST_API std::vector<MacEntry> load_port_mac_table(Database &database, RowId vswitch, RowId port);

// An entry by hand, made so many seconds ago. Refuses with QEL_EXISTS, QEL_NO_PERMISSION or QEL_LIMIT_EXCEEDED.
HOST_API void add_mac_entry(Database &database, RowId vswitch, Port const &port, MacKey const &key,
                            std::int64_t age = 0);
// `type` may be VS_MAC_ADDR_TYPE_ALL. Refuses with QEL_NOT_FOUND.
HOST_API void remove_mac_entry(Database &database, RowId vswitch, RowId port, MacKey const &key, std::int64_t type);

// What has aged by the settings in force is gone for good: for a change of them, of a switch or of all.
void forget_aged_by_settings(Database &database, PropertyPlace const &place, std::string_view former,
                             std::string_view value);
HOST_API void forget_all_aged(Database &database);

// Entries last seen then or before have aged.
std::int64_t oldest_seen(std::int64_t now, LearningSettings const &settings);

// Whether a port has so many addresses, learned and by hand; those that have aged do not count.
HOST_API bool has_mac_entries(Database &database, RowId vswitch, RowId port, std::int64_t count);
HOST_API std::int64_t count_learned(Database &database, RowId vswitch, RowId port);

// The counters of one port, which may be an uplink.
HOST_API VSPMACLearningStats port_learning_stats(Database &database, RowId vswitch, RowId port);

struct StaticEntry {
  MacAddress mac;
  std::int64_t vni;
  std::int64_t type;
  RowId port;
  bool is_trunk;
  bool is_router;
  std::vector<std::uint64_t> vlans;  // VS_VLAN_BITMAP_ARRAY_SIZE words
};

// In place of a port: all of the switch.
inline constexpr RowId no_port = 0;

// The addresses that are bound to a port without being learned: one entry for all VLANs of an address. `port` is
// the port asked for, or `no_port` for all.
HOST_API std::vector<StaticEntry> load_static_entries(Database &database, RowId vswitch, RowId port);

}  // namespace host
