// Answers for the data plane, so that it can be compared with the model: reads a host as the model's document has it
// (a line of JSON), then frames (a line of JSON each: endpoint, hexadecimal bytes, microseconds), and writes what
// became of each. An empty line asks for the counters and the learned addresses.
//
// Of the document it takes what the data plane knows: no beacons. Longer than most, as it is a program of its own: most
// of it reads the document member by member.
#include <arpa/inet.h>

#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "constants/constants.hpp"
#include "platform/forwarding/pipeline.hpp"
#include "tests/forwarding/bytes.hpp"

using namespace forwarding;
using namespace constant;
using nlohmann::json;

namespace {

template <typename T>
T get(json const &object, char const *name, T fallback) {
  auto const found = object.find(name);
  return found == object.end() || found->is_null() ? fallback : found->get<T>();
}

bool has(json const &object, char const *name) {
  return object.contains(name) && !object[name].is_null();
}

json part(json const &object, char const *name) {
  return has(object, name) ? object[name] : json::object();
}

json list(json const &object, char const *name) {
  return has(object, name) ? object[name] : json::array();
}

MacAddress mac_of(json const &text) {
  if (text.is_null())
    return 0;
  MacAddress address = 0;
  for (std::uint8_t byte : hex(text.get<std::string>()))
    address = address << 8 | byte;
  return address;
}

IpAddress ip_of(std::string const &text) {
  Packet bytes(text.find(':') == std::string::npos ? ipv4_address_size : ipv6_address_size);
  if (inet_pton(bytes.size() == ipv4_address_size ? AF_INET : AF_INET6, text.c_str(), bytes.data()) != 1)
    throw std::runtime_error("no IP address: " + text);
  return IpAddress(bytes);
}

std::string digits_of(Bytes bytes) {
  std::string digits;
  for (std::uint8_t const byte : bytes) {
    constexpr char const *digit = "0123456789abcdef";
    digits.push_back(digit[byte >> 4]);
    digits.push_back(digit[byte & 0xf]);
  }
  return digits;
}

// RFC 1112, RFC 2464, of a group as text.
MacAddress group_mac(std::string const &text) {
  if (text.find(':') == std::string::npos) {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    if (std::sscanf(text.c_str(), "%u.%u.%u.%u", &a, &b, &c, &d) != 4)
      throw std::runtime_error("no IPv4 address: " + text);
    return 0x01005e000000 | ((b & 0x7f) << 16 | c << 8 | d);
  }
  // The groups of the generator end in at most two short words.
  unsigned high = 0;
  unsigned low = 0;
  std::size_t const at = text.rfind(':');
  low = static_cast<unsigned>(std::stoul(text.substr(at + 1), nullptr, 16));
  std::size_t const before = text.rfind(':', at - 1);
  if (before != std::string::npos && before + 1 < at)
    high = static_cast<unsigned>(std::stoul(text.substr(before + 1, at - before - 1), nullptr, 16));
  return 0x333300000000 | high << 16 | low;
}

std::uint32_t bits(json const &names, std::map<std::string, int> const &values) {
  std::uint32_t sum = 0;
  for (json const &name : names)
    sum |= static_cast<std::uint32_t>(values.at(name.get<std::string>()));
  return sum;
}

std::map<std::string, int> const balances{{"none", TEAM_FRP_TYPE_NONE},
                                          {"ip", TEAM_FRP_TYPE_LB_IP},
                                          {"srcmac", TEAM_FRP_TYPE_LB_SRCMAC},
                                          {"srcid", TEAM_FRP_TYPE_LB_SRCID},
                                          {"explicit", TEAM_FRP_TYPE_FO_EXPLICIT},
                                          {"lbt", TEAM_FRP_TYPE_LB_LBT}};
std::map<std::string, int> const criteria{
    {"link_speed", TEAM_FRP_CRIT_LINK_SPEED},     {"link_speed_gte", TEAM_FRP_CRIT_LINK_SPEED_GTE},
    {"link_duplex", TEAM_FRP_CRIT_LINK_DUPLEX},   {"lacp_port_down", TEAM_FRP_CRIT_LACP_PORT_DOWN},
    {"beacon_state", TEAM_FRP_CRIT_BEACON_STATE}, {"link_err", TEAM_FRP_CRIT_LINK_ERR},
    {"link_state", TEAM_FRP_CRIT_LINK_STATE},     {"port_blocked", TEAM_FRP_CRIT_PORT_BLOCKED},
    {"drv_present", TEAM_FRP_CRIT_DRV_PRESENT}};
std::map<std::string, int> const team_flags{{"all_available", TEAM_FRP_FLAG_ALL_AVAILABLE},
                                            {"reverse", TEAM_FRP_FLAG_REVERSE},
                                            {"best_effort", TEAM_FRP_FLAG_BEST_EFFORT},
                                            {"rolling", TEAM_FRP_FLAG_ROLLING},
                                            {"shotgun", TEAM_FRP_FLAG_SHOTGUN},
                                            {"notify_switch", TEAM_FRP_FLAG_NOTIFY_SWITCH},
                                            {"block_output", TEAM_FRP_FLAG_BLOCK_OUTPUT},
                                            {"lacp_client", TEAM_FRP_FLAG_LACP_CLIENT},
                                            {"lst", TEAM_FRP_FLAG_LST}};
std::map<std::string, LagHash> const hashes{
    {"l2", LagHash::l2}, {"l2+3", LagHash::l2_l3}, {"l3+4", LagHash::l3_l4}, {"vlan+srcmac", LagHash::vlan_source_mac}};
std::map<std::string, PrivateVlanType> const private_types{{"promiscuous", PrivateVlanType::primary},
                                                           {"isolated", PrivateVlanType::isolated},
                                                           {"community", PrivateVlanType::community}};

std::map<std::string, UplinkFilter> const uplink_filters{
    {"none", UplinkFilter::none},    {"normal", UplinkFilter::normal}, {"stt", UplinkFilter::stt},
    {"vxlan", UplinkFilter::vxlan},  {"geneve", UplinkFilter::geneve}, {"all_encap", UplinkFilter::all_encapsulated},
    {"type_max", UplinkFilter::none}};
std::map<std::string, Encapsulation> const encapsulations{
    {"gre", Encapsulation::gre}, {"erspan2", Encapsulation::erspan_2}, {"erspan3", Encapsulation::erspan_3}};

// A switch of the document, with the names by which things refer to each other there.
struct SwitchReader {
  json const &document;
  std::map<std::string, std::uint32_t> const &nics;
  SwitchConfiguration made{};
  std::map<std::string, UplinkPosition> uplinks{};

