// Descriptors beside those of the records: every other native type that crosses as a pointer.
#pragma once

#include "interface/mirror_records.h"
#include "interface/option_records.h"
#include "interface/policy_records.h"
#include "interface/status_records.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

// Two hundred and sixteen descriptors in all: the 117 records, and here 2 kernel records that only appear as
// handles, 2 opaque parts of a query, 25 pointers to pointers, 47 enumerations and 23 scalars, arrays and
// functions. A display string lists the typedefs of the type; the last spelling is what proxies show.

// clang-format off
inline constexpr std::array scalar_types = {
    TYPE(void, "DVSwitchHandle|DVSPortHandle|void *"),
    TYPE(char, "qel_Bool *|char *"),
    TYPE(signed char, "qel_int8 *|signed char *"),
    TYPE(unsigned char, "qel_uint8 *|qel_PortsetResPoolPriorityTag *|unsigned char *"),
    TYPE(short, "qel_int16 *|short *"),
    TYPE(unsigned short, "qel_VlanID *|qel_uint16 *|unsigned short *"),
    TYPE(int,
         "qel_int32 *|qel_ModuleID *|qel_WorldID *|qel_PortsetResPoolLimit *|qel_PortsetResPoolReservation *|"
         "qel_PortsetResPoolQueueDepth *|int *"),
    TYPE(unsigned int,
         "qel_uint32 *|qel_SwitchPortID *|qel_IPv4Address *|qel_ByteCountSmall *|qel_revnum *|qel_LinkSpeed *|"
         "qel_PortsetResPoolShares *|unsigned int *"),
    TYPE(long, "ssize_t *|long *"),
    TYPE(std::size_t, "size_t *"),
    TYPE(long long, "qel_int64 *|long long *"),
    TYPE(unsigned long long, "qel_uint64 *|qel_ByteCount *|unsigned long long *"),
    TYPE(char[32], "char (*)[32]"),
    TYPE(char[48], "char (*)[48]"),
    TYPE(char[64], "DVSwitchId *|char (*)[64]"),
    TYPE(char[81], "char (*)[81]"),
    TYPE(char[128], "char (*)[128]"),
    TYPE(unsigned char[6], "unsigned char (*)[6]|qel_EthAddress *"),
    TYPE(unsigned char[16], "unsigned char (*)[16]"),
    // The key keeps the expression that the interface writes for 136.
    TypeRow{"_p_a__32_4___8__char", "LSTeamPolicyName *|char (*)[(32*4) +8]"},
};

inline constexpr std::array opaque_types = {
    TypeRow{"_p_PktHandle", "struct PktHandle *|qel_PktHandle *"},
    TypeRow{"_p_Portset", "struct Portset *|qel_Portset *"},
    TYPE(_mcastFilter, "_mcastFilter *"),
    TYPE(_uplink, "_uplink *"),
};

