// The distributed ports of the switches and their clients.
#include "platform/core/ports.hpp"

#include "platform/core/property_store.hpp"
#include "platform/core/traffic.hpp"

namespace host {

namespace {

#define PORT_COLUMNS                                                                                                \
  "id, dvport_id, client_type, client_name, client_mac, client_numa_node, client_is_router, client_is_promiscuous," \
  " kind, external_id, client_effective_mac, client_link"

PortRow read_port(Rows const &row) {
  PortRow port{row.integer(0),
               row.text(1),
               {row.integer(2), row.text(3), std::nullopt, row.integer(5), row.integer(6) != 0, row.integer(7) != 0,
                std::nullopt, row.integer(11) != 0},
               row.integer(8),
               row.text(9)};
  if (!row.is_null(4))
    port.client.mac = mac_from(row.bytes(4));
  if (!row.is_null(10))
    port.client.own_mac = mac_from(row.bytes(10));
  return port;
}

std::int64_t only_number(Rows row) {
  return row.next() ? row.integer(0) : 0;
}

PropertyPlace place_of(RowId vswitch, RowId port) {
  return {vswitch, Scope::port, port};
}

}  // namespace

RowId add_port(Database &database, RowId vswitch, std::string_view dvport_id) {
  refuse_if(find_port(database, vswitch, dvport_id).has_value(), QEL_EXISTS);
  refuse_if(count_ports(database, vswitch) >= load_switch(database, vswitch).max_ports, QEL_LIMIT_EXCEEDED);
  return insert_port(database, vswitch, dvport_id);
}

RowId insert_port(Database &database, RowId vswitch, std::string_view dvport_id) {
  database.execute("INSERT INTO port (vswitch, dvport_id) VALUES (?, ?)", vswitch, dvport_id);
  return database.last_row_id();
}

void remove_port(Database &database, RowId vswitch, std::string_view dvport_id) {
  Port const port = port_by_id(database, vswitch, dvport_id);
  refuse_if(port.client_type != VS_PORT_CLIENT_UNKNOWN, QEL_BUSY);
  drop_port(database, vswitch, port.row);
}

std::optional<Port> find_port(Database &database, RowId vswitch, std::string_view dvport_id) {
  Rows row = database.rows("SELECT id, dvport_id, client_type FROM port WHERE vswitch = ? AND dvport_id = ?", vswitch,
                           dvport_id);
  if (!row.next())
    return std::nullopt;
  return Port{row.integer(0), row.text(1), row.integer(2)};
}

Port port_by_id(Database &database, RowId vswitch, std::string_view dvport_id) {
  std::optional<Port> port = find_port(database, vswitch, dvport_id);
  refuse_if(!port, QEL_NOT_FOUND);
  return *std::move(port);
}

NumberedPort port_by_number(Database &database, RowId number) {
  Rows row = database.rows("SELECT vswitch, client_type FROM port WHERE id = ?", number);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return {row.integer(0), number, row.integer(1)};
}

bool has_port(Database &database, RowId number) {
  return database.rows("SELECT 1 FROM port WHERE id = ?", number).next();
}

std::string dvport_id_of(Database &database, RowId port) {
  Rows row = database.rows("SELECT dvport_id FROM port WHERE id = ?", port);
  return row.next() ? row.text(0) : std::string();
}

std::vector<PortRow> load_ports(Database &database, RowId vswitch) {
  std::vector<PortRow> ports;
  Rows rows = database.rows("SELECT " PORT_COLUMNS " FROM port WHERE vswitch = ? ORDER BY id", vswitch);
  while (rows.next())
    ports.push_back(read_port(rows));
  return ports;
}

std::vector<PortRow> load_ports_with_addresses(Database &database, RowId vswitch) {
  std::vector<PortRow> ports;
  Rows rows = database.rows("SELECT " PORT_COLUMNS
                            " FROM port WHERE vswitch = ? AND client_mac IS NOT NULL"
                            " UNION ALL SELECT " PORT_COLUMNS
                            " FROM port"
                            " WHERE vswitch = ? AND client_effective_mac IS NOT NULL AND client_mac IS NULL",
                            vswitch, vswitch);
  while (rows.next())
    ports.push_back(read_port(rows));
  return ports;
}

PortRow load_port(Database &database, RowId port) {
  Rows row = database.rows("SELECT " PORT_COLUMNS " FROM port WHERE id = ?", port);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return read_port(row);
}

bool is_client_mac(Database &database, RowId vswitch, MacAddress const &mac) {
  Blob const bytes{mac_bytes(mac)};
  return database
             .rows("SELECT 1 FROM port WHERE vswitch = ? AND client_mac = ? AND client_effective_mac IS NULL", vswitch,
                   bytes)
             .next() ||
         database.rows("SELECT 1 FROM port WHERE vswitch = ? AND client_effective_mac = ?", vswitch, bytes).next();
}

void connect_client(Database &database, RowId port, std::int64_t client_type, std::string_view name,
                    std::optional<MacAddress> mac) {
  database.execute(
      "UPDATE port SET client_type = ?, client_name = ?, client_mac = NULL, client_numa_node = 0,"
      " client_is_promiscuous = 0, client_is_router = 0, client_effective_mac = NULL, client_link = 1 WHERE id = ?",
      client_type, name, port);
  database.execute("DELETE FROM client_multicast_mac WHERE port = ?", port);
  forget_client_traffic(database, port);
  set_table_side(database, port, client_type == VS_PORT_CLIENT_UPLINK ? TableSide::team : TableSide::ports);
  if (mac)
    database.execute("UPDATE port SET client_mac = ? WHERE id = ?", Blob{mac_bytes(*mac)}, port);
}

void describe_client(Database &database, RowId port, std::int64_t numa_node, bool is_router) {
  database.execute("UPDATE port SET client_numa_node = ?, client_is_router = ? WHERE id = ?", numa_node, is_router,
                   port);
}

void set_promiscuous_client(Database &database, RowId port, bool promiscuous) {
  database.execute("UPDATE port SET client_is_promiscuous = ? WHERE id = ?", promiscuous, port);
}

std::vector<MacAddress> client_multicast_macs(Database &database, RowId port) {
  std::vector<MacAddress> macs;
  Rows rows = database.rows("SELECT mac FROM client_multicast_mac WHERE port = ? ORDER BY position", port);
  while (rows.next())
    macs.push_back(mac_from(rows.bytes(0)));
  return macs;
}

void set_client_multicast_macs(Database &database, RowId port, std::vector<MacAddress> const &macs) {
  database.execute("DELETE FROM client_multicast_mac WHERE port = ?", port);
  std::int64_t position = 0;
  for (MacAddress const &mac : macs) {
    database.execute("INSERT INTO client_multicast_mac (port, position, mac) VALUES (?, ?, ?)", port, ++position,
                     Blob{mac_bytes(mac)});
  }
}

void set_client_mac(Database &database, RowId port, std::optional<MacAddress> const &mac) {
  if (mac)
    database.execute("UPDATE port SET client_effective_mac = ? WHERE id = ?", Blob{mac_bytes(*mac)}, port);
  else
    database.execute("UPDATE port SET client_effective_mac = NULL WHERE id = ?", port);
}

void set_client_link(Database &database, RowId port, bool up) {
  database.execute("UPDATE port SET client_link = ? WHERE id = ?", up, port);
}

void disconnect_client(Database &database, RowId port) {
  connect_client(database, port, VS_PORT_CLIENT_UNKNOWN, "", std::nullopt);
}

void restart_clients(Database &database) {
  database.execute("UPDATE port SET client_effective_mac = NULL, client_link = 1");
  database.execute("DELETE FROM client_multicast_mac");
}

bool has_clients(Database &database, RowId vswitch) {
  return database
      .rows("SELECT 1 FROM port WHERE vswitch = ? AND client_type NOT IN (?, ?)", vswitch, VS_PORT_CLIENT_UNKNOWN,
            VS_PORT_CLIENT_UPLINK)
      .next();
}

void destroy_switch(Database &database, RowId vswitch) {
  refuse_if(has_clients(database, vswitch), QEL_BUSY);
  remove_switch(database, vswitch);
}

void drop_port(Database &database, RowId vswitch, RowId port) {
  forget_values_of_port(database, place_of(vswitch, port));
  database.execute("DELETE FROM port WHERE id = ?", port);
}

std::int64_t count_ports(Database &database, RowId vswitch) {
  return only_number(database.rows("SELECT ports FROM port_count WHERE vswitch = ?", vswitch));
}

std::int64_t count_active_ports(Database &database, RowId vswitch) {
  return only_number(database.rows("SELECT active FROM port_count WHERE vswitch = ?", vswitch));
}

void set_port_kind(Database &database, RowId port, std::int64_t kind) {
  database.execute("UPDATE port SET kind = ? WHERE id = ?", kind, port);
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
  refuse_if(
      database.rows("SELECT 1 FROM port WHERE vswitch = ? AND external_id = ? AND id <> ?", vswitch, external_id, port)
          .next(),
      QEL_EXISTS);
  database.execute("UPDATE port SET external_id = ? WHERE id = ?", external_id, port);
}

void clear_external_ids(Database &database, RowId vswitch) {
  database.execute("UPDATE port SET external_id = NULL WHERE vswitch = ?", vswitch);
}

Port port_by_external_id(Database &database, RowId vswitch, std::string_view external_id) {
  Rows row = database.rows("SELECT id, dvport_id, client_type FROM port WHERE vswitch = ? AND external_id = ?", vswitch,
                           external_id);
  refuse_if(!row.next(), QEL_NOT_FOUND);
  return {row.integer(0), row.text(1), row.integer(2)};
}

}  // namespace host
