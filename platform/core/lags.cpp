// The link aggregation groups of the switches.
#include "platform/core/lags.hpp"

#include <algorithm>

namespace host {

namespace {

std::int64_t count_lags(Database &database, RowId vswitch) {
  Rows count = database.rows("SELECT count(*) FROM lag WHERE vswitch = ?", vswitch);
  return count.next() ? count.integer(0) : 0;
}

bool exists(Rows rows) {
  return rows.next();
}

}  // namespace

void add_lag(Database &database, RowId vswitch, std::string const &name, std::vector<NewLagMember> const &members) {
  std::int64_t const number = count_lags(database, vswitch) + 1;
  refuse_if(number > VS_MAX_LAGS || members.size() > static_cast<std::size_t>(VS_MAX_UPLINKS_IN_LAG),
            QEL_LIMIT_EXCEEDED);
  refuse_if(exists(database.rows("SELECT 1 FROM lag WHERE vswitch = ? AND name = ?", vswitch, name)), QEL_EXISTS);
  database.execute("INSERT INTO lag (vswitch, number, name) VALUES (?, ?, ?)", vswitch, number, name);
  std::vector<Uplink> const uplinks = load_uplinks(database, vswitch);
  int position = 0;
  for (NewLagMember const &member : members) {
    refuse_if(
        std::none_of(uplinks.begin(), uplinks.end(), [&](Uplink const &other) { return other.name == member.uplink; }),
        QEL_NOT_FOUND);
    refuse_if(
        exists(database.rows("SELECT 1 FROM lag_member WHERE vswitch = ? AND uplink = ?", vswitch, member.uplink)),
        QEL_EXISTS);
    database.execute("INSERT INTO lag_member (vswitch, uplink, lag, position, lacp_up) VALUES (?, ?, ?, ?, ?)", vswitch,
                     member.uplink, number, ++position, member.lacp_up);
  }
}

std::vector<Lag> load_lags(Database &database, RowId vswitch) {
  std::vector<Uplink> const uplinks = load_uplinks(database, vswitch);
  std::vector<Lag> lags;
  Rows rows = database.rows("SELECT number, name FROM lag WHERE vswitch = ? ORDER BY number", vswitch);
  while (rows.next()) {
    Lag lag{rows.integer(0), rows.text(1), {}};
    Rows members = database.rows(
        "SELECT uplink, lacp_up FROM lag_member WHERE vswitch = ? AND lag = ? ORDER BY position", vswitch, lag.number);
    while (members.next()) {
      std::string_view const name = members.bytes(0);
      auto const uplink =
          std::find_if(uplinks.begin(), uplinks.end(), [&](Uplink const &other) { return other.name == name; });
      if (uplink != uplinks.end())
        lag.members.push_back({*uplink, members.integer(1) != 0});
    }
    lags.push_back(std::move(lag));
  }
  return lags;
}

std::optional<bool> lacp_state(Database &database, RowId vswitch, Uplink const &uplink) {
  Rows row = database.rows("SELECT lacp_up FROM lag_member WHERE vswitch = ? AND uplink = ?", vswitch, uplink.name);
  if (!row.next())
    return std::nullopt;
  return LagMember{uplink, row.integer(0) != 0}.is_up();
}

}  // namespace host
