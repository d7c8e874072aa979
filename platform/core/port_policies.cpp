// The rules of what is configured on single ports, and of the private VLANs and the MAC learning of a switch.
#include "platform/core/port_policies.hpp"

#include <algorithm>
#include <map>
#include <set>

#include "platform/core/mac_settings.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/traffic.hpp"

namespace host {

namespace {

constexpr int last_vlan = 4094;
constexpr int all_vlans = 4095;  // as the access VLAN of a trunk
constexpr std::size_t most_ranges = 4095;
constexpr int most_map_entries = 4094;

constexpr int known_vlan_flags = VSPORT_VLAN_GUEST_TAGGING | VSPORT_VLAN_PVLAN_ENABLED | VSPORT_VLAN_SET_PRIORITY;
constexpr std::uint32_t known_security_flags =
    VSPORT_SECURITY_DISALLOW_PROMISC | VSPORT_SECURITY_DISALLOW_MAC_CHANGE | VSPORT_SECURITY_DISALLOW_FORGED_SRC;
constexpr std::uint32_t known_filter_flags = QEL_ETH_FILTER_UNICAST | QEL_ETH_FILTER_MULTICAST |
                                             QEL_ETH_FILTER_ALLMULTI | QEL_ETH_FILTER_BROADCAST |
                                             QEL_ETH_FILTER_PROMISC | QEL_ETH_FILTER_USE_LADRF | QEL_ETH_FILTER_SINK;

void refuse_ranges(std::vector<qel_HNQPortVIDRange> ranges) {
  for (qel_HNQPortVIDRange const &range : ranges)
    refuse_if(range.minVID > range.maxVID || range.maxVID > last_vlan, QEL_BAD_PARAM);
  std::sort(ranges.begin(), ranges.end(), [](auto const &one, auto const &other) { return one.minVID < other.minVID; });
  for (std::size_t i = 1; i < ranges.size(); ++i)
    refuse_if(ranges[i].minVID <= ranges[i - 1].maxVID, QEL_BAD_PARAM);
}

std::vector<VSPvlanMapEntry> private_vlans(std::string_view value) {
  refuse_if(value.size() % sizeof(VSPvlanMapEntry) != 0, QEL_BAD_PARAM);
  std::vector<VSPvlanMapEntry> entries;
  for (std::size_t offset = 0; offset < value.size(); offset += sizeof(VSPvlanMapEntry))
    entries.push_back(record_at<VSPvlanMapEntry>(value, offset));
  return entries;
}

bool has_secondary(std::vector<VSPvlanMapEntry> const &entries, int vlan) {
  return std::any_of(entries.begin(), entries.end(),
                     [&](VSPvlanMapEntry const &entry) { return entry.secondaryVID == vlan; });
}

// The secondary VLANs that ports of the switch are in, by either of their values.
std::set<int> private_vlans_in_use(Database &database, RowId vswitch) {
  std::set<int> vlans;
  for (PlacedProperty const &placed : values_of_switch(database, vswitch, VSPROP_PORT_VLAN)) {
    VlanPolicy const policy = vlan_policy(placed.property.value);
    if (policy.fixed.flags & VSPORT_VLAN_PVLAN_ENABLED)
      vlans.insert(policy.fixed.vlanID);
  }
  return vlans;
}

VSExtraEthFilter eth_filter(Database &database, PropertyPlace const &port) {
  return record_from_value<VSExtraEthFilter>(get_property(database, port, VSPROP_PORT_EXTRA_ETH_FRP));
}

}  // namespace

VlanPolicy vlan_policy(std::string_view value) {
  refuse_if(value.size() < sizeof(VSPortVlanPolicy), QEL_BAD_PARAM);
  VlanPolicy policy{record_at<VSPortVlanPolicy>(value, 0), {}};
  std::size_t const count = policy.fixed.numRanges;
  refuse_if(count > most_ranges, QEL_LIMIT_EXCEEDED);
  refuse_if(value.size() != sizeof(VSPortVlanPolicy) + count * sizeof(qel_HNQPortVIDRange), QEL_BAD_PARAM);
  for (std::size_t i = 0; i < count; ++i)
    policy.ranges.push_back(
        record_at<qel_HNQPortVIDRange>(value, sizeof(VSPortVlanPolicy) + i * sizeof(qel_HNQPortVIDRange)));
  return policy;
}

std::string vlan_policy_value(VSPortVlanPolicy const &fixed, qel_HNQPortVIDRange const *ranges) {
  refuse_if(fixed.numRanges > most_ranges, QEL_LIMIT_EXCEEDED);
  refuse_if(fixed.numRanges > 0 && !ranges, QEL_BAD_PARAM);
  std::string value = record_value(fixed);
  if (ranges)
    value.append(reinterpret_cast<char const *>(ranges), fixed.numRanges * sizeof *ranges);
  return value;
}

std::string admit_vlan_policy(Database &database, PropertyPlace const &place, std::string_view value) {
  VlanPolicy const policy = vlan_policy(value);
  int const flags = policy.fixed.flags;
  refuse_if((flags & ~known_vlan_flags) != 0, QEL_BAD_PARAM);
  bool const is_trunk = (flags & VSPORT_VLAN_GUEST_TAGGING) != 0;
  bool const is_private = (flags & VSPORT_VLAN_PVLAN_ENABLED) != 0;
  refuse_if(policy.fixed.vlanID > all_vlans, QEL_BAD_PARAM);
  refuse_if(policy.fixed.vlanID == all_vlans && !is_trunk, QEL_BAD_PARAM);
  refuse_if(is_trunk && is_private, QEL_BAD_PARAM);
  refuse_if(!policy.ranges.empty() && !is_trunk, QEL_BAD_PARAM);
  refuse_ranges(policy.ranges);
  if (is_private) {
    std::string const map = get_switch_property(database, place.vswitch, VSPROP_PVLAN_MAP);
    refuse_if(!has_secondary(private_vlans(map), policy.fixed.vlanID), QEL_NOT_FOUND);
  }
  return std::string(value);
}

std::string default_vlan_policy(Database &, PropertyPlace const &) {
  return record_value(VSPortVlanPolicy{});
}

std::size_t private_vlan_map_size(int count) {
  refuse_if(count < 0, QEL_BAD_PARAM);
  refuse_if(count > most_map_entries, QEL_LIMIT_EXCEEDED);
  return static_cast<std::size_t>(count) * sizeof(VSPvlanMapEntry);
}

std::string admit_private_vlan_map(Database &database, PropertyPlace const &place, std::string_view value) {
  std::vector<VSPvlanMapEntry> const entries = private_vlans(value);
  refuse_if(entries.size() > static_cast<std::size_t>(most_map_entries), QEL_LIMIT_EXCEEDED);

  // 1. Each entry by itself. The promiscuous entry of a primary VLAN is the one that names it twice.
  std::set<int> primaries;
  std::set<int> secondaries;
  std::set<int> isolated;
  for (VSPvlanMapEntry const &entry : entries) {
    refuse_if(entry.primaryVID < 1 || entry.primaryVID > last_vlan, QEL_BAD_PARAM);
    refuse_if(entry.secondaryVID < 1 || entry.secondaryVID > last_vlan, QEL_BAD_PARAM);
    refuse_if(entry.pvlanType < VSPORT_PVLAN_TYPE_PROMISC || entry.pvlanType > VSPORT_PVLAN_TYPE_COMMUNITY,
              QEL_BAD_PARAM);
    bool const is_promiscuous = entry.pvlanType == VSPORT_PVLAN_TYPE_PROMISC;
    refuse_if(is_promiscuous != (entry.primaryVID == entry.secondaryVID), QEL_BAD_PARAM);
    refuse_if(!secondaries.insert(entry.secondaryVID).second, QEL_EXISTS);
    if (is_promiscuous)
      primaries.insert(entry.primaryVID);
    if (entry.pvlanType == VSPORT_PVLAN_TYPE_ISOLATED)
      refuse_if(!isolated.insert(entry.primaryVID).second, QEL_EXISTS);
  }

  // 2. All together: a primary VLAN needs its promiscuous entry.
  for (VSPvlanMapEntry const &entry : entries)
    refuse_if(!primaries.count(entry.primaryVID), QEL_BAD_PARAM);

  // 3. No port may lose its VLAN.
  for (int const vlan : private_vlans_in_use(database, place.vswitch))
    refuse_if(!secondaries.count(vlan), QEL_BUSY);
  return std::string(value);
}

// Nothing follows from a map. That it has something to apply makes a cleared map pass the rules above, too.
void keep_private_vlan_map(Database &, PropertyPlace const &, std::string_view) {}

void forget_private_vlans(Database &database, PropertyPlace const &place, std::string_view former,
                          std::string_view value) {
  std::vector<bool> vlans(static_cast<std::size_t>(last_vlan) + 1);
  for (std::string_view const map : {former, value}) {
    for (VSPvlanMapEntry const &entry : private_vlans(map))
      vlans[entry.primaryVID] = vlans[entry.secondaryVID] = true;
  }
  forget_learned_in(database, place.vswitch, vlans);
}

void forget_learned_by_vlan(Database &database, PropertyPlace const &place, std::string_view, std::string_view) {
  forget_learned_at(database, place.port);
}

std::string admit_mac_learning(Database &, PropertyPlace const &, std::string_view value) {
  auto const learning = record_from_value<VSPropMACLearning>(value);
  refuse_if(learning.agingTime > static_cast<std::uint32_t>(VS_MAC_LEARNING_AGING_TIME_MAX), QEL_BAD_PARAM);
  refuse_if(learning.reserved != 0, QEL_BAD_PARAM);
  refuse_if(learning.macLimit > most_learned, QEL_LIMIT_EXCEEDED);
  return std::string(value);
}

std::string default_mac_learning(Database &database, PropertyPlace const &) {
  VSMACLearningGlobalProps const settings = global_learning_settings(database);
  VSPropMACLearning learning{};
  learning.agingTime = settings.agingTime & 0xffffff;
  learning.macLimit = settings.macLimit;
  return record_value(learning);
}

std::string default_learn_static(Database &database, PropertyPlace const &) {
  return std::string(1, global_learning_settings(database).learnStatic);
}

std::string default_static_mac_allow(Database &database, PropertyPlace const &) {
  return std::string(1, global_learning_settings(database).staticMACAllow);
}

std::string admit_mac_management(Database &, PropertyPlace const &, std::string_view value) {
  auto const management = record_from_value<VSPMACManagement>(value);
  VSPMACLearning const learning = management.portMACLearning;
  refuse_if(learning.macLimit > static_cast<std::uint32_t>(VSPORT_MAC_LEARNING_LIMIT_ENTRIES_MAX), QEL_LIMIT_EXCEEDED);
  refuse_if(learning.macLimitPolicy != VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW &&
                learning.macLimitPolicy != VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP,
            QEL_BAD_PARAM);
  return std::string(value);
}

std::string default_mac_management(Database &, PropertyPlace const &) {
  VSPMACManagement management{};
  management.macChangeAllowed = 1;
  management.portMACLearning.macLimit = VSPORT_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT;
  management.portMACLearning.macLimitPolicy =
      static_cast<VSPortMACLearningLimitPolicy>(VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW);
  return record_value(management);
}

std::string admit_port_security(Database &, PropertyPlace const &, std::string_view value) {
  auto const security = record_from_value<VSPropSecurity>(value);
  refuse_if((security.flags & ~known_security_flags) != 0, QEL_BAD_PARAM);
  return std::string(value);
}

std::string no_port_security(Database &, PropertyPlace const &) {
  return record_value(VSPropSecurity{});
}

std::string admit_eth_filter(Database &, PropertyPlace const &, std::string_view value) {
  auto const filter = record_from_value<VSExtraEthFilter>(value);
  refuse_if((filter.flags & ~known_filter_flags) != 0, QEL_BAD_PARAM);
  refuse_if(filter.numMulticastAddrs > VSWITCH_ETH_MAX_EXACT_MULTICAST_ADDRS, QEL_LIMIT_EXCEEDED);
  for (std::size_t i = 0; i < filter.numMulticastAddrs; ++i)
    refuse_if(!is_multicast(filter.multicastAddrs[i]), QEL_BAD_PARAM);
  return std::string(value);
}

std::string no_eth_filter(Database &, PropertyPlace const &) {
  return record_value(VSExtraEthFilter{});
}

std::uint32_t security_in_force(Database &database, PropertyPlace const &port) {
  std::uint32_t flags = property_number(get_property(database, port, VSPROP_PORT_SECURITY));
  auto const management = record_from_value<VSPMACManagement>(get_property(database, port, VSPROP_PORT_MAC_MANAGEMENT));
  if (!management.macChangeAllowed)
    flags |= VSPORT_SECURITY_DISALLOW_MAC_CHANGE;
  return flags;
}

std::vector<RowId> client_ports(Database &database, RowId vswitch) {
  std::vector<RowId> ports;
  for (PortRow const &port : load_ports(database, vswitch)) {
    if (port.is_client_port())
      ports.push_back(port.row);
  }
  return ports;
}

std::vector<RowId> promiscuous_ports(Database &database, RowId vswitch) {
  std::vector<RowId> ports;
  for (PortRow const &port : load_ports(database, vswitch)) {
    if (!port.is_client_port())
      continue;
    PropertyPlace const place{vswitch, Scope::port, port.row};
    bool const asks = port.client.is_promiscuous || (eth_filter(database, place).flags & QEL_ETH_FILTER_PROMISC);
    if (asks && !(security_in_force(database, place) & VSPORT_SECURITY_DISALLOW_PROMISC))
      ports.push_back(port.row);
  }
  return ports;
}

bool is_sink_port(Database &database, PropertyPlace const &port) {
  return (eth_filter(database, port).flags & QEL_ETH_FILTER_SINK) != 0;
}

void set_sink_port(Database &database, PropertyPlace const &port, bool sink) {
  VSExtraEthFilter filter = eth_filter(database, port);
  constexpr std::uint32_t flag = QEL_ETH_FILTER_SINK;
  filter.flags = sink ? filter.flags | flag : filter.flags & ~flag;
  set_property(database, port, VSPROP_PORT_EXTRA_ETH_FRP, {.value = record_value(filter)});
}

std::uint32_t count_sink_ports(Database &database, RowId vswitch) {
  // Only ports with a filter of their own can be sink ports.
  std::set<RowId> filtered;
  for (PlacedProperty const &placed : values_of_switch(database, vswitch, VSPROP_PORT_EXTRA_ETH_FRP))
    filtered.insert(placed.place.port);
  return static_cast<std::uint32_t>(std::count_if(filtered.begin(), filtered.end(), [&](RowId port) {
    return is_sink_port(database, {vswitch, Scope::port, port});
  }));
}

}  // namespace host
