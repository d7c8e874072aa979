// The rules of what is configured on single ports, and of the private VLANs and the MAC learning of a switch.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "interface/policy_records.h"
#include "interface/status_records.h"
#include "platform/core/properties.hpp"

namespace host {

struct VlanPolicy {
  VSPortVlanPolicy fixed;
  std::vector<qel_HNQPortVIDRange> ranges;
};

// VSPROP_PORT_VLAN: a VSPortVlanPolicy with its ranges.
std::string admit_vlan_policy(Database &database, PropertyPlace const &place, std::string_view value);
std::string default_vlan_policy(Database &database, PropertyPlace const &place);
HOST_API VlanPolicy vlan_policy(std::string_view value);

// The value for ranges that a caller passes. Refuses with QEL_LIMIT_EXCEEDED.
HOST_API std::string vlan_policy_value(VSPortVlanPolicy const &fixed, qel_HNQPortVIDRange const *ranges);

// VSPROP_PVLAN_MAP: VSPvlanMapEntry records.
std::string admit_private_vlan_map(Database &database, PropertyPlace const &place, std::string_view value);
void keep_private_vlan_map(Database &database, PropertyPlace const &place, std::string_view value);
// What was learned in VLANs of either map.
void forget_private_vlans(Database &database, PropertyPlace const &place, std::string_view former,
                          std::string_view value);
// What was learned at a port by another VLAN policy.
void forget_learned_by_vlan(Database &database, PropertyPlace const &place, std::string_view former,
                            std::string_view value);
HOST_API std::size_t private_vlan_map_size(int count);

// VSPROP_SWITCH_MAC_LEARNING: a VSPropMACLearning. VSPROP_PORT_MAC_MANAGEMENT: a VSPMACManagement.
std::string admit_mac_learning(Database &database, PropertyPlace const &place, std::string_view value);
std::string default_mac_learning(Database &database, PropertyPlace const &place);
std::string default_learn_static(Database &database, PropertyPlace const &place);
std::string default_static_mac_allow(Database &database, PropertyPlace const &place);
std::string admit_mac_management(Database &database, PropertyPlace const &place, std::string_view value);
std::string default_mac_management(Database &database, PropertyPlace const &place);

// VSPROP_PORT_SECURITY: a VSPropSecurity. VSPROP_PORT_EXTRA_ETH_FRP: a VSExtraEthFilter.
std::string admit_port_security(Database &database, PropertyPlace const &place, std::string_view value);
std::string no_port_security(Database &database, PropertyPlace const &place);
std::string admit_eth_filter(Database &database, PropertyPlace const &place, std::string_view value);
std::string no_eth_filter(Database &database, PropertyPlace const &place);

// What the client of a port may not do, by its security policy and its MAC management: VSPORT_SECURITY_* flags.
HOST_API std::uint32_t security_in_force(Database &database, PropertyPlace const &port);

// The ports of a switch that have a client which is not an uplink, by number.
HOST_API std::vector<RowId> client_ports(Database &database, RowId vswitch);

// The ports that receive all traffic of the switch, because their client or their extra filter asks for it and their
// security policy allows it.
HOST_API std::vector<RowId> promiscuous_ports(Database &database, RowId vswitch);

HOST_API bool is_sink_port(Database &database, PropertyPlace const &port);
HOST_API void set_sink_port(Database &database, PropertyPlace const &port, bool sink);
HOST_API std::uint32_t count_sink_ports(Database &database, RowId vswitch);

}  // namespace host
