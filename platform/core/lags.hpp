// The link aggregation groups of the switches.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/core/uplinks.hpp"

namespace host {

struct LagMember {
  Uplink uplink;
  bool negotiated;

  bool is_up() const { return negotiated && uplink.link_up; }
};

struct Lag {
  std::int64_t number;
  std::string name;
  std::vector<LagMember> members;
};

struct NewLagMember {
  std::string uplink;
  bool lacp_up;
};

// Refuses with QEL_EXISTS, QEL_NOT_FOUND or QEL_LIMIT_EXCEEDED.
void add_lag(Database &database, RowId vswitch, std::string const &name, std::vector<NewLagMember> const &members);

// Only with the members that are uplink ports now.
HOST_API std::vector<Lag> load_lags(Database &database, RowId vswitch);

// Whether LACP has the uplink in use. None where the uplink is in no group.
HOST_API std::optional<bool> lacp_state(Database &database, RowId vswitch, Uplink const &uplink);

}  // namespace host
