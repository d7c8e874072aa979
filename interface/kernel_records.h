/* General kernel records: names, strings, links, management, resource pools, socket addresses. */
#ifndef VSWITCHPY_INTERFACE_KERNEL_RECORDS_H
#define VSWITCHPY_INTERFACE_KERNEL_RECORDS_H

#include "interface/base_types.h"

typedef struct {
  qel_ByteCountSmall bufferSize;
  qel_ByteCountSmall stringLength;
  qel_uint8 *buffer;
} qel_String;
QEL_SIZE(qel_String, 16);

typedef struct qel_ListLinks {
  struct qel_ListLinks *prevPtr;
  struct qel_ListLinks *nextPtr;
} qel_ListLinks;
QEL_SIZE(qel_ListLinks, 16);

typedef struct qel_Name {
  char string[32];
} qel_Name;
QEL_SIZE(qel_Name, 32);

typedef struct qel_MgmtCallbackInfo {
  qel_MgmtCallbackLocation location;
  void *callback;
  qel_Bool synchronous;
  qel_uint8 numParms;
  qel_uint32 parmSizes[4];
  qel_MgmtParmType parmTypes[4];
  qel_uint64 callbackId;
} qel_MgmtCallbackInfo;
QEL_SIZE(qel_MgmtCallbackInfo, 64);

typedef struct qel_MgmtApiSignature {
  qel_revnum version;
  qel_Name name;
  qel_Name vendor;
  int numCallbacks;
  qel_MgmtCallbackInfo *callbacks;
} qel_MgmtApiSignature;
QEL_SIZE(qel_MgmtApiSignature, 80);

typedef struct qel_MgmtVectorParm {
  qel_ByteCount length;
  void *dataPtr;
} qel_MgmtVectorParm;
QEL_SIZE(qel_MgmtVectorParm, 16);

typedef struct qel_MgmtInstances {
  qel_uint8 numInstances;
  qel_uint64 instanceIds[32];
  qel_Name instanceNames[32];
} qel_MgmtInstances;
QEL_SIZE(qel_MgmtInstances, 1288);

typedef struct qel_IntrInfo {
  qel_IntrTriggerType trigger;
  qel_IntrPolarityType polarity;
} qel_IntrInfo;
QEL_SIZE(qel_IntrInfo, 8);

typedef struct qel_Attribute {
  qel_Name name;
  char value[64];
  qel_AttrType attrType;
} qel_Attribute;
QEL_SIZE(qel_Attribute, 100);

typedef struct {
  qel_LinkState state;
  qel_LinkSpeed speed;
  qel_LinkDuplex duplex;
} qel_LinkStatus;
QEL_SIZE(qel_LinkStatus, 12);

typedef struct qel_PortsetResPoolCfg {
  qel_PortsetResPoolShares shares;
  qel_PortsetResPoolLimit limit;
  qel_PortsetResPoolReservation reservation;
  qel_PortsetResPoolPriorityTag pTag;
  qel_PortsetResPoolQueueDepth queueDepth;
} qel_PortsetResPoolCfg;
QEL_SIZE(qel_PortsetResPoolCfg, 20);

typedef struct qel_PortsetResPoolStats {
  qel_uint64 pktsIn;
  qel_uint64 bytesIn;
  qel_uint64 pktsOut;
  qel_uint64 bytesOut;
  qel_uint64 pktsDropped;
  qel_uint64 bytesDropped;
} qel_PortsetResPoolStats;
QEL_SIZE(qel_PortsetResPoolStats, 48);

#pragma pack(push, 1)
typedef struct qel_HNQPortStatus {
  qel_uint64 flags;
  qel_uint64 noPassthruReason;
  qel_uint32 portID;
  char displayStr[80];
} qel_HNQPortStatus;
#pragma pack(pop)
QEL_SIZE(qel_HNQPortStatus, 100);

typedef struct qel_HNQPortStatistics {
  qel_uint64 pktsInUnicast;
  qel_uint64 bytesInUnicast;
  qel_uint64 pktsInMulticast;
  qel_uint64 bytesInMulticast;
  qel_uint64 pktsInBroadcast;
  qel_uint64 bytesInBroadcast;
  qel_uint64 pktsOutUnicast;
  qel_uint64 bytesOutUnicast;
  qel_uint64 pktsOutMulticast;
  qel_uint64 bytesOutMulticast;
  qel_uint64 pktsOutBroadcast;
  qel_uint64 bytesOutBroadcast;
  qel_uint64 pktsInDropped;
  qel_uint64 pktsOutDropped;
  qel_uint64 pktsInException;
  qel_uint64 pktsOutException;
} qel_HNQPortStatistics;
QEL_SIZE(qel_HNQPortStatistics, 128);

typedef struct qel_HNQPortVIDRange {
  qel_uint16 minVID;
  qel_uint16 maxVID;
} qel_HNQPortVIDRange;
QEL_SIZE(qel_HNQPortVIDRange, 4);

typedef struct qel_HNQPortVlanInfo {
  qel_uint16 vlanID;
  qel_uint16 numRanges;
  qel_HNQPortVIDRange vidRanges[0];
} qel_HNQPortVlanInfo;
QEL_SIZE(qel_HNQPortVlanInfo, 4);

typedef struct qel_SocketAddress {
  qel_uint8 sa_len;
  qel_uint8 sa_family;
  qel_uint8 sa_data[254];
} qel_SocketAddress;
QEL_SIZE(qel_SocketAddress, 256);

typedef struct qel_SocketIPAddressAddr {
  qel_uint32 s_addr;
} qel_SocketIPAddressAddr;
QEL_SIZE(qel_SocketIPAddressAddr, 4);

typedef struct qel_SocketIPAddress {
  qel_uint8 sin_len;
  qel_uint8 sin_family;
  qel_uint16 sin_port;
  qel_SocketIPAddressAddr sin_addr;
  qel_uint8 sin_zero[8];
} qel_SocketIPAddress;
QEL_SIZE(qel_SocketIPAddress, 16);

typedef union {
  qel_uint8 __u6_addr8[16];
  qel_uint16 __u6_addr16[8];
  qel_uint32 __u6_addr32[4];
} qel_SocketIPv6AddressAddr___u6_addr;
QEL_SIZE(qel_SocketIPv6AddressAddr___u6_addr, 16);

typedef struct qel_SocketIPv6AddressAddr {
  qel_SocketIPv6AddressAddr___u6_addr __u6_addr;
} qel_SocketIPv6AddressAddr;
QEL_SIZE(qel_SocketIPv6AddressAddr, 16);

typedef struct qel_SocketIPv6Address {
  qel_uint8 sin6_len;
  qel_uint8 sin6_family;
  qel_uint16 sin6_port;
  qel_uint32 sin6_flowinfo;
  qel_SocketIPv6AddressAddr sin6_addr;
  qel_uint32 sin6_scopeid;
} qel_SocketIPv6Address;
QEL_SIZE(qel_SocketIPv6Address, 28);

#endif
