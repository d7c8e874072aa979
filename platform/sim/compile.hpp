// Makes the tables of forwarding from the state of a host, with the names of what is in them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/forwarding/tables.hpp"

namespace sim {

// What the tables number, in the same order.
struct CompiledSwitch {
  host::RowId row;
  std::string alias;
};

struct CompiledPort {
  std::string dvport_id;
  std::uint32_t vswitch;
};

struct CompiledNic {
  host::RowId row;
  std::string name;
};

struct Compiled {
  forwarding::Tables tables;
  std::vector<CompiledSwitch> switches;
  std::vector<CompiledPort> ports;
  std::vector<CompiledNic> nics;
};

// Needs a transaction.
std::unique_ptr<Compiled const> compile(host::Database &database);

}  // namespace sim
