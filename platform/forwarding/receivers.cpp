// Where a frame goes inside its switch: the look-up of its destination, and which ports may receive it.
#include "platform/forwarding/receivers.hpp"

#include <bit>

#include "constants/constants.hpp"

namespace forwarding {

namespace {

using namespace constant;

PortIndex find_manual(Passage const &passage, MacAddress address) {
  AddressIndex::Pairs const found = passage.vswitch->manual.find(passage.key_of(address));
  return found.empty() ? nowhere : found.front().second;
}

PortIndex find_client(Passage const &passage, MacAddress address) {
  std::uint16_t const vlan = passage.in_vlan.vlan;
  for (auto const &[mac, index] : passage.vswitch->known_clients.find(address)) {
    Port const &port = passage.tables.ports[index];
    bool const is_there = port.vlan_kind == VlanPolicy::Kind::private_vlan
                              ? port.primary != 0 && port.primary == passage.vswitch->private_vlan(vlan).primary
                              : passage.tables.is_member(port, vlan);
    if (is_there)
      return index;
  }
  return nowhere;
}

PortIndex find_learned(Passage const &passage) {
  MacTable const &table = passage.traffic.table(passage.vswitch_index);
  MacTable::Place const place = table.find(passage.key_of(passage.header.destination));
  return place == nowhere ? nowhere : table.port(place);
}

// T-20 for a frame from an uplink.
bool is_unexpected(Passage const &passage, Target const &target, Port const &port, Way way) {
  Options const &options = passage.tables.options;
  if (!passage.is_from_uplink() || !options.reverse_path_check ||
      (way == Way::promiscuous && !options.reverse_path_check_promiscuous))
    return false;
  UplinkSet const expected = target.is_known() ? possible_uplinks(passage, port) : expected_uplinks(passage, port);
  return !(expected & only(passage.ingress->position));
}

// By the policy of a port that is not tied, whether that blocks the team or not.
std::optional<UplinkPosition> by_policy(Tables const &tables, Traffic const &traffic, Port const &port) {
  auto const index = static_cast<PortIndex>(&port - tables.ports.data());
  return pick(traffic.fit(port.team).fit, *tables.teams[port.team].team, traffic.team_port(tables, index), nullptr);
}

}  // namespace

PortIndex find_static(Passage const &passage, MacAddress address) {
  if (!passage.vswitch->allows_static)
    return nowhere;
  PortIndex const manual = find_manual(passage, address);
  return manual == nowhere ? find_client(passage, address) : manual;
}

PortIndex look_up(Passage const &passage) {
  bool const learned_first = passage.vswitch->learns_static;
  PortIndex const first = learned_first ? find_learned(passage) : find_static(passage, passage.header.destination);
  if (first != nowhere)
    return first;
  return learned_first ? find_static(passage, passage.header.destination) : find_learned(passage);
}

bool is_static(Passage const &passage, MacAddress address) {
  Switch const &vswitch = *passage.vswitch;
  return vswitch.allows_static && !vswitch.learns_static &&
         (!vswitch.effective.find(address).empty() || find_manual(passage, address) != nowhere);
}

std::optional<Refusal> refusal(Passage const &passage, Target const &target, Port const &port, Way way,
                               bool &overridden) {
  if (way != Way::addressed && !passage.tables.is_member(port, passage.in_vlan.vlan)) {
    bool const is_private = port.vlan_kind == VlanPolicy::Kind::private_vlan;
    return Refusal{is_private ? Rule::PV_1 : Rule::V_5, Reason::no_receiver};
  }
  if (refuses_nested(port, passage.header))
    return Refusal{Rule::V_13, Reason::nested_tag};
  if (way == Way::flooded &&
      filters_out(passage.tables, passage.traffic, port, passage.groups, passage.header.destination))
    return Refusal{passage.groups.rule, Reason::multicast_filtered};
  if (port.kind == PortKind::client && is_unexpected(passage, target, port, way)) {
    if (!port.is_router)
      return Refusal{Rule::T_20, Reason::reverse_path};
    overridden = true;
  }
  if (port.is_in_violation)
    return Refusal{Rule::S_3, Reason::mac_changed};
  if (port.gets_only_copies)
    return Refusal{Rule::M_3, Reason::mirror_destination};
  Reason const reason = cannot_receive(passage.tables, passage.traffic, port);
  return reason == Reason::none ? std::nullopt : std::optional(Refusal{Rule::X_5, reason});
}

Reason cannot_receive(Tables const &tables, Traffic const &traffic, Port const &port) {
  if (port.is_zombie)
    return Reason::zombie_port;
  if (port.kind == PortKind::unused)
    return Reason::no_client;
  if (!has_link(tables, traffic, port))
    return Reason::link_down;
  return port.is_blocked ? Reason::port_blocked : Reason::none;
}

std::optional<UplinkPosition> uplink_without_frame(Tables const &tables, Traffic const &traffic, Port const &port) {
  if (port.tied) {
    PortIndex const tied = tables.switches[port.vswitch].uplinks[*port.tied];
    return tables.ports[tied].link_up ? port.tied : std::nullopt;
  }
  if (tables.teams[port.team].team->has(TEAM_FRP_FLAG_BLOCK_OUTPUT))
    return std::nullopt;
  return by_policy(tables, traffic, port);
}

std::optional<UplinkPosition> choose_member(Lag const &lag, UplinkSet members_up, Header const &frame,
                                            std::uint16_t vlan) {
  auto const up = static_cast<std::uint32_t>(std::popcount(members_up));
  std::uint32_t left = up ? lag_share(lag.hash, frame, vlan) % up : 0;
  for (UplinkPosition member : lag.members) {
    if ((members_up & only(member)) && left-- == 0)
      return member;
  }
  return std::nullopt;
}

UplinkSet expected_uplinks(Passage const &passage, Port const &port) {
  Switch const &vswitch = *passage.vswitch;
  if (port.tied)
    return vswitch.lag_mates[*port.tied];
  if (passage.tables.teams[port.team].team->load_balance == TEAM_FRP_TYPE_LB_IP ||
      passage.traffic.beacons(passage.tables, passage.vswitch_index).is_undecided)
    return passage.traffic.fit(port.team).with_mates;
  std::optional<UplinkPosition> const chosen = by_policy(passage.tables, passage.traffic, port);
  return chosen ? vswitch.lag_mates[*chosen] : 0;
}

UplinkSet possible_uplinks(Passage const &passage, Port const &port) {
  return port.tied ? passage.vswitch->lag_mates[*port.tied] : passage.traffic.fit(port.team).with_mates;
}

Reason cannot_send(Port const &uplink) {
  if (uplink.nic == nowhere)
    return Reason::no_nic;
  if (!uplink.link_up)
    return Reason::link_down;
  return uplink.is_blocked ? Reason::port_blocked : Reason::none;
}

Reason refused_at_uplink(Tables const &tables, Port const &uplink, std::uint16_t vlan) {
  Reason const reason = cannot_send(uplink);
  return reason == Reason::none && !tables.is_member(uplink, vlan) ? Reason::vlan_egress : reason;
}

bool has_link(Tables const &tables, Traffic const &traffic, Port const &port) {
  if (!port.link_up || port.is_uplink() || port.tied)
    return port.link_up;
  return !tables.teams[port.team].team->has(TEAM_FRP_FLAG_LST) || traffic.fit(port.team).fit.count != 0;
}

}  // namespace forwarding
