// Learning MAC addresses from the sources of frames.
#pragma once

#include "platform/core/mac_table.hpp"

namespace host {

// What came of a source address that a port received.
enum class Learning { learned, refreshed, moved, allowed_unlearned, dropped, ignored };

struct SeenAddress {
  MacKey key;
  bool aging = true;
  std::int64_t age = 0;  // seconds since it was seen
};

HOST_API Learning learn_address(Database &database, RowId vswitch, Port const &port, SeenAddress const &address);

}  // namespace host
