/* Configuration that scripts write to a switch or a port: VLAN, security, filters, teaming, MAC learning. */
#ifndef VSWITCHPY_INTERFACE_POLICY_RECORDS_H
#define VSWITCHPY_INTERFACE_POLICY_RECORDS_H

#include "interface/base_types.h"
#include "interface/kernel_records.h"

typedef struct VSPvlanMapEntry {
  qel_uint16 primaryVID;
  qel_uint16 secondaryVID;
  qel_uint8 pvlanType;
  char pad[3];
} VSPvlanMapEntry;
QEL_SIZE(VSPvlanMapEntry, 8);

typedef struct VSForwardingMode {
  ForwardingMode forwardingMode;
} VSForwardingMode;
QEL_SIZE(VSForwardingMode, 4);

typedef struct VSPropMACLearning {
  qel_uint32 agingTime : 24;
  qel_uint32 reserved : 8;
  qel_uint32 macLimit;
} VSPropMACLearning;
QEL_SIZE(VSPropMACLearning, 8);

typedef struct VSPortVlanPolicy {
  qel_uint16 flags;
  qel_uint16 vlanID;
  qel_uint16 pad;
  qel_uint16 numRanges;
  qel_HNQPortVIDRange vidRanges[0];
} VSPortVlanPolicy;
QEL_SIZE(VSPortVlanPolicy, 8);

typedef struct VSPropSecurity {
  qel_uint32 flags;
} VSPropSecurity;
QEL_SIZE(VSPropSecurity, 4);

typedef struct VSExtraEthFilter {
  qel_uint32 flags;
  qel_uint16 numMulticastAddrs;
  unsigned char multicastAddrs[32][6];
  qel_uint16 pad;
} VSExtraEthFilter;
QEL_SIZE(VSExtraEthFilter, 200);

typedef struct VSUplinkPorts {
  qel_uint32 nUplinkPorts;
  char uplinkPortName[0][81];
} VSUplinkPorts;
QEL_SIZE(VSUplinkPorts, 4);

typedef struct VSUplinkPortIds {
  qel_uint32 nUplinkPorts;
  char uplinkPortId[0][48];
} VSUplinkPortIds;
QEL_SIZE(VSUplinkPortIds, 4);

typedef struct VSTeamPolicy {
  qel_uint32 loadBalance;
  qel_uint32 linkCriteria;
  qel_uint8 percentError;
  qel_uint8 fullDuplex;
  qel_uint16 speed;
  qel_uint32 flags;
  qel_uint32 numActive;
  qel_uint32 numStandby;
  char uplinkPortName[32][81];
} VSTeamPolicy;
QEL_SIZE(VSTeamPolicy, 2616);

typedef struct LSTeamPolicy {
  char name[(32 * 4) + 8];
  qel_uint32 loadBalance;
  qel_uint32 linkCriteria;
  qel_uint32 flags;
  qel_uint32 numActive;
  qel_uint32 numStandby;
  char uplinkPortName[32][81];
} LSTeamPolicy;
QEL_SIZE(LSTeamPolicy, 2748);

typedef struct LSTeamTable {
  qel_uint32 numLSTeam;
  LSTeamPolicy lsTeamPolicy[0];
} LSTeamTable;
QEL_SIZE(LSTeamTable, 4);

#pragma pack(push, 1)
typedef struct VSPMACLearning {
  qel_Bool learning;
  qel_Bool flooding;
  qel_uint32 macLimit;
  VSPortMACLearningLimitPolicy macLimitPolicy;
} VSPMACLearning;
#pragma pack(pop)
QEL_SIZE(VSPMACLearning, 10);

typedef struct VSPMACManagement {
  qel_Bool macChangeAllowed;
  VSPMACLearning portMACLearning;
} VSPMACManagement;
QEL_SIZE(VSPMACManagement, 11);

typedef struct VSUserMcastLegacyKeys {
  qel_uint8 numEntries;
  unsigned char multicastAddrs[0][6];
} VSUserMcastLegacyKeys;
QEL_SIZE(VSUserMcastLegacyKeys, 1);

typedef struct OrvPRPTunablesData {
  qel_uint8 supMcastAddr[6];
  qel_uint16 lifeCheckInterval;
  qel_uint16 nodeForgetTime;
  qel_uint16 entryForgetTime;
  qel_uint16 nodeRebootInterval;
} OrvPRPTunablesData;
QEL_SIZE(OrvPRPTunablesData, 14);

#endif
