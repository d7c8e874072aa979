// The MAC tables of the switches: addresses of clients, set by hand, and learned.
#include "platform/core/mac_table.hpp"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <tuple>

#include "platform/core/clock.hpp"
#include "platform/core/counters.hpp"
#include "platform/core/port_policies.hpp"
#include "platform/core/properties.hpp"

namespace host {

namespace {

constexpr std::uint32_t most_vid = 4095;
constexpr std::size_t vlans_in_word = 64;

MacAddress mac_from(std::string_view bytes) {
  MacAddress mac{};
  std::memcpy(mac.data(), bytes.data(), std::min(bytes.size(), mac.size()));
  return mac;
}

VlanPolicy port_vlans(Database &database, RowId vswitch, RowId port) {
  return vlan_policy(get_property(database, {vswitch, Scope::port, port}, VSPROP_PORT_VLAN));
}

// Whether the port's client tags its frames itself.
bool is_trunk(VlanPolicy const &policy) {
  return (policy.fixed.flags & VSPORT_VLAN_GUEST_TAGGING) != 0;
}

std::int64_t access_vlan(VlanPolicy const &policy) {
  return is_trunk(policy) ? 0 : policy.fixed.vlanID;
}

// Entries last seen before this have aged.
std::int64_t oldest_seen(std::int64_t now, LearningSettings const &settings) {
  if (settings.aging_time == 0)
    return INT64_MIN;
  return now - settings.aging_time * microseconds_per_second;
}

std::int64_t oldest_seen(Database &database, RowId vswitch) {
  return oldest_seen(clock_now(database), learning_settings(database, vswitch));
}

struct Moment {
  std::int64_t now;
  LearningSettings settings;
};

MacEntry read_entry(Rows const &row, std::int64_t now) {
  return {{mac_from(row.bytes(0)), row.integer(1), row.integer(2)},
          row.integer(3),
          row.integer(4),
          row.integer(5) != 0,
          std::max<std::int64_t>(now - row.integer(6), 0) / microseconds_per_second,
          row.integer(7)};
}

#define ENTRY_COLUMNS "mac, vid, vni, type, mac_entry.port, aging, seen, moves"

void add_client(Database &database, RowId vswitch, RowId port, std::string_view mac, std::vector<MacEntry> &entries) {
  VlanPolicy const vlans = port_vlans(database, vswitch, port);
  entries.push_back(
      {{mac_from(mac), access_vlan(vlans), QEL_VIRTUAL_NETWORK_ID_NONE}, VS_MAC_ADDR_TYPE_STATIC, port, false, 0, 0});
}

void sort_entries(std::vector<MacEntry> &entries) {
  std::sort(entries.begin(), entries.end(), [](MacEntry const &left, MacEntry const &right) {
    return std::tie(left.type, left.key.mac, left.key.vid, left.key.vni, left.port) <
           std::tie(right.type, right.key.mac, right.key.vid, right.key.vni, right.port);
  });
}

bool is_in_table(MacEntry const &entry, LearningSettings const &settings) {
  return settings.static_allowed || entry.type == VS_MAC_ADDR_TYPE_LEARNED;
}

}  // namespace

std::vector<MacEntry> load_mac_table(Database &database, RowId vswitch, TableSide side) {
  Moment const moment{clock_now(database), learning_settings(database, vswitch)};
  std::vector<MacEntry> entries;
  {
    Rows rows = database.rows("SELECT " ENTRY_COLUMNS
                              " FROM mac_entry JOIN port ON port.id = mac_entry.port"
                              " WHERE mac_entry.vswitch = ? AND (port.client_type = ?) = ? AND (NOT aging OR seen > ?)",
                              vswitch, VS_PORT_CLIENT_UPLINK, side == TableSide::team,
                              oldest_seen(moment.now, moment.settings));
    while (rows.next())
      entries.push_back(read_entry(rows, moment.now));
  }
  if (side == TableSide::ports) {
    Rows clients =
        database.rows("SELECT id, client_mac FROM port WHERE vswitch = ? AND client_mac IS NOT NULL", vswitch);
    while (clients.next())
      add_client(database, vswitch, clients.integer(0), clients.bytes(1), entries);
  }
  std::erase_if(entries, [&](MacEntry const &entry) { return !is_in_table(entry, moment.settings); });
  sort_entries(entries);
  return entries;
}

std::vector<MacEntry> load_port_mac_table(Database &database, RowId vswitch, RowId port) {
  Moment const moment{clock_now(database), learning_settings(database, vswitch)};
  std::vector<MacEntry> entries;
  {
    Rows rows = database.rows("SELECT " ENTRY_COLUMNS " FROM mac_entry WHERE port = ? AND (NOT aging OR seen > ?)",
                              port, oldest_seen(moment.now, moment.settings));
    while (rows.next())
      entries.push_back(read_entry(rows, moment.now));
  }
  {
    Rows client = database.rows("SELECT client_mac FROM port WHERE id = ? AND client_mac IS NOT NULL", port);
    if (client.next())
      add_client(database, vswitch, port, client.bytes(0), entries);
  }
  std::erase_if(entries, [&](MacEntry const &entry) { return !is_in_table(entry, moment.settings); });
  sort_entries(entries);
  return entries;
}

namespace {

// Counting the entries one by one is left for ports that may be full.
bool is_full(Database &database, RowId vswitch, RowId port, std::int64_t limit) {
  {
    Rows all = database.rows("SELECT 1 FROM mac_entry_count WHERE port = ? AND entries >= ?", port, limit);
    if (limit > 0 && !all.next())
      return false;
  }
  return count_mac_entries(database, vswitch, port) >= limit;
}

}  // namespace

void add_mac_entry(Database &database, RowId vswitch, Port const &port, MacKey const &key, std::int64_t age) {
  LearningSettings const settings = learning_settings(database, vswitch);
  refuse_if(!settings.static_allowed, QEL_NO_PERMISSION);
  std::string_view const mac = mac_bytes(key.mac);
  {
    Rows same =
        database.rows("SELECT 1 FROM mac_entry WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND type = ?",
                      vswitch, Blob{mac}, key.vid, key.vni, VS_MAC_ADDR_TYPE_USER);
    refuse_if(same.next(), QEL_EXISTS);
  }
  // What was learned makes way first, and then no longer counts: the address need not be learned any more.
  if (!settings.learn_static) {
    database.execute("DELETE FROM mac_entry WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND type = ?",
                     vswitch, Blob{mac}, key.vid, key.vni, VS_MAC_ADDR_TYPE_LEARNED);
  }
  bool const has_own_limit =
      port.client_type != VS_PORT_CLIENT_UPLINK || has_learning_policy(database, vswitch, port.row);
  std::int64_t const limit = has_own_limit ? port_learning_policy(database, vswitch, port.row).macLimit
                                           : team_learning_policy(database, vswitch).macLimit;
  refuse_if(is_full(database, vswitch, port.row, limit), QEL_LIMIT_EXCEEDED);
  database.execute(
      "INSERT INTO mac_entry (vswitch, mac, vid, vni, type, port, aging, seen, moves) VALUES (?, ?, ?, ?, ?, ?, 0, ?, "
      "0)",
      vswitch, Blob{mac}, key.vid, key.vni, VS_MAC_ADDR_TYPE_USER, port.row,
      clock_now(database) - age * microseconds_per_second);
}

void remove_mac_entry(Database &database, RowId vswitch, RowId port, MacKey const &key, std::int64_t type) {
  int const removed = database.execute(
      "DELETE FROM mac_entry WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND port = ? AND ? IN (type, ?)"
      " AND (NOT aging OR seen > ?)",
      vswitch, Blob{mac_bytes(key.mac)}, key.vid, key.vni, port, type, VS_MAC_ADDR_TYPE_ALL,
      oldest_seen(database, vswitch));
  refuse_if(removed == 0, QEL_NOT_FOUND);
}

void forget_mac_entries(Database &database, RowId vswitch) {
  database.execute("DELETE FROM mac_entry WHERE vswitch = ?", vswitch);
}

void forget_all_mac_entries(Database &database) {
  database.execute("DELETE FROM mac_entry");
}

std::int64_t count_mac_entries(Database &database, RowId vswitch, RowId port) {
  Rows count = database.rows("SELECT count(*) FROM mac_entry WHERE port = ? AND (NOT aging OR seen > ?)", port,
                             oldest_seen(database, vswitch));
  return count.next() ? count.integer(0) : 0;
}

std::int64_t count_learned(Database &database, RowId vswitch, RowId port) {
  Rows count = database.rows("SELECT count(*) FROM mac_entry WHERE port = ? AND type = ? AND (NOT aging OR seen > ?)",
                             port, VS_MAC_ADDR_TYPE_LEARNED, oldest_seen(database, vswitch));
  return count.next() ? count.integer(0) : 0;
}

std::int64_t count_learned(Database &database, RowId vswitch, TableSide side) {
  Rows count = database.rows(
      "SELECT count(*) FROM mac_entry JOIN port ON port.id = mac_entry.port"
      " WHERE mac_entry.vswitch = ? AND type = ? AND (port.client_type = ?) = ? AND (NOT aging OR seen > ?)",
      vswitch, VS_MAC_ADDR_TYPE_LEARNED, VS_PORT_CLIENT_UPLINK, side == TableSide::team,
      oldest_seen(database, vswitch));
  return count.next() ? count.integer(0) : 0;
}

VSPMACLearningStats port_learning_stats(Database &database, RowId vswitch, RowId port) {
  VSPMACLearningStats stats{};
  stats.numMACsLearned = static_cast<qel_uint32>(count_learned(database, vswitch, port));
  stats.noLearningAllowedPkts = read_counter(database, vswitch, port, counter::not_learned_allowed);
  stats.noLearningDroppedPkts = read_counter(database, vswitch, port, counter::not_learned_dropped);
  stats.numMACsMoved = read_counter(database, vswitch, port, counter::macs_moved);
  return stats;
}

std::vector<StaticEntry> load_static_entries(Database &database, RowId vswitch, RowId port) {
  std::vector<MacEntry> table;
  if (port != no_port) {
    table = load_port_mac_table(database, vswitch, port);
  } else {
    table = load_mac_table(database, vswitch, TableSide::ports);
    std::vector<MacEntry> const team = load_mac_table(database, vswitch, TableSide::team);
    table.insert(table.end(), team.begin(), team.end());
    sort_entries(table);
  }

  // One entry for all VLANs of an address, in the order of the table.
  std::vector<StaticEntry> entries;
  std::map<std::tuple<std::int64_t, MacAddress, std::int64_t, RowId>, std::size_t> places;
  for (MacEntry const &found : table) {
    if (found.type == VS_MAC_ADDR_TYPE_LEARNED)
      continue;
    VlanPolicy const vlans = port_vlans(database, vswitch, found.port);
    auto const [place, is_new] =
        places.try_emplace({found.type, found.key.mac, found.key.vni, found.port}, entries.size());
    if (is_new) {
      bool const is_client = found.type == VS_MAC_ADDR_TYPE_STATIC;
      Rows router = database.rows("SELECT client_is_router FROM port WHERE id = ?", found.port);
      entries.push_back({found.key.mac, found.key.vni, found.type, found.port,
                         is_trunk(vlans) && found.key.vni != QEL_VIRTUAL_NETWORK_ID_NONE,
                         is_client && router.next() && router.integer(0) != 0,
                         std::vector<std::uint64_t>(VS_VLAN_BITMAP_ARRAY_SIZE)});
    }
    auto const set = [&vlans_of = entries[place->second].vlans](std::size_t vid) {
      vlans_of[vid / vlans_in_word] |= std::uint64_t{1} << (vid % vlans_in_word);
    };
    if (found.type == VS_MAC_ADDR_TYPE_USER || !is_trunk(vlans)) {
      set(static_cast<std::size_t>(found.key.vid) & most_vid);
      continue;
    }
    for (qel_HNQPortVIDRange const &range : vlans.ranges) {
      for (std::uint32_t vid = range.minVID; vid <= std::min<std::uint32_t>(range.maxVID, most_vid); ++vid)
        set(vid);
    }
  }
  return entries;
}

}  // namespace host
