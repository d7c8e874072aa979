// The counters of switches and ports.
#include "platform/core/counters.hpp"

namespace host {

std::uint64_t read_counter(Database &database, RowId vswitch, RowId port, std::string_view name) {
  Rows row =
      database.rows("SELECT value FROM counter WHERE vswitch = ? AND port = ? AND name = ?", vswitch, port, name);
  return row.next() ? static_cast<std::uint64_t>(row.integer(0)) : 0;
}

void set_counter(Database &database, RowId vswitch, RowId port, std::string_view name, std::uint64_t value) {
  database.execute(
      "INSERT INTO counter (vswitch, port, name, value) VALUES (?, ?, ?, ?)"
      " ON CONFLICT DO UPDATE SET value = excluded.value",
      vswitch, port, name, static_cast<std::int64_t>(value));
}

// The sum is made here: counters wrap at 64 bits, SQLite's integers do not.
void add_to_counter(Database &database, RowId vswitch, RowId port, std::string_view name, std::uint64_t amount) {
  set_counter(database, vswitch, port, name, read_counter(database, vswitch, port, name) + amount);
}

void forget_all_counters(Database &database) {
  database.execute("DELETE FROM counter");
}

}  // namespace host
