// Calls on the switches of the state: making and removing them, their port sets, versions and limits, their ports.
#include "platform/core/call.hpp"
#include "platform/core/memory.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/switch_state.hpp"
#include "platform/core/text.hpp"
#include "platform/dvs/exports.hpp"

using namespace host;

int DVSQEL_SwitchAdd(char const *alias, char const *switch_id, qel_uint32 max_ports, HNQVersion version) {
  NOTE_ARGUMENTS(alias, switch_id, max_ports, version);
  return update([&](Database &database) {
    NewSwitch const wanted{.alias = new_name_argument(alias, QEL_HNQ_NAME_MAX_LEN),
                           .switch_id = new_name_argument(switch_id, QEL_HNQ_ID_MAX_LEN),
                           .class_name = {},
                           .max_ports = max_ports,
                           .persistent = true,
                           .mtu = 0,
                           .version = static_cast<std::uint32_t>(version),
                           .flags = 0};
    take_portset(database, create_switch(database, wanted));
  });
}

int DVSQEL_SwitchRemove(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return update(
      [&](Database &database) { remove_switch_state(database, switch_by_alias(database, alias_argument(alias))); });
}

int DVSQEL_SwitchAssociate(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return update([&](Database &database) { give_portset(database, switch_by_alias(database, alias_argument(alias))); });
}

int DVSQEL_SwitchDissociate(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return update([&](Database &database) { take_portset(database, switch_by_alias(database, alias_argument(alias))); });
}

int DVSQEL_SwitchSetVersion(char const *alias, HNQVersion version) {
  NOTE_ARGUMENTS(alias, version);
  return update([&](Database &database) {
    raise_switch_version(database, switch_by_alias(database, alias_argument(alias)),
                         static_cast<std::uint32_t>(version));
  });
}

int DVSQEL_SwitchSetMaxPorts(char const *alias, qel_uint32 max_ports) {
  NOTE_ARGUMENTS(alias, max_ports);
  return update([&](Database &database) {
    set_most_ports(database, switch_by_alias(database, alias_argument(alias)), max_ports);
  });
}

int DVSQEL_SwitchPortList(char const *alias, DVPortList **ports, DVSPortType type) {
  NOTE_ARGUMENTS(alias, ports, type);
  preset(ports);
  return query([&](Database &database) {
    refuse_if(!ports, QEL_BAD_PARAM);
    refuse_if(type < DVSPORT_TYPE_ACTIVE || type > DVSPORT_TYPE_LOCALCACHE, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    std::vector<PortRow> listed = load_ports(database, vswitch);
    std::erase_if(listed, [&](PortRow const &port) { return port.type() != type; });
    // The record has room for one port already.
    std::size_t const further = listed.empty() ? 0 : listed.size() - 1;
    auto list = allocate_record<DVPortList>(further * sizeof(DVPortData));
    list->nports = static_cast<int>(listed.size());
    list->type = type;
    DVPortData *entry = list->dvPort;
    for (PortRow const &port : listed) {
      fill_text(entry->dvPortId, port.dvport_id);
      entry->connectId =
          property_number(get_property(database, {vswitch, Scope::port, port.row}, QEL_HNQPROP_PORT_CONNECTID));
      ++entry;
    }
    *ports = list.release();
  });
}
