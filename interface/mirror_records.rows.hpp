// Binding rows: distributed ports and the port mirror session table.
// The types are part of the error messages, spelled exactly as they stand.
// clang-format off
#pragma once

#include "constants/constants.hpp"
#include "extensions/containers.hpp"
#include "extensions/mirror_and_lag.hpp"
#include "interface/mirror_records.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto mirror_records = records(
    RECORD(OpaqueDVPortData,
        "A distributed port that another party manages: its own identifier and the identifier by which that party "
        "knows it (176 bytes).",
        FIELD(0, dvPortId, char [48],
            "Identifier of the distributed port, at most 47 bytes of text (VS_DVPORT_ID_MAX with its terminator)."),
        FIELD(48, externalId, char [128],
            "Identifier of the port at the external party, at most 127 bytes of text; DVSQEL_PortGetByExternalId "
            "finds ports by it.")),

    RECORD(DVPortData,
        "One distributed port in a DVPortList: its identifier and the number of its current connection (52 bytes).",
        FIELD(0, dvPortId, char [48],
            "Identifier of the distributed port, at most 47 bytes of text (VS_DVPORT_ID_MAX with its terminator)."),
        FIELD(48, connectId, qel_uint32,
            "Number that tells one connection to the port from the next, as in the property "
            "QEL_HNQPROP_PORT_CONNECTID; 0 if none was written.")),

    RECORD(DVPortList,
        "List of distributed ports of one type. "
        "The record holds the first DVPortData; the others follow it directly, 52 bytes apart.",
        COUNTED_BY(nports, dvPort),
        FIELD(0, nports, int, "Number of distributed ports in the list, the first one included; signed."),
        FIELD(4, type, DVSPortType, "Kind of port that the list holds, one of DVSPORT_TYPE_*."),
        FIELD(8, dvPort, DVPortData [1],
            "First of the nports entries, a one-element array of DVPortData; view into the record, valid while it "
            "lives.")),

    RECORD(DVMirrorIP,
        "An IPv4 or IPv6 address (20 bytes); the two views of the address overlay each other at offset 4.",
        FIELD(0, isIPv6, qel_Bool,
            "Which view of the address holds: NUL (false) for ipv4, otherwise ipv6; reads as one character."),
        FIELD(1, pad, qel_uint8 [3],
            "Unused padding; keeps the address at its offset; view into the record, valid while it lives."),
        FIELD(4, ipv4, qel_SocketIPAddressAddr *,
            "IPv4 address in network byte order, an embedded qel_SocketIPAddressAddr that overlays ipv6; view into "
            "the record, valid while it lives."),
        FIELD(4, ipv6, qel_SocketIPv6AddressAddr *,
            "IPv6 address, an embedded qel_SocketIPv6AddressAddr that overlays ipv4; view into the record, valid "
            "while it lives.")),

    RECORD(DVMirrorEntity,
        "One source or destination of a mirror session (52 bytes): a type and a value, whose views overlay each other "
        "at offset 4; get_entity and set_entity treat the value as text.",
        FIELD(0, type, DVMirrorEntityType,
            "Kind of the value, one of MIRROR_ENTTYPE_*; selects the view that holds and is never changed by "
            "set_entity."),
        FIELD(4, dvPortId, char [48],
            "Distributed port identifier (MIRROR_ENTTYPE_DVPORT), at most 47 bytes of text when set as a field."),
        FIELD(4, uplink, qel_Name *,
            "Uplink name (MIRROR_ENTTYPE_UPLINK), an embedded qel_Name; view into the record, valid while it lives."),
        FIELD(4, vlan, qel_uint16, "VLAN ID (MIRROR_ENTTYPE_VLAN), 0 to 4095 (IEEE 802.1Q)."),
        FIELD(4, ip, DVMirrorIP *,
            "Address of a remote destination (MIRROR_ENTTYPE_IP), an embedded DVMirrorIP; view into the record, "
            "valid while it lives."),
        FIELD(4, portId, qel_uint32, "Numeric port identifier (MIRROR_ENTTYPE_PORT)."),
        FIELD_MAC(4, mac, unsigned char [6],
            "Hardware address (MIRROR_ENTTYPE_MAC), read as lower-case MAC text; the setter takes a pointer to six "
            "bytes."),
        METHOD(get_entity, mirror::entity_text,
            "The value as text: the port identifier, uplink name, IPv4 or IPv6 address or MAC address, or the VLAN "
            "ID or numeric port identifier in decimal (the latter signed); empty when the type is unknown."),
        METHOD(set_entity, mirror::set_entity_text,
            "Stores a text in the form that the type asks for, which stays as it is: at most 48 bytes of a port "
            "identifier, 31 of an uplink name; a number in decimal, its low 16 (VLAN) or 32 bits; an address that "
            "does not parse changes nothing, MAC digits that do not parse keep their bytes. "
            "None and an unknown type change nothing. "
            "A text that is no such number or address raises ValueError as the method of libvswitch.",
            IN(text, char const *)),
        METHOD(__next__, mirror::next_entity,
            "View of the entity behind this one, 52 bytes further on. "
            "The end of the table is not noticed: scripts take as many steps as the session has entities.")),

    RECORD(DVMirrorIpPrefix,
        "An IPv4 or IPv6 prefix for the traffic filter rules (20 bytes); the two views of the address overlay each "
        "other at offset 4.",
        FIELD(0, isIPv6, qel_Bool,
            "Which view of the address holds: NUL (false) for ipv4, otherwise ipv6; reads as one character."),
        FIELD(1, prefix_length, qel_uint8,
            "Number of leading bits of the address that take part in the match, 0 to 32 for IPv4 and 0 to 128 for "
            "IPv6."),
        FIELD(2, pad, qel_uint8 [2],
            "Unused padding; keeps the address at its offset; view into the record, valid while it lives."),
        FIELD(4, ipv4, qel_SocketIPAddressAddr *,
            "IPv4 address in network byte order, an embedded qel_SocketIPAddressAddr that overlays ipv6; view into "
            "the record, valid while it lives."),
        FIELD(4, ipv6, qel_SocketIPv6AddressAddr *,
            "IPv6 address, an embedded qel_SocketIPv6AddressAddr that overlays ipv4; view into the record, valid "
            "while it lives.")),

    RECORD(DVMirrorPortRanage,
        "A range of transport port numbers. "
        "The name is spelled as the interface declares it; no correctly spelled alias exists.",
        FIELD(0, begin, qel_uint16, "First port number of the range, 0 to 65535."),
        FIELD(2, end, qel_uint16, "Last port number of the range, 0 to 65535.")),

    RECORD(DVMirrorFilterRule,
        "One traffic filter rule of a mirror session: prefixes, protocol and port ranges to match and the action that "
        "follows; packed (21 bytes).",
        FIELD(0, startIPIdx, qel_uint16,
            "Index of the rule's first prefix in the prefix list of the table; its source prefixes come first, then "
            "its destination prefixes."),
        FIELD(2, numSrcIPs, qel_uint16, "Number of source prefixes, counted from startIPIdx."),
        FIELD(4, numDstIPs, qel_uint16, "Number of destination prefixes, which follow the source prefixes."),
        FIELD(6, protocol, qel_uint16,
            "IP protocol number to match, one of QEL_IP_PROTO_*; counts only if has_protocol is 1."),
        FIELD_BITS(8, 0, 1, has_protocol, qel_uint8, "1 if protocol takes part in the match, otherwise 0."),
        FIELD_BITS(8, 1, 1, has_srcports, qel_uint8, "1 if srcPorts takes part in the match, otherwise 0."),
        FIELD_BITS(8, 2, 1, has_dstports, qel_uint8, "1 if dstPorts takes part in the match, otherwise 0."),
        FIELD_BITS(8, 3, 5, reserved, qel_uint8, "Unused bits of the flag byte; keep them zero."),
        FIELD(9, srcPorts, DVMirrorPortRanage *,
            "Source ports to match, an embedded DVMirrorPortRanage that counts only if has_srcports is 1; view into "
            "the record, valid while it lives."),
        FIELD(13, dstPorts, DVMirrorPortRanage *,
            "Destination ports to match, an embedded DVMirrorPortRanage that counts only if has_dstports is 1; view "
            "into the record, valid while it lives."),
        FIELD(17, action, DVMirrorFilterAction,
            "What happens to matching packets, ACTION_MIRROR or ACTION_DONT_MIRROR.")),

    RECORD(DVMirrorSession,
        "One mirror session of a table (232 bytes): what is mirrored, where to and how. "
        "Its rules and entities are consecutive runs in the lists of the table.",
        FIELD(0, sid, char [32],
            "Identifier of the session, at most 31 bytes of text, by which the library calls select it."),
        FIELD(32, dname, char [81], "Display name of the session, at most 80 bytes of text."),
        FIELD(113, pad0, char [3], "Unused padding; keeps the following field at its offset."),
        FIELD(116, type, DVMirrorSessionType, "Kind of session, one of VS_DVMIRROR_SESSIONTYPE_*."),
        ALSO(VS_DVMIRROR_SNAPLEN_COMPLETE, FIELD(120, snapLen, qel_uint32,
            "Length to which mirror copies are cut, VS_DVMIRROR_SNAPLEN_COMPLETE (-1, read as 4294967295) or 0 to "
            "keep them whole.")),
        FIELD(124, flags, qel_uint32, "Options of the session, VS_DVMIRROR_FLAG_* flags."),
        FIELD(128, encapVlan, qel_uint16,
            "VLAN ID that mirror copies are tagged with (IEEE 802.1Q), 0 to 4094, for use with "
            "VS_DVMIRROR_FLAG_DST_ENCAP."),
        FIELD(130, wildIn, qel_uint16,
            "Classes of ports that are ingress sources without being listed as entities, VS_DVMIRROR_WILDCARD_* "
            "flags."),
        FIELD(132, wildOut, qel_uint16,
            "Classes of ports that are egress sources without being listed as entities, VS_DVMIRROR_WILDCARD_* flags."),
        FIELD(134, pad1, qel_uint16, "Unused padding; keeps the following field at its offset."),
        FIELD(136, samplingRate, qel_uint32,
            "One of so many packets is mirrored; 0 and 1 for every packet."),
        FIELD(140, greKey, qel_uint32,
            "Key of the GRE header (RFC 2890) on encapsulated mirror copies."),
        FIELD(144, uplinkFilter, DVMirrorFilterType,
            "Which traffic of mirrored uplinks counts, one of MIRROR_UPLINK_FILTER_*; another value is refused."),
        FIELD(148, stack, qel_Bool,
            "Which network stack sends encapsulated mirror copies; reads as one character; NUL for the default "
            "stack, any other for the one for mirroring."),
        FIELD(149, encapType, DVMirrorEncapType,
            "Encapsulation of mirror copies to remote destinations, one of DVMIRROR_ENCAP_*; lies at the unaligned "
            "offset 149."),
        FIELD(153, erspanID, qel_uint16,
            "Session identifier in the headers of DVMIRROR_ENCAP_ERSPAN2 and DVMIRROR_ENCAP_ERSPAN3; lies at the "
            "unaligned offset 153."),
        FIELD(155, erspanCOS, qel_uint8,
            "Class of service in the headers of encapsulated mirror copies, 0 to 7."),
        FIELD(156, erspanGra, qel_uint8,
            "Granularity of the time stamps in the headers of encapsulated mirror copies, 0 to 3."),
        FIELD(157, numFilterRules, qel_uint16,
            "Number of traffic filter rules of the session, consecutive from startRuleIdx; lies at the unaligned "
            "offset 157."),
        FIELD(159, startRuleIdx, qel_uint16, "Index of the session's first rule in the rule list of the table."),
        FIELD(161, pad2, char [55], "Unused padding; keeps the following field at its offset."),
        FIELD(216, numDstEntities, qel_uint32, "Number of destinations, the first entities of the session."),
        FIELD(220, numSrcInEntities, qel_uint32, "Number of ingress sources, the entities after the destinations."),
        FIELD(224, numSrcOutEntities, qel_uint32, "Number of egress sources, the entities after the ingress sources."),
        FIELD(228, startIdx, qel_uint32, "Index of the session's first entity in the entity pool of the table.")),

    RECORD(DVMirrorSessionTable,
        "Header of a mirror session table; the sessions (232 bytes each) follow it directly, then the entity pool (52 "
        "bytes each). "
        "alloc_dvmirror_session_table allocates one.",
        COUNTED_AS(MirrorSessions),
        FIELD(0, magicNum, qel_uint32,
            "Mark of a valid table, 0xFACEBEEF: reads as 4207853295, while the constant VS_DVMIRROR_MAGIC_NUM holds "
            "the same bits as -87114001."),
        FIELD(4, version, DVMirrorVersion,
            "Format of the table, VS_DVMIRROR_VERSION_V1 to VS_DVMIRROR_VERSION_V4; a newly allocated table has 0."),
        FIELD(8, numSessions, qel_uint32,
            "Number of sessions behind the header; bounds the index of __getitem__ and __setitem__."),
        FIELD(12, numEntities, qel_uint32,
            "Number of entities in the pool behind the sessions, shared by all sessions."),
        FIELD(16, numFilterRules, qel_uint16,
            "Number of traffic filter rules (DVMirrorFilterRule, 21 bytes each) of the whole table."),
        FIELD(18, numFilterIPs, qel_uint16, "Number of prefixes (DVMirrorIpPrefix, 20 bytes each) of the whole table."),
        FIELD(20, sessions, DVMirrorSession [0],
            "First of the numSessions sessions, also reached with __getitem__ and get_first_session; view into the "
            "record, valid while it lives."),
        METHOD(__getitem__, MirrorSessions::get,
            "View of session index, valid while the table lives; changes through it change the table. "
            "An index that is negative or not below numSessions prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, MirrorSessions::set,
            "Copies a whole DVMirrorSession into session index; None for the entry raises ValueError. "
            "An index that is negative or not below numSessions prints \"Invalid array index.\" and gives None.",
            INDEX(index), IN(entry, DVMirrorSession const *)),
        METHOD(get_first_session_entity, mirror::session_entity,
            "View of entity index of the pool that all sessions share, behind the last session; valid while the "
            "table lives. "
            "No index is refused: scripts keep it below numEntities.",
            INDEX_BELOW(numEntities, index)),
        METHOD(get_first_session, mirror::first_session,
            "View of the first session, directly behind the header, whether or not the table holds any; valid "
            "while the table lives.")));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
