// The C interface: clients of ports, NICs, partners of LACP.
#include <algorithm>
#include <optional>
#include <set>

#include "platform/core/clock.hpp"
#include "platform/core/constants.hpp"
#include "platform/core/lacp_partner.hpp"
#include "platform/core/multicast.hpp"
#include "platform/core/uplink_choice.hpp"
#include "platform/sim/arguments.hpp"
#include "platform/sim/json_text.hpp"
#include "platform/sim/lacp_words.hpp"
#include "platform/sim/lookup.hpp"
#include "platform/sim/mac_numbers.hpp"
#include "platform/sim/texts.hpp"

namespace {

using namespace constant;
using host::Database;
using host::JsonObject;
using sim::Endpoints;
using sim::entry;
using sim::fail;
using sim::simulation;

constexpr std::size_t most_sources = 64;
constexpr std::size_t ipv4_size = 4;

// ---- clients ------------------------------------------------------------------------------------------------------

struct NewClient {
  std::string name;
  std::optional<host::MacAddress> mac;
  std::int64_t type = VS_PORT_CLIENT_VNIC;
};

bool is_null(JsonObject &object, char const *member) {
  host::Document const *const value = object.find(member);
  return value && value->is_null();
}

NewClient read_new_client(JsonObject &object) {
  NewClient client;
  client.name = object.name("name", QEL_PORT_CLIENT_NAME_MAX);
  if (object.find("mac") && !is_null(object, "mac"))
    client.mac = object.mac("mac");
  if (object.word("type", "vnic", {"vnic", "tcpip"}) == "tcpip")
    client.type = VS_PORT_CLIENT_TCPIP;
  return client;
}

// Only what is given changes.
struct ClientChange {
  std::optional<std::optional<host::MacAddress>> mac;
  std::optional<bool> promiscuous;
  std::optional<bool> link;
  std::optional<std::vector<host::MulticastGroup>> groups;
  std::optional<std::vector<host::MacAddress>> multicast_macs;
};

bool is_multicast(std::string const &address) {
  auto const first = static_cast<unsigned char>(address[0]);
  return address.size() == ipv4_size ? first >> 4 == 0xe : first == 0xff;
}

host::MulticastGroup read_group(JsonObject &object) {
  constexpr std::uint32_t newest_igmp = 3;
  constexpr std::uint32_t newest_mld = 2;
  host::MulticastGroup group{object.ip_address("address"), 0, 0, QEL_VIRTUAL_NETWORK_ID_NONE, {}};
  bool const is_ipv4 = group.address.size() == ipv4_size;
  std::uint32_t const newest = is_ipv4 ? newest_igmp : newest_mld;
  if (!is_multicast(group.address))
    host::wrong(object.place("address"), "must be the address of a multicast group");
  group.version = is_null(object, "version") ? newest : object.number_from("version", newest, 1, newest);
  group.sources = object.ip_addresses("sources", group.address.size());
  if (group.sources.size() > most_sources)
    host::wrong(object.place("sources"), "holds more than 64 addresses");
  bool const includes = object.choice("mode", "include", "exclude");
  // To include no source would be to leave the group; without sources there is no filter.
  int const mode = !includes               ? VS_MCAST_SRC_IP_FILTER_MODE_EXCLUDE
                   : group.sources.empty() ? VS_MCAST_SRC_IP_FILTER_MODE_NONE
                                           : VS_MCAST_SRC_IP_FILTER_MODE_INCLUDE;
  group.source_mode = static_cast<std::uint32_t>(mode);
  return group;
}

std::vector<host::MulticastGroup> read_groups(host::Document const &document) {
  auto const *const list = document.as<host::Document::List>();
  if (!list)
    host::wrong("groups", "must be a list");
  std::vector<host::MulticastGroup> groups;
  std::set<std::string> addresses;
  for (host::Document const &element : *list) {
    std::string const where = "groups[" + std::to_string(groups.size()) + "]";
    // An address by itself is a group without a source filter.
    host::Document const as_object =
        element.as<std::string>() ? host::Document{{"address", *element.as<std::string>()}} : element;
    JsonObject object(as_object, where);
    groups.push_back(read_group(object));
    object.finish();
    if (!addresses.insert(groups.back().address).second)
      host::wrong(where, "stands there twice");
  }
  return groups;
}

ClientChange read_change(JsonObject &object) {
  ClientChange change;
  if (object.find("mac"))
    change.mac = is_null(object, "mac") ? std::nullopt : std::optional(object.station_mac("mac"));
  if (object.find("promiscuous"))
    change.promiscuous = object.truth("promiscuous", false);
  if (object.find("link"))
    change.link = object.truth("link", true);
  if (host::Document const *const groups = object.find("groups"))
    change.groups = read_groups(*groups);
  if (object.find("multicast_macs"))
    change.multicast_macs = object.group_macs("multicast_macs");
  return change;
}

void apply(Database &database, sim::FoundPort const &found, ClientChange const &change) {
  host::RowId const port = found.port.row;
  if (change.mac)
    host::set_client_mac(database, port, *change.mac);
  if (change.promiscuous)
    host::set_promiscuous_client(database, port, *change.promiscuous);
  if (change.link) {
    host::set_client_link(database, port, *change.link);
    if (!*change.link)
      host::forget_learned_at(database, port);
  }
  if (change.groups) {
    host::forget_own_groups(database, port);
    for (host::MulticastGroup const &group : *change.groups)
      host::join_multicast_group(database, found.vswitch, port, {group, host::clock_now(database)});
  }
  if (change.multicast_macs)
    host::set_client_multicast_macs(database, port, *change.multicast_macs);
}

void add_groups(sim::JsonText &json, std::vector<host::JoinedGroup> const &groups) {
  json.begin_list();
  for (auto const &[group, updated, expiry] : groups) {
    json.begin_object().member("address").text(sim::ip_text(group.address)).member("sources").begin_list();
    for (std::string const &source : group.sources)
      json.text(sim::ip_text(source));
    bool const excludes = group.source_mode == static_cast<std::uint32_t>(VS_MCAST_SRC_IP_FILTER_MODE_EXCLUDE);
    json.end_list().member("mode").text(excludes ? "exclude" : "include").member("version").number(group.version);
    json.end_object();
  }
  json.end_list();
}

std::optional<std::string> mac_or_none(std::optional<host::MacAddress> const &mac) {
  return mac ? std::optional(sim::mac_text(*mac)) : std::nullopt;
}

std::string client_json(Database &database, host::PortRow const &port) {
  host::PortClient const &client = port.client;
  sim::JsonText json;
  json.begin_object().member("name").text(client.name);
  json.member("type").text(client.type == VS_PORT_CLIENT_TCPIP ? "tcpip" : "vnic");
  json.member("assigned_mac").text_or_null(mac_or_none(client.mac));
  json.member("mac").text_or_null(mac_or_none(client.effective_mac()));
  json.member("promiscuous").truth(client.is_promiscuous).member("link").truth(client.link_up);
  json.member("groups");
  add_groups(json, host::own_groups(database, port.row));
  json.member("multicast_macs").begin_list();
  for (host::MacAddress const &mac : host::client_multicast_macs(database, port.row))
    json.text(sim::mac_text(mac));
  json.end_list().end_object();
  return json.str();
}

// ---- LACP ---------------------------------------------------------------------------------------------------------

// Of a member of a LAG; a fixed one does not negotiate, and has only what its boot description says.
std::string lacp_json(Database &database, host::NicRow const &nic, sim::Compiled const &compiled,
                      forwarding::Traffic const &traffic) {
  std::optional<host::BoundUplink> const bound = host::bound_uplink(database, nic.row);
  auto const index = bound ? compiled.tables.find_port(static_cast<std::uint32_t>(bound->port)) : std::nullopt;
  if (!index || compiled.tables.ports[*index].lag == forwarding::nowhere)
    fail(VSSIM_FAILED, "the NIC " + nic.nic.name + " is in no LAG");
  forwarding::Port const &port = compiled.tables.ports[*index];
  forwarding::Lag const &lag = compiled.tables.switches[port.vswitch].lags[port.lag];
  forwarding::RunningLag const &running = traffic.team(port.vswitch).lags[port.lag];
  auto const place = std::find(lag.members.begin(), lag.members.end(), port.position) - lag.members.begin();
  forwarding::LacpMember member =
      lag.lacp ? running.members[static_cast<std::size_t>(place)] : forwarding::LacpMember{};
  if (!lag.lacp)
    member.is_up = member.is_selected = (running.up & forwarding::only(port.position)) != 0;
  // What has expired is not shown, unless somebody is there who goes on.
  std::optional<forwarding::LacpScript> const &script = compiled.tables.nics()[port.nic].partner;
  if (member.receive == forwarding::LacpReceive::current && member.receive_until <= host::clock_now(database) &&
      !(script && script->is_on)) {
    member.receive = forwarding::LacpReceive::expired;
    member.is_up = member.is_selected = false;
  }
  auto const number = [](std::uint64_t value) { return static_cast<std::int64_t>(value); };
  sim::JsonText json;
  json.begin_object().member("receive").text(sim::receive_word(member.receive));
  json.member("selected").truth(member.is_selected).member("up").truth(member.is_up);
  json.member("actor_state").number(member.actor_state).member("partner_state").number(member.partner.state);
  json.member("partner_system");
  if (member.has_partner)
    json.text(sim::mac_text(sim::mac_of(member.partner.system)));
  else
    json.null();
  json.member("partner_key").number(member.partner.key).member("sent").number(number(member.sent));
  json.member("received").number(number(member.received)).member("bad").number(number(member.bad));
  json.member("changes").number(number(member.changes)).end_object();
  return json.str();
}

}  // namespace

