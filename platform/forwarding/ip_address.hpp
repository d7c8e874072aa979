// An address of IPv4 or IPv6.
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstdint>

#include "platform/forwarding/frame.hpp"

namespace forwarding {

inline constexpr std::size_t ipv4_address_size = 4;
inline constexpr std::size_t ipv6_address_size = 16;

struct IpAddress {
  std::array<std::uint8_t, ipv6_address_size> room{};
  std::uint8_t size = 0;  // 4 or 16

  IpAddress() = default;
  // As long as the bytes, at most 16.
  explicit IpAddress(Bytes bytes) : size(static_cast<std::uint8_t>(bytes.size())) {
    std::copy(bytes.begin(), bytes.end(), room.begin());
  }

  Bytes bytes() const { return Bytes(room).first(size); }
  bool is_ipv4() const { return size == ipv4_address_size; }
  bool is_zero() const { return room == decltype(room){}; }
  bool is_group() const { return is_ipv4() ? room[0] >> 4 == 0xe : room[0] == 0xff; }
  // The hardware address of a group (RFC 1112, 6.4; RFC 2464, 7): its end behind a fixed prefix.
  MacAddress group_mac() const {
    constexpr std::size_t ipv6_end = 12;
    constexpr std::uint8_t ipv4_bits = 0x7f;
    if (is_ipv4()) {
      return MacAddress{0x01005e000000} | MacAddress{static_cast<std::uint8_t>(room[1] & ipv4_bits)} << 16 |
             MacAddress{room[2]} << 8 | room[3];
    }
    MacAddress end = 0;
    for (std::size_t at = ipv6_end; at < ipv6_address_size; ++at)
      end = end << 8 | room[at];
    return MacAddress{0x333300000000} | end;
  }

  // By their bytes.
  auto operator<=>(IpAddress const &) const = default;  // NOLINT(modernize-use-nullptr): there is none
};

}  // namespace forwarding
