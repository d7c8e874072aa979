// The functions of libvswitch.so that the host does not have yet, each with its outputs at null or zero.
#include "platform/core/constants.hpp"
#include "platform/vswitch/exports.hpp"

using namespace host;

namespace {

template <typename... Outputs>
int not_implemented(Outputs *...outputs) {
  (preset(outputs), ...);
  return QEL_NOT_IMPLEMENTED;
}

}  // namespace

int VSQEL_RTMOp(RTMIOCtlQuery *, RTMIOCtlMode) {
  return not_implemented();
}
int VSQEL_RTMModOp(RTMModIOCtlQuery *, RTMIOCtlMode) {
  return not_implemented();
}
int VSQEL_RTMPortOp(qel_WorldID, qel_SwitchPortID, qel_Bool) {
  return not_implemented();
}
int VSQEL_GetRuntimeOptions(qel_uint16 const *, qel_uint16, VSRuntimeOptions **options) {
  return not_implemented(options);
}
int VSQEL_SetRuntimeOptions(VSRuntimeOptions *) {
  return not_implemented();
}
int VSQEL_GetGlobalMACLearningProps(VSMACLearningGlobalProps *props) {
  return not_implemented(props);
}
int VSQEL_SetGlobalMACLearningProps(VSMACLearningGlobalProps *) {
  return not_implemented();
}
int VSQEL_RefreshDevNUMAInfo(char const *) {
  return not_implemented();
}
int VSQEL_GetUplinkLACPLinkState(char const *, char const *, qel_LinkState *state) {
  return not_implemented(state);
}
int VSQEL_GetUplinkDVPortID(char const *, char *dvport_id) {
  return not_implemented(dvport_id);
}
int VSQEL_GetLAGTable(char const *, VSLAGTable **table) {
  return not_implemented(table);
}
int VSQEL_PortGetTeamUplinkHint(qel_SwitchPortID, qel_Name *uplink) {
  return not_implemented(uplink);
}
int VSQEL_GetLSTeamingPolicyTable(char *, LSTeamTable **table) {
  return not_implemented(table);
}
int VSQEL_GetPortLSTeamingPolicyName(qel_SwitchPortID, char *policy_name) {
  return not_implemented(policy_name);
}
int VSQEL_GetServicePortTeamingStats(char const *, VSServicePortTeamingStats *stats) {
  return not_implemented(stats);
}
int VSQEL_GetSwitchMACLearningInfo(char const *, VSMACLearningSwitchInfo *info) {
  return not_implemented(info);
}
int VSQEL_GetMACLearningAllPorts(char const *, VSMACLearningEntries **entries) {
  return not_implemented(entries);
}
int VSQEL_GetSwitchMACLearningStats(char const *, VSMACLearningStats **stats) {
  return not_implemented(stats);
}
int VSQEL_GetPortMACLearningStats(char const *, char const *, VSPMACLearningStats *stats) {
  return not_implemented(stats);
}
int VSQEL_GetMACTable(char const *, VSMACAddrType, VSMACTable **table) {
  return not_implemented(table);
}
int VSQEL_GetTeamMACTable(char const *, VSMACAddrType, VSMACTable **table) {
  return not_implemented(table);
}
int VSQEL_GetPortMACTable(char const *, char const *, VSMACAddrType, VSMACTable **table) {
  return not_implemented(table);
}
int VSQEL_SetPortMACTable(char const *, char const *, VSMACEntry const *) {
  return not_implemented();
}
int VSQEL_ClearPortMACTable(char const *, char const *, VSMACEntry const *) {
  return not_implemented();
}
int VSQEL_GetStaticLectx(char const *, VSStaticLeCtxEntries **entries) {
  return not_implemented(entries);
}
int VSQEL_GetPortStaticLectx(char const *, char const *, VSStaticLeCtxEntries **entries) {
  return not_implemented(entries);
}
int VSQEL_GetL2Security(char const *, VSL2Security **security) {
  return not_implemented(security);
}
int VSQEL_GetRARPStats(char const *, VSRARPStats *stats) {
  return not_implemented(stats);
}
int VSQEL_GetMcastFilters(char const *, qel_SwitchPortID, VSMcastFilterMode, VSMcastFilters **filters) {
  return not_implemented(filters);
}
int VSQEL_GetMcastFilterStats(char const *, qel_SwitchPortID, VSMcastFilterMode, void const *,
                              VSMcastFilterStats **stats) {
  return not_implemented(stats);
}
int VSQEL_GetDVMirrorSessionIDs(char const *, VSDVMirrorSessionIDs **session_ids) {
  return not_implemented(session_ids);
}
int VSQEL_GetDVMirrorSessionStats(char const *, char const *, VSDVMirrorSessionStats *stats) {
  return not_implemented(stats);
}
int VSQEL_GetPromiscSessionActiveDsts(char const *, VSPromiscSessionActiveDsts **destinations) {
  return not_implemented(destinations);
}
int VSDVS_AddOpaqueDVPort(char const *, char const *, char const *) {
  return not_implemented();
}
int VSDVS_DvPortIDToPortIDFromDVSID(char const *, char const *, qel_SwitchPortID *port_id) {
  return not_implemented(port_id);
}
int VSDVS_ConfigureSinkPort(char const *, char const *, qel_Bool) {
  return not_implemented();
}
int VSDVS_IsSinkPortEnabled(char const *, char const *, qel_Bool *enabled) {
  return not_implemented(enabled);
}
int VSDVS_SetRCFType(char const *, qbr_RCFInsnType) {
  return not_implemented();
}
int VSDVS_GetRCFType(char const *, qbr_RCFInsnType *instruction_type) {
  return not_implemented(instruction_type);
}
int VSDVS_GetTeamingPolicyFromDVSID(char const *, VSTeamPolicy *policy) {
  return not_implemented(policy);
}
int VSDVS_SetPortTeamingPolicy(char const *, char const *, VSTeamPolicy const *) {
  return not_implemented();
}
int VSDVS_GetPortTeamingPolicy(char const *, char const *, VSTeamPolicy *policy) {
  return not_implemented(policy);
}
int VSDVS_ClearPortTeamingPolicy(char const *, char const *) {
  return not_implemented();
}
int VSDVS_SetPortTeamingOverride(char const *, char const *, char const *) {
  return not_implemented();
}
int VSDVS_GetPortTeamingOverride(char const *, char const *, char *uplink) {
  return not_implemented(uplink);
}
int VSDVS_ClearPortTeamingOverride(char const *, char const *) {
  return not_implemented();
}
int VSDVS_SetLSTeamingPolicy(char const *, LSTeamTable const *) {
  return not_implemented();
}
int VSDVS_GetLSTeamingPolicyTable(char const *, LSTeamTable **table) {
  return not_implemented(table);
}
int VSDVS_ClearLSTeamingPolicy(char const *) {
  return not_implemented();
}
int VSDVS_SetPortLSTeamingPolicy(char const *, char const *, char const *) {
  return not_implemented();
}
int VSDVS_GetPortLSTeamingPolicyName(char const *, char const *, char *policy_name) {
  return not_implemented(policy_name);
}
int VSDVS_ClearPortLSTeamingPolicy(char const *, char const *) {
  return not_implemented();
}
int VSDVS_SetTxUplinkAlways(char const *, char const *, qel_Bool) {
  return not_implemented();
}
int VSDVS_GetTxUplinkAlways(char const *, char const *, qel_Bool *enabled) {
  return not_implemented(enabled);
}
int VSDVS_SetMACLearning(char const *, VSPropMACLearning const *) {
  return not_implemented();
}
int VSDVS_GetMACLearning(char const *, VSPropMACLearning *properties) {
  return not_implemented(properties);
}
int VSDVS_ClearMACLearning(char const *) {
  return not_implemented();
}
int VSDVS_SetPortMACLearning(char const *, char const *, VSPMACLearning const *) {
  return not_implemented();
}
int VSDVS_GetPortMACLearning(char const *, char const *, VSPMACLearning *policy) {
  return not_implemented(policy);
}
int VSDVS_SetStaticMACAllow(char const *, qel_Bool) {
  return not_implemented();
}
int VSDVS_GetStaticMACAllow(char const *, qel_Bool *allow) {
  return not_implemented(allow);
}
int VSDVS_ClearStaticMACAllow(char const *) {
  return not_implemented();
}
int VSDVS_SetLearnStatic(char const *, qel_Bool) {
  return not_implemented();
}
int VSDVS_GetLearnStatic(char const *, qel_Bool *learn) {
  return not_implemented(learn);
}
int VSDVS_ClearLearnStatic(char const *) {
  return not_implemented();
}
int VSDVS_SetPortSecurity(char const *, char const *, VSPropSecurity const *) {
  return not_implemented();
}
int VSDVS_GetPortSecurity(char const *, char const *, VSPropSecurity *security) {
  return not_implemented(security);
}
int VSDVS_SetExtraEthFilter(char const *, char const *, VSExtraEthFilter const *) {
  return not_implemented();
}
int VSDVS_GetExtraEthFilter(char const *, char const *, VSExtraEthFilter *filter) {
  return not_implemented(filter);
}
int VSDVS_ClearExtraEthFilter(char const *, char const *) {
  return not_implemented();
}
int VSDVS_SetPortNestedVLANTagging(char const *, char const *, qel_Bool) {
  return not_implemented();
}
int VSDVS_GetPortNestedVLANTagging(char const *, char const *, qel_Bool *enabled) {
  return not_implemented(enabled);
}
int VSDVS_SetPortVLANPolicy(char const *, char const *, qel_uint16, int, qel_Bool, qel_Bool, qel_HNQPortVIDRange *,
                            qel_uint16) {
  return not_implemented();
}
int VSDVS_GetPortVLANPolicy(char const *, char const *, VSPortVlanPolicy **policy, int *length) {
  return not_implemented(policy, length);
}
int VSDVS_ClearPortVLANPolicy(char const *, char const *) {
  return not_implemented();
}
int VSDVS_SetPrivateVLANMap(char const *, VSPvlanMapEntry const *, int) {
  return not_implemented();
}
int VSDVS_GetPrivateVLANMap(char const *, VSPvlanMapEntry **map, int *count) {
  return not_implemented(map, count);
}
int VSDVS_SetMcastUserLegacyEntries(char const *, int, VSMACEntries *) {
  return not_implemented();
}
int VSDVS_GetMcastUserLegacyEntries(char const *, VSUserMcastLegacyKeys **keys) {
  return not_implemented(keys);
}
int VSDVS_ClearMcastUserLegacyEntries(char const *) {
  return not_implemented();
}
int VSDVS_SetPortMcastUserLegacyEntries(char const *, char const *, int, VSMACEntries *) {
  return not_implemented();
}
int VSDVS_GetPortMcastUserLegacyEntries(char const *, char const *, VSUserMcastLegacyKeys **keys) {
  return not_implemented(keys);
}
int VSDVS_ClearPortMcastUserLegacyEntries(char const *, char const *) {
  return not_implemented();
}
int VSDVS_SetDVMirrorSessions(char const *, char const *, DVMirrorSessionTable *) {
  return not_implemented();
}
int VSDVS_AppendDVMirrorSessions(char const *, char const *, DVMirrorSessionTable *) {
  return not_implemented();
}
int VSDVS_GetDVMirrorSessions(char const *, char const *, DVMirrorSessionTable **table) {
  return not_implemented(table);
}
int VSDVS_RemoveDVMirrorSession(char const *, char const *, char const *) {
  return not_implemented();
}
int VSDVS_ClearDVMirrorSessions(char const *, char const *) {
  return not_implemented();
}
