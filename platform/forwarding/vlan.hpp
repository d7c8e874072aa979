// The VLAN of a frame: where it comes in, and which tag it has where it goes out.
#pragma once

#include "platform/forwarding/tables.hpp"

namespace forwarding {

// Where a frame is from step 4 on.
struct InVlan {
  std::uint16_t vlan = 0;
  std::uint8_t priority = 0;  // PCP and DEI, as in a tag

  std::uint16_t tag(std::uint16_t vid) const { return static_cast<std::uint16_t>(priority << 12 | vid); }
};

// The VLAN and the priority of a frame that comes in at a port (V-1 to V-6, V-13 to V-15, PV-1). A tag that the port
// keeps as payload is no longer the header's.
Verdict classify(Tables const &tables, Port const &port, Header &header, InVlan &in_vlan);

// The outer tag with which a frame leaves at a port (V-10, V-11, V-16).
Form form_at(Port const &port, Header const &header, InVlan in_vlan);

// Whether a nested frame may not leave there (V-13).
inline bool refuses_nested(Port const &port, Header const &header) {
  return header.is_nested() && !port.allows_nested;
}

}  // namespace forwarding
