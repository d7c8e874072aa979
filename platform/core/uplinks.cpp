// The uplink ports of the switches and the physical NICs behind them.
#include "platform/core/uplinks.hpp"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "platform/core/clock.hpp"
#include "platform/core/known_properties.hpp"
#include "platform/core/teaming.hpp"
#include "platform/core/text.hpp"

namespace host {

namespace {

using NameSlot = char[QEL_HNQ_NAME_MAX_LEN];
using IdSlot = char[QEL_HNQ_PORT_ID_MAX_LEN];
constexpr std::size_t count_size = sizeof(qel_uint32);

std::string slot_text(std::string_view slot) {
  std::size_t const length = strnlen(slot.data(), slot.size());
  refuse_if(length == slot.size(), QEL_NAME_TOO_LONG);
  return std::string(slot.substr(0, length));
}

struct CurrentUplink {
  RowId port;
  std::string dvport_id;
  std::optional<RowId> nic;
  bool made_port;
};

std::map<std::string, CurrentUplink, std::less<>> current_uplinks(Database &database, RowId vswitch) {
  std::map<std::string, CurrentUplink, std::less<>> uplinks;
  Rows rows = database.rows(
      "SELECT uplink_port.name, port.id, port.dvport_id, uplink_port.nic, uplink_port.made_port"
      " FROM uplink_port JOIN port ON port.id = uplink_port.port WHERE uplink_port.vswitch = ?",
      vswitch);
  while (rows.next()) {
    std::optional<RowId> nic;
    if (!rows.is_null(3))
      nic = rows.integer(3);
    uplinks.emplace(rows.text(0), CurrentUplink{rows.integer(1), rows.text(2), nic, rows.integer(4) != 0});
  }
  return uplinks;
}

std::optional<RowId> nic_by_name(Database &database, std::string_view name) {
  Rows row = database.rows("SELECT id FROM physical_nic WHERE name = ?", name);
  if (!row.next())
    return std::nullopt;
  return row.integer(0);
}

struct BoundUplink {
  RowId vswitch;
  std::string name;
};

// The uplink port that a NIC backs.
std::optional<BoundUplink> bound_uplink(Database &database, RowId nic) {
  Rows row = database.rows("SELECT vswitch, name FROM uplink_port WHERE nic = ?", nic);
  if (!row.next())
    return std::nullopt;
  return BoundUplink{row.integer(0), row.text(1)};
}

bool has_name(std::vector<UplinkPortName> const &list, std::string_view name) {
  return std::any_of(list.begin(), list.end(), [&](UplinkPortName const &uplink) { return uplink.name == name; });
}

// The first of "uplink-1", "uplink-2", ... that neither a port of the switch nor the list has.
std::string free_dvport_id(Database &database, RowId vswitch, std::set<std::string> const &taken) {
  for (int number = 1;; ++number) {
    std::string id = "uplink-" + std::to_string(number);
    if (!taken.count(id) && !find_port(database, vswitch, id))
      return id;
  }
}

void refuse_names(std::vector<UplinkPortName> const &list) {
  std::set<std::string_view> names;
  std::set<std::string_view> ids;
  for (UplinkPortName const &uplink : list) {
    refuse_if(uplink.name.empty(), QEL_INVALID_NAME);
    refuse_if(!names.insert(uplink.name).second, QEL_EXISTS);
    refuse_if(!uplink.dvport_id.empty() && !ids.insert(uplink.dvport_id).second, QEL_EXISTS);
  }
}

void remove_uplink(Database &database, RowId vswitch, CurrentUplink const &uplink) {
  database.execute("DELETE FROM uplink_port WHERE port = ?", uplink.port);
  if (uplink.made_port) {
    drop_port(database, vswitch, uplink.port);
  } else {
    disconnect_client(database, uplink.port);
  }
}

struct PortForUplink {
  RowId row;
  bool made;
};

PortForUplink take_port(Database &database, RowId vswitch, std::string const &dvport_id) {
  std::optional<Port> const existing = find_port(database, vswitch, dvport_id);
  if (existing && existing->client_type == VS_PORT_CLIENT_UNKNOWN)
    return {existing->row, false};
  // A boot may find the identifier in use by another client, which keeps it.
  std::string const id = existing ? free_dvport_id(database, vswitch, {}) : dvport_id;
  database.execute("INSERT INTO port (vswitch, dvport_id) VALUES (?, ?)", vswitch, id);
  return {database.last_row_id(), true};
}

}  // namespace

// The value: a VSUplinkPorts block, then a VSUplinkPortIds block.
std::vector<UplinkPortName> parse_uplink_ports(std::string_view value) {
  refuse_if(value.size() < count_size, QEL_BAD_PARAM);
  std::size_t const count = property_number(value);
  refuse_if(count > QEL_TEAM_MAX_UPLINKS, QEL_LIMIT_EXCEEDED);
  std::size_t const ids_start = count_size + count * sizeof(NameSlot);
  refuse_if(value.size() != ids_start + count_size + count * sizeof(IdSlot), QEL_BAD_PARAM);
  refuse_if(property_number(value.substr(ids_start)) != count, QEL_BAD_PARAM);
  std::vector<UplinkPortName> list;
  for (std::size_t i = 0; i < count; ++i) {
    list.push_back({slot_text(value.substr(count_size + i * sizeof(NameSlot), sizeof(NameSlot))),
                    slot_text(value.substr(ids_start + count_size + i * sizeof(IdSlot), sizeof(IdSlot)))});
  }
  return list;
}

std::string uplink_ports_value(std::vector<UplinkPortName> const &list) {
  std::string names = property_bytes(static_cast<std::uint32_t>(list.size()));
  std::string ids = names;
  for (UplinkPortName const &uplink : list) {
    names.append(uplink.name).append(sizeof(NameSlot) - uplink.name.size(), '\0');
    ids.append(uplink.dvport_id).append(sizeof(IdSlot) - uplink.dvport_id.size(), '\0');
  }
  return names + ids;
}

void add_physical_nic(Database &database, PhysicalNic const &nic) {
  refuse_if(nic_by_name(database, nic.name).has_value(), QEL_EXISTS);
  std::string_view const mac(reinterpret_cast<char const *>(nic.mac.data()), nic.mac.size());
  database.execute(
      "INSERT INTO physical_nic (name, mac, driver, speed, duplex, carrier, numa_node, smartnic)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
      nic.name, Blob{mac}, nic.driver, nic.speed, nic.duplex, nic.carrier, nic.numa_node, nic.smartnic);
}

void bind_nic(Database &database, RowId vswitch, std::string_view uplink, std::string_view nic) {
  std::optional<RowId> const row = nic_by_name(database, nic);
  refuse_if(!row, QEL_NOT_FOUND);
  Uplink const target = find_uplink(database, vswitch, uplink);
  if (target.nic == row)
    return;
  refuse_if(bound_uplink(database, *row).has_value(), QEL_BUSY);
  database.execute("UPDATE uplink_port SET nic = ?, numa_node = NULL WHERE port = ?", *row, target.port);
}

std::vector<NicBinding> nic_bindings(Database &database) {
  std::vector<NicBinding> bindings;
  Rows rows = database.rows("SELECT vswitch, port, nic, numa_node FROM uplink_port WHERE nic IS NOT NULL");
  while (rows.next()) {
    bindings.push_back({rows.integer(0), rows.integer(1), rows.integer(2), std::nullopt});
    if (!rows.is_null(3))
      bindings.back().numa_node = rows.integer(3);
  }
  return bindings;
}

void release_nics(Database &database) {
  database.execute("UPDATE uplink_port SET nic = NULL, numa_node = NULL");
}

void bind_nic_again(Database &database, NicBinding const &binding) {
  database.execute("UPDATE uplink_port SET nic = ? WHERE port = ?", binding.nic, binding.port);
}

void restore_numa_node(Database &database, NicBinding const &binding) {
  if (binding.numa_node) {
    database.execute("UPDATE uplink_port SET numa_node = ? WHERE port = ? AND nic = ?", *binding.numa_node,
                     binding.port, binding.nic);
  }
}

void release_uplink_ports(Database &database, RowId vswitch, std::vector<UplinkPortName> const &kept) {
  database.execute("UPDATE uplink_port SET made_port = 0 WHERE vswitch = ?", vswitch);
  for (auto const &[name, uplink] : current_uplinks(database, vswitch)) {
    bool const stays =
        std::any_of(kept.begin(), kept.end(), [&, &own_name = name, &own_port = uplink](auto const &other) {
          return other.name == own_name && other.dvport_id == own_port.dvport_id;
        });
    if (!stays)
      remove_uplink(database, vswitch, uplink);
  }
}

void set_made_for_uplink(Database &database, RowId port, bool made) {
  database.execute("UPDATE uplink_port SET made_port = ? WHERE port = ?", made, port);
}

void set_carrier(Database &database, std::string_view nic, bool up) {
  int const changed = database.execute(
      "UPDATE physical_nic SET carrier = ?1, link_back = CASE WHEN ?1 AND admin_up AND NOT carrier THEN ?2"
      " ELSE link_back END WHERE name = ?3",
      up, clock_now(database), nic);
  refuse_if(changed == 0, QEL_NOT_FOUND);
}

void set_all_nics_up(Database &database) {
  database.execute("UPDATE physical_nic SET admin_up = 1, recovery = 0, link_back = NULL");
}

std::vector<UplinkPortName> uplink_port_names(Database &database, RowId vswitch) {
  std::vector<UplinkPortName> list;
  Rows rows = database.rows(
      "SELECT uplink_port.name, port.dvport_id FROM uplink_port JOIN port ON port.id = uplink_port.port"
      " WHERE uplink_port.vswitch = ? ORDER BY uplink_port.position",
      vswitch);
  while (rows.next())
    list.push_back({rows.text(0), rows.text(1)});
  return list;
}

void set_uplink_ports(Database &database, RowId vswitch, std::vector<UplinkPortName> const &list) {
  set_switch_property(database, vswitch, QEL_HNQPROP_HOST_UPLINKPORTS, uplink_ports_value(list));
}

void add_uplink_port(Database &database, RowId vswitch, UplinkPortName const &uplink) {
  std::vector<UplinkPortName> list = uplink_port_names(database, vswitch);
  list.push_back(uplink);
  set_uplink_ports(database, vswitch, list);
}

void remove_uplink_port(Database &database, RowId vswitch, std::string_view name) {
  std::vector<UplinkPortName> list = uplink_port_names(database, vswitch);
  auto const found = std::find_if(list.begin(), list.end(), [&](auto const &uplink) { return uplink.name == name; });
  refuse_if(found == list.end(), QEL_NOT_FOUND);
  list.erase(found);
  set_uplink_ports(database, vswitch, list);
}

std::vector<Uplink> load_uplinks(Database &database, RowId vswitch) {
  std::vector<Uplink> uplinks;
  Rows rows = database.rows(
      "SELECT uplink_port.name, uplink_port.port, uplink_port.nic, physical_nic.name,"
      " physical_nic.carrier AND physical_nic.admin_up"
      " FROM uplink_port LEFT JOIN physical_nic ON physical_nic.id = uplink_port.nic"
      " WHERE uplink_port.vswitch = ? ORDER BY uplink_port.position",
      vswitch);
  while (rows.next()) {
    Uplink uplink{rows.text(0), rows.integer(1), std::nullopt, rows.text(3), rows.integer(4) != 0};
    if (!rows.is_null(2))
      uplink.nic = rows.integer(2);
    uplinks.push_back(std::move(uplink));
  }
  return uplinks;
}

Uplink find_uplink(Database &database, RowId vswitch, std::string_view name) {
  std::vector<Uplink> const uplinks = load_uplinks(database, vswitch);
  for (Uplink const &uplink : uplinks) {
    if (uplink.name == name)
      return uplink;
  }
  for (Uplink const &uplink : uplinks) {
    if (uplink.nic && uplink.nic_name == name)
      return uplink;
  }
  refuse(QEL_NOT_FOUND);
}

void set_admin_link_state(Database &database, Uplink const &uplink, bool up) {
  refuse_if(!uplink.nic, QEL_NO_SUCH_DEVICE);
  database.execute(
      "UPDATE physical_nic SET admin_up = ?1, recovery = CASE WHEN ?1 AND NOT admin_up"
      " THEN (SELECT max(recovery) + 1 FROM physical_nic) ELSE recovery END,"
      " link_back = CASE WHEN ?1 AND carrier AND NOT admin_up THEN ?2 ELSE link_back END WHERE id = ?3",
      up, clock_now(database), *uplink.nic);
}

std::string admit_uplink_ports(Database &database, PropertyPlace const &place, std::string_view value) {
  std::vector<UplinkPortName> list = parse_uplink_ports(value);
  refuse_names(list);
  RowId const vswitch = place.vswitch;
  auto const current = current_uplinks(database, vswitch);

  // 1. An uplink port that stays without an identifier of its own keeps its port.
  std::set<std::string> taken;
  for (UplinkPortName &uplink : list) {
    auto const same = current.find(uplink.name);
    if (uplink.dvport_id.empty() && same != current.end())
      uplink.dvport_id = same->second.dvport_id;
    if (!uplink.dvport_id.empty())
      refuse_if(!taken.insert(uplink.dvport_id).second, QEL_EXISTS);
  }

  // 2. A new one needs a port that has no other client, and its NIC for itself.
  std::int64_t ports = count_ports(database, vswitch);
  for (auto const &[name, uplink] : current)
    ports -= uplink.made_port;
  for (UplinkPortName &uplink : list) {
    if (uplink.dvport_id.empty()) {
      uplink.dvport_id = free_dvport_id(database, vswitch, taken);
      taken.insert(uplink.dvport_id);
    }
    std::optional<Port> const port = find_port(database, vswitch, uplink.dvport_id);
    refuse_if(port && port->client_type != VS_PORT_CLIENT_UNKNOWN && port->client_type != VS_PORT_CLIENT_UPLINK,
              QEL_BUSY);
    bool const frees_its_port = std::any_of(current.begin(), current.end(), [&](auto const &entry) {
      return entry.second.made_port && entry.second.dvport_id == uplink.dvport_id;
    });
    ports += !port || frees_its_port;
    if (current.count(uplink.name))
      continue;
    std::optional<RowId> const nic = nic_by_name(database, uplink.name);
    if (!nic)
      continue;
    std::optional<BoundUplink> const bound = bound_uplink(database, *nic);
    refuse_if(bound && (bound->vswitch != vswitch || has_name(list, bound->name)), QEL_BUSY);
  }
  refuse_if(ports > load_switch(database, vswitch).max_ports, QEL_LIMIT_EXCEEDED);

  // 3. The teaming policy must not lose an uplink port.
  for (std::string const &name : configured_team_members(database, vswitch)) {
    refuse_if(current.count(name) && !has_name(list, name), QEL_BUSY);
  }
  return uplink_ports_value(list);
}

std::string no_uplink_ports(Database &, PropertyPlace const &) {
  return uplink_ports_value({});
}

void apply_uplink_ports(Database &database, PropertyPlace const &place, std::string_view value) {
  RowId const vswitch = place.vswitch;
  std::vector<UplinkPortName> const list = parse_uplink_ports(value);
  auto current = current_uplinks(database, vswitch);
  std::map<std::string, RowId> kept_nics;

  // What goes, goes first: the ports and NICs that it frees may be needed.
  for (auto entry = current.begin(); entry != current.end();) {
    auto const &[name, uplink] = *entry;
    auto const wanted =
        std::find_if(list.begin(), list.end(), [&](auto const &other) { return other.name == entry->first; });
    if (wanted != list.end() && wanted->dvport_id == uplink.dvport_id) {
      ++entry;
      continue;
    }
    if (wanted != list.end() && uplink.nic)
      kept_nics.emplace(name, *uplink.nic);
    remove_uplink(database, vswitch, uplink);
    entry = current.erase(entry);
  }

  int position = 0;
  for (UplinkPortName const &uplink : list) {
    ++position;
    auto const same = current.find(uplink.name);
    if (same != current.end()) {
      database.execute("UPDATE uplink_port SET position = ? WHERE port = ?", position, same->second.port);
      continue;
    }
    PortForUplink const port = take_port(database, vswitch, uplink.dvport_id);
    connect_client(database, port.row, VS_PORT_CLIENT_UPLINK, uplink.name, std::nullopt);
    database.execute("INSERT INTO uplink_port (port, vswitch, position, name, made_port) VALUES (?, ?, ?, ?, ?)",
                     port.row, vswitch, position, uplink.name, port.made);
    auto const kept = kept_nics.find(uplink.name);
    std::optional<RowId> const nic = kept != kept_nics.end() ? kept->second : nic_by_name(database, uplink.name);
    if (nic && !bound_uplink(database, *nic)) {
      database.execute("UPDATE uplink_port SET nic = ? WHERE port = ?", *nic, port.row);
    }
  }
}

}  // namespace host
