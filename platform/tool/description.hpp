// The boot description of a host as it is, and the parts of it that other answers show, too.
#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/switches.hpp"

namespace tool {

using Json = nlohmann::ordered_json;

// All need a transaction.
Json boot_description(host::Database &database);
std::vector<Json> described_nics(host::Database &database);
// The members of a switch itself.
Json described_switch(host::Switch const &vswitch);

struct DescribedPort {
  host::RowId row;
  std::string dvport_id;
  bool is_uplink;
  Json client;  // null for none, and for an uplink
};
// In the order of their numbers, zombies included.
std::vector<DescribedPort> described_ports(host::Database &database, host::RowId vswitch);

inline char const *up_or_down(bool up) {
  return up ? "up" : "down";
}

}  // namespace tool
