// The configuration of a host, compiled for forwarding: flat arrays, sets of VLANs, hashed addresses. Never changes.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/forwarding/configuration.hpp"
#include "platform/forwarding/sink.hpp"

namespace forwarding {

// The place of a port in Tables::ports: the ports of a switch stand together, by their numbers.
using PortIndex = std::uint32_t;

inline constexpr std::uint32_t nowhere = UINT32_MAX;
inline constexpr std::size_t all_vlans = 4096;

using VlanSet = std::bitset<all_vlans>;

// An address in a VLAN as one number.
constexpr std::uint64_t address_key(MacAddress mac, std::uint16_t vlan) {
  return mac << 16 | vlan;
}

constexpr std::uint64_t scrambled(std::uint64_t key) {
  key = (key ^ key >> 31) * 0x9e3779b97f4a7c15;
  return key ^ key >> 29;
}

// Numbers by keys, with several for a key: hashed, made once.
class AddressIndex {
 public:
  AddressIndex() = default;
  // Pairs of a key and its number, in any order.
  explicit AddressIndex(std::vector<std::pair<std::uint64_t, std::uint32_t>> pairs);

  using Pairs = std::span<std::pair<std::uint64_t, std::uint32_t> const>;
  // The pairs of the key, by number.
  Pairs find(std::uint64_t key) const;

 private:
  std::vector<std::pair<std::uint64_t, std::uint32_t>> pairs_;
  std::vector<std::uint32_t> slots_;
};

// The place of a mirror session in Tables::mirrors: those of a switch stand together, in their order.
using MirrorIndex = std::uint32_t;

enum class PortKind : std::uint8_t { unused, client, uplink };

struct Port {
  std::uint32_t number = 0;
  std::uint32_t vswitch = 0;
  PortKind kind = PortKind::unused;
  bool is_zombie = false;
  bool is_blocked = false;
  bool link_up = false;  // of an uplink that of its NIC; link state tracking apart
  bool is_router = false;
  bool disallow_forged_source = false;
  bool is_in_violation = false;  // changed its address and may not
  bool sends_to_uplink_too = false;
  bool is_tcpip = false;
  // A mirror session has it as a destination, and
  bool gets_only_copies = false;
  bool sends_nothing = false;

  // Learning.
  bool learns = false;
  bool is_flooded = false;  // sinks, too
  bool has_own_limit = false;
  bool drops_at_limit = false;
  std::uint32_t learned_limit = 0;
  std::uint32_t manual_count = 0;

  // VLAN.
  VlanPolicy::Kind vlan_kind = VlanPolicy::Kind::access;
  bool allows_nested = false;
  bool sets_priority = false;
  bool retains_priority = false;
  std::uint8_t priority = 0;
  std::uint16_t vlan = 0;     // access, native or private
  std::uint16_t primary = 0;  // of a private port: 0 where its VLAN is not in the map
  std::uint32_t vlans = 0;    // of an access port nothing, else the set of VLANs that it receives

  // Addresses.
  MacAddress effective = 0;
  MacAddress known_as = 0;  // where the look-up finds the client: in violation the assigned address
  std::uint64_t buckets = 0;
  bool all_multicast = false;
  std::uint32_t multicast_begin = 0;  // its list of multicast addresses, sorted
  std::uint32_t multicast_end = 0;

  // Teaming: of a client port how it sends, of an uplink where it is.
  std::uint32_t team = 0;
  std::optional<UplinkPosition> tied;
  UplinkPosition position = 0;
  std::uint32_t nic = nowhere;
  std::uint32_t lag = nowhere;

  bool is_uplink() const { return kind == PortKind::uplink; }
};

struct Lag {
  LagHash hash = LagHash::l2_l3;
  std::vector<UplinkPosition> members;
  UplinkSet up = 0;               // of a fixed LAG; of others Traffic knows
  std::optional<LacpGroup> lacp;  // of one that is not fixed, with the members in the same order
};

// How ports send: a policy, for clients near a NUMA node where teaming looks at it.
struct TeamUse {
  std::uint32_t vswitch = 0;
  Team const *team = nullptr;
  std::optional<std::int64_t> numa_node;
};

struct PrivateVlanMap {
  struct Entry {
    std::uint16_t primary = 0;  // 0: not in the map
    PrivateVlanType type = PrivateVlanType::primary;
  };
  std::vector<Entry> by_vlan;  // empty without private VLANs
};

// A mirror session.
struct Mirror {
  struct Sources {
    std::vector<bool> ports;  // by place behind the first port of the switch
    VlanSet vlans;
  };
  struct Destination {
    MirrorDestination::Kind kind = MirrorDestination::Kind::port;
    PortIndex port = nowhere;
    std::uint32_t address = 0;  // of its addresses
  };

