/* State that the host reports: MAC tables, switch and port information, uplinks, LAGs, multicast filters. */
#ifndef VSWITCHPY_INTERFACE_STATUS_RECORDS_H
#define VSWITCHPY_INTERFACE_STATUS_RECORDS_H

#include "interface/base_types.h"
#include "interface/kernel_records.h"
#include "interface/policy_records.h"

#pragma pack(push, 1)
typedef struct VSMACEntry {
  unsigned char macAddress[6];
  VSMACAddrType macAddrType;
  qel_SwitchPortID portID;
  qel_Bool aging;
  qel_VlanID vid;
  qel_uint32 vni;
  qel_uint32 elapsed;
  qel_uint32 macMove;
} VSMACEntry;
#pragma pack(pop)
QEL_SIZE(VSMACEntry, 26);

typedef struct VSMACEntries {
  unsigned char macEntry[25][6];
} VSMACEntries;
QEL_SIZE(VSMACEntries, 150);

typedef struct VSMACTable {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  VSMACEntry macEntries[0];
} VSMACTable;
QEL_SIZE(VSMACTable, 8);

typedef struct VSMACGetDynamic {
  VSMACTable *macTable;
  qel_uint32 count;
  VSMACAddrType macAddrType;
  qel_uint32 numEntriesToCopy;
  qel_Bool getTeamMacs;
} VSMACGetDynamic;
QEL_SIZE(VSMACGetDynamic, 24);

#pragma pack(push, 1)
typedef struct VSMACLearningGlobalProps {
  qel_uint32 agingTime;
  qel_uint32 macLimit;
  qel_Bool learnStatic;
  qel_Bool staticMACAllow;
} VSMACLearningGlobalProps;
#pragma pack(pop)
QEL_SIZE(VSMACLearningGlobalProps, 10);

#pragma pack(push, 1)
typedef struct VSPMACLearningStats {
  qel_uint32 numMACsLearned;
  qel_uint64 noLearningAllowedPkts;
  qel_uint64 noLearningDroppedPkts;
  qel_uint64 numMACsMoved;
} VSPMACLearningStats;
#pragma pack(pop)
QEL_SIZE(VSPMACLearningStats, 28);

typedef struct VSPMACLearningStatsPortInfo {
  qel_SwitchPortID portID;
  VSPMACLearningStats portStats;
} VSPMACLearningStatsPortInfo;
QEL_SIZE(VSPMACLearningStatsPortInfo, 32);

typedef struct VSMACLearningStats {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  VSPMACLearningStatsPortInfo macLearningEntries[0];
} VSMACLearningStats;
QEL_SIZE(VSMACLearningStats, 8);

typedef struct VSMACLearningSwitchInfo {
  qel_uint32 agingTime;
  qel_uint32 macLimit;
  qel_uint32 numLearningPorts;
  qel_uint32 numMACsLearned;
  qel_uint32 teamNumMACsLearned;
  VSPMACLearning teamMACLearning;
  VSPMACLearningStats teamMACLearningStats;
  qel_uint64 teamAllowedPktsWithPortLimit;
  qel_uint32 noOfPortsMACLimitHit;
  qel_uint32 numSinkPorts;
  qel_uint32 numSinkAndFloodingPorts;
} VSMACLearningSwitchInfo;
QEL_SIZE(VSMACLearningSwitchInfo, 88);

#pragma pack(push, 1)
typedef struct VSPMACLearningInfo {
  qel_SwitchPortID portID;
  VSPMACLearning portMACLearning;
} VSPMACLearningInfo;
#pragma pack(pop)
QEL_SIZE(VSPMACLearningInfo, 14);

typedef struct VSMACLearningEntries {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  VSPMACLearningInfo portMACLearningEntries[0];
} VSMACLearningEntries;
QEL_SIZE(VSMACLearningEntries, 8);

typedef struct VSPropSecurityPortInfo {
  qel_SwitchPortID portID;
  VSPropSecurity l2SecPortInfo;
} VSPropSecurityPortInfo;
QEL_SIZE(VSPropSecurityPortInfo, 8);

