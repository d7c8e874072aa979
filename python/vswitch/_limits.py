"""The library's limits in words, and what its statuses mean for a call: the part of hints that needs no host."""

from __future__ import annotations

from typing import Any

import libvswitch

# How many bytes names of each kind have at most, by the arguments of calls.
_NAMES = {
    "alias": 80,
    "switch_name": 80,
    "switch_id": 63,
    "dvport_id": 47,
    "external_id": 127,
    "uplink": 80,
    "session_id": 31,
    "policy_name": 135,
    "name": 255,
    "portset": 127,
    "vendor": 127,
}
# Of the properties whose values are names.
_NAMES_IN_PROPERTIES = {
    libvswitch.QEL_HNQPROP_PORT_ALIAS: 80,
    libvswitch.QEL_HNQPROP_PORT_PORTGROUP: 63,
    libvswitch.QEL_HNQPROP_PORT_RESPOOL_ASSOC: 127,
}
_MTU = "an MTU is 1280 to 9000 bytes"
_TEAMING = "load balancing is a TEAM_FRP_TYPE_*, percent_error 0 to 100, and no uplink stands twice"
_VLAN = (
    "a VLAN is 0 to 4094 (4095 for a trunk), a priority 0 to 7, and ranges of a trunk do not overlap; "
    "a private VLAN is no trunk"
)
_MULTICAST = "each is a multicast address, and there are at most 25"
_MIRROR = "a session, its ends or rules have a value that its type cannot have"
_PORTS = "a switch has 1 to 8192 ports"
_IMAGE = "it is no image"
_LIMITS: dict[str, str] = {
    "VSDVS_SetMTU": _MTU,
    "VSDVS_CreateVSwitch": _MTU,
    "DVSQEL_SwitchAdd": _PORTS,
    "DVSQEL_SwitchSetMaxPorts": _PORTS,
    "VSDVS_AddDVPort": "a switch has no more ports than its max_ports",
    "VSDVS_AddOpaqueDVPort": "a switch has no more ports than its max_ports",
    "DVSQEL_PortAdd": "a switch has no more ports than its max_ports",
    "VSDVS_AddSwitchUplinkPort": "a switch has at most 32 uplink ports, and no more ports than its max_ports",
    "VSDVS_SetSwitchUplinkPorts": "a switch has at most 32 uplink ports, and no more ports than its max_ports",
    "VSDVS_SetTeamingPolicy": _TEAMING,
    "VSDVS_SetPortTeamingPolicy": _TEAMING,
    "VSDVS_SetLSTeamingPolicy": f"at most 128 policies of at most 32 uplinks; {_TEAMING}",
    "VSDVS_SetPortVLANPolicy": _VLAN,
    "VSDVS_SetPrivateVLANMap": (
        "VLANs are 1 to 4094, and each primary VLAN has one promiscuous entry, whose secondary VLAN is the primary one"
    ),
    "VSDVS_SetMACLearning": "the aging time is 0 to 1000000 seconds, the limit at most 1048576 addresses",
    "VSQEL_SetGlobalMACLearningProps": "the aging time is 0 to 1000000 seconds, the limit at most 1048576 addresses",
    "VSDVS_SetPortMACLearning": "the limit is at most 4096 addresses, at_limit one of MacLimitPolicy",
    "VSDVS_SetPortSecurity": "a flag that is none of SecurityFlag",
    "VSDVS_SetExtraEthFilter": "at most 32 addresses, each a multicast address",
    "VSDVS_SetRCFType": "one of RcfType",
    "VSDVS_SetMcastFilterMode": "one of MulticastMode",
    "VSDVS_SetMcastUserLegacyEntries": _MULTICAST,
    "VSDVS_SetPortMcastUserLegacyEntries": _MULTICAST,
    "VSQEL_GetMcastFilters": "the kind is LEGACY, IGMP or MLD",
    "VSDVS_SetDVMirrorSessions": _MIRROR,
    "VSDVS_AppendDVMirrorSessions": _MIRROR,
    "VSQEL_SetUplinkAdminLinkState": "the state is up or down",
    "VSQEL_PortGetTeamUplinkHint": "the port is an uplink",
    "VSQEL_SetPortMACTable": (
        "an address is no multicast one and not zero, a VLAN 0 to 4094, an overlay network 0 to 16777215"
    ),
    "VSQEL_ClearPortMACTable": (
        "an address is no multicast one and not zero, a VLAN 0 to 4094, an overlay network 0 to 16777215"
    ),
    "VSQEL_SetRuntimeOptions": "the value of an option is out of its range",
    "VSDVS_SetGlobProp": "the property cannot have this value, or not at this scope",
    "VSDVS_SetHostProp": "the property cannot have this value, or not at this scope",
    "VSDVS_SetRuntimeHostProp": "the property cannot have this value, or not at this scope",
    "VSDVS_SetPortProp": "the property cannot have this value, or not at this scope",
    "DVSQEL_GlobalPropSet": "the property cannot have this value or kind, or not at this scope",
    "DVSQEL_HostPropSet": "the property cannot have this value or kind, or not at this scope",
    "DVSQEL_PortDataSet": "the property cannot have this value or kind, or not at this scope",
    "DVSQEL_StateInit": _IMAGE,
    "DVSState_ConfigDeserialize": _IMAGE,
    "VSQEL_RTMOp": "a switch or step that is none",
    "VSQEL_RTMModOp": "a module or step that is none",
    "DVSQEL_CmdExec": "an input where none is taken, or none where one is",
}
WORDS: dict[tuple[str, str], str] = {
    ("VSDVS_CreateVSwitch", "QEL_MODULE_NOT_FOUND"): "no class of switches {class_name!r}",
    ("VSDVS_CreateVSwitch", "QEL_NOT_SUPPORTED"): "a switch has no version {version}",
    ("DVSQEL_SwitchAdd", "QEL_NOT_SUPPORTED"): "a switch has no version {version}",
    ("DVSQEL_SwitchSetVersion", "QEL_NOT_SUPPORTED"): "a switch has no version {version}",
    ("DVSQEL_SwitchSetVersion", "QEL_VERSION_MISMATCH_MAJOR"): "the version of a switch only grows",
    ("VSDVS_CreateVSwitch", "QEL_LIMIT_EXCEEDED"): "a host has at most 128 switches, a switch at most 8192 ports",
    ("DVSQEL_CmdExec", "QEL_NOT_SUPPORTED"): "no command {command!r}",
    ("VSQEL_GetUplinkLACPLinkState", "QEL_NOT_SUPPORTED"): "uplink {uplink!r} is in no LAG",
    ("VSQEL_SetUplinkAdminLinkState", "QEL_NO_SUCH_DEVICE"): "no NIC behind uplink {uplink!r}",
    ("VSQEL_SetPortMACTable", "QEL_NO_PERMISSION"): "static addresses are not allowed on switch {switch_name!r}",
    ("VSQEL_SetPortMACTable", "QEL_LIMIT_EXCEEDED"): "port {dvport_id!r} is at its limit of addresses",
    ("VSQEL_PortGetTeamUplinkHint", "QEL_ENETDOWN"): "no uplink is fit to carry the port's traffic",
    ("VSQEL_PortGetTeamUplinkHint", "QEL_NOT_FOUND"): "no port has the number {port_id}",
    ("VSQEL_GetPortLSTeamingPolicyName", "QEL_NOT_FOUND"): "no port has the number {port_id}",
    ("VSQEL_RTMPortOp", "QEL_NOT_FOUND"): "no port has the number {port_id}",
    ("VSQEL_RTMPortOp", "QEL_INVALID_WORLD"): "a world is not negative",
    ("VSQEL_RTMPortOp", "QEL_INVALID_STATE"): "the switch is not in save and restore",
    ("VSQEL_RTMPortOp", "QEL_BUSY"): "another world has blocked the port",
    ("VSQEL_RTMPortOp", "QEL_NO_PERMISSION"): "another world has blocked the port",
    ("VSQEL_RTMOp", "QEL_INVALID_STATE"): "this step may not follow the last one",
    ("VSQEL_RTMOp", "QEL_EALREADY"): "a switch is in save and restore",
    ("VSQEL_RTMOp", "QEL_EXISTS"): "a switch stands twice",
    ("VSQEL_RTMOp", "QEL_BUSY"): "a module waits to be restored",
    ("VSQEL_RTMOp", "QEL_TIMEOUT"): "the outage is longer than allowed",
    ("VSQEL_RTMOp", "QEL_VERSION_MISMATCH_MAJOR"): "switches of the two kinds of versions do not go together",
    ("VSQEL_RTMModOp", "QEL_INVALID_STATE"): "the switch is not in save and restore, or this step may not follow",
    ("VSQEL_RTMModOp", "QEL_EALREADY"): "a module takes part already",
    ("VSQEL_RTMModOp", "QEL_NOT_FOUND"): "a module takes no part",
    ("VSQEL_RTMModOp", "QEL_INVALID_MODULE"): "the identifier of a module is not negative",
    ("DVSQEL_SwitchRemove", "QEL_BUSY"): "switch {alias!r} has a port set",
    ("DVSQEL_SwitchAssociate", "QEL_EXISTS"): "switch {alias!r} has a port set",
    ("DVSQEL_SwitchSetMaxPorts", "QEL_BUSY"): "switch {alias!r} has more ports",
    ("VSQEL_SetRuntimeOptions", "QEL_INVALID_ADDRESS"): "a router is an IPv4 address, or for MLD an IPv6 one",
    ("VSQEL_SetRuntimeOptions", "QEL_LIMIT_EXCEEDED"): "at most 4096 bytes of options",
    ("DVSData_Update", "QEL_LIMIT_EXCEEDED"): "a value has at most 1048576 bytes, a list at most 65536 values",
    ("DVSData_Serialize", "QEL_NOT_SUPPORTED"): "a switch has no version {version}",
    ("DVSQEL_PersistentPortStateGet", "QEL_NOT_SUPPORTED"): "a switch has no version {version}",
}
IMAGES = {
    "QEL_INVALID_METADATA": "it is no image of this kind",
    "QEL_CHECKSUM_MISMATCH": "the image is damaged",
    "QEL_VERSION_MISMATCH_MAJOR": "the image is of a later version",
    "QEL_VERSION_MISMATCH_MINOR": "the image is of a later version",
}
# Properties that are only read.
READ_ONLY = """QEL_HNQPROP_SWITCH_ALIAS QEL_HNQPROP_SWITCH_VERSION QEL_HNQPROP_SWITCH_UPLINKPORTS
    QEL_HNQPROP_HOST_STATUS QEL_HNQPROP_HOST_PROXY QEL_HNQPROP_PORT_STATUS
    QEL_HNQPROP_PORT_LINK_STATUS QEL_HNQPROP_PORT_TYPE
    QEL_HNQPROP_PORT_VLAN QEL_HNQPROP_PORT_PERSIST QEL_HNQPROP_PORT_VNIC_CONNECTEE QEL_HNQPROP_PORT_STATISTICS
    VSPROP_PORT_MAC_LEARNING_STATS""".split()


def limit(name: str, status: str, known: dict[str, Any]) -> str:
    """The limit that was missed."""
    if status == "QEL_LIMIT_EXCEEDED" and ("name" in known or name == "DVSQEL_UplinkDataSet"):
        return "a value has at most 1048576 bytes"
    if status in ("QEL_INVALID_NAME", "QEL_NAME_TOO_LONG"):
        most_bytes = _NAMES_IN_PROPERTIES.get(str(known.get("name")))
        if most_bytes is not None:
            return f"a name of this kind has 1 to {most_bytes} bytes"
        for argument, most in _NAMES.items():
            value = known.get(argument)
            if isinstance(value, str) and len(value.encode(errors="replace")) > most:
                return f"a name of this kind has at most {most} bytes"
            if value == "":
                return "a name of this kind has at least one byte"
        return _LIMITS.get(name, "a name is empty or too long")
    return _LIMITS.get(name, "")
