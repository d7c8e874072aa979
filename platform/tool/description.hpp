// The boot description of a host as it is, and the parts of it that other answers show, too.
#pragma once

#include <nlohmann/json.hpp>

#include "platform/core/whole_host.hpp"

namespace tool {

using Json = nlohmann::ordered_json;

// Needs a transaction.
Json boot_description(host::Database &database);

Json described_nic(host::PhysicalNic const &nic);
// The members of a switch itself.
Json described_switch(host::Switch const &vswitch);
// Null for none, and for an uplink.
Json described_client(host::PortRow const &port);

inline char const *up_or_down(bool up) {
  return up ? "up" : "down";
}

}  // namespace tool
