/* Protocol headers that the switch datapath parses: wire bytes, never byte-swapped. */
#ifndef VSWITCHPY_INTERFACE_PACKET_HEADERS_H
#define VSWITCHPY_INTERFACE_PACKET_HEADERS_H

#include "interface/base_types.h"

#pragma pack(push, 1)

typedef struct qel_EthHdr {
  unsigned char daddr[6];
  unsigned char saddr[6];
  qel_uint16 type;
} qel_EthHdr;
QEL_SIZE(qel_EthHdr, 14);

typedef struct qel_VLANHdr {
  qel_uint8 vlanIDHigh : 4;
  qel_uint8 dropEligible : 1;
  qel_uint8 priority : 3;
  qel_uint8 vlanIDLow;
  qel_uint16 type;
} qel_VLANHdr;
QEL_SIZE(qel_VLANHdr, 4);

typedef struct qel_ArpHdr {
  qel_uint16 htype;
  qel_uint16 ptype;
  qel_uint8 hlen;
  qel_uint8 plen;
  qel_uint16 oper;
  qel_uint8 sha[6];
  qel_uint32 spa;
  qel_uint8 tha[6];
  qel_uint32 tpa;
} qel_ArpHdr;
QEL_SIZE(qel_ArpHdr, 28);

typedef struct qel_IPv4Hdr {
  qel_uint8 headerLength : 4;
  qel_uint8 version : 4;
  union {
    struct {
      qel_uint8 tos : 5;
      qel_uint8 precedence : 3;
    };
    struct {
      qel_uint8 ecn : 2;
      qel_uint8 dscp : 6;
    };
    qel_uint8 qosFlags;
  };
  qel_uint16 totalLength;
  qel_uint16 identification;
  union {
    struct {
      qel_uint8 fragmentOffsetHigh : 5;
      qel_uint8 moreFragments : 1;
      qel_uint8 dontFragment : 1;
      qel_uint8 zero : 1;
      qel_uint8 fragmentOffsetLow;
    };
    qel_uint16 fragmentInfo;
  };
  qel_uint8 ttl;
  qel_uint8 protocol;
  qel_uint16 checksum;
  qel_IPv4Address saddr;
  qel_IPv4Address daddr;
} qel_IPv4Hdr;
QEL_SIZE(qel_IPv4Hdr, 20);

typedef struct qel_IPv6Hdr {
  qel_uint8 trafficClassHigh : 4;
  qel_uint8 version : 4;
  qel_uint8 flowLabelHigh : 4;
  qel_uint8 trafficClassLow : 4;
  qel_uint16 flowLabelLow;
  qel_uint16 payloadLength;
  qel_uint8 nextHeader;
  qel_uint8 hopLimit;
  unsigned char saddr[16];
  unsigned char daddr[16];
} qel_IPv6Hdr;
QEL_SIZE(qel_IPv6Hdr, 40);

typedef struct qel_IPv6ExtHdr {
  qel_uint8 nextHeader;
  qel_uint8 hdrExtLength;
  qel_uint16 optPad1;
  qel_uint32 optPad2;
} qel_IPv6ExtHdr;
QEL_SIZE(qel_IPv6ExtHdr, 8);

typedef struct qel_ICMPHdr {
  qel_uint8 type;
  qel_uint8 code;
  qel_uint16 checksum;
} qel_ICMPHdr;
QEL_SIZE(qel_ICMPHdr, 4);

typedef struct qel_IGMPHdr {
  qel_uint8 type;
  qel_uint8 maxResponseTime;
  qel_uint16 checksum;
  qel_IPv4Address groupAddr;
} qel_IGMPHdr;
QEL_SIZE(qel_IGMPHdr, 8);

typedef struct qel_IGMPv3QueryHdr {
  qel_uint8 type;
  qel_uint8 maxResponseCode;
  qel_uint16 checksum;
  qel_IPv4Address groupAddr;
  qel_uint8 qrv : 3;
  qel_uint8 sFlag : 1;
  qel_uint8 reserved : 4;
  qel_uint8 qqic;
  qel_uint16 numSources;
  qel_IPv4Address sourcesIPv4[0];
} qel_IGMPv3QueryHdr;
QEL_SIZE(qel_IGMPv3QueryHdr, 12);

typedef struct qel_IGMPv3GrpRecord {
  qel_uint8 type;
  qel_uint8 dataLength;
  qel_uint16 numSources;
  qel_IPv4Address groupIPv4Addr;
  qel_IPv4Address sourcesIPv4[0];
} qel_IGMPv3GrpRecord;
QEL_SIZE(qel_IGMPv3GrpRecord, 8);

typedef struct qel_IGMPv3ReportHdr {
  qel_uint8 type;
  qel_uint8 reserved1;
  qel_uint16 checksum;
  qel_uint16 reserved2;
  qel_uint16 numGroups;
  qel_IGMPv3GrpRecord record[0];
} qel_IGMPv3ReportHdr;
QEL_SIZE(qel_IGMPv3ReportHdr, 8);

typedef struct qel_MLDHdr {
  qel_uint8 type;
  qel_uint8 code;
  qel_uint16 checksum;
  qel_uint16 maxResponseTime;
  qel_uint16 reserved;
  unsigned char groupIPv6Addr[16];
} qel_MLDHdr;
QEL_SIZE(qel_MLDHdr, 24);

