// The description that a fresh host boots from, read from JSON and checked.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/lags.hpp"
#include "platform/core/mac_learning.hpp"
#include "platform/core/mirroring.hpp"
#include "platform/core/multicast.hpp"
#include "platform/core/uplinks.hpp"

namespace host {

// The text says where in the description, and what is wrong there.
class DescriptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// `where` is the place in the description, for messages.
struct DescribedNic {
  std::string where;
  PhysicalNic nic;
};

// Values by the names of counters.
using DescribedCounters = std::map<std::string_view, std::uint64_t>;

struct DescribedAddress {
  std::string where;
  SeenAddress address;
};

struct DescribedUplink {
  std::string where;
  std::string name;
  std::string nic;
  std::string dvport_id;
  std::vector<DescribedAddress> learned;
  DescribedCounters counters;
};

struct DescribedLag {
  std::string where;
  std::string name;
  std::vector<NewLagMember> members;
};

struct DescribedClient {
  std::string name;
  std::int64_t type;
  MacAddress mac;
  std::uint32_t numa_node;
  bool router;
  bool promiscuous;
};

struct DescribedGroup {
  std::string where;
  MulticastGroup group;
};

struct DescribedPort {
  std::string where;
  std::string dvport_id;
  std::uint32_t connect_id;
  std::optional<DescribedClient> client;
  std::optional<VSPMACLearning> mac_learning;
  std::vector<DescribedAddress> learned;
  DescribedCounters counters;
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
  std::uint32_t mtu;
  std::uint32_t version;
  std::uint32_t flags;
  std::vector<DescribedUplink> uplinks;
  std::vector<DescribedPort> ports;
  std::vector<DescribedLag> lags;
  std::vector<DescribedMirrorSession> mirror_sessions;
  DescribedCounters counters;
};

struct BootDescription {
  std::optional<std::uint64_t> stopped_clock;  // microseconds since the epoch
  std::vector<DescribedNic> nics;
  std::vector<DescribedSwitch> switches;
};

BootDescription parse_description(std::string_view text);

}  // namespace host
