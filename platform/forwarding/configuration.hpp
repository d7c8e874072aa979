// What a host is configured to, as far as it concerns frames: plain values, of which the tables are made.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/forwarding/frame.hpp"
#include "platform/forwarding/ip_address.hpp"
#include "platform/forwarding/lacp.hpp"
#include "platform/forwarding/mirror_session.hpp"
#include "platform/forwarding/teaming.hpp"

namespace forwarding {

struct VlanRange {
  std::uint16_t first = 0;
  std::uint16_t last = 0;  // included
};

struct VlanPolicy {
  enum class Kind : std::uint8_t { access, trunk, private_vlan };

  Kind kind = Kind::access;
  std::uint16_t vlan = 0;  // of a trunk: the native one
  std::vector<VlanRange> ranges;
  std::optional<std::uint8_t> priority;  // that the port sets (VSPORT_VLAN_SET_PRIORITY)
  bool retains_priority = false;
  bool allows_nested = false;
};

// Of an uplink without a policy of its own.
inline VlanPolicy every_vlan() {
  VlanPolicy policy;
  policy.kind = VlanPolicy::Kind::trunk;
  policy.allows_nested = true;
  return policy;
}

// A client that is no uplink, as it runs.
struct Client {
  MacAddress assigned = 0;
  MacAddress effective = 0;
  bool link_up = true;
  bool is_promiscuous = false;
  bool is_router = false;  // its port is a service port
  bool is_tcpip = false;   // not a vnic
  std::int64_t numa_node = 0;
};

struct LearningPolicy {
  bool learns = false;
  bool is_flooded = false;
  std::uint32_t limit = 4096;
  bool drops_at_limit = false;
};

struct EthernetFilter {
  bool is_promiscuous = false;
  bool all_multicast = false;
  bool by_bucket = false;  // QEL_ETH_FILTER_USE_LADRF
  bool is_sink = false;
  std::vector<MacAddress> addresses;
};

struct PortConfiguration {
  std::uint32_t number = 0;
  bool is_zombie = false;
  bool is_blocked = false;       // by any of what blocks a port
  std::optional<Client> client;  // none of an uplink port
  VlanPolicy vlan;
  bool disallow_promiscuous = false;
  bool disallow_mac_change = false;
  bool disallow_forged_source = false;
  std::optional<LearningPolicy> learning;  // if the port has one of its own
  EthernetFilter filter;
  std::vector<MacAddress> multicast;  // what it receives without snooping, apart from what it has reported
  bool sends_to_uplink_too = false;   // VSPROP_PORT_TX_UPLINK
  std::uint32_t team = 0;             // the policy in force, of the switch's teams
  std::optional<UplinkPosition> tied;
};

struct UplinkConfiguration {
  std::uint32_t port_number = 0;
  std::optional<std::uint32_t> nic;       // of the host's NICs
  std::optional<std::int64_t> numa_node;  // as teaming knows it
};

struct NicConfiguration {
  MacAddress mac = 0;
  bool link_up = true;  // carrier and administrative state
  std::uint32_t speed = 10000;
  bool is_full_duplex = true;
  std::uint8_t error_percent = 0;
  std::int64_t recovery = 0;
  std::optional<std::int64_t> link_back;  // when its link came back, in microseconds
  std::uint32_t segment = 0;              // NICs of one number hear each other's beacons
  std::optional<LacpScript> partner;      // at the other end of its link
};

struct LagMember {
  UplinkPosition uplink = 0;
  bool lacp_up = true;  // what LACP negotiated, in a fixed LAG
};

struct LagConfiguration {
  LagHash hash = LagHash::l2_l3;
  std::vector<LagMember> members;
  std::optional<LacpSettings> lacp{};  // none of a fixed LAG
};

enum class PrivateVlanType : std::uint8_t { primary, isolated, community };

struct PrivateVlan {
  std::uint16_t primary = 0;
  std::uint16_t vlan = 0;
  PrivateVlanType type = PrivateVlanType::primary;
};

// An address that was set by hand, outside overlay networks.
struct ManualAddress {
  MacAddress mac = 0;
  std::uint16_t vlan = 0;
  std::uint32_t port_number = 0;
};

struct SwitchConfiguration {
  std::array<std::uint8_t, 64> identifier{};  // padded with zeros
  MacAddress own_mac = 0;                     // from which it sends; it has one if it has a port set
  bool is_connected = true;                   // it has a port set, and its proxy is active
  bool is_disabled = false;
  bool snoops_ipv4 = false;
  bool snoops_ipv6 = false;
  std::uint32_t mtu = 1500;
  std::uint32_t aging_time = 600;  // seconds; 0: never
  std::uint32_t learned_limit = 65536;
  bool learns_static = false;
  bool allows_static = true;
  std::vector<PrivateVlan> private_vlans;
  std::vector<Team> teams{Team{}};  // the switch's policy, then those of ports and logical switches
  std::vector<PortConfiguration> ports;
  std::vector<UplinkConfiguration> uplinks;  // in order
  std::vector<LagConfiguration> lags;
  std::vector<ManualAddress> manual;
  std::vector<MirrorSession> mirror_sessions;  // those that run, in their order
};

// The runtime options.
struct Options {
  bool reverse_path_check = true;
  bool reverse_path_check_promiscuous = false;
  bool fast_path = true;
  bool mirror_statistics = true;
  bool numa_aware = false;
  bool ignores_shotgun = false;
  bool reports_to_uplink = false;
  std::int64_t up_delay = 100;  // milliseconds
  // Queries, and what is kept of the answers.
  std::uint32_t query_interval = 125;  // seconds
  std::uint32_t queries = 2;
  std::uint32_t igmp_version = 3;
  std::uint32_t mld_version = 2;
  std::uint32_t most_igmp_sources = 10;
  std::uint32_t most_mld_sources = 10;
  IpAddress igmp_router{std::array<std::uint8_t, ipv4_address_size>{}};
  IpAddress mld_router{std::array<std::uint8_t, ipv6_address_size>{}};
  // Announcements: so many in 100 milliseconds, for so many seconds.
  std::uint32_t announcements_at_once = 128;
  std::uint32_t announcement_duration = 60;
};

struct Configuration {
  Options options;
  std::array<Stack, 2> stacks;  // the default one, and that for mirroring
  std::vector<NicConfiguration> nics;
  std::vector<SwitchConfiguration> switches;  // in order of creation
};

}  // namespace forwarding
