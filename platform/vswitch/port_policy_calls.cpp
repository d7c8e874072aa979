// Calls on VLANs, MAC learning, security and filters of ports and switches.
#include "platform/core/port_policies.hpp"

#include "platform/vswitch/property_views.hpp"

using namespace host;

int VSDVS_ConfigureSinkPort(char const *alias, char const *dvport_id, qel_Bool enable) {
  NOTE_ARGUMENTS(alias, dvport_id, enable);
  return update(
      [&](Database &database) { set_sink_port(database, port_argument(database, alias, dvport_id), enable != 0); });
}

int VSDVS_IsSinkPortEnabled(char const *alias, char const *dvport_id, qel_Bool *enabled) {
  NOTE_ARGUMENTS(alias, dvport_id, enabled);
  preset(enabled);
  return query([&](Database &database) {
    refuse_if(!enabled, QEL_BAD_PARAM);
    *enabled = static_cast<qel_Bool>(is_sink_port(database, port_argument(database, alias, dvport_id)));
  });
}

int VSDVS_SetRCFType(char const *alias, qbr_RCFInsnType instruction_type) {
  NOTE_ARGUMENTS(alias, instruction_type);
  return update([&](Database &database) {
    // A negative type becomes a large number, which the property refuses.
    write_property(database, switch_argument(database, alias), VSPROP_RCF_INSN_TYPE,
                   property_bytes(static_cast<std::uint32_t>(instruction_type)));
  });
}

int VSDVS_GetRCFType(char const *alias, qbr_RCFInsnType *instruction_type) {
  NOTE_ARGUMENTS(alias, instruction_type);
  preset(instruction_type);
  return query([&](Database &database) {
    refuse_if(!instruction_type, QEL_BAD_PARAM);
    *instruction_type = static_cast<qbr_RCFInsnType>(
        property_number(get_property(database, switch_argument(database, alias), VSPROP_RCF_INSN_TYPE)));
  });
}

int VSDVS_SetMACLearning(char const *alias, VSPropMACLearning const *properties) {
  NOTE_ARGUMENTS(alias, properties);
  return update([&](Database &database) {
    refuse_if(!properties, QEL_BAD_PARAM);
    write_record(database, switch_argument(database, alias), VSPROP_SWITCH_MAC_LEARNING, properties);
  });
}

int VSDVS_GetMACLearning(char const *alias, VSPropMACLearning *properties) {
  NOTE_ARGUMENTS(alias, properties);
  return query([&](Database &database) {
    refuse_if(!properties, QEL_BAD_PARAM);
    read_record(database, switch_argument(database, alias), VSPROP_SWITCH_MAC_LEARNING, properties);
  });
}

int VSDVS_ClearMACLearning(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return clear_value(OfSwitch{alias}, VSPROP_SWITCH_MAC_LEARNING);
}

int VSDVS_SetPortMACLearning(char const *alias, char const *dvport_id, VSPMACLearning const *policy) {
  NOTE_ARGUMENTS(alias, dvport_id, policy);
  return update([&](Database &database) {
    refuse_if(!policy, QEL_BAD_PARAM);
    PropertyPlace const port = port_argument(database, alias, dvport_id);
    VSPMACManagement management;
    read_record(database, port, VSPROP_PORT_MAC_MANAGEMENT, &management);
    std::memcpy(&management.portMACLearning, policy, sizeof *policy);
    write_record(database, port, VSPROP_PORT_MAC_MANAGEMENT, &management);
  });
}

int VSDVS_GetPortMACLearning(char const *alias, char const *dvport_id, VSPMACLearning *policy) {
  NOTE_ARGUMENTS(alias, dvport_id, policy);
  return query([&](Database &database) {
    refuse_if(!policy, QEL_BAD_PARAM);
    VSPMACManagement management;
    read_record(database, port_argument(database, alias, dvport_id), VSPROP_PORT_MAC_MANAGEMENT, &management);
    std::memcpy(policy, &management.portMACLearning, sizeof *policy);
  });
}

