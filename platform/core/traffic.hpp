// What traffic leaves behind: counters, entries of the MAC tables, counters of mirror sessions, memberships of
// multicast groups, what LACP found. The one owner of these tables: a boot and save and restore go through here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"
#include "platform/core/mac_address.hpp"

namespace host {

// ---- all of it -----------------------------------------------------------------------------------------

// As a boot does: nothing is learned, joined or waited for, and counters are zero.
void forget_traffic(Database &database);

// What save and restore keeps over an upgrade of a switch, which loses it. Restored counters go on from where they
// were; what was learned or joined since then stays.
void save_traffic(Database &database, RowId vswitch);
void lose_traffic(Database &database, RowId vswitch);
void restore_traffic(Database &database, RowId vswitch);
void forget_saved_traffic(Database &database, RowId vswitch);
void forget_all_saved_traffic(Database &database);

// What was learned at a port and what its client has joined: it was the former client's.
void forget_client_traffic(Database &database, RowId port);

// What was learned at a port, or in VLANs of a switch (by VLAN), or has aged there.
HOST_API void forget_learned_at(Database &database, RowId port);
void forget_learned_in(Database &database, RowId vswitch, std::vector<bool> const &vlans);
void forget_aged(Database &database, RowId vswitch, std::int64_t oldest);
// Whether anything of it says when it was.
bool has_timed_traffic(Database &database);
// The groups that a client has joined by itself, not by reports in frames.
HOST_API void forget_own_groups(Database &database, RowId port);

// ---- counters ------------------------------------------------------------------------------------------

// By the names that boot descriptions have for them, which are those of the columns.
#define HOST_PORT_COUNTERS(COUNTER) \
  COUNTER(packets_in_unicast)       \
  COUNTER(bytes_in_unicast)         \
  COUNTER(packets_in_multicast)     \
  COUNTER(bytes_in_multicast)       \
  COUNTER(packets_in_broadcast)     \
  COUNTER(bytes_in_broadcast)       \
  COUNTER(packets_out_unicast)      \
  COUNTER(bytes_out_unicast)        \
  COUNTER(packets_out_multicast)    \
  COUNTER(bytes_out_multicast)      \
  COUNTER(packets_out_broadcast)    \
  COUNTER(bytes_out_broadcast)      \
  COUNTER(packets_in_dropped)       \
  COUNTER(packets_out_dropped)      \
  COUNTER(packets_in_exception)     \
  COUNTER(packets_out_exception)    \
  COUNTER(not_learned_allowed)      \
  COUNTER(not_learned_dropped)      \
  COUNTER(macs_moved)

#define HOST_SWITCH_COUNTERS(COUNTER)    \
  COUNTER(team_allowed_at_port_limit)    \
  COUNTER(rarp_packets)                  \
  COUNTER(rarp_longest)                  \
  COUNTER(rarp_time)                     \
  COUNTER(service_port_tx)               \
  COUNTER(service_port_tx_own_policy)    \
  COUNTER(service_port_tx_source_policy) \
  COUNTER(service_port_tx_errors)        \
  COUNTER(service_port_rx)               \
  COUNTER(service_port_rx_override)      \
  COUNTER(promiscuous_copies)            \
  COUNTER(promiscuous_frames)

#define HOST_COUNTER_MEMBER(name) std::uint64_t name = 0;
struct PortCounters {
  HOST_PORT_COUNTERS(HOST_COUNTER_MEMBER)
};
struct SwitchCounters {
  HOST_SWITCH_COUNTERS(HOST_COUNTER_MEMBER)
};
#undef HOST_COUNTER_MEMBER

template <typename Counters>
struct NamedCounter {
  std::string_view name;
  std::uint64_t Counters::*value;
};

#define HOST_NAMED_COUNTER(name) {#name, &Counters::name},
inline constexpr auto port_counters = [] {
  using Counters = PortCounters;
  return std::to_array<NamedCounter<Counters>>({HOST_PORT_COUNTERS(HOST_NAMED_COUNTER)});
}();
inline constexpr auto switch_counters = [] {
  using Counters = SwitchCounters;
  return std::to_array<NamedCounter<Counters>>({HOST_SWITCH_COUNTERS(HOST_NAMED_COUNTER)});
}();
#undef HOST_NAMED_COUNTER

// They wrap at 64 bits.
HOST_API PortCounters load_port_counters(Database &database, RowId port);
HOST_API void store_port_counters(Database &database, RowId vswitch, RowId port, PortCounters const &counters);
// Those of unicast frames alone, and only of a port that has counters already: whether it has.
HOST_API bool store_unicast_counters(Database &database, RowId port, PortCounters const &counters);
void count_at_port(Database &database, RowId vswitch, RowId port, std::uint64_t PortCounters::*counter);

// Of all ports of the host that have any.
struct CountedPort {
  RowId port;
  PortCounters counters;
};
HOST_API std::vector<CountedPort> all_port_counters(Database &database);

HOST_API SwitchCounters load_switch_counters(Database &database, RowId vswitch);
HOST_API void store_switch_counters(Database &database, RowId vswitch, SwitchCounters const &counters);

// ---- MAC tables ----------------------------------------------------------------------------------------

// The two tables of a switch: behind its ports, and behind its uplinks. The numbers stand in the state file.
enum class TableSide { ports = 0, team = 1 };

// An entry that was learned or set by hand; those of clients follow from the ports.
struct MacRow {
  MacKey key;
  std::int64_t type;  // VS_MAC_ADDR_TYPE_USER or VS_MAC_ADDR_TYPE_LEARNED
  RowId port;
  bool aging;
  std::int64_t seen;  // microseconds of the host's clock
  std::int64_t moves;
};

// `oldest`: what was seen then or before has aged.
// Of one type, aged or not, by address, VLAN and overlay network.
HOST_API std::vector<MacRow> mac_rows_of_type(Database &database, RowId vswitch, std::int64_t type);
std::vector<MacRow> mac_rows(Database &database, RowId vswitch, TableSide side, std::int64_t oldest);
HOST_API std::vector<MacRow> port_mac_rows(Database &database, RowId port, std::int64_t oldest);
// Those by hand, by address, VLAN and overlay network.
std::vector<MacRow> user_mac_rows(Database &database, RowId port);
// Aged or not.
std::optional<MacRow> find_mac_row(Database &database, RowId vswitch, MacKey const &key, std::int64_t type);
void add_mac_row(Database &database, RowId vswitch, TableSide side, MacRow const &row);
void refresh_mac_row(Database &database, RowId vswitch, MacRow const &row);
// An entry that was learned, whether it is there or not, and at which port.
HOST_API void store_learned_row(Database &database, RowId vswitch, TableSide side, MacRow const &row);
HOST_API void remove_mac_row(Database &database, RowId vswitch, MacKey const &key, std::int64_t type);
// One that has not aged; `type` may be VS_MAC_ADDR_TYPE_ALL. False where there is none.
bool remove_mac_row_at(Database &database, RowId vswitch, RowId port, MacKey const &key, std::int64_t type,
                       std::int64_t oldest);

// Whether a port, or one side of a switch, has so many entries. Costs the same for any number as long as there are
// fewer, aged ones included.
bool port_has_mac_rows(Database &database, RowId port, std::int64_t count, std::int64_t oldest);
bool side_has_learned(Database &database, RowId vswitch, TableSide side, std::int64_t count, std::int64_t oldest);
std::int64_t count_learned_at(Database &database, RowId port, std::int64_t oldest);

// Where the entries of a port are that stay whatever its client is.
void set_table_side(Database &database, RowId port, TableSide side);

// ---- mirror sessions -----------------------------------------------------------------------------------

struct MirrorStatistics {
  std::uint64_t copies = 0;
  std::uint64_t copies_failed = 0;
  std::uint64_t mirrored = 0;
  std::uint64_t discarded = 0;
  std::uint64_t failed = 0;
};

struct SessionRow {
  std::string sid;
  std::string name;
  bool enabled;
};

// The sessions of one table become these, in order; `port` 0: that of the switch. One that stays keeps its counters,
// and one that another table has stays there.
void set_session_rows(Database &database, RowId vswitch, RowId port, std::vector<SessionRow> const &sessions);
void forget_sessions(Database &database, RowId vswitch);
void forget_sessions_of_port(Database &database, RowId vswitch, RowId port);
bool has_session_elsewhere(Database &database, RowId vswitch, RowId port, std::string_view sid);
struct EnabledSession {
  std::string sid;
  RowId port;  // 0: it is in the table of the switch
};
// Those of the switch, then those of its ports by number.
std::vector<EnabledSession> enabled_sessions(Database &database, RowId vswitch);

struct SessionStatistics {
  std::string name;
  MirrorStatistics statistics;
};
std::optional<SessionStatistics> session_statistics(Database &database, RowId vswitch, std::string_view sid);
// False where there is no such session.
bool store_session_statistics(Database &database, RowId vswitch, std::string_view sid, MirrorStatistics const &all);

// ---- timers --------------------------------------------------------------------------------------------

// What is to happen once at a switch.
struct TimerRow {
  std::int64_t kind;
  RowId port;          // 0: the switch as a whole
  std::string detail;  // bytes that the kind needs
  std::int64_t due;    // microseconds of the host's clock
};
// By kind and port.
HOST_API std::vector<TimerRow> load_timers(Database &database, RowId vswitch);
// In place of all of the switch.
HOST_API void store_timers(Database &database, RowId vswitch, std::vector<TimerRow> const &timers);
// In place of the one of its kind and port, if there is one.
void set_timer(Database &database, RowId vswitch, TimerRow const &timer);
void clear_timer(Database &database, RowId vswitch, std::int64_t kind, RowId port);

// All that frames leave behind in a session.
struct SentCopies {
  std::string address;  // 4 or 16 bytes
  std::uint64_t number;
};
struct SessionTraffic {
  std::string sid;
  MirrorStatistics statistics;
  std::uint64_t seen;            // the frames that it samples
  std::vector<SentCopies> sent;  // by address
};
HOST_API std::vector<SessionTraffic> all_session_traffic(Database &database, RowId vswitch);
// Addresses that are not in it keep their numbers.
HOST_API void store_session_traffic(Database &database, RowId vswitch, SessionTraffic const &traffic);

// ---- multicast groups ----------------------------------------------------------------------------------

struct MulticastGroup {
  std::string address;  // 4 or 16 bytes
  std::uint32_t version;
  std::uint32_t source_mode;  // a VS_MCAST_SRC_IP_FILTER_MODE_* value
  std::uint32_t vni;
  std::vector<std::string> sources;  // of the group's family; in the order of their bytes when loaded
};

struct JoinedGroup {
  MulticastGroup group;
  std::int64_t updated;  // microseconds of the host's clock
  // When it ages, if the client has reported it in a frame; none of one that it has joined by itself.
  std::optional<std::int64_t> expiry{};
};

// Of a port, in the order of their addresses: those that have not aged, and those that do not.
HOST_API std::vector<JoinedGroup> joined_groups(Database &database, RowId port);
HOST_API std::vector<JoinedGroup> own_groups(Database &database, RowId port);
// One that has not aged.
std::optional<JoinedGroup> find_group(Database &database, RowId port, std::string_view address);
// Of all ports of a switch, aged or not.
struct PortGroup {
  RowId port;
  JoinedGroup joined;
};
HOST_API std::vector<PortGroup> all_groups(Database &database, RowId vswitch);
// In place of the one of that address, if there is one.
HOST_API void store_group(Database &database, RowId vswitch, RowId port, JoinedGroup const &joined);
HOST_API void remove_group(Database &database, RowId port, std::string_view address);

// Ports behind which a multicast router is.
struct RouterPortRow {
  RowId port;
  std::int64_t ip_version;  // 4 or 6
  std::int64_t expiry;      // microseconds of the host's clock
};
// Of all switches.
HOST_API std::vector<RouterPortRow> load_router_ports(Database &database);
HOST_API void store_router_port(Database &database, RouterPortRow const &port);
HOST_API void remove_router_port(Database &database, RowId port, std::int64_t ip_version);

void add_group(Database &database, RowId vswitch, RowId port, JoinedGroup const &joined);

}  // namespace host