typedef struct VSL2Security {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  VSPropSecurityPortInfo portSecEntries[0];
} VSL2Security;
QEL_SIZE(VSL2Security, 8);

/* The two opaque item selectors; the host fills and reads them. */
typedef struct _mcastFilter {
  unsigned char opaque[36];
} _mcastFilter;

typedef struct _uplink {
  unsigned char opaque[36];
} _uplink;

typedef struct VSIOCtlQuery {
  union {
    qel_uint8 psName[128];
    char dvsId[64];
    qel_uint8 dvsName[81];
  };
  union {
    qel_uint8 dvPortID[48];
    qel_SwitchPortID portID;
  };
  union {
    char dvMirrorSID[32];
    qel_VlanID vlanID;
    _mcastFilter mcastFilter;
    _uplink uplink;
    VSMACEntry macEntry;
    VSMACLearningGlobalProps globalMACLearningProps;
  };
} VSIOCtlQuery;
QEL_SIZE(VSIOCtlQuery, 212);

#pragma pack(push, 1)
typedef struct HNQQuery {
  int propLen;
  char *propValue;
} HNQQuery;
#pragma pack(pop)
QEL_SIZE(HNQQuery, 12);

typedef struct VSIOCtlData {
  qel_uint32 dataInLen;
  qel_uint32 dataOutLen;
  qel_uint64 dataInPtr;
  qel_uint64 dataOutPtr;
} VSIOCtlData;
QEL_SIZE(VSIOCtlData, 24);

typedef struct VSList {
  qel_int32 count;
  VSListType listType;
  char switches[0];
} VSList;
QEL_SIZE(VSList, 8);

#pragma pack(push, 1)
typedef struct VSInfo {
  qel_uint32 mtu;
  qel_VlanID maxValidVlan;
  qel_VlanID minValidVlan;
  qel_uint32 activePorts;
  qel_uint32 maxPorts;
  qel_uint8 dvsName[128];
  qel_uint8 hnqID[64];
  qel_uint16 numSinkPorts;
  qel_uint64 flags;
} VSInfo;
#pragma pack(pop)
QEL_SIZE(VSInfo, 218);

typedef struct VSStats {
  qel_uint64 pktsTx;
  qel_uint64 pktsTxMulticast;
  qel_uint64 pktsTxBroadcast;
  qel_uint64 pktsRx;
  qel_uint64 pktsRxMulticast;
  qel_uint64 pktsRxBroadcast;
  qel_uint64 bytesTx;
  qel_uint64 bytesTxMulticast;
  qel_uint64 bytesTxBroadcast;
  qel_uint64 bytesRx;
  qel_uint64 bytesRxMulticast;
  qel_uint64 bytesRxBroadcast;
  qel_uint64 droppedTx;
  qel_uint64 droppedRx;
} VSStats;
QEL_SIZE(VSStats, 112);

typedef struct VSPortList {
  qel_uint32 numPorts;
  qel_SwitchPortID ports[0];
} VSPortList;
QEL_SIZE(VSPortList, 4);

typedef struct {
  qel_uint16 numMulticastAddrs;
  unsigned char multicastAddrs[32][6];
} VSPortInfo_ethFrpAccepted;
QEL_SIZE(VSPortInfo_ethFrpAccepted, 194);

typedef struct {
  qel_VlanID defaultVID;
  qel_VlanID primaryVID;
  VSVlanTPFlags flags;
  qel_Bool statsEnabled;
} VSPortInfo_vlan;
QEL_SIZE(VSPortInfo_vlan, 12);

#pragma pack(push, 1)
typedef struct VSPortInfo {
  qel_uint32 portIdx;
  char clientName[1040];
  VS_PortClientType clientType;
  unsigned char fixedHwID[6];
  qel_uint8 dvPortId[48];
  VSPortInfo_ethFrpAccepted ethFrpAccepted;
  VSStats stats;
  VSPortInfo_vlan vlan;
} VSPortInfo;
#pragma pack(pop)
QEL_SIZE(VSPortInfo, 1420);

typedef struct VSVLANBitmap {
  qel_uint64 bits[64];
} VSVLANBitmap;
QEL_SIZE(VSVLANBitmap, 512);

