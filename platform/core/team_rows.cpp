// What the teams of switches have found by themselves: LACP, beacons, loads.
#include "platform/core/team_rows.hpp"

#include <algorithm>

#include "platform/core/ports.hpp"

namespace host {

void forget_teams(Database &database) {
  database.execute_script(
      "DELETE FROM lacp_member; DELETE FROM beacon; DELETE FROM beacon_judgement; DELETE FROM beacon_failure;"
      "DELETE FROM team_load; DELETE FROM team_move;");
}

// ---- LACP ----------------------------------------------------------------------------------------------

std::vector<LacpMemberRow> load_lacp_members(Database &database, RowId vswitch) {
  std::vector<LacpMemberRow> members;
  Rows row = database.rows(
      "SELECT port, receive, receive_until, selected, selected_since, up, actor_state, partner_state, sent_at,"
      " sent_in_second, send_at, sent, received, bad, changes, partner_system, partner_system_priority, partner_key,"
      " partner_port_priority, partner_port FROM lacp_member WHERE port" PORTS_OF_SWITCH,
      vswitch);
  while (row.next()) {
    LacpMemberRow member{.port = row.integer(0),
                         .receive = row.text(1),
                         .receive_until = row.integer_or_none(2),
                         .selected = row.integer(3) != 0,
                         .selected_since = row.integer_or_none(4),
                         .up = row.integer(5) != 0,
                         .actor_state = row.integer(6),
                         .partner = std::nullopt,
                         .partner_state = row.integer(7),
                         .sending = read_sending(row, 8),
                         .sent = row.integer(11),
                         .received = row.integer(12),
                         .bad = row.integer(13),
                         .changes = row.integer(14)};
    if (!row.is_null(15)) {
      member.partner =
          LacpEndRow{mac_from(row.bytes(15)), row.integer(16), row.integer(17), row.integer(18), row.integer(19)};
    }
    members.push_back(std::move(member));
  }
  return members;
}

void store_lacp_member(Database &database, LacpMemberRow const &row) {
  database.execute(
      "INSERT OR REPLACE INTO lacp_member (port, receive, receive_until, selected, selected_since, up, actor_state,"
      " partner_state, sent_at, sent_in_second, send_at, sent, received, bad, changes)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      row.port, row.receive, row.receive_until, row.selected, row.selected_since, row.up, row.actor_state,
      row.partner_state, row.sending.sent_at, row.sending.sent_in_second, row.sending.send_at, row.sent, row.received,
      row.bad, row.changes);
  if (!row.partner)
    return;
  database.execute(
      "UPDATE lacp_member SET partner_system = ?, partner_system_priority = ?, partner_key = ?,"
      " partner_port_priority = ?, partner_port = ? WHERE port = ?",
      Blob{mac_bytes(row.partner->system)}, row.partner->system_priority, row.partner->key, row.partner->port_priority,
      row.partner->port, row.port);
}

void lose_lacp(Database &database, RowId port) {
  // The bits of what is configured stay.
  constexpr int kept_state = 0x07;
  database.execute(
      "UPDATE lacp_member SET receive = 'disabled', receive_until = NULL, selected = 0, changes = changes + up, up = 0,"
      " actor_state = actor_state & ?, partner_state = 0, partner_system = NULL, partner_system_priority = NULL,"
      " partner_key = NULL, partner_port_priority = NULL, partner_port = NULL, send_at = NULL WHERE port = ?",
      kept_state, port);
}

// ---- beacons -------------------------------------------------------------------------------------------

std::vector<HeardBeacon> load_beacons(Database &database, RowId vswitch) {
  std::vector<HeardBeacon> beacons;
  Rows row = database.rows("SELECT listener, sender, heard FROM beacon WHERE listener" PORTS_OF_SWITCH, vswitch);
  while (row.next())
    beacons.push_back({row.integer(0), row.integer(1), row.integer(2)});
  return beacons;
}

void store_beacon(Database &database, HeardBeacon const &beacon) {
  database.execute("INSERT OR REPLACE INTO beacon (listener, sender, heard) VALUES (?, ?, ?)", beacon.listener,
                   beacon.sender, beacon.heard);
}

std::optional<JudgedBeacons> load_judgement(Database &database, RowId vswitch) {
  Rows judged = database.rows("SELECT is_undecided FROM beacon_judgement WHERE vswitch = ?", vswitch);
  if (!judged.next())
    return std::nullopt;
  JudgedBeacons judgement{judged.integer(0) != 0, {}};
  Rows row = database.rows("SELECT port FROM beacon_failure WHERE port" PORTS_OF_SWITCH, vswitch);
  while (row.next())
    judgement.failed.push_back(row.integer(0));
  return judgement;
}

void store_judgement(Database &database, RowId vswitch, JudgedBeacons const &judged) {
  database.execute("INSERT OR REPLACE INTO beacon_judgement (vswitch, is_undecided) VALUES (?, ?)", vswitch,
                   judged.is_undecided);
  database.execute("DELETE FROM beacon_failure WHERE port" PORTS_OF_SWITCH, vswitch);
  for (RowId const port : judged.failed)
    database.execute("INSERT INTO beacon_failure (port) VALUES (?)", port);
}

bool has_beacon_failed(Database &database, RowId port) {
  return database.rows("SELECT 1 FROM beacon_failure WHERE port = ?", port).next();
}

// ---- load ----------------------------------------------------------------------------------------------

std::vector<PortLoadRow> load_port_loads(Database &database, RowId vswitch) {
  std::vector<PortLoadRow> loads;
  {
    Rows row = database.rows("SELECT port, bytes FROM team_load WHERE port" PORTS_OF_SWITCH, vswitch);
    while (row.next())
      loads.push_back({row.integer(0), static_cast<std::uint64_t>(row.integer(1)), std::nullopt});
  }
  Rows row = database.rows("SELECT port, uplink, basis FROM team_move WHERE port" PORTS_OF_SWITCH, vswitch);
  while (row.next()) {
    auto found =
        std::find_if(loads.begin(), loads.end(), [&](PortLoadRow const &load) { return load.port == row.integer(0); });
    if (found == loads.end())
      found = loads.insert(loads.end(), {row.integer(0), 0, std::nullopt});
    found->move = PortMove{row.integer(1), row.text(2)};
  }
  return loads;
}

void store_port_load(Database &database, PortLoadRow const &row) {
  if (row.bytes != 0) {
    database.execute("INSERT OR REPLACE INTO team_load (port, bytes) VALUES (?, ?)", row.port,
                     static_cast<std::int64_t>(row.bytes));
  } else {
    database.execute("DELETE FROM team_load WHERE port = ?", row.port);
  }
  if (row.move) {
    database.execute("INSERT OR REPLACE INTO team_move (port, uplink, basis) VALUES (?, ?, ?)", row.port,
                     row.move->uplink, row.move->basis);
  } else {
    database.execute("DELETE FROM team_move WHERE port = ?", row.port);
  }
}

std::optional<PortMove> find_port_move(Database &database, RowId port) {
  Rows row = database.rows("SELECT uplink, basis FROM team_move WHERE port = ?", port);
  if (!row.next())
    return std::nullopt;
  return PortMove{row.integer(0), row.text(1)};
}

}  // namespace host
