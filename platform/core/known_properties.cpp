// The table of the property names that the host knows, and the rules of the plain ones.
#include "platform/core/property_rules.hpp"

#include <unordered_map>

#include "platform/core/common_properties.hpp"
#include "platform/core/mac_table.hpp"
#include "platform/core/mirroring.hpp"
#include "platform/core/multicast.hpp"
#include "platform/core/port_policies.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/teaming.hpp"
#include "platform/core/uplink_list.hpp"

namespace host {

namespace {

constexpr std::uint32_t smallest_mtu = 1280;
constexpr std::uint32_t largest_mtu = 9000;
constexpr std::uint32_t default_mtu = 1500;
constexpr std::uint32_t last_vlan = 4095;
constexpr std::size_t pool_name_room = 128;

constexpr bool writable = false;
constexpr bool read_only = true;

std::string admit_any(Database &, PropertyPlace const &, std::string_view value) {
  return std::string(value);
}

// What most rows are made of.
template <std::uint32_t lowest, std::uint32_t highest, std::uint32_t fallback = 0>
constexpr KnownProperty number(std::string_view name, Scope home) {
  return {name, home, writable, admit_number_in<lowest, highest>, number_value<fallback>, nullptr};
}

constexpr KnownProperty byte(std::string_view name, Scope home) {
  return {name, home, writable, admit_byte, byte_value<0>, nullptr};
}

template <std::size_t room>
constexpr KnownProperty text(std::string_view name, Scope home) {
  return {name, home, writable, admit_name<room>, no_bytes, nullptr};
}

// Any value, no default: only the scope is fixed.
constexpr KnownProperty any(std::string_view name, Scope home) {
  return {name, home, writable, admit_any, nullptr, nullptr};
}

constexpr KnownProperty report(std::string_view name, Scope home,
                               std::string (*value)(Database &, PropertyPlace const &)) {
  return {name, home, read_only, nullptr, value, nullptr};
}

constexpr KnownProperty known_properties[] = {
    // Switches.
    number<smallest_mtu, largest_mtu, default_mtu>(VSPROP_MTU, Scope::global),
    number<VS_MCAST_FILTER_MODE_LEGACY, VS_MCAST_FILTER_MODE_MLD>(VSPROP_MULTICAST_FILTER, Scope::global),
    number<QBR_RCF_INSN_TYPE_CBPF, QBR_RCF_INSN_TYPE_MAX - 1>(VSPROP_RCF_INSN_TYPE, Scope::global),
    {VSPROP_SWITCH_TEAMING, Scope::global, writable, admit_teaming_policy, default_teaming_policy, nullptr},
    {VSPROP_LS_TEAMING_POLICY, Scope::global, writable, admit_ls_teaming_table, number_value<0>, nullptr},
    {QBR_PRP_LAN_TEAMING_POLICY, Scope::global, writable, admit_teaming_policy, nullptr, nullptr},
    {QBR_ORV_PRP_TUNABLE_PROP, Scope::global, writable, admit_prp_tunables, default_prp_tunables, nullptr},
    any(QBR_ORV_PRP_CONFIG_PROP, Scope::global),
    any(QBR_ORV_PRP_STATUS, Scope::host),
    {VSPROP_PVLAN_MAP, Scope::global, writable, admit_private_vlan_map, no_bytes, keep_private_vlan_map,
     forget_private_vlans},
    {VSPROP_SWITCH_MAC_LEARNING, Scope::global, writable, admit_mac_learning, default_mac_learning, nullptr,
     forget_aged_by_settings},
    {VSPROP_SWITCH_MAC_LEARN_STATIC, Scope::global, writable, admit_byte, default_learn_static, nullptr},
    {VSPROP_SWITCH_STATIC_MAC_ALLOW, Scope::global, writable, admit_byte, default_static_mac_allow, nullptr},
    {VSPROP_USER_MCAST_ADDRESSES, Scope::global, writable, admit_user_addresses, byte_value<0>, nullptr},
    {VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS, Scope::global, writable, admit_mirror_sessions, no_mirror_sessions,
     apply_mirror_sessions},
    byte(VSPROP_SWITCH_FORWARDING_DISABLED, Scope::global),
    byte(VSPROP_SWITCH_LLSPAN_RX_DISPATCHER, Scope::global),
    number<QEL_HNQ_STATUS_OK, QEL_HNQ_STATUS_DOWN>(VSPROP_SWITCH_STATUS, Scope::host),
    any(QEL_HNQPROP_SWITCH_OVERLAY, Scope::global),
    any(QEL_HNQPROP_SWITCH_RESPOOLS_LIST, Scope::global),
    any(QEL_HNQPROP_SWITCH_RESPOOLS_SCHED, Scope::global),
    report(QEL_HNQPROP_SWITCH_ALIAS, Scope::global, switch_alias_value),
    report(QEL_HNQPROP_SWITCH_VERSION, Scope::global, switch_version_value),
    report(QEL_HNQPROP_SWITCH_UPLINKPORTS, Scope::global, switch_uplink_ports_value),

    // Switches on this host.
    {QEL_HNQPROP_HOST_UPLINKPORTS, Scope::host, writable, admit_uplink_ports, no_uplink_ports, apply_uplink_ports},
    report(QEL_HNQPROP_HOST_STATUS, Scope::host, host_status_value),
    report(QEL_HNQPROP_HOST_PROXY, Scope::host, host_portset_value),
    number<0, QEL_HNQPORTSET_STATE_HOTSWAP>(QEL_HNQPROP_HOST_PROXY_STATE, Scope::host),

    // Ports.
    {VSPROP_PORT_TEAMING_POLICY, Scope::port, writable, admit_teaming_policy, switch_teaming_policy, nullptr},
    {VSPROP_PORT_TEAMING_OVERRIDE, Scope::port, writable, admit_teaming_override, no_bytes, nullptr},
    {VSPROP_PORT_LS_TEAMING_POLICY, Scope::port, writable, admit_ls_teaming_choice, no_bytes, nullptr},
    byte(VSPROP_PORT_TX_UPLINK, Scope::port),
    {VSPROP_PORT_SECURITY, Scope::port, writable, admit_port_security, no_port_security, nullptr},
    {VSPROP_PORT_EXTRA_ETH_FRP, Scope::port, writable, admit_eth_filter, no_eth_filter, nullptr},
    {VSPROP_PORT_MAC_MANAGEMENT, Scope::port, writable, admit_mac_management, default_mac_management, nullptr},
    {VSPROP_PORT_VLAN, Scope::port, writable, admit_vlan_policy, default_vlan_policy, nullptr, forget_learned_by_vlan},
    byte(VSPROP_PORT_VLAN_NESTEDTAG, Scope::port),
    number<QEL_VLAN_PRIORITY_MINIMUM, QEL_VLAN_PRIORITY_MAXIMUM>(VSPROP_PORT_PRIORITY, Scope::port),
    byte(VSPROP_PORT_PRIORITY_RETAIN, Scope::port),
    {VSPROP_PORT_USER_MCAST_ADDRESSES, Scope::port, writable, admit_user_addresses, byte_value<0>, nullptr},
    byte(VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE, Scope::port),
    {VSPROP_PORT_MIRROR_SESSIONS, Scope::port, writable, admit_mirror_sessions, no_mirror_sessions,
     apply_mirror_sessions},
    number<0, UINT32_MAX>(QEL_HNQPROP_PORT_CONNECTID, Scope::port),
    number<0, last_vlan>(QEL_HNQPROP_PORT_QELNIC_VLANID, Scope::port),
    byte(QEL_HNQPROP_PORT_BLOCK, Scope::port),
    byte(QEL_HNQPORT_FORWARD_NOT_READY_BLOCK, Scope::port),
    byte(QEL_HNQPROP_PORT_PTALLOWED, Scope::port),
    byte(QEL_HNQPROP_PORT_PTALLOWEDRT, Scope::port),
    text<QEL_HNQ_PORT_ALIAS_MAX_LEN>(QEL_HNQPROP_PORT_ALIAS, Scope::port),
    text<QEL_HNQ_ID_MAX_LEN>(QEL_HNQPROP_PORT_PORTGROUP, Scope::port),
    text<pool_name_room>(QEL_HNQPROP_PORT_RESPOOL_ASSOC, Scope::port),
    {QEL_HNQPROP_PORT_RESPOOLS_CFG, Scope::port, writable, admit_pool_settings, default_pool_settings, nullptr},
    any(QEL_HNQPROP_PORT_SHAPER_INPUT, Scope::port),
    any(QEL_HNQPROP_PORT_SHAPER_BROADCAST, Scope::port),
    any(QEL_HNQPROP_PORT_SHAPER_OUTPUT, Scope::port),
    any(QEL_HNQPROP_PORT_OVERLAY, Scope::port),
    any(QEL_HNQPROP_PORT_DVFILTER, Scope::port),
    report(QEL_HNQPROP_PORT_STATUS, Scope::port, port_status_value),
    report(QEL_HNQPROP_PORT_TYPE, Scope::port, port_type_value),
    report(QEL_HNQPROP_PORT_VLAN, Scope::port, port_vlan_value),
    report(QEL_HNQPROP_PORT_PERSIST, Scope::port, port_persist_value),
    report(QEL_HNQPROP_PORT_LINK_STATUS, Scope::port, port_link_status_value),
    report(QEL_HNQPROP_PORT_VNIC_CONNECTEE, Scope::port, port_connectee_value),
    report(QEL_HNQPROP_PORT_STATISTICS, Scope::port, port_statistics_value),
    report(VSPROP_PORT_MAC_LEARNING_STATS, Scope::port, port_learning_stats_value),
};

}  // namespace

KnownProperty const *known_property(std::string_view name) {
  static std::unordered_map<std::string_view, KnownProperty const *> const by_name = [] {
    std::unordered_map<std::string_view, KnownProperty const *> map;
    for (KnownProperty const &property : known_properties)
      map.emplace(property.name, &property);
    return map;
  }();
  auto const found = by_name.find(name);
  return found == by_name.end() ? nullptr : found->second;
}

}  // namespace host