int vssim_connect(vssim_host *host, vssim_endpoint port, char const *client_json) {
  return entry([&] {
    NewClient client;
    sim::read_object(client_json, [&](JsonObject &object) { client = read_new_client(object); });
    simulation(host).change([&](Database &database, Endpoints const &endpoints) {
      host::PortRow const found = sim::port_at(database, endpoints, port).port;
      if (found.client.is_uplink())
        fail(VSSIM_FAILED, "the client of the port " + found.dvport_id + " is an uplink");
      if (found.client.type != VS_PORT_CLIENT_UNKNOWN)
        fail(VSSIM_FAILED, "the port " + found.dvport_id + " has a client");
      host::connect_client(database, found.row, client.type, client.name, client.mac);
    });
  });
}

int vssim_disconnect(vssim_host *host, vssim_endpoint port) {
  return entry([&] {
    simulation(host).change([&](Database &database, Endpoints const &endpoints) {
      host::disconnect_client(database, sim::client_port_at(database, endpoints, port).port.row);
    });
  });
}

int vssim_set_client(vssim_host *host, vssim_endpoint port, char const *json) {
  return entry([&] {
    ClientChange change;
    sim::read_object(json, [&](JsonObject &object) { change = read_change(object); });
    simulation(host).change([&](Database &database, Endpoints const &endpoints) {
      apply(database, sim::client_port_at(database, endpoints, port), change);
    });
  });
}

