// The state of the distributed switches apart from their settings: port sets, kinds of ports, external identifiers.
#include "platform/core/switch_state.hpp"

namespace host {

namespace {

void refuse_if_in_use(Database &database, RowId vswitch) {
  Rows client = database.rows("SELECT 1 FROM port WHERE vswitch = ? AND client_type NOT IN (?, ?)", vswitch,
                              VS_PORT_CLIENT_UNKNOWN, VS_PORT_CLIENT_UPLINK);
  refuse_if(client.next(), QEL_BUSY);
}

std::int64_t kind_of(Database &database, RowId port) {
  Rows row = database.rows("SELECT kind FROM port WHERE id = ?", port);
  return row.next() ? row.integer(0) : DVSPORT_TYPE_INVALID;
}

}  // namespace

void give_portset(Database &database, RowId vswitch) {
  refuse_if(!load_switch(database, vswitch).portset.empty(), QEL_EXISTS);
  database.execute("UPDATE vswitch SET portset = 'portset-' || id WHERE id = ?", vswitch);
}

void take_portset(Database &database, RowId vswitch) {
  refuse_if(load_switch(database, vswitch).portset.empty(), QEL_IS_DISCONNECTED);
  refuse_if_in_use(database, vswitch);
  database.execute("UPDATE vswitch SET portset = NULL WHERE id = ?", vswitch);
}

void remove_switch_state(Database &database, RowId vswitch) {
  refuse_if(!load_switch(database, vswitch).portset.empty(), QEL_BUSY);
  destroy_switch(database, vswitch);
}

void raise_switch_version(Database &database, RowId vswitch, std::uint32_t version) {
  refuse_unknown_version(version);
  refuse_if(version < load_switch(database, vswitch).version, QEL_VERSION_MISMATCH_MAJOR);
  database.execute("UPDATE vswitch SET version = ? WHERE id = ?", version, vswitch);
}

void set_most_ports(Database &database, RowId vswitch, std::uint32_t max_ports) {
  refuse_if(max_ports == 0, QEL_BAD_PARAM);
  refuse_if(max_ports > most_ports, QEL_LIMIT_EXCEEDED);
  refuse_if(count_ports(database, vswitch) > max_ports, QEL_BUSY);
  database.execute("UPDATE vswitch SET max_ports = ? WHERE id = ?", max_ports, vswitch);
}

bool has_switch(Database &database, RowId vswitch) {
  return database.rows("SELECT 1 FROM vswitch WHERE id = ?", vswitch).next();
}

std::string dvport_id_of(Database &database, RowId port) {
  Rows row = database.rows("SELECT dvport_id FROM port WHERE id = ?", port);
  return row.next() ? row.text(0) : std::string();
}

std::vector<ListedPort> list_ports(Database &database, RowId vswitch) {
  std::vector<ListedPort> ports;
  Rows rows = database.rows("SELECT id, dvport_id, client_type, kind FROM port WHERE vswitch = ? ORDER BY id", vswitch);
  while (rows.next()) {
    bool const active = rows.integer(2) != VS_PORT_CLIENT_UNKNOWN && rows.integer(3) != DVSPORT_TYPE_ZOMBIE;
    ports.push_back({rows.integer(0), rows.text(1), active ? DVSPORT_TYPE_ACTIVE : static_cast<int>(rows.integer(3))});
  }
  return ports;
}

void set_port_kind(Database &database, RowId port, std::int64_t kind) {
  database.execute("UPDATE port SET kind = ? WHERE id = ?", kind, port);
}

RowId add_or_revive_port(Database &database, RowId vswitch, std::string_view dvport_id) {
  std::optional<Port> const port = find_port(database, vswitch, dvport_id);
  if (!port || kind_of(database, port->row) != DVSPORT_TYPE_ZOMBIE)
    return add_port(database, vswitch, dvport_id);
  set_port_kind(database, port->row, DVSPORT_TYPE_SHADOW);
  return port->row;
}

void remove_port_state(Database &database, RowId vswitch, std::string_view dvport_id) {
  Port const port = port_by_id(database, vswitch, dvport_id);
  refuse_if(port.client_type == VS_PORT_CLIENT_UPLINK, QEL_BUSY);
  if (port.client_type == VS_PORT_CLIENT_UNKNOWN) {
    drop_port(database, vswitch, port.row);
    return;
  }
  refuse_if(kind_of(database, port.row) == DVSPORT_TYPE_ZOMBIE, QEL_NOT_FOUND);
  database.execute("DELETE FROM property WHERE vswitch = ? AND scope = 2 AND port = ?", vswitch, port.row);
  database.execute("DELETE FROM mirror_session WHERE vswitch = ? AND port = ?", vswitch, port.row);
  set_port_kind(database, port.row, DVSPORT_TYPE_ZOMBIE);
  set_external_id(database, vswitch, port.row, {});
}

void drop_zombie_ports(Database &database) {
  std::vector<std::pair<RowId, RowId>> zombies;
  {
    Rows rows = database.rows("SELECT vswitch, id FROM port WHERE kind = ?", DVSPORT_TYPE_ZOMBIE);
    while (rows.next())
      zombies.emplace_back(rows.integer(0), rows.integer(1));
  }
  for (auto const &[vswitch, port] : zombies)
    drop_port(database, vswitch, port);
}

void set_external_id(Database &database, RowId vswitch, RowId port, std::string_view external_id) {
  if (external_id.empty()) {
    database.execute("UPDATE port SET external_id = NULL WHERE id = ?", port);
    return;
  }
  {
    Rows taken = database.rows("SELECT 1 FROM port WHERE vswitch = ? AND external_id = ? AND id <> ?", vswitch,
                               external_id, port);
    refuse_if(taken.next(), QEL_EXISTS);
  }
  database.execute("UPDATE port SET external_id = ? WHERE id = ?", external_id, port);
}

ExternalPort port_by_external_id(Database &database, RowId vswitch, std::string_view external_id) {
  Rows row = database.rows("SELECT dvport_id, external_id FROM port WHERE vswitch = ? AND external_id = ?", vswitch,
                           external_id);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return {row.text(0), row.text(1)};
}

std::string external_id_of(Database &database, RowId port) {
  Rows row = database.rows("SELECT external_id FROM port WHERE id = ?", port);
  return row.next() ? row.text(0) : std::string();
}

bool has_smartnic(Database &database, RowId vswitch) {
  Rows row = database.rows(
      "SELECT 1 FROM uplink_port JOIN physical_nic ON physical_nic.id = uplink_port.nic"
      " WHERE uplink_port.vswitch = ? AND physical_nic.smartnic LIMIT 1",
      vswitch);
  return row.next();
}

}  // namespace host
