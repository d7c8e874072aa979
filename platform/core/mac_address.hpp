// Hardware addresses, and what identifies an entry of a MAC table.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace host {

using MacAddress = std::array<unsigned char, 6>;

inline std::string_view mac_bytes(MacAddress const &mac) {
  return {reinterpret_cast<char const *>(mac.data()), mac.size()};
}

inline MacAddress mac_from(std::string_view bytes) {
  MacAddress mac{};
  std::memcpy(mac.data(), bytes.data(), std::min(bytes.size(), mac.size()));
  return mac;
}

struct MacKey {
  MacAddress mac;
  std::int64_t vid;
  std::int64_t vni;
};

}  // namespace host
