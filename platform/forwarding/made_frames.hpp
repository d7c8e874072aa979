// Frames that a switch makes itself: their bytes, and how they are delivered.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/forwarding/checksum.hpp"
#include "platform/forwarding/ip_address.hpp"
#include "platform/forwarding/moment.hpp"

namespace forwarding {

// Bytes that grow at their end; numbers are big-endian.
class MadeFrame {
 public:
  MadeFrame &put8(std::uint8_t value);
  MadeFrame &put16(std::uint16_t value);
  MadeFrame &put32(std::uint32_t value);
  MadeFrame &put_mac(MacAddress address);
  MadeFrame &put(Bytes bytes);
  MadeFrame &put_zeros(std::size_t count);
  // With zeros to the least length of a frame: 60 bytes, 64 with a tag (V-12).
  MadeFrame &pad(bool is_tagged);

  void set16(std::size_t at, std::uint16_t value);
  std::size_t size() const { return bytes_.size(); }
  Bytes from(std::size_t at) const { return Bytes(bytes_).subspan(at); }
  Bytes bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

// Hands a frame that the switch made to the client of a port, or to the wire of an uplink's NIC, and counts it there.
// Who calls it has looked whether something is there.
void deliver_made(Moment const &moment, PortIndex port, Bytes frame);

// Gives a frame that the switch made to an uplink, whose VLAN policy says how it leaves; what that cannot send is
// dropped there (T-9). `untagged`: of a frame in `vlan`, without a tag and not padded.
void send_made(Moment const &moment, UplinkPosition uplink, Bytes untagged, std::uint16_t vlan);

// ---- multicast ----------------------------------------------------------------------------------------------------

// Queries to all hosts, as the options say (IG-12).
MadeFrame igmp_query(MacAddress own_mac, Options const &options);
MadeFrame mld_query(MacAddress own_mac, Options const &options);
// That a host is in a group: IGMPv2, MLDv1 (N-6). Untagged, not padded.
MadeFrame group_report(MacAddress source, IpAddress const &group);

// ---- announcements ------------------------------------------------------------------------------------------------

// Where an address is (N-1). Untagged, not padded.
MadeFrame announcement(MacAddress address);

}  // namespace forwarding
