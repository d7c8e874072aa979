// Binding rows: state that the host reports: MAC tables, switch and port information, uplinks, LAGs, multicast filters.
// The types are part of the error messages, spelled exactly as they stand.
// Long because it is data: as many rows as there are such records.
// clang-format off
#pragma once

#include "extensions/addresses.hpp"
#include "extensions/containers.hpp"
#include "extensions/mirror_and_lag.hpp"
#include "interface/status_records.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto status_records = records(
    RECORD(VSMACEntry,
        "One entry of a MAC address table: the address, how it came into the table, and the port, VLAN and overlay "
        "network it belongs to; packed (26 bytes).",
        FIELD_MAC(0, macAddress, unsigned char [6],
            "Hardware address of the entry, read as lower-case MAC text; the setter takes a pointer to six bytes and "
            "set_mac_address six raw bytes."),
        FIELD(6, macAddrType, VSMACAddrType,
            "How the address came into the table, one of VS_MAC_ADDR_TYPE_*; the setter takes any signed 32-bit "
            "integer and keeps its low byte, the getter returns 0 to 255."),
        FIELD(7, portID, qel_SwitchPortID,
            "Numeric identifier of the port behind which the address lies; QEL_VSWITCH_INVALID_PORT_ID (0) names no "
            "port."),
        FIELD(11, aging, qel_Bool,
            "Whether the entry expires when the address falls silent for the aging time; reads as one character, NUL "
            "for false."),
        FIELD(12, vid, qel_VlanID, "VLAN ID that the entry belongs to, 12 bits of IEEE 802.1Q (0 to 4095)."),
        FIELD(14, vni, qel_uint32,
            "Overlay network identifier that the entry belongs to, up to QEL_VIRTUAL_NETWORK_ID_MAX; "
            "QEL_VIRTUAL_NETWORK_ID_NONE (0) outside an overlay."),
        FIELD(18, elapsed, qel_uint32,
            "Whole seconds since the address was last seen, to be compared with the aging time."),
        FIELD(22, macMove, qel_uint32,
            "How often the address has moved from one port to another."),
        METHOD(__getitem__, Run<VSMACEntry>::get,
            "Copy of record index of the run that starts here, such as the one that VSMACTable.macEntries gives; the "
            "proxy owns the copy. "
            "No index is refused: scripts keep it within the count that came with the run.",
            INDEX(index)),
        METHOD(set_mac_address, set_entry_mac,
            "Sets macAddress from the first six bytes of a bytes-like object; scripts pass exactly six, a shorter "
            "object is read past its end.",
            SIX_BYTES(mac))),

    RECORD(VSMACEntries,
        "Room for up to 25 hardware addresses of six bytes, packed one behind the other; the user multicast setters "
        "such as VSDVS_SetMcastUserLegacyEntries take it together with a count.",
        FIELD(0, macEntry, unsigned char [25][6],
            "VS_MULTICAST_USER_ENTRIES_MAX (25) rows of six bytes, filled one by one with set_mac_address; view into "
            "the record, valid while it lives."),
        METHOD(set_mac_address, set_row_mac,
            "Sets the address in row index, 6 * index bytes into the record, from the first six bytes of a "
            "bytes-like object; scripts pass exactly six, a shorter object is read past its end. "
            "No index is refused: scripts keep it below VS_MULTICAST_USER_ENTRIES_MAX (25).",
            INDEX_WITHIN(25, index), SIX_BYTES(mac))),

    RECORD(VSMACTable, "Counted list of VSMACEntry records (26 bytes each), as the MAC table queries return it.",
        COUNTED_BY(numEntries, macEntries),
        FIELD(0, totalEntries, qel_uint32,
            "Number of addresses of all types in the table that was queried, also those that this list does not "
            "hold."),
        FIELD(4, numEntries, qel_uint32,
            "Number of VSMACEntry records that follow; reading entries does not check it, so scripts keep their "
            "index below it."),
        FIELD(8, macEntries, VSMACEntry [0],
            "First of the numEntries entries behind the header, indexed with VSMACEntry.__getitem__; view into the "
            "record, valid while it lives.")),

    RECORD(VSMACGetDynamic,
        "Request for the dynamic part of a MAC table: the caller's table to fill, counts, the kind of address and "
        "whether addresses of the uplink team are wanted; not packed.",
        FIELD(0, macTable, VSMACTable *,
            "Table that the caller provides for the entries; the record never frees it, and a proxy that owned the "
            "table gives up ownership when set here."),
        FIELD(8, count, qel_uint32,
            "Number of entries that the request is about; no call of this interface reads or writes the record."),
        FIELD(12, macAddrType, VSMACAddrType,
            "Kind of address wanted, one of VS_MAC_ADDR_TYPE_*; stored as one byte, as in VSMACEntry."),
        FIELD(16, numEntriesToCopy, qel_uint32,
            "Limit on the number of entries copied into macTable; no call of this interface reads or writes the "
            "record."),
        FIELD(20, getTeamMacs, qel_Bool,
            "Whether addresses learned on the uplink team are wanted; reads as one character, NUL for false.")),

    RECORD(VSMACLearningGlobalProps,
        "MAC learning properties that VSQEL_GetGlobalMACLearningProps and VSQEL_SetGlobalMACLearningProps exchange "
        "without naming a switch; packed (10 bytes).",
        FIELD(0, agingTime, qel_uint32,
            "Time in seconds after which a learned address that fell silent is forgotten, at most "
            "VS_MAC_LEARNING_AGING_TIME_MAX; VS_MAC_LEARNING_AGING_TIME_DEFAULT is 600."),
        FIELD(4, macLimit, qel_uint32,
            "Largest number of addresses that a switch learns; VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT is 65536."),
        FIELD(8, learnStatic, qel_Bool,
            "Whether an address that is static on the switch may also be learned from traffic "
            "(VS_MAC_LEARNING_LEARN_STATIC_DEFAULT is 0); reads as one character, NUL for false."),
        FIELD(9, staticMACAllow, qel_Bool,
            "Whether the addresses of clients and those set by hand are in the MAC tables, and more can be set "
            "(VS_MAC_LEARNING_ALLOW_STATIC_DEFAULT is 1); reads as one character, NUL for false.")),

    RECORD(VSPMACLearningStats, "MAC learning counters of one port or of the uplink team; packed (28 bytes).",
        FIELD(0, numMACsLearned, qel_uint32, "Number of addresses that are learned at present, not a running total."),
        FIELD(4, noLearningAllowedPkts, qel_uint64,
            "Packets let through although their source address was not learned, as "
            "VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW asks for."),
        FIELD(12, noLearningDroppedPkts, qel_uint64,
            "Packets dropped because their source address could not be learned, as "
            "VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP asks for."),
        FIELD(20, numMACsMoved, qel_uint64, "How often a learned address moved from one port to another.")),

    RECORD(VSPMACLearningStatsPortInfo,
        "The MAC learning counters of one port together with its identifier; one 32-byte entry of VSMACLearningStats.",
        FIELD(0, portID, qel_SwitchPortID, "Numeric identifier of the port that the counters belong to."),
        FIELD(4, portStats, VSPMACLearningStats *,
            "Counters of the port, an embedded VSPMACLearningStats; view into the record, valid while it lives. "
            "get_mac_learning_stats returns a copy instead."),
        METHOD(__getitem__, Run<VSPMACLearningStatsPortInfo>::get,
            "Copy of record index of the run that starts here, such as the one that "
            "VSMACLearningStats.macLearningEntries gives; the proxy owns the copy. "
            "No index is refused: scripts keep it within the count that came with the run.",
            INDEX(index)),
        METHOD(get_mac_learning_stats, port_mac_learning_stats, "Copy of portStats; the proxy owns the copy.")),

    RECORD(VSMACLearningStats,
        "Counted list of VSPMACLearningStatsPortInfo records (32 bytes each): the MAC learning counters of a switch "
        "port by port.",
        COUNTED_BY(numEntries, macLearningEntries),
        FIELD(0, totalEntries, qel_uint32,
            "Number of ports of the switch that have such counters, also those that this list does not hold."),
        FIELD(4, numEntries, qel_uint32,
            "Number of VSPMACLearningStatsPortInfo records that follow; reading entries does not check it, so "
            "scripts keep their index below it."),
        FIELD(8, macLearningEntries, VSPMACLearningStatsPortInfo [0],
            "First of the numEntries entries, indexed with VSPMACLearningStatsPortInfo.__getitem__; view into the "
            "record, valid while it lives.")),

    RECORD(VSMACLearningSwitchInfo,
        "MAC learning state of a whole switch. "
        "Not packed: the statistics end at offset 58 and teamAllowedPktsWithPortLimit is aligned to 64.",
        FIELD(0, agingTime, qel_uint32,
            "Time in seconds after which a learned address that fell silent is forgotten, at most "
            "VS_MAC_LEARNING_AGING_TIME_MAX."),
        FIELD(4, macLimit, qel_uint32,
            "Largest number of addresses that the switch learns; VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT is 65536."),
        FIELD(8, numLearningPorts, qel_uint32, "Number of ports of the switch on which MAC learning is switched on."),
        FIELD(12, numMACsLearned, qel_uint32,
            "Number of addresses that the switch has learned on its ports at present."),
        FIELD(16, teamNumMACsLearned, qel_uint32,
            "Number of addresses learned on the uplink team at present; TEAM_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT "
            "(16384) is the usual limit."),
        FIELD(20, teamMACLearning, VSPMACLearning *,
            "MAC learning policy of the uplink team, an embedded VSPMACLearning; view into the record, valid while "
            "it lives."),
        FIELD(30, teamMACLearningStats, VSPMACLearningStats *,
            "MAC learning counters of the uplink team, an embedded VSPMACLearningStats; view into the record, valid "
            "while it lives."),
        FIELD(64, teamAllowedPktsWithPortLimit, qel_uint64,
            "Packets let through unlearned at an uplink with an address limit of its own, while it was reached."),
        FIELD(72, noOfPortsMACLimitHit, qel_uint32, "Number of ports that have reached their address limit."),
        FIELD(76, numSinkPorts, qel_uint32, "Number of ports configured as sink ports with VSDVS_ConfigureSinkPort."),
        FIELD(80, numSinkAndFloodingPorts, qel_uint32,
            "Number of ports that are sink ports or have flooding switched on.")),

    RECORD(VSPMACLearningInfo,
        "The MAC learning policy of one port together with its identifier; one packed 14-byte entry of "
        "VSMACLearningEntries.",
        FIELD(0, portID, qel_SwitchPortID, "Numeric identifier of the port that the policy belongs to."),
        FIELD(4, portMACLearning, VSPMACLearning *,
            "Policy of the port, an embedded VSPMACLearning; view into the record, valid while it lives. "
            "get_mac_learning_config returns a copy instead."),
        METHOD(__getitem__, Run<VSPMACLearningInfo>::get,
            "Copy of record index of the run that starts here, such as the one that "
            "VSMACLearningEntries.portMACLearningEntries gives; the proxy owns the copy. "
            "No index is refused: scripts keep it within the count that came with the run.",
            INDEX(index)),
        METHOD(get_mac_learning_config, port_mac_learning, "Copy of portMACLearning; the proxy owns the copy.")),

    RECORD(VSMACLearningEntries,
        "Counted list of VSPMACLearningInfo records (14 bytes each): the MAC learning policy of a switch port by port.",
        COUNTED_BY(numEntries, portMACLearningEntries),
        FIELD(0, totalEntries, qel_uint32,
            "Number of ports of the switch that have such a policy, also those that this list does not hold."),
        FIELD(4, numEntries, qel_uint32,
            "Number of VSPMACLearningInfo records that follow; reading entries does not check it, so scripts keep "
            "their index below it."),
        FIELD(8, portMACLearningEntries, VSPMACLearningInfo [0],
            "First of the numEntries entries, indexed with VSPMACLearningInfo.__getitem__; view into the record, "
            "valid while it lives.")),

    RECORD(VSPropSecurityPortInfo,
        "The layer-2 security policy of one port together with its identifier; one 8-byte entry of VSL2Security.",
        FIELD(0, portID, qel_SwitchPortID, "Numeric identifier of the port that the policy belongs to."),
        FIELD(4, l2SecPortInfo, VSPropSecurity *,
            "Policy of the port, an embedded VSPropSecurity with VSPORT_SECURITY_* flags; view into the record, "
            "valid while it lives. "
            "get_port_sec returns a copy instead."),
        METHOD(__getitem__, Run<VSPropSecurityPortInfo>::get,
            "Copy of record index of the run that starts here, such as the one that VSL2Security.portSecEntries "
            "gives; the proxy owns the copy. "
            "No index is refused: scripts keep it within the count that came with the run.",
            INDEX(index)),
        METHOD(get_port_sec, port_security, "Copy of l2SecPortInfo; the proxy owns the copy.")),

    RECORD(VSL2Security,
        "Counted list of VSPropSecurityPortInfo records (8 bytes each): the layer-2 security policy of a switch port "
        "by port.",
        COUNTED_BY(numEntries, portSecEntries),
        FIELD(0, totalEntries, qel_uint32,
            "Number of ports of the switch that have such a policy, also those that this list does not hold."),
        FIELD(4, numEntries, qel_uint32,
            "Number of VSPropSecurityPortInfo records that follow; reading entries does not check it, so scripts "
            "keep their index below it."),
        FIELD(8, portSecEntries, VSPropSecurityPortInfo [0],
            "First of the numEntries entries, indexed with VSPropSecurityPortInfo.__getitem__; view into the "
            "record, valid while it lives.")),

    RECORD(VSIOCtlQuery,
        "Selector of a switch query: overlaid views name the switch (offset 0), the port (offset 128) and the item "
        "(offset 176). "
        "Writing one view overwrites the others of its group.",
        FIELD(0, psName, qel_uint8 [128],
            "Switch selector by port set name, up to QEL_PORTSET_NAME_MAX (128) bytes; overlays dvsId and dvsName; "
            "view into the record, valid while it lives."),
        FIELD(0, dvsId, char [64],
            "Switch selector by distributed switch identifier, at most 63 bytes of text (QEL_HNQ_ID_MAX_LEN with its "
            "terminator); overlays psName and dvsName."),
        FIELD(0, dvsName, qel_uint8 [81],
            "Switch selector by distributed switch name, up to QEL_HNQ_NAME_MAX_LEN (81) bytes; overlays psName and "
            "dvsId; view into the record, valid while it lives."),
        FIELD(128, dvPortID, qel_uint8 [48],
            "Port selector by distributed port identifier text, up to VS_DVPORT_ID_MAX (48) bytes; its first four "
            "bytes are portID; view into the record, valid while it lives."),
        FIELD(128, portID, qel_SwitchPortID,
            "Port selector by numeric port identifier; overlays the first four bytes of dvPortID."),
        FIELD(176, dvMirrorSID, char [32],
            "Item selector by mirror session identifier, at most 31 bytes of text; overlays the other item selectors."),
        FIELD(176, vlanID, qel_VlanID,
            "Item selector by VLAN ID, 12 bits of IEEE 802.1Q (0 to 4095); overlays the other item selectors."),
        FIELD_READ_ONLY(176, mcastFilter, _mcastFilter,
            "Item selector for multicast filters: 36 opaque bytes without accessors, filled through the other item "
            "views or left zero; view into the record, valid while it lives."),
        FIELD_READ_ONLY(176, uplink, _uplink,
            "Item selector for an uplink: 36 opaque bytes without accessors, filled through the other item views or "
            "left zero; view into the record, valid while it lives."),
        FIELD(176, macEntry, VSMACEntry *,
            "Item selector by MAC table entry, an embedded VSMACEntry that overlays the other item selectors; view "
            "into the record, valid while it lives."),
        FIELD(176, globalMACLearningProps, VSMACLearningGlobalProps *,
            "Global MAC learning properties, an embedded VSMACLearningGlobalProps that overlays the other item "
            "selectors; view into the record, valid while it lives.")),

    RECORD(HNQQuery,
        "Buffer for one property of the distributed-switch store; alloc_hnq_query allocates the record and its value "
        "buffer together, free_hnq_query releases both. "
        "Packed (12 bytes).",
        FIELD(0, propLen, int,
            "Capacity of the value buffer in bytes; a property get replaces it by the length of the value that it "
            "stored."),
        FIELD(4, propValue, char *,
            "Value buffer, read as text up to its terminator; setting it frees the old buffer and stores a copy that "
            "the record owns. "
            "get_val_in_bytes reads propLen raw bytes."),
        METHOD(get_val_in_bytes, property_value_bytes,
            "Copy of the value buffer as bytes, propLen of them whatever they hold; empty without a buffer or with "
            "a negative propLen.")),

    RECORD(VSIOCtlData,
        "Raw input and output buffers of a control request to the switch device, given by address and length.",
        FIELD(0, dataInLen, qel_uint32, "Length of the input buffer in bytes."),
        FIELD(4, dataOutLen, qel_uint32, "Length of the output buffer in bytes."),
        FIELD(8, dataInPtr, qel_uint64,
            "Address of the input buffer as a 64-bit integer; the record does not own the buffer."),
        FIELD(16, dataOutPtr, qel_uint64,
            "Address of the output buffer as a 64-bit integer; the record does not own the buffer.")),

    RECORD(VSList,
        "List of switch names in fixed-width slots behind an 8-byte header; VSQEL_GetSwitchesPy returns one.",
        COUNTED_AS(SwitchNames),
        FIELD(0, count, qel_int32,
            "Number of switch names that follow; signed, and the upper bound of the index of __getitem__."),
        FIELD(4, listType, VSListType,
            "What the names are: VS_LIST_PS for port set names in slots of 128 bytes, VS_LIST_DVS_ALIAS for aliases; "
            "every value but VS_LIST_PS means slots of 81 bytes."),
        FIELD(8, switches, char [0],
            "Place where the name slots begin; it has no declared length and always reads as the empty string, so "
            "read the names with __getitem__."),
        METHOD(__getitem__, switch_name,
            "Name index: slots of 128 bytes when listType is VS_LIST_PS, else of 81 bytes. "
            "An index not below count prints \"Invalid array index\" and a line end and gives None; a negative one "
            "is not refused and reads the bytes before the first name.",
            INDEX(index), OR_NONE)),

    RECORD(VSInfo,
        "Size, limits, names and flags of one switch. "
        "Packed (218 bytes): flags lies at the unaligned offset 210.",
        FIELD(0, mtu, qel_uint32,
            "Largest packet in bytes, without the Ethernet header, that the switch forwards (maximum transmission "
            "unit)."),
        FIELD(4, maxValidVlan, qel_VlanID, "Highest VLAN ID that the switch accepts, at most 4095 (IEEE 802.1Q)."),
        FIELD(6, minValidVlan, qel_VlanID, "Lowest VLAN ID that the switch accepts (IEEE 802.1Q)."),
        FIELD(8, activePorts, qel_uint32,
            "Number of ports of the switch that have a client; uplink ports count."),
        FIELD(12, maxPorts, qel_uint32, "Largest number of ports that the switch can have."),
        FIELD(16, dvsName, qel_uint8 [128],
            "Name of the switch, up to 128 bytes; view into the record, valid while it lives."),
        FIELD(144, hnqID, qel_uint8 [64],
            "Identifier of the distributed switch, up to QEL_HNQ_ID_MAX_LEN (64) bytes; view into the record, valid "
            "while it lives."),
        FIELD(208, numSinkPorts, qel_uint16, "Number of ports configured as sink ports with VSDVS_ConfigureSinkPort."),
        FIELD(210, flags, qel_uint64,
            "Flags that VSDVS_CreateVSwitch was given, 64 bits that no exported constants name; kept and reported, "
            "without a meaning of their own.")),

    RECORD(VSStats,
        "Packet, byte and drop counters of a port, each a 64-bit count. No call of this interface reads or writes "
        "the record.",
        FIELD(0, pktsTx, qel_uint64,
            "Packets transmitted; the multicast and broadcast counters single out two kinds of them."),
        FIELD(8, pktsTxMulticast, qel_uint64, "Packets transmitted to a multicast address."),
        FIELD(16, pktsTxBroadcast, qel_uint64, "Packets transmitted to the broadcast address."),
        FIELD(24, pktsRx, qel_uint64,
            "Packets received; the multicast and broadcast counters single out two kinds of them."),
        FIELD(32, pktsRxMulticast, qel_uint64, "Packets received that were sent to a multicast address."),
        FIELD(40, pktsRxBroadcast, qel_uint64, "Packets received that were sent to the broadcast address."),
        FIELD(48, bytesTx, qel_uint64, "Bytes in the packets that pktsTx counts."),
        FIELD(56, bytesTxMulticast, qel_uint64, "Bytes in the packets that pktsTxMulticast counts."),
        FIELD(64, bytesTxBroadcast, qel_uint64, "Bytes in the packets that pktsTxBroadcast counts."),
        FIELD(72, bytesRx, qel_uint64, "Bytes in the packets that pktsRx counts."),
        FIELD(80, bytesRxMulticast, qel_uint64, "Bytes in the packets that pktsRxMulticast counts."),
        FIELD(88, bytesRxBroadcast, qel_uint64, "Bytes in the packets that pktsRxBroadcast counts."),
        FIELD(96, droppedTx, qel_uint64, "Packets dropped on their way in the transmit direction."),
        FIELD(104, droppedRx, qel_uint64, "Packets dropped on their way in the receive direction.")),

    RECORD(VSPortList, "The ports of a switch: a count and that many numeric port identifiers.",
        COUNTED_BY(numPorts, ports),
        FIELD(0, numPorts, qel_uint32, "Number of port identifiers that follow the record's fixed part."),
        FIELD(4, ports, qel_SwitchPortID [0],
            "First of the numPorts identifiers of four bytes each; view into the record, valid while it lives.")),

    RECORD(VSPortInfo,
        "Everything about one switch port: its client, hardware address, distributed port, accepted multicast "
        "addresses, counters and VLAN settings; packed (1420 bytes).",
        FIELD(0, portIdx, qel_uint32,
            "Number of the port among the ports of its switch; no call of this interface reads or writes the "
            "record."),
        FIELD(4, clientName, char [1040],
            "Name of what is connected to the port, at most 1039 bytes of text (QEL_PORT_CLIENT_NAME_MAX with its "
            "terminator)."),
        FIELD(1044, clientType, VS_PortClientType, "Kind of client connected to the port, one of VS_PORT_CLIENT_*."),
        FIELD_MAC(1048, fixedHwID, unsigned char [6],
            "Hardware address that is fixed for the port, read as lower-case MAC text; the setter takes a pointer to "
            "six bytes."),
        FIELD(1054, dvPortId, qel_uint8 [48],
            "Identifier text of the distributed port behind this port, up to VS_DVPORT_ID_MAX (48) bytes; view into "
            "the record, valid while it lives."),
        FIELD_READ_ONLY(1102, ethFrpAccepted, VSPortInfo_ethFrpAccepted,
            "Multicast addresses that the port accepts, a nested VSPortInfo_ethFrpAccepted; view into the record, "
            "valid while it lives."),
        FIELD(1296, stats, VSStats *,
            "Traffic counters of the port, an embedded VSStats; view into the record, valid while it lives, so that "
            "writes through it change the record."),
        FIELD_READ_ONLY(1408, vlan, VSPortInfo_vlan,
            "VLAN settings in force on the port, a nested VSPortInfo_vlan; view into the record, valid while it "
            "lives.")),

    RECORD_UNTAGGED(VSPortInfo_vlan,
        "The VLAN settings in force on a port, the nested part vlan of VSPortInfo (12 bytes).",
        FIELD(0, defaultVID, qel_VlanID,
            "VLAN ID that the port's untagged traffic belongs to, 0 to 4095 (IEEE 802.1Q)."),
        FIELD(2, primaryVID, qel_VlanID,
            "VLAN ID of the primary VLAN when the port belongs to a private VLAN, 0 to 4095."),
        FIELD(4, flags, VSVlanTPFlags, "How the port treats VLAN tags, VS_VLAN_TP_FLAG_* flags."),
        FIELD(8, statsEnabled, qel_Bool,
            "Whether counters are kept for each VLAN of the port; reads as one character, NUL for false.")),

    RECORD_UNTAGGED(VSPortInfo_ethFrpAccepted,
        "The multicast addresses that a port accepts, the nested part ethFrpAccepted of VSPortInfo (194 bytes).",
        FIELD(0, numMulticastAddrs, qel_uint16,
            "Number of rows of multicastAddrs in use, 0 to VS_ETH_MAX_EXACT_MULTICAST_ADDRS (32)."),
        FIELD(2, multicastAddrs, unsigned char [32][6],
            "32 rows of six bytes, of which the first numMulticastAddrs hold multicast addresses; view into the "
            "record, valid while it lives.")),

    RECORD(VSVLANBitmap,
        "Set of VLAN IDs: 4096 bits, one for each VLAN ID of IEEE 802.1Q, held as 64 words of 64 bits.",
        FIELD(0, bits, qel_uint64 [64],
            "VS_VLAN_BITMAP_ARRAY_SIZE (64) words of the set, read one by one with VSStaticLEEntry.vlan_get_values "
            "in a static entry; view into the record, valid while it lives.")),

    RECORD(VSVLAN, "Times and packet counters of one VLAN on a switch.",
        FIELD(0, creationTime, qel_uint64,
            "When the VLAN came into use on the switch; no call of this interface reads or writes the record."),
        FIELD(8, modificationTime, qel_uint64,
            "When the settings of the VLAN last changed; no call of this interface reads or writes the record."),
        FIELD(16, pktsTx, qel_uint64, "Packets of the VLAN that were transmitted."),
        FIELD(24, pktsRx, qel_uint64, "Packets of the VLAN that were received.")),

    RECORD(VSStaticLEEntry,
        "One static entry of the logical switch forwarding table: an address with its port, overlay network and "
        "VLANs; packed (529 bytes).",
        FIELD(0, vlanBitmap, VSVLANBitmap *,
            "VLANs that the entry applies to, an embedded VSVLANBitmap; vlan_get_values(i) reads its word i; view "
            "into the record, valid while it lives."),
        FIELD(512, isTrunkVNI, qel_Bool,
            "Whether the address is in an overlay network and its port lets the client tag its frames; reads as one "
            "character, NUL for false."),
        FIELD(513, isVdrMac, qel_Bool,
            "Whether the address is that of the interface of a distributed router (VDR); reads as one character, "
            "NUL for false."),
        FIELD(514, vni, qel_uint32,
            "Overlay network identifier that the entry belongs to, up to QEL_VIRTUAL_NETWORK_ID_MAX; "
            "QEL_VIRTUAL_NETWORK_ID_NONE (0) outside an overlay."),
        FIELD_MAC(518, macAddress, unsigned char [6],
            "Hardware address of the entry, read as lower-case MAC text; the setter takes a pointer to six bytes and "
            "set_mac_address six raw bytes."),
        FIELD(524, macAddrType, VSMACAddrType,
            "How the address came into the table, one of VS_MAC_ADDR_TYPE_*; stored as one byte, as in VSMACEntry."),
        FIELD(525, portID, qel_SwitchPortID,
            "Numeric identifier of the port that the entry leads to; lies at the unaligned offset 525."),
        METHOD(__getitem__, Run<VSStaticLEEntry>::get,
            "Copy of record index of the run that starts here, such as the one that "
            "VSStaticLeCtxEntries.staticLECtxEntries gives; the proxy owns the copy. "
            "No index is refused: scripts keep it within the count that came with the run.",
            INDEX(index)),
        METHOD(set_mac_address, set_static_entry_mac,
            "Sets macAddress from the first six bytes of a bytes-like object; scripts pass exactly six, a shorter "
            "object is read past its end.",
            SIX_BYTES(mac)),
        METHOD(vlan_get_values, vlan_bitmap_word,
            "Word index of the 64 words of vlanBitmap as an unsigned 64-bit integer: bit b stands for VLAN ID 64 * "
            "index + b. "
            "No index is refused: scripts keep it within 0 to 63.",
            INDEX_WITHIN(64, index))),

    RECORD(VSStaticLeCtxEntries,
        "Counted list of VSStaticLEEntry records (529 bytes each), as VSQEL_GetStaticLectx and "
        "VSQEL_GetPortStaticLectx return it.",
        COUNTED_BY(numEntries, staticLECtxEntries),
        FIELD(0, totalEntries, qel_uint32,
            "Number of static entries of the switch or port, also those that this list does not hold."),
        FIELD(4, numEntries, qel_uint32,
            "Number of VSStaticLEEntry records that follow; reading entries does not check it, so scripts keep their "
            "index below it."),
        FIELD(8, staticLECtxEntries, VSStaticLEEntry [0],
            "First of the numEntries entries, indexed with VSStaticLEEntry.__getitem__; view into the record, valid "
            "while it lives.")),

    RECORD(VSRARPStats,
        "Counters of the reverse ARP packets (RFC 903) with which a switch announces addresses to the physical "
        "network.",
        FIELD(0, rarpPktsSent, qel_uint32, "Number of reverse ARP packets sent so far."),
        FIELD(4, maxRARPTime, qel_uint32,
            "Longest time that one round of announcements took, in milliseconds."),
        FIELD(8, rarpTime, qel_uint64,
            "Time that all announcements took together, in milliseconds; 64 bits.")),

    RECORD(VSServicePortTeamingStats, "Counters of the teaming decisions for a service port of a switch.",
        FIELD(0, txFromSrvPort, qel_uint64, "Packets transmitted from the service port."),
        FIELD(8, txUsingSrvPortFRP, qel_uint64, "Packets transmitted by the teaming policy of the service port."),
        FIELD(16, txUsingPktSrcPortFRP, qel_uint64,
            "Packets transmitted by the teaming policy of the port that the packet came from."),
        FIELD(24, txErrors, qel_uint64,
            "Packets for which no transmission was possible."),
        FIELD(32, rxToSrvPort, qel_uint64, "Packets received that were delivered to the service port."),
        FIELD(40, rxRpfOverride, qel_uint64,
            "Packets received for which the result of the reverse-path forwarding check was overridden.")),

    RECORD(VSUplinks,
        "Counted list of uplinks (36 bytes each). "
        "new_VSUplinks(n) allocates only 32 * n + 8 bytes and stores n in numEntries, so its block has room for fewer "
        "than n entries.",
        COUNTED_AS(UplinkNames),
        COUNTED(32, 8, numEntries),
        FIELD(0, totalEntries, qel_uint32,
            "Number of the switch's uplinks with a physical NIC, also those that this list does not hold."),
        FIELD(4, numEntries, qel_uint32,
            "Number of VSUplinks_entries records that follow; it is the length of the list and bounds the index of "
            "__getitem__ and __setitem__."),
        FIELD_READ_ONLY(8, entries, VSUplinks_entries [0],
            "First of the numEntries entries of 36 bytes each; __getitem__ and __setitem__ read and write their "
            "names; view into the record, valid while it lives."),
        METHOD(__len__, UplinkNames::count, "Number of slots: numEntries, as a signed integer."),
        METHOD(__getitem__, UplinkNames::get,
            "Name of the uplink in slot index, a text of at most 32 bytes. "
            "An index that is negative or not below numEntries prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, UplinkNames::set,
            "Copies at most 32 bytes of text into slot index; a text that fills the slot is left without a "
            "terminator, a shorter one is padded with zeros, None clears the slot. "
            "An index that is negative or not below numEntries prints \"Invalid array index.\" and gives None.",
            INDEX(index), IN(text, char const *))),

    RECORD_UNTAGGED(VSUplinks_entries, "One uplink of VSUplinks: its name and its port identifier (36 bytes).",
        FIELD(0, name, qel_Name *,
            "Name of the uplink, an embedded qel_Name of up to 32 bytes; view into the record, valid while it lives."),
        FIELD(32, portID, qel_SwitchPortID,
            "Numeric identifier of the switch port that the uplink occupies; QEL_VSWITCH_INVALID_PORT_ID (0) names "
            "no port.")),

    RECORD(VSLAGStatus,
        "Status of one link aggregation group (IEEE 802.1AX), followed directly by numUplinks names of 32 bytes each.",
        COUNTED_AS(LagUplinkNames),
        FIELD(0, state, qel_LinkState,
            "Whether the group as a whole has a link, QEL_LINK_STATE_UP or QEL_LINK_STATE_DOWN."),
        FIELD(4, id, qel_uint32,
            "Number that identifies the group on its switch, from 1."),
        FIELD(8, name, qel_uint8 [68],
            "Name of the group, up to VS_LACP_LAG_NAME_LENGTH (68) bytes, read as text with get_name; view into the "
            "record, valid while it lives."),
        FIELD(76, uplinkLinkupBitmap, qel_uint64,
            "One bit for each member uplink, in their order from the lowest bit on, set while its link is up."),
        FIELD(84, numUplinks, qel_uint32,
            "Number of member uplinks and of names that follow, at most VS_MAX_UPLINKS_IN_LAG (32); bounds the index "
            "of __getitem__, __setitem__ and get_uplink_name."),
        FIELD(88, uplinkNames, qel_Name [0],
            "First of the numUplinks names of the members, read as text with get_uplink_name; view into the record, "
            "valid while it lives."),
        METHOD(__getitem__, LagUplinkNames::get,
            "Name of the uplink in slot index, a text of at most 32 bytes. "
            "An index that is negative or not below numUplinks prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, LagUplinkNames::set,
            "Copies at most 32 bytes of text into slot index; a text that fills the slot is left without a "
            "terminator, a shorter one is padded with zeros, None clears the slot. "
            "An index that is negative or not below numUplinks prints \"Invalid array index.\" and gives None.",
            INDEX(index), IN(text, char const *)),
        METHOD(vs_lag_table_next_lag, lag::next,
            "View of the LAG status directly behind the last uplink name of this one. "
            "The end of the table is not noticed: scripts take numLAGs steps."),
        METHOD(get_name, lag::name, "Text of name, the name of the LAG."),
        METHOD(get_uplink_name, LagUplinkNames::get_silently,
            "Name of uplink index, a text of at most 32 bytes; None, without a message, for an index that is "
            "negative or not below numUplinks.",
            IN(index, int), OR_NONE)),

    RECORD(VSLAGTable,
        "Header of the link aggregation table (IEEE 802.1AX), followed by VSLAGStatus records of different lengths.",
        COUNTED_BY(numLAGs), YIELDS(VSLAGStatus),
        FIELD(0, numLAGs, qel_uint32,
            "Number of VSLAGStatus records that follow, at most VS_MAX_LAGS (32); walk them with "
            "vs_lag_table_first_lag and VSLAGStatus.vs_lag_table_next_lag, which test no end."),
        METHOD(vs_lag_table_first_lag, lag::first,
            "View of the first LAG status, directly behind numLAGs, whether or not the table holds any; valid while "
            "the table lives.")),

    RECORD(VSPromiscSessionActiveDsts,
        "Counted list of the ports to which the promiscuous mirror session delivers at present.",
        COUNTED_AS(ActiveDestinations),
        FIELD(0, totalEntries, qel_uint32,
            "Number of active destination ports, also those that this list does not hold."),
        FIELD(4, numEntries, qel_uint32,
            "Number of port identifiers that follow; bounds the index of __getitem__ and __setitem__."),
        FIELD(8, entries, qel_SwitchPortID [0],
            "First of the numEntries numeric port identifiers of four bytes each; view into the record, valid while "
            "it lives."),
        METHOD(__getitem__, active_destination,
            "Numeric identifier of destination port index. "
            "An index that is negative or not below numEntries prints \"Invalid array index.\" and gives 0.",
            INDEX(index)),
        METHOD(__setitem__, set_active_destination,
            "Stores the numeric identifier of destination port index. "
            "An index that is negative or not below numEntries prints \"Invalid array index.\" and stores nothing.",
            INDEX(index), IN(port, qel_SwitchPortID))),

    RECORD(VSDVMirrorSessionIDs,
        "Counted list of the identifiers of the mirror sessions of a switch, in slots of 32 bytes.",
        COUNTED_AS(MirrorSessionIds),
        FIELD(0, totalEntries, qel_uint32,
            "Number of mirror sessions of the switch, also those that this list does not hold."),
        FIELD(4, numEntries, qel_uint32, "Number of session identifiers that follow; bounds the index of __getitem__."),
        FIELD(8, entries, char [0][32],
            "First of the numEntries identifier slots of 32 bytes each, read as text with __getitem__; view into the "
            "record, valid while it lives."),
        METHOD(__getitem__, MirrorSessionIds::get,
            "Identifier of mirror session index, a text of at most 32 bytes. "
            "An index that is negative or not below numEntries prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE)),

    RECORD(VSDVMirrorSessionStats,
        "Packet counters of one mirror session, with the session's display name; packed (121 bytes).",
        FIELD(0, mirrorPktCnt, qel_uint64,
            "Mirror copies that the session produced."),
        FIELD(8, mirrorPktFailCnt, qel_uint64,
            "Mirror copies that could not be produced."),
        FIELD(16, mirroredPkts, qel_uint64,
            "Packets that matched the session and were mirrored."),
        FIELD(24, discardedPkts, qel_uint64,
            "Packets that matched the session but were left out by a filter or by sampling."),
        FIELD(32, failedPkts, qel_uint64,
            "Packets that matched the session but could not be delivered to its destinations."),
        FIELD(40, name, char [81],
            "Display name of the session, at most 80 bytes of text, as in DVMirrorSession.dname.")),

    RECORD(VSMcastFilters,
        "Counted list of the multicast filters of a port. "
        "MAC, IPv4 and IPv6 addresses share one storage area; the filter kind of the query tells which view holds.",
        COUNTED_BY(numEntries),
        FIELD(0, totalEntries, qel_uint32,
            "Number of filters of the port, also those that this list does not hold."),
        FIELD(4, numEntries, qel_uint32,
            "Number of addresses that follow; reading entries does not check it, so scripts keep their index below "
            "it."),
        FIELD(8, macEntries, unsigned char [0][6],
            "First of the numEntries hardware addresses of six bytes each, read as text with get_mac_entry; view "
            "into the record, valid while it lives."),
        FIELD(8, ipv4Entries, qel_IPv4Address [0],
            "First of the numEntries IPv4 group addresses in network byte order, read as text with get_ip_entry; "
            "view into the record, valid while it lives."),
        FIELD(8, ipv6Entries, unsigned char [0][16],
            "First of the numEntries IPv6 group addresses of 16 bytes each, read as text with get_ipv6_entry; view "
            "into the record, valid while it lives."),
        METHOD(get_mac_entry, FilterMacs::get,
            "Entry index as lower-case MAC text, when the list holds hardware addresses. "
            "No index is refused: scripts keep it below numEntries.",
            INDEX(index)),
        METHOD(get_ip_entry, FilterIpv4s::get,
            "Entry index as dotted IPv4 text, when the list holds IPv4 addresses. "
            "No index is refused: scripts keep it below numEntries.",
            INDEX(index)),
        METHOD(get_ipv6_entry, FilterIpv6s::get,
            "Entry index as IPv6 text, when the list holds IPv6 addresses. "
            "No index is refused: scripts keep it below numEntries.",
            INDEX(index))),

    RECORD(VSMcastFilterStats,
        "State of one multicast group on a port, followed by its source addresses; IPv4 and IPv6 addresses share one "
        "storage area, as the filter mode of the query tells.",
        COUNTED_BY(numEntries),
        FIELD(0, version, qel_uint32,
            "Version of the group membership protocol in use for the group (IGMP: 1 to 3, MLD: 1 or 2)."),
        FIELD(4, srcIPFilterMode, qel_uint32,
            "How the source addresses filter the group's traffic, one of VS_MCAST_SRC_IP_FILTER_MODE_* (RFC 3376, "
            "RFC 3810)."),
        FIELD(8, updateTime, qel_uint64,
            "When the membership was last refreshed, in microseconds of the host's clock."),
        FIELD(16, vni, qel_uint32,
            "Overlay network identifier that the group belongs to; QEL_VIRTUAL_NETWORK_ID_NONE (0) outside an "
            "overlay."),
        FIELD(20, totalEntries, qel_uint32,
            "Number of source addresses of the group, also those that this record does not hold."),
        FIELD(24, numEntries, qel_uint32,
            "Number of source addresses that follow; reading entries does not check it, so scripts keep their index "
            "below it."),
        FIELD(28, ipv4Entries, qel_IPv4Address [0],
            "First of the numEntries IPv4 source addresses in network byte order, read as text with get_ip_entry; "
            "view into the record, valid while it lives."),
        FIELD(28, ipv6Entries, unsigned char [0][16],
            "First of the numEntries IPv6 source addresses of 16 bytes each, read as text with get_ipv6_entry; view "
            "into the record, valid while it lives."),
        METHOD(get_ip_entry, SourceIpv4s::get,
            "Source address index as dotted IPv4 text, when the group is an IPv4 one. "
            "No index is refused: scripts keep it below numEntries.",
            INDEX(index)),
        METHOD(get_ipv6_entry, SourceIpv6s::get,
            "Source address index as IPv6 text, when the group is an IPv6 one. "
            "No index is refused: scripts keep it below numEntries.",
            INDEX(index))));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