int vssim_client(vssim_host *host, vssim_endpoint port, char **json) {
  return entry([&] {
    sim::clear(json);
    simulation(host).read([&](Database &database, Endpoints const &endpoints) {
      *json = sim::handed_out_text(client_json(database, sim::client_port_at(database, endpoints, port).port));
    });
  });
}

int vssim_set_nic(vssim_host *host, vssim_endpoint nic, char const *json) {
  return entry([&] {
    constexpr std::uint32_t most_percent = 100;
    std::optional<std::uint32_t> errors;
    std::optional<std::string> segment;
    std::optional<bool> link;
    sim::read_object(json, [&](JsonObject &object) {
      if (object.find("errors"))
        errors = object.number_up_to("errors", 0, most_percent);
      if (object.find("segment"))
        segment = object.text("segment", host::segment_room, "");
      if (object.find("link"))
        link = object.truth("link", true);
    });
    simulation(host).change([&](Database &database, Endpoints const &endpoints) {
      host::NicRow const row = sim::nic_at(database, endpoints, nic);
      if (errors)
        host::set_nic_errors(database, row.row, *errors);
      if (segment)
        host::set_nic_segment(database, row.row, *segment);
      if (link)
        host::change_carrier(database, row.nic.name, *link);
    });
  });
}

int vssim_set_partner(vssim_host *host, vssim_endpoint nic, char const *json) {
  return entry([&] {
    std::optional<host::LacpPartner> partner;
    if (json) {
      sim::read_argument(json, [&](host::Document const &document) {
        if (document.is_null())
          return;
        JsonObject object(document, "");
        partner = host::read_partner(object);
      });
    }
    simulation(host).change([&](Database &database, Endpoints const &endpoints) {
      host::set_partner(database, sim::nic_at(database, endpoints, nic).row, partner);
    });
  });
}

int vssim_lacp(vssim_host *host, vssim_endpoint nic, char **json) {
  return entry([&] {
    sim::clear(json);
    simulation(host).inspect([&](Database &database, Endpoints const &endpoints, sim::Compiled const &compiled,
                                 forwarding::Traffic const &traffic) {
      *json = sim::handed_out_text(lacp_json(database, sim::nic_at(database, endpoints, nic), compiled, traffic));
    });
  });
}