  SwitchConfiguration read();
  Team team(json const &policy, bool has_parameters) const;
  VlanPolicy vlan(json const &port, bool is_uplink) const;
  void read_port(json const &port, std::map<std::string, std::uint32_t> const &logical);
  std::optional<std::uint32_t> named_port(json const &entity) const;
  MirrorSources sources(json const &session, char const *entities, char const *wildcards) const;
  void read_session(json const &session);
};

Team SwitchReader::team(json const &policy, bool has_parameters) const {
  Team team;
  team.load_balance = static_cast<std::uint32_t>(balances.at(get<std::string>(policy, "balance", "srcid")));
  team.criteria = bits(policy.contains("criteria") ? policy["criteria"] : json{"link_state"}, criteria);
  team.flags = bits(list(policy, "flags"), team_flags);
  if (has_parameters) {
    team.wanted = WantedLink{get<std::uint32_t>(policy, "speed", 0), get<bool>(policy, "full_duplex", false),
                             get<std::uint8_t>(policy, "percent_error", 0)};
  }
  for (json const &name : list(policy, "active"))
    team.active.push_back(uplinks.at(name));
  for (json const &name : list(policy, "standby"))
    team.standby.push_back(uplinks.at(name));
  return team;
}

VlanPolicy SwitchReader::vlan(json const &port, bool is_uplink) const {
  VlanPolicy policy = is_uplink ? every_vlan() : VlanPolicy{};
  if (has(port, "vlan")) {
    json const &written = port["vlan"];
    std::string const mode = get<std::string>(written, "mode", "access");
    policy.kind = mode == "access"  ? VlanPolicy::Kind::access
                  : mode == "trunk" ? VlanPolicy::Kind::trunk
                                    : VlanPolicy::Kind::private_vlan;
    policy.vlan = get<std::uint16_t>(written, "vlan", 0);
    for (json const &range : list(written, "ranges"))
      policy.ranges.push_back({range[0], range[1]});
    if (get<bool>(written, "set_priority", false))
      policy.priority = get<std::uint8_t>(port, "priority", 0);
  }
  policy.retains_priority = get<bool>(port, "retain_priority", false);
  policy.allows_nested = get<bool>(port, "nested_tag", is_uplink);
  return policy;
}

void SwitchReader::read_port(json const &port, std::map<std::string, std::uint32_t> const &logical) {
  bool const is_uplink = has(port, "uplink");
  PortConfiguration read;
  read.number = port["number"];
  read.is_zombie = get<bool>(port, "zombie", false);
  read.is_blocked = get<bool>(port, "block", false) || get<bool>(port, "not_ready_block", false) ||
                    get<bool>(port, "rtm_block", false);
  read.vlan = vlan(port, is_uplink);
  json const security = part(port, "security");
  json const management = part(port, "mac_management");
  read.disallow_promiscuous = get<bool>(security, "disallow_promisc", false);
  read.disallow_forged_source = get<bool>(security, "disallow_forged_src", false);
  read.disallow_mac_change =
      get<bool>(security, "disallow_mac_change", false) || !get<bool>(management, "change_allowed", true);
  if (has(port, "mac_management")) {
    read.learning = LearningPolicy{get<bool>(management, "learning", false), get<bool>(management, "flooding", false),
                                   get<std::uint32_t>(management, "limit", 4096),
                                   get<std::string>(management, "at_limit", "allow") == "drop"};
  }
  std::vector<MacAddress> &multicast = read.multicast;
  for (json const &address : list(port, "user_multicast"))
    multicast.push_back(mac_of(address));
  if (!get<bool>(port, "user_multicast_override", false)) {
    for (json const &address : list(document, "user_multicast"))
      multicast.push_back(mac_of(address));
  }
  json const filter = part(port, "extra_filter");
  for (json const &address : list(filter, "addresses"))
    read.filter.addresses.push_back(mac_of(address));
  multicast.insert(multicast.end(), read.filter.addresses.begin(), read.filter.addresses.end());
  for (json const &flag : list(filter, "flags")) {
    read.filter.is_promiscuous |= flag == "promisc";
    read.filter.all_multicast |= flag == "allmulti";
    read.filter.by_bucket |= flag == "use_ladrf";
    read.filter.is_sink |= flag == "sink";
  }
  if (has(port, "client") && !is_uplink) {
    json const &client = port["client"];
    Client &made_client = read.client.emplace();
    made_client.assigned = has(client, "mac") ? mac_of(client["mac"]) : 0;
    made_client.effective = has(client, "effective_mac") ? mac_of(client["effective_mac"]) : made_client.assigned;
    made_client.link_up = get<bool>(client, "link", true);
    made_client.is_promiscuous = get<bool>(client, "promiscuous", false);
    made_client.is_tcpip = get<std::string>(client, "type", "vnic") == "tcpip";
    made_client.is_router = get<bool>(client, "router", false);
    made_client.numa_node = get<std::int64_t>(client, "numa_node", 0);
    for (json const &group : list(client, "groups"))
      multicast.push_back(group_mac(group["address"]));
    for (json const &address : list(client, "multicast_macs"))
      multicast.push_back(mac_of(address));
  }
  read.sends_to_uplink_too = get<bool>(port, "tx_uplink", false);
  if (has(port, "tied_to"))
    read.tied = uplinks.at(port["tied_to"]);
  if (has(port, "logical_team")) {
    read.team = logical.at(port["logical_team"]);
  } else if (has(port, "team")) {
    read.team = static_cast<std::uint32_t>(made.teams.size());
    made.teams.push_back(team(port["team"], true));
  }
  for (json const &address : list(port, "user_macs")) {
    if (get<int>(address, "vni", 0) == 0)
      made.manual.push_back({mac_of(address["mac"]), get<std::uint16_t>(address, "vlan", 0), read.number});
  }
  made.ports.push_back(std::move(read));
}

std::vector<IpPrefix> prefixes(json const &texts) {
  std::vector<IpPrefix> made;
  for (std::string const text : texts) {
    std::size_t const slash = text.find('/');
    made.push_back({ip_of(text.substr(0, slash)), static_cast<std::uint8_t>(std::stoul(text.substr(slash + 1)))});
  }
  return made;
}

std::optional<TransportPorts> transport_ports(json const &rule, char const *name) {
  return has(rule, name) ? std::optional(TransportPorts{rule[name][0], rule[name][1]}) : std::nullopt;
}

// The lowest number of those that are meant.
std::optional<std::uint32_t> SwitchReader::named_port(json const &entity) const {
  std::string const kind = entity["kind"];
  std::string const value = entity["value"];
  std::optional<std::uint32_t> lowest;
  auto const look = [&](auto const &is_meant) {
    for (json const &port : document["ports"]) {
      std::uint32_t const number = port["number"];
      if (is_meant(port) && (!lowest || number < *lowest))
        lowest = number;
    }
  };
  auto const is = [&](json const &object, char const *name) { return get<std::string>(object, name, "") == value; };
  if (kind == "dvport")
    look([&](json const &port) { return is(port, "dvport_id"); });
  else if (kind == "port")
    look([&](json const &port) { return std::to_string(port["number"].get<std::uint32_t>()) == value; });
  else if (kind == "mac")
    look([&](json const &port) {
      json const client = part(port, "client");
      return !has(port, "uplink") && is(client, has(client, "effective_mac") ? "effective_mac" : "mac");
    });
  else
    look([&](json const &port) { return is(port, "uplink"); });
  if (kind == "uplink" && !lowest)
    look([&](json const &port) { return has(port, "uplink") && is(port, "nic"); });
  return lowest;
}

MirrorSources SwitchReader::sources(json const &session, char const *entities, char const *wildcards) const {
  MirrorSources read;
  for (json const &entity : list(session, entities)) {
    if (entity["kind"] == "vlan")
      read.vlans.push_back(static_cast<std::uint16_t>(std::stoul(entity["value"].get<std::string>())));
    else if (auto const number = named_port(entity))
      read.ports.push_back(*number);
  }
  read.all_uplinks = get<bool>(session, "all_uplinks", false);
  for (json const &name : list(session, wildcards)) {
    read.all_vnics |= name == "vmm";
    read.all_tcpips |= name == "tcpip";
    read.all_uplinks |= name == "pnic";
  }
  return read;
}

void SwitchReader::read_session(json const &session) {
  if (!get<bool>(session, "enabled", true) || list(session, "destinations").empty())
    return;
  MirrorSession read;
  read.name = session["session_id"];
  read.is_remote_source = session["type"] == "rmirror_src";
  read.is_remote_destination = session["type"] == "rmirror_dst";
  read.in = sources(session, "sources_in", "wild_in");
  read.out = sources(session, "sources_out", "wild_out");
  for (json const &entity : session["destinations"]) {
    using Kind = MirrorDestination::Kind;
    if (entity["kind"] == "ip")
      read.destinations.push_back({Kind::address, 0, ip_of(entity["value"])});
    else if (auto const number = named_port(entity))
      read.destinations.push_back({entity["kind"] == "uplink" ? Kind::uplink : Kind::port, *number});
  }
  read.shuts_output = get<bool>(session, "no_output", false);
  read.shuts_input = get<bool>(session, "no_input", false);
  read.uplink_filter = uplink_filters.at(get<std::string>(session, "uplink_filter", "none"));
  for (json const &rule : list(session, "rules")) {
    read.rules.push_back({rule["mirror"], prefixes(list(rule, "sources")), prefixes(list(rule, "destinations")),
                          has(rule, "protocol") ? std::optional<std::uint8_t>(rule["protocol"]) : std::nullopt,
                          transport_ports(rule, "source_ports"), transport_ports(rule, "destination_ports")});
  }
  read.sampling_rate = get<std::uint32_t>(session, "sampling_rate", 0);
  read.keeps_vlan = get<bool>(session, "original_vlan", false);
  read.snap_length = get<std::uint32_t>(session, "snap_length", 0);
  if (get<bool>(session, "encapsulate", false))
    read.outer_vlan = get<std::uint16_t>(session, "encap_vlan", 0);
  read.encapsulation = encapsulations.at(get<std::string>(session, "encapsulation", "gre"));
  read.stack = get<int>(session, "stack", 0) ? 1 : 0;
  read.gre_key = get<std::uint32_t>(session, "gre_key", 0);
  read.erspan_id = get<std::uint16_t>(session, "erspan_id", 0);
  read.erspan_class = get<std::uint8_t>(session, "erspan_cos", 0);
  read.erspan_granularity = get<std::uint8_t>(session, "erspan_gra", 0);
  made.mirror_sessions.push_back(std::move(read));
}

SwitchConfiguration SwitchReader::read() {
  std::string const identifier = document["switch_id"];
  std::copy(identifier.begin(), identifier.end(), made.identifier.begin());
  made.is_connected = !document["portset"].is_null() && get<int>(document, "proxy_state", 0) != 1;
  made.is_disabled = get<bool>(document, "forwarding_disabled", false);
  std::string const mode = get<std::string>(document, "multicast_mode", "legacy");
  made.snoops_ipv4 = mode == "igmp" || mode == "snooping";
  made.snoops_ipv6 = mode == "mld" || mode == "snooping";
  made.mtu = get<std::uint32_t>(document, "mtu", 1500);
  json const settings = part(document, "mac_settings");
  made.aging_time = get<std::uint32_t>(settings, "aging_time", 600);
  made.learned_limit = get<std::uint32_t>(settings, "limit", 65536);
  made.learns_static = get<bool>(settings, "learn_static", false);
  made.allows_static = get<bool>(settings, "static_allowed", true);
  for (json const &entry : list(document, "private_vlans"))
    made.private_vlans.push_back({entry["primary"], entry["secondary"], private_types.at(entry["type"])});
  for (json const &port : document["ports"]) {
    if (!has(port, "uplink"))
      continue;
    uplinks[port["uplink"]] = static_cast<UplinkPosition>(made.uplinks.size());
    UplinkConfiguration uplink;
    uplink.port_number = port["number"];
    if (has(port, "nic"))
      uplink.nic = nics.at(port["nic"]);
    made.uplinks.push_back(uplink);
  }
  made.teams.clear();
  if (has(document, "team")) {
    made.teams.push_back(team(document["team"], true));
  } else {
    Team everything = team(json::object(), true);
    for (UplinkPosition uplink = 0; uplink < made.uplinks.size(); ++uplink)
      everything.active.push_back(uplink);
    made.teams.push_back(everything);
  }
  std::map<std::string, std::uint32_t> logical;
  for (json const &policy : list(document, "logical_teams")) {
    logical[policy["name"]] = static_cast<std::uint32_t>(made.teams.size());
    made.teams.push_back(team(policy, false));
  }
  for (json const &lag : list(document, "lags")) {
    LagConfiguration read_lag;
    read_lag.hash = hashes.at(get<std::string>(lag, "hash", "l2+3"));
    json const up = list(lag, "up");
    for (json const &name : list(lag, "members"))
      read_lag.members.push_back({uplinks.at(name), std::find(up.begin(), up.end(), name) != up.end()});
    made.lags.push_back(read_lag);
  }
  for (json const &port : document["ports"])
    read_port(port, logical);
  made.own_mac = 0x027673000000 | get<MacAddress>(document, "portset", 0);
  for (json const &session : list(document, "mirror_sessions"))
    read_session(session);
  return made;
}

Stack stack_of(json const &document) {
  Stack stack;
  if (has(document, "mac"))
    stack.mac = mac_of(document["mac"]);
  stack.gateway = has(document, "gateway_mac") ? mac_of(document["gateway_mac"]) : 0x027673ffffff;
  stack.ipv4 = ip_of(get<std::string>(document, "ipv4", "192.0.2.1"));
  stack.ipv6 = ip_of(get<std::string>(document, "ipv6", "2001:db8::1"));
  stack.vlan = get<std::uint16_t>(document, "vlan", 0);
  stack.ttl = get<std::uint8_t>(document, "ttl", 64);
  stack.dscp = get<std::uint8_t>(document, "dscp", 0);
  return stack;
}

struct World {
  Configuration configuration{};
  std::vector<std::string> nics{};
  std::map<std::uint32_t, json> ports{};  // endpoints by number
  std::map<std::string, std::uint32_t> numbers{};