int VSDVS_SetStaticMACAllow(char const *alias, qel_Bool allow) {
  NOTE_ARGUMENTS(alias, allow);
  return set_byte(OfSwitch{alias}, VSPROP_SWITCH_STATIC_MAC_ALLOW, allow);
}

int VSDVS_GetStaticMACAllow(char const *alias, qel_Bool *allow) {
  NOTE_ARGUMENTS(alias, allow);
  return get_byte(OfSwitch{alias}, VSPROP_SWITCH_STATIC_MAC_ALLOW, allow);
}

int VSDVS_ClearStaticMACAllow(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return clear_value(OfSwitch{alias}, VSPROP_SWITCH_STATIC_MAC_ALLOW);
}

int VSDVS_SetLearnStatic(char const *alias, qel_Bool learn) {
  NOTE_ARGUMENTS(alias, learn);
  return set_byte(OfSwitch{alias}, VSPROP_SWITCH_MAC_LEARN_STATIC, learn);
}

int VSDVS_GetLearnStatic(char const *alias, qel_Bool *learn) {
  NOTE_ARGUMENTS(alias, learn);
  return get_byte(OfSwitch{alias}, VSPROP_SWITCH_MAC_LEARN_STATIC, learn);
}

int VSDVS_ClearLearnStatic(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return clear_value(OfSwitch{alias}, VSPROP_SWITCH_MAC_LEARN_STATIC);
}

int VSDVS_SetPortSecurity(char const *alias, char const *dvport_id, VSPropSecurity const *security) {
  NOTE_ARGUMENTS(alias, dvport_id, security);
  return update([&](Database &database) {
    refuse_if(!security, QEL_BAD_PARAM);
    write_record(database, port_argument(database, alias, dvport_id), VSPROP_PORT_SECURITY, security);
  });
}

int VSDVS_GetPortSecurity(char const *alias, char const *dvport_id, VSPropSecurity *security) {
  NOTE_ARGUMENTS(alias, dvport_id, security);
  return query([&](Database &database) {
    refuse_if(!security, QEL_BAD_PARAM);
    read_record(database, port_argument(database, alias, dvport_id), VSPROP_PORT_SECURITY, security);
  });
}

int VSDVS_SetExtraEthFilter(char const *alias, char const *dvport_id, VSExtraEthFilter const *filter) {
  NOTE_ARGUMENTS(alias, dvport_id, filter);
  return update([&](Database &database) {
    refuse_if(!filter, QEL_BAD_PARAM);
    write_record(database, port_argument(database, alias, dvport_id), VSPROP_PORT_EXTRA_ETH_FRP, filter);
  });
}

int VSDVS_GetExtraEthFilter(char const *alias, char const *dvport_id, VSExtraEthFilter *filter) {
  NOTE_ARGUMENTS(alias, dvport_id, filter);
  return query([&](Database &database) {
    refuse_if(!filter, QEL_BAD_PARAM);
    read_record(database, port_argument(database, alias, dvport_id), VSPROP_PORT_EXTRA_ETH_FRP, filter);
  });
}

int VSDVS_ClearExtraEthFilter(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return clear_value(OfPort{alias, dvport_id}, VSPROP_PORT_EXTRA_ETH_FRP);
}

int VSDVS_SetPortNestedVLANTagging(char const *alias, char const *dvport_id, qel_Bool enable) {
  NOTE_ARGUMENTS(alias, dvport_id, enable);
  return set_byte(OfPort{alias, dvport_id}, VSPROP_PORT_VLAN_NESTEDTAG, enable);
}

int VSDVS_GetPortNestedVLANTagging(char const *alias, char const *dvport_id, qel_Bool *enabled) {
  NOTE_ARGUMENTS(alias, dvport_id, enabled);
  return get_byte(OfPort{alias, dvport_id}, VSPROP_PORT_VLAN_NESTEDTAG, enabled);
}

