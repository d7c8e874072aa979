// The whole configuration of a host at once, and what runs on it, for those that show or export it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/core/lacp_partner.hpp"
#include "platform/core/lags.hpp"
#include "platform/core/mac_settings.hpp"
#include "platform/core/runtime_options.hpp"
#include "platform/core/stacks.hpp"
#include "platform/core/switches.hpp"
#include "platform/core/traffic.hpp"
#include "platform/core/typed_properties.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

struct WholePort {
  PortRow port;
  // Both values of each property, without those that the rules of their names do not admit any more.
  std::vector<StoredProperty> properties;
  std::vector<MacRow> by_hand;
  std::vector<MacAddress> multicast_macs;
  std::vector<JoinedGroup> groups;
};

struct WholeUplink {
  Uplink uplink;
  WholePort port;
};

struct WholeSwitch {
  Switch vswitch;
  std::uint32_t mtu;  // in effect
  std::int64_t active_ports;
  std::vector<StoredProperty> global_properties;
  std::vector<StoredProperty> host_properties;
  std::vector<WholeUplink> uplinks;  // in order
  std::vector<WholePort> ports;      // by their numbers, without those of uplinks; zombies included
  std::vector<Lag> lags;
};

struct WholeNic {
  NicRow row;
  std::optional<LacpPartner> partner;
  std::optional<std::size_t> vswitch;  // the position of the switch that it is behind
  std::string uplink;                  // the name of the uplink port
};

struct WholeHost {
  bool clock_is_stopped;
  std::int64_t now;
  std::optional<VSMACLearningGlobalProps> mac_learning;  // none for the defaults
  std::vector<RuntimeOption> runtime_options;            // those that are set
  std::vector<Stack> stacks;                             // those that are described
  std::vector<WholeNic> nics;
  std::vector<WholeSwitch> switches;  // in the order of creation
};

// Needs a transaction.
HOST_API WholeHost load_host(Database &database);

}  // namespace host
