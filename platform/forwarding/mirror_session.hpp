// What a mirror session is configured to: plain values. Ports are named by their numbers, uplinks' too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/forwarding/ip_address.hpp"

namespace forwarding {

struct IpPrefix {
  IpAddress address;
  std::uint8_t length = 0;  // in bits
};

struct TransportPorts {
  std::uint16_t first = 0;
  std::uint16_t last = 0;  // included
};

// What is not there admits every frame.
struct MirrorRule {
  bool mirrors = true;
  std::vector<IpPrefix> sources{};
  std::vector<IpPrefix> destinations{};
  std::optional<std::uint8_t> protocol{};
  std::optional<TransportPorts> source_ports{};
  std::optional<TransportPorts> destination_ports{};
};

// In one direction: into the switch or out of it.
struct MirrorSources {
  std::vector<std::uint32_t> ports{};
  std::vector<std::uint16_t> vlans{};
  bool all_vnics = false;
  bool all_tcpips = false;
  bool all_uplinks = false;
};

// One that is there.
struct MirrorDestination {
  enum class Kind : std::uint8_t { port, uplink, address };

  Kind kind = Kind::port;
  std::uint32_t port_number = 0;  // of a port or an uplink
  IpAddress address{};
};

enum class UplinkFilter : std::uint8_t { none, normal, stt, vxlan, geneve, all_encapsulated };
enum class Encapsulation : std::uint8_t { gre, erspan_2, erspan_3 };

struct MirrorSession {
  std::string name{};
  bool is_remote_source = false;       // RSPAN: it takes frames to a VLAN
  bool is_remote_destination = false;  // and this one from there
  MirrorSources in{};
  MirrorSources out{};
  std::vector<MirrorDestination> destinations{};
  bool shuts_output = false;  // its port destinations get nothing but copies
  bool shuts_input = false;   // and send nothing

  // Which frames.
  UplinkFilter uplink_filter = UplinkFilter::none;
  std::vector<MirrorRule> rules{};
  std::uint32_t sampling_rate = 0;  // 0 and 1: all

  // What their copies look like.
  bool keeps_vlan = false;
  std::uint32_t snap_length = 0;  // 0: not cut
  std::uint16_t outer_vlan = 0;   // 0: none
  Encapsulation encapsulation = Encapsulation::gre;
  std::uint8_t stack = 0;  // of the host's stacks
  std::uint32_t gre_key = 0;
  std::uint16_t erspan_id = 0;
  std::uint8_t erspan_class = 0;
  std::uint8_t erspan_granularity = 0;
};

// What encapsulated copies are sent with.
struct Stack {
  std::optional<MacAddress> mac{};  // none: the switch's own
  MacAddress gateway = 0;
  IpAddress ipv4{std::array<std::uint8_t, ipv4_address_size>{}};
  IpAddress ipv6{std::array<std::uint8_t, ipv6_address_size>{}};
  std::uint16_t vlan = 0;  // 0: untagged
  std::uint8_t ttl = 64;
  std::uint8_t dscp = 0;
};

}  // namespace forwarding
