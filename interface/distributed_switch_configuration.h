/* Calls that configure distributed switches and their ports (libvswitch.so). */
#ifndef VSWITCHPY_INTERFACE_DISTRIBUTED_SWITCH_CONFIGURATION_H
#define VSWITCHPY_INTERFACE_DISTRIBUTED_SWITCH_CONFIGURATION_H

#include "interface/base_types.h"
#include "interface/kernel_records.h"
#include "interface/mirror_records.h"
#include "interface/policy_records.h"
#include "interface/status_records.h"

#ifdef __cplusplus
extern "C" {
#endif

int VSDVS_CreateVSwitch(char const *alias, char const *switch_id, char const *class_name, qel_uint32 max_ports,
                        qel_Bool persistent, qel_uint32 mtu, qel_uint32 version, qel_uint32 flags);
int VSDVS_DestroyVSwitch(char const *alias);
int VSDVS_SetMTU(char const *alias, qel_uint32 mtu);
int VSDVS_GetMTU(char const *alias, qel_uint32 *mtu);
int VSDVS_AddDVPort(char const *alias, char const *dvport_id, qel_uint32 connect_id);
int VSDVS_AddOpaqueDVPort(char const *alias, char const *dvport_id, char const *external_id);
int VSDVS_RemoveDVPort(char const *alias, char const *dvport_id);
int VSDVS_DvPortIDToPortID(char const *alias, char const *dvport_id, qel_SwitchPortID *port_id);
int VSDVS_DvPortIDToPortIDFromDVSID(char const *switch_id, char const *dvport_id, qel_SwitchPortID *port_id);
int VSDVS_GetAliasFromPortset(char const *portset, char *alias);
int VSDVS_ClearSwitchUplinkPorts(char const *alias);
int VSDVS_AddSwitchUplinkPort(char const *alias, char const *uplink);
int VSDVS_RemoveSwitchUplinkPort(char const *alias, char const *uplink);
int VSDVS_SetSwitchUplinkPorts(char const *alias, VSUplinkPorts const *names, VSUplinkPortIds const *dvport_ids);
int VSDVS_GetSwitchUplinkPorts(char const *alias, VSUplinkPorts **names, VSUplinkPortIds **dvport_ids);
int VSDVS_ConfigureSinkPort(char const *alias, char const *dvport_id, qel_Bool enable);
int VSDVS_IsSinkPortEnabled(char const *alias, char const *dvport_id, qel_Bool *enabled);
int VSDVS_SetRCFType(char const *alias, qbr_RCFInsnType instruction_type);
int VSDVS_GetRCFType(char const *alias, qbr_RCFInsnType *instruction_type);
void VSDVS_FreeMemory(void *memory);
int VSDVS_GetGlobProp(char const *alias, char const *name, HNQQuery *query, char const *vendor, qel_Bool persistent);
int VSDVS_SetGlobProp(char const *alias, char const *name, void const *data, int length, char const *vendor,
                      qel_Bool persistent);
int VSDVS_ClearGlobProp(char const *alias, char const *name, char const *vendor, qel_Bool persistent);
int VSDVS_GetHostProp(char const *alias, char const *name, HNQQuery *query, char const *vendor, qel_Bool persistent);
int VSDVS_SetHostProp(char const *alias, char const *name, void const *data, int length, char const *vendor,
                      qel_Bool persistent);
int VSDVS_SetRuntimeHostProp(char const *alias, char const *name, void const *data, int length, char const *vendor,
                             qel_Bool persistent);
int VSDVS_ClearHostProp(char const *alias, char const *name, char const *vendor, qel_Bool persistent);
int VSDVS_GetPortProp(char const *alias, char const *dvport_id, char const *name, HNQQuery *query, char const *vendor,
                      qel_Bool persistent);
int VSDVS_SetPortProp(char const *alias, char const *dvport_id, char const *name, void const *data, int length,
                      char const *vendor, qel_Bool persistent);
int VSDVS_ClearPortProp(char const *alias, char const *dvport_id, char const *name, char const *vendor,
                        qel_Bool persistent);
int VSDVS_SetTeamingPolicy(char const *alias, VSTeamPolicy const *policy);
int VSDVS_GetTeamingPolicy(char const *alias, VSTeamPolicy *policy);
int VSDVS_ClearTeamingPolicy(char const *alias);
int VSDVS_GetTeamingPolicyFromDVSID(char const *switch_id, VSTeamPolicy *policy);
int VSDVS_SetPortTeamingPolicy(char const *alias, char const *dvport_id, VSTeamPolicy const *policy);
int VSDVS_GetPortTeamingPolicy(char const *alias, char const *dvport_id, VSTeamPolicy *policy);
int VSDVS_ClearPortTeamingPolicy(char const *alias, char const *dvport_id);
int VSDVS_SetPortTeamingOverride(char const *alias, char const *dvport_id, char const *uplink);
int VSDVS_GetPortTeamingOverride(char const *alias, char const *dvport_id, char *uplink);
int VSDVS_ClearPortTeamingOverride(char const *alias, char const *dvport_id);
int VSDVS_SetLSTeamingPolicy(char const *alias, LSTeamTable const *table);
int VSDVS_GetLSTeamingPolicyTable(char const *alias, LSTeamTable **table);
int VSDVS_ClearLSTeamingPolicy(char const *alias);
int VSDVS_SetPortLSTeamingPolicy(char const *alias, char const *dvport_id, char const *policy_name);
int VSDVS_GetPortLSTeamingPolicyName(char const *alias, char const *dvport_id, char *policy_name);
int VSDVS_ClearPortLSTeamingPolicy(char const *alias, char const *dvport_id);
int VSDVS_SetTxUplinkAlways(char const *alias, char const *dvport_id, qel_Bool enable);
int VSDVS_GetTxUplinkAlways(char const *alias, char const *dvport_id, qel_Bool *enabled);
int VSDVS_SetMACLearning(char const *alias, VSPropMACLearning const *properties);
int VSDVS_GetMACLearning(char const *alias, VSPropMACLearning *properties);
int VSDVS_ClearMACLearning(char const *alias);
int VSDVS_SetPortMACLearning(char const *alias, char const *dvport_id, VSPMACLearning const *policy);
int VSDVS_GetPortMACLearning(char const *alias, char const *dvport_id, VSPMACLearning *policy);
int VSDVS_SetStaticMACAllow(char const *alias, qel_Bool allow);
int VSDVS_GetStaticMACAllow(char const *alias, qel_Bool *allow);
int VSDVS_ClearStaticMACAllow(char const *alias);
int VSDVS_SetLearnStatic(char const *alias, qel_Bool learn);
int VSDVS_GetLearnStatic(char const *alias, qel_Bool *learn);
int VSDVS_ClearLearnStatic(char const *alias);
int VSDVS_SetPortSecurity(char const *alias, char const *dvport_id, VSPropSecurity const *security);
int VSDVS_GetPortSecurity(char const *alias, char const *dvport_id, VSPropSecurity *security);
int VSDVS_SetExtraEthFilter(char const *alias, char const *dvport_id, VSExtraEthFilter const *filter);
int VSDVS_GetExtraEthFilter(char const *alias, char const *dvport_id, VSExtraEthFilter *filter);
int VSDVS_ClearExtraEthFilter(char const *alias, char const *dvport_id);
int VSDVS_SetPortNestedVLANTagging(char const *alias, char const *dvport_id, qel_Bool enable);
int VSDVS_GetPortNestedVLANTagging(char const *alias, char const *dvport_id, qel_Bool *enabled);
int VSDVS_SetPortVLANPolicy(char const *alias, char const *dvport_id, qel_uint16 vlan_id, int priority,
                            qel_Bool guest_tagging, qel_Bool private_vlan, qel_HNQPortVIDRange *ranges,
                            qel_uint16 num_ranges);
int VSDVS_GetPortVLANPolicy(char const *alias, char const *dvport_id, VSPortVlanPolicy **policy, int *length);
int VSDVS_ClearPortVLANPolicy(char const *alias, char const *dvport_id);
int VSDVS_SetPrivateVLANMap(char const *alias, VSPvlanMapEntry const *map, int count);
int VSDVS_GetPrivateVLANMap(char const *alias, VSPvlanMapEntry **map, int *count);
int VSDVS_SetMcastFilterMode(char const *alias, VSMcastFilterMode mode);
int VSDVS_GetMcastFilterMode(char const *alias, VSMcastFilterMode *mode);
int VSDVS_SetMcastUserLegacyEntries(char const *alias, int count, VSMACEntries *entries);
int VSDVS_GetMcastUserLegacyEntries(char const *alias, VSUserMcastLegacyKeys **keys);
int VSDVS_ClearMcastUserLegacyEntries(char const *alias);
int VSDVS_SetPortMcastUserLegacyEntries(char const *alias, char const *dvport_id, int count, VSMACEntries *entries);
int VSDVS_GetPortMcastUserLegacyEntries(char const *alias, char const *dvport_id, VSUserMcastLegacyKeys **keys);
int VSDVS_ClearPortMcastUserLegacyEntries(char const *alias, char const *dvport_id);
int VSDVS_SetDVMirrorSessions(char const *alias, char const *dvport_id, DVMirrorSessionTable *table);
int VSDVS_AppendDVMirrorSessions(char const *alias, char const *dvport_id, DVMirrorSessionTable *table);
int VSDVS_GetDVMirrorSessions(char const *alias, char const *dvport_id, DVMirrorSessionTable **table);
int VSDVS_RemoveDVMirrorSession(char const *alias, char const *dvport_id, char const *session_id);
int VSDVS_ClearDVMirrorSessions(char const *alias, char const *dvport_id);

#ifdef __cplusplus
}
#endif

#endif
