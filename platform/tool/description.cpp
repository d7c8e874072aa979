// The boot description of a host as it is, and the parts of it that other answers show, too.
#include "platform/tool/description.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>

#include "platform/core/clock.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/known_properties.hpp"
#include "platform/core/mac_learning.hpp"
#include "platform/core/runtime_options.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/typed_properties.hpp"
#include "platform/core/uplinks.hpp"

namespace tool {

namespace {

using namespace host;

std::string hexadecimal(std::string_view bytes, char const *separator = "") {
  std::string text;
  for (char const byte : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += (text.empty() ? "" : separator) + std::string(digits);
  }
  return text;
}

std::string mac_text(std::string_view bytes) {
  return hexadecimal(bytes, ":");
}

std::string ip_text(std::string const &bytes) {
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(bytes.size() == sizeof(in_addr) ? AF_INET : AF_INET6, bytes.data(), text, sizeof text);
  return text;
}

// A list that is left out where it is empty.
void add_list(Json &object, char const *member, Json list) {
  if (!list.empty())
    object[member] = std::move(list);
}

// ---- properties ----------------------------------------------------------------------------------------

// The values that the rules of their names admit: one that they do not admit any more would keep the host from booting.
std::vector<StoredProperty> properties_at(Database &database, PropertyPlace const &place) {
  std::vector<StoredProperty> properties = stored_properties(database, place, Values::both);
  std::erase_if(properties, [&](StoredProperty const &property) {
    return !is_admitted(database, place, property.name, property.value);
  });
  return properties;
}

// Takes a property out of the list that a member of its own says: one value, as that member writes it.
std::optional<std::string> take_plain(std::vector<StoredProperty> &properties, std::string_view name) {
  auto const has_name = [&](StoredProperty const &property) { return property.name == name; };
  auto const found = std::find_if(properties.begin(), properties.end(), has_name);
  if (std::count_if(properties.begin(), properties.end(), has_name) != 1 || found->is_volatile ||
      !found->owner.empty() || found->type != CONFIG_PROP_TYPE)
    return std::nullopt;
  std::string value = std::move(found->value);
  properties.erase(found);
  return value;
}

Json described_properties(std::vector<StoredProperty> const &properties) {
  Json list = Json::array();
  for (StoredProperty const &property : properties) {
    Json json{{"name", property.name}, {"value", hexadecimal(property.value)}};
    if (!property.owner.empty())
      json["owner"] = property.owner;
    if (property.type != CONFIG_PROP_TYPE)
      json["type"] = property.type;
    if (property.is_volatile)
      json["volatile"] = true;
    list.push_back(std::move(json));
  }
  return list;
}

// ---- ports ---------------------------------------------------------------------------------------------

Json described_user_macs(Database &database, RowId port) {
  Json list = Json::array();
  std::int64_t const now = clock_now(database);
  Rows rows = database.rows("SELECT mac, vid, vni, seen FROM mac_entry WHERE port = ? AND type = ? ORDER BY 1, 2, 3",
                            port, VS_MAC_ADDR_TYPE_USER);
  while (rows.next()) {
    list.push_back({{"mac", mac_text(rows.bytes(0))},
                    {"vlan", rows.integer(1)},
                    {"vni", rows.integer(2)},
                    {"age", std::max<std::int64_t>(now - rows.integer(3), 0) / microseconds_per_second}});
  }
  return list;
}

// What the ports of uplinks and all others have.
void add_port_state(Database &database, RowId port, std::vector<StoredProperty> const &properties, Json &json) {
  if (std::string const external_id = external_id_of(database, port); !external_id.empty())
    json["external_id"] = external_id;
  add_list(json, "properties", described_properties(properties));
  add_list(json, "user_macs", described_user_macs(database, port));
}

Json described_groups(Database &database, RowId port) {
  Json list = Json::array();
  Rows rows = database.rows(
      "SELECT address, version, source_mode, updated, vni FROM multicast_group WHERE port = ? ORDER BY address", port);
  while (rows.next()) {
    std::string const address = rows.text(0);
    Json group{{"address", ip_text(address)}, {"version", rows.integer(1)}};
    if (rows.integer(2) != VS_MCAST_SRC_IP_FILTER_MODE_NONE) {
      group["mode"] = rows.integer(2) == VS_MCAST_SRC_IP_FILTER_MODE_INCLUDE ? "include" : "exclude";
      group["sources"] = Json::array();
      Rows sources =
          database.rows("SELECT address FROM multicast_source WHERE port = ? AND group_address = ? ORDER BY address",
                        port, Blob{address});
      while (sources.next())
        group["sources"].push_back(ip_text(sources.text(0)));
    }
    group["updated"] = rows.integer(3);
    group["vni"] = rows.integer(4);
    list.push_back(std::move(group));
  }
  return list;
}

bool is_local_cache(Database &database, RowId port) {
  return database.rows("SELECT 1 FROM port WHERE id = ? AND kind = ?", port, DVSPORT_TYPE_LOCALCACHE).next();
}

bool is_zombie(Database &database, RowId port) {
  return database.rows("SELECT 1 FROM port WHERE id = ? AND kind = ?", port, DVSPORT_TYPE_ZOMBIE).next();
}

Json plain_ports(Database &database, RowId vswitch) {
  Json ports = Json::array();
  for (DescribedPort const &port : described_ports(database, vswitch)) {
    if (port.is_uplink || is_zombie(database, port.row))
      continue;
    std::vector<StoredProperty> properties = properties_at(database, {vswitch, Scope::port, port.row});
    Json json{{"dvport_id", port.dvport_id}};
    if (std::optional<std::string> const connect_id = take_plain(properties, QEL_HNQPROP_PORT_CONNECTID))
      json["connect_id"] = property_number(*connect_id);
    if (is_local_cache(database, port.row))
      json["local_cache"] = true;
    add_port_state(database, port.row, properties, json);
    if (!port.client.is_null()) {
      json["client"] = port.client;
      add_list(json, "multicast_groups", described_groups(database, port.row));
    }
    ports.push_back(std::move(json));
  }
  return ports;
}

bool is_made_port(Database &database, RowId port) {
  return database.rows("SELECT 1 FROM uplink_port WHERE port = ? AND made_port", port).next();
}

Json described_uplinks(Database &database, RowId vswitch) {
  Json uplinks = Json::array();
  for (Uplink const &uplink : load_uplinks(database, vswitch)) {
    Json json{{"name", uplink.name}, {"dvport_id", dvport_id_of(database, uplink.port)}};
    bool const has_namesake = database.rows("SELECT 1 FROM physical_nic WHERE name = ?", uplink.name).next();
    if (uplink.nic && uplink.nic_name != uplink.name)
      json["nic"] = uplink.nic_name;
    if (!uplink.nic && has_namesake)
      json["nic"] = nullptr;
    if (!is_made_port(database, uplink.port)) {
      json["made_port"] = false;
      if (is_local_cache(database, uplink.port))
        json["local_cache"] = true;
    }
    add_port_state(database, uplink.port, properties_at(database, {vswitch, Scope::port, uplink.port}), json);
    uplinks.push_back(std::move(json));
  }
  return uplinks;
}

// What LACP negotiated, whatever the link is now. A member whose uplink port is gone is left out.
Json described_lags(Database &database, RowId vswitch) {
  Json lags = Json::array();
  Rows rows = database.rows("SELECT number, name FROM lag WHERE vswitch = ? ORDER BY number", vswitch);
  while (rows.next()) {
    Json list = Json::array();
    Rows members = database.rows(
        "SELECT uplink, lacp_up FROM lag_member JOIN uplink_port ON uplink_port.vswitch = lag_member.vswitch"
        " AND uplink_port.name = uplink WHERE lag_member.vswitch = ? AND lag = ? ORDER BY lag_member.position",
        vswitch, rows.integer(0));
    while (members.next())
      list.push_back({{"uplink", members.text(0)}, {"lacp", up_or_down(members.integer(1) != 0)}});
    lags.push_back({{"name", rows.text(1)}, {"members", std::move(list)}});
  }
  return lags;
}

// ---- the host ------------------------------------------------------------------------------------------

Json switch_description(Database &database, Switch const &vswitch) {
  Json json = described_switch(vswitch);
  if (vswitch.portset.empty())
    json["portset"] = false;
  std::vector<StoredProperty> global = properties_at(database, {vswitch.row, Scope::global});
  if (std::optional<std::string> const mtu = take_plain(global, VSPROP_MTU))
    json["mtu"] = property_number(*mtu);
  Json uplinks = described_uplinks(database, vswitch.row);
  std::vector<StoredProperty> host = properties_at(database, {vswitch.row, Scope::host});
  // The list of uplink ports writes this property, unless it is empty or not what is persistent.
  std::vector<StoredProperty> without_list = host;
  std::optional<std::string> const list = take_plain(without_list, QEL_HNQPROP_HOST_UPLINKPORTS);
  if (list && !uplinks.empty() && *list == uplink_ports_value(uplink_port_names(database, vswitch.row)))
    host = std::move(without_list);
  add_list(json, "global_properties", described_properties(global));
  add_list(json, "host_properties", described_properties(host));
  json["uplinks"] = std::move(uplinks);
  json["ports"] = plain_ports(database, vswitch.row);
  json["lags"] = described_lags(database, vswitch.row);
  return json;
}

Json described_options(Database &database) {
  Json options = Json::object();
  for (std::uint16_t type = 0; type < VS_NUM_RT_OPT; ++type) {
    if (!is_set(database, type))
      continue;
    RuntimeOption const option = runtime_option(database, type);
    options[runtime_option_name(type)] = is_text_option(type) ? Json(option.text) : Json(option.number);
  }
  return options;
}

}  // namespace

std::vector<Json> described_nics(Database &database) {
  std::vector<Json> nics;
  Rows rows = database.rows(
      "SELECT name, mac, driver, speed, duplex, carrier, numa_node, smartnic FROM physical_nic ORDER BY id");
  while (rows.next()) {
    Json nic;
    nic["name"] = rows.text(0);
    nic["mac"] = mac_text(rows.bytes(1));
    nic["driver"] = rows.text(2);
    nic["speed"] = rows.integer(3);
    nic["duplex"] = rows.integer(4) == QEL_LINK_DUPLEX_FULL ? "full" : "half";
    nic["link"] = up_or_down(rows.integer(5) != 0);
    nic["numa_node"] = rows.integer(6);
    nic["smartnic"] = rows.integer(7) != 0;
    nics.push_back(std::move(nic));
  }
  return nics;
}

Json described_switch(Switch const &vswitch) {
  Json json;
  json["alias"] = vswitch.alias;
  json["switch_id"] = vswitch.switch_id;
  json["class"] = vswitch.class_name;
  json["max_ports"] = vswitch.max_ports;
  json["persistent"] = vswitch.persistent;
  json["version"] = vswitch.version;
  json["flags"] = vswitch.flags;
  return json;
}

std::vector<DescribedPort> described_ports(Database &database, RowId vswitch) {
  std::vector<DescribedPort> ports;
  Rows rows = database.rows(
      "SELECT id, dvport_id, client_type, client_name, client_mac, client_numa_node, client_is_router,"
      " client_is_promiscuous FROM port WHERE vswitch = ? ORDER BY id",
      vswitch);
  while (rows.next()) {
    std::int64_t const type = rows.integer(2);
    DescribedPort port{rows.integer(0), rows.text(1), type == VS_PORT_CLIENT_UPLINK, nullptr};
    if (type == VS_PORT_CLIENT_TCPIP || type == VS_PORT_CLIENT_VNIC) {
      port.client["name"] = rows.text(3);
      port.client["type"] = type == VS_PORT_CLIENT_TCPIP ? "tcpip" : "vnic";
      if (!rows.is_null(4))
        port.client["mac"] = mac_text(rows.bytes(4));
      port.client["numa_node"] = rows.integer(5);
      port.client["router"] = rows.integer(6) != 0;
      port.client["promiscuous"] = rows.integer(7) != 0;
    }
    ports.push_back(std::move(port));
  }
  return ports;
}

Json boot_description(Database &database) {
  Json json;
  json["format"] = 1;
  if (clock_is_stopped(database))
    json["stopped_clock"] = clock_now(database);
  if (has_global_learning_settings(database)) {
    VSMACLearningGlobalProps const settings = global_learning_settings(database);
    json["mac_learning"] = {{"aging_time", std::uint32_t{settings.agingTime}},
                            {"limit", std::uint32_t{settings.macLimit}},
                            {"learn_static", settings.learnStatic != 0},
                            {"allow_static", settings.staticMACAllow != 0}};
  }
  add_list(json, "runtime_options", described_options(database));
  json["physical_nics"] = described_nics(database);
  json["switches"] = Json::array();
  for (Switch const &vswitch : load_switches(database))
    json["switches"].push_back(switch_description(database, vswitch));
  return json;
}

}  // namespace tool
