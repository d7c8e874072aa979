// Binding rows: calls that configure distributed switches and their ports (libvswitch.so).
// The types are part of the error messages, spelled exactly as they stand.
// Long because it is data: as many rows as there are such calls.
// clang-format off
#pragma once

#include "interface/distributed_switch_configuration.h"
#include "runtime/row_macros.hpp"

namespace vswitchpy {

inline constexpr auto distributed_switch_configuration = calls(
    CALL(VSDVS_CreateVSwitch,
        "Creates a distributed switch. "
        "alias (1 to 80 bytes), switch_id (1 to 63): unique.",
        IN(alias, char const *), IN(switch_id, char const *),
        IN(class_name, char const *, "cswitch, None or empty"),
        IN(max_ports, qel_uint32, "1 to 8192, 0 for 128"),
        IN(persistent, qel_Bool, "0 for a switch that is gone at the next boot"),
        IN(mtu, qel_uint32, "1280 to 9000, 0 for 1500"),
        IN(version, qel_uint32, "DVS_VERSION_* or a VS_QBR* version, 0 for DVS_VERSION_70"),
        IN(flags, qel_uint32, "reported in VSInfo.flags"),
        REMARKS(
            "QEL_EXISTS: alias or switch_id in use. "
            "QEL_MODULE_NOT_FOUND: class. "
            "QEL_NOT_SUPPORTED: version. "
            "QEL_BAD_PARAM: mtu. "
            "QEL_LIMIT_EXCEEDED: max_ports, or 128 switches exist.")),
    CALL(VSDVS_DestroyVSwitch,
        "Removes a switch with its ports, uplink ports and properties; the physical NICs behind its uplink ports "
        "become free.",
        IN(alias, char const *),
        REMARKS(
            "QEL_BUSY: a port has a client that is not an uplink (a virtual NIC or the TCP/IP stack). "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetMTU,
        "Sets the largest payload of a frame (MTU) that a switch passes, as its persistent property VSPROP_MTU.",
        IN(alias, char const *),
        IN(mtu, qel_uint32, "1280 to 9000 bytes"),
        REMARKS(
            "QEL_BAD_PARAM: out of that range. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetMTU,
        "Reads the MTU in effect on a switch, in bytes.",
        IN(alias, char const *),
        IN(mtu, qel_uint32 *,
            "pointer to a qel_uint32 that the caller provides and the library fills; unlike other integers read, "
            "the value is not returned but only the bare status"),
        REMARKS(
            "VSQEL_GetSwitchInfo returns the same in VSInfo.mtu. "
            "QEL_NOT_FOUND: no such switch; mtu then holds 0.")),
    CALL(VSDVS_AddDVPort,
        "Adds a distributed port without a client to a switch.",
        IN(alias, char const *),
        IN(dvport_id, char const *, "identifier of the port, 1 to 47 bytes, unique on the switch"),
        IN(connect_id, qel_uint32,
            "number that tells one connection of the port from the next, kept as the property "
            "QEL_HNQPROP_PORT_CONNECTID"),
        REMARKS(
            "QEL_EXISTS: the switch has such a port. "
            "QEL_LIMIT_EXCEEDED: it has all the ports it may have.")),
    CALL(VSDVS_AddOpaqueDVPort,
        "Adds a distributed port that another party manages and knows by an identifier of its own; "
        "DVSQEL_PortGetByExternalId finds it by that.",
        IN(alias, char const *),
        IN(dvport_id, char const *, "identifier of the port on the switch, at most 47 bytes"),
        IN(external_id, char const *, "identifier at the other party, at most 127 bytes, unique on the switch")),
    CALL(VSDVS_RemoveDVPort,
        "Removes a distributed port and its properties.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "QEL_BUSY: the port has a client (a virtual NIC, the TCP/IP stack or an uplink). "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_DvPortIDToPortID,
        "Translates the identifier text of a distributed port into its number, by which calls such as "
        "VSQEL_GetMcastFilters name it.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT(port_id, qel_SwitchPortID *),
        REMARKS(
            "Gives [status, port_id]: the number is read as signed, so that identifiers from 2147483648 on come "
            "back negative; & 0xFFFFFFFF gives what other calls take. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_DvPortIDToPortIDFromDVSID,
        "Translates the identifier text of a distributed port into its number, as VSDVS_DvPortIDToPortID, on a "
        "switch named by its identifier.",
        IN(switch_id, char const *, "identifier of the switch (at most 63 bytes), not its alias"),
        IN(dvport_id, char const *, "identifier of the port"),
        OUT(port_id, qel_SwitchPortID *),
        REMARKS(
            "Gives [status, port_id]: the number is read as signed, so that identifiers from 2147483648 on come "
            "back negative; & 0xFFFFFFFF gives what other calls take.")),
    CALL(VSDVS_GetAliasFromPortset,
        "Looks up the alias of a switch by its port-set name, the name that the host gave it (portset-1 and so on).",
        IN(portset, char const *, "port-set name, at most 127 bytes"),
        OUT_TEXT(alias, 128),
        REMARKS(
            "Gives [status, alias]: the alias, empty unless the status is QEL_OK. "
            "QEL_NOT_FOUND: no such port set.")),
    CALL(VSDVS_ClearSwitchUplinkPorts,
        "Removes all uplink ports of a switch and releases the NICs behind them; a port that was made for an uplink "
        "goes with it.",
        IN(alias, char const *),
        REMARKS(
            "A switch without uplink ports is no error. "
            "QEL_BUSY: a teaming policy of the switch or of a port names an uplink port (VSDVS_ClearTeamingPolicy "
            "first).")),
    CALL(VSDVS_AddSwitchUplinkPort,
        "Adds an uplink port behind those that a switch has, on a new distributed port with a generated identifier.",
        IN(alias, char const *),
        IN(uplink, char const *,
            "name of the uplink port, 1 to 80 bytes; the physical NIC of the same name, if there is one, is bound "
            "to it"),
        REMARKS(
            "QEL_EXISTS: the switch has such an uplink port. "
            "QEL_LIMIT_EXCEEDED: it has 32, or all the ports it may have. "
            "QEL_BUSY: the NIC backs another uplink port.")),
    CALL(VSDVS_RemoveSwitchUplinkPort,
        "Removes one uplink port of a switch and releases the NIC behind it; a port that was made for the uplink "
        "goes with it.",
        IN(alias, char const *),
        IN(uplink, char const *, "name of the uplink port"),
        REMARKS(
            "QEL_NOT_FOUND: no such switch or uplink port. "
            "QEL_BUSY: a teaming policy of the switch or of a port names it.")),
    CALL(VSDVS_SetSwitchUplinkPorts,
        "Replaces all uplink ports of a switch.",
        IN(alias, char const *),
        IN(names, VSUplinkPorts const *, "a VSUplinkPorts"),
        IN(dvport_ids, VSUplinkPortIds const *,
            "a VSUplinkPortIds of the same count; None, or an empty text in it, for a generated identifier, that "
            "of a free port to use that port, any other to make one"),
        REMARKS(
            "Both are only read. "
            "QEL_LIMIT_EXCEEDED: more than 32, or than there may be ports. "
            "QEL_BAD_PARAM: different counts. "
            "QEL_EXISTS: a name or identifier twice. "
            "QEL_BUSY: a port or NIC is in use elsewhere, or a teaming policy names an uplink port that would go.")),
    CALL(VSDVS_GetSwitchUplinkPorts,
        "Lists the uplink ports of a switch in their order.",
        IN(alias, char const *), OUT(names, VSUplinkPorts **), OUT(dvport_ids, VSUplinkPortIds **),
        HANDS_OUT(VSDVS_FreeMemory),
        REMARKS(
            "Gives [status, names, dvport_ids]: a VSUplinkPorts with the names and a VSUplinkPortIds with the "
            "identifiers of their distributed ports; neither is owned by its proxy: release both with "
            "VSDVS_FreeMemory. "
            "QEL_NOT_FOUND: no such switch; both are then None.")),
    CALL(VSDVS_ConfigureSinkPort,
        "Makes a port a sink port, which receives packets to addresses that the switch does not know, or an ordinary "
        "one again.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(enable, qel_Bool, "0 for off, any other byte for on; the text 0 is byte 48 and means on"),
        REMARKS(
            "It is the flag QEL_ETH_FILTER_SINK of the extra Ethernet filter, so that VSDVS_ClearExtraEthFilter "
            "ends it. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_IsSinkPortEnabled,
        "Tells whether a port is a sink port, which receives packets to addresses that the switch does not know.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT(enabled, qel_Bool *),
        REMARKS(
            "Gives [status, enabled]: 1 for on, 0 for off. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetRCFType,
        "Sets the instruction type of the RCF programs of a switch, kept as the property VSPROP_RCF_INSN_TYPE.",
        IN(alias, char const *),
        IN(instruction_type, qbr_RCFInsnType,
            "QBR_RCF_INSN_TYPE_CBPF (classic BPF, the default) or QBR_RCF_INSN_TYPE_EBPF (extended BPF)"),
        REMARKS(
            "QEL_BAD_PARAM: another type. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetRCFType,
        "Reads the instruction type of the RCF programs of a switch.",
        IN(alias, char const *), OUT(instruction_type, qbr_RCFInsnType *),
        REMARKS(
            "Gives [status, instruction_type]: QBR_RCF_INSN_TYPE_CBPF (classic BPF) or QBR_RCF_INSN_TYPE_EBPF "
            "(extended BPF). "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetGlobProp,
        "Reads a property that a switch has on all its hosts.",
        IN(alias, char const *),
        IN(name, char const *, "key, such as VSPROP_MTU"),
        IN(query, HNQQuery *,
            "room of alloc_hnq_query; the value is copied there and propLen set to its length in bytes"),
        IN(vendor, char const *, "owner that the property must have, None or empty for any"),
        IN(persistent, qel_Bool, "0 for the value in effect, any other byte for the persistent one"),
        REMARKS(
            "QEL_NOT_FOUND: no such switch or property, or another owner. "
            "QEL_BUF_TOO_SMALL: too little room, the query stays as it was.")),
    CALL(VSDVS_FreeMemory,
        "Releases a record or list that a call returned, exactly as VSQEL_FreeMemory.",
        IN(memory, void *, "any proxy, whatever its type, or None, which is ignored"),
        TAKES_BACK,
        REMARKS(
            "Gives None. "
            "The proxy still holds the released address: neither it nor views into the record must be used or "
            "released again. "
            "Not for records that their proxy owns, nor for those of alloc_*.")),
    CALL(VSDVS_SetGlobProp,
        "Writes a property that a switch has on all its hosts.",
        IN(alias, char const *),
        IN(name, char const *, "key, 1 to 255 bytes"),
        RAW_OR_TEXT(data,
            "bytes, or str as UTF-8; _libvswitch passes any other object on as null and raises SystemError after "
            "the call"),
        LENGTH_OF(data, IN(length, int, "bytes to store, at most as many as data has: _libvswitch reads past it")),
        IN(vendor, char const *, "owner, or None or empty to leave it"),
        IN(persistent, qel_Bool, "0 for the volatile value, else the persistent one"),
        REMARKS(
            "QEL_BAD_PARAM: value refused. "
            "QEL_NO_PERMISSION: other owner. "
            "QEL_READ_ONLY: read only.")),
    CALL(VSDVS_ClearGlobProp,
        "Removes the value of a property that a switch has on all its hosts, so that its default holds or it is gone.",
        IN(alias, char const *),
        IN(name, char const *, "key"),
        IN(vendor, char const *, "owner that the property must have, None or empty for any"),
        IN(persistent, qel_Bool,
            "0 to remove the volatile value only, any other byte to remove the persistent one too"),
        REMARKS(
            "QEL_NOT_FOUND: nothing to clear (no error for a property with a default). "
            "QEL_NO_PERMISSION: another owner. "
            "QEL_READ_ONLY: the property is read only.")),
    CALL(VSDVS_GetHostProp,
        "Reads a property that a switch has on this host.",
        IN(alias, char const *),
        IN(name, char const *, "key, such as QEL_HNQPROP_HOST_UPLINKPORTS"),
        IN(query, HNQQuery *,
            "room of alloc_hnq_query; the value is copied there and propLen set to its length in bytes"),
        IN(vendor, char const *, "owner that the property must have, None or empty for any"),
        IN(persistent, qel_Bool, "0 for the value in effect, any other byte for the persistent one"),
        REMARKS(
            "QEL_NOT_FOUND: no such switch or property, or another owner. "
            "QEL_BUF_TOO_SMALL: too little room, the query stays as it was.")),
    CALL(VSDVS_SetHostProp,
        "Writes a property that a switch has on this host.",
        IN(alias, char const *),
        IN(name, char const *, "key, 1 to 255 bytes"),
        RAW_OR_TEXT(data,
            "bytes, or str as UTF-8; _libvswitch passes any other object on as null and raises SystemError after "
            "the call"),
        LENGTH_OF(data, IN(length, int, "bytes to store, at most as many as data has: _libvswitch reads past it")),
        IN(vendor, char const *, "owner, or None or empty to leave it"),
        IN(persistent, qel_Bool, "0 for the volatile value, else the persistent one"),
        REMARKS(
            "QEL_BAD_PARAM: value refused. "
            "QEL_NO_PERMISSION: other owner. "
            "QEL_READ_ONLY: read only.")),
    CALL(VSDVS_SetRuntimeHostProp,
        "Writes a property that a switch has on this host, of the type RUNTIME_PROP_TYPE.",
        IN(alias, char const *),
        IN(name, char const *, "key, 1 to 255 bytes"),
        RAW_OR_TEXT(data,
            "bytes, or str as UTF-8; _libvswitch passes any other object on as null and raises SystemError after "
            "the call"),
        LENGTH_OF(data, IN(length, int, "bytes to store, at most as many as data has: _libvswitch reads past it")),
        IN(vendor, char const *, "owner, or None or empty to leave it"),
        IN(persistent, qel_Bool, "0 for the volatile value, else the persistent one"),
        REMARKS(
            "QEL_BAD_PARAM: value refused. "
            "QEL_NO_PERMISSION: other owner. "
            "QEL_READ_ONLY: read only.")),
    CALL(VSDVS_ClearHostProp,
        "Removes the value of a property that a switch has on this host, so that its default holds or it is gone.",
        IN(alias, char const *),
        IN(name, char const *, "key"),
        IN(vendor, char const *, "owner that the property must have, None or empty for any"),
        IN(persistent, qel_Bool,
            "0 to remove the volatile value only, any other byte to remove the persistent one too"),
        REMARKS(
            "QEL_NOT_FOUND: nothing to clear (no error for a property with a default). "
            "QEL_NO_PERMISSION: another owner. "
            "QEL_READ_ONLY: the property is read only.")),
    CALL(VSDVS_GetPortProp,
        "Reads a property that a port has.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(name, char const *, "key, such as QEL_HNQPROP_PORT_CONNECTID"),
        IN(query, HNQQuery *,
            "room of alloc_hnq_query; the value is copied there and propLen set to its length in bytes"),
        IN(vendor, char const *, "owner that the property must have, None or empty for any"),
        IN(persistent, qel_Bool, "0 for the value in effect, any other byte for the persistent one"),
        REMARKS(
            "QEL_NOT_FOUND: no such switch, port or property, or another owner. "
            "QEL_BUF_TOO_SMALL: too little room, the query stays as it was.")),
    CALL(VSDVS_SetPortProp,
        "Writes a property that a port has.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(name, char const *, "key, 1 to 255 bytes"),
        RAW_OR_TEXT(data,
            "bytes, or str as UTF-8; _libvswitch passes any other object on as null and raises SystemError after "
            "the call"),
        LENGTH_OF(data, IN(length, int, "bytes to store, at most as many as data has: _libvswitch reads past it")),
        IN(vendor, char const *, "owner, or None or empty to leave it"),
        IN(persistent, qel_Bool, "0 for the volatile value, else the persistent one"),
        REMARKS(
            "QEL_BAD_PARAM: value refused. "
            "QEL_NO_PERMISSION: other owner. "
            "QEL_READ_ONLY: read only.")),
    CALL(VSDVS_ClearPortProp,
        "Removes the value of a property that a port has, so that its default holds or it is gone.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(name, char const *, "key"),
        IN(vendor, char const *, "owner that the property must have, None or empty for any"),
        IN(persistent, qel_Bool,
            "0 to remove the volatile value only, any other byte to remove the persistent one too"),
        REMARKS(
            "QEL_NOT_FOUND: nothing to clear (no error for a property with a default). "
            "QEL_NO_PERMISSION: another owner. "
            "QEL_READ_ONLY: the property is read only.")),
    CALL(VSDVS_SetTeamingPolicy,
        "Sets how a switch spreads traffic over its uplinks, as its persistent property VSPROP_SWITCH_TEAMING.",
        IN(alias, char const *),
        IN(policy, VSTeamPolicy const *,
            "VSTeamPolicy, only read: the first numActive names are the active uplink ports, the next numStandby "
            "the standby ones; further names mean nothing"),
        REMARKS(
            "QEL_LIMIT_EXCEEDED: more than 32 names. "
            "QEL_BAD_PARAM: loadBalance is no TEAM_FRP_TYPE_*, percentError above 100, or a name twice. "
            "QEL_NOT_FOUND: no such switch, or a name that is no uplink port of it.")),
    CALL(VSDVS_GetTeamingPolicy,
        "Reads the teaming policy in effect on a switch.",
        IN(alias, char const *),
        IN(policy, VSTeamPolicy *,
            "VSTeamPolicy of the caller (new_VSTeamPolicy), filled in place and left as it was by a failing call"),
        REMARKS(
            "Unless one was set: TEAM_FRP_TYPE_LB_SRCID, TEAM_FRP_CRIT_LINK_STATE, TEAM_FRP_FLAG_NOTIFY_SWITCH, "
            "all uplink ports active in their order. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_ClearTeamingPolicy,
        "Gives a switch the default teaming policy again, in which all its uplink ports are active and none standby; "
        "uplink ports can then be removed.",
        IN(alias, char const *),
        REMARKS(
            "Having no policy set is no error. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetTeamingPolicyFromDVSID,
        "Reads the teaming policy in effect on a switch, as VSDVS_GetTeamingPolicy, by the identifier of the switch.",
        IN(switch_id, char const *, "identifier of the switch (at most 63 bytes), not its alias"),
        IN(policy, VSTeamPolicy *, "VSTeamPolicy of the caller (new_VSTeamPolicy), filled in place"),
        REMARKS("QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetPortTeamingPolicy,
        "Gives a port a teaming policy of its own in place of that of the switch.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(policy, VSTeamPolicy const *,
            "VSTeamPolicy with load balancing, failure criteria and the active and standby uplink ports, only read"),
        REMARKS(
            "Policies are refused as by VSDVS_SetTeamingPolicy. "
            "QEL_NOT_FOUND: no such switch, port or uplink port.")),
    CALL(VSDVS_GetPortTeamingPolicy,
        "Reads the teaming policy of a port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(policy, VSTeamPolicy *, "VSTeamPolicy of the caller (new_VSTeamPolicy), filled in place"),
        REMARKS(
            "A port without a policy of its own gives that of the switch. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_ClearPortTeamingPolicy,
        "Removes the teaming policy of a port, so that the policy of the switch holds for it again.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "A port without one is no error. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetPortTeamingOverride,
        "Ties a port to one uplink, whatever its teaming policy would choose.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(uplink, char const *, "name of the uplink port that carries the traffic of the port, at most 80 bytes"),
        REMARKS(
            "While its link is down the port has none: no other uplink takes over. "
            "QEL_NOT_FOUND: no such switch, port or uplink port. "
            "QEL_INVALID_NAME: an empty name.")),
    CALL(VSDVS_GetPortTeamingOverride,
        "Tells to which uplink a port is tied in spite of its teaming policy.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT_TEXT(uplink, 81),
        REMARKS(
            "Gives [status, uplink]: the name of the uplink port, at most 81 bytes of text. "
            "The empty text for a port that is not tied. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_ClearPortTeamingOverride,
        "Unties a port from the uplink that VSDVS_SetPortTeamingOverride chose, so that its teaming policy decides "
        "again.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "A port that is not tied is no error. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetLSTeamingPolicy,
        "Sets the named teaming policies among which the ports of logical switches choose, kept as the property "
        "VSPROP_LS_TEAMING_POLICY; the ones set before are replaced.",
        IN(alias, char const *),
        IN(table, LSTeamTable const *, "LSTeamTable of alloc_ls_team_table with numLSTeam policies, only read"),
        REMARKS(
            "QEL_LIMIT_EXCEEDED: more than 128 policies, or 32 uplinks in one. "
            "QEL_EXISTS: a name twice. "
            "QEL_INVALID_NAME: an empty one. "
            "QEL_BAD_PARAM, QEL_NOT_FOUND: as VSDVS_SetTeamingPolicy.")),
    CALL(VSDVS_GetLSTeamingPolicyTable,
        "Reads the named teaming policies for logical switches that are configured on a switch.",
        IN(alias, char const *), OUT(table, LSTeamTable **), HANDS_OUT(VSDVS_FreeMemory),
        REMARKS(
            "Gives [status, table]: an LSTeamTable with numLSTeam policies, not owned by its proxy: release it "
            "with VSDVS_FreeMemory. "
            "A switch without any gives a table with numLSTeam 0. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_ClearLSTeamingPolicy,
        "Removes all named teaming policies for logical switches from a switch.",
        IN(alias, char const *),
        REMARKS(
            "Ports keep their choice, which is not in force until there is a policy of that name again. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetPortLSTeamingPolicy,
        "Chooses one of the named teaming policies for logical switches for a port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(policy_name, char const *,
            "LSTeamPolicy.name of a policy set with VSDVS_SetLSTeamingPolicy, at most 135 bytes"),
        REMARKS(
            "QEL_NOT_FOUND: no such switch, port or policy. "
            "QEL_INVALID_NAME: an empty name.")),
    CALL(VSDVS_GetPortLSTeamingPolicyName,
        "Tells which named teaming policy for logical switches is chosen for a port; "
        "VSQEL_GetPortLSTeamingPolicyName tells which one is in force.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT_TEXT(policy_name, 136),
        REMARKS(
            "Gives [status, policy_name]: at most 136 bytes of text. "
            "The empty text without a choice. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_ClearPortLSTeamingPolicy,
        "Removes the choice of a named teaming policy for logical switches from a port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "The teaming policy of the port or the switch holds then. "
            "A port without a choice is no error. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetTxUplinkAlways,
        "Sets whether packets that the client of a port sends always go out on an uplink too, even to an address on "
        "the same switch.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(enable, qel_Bool, "0 for off, any other byte for on; the text 0 is byte 48 and means on"),
        REMARKS("QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_GetTxUplinkAlways,
        "Tells whether packets that the client of a port sends always go out on an uplink too, even to an address on "
        "the same switch.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT(enabled, qel_Bool *),
        REMARKS(
            "Gives [status, enabled]: the stored byte as a signed int, 0 for off. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetMACLearning,
        "Sets how a switch learns MAC addresses from the traffic of its ports.",
        IN(alias, char const *),
        IN(properties, VSPropMACLearning const *,
            "VSPropMACLearning, only read: agingTime in seconds, after which a silent address is forgotten (at "
            "most VS_MAC_LEARNING_AGING_TIME_MAX, 24 bits kept), and macLimit, the largest number of addresses "
            "learned"),
        REMARKS(
            "QEL_BAD_PARAM: a longer time, or reserved is not 0. "
            "QEL_LIMIT_EXCEEDED: a limit above 65536. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetMACLearning,
        "Reads how a switch learns MAC addresses: aging time in seconds and address limit.",
        IN(alias, char const *),
        IN(properties, VSPropMACLearning *,
            "VSPropMACLearning of the caller (new_VSPropMACLearning), filled in place"),
        REMARKS(
            "A switch without a setting of its own gives that of all switches (VSQEL_GetGlobalMACLearningProps). "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_ClearMACLearning,
        "Gives a switch the aging time and address limit of all switches again (VSQEL_SetGlobalMACLearningProps; "
        "unless set, VS_MAC_LEARNING_AGING_TIME_DEFAULT and VS_MAC_LEARNING_LIMIT_ENTRIES_DEFAULT).",
        IN(alias, char const *),
        REMARKS(
            "Addresses already learned stay; the new aging time holds for them. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetPortMACLearning,
        "Sets the MAC learning policy of a port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(policy, VSPMACLearning const *,
            "VSPMACLearning, only read: whether source addresses are learned and packets to unknown addresses "
            "flooded to the port, how many addresses it may have (at most VSPORT_MAC_LEARNING_LIMIT_ENTRIES_MAX) "
            "and whether packets beyond that are let through or dropped"),
        REMARKS(
            "QEL_LIMIT_EXCEEDED: a larger limit. "
            "QEL_BAD_PARAM: another limit policy. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_GetPortMACLearning,
        "Reads the MAC learning policy of a port: learning, flooding, address limit and what happens at the limit.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(policy, VSPMACLearning *, "VSPMACLearning of the caller (new_VSPMACLearning), filled in place"),
        REMARKS(
            "A port without a policy neither learns nor floods. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetStaticMACAllow,
        "Sets whether static addresses, which are assigned rather than learned, are allowed in the MAC table of a "
        "switch (default VS_MAC_LEARNING_ALLOW_STATIC_DEFAULT, 1).",
        IN(alias, char const *),
        IN(allow, qel_Bool, "0 for off, any other byte for on; the text 0 is byte 48 and means on"),
        REMARKS("QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetStaticMACAllow,
        "Tells whether static addresses are allowed in the MAC table of a switch.",
        IN(alias, char const *), OUT(allow, qel_Bool *),
        REMARKS(
            "Gives [status, allow]: the stored byte as a signed int, so that 255 comes back as -1; 0 for no. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_ClearStaticMACAllow,
        "Removes the setting of VSDVS_SetStaticMACAllow from a switch, so that the setting of all switches (unless "
        "set, VS_MAC_LEARNING_ALLOW_STATIC_DEFAULT, 1) holds again.",
        IN(alias, char const *),
        REMARKS(
            "A switch without the setting is no error. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetLearnStatic,
        "Sets whether static addresses, which are assigned rather than learned, take part in MAC learning on a "
        "switch (default VS_MAC_LEARNING_LEARN_STATIC_DEFAULT, 0).",
        IN(alias, char const *),
        IN(learn, qel_Bool, "0 for off, any other byte for on; the text 0 is byte 48 and means on"),
        REMARKS("QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetLearnStatic,
        "Tells whether static addresses take part in MAC learning on a switch.",
        IN(alias, char const *), OUT(learn, qel_Bool *),
        REMARKS(
            "Gives [status, learn]: the stored byte as a signed int, so that 255 comes back as -1; 0 for no. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_ClearLearnStatic,
        "Removes the setting of VSDVS_SetLearnStatic from a switch, so that the setting of all switches (unless set, "
        "VS_MAC_LEARNING_LEARN_STATIC_DEFAULT, 0) holds again.",
        IN(alias, char const *),
        REMARKS(
            "A switch without the setting is no error. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetPortSecurity,
        "Sets the layer-2 security policy of a port: what its client may not do.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(security, VSPropSecurity const *,
            "VSPropSecurity with VSPORT_SECURITY_* flags, only read: refuse promiscuous mode, a changed address, "
            "packets with a forged source address; 0 allows everything"),
        REMARKS(
            "QEL_BAD_PARAM: another flag. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_GetPortSecurity,
        "Reads the layer-2 security policy of a port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(security, VSPropSecurity *,
            "VSPropSecurity of the caller (new_VSPropSecurity), filled in place with VSPORT_SECURITY_* flags"),
        REMARKS(
            "0 for a port without a policy. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetExtraEthFilter,
        "Makes a port receive further frames besides those that its client asked for.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(filter, VSExtraEthFilter const *,
            "VSExtraEthFilter, only read: the kinds of frames as QEL_ETH_FILTER_* flags and up to 32 multicast "
            "addresses, of which numMulticastAddrs count"),
        REMARKS(
            "QEL_BAD_PARAM: another flag, or an address that is not a multicast one. "
            "QEL_LIMIT_EXCEEDED: more than 32 addresses. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_GetExtraEthFilter,
        "Reads which frames a port receives besides those that its client asked for.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(filter, VSExtraEthFilter *, "VSExtraEthFilter of the caller (new_VSExtraEthFilter), filled in place"),
        REMARKS(
            "Zeros for a port without such a filter. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_ClearExtraEthFilter,
        "Removes the extra Ethernet filter of a port, so that it receives only the frames that its client asked for.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "A port without one is no error; a sink port (VSDVS_ConfigureSinkPort) becomes an ordinary one. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetPortNestedVLANTagging,
        "Sets whether frames that carry a second VLAN tag inside the first (nested tagging, IEEE 802.1ad) may pass a "
        "port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(enable, qel_Bool, "0 for off, any other byte for on; the text 0 is byte 48 and means on"),
        REMARKS("QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_GetPortNestedVLANTagging,
        "Tells whether frames that carry a second VLAN tag inside the first (nested tagging, IEEE 802.1ad) may pass "
        "a port.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT(enabled, qel_Bool *),
        REMARKS(
            "Gives [status, enabled]: the stored byte as a signed int, 0 for off. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetPortVLANPolicy,
        "Sets how a port uses VLANs.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(vlan_id, qel_uint16, "access VLAN ID of the port, 0 to 4094, for a trunk also 4095"),
        IN(priority, int,
            "IEEE 802.1p priority (0 to 7) of its frames; QEL_VLAN_PRIORITY_INVALID (255) leaves theirs"),
        IN(guest_tagging, qel_Bool, "other than 0 lets the client tag frames itself (trunk)"),
        IN(private_vlan, qel_Bool, "other than 0 if vlan_id is a private VLAN"),
        IN(ranges, qel_HNQPortVIDRange *,
            "first of num_ranges qel_HNQPortVIDRange (new_vidrangeArray), the VLAN IDs of a trunk, only read; None "
            "for none"),
        IN(num_ranges, qel_uint16, "how many there are"),
        REMARKS(
            "QEL_BAD_PARAM: other values, ranges that overlap or are not of a trunk, a private trunk. "
            "QEL_NOT_FOUND: no such switch or port, or vlan_id is not in the private VLAN map.")),
    CALL(VSDVS_GetPortVLANPolicy,
        "Reads how a port uses VLANs.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT(policy, VSPortVlanPolicy **), OUT(length, int *),
        HANDS_OUT(VSDVS_FreeMemory),
        REMARKS(
            "Gives [status, policy, length]: a VSPortVlanPolicy with VSPORT_VLAN_* flags, access VLAN ID and "
            "numRanges trunk ranges (get_vid_range), not owned by its proxy: release it with VSDVS_FreeMemory. "
            "length: size of the policy with its ranges in bytes. "
            "A port without a policy gives one of zeros, 8 bytes. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_ClearPortVLANPolicy,
        "Removes the VLAN policy of a port: access VLAN ID, priority, trunk ranges and private VLAN.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "The port then has VLAN ID 0 and no trunk. "
            "A port without a policy is no error. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetPrivateVLANMap,
        "Sets the private VLANs of a switch, kept as the property VSPROP_PVLAN_MAP: which secondary VLANs divide a "
        "primary one, and whether their ports are promiscuous, isolated or a community.",
        IN(alias, char const *),
        IN(map, VSPvlanMapEntry const *, "first of count VSPvlanMapEntry records (new_pvlanmapentryArray), only read"),
        IN(count, int, "number of entries, signed; more than the array holds reads past it"),
        REMARKS(
            "0 removes the map. "
            "QEL_BAD_PARAM: IDs not 1 to 4094, an unknown type, a primary VLAN without its promiscuous entry (both "
            "IDs the same). "
            "QEL_EXISTS: a secondary VLAN twice, or a second isolated one. "
            "QEL_BUSY: a port uses a VLAN that would go.")),
    CALL(VSDVS_GetPrivateVLANMap,
        "Reads the private VLANs of a switch.",
        IN(alias, char const *), OUT_AS(map, VSPvlanMapEntry **, VSUplinkPorts *), OUT(count, int *),
        HANDS_OUT(VSDVS_FreeMemory),
        REMARKS(
            "Gives [status, map, count]: the first of count VSPvlanMapEntry records of 8 bytes each, but its proxy "
            "has the type VSUplinkPorts, whose fields and methods do not fit the map; not owned by its proxy: "
            "release it with VSDVS_FreeMemory. "
            "None and 0 for a switch without private VLANs. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetMcastFilterMode,
        "Sets how a switch filters multicast traffic, as its persistent property VSPROP_MULTICAST_FILTER.",
        IN(alias, char const *),
        IN(mode, VSMcastFilterMode,
            "one of VS_MCAST_FILTER_MODE_*: LEGACY (the default) by hardware address, SNOOPING by IGMP and MLD "
            "group membership"),
        REMARKS(
            "QEL_BAD_PARAM: any other mode. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetMcastFilterMode,
        "Reads how a switch filters multicast traffic.",
        IN(alias, char const *), OUT(mode, VSMcastFilterMode *),
        REMARKS(
            "Gives [status, mode]: the mode in effect, one of VS_MCAST_FILTER_MODE_*; VS_MCAST_FILTER_MODE_LEGACY "
            "unless another was set. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetMcastUserLegacyEntries,
        "Sets the multicast addresses that the ports of a switch receive beside those of their clients in the filter "
        "mode VS_MCAST_FILTER_MODE_LEGACY, kept as the property VSPROP_USER_MCAST_ADDRESSES.",
        IN(alias, char const *),
        IN(count, int, "number of addresses, at most VS_MULTICAST_USER_ENTRIES_MAX (25)"),
        IN(entries, VSMACEntries *, "VSMACEntries whose first count addresses are taken (set_mac_address), only read"),
        REMARKS(
            "QEL_LIMIT_EXCEEDED: more than 25. "
            "QEL_BAD_PARAM: a negative count, or an address that is not a multicast one. "
            "QEL_EXISTS: an address twice. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_GetMcastUserLegacyEntries,
        "Reads the multicast addresses that a user set on a switch with VSDVS_SetMcastUserLegacyEntries.",
        IN(alias, char const *), OUT(keys, VSUserMcastLegacyKeys **), HANDS_OUT(VSDVS_FreeMemory),
        REMARKS(
            "Gives [status, keys]: a VSUserMcastLegacyKeys with numEntries addresses (get_mac_entry), not owned by "
            "its proxy: release it with VSDVS_FreeMemory. "
            "numEntries is 0 for a switch without any. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_ClearMcastUserLegacyEntries,
        "Removes the multicast addresses that VSDVS_SetMcastUserLegacyEntries set on a switch; those set on single "
        "ports stay.",
        IN(alias, char const *),
        REMARKS(
            "A switch without any is no error. "
            "QEL_NOT_FOUND: no such switch.")),
    CALL(VSDVS_SetPortMcastUserLegacyEntries,
        "Sets the multicast addresses that a port receives beside those of its client in the filter mode "
        "VS_MCAST_FILTER_MODE_LEGACY.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(count, int, "number of addresses, at most VS_MULTICAST_USER_ENTRIES_MAX (25)"),
        IN(entries, VSMACEntries *, "VSMACEntries whose first count addresses are taken (set_mac_address), only read"),
        REMARKS(
            "They are added to those of the switch, which they replace where "
            "VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE is on. "
            "Refused as by VSDVS_SetMcastUserLegacyEntries. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_GetPortMcastUserLegacyEntries,
        "Reads the multicast addresses that a user set on a port with VSDVS_SetPortMcastUserLegacyEntries.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT(keys, VSUserMcastLegacyKeys **),
        HANDS_OUT(VSDVS_FreeMemory),
        REMARKS(
            "Gives [status, keys]: a VSUserMcastLegacyKeys with numEntries addresses (get_mac_entry), not owned by "
            "its proxy: release it with VSDVS_FreeMemory. "
            "numEntries is 0 for a port without any. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_ClearPortMcastUserLegacyEntries,
        "Removes the multicast addresses that VSDVS_SetPortMcastUserLegacyEntries set on a port, so that only those "
        "of the switch and of its client count.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "A port without any is no error. "
            "QEL_NOT_FOUND: no such switch or port.")),
    CALL(VSDVS_SetDVMirrorSessions,
        "Sets the mirror sessions of a port, which copy the traffic of sources (ports, uplinks, VLANs) to "
        "destinations; those set before are replaced.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(table, DVMirrorSessionTable *,
            "DVMirrorSessionTable of alloc_dvmirror_session_table with its sessions and entities filled in, only "
            "read"),
        REMARKS(
            "magicNum must be that of alloc_dvmirror_session_table. "
            "version must be set. "
            "What is refused stands in docs/host.md, Mirror sessions. "
            "dvport_id empty or None: the sessions of the switch itself.")),
    CALL(VSDVS_AppendDVMirrorSessions,
        "Adds mirror sessions to those that a port has, as VSDVS_SetDVMirrorSessions sets all of them.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(table, DVMirrorSessionTable *,
            "DVMirrorSessionTable of alloc_dvmirror_session_table with its sessions and entities filled in, only "
            "read"),
        REMARKS(
            "dvport_id empty or None: the sessions of the switch itself. "
            "QEL_EXISTS: a session of the switch or of any of its ports has the sid already.")),
    CALL(VSDVS_GetDVMirrorSessions,
        "Reads the mirror sessions that are configured on a port.",
        IN(alias, char const *), IN(dvport_id, char const *), OUT(table, DVMirrorSessionTable **),
        HANDS_OUT(VSDVS_FreeMemory),
        REMARKS(
            "Gives [status, table]: a DVMirrorSessionTable with numSessions sessions and one pool of numEntities "
            "sources and destinations, walked with __getitem__ and get_first_session_entity, not owned by its "
            "proxy: release it with VSDVS_FreeMemory. "
            "A port without sessions gives a table with numSessions 0. "
            "dvport_id empty or None: the sessions of the switch itself.")),
    CALL(VSDVS_RemoveDVMirrorSession,
        "Removes one mirror session from those of a port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        IN(session_id, char const [32],
            "identifier of the session (DVMirrorSession.sid), at most 31 bytes, else TypeError; None is the empty "
            "text"),
        REMARKS(
            "QEL_NOT_FOUND: no such switch or port, or no such session there. "
            "dvport_id empty or None: the sessions of the switch itself.")),
    CALL(VSDVS_ClearDVMirrorSessions,
        "Removes all mirror sessions of a port.",
        IN(alias, char const *), IN(dvport_id, char const *),
        REMARKS(
            "A port without sessions is no error. "
            "dvport_id empty or None: the sessions of the switch itself. "
            "QEL_NOT_FOUND: no such switch or port.")));

}  // namespace vswitchpy

#include "runtime/row_macros_end.hpp"
