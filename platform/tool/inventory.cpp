// What a host has, as JSON: all of it to be shown, or the description that boots it.
#include "platform/tool/inventory.hpp"

#include <cstdio>

#include "platform/core/boot.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/known_properties.hpp"
#include "platform/core/lags.hpp"
#include "platform/core/status_names.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/uplinks.hpp"
#include "platform/tool/words.hpp"

namespace tool {

namespace {

using namespace host;

char const *up_or_down(bool up) {
  return up ? "up" : "down";
}

std::string mac_text(std::string_view bytes) {
  std::string text;
  for (unsigned char byte : bytes) {
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += (text.empty() ? "" : ":") + std::string(pair);
  }
  return text;
}

// With what a description says of a NIC; `link` is the carrier.
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

Json shown_nic(Database &database, Json nic) {
  auto const name = nic["name"].get<std::string>();
  Rows row = database.rows(
      "SELECT physical_nic.admin_up, vswitch.alias, uplink_port.name FROM physical_nic"
      " LEFT JOIN uplink_port ON uplink_port.nic = physical_nic.id LEFT JOIN vswitch ON vswitch.id = "
      "uplink_port.vswitch"
      " WHERE physical_nic.name = ?",
      std::string_view(name));
  if (!row.next())
    return nic;
  nic["admin"] = up_or_down(row.integer(0) != 0);
  nic["switch"] = row.is_null(1) ? Json(nullptr) : Json(row.text(1));
  nic["uplink"] = row.is_null(2) ? Json(nullptr) : Json(row.text(2));
  return nic;
}

struct PortRow {
  RowId row;
  std::string dvport_id;
  std::int64_t client_type;
  Json client;  // null for none, and for an uplink
};

std::vector<PortRow> port_rows(Database &database, RowId vswitch) {
  std::vector<PortRow> ports;
  Rows rows = database.rows(
      "SELECT id, dvport_id, client_type, client_name, client_mac, client_numa_node, client_is_router FROM port"
      " WHERE vswitch = ? ORDER BY id",
      vswitch);
  while (rows.next()) {
    PortRow port{rows.integer(0), rows.text(1), rows.integer(2), nullptr};
    if (port.client_type == VS_PORT_CLIENT_TCPIP || port.client_type == VS_PORT_CLIENT_VNIC) {
      port.client["name"] = rows.text(3);
      port.client["type"] = port.client_type == VS_PORT_CLIENT_TCPIP ? "tcpip" : "vnic";
      if (!rows.is_null(4))
        port.client["mac"] = mac_text(rows.bytes(4));
      port.client["numa_node"] = rows.integer(5);
      port.client["router"] = rows.integer(6) != 0;
    }
    ports.push_back(std::move(port));
  }
  return ports;
}

char const *port_type(ListedPort const &port) {
  switch (port.type) {
    case DVSPORT_TYPE_ACTIVE: return "active";
    case DVSPORT_TYPE_SHADOW: return "shadow";
    case DVSPORT_TYPE_LOCALCACHE: return "local cache";
    case DVSPORT_TYPE_ZOMBIE: return "zombie";
    default: return "unknown";
  }
}

std::uint32_t mtu_of(Database &database, Switch const &vswitch) {
  return property_number(get_switch_property(database, vswitch.row, VSPROP_MTU));
}

// The members that both forms have.
Json switch_members(Database &database, Switch const &vswitch) {
  Json json;
  json["alias"] = vswitch.alias;
  json["switch_id"] = vswitch.switch_id;
  json["class"] = vswitch.class_name;
  json["max_ports"] = vswitch.max_ports;
  json["persistent"] = vswitch.persistent;
  json["mtu"] = mtu_of(database, vswitch);
  json["version"] = vswitch.version;
  json["flags"] = vswitch.flags;
  return json;
}

Json shown_switch(Database &database, Switch const &vswitch) {
  Json json = switch_members(database, vswitch);
  json["portset"] = vswitch.portset.empty() ? Json(nullptr) : Json(vswitch.portset);
  json["active_ports"] = count_active_ports(database, vswitch.row);
  json["uplinks"] = Json::array();
  for (Uplink const &uplink : load_uplinks(database, vswitch.row)) {
    json["uplinks"].push_back({{"name", uplink.name},
                               {"port_id", uplink.port},
                               {"nic", uplink.nic ? Json(uplink.nic_name) : Json(nullptr)},
                               {"link", up_or_down(uplink.link_up)}});
  }
  std::vector<PortRow> const rows = port_rows(database, vswitch.row);
  json["ports"] = Json::array();
  for (ListedPort const &listed : list_ports(database, vswitch.row)) {
    Json port{{"dvport_id", listed.dvport_id}, {"port_id", listed.row}, {"type", port_type(listed)}};
    for (PortRow const &row : rows) {
      if (row.row == listed.row)
        port["client"] = row.client_type == VS_PORT_CLIENT_UPLINK ? Json("uplink") : row.client;
    }
    json["ports"].push_back(std::move(port));
  }
  return json;
}

Json described_uplinks(Database &database, RowId vswitch) {
  Json uplinks = Json::array();
  std::vector<Uplink> const loaded = load_uplinks(database, vswitch);
  std::size_t position = 0;
  for (UplinkPortName const &uplink : uplink_port_names(database, vswitch)) {
    Json json{{"name", uplink.name}, {"dvport_id", uplink.dvport_id}};
    Uplink const &running = loaded[position++];
    if (running.nic && running.nic_name != uplink.name)
      json["nic"] = running.nic_name;
    uplinks.push_back(std::move(json));
  }
  return uplinks;
}

Json described_ports(Database &database, RowId vswitch) {
  Json ports = Json::array();
  std::vector<ListedPort> const listed = list_ports(database, vswitch);
  std::size_t position = 0;
  for (PortRow const &row : port_rows(database, vswitch)) {
    bool const is_zombie = listed[position++].type == DVSPORT_TYPE_ZOMBIE;
    if (is_zombie || row.client_type == VS_PORT_CLIENT_UPLINK)
      continue;
    Json port{{"dvport_id", row.dvport_id},
              {"connect_id", property_number(get_property(database, {vswitch, Scope::port, row.row},
                                                          QEL_HNQPROP_PORT_CONNECTID, Lifetime::persistent))}};
    // A description needs a client's address; one that has none yet is not connected when the host boots.
    if (row.client.contains("mac"))
      port["client"] = row.client;
    ports.push_back(std::move(port));
  }
  return ports;
}

Json described_lags(Database &database, RowId vswitch) {
  Json lags = Json::array();
  for (Lag const &lag : load_lags(database, vswitch)) {
    Json members = Json::array();
    for (LagMember const &member : lag.members)
      members.push_back({{"uplink", member.uplink.name}, {"lacp", up_or_down(member.lacp_up)}});
    lags.push_back({{"name", lag.name}, {"members", std::move(members)}});
  }
  return lags;
}

std::optional<std::int64_t> stopped_at(Database &database) {
  return clock_is_stopped(database) ? std::optional(clock_now(database)) : std::nullopt;
}

}  // namespace

Json inventory(Database &database) {
  Json json;
  json["state_file"] = database.name();
  json["boots"] = boot_count(database);
  json["clock"] = {{"running", !stopped_at(database)}, {"microseconds", clock_now(database)}};
  json["physical_nics"] = Json::array();
  for (Json &nic : described_nics(database))
    json["physical_nics"].push_back(shown_nic(database, std::move(nic)));
  json["switches"] = Json::array();
  for (Switch const &vswitch : load_switches(database))
    json["switches"].push_back(shown_switch(database, vswitch));
  json["faults"] = Json::array();
  for (FaultRule const &rule : load_faults(database))
    json["faults"].push_back(fault_json(rule));
  return json;
}

Json boot_description(Database &database) {
  Json json;
  json["format"] = 1;
  if (std::optional<std::int64_t> const stopped = stopped_at(database))
    json["stopped_clock"] = *stopped;
  json["physical_nics"] = described_nics(database);
  json["switches"] = Json::array();
  for (Switch const &vswitch : load_switches(database)) {
    Json described = switch_members(database, vswitch);
    described["uplinks"] = described_uplinks(database, vswitch.row);
    described["ports"] = described_ports(database, vswitch.row);
    described["lags"] = described_lags(database, vswitch.row);
    json["switches"].push_back(std::move(described));
  }
  return json;
}

Json fault_json(FaultRule const &rule) {
  Json json;
  json["number"] = rule.number;
  json["kind"] = fault_kind_word(rule.kind);
  json["call"] = rule.call.empty() ? Json(nullptr) : Json(rule.call);
  switch (rule.kind) {
    case FaultKind::delay: json["milliseconds"] = rule.milliseconds; break;
    case FaultKind::abort:
      json["exception"] = exception_word(rule.exception_class);
      json["message"] = rule.message;
      break;
    default: json["status"] = status_name(rule.status); break;
  }
  json["skip"] = rule.skip;
  json["times"] = rule.times ? Json(*rule.times) : Json(nullptr);
  json["probability"] = static_cast<double>(rule.in_million) / always_in_million;
  json["met"] = rule.met;
  return json;
}

}  // namespace tool
