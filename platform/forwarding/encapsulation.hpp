// Copies of frames as they travel to an address: Ethernet, IP, GRE and what ERSPAN has behind it.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/forwarding/mirror_session.hpp"

namespace forwarding {

// A frame that a session has selected, and where.
struct SelectedFrame {
  std::uint16_t vlan = 0;
  std::uint32_t port_number = 0;
  bool is_out = false;
  bool is_cut = false;       // the copy
  std::int64_t time = 0;     // the host's, in microseconds
  std::uint64_t number = 0;  // of copies of the session to the address before this one
};

// The bytes of the copy behind its headers. `own`: the switch's address.
Bytes encapsulate(MirrorSession const &session, Stack const &stack, MacAddress own, IpAddress const &to,
                  SelectedFrame const &selected, Bytes copy, std::vector<std::uint8_t> &room);

}  // namespace forwarding
