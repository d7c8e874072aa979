// A frame on its way, and what forwarding reads in it.
#include "platform/forwarding/frame.hpp"

namespace forwarding {

namespace {

constexpr std::size_t type_at = 12;
constexpr std::size_t ipv4_size = 20;
constexpr std::size_t ipv6_size = 40;

constexpr std::uint8_t protocol_tcp = 6;
constexpr std::uint8_t protocol_udp = 17;
constexpr std::uint8_t header_hop_by_hop = 0;
constexpr std::uint8_t header_routing = 43;
constexpr std::uint8_t header_fragment = 44;
constexpr std::uint8_t header_destination = 60;

std::uint16_t read16(Bytes bytes, std::size_t at) {
  return static_cast<std::uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

std::uint32_t read32(Bytes bytes, std::size_t at) {
  return std::uint32_t{read16(bytes, at)} << 16 | read16(bytes, at + 2);
}

MacAddress read_mac(Bytes bytes, std::size_t at) {
  return MacAddress{read32(bytes, at)} << 16 | read16(bytes, at + 4);
}

// The length of the IPv4 header; 0 where it is not valid.
std::size_t ipv4_header(Bytes packet) {
  if (packet.size() < ipv4_size || packet[0] >> 4 != 4)
    return 0;
  std::size_t const length = std::size_t{packet[0] & 0xfU} * 4;
  return length >= ipv4_size && length <= packet.size() ? length : 0;
}

bool is_ipv6_header(Bytes packet) {
  return packet.size() >= ipv6_size && packet[0] >> 4 == 6;
}

std::uint32_t ports_at(Bytes packet, std::size_t at, std::uint8_t protocol) {
  if ((protocol != protocol_tcp && protocol != protocol_udp) || packet.size() < at + 4)
    return 0;
  return read32(packet, at);
}

std::uint32_t ipv4_ports(Bytes packet) {
  std::size_t const length = ipv4_header(packet);
  constexpr std::uint16_t more_fragments_and_offset = 0x3fff;
  if (length == 0 || (read16(packet, 6) & more_fragments_and_offset) != 0)
    return 0;
  return ports_at(packet, length, packet[9]);
}

std::uint32_t ipv6_ports(Bytes packet) {
  if (!is_ipv6_header(packet))
    return 0;
  std::uint8_t next = packet[6];
  std::size_t at = ipv6_size;
  while (next == header_hop_by_hop || next == header_routing || next == header_destination) {
    if (packet.size() < at + 8)
      return 0;
    next = packet[at];
    at += (std::size_t{packet[at + 1]} + 1) * 8;
  }
  return next == header_fragment ? 0 : ports_at(packet, at, next);
}

}  // namespace

void Header::keep_tag() {
  has_tag = false;
  tag = 0;
  inner_type = ethertype_vlan;
}

Header read_header(Bytes bytes) {
  Header header;
  header.bytes = bytes;
  header.destination = read_mac(bytes, 0);
  header.source = read_mac(bytes, mac_size);
  header.inner_type = read16(bytes, type_at);
  if (header.inner_type != ethertype_vlan)
    return header;
  header.has_tag = true;
  header.is_malformed = bytes.size() < ethernet_size + tag_size;
  if (!header.is_malformed) {
    header.tag = read16(bytes, ethernet_size);
    header.inner_type = read16(bytes, type_at + tag_size);
  }
  return header;
}

std::int64_t payload_length(Bytes bytes) {
  std::int64_t length = static_cast<std::int64_t>(bytes.size()) - static_cast<std::int64_t>(ethernet_size);
  constexpr std::size_t most_tags = 2;
  for (std::size_t tags = 0; tags < most_tags; ++tags) {
    std::size_t const at = type_at + tags * tag_size;
    if (bytes.size() < at + 2 || !is_tag(read16(bytes, at)))
      break;
    length -= static_cast<std::int64_t>(tag_size);
  }
  return length;
}

std::optional<std::uint32_t> ip_words(Header const &header) {
  Bytes const packet = header.bytes.subspan(header.payload_at());
  if (header.inner_type == ethertype_ipv4 && ipv4_header(packet) != 0)
    return read32(packet, 12) ^ read32(packet, 16);
  if (header.inner_type != ethertype_ipv6 || !is_ipv6_header(packet))
    return std::nullopt;
  std::uint32_t words = 0;
  for (std::size_t at = 8; at < ipv6_size; at += 4)
    words ^= read32(packet, at);
  return words;
}

std::uint32_t transport_ports(Header const &header) {
  Bytes const packet = header.bytes.subspan(header.payload_at());
  if (header.inner_type == ethertype_ipv4)
    return ipv4_ports(packet);
  return header.inner_type == ethertype_ipv6 ? ipv6_ports(packet) : 0;
}

}  // namespace forwarding
