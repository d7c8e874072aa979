// A frame on its way, and what forwarding reads in it.
#include "platform/forwarding/frame.hpp"

#include <array>

namespace forwarding {

namespace {

constexpr std::size_t type_at = 12;
constexpr std::size_t ipv4_size = 20;
constexpr std::size_t ipv6_size = 40;

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

constexpr std::uint16_t fragment_offset = 0x1fff;
constexpr std::uint16_t more_fragments = 0x2000;
constexpr std::uint16_t ipv6_fragment_offset = 0xfff8;

std::optional<std::uint32_t> ports_at(Bytes transport, std::uint8_t protocol) {
  constexpr std::size_t ports_size = 4;
  bool const has_ports = protocol == protocol_tcp || protocol == protocol_udp;
  return has_ports && transport.size() >= ports_size ? std::optional(read32(transport, 0)) : std::nullopt;
}

inline std::optional<IpHeader> ip_header(Header const &header) {
  Bytes const packet = header.bytes.subspan(header.payload_at());
  if (header.inner_type == ethertype_ipv4 && packet.size() >= ipv4_size && packet[0] >> 4 == 4) {
    std::size_t const size = std::size_t{packet[0] & 0xfU} * 4;
    if (size >= ipv4_size && size <= packet.size())
      return IpHeader{packet, size, true};
  }
  if (header.inner_type == ethertype_ipv6 && packet.size() >= ipv6_size && packet[0] >> 4 == 6)
    return IpHeader{packet, ipv6_size, false};
  return std::nullopt;
}

IpPacket ipv4_packet(IpHeader const &ip) {
  std::uint16_t const fragment = read16(ip.packet, 6);
  IpPacket header{ip.source(), ip.destination(), ip.packet[9]};
  header.is_fragmented = (fragment & (fragment_offset | more_fragments)) != 0;
  if ((fragment & fragment_offset) == 0)
    header.ports = ports_at(ip.packet.subspan(ip.size), ip.packet[9]);
  return header;
}

bool is_passed(std::uint8_t next_header) {
  return next_header == header_hop_by_hop || next_header == header_routing || next_header == header_destination ||
         next_header == header_fragment;
}

IpPacket ipv6_packet(IpHeader const &ip) {
  constexpr std::size_t unit = 8;
  IpPacket header{ip.source(), ip.destination(), std::nullopt};
  std::uint8_t next = ip.packet[6];
  Bytes rest = ip.packet.subspan(ip.size);
  bool is_first = true;
  while (is_first && is_passed(next)) {
    if (rest.size() < unit)
      return header;
    bool const is_fragment = next == header_fragment;
    std::size_t const length = is_fragment ? unit : (std::size_t{rest[1]} + 1) * unit;
    if (rest.size() < length)
      return header;
    if (is_fragment) {
      header.is_fragmented = true;
      is_first = (read16(rest, 2) & ipv6_fragment_offset) == 0;
    }
    next = rest[0];
    rest = rest.subspan(length);
  }
  header.protocol = next;
  if (is_first)
    header.ports = ports_at(rest, next);
  return header;
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

Bytes with_tag(Header const &header, std::optional<std::uint16_t> tag, std::vector<std::uint8_t> &room) {
  if (tag.has_value() == header.has_tag && (!tag || *tag == header.tag))
    return header.bytes;
  room.assign(header.bytes.begin(), header.bytes.begin() + type_at);
  if (tag) {
    for (std::uint16_t const part : {ethertype_vlan, *tag}) {
      room.push_back(static_cast<std::uint8_t>(part >> 8));
      room.push_back(static_cast<std::uint8_t>(part));
    }
  }
  Bytes const rest = header.bytes.subspan(type_at + (header.has_tag ? tag_size : 0));
  room.insert(room.end(), rest.begin(), rest.end());
  return room;
}

void put_tag(std::vector<std::uint8_t> &room, std::uint16_t tag) {
  std::array<std::uint8_t, tag_size> const bytes{ethertype_vlan >> 8, ethertype_vlan & 0xff,
                                                 static_cast<std::uint8_t>(tag >> 8), static_cast<std::uint8_t>(tag)};
  room.insert(room.begin() + type_at, bytes.begin(), bytes.end());
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

std::optional<IpHeader> read_ip_header(Header const &header) {
  return ip_header(header);
}

std::optional<IpPacket> read_ip(Header const &header) {
  std::optional<IpHeader> const ip = ip_header(header);
  if (!ip)
    return std::nullopt;
  return ip->is_ipv4 ? ipv4_packet(*ip) : ipv6_packet(*ip);
}

std::optional<std::uint32_t> ip_words(Header const &header) {
  std::optional<IpPacket> const ip = read_ip(header);
  if (!ip)
    return std::nullopt;
  std::uint32_t words = 0;
  for (std::size_t at = 0; at < ip->source.size(); at += 4)
    words ^= read32(ip->source, at) ^ read32(ip->destination, at);
  return words;
}

std::uint32_t transport_ports(Header const &header) {
  std::optional<IpPacket> const ip = read_ip(header);
  return ip && !ip->is_fragmented ? ip->ports.value_or(0) : 0;
}

}  // namespace forwarding
