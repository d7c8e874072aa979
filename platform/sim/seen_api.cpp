// The C interface: what can be seen of a host: its endpoints, counters, MAC tables.
#include <algorithm>
#include <map>

#include "interface/kernel_records.h"
#include "interface/status_records.h"
#include "platform/core/constants.hpp"
#include "platform/core/mac_table.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"
#include "platform/sim/arguments.hpp"
#include "platform/sim/json_text.hpp"
#include "platform/sim/lookup.hpp"
#include "platform/sim/texts.hpp"

namespace {

using namespace constant;
using host::Database;
using sim::Endpoints;
using sim::entry;
using sim::fail;
using sim::simulation;

struct ClientPort {
  host::RowId row;
  std::string alias;
  std::string dvport_id;
};

std::vector<ClientPort> client_ports(Database &database) {
  std::vector<ClientPort> ports;
  for (host::Switch const &vswitch : host::load_switches(database)) {
    for (host::PortRow &port : host::load_ports(database, vswitch.row)) {
      if (port.is_client_port())
        ports.push_back({port.row, vswitch.alias, std::move(port.dvport_id)});
    }
  }
  std::sort(ports.begin(), ports.end(), [](auto const &one, auto const &other) { return one.row < other.row; });
  return ports;
}

std::string endpoints_json(Database &database) {
  sim::JsonText json;
  json.begin_list();
  for (ClientPort const &port : client_ports(database))
    json.begin_list().text(port.alias).text(port.dvport_id).end_list();
  std::vector<std::string> nics;
  for (host::NicRow &nic : host::load_nics(database))
    nics.push_back(std::move(nic.nic.name));
  std::sort(nics.begin(), nics.end());
  for (std::string const &nic : nics)
    json.text(nic);
  json.end_list();
  return json.str();
}

// The port of an endpoint: of a NIC that of its uplink.
host::PropertyPlace counted_port(Database &database, Endpoints const &endpoints, vssim_endpoint endpoint) {
  if (endpoints.row(endpoint).kind == Endpoints::Kind::port) {
    sim::FoundPort const found = sim::port_at(database, endpoints, endpoint);
    return {found.vswitch, host::Scope::port, found.port.row};
  }
  host::NicRow const nic = sim::nic_at(database, endpoints, endpoint);
  std::optional<host::BoundUplink> const bound = host::bound_uplink(database, nic.row);
  if (!bound)
    fail(VSSIM_FAILED, "the NIC " + nic.nic.name + " is behind no uplink");
  return {bound->vswitch, host::Scope::port, bound->port};
}

std::string counters_json(Database &database, host::PropertyPlace const &port) {
  auto const statistics =
      host::record_from_value<qel_HNQPortStatistics>(host::get_property(database, port, QEL_HNQPROP_PORT_STATISTICS));
  VSPMACLearningStats const learning = host::port_learning_stats(database, port.vswitch, port.port);
  sim::JsonText json;
  json.begin_object();
#define COUNTER(record, name) json.member(#name).unsigned_number(record.name)
  COUNTER(statistics, pktsInUnicast);
  COUNTER(statistics, bytesInUnicast);
  COUNTER(statistics, pktsInMulticast);
  COUNTER(statistics, bytesInMulticast);
  COUNTER(statistics, pktsInBroadcast);
  COUNTER(statistics, bytesInBroadcast);
  COUNTER(statistics, pktsOutUnicast);
  COUNTER(statistics, bytesOutUnicast);
  COUNTER(statistics, pktsOutMulticast);
  COUNTER(statistics, bytesOutMulticast);
  COUNTER(statistics, pktsOutBroadcast);
  COUNTER(statistics, bytesOutBroadcast);
  COUNTER(statistics, pktsInDropped);
  COUNTER(statistics, pktsOutDropped);
  COUNTER(statistics, pktsInException);
  COUNTER(statistics, pktsOutException);
  COUNTER(learning, numMACsLearned);
  COUNTER(learning, noLearningAllowedPkts);
  COUNTER(learning, noLearningDroppedPkts);
  COUNTER(learning, numMACsMoved);
#undef COUNTER
  json.end_object();
  return json.str();
}

char const *type_word(std::int64_t type) {
  switch (type) {
    case VS_MAC_ADDR_TYPE_STATIC: return "static";
    case VS_MAC_ADDR_TYPE_USER: return "user";
    default: return "learned";
  }
}

std::string mac_table_json(Database &database, host::RowId vswitch) {
  std::map<host::RowId, std::string> names;
  for (host::PortRow &port : host::load_ports(database, vswitch))
    names.emplace(port.row, std::move(port.dvport_id));
  sim::JsonText json;
  json.begin_list();
  for (host::TableSide const side : {host::TableSide::ports, host::TableSide::team}) {
    for (host::MacEntry const &entry : host::load_mac_table(database, vswitch, side)) {
      json.begin_object().member("mac").text(sim::mac_text(entry.key.mac)).member("vlan").number(entry.key.vid);
      json.member("type").text(type_word(entry.type)).member("port").text(names[entry.port]);
      json.member("elapsed").number(entry.elapsed).member("moves").number(entry.moves);
      json.member("team").truth(side == host::TableSide::team).end_object();
    }
  }
  json.end_list();
  return json.str();
}

}  // namespace

int vssim_endpoints(vssim_host *host, char **json) {
  return entry([&] {
    sim::clear(json);
    simulation(host).read(
        [&](Database &database, Endpoints const &) { *json = sim::handed_out_text(endpoints_json(database)); });
  });
}

int vssim_counters(vssim_host *host, vssim_endpoint endpoint, char **json) {
  return entry([&] {
    sim::clear(json);
    simulation(host).read([&](Database &database, Endpoints const &endpoints) {
      *json = sim::handed_out_text(counters_json(database, counted_port(database, endpoints, endpoint)));
    });
  });
}

int vssim_mac_table(vssim_host *host, char const *alias, char **json) {
  return entry([&] {
    sim::clear(json);
    sim::require(alias, "no name");
    simulation(host).read([&](Database &database, Endpoints const &) {
      *json = sim::handed_out_text(mac_table_json(database, sim::switch_named(database, alias)));
    });
  });
}
