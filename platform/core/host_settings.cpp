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

void forget_volatile_settings(Database &database) {
  database.execute("DELETE FROM host_setting WHERE volatile");
}

void save_or_restore_settings(Database &database) {
  if (!database.rows("SELECT 1 FROM rtm_saved_setting LIMIT 1").next()) {
    database.execute("INSERT INTO rtm_saved_setting SELECT name, value, volatile FROM host_setting");
    // A mark, so that having no settings can be saved too.
    database.execute("INSERT INTO rtm_saved_setting (name, value, volatile) VALUES ('', x'', 1)");
    return;
  }
  database.execute("DELETE FROM host_setting");
  database.execute("INSERT INTO host_setting SELECT name, value, volatile FROM rtm_saved_setting WHERE name <> ''");
  forget_saved_settings(database);
}

void forget_saved_settings(Database &database) {
  database.execute("DELETE FROM rtm_saved_setting");
}

}  // namespace host
