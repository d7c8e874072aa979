// Frames that a switch makes itself: their bytes, and how they are delivered.
#include "platform/forwarding/made_frames.hpp"

#include <algorithm>

#include "platform/forwarding/receivers.hpp"
#include "platform/forwarding/vlan.hpp"

namespace forwarding {

MadeBytes &MadeBytes::put8(std::uint8_t value) {
  bytes_.push_back(value);
  return *this;
}

MadeBytes &MadeBytes::put16(std::uint16_t value) {
  return put8(static_cast<std::uint8_t>(value >> 8)).put8(static_cast<std::uint8_t>(value));
}

MadeBytes &MadeBytes::put32(std::uint32_t value) {
  return put16(static_cast<std::uint16_t>(value >> 16)).put16(static_cast<std::uint16_t>(value));
}

MadeBytes &MadeBytes::put_mac(MacAddress address) {
  return put16(static_cast<std::uint16_t>(address >> 32)).put32(static_cast<std::uint32_t>(address));
}

MadeBytes &MadeBytes::put(Bytes bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  return *this;
}

MadeBytes &MadeBytes::put_zeros(std::size_t count) {
  bytes_.resize(bytes_.size() + count);
  return *this;
}

MadeBytes &MadeBytes::pad(bool is_tagged) {
  constexpr std::size_t least = 60;
  bytes_.resize(std::max(bytes_.size(), least + (is_tagged ? tag_size : 0)));
  return *this;
}

void MadeBytes::set16(std::size_t at, std::uint16_t value) {
  bytes_[at] = static_cast<std::uint8_t>(value >> 8);
  bytes_[at + 1] = static_cast<std::uint8_t>(value);
}

std::uint16_t internet_checksum(Bytes bytes, std::uint32_t sum_before) {
  std::uint32_t sum = sum_before;
  for (std::size_t at = 0; at < bytes.size(); ++at)
    sum += at % 2 == 0 ? std::uint32_t{bytes[at]} << 8 : bytes[at];
  while (sum >> 16)
    sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<std::uint16_t>(~sum);
}

std::uint32_t pseudo_header_sum(Bytes source, Bytes destination, std::size_t length, std::uint8_t next_header) {
  std::uint32_t sum = next_header + static_cast<std::uint32_t>(length >> 16) + (length & 0xffff);
  for (Bytes const address : {source, destination}) {
    for (std::size_t at = 0; at < address.size(); ++at)
      sum += at % 2 == 0 ? std::uint32_t{address[at]} << 8 : address[at];
  }
  return sum;
}

void deliver_made(Moment const &moment, PortIndex port, Bytes frame) {
  DirectionCounters &out = moment.traffic.count(port).out;
  out.count(read_header(frame), frame.size());
  ++out.exceptions;
  moment.sink.deliver({moment.tables.place_of(port), DeliveryKind::made, Form::untagged, frame});
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
  MadeBytes made;
  made.put(untagged.first(addresses));
  if (is_tagged)
    made.put16(ethertype_vlan).put16(vlan);
  deliver_made(moment, index, made.put(untagged.subspan(addresses)).pad(is_tagged).bytes());
}

}  // namespace forwarding
