// Calls that add, remove and find distributed ports.
#include "platform/core/ports.hpp"

#include "platform/core/call.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/text.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

int VSDVS_AddDVPort(char const *alias, char const *dvport_id, qel_uint32 connect_id) {
  NOTE_ARGUMENTS(alias, dvport_id, connect_id);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    RowId const port = add_port(database, vswitch, new_name_argument(dvport_id, QEL_HNQ_PORT_ID_MAX_LEN));
    set_property(database, {vswitch, Scope::port, port}, QEL_HNQPROP_PORT_CONNECTID,
                 {.value = property_bytes(connect_id)});
  });
}

int VSDVS_AddOpaqueDVPort(char const *alias, char const *dvport_id, char const *external_id) {
  NOTE_ARGUMENTS(alias, dvport_id, external_id);
  return update([&](Database &database) {
    std::string_view const external = new_name_argument(external_id, sizeof(OpaqueDVPortData::externalId));
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    RowId const port = add_port(database, vswitch, new_name_argument(dvport_id, QEL_HNQ_PORT_ID_MAX_LEN));
    set_external_id(database, vswitch, port, external);
  });
}

int VSDVS_RemoveDVPort(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    remove_port(database, vswitch, dvport_id_argument(dvport_id));
  });
}

int VSDVS_DvPortIDToPortID(char const *alias, char const *dvport_id, qel_SwitchPortID *port_id) {
  NOTE_ARGUMENTS(alias, dvport_id, port_id);
  preset(port_id);
  return query([&](Database &database) {
    refuse_if(!port_id, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    *port_id = static_cast<qel_SwitchPortID>(port_by_id(database, vswitch, dvport_id_argument(dvport_id)).row);
  });
}

int VSDVS_DvPortIDToPortIDFromDVSID(char const *switch_id, char const *dvport_id, qel_SwitchPortID *port_id) {
  NOTE_ARGUMENTS(switch_id, dvport_id, port_id);
  preset(port_id);
  return query([&](Database &database) {
    refuse_if(!port_id, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_id(database, switch_id_argument(switch_id));
    *port_id = static_cast<qel_SwitchPortID>(port_by_id(database, vswitch, dvport_id_argument(dvport_id)).row);
  });
}
