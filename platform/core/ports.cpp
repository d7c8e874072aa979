// The distributed ports of the switches and their clients.
#include "platform/core/ports.hpp"

namespace host {

RowId add_port(Database &database, RowId vswitch, std::string_view dvport_id) {
  refuse_if(find_port(database, vswitch, dvport_id).has_value(), QEL_EXISTS);
  refuse_if(count_ports(database, vswitch) >= load_switch(database, vswitch).max_ports, QEL_LIMIT_EXCEEDED);
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

void connect_client(Database &database, RowId port, std::int64_t client_type, std::string_view name,
                    std::optional<MacAddress> mac) {
  database.execute(
      "UPDATE port SET client_type = ?, client_name = ?, client_mac = NULL, client_numa_node = 0,"
      " client_is_promiscuous = 0, client_is_router = 0 WHERE id = ?",
      client_type, name, port);
  // What was learned there was behind the former client.
  database.execute("DELETE FROM mac_entry WHERE port = ? AND type = ?", port, VS_MAC_ADDR_TYPE_LEARNED);
  if (mac) {
    std::string_view const bytes(reinterpret_cast<char const *>(mac->data()), mac->size());
    database.execute("UPDATE port SET client_mac = ? WHERE id = ?", Blob{bytes}, port);
  }
}

void describe_client(Database &database, RowId port, std::int64_t numa_node, bool is_router) {
  database.execute("UPDATE port SET client_numa_node = ?, client_is_router = ? WHERE id = ?", numa_node, is_router,
                   port);
}

void disconnect_client(Database &database, RowId port) {
  connect_client(database, port, VS_PORT_CLIENT_UNKNOWN, "", std::nullopt);
}

void drop_port(Database &database, RowId vswitch, RowId port) {
  database.execute("DELETE FROM property WHERE vswitch = ? AND scope = 2 AND port = ?", vswitch, port);
  database.execute("DELETE FROM counter WHERE vswitch = ? AND port = ?", vswitch, port);
  database.execute("DELETE FROM port WHERE id = ?", port);
}

std::int64_t count_ports(Database &database, RowId vswitch) {
  Rows count = database.rows("SELECT count(*) FROM port WHERE vswitch = ?", vswitch);
  return count.next() ? count.integer(0) : 0;
}

std::int64_t count_active_ports(Database &database, RowId vswitch) {
  Rows count = database.rows("SELECT count(*) FROM port WHERE vswitch = ? AND client_type <> ?", vswitch,
                             VS_PORT_CLIENT_UNKNOWN);
  return count.next() ? count.integer(0) : 0;
}

}  // namespace host
