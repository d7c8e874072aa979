// The description that a fresh host boots from, read from JSON and checked.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/json_object.hpp"
#include "platform/core/lacp_partner.hpp"
#include "platform/core/lags.hpp"
#include "platform/core/mac_learning.hpp"
#include "platform/core/mirroring.hpp"
#include "platform/core/multicast.hpp"
#include "platform/core/runtime_options.hpp"
#include "platform/core/stacks.hpp"
#include "platform/core/traffic.hpp"
#include "platform/core/typed_properties.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

// `where` is the place in the description, for messages.
struct DescribedNic {
  std::string where;
  PhysicalNic nic;
  std::optional<LacpPartner> partner;
};

struct DescribedAddress {
  std::string where;
  SeenAddress address;
};

struct DescribedProperty {
  std::string where;
  StoredProperty property;
};

// What the ports of uplinks and all others have.
struct DescribedPortState {
  std::string external_id;
  bool is_local_cache;
  std::vector<DescribedProperty> properties;
  std::vector<DescribedAddress> by_hand;
  std::vector<DescribedAddress> learned;
  std::optional<PortCounters> counters;
};

// The NIC behind an uplink port: the one of its name (if there is one), a certain one, or none.
enum class NicChoice { by_name, named, none };

struct DescribedUplink {
  std::string where;
  std::string name;
  NicChoice nic_choice;
  std::string nic;
  std::string dvport_id;
  bool made_port;
  DescribedPortState state;
};

struct DescribedLag {
  std::string where;
  std::string name;
  LagSettings settings;
  std::vector<NewLagMember> members;
};

struct DescribedClient {
  std::string name;
  std::int64_t type;
  std::optional<MacAddress> mac;
  std::uint32_t numa_node;
  bool router;
  bool promiscuous;
  // What runs of it.
  std::optional<MacAddress> own_mac;
  bool link_up;
  std::vector<MacAddress> multicast_macs;
};

struct DescribedGroup {
  std::string where;
  MulticastGroup group;
  std::optional<std::uint64_t> updated;  // microseconds of the host's clock
};

struct DescribedPort {
  std::string where;
  std::string dvport_id;
  std::optional<std::uint32_t> connect_id;
  std::optional<DescribedClient> client;
  std::optional<VSPMACLearning> mac_learning;
  DescribedPortState state;
  std::vector<DescribedGroup> groups;
};

struct DescribedMirrorSession {
  std::string where;
  std::string session_id;
  std::string name;
  std::string port;  // empty for a session of the switch
  bool enabled;
  // Identifiers of ports.
  std::vector<std::string> destinations;
  std::vector<std::string> sources_in;
  std::vector<std::string> sources_out;
  MirrorStatistics counters;
};

struct DescribedSwitch {
  std::string where;
  std::string alias;
  std::string switch_id;
  std::string class_name;
  std::uint32_t max_ports;
  bool persistent;
  bool portset;
  std::uint32_t mtu;
  std::uint32_t version;
  std::uint32_t flags;
  std::vector<DescribedProperty> global_properties;
  std::vector<DescribedProperty> host_properties;
  std::vector<DescribedUplink> uplinks;
  std::vector<DescribedPort> ports;
  std::vector<DescribedLag> lags;
  std::vector<DescribedMirrorSession> mirror_sessions;
  std::optional<SwitchCounters> counters;
};

struct BootDescription {
  std::optional<std::uint64_t> stopped_clock;  // microseconds since the epoch
  std::optional<VSMACLearningGlobalProps> mac_learning;
  std::vector<RuntimeOption> runtime_options;
  std::vector<Stack> stacks;
  std::vector<DescribedNic> nics;
  std::vector<DescribedSwitch> switches;
};

BootDescription parse_description(std::string_view text);

}  // namespace host
