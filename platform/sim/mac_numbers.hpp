// Hardware addresses as the core has them, and as numbers.
#pragma once

#include "platform/core/mac_address.hpp"
#include "platform/forwarding/frame.hpp"

namespace sim {

inline host::MacAddress mac_of(forwarding::MacAddress number) {
  constexpr unsigned byte_bits = 8;
  host::MacAddress mac{};
  for (std::size_t i = mac.size(); i-- > 0; number >>= byte_bits)
    mac[i] = static_cast<unsigned char>(number);
  return mac;
}

inline forwarding::MacAddress number_of(host::MacAddress const &mac) {
  constexpr unsigned byte_bits = 8;
  forwarding::MacAddress number = 0;
  for (unsigned char const byte : mac)
    number = number << byte_bits | byte;
  return number;
}

}  // namespace sim
