/* Calls that query and adjust the running switches (libvswitch.so). */
#ifndef VSWITCHPY_INTERFACE_SWITCH_QUERIES_H
#define VSWITCHPY_INTERFACE_SWITCH_QUERIES_H

#include "interface/base_types.h"
#include "interface/kernel_records.h"
#include "interface/option_records.h"
#include "interface/policy_records.h"
#include "interface/status_records.h"

#ifdef __cplusplus
extern "C" {
#endif

int VSQEL_RTMOp(RTMIOCtlQuery *query, RTMIOCtlMode mode);
int VSQEL_RTMModOp(RTMModIOCtlQuery *query, RTMIOCtlMode mode);
int VSQEL_RTMPortOp(qel_WorldID world_id, qel_SwitchPortID port_id, qel_Bool block);
int VSQEL_GetRuntimeOptions(qel_uint16 const *types, qel_uint16 count, VSRuntimeOptions **options);
int VSQEL_SetRuntimeOptions(VSRuntimeOptions *options);
int VSQEL_GetGlobalMACLearningProps(VSMACLearningGlobalProps *props);
int VSQEL_SetGlobalMACLearningProps(VSMACLearningGlobalProps *props);
void VSQEL_FreeMemory(void *memory);
int VSQEL_GetSwitches(VSListType list_type, VSList **list);
int VSQEL_GetSwitchInfo(char const *switch_name, VSInfo **info);
int VSQEL_GetVSInfo(char const *switch_name, VSInfo *info);
int VSQEL_RefreshDevNUMAInfo(char const *switch_name);
int VSQEL_DVSAliasToSwitchId(char const *alias, char *switch_id);
int VSQEL_GetUplinks(char const *switch_name, VSUplinks **uplinks);
int VSQEL_GetUplinkLinkState(char const *switch_name, char const *uplink, qel_LinkState *state);
int VSQEL_GetUplinkLACPLinkState(char const *switch_name, char const *uplink, qel_LinkState *state);
int VSQEL_SetUplinkAdminLinkState(char const *switch_name, char const *uplink, qel_LinkState state);
int VSQEL_GetUplinkDVPortID(char const *uplink, char *dvport_id);
int VSQEL_GetLAGTable(char const *switch_name, VSLAGTable **table);
int VSQEL_PortGetTeamUplinkHint(qel_SwitchPortID port_id, qel_Name *uplink);
int VSQEL_GetLSTeamingPolicyTable(char *switch_name, LSTeamTable **table);
int VSQEL_GetPortLSTeamingPolicyName(qel_SwitchPortID port_id, char *policy_name);
int VSQEL_GetServicePortTeamingStats(char const *switch_name, VSServicePortTeamingStats *stats);
int VSQEL_GetSwitchMACLearningInfo(char const *switch_name, VSMACLearningSwitchInfo *info);
int VSQEL_GetMACLearningAllPorts(char const *switch_name, VSMACLearningEntries **entries);
int VSQEL_GetSwitchMACLearningStats(char const *switch_name, VSMACLearningStats **stats);
int VSQEL_GetPortMACLearningStats(char const *switch_name, char const *dvport_id, VSPMACLearningStats *stats);
int VSQEL_GetMACTable(char const *switch_name, VSMACAddrType address_type, VSMACTable **table);
int VSQEL_GetTeamMACTable(char const *switch_name, VSMACAddrType address_type, VSMACTable **table);
int VSQEL_GetPortMACTable(char const *switch_name, char const *dvport_id, VSMACAddrType address_type,
                          VSMACTable **table);
int VSQEL_SetPortMACTable(char const *switch_name, char const *dvport_id, VSMACEntry const *entry);
int VSQEL_ClearPortMACTable(char const *switch_name, char const *dvport_id, VSMACEntry const *entry);
int VSQEL_GetStaticLectx(char const *switch_name, VSStaticLeCtxEntries **entries);
int VSQEL_GetPortStaticLectx(char const *switch_name, char const *dvport_id, VSStaticLeCtxEntries **entries);
int VSQEL_GetL2Security(char const *switch_name, VSL2Security **security);
int VSQEL_GetRARPStats(char const *switch_name, VSRARPStats *stats);
int VSQEL_GetMcastFilterMode(char const *switch_name, VSMcastFilterMode *mode);
int VSQEL_GetMcastFilters(char const *switch_name, qel_SwitchPortID port_id, VSMcastFilterMode mode,
                          VSMcastFilters **filters);
int VSQEL_GetMcastFilterStats(char const *switch_name, qel_SwitchPortID port_id, VSMcastFilterMode mode,
                              void const *group, VSMcastFilterStats **stats);
int VSQEL_GetDVMirrorSessionIDs(char const *switch_name, VSDVMirrorSessionIDs **session_ids);
int VSQEL_GetDVMirrorSessionStats(char const *switch_name, char const *session_id, VSDVMirrorSessionStats *stats);
int VSQEL_GetPromiscSessionActiveDsts(char const *switch_name, VSPromiscSessionActiveDsts **destinations);

#ifdef __cplusplus
}
#endif

#endif
