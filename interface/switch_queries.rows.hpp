// Binding rows: calls that query and adjust the running switches (libvswitch.so).
// The types are part of the error messages, spelled exactly as they stand.
// clang-format off
#pragma once

#include "interface/switch_queries.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto switch_queries = calls(
    CALL(VSQEL_RTMOp,
        "Carries out one step of save and restore (RTM), by which switches keep their state over an upgrade.",
        IN(query, RTMIOCtlQuery *,
            "request of alloc_rtm_query with one RTM_Portset for each switch; read and answered in place"),
        IN(mode, RTMIOCtlMode, "the step, one of RTM_IOCCMD_*"),
        REMARKS(
            "The steps of a switch, in their order: REG_SAVE (or REG_SAVE_DUALLOAD and PREDUALLOAD), SAVE, "
            "BLOCKPORTS, PS_UPGRADE, PORT_UPGRADE, REG_RESTORE (or REG_RESTORE_DUALLOAD), RESTORE, "
            "RESTORE_COMPLETE; COMPLETE ends it at any time. "
            "maxAllowedOutage is in milliseconds, 0 for any.")),
    CALL(VSQEL_RTMModOp,
        "Carries out one step of save and restore (RTM) for modules of one switch.",
        IN(query, RTMModIOCtlQuery *,
            "request of alloc_rtm_mod_query with the port-set name in psName and one RTM_ModInfo for each module; "
            "read and answered in place"),
        IN(mode, RTMIOCtlMode,
            "the step, one of RTM_IOCCMD_*: REG_SAVE, SAVE, REG_RESTORE, RESTORE in this order; COMPLETE takes a "
            "module out at any time")),
    CALL(VSQEL_RTMPortOp,
        "Blocks a port while its switch is saved and restored (RTM), or lets it pass traffic again.",
        IN(world_id, qel_WorldID, "world (execution context on the host) that owns the port, a signed 32-bit number"),
        IN(port_id, qel_SwitchPortID, "numeric identifier of the port, unsigned"),
        IN(block, qel_Bool, "0 to unblock, any other byte to block (the text 0 is byte 48 and so blocks)")),
    CALL(VSQEL_GetRuntimeOptions,
        "Reads runtime options of the switches (IGMP and MLD snooping, reverse ARP, reverse-path check, teaming).",
        IN(types, qel_uint16 const *, "pointer to count option types of 16 bits each, VS_RT_OPT_*"),
        LENGTH_OF(types, IN(count, qel_uint16, "at most 65535, else OverflowError")),
        OUT(options, VSRuntimeOptions **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, options]: a VSRuntimeOptions buffer with one entry for each option, walked with "
            "get_first_option and get_next_option, not owned by its proxy: release it with VSQEL_FreeMemory. "
            "Intervals and durations are in seconds, TeamPolicyUpDelay in milliseconds; switches are 0 or 1, "
            "addresses texts.")),
    CALL(VSQEL_SetRuntimeOptions,
        "Sets the runtime options that a buffer holds.",
        IN(options, VSRuntimeOptions *,
            "VSRuntimeOptions filled with add_int_option and add_str_option and closed with set_options_length, "
            "read up to totalLength (at most 4096 bytes, VS_CHARDEV_MAX_RUNTIME_OPTIONS_LENGTH); it stays the "
            "caller's"),
        REMARKS(
            "Intervals and durations are in seconds, TeamPolicyUpDelay in milliseconds; switches are 0 or 1, "
            "addresses texts. "
            "All are set or none; options that are not in the buffer stay as they were. "
            "They hold for all switches until the next boot.")),
    CALL(VSQEL_GetGlobalMACLearningProps,
        "Reads the MAC learning properties that hold for all switches: aging time in seconds, address limit, and how "
        "static addresses are treated.",
        IN(props, VSMACLearningGlobalProps *,
            "VSMACLearningGlobalProps of the caller (new_VSMACLearningGlobalProps), filled in place; where nothing "
            "was set: 600 seconds, 65536 addresses, 0 and 1")),
    CALL(VSQEL_SetGlobalMACLearningProps,
        "Sets the MAC learning properties that hold for all switches.",
        IN(props, VSMACLearningGlobalProps *,
            "the four settings together (agingTime in seconds, at most VS_MAC_LEARNING_AGING_TIME_MAX; macLimit; "
            "learnStatic; staticMACAllow), so read them with VSQEL_GetGlobalMACLearningProps first to change only "
            "one; kept over a boot")),
    CALL(VSQEL_FreeMemory,
        "Releases a record or list that a call returned.",
        IN(memory, void *, "any proxy, whatever its type, or None, which is ignored"),
        TAKES_BACK,
        REMARKS(
            "Gives None. "
            "The proxy still holds the released address: neither it nor views into the record must be used or "
            "released again. "
            "Not for records that their proxy owns, nor for those of alloc_*.")),
    CALL(VSQEL_GetSwitches,
        "Lists the switches of the host in the order of their creation; most scripts use VSQEL_GetSwitchesPy, which "
        "returns the list.",
        IN(list_type, VSListType,
            "VS_LIST_PS for port-set names in slots of 128 bytes, VS_LIST_DVS_ALIAS for aliases in slots of 81 "
            "bytes"),
        GIVEN_BACK_BY(VSQEL_FreeMemory, IN(list, VSList **,
            "storage for a VSList pointer that the caller provides; the list stored there is released with "
            "VSQEL_FreeMemory")),
        REMARKS(
            "Gives the bare status. "
            "QEL_BAD_PARAM: another list_type, or no storage.")),
    CALL(VSQEL_GetSwitchInfo,
        "Describes a switch.",
        IN(switch_name, char const *), OUT(info, VSInfo **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, info]: a VSInfo with the MTU in effect, the valid VLAN IDs (1 to 4094), the numbers of "
            "active ports and of ports at most, the alias in dvsName, the switch identifier in hnqID and the "
            "flags; not owned by its proxy: release it with VSQEL_FreeMemory. "
            "None unless the status is QEL_OK. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSQEL_GetVSInfo,
        "Describes a switch in a record of the caller, as VSQEL_GetSwitchInfo does in a new one.",
        IN(switch_name, char const *),
        IN(info, VSInfo *,
            "VSInfo made with alloc_vs_info or new_VSInfo, filled in place; a failing call leaves it as it was"),
        REMARKS("QEL_NOT_FOUND: no such switch.")),
    CALL(VSQEL_RefreshDevNUMAInfo,
        "Makes a switch look up again on which NUMA node (processor and memory group) each of its uplink devices "
        "sits, for teaming that prefers near uplinks (runtime option VS_RT_OPT_TEAMING_NUMA_AWARE).",
        IN(switch_name, char const *)),
    CALL(VSQEL_DVSAliasToSwitchId,
        "Looks up the identifier of a switch by its alias, but gives only the status: the library writes into a "
        "temporary copy of switch_id, which is not returned.",
        IN(alias, char const *),
        IN(switch_id, char *, "a text whose length says how much room there is"),
        REMARKS(
            "QEL_BUF_TOO_SMALL: the identifier is longer than that text. "
            "QEL_NOT_FOUND: no switch with this alias. "
            "VSQEL_GetSwitchInfo returns the identifier in hnqID.")),
    CALL(VSQEL_GetUplinks,
        "Lists the physical NICs behind the uplink ports of a switch, in the order of the uplink ports.",
        IN(switch_name, char const *), OUT(uplinks, VSUplinks **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, uplinks]: a VSUplinks with the name of each NIC and the numeric identifier of its "
            "port; uplink ports without a NIC are left out; not owned by its proxy: release it with "
            "VSQEL_FreeMemory. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSQEL_GetUplinkLinkState,
        "Reads the link state of an uplink.",
        IN(switch_name, char const *),
        IN(uplink, char const *, "name of an uplink port of the switch or, failing that, of the NIC behind one"),
        OUT(state, qel_LinkState *),
        REMARKS(
            "Gives [status, state]: QEL_LINK_STATE_UP when there is a NIC whose carrier is up and that is "
            "administratively up, else QEL_LINK_STATE_DOWN. "
            "QEL_NOT_FOUND: no such switch or uplink.")),
    CALL(VSQEL_GetUplinkLACPLinkState,
        "Reads the state that LACP (IEEE 802.1AX) negotiated for an uplink inside its link aggregation group, which "
        "can be down while the link itself is up.",
        IN(switch_name, char const *),
        IN(uplink, char const *, "name of the uplink"),
        OUT(state, qel_LinkState *),
        REMARKS(
            "Gives [status, state]: QEL_LINK_STATE_UP where the link is up and LACP negotiated it, else "
            "QEL_LINK_STATE_DOWN.")),
    CALL(VSQEL_SetUplinkAdminLinkState,
        "Sets the NIC behind an uplink administratively up or down; the host sets all NICs up again when it boots.",
        IN(switch_name, char const *),
        IN(uplink, char const *, "name of an uplink port of the switch or, failing that, of the NIC behind one"),
        IN(state, qel_LinkState, "QEL_LINK_STATE_UP or QEL_LINK_STATE_DOWN"),
        REMARKS(
            "QEL_NOT_FOUND: no such switch or uplink. "
            "QEL_BAD_PARAM: another state. "
            "QEL_NO_SUCH_DEVICE: the uplink port has no NIC.")),
    CALL(VSQEL_GetUplinkDVPortID,
        "Finds the distributed port that an uplink occupies.",
        IN(uplink, char const *, "name of the uplink, without its switch"),
        OUT_TEXT(dvport_id, 48),
        REMARKS(
            "Gives [status, dvport_id]: the identifier of the port, at most 48 bytes of text; of several uplinks "
            "of that name, that of the oldest switch.")),
    CALL(VSQEL_GetLAGTable,
        "Reads the link aggregation groups (LAGs, IEEE 802.1AX: several uplinks used as one) of a switch.",
        IN(switch_name, char const *), OUT(table, VSLAGTable **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, table]: a VSLAGTable of numLAGs VSLAGStatus records of different lengths, walked with "
            "vs_lag_table_first_lag and vs_lag_table_next_lag, not owned by its proxy: release it with "
            "VSQEL_FreeMemory. "
            "They come in the order of their numbers.")),
    CALL(VSQEL_PortGetTeamUplinkHint,
        "Tells which uplink teaming would choose at present for traffic of a port.",
        IN(port_id, qel_SwitchPortID, "numeric identifier of the port, unsigned"),
        IN(uplink, qel_Name *,
            "qel_Name of the caller (new_qel_Name), filled with the name of the uplink that teaming chooses at "
            "present: of its NIC, or of the uplink port where it has none")),
    CALL(VSQEL_GetLSTeamingPolicyTable,
        "Reads the named teaming policies for logical switches that are in force on a running switch; "
        "VSDVS_GetLSTeamingPolicyTable reads the configured ones.",
        IN(switch_name, char *), OUT(table, LSTeamTable **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, table]: an LSTeamTable with numLSTeam policies, not owned by its proxy: release it "
            "with VSQEL_FreeMemory. "
            "Uplink ports that the switch does not have are left out. "
            "switch_name is only read. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSQEL_GetPortLSTeamingPolicyName,
        "Tells which named teaming policy for logical switches is in force on a port.",
        IN(port_id, qel_SwitchPortID,
            "numeric identifier of the port (0 to 4294967295, else OverflowError), not its identifier text"),
        OUT_TEXT(policy_name, 136),
        REMARKS(
            "Gives [status, policy_name]: LSTeamPolicy.name of the policy, at most 136 bytes; empty unless the "
            "port chose a policy that the switch has. "
            "QEL_NOT_FOUND: no such port.")),
    CALL(VSQEL_GetServicePortTeamingStats,
        "Reads the counters of the teaming decisions for the service port of a switch: packets sent from it and by "
        "whose policy, errors, packets received for it.",
        IN(switch_name, char const *),
        IN(stats, VSServicePortTeamingStats *,
            "VSServicePortTeamingStats of the caller (new_VSServicePortTeamingStats), filled in place")),
    CALL(VSQEL_GetSwitchMACLearningInfo,
        "Reads the MAC learning state of a whole switch: aging time and limit in force, numbers of learning ports "
        "and learned addresses, policy and counters of the uplink team.",
        IN(switch_name, char const *),
        IN(info, VSMACLearningSwitchInfo *,
            "VSMACLearningSwitchInfo of the caller (new_VSMACLearningSwitchInfo), filled in place with the "
            "settings in force and what is counted")),
    CALL(VSQEL_GetMACLearningAllPorts,
        "Reads the MAC learning policy in force on each port of a switch.",
        IN(switch_name, char const *), OUT(entries, VSMACLearningEntries **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, entries]: a VSMACLearningEntries whose numEntries entries pair a numeric port "
            "identifier with a VSPMACLearning, not owned by its proxy: release it with VSQEL_FreeMemory. "
            "It lists the ports that are no uplinks, by their numbers.")),
    CALL(VSQEL_GetSwitchMACLearningStats,
        "Reads the MAC learning counters of a switch port by port.",
        IN(switch_name, char const *), OUT(stats, VSMACLearningStats **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, stats]: a VSMACLearningStats whose numEntries entries pair a numeric port identifier "
            "with a VSPMACLearningStats, not owned by its proxy: release it with VSQEL_FreeMemory. "
            "It lists the ports that are no uplinks, by their numbers.")),
    CALL(VSQEL_GetPortMACLearningStats,
        "Reads the MAC learning counters of one port: addresses learned at present, packets let through or dropped "
        "unlearned, moves.",
        IN(switch_name, char const *),
        IN(dvport_id, char const *, "identifier of the port"),
        IN(stats, VSPMACLearningStats *,
            "VSPMACLearningStats of the caller (new_VSPMACLearningStats), filled in place; the port may be an "
            "uplink")),
    CALL(VSQEL_GetMACTable,
        "Reads the MAC address table of a switch: behind which port each address lies, in which VLAN and overlay "
        "network.",
        IN(switch_name, char const *),
        IN(address_type, VSMACAddrType,
            "kind of address, one of VS_MAC_ADDR_TYPE_*; one byte reaches the library, so that 256 means 0 "
            "(VS_MAC_ADDR_TYPE_STATIC)"),
        OUT(table, VSMACTable **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, table]: a VSMACTable with numEntries VSMACEntry records, not owned by its proxy: "
            "release it with VSQEL_FreeMemory. "
            "It holds the addresses behind the ports, by type, address, VLAN and overlay network.")),
    CALL(VSQEL_GetTeamMACTable,
        "Reads the MAC addresses that a switch knows behind its uplink team, that is, in the physical network.",
        IN(switch_name, char const *),
        IN(address_type, VSMACAddrType,
            "kind of address, one of VS_MAC_ADDR_TYPE_*; one byte reaches the library, so that 256 means 0 "
            "(VS_MAC_ADDR_TYPE_STATIC)"),
        OUT(table, VSMACTable **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, table]: a VSMACTable with numEntries VSMACEntry records, not owned by its proxy: "
            "release it with VSQEL_FreeMemory. "
            "It holds the addresses behind the uplinks, by type, address, VLAN and overlay network.")),
    CALL(VSQEL_GetPortMACTable,
        "Reads the MAC addresses that a switch knows behind one port.",
        IN(switch_name, char const *),
        IN(dvport_id, char const *, "identifier of the port"),
        IN(address_type, VSMACAddrType,
            "kind of address, one of VS_MAC_ADDR_TYPE_*; one byte reaches the library, so that 256 means 0 "
            "(VS_MAC_ADDR_TYPE_STATIC)"),
        OUT(table, VSMACTable **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, table]: a VSMACTable with numEntries VSMACEntry records, not owned by its proxy: "
            "release it with VSQEL_FreeMemory. "
            "It holds the addresses at the port, by type, address, VLAN and overlay network.")),
    CALL(VSQEL_SetPortMACTable,
        "Adds an address to the MAC table of a port by hand, so that it need not be learned (VS_MAC_ADDR_TYPE_USER).",
        IN(switch_name, char const *),
        IN(dvport_id, char const *, "identifier of the port"),
        IN(entry, VSMACEntry const *,
            "VSMACEntry with the address, VLAN ID and overlay network (new_VSMACEntry, set_mac_address); only read"),
        REMARKS(
            "Address, VLAN and overlay network count; the type is VS_MAC_ADDR_TYPE_USER or 0. "
            "The entry stays until the next boot.")),
    CALL(VSQEL_ClearPortMACTable,
        "Removes an address from the MAC table of a port, as VSQEL_SetPortMACTable adds one.",
        IN(switch_name, char const *),
        IN(dvport_id, char const *, "identifier of the port"),
        IN(entry, VSMACEntry const *,
            "VSMACEntry that names the address, VLAN ID and overlay network to remove; only read"),
        REMARKS(
            "Removed is the entry with its address, VLAN and overlay network: one set by hand (type "
            "VS_MAC_ADDR_TYPE_USER or 0), a learned one, or both (VS_MAC_ADDR_TYPE_ALL). "
            "None is QEL_BAD_PARAM.")),
    CALL(VSQEL_GetStaticLectx,
        "Reads the static entries of the logical switch forwarding table: addresses bound to a port, an overlay "
        "network and a set of VLANs without being learned.",
        IN(switch_name, char const *), OUT(entries, VSStaticLeCtxEntries **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, entries]: a VSStaticLeCtxEntries with numEntries VSStaticLEEntry records, not owned by "
            "its proxy: release it with VSQEL_FreeMemory. "
            "There is one entry for all VLANs of an address: those of clients and those set by hand, behind ports "
            "and uplinks.")),
    CALL(VSQEL_GetPortStaticLectx,
        "Reads the static entries of the logical switch forwarding table that belong to one port.",
        IN(switch_name, char const *),
        IN(dvport_id, char const *, "identifier of the port"),
        OUT(entries, VSStaticLeCtxEntries **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, entries]: a VSStaticLeCtxEntries with numEntries VSStaticLEEntry records, not owned by "
            "its proxy: release it with VSQEL_FreeMemory. "
            "There is one entry for all VLANs of an address: those of the client and those set by hand.")),
    CALL(VSQEL_GetL2Security,
        "Reads the layer-2 security policy in force on each port of a switch: what is refused of promiscuous mode, "
        "changed and forged source addresses.",
        IN(switch_name, char const *), OUT(security, VSL2Security **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, security]: a VSL2Security whose numEntries entries pair a numeric port identifier with "
            "VSPORT_SECURITY_* flags, not owned by its proxy: release it with VSQEL_FreeMemory. "
            "It lists the ports with a client that is no uplink. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSQEL_GetRARPStats,
        "Reads the counters of the reverse ARP packets (RFC 903) by which a switch tells the physical network behind "
        "which uplink its addresses now lie.",
        IN(switch_name, char const *),
        IN(stats, VSRARPStats *,
            "VSRARPStats of the caller (new_VSRARPStats), filled in place; times in milliseconds")),
    CALL(VSQEL_GetMcastFilterMode,
        "Reads how a running switch filters multicast traffic.",
        IN(switch_name, char const *), OUT(mode, VSMcastFilterMode *),
        REMARKS(
            "Gives [status, mode]: the mode in effect, VS_MCAST_FILTER_MODE_LEGACY (by hardware address) or "
            "VS_MCAST_FILTER_MODE_SNOOPING (by IGMP and MLD group membership), or another value set with "
            "VSDVS_SetMcastFilterMode. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSQEL_GetMcastFilters,
        "Lists the multicast addresses that a port receives.",
        IN(switch_name, char const *),
        IN(port_id, qel_SwitchPortID, "number of the port"),
        IN(mode, VSMcastFilterMode,
            "VS_MCAST_FILTER_MODE_LEGACY (hardware addresses), VS_MCAST_FILTER_MODE_IGMP (IPv4 groups) or "
            "VS_MCAST_FILTER_MODE_MLD (IPv6 groups)"),
        OUT(filters, VSMcastFilters **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, filters]: a VSMcastFilters, read with get_mac_entry, get_ip_entry or get_ipv6_entry to "
            "match, not owned by its proxy: release it with VSQEL_FreeMemory. "
            "Empty unless the switch filters by this kind (VSDVS_SetMcastFilterMode). "
            "QEL_NOT_FOUND: no such switch, or no such port on it. "
            "QEL_BAD_PARAM: another mode.")),
    CALL(VSQEL_GetMcastFilterStats,
        "Reads the state of one multicast group on a port.",
        IN(switch_name, char const *),
        IN(port_id, qel_SwitchPortID, "number of the port"),
        IN(mode, VSMcastFilterMode, "VS_MCAST_FILTER_MODE_IGMP or VS_MCAST_FILTER_MODE_MLD"),
        RAW(group,
            "the binary address in bytes (4 or 16), of which a short one is read past its end; _libvswitch passes "
            "any other object on as null and raises SystemError after the call"),
        OUT(stats, VSMcastFilterStats **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, stats]: a VSMcastFilterStats, not owned by its proxy: release it with "
            "VSQEL_FreeMemory. "
            "QEL_NOT_FOUND: no such switch or port, the group is not joined, or the switch does not filter by this "
            "kind. "
            "QEL_BAD_PARAM: another mode.")),
    CALL(VSQEL_GetDVMirrorSessionIDs,
        "Lists the mirror sessions that run on a switch.",
        IN(switch_name, char const *), OUT(session_ids, VSDVMirrorSessionIDs **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, session_ids]: a VSDVMirrorSessionIDs with numEntries identifiers, not owned by its "
            "proxy: release it with VSQEL_FreeMemory. "
            "Sessions run unless VS_DVMIRROR_FLAG_DISABLED is set; legacy_promiscuous runs while there is a "
            "promiscuous port. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSQEL_GetDVMirrorSessionStats,
        "Reads the packet counters and the display name of one mirror session.",
        IN(switch_name, char const *),
        IN(session_id, char const [32],
            "identifier of the session (DVMirrorSession.sid), at most 31 bytes, else TypeError; None is the empty "
            "text"),
        IN(stats, VSDVMirrorSessionStats *,
            "VSDVMirrorSessionStats of the caller (new_VSDVMirrorSessionStats), filled in place"),
        REMARKS("QEL_NOT_FOUND: no such switch or session.")),
    CALL(VSQEL_GetPromiscSessionActiveDsts,
        "Lists the ports that receive all traffic of a switch at present because their client is in promiscuous "
        "mode; internally they are the destinations of a mirror session.",
        IN(switch_name, char const *), OUT(destinations, VSPromiscSessionActiveDsts **), HANDS_OUT(VSQEL_FreeMemory),
        REMARKS(
            "Gives [status, destinations]: a VSPromiscSessionActiveDsts with numEntries numeric port identifiers, "
            "not owned by its proxy: release it with VSQEL_FreeMemory. "
            "Its security policy must allow it (VSPORT_SECURITY_DISALLOW_PROMISC). "
            "QEL_NOT_FOUND: no such switch.")));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