typedef struct qel_MLDv2QueryHdr {
  qel_uint8 type;
  qel_uint8 code;
  qel_uint16 checksum;
  qel_uint16 maxResponseCode;
  qel_uint16 reserved1;
  unsigned char groupIPv6Addr[16];
  qel_uint8 qrv : 3;
  qel_uint8 sFlag : 1;
  qel_uint8 reserved2 : 4;
  qel_uint8 qqic;
  qel_uint16 numSources;
  unsigned char sourcesIPv6[0][16];
} qel_MLDv2QueryHdr;
QEL_SIZE(qel_MLDv2QueryHdr, 28);

typedef struct qel_MLDv2GrpRecord {
  qel_uint8 type;
  qel_uint8 dataLength;
  qel_uint16 numSources;
  unsigned char groupIPv6Addr[16];
  unsigned char sourcesIPv6[0][16];
} qel_MLDv2GrpRecord;
QEL_SIZE(qel_MLDv2GrpRecord, 20);

typedef struct qel_MLDv2ReportHdr {
  qel_uint8 type;
  qel_uint8 reserved1;
  qel_uint16 checksum;
  qel_uint16 reserved2;
  qel_uint16 numGroups;
  qel_MLDv2GrpRecord record[0];
} qel_MLDv2ReportHdr;
QEL_SIZE(qel_MLDv2ReportHdr, 8);

typedef struct qel_UDPHdr {
  qel_uint16 srcPort;
  qel_uint16 dstPort;
  qel_uint16 length;
  qel_uint16 checksum;
} qel_UDPHdr;
QEL_SIZE(qel_UDPHdr, 8);

typedef struct qel_TCPHdr {
  qel_uint16 srcPort;
  qel_uint16 dstPort;
  qel_uint32 seq;
  qel_uint32 ackSeq;
  qel_uint8 reserved : 4;
  qel_uint8 dataOffset : 4;
  union {
    struct {
      qel_uint8 fin : 1;
      qel_uint8 syn : 1;
      qel_uint8 rst : 1;
      qel_uint8 psh : 1;
      qel_uint8 ack : 1;
      qel_uint8 urg : 1;
      qel_uint8 ece : 1;
      qel_uint8 cwr : 1;
    };
    qel_uint8 flags;
  };
  qel_uint16 window;
  qel_uint16 checksum;
  qel_uint16 urgPtr;
} qel_TCPHdr;
QEL_SIZE(qel_TCPHdr, 20);

typedef struct qel_ESPHdr {
  qel_uint32 spi;
  qel_uint32 seq;
} qel_ESPHdr;
QEL_SIZE(qel_ESPHdr, 8);

typedef struct qel_FenceHdr {
  qel_uint8 version : 2;
  qel_uint8 frag : 1;
  qel_uint8 fragmentID : 5;
  qel_uint32 fenceID : 24;
} qel_FenceHdr;
QEL_SIZE(qel_FenceHdr, 4);

typedef struct qel_VXLANHdr {
  qel_uint8 flags1 : 1;
  qel_uint8 locallyReplicate : 1;
  qel_uint8 flags1b : 1;
  qel_uint8 instanceID : 1;
  qel_uint8 flags2 : 4;
  qel_uint32 reserved1 : 24;
  qel_uint32 vxlanID : 24;
  qel_uint8 reserved2;
} qel_VXLANHdr;
QEL_SIZE(qel_VXLANHdr, 8);

typedef struct qel_GREHdr {
  union {
    struct {
      qel_uint8 reserved1 : 3;
      qel_uint8 strictSourceRoute : 1;
      qel_uint8 sequencePresent : 1;
      qel_uint8 keyPresent : 1;
      qel_uint8 routingPresent : 1;
      qel_uint8 checksumPresent : 1;
      qel_uint8 version : 3;
      qel_uint8 reserved2 : 4;
      qel_uint8 ackPresent : 1;
    };
    qel_uint16 flags;
  };
  qel_uint16 protocol;
  qel_uint32 options[0];
} qel_GREHdr;
QEL_SIZE(qel_GREHdr, 4);

typedef struct qel_GeneveHdr {
  qel_uint8 optionsLength : 6;
  qel_uint8 version : 2;
  qel_uint8 reserved1 : 6;
  qel_uint8 criticalOptions : 1;
  qel_uint8 oamFrame : 1;
  qel_uint16 protocolType;
  qel_uint32 virtualNetworkId : 24;
  qel_uint32 reserved2 : 8;
  qel_uint32 options[0];
} qel_GeneveHdr;
QEL_SIZE(qel_GeneveHdr, 8);

typedef struct qel_GeneveOptionHdr {
  qel_uint16 optClass;
  qel_uint8 optType;
  qel_uint8 optLength : 5;
  qel_uint8 reserved : 3;
} qel_GeneveOptionHdr;
QEL_SIZE(qel_GeneveOptionHdr, 4);

typedef struct qel_PIMHdr {
  qel_uint8 type : 4;
  qel_uint8 version : 4;
  qel_uint8 reserved;
  qel_uint16 checksum;
} qel_PIMHdr;
QEL_SIZE(qel_PIMHdr, 4);

#pragma pack(pop)

#endif
