// A frame on its way, and what forwarding reads in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace forwarding {

using Bytes = std::span<std::uint8_t const>;

// The six bytes as a number, the first one highest. 0 is no address.
using MacAddress = std::uint64_t;

inline constexpr std::size_t mac_size = 6;
inline constexpr std::size_t ethernet_size = 14;
inline constexpr std::size_t tag_size = 4;

inline constexpr std::uint16_t ethertype_vlan = 0x8100;
inline constexpr std::uint16_t ethertype_provider_vlan = 0x88a8;
inline constexpr std::uint16_t ethertype_double_vlan = 0x9100;
inline constexpr std::uint16_t ethertype_ipv4 = 0x0800;
inline constexpr std::uint16_t ethertype_rarp = 0x8035;
inline constexpr std::uint16_t ethertype_ipv6 = 0x86dd;
inline constexpr std::uint16_t ethertype_slow_protocols = 0x8809;

inline constexpr MacAddress broadcast_address = 0xffffffffffff;

constexpr bool is_group(MacAddress address) {
  return (address >> 40 & 1) != 0;
}

// 01-80-c2-00-00-00 to -0f: for the next bridge only.
constexpr bool is_reserved(MacAddress address) {
  return address >> 4 == 0x0180c200000;
}

constexpr std::uint8_t last_byte(MacAddress address) {
  return static_cast<std::uint8_t>(address);
}

constexpr bool is_tag(std::uint16_t ethertype) {
  return ethertype == ethertype_vlan || ethertype == ethertype_provider_vlan || ethertype == ethertype_double_vlan;
}

// The head of a frame (P-0). A frame without 14 bytes has none; one that is cut off within its outer tag is malformed.
struct Header {
  Bytes bytes;
  MacAddress destination = 0;
  MacAddress source = 0;
  std::uint16_t tag = 0;         // PCP, DEI and VID of the outer tag
  std::uint16_t inner_type = 0;  // the EtherType behind the outer tag, or that of an untagged frame
  bool has_tag = false;
  bool is_malformed = false;

  std::uint16_t vid() const { return tag & 0xfff; }
  std::uint8_t priority() const { return static_cast<std::uint8_t>(tag >> 12); }  // PCP and DEI
  bool is_nested() const { return is_tag(inner_type); }
  bool is_multicast() const { return is_group(destination) && destination != broadcast_address; }
  // Where what follows the inner type begins.
  std::size_t payload_at() const { return ethernet_size + (has_tag ? tag_size : 0); }
  // The outer tag becomes payload (V-13).
  void keep_tag();
};

// Of at least 14 bytes.
Header read_header(Bytes bytes);

// The frame with an outer tag (PCP, DEI and VID) in place of its own, or without one: its very bytes where nothing
// changes, else made in the room.
Bytes with_tag(Header const &header, std::optional<std::uint16_t> tag, std::vector<std::uint8_t> &room);
// A tag 8100 in front of what the frame in the room has behind its addresses.
void put_tag(std::vector<std::uint8_t> &room, std::uint16_t tag);

// The length of the payload that the MTU limits; below 0 in a frame that is cut off within a tag.
std::int64_t payload_length(Bytes bytes);

inline constexpr std::uint8_t protocol_tcp = 6;
inline constexpr std::uint8_t protocol_udp = 17;

// A valid IP header behind the outer tag.
struct IpHeader {
  Bytes packet;          // from the header to the end of the frame
  std::size_t size = 0;  // of the header, without the further ones of IPv6
  bool is_ipv4 = false;

  Bytes source() const { return is_ipv4 ? packet.subspan(12, 4) : packet.subspan(8, 16); }
  Bytes destination() const { return is_ipv4 ? packet.subspan(16, 4) : packet.subspan(24, 16); }
};

// None in a frame that is not IP or cut short.
std::optional<IpHeader> read_ip_header(Header const &header);

// What a valid IP header behind the outer tag says, and the headers of an IPv6 packet between it and the transport.
struct IpPacket {
  Bytes source;  // 4 or 16 bytes
  Bytes destination;
  std::optional<std::uint8_t> protocol;  // none where the headers are cut short
  bool is_fragmented = false;
  // Source port << 16 | destination port, of TCP or UDP; none in a fragment but the first, or cut short.
  std::optional<std::uint32_t> ports{};

  std::uint16_t destination_port() const { return static_cast<std::uint16_t>(*ports); }
};

// None in a frame that is not IP or cut short.
std::optional<IpPacket> read_ip(Header const &header);

// Source and destination of a valid IP header as one number: all their 32-bit words, XORed.
std::optional<std::uint32_t> ip_words(Header const &header);

// Source port << 16 | destination port; 0 unless TCP or UDP in an unfragmented packet.
std::uint32_t transport_ports(Header const &header);

}  // namespace forwarding
