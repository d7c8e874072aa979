// The uplink ports of the switches and the physical NICs behind them.
#include "platform/core/uplinks.hpp"

#include "platform/core/clock.hpp"

namespace host {

namespace {

std::optional<RowId> only_number(Rows row) {
  if (!row.next())
    return std::nullopt;
  return row.integer(0);
}

}  // namespace

// ---- physical NICs -------------------------------------------------------------------------------------

void add_physical_nic(Database &database, PhysicalNic const &nic) {
  refuse_if(nic_by_name(database, nic.name).has_value(), QEL_EXISTS);
  database.execute(
      "INSERT INTO physical_nic (name, mac, driver, speed, duplex, carrier, numa_node, smartnic, errors, segment)"
      " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      nic.name, Blob{mac_bytes(nic.mac)}, nic.driver, nic.speed, nic.duplex, nic.carrier, nic.numa_node, nic.smartnic,
      nic.errors, nic.segment);
}

std::optional<RowId> nic_by_name(Database &database, std::string_view name) {
  return only_number(database.rows("SELECT id FROM physical_nic WHERE name = ?", name));
}

std::vector<NicRow> load_nics(Database &database) {
  std::vector<NicRow> nics;
  Rows rows = database.rows(
      "SELECT id, name, mac, driver, speed, duplex, carrier, numa_node, smartnic, admin_up, errors, segment,"
      " recovery, link_back FROM physical_nic ORDER BY id");
  while (rows.next()) {
    nics.push_back({rows.integer(0),
                    {rows.text(1), mac_from(rows.bytes(2)), rows.text(3), rows.integer(4), rows.integer(5),
                     rows.integer(6) != 0, rows.integer(7), rows.integer(8) != 0, rows.integer(10), rows.text(11)},
                    rows.integer(9) != 0,
                    rows.integer(12),
                    rows.integer_or_none(13)});
  }
  return nics;
}

void set_carrier(Database &database, RowId nic, bool up) {
  database.execute(
      "UPDATE physical_nic SET carrier = ?1, recovery = CASE WHEN ?1 AND NOT carrier"
      " THEN (SELECT max(recovery) + 1 FROM physical_nic) ELSE recovery END,"
      " link_back = CASE WHEN ?1 AND admin_up AND NOT carrier THEN ?2 ELSE link_back END WHERE id = ?3",
      up, clock_now(database), nic);
}

void set_admin_link_state(Database &database, Uplink const &uplink, bool up) {
  refuse_if(!uplink.nic, QEL_NO_SUCH_DEVICE);
  database.execute(
      "UPDATE physical_nic SET admin_up = ?1, recovery = CASE WHEN ?1 AND NOT admin_up"
      " THEN (SELECT max(recovery) + 1 FROM physical_nic) ELSE recovery END,"
      " link_back = CASE WHEN ?1 AND carrier AND NOT admin_up THEN ?2 ELSE link_back END WHERE id = ?3",
      up, clock_now(database), *uplink.nic);
}

void set_nic_errors(Database &database, RowId nic, std::int64_t percent) {
  database.execute("UPDATE physical_nic SET errors = ? WHERE id = ?", percent, nic);
}

void set_nic_segment(Database &database, RowId nic, std::string_view segment) {
  database.execute("UPDATE physical_nic SET segment = ? WHERE id = ?", segment, nic);
}

void set_all_nics_up(Database &database) {
  database.execute("UPDATE physical_nic SET admin_up = 1, recovery = 0, link_back = NULL");
}

void refresh_numa_nodes(Database &database, RowId vswitch) {
  database.execute(
      "UPDATE uplink_port SET numa_node = (SELECT numa_node FROM physical_nic WHERE id = nic) WHERE vswitch = ?",
      vswitch);
}

void refresh_all_numa_nodes(Database &database) {
  database.execute("UPDATE uplink_port SET numa_node = (SELECT numa_node FROM physical_nic WHERE id = nic)");
}

bool has_smartnic(Database &database, RowId vswitch) {
  return database
      .rows(
          "SELECT 1 FROM uplink_port JOIN physical_nic ON physical_nic.id = uplink_port.nic"
          " WHERE uplink_port.vswitch = ? AND physical_nic.smartnic LIMIT 1",
          vswitch)
      .next();
}

// ---- NICs behind uplink ports --------------------------------------------------------------------------

std::optional<BoundUplink> bound_uplink(Database &database, RowId nic) {
  Rows row = database.rows("SELECT vswitch, port, name FROM uplink_port WHERE nic = ?", nic);
  if (!row.next())
    return std::nullopt;
  return BoundUplink{row.integer(0), row.integer(1), row.text(2)};
}

void bind_nic(Database &database, RowId vswitch, std::string_view uplink, std::string_view nic) {
  std::optional<RowId> const row = nic_by_name(database, nic);
  refuse_if(!row, QEL_NOT_FOUND);
  Uplink const target = find_uplink(database, vswitch, uplink);
  if (target.nic == row)
    return;
  refuse_if(bound_uplink(database, *row).has_value(), QEL_BUSY);
  database.execute("UPDATE uplink_port SET nic = ?, numa_node = NULL WHERE port = ?", *row, target.port);
}

std::vector<NicBinding> nic_bindings(Database &database) {
  std::vector<NicBinding> bindings;
  Rows rows = database.rows("SELECT vswitch, port, nic, numa_node FROM uplink_port WHERE nic IS NOT NULL");
  while (rows.next())
    bindings.push_back({rows.integer(0), rows.integer(1), rows.integer(2), rows.integer_or_none(3)});
  return bindings;
}

void release_nics(Database &database) {
  database.execute("UPDATE uplink_port SET nic = NULL, numa_node = NULL");
}

void bind_nic_again(Database &database, NicBinding const &binding) {
  set_uplink_nic(database, binding.port, binding.nic);
}

void restore_numa_node(Database &database, NicBinding const &binding) {
  if (binding.numa_node) {
    database.execute("UPDATE uplink_port SET numa_node = ? WHERE port = ? AND nic = ?", *binding.numa_node,
                     binding.port, binding.nic);
  }
}

// ---- uplink ports --------------------------------------------------------------------------------------

std::vector<Uplink> load_uplinks(Database &database, RowId vswitch) {
  std::vector<Uplink> uplinks;
  Rows rows = database.rows(
      "SELECT uplink_port.name, uplink_port.port, uplink_port.nic, physical_nic.name,"
      " physical_nic.carrier AND physical_nic.admin_up, made_port, speed, duplex, recovery, link_back,"
      " uplink_port.numa_node, errors"
      " FROM uplink_port LEFT JOIN physical_nic ON physical_nic.id = uplink_port.nic"
      " WHERE uplink_port.vswitch = ? ORDER BY uplink_port.position",
      vswitch);
  while (rows.next()) {
    uplinks.push_back({rows.text(0), rows.integer(1), rows.integer_or_none(2), rows.text(3), rows.integer(4) != 0,
                       rows.integer(5) != 0, rows.integer(6), rows.integer(7), rows.integer(8), rows.integer_or_none(9),
                       rows.integer_or_none(10), rows.integer(11)});
  }
  return uplinks;
}

Uplink find_uplink(Database &database, RowId vswitch, std::string_view name) {
  std::vector<Uplink> const uplinks = load_uplinks(database, vswitch);
  for (Uplink const &uplink : uplinks) {
    if (uplink.name == name)
      return uplink;
  }
  for (Uplink const &uplink : uplinks) {
    if (uplink.nic && uplink.nic_name == name)
      return uplink;
  }
  refuse(QEL_NOT_FOUND);
}

std::optional<RowId> port_of_uplink(Database &database, std::string_view name) {
  std::optional<RowId> const nic = nic_by_name(database, name);
  if (std::optional<BoundUplink> const bound = nic ? bound_uplink(database, *nic) : std::nullopt)
    return bound->port;
  return only_number(database.rows("SELECT port FROM uplink_port WHERE name = ? ORDER BY vswitch LIMIT 1", name));
}

void insert_uplink(Database &database, RowId vswitch, RowId port, std::string_view name, bool made_port) {
  connect_client(database, port, VS_PORT_CLIENT_UPLINK, name, std::nullopt);
  database.execute("INSERT INTO uplink_port (port, vswitch, position, name, made_port) VALUES (?, ?, 0, ?, ?)", port,
                   vswitch, name, made_port);
}

void set_uplink_position(Database &database, RowId port, std::int64_t position) {
  database.execute("UPDATE uplink_port SET position = ? WHERE port = ?", position, port);
}

void set_uplink_nic(Database &database, RowId port, RowId nic) {
  database.execute("UPDATE uplink_port SET nic = ? WHERE port = ?", nic, port);
}

void remove_uplink(Database &database, RowId vswitch, Uplink const &uplink) {
  database.execute("DELETE FROM uplink_port WHERE port = ?", uplink.port);
  if (uplink.made_port)
    drop_port(database, vswitch, uplink.port);
  else
    disconnect_client(database, uplink.port);
}

void set_made_for_uplink(Database &database, RowId port, bool made) {
  database.execute("UPDATE uplink_port SET made_port = ? WHERE port = ?", made, port);
}

bool was_made_for_uplink(Database &database, RowId port) {
  return database.rows("SELECT 1 FROM uplink_port WHERE port = ? AND made_port", port).next();
}

void keep_ports_of_uplinks(Database &database, RowId vswitch) {
  database.execute("UPDATE uplink_port SET made_port = 0 WHERE vswitch = ?", vswitch);
}

}  // namespace host