typedef struct VSVLAN {
  qel_uint64 creationTime;
  qel_uint64 modificationTime;
  qel_uint64 pktsTx;
  qel_uint64 pktsRx;
} VSVLAN;
QEL_SIZE(VSVLAN, 32);

#pragma pack(push, 1)
typedef struct VSStaticLEEntry {
  VSVLANBitmap vlanBitmap;
  qel_Bool isTrunkVNI;
  qel_Bool isVdrMac;
  qel_uint32 vni;
  unsigned char macAddress[6];
  VSMACAddrType macAddrType;
  qel_SwitchPortID portID;
} VSStaticLEEntry;
#pragma pack(pop)
QEL_SIZE(VSStaticLEEntry, 529);

typedef struct VSStaticLeCtxEntries {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  VSStaticLEEntry staticLECtxEntries[0];
} VSStaticLeCtxEntries;
QEL_SIZE(VSStaticLeCtxEntries, 8);

typedef struct VSRARPStats {
  qel_uint32 rarpPktsSent;
  qel_uint32 maxRARPTime;
  qel_uint64 rarpTime;
} VSRARPStats;
QEL_SIZE(VSRARPStats, 16);

typedef struct VSServicePortTeamingStats {
  qel_uint64 txFromSrvPort;
  qel_uint64 txUsingSrvPortFRP;
  qel_uint64 txUsingPktSrcPortFRP;
  qel_uint64 txErrors;
  qel_uint64 rxToSrvPort;
  qel_uint64 rxRpfOverride;
} VSServicePortTeamingStats;
QEL_SIZE(VSServicePortTeamingStats, 48);

typedef struct {
  qel_Name name;
  qel_SwitchPortID portID;
} VSUplinks_entries;
QEL_SIZE(VSUplinks_entries, 36);

typedef struct VSUplinks {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  VSUplinks_entries entries[0];
} VSUplinks;
QEL_SIZE(VSUplinks, 8);

#pragma pack(push, 1)
typedef struct VSLAGStatus {
  qel_LinkState state;
  qel_uint32 id;
  qel_uint8 name[68];
  qel_uint64 uplinkLinkupBitmap;
  qel_uint32 numUplinks;
  qel_Name uplinkNames[0];
} VSLAGStatus;
#pragma pack(pop)
QEL_SIZE(VSLAGStatus, 88);

typedef struct VSLAGTable {
  qel_uint32 numLAGs;
} VSLAGTable;
QEL_SIZE(VSLAGTable, 4);

typedef struct VSPromiscSessionActiveDsts {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  qel_SwitchPortID entries[0];
} VSPromiscSessionActiveDsts;
QEL_SIZE(VSPromiscSessionActiveDsts, 8);

typedef struct VSDVMirrorSessionIDs {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  char entries[0][32];
} VSDVMirrorSessionIDs;
QEL_SIZE(VSDVMirrorSessionIDs, 8);

#pragma pack(push, 1)
typedef struct VSDVMirrorSessionStats {
  qel_uint64 mirrorPktCnt;
  qel_uint64 mirrorPktFailCnt;
  qel_uint64 mirroredPkts;
  qel_uint64 discardedPkts;
  qel_uint64 failedPkts;
  char name[81];
} VSDVMirrorSessionStats;
#pragma pack(pop)
QEL_SIZE(VSDVMirrorSessionStats, 121);

typedef struct VSMcastFilters {
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  union {
    unsigned char macEntries[0][6];
    qel_IPv4Address ipv4Entries[0];
    unsigned char ipv6Entries[0][16];
  };
} VSMcastFilters;
QEL_SIZE(VSMcastFilters, 8);

#pragma pack(push, 1)
typedef struct VSMcastFilterStats {
  qel_uint32 version;
  qel_uint32 srcIPFilterMode;
  qel_uint64 updateTime;
  qel_uint32 vni;
  qel_uint32 totalEntries;
  qel_uint32 numEntries;
  union {
    qel_IPv4Address ipv4Entries[0];
    unsigned char ipv6Entries[0][16];
  };
} VSMcastFilterStats;
#pragma pack(pop)
QEL_SIZE(VSMcastFilterStats, 28);

#endif
