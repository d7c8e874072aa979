// Calls on the teaming of ports and of logical switches.
#include "platform/core/teaming.hpp"

#include "platform/vswitch/property_views.hpp"

using namespace host;

int VSDVS_GetTeamingPolicyFromDVSID(char const *switch_id, VSTeamPolicy *policy) {
  NOTE_ARGUMENTS(switch_id, policy);
  return query([&](Database &database) {
    refuse_if(!policy, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_id(database, switch_id_argument(switch_id));
    read_record(database, {vswitch, Scope::global}, VSPROP_SWITCH_TEAMING, policy);
  });
}

int VSDVS_SetPortTeamingPolicy(char const *alias, char const *dvport_id, VSTeamPolicy const *policy) {
  NOTE_ARGUMENTS(alias, dvport_id, policy);
  return update([&](Database &database) {
    refuse_if(!policy, QEL_BAD_PARAM);
    write_record(database, port_argument(database, alias, dvport_id), VSPROP_PORT_TEAMING_POLICY, policy);
  });
}

int VSDVS_GetPortTeamingPolicy(char const *alias, char const *dvport_id, VSTeamPolicy *policy) {
  NOTE_ARGUMENTS(alias, dvport_id, policy);
  return query([&](Database &database) {
    refuse_if(!policy, QEL_BAD_PARAM);
    read_record(database, port_argument(database, alias, dvport_id), VSPROP_PORT_TEAMING_POLICY, policy);
  });
}

int VSDVS_ClearPortTeamingPolicy(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return clear_value(OfPort{alias, dvport_id}, VSPROP_PORT_TEAMING_POLICY);
}

int VSDVS_SetPortTeamingOverride(char const *alias, char const *dvport_id, char const *uplink) {
  NOTE_ARGUMENTS(alias, dvport_id, uplink);
  return set_name(OfPort{alias, dvport_id}, VSPROP_PORT_TEAMING_OVERRIDE, uplink, QEL_HNQ_NAME_MAX_LEN);
}

int VSDVS_GetPortTeamingOverride(char const *alias, char const *dvport_id, char *uplink) {
  NOTE_ARGUMENTS(alias, dvport_id, uplink);
  return get_name(OfPort{alias, dvport_id}, VSPROP_PORT_TEAMING_OVERRIDE, uplink);
}

int VSDVS_ClearPortTeamingOverride(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return clear_value(OfPort{alias, dvport_id}, VSPROP_PORT_TEAMING_OVERRIDE);
}

int VSDVS_SetLSTeamingPolicy(char const *alias, LSTeamTable const *table) {
  NOTE_ARGUMENTS(alias, table);
  return update([&](Database &database) {
    refuse_if(!table, QEL_BAD_PARAM);
    PropertyPlace const place = switch_argument(database, alias);
    std::string_view const value(reinterpret_cast<char const *>(table), ls_teaming_table_size(table));
    write_property(database, place, VSPROP_LS_TEAMING_POLICY, value);
  });
}

int VSDVS_GetLSTeamingPolicyTable(char const *alias, LSTeamTable **table) {
  NOTE_ARGUMENTS(alias, table);
  preset(table);
  return query([&](Database &database) {
    refuse_if(!table, QEL_BAD_PARAM);
    *table =
        returned_value<LSTeamTable>(get_property(database, switch_argument(database, alias), VSPROP_LS_TEAMING_POLICY));
  });
}

int VSDVS_ClearLSTeamingPolicy(char const *alias) {
  NOTE_ARGUMENTS(alias);
  return clear_value(OfSwitch{alias}, VSPROP_LS_TEAMING_POLICY);
}

int VSDVS_SetPortLSTeamingPolicy(char const *alias, char const *dvport_id, char const *policy_name) {
  NOTE_ARGUMENTS(alias, dvport_id, policy_name);
  return set_name(OfPort{alias, dvport_id}, VSPROP_PORT_LS_TEAMING_POLICY, policy_name, sizeof(LSTeamPolicy::name));
}

int VSDVS_GetPortLSTeamingPolicyName(char const *alias, char const *dvport_id, char *policy_name) {
  NOTE_ARGUMENTS(alias, dvport_id, policy_name);
  return get_name(OfPort{alias, dvport_id}, VSPROP_PORT_LS_TEAMING_POLICY, policy_name);
}

int VSDVS_ClearPortLSTeamingPolicy(char const *alias, char const *dvport_id) {
  NOTE_ARGUMENTS(alias, dvport_id);
  return clear_value(OfPort{alias, dvport_id}, VSPROP_PORT_LS_TEAMING_POLICY);
}

int VSDVS_SetTxUplinkAlways(char const *alias, char const *dvport_id, qel_Bool enable) {
  NOTE_ARGUMENTS(alias, dvport_id, enable);
  return set_byte(OfPort{alias, dvport_id}, VSPROP_PORT_TX_UPLINK, enable);
}

int VSDVS_GetTxUplinkAlways(char const *alias, char const *dvport_id, qel_Bool *enabled) {
  NOTE_ARGUMENTS(alias, dvport_id, enabled);
  return get_byte(OfPort{alias, dvport_id}, VSPROP_PORT_TX_UPLINK, enabled);
}

// The module passes a copy of a script's text, which this call only reads.
int VSQEL_GetLSTeamingPolicyTable(char *switch_name, LSTeamTable **table) {
  NOTE_ARGUMENTS(switch_name, table);
  preset(table);
  return query([&](Database &database) {
    refuse_if(!table, QEL_BAD_PARAM);
    RowId const vswitch = switch_by_any_name(database, switch_name_argument(switch_name));
    std::vector<LSTeamPolicy> const policies = ls_teaming_in_force(database, vswitch);
    std::string value = property_bytes(static_cast<std::uint32_t>(policies.size()));
    for (LSTeamPolicy const &policy : policies)
      append_record(value, policy);
    *table = returned_value<LSTeamTable>(value);
  });
}

int VSQEL_GetPortLSTeamingPolicyName(qel_SwitchPortID port_id, char *policy_name) {
  NOTE_ARGUMENTS(port_id, policy_name);
  preset(policy_name);
  return query([&](Database &database) {
    refuse_if(!policy_name, QEL_BAD_PARAM);
    NumberedPort const port = port_by_number(database, port_id);
    store_text(policy_name, port_ls_teaming_in_force(database, {port.vswitch, Scope::port, port_id}));
  });
}
