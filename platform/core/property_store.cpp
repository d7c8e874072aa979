// The values of properties as they were written, whatever the rules of their names say.
#include "platform/core/property_store.hpp"

namespace host {

namespace {

template <typename Enumeration>
int number(Enumeration value) {
  return static_cast<int>(value);
}

#define AT_PLACE "vswitch = ? AND scope = ? AND port = ?"
#define PLACED_COLUMNS "vswitch, scope, port, name, owner, type, value"

std::optional<std::string> only_text(Rows row) {
  if (!row.next())
    return std::nullopt;
  return row.text(0);
}

// Of PLACED_COLUMNS and perhaps a lifetime behind them.
std::vector<PlacedProperty> read_placed(Rows rows, bool with_lifetime) {
  std::vector<PlacedProperty> list;
  while (rows.next()) {
    list.push_back({{rows.integer(0), static_cast<Scope>(rows.integer(1)), rows.integer(2)},
                    {rows.text(3), rows.text(4), static_cast<std::uint32_t>(rows.integer(5)),
                     !with_lifetime || rows.integer(7) != 0, rows.text(6)}});
  }
  return list;
}

}  // namespace

std::optional<std::string> stored_value(Database &database, PropertyPlace const &place, std::string_view name,
                                        Lifetime lifetime) {
  return only_text(database.rows("SELECT value FROM property WHERE " AT_PLACE
                                 " AND name = ? AND lifetime <= ? ORDER BY lifetime DESC LIMIT 1",
                                 place.vswitch, number(place.scope), place.port, name, number(lifetime)));
}

std::optional<StoredProperty> value_in_effect(Database &database, PropertyPlace const &place, std::string_view name) {
  Rows row = database.rows("SELECT owner, type, lifetime, value FROM property WHERE " AT_PLACE
                           " AND name = ? ORDER BY lifetime DESC LIMIT 1",
                           place.vswitch, number(place.scope), place.port, name);
  if (!row.next())
    return std::nullopt;
  return StoredProperty{std::string(name), row.text(0), static_cast<std::uint32_t>(row.integer(1)), row.integer(2) != 0,
                        row.text(3)};
}

std::optional<std::string> value_without_type(Database &database, PropertyPlace const &place, std::string_view name,
                                              std::uint32_t type) {
  return only_text(database.rows("SELECT value FROM property WHERE " AT_PLACE
                                 " AND name = ? AND type & ? = 0 ORDER BY lifetime DESC LIMIT 1",
                                 place.vswitch, number(place.scope), place.port, name, type));
}

std::optional<std::string> stored_owner(Database &database, PropertyPlace const &place, std::string_view name) {
  return only_text(database.rows("SELECT owner FROM property WHERE " AT_PLACE " AND name = ? LIMIT 1", place.vswitch,
                                 number(place.scope), place.port, name));
}

void store_value(Database &database, PropertyPlace const &place, std::string_view name, PropertyWrite const &write) {
  if (write.lifetime == Lifetime::persistent)
    remove_value(database, place, name, Lifetime::until_boot);
  database.execute(
      "INSERT INTO property (vswitch, scope, port, name, lifetime, owner, type, value) VALUES (?, ?, ?, ?, ?, ?, ?, ?)"
      " ON CONFLICT DO UPDATE SET owner = excluded.owner, type = excluded.type, value = excluded.value",
      place.vswitch, number(place.scope), place.port, name, number(write.lifetime), write.owner, write.type,
      Blob{write.value});
}

void store_owner(Database &database, PropertyPlace const &place, std::string_view name, std::string_view owner) {
  database.execute("UPDATE property SET owner = ? WHERE " AT_PLACE " AND name = ?", owner, place.vswitch,
                   number(place.scope), place.port, name);
}

bool remove_value(Database &database, PropertyPlace const &place, std::string_view name, Lifetime lifetime) {
  // One by one: SQLite would note the rows of a range before it deletes them, in a table that it makes each time.
  auto const remove = [&](Lifetime one) {
    return database.execute("DELETE FROM property WHERE " AT_PLACE " AND name = ? AND lifetime = ?", place.vswitch,
                            number(place.scope), place.port, name, number(one)) != 0;
  };
  bool const was_volatile = remove(Lifetime::until_boot);
  return (lifetime == Lifetime::persistent && remove(Lifetime::persistent)) || was_volatile;
}

std::vector<StoredProperty> stored_properties(Database &database, PropertyPlace const &place, Values values) {
  std::vector<StoredProperty> list;
  Rows rows = database.rows("SELECT name, owner, type, lifetime, value FROM property WHERE " AT_PLACE
                            " ORDER BY name, lifetime",
                            place.vswitch, number(place.scope), place.port);
  while (rows.next()) {
    StoredProperty property{rows.text(0), rows.text(1), static_cast<std::uint32_t>(rows.integer(2)),
                            rows.integer(3) != 0, rows.text(4)};
    // The volatile value follows the persistent one, and is the one in effect.
    if (values == Values::in_effect && !list.empty() && list.back().name == property.name)
      list.pop_back();
    list.push_back(std::move(property));
  }
  return list;
}

std::vector<PlacedProperty> values_of_switch(Database &database, RowId vswitch, std::string_view name) {
  return read_placed(
      database.rows("SELECT " PLACED_COLUMNS ", lifetime FROM property WHERE vswitch = ? AND name = ?", vswitch, name),
      true);
}

std::vector<PlacedProperty> all_values(Database &database) {
  return read_placed(database.rows("SELECT " PLACED_COLUMNS ", lifetime FROM property ORDER BY vswitch, port, name"),
                     true);
}

std::vector<PlacedProperty> volatile_values(Database &database, RowId vswitch) {
  return read_placed(database.rows("SELECT " PLACED_COLUMNS " FROM property WHERE lifetime = 1 AND ? IN (vswitch, ?)",
                                   vswitch, all_switches),
                     false);
}

void remove_volatile_values(Database &database, RowId vswitch) {
  database.execute("DELETE FROM property WHERE lifetime = 1 AND ? IN (vswitch, ?)", vswitch, all_switches);
}

void remove_values_of_switch(Database &database, RowId vswitch) {
  database.execute("DELETE FROM property WHERE vswitch = ?", vswitch);
}

void remove_values_of_port(Database &database, PropertyPlace const &port) {
  database.execute("DELETE FROM property WHERE " AT_PLACE, port.vswitch, number(port.scope), port.port);
}

void forget_values_of_port(Database &database, PropertyPlace const &port) {
  remove_values_of_port(database, port);
  database.execute("DELETE FROM rtm_saved_property WHERE " AT_PLACE, port.vswitch, number(port.scope), port.port);
}

void save_volatile_values(Database &database, RowId vswitch) {
  database.execute("INSERT INTO rtm_saved_property (" PLACED_COLUMNS ") SELECT " PLACED_COLUMNS
                   " FROM property WHERE vswitch = ? AND lifetime = 1",
                   vswitch);
}

std::vector<PlacedProperty> saved_values(Database &database, RowId vswitch) {
  return read_placed(database.rows("SELECT " PLACED_COLUMNS " FROM rtm_saved_property WHERE vswitch = ?", vswitch),
                     false);
}

void forget_saved_values(Database &database, RowId vswitch) {
  database.execute("DELETE FROM rtm_saved_property WHERE ? IN (vswitch, ?)", vswitch, all_switches);
}

}  // namespace host