  explicit World(json const &document) {
    json const options = part(document, "options");
    configuration.options.reverse_path_check = get<int>(options, "ReversePathFwdCheck", 1) != 0;
    configuration.options.reverse_path_check_promiscuous = get<int>(options, "ReversePathFwdCheckPromisc", 0) != 0;
    configuration.options.fast_path = get<int>(options, "AllowFastPath", 1) != 0;
    configuration.options.mirror_statistics = get<int>(options, "AllowMirrorStats", 1) != 0;
    configuration.options.numa_aware = get<int>(options, "TeamingNUMAAware", 0) != 0;
    configuration.options.up_delay = get<int>(options, "TeamPolicyUpDelay", 100);
    configuration.options.query_interval = get<std::uint32_t>(options, "IGMPQueryInterval", 125);
    configuration.options.queries = get<std::uint32_t>(options, "IGMPQueries", 2);
    configuration.options.most_igmp_sources = get<std::uint32_t>(options, "IGMPV3MaxSrcIPNum", 10);
    configuration.options.most_mld_sources = get<std::uint32_t>(options, "MLDV2MaxSrcIPNum", 10);
    json const stacks = part(document, "stacks");
    configuration.stacks = {stack_of(part(stacks, "default")), stack_of(part(stacks, "mirror"))};
    std::map<std::string, std::uint32_t> by_name;
    std::vector<std::optional<std::int64_t>> numa_nodes;
    for (json const &nic : list(document, "nics")) {
      NicConfiguration read;
      read.link_up = get<bool>(nic, "carrier", true) && get<bool>(nic, "admin_up", true);
      read.speed = get<std::uint32_t>(nic, "speed", 10000);
      read.is_full_duplex = get<std::string>(nic, "duplex", "full") == "full";
      read.error_percent = get<std::uint8_t>(nic, "errors", 0);
      read.recovery = get<std::int64_t>(nic, "returned", 0);
      if (has(nic, "up_since"))
        read.link_back = nic["up_since"].get<std::int64_t>();
      by_name[nic["name"]] = static_cast<std::uint32_t>(nics.size());
      nics.push_back(nic["name"]);
      numa_nodes.push_back(nic.contains("numa_node") && nic["numa_node"].is_null()
                               ? std::nullopt
                               : std::optional(get<std::int64_t>(nic, "numa_node", 0)));
      configuration.nics.push_back(read);
    }
    for (json const &vswitch : list(document, "switches")) {
      SwitchConfiguration read = SwitchReader{vswitch, by_name}.read();
      for (UplinkConfiguration &uplink : read.uplinks) {
        if (uplink.nic)
          uplink.numa_node = numa_nodes[*uplink.nic];
      }
      configuration.switches.push_back(std::move(read));
      for (json const &port : vswitch["ports"]) {
        ports[port["number"]] = json::array({vswitch["alias"], port["dvport_id"]});
        numbers[ports[port["number"]].dump()] = port["number"];
      }
    }
  }
};

constexpr char const *kinds[] = {"frame", "promiscuous", "mirror", "made"};

struct Answer : Sink {
  World const &world;
  Tables const &tables;
  json deliveries = json::array();
  json drops = json::array();
  json rules = json::array();
  bool consumed = false;