  MirrorSession const *session = nullptr;
  Sources in;
  Sources out;
  std::vector<Destination> destinations;
  std::vector<IpAddress> addresses;  // copies to each are numbered
};

struct Switch {
  std::array<std::uint8_t, 64> identifier{};
  MacAddress own_mac = 0;
  bool is_connected = true;
  bool is_disabled = false;
  bool snoops_ipv4 = false;
  bool snoops_ipv6 = false;
  bool learns_static = false;
  bool allows_static = true;
  bool team_learns = false;
  bool notifies_network = false;  // of changes in its team; by the switch's own policy, as the members
  UplinkSet team_members = 0;     // active or standby
  std::uint32_t mtu = 0;
  std::uint32_t aging_time = 0;
  std::uint32_t learned_limit = 0;
  PortIndex first_port = 0;
  PortIndex end_port = 0;
  std::vector<PortIndex> uplinks;  // by position
  std::vector<PortIndex> clients;  // ports with a client, by number; so the next two
  std::vector<PortIndex> flooded;
  std::vector<PortIndex> promiscuous;
  std::vector<Lag> lags;
  std::vector<UplinkSet> lag_mates;  // by position: the uplink and all members of its LAG
  UplinkSet beaconing = 0;           // the uplinks that send beacons
  bool balances_load = false;        // some port is balanced by load
  // Members of LAGs that negotiate, by port number: the LAG, and the place in it.
  std::vector<std::pair<std::uint32_t, std::size_t>> negotiating;
  PrivateVlanMap private_vlans;
  AddressIndex known_clients;  // ports by the address where the look-up finds their clients
  AddressIndex effective;      // ports by their clients' effective addresses
  AddressIndex manual;         // ports by address and filtering database
  MirrorIndex first_mirror = 0;
  MirrorIndex end_mirror = 0;
  VlanSet not_learned;     // where frames come from a mirror of another switch (M-6)
  std::uint32_t team = 0;  // how the switch itself sends

  PrivateVlanMap::Entry private_vlan(std::uint16_t vlan) const {
    return private_vlans.by_vlan.empty() ? PrivateVlanMap::Entry{} : private_vlans.by_vlan[vlan];
  }
  bool has_mirrors() const { return first_mirror != end_mirror; }
  // The VLAN under which addresses of a VLAN are known (PV-2).
  std::uint16_t database(std::uint16_t vlan) const {
    std::uint16_t const primary = private_vlan(vlan).primary;
    return primary ? primary : vlan;
  }
  // The uplinks and all members of their LAGs.
  UplinkSet with_mates(UplinkSet uplinks_of_it) const;
};

// How an uplink stands in the failure criteria, but for time.
struct UplinkState {
  Member member;
  std::optional<std::int64_t> link_back;
};

class Tables {
 public:
  // The numbers of the configuration are consistent: uplinks, LAGs and addresses set by hand name ports of their
  // switch, positions are below the number of uplinks, VLANs below 4096.
  explicit Tables(Configuration configuration);
  Tables(Tables const &) = delete;
  Tables &operator=(Tables const &) = delete;

  Options options;
  std::vector<Port> ports;
  std::vector<Switch> switches;
  std::vector<PortIndex> port_of_nic;  // nowhere: behind no uplink
  std::vector<TeamUse> teams;
  std::vector<Mirror> mirrors;
  std::array<Stack, 2> stacks;
  std::vector<std::vector<UplinkState>> uplink_states;  // by switch and position

  std::vector<NicConfiguration> const &nics() const { return configuration_->nics; }

  // The port of a number; none if the host has none.
  std::optional<PortIndex> find_port(std::uint32_t number) const;

  // Whether the port receives frames of the VLAN (V-5, PV-1).
  bool is_member(Port const &port, std::uint16_t vlan) const {
    return port.vlan_kind == VlanPolicy::Kind::access ? port.vlan == vlan : vlan_sets_[port.vlans][vlan];
  }
  // Whether the port lists the multicast address.
  bool lists_multicast(Port const &port, MacAddress group) const;
  // An uplink is named by its NIC.
  Place place_of(PortIndex index) const {
    Port const &port = ports[index];
    return port.nic == nowhere ? Place::port(index) : Place::nic(port.nic);
  }

 private:
  void add_switch(SwitchConfiguration const &configuration, std::vector<NicConfiguration> const &nics);
  void add_port(Switch const &vswitch, PortConfiguration const &configuration);
  void add_vlans(Switch const &vswitch, VlanPolicy const &policy, Port &port);
  void add_uplinks(Switch &vswitch, SwitchConfiguration const &configuration,
                   std::vector<NicConfiguration> const &nics);
  void add_lag(Switch &vswitch, LagConfiguration const &lag);
  LacpLink lacp_link(Switch const &vswitch, Port const &port) const;
  void add_beacons(Switch &vswitch, Team const &team);
  void add_lists(Switch &vswitch, SwitchConfiguration const &configuration);
  void add_mirrors(Switch &vswitch, std::vector<MirrorSession> const &sessions);
  Mirror::Sources mirror_sources(Switch const &vswitch, MirrorSources const &wanted) const;
  PortIndex port_of(Switch const &vswitch, std::uint32_t number) const;
  std::uint32_t add_vlan_set(VlanSet const &set);

  std::unique_ptr<Configuration const> configuration_;  // the teams are there
  std::vector<VlanSet> vlan_sets_;
  std::vector<MacAddress> multicast_;
  AddressIndex numbers_;
};

// Of CRC-32 over the address, as network controllers filter multicast.
unsigned address_bucket(MacAddress address);

}  // namespace forwarding
