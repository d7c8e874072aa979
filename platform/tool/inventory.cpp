// What a host has, as JSON.
#include "platform/tool/inventory.hpp"

#include <algorithm>

#include "platform/core/constants.hpp"
#include "platform/core/fault_words.hpp"
#include "platform/core/host_row.hpp"
#include "platform/core/status_names.hpp"
#include "platform/tool/description.hpp"

namespace tool {

namespace {

using namespace host;

Json shown_nic(WholeHost const &host, WholeNic const &nic) {
  Json json = described_nic(nic.row.nic);
  json["admin"] = up_or_down(nic.row.admin_up);
  json["switch"] = nic.vswitch ? Json(host.switches[*nic.vswitch].vswitch.alias) : Json(nullptr);
  json["uplink"] = nic.vswitch ? Json(nic.uplink) : Json(nullptr);
  return json;
}

char const *port_type(PortRow const &port) {
  switch (port.type()) {
    case DVSPORT_TYPE_ACTIVE: return "active";
    case DVSPORT_TYPE_SHADOW: return "shadow";
    case DVSPORT_TYPE_LOCALCACHE: return "local cache";
    case DVSPORT_TYPE_ZOMBIE: return "zombie";
    default: return "unknown";
  }
}

Json shown_switch(WholeSwitch const &vswitch) {
  Json json = described_switch(vswitch.vswitch);
  json["mtu"] = vswitch.mtu;
  json["portset"] = vswitch.vswitch.portset.empty() ? Json(nullptr) : Json(vswitch.vswitch.portset);
  json["active_ports"] = vswitch.active_ports;
  json["uplinks"] = Json::array();
  std::vector<PortRow const *> ports;
  for (auto const &[uplink, port] : vswitch.uplinks) {
    json["uplinks"].push_back({{"name", uplink.name},
                               {"port_id", uplink.port},
                               {"nic", uplink.nic ? Json(uplink.nic_name) : Json(nullptr)},
                               {"link", up_or_down(uplink.link_up)}});
    ports.push_back(&port.port);
  }
  for (WholePort const &port : vswitch.ports)
    ports.push_back(&port.port);
  std::sort(ports.begin(), ports.end(), [](auto const *one, auto const *other) { return one->row < other->row; });
  json["ports"] = Json::array();
  for (PortRow const *port : ports) {
    json["ports"].push_back({{"dvport_id", port->dvport_id},
                             {"port_id", port->row},
                             {"type", port_type(*port)},
                             {"client", port->client.is_uplink() ? Json("uplink") : described_client(*port)}});
  }
  return json;
}

}  // namespace

Json inventory(Database &database) {
  Json json;
  json["state_file"] = database.name();
  json["boots"] = boot_count(database);
  WholeHost const host = load_host(database);
  json["clock"] = {{"running", !host.clock_is_stopped}, {"microseconds", host.now}};
  json["physical_nics"] = Json::array();
  for (WholeNic const &nic : host.nics)
    json["physical_nics"].push_back(shown_nic(host, nic));
  json["switches"] = Json::array();
  for (WholeSwitch const &vswitch : host.switches)
    json["switches"].push_back(shown_switch(vswitch));
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
