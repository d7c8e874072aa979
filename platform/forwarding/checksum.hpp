// The Internet checksum.
#pragma once

#include <cstdint>

#include "platform/forwarding/frame.hpp"

namespace forwarding {

// The Internet checksum (RFC 1071) of some bytes behind others whose sum is known; 0 where they have their own in them,
// and it is right.
std::uint16_t internet_checksum(Bytes bytes, std::uint32_t sum_before = 0);
// The sum of an IPv6 pseudo header: addresses, 16 bytes each, length, next header.
std::uint32_t pseudo_header_sum(Bytes source, Bytes destination, std::size_t length, std::uint8_t next_header);

}  // namespace forwarding
