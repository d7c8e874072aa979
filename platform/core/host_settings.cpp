// What is set for the host as a whole, by name.
#include "platform/core/host_settings.hpp"

namespace host {

std::optional<std::string> host_setting(Database &database, std::string_view name) {
  Rows row = database.rows("SELECT value FROM host_setting WHERE name = ?", name);
  if (!row.next())
    return std::nullopt;
  return row.text(0);
}

void set_host_setting(Database &database, std::string_view name, std::string_view value, Lifetime lifetime) {
  database.execute(
      "INSERT INTO host_setting (name, value, volatile) VALUES (?, ?, ?)"
      " ON CONFLICT DO UPDATE SET value = excluded.value, volatile = excluded.volatile",
      name, Blob{value}, lifetime == Lifetime::until_boot);
}

void clear_host_setting(Database &database, std::string_view name) {
  database.execute("DELETE FROM host_setting WHERE name = ?", name);
}

void forget_volatile_settings(Database &database) {
  database.execute("DELETE FROM host_setting WHERE volatile");
}

}  // namespace host
