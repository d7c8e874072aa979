// Calls on switches as a whole: making and removing them, their MTU, information, names and lists.
#include <vector>

#include "platform/core/call.hpp"
#include "platform/core/memory.hpp"
#include "platform/core/port_policies.hpp"
#include "platform/core/ports.hpp"
#include "platform/core/properties.hpp"
#include "platform/core/property_values.hpp"
#include "platform/core/switches.hpp"
#include "platform/core/text.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

// The VLAN IDs that a frame can be tagged with.
constexpr qel_VlanID first_valid_vlan = 1;
constexpr qel_VlanID last_valid_vlan = 4094;

std::uint32_t mtu_in_effect(Database &database, RowId vswitch) {
  return property_number(get_switch_property(database, vswitch, VSPROP_MTU));
}

VSInfo switch_info(Database &database, RowId row) {
  Switch const vswitch = load_switch(database, row);
  VSInfo info{};
  info.mtu = mtu_in_effect(database, row);
  info.minValidVlan = first_valid_vlan;
  info.maxValidVlan = last_valid_vlan;
  info.activePorts = static_cast<qel_uint32>(count_active_ports(database, row));
  info.maxPorts = static_cast<qel_uint32>(vswitch.max_ports);
  fill_text(info.dvsName, vswitch.alias);
  fill_text(info.hnqID, vswitch.switch_id);
  info.numSinkPorts = static_cast<qel_uint16>(count_sink_ports(database, row));
  info.flags = static_cast<qel_uint64>(vswitch.flags);
  return info;
}

template <std::size_t slot_size>
OwnedRecord<VSList> name_list(VSListType type, std::vector<Switch> const &switches, std::string Switch::*name) {
  using Slot = char[slot_size];
  auto list = allocate_record<VSList>(switches.size() * slot_size);
  list->count = static_cast<qel_int32>(switches.size());
  list->listType = type;
  auto *slot = elements_behind<Slot>(list.get());
  for (Switch const &vswitch : switches)
    fill_text(*slot++, vswitch.*name);
  return list;
}

}  // namespace

int VSDVS_CreateVSwitch(char const *alias, char const *switch_id, char const *class_name, qel_uint32 max_ports,
                        qel_Bool persistent, qel_uint32 mtu, qel_uint32 version, qel_uint32 flags) {
  NOTE_ARGUMENTS(alias, switch_id, class_name, max_ports, persistent, mtu, version, flags);
  return update([&](Database &database) {
    NewSwitch const wanted{.alias = new_name_argument(alias, QEL_HNQ_NAME_MAX_LEN),
                           .switch_id = new_name_argument(switch_id, QEL_HNQ_ID_MAX_LEN),
                           .class_name = optional_text_argument(class_name, QEL_HNQ_CLASS_NAME_MAX_LEN),
                           .max_ports = max_ports,
                           .persistent = persistent != 0,
                           .mtu = mtu,
                           .version = version,
                           .flags = flags};
    create_switch(database, wanted);
  });
}

int VSDVS_DestroyVSwitch(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return update(
      [&](Database &database) { destroy_switch(database, switch_by_alias(database, alias_argument(alias))); });
}

int VSDVS_SetMTU(char const *alias, qel_uint32 mtu) {
  NOTE_ARGUMENTS(alias, mtu);
  return update([&](Database &database) {
    RowId const vswitch = switch_by_alias(database, alias_argument(alias));
    set_switch_property(database, vswitch, VSPROP_MTU, property_bytes(mtu));
  });
}

int VSDVS_GetMTU(char const *alias, qel_uint32 *mtu) {
  NOTE_ARGUMENTS(alias, mtu);
  preset(mtu);
  return query([&](Database &database) {
    refuse_if(!mtu, QEL_BAD_PARAM);
    *mtu = mtu_in_effect(database, switch_by_alias(database, alias_argument(alias)));
  });
}

int VSQEL_GetSwitches(VSListType list_type, VSList **list) {
  NOTE_ARGUMENTS(list_type, list);
  preset(list);
  return query([&](Database &database) {
    refuse_if(!list, QEL_BAD_PARAM);
    refuse_if(list_type != VS_LIST_PS && list_type != VS_LIST_DVS_ALIAS, QEL_BAD_PARAM);
    std::vector<Switch> switches = load_switches(database);
    std::erase_if(switches, [](Switch const &vswitch) { return vswitch.portset.empty(); });
    OwnedRecord<VSList> result = list_type == VS_LIST_PS
                                     ? name_list<QEL_PORTSET_NAME_MAX>(list_type, switches, &Switch::portset)
                                     : name_list<QEL_HNQ_NAME_MAX_LEN>(list_type, switches, &Switch::alias);
    *list = result.release();
  });
}

int VSQEL_GetSwitchInfo(char const *switch_name, VSInfo **info) {
  NOTE_ARGUMENTS(switch_name, info);
  preset(info);
  return query([&](Database &database) {
    refuse_if(!info, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    auto result = allocate_record<VSInfo>();
    *result = switch_info(database, vswitch);
    *info = result.release();
  });
}

int VSQEL_GetVSInfo(char const *switch_name, VSInfo *info) {
  NOTE_ARGUMENTS(switch_name, info);
  return query([&](Database &database) {
    refuse_if(!info, QEL_BAD_PARAM);
    *info = switch_info(database, switch_by_any_name(database, switch_name_argument(switch_name)));
  });
}

int VSDVS_GetAliasFromPortset(char const *portset, char *alias) {
  NOTE_ARGUMENTS(portset, alias);
  preset(alias);
  return query([&](Database &database) {
    refuse_if(!alias, QEL_BAD_PARAM);
    store_text(alias, load_switch(database, switch_by_portset(database, portset_argument(portset))).alias);
  });
}

// The module passes a copy of a script's text as `switch_id`, and nothing says how large it is: only what the
// text in it covers can be written.
int VSQEL_DVSAliasToSwitchId(char const *alias, char *switch_id) {
  NOTE_ARGUMENTS(alias, switch_id);
  return query([&](Database &database) {
    refuse_if(!switch_id, QEL_BAD_PARAM);
    std::string const result = load_switch(database, switch_by_alias(database, alias_argument(alias))).switch_id;
    refuse_if(result.size() > std::strlen(switch_id), QEL_BUF_TOO_SMALL);
    store_text(switch_id, result);
  });
}
