// Ports that let no frames through: by their properties, or while their switch is in save and restore.
#include "platform/core/blocking.hpp"

#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"

namespace host {

bool is_blocked(Database &database, RowId port) {
  PropertyPlace const place{port_by_number(database, port).vswitch, Scope::port, port};
  for (char const *name : {QEL_HNQPROP_PORT_BLOCK, QEL_HNQPORT_FORWARD_NOT_READY_BLOCK}) {
    if (is_on(get_property(database, place, name)))
      return true;
  }
  return database.rows("SELECT 1 FROM rtm_blocked_port WHERE port = ?", port).next();
}

std::vector<RowId> ports_blocked_in_rtm(Database &database) {
  std::vector<RowId> ports;
  Rows rows = database.rows("SELECT port FROM rtm_blocked_port ORDER BY port");
  while (rows.next())
    ports.push_back(rows.integer(0));
  return ports;
}

void block_for_world(Database &database, RowId port, std::int64_t world) {
  database.execute(
      "INSERT INTO rtm_blocked_port (port, world) VALUES (?, ?) ON CONFLICT DO UPDATE SET world = excluded.world", port,
      world);
}

std::optional<std::int64_t> blocking_world(Database &database, RowId port) {
  Rows row = database.rows("SELECT world FROM rtm_blocked_port WHERE port = ?", port);
  if (!row.next() || row.is_null(0))
    return std::nullopt;
  return row.integer(0);
}

void unblock(Database &database, RowId port) {
  database.execute("DELETE FROM rtm_blocked_port WHERE port = ?", port);
}

void block_all_ports(Database &database, RowId vswitch) {
  for (PortRow const &port : load_ports(database, vswitch))
    database.execute("INSERT OR IGNORE INTO rtm_blocked_port (port, world) VALUES (?, NULL)", port.row);
}

void unblock_all_ports(Database &database, RowId vswitch) {
  for (PortRow const &port : load_ports(database, vswitch))
    unblock(database, port.row);
}

void forget_blocked_ports(Database &database) {
  database.execute("DELETE FROM rtm_blocked_port");
}

}  // namespace host
