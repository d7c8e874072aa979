/* Distributed ports and the port mirror session table. */
#ifndef VSWITCHPY_INTERFACE_MIRROR_RECORDS_H
#define VSWITCHPY_INTERFACE_MIRROR_RECORDS_H

#include "interface/base_types.h"
#include "interface/kernel_records.h"

typedef struct OpaqueDVPortData {
  char dvPortId[48];
  char externalId[128];
} OpaqueDVPortData;
QEL_SIZE(OpaqueDVPortData, 176);

typedef struct DVPortData {
  char dvPortId[48];
  qel_uint32 connectId;
} DVPortData;
QEL_SIZE(DVPortData, 52);

typedef struct DVPortList {
  int nports;
  DVSPortType type;
  DVPortData dvPort[1];
} DVPortList;
QEL_SIZE(DVPortList, 60);

typedef struct DVMirrorIP {
  qel_Bool isIPv6;
  qel_uint8 pad[3];
  union {
    qel_SocketIPAddressAddr ipv4;
    qel_SocketIPv6AddressAddr ipv6;
  };
} DVMirrorIP;
QEL_SIZE(DVMirrorIP, 20);

typedef struct DVMirrorEntity {
  DVMirrorEntityType type;
  union {
    char dvPortId[48];
    qel_Name uplink;
    qel_uint16 vlan;
    DVMirrorIP ip;
    qel_uint32 portId;
    unsigned char mac[6];
  };
} DVMirrorEntity;
QEL_SIZE(DVMirrorEntity, 52);

typedef struct DVMirrorIpPrefix {
  qel_Bool isIPv6;
  qel_uint8 prefix_length;
  qel_uint8 pad[2];
  union {
    qel_SocketIPAddressAddr ipv4;
    qel_SocketIPv6AddressAddr ipv6;
  };
} DVMirrorIpPrefix;
QEL_SIZE(DVMirrorIpPrefix, 20);

typedef struct DVMirrorPortRanage {
  qel_uint16 begin;
  qel_uint16 end;
} DVMirrorPortRanage;
QEL_SIZE(DVMirrorPortRanage, 4);

#pragma pack(push, 1)
typedef struct DVMirrorFilterRule {
  qel_uint16 startIPIdx;
  qel_uint16 numSrcIPs;
  qel_uint16 numDstIPs;
  qel_uint16 protocol;
  qel_uint8 has_protocol : 1;
  qel_uint8 has_srcports : 1;
  qel_uint8 has_dstports : 1;
  qel_uint8 reserved : 5;
  DVMirrorPortRanage srcPorts;
  DVMirrorPortRanage dstPorts;
  DVMirrorFilterAction action;
} DVMirrorFilterRule;
#pragma pack(pop)
QEL_SIZE(DVMirrorFilterRule, 21);

#pragma pack(push, 1)
typedef struct DVMirrorSession {
  char sid[32];
  char dname[81];
  char pad0[3];
  DVMirrorSessionType type;
  qel_uint32 snapLen;
  qel_uint32 flags;
  qel_uint16 encapVlan;
  qel_uint16 wildIn;
  qel_uint16 wildOut;
  qel_uint16 pad1;
  qel_uint32 samplingRate;
  qel_uint32 greKey;
  DVMirrorFilterType uplinkFilter;
  qel_Bool stack;
  DVMirrorEncapType encapType;
  qel_uint16 erspanID;
  qel_uint8 erspanCOS;
  qel_uint8 erspanGra;
  qel_uint16 numFilterRules;
  qel_uint16 startRuleIdx;
  char pad2[55];
  qel_uint32 numDstEntities;
  qel_uint32 numSrcInEntities;
  qel_uint32 numSrcOutEntities;
  qel_uint32 startIdx;
} DVMirrorSession;
#pragma pack(pop)
QEL_SIZE(DVMirrorSession, 232);

typedef struct DVMirrorSessionTable {
  qel_uint32 magicNum;
  DVMirrorVersion version;
  qel_uint32 numSessions;
  qel_uint32 numEntities;
  qel_uint16 numFilterRules;
  qel_uint16 numFilterIPs;
  DVMirrorSession sessions[0];
} DVMirrorSessionTable;
QEL_SIZE(DVMirrorSessionTable, 20);

#endif
