// The link aggregation groups of the switches.
#include "platform/core/lags.hpp"

#include <algorithm>

#include "platform/core/clock.hpp"
#include "platform/core/lacp_partner.hpp"
#include "platform/core/team_rows.hpp"

namespace host {

namespace {

std::int64_t count_lags(Database &database, RowId vswitch) {
  Rows count = database.rows("SELECT count(*) FROM lag WHERE vswitch = ?", vswitch);
  return count.next() ? count.integer(0) : 0;
}

bool exists(Rows rows) {
  return rows.next();
}

LagSettings read_settings(Rows const &row) {
  LagSettings settings{.mode = row.text(2),
                       .fast = row.integer(3) != 0,
                       .hash = row.text(4),
                       .system = std::nullopt,
                       .system_priority = row.integer(5),
                       .key = std::nullopt,
                       .max_active = row.integer(6),
                       .fallback = row.integer(7) != 0};
  if (!row.is_null(8))
    settings.system = mac_from(row.bytes(8));
  if (!row.is_null(9))
    settings.key = row.integer(9);
  return settings;
}

// What was heard has expired, unless a scripted partner goes on at the other end.
bool is_gone(Database &database, LagMember const &member, LacpMemberRow const &row, std::int64_t now) {
  if (row.receive != "current" || !row.receive_until || *row.receive_until > now)
    return false;
  std::optional<LacpPartner> const partner =
      member.uplink.nic ? load_partner(database, *member.uplink.nic) : std::nullopt;
  return !partner || !partner->on;
}

// What LACP has found of members, in a group that is not fixed.
void add_negotiated(Database &database, RowId vswitch, Lag &lag) {
  std::int64_t const now = clock_now(database);
  bool has_current = false;
  for (LacpMemberRow const &row : load_lacp_members(database, vswitch)) {
    auto const member = std::find_if(lag.members.begin(), lag.members.end(),
                                     [&](LagMember const &one) { return one.uplink.port == row.port; });
    if (member == lag.members.end() || row.receive != "current" || is_gone(database, *member, row, now))
      continue;
    has_current = true;
    member->negotiated = row.up;
  }
  if (has_current || !lag.settings.fallback)
    return;
  auto const first = std::find_if(lag.members.begin(), lag.members.end(),
                                  [](LagMember const &member) { return member.uplink.link_up; });
  if (first != lag.members.end())
    first->negotiated = true;
}

}  // namespace

void add_lag(Database &database, RowId vswitch, std::string const &name, LagSettings const &settings,
             std::vector<NewLagMember> const &members) {
  std::int64_t const number = count_lags(database, vswitch) + 1;
  refuse_if(number > VS_MAX_LAGS || members.size() > static_cast<std::size_t>(VS_MAX_UPLINKS_IN_LAG),
            QEL_LIMIT_EXCEEDED);
  refuse_if(exists(database.rows("SELECT 1 FROM lag WHERE vswitch = ? AND name = ?", vswitch, name)), QEL_EXISTS);
  database.execute(
      "INSERT INTO lag (vswitch, number, name, mode, fast, hash, system_priority, max_active, fallback)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
      vswitch, number, name, settings.mode, settings.fast, settings.hash, settings.system_priority, settings.max_active,
      settings.fallback);
  if (settings.system) {
    database.execute("UPDATE lag SET system = ? WHERE vswitch = ? AND number = ?", Blob{mac_bytes(*settings.system)},
                     vswitch, number);
  }
  if (settings.key)
    database.execute("UPDATE lag SET \"key\" = ? WHERE vswitch = ? AND number = ?", *settings.key, vswitch, number);
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
  Rows rows = database.rows(
      "SELECT number, name, mode, fast, hash, system_priority, max_active, fallback, system, \"key\" FROM lag"
      " WHERE vswitch = ? ORDER BY number",
      vswitch);
  while (rows.next()) {
    Lag lag{rows.integer(0), rows.text(1), read_settings(rows), {}};
    Rows members = database.rows(
        "SELECT uplink, lacp_up FROM lag_member WHERE vswitch = ? AND lag = ? ORDER BY position", vswitch, lag.number);
    while (members.next()) {
      std::string_view const name = members.bytes(0);
      auto const uplink =
          std::find_if(uplinks.begin(), uplinks.end(), [&](Uplink const &other) { return other.name == name; });
      if (uplink != uplinks.end())
        lag.members.push_back({*uplink, lag.settings.is_fixed() && members.integer(1) != 0});
    }
    if (!lag.settings.is_fixed())
      add_negotiated(database, vswitch, lag);
    lags.push_back(std::move(lag));
  }
  return lags;
}

std::optional<bool> lacp_state(Database &database, RowId vswitch, Uplink const &uplink) {
  for (Lag const &lag : load_lags(database, vswitch)) {
    for (LagMember const &member : lag.members) {
      if (member.uplink.port == uplink.port)
        return member.is_up();
    }
  }
  return std::nullopt;
}

}  // namespace host
