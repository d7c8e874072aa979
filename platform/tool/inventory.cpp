// What a host has, as JSON.
#include "platform/tool/inventory.hpp"

#include "platform/core/boot.hpp"
#include "platform/core/clock.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/known_properties.hpp"
#include "platform/core/status_names.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/uplinks.hpp"
#include "platform/tool/description.hpp"
#include "platform/tool/words.hpp"

namespace tool {

namespace {

using namespace host;

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

Json shown_switch(Database &database, Switch const &vswitch) {
  Json json = described_switch(vswitch);
  json["mtu"] = mtu_of(database, vswitch);
  json["portset"] = vswitch.portset.empty() ? Json(nullptr) : Json(vswitch.portset);
  json["active_ports"] = count_active_ports(database, vswitch.row);
  json["uplinks"] = Json::array();
  for (Uplink const &uplink : load_uplinks(database, vswitch.row)) {
    json["uplinks"].push_back({{"name", uplink.name},
                               {"port_id", uplink.port},
                               {"nic", uplink.nic ? Json(uplink.nic_name) : Json(nullptr)},
                               {"link", up_or_down(uplink.link_up)}});
  }
  std::vector<DescribedPort> const rows = described_ports(database, vswitch.row);
  json["ports"] = Json::array();
  for (ListedPort const &listed : list_ports(database, vswitch.row)) {
    Json port{{"dvport_id", listed.dvport_id}, {"port_id", listed.row}, {"type", port_type(listed)}};
    for (DescribedPort const &row : rows) {
      if (row.row == listed.row)
        port["client"] = row.is_uplink ? Json("uplink") : row.client;
    }
    json["ports"].push_back(std::move(port));
  }
  return json;
}

}  // namespace

Json inventory(Database &database) {
  Json json;
  json["state_file"] = database.name();
  json["boots"] = boot_count(database);
  json["clock"] = {{"running", !clock_is_stopped(database)}, {"microseconds", clock_now(database)}};
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
