// The configuration of a host, compiled for forwarding: flat arrays, sets of VLANs, hashed addresses. Never changes.
#include "platform/forwarding/tables.hpp"

#include <algorithm>
#include <bit>

#include "constants/constants.hpp"

namespace forwarding {

namespace {

constexpr std::uint16_t last_vlan = 4094;

bool is_in(std::vector<VlanRange> const &ranges, std::uint16_t vlan) {
  return ranges.empty() || std::any_of(ranges.begin(), ranges.end(), [&](VlanRange const &range) {
           return range.first <= vlan && vlan <= range.last;
         });
}

// What a trunk is a member of (V-3 to V-5): VLAN 0 only as its native one.
VlanSet trunk_vlans(VlanPolicy const &policy, std::uint16_t native) {
  VlanSet set;
  for (std::uint16_t vlan = 1; vlan <= last_vlan; ++vlan)
    set[vlan] = vlan == native || is_in(policy.ranges, vlan);
  set[0] = native == 0 && is_in(policy.ranges, 0);
  return set;
}

// The frames that a private port receives (PV-1), by their VLAN.
VlanSet private_vlans_for(std::uint16_t own, PrivateVlanMap const &map) {
  VlanSet set;
  if (map.by_vlan.empty() || map.by_vlan[own].primary == 0)
    return set;
  std::uint16_t const primary = map.by_vlan[own].primary;
  bool const is_promiscuous = map.by_vlan[own].type == PrivateVlanType::primary;
  bool const is_community = map.by_vlan[own].type == PrivateVlanType::community;
  for (std::size_t vlan = 1; vlan < map.by_vlan.size(); ++vlan) {
    bool const is_same_primary = map.by_vlan[vlan].primary == primary;
    set[vlan] = is_same_primary && (is_promiscuous || vlan == primary || (is_community && vlan == own));
  }
  return set;
}

PrivateVlanMap private_vlan_map(std::vector<PrivateVlan> const &entries) {
  PrivateVlanMap map;
  if (entries.empty())
    return map;
  map.by_vlan.resize(all_vlans);
  for (PrivateVlan const &entry : entries)
    map.by_vlan[entry.vlan] = {entry.primary, entry.type};
  return map;
}

}  // namespace

AddressIndex::AddressIndex(std::vector<std::pair<std::uint64_t, std::uint32_t>> pairs) : pairs_(std::move(pairs)) {
  if (pairs_.empty())
    return;
  std::sort(pairs_.begin(), pairs_.end());
  slots_.assign(std::bit_ceil(pairs_.size() * 2), nowhere);
  std::size_t const mask = slots_.size() - 1;
  for (std::uint32_t i = 0; i < pairs_.size(); ++i) {
    if (i > 0 && pairs_[i].first == pairs_[i - 1].first)
      continue;
    std::size_t slot = scrambled(pairs_[i].first) & mask;
    while (slots_[slot] != nowhere)
      slot = (slot + 1) & mask;
    slots_[slot] = i;
  }
}

AddressIndex::Pairs AddressIndex::find(std::uint64_t key) const {
  if (slots_.empty())
    return {};
  std::size_t const mask = slots_.size() - 1;
  for (std::size_t slot = scrambled(key) & mask; slots_[slot] != nowhere; slot = (slot + 1) & mask) {
    std::size_t const first = slots_[slot];
    if (pairs_[first].first != key)
      continue;
    std::size_t end = first + 1;
    while (end < pairs_.size() && pairs_[end].first == key)
      ++end;
    return {pairs_.data() + first, end - first};
  }
  return {};
}

UplinkSet Switch::with_mates(UplinkSet uplinks_of_it) const {
  UplinkSet all = uplinks_of_it;
  for (; uplinks_of_it; uplinks_of_it &= uplinks_of_it - 1)
    all |= lag_mates[static_cast<std::size_t>(std::countr_zero(uplinks_of_it))];
  return all;
}

Tables::Tables(Configuration configuration)
    : options(configuration.options),
      stacks(configuration.stacks),
      configuration_(std::make_unique<Configuration const>(std::move(configuration))) {
  port_of_nic.assign(configuration_->nics.size(), nowhere);
  for (SwitchConfiguration const &vswitch : configuration_->switches)
    add_switch(vswitch, configuration_->nics);
  std::vector<std::pair<std::uint64_t, std::uint32_t>> numbers;
  for (PortIndex index = 0; index < ports.size(); ++index)
    numbers.emplace_back(ports[index].number, index);
  numbers_ = AddressIndex(std::move(numbers));
}

std::optional<PortIndex> Tables::find_port(std::uint32_t number) const {
  AddressIndex::Pairs const found = numbers_.find(number);
  return found.empty() ? std::nullopt : std::optional(found.front().second);
}

bool Tables::lists_multicast(Port const &port, MacAddress group) const {
  return std::binary_search(multicast_.begin() + port.multicast_begin, multicast_.begin() + port.multicast_end, group);
}

void Tables::add_switch(SwitchConfiguration const &configuration, std::vector<NicConfiguration> const &nics) {
  Switch vswitch;
  vswitch.identifier = configuration.identifier;
  vswitch.own_mac = configuration.own_mac;
  vswitch.is_connected = configuration.is_connected;
  vswitch.is_disabled = configuration.is_disabled;
  vswitch.snoops_ipv4 = configuration.snoops_ipv4;
  vswitch.snoops_ipv6 = configuration.snoops_ipv6;
  vswitch.learns_static = configuration.learns_static;
  vswitch.allows_static = configuration.allows_static;
  vswitch.mtu = configuration.mtu;
  vswitch.aging_time = configuration.aging_time;
  vswitch.learned_limit = configuration.learned_limit;
  vswitch.private_vlans = private_vlan_map(configuration.private_vlans);

  std::vector<PortConfiguration const *> in_order;
  for (PortConfiguration const &port : configuration.ports)
    in_order.push_back(&port);
  std::sort(in_order.begin(), in_order.end(),
            [](PortConfiguration const *left, PortConfiguration const *right) { return left->number < right->number; });
  std::uint32_t const first_team = static_cast<std::uint32_t>(teams.size());
  vswitch.team = first_team;
  teams.push_back({static_cast<std::uint32_t>(switches.size()), &configuration.teams[0], std::nullopt});
  vswitch.first_port = static_cast<PortIndex>(ports.size());
  for (PortConfiguration const *port : in_order) {
    add_port(vswitch, *port);
    std::optional<std::int64_t> numa_node;
    if (options.numa_aware && port->client)
      numa_node = port->client->numa_node;
    Team const *team = &configuration.teams[port->team];
    auto const known = std::find_if(teams.begin() + first_team, teams.end(),
                                    [&](TeamUse const &use) { return use.team == team && use.numa_node == numa_node; });
    ports.back().team = static_cast<std::uint32_t>(known - teams.begin());
    vswitch.balances_load |= port->client && team->load_balance == constant::TEAM_FRP_TYPE_LB_LBT;
    if (known == teams.end())
      teams.push_back({static_cast<std::uint32_t>(switches.size()), team, numa_node});
  }
  vswitch.end_port = static_cast<PortIndex>(ports.size());
  add_uplinks(vswitch, configuration, nics);
  add_lists(vswitch, configuration);
  add_mirrors(vswitch, configuration.mirror_sessions);
  switches.push_back(std::move(vswitch));
}

void Tables::add_port(Switch const &vswitch, PortConfiguration const &configuration) {
  constexpr std::uint32_t default_limit = 4096;
  LearningPolicy const learning = configuration.learning.value_or(LearningPolicy{});
  Port port;
  port.number = configuration.number;
  port.vswitch = static_cast<std::uint32_t>(switches.size());
  port.is_zombie = configuration.is_zombie;
  port.is_blocked = configuration.is_blocked;
  port.disallow_forged_source = configuration.disallow_forged_source;
  port.sends_to_uplink_too = configuration.sends_to_uplink_too;
  port.learns = learning.learns;
  port.is_flooded = learning.is_flooded || configuration.filter.is_sink;
  port.has_own_limit = configuration.learning.has_value();
  port.drops_at_limit = learning.drops_at_limit;
  port.learned_limit = configuration.learning ? learning.limit : default_limit;
  port.tied = configuration.tied;
  if (configuration.client) {
    Client const &client = *configuration.client;
    port.kind = PortKind::client;
    port.link_up = client.link_up;
    port.is_router = client.is_router;
    port.is_tcpip = client.is_tcpip;
    port.effective = client.effective;
    port.is_in_violation = configuration.disallow_mac_change && client.assigned != client.effective;
    port.known_as = port.is_in_violation ? client.assigned : client.effective;
  }
  add_vlans(vswitch, configuration.vlan, port);

  std::vector<MacAddress> list = configuration.multicast;
  std::sort(list.begin(), list.end());
  port.multicast_begin = static_cast<std::uint32_t>(multicast_.size());
  multicast_.insert(multicast_.end(), list.begin(), list.end());
  port.multicast_end = static_cast<std::uint32_t>(multicast_.size());
  port.all_multicast = configuration.filter.all_multicast;
  if (configuration.filter.by_bucket) {
    for (MacAddress address : configuration.filter.addresses)
      port.buckets |= std::uint64_t{1} << address_bucket(address);
  }
  ports.push_back(port);
}

void Tables::add_vlans(Switch const &vswitch, VlanPolicy const &policy, Port &port) {
  constexpr std::uint16_t no_native_vlan = 4095;
  port.vlan_kind = policy.kind;
  port.vlan = policy.vlan;
  port.allows_nested = policy.allows_nested;
  port.sets_priority = policy.priority.has_value();
  port.retains_priority = policy.retains_priority;
  port.priority = policy.priority.value_or(0);
  switch (policy.kind) {
    case VlanPolicy::Kind::access: break;
    case VlanPolicy::Kind::trunk:
      port.vlan = policy.vlan == no_native_vlan ? 0 : policy.vlan;
      port.vlans = add_vlan_set(trunk_vlans(policy, port.vlan));
      break;
    case VlanPolicy::Kind::private_vlan:
      port.primary = vswitch.private_vlan(policy.vlan).primary;
      port.vlans = add_vlan_set(private_vlans_for(policy.vlan, vswitch.private_vlans));
      break;
  }
}

void Tables::add_uplinks(Switch &vswitch, SwitchConfiguration const &configuration,
                         std::vector<NicConfiguration> const &nics) {
  std::vector<UplinkState> states;
  for (UplinkConfiguration const &uplink : configuration.uplinks) {
    auto const found = std::lower_bound(ports.begin() + vswitch.first_port, ports.end(), uplink.port_number,
                                        [](Port const &port, std::uint32_t number) { return port.number < number; });
    Port &port = *found;
    port.kind = PortKind::uplink;
    port.position = static_cast<UplinkPosition>(vswitch.uplinks.size());
    UplinkState state;
    state.member.is_blocked = port.is_blocked;
    if (uplink.nic) {
      NicConfiguration const &nic = nics[*uplink.nic];
      port.nic = *uplink.nic;
      port.link_up = nic.link_up;
      port_of_nic[*uplink.nic] = static_cast<PortIndex>(found - ports.begin());
      state.member.has_nic = true;
      state.member.link_up = nic.link_up;
      state.member.speed = nic.speed;
      state.member.is_full_duplex = nic.is_full_duplex;
      state.member.error_percent = nic.error_percent;
      state.member.recovery = nic.recovery;
      state.member.numa_node = uplink.numa_node;
      state.link_back = nic.link_back;
    }
    vswitch.uplinks.push_back(static_cast<PortIndex>(found - ports.begin()));
    vswitch.lag_mates.push_back(only(port.position));
    states.push_back(state);
  }
  Team const &own = configuration.teams.front();
  vswitch.notifies_network = own.has(constant::TEAM_FRP_FLAG_NOTIFY_SWITCH);
  for (std::vector<UplinkPosition> const *members : {&own.active, &own.standby}) {
    for (UplinkPosition const member : *members)
      vswitch.team_members |= only(member);
  }
  uplink_states.push_back(std::move(states));
  for (LagConfiguration const &lag : configuration.lags)
    add_lag(vswitch, lag);
  std::sort(vswitch.negotiating.begin(), vswitch.negotiating.end(), [&](auto const &left, auto const &right) {
    auto const number = [&](auto const &member) {
      return vswitch.lags[member.first].lacp->links[member.second].port_number;
    };
    return number(left) < number(right);
  });
  add_beacons(vswitch, configuration.teams[0]);
}

void Tables::add_lag(Switch &vswitch, LagConfiguration const &lag) {
  Lag compiled{lag.hash, {}, 0, std::nullopt};
  if (lag.lacp)
    compiled.lacp = LacpGroup{*lag.lacp, {}};
  UplinkSet mates = 0;
  for (LagMember const &member : lag.members) {
    Port &port = ports[vswitch.uplinks[member.uplink]];
    port.lag = static_cast<std::uint32_t>(vswitch.lags.size());
    compiled.members.push_back(member.uplink);
    mates |= only(member.uplink);
    if (member.lacp_up && port.link_up && !lag.lacp)
      compiled.up |= only(member.uplink);
    if (compiled.lacp) {
      vswitch.negotiating.emplace_back(port.lag, compiled.lacp->links.size());
      compiled.lacp->links.push_back(lacp_link(vswitch, port));
    }
  }
  for (UplinkPosition uplink : compiled.members)
    vswitch.lag_mates[uplink] = mates;
  vswitch.lags.push_back(std::move(compiled));
}

LacpLink Tables::lacp_link(Switch const &vswitch, Port const &port) const {
  LacpLink link;
  link.port_number = port.number;
  if (port.nic == nowhere)
    return link;
  NicConfiguration const &nic = nics()[port.nic];
  link.mac = nic.mac;
  link.speed = nic.speed;
  link.is_full_duplex = nic.is_full_duplex;
  link.is_up = port.link_up;
  link.passes = port.link_up && !port.is_blocked && vswitch.is_connected && !vswitch.is_disabled;
  link.script = nic.partner;
  return link;
}

// The members of the switch's policy send beacons if that looks at them, and if there are several.
void Tables::add_beacons(Switch &vswitch, Team const &team) {
  if (!(team.criteria & constant::TEAM_FRP_CRIT_BEACON_STATE))
    return;
  for (auto const *const list : {&team.active, &team.standby}) {
    for (UplinkPosition const uplink : *list) {
      if (ports[vswitch.uplinks[uplink]].link_up)
        vswitch.beaconing |= only(uplink);
    }
  }
  if (std::popcount(vswitch.beaconing) < 2)
    vswitch.beaconing = 0;
}

void Tables::add_lists(Switch &vswitch, SwitchConfiguration const &configuration) {
  std::vector<std::pair<std::uint64_t, std::uint32_t>> known;
  std::vector<std::pair<std::uint64_t, std::uint32_t>> effective;
  std::vector<std::uint32_t> numbers;
  for (PortIndex index = vswitch.first_port; index < vswitch.end_port; ++index) {
    Port const &port = ports[index];
    numbers.push_back(port.number);
    if (port.kind != PortKind::client)
      continue;
    vswitch.clients.push_back(index);
    if (port.is_flooded)
      vswitch.flooded.push_back(index);
    vswitch.team_learns |= port.learns;
    if (port.known_as)
      known.emplace_back(port.known_as, index);
    if (port.effective)
      effective.emplace_back(port.effective, index);
  }
  auto const index_of = [&](std::uint32_t number) {
    auto const found = std::lower_bound(numbers.begin(), numbers.end(), number);
    return vswitch.first_port + static_cast<PortIndex>(found - numbers.begin());
  };
  for (PortConfiguration const &port : configuration.ports) {
    bool const wants_all = port.filter.is_promiscuous || (port.client && port.client->is_promiscuous);
    if (port.client && wants_all && !port.disallow_promiscuous)
      vswitch.promiscuous.push_back(index_of(port.number));
  }
  std::sort(vswitch.promiscuous.begin(), vswitch.promiscuous.end());
  std::vector<std::pair<std::uint64_t, std::uint32_t>> manual;
  for (ManualAddress const &address : configuration.manual) {
    PortIndex const index = index_of(address.port_number);
    ++ports[index].manual_count;
    manual.emplace_back(address_key(address.mac, vswitch.database(address.vlan)), index);
  }
  vswitch.known_clients = AddressIndex(std::move(known));
  vswitch.effective = AddressIndex(std::move(effective));
  vswitch.manual = AddressIndex(std::move(manual));
}

PortIndex Tables::port_of(Switch const &vswitch, std::uint32_t number) const {
  auto const begin = ports.begin() + vswitch.first_port;
  auto const found =
      std::lower_bound(begin, ports.end(), number, [](Port const &port, std::uint32_t n) { return port.number < n; });
  return static_cast<PortIndex>(found - ports.begin());
}

Mirror::Sources Tables::mirror_sources(Switch const &vswitch, MirrorSources const &wanted) const {
  Mirror::Sources sources;
  sources.ports.resize(vswitch.end_port - vswitch.first_port);
  for (std::uint32_t const number : wanted.ports)
    sources.ports[port_of(vswitch, number) - vswitch.first_port] = true;
  for (PortIndex index = vswitch.first_port; index < vswitch.end_port; ++index) {
    Port const &port = ports[index];
    bool const is_wanted = port.is_uplink()                ? wanted.all_uplinks
                           : port.kind == PortKind::client ? (port.is_tcpip ? wanted.all_tcpips : wanted.all_vnics)
                                                           : false;
    if (is_wanted)
      sources.ports[index - vswitch.first_port] = true;
  }
  for (std::uint16_t const vlan : wanted.vlans)
    sources.vlans.set(vlan);
  return sources;
}

void Tables::add_mirrors(Switch &vswitch, std::vector<MirrorSession> const &sessions) {
  vswitch.first_mirror = static_cast<MirrorIndex>(mirrors.size());
  for (MirrorSession const &session : sessions) {
    Mirror mirror;
    mirror.session = &session;
    mirror.in = mirror_sources(vswitch, session.in);
    mirror.out = mirror_sources(vswitch, session.out);
    if (session.is_remote_destination)
      vswitch.not_learned |= mirror.in.vlans | mirror.out.vlans;
    for (MirrorDestination const &wanted : session.destinations) {
      Mirror::Destination destination{wanted.kind, nowhere, 0};
      if (wanted.kind == MirrorDestination::Kind::address) {
        std::vector<IpAddress> &all = mirror.addresses;
        auto const known = std::find(all.begin(), all.end(), wanted.address);
        destination.address = static_cast<std::uint32_t>(known - all.begin());
        if (known == all.end())
          all.push_back(wanted.address);
      } else {
        destination.port = port_of(vswitch, wanted.port_number);
        Port &port = ports[destination.port];
        if (wanted.kind == MirrorDestination::Kind::port && !port.is_uplink()) {
          port.gets_only_copies |= session.shuts_output;
          port.sends_nothing |= session.shuts_input;
        }
      }
      mirror.destinations.push_back(destination);
    }
    mirrors.push_back(std::move(mirror));
  }
  vswitch.end_mirror = static_cast<MirrorIndex>(mirrors.size());
}

std::uint32_t Tables::add_vlan_set(VlanSet const &set) {
  auto const known = std::find(vlan_sets_.rbegin(), vlan_sets_.rend(), set);
  if (known != vlan_sets_.rend())
    return static_cast<std::uint32_t>(vlan_sets_.rend() - known - 1);
  vlan_sets_.push_back(set);
  return static_cast<std::uint32_t>(vlan_sets_.size() - 1);
}

unsigned address_bucket(MacAddress address) {
  constexpr std::uint32_t polynomial = 0xedb88320;
  constexpr unsigned bits_of_a_bucket = 6;
  std::uint32_t crc = 0xffffffff;
  for (std::size_t byte = 0; byte < mac_size; ++byte) {
    crc ^= static_cast<std::uint8_t>(address >> (8 * (mac_size - 1 - byte)));
    for (int bit = 0; bit < 8; ++bit)
      crc = crc >> 1 ^ (crc & 1 ? polynomial : 0);
  }
  return crc >> (32 - bits_of_a_bucket);
}

}  // namespace forwarding
