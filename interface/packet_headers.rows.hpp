// Binding rows: protocol headers that the switch datapath parses: wire bytes, never byte-swapped.
// The types are part of the error messages, spelled exactly as they stand.
// clang-format off
#pragma once

#include "interface/packet_headers.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto packet_headers = records(
    RECORD(qel_EthHdr, "Ethernet header (IEEE 802.3): destination address, source address and EtherType (14 bytes).",
        FIELD(0, daddr, unsigned char [6],
            "Destination hardware address, six bytes in wire order; view into the record, valid while it lives."),
        FIELD(6, saddr, unsigned char [6],
            "Source hardware address, six bytes in wire order; view into the record, valid while it lives."),
        FIELD(12, type, qel_uint16,
            "EtherType of the payload in network byte order, one of QEL_ETH_TYPE_*_NBO; a wire value below 1536 is "
            "a payload length in bytes instead.")),

    RECORD(qel_VLANHdr,
        "VLAN tag (IEEE 802.1Q) from its tag control information on: priority, drop eligibility and VLAN ID, then the "
        "EtherType of what follows (4 bytes).",
        FIELD_BITS(0, 0, 4, vlanIDHigh, qel_uint8, "Upper 4 bits of the 12-bit VLAN ID; the wire byte's bits 0 to 3."),
        FIELD_BITS(0, 4, 1, dropEligible, qel_uint8,
            "1 if the frame may be dropped first under congestion (drop eligible indicator), otherwise 0."),
        FIELD_BITS(0, 5, 3, priority, qel_uint8, "Priority code point of the frame, 0 to 7, QEL_VLAN_PRIORITY_*."),
        FIELD(1, vlanIDLow, qel_uint8, "Lower 8 bits of the 12-bit VLAN ID."),
        FIELD(2, type, qel_uint16,
            "EtherType of what follows the tag in network byte order, one of QEL_ETH_TYPE_*_NBO.")),

    RECORD(qel_ArpHdr, "ARP header for Ethernet and IPv4 (RFC 826); packed (28 bytes), spa at offset 14 and tpa at 24.",
        FIELD(0, htype, qel_uint16, "Hardware type in network byte order, 1 on the wire for Ethernet (RFC 826)."),
        FIELD(2, ptype, qel_uint16,
            "Protocol whose addresses are resolved, an EtherType in network byte order: QEL_ETH_TYPE_IPV4_NBO for "
            "IPv4."),
        FIELD(4, hlen, qel_uint8, "Length of a hardware address in bytes, 6 for Ethernet."),
        FIELD(5, plen, qel_uint8, "Length of a protocol address in bytes, 4 for IPv4."),
        FIELD(6, oper, qel_uint16,
            "Operation in network byte order, 1 on the wire for a request and 2 for a reply (RFC 826)."),
        FIELD(8, sha, qel_uint8 [6],
            "Hardware address of the sender, six bytes in wire order; view into the record, valid while it lives."),
        FIELD(14, spa, qel_uint32, "IPv4 address of the sender in network byte order; 0 in a probe."),
        FIELD(18, tha, qel_uint8 [6],
            "Hardware address of the target, ignored in a request; view into the record, valid while it lives."),
        FIELD(24, tpa, qel_uint32,
            "IPv4 address of the target in network byte order, the one that a request asks for.")),

    RECORD(qel_IPv4Hdr,
        "IPv4 header without options (RFC 791, 20 bytes). "
        "Byte 1 has three overlaid views, bytes 6 and 7 two: single bits or fragmentInfo.",
        FIELD_BITS(0, 0, 4, headerLength, qel_uint8,
            "Length of the header with its options in 4-byte words, 5 to 15; bits 0 to 3 of byte 0."),
        FIELD_BITS(0, 4, 4, version, qel_uint8, "Version of IP, 4; bits 4 to 7 of byte 0."),
        FIELD_BITS(1, 0, 5, tos, qel_uint8,
            "Type of service as RFC 791 defined it (delay, throughput, reliability), bits 0 to 4 of byte 1; overlays "
            "ecn, dscp and qosFlags."),
        FIELD_BITS(1, 5, 3, precedence, qel_uint8,
            "Precedence of the packet as RFC 791 defined it, 0 (routine) to 7; bits 5 to 7 of byte 1, overlays dscp "
            "and qosFlags."),
        FIELD_BITS(1, 0, 2, ecn, qel_uint8,
            "Explicit congestion notification (RFC 3168), 0 to 3; bits 0 and 1 of byte 1, overlays tos and qosFlags."),
        FIELD_BITS(1, 2, 6, dscp, qel_uint8,
            "Differentiated services code point (RFC 2474), 0 to 63; bits 2 to 7 of byte 1, overlays tos, precedence "
            "and qosFlags."),
        FIELD(1, qosFlags, qel_uint8, "The whole of byte 1, over which tos with precedence and ecn with dscp lie."),
        FIELD(2, totalLength, qel_uint16, "Length of header and payload in bytes, in network byte order."),
        FIELD(4, identification, qel_uint16, "Number that the fragments of one packet share, in network byte order."),
        FIELD_BITS(6, 0, 5, fragmentOffsetHigh, qel_uint8,
            "Upper 5 bits of the 13-bit fragment offset, which counts units of 8 bytes; bits 0 to 4 of byte 6."),
        FIELD_BITS(6, 5, 1, moreFragments, qel_uint8,
            "1 if further fragments of the packet follow, 0 in the last one; bit 5 of byte 6."),
        FIELD_BITS(6, 6, 1, dontFragment, qel_uint8,
            "1 if routers must not fragment the packet, otherwise 0; bit 6 of byte 6."),
        FIELD_BITS(6, 7, 1, zero, qel_uint8, "Reserved bit, zero by RFC 791; bit 7 of byte 6."),
        FIELD(7, fragmentOffsetLow, qel_uint8,
            "Lower 8 bits of the 13-bit fragment offset, which counts units of 8 bytes."),
        FIELD(6, fragmentInfo, qel_uint16,
            "Bytes 6 and 7 as one word in network byte order: the three flag bits and the fragment offset together."),
        FIELD(8, ttl, qel_uint8, "Time to live: number of hops the packet may still take, lowered by each router."),
        FIELD(9, protocol, qel_uint8, "Protocol of the payload, one of QEL_IP_PROTO_*."),
        FIELD(10, checksum, qel_uint16,
            "Ones-complement checksum over the header (RFC 791) in network byte order; the record does not compute "
            "it."),
        FIELD(12, saddr, qel_IPv4Address, "Source IPv4 address in network byte order."),
        FIELD(16, daddr, qel_IPv4Address, "Destination IPv4 address in network byte order.")),

    RECORD(qel_IPv6Hdr,
        "IPv6 header (RFC 8200, 40 bytes); the traffic class and the flow label are split over the bit-fields of "
        "bytes 0 and 1.",
        FIELD_BITS(0, 0, 4, trafficClassHigh, qel_uint8,
            "Upper 4 bits of the 8-bit traffic class; bits 0 to 3 of byte 0."),
        FIELD_BITS(0, 4, 4, version, qel_uint8, "Version of IP, 6; bits 4 to 7 of byte 0."),
        FIELD_BITS(1, 0, 4, flowLabelHigh, qel_uint8, "Upper 4 bits of the 20-bit flow label; bits 0 to 3 of byte 1."),
        FIELD_BITS(1, 4, 4, trafficClassLow, qel_uint8,
            "Lower 4 bits of the 8-bit traffic class; bits 4 to 7 of byte 1."),
        FIELD(2, flowLabelLow, qel_uint16, "Lower 16 bits of the 20-bit flow label, in network byte order."),
        FIELD(4, payloadLength, qel_uint16,
            "Length in bytes of what follows this header, extension headers included, in network byte order."),
        FIELD(6, nextHeader, qel_uint8, "Type of the header that follows, one of QEL_IP_PROTO_*."),
        FIELD(7, hopLimit, qel_uint8, "Number of hops the packet may still take, lowered by each router."),
        FIELD(8, saddr, unsigned char [16],
            "Source IPv6 address, 16 bytes in wire order; view into the record, valid while it lives."),
        FIELD(24, daddr, unsigned char [16],
            "Destination IPv6 address, 16 bytes in wire order; view into the record, valid while it lives.")),

    RECORD(qel_IPv6ExtHdr, "First 8 bytes of an IPv6 extension header (RFC 8200), the shortest one that exists.",
        FIELD(0, nextHeader, qel_uint8, "Type of the header after this one, one of QEL_IP_PROTO_*."),
        FIELD(1, hdrExtLength, qel_uint8,
            "Length of this header in units of 8 bytes, the first 8 bytes not counted (RFC 8200)."),
        FIELD(2, optPad1, qel_uint16, "First two of the six option bytes, as one word in network byte order."),
        FIELD(4, optPad2, qel_uint32, "Last four of the six option bytes, as one word in network byte order.")),

    RECORD(qel_ICMPHdr, "Common beginning of every ICMP message (RFC 792 for IPv4, RFC 4443 for IPv6; 4 bytes).",
        FIELD(0, type, qel_uint8,
            "Kind of message, for instance 8 for an echo request in ICMP (RFC 792) and 128 in ICMPv6."),
        FIELD(1, code, qel_uint8,
            "Subdivision of the kind, for instance the reason why a destination is unreachable (RFC 792)."),
        FIELD(2, checksum, qel_uint16,
            "Ones-complement checksum over the ICMP message in network byte order; the record does not compute it.")),

    RECORD(qel_IGMPHdr, "IGMP message of version 1 (RFC 1112) or 2 (RFC 2236), 8 bytes.",
        FIELD(0, type, qel_uint8,
            "Kind of message, one of QEL_IGMP_QUERY, QEL_IGMP_V1REPORT, QEL_IGMP_V2REPORT and QEL_IGMP_V2LEAVE."),
        FIELD(1, maxResponseTime, qel_uint8,
            "Longest delay of a report in tenths of a second, in queries of version 2 only; zero otherwise (RFC "
            "2236)."),
        FIELD(2, checksum, qel_uint16,
            "Ones-complement checksum over the IGMP message in network byte order; the record does not compute it."),
        FIELD(4, groupAddr, qel_IPv4Address, "IPv4 multicast group in network byte order; 0 in a general query.")),

    RECORD(qel_IGMPv3QueryHdr, "IGMPv3 query (RFC 3376), 12 bytes followed by numSources source addresses.",
        FIELD(0, type, qel_uint8, "Kind of message, QEL_IGMP_QUERY."),
        FIELD(1, maxResponseCode, qel_uint8,
            "Longest delay of a report in tenths of a second if below 128, otherwise in the exponential form of RFC "
            "3376."),
        FIELD(2, checksum, qel_uint16,
            "Ones-complement checksum over the IGMP message in network byte order; the record does not compute it."),
        FIELD(4, groupAddr, qel_IPv4Address, "IPv4 multicast group in network byte order; 0 in a general query."),
        FIELD_BITS(8, 0, 3, qrv, qel_uint8,
            "Robustness variable of the querier, 0 to 7: how many times messages are repeated against loss (RFC "
            "3376)."),
        FIELD_BITS(8, 3, 1, sFlag, qel_uint8,
            "1 if routers that receive the query must not update their timers (suppress router-side processing), "
            "otherwise 0."),
        FIELD_BITS(8, 4, 4, reserved, qel_uint8,
            "Reserved by RFC 3376, sent as zero and ignored on receipt; bits 4 to 7 of byte 8."),
        FIELD(9, qqic, qel_uint8,
            "Interval between queries of the querier in seconds if below 128, otherwise in the exponential form of "
            "RFC 3376."),
        FIELD(10, numSources, qel_uint16,
            "Number of source addresses that follow, in network byte order; 0 in general and group queries."),
        FIELD_READ_ONLY(12, sourcesIPv4, qel_IPv4Address [0],
            "First of the numSources IPv4 source addresses in network byte order; view into the record, valid while "
            "it lives.")),

    RECORD(qel_IGMPv3GrpRecord,
        "Group record of an IGMPv3 report (RFC 3376), 8 bytes followed by numSources source addresses and the "
        "auxiliary data.",
        FIELD(0, type, qel_uint8,
            "Kind of record, 1 to 6: current state, filter mode change or source list change (RFC 3376)."),
        FIELD(1, dataLength, qel_uint8,
            "Length of the auxiliary data behind the source addresses in 4-byte words, 0 in IGMPv3 (RFC 3376)."),
        FIELD(2, numSources, qel_uint16, "Number of source addresses that follow, in network byte order."),
        FIELD(4, groupIPv4Addr, qel_IPv4Address,
            "IPv4 multicast group that the record is about, in network byte order."),
        FIELD_READ_ONLY(8, sourcesIPv4, qel_IPv4Address [0],
            "First of the numSources IPv4 source addresses in network byte order; view into the record, valid while "
            "it lives.")),

    RECORD(qel_IGMPv3ReportHdr,
        "IGMPv3 report (RFC 3376), 8 bytes followed by numGroups group records of different lengths.",
        FIELD(0, type, qel_uint8, "Kind of message, QEL_IGMP_V3REPORT."),
        FIELD(1, reserved1, qel_uint8, "Reserved by RFC 3376, sent as zero and ignored on receipt."),
        FIELD(2, checksum, qel_uint16,
            "Ones-complement checksum over the IGMP message in network byte order; the record does not compute it."),
        FIELD(4, reserved2, qel_uint16, "Reserved by RFC 3376, sent as zero and ignored on receipt."),
        FIELD(6, numGroups, qel_uint16, "Number of group records that follow, in network byte order."),
        FIELD_READ_ONLY(8, record, qel_IGMPv3GrpRecord [0],
            "First group record; each one's length depends on its numSources and dataLength; view into the record, "
            "valid while it lives.")),

    RECORD(qel_MLDHdr, "MLD version 1 message (RFC 2710), 24 bytes.",
        FIELD(0, type, qel_uint8, "Kind of message, one of QEL_MLD_QUERY, QEL_MLD_V1REPORT and QEL_MLD_DONE."),
        FIELD(1, code, qel_uint8, "Not used by MLD, sent as zero and ignored on receipt (RFC 2710)."),
        FIELD(2, checksum, qel_uint16,
            "ICMPv6 checksum over message and IPv6 pseudo-header in network byte order; the record does not compute "
            "it."),
        FIELD(4, maxResponseTime, qel_uint16,
            "Longest delay of a report in milliseconds, in queries only; network byte order (RFC 2710)."),
        FIELD(6, reserved, qel_uint16, "Reserved by RFC 2710, sent as zero and ignored on receipt."),
        FIELD(8, groupIPv6Addr, unsigned char [16],
            "IPv6 multicast group, 16 bytes in wire order, all zero in a general query; view into the record, valid "
            "while it lives.")),

    RECORD(qel_MLDv2QueryHdr, "MLDv2 query (RFC 3810), 28 bytes followed by numSources source addresses of 16 bytes.",
        FIELD(0, type, qel_uint8, "Kind of message, QEL_MLD_QUERY."),
        FIELD(1, code, qel_uint8, "Not used by MLD, sent as zero and ignored on receipt (RFC 3810)."),
        FIELD(2, checksum, qel_uint16,
            "ICMPv6 checksum over message and IPv6 pseudo-header in network byte order; the record does not compute "
            "it."),
        FIELD(4, maxResponseCode, qel_uint16,
            "Longest delay of a report in milliseconds if below 32768, otherwise in the exponential form of RFC "
            "3810; network byte order."),
        FIELD(6, reserved1, qel_uint16, "Reserved by RFC 3810, sent as zero and ignored on receipt."),
        FIELD(8, groupIPv6Addr, unsigned char [16],
            "IPv6 multicast group, 16 bytes in wire order, all zero in a general query; view into the record, valid "
            "while it lives."),
        FIELD_BITS(24, 0, 3, qrv, qel_uint8,
            "Robustness variable of the querier, 0 to 7: how many times messages are repeated against loss (RFC "
            "3810)."),
        FIELD_BITS(24, 3, 1, sFlag, qel_uint8,
            "1 if routers that receive the query must not update their timers (suppress router-side processing), "
            "otherwise 0."),
        FIELD_BITS(24, 4, 4, reserved2, qel_uint8,
            "Reserved by RFC 3810, sent as zero and ignored on receipt; bits 4 to 7 of byte 24."),
        FIELD(25, qqic, qel_uint8,
            "Interval between queries of the querier in seconds if below 128, otherwise in the exponential form of "
            "RFC 3810."),
        FIELD(26, numSources, qel_uint16,
            "Number of source addresses that follow, in network byte order; 0 in general and group queries."),
        FIELD_READ_ONLY(28, sourcesIPv6, unsigned char [0][16],
            "First of the numSources IPv6 source addresses of 16 bytes each in wire order; view into the record, "
            "valid while it lives.")),

    RECORD(qel_MLDv2GrpRecord,
        "Group record of an MLDv2 report (RFC 3810), 20 bytes followed by numSources source addresses of 16 bytes and "
        "the auxiliary data.",
        FIELD(0, type, qel_uint8,
            "Kind of record, 1 to 6: current state, filter mode change or source list change (RFC 3810)."),
        FIELD(1, dataLength, qel_uint8,
            "Length of the auxiliary data behind the source addresses in 4-byte words, 0 in MLDv2 (RFC 3810)."),
        FIELD(2, numSources, qel_uint16, "Number of source addresses that follow, in network byte order."),
        FIELD(4, groupIPv6Addr, unsigned char [16],
            "IPv6 multicast group that the record is about, 16 bytes in wire order; view into the record, valid "
            "while it lives."),
        FIELD_READ_ONLY(20, sourcesIPv6, unsigned char [0][16],
            "First of the numSources IPv6 source addresses of 16 bytes each in wire order; view into the record, "
            "valid while it lives.")),

    RECORD(qel_MLDv2ReportHdr,
        "MLDv2 report (RFC 3810), 8 bytes followed by numGroups group records of different lengths.",
        FIELD(0, type, qel_uint8, "Kind of message, QEL_MLD_V2REPORT."),
        FIELD(1, reserved1, qel_uint8, "Reserved by RFC 3810, sent as zero and ignored on receipt."),
        FIELD(2, checksum, qel_uint16,
            "ICMPv6 checksum over message and IPv6 pseudo-header in network byte order; the record does not compute "
            "it."),
        FIELD(4, reserved2, qel_uint16, "Reserved by RFC 3810, sent as zero and ignored on receipt."),
        FIELD(6, numGroups, qel_uint16, "Number of group records that follow, in network byte order."),
        FIELD_READ_ONLY(8, record, qel_MLDv2GrpRecord [0],
            "First group record; each one's length depends on its numSources and dataLength; view into the record, "
            "valid while it lives.")),

    RECORD(qel_UDPHdr, "UDP header (RFC 768), 8 bytes.",
        FIELD(0, srcPort, qel_uint16, "Port number of the sender in network byte order; 0 if no answer is expected."),
        FIELD(2, dstPort, qel_uint16,
            "Port number of the receiver in network byte order, for instance QEL_NET_PROTO_GENEVE_UDP_PORT_NBO for "
            "Geneve."),
        FIELD(4, length, qel_uint16, "Length of header and payload in bytes, at least 8, in network byte order."),
        FIELD(6, checksum, qel_uint16,
            "Checksum over pseudo-header, header and payload in network byte order, 0 for none over IPv4; the "
            "record does not compute it.")),

    RECORD(qel_TCPHdr,
        "TCP header without options (RFC 9293), 20 bytes. "
        "Byte 13 has two views: eight single flag bits, and flags.",
        FIELD(0, srcPort, qel_uint16, "Port number of the sender in network byte order."),
        FIELD(2, dstPort, qel_uint16, "Port number of the receiver in network byte order."),
        FIELD(4, seq, qel_uint32,
            "Sequence number of the first data byte (of the SYN if syn is 1), in network byte order."),
        FIELD(8, ackSeq, qel_uint32,
            "Sequence number that the sender expects next, in network byte order; counts only if ack is 1."),
        FIELD_BITS(12, 0, 4, reserved, qel_uint8,
            "Reserved by RFC 9293, sent as zero and ignored on receipt; bits 0 to 3 of byte 12."),
        FIELD_BITS(12, 4, 4, dataOffset, qel_uint8,
            "Length of the header with its options in 4-byte words, 5 to 15; bits 4 to 7 of byte 12."),
        FIELD_BITS(13, 0, 1, fin, qel_uint8, "1 if the sender has no more data, otherwise 0; bit 0 of byte 13."),
        FIELD_BITS(13, 1, 1, syn, qel_uint8,
            "1 in the segments that open a connection, otherwise 0; bit 1 of byte 13."),
        FIELD_BITS(13, 2, 1, rst, qel_uint8, "1 if the segment aborts the connection, otherwise 0; bit 2 of byte 13."),
        FIELD_BITS(13, 3, 1, psh, qel_uint8,
            "1 if the receiver should pass the data on at once, otherwise 0; bit 3 of byte 13."),
        FIELD_BITS(13, 4, 1, ack, qel_uint8, "1 if ackSeq counts, otherwise 0; bit 4 of byte 13."),
        FIELD_BITS(13, 5, 1, urg, qel_uint8, "1 if urgPtr counts, otherwise 0; bit 5 of byte 13."),
        FIELD_BITS(13, 6, 1, ece, qel_uint8, "Congestion notice to the sender (ECN echo, RFC 3168); bit 6 of byte 13."),
        FIELD_BITS(13, 7, 1, cwr, qel_uint8,
            "Answer to a congestion notice, congestion window reduced (RFC 3168); bit 7 of byte 13."),
        FIELD(13, flags, qel_uint8, "The whole of byte 13, over which the single flag bits fin (1) to cwr (128) lie."),
        FIELD(14, window, qel_uint16,
            "Number of bytes that the sender is ready to receive, before window scaling, in network byte order."),
        FIELD(16, checksum, qel_uint16,
            "Checksum over pseudo-header, header and payload in network byte order; the record does not compute it."),
        FIELD(18, urgPtr, qel_uint16,
            "Offset in bytes from seq to the end of urgent data, in network byte order; counts only if urg is 1.")),

    RECORD(qel_ESPHdr, "Beginning of an IPsec ESP packet (RFC 4303), before the encrypted payload (8 bytes).",
        FIELD(0, spi, qel_uint32,
            "Security parameters index, which selects the security association at the receiver, in network byte "
            "order."),
        FIELD(4, seq, qel_uint32,
            "Sequence number of the packet for protection against replay, in network byte order.")),

    RECORD(qel_FenceHdr,
        "Header of the platform's own fence overlay (4 bytes): fragmentation bits in byte 0, then a 24-bit fence "
        "identifier.",
        FIELD_BITS(0, 0, 2, version, qel_uint8,
            "Version of the fence header, 0 to 3; bits 0 and 1 of byte 0."),
        FIELD_BITS(0, 2, 1, frag, qel_uint8,
            "1 if the packet is a fragment, otherwise 0; bit 2 of byte 0."),
        FIELD_BITS(0, 3, 5, fragmentID, qel_uint8,
            "Identifier of the fragment, 0 to 31; bits 3 to 7 of byte 0."),
        FIELD_BITS(1, 0, 24, fenceID, qel_uint32,
            "Identifier of the fenced network, 24 bits in bytes 1 to 3; the accessors take byte 1 as the least "
            "significant.")),

    RECORD(qel_VXLANHdr,
        "VXLAN header (RFC 7348), 8 bytes. "
        "Bit 1 of the flag byte is the platform's own; the other flags are those of the standard.",
        FIELD_BITS(0, 0, 1, flags1, qel_uint8, "Reserved flag of RFC 7348, sent as zero; bit 0 of byte 0."),
        FIELD_BITS(0, 1, 1, locallyReplicate, qel_uint8,
            "Flag of the platform, not of RFC 7348, about local replication of the packet; bit 1 of byte 0."),
        FIELD_BITS(0, 2, 1, flags1b, qel_uint8, "Reserved flag of RFC 7348, sent as zero; bit 2 of byte 0."),
        FIELD_BITS(0, 3, 1, instanceID, qel_uint8, "The I flag of RFC 7348: 1 if vxlanID is valid; bit 3 of byte 0."),
        FIELD_BITS(0, 4, 4, flags2, qel_uint8, "Reserved flags of RFC 7348, sent as zero; bits 4 to 7 of byte 0."),
        FIELD_BITS(1, 0, 24, reserved1, qel_uint32, "Reserved by RFC 7348, sent as zero; 24 bits in bytes 1 to 3."),
        FIELD_BITS(4, 0, 24, vxlanID, qel_uint32,
            "VXLAN network identifier, 24 bits of network byte order in bytes 4 to 6; the accessors take byte 4 as "
            "the least significant, so callers swap."),
        FIELD(7, reserved2, qel_uint8, "Reserved by RFC 7348, sent as zero; byte 7.")),

    RECORD(qel_GREHdr,
        "GRE header (RFC 2784, RFC 2890), 4 bytes followed by the optional words that the flag bits announce.",
        FIELD_BITS(0, 0, 3, reserved1, qel_uint8,
            "Recursion control of RFC 1701, zero in RFC 2784; bits 0 to 2 of byte 0."),
        FIELD_BITS(0, 3, 1, strictSourceRoute, qel_uint8,
            "Strict source route flag of RFC 1701, zero in RFC 2784; bit 3 of byte 0."),
        FIELD_BITS(0, 4, 1, sequencePresent, qel_uint8,
            "1 if a sequence number word follows (RFC 2890), otherwise 0; bit 4 of byte 0."),
        FIELD_BITS(0, 5, 1, keyPresent, qel_uint8, "1 if a key word follows (RFC 2890), otherwise 0; bit 5 of byte 0."),
        FIELD_BITS(0, 6, 1, routingPresent, qel_uint8, "Routing flag of RFC 1701, zero in RFC 2784; bit 6 of byte 0."),
        FIELD_BITS(0, 7, 1, checksumPresent, qel_uint8,
            "1 if a checksum word follows (RFC 2784), otherwise 0; bit 7 of byte 0."),
        FIELD_BITS(1, 0, 3, version, qel_uint8,
            "Version of GRE, 0 for RFC 2784 and 1 for the enhanced form of RFC 2637; bits 0 to 2 of byte 1."),
        FIELD_BITS(1, 3, 4, reserved2, qel_uint8, "Reserved flags, sent as zero; bits 3 to 6 of byte 1."),
        FIELD_BITS(1, 7, 1, ackPresent, qel_uint8,
            "1 if an acknowledgment number follows, in version 1 only (RFC 2637); bit 7 of byte 1."),
        FIELD(0, flags, qel_uint16,
            "Bytes 0 and 1 as one word in network byte order: all flag bits and the version together."),
        FIELD(2, protocol, qel_uint16, "EtherType of the payload in network byte order, one of QEL_ETH_TYPE_*_NBO."),
        FIELD(4, options, qel_uint32 [0],
            "First of the optional 4-byte words in network byte order (checksum, key, sequence number); view into "
            "the record, valid while it lives.")),

    RECORD(qel_GeneveHdr, "Geneve header (RFC 8926), 8 bytes followed by the options.",
        FIELD_BITS(0, 0, 6, optionsLength, qel_uint8,
            "Length of all options in 4-byte words, 0 to 63; bits 0 to 5 of byte 0."),
        FIELD_BITS(0, 6, 2, version, qel_uint8, "Version of Geneve, 0 in RFC 8926; bits 6 and 7 of byte 0."),
        FIELD_BITS(1, 0, 6, reserved1, qel_uint8,
            "Reserved by RFC 8926, sent as zero and ignored on receipt; bits 0 to 5 of byte 1."),
        FIELD_BITS(1, 6, 1, criticalOptions, qel_uint8,
            "1 if at least one option must be understood by the receiver (the C flag), otherwise 0; bit 6 of byte 1."),
        FIELD_BITS(1, 7, 1, oamFrame, qel_uint8,
            "1 if the packet is a control packet instead of payload (the O flag), otherwise 0; bit 7 of byte 1."),
        FIELD(2, protocolType, qel_uint16,
            "EtherType of the payload in network byte order, QEL_ETH_TYPE_TRANSPARENT_ETH_NBO for an Ethernet frame."),
        FIELD_BITS(4, 0, 24, virtualNetworkId, qel_uint32,
            "Virtual network identifier, 24 bits of network byte order in bytes 4 to 6; the accessors take byte 4 as "
            "the least significant, so callers swap."),
        FIELD_BITS(7, 0, 8, reserved2, qel_uint32,
            "Reserved by RFC 8926, sent as zero and ignored on receipt; byte 7."),
        FIELD(8, options, qel_uint32 [0],
            "First 4-byte word of the options, each of which begins with a qel_GeneveOptionHdr; view into the "
            "record, valid while it lives.")),

    RECORD(qel_GeneveOptionHdr, "Header of one Geneve option (RFC 8926), 4 bytes followed by the option's data.",
        FIELD(0, optClass, qel_uint16,
            "Namespace of the option type, assigned by RFC 8926's registry, in network byte order."),
        FIELD(2, optType, qel_uint8,
            "Type of the option within its class; the top bit (128) marks an option that the receiver must "
            "understand."),
        FIELD_BITS(3, 0, 5, optLength, qel_uint8,
            "Length of the option's data in 4-byte words without this header, 0 to 31; bits 0 to 4 of byte 3."),
        FIELD_BITS(3, 5, 3, reserved, qel_uint8,
            "Reserved by RFC 8926, sent as zero and ignored on receipt; bits 5 to 7 of byte 3.")),

    RECORD(qel_PIMHdr, "Common beginning of every PIM message (RFC 7761), 4 bytes.",
        FIELD_BITS(0, 0, 4, type, qel_uint8,
            "Kind of message, for instance 0 for hello and 3 for join or prune (RFC 7761); bits 0 to 3 of byte 0."),
        FIELD_BITS(0, 4, 4, version, qel_uint8, "Version of PIM, 2; bits 4 to 7 of byte 0."),
        FIELD(1, reserved, qel_uint8, "Reserved by RFC 7761, sent as zero and ignored on receipt."),
        FIELD(2, checksum, qel_uint16,
            "Ones-complement checksum over the PIM message in network byte order, for a register message over its "
            "first 8 bytes only; the record does not compute it.")));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
