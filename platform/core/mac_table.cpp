// The MAC tables of the switches: addresses of clients, set by hand, and learned.
#include "platform/core/mac_table.hpp"

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <tuple>

#include "platform/core/clock.hpp"
#include "platform/core/port_policies.hpp"
#include "platform/core/properties.hpp"

namespace host {

namespace {

constexpr std::uint32_t most_vid = 4095;
constexpr std::size_t vlans_in_word = 64;

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

std::int64_t oldest_seen(Database &database, RowId vswitch) {
  return host::oldest_seen(clock_now(database), learning_settings(database, vswitch));
}

// The client's own address; that which it was given, where it may have no other.
std::optional<MacAddress> address_in_force(Database &database, RowId vswitch, PortRow const &port) {
  PortClient const &client = port.client;
  if (!client.own_mac || client.own_mac == client.mac)
    return client.mac;
  bool const may_change =
      !(security_in_force(database, {vswitch, Scope::port, port.row}) & VSPORT_SECURITY_DISALLOW_MAC_CHANGE);
  return may_change ? client.own_mac : client.mac;
}

// A table at one moment.
class TableView {
 public:
  TableView(Database &database, RowId vswitch)
      : database_(database),
        vswitch_(vswitch),
        now_(clock_now(database)),
        settings_(learning_settings(database, vswitch)) {}

  std::int64_t oldest() const { return host::oldest_seen(now_, settings_); }

  void add(std::vector<MacRow> const &rows) {
    for (MacRow const &row : rows) {
      entries_.push_back({row.key, row.type, row.port, row.aging,
                          std::max<std::int64_t>(now_ - row.seen, 0) / microseconds_per_second, row.moves});
    }
  }

  void add_client(PortRow const &port) {
    std::optional<MacAddress> const mac = address_in_force(database_, vswitch_, port);
    if (!mac)
      return;
    VlanPolicy const vlans = port_vlans(database_, vswitch_, port.row);
    entries_.push_back(
        {{*mac, access_vlan(vlans), QEL_VIRTUAL_NETWORK_ID_NONE}, VS_MAC_ADDR_TYPE_STATIC, port.row, false, 0, 0});
  }

  std::vector<MacEntry> entries() &&;

 private:
  Database &database_;
  RowId vswitch_;
  std::int64_t now_;
  LearningSettings settings_;
  std::vector<MacEntry> entries_;
};

void sort_entries(std::vector<MacEntry> &entries) {
  std::sort(entries.begin(), entries.end(), [](MacEntry const &left, MacEntry const &right) {
    return std::tie(left.type, left.key.mac, left.key.vid, left.key.vni, left.port) <
           std::tie(right.type, right.key.mac, right.key.vid, right.key.vni, right.port);
  });
}

std::vector<MacEntry> TableView::entries() && {
  std::erase_if(entries_, [&](MacEntry const &entry) {
    return !settings_.static_allowed && entry.type != VS_MAC_ADDR_TYPE_LEARNED;
  });
  sort_entries(entries_);
  return std::move(entries_);
}

}  // namespace

std::int64_t oldest_seen(std::int64_t now, LearningSettings const &settings) {
  if (settings.aging_time == 0)
    return INT64_MIN;
  return now - settings.aging_time * microseconds_per_second;
}

void forget_aged_by_settings(Database &database, PropertyPlace const &place, std::string_view, std::string_view) {
  forget_aged(database, place.vswitch, oldest_seen(database, place.vswitch));
}

void forget_all_aged(Database &database) {
  for (Switch const &vswitch : load_switches(database))
    forget_aged(database, vswitch.row, oldest_seen(database, vswitch.row));
}

std::vector<MacEntry> load_mac_table(Database &database, RowId vswitch, TableSide side) {
  TableView view(database, vswitch);
  view.add(mac_rows(database, vswitch, side, view.oldest()));
  if (side == TableSide::ports) {
    for (PortRow const &port : load_ports_with_addresses(database, vswitch))
      view.add_client(port);
  }
  return std::move(view).entries();
}

std::vector<MacEntry> load_port_mac_table(Database &database, RowId vswitch, RowId port) {
  TableView view(database, vswitch);
  view.add(port_mac_rows(database, port, view.oldest()));
  view.add_client(load_port(database, port));
  return std::move(view).entries();
}

void add_mac_entry(Database &database, RowId vswitch, Port const &port, MacKey const &key, std::int64_t age) {
  LearningSettings const settings = learning_settings(database, vswitch);
  refuse_if(!settings.static_allowed, QEL_NO_PERMISSION);
  refuse_if(find_mac_row(database, vswitch, key, VS_MAC_ADDR_TYPE_USER).has_value(), QEL_EXISTS);
  // What was learned makes way first, and then no longer counts: the address need not be learned any more.
  if (!settings.learn_static)
    remove_mac_row(database, vswitch, key, VS_MAC_ADDR_TYPE_LEARNED);
  bool const is_uplink = port.client_type == VS_PORT_CLIENT_UPLINK;
  bool const has_own_limit = !is_uplink || has_learning_policy(database, vswitch, port.row);
  std::int64_t const limit = has_own_limit ? port_learning_policy(database, vswitch, port.row).macLimit
                                           : team_learning_policy(database, vswitch).macLimit;
  std::int64_t const now = clock_now(database);
  refuse_if(port_has_mac_rows(database, port.row, limit, oldest_seen(now, settings)), QEL_LIMIT_EXCEEDED);
  add_mac_row(database, vswitch, is_uplink ? TableSide::team : TableSide::ports,
              {key, VS_MAC_ADDR_TYPE_USER, port.row, false, now - age * microseconds_per_second, 0});
}

void remove_mac_entry(Database &database, RowId vswitch, RowId port, MacKey const &key, std::int64_t type) {
  refuse_if(!remove_mac_row_at(database, vswitch, port, key, type, oldest_seen(database, vswitch)), QEL_NOT_FOUND);
}

bool has_mac_entries(Database &database, RowId vswitch, RowId port, std::int64_t count) {
  return port_has_mac_rows(database, port, count, oldest_seen(database, vswitch));
}

std::int64_t count_learned(Database &database, RowId vswitch, RowId port) {
  return count_learned_at(database, port, oldest_seen(database, vswitch));
}

VSPMACLearningStats port_learning_stats(Database &database, RowId vswitch, RowId port) {
  VSPMACLearningStats stats{};
  stats.numMACsLearned = static_cast<qel_uint32>(count_learned(database, vswitch, port));
  PortCounters const counters = load_port_counters(database, port);
  stats.noLearningAllowedPkts = counters.not_learned_allowed;
  stats.noLearningDroppedPkts = counters.not_learned_dropped;
  stats.numMACsMoved = counters.macs_moved;
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
      entries.push_back({found.key.mac, found.key.vni, found.type, found.port,
                         is_trunk(vlans) && found.key.vni != QEL_VIRTUAL_NETWORK_ID_NONE,
                         is_client && load_port(database, found.port).client.is_router,
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