int VSDVS_SetPortVLANPolicy(char const *alias, char const *dvport_id, qel_uint16 vlan_id, int priority,
                            qel_Bool guest_tagging, qel_Bool private_vlan, qel_HNQPortVIDRange *ranges,
                            qel_uint16 num_ranges) {
  NOTE_ARGUMENTS(alias, dvport_id, vlan_id, priority, guest_tagging, private_vlan, ranges, num_ranges);
  return update([&](Database &database) {
    PropertyPlace const port = port_argument(database, alias, dvport_id);
    bool const sets_priority = priority != QEL_VLAN_PRIORITY_INVALID;
    refuse_if(sets_priority && (priority < QEL_VLAN_PRIORITY_MINIMUM || priority > QEL_VLAN_PRIORITY_MAXIMUM),
              QEL_BAD_PARAM);
    VSPortVlanPolicy policy{};
    policy.flags = static_cast<qel_uint16>((guest_tagging ? VSPORT_VLAN_GUEST_TAGGING : 0) |
                                           (private_vlan ? VSPORT_VLAN_PVLAN_ENABLED : 0) |
                                           (sets_priority ? VSPORT_VLAN_SET_PRIORITY : 0));
    policy.vlanID = vlan_id;
    policy.numRanges = num_ranges;
    write_property(database, port, VSPROP_PORT_VLAN, vlan_policy_value(policy, ranges));
    if (sets_priority) {
      write_property(database, port, VSPROP_PORT_PRIORITY, property_bytes(static_cast<std::uint32_t>(priority)));
    } else {
      clear_property(database, port, VSPROP_PORT_PRIORITY);
    }
  });
}

int VSDVS_GetPortVLANPolicy(char const *alias, char const *dvport_id, VSPortVlanPolicy **policy, int *length) {
  NOTE_ARGUMENTS(alias, dvport_id, policy, length);
  preset(policy);
  preset(length);
  return query([&](Database &database) {
    refuse_if(!policy || !length, QEL_BAD_PARAM);
    std::string const value = get_property(database, port_argument(database, alias, dvport_id), VSPROP_PORT_VLAN);
    *policy = returned_value<VSPortVlanPolicy>(value);
    *length = static_cast<int>(value.size());
  });
}

int VSDVS_ClearPortVLANPolicy(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return update([&](Database &database) {
    PropertyPlace const port = port_argument(database, alias, dvport_id);
    clear_property(database, port, VSPROP_PORT_VLAN);
    clear_property(database, port, VSPROP_PORT_PRIORITY);
  });
}

int VSDVS_SetPrivateVLANMap(char const *alias, VSPvlanMapEntry const *map, int count) {
  NOTE_ARGUMENTS(alias, map, count);
  return update([&](Database &database) {
    PropertyPlace const place = switch_argument(database, alias);
    std::size_t const size = private_vlan_map_size(count);
    refuse_if(!map && size > 0, QEL_BAD_PARAM);
    write_property(database, place, VSPROP_PVLAN_MAP, {reinterpret_cast<char const *>(map), size});
  });
}

int VSDVS_GetPrivateVLANMap(char const *alias, VSPvlanMapEntry **map, int *count) {
  NOTE_ARGUMENTS(alias, map, count);
  preset(map);
  preset(count);
  return query([&](Database &database) {
    refuse_if(!map || !count, QEL_BAD_PARAM);
    std::string const value = get_property(database, switch_argument(database, alias), VSPROP_PVLAN_MAP);
    if (value.empty())
      return;
    *map = returned_value<VSPvlanMapEntry>(value);
    *count = static_cast<int>(value.size() / sizeof(VSPvlanMapEntry));
  });
}

int VSQEL_GetL2Security(char const *switch_name, VSL2Security **security) {
  NOTE_ARGUMENTS(switch_name, security);
  preset(security);
  return query([&](Database &database) {
    refuse_if(!security, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    std::vector<RowId> const ports = client_ports(database, vswitch);
    auto result = allocate_record<VSL2Security>(ports.size() * sizeof(VSPropSecurityPortInfo));
    for (RowId const port : ports) {
      VSPropSecurityPortInfo &entry = elements_behind<VSPropSecurityPortInfo>(result.get())[result->numEntries++];
      entry.portID = static_cast<qel_SwitchPortID>(port);
      entry.l2SecPortInfo.flags = security_in_force(database, {vswitch, Scope::port, port});
    }
    result->totalEntries = result->numEntries;
    *security = result.release();
  });
}
