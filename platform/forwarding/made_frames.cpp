// Frames that a switch makes itself: their bytes, and how they are delivered.
#include "platform/forwarding/made_frames.hpp"

#include <algorithm>
#include <array>
#include <string>

#include "platform/forwarding/receivers.hpp"
#include "platform/forwarding/vlan.hpp"

namespace forwarding {

namespace {

constexpr MacAddress all_ipv4_hosts_mac = 0x01005e000001;
constexpr MacAddress all_ipv6_nodes_mac = 0x333300000001;
constexpr std::array<std::uint8_t, 4> all_ipv4_hosts{224, 0, 0, 1};
constexpr std::array<std::uint8_t, 16> all_ipv6_nodes{0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr std::array<std::uint8_t, 4> router_alert{0x94, 4, 0, 0};
// With the next header in front, and filled up to 8 bytes.
constexpr std::array<std::uint8_t, 8> router_alert_header{58, 0, 5, 2, 0, 0, 1, 0};

constexpr std::uint8_t protocol_igmp = 2;
constexpr std::uint8_t protocol_icmpv6 = 58;
constexpr std::uint8_t igmp_query_type = 0x11;
constexpr std::uint8_t igmp_v2_report = 0x16;
constexpr std::uint8_t mld_query_type = 130;
constexpr std::uint8_t mld_report = 131;

// IPv4 with the option Router Alert: TTL 1, precedence of network control.
void put_ipv4(MadeFrame &frame, Bytes source, Bytes destination, Bytes message) {
  constexpr std::size_t header_size = 24;
  constexpr std::size_t checksum_at = 10;
  std::size_t const begin = frame.size();
  frame.put16(0x46c0).put16(static_cast<std::uint16_t>(header_size + message.size()));
  frame.put16(0).put16(0x4000).put8(1).put8(protocol_igmp).put16(0);
  frame.put(source).put(destination).put(router_alert);
  frame.set16(begin + checksum_at, internet_checksum(frame.from(begin)));
  frame.put(message);
}

// The same of IPv6: hop limit 1.
void put_ipv6(MadeFrame &frame, Bytes source, Bytes destination, Bytes message) {
  std::size_t const size = router_alert_header.size() + message.size();
  frame.put32(0x60000000).put16(static_cast<std::uint16_t>(size)).put8(0).put8(1);
  frame.put(source).put(destination).put(router_alert_header).put(message);
}

MadeFrame &put_head(MadeFrame &frame, MacAddress destination, MacAddress source, std::uint16_t type) {
  return frame.put_mac(destination).put_mac(source).put16(type);
}

// fe80::/64 with the modified EUI-64 of an address (RFC 4291).
IpAddress link_local(MacAddress address) {
  constexpr std::uint8_t universal_bit = 2;
  MadeFrame bytes;
  bytes.put16(0xfe80).put_zeros(6);
  bytes.put8(static_cast<std::uint8_t>(address >> 40 ^ universal_bit)).put16(static_cast<std::uint16_t>(address >> 24));
  bytes.put16(0xfffe).put8(static_cast<std::uint8_t>(address >> 16)).put16(static_cast<std::uint16_t>(address));
  return IpAddress(bytes.bytes());
}

// The largest code whose value is not above the interval (RFC 3376, 4.1.7).
std::uint8_t interval_code(std::uint32_t seconds) {
  constexpr std::uint32_t first_float = 128;
  auto const value = [](std::uint32_t code) {
    return code < first_float ? code : ((code & 0xf) | 0x10) << ((code >> 4 & 7) + 3);
  };
  std::uint32_t code = 255;
  while (value(code) > seconds)
    --code;
  return static_cast<std::uint8_t>(code);
}

// What queries of the newest versions end with: robustness, interval, no sources.
void put_querier(MadeFrame &message, Options const &options) {
  constexpr std::uint32_t most_queries = 7;
  std::uint32_t const robustness = options.queries > most_queries ? 0 : options.queries;
  message.put8(static_cast<std::uint8_t>(robustness)).put8(interval_code(options.query_interval)).put16(0);
}

}  // namespace

MadeFrame &MadeFrame::put8(std::uint8_t value) {
  bytes_.push_back(value);
  return *this;
}

MadeFrame &MadeFrame::put16(std::uint16_t value) {
  return put8(static_cast<std::uint8_t>(value >> 8)).put8(static_cast<std::uint8_t>(value));
}

MadeFrame &MadeFrame::put32(std::uint32_t value) {
  return put16(static_cast<std::uint16_t>(value >> 16)).put16(static_cast<std::uint16_t>(value));
}

MadeFrame &MadeFrame::put_mac(MacAddress address) {
  return put16(static_cast<std::uint16_t>(address >> 32)).put32(static_cast<std::uint32_t>(address));
}

MadeFrame &MadeFrame::put(Bytes bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  return *this;
}

MadeFrame &MadeFrame::put_zeros(std::size_t count) {
  bytes_.resize(bytes_.size() + count);
  return *this;
}

MadeFrame &MadeFrame::pad(bool is_tagged) {
  constexpr std::size_t least = 60;
  bytes_.resize(std::max(bytes_.size(), least + (is_tagged ? tag_size : 0)));
  return *this;
}

void MadeFrame::set16(std::size_t at, std::uint16_t value) {
  bytes_[at] = static_cast<std::uint8_t>(value >> 8);
  bytes_[at + 1] = static_cast<std::uint8_t>(value);
}

MadeFrame igmp_query(MacAddress own_mac, Options const &options) {
  constexpr std::uint8_t response = 100;  // tenths of a second
  MadeFrame message;
  message.put8(igmp_query_type).put8(options.igmp_version == 1 ? 0 : response).put16(0).put32(0);
  if (options.igmp_version == 3)
    put_querier(message, options);
  message.set16(2, internet_checksum(message.bytes()));
  MadeFrame frame;
  put_ipv4(put_head(frame, all_ipv4_hosts_mac, own_mac, ethertype_ipv4), options.igmp_router.bytes(), all_ipv4_hosts,
           message.bytes());
  return frame.pad(false);
}

MadeFrame mld_query(MacAddress own_mac, Options const &options) {
  constexpr std::uint16_t response = 10000;  // milliseconds
  IpAddress const source = options.mld_router.is_zero() ? link_local(own_mac) : options.mld_router;
  MadeFrame message;
  message.put8(mld_query_type).put8(0).put16(0).put16(response).put16(0).put_zeros(ipv6_address_size);
  if (options.mld_version == 2)
    put_querier(message, options);
  std::uint32_t const before = pseudo_header_sum(source.bytes(), all_ipv6_nodes, message.size(), protocol_icmpv6);
  message.set16(2, internet_checksum(message.bytes(), before));
  MadeFrame frame;
  put_ipv6(put_head(frame, all_ipv6_nodes_mac, own_mac, ethertype_ipv6), source.bytes(), all_ipv6_nodes,
           message.bytes());
  return frame;
}

MadeFrame group_report(MacAddress source, IpAddress const &group) {
  constexpr std::array<std::uint8_t, ipv6_address_size> nobody{};
  MadeFrame message;
  MadeFrame frame;
  put_head(frame, group.group_mac(), source, group.is_ipv4() ? ethertype_ipv4 : ethertype_ipv6);
  if (group.is_ipv4()) {
    message.put8(igmp_v2_report).put8(0).put16(0).put(group.bytes());
    message.set16(2, internet_checksum(message.bytes()));
    put_ipv4(frame, Bytes(nobody).first(ipv4_address_size), group.bytes(), message.bytes());
    return frame;
  }
  message.put8(mld_report).put8(0).put16(0).put32(0).put(group.bytes());
  std::uint32_t const before = pseudo_header_sum(nobody, group.bytes(), message.size(), protocol_icmpv6);
  message.set16(2, internet_checksum(message.bytes(), before));
  put_ipv6(frame, nobody, group.bytes(), message.bytes());
  return frame;
}

MadeFrame announcement(MacAddress address) {
  MadeFrame frame;
  put_head(frame, broadcast_address, address, ethertype_rarp);
  frame.put16(1).put16(ethertype_ipv4).put8(mac_size).put8(ipv4_address_size).put16(3);
  return frame.put_mac(address).put32(0).put_mac(address).put32(0);
}

void deliver_made(Moment const &moment, PortIndex port, Bytes frame) {
  DirectionCounters &out = moment.traffic.count(port).out;
  out.count(read_header(frame), frame.size());
  ++out.exceptions;
  Place const place = moment.tables.place_of(port);
  if (moment.sink.wants_steps())
    moment.sink.step({Rule::C_5, place, "made: " + std::to_string(frame.size()) + " bytes", Outcome::deliver});
  moment.sink.deliver({place, DeliveryKind::made, Form::untagged, frame});
}

void send_made(Moment const &moment, UplinkPosition uplink, Bytes untagged, std::uint16_t vlan) {
  PortIndex const index = moment.at().uplinks[uplink];
  Port const &port = moment.tables.ports[index];
  Reason const reason = refused_at_uplink(moment.tables, port, vlan);
  if (reason != Reason::none) {
    ++moment.traffic.count(index).out.dropped;
    moment.sink.drop({moment.tables.place_of(index), reason, Stage::out});
    return;
  }
  bool const is_tagged = form_at(port, read_header(untagged), {vlan, 0}) != Form::untagged;
  constexpr std::size_t addresses = 2 * mac_size;
  MadeFrame made;
  made.put(untagged.first(addresses));
  if (is_tagged)
    made.put16(ethertype_vlan).put16(vlan);
  deliver_made(moment, index, made.put(untagged.subspan(addresses)).pad(is_tagged).bytes());
}

}  // namespace forwarding
