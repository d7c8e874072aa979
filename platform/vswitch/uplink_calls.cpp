// Calls on uplink ports and the physical NICs behind them.
#include "platform/core/uplink_list.hpp"
#include "platform/core/uplinks.hpp"

#include "platform/core/call.hpp"
#include "platform/core/memory.hpp"
#include "platform/core/text.hpp"
#include "platform/core/uplink_choice.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

using NameSlot = char[QEL_HNQ_NAME_MAX_LEN];
using IdSlot = char[QEL_HNQ_PORT_ID_MAX_LEN];

template <std::size_t slot_size>
std::string slot_argument(char const (&slot)[slot_size]) {
  std::string_view const text = field_text(slot);
  refuse_if(text.size() == slot_size, QEL_NAME_TOO_LONG);
  return std::string(text);
}

// The records as the caller built them: the slots follow the count.
std::vector<UplinkPortName> uplink_port_arguments(VSUplinkPorts const *names, VSUplinkPortIds const *dvport_ids) {
  refuse_if(!names, QEL_BAD_PARAM);
  refuse_if(dvport_ids && dvport_ids->nUplinkPorts != names->nUplinkPorts, QEL_BAD_PARAM);
  refuse_if(names->nUplinkPorts > static_cast<qel_uint32>(QEL_TEAM_MAX_UPLINKS), QEL_LIMIT_EXCEEDED);
  std::vector<UplinkPortName> list;
  for (std::size_t i = 0; i < names->nUplinkPorts; ++i) {
    list.push_back({slot_argument(elements_behind<NameSlot>(names)[i]),
                    dvport_ids ? slot_argument(elements_behind<IdSlot>(dvport_ids)[i]) : std::string()});
  }
  return list;
}

}  // namespace

int VSDVS_AddSwitchUplinkPort(char const *alias, char const *uplink) {
  NOTE_ARGUMENTS(alias, uplink);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    add_uplink_port(database, vswitch, {std::string(new_name_argument(uplink, QEL_HNQ_NAME_MAX_LEN)), ""});
  });
}

int VSDVS_RemoveSwitchUplinkPort(char const *alias, char const *uplink) {
  NOTE_ARGUMENTS(alias, uplink);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    remove_uplink_port(database, vswitch, uplink_argument(uplink));
  });
}

int VSDVS_ClearSwitchUplinkPorts(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    clear_switch_property(database, vswitch, QEL_HNQPROP_HOST_UPLINKPORTS);
  });
}

int VSDVS_SetSwitchUplinkPorts(char const *alias, VSUplinkPorts const *names, VSUplinkPortIds const *dvport_ids) {
  NOTE_ARGUMENTS(alias, names, dvport_ids);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    set_uplink_ports(database, vswitch, uplink_port_arguments(names, dvport_ids));
  });
}

int VSDVS_GetSwitchUplinkPorts(char const *alias, VSUplinkPorts **names, VSUplinkPortIds **dvport_ids) {
  NOTE_ARGUMENTS(alias, names, dvport_ids);
  preset(names);
  preset(dvport_ids);
  return query([&](Database &database) {
    refuse_if(!names || !dvport_ids, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    std::vector<UplinkPortName> const list = uplink_port_names(database, vswitch);
    auto name_list = allocate_record<VSUplinkPorts>(list.size() * sizeof(NameSlot));
    auto id_list = allocate_record<VSUplinkPortIds>(list.size() * sizeof(IdSlot));
    for (UplinkPortName const &uplink : list) {
      fill_text(elements_behind<NameSlot>(name_list.get())[name_list->nUplinkPorts++], uplink.name);
      fill_text(elements_behind<IdSlot>(id_list.get())[id_list->nUplinkPorts++], uplink.dvport_id);
    }
    *names = name_list.release();
    *dvport_ids = id_list.release();
  });
}

int VSQEL_GetUplinks(char const *switch_name, VSUplinks **uplinks) {
  NOTE_ARGUMENTS(switch_name, uplinks);
  preset(uplinks);
  return query([&](Database &database) {
    refuse_if(!uplinks, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    std::vector<Uplink> const list = load_uplinks(database, vswitch);
    auto result = allocate_record<VSUplinks>(list.size() * sizeof(VSUplinks_entries));
    for (Uplink const &uplink : list) {
      if (!uplink.nic)
        continue;
      VSUplinks_entries &entry = elements_behind<VSUplinks_entries>(result.get())[result->numEntries++];
      fill_text(entry.name.string, uplink.nic_name);
      entry.portID = static_cast<qel_SwitchPortID>(uplink.port);
    }
    result->totalEntries = result->numEntries;
    *uplinks = result.release();
  });
}

int VSQEL_GetUplinkLinkState(char const *switch_name, char const *uplink, qel_LinkState *state) {
  NOTE_ARGUMENTS(switch_name, uplink, state);
  preset(state);
  return query([&](Database &database) {
    refuse_if(!state, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    bool const up = find_uplink(database, vswitch, uplink_argument(uplink)).link_up;
    *state = static_cast<qel_LinkState>(up ? QEL_LINK_STATE_UP : QEL_LINK_STATE_DOWN);
  });
}

int VSQEL_SetUplinkAdminLinkState(char const *switch_name, char const *uplink, qel_LinkState state) {
  NOTE_ARGUMENTS(switch_name, uplink, state);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    Uplink const target = find_uplink(database, vswitch, uplink_argument(uplink));
    refuse_if(state != QEL_LINK_STATE_UP && state != QEL_LINK_STATE_DOWN, QEL_BAD_PARAM);
    change_admin_link_state(database, vswitch, target, state == QEL_LINK_STATE_UP);
  });
}
