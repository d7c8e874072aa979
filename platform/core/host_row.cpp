// What the state says of the host itself, in one row.
#include "platform/core/host_row.hpp"

namespace host {

// SQLite prepares for the failure of a change of several rows, which costs more than to find the only one first.
#define ONLY_ROW " WHERE rowid = (SELECT rowid FROM host)"

std::int64_t boot_count(Database &database) {
  Rows row = database.rows("SELECT boot_count FROM host");
  return row.next() ? row.integer(0) : 0;
}

void count_boot(Database &database) {
  database.execute("UPDATE host SET boot_count = boot_count + 1");
}

std::string host_description(Database &database) {
  Rows row = database.rows("SELECT text FROM first_description");
  return row.next() ? row.text(0) : std::string();
}

void keep_description(Database &database, std::string_view text) {
  database.execute("UPDATE first_description SET text = ?", text);
}

std::string state_id(Database &database) {
  Rows row = database.rows("SELECT state_id FROM host");
  return row.next() ? row.text(0) : std::string();
}

void renew_state_id(Database &database) {
  database.execute("UPDATE host SET state_id = hex(randomblob(16))");
}

std::optional<std::int64_t> stopped_at(Database &database) {
  Rows row = database.rows("SELECT stopped_clock FROM host");
  if (!row.next() || row.is_null(0))
    return std::nullopt;
  return row.integer(0);
}

void set_stopped_at(Database &database, std::optional<std::int64_t> time) {
  if (time)
    database.execute("UPDATE host SET stopped_clock = ?", *time);
  else
    database.execute("UPDATE host SET stopped_clock = NULL");
}

void note_new_configuration(Database &database) {
  if (database.version_known_dirty != database.data_version())
    database.execute("UPDATE host SET dirty = 1, generation = generation + 1" ONLY_ROW " AND dirty = 0");
}

void keep_knowing_configuration(Database &database) {
  database.version_known_dirty = database.data_version();
}

StateMark state_mark(Database &database) {
  Rows row =
      database.rows("SELECT state_id, generation, dirty, traffic_sequence, stopped_clock, events_until FROM host");
  if (!row.next())
    return {};
  StateMark mark{row.text(0), row.integer(1), row.integer(2) != 0, row.integer(3), std::nullopt, row.integer(5)};
  if (!row.is_null(4))
    mark.stopped_at = row.integer(4);
  return mark;
}

void note_new_traffic(Database &database, std::int64_t sequence, std::int64_t events_until) {
  database.execute("UPDATE host SET traffic_sequence = ?, events_until = ?" ONLY_ROW, sequence, events_until);
}

void note_taken_up(Database &database, std::int64_t sequence, std::int64_t events_until) {
  database.execute("UPDATE host SET traffic_sequence = ?, events_until = ?, dirty = 0" ONLY_ROW, sequence,
                   events_until);
}

void set_events_until(Database &database, std::int64_t time) {
  database.execute("UPDATE host SET events_until = ?", time);
}

}  // namespace host
