// The state of the distributed switches apart from their settings: port sets, versions, ports that come and go.
#include "platform/core/switch_state.hpp"

#include "platform/core/property_store.hpp"
#include "platform/core/traffic.hpp"

namespace host {

void give_portset(Database &database, RowId vswitch) {
  refuse_if(!load_switch(database, vswitch).portset.empty(), QEL_EXISTS);
  set_portset(database, vswitch, true);
}

void take_portset(Database &database, RowId vswitch) {
  refuse_if(load_switch(database, vswitch).portset.empty(), QEL_IS_DISCONNECTED);
  refuse_if(has_clients(database, vswitch), QEL_BUSY);
  set_portset(database, vswitch, false);
}

void remove_switch_state(Database &database, RowId vswitch) {
  refuse_if(!load_switch(database, vswitch).portset.empty(), QEL_BUSY);
  destroy_switch(database, vswitch);
}

void raise_switch_version(Database &database, RowId vswitch, std::uint32_t version) {
  refuse_unknown_version(version);
  refuse_if(version < load_switch(database, vswitch).version, QEL_VERSION_MISMATCH_MAJOR);
  set_switch_version(database, vswitch, version);
}

void set_most_ports(Database &database, RowId vswitch, std::uint32_t max_ports) {
  refuse_if(max_ports == 0, QEL_BAD_PARAM);
  refuse_if(max_ports > most_ports, QEL_LIMIT_EXCEEDED);
  refuse_if(count_ports(database, vswitch) > max_ports, QEL_BUSY);
  set_room_for_ports(database, vswitch, max_ports);
}

RowId add_or_revive_port(Database &database, RowId vswitch, std::string_view dvport_id) {
  std::optional<Port> const port = find_port(database, vswitch, dvport_id);
  if (!port || load_port(database, port->row).kind != DVSPORT_TYPE_ZOMBIE)
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
  refuse_if(load_port(database, port.row).kind == DVSPORT_TYPE_ZOMBIE, QEL_NOT_FOUND);
  remove_values_of_port(database, {vswitch, Scope::port, port.row});
  forget_sessions_of_port(database, vswitch, port.row);
  set_port_kind(database, port.row, DVSPORT_TYPE_ZOMBIE);
  set_external_id(database, vswitch, port.row, {});
}

}  // namespace host
