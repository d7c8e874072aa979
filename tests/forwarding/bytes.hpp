// Frames as bytes, for the tests: written in hexadecimal, or put together.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/forwarding/ip_address.hpp"

namespace forwarding {

using Packet = std::vector<std::uint8_t>;

// The bytes that hexadecimal digits stand for; everything else in the text is ignored.
inline Packet hex(std::string_view text) {
  Packet bytes;
  int digits = 0;
  for (char character : text) {
    int value = -1;
    if (character >= '0' && character <= '9')
      value = character - '0';
    else if (character >= 'a' && character <= 'f')
      value = character - 'a' + 10;
    if (value < 0)
      continue;
    if (digits++ % 2 == 0)
      bytes.push_back(static_cast<std::uint8_t>(value << 4));
    else
      bytes.back() = static_cast<std::uint8_t>(bytes.back() | value);
  }
  return bytes;
}

inline Packet operator+(Packet left, Packet const &right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// Of 4 or 16 bytes.
inline IpAddress ip(Packet const &bytes) {
  return IpAddress(bytes);
}

inline Packet zeros(std::size_t count) {
  return Packet(count);
}

}  // namespace forwarding
