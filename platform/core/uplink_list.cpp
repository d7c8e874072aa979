// The list of a switch's uplink ports: its value, its rules, and making the uplink ports follow it.
#include "platform/core/uplink_list.hpp"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "platform/core/property_values.hpp"
#include "platform/core/teaming.hpp"
#include "platform/core/uplinks.hpp"

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
  Uplink uplink;
  std::string dvport_id;
};

std::map<std::string, CurrentUplink, std::less<>> current_uplinks(Database &database, RowId vswitch) {
  std::map<std::string, CurrentUplink, std::less<>> uplinks;
  for (Uplink &uplink : load_uplinks(database, vswitch)) {
    std::string name = uplink.name;
    std::string dvport_id = dvport_id_of(database, uplink.port);
    uplinks.emplace(std::move(name), CurrentUplink{std::move(uplink), std::move(dvport_id)});
  }
  return uplinks;
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
  return {insert_port(database, vswitch, id), true};
}

}  // namespace

std::vector<UplinkPortName> uplink_port_names(Database &database, RowId vswitch) {
  std::vector<UplinkPortName> list;
  for (Uplink &uplink : load_uplinks(database, vswitch))
    list.push_back({std::move(uplink.name), dvport_id_of(database, uplink.port)});
  return list;
}

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

void release_uplink_ports(Database &database, RowId vswitch, std::vector<UplinkPortName> const &kept) {
  keep_ports_of_uplinks(database, vswitch);
  for (auto const &[name, current] : current_uplinks(database, vswitch)) {
    bool const stays = std::any_of(kept.begin(), kept.end(), [&, &own_name = name, &own = current](auto const &other) {
      return other.name == own_name && other.dvport_id == own.dvport_id;
    });
    if (!stays)
      remove_uplink(database, vswitch, current.uplink);
  }
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
    ports -= uplink.uplink.made_port;
  for (UplinkPortName &uplink : list) {
    if (uplink.dvport_id.empty()) {
      uplink.dvport_id = free_dvport_id(database, vswitch, taken);
      taken.insert(uplink.dvport_id);
    }
    std::optional<Port> const port = find_port(database, vswitch, uplink.dvport_id);
    refuse_if(port && port->client_type != VS_PORT_CLIENT_UNKNOWN && port->client_type != VS_PORT_CLIENT_UPLINK,
              QEL_BUSY);
    bool const frees_its_port = std::any_of(current.begin(), current.end(), [&](auto const &entry) {
      return entry.second.uplink.made_port && entry.second.dvport_id == uplink.dvport_id;
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
    if (wanted != list.end() && uplink.uplink.nic)
      kept_nics.emplace(name, *uplink.uplink.nic);
    remove_uplink(database, vswitch, uplink.uplink);
    entry = current.erase(entry);
  }

  int position = 0;
  for (UplinkPortName const &uplink : list) {
    ++position;
    auto const same = current.find(uplink.name);
    if (same != current.end()) {
      set_uplink_position(database, same->second.uplink.port, position);
      continue;
    }
    PortForUplink const port = take_port(database, vswitch, uplink.dvport_id);
    insert_uplink(database, vswitch, port.row, uplink.name, port.made);
    set_uplink_position(database, port.row, position);
    auto const kept = kept_nics.find(uplink.name);
    std::optional<RowId> const nic = kept != kept_nics.end() ? kept->second : nic_by_name(database, uplink.name);
    if (nic && !bound_uplink(database, *nic))
      set_uplink_nic(database, port.row, *nic);
  }
}

}  // namespace host
