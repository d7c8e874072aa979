// What the teams of switches have found by themselves: LACP, beacons, loads. The one owner of these tables.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/database.hpp"
#include "platform/core/export.hpp"
#include "platform/core/lacp_partner.hpp"
#include "platform/core/mac_address.hpp"

namespace host {

// A boot forgets all of it.
void forget_teams(Database &database);

// ---- LACP ----------------------------------------------------------------------------------------------

// One end of a link, as LACPDUs describe it.
struct LacpEndRow {
  MacAddress system{};
  std::int64_t system_priority = 0;
  std::int64_t key = 0;
  std::int64_t port_priority = 0;
  std::int64_t port = 0;
};

// A member of a LAG that negotiates.
struct LacpMemberRow {
  RowId port;
  std::string receive;  // "disabled", "expired", "current", "defaulted"
  std::optional<std::int64_t> receive_until;
  bool selected;
  std::optional<std::int64_t> selected_since;
  bool up;
  std::int64_t actor_state;
  std::optional<LacpEndRow> partner;
  std::int64_t partner_state;
  LacpSendingRow sending;
  std::int64_t sent;
  std::int64_t received;
  std::int64_t bad;
  std::int64_t changes;
};
HOST_API std::vector<LacpMemberRow> load_lacp_members(Database &database, RowId vswitch);
HOST_API void store_lacp_member(Database &database, LacpMemberRow const &row);
// The link of the uplink port is down: what was negotiated is gone.
void lose_lacp(Database &database, RowId port);

// ---- beacons -------------------------------------------------------------------------------------------

struct HeardBeacon {
  RowId listener;
  RowId sender;
  std::int64_t heard;
};
HOST_API std::vector<HeardBeacon> load_beacons(Database &database, RowId vswitch);
HOST_API void store_beacon(Database &database, HeardBeacon const &beacon);

struct JudgedBeacons {
  bool is_undecided;
  std::vector<RowId> failed;  // uplink ports
};
// None: nothing was judged yet.
HOST_API std::optional<JudgedBeacons> load_judgement(Database &database, RowId vswitch);
HOST_API void store_judgement(Database &database, RowId vswitch, JudgedBeacons const &judged);
bool has_beacon_failed(Database &database, RowId port);

// ---- load ----------------------------------------------------------------------------------------------

struct PortMove {
  RowId uplink;
  std::string basis;
};
struct PortLoadRow {
  RowId port;
  std::uint64_t bytes = 0;
  std::optional<PortMove> move;
};
HOST_API std::vector<PortLoadRow> load_port_loads(Database &database, RowId vswitch);
HOST_API void store_port_load(Database &database, PortLoadRow const &row);
std::optional<PortMove> find_port_move(Database &database, RowId port);

}  // namespace host