  Answer(World const &of_world, Tables const &of_tables) : world(of_world), tables(of_tables) {}

  json name(Place place) const {
    if (place.kind == Place::Kind::nic)
      return world.nics[place.index];
    return world.ports.at(tables.ports[place.index].number);
  }
  void deliver(Delivery const &delivery) override {
    deliveries.push_back(
        {name(delivery.place), digits_of(delivery.bytes), kinds[static_cast<std::size_t>(delivery.kind)]});
  }
  void drop(Drop const &drop) override {
    drops.push_back({name(drop.place), reason_name(static_cast<unsigned>(drop.reason)),
                     drop.stage == Stage::in ? "in" : "out", rules.back()});
  }
  void consume() override { consumed = true; }
  bool wants_steps() const override { return true; }
  // The rule of a drop is that of its step.
  void step(Step const &step) override { rules.push_back(rule_id(step.rule)); }
};

json counters_of(PortCounters const &counters, std::uint32_t learned) {
  DirectionCounters const &in = counters.in;
  DirectionCounters const &out = counters.out;
  return {{"pktsInUnicast", in.unicast},
          {"bytesInUnicast", in.unicast_bytes},
          {"pktsInMulticast", in.multicast},
          {"bytesInMulticast", in.multicast_bytes},
          {"pktsInBroadcast", in.broadcast},
          {"bytesInBroadcast", in.broadcast_bytes},
          {"pktsOutUnicast", out.unicast},
          {"bytesOutUnicast", out.unicast_bytes},
          {"pktsOutMulticast", out.multicast},
          {"bytesOutMulticast", out.multicast_bytes},
          {"pktsOutBroadcast", out.broadcast},
          {"bytesOutBroadcast", out.broadcast_bytes},
          {"pktsInDropped", in.dropped + counters.not_learned_dropped},
          {"pktsOutDropped", out.dropped},
          {"pktsInException", in.exceptions},
          {"pktsOutException", out.exceptions},
          {"numMACsLearned", learned},
          {"noLearningAllowedPkts", counters.not_learned_allowed},
          {"noLearningDroppedPkts", counters.not_learned_dropped},
          {"numMACsMoved", counters.addresses_moved}};
}

void add_learned(json const &document, Tables const &tables, Traffic &traffic) {
  for (json const &vswitch : document["switches"]) {
    for (json const &port : vswitch["ports"]) {
      PortIndex const index = *tables.find_port(port["number"]);
      std::uint32_t const number = tables.ports[index].vswitch;
      for (json const &address : list(port, "learned")) {
        std::uint16_t const vlan = tables.switches[number].database(get<std::uint16_t>(address, "vlan", 0));
        traffic.table(number).add({mac_of(address["mac"]), vlan, index, get<std::int64_t>(address, "seen", 0),
                                   get<std::uint32_t>(address, "moves", 0), get<bool>(address, "aging", true)});
      }
    }
  }
}

// What clients have joined without a report.
void add_groups(json const &document, Tables const &tables, Traffic &traffic) {
  for (json const &vswitch : document["switches"]) {
    for (json const &port : vswitch["ports"]) {
      PortIndex const index = *tables.find_port(port["number"]);
      for (json const &group : list(part(port, "client"), "groups")) {
        Membership membership;
        for (json const &source : list(group, "sources"))
          membership.sources.push_back(ip_of(source));
        std::sort(membership.sources.begin(), membership.sources.end());
        if (!membership.sources.empty()) {
          bool const excludes = get<std::string>(group, "mode", "include") == "exclude";
          membership.filter = excludes ? SourceFilter::exclude : SourceFilter::include;
        }
        traffic.memberships(tables.ports[index].vswitch).set({ip_of(group["address"]), index}, membership);
      }
    }
  }
}

// Those by report, by port. No filter is one that excludes nothing.
json memberships_of(Tables const &tables, Memberships const &memberships) {
  json all = json::array();
  for (auto const &[key, membership] : memberships.all()) {
    if (!membership.is_reported())
      continue;
    json sources = json::array();
    for (IpAddress const &source : membership.sources)
      sources.push_back(digits_of(source.bytes()));
    all.push_back({tables.ports[key.port].number, digits_of(key.group.bytes()),
                   membership.filter == SourceFilter::include ? "include" : "exclude", sources, membership.version,
                   membership.updated, membership.expiry});
  }
  std::sort(all.begin(), all.end());
  return all;
}

// Their numbers.
json routers_of(Tables const &tables, RouterPorts const &ports) {
  std::set<std::uint32_t> numbers;
  for (auto const &[key, expiry] : ports.all())
    numbers.insert(tables.ports[key.port].number);
  return numbers;
}

json sessions_of(Tables const &tables, Traffic const &traffic, std::uint32_t vswitch) {
  json sessions = json::object();
  Switch const &all = tables.switches[vswitch];
  for (MirrorIndex index = all.first_mirror; index < all.end_mirror; ++index) {
    MirrorTraffic const &counted = traffic.mirror(index);
    sessions[tables.mirrors[index].session->name] = {{"mirrorPktCnt", counted.copies},
                                                     {"mirrorPktFailCnt", counted.copies_failed},
                                                     {"mirroredPkts", counted.mirrored},
                                                     {"discardedPkts", counted.discarded},
                                                     {"failedPkts", counted.failed}};
  }
  return sessions;
}

json everything(World const &world, Tables const &tables, Traffic &traffic, std::int64_t now) {
  json ports = json::array();
  for (std::uint32_t vswitch = 0; vswitch < tables.switches.size(); ++vswitch) {
    traffic.age(tables, vswitch, now);
    traffic.memberships(vswitch).expire(now);
    traffic.router_ports(vswitch).expire(now);
  }
  for (PortIndex port = 0; port < tables.ports.size(); ++port) {
    std::uint32_t const learned = traffic.table(tables.ports[port].vswitch).count_at(port);
    ports.push_back({world.ports.at(tables.ports[port].number), counters_of(traffic.counters(port), learned)});
  }
  json switches = json::array();
  for (std::uint32_t vswitch = 0; vswitch < tables.switches.size(); ++vswitch) {
    SwitchCounters const &counters = traffic.switch_counters(vswitch);
    json addresses = json::array();
    for (LearnedAddress const &address : traffic.table(vswitch).addresses())
      addresses.push_back({address.mac, address.vlan, tables.ports[address.port].number, address.seen, address.moves});
    switches.push_back({{"txFromSrvPort", counters.sent_by_service_ports},
                        {"txUsingSrvPortFRP", counters.sent_by_own_policy},
                        {"txUsingPktSrcPortFRP", counters.sent_by_source_policy},
                        {"txErrors", counters.service_errors},
                        {"rxToSrvPort", counters.received_by_service_ports},
                        {"rxRpfOverride", counters.reverse_path_overridden},
                        {"mirrorPktCnt", counters.promiscuous_copies},
                        {"mirroredPkts", counters.promiscuous_frames},
                        {"teamAllowedPktsWithPortLimit", counters.team_allowed_at_port_limit},
                        {"memberships", memberships_of(tables, traffic.memberships(vswitch))},
                        {"routers", routers_of(tables, traffic.router_ports(vswitch))},
                        {"sessions", sessions_of(tables, traffic, vswitch)},
                        {"learned", addresses}});
  }
  return {{"ports", ports}, {"switches", switches}};
}

}  // namespace

int main() {
  std::string line;
  std::getline(std::cin, line);
  json const document = json::parse(line);
  World const world(document);
  Tables const tables(world.configuration);
  Traffic traffic(tables);
  add_learned(document, tables, traffic);
  add_groups(document, tables, traffic);
  std::int64_t now = 0;
  while (std::getline(std::cin, line)) {
    if (line.empty()) {
      std::cout << everything(world, tables, traffic, now) << std::endl;
      continue;
    }
    json const request = json::parse(line);
    Place place;
    if (request[0].is_string()) {
      auto const nic = std::find(world.nics.begin(), world.nics.end(), request[0].get<std::string>());
      place = Place::nic(static_cast<std::uint32_t>(nic - world.nics.begin()));
    } else {
      place = Place::port(*tables.find_port(world.numbers.at(request[0].dump())));
    }
    Packet const bytes = hex(request[1].get<std::string>());
    now = request[2];
    Answer answer(world, tables);
    forward(tables, traffic, now, {place, bytes}, answer);
    std::cout << json::array({answer.deliveries, answer.drops, answer.consumed}) << "\n";
  }
}
