// Binding rows: configuration that scripts write to a switch or a port: VLAN, security, filters, teaming, MAC learning.
// The types are part of the error messages, spelled exactly as they stand.
// clang-format off
#pragma once

#include "extensions/addresses.hpp"
#include "extensions/containers.hpp"
#include "interface/policy_records.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto policy_records = records(
    RECORD(VSPvlanMapEntry,
        "One entry of a private VLAN map: a primary and a secondary VLAN ID and the type of the secondary VLAN; the "
        "arrays of new_pvlanmapentryArray hold these.",
        FIELD(0, primaryVID, qel_uint16,
            "VLAN ID of the primary VLAN, under which the private VLAN is known outside, 0 to 4095 (IEEE 802.1Q)."),
        FIELD(2, secondaryVID, qel_uint16,
            "VLAN ID of the secondary VLAN, which groups ports inside the primary one, 0 to 4095."),
        FIELD(4, pvlanType, qel_uint8, "Which ports the secondary VLAN may reach, one of VSPORT_PVLAN_TYPE_*."),
        FIELD(5, pad, char [3], "Unused padding; keeps entries of a map 8 bytes apart."),
        METHOD(__getitem__, Run<VSPvlanMapEntry>::get,
            "Copy of record index of the run that starts here; the proxy owns the copy. "
            "No index is refused: scripts keep it within the count that came with the run.",
            INDEX(index))),

    RECORD(VSForwardingMode, "Which versions of IP a switch forwards.",
        FIELD(0, forwardingMode, ForwardingMode,
            "Versions of IP that are forwarded, one of FORWARDING_MODE_*; FORWARDING_MODE_INVALID (0) is no setting.")),

    RECORD(VSPropMACLearning,
        "MAC learning property of a switch, as VSDVS_SetMACLearning and VSDVS_GetMACLearning exchange it; the first "
        "word holds a 24-bit time and a reserved byte.",
        FIELD_BITS(0, 0, 24, agingTime, qel_uint32,
            "Time in seconds after which a silent address is forgotten, up to VS_MAC_LEARNING_AGING_TIME_MAX "
            "(default 600). "
            "A setter accepts 32 bits and keeps the low 24."),
        FIELD_BITS(3, 0, 8, reserved, qel_uint32, "Unused upper byte of the word that agingTime begins; keep it zero."),
        FIELD(4, macLimit, qel_uint32,
            "Largest number of addresses that the switch learns; VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT is 65536.")),

    RECORD(VSPortVlanPolicy,
        "VLAN policy of a port: flags and the access VLAN ID, followed directly by numRanges trunk ranges of 4 bytes "
        "each.",
        COUNTED_BY(numRanges, get_vid_range),
        FIELD(0, flags, qel_uint16, "How the port uses VLANs, VSPORT_VLAN_* flags."),
        FIELD(2, vlanID, qel_uint16, "Access VLAN ID of the port, 0 to 4095 (IEEE 802.1Q)."),
        FIELD(4, pad, qel_uint16, "Unused padding; keeps the following field at its offset."),
        FIELD(6, numRanges, qel_uint16, "Number of VLAN ID ranges that follow the record's fixed part."),
        FIELD(8, vidRanges, qel_HNQPortVIDRange [0],
            "First of the numRanges ranges, copied out one by one with get_vid_range, which tests no bound; view "
            "into the record, valid while it lives."),
        METHOD(get_vid_range, PortVlanRanges::get,
            "Copy of trunk range index; the proxy owns the copy. "
            "No index is refused: scripts keep it below numRanges.",
            INDEX(index))),

    RECORD(VSPropSecurity, "Layer-2 security policy of a switch or port, a word of flags.",
        FIELD(0, flags, qel_uint32,
            "What the policy refuses, VSPORT_SECURITY_* flags (promiscuous mode, changed and forged source "
            "addresses); 0 allows everything.")),

    RECORD(VSExtraEthFilter,
        "Ethernet filter that applies to a port in addition to the client's own: flags and up to 32 multicast "
        "addresses (200 bytes).",
        FIELD(0, flags, qel_uint32, "Kinds of frames that the filter accepts, QEL_ETH_FILTER_* flags."),
        FIELD(4, numMulticastAddrs, qel_uint16,
            "Number of rows of multicastAddrs in use, 0 to VS_ETH_MAX_EXACT_MULTICAST_ADDRS (32)."),
        FIELD(6, multicastAddrs, unsigned char [32][6],
            "32 rows of six bytes, of which the first numMulticastAddrs hold multicast addresses; view into the "
            "record, valid while it lives."),
        FIELD(198, pad, qel_uint16, "Unused padding; rounds the record up to 200 bytes.")),

    RECORD(VSUplinkPorts,
        "Counted list of uplink port names in slots of 81 bytes. "
        "new_VSUplinkPorts(n) allocates 81 * n + 4 bytes without clearing them and stores n in nUplinkPorts.",
        COUNTED_AS(UplinkPortNames),
        COUNTED(81, 4, nUplinkPorts),
        FIELD(0, nUplinkPorts, qel_uint32,
            "Number of name slots that follow; it is the length of the list and bounds the index of __getitem__ and "
            "__setitem__."),
        FIELD(4, uplinkPortName, char [0][81],
            "First of the nUplinkPorts slots of 81 bytes, read and written as text with __getitem__ and __setitem__; "
            "view into the record, valid while it lives."),
        METHOD(__len__, UplinkPortNames::count, "Number of slots: nUplinkPorts, as a signed integer."),
        METHOD(__getitem__, UplinkPortNames::get,
            "Name of the uplink in slot index, a text of at most 81 bytes. "
            "An index that is negative or not below nUplinkPorts prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, UplinkPortNames::set,
            "Copies at most 81 bytes of text into slot index; a text that fills the slot is left without a "
            "terminator, a shorter one is padded with zeros, None clears the slot. "
            "An index that is negative or not below nUplinkPorts prints \"Invalid array index.\" and gives None.",
            INDEX(index), IN(text, char const *))),

    RECORD(VSUplinkPortIds,
        "Counted list of uplink port identifiers in slots of 48 bytes. "
        "new_VSUplinkPortIds(n) allocates 48 * n + 4 bytes without clearing them and stores n in nUplinkPorts.",
        COUNTED_AS(UplinkPortIds),
        COUNTED(48, 4, nUplinkPorts),
        FIELD(0, nUplinkPorts, qel_uint32,
            "Number of identifier slots that follow; it is the length of the list and bounds the index of "
            "__getitem__ and __setitem__."),
        FIELD(4, uplinkPortId, char [0][48],
            "First of the nUplinkPorts slots of 48 bytes, read and written as text with __getitem__ and __setitem__; "
            "view into the record, valid while it lives."),
        METHOD(__len__, UplinkPortIds::count, "Number of slots: nUplinkPorts, as a signed integer."),
        METHOD(__getitem__, UplinkPortIds::get,
            "Identifier of the uplink port in slot index, a text of at most 48 bytes. "
            "An index that is negative or not below nUplinkPorts prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, UplinkPortIds::set,
            "Copies at most 48 bytes of text into slot index; a text that fills the slot is left without a "
            "terminator, a shorter one is padded with zeros, None clears the slot. "
            "An index that is negative or not below nUplinkPorts prints \"Invalid array index.\" and gives None.",
            INDEX(index), IN(text, char const *))),

    RECORD(VSTeamPolicy,
        "NIC teaming policy of a switch or port: how traffic spreads over the uplinks, when an uplink counts as "
        "failed, and which uplinks take part (2616 bytes).",
        COUNTED_BY_BOTH(numActive, numStandby, 32),
        FIELD(0, loadBalance, qel_uint32, "How an uplink is chosen for a packet, one of TEAM_FRP_TYPE_*."),
        FIELD(4, linkCriteria, qel_uint32,
            "What makes an uplink count as failed, TEAM_FRP_CRIT_* flags; percentError, fullDuplex and speed are "
            "their parameters."),
        FIELD(8, percentError, qel_uint8,
            "Share of faulty packets in percent at which TEAM_FRP_CRIT_LINK_ERR counts the uplink as failed, 0 to "
            "100."),
        FIELD(9, fullDuplex, qel_uint8,
            "Duplex mode that TEAM_FRP_CRIT_LINK_DUPLEX asks for: non-zero for full duplex."),
        FIELD(10, speed, qel_uint16,
            "Link speed in Mbit/s that TEAM_FRP_CRIT_LINK_SPEED and TEAM_FRP_CRIT_LINK_SPEED_GTE compare with; 16 "
            "bits, at most 65535."),
        FIELD(12, flags, qel_uint32,
            "Options of the policy such as the failback order and notifying the physical switch, TEAM_FRP_FLAG_* "
            "flags."),
        FIELD(16, numActive, qel_uint32,
            "Number of uplinks that carry traffic while they are not failed; together with numStandby at most "
            "QEL_TEAM_MAX_UPLINKS (32)."),
        FIELD(20, numStandby, qel_uint32, "Number of uplinks that only carry traffic in place of failed active ones."),
        FIELD(24, uplinkPortName, char [32][81],
            "32 name slots of 81 bytes for the active and standby uplinks, written with __setitem__; view into the "
            "record, valid while it lives."),
        METHOD(__getitem__, TeamUplinkNames::get,
            "Name of the uplink in slot index, a text of at most 81 bytes. "
            "An index above 31 prints \"Invalid array index.\" and gives None; a negative one is not refused and "
            "reaches the bytes before the first slot.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, TeamUplinkNames::set,
            "Copies at most 81 bytes of text into slot index; a text that fills the slot is left without a "
            "terminator, a shorter one is padded with zeros, None clears the slot. "
            "An index above 31 prints \"Invalid array index.\" and gives None; a negative one is not refused and "
            "reaches the bytes before the first slot.",
            INDEX(index), IN(text, char const *))),

    RECORD(LSTeamPolicy,
        "Named teaming policy for logical switches: as VSTeamPolicy, without the parameters of the link criteria "
        "(2748 bytes).",
        COUNTED_BY_BOTH(numActive, numStandby, 32),
        FIELD(0, name, char [(32*4) +8], "Name by which ports select the policy, at most 135 bytes of text."),
        FIELD(136, loadBalance, qel_uint32, "How an uplink is chosen for a packet, one of TEAM_FRP_TYPE_*."),
        FIELD(140, linkCriteria, qel_uint32, "What makes an uplink count as failed, TEAM_FRP_CRIT_* flags."),
        FIELD(144, flags, qel_uint32,
            "Options of the policy such as the failback order and notifying the physical switch, TEAM_FRP_FLAG_* "
            "flags."),
        FIELD(148, numActive, qel_uint32,
            "Number of uplinks that carry traffic while they are not failed; together with numStandby at most "
            "QEL_TEAM_MAX_UPLINKS (32)."),
        FIELD(152, numStandby, qel_uint32, "Number of uplinks that only carry traffic in place of failed active ones."),
        FIELD(156, uplinkPortName, char [32][81],
            "32 name slots of 81 bytes for the active and standby uplinks, written with __setitem__; view into the "
            "record, valid while it lives."),
        METHOD(__getitem__, LogicalSwitchTeamUplinkNames::get,
            "Name of the uplink in slot index, a text of at most 81 bytes. "
            "An index above 31 prints \"Invalid array index.\" and gives None; a negative one is not refused and "
            "reaches the bytes before the first slot.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, LogicalSwitchTeamUplinkNames::set,
            "Copies at most 81 bytes of text into slot index; a text that fills the slot is left without a "
            "terminator, a shorter one is padded with zeros, None clears the slot. "
            "An index above 31 prints \"Invalid array index.\" and gives None; a negative one is not refused and "
            "reaches the bytes before the first slot.",
            INDEX(index), IN(text, char const *))),

    RECORD(LSTeamTable,
        "Counted list of LSTeamPolicy records (2748 bytes each); alloc_ls_team_table(n) allocates 2748 * n + 4 bytes "
        "and stores n in numLSTeam.",
        COUNTED_AS(LogicalSwitchTeams),
        FIELD(0, numLSTeam, qel_uint32,
            "Number of policies that follow; bounds the index of __getitem__ and __setitem__."),
        FIELD(4, lsTeamPolicy, LSTeamPolicy [0],
            "First of the numLSTeam policies, reached with __getitem__ and __setitem__; view into the record, valid "
            "while it lives."),
        METHOD(__getitem__, LogicalSwitchTeams::get,
            "View of policy index, valid while the table lives; changes through it change the table. "
            "An index that is negative or not below numLSTeam prints \"Invalid array index.\" and gives None.",
            INDEX(index), OR_NONE),
        METHOD(__setitem__, LogicalSwitchTeams::set,
            "Copies a whole LSTeamPolicy into policy index; None for the entry raises ValueError. "
            "An index that is negative or not below numLSTeam prints \"Invalid array index.\" and gives None.",
            INDEX(index), IN(entry, LSTeamPolicy const *))),

    RECORD(VSPMACLearning,
        "MAC learning policy of a port: whether it learns and floods, and what happens when it has learned enough; "
        "packed (10 bytes).",
        FIELD(0, learning, qel_Bool,
            "Whether source addresses of the port's packets are learned; reads as one character, NUL for false."),
        FIELD(1, flooding, qel_Bool,
            "Whether packets to addresses that nobody has learned are flooded to the port; reads as one character, "
            "NUL for false."),
        FIELD(2, macLimit, qel_uint32,
            "Largest number of addresses learned on the port, up to VSPORT_MAC_LEARNING_LIMIT_ENTRIES_MAX (4096), "
            "which is also the default."),
        FIELD(6, macLimitPolicy, VSPortMACLearningLimitPolicy,
            "What happens to packets from further addresses at the limit, VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW or "
            "VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP.")),

    RECORD(VSPMACManagement,
        "MAC management policy of a port: whether its client may change its address, and the learning policy; packed "
        "(11 bytes).",
        FIELD(0, macChangeAllowed, qel_Bool,
            "Whether the client of the port may use another hardware address than its own; reads as one character, "
            "NUL for false."),
        FIELD(1, portMACLearning, VSPMACLearning *,
            "Learning policy of the port, an embedded VSPMACLearning at offset 1; view into the record, valid while "
            "it lives.")),

    RECORD(VSUserMcastLegacyKeys,
        "Counted list of multicast hardware addresses set by the user: a one-byte count followed directly by the "
        "addresses.",
        COUNTED_BY(numEntries, get_mac_entry),
        FIELD(0, numEntries, qel_uint8,
            "Number of addresses that follow, at most VS_MULTICAST_USER_ENTRIES_MAX (25); get_mac_entry does not "
            "check it."),
        FIELD(1, multicastAddrs, unsigned char [0][6],
            "First of the numEntries addresses of six bytes each, read as text with get_mac_entry; view into the "
            "record, valid while it lives."),
        METHOD(get_mac_entry, LegacyMulticastMacs::get,
            "Multicast address index as lower-case MAC text. "
            "No index is refused: scripts keep it below numEntries.",
            INDEX(index))),

    RECORD(OrvPRPTunablesData,
        "Tunables of the parallel redundancy protocol (IEC 62439-3) in the enhanced datapath, the value of the "
        "property QBR_ORV_PRP_TUNABLE_PROP.",
        FIELD_MAC(0, supMcastAddr, qel_uint8 [6],
            "Multicast address that supervision frames are sent to, read as lower-case MAC text; the setter takes a "
            "pointer to six bytes."),
        FIELD(6, lifeCheckInterval, qel_uint16,
            "Time between two supervision frames of a node, in milliseconds, not 0; 2000 by default."),
        FIELD(8, nodeForgetTime, qel_uint16,
            "Time without supervision frames after which a node is forgotten, in milliseconds, not 0; 60000 by "
            "default."),
        FIELD(10, entryForgetTime, qel_uint16,
            "Time after which an entry for detecting duplicate frames is forgotten, in milliseconds, not 0; 400 by "
            "default."),
        FIELD(12, nodeRebootInterval, qel_uint16,
            "Time for which a node stays silent after a restart, in milliseconds; 500 by default.")));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
