// The Internet checksum.
#include "platform/forwarding/checksum.hpp"

namespace forwarding {

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

}  // namespace forwarding
