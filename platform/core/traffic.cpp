// What traffic leaves behind: counters, entries of the MAC tables, counters of mirror sessions, memberships of
// multicast groups. Longer than most, so that SQL on these tables, and what saves and restores them, stands once.
#include "platform/core/traffic.hpp"

#include "platform/core/clock.hpp"
#include "platform/core/lacp_partner.hpp"

namespace host {

namespace {

// Written with a comma before each, to follow other columns.
#define COLUMN(name) ", " #name
#define MARK(name) ", ?"
#define SET(name) ", " #name " = ?"
#define VALUE(name) , static_cast<std::int64_t>(counters.name)
#define READ(name) counters.name = static_cast<std::uint64_t>(row.integer(++column));
#define ADD(name) counters.name += static_cast<std::uint64_t>(row.integer(++column));

#define ENTRY_COLUMNS "mac, vid, vni, type, port, aging, seen, moves"

MacRow read_mac_row(Rows const &row) {
  return {{mac_from(row.bytes(0)), row.integer(1), row.integer(2)},
          row.integer(3),
          row.integer(4),
          row.integer(5) != 0,
          row.integer(6),
          row.integer(7)};
}

std::int64_t number(TableSide side) {
  return static_cast<std::int64_t>(side);
}

std::vector<MacRow> read_mac_rows(Rows rows) {
  std::vector<MacRow> all;
  while (rows.next())
    all.push_back(read_mac_row(rows));
  return all;
}

std::int64_t only_number(Rows row) {
  return row.next() ? row.integer(0) : 0;
}

std::int64_t count_aged_at(Database &database, RowId port, std::int64_t oldest) {
  return only_number(
      database.rows("SELECT count(*) FROM mac_entry WHERE port = ? AND type = ? AND aging = 1 AND seen <= ?", port,
                    VS_MAC_ADDR_TYPE_LEARNED, oldest));
}

MirrorStatistics read_statistics(Rows const &row, int first) {
  auto const number = [&](int column) { return static_cast<std::uint64_t>(row.integer(first + column)); };
  return {number(0), number(1), number(2), number(3), number(4)};
}

#define STATISTICS "copies, copies_failed, mirrored, discarded, failed"

}  // namespace

// ---- all of it -----------------------------------------------------------------------------------------

void forget_traffic(Database &database) {
  database.execute_script(
      "DELETE FROM mac_entry; DELETE FROM port_counter; DELETE FROM switch_counter;"
      "DELETE FROM multicast_group; DELETE FROM multicast_source;"
      "UPDATE mirror_session SET copies = 0, copies_failed = 0, mirrored = 0, discarded = 0, failed = 0, seen = 0;"
      "DELETE FROM mirror_destination; DELETE FROM router_port; DELETE FROM timer;");
}

void save_traffic(Database &database, RowId vswitch) {
  forget_saved_traffic(database, vswitch);
  database.execute("INSERT INTO rtm_saved_mac_entry SELECT * FROM mac_entry WHERE vswitch = ?", vswitch);
  database.execute("INSERT INTO rtm_saved_port_counter SELECT * FROM port_counter WHERE vswitch = ?", vswitch);
  database.execute("INSERT INTO rtm_saved_switch_counter SELECT * FROM switch_counter WHERE vswitch = ?", vswitch);
  database.execute("INSERT INTO rtm_saved_mirror_session SELECT vswitch, sid, " STATISTICS
                   ", seen FROM mirror_session WHERE vswitch = ?",
                   vswitch);
  database.execute("INSERT INTO rtm_saved_mirror_destination SELECT * FROM mirror_destination WHERE vswitch = ?",
                   vswitch);
  database.execute("INSERT INTO rtm_saved_multicast_group SELECT * FROM multicast_group WHERE vswitch = ?", vswitch);
  database.execute("INSERT INTO rtm_saved_multicast_source SELECT * FROM multicast_source WHERE vswitch = ?", vswitch);
}

void lose_traffic(Database &database, RowId vswitch) {
  database.execute("DELETE FROM mac_entry WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM port_counter WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM switch_counter WHERE vswitch = ?", vswitch);
  database.execute(
      "UPDATE mirror_session SET copies = 0, copies_failed = 0, mirrored = 0, discarded = 0, failed = 0, seen = 0"
      " WHERE vswitch = ?",
      vswitch);
  database.execute("DELETE FROM mirror_destination WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM multicast_group WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM multicast_source WHERE vswitch = ?", vswitch);
}

namespace {

// Sums are made here: counters wrap at 64 bits, SQLite's integers do not.
void restore_counters(Database &database, RowId vswitch) {
  {
    Rows row = database.rows("SELECT port" HOST_PORT_COUNTERS(COLUMN) " FROM rtm_saved_port_counter WHERE vswitch = ?",
                             vswitch);
    while (row.next()) {
      PortCounters counters = load_port_counters(database, row.integer(0));
      int column = 0;
      HOST_PORT_COUNTERS(ADD)
      store_port_counters(database, vswitch, row.integer(0), counters);
    }
  }
  Rows row = database.rows("SELECT 0" HOST_SWITCH_COUNTERS(COLUMN) " FROM rtm_saved_switch_counter WHERE vswitch = ?",
                           vswitch);
  if (row.next()) {
    SwitchCounters counters = load_switch_counters(database, vswitch);
    int column = 0;
    HOST_SWITCH_COUNTERS(ADD)
    store_switch_counters(database, vswitch, counters);
  }
}

void restore_sessions(Database &database, RowId vswitch) {
  Rows row = database.rows("SELECT sid, " STATISTICS " FROM rtm_saved_mirror_session WHERE vswitch = ?", vswitch);
  while (row.next()) {
    std::optional<SessionStatistics> const now = session_statistics(database, vswitch, row.text(0));
    if (!now)
      continue;
    MirrorStatistics const saved = read_statistics(row, 1);
    MirrorStatistics const &since = now->statistics;
    store_session_statistics(
        database, vswitch, row.text(0),
        {saved.copies + since.copies, saved.copies_failed + since.copies_failed, saved.mirrored + since.mirrored,
         saved.discarded + since.discarded, saved.failed + since.failed});
  }
  database.execute(
      "UPDATE mirror_session SET seen = mirror_session.seen + saved.seen FROM rtm_saved_mirror_session AS saved"
      " WHERE mirror_session.vswitch = ? AND saved.vswitch = mirror_session.vswitch AND saved.sid = mirror_session.sid",
      vswitch);
  database.execute(
      "INSERT INTO mirror_destination SELECT * FROM rtm_saved_mirror_destination AS saved WHERE vswitch = ?"
      " AND EXISTS (SELECT 1 FROM mirror_session AS now WHERE now.vswitch = saved.vswitch AND now.sid = saved.sid)"
      " ON CONFLICT DO UPDATE SET sequence = sequence + excluded.sequence",
      vswitch);
}

}  // namespace

void restore_traffic(Database &database, RowId vswitch) {
  database.execute("INSERT OR IGNORE INTO mac_entry SELECT * FROM rtm_saved_mac_entry WHERE vswitch = ?", vswitch);
  // Sources go with their group: those of one that was joined anew are its own.
  database.execute(
      "INSERT INTO multicast_source SELECT * FROM rtm_saved_multicast_source AS saved WHERE vswitch = ?"
      " AND NOT EXISTS (SELECT 1 FROM multicast_group AS now"
      " WHERE now.port = saved.port AND now.address = saved.group_address)",
      vswitch);
  database.execute("INSERT OR IGNORE INTO multicast_group SELECT * FROM rtm_saved_multicast_group WHERE vswitch = ?",
                   vswitch);
  restore_counters(database, vswitch);
  restore_sessions(database, vswitch);
}

void forget_saved_traffic(Database &database, RowId vswitch) {
  database.execute("DELETE FROM rtm_saved_mac_entry WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_saved_port_counter WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_saved_switch_counter WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_saved_mirror_session WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_saved_mirror_destination WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_saved_multicast_group WHERE vswitch = ?", vswitch);
  database.execute("DELETE FROM rtm_saved_multicast_source WHERE vswitch = ?", vswitch);
}

void forget_all_saved_traffic(Database &database) {
  database.execute_script(
      "DELETE FROM rtm_saved_mac_entry; DELETE FROM rtm_saved_port_counter; DELETE FROM rtm_saved_switch_counter;"
      "DELETE FROM rtm_saved_mirror_session; DELETE FROM rtm_saved_mirror_destination;"
      "DELETE FROM rtm_saved_multicast_group; DELETE FROM rtm_saved_multicast_source;");
}

void forget_client_traffic(Database &database, RowId port) {
  database.execute("DELETE FROM mac_entry WHERE port = ? AND type = ?", port, VS_MAC_ADDR_TYPE_LEARNED);
  database.execute("DELETE FROM multicast_group WHERE port = ?", port);
  database.execute("DELETE FROM multicast_source WHERE port = ?", port);
  database.execute("DELETE FROM router_port WHERE port = ?", port);
  database.execute("DELETE FROM rtm_saved_mac_entry WHERE port = ? AND type = ?", port, VS_MAC_ADDR_TYPE_LEARNED);
  database.execute("DELETE FROM rtm_saved_multicast_group WHERE port = ?", port);
  database.execute("DELETE FROM rtm_saved_multicast_source WHERE port = ?", port);
}

void forget_learned_at(Database &database, RowId port) {
  database.execute("DELETE FROM mac_entry WHERE port = ? AND type = ?", port, VS_MAC_ADDR_TYPE_LEARNED);
}

void forget_learned_in(Database &database, RowId vswitch, std::vector<bool> const &vlans) {
  for (std::size_t vlan = 0; vlan < vlans.size(); ++vlan) {
    if (vlans[vlan]) {
      database.execute("DELETE FROM mac_entry WHERE vswitch = ? AND type = ? AND vid = ?", vswitch,
                       VS_MAC_ADDR_TYPE_LEARNED, static_cast<std::int64_t>(vlan));
    }
  }
}

void forget_aged(Database &database, RowId vswitch, std::int64_t oldest) {
  database.execute("DELETE FROM mac_entry WHERE vswitch = ? AND type = ? AND aging AND seen <= ?", vswitch,
                   VS_MAC_ADDR_TYPE_LEARNED, oldest);
}

bool has_timed_traffic(Database &database) {
  return database.rows("SELECT 1 FROM mac_entry").next() || database.rows("SELECT 1 FROM multicast_group").next() ||
         has_partners(database);
}

void forget_own_groups(Database &database, RowId port) {
  database.execute(
      "DELETE FROM multicast_source WHERE port = ?1 AND group_address IN"
      " (SELECT address FROM multicast_group WHERE port = ?1 AND expiry IS NULL)",
      port);
  database.execute("DELETE FROM multicast_group WHERE port = ? AND expiry IS NULL", port);
}

// ---- counters ------------------------------------------------------------------------------------------

PortCounters load_port_counters(Database &database, RowId port) {
  PortCounters counters;
  Rows row = database.rows("SELECT port" HOST_PORT_COUNTERS(COLUMN) " FROM port_counter WHERE port = ?", port);
  int column = 0;
  if (row.next()) {
    HOST_PORT_COUNTERS(READ)
  }
  return counters;
}

std::vector<CountedPort> all_port_counters(Database &database) {
  std::vector<CountedPort> ports;
  Rows row = database.rows("SELECT port" HOST_PORT_COUNTERS(COLUMN) " FROM port_counter ORDER BY port");
  while (row.next()) {
    PortCounters counters;
    int column = 0;
    HOST_PORT_COUNTERS(READ)
    ports.push_back({row.integer(0), counters});
  }
  return ports;
}

void store_port_counters(Database &database, RowId vswitch, RowId port, PortCounters const &counters) {
  // One that is there is changed in its place, which costs a fraction.
  int const stored = database.execute("UPDATE port_counter SET macs_moved = macs_moved" HOST_PORT_COUNTERS(
                                          SET) " WHERE port = ?" HOST_PORT_COUNTERS(VALUE),
                                      port);
  if (stored != 0)
    return;
  database.execute("INSERT INTO port_counter (port, vswitch" HOST_PORT_COUNTERS(
                       COLUMN) ") VALUES (?, ?" HOST_PORT_COUNTERS(MARK) ")",
                   port, vswitch HOST_PORT_COUNTERS(VALUE));
}

bool store_unicast_counters(Database &database, RowId port, PortCounters const &counters) {
  return database.execute(
             "UPDATE port_counter SET packets_in_unicast = ?, bytes_in_unicast = ?, packets_out_unicast = ?,"
             " bytes_out_unicast = ? WHERE port = ?" VALUE(packets_in_unicast) VALUE(bytes_in_unicast)
                 VALUE(packets_out_unicast) VALUE(bytes_out_unicast),
             port) != 0;
}

void count_at_port(Database &database, RowId vswitch, RowId port, std::uint64_t PortCounters::*counter) {
  PortCounters counters = load_port_counters(database, port);
  ++(counters.*counter);
  store_port_counters(database, vswitch, port, counters);
}

SwitchCounters load_switch_counters(Database &database, RowId vswitch) {
  SwitchCounters counters;
  Rows row =
      database.rows("SELECT vswitch" HOST_SWITCH_COUNTERS(COLUMN) " FROM switch_counter WHERE vswitch = ?", vswitch);
  int column = 0;
  if (row.next()) {
    HOST_SWITCH_COUNTERS(READ)
  }
  return counters;
}

void store_switch_counters(Database &database, RowId vswitch, SwitchCounters const &counters) {
  database.execute("INSERT OR REPLACE INTO switch_counter (vswitch" HOST_SWITCH_COUNTERS(
                       COLUMN) ") VALUES (?" HOST_SWITCH_COUNTERS(MARK) ")",
                   vswitch HOST_SWITCH_COUNTERS(VALUE));
}

// ---- MAC tables ----------------------------------------------------------------------------------------

std::vector<MacRow> mac_rows_of_type(Database &database, RowId vswitch, std::int64_t type) {
  return read_mac_rows(database.rows(
      "SELECT " ENTRY_COLUMNS " FROM mac_entry WHERE vswitch = ? AND type = ? ORDER BY mac, vid, vni", vswitch, type));
}

std::vector<MacRow> mac_rows(Database &database, RowId vswitch, TableSide side, std::int64_t oldest) {
  return read_mac_rows(database.rows("SELECT " ENTRY_COLUMNS
                                     " FROM mac_entry WHERE vswitch = ? AND team = ? AND (NOT aging OR seen > ?)",
                                     vswitch, number(side), oldest));
}

std::vector<MacRow> port_mac_rows(Database &database, RowId port, std::int64_t oldest) {
  return read_mac_rows(database.rows(
      "SELECT " ENTRY_COLUMNS " FROM mac_entry WHERE port = ? AND (NOT aging OR seen > ?)", port, oldest));
}

std::vector<MacRow> user_mac_rows(Database &database, RowId port) {
  return read_mac_rows(database.rows("SELECT " ENTRY_COLUMNS
                                     " FROM mac_entry WHERE port = ? AND type = ? ORDER BY mac, vid, vni",
                                     port, VS_MAC_ADDR_TYPE_USER));
}

std::optional<MacRow> find_mac_row(Database &database, RowId vswitch, MacKey const &key, std::int64_t type) {
  Rows row = database.rows("SELECT " ENTRY_COLUMNS
                           " FROM mac_entry WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND type = ?",
                           vswitch, Blob{mac_bytes(key.mac)}, key.vid, key.vni, type);
  if (!row.next())
    return std::nullopt;
  return read_mac_row(row);
}

void add_mac_row(Database &database, RowId vswitch, TableSide side, MacRow const &row) {
  database.execute("INSERT INTO mac_entry (vswitch, team, " ENTRY_COLUMNS ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
                   vswitch, number(side), Blob{mac_bytes(row.key.mac)}, row.key.vid, row.key.vni, row.type, row.port,
                   row.aging, row.seen, row.moves);
}

void refresh_mac_row(Database &database, RowId vswitch, MacRow const &row) {
  database.execute(
      "UPDATE mac_entry SET aging = ?, seen = ? WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND type = ?",
      row.aging, row.seen, vswitch, Blob{mac_bytes(row.key.mac)}, row.key.vid, row.key.vni, row.type);
}

void store_learned_row(Database &database, RowId vswitch, TableSide side, MacRow const &row) {
  // Entries are counted by port: one that has moved leaves its port, and comes to the other.
  int const stored =
      database.execute("INSERT INTO mac_entry (vswitch, team, " ENTRY_COLUMNS
                       ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"
                       " ON CONFLICT DO UPDATE SET aging = excluded.aging, seen = excluded.seen, moves = excluded.moves"
                       " WHERE port = excluded.port",
                       vswitch, number(side), Blob{mac_bytes(row.key.mac)}, row.key.vid, row.key.vni,
                       VS_MAC_ADDR_TYPE_LEARNED, row.port, row.aging, row.seen, row.moves);
  if (stored != 0)
    return;
  remove_mac_row(database, vswitch, row.key, VS_MAC_ADDR_TYPE_LEARNED);
  add_mac_row(database, vswitch, side, row);
}

void remove_mac_row(Database &database, RowId vswitch, MacKey const &key, std::int64_t type) {
  database.execute("DELETE FROM mac_entry WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND type = ?", vswitch,
                   Blob{mac_bytes(key.mac)}, key.vid, key.vni, type);
}

bool remove_mac_row_at(Database &database, RowId vswitch, RowId port, MacKey const &key, std::int64_t type,
                       std::int64_t oldest) {
  // By the whole key: SQLite would note other rows before it deletes them, in a table that it makes each time.
  auto const remove = [&](std::int64_t one) {
    return database.execute(
               "DELETE FROM mac_entry WHERE vswitch = ? AND mac = ? AND vid = ? AND vni = ? AND type = ?"
               " AND port = ? AND (NOT aging OR seen > ?)",
               vswitch, Blob{mac_bytes(key.mac)}, key.vid, key.vni, one, port, oldest) != 0;
  };
  if (type != VS_MAC_ADDR_TYPE_ALL)
    return remove(type);
  bool const was_set = remove(VS_MAC_ADDR_TYPE_USER);
  return remove(VS_MAC_ADDR_TYPE_LEARNED) || was_set;
}

bool port_has_mac_rows(Database &database, RowId port, std::int64_t count, std::int64_t oldest) {
  std::int64_t const all = only_number(database.rows("SELECT entries FROM mac_entry_count WHERE port = ?", port));
  return all >= count && all - count_aged_at(database, port, oldest) >= count;
}

bool side_has_learned(Database &database, RowId vswitch, TableSide side, std::int64_t count, std::int64_t oldest) {
  std::int64_t const all = only_number(
      database.rows("SELECT learned FROM learned_count WHERE vswitch = ? AND team = ?", vswitch, number(side)));
  if (all < count)
    return false;
  return all - only_number(database.rows(
                   "SELECT count(*) FROM mac_entry WHERE vswitch = ? AND team = ? AND type = ? AND aging AND seen <= ?",
                   vswitch, number(side), VS_MAC_ADDR_TYPE_LEARNED, oldest)) >=
         count;
}

std::int64_t count_learned_at(Database &database, RowId port, std::int64_t oldest) {
  std::int64_t const all = only_number(database.rows("SELECT learned FROM mac_entry_count WHERE port = ?", port));
  return all == 0 ? 0 : all - count_aged_at(database, port, oldest);
}

void set_table_side(Database &database, RowId port, TableSide side) {
  database.execute("UPDATE mac_entry SET team = ? WHERE port = ? AND type = ?", number(side), port,
                   VS_MAC_ADDR_TYPE_USER);
  database.execute("UPDATE rtm_saved_mac_entry SET team = ? WHERE port = ?", number(side), port);
}

// ---- mirror sessions -----------------------------------------------------------------------------------

void set_session_rows(Database &database, RowId vswitch, RowId port, std::vector<SessionRow> const &sessions) {
  std::vector<std::string> gone;
  {
    Rows rows =
        database.rows("SELECT sid FROM mirror_session WHERE vswitch = ? AND ifnull(port, 0) = ?", vswitch, port);
    while (rows.next())
      gone.push_back(rows.text(0));
  }
  for (SessionRow const &session : sessions)
    std::erase(gone, session.sid);
  for (std::string const &sid : gone)
    database.execute("DELETE FROM mirror_session WHERE vswitch = ? AND sid = ?", vswitch, sid);
  std::int64_t position = 0;
  for (SessionRow const &session : sessions) {
    database.execute(
        "INSERT INTO mirror_session (vswitch, sid, port, position, name, enabled)"
        " VALUES (?1, ?2, nullif(?3, 0), ?4, ?5, ?6)"
        " ON CONFLICT DO UPDATE SET position = excluded.position, name = excluded.name, enabled = excluded.enabled"
        " WHERE port IS excluded.port",
        vswitch, session.sid, port, ++position, session.name, session.enabled);
  }
}

void forget_sessions(Database &database, RowId vswitch) {
  database.execute("DELETE FROM mirror_session WHERE vswitch = ?", vswitch);
}

void forget_sessions_of_port(Database &database, RowId vswitch, RowId port) {
  database.execute("DELETE FROM mirror_session WHERE vswitch = ? AND port = ?", vswitch, port);
}

bool has_session_elsewhere(Database &database, RowId vswitch, RowId port, std::string_view sid) {
  return database
      .rows("SELECT 1 FROM mirror_session WHERE vswitch = ? AND sid = ? AND ifnull(port, 0) <> ?", vswitch, sid, port)
      .next();
}

std::vector<EnabledSession> enabled_sessions(Database &database, RowId vswitch) {
  std::vector<EnabledSession> sessions;
  Rows rows = database.rows(
      "SELECT sid, ifnull(port, 0) FROM mirror_session AS one WHERE vswitch = ? AND enabled"
      " ORDER BY one.port, position",
      vswitch);
  while (rows.next())
    sessions.push_back({rows.text(0), rows.integer(1)});
  return sessions;
}

std::optional<SessionStatistics> session_statistics(Database &database, RowId vswitch, std::string_view sid) {
  Rows row =
      database.rows("SELECT name, " STATISTICS " FROM mirror_session WHERE vswitch = ? AND sid = ?", vswitch, sid);
  if (!row.next())
    return std::nullopt;
  return SessionStatistics{row.text(0), read_statistics(row, 1)};
}

std::vector<SessionTraffic> all_session_traffic(Database &database, RowId vswitch) {
  std::vector<SessionTraffic> sessions;
  Rows rows =
      database.rows("SELECT sid, seen, " STATISTICS " FROM mirror_session WHERE vswitch = ? ORDER BY sid", vswitch);
  while (rows.next()) {
    sessions.push_back({rows.text(0), read_statistics(rows, 2), static_cast<std::uint64_t>(rows.integer(1)), {}});
    Rows sent =
        database.rows("SELECT address, sequence FROM mirror_destination WHERE vswitch = ? AND sid = ? ORDER BY address",
                      vswitch, sessions.back().sid);
    while (sent.next())
      sessions.back().sent.push_back({sent.text(0), static_cast<std::uint64_t>(sent.integer(1))});
  }
  return sessions;
}

void store_session_traffic(Database &database, RowId vswitch, SessionTraffic const &traffic) {
  store_session_statistics(database, vswitch, traffic.sid, traffic.statistics);
  database.execute("UPDATE mirror_session SET seen = ? WHERE vswitch = ? AND sid = ?",
                   static_cast<std::int64_t>(traffic.seen), vswitch, traffic.sid);
  for (SentCopies const &sent : traffic.sent) {
    database.execute(
        "INSERT INTO mirror_destination (vswitch, sid, address, sequence) VALUES (?, ?, ?, ?)"
        " ON CONFLICT DO UPDATE SET sequence = excluded.sequence",
        vswitch, traffic.sid, Blob{sent.address}, static_cast<std::int64_t>(sent.number));
  }
}

bool store_session_statistics(Database &database, RowId vswitch, std::string_view sid, MirrorStatistics const &all) {
  auto const number = [](std::uint64_t value) { return static_cast<std::int64_t>(value); };
  return database.execute(
             "UPDATE mirror_session SET copies = ?, copies_failed = ?, mirrored = ?, discarded = ?, failed = ?"
             " WHERE vswitch = ? AND sid = ?",
             number(all.copies), number(all.copies_failed), number(all.mirrored), number(all.discarded),
             number(all.failed), vswitch, sid) != 0;
}

// ---- timers --------------------------------------------------------------------------------------------

namespace {

void add_timer(Database &database, RowId vswitch, TimerRow const &timer) {
  database.execute("INSERT INTO timer (vswitch, kind, port, detail, due) VALUES (?, ?, ?, ?, ?)", vswitch, timer.kind,
                   timer.port, Blob{timer.detail}, timer.due);
}

}  // namespace

std::vector<TimerRow> load_timers(Database &database, RowId vswitch) {
  std::vector<TimerRow> timers;
  Rows row = database.rows("SELECT kind, port, detail, due FROM timer WHERE vswitch = ? ORDER BY kind, port", vswitch);
  while (row.next())
    timers.push_back({row.integer(0), row.integer(1), row.text(2), row.integer(3)});
  return timers;
}

void store_timers(Database &database, RowId vswitch, std::vector<TimerRow> const &timers) {
  database.execute("DELETE FROM timer WHERE vswitch = ?", vswitch);
  for (TimerRow const &timer : timers)
    add_timer(database, vswitch, timer);
}

void set_timer(Database &database, RowId vswitch, TimerRow const &timer) {
  clear_timer(database, vswitch, timer.kind, timer.port);
  add_timer(database, vswitch, timer);
}

void clear_timer(Database &database, RowId vswitch, std::int64_t kind, RowId port) {
  database.execute("DELETE FROM timer WHERE vswitch = ? AND kind = ? AND port = ?", vswitch, kind, port);
}

// ---- multicast groups ----------------------------------------------------------------------------------

namespace {

#define GROUP_COLUMNS "address, version, source_mode, vni, updated, expiry"

// From a column on.
JoinedGroup read_group(Database &database, RowId port, Rows const &row, int first) {
  JoinedGroup joined{{row.text(first),
                      static_cast<std::uint32_t>(row.integer(first + 1)),
                      static_cast<std::uint32_t>(row.integer(first + 2)),
                      static_cast<std::uint32_t>(row.integer(first + 3)),
                      {}},
                     row.integer(first + 4)};
  if (!row.is_null(first + 5))
    joined.expiry = row.integer(first + 5);
  Rows sources =
      database.rows("SELECT address FROM multicast_source WHERE port = ? AND group_address = ? ORDER BY address", port,
                    Blob{joined.group.address});
  while (sources.next())
    joined.group.sources.push_back(sources.text(0));
  return joined;
}

std::vector<JoinedGroup> read_groups(Database &database, RowId port, Rows rows) {
  std::vector<JoinedGroup> groups;
  while (rows.next())
    groups.push_back(read_group(database, port, rows, 0));
  return groups;
}

}  // namespace

std::vector<JoinedGroup> joined_groups(Database &database, RowId port) {
  return read_groups(database, port,
                     database.rows("SELECT " GROUP_COLUMNS
                                   " FROM multicast_group WHERE port = ? AND ifnull(expiry > ?, 1) ORDER BY address",
                                   port, clock_now(database)));
}

std::vector<JoinedGroup> own_groups(Database &database, RowId port) {
  return read_groups(
      database, port,
      database.rows("SELECT " GROUP_COLUMNS " FROM multicast_group WHERE port = ? AND expiry IS NULL ORDER BY address",
                    port));
}

std::optional<JoinedGroup> find_group(Database &database, RowId port, std::string_view address) {
  Rows row = database.rows("SELECT " GROUP_COLUMNS
                           " FROM multicast_group WHERE port = ? AND address = ? AND ifnull(expiry > ?, 1)",
                           port, Blob{address}, clock_now(database));
  if (!row.next())
    return std::nullopt;
  return read_group(database, port, row, 0);
}

std::vector<PortGroup> all_groups(Database &database, RowId vswitch) {
  std::vector<PortGroup> groups;
  Rows rows = database.rows(
      "SELECT port, " GROUP_COLUMNS " FROM multicast_group WHERE vswitch = ? ORDER BY port, address", vswitch);
  while (rows.next())
    groups.push_back({rows.integer(0), read_group(database, rows.integer(0), rows, 1)});
  return groups;
}

void add_group(Database &database, RowId vswitch, RowId port, JoinedGroup const &joined) {
  MulticastGroup const &group = joined.group;
  database.execute(
      "INSERT INTO multicast_group (port, vswitch, address, version, source_mode, vni, updated)"
      " VALUES (?, ?, ?, ?, ?, ?, ?)",
      port, vswitch, Blob{group.address}, group.version, group.source_mode, group.vni, joined.updated);
  if (joined.expiry) {
    database.execute("UPDATE multicast_group SET expiry = ? WHERE port = ? AND address = ?", *joined.expiry, port,
                     Blob{group.address});
  }
  for (std::string const &source : group.sources) {
    database.execute(
        "INSERT OR IGNORE INTO multicast_source (port, vswitch, group_address, address) VALUES (?, ?, ?, ?)", port,
        vswitch, Blob{group.address}, Blob{source});
  }
}

void store_group(Database &database, RowId vswitch, RowId port, JoinedGroup const &joined) {
  remove_group(database, port, joined.group.address);
  add_group(database, vswitch, port, joined);
}

void remove_group(Database &database, RowId port, std::string_view address) {
  database.execute("DELETE FROM multicast_source WHERE port = ? AND group_address = ?", port, Blob{address});
  database.execute("DELETE FROM multicast_group WHERE port = ? AND address = ?", port, Blob{address});
}

std::vector<RouterPortRow> load_router_ports(Database &database) {
  std::vector<RouterPortRow> ports;
  Rows row = database.rows("SELECT port, ip_version, expiry FROM router_port ORDER BY port, ip_version");
  while (row.next())
    ports.push_back({row.integer(0), row.integer(1), row.integer(2)});
  return ports;
}

void store_router_port(Database &database, RouterPortRow const &port) {
  database.execute("INSERT OR REPLACE INTO router_port (port, ip_version, expiry) VALUES (?, ?, ?)", port.port,
                   port.ip_version, port.expiry);
}

void remove_router_port(Database &database, RowId port, std::int64_t ip_version) {
  database.execute("DELETE FROM router_port WHERE port = ? AND ip_version = ?", port, ip_version);
}

}  // namespace host
