// Calls that translate names: of switches, ports and statuses.
#include "platform/core/call.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/status_names.hpp"
#include "platform/core/text.hpp"
#include "platform/dvs/exports.hpp"

using namespace host;

namespace {

int get_switch_id(char const *alias, char *switch_id, char const *function = __builtin_FUNCTION()) {
  preset(switch_id);
  return query(
      [&](Database &database) {
        refuse_if(!switch_id, QEL_BAD_PARAM);
        store_text(switch_id, load_switch(database, switch_by_alias(database, alias_argument(alias))).switch_id);
      },
      function);
}

int find_port_by_id(char const *alias, char const *dvport_id, char const *function = __builtin_FUNCTION()) {
  return query(
      [&](Database &database) {
        RowId const vswitch = switch_by_alias(database, alias_argument(alias));
        port_by_id(database, vswitch, dvport_id_argument(dvport_id));
      },
      function);
}

}  // namespace

int DVSQEL_PortFind(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return find_port_by_id(alias, dvport_id);
}

qel_Bool DVPortExist(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return find_port_by_id(alias, dvport_id) == QEL_OK ? 1 : 0;
}

int DVSPortsetNameToAlias(char const *portset, char *alias) {
  NOTE_ARGUMENTS(portset, alias);
  preset(alias);
  return query([&](Database &database) {
    refuse_if(!alias, QEL_BAD_PARAM);
    store_text(alias, load_switch(database, switch_by_portset(database, portset_argument(portset))).alias);
  });
}

int DVSAliasToSwitchId(char const *alias, char *switch_id) {
  NOTE_ARGUMENTS(alias, switch_id);
  return get_switch_id(alias, switch_id);
}

// Every type of switch that the host has is a distributed one.
int DVSAliasToSwitchIdAllTypes(char const *alias, char *switch_id) {
  NOTE_ARGUMENTS(alias, switch_id);
  return get_switch_id(alias, switch_id);
}

int DVSAliasToPortsetName(char const *alias, char *portset) {
  NOTE_ARGUMENTS(alias, portset);
  preset(portset);
  return query([&](Database &database) {
    refuse_if(!portset, QEL_BAD_PARAM);
    Switch const vswitch = load_switch(database, switch_by_alias(database, alias_argument(alias)));
    refuse_if(vswitch.portset.empty(), QEL_IS_DISCONNECTED);
    store_text(portset, vswitch.portset);
  });
}

char const *QEL_ReturnStatusToString(QEL_ReturnStatus status) {
  return status_name(status);
}