#define ENUMERATION(name) TypeRow{"_p_" #name, "enum " #name " *|" #name " *"}
inline constexpr std::array enumeration_types = {
    // Types of arguments and fields.
    ENUMERATION(DVMirrorEncapType),
    ENUMERATION(DVMirrorEntityType),
    ENUMERATION(DVMirrorFilterAction),
    ENUMERATION(DVMirrorFilterType),
    ENUMERATION(DVMirrorSessionType),
    ENUMERATION(DVMirrorVersion),
    ENUMERATION(DVSPortType),
    ENUMERATION(ForwardingMode),
    ENUMERATION(HNQVersion),
    ENUMERATION(QEL_ReturnStatus),
    ENUMERATION(RTMIOCtlMode),
    ENUMERATION(VSListType),
    ENUMERATION(VSMACAddrType),
    ENUMERATION(VSMcastFilterMode),
    ENUMERATION(VSPortMACLearningLimitPolicy),
    ENUMERATION(VSVlanTPFlags),
    ENUMERATION(VS_PortClientType),
    ENUMERATION(qbr_RCFInsnType),
    ENUMERATION(qel_AttrType),
    ENUMERATION(qel_IntrPolarityType),
    ENUMERATION(qel_IntrTriggerType),
    ENUMERATION(qel_LinkDuplex),
    ENUMERATION(qel_LinkState),
    ENUMERATION(qel_MgmtCallbackLocation),
    ENUMERATION(qel_MgmtParmType),
    // Types behind the families of constants, named after the family where the interface gives no name.
    ENUMERATION(DVMirrorSessionFlags),        // VS_DVMIRROR_FLAG_*
    ENUMERATION(DVMirrorWildcard),            // VS_DVMIRROR_WILDCARD_*
    ENUMERATION(DVSPropType),                 // *_PROP_TYPE
    ENUMERATION(RTMOrvOp),                    // RTM_IOCCMD_ORV_*
    ENUMERATION(TeamFrpCriteria),             // TEAM_FRP_CRIT_*
    ENUMERATION(TeamFrpFlags),                // TEAM_FRP_FLAG_*
    ENUMERATION(TeamFrpType),                 // TEAM_FRP_TYPE_*
    ENUMERATION(VSIOCtlCmd),                  // VS_IOCMD_*
    ENUMERATION(VSMcastSrcIPFilterMode),      // VS_MCAST_SRC_IP_FILTER_MODE_*
    ENUMERATION(VSPortPvlanType),             // VSPORT_PVLAN_TYPE_*
    ENUMERATION(VSPortSecurityFlags),         // VSPORT_SECURITY_*
    ENUMERATION(VSPortVlanFlags),             // VSPORT_VLAN_*
    ENUMERATION(VSRuntimeOptionType),         // VS_RT_OPT_*
    ENUMERATION(VSStatsFlags),                // VS_STATS_FLAG_*
    ENUMERATION(qel_HNQPortStatusFlags),      // QEL_HNQPORT_STATUS_*
    ENUMERATION(qel_HNQPortsetState),         // QEL_HNQPORTSET_STATE_*
    ENUMERATION(qel_HNQStatusCode),           // QEL_HNQ_STATUS_*
    ENUMERATION(qel_IoctlCallerSize),         // QEL_IOCTL_CALLER_*
    ENUMERATION(qel_LinkMedia),               // QEL_LINK_MEDIA_*
    ENUMERATION(qel_MgmtKeyType),             // QEL_MGMT_KEY_TYPE_*
    ENUMERATION(qel_PassthroughType),         // QEL_PT_*
    ENUMERATION(qel_PktCapPoint),             // QEL_PKTCAP_*
};
#undef ENUMERATION

inline constexpr std::array function_types = {
    TYPE(void *(std::size_t), "void *(*)(size_t)|DVSData_MemAlloc"),
    TYPE(void(void *), "DVSData_MemFree|void (*)(void *)"),
    TYPE(int(void *, void *), "DVSwitchCallback|DVSPortCallback|DVSPortDataCallback|int (*)(void *,void *)"),
};

// The storage that a caller supplies for an output pointer.
#define POINTER_TO_RECORD(name) TYPE(name *, "struct " #name " **|" #name " **")
inline constexpr std::array pointer_types = {
    TYPE(void *, "void **|DVSDataHandle *|DVSDataItem *"),
    TYPE(char *, "char **"),
    POINTER_TO_RECORD(DVMirrorSessionTable),
    POINTER_TO_RECORD(DVPortList),
    POINTER_TO_RECORD(LSTeamTable),
    POINTER_TO_RECORD(OpaqueDVPortData),
    POINTER_TO_RECORD(VSDVMirrorSessionIDs),
    POINTER_TO_RECORD(VSInfo),
    POINTER_TO_RECORD(VSL2Security),
    POINTER_TO_RECORD(VSLAGTable),
    POINTER_TO_RECORD(VSList),
    POINTER_TO_RECORD(VSMACLearningEntries),
    POINTER_TO_RECORD(VSMACLearningStats),
    POINTER_TO_RECORD(VSMACTable),
    POINTER_TO_RECORD(VSMcastFilterStats),
    POINTER_TO_RECORD(VSMcastFilters),
    POINTER_TO_RECORD(VSPortVlanPolicy),
    POINTER_TO_RECORD(VSPromiscSessionActiveDsts),
    POINTER_TO_RECORD(VSPvlanMapEntry),
    POINTER_TO_RECORD(VSRuntimeOptions),
    POINTER_TO_RECORD(VSStaticLeCtxEntries),
    POINTER_TO_RECORD(VSUplinkPortIds),
    POINTER_TO_RECORD(VSUplinkPorts),
    POINTER_TO_RECORD(VSUplinks),
    POINTER_TO_RECORD(VSUserMcastLegacyKeys),
};
#undef POINTER_TO_RECORD
// clang-format on

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
