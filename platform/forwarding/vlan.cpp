// The VLAN of a frame: where it comes in, and which tag it has where it goes out.
#include "platform/forwarding/vlan.hpp"

namespace forwarding {

namespace {

constexpr std::uint16_t reserved_vid = 4095;
constexpr std::uint8_t dei = 1;

bool keeps_tags(Port const &port) {
  return port.allows_nested && port.vlan_kind == VlanPolicy::Kind::access && port.vlan != 0;
}

// V-1 to V-4, and the part of V-13 that takes tags for payload.
Verdict place_in_vlan(Port const &port, Header &header, std::uint16_t &vlan) {
  bool const is_tagged = header.has_tag && header.vid() != 0;
  if (is_tagged && keeps_tags(port)) {
    header.keep_tag();
    vlan = port.vlan;
    return pass(Rule::V_13);
  }
  if (header.vid() == reserved_vid)
    return refuse(Reason::vlan_reserved);
  if (port.vlan_kind != VlanPolicy::Kind::trunk) {
    vlan = port.vlan;
    return is_tagged ? refuse(Reason::vlan_tagged) : pass(Rule::V_2);
  }
  vlan = is_tagged ? header.vid() : port.vlan;
  return pass(is_tagged ? Rule::V_3 : Rule::V_4);
}

}  // namespace

Verdict classify(Tables const &tables, Port const &port, Header &header, InVlan &in_vlan) {
  Verdict const placed = place_in_vlan(port, header, in_vlan.vlan);
  if (!placed.passes())
    return placed;
  if (port.vlan_kind == VlanPolicy::Kind::trunk && !tables.is_member(port, in_vlan.vlan))
    return refuse(placed.rule == Rule::V_3 ? Reason::vlan_not_allowed : Reason::vlan_untagged);
  if (refuses_nested(port, header))
    return refuse(Reason::nested_tag);
  if (in_vlan.vlan == 0 && header.inner_type == ethertype_vlan)
    return {Rule::V_15, Reason::nested_tag};
  if (port.vlan_kind == VlanPolicy::Kind::private_vlan && port.primary == 0)
    return refuse(Reason::private_vlan);

  in_vlan.priority = header.has_tag ? header.priority() : 0;
  if (port.sets_priority && !(port.retains_priority && header.has_tag))
    in_vlan.priority = static_cast<std::uint8_t>(port.priority << 1 | (in_vlan.priority & dei));
  return placed;
}

Form form_at(Port const &port, Header const &header, InVlan in_vlan) {
  if (port.vlan_kind != VlanPolicy::Kind::trunk)
    return Form::untagged;
  if (in_vlan.vlan != port.vlan)
    return Form::tagged;
  if (in_vlan.vlan == 0)
    return in_vlan.priority ? Form::priority_tagged : Form::untagged;
  return header.is_nested() ? Form::tagged : Form::untagged;
}

}  // namespace forwarding
