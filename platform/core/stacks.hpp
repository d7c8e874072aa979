// What encapsulated copies of frames are sent with: the host's two stacks. The one owner of their table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"
#include "platform/core/mac_address.hpp"

namespace host {

struct Stack {
  std::string name;               // "default" or "mirror"
  std::optional<MacAddress> mac;  // none: the switch's own address
  MacAddress gateway_mac{0x02, 0x76, 0x73, 0xff, 0xff, 0xff};
  // In network order.
  std::string ipv4 = std::string("\xc0\x00\x02\x01", 4);
  std::string ipv6 = std::string("\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x01", 16);
  std::uint32_t vlan = 0;
  std::uint32_t ttl = 64;
  std::uint32_t dscp = 0;
};

// Those that are described; the others have the values above.
HOST_API std::vector<Stack> load_stacks(Database &database);
void add_stack(Database &database, Stack const &stack);

}  // namespace host
