// The link aggregation groups of the switches.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/core/uplinks.hpp"

namespace host {

struct LagMember {
  Uplink uplink;
  bool negotiated;  // at present: what has expired is not

  bool is_up() const { return negotiated && uplink.link_up; }
};

// How the members of a group are found, and how frames are spread over them.
struct LagSettings {
  std::string mode = "fixed";  // or "active", "passive": whether LACP negotiates
  bool fast = false;
  std::string hash = "l2+3";         // or "l2", "l3+4", "vlan+srcmac"
  std::optional<MacAddress> system;  // none: the switch's own
  std::int64_t system_priority = 32768;
  std::optional<std::int64_t> key;  // none: the group's number
  std::int64_t max_active = VS_MAX_UPLINKS_IN_LAG;
  bool fallback = false;

  bool is_fixed() const { return mode == "fixed"; }
};

struct Lag {
  std::int64_t number;
  std::string name;
  LagSettings settings;
  std::vector<LagMember> members;
};

struct NewLagMember {
  std::string uplink;
  bool lacp_up;
};

// Refuses with QEL_EXISTS, QEL_NOT_FOUND or QEL_LIMIT_EXCEEDED.
void add_lag(Database &database, RowId vswitch, std::string const &name, LagSettings const &settings,
             std::vector<NewLagMember> const &members);

// Only with the members that are uplink ports now.
HOST_API std::vector<Lag> load_lags(Database &database, RowId vswitch);

// Whether LACP has the uplink in use. None where the uplink is in no group.
HOST_API std::optional<bool> lacp_state(Database &database, RowId vswitch, Uplink const &uplink);

}  // namespace host
