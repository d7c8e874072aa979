"""What a failure's hint says: what is missing, there already, in use, or beyond a limit; asked of the host afterwards."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Sequence
from typing import Any

import libvswitch

from vswitch import _walk
from vswitch._calls import call, fill, query, take
from vswitch._similar import did_you_mean
from vswitch.errors import (
    AlreadyExists,
    BadParameter,
    Busy,
    Error,
    LimitExceeded,
    NotFound,
    NotSupported,
    PermissionDenied,
    ReadOnly,
    WrongState,
)

Known = dict[str, Any]

ANOTHER_PROCESS = "another process holds the host"

# Statuses of a call, and what was missed: the limits of the library in words.
_NAMES = {
    "alias": "an alias has 1 to 80 bytes",
    "switch_id": "a switch identifier has 1 to 63 bytes",
    "dvport_id": "a port identifier has 1 to 47 bytes",
    "external_id": "an external identifier has 1 to 127 bytes",
    "uplink": "the name of an uplink port has 1 to 80 bytes",
    "session_id": "the identifier of a mirror session has 1 to 31 bytes",
    "policy_name": "the name of a teaming policy has 1 to 135 bytes",
    "name": "the name of a property has 1 to 255 bytes",
    "portset": "the name of a port set has 1 to 127 bytes",
}
_SIZES = {**dict.fromkeys(_NAMES, 80), "switch_id": 63, "dvport_id": 47, "external_id": 127, "session_id": 31}
_SIZES |= {"policy_name": 135, "name": 255, "portset": 127, "switch_name": 80}
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
    "VSDVS_CreateVSwitch": f"{_MTU}, and {_PORTS}",
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
    "VSDVS_SetMACLearning": "the aging time is 0 to 1000000 seconds, the limit at most 65536 addresses",
    "VSQEL_SetGlobalMACLearningProps": "the aging time is 0 to 1000000 seconds, the limit at most 65536 addresses",
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
_WORDS: dict[tuple[str, str], str] = {
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
_IMAGES = {
    "QEL_INVALID_METADATA": "it is no image of this kind",
    "QEL_CHECKSUM_MISMATCH": "the image is damaged",
    "QEL_VERSION_MISMATCH_MAJOR": "the image is of a later version",
    "QEL_VERSION_MISMATCH_MINOR": "the image is of a later version",
}


def asked(ask: Callable[..., str], *arguments: Any) -> str:
    """What `ask` says; its first word alone where the host does not answer."""
    try:
        return ask(*arguments)
    except Exception:  # noqa: BLE001 - what is asked for a hint may fail as it likes
        return ""


def hint(kind: type[Error], name: str, status: str, known: Known) -> str:
    """The hint of a failed call, empty if nothing is known."""
    words = _WORDS.get((name, status))
    if words is not None and not (kind is NotFound and _missing(known)):
        return words.format(**known)
    if kind in (LimitExceeded, BadParameter):
        return limit(name, status, known)
    ask = _ASK.get(kind)
    if ask is not None:
        return ask(name, known)
    return _IMAGES.get(status, "")


def limit(name: str, status: str, known: Known) -> str:
    """The limit that was missed."""
    if status == "QEL_LIMIT_EXCEEDED" and ("data" in known or "value" in known) and "Prop" in name + "DataProp":
        return "a value has at most 1048576 bytes"
    if status in ("QEL_INVALID_NAME", "QEL_NAME_TOO_LONG"):
        for argument, words in _NAMES.items():
            value = known.get(argument)
            if isinstance(value, str) and not 1 <= len(value.encode(errors="replace")) <= _SIZES[argument]:
                return words
        return "a name is empty or too long"
    return _LIMITS.get(name, "")


# ---- what is missing ------------------------------------------------------------------------------------------------------


def no_switch(alias: str) -> str:
    """That there is no such switch."""
    return f"no switch {alias!r}{did_you_mean(alias, _quiet(_walk.aliases))}"


def no_port(alias: str, port: str) -> str:
    """That the switch has no such port."""
    return f"no port {port!r} on switch {alias!r}{did_you_mean(port, _quiet(_walk.all_ports, alias))}"


def no_uplink(alias: str, uplink: str) -> str:
    """That the switch has no such uplink."""
    return f"no uplink {uplink!r} on switch {alias!r}{did_you_mean(uplink, _quiet(_uplink_names, alias))}"


def no_session(alias: str, session: str, candidates: Sequence[str] | None = None) -> str:
    """That there is no such mirror session."""
    known = _quiet(_session_ids, alias) if candidates is None else candidates
    return f"no mirror session {session!r} on switch {alias!r}{did_you_mean(session, known)}"


def no_policy(alias: str, policy: str, candidates: Sequence[str] | None = None) -> str:
    """That the switch has no such named teaming policy."""
    known = _quiet(_policy_names, alias) if candidates is None else candidates
    return f"no teaming policy {policy!r} on switch {alias!r}{did_you_mean(policy, known)}"


def no_property(alias: str, port: str | None, key: str, *, host: bool = False) -> str:
    """That no such property was written."""
    if port is not None:
        place, written = f"port {port!r} of switch {alias!r}", _quiet(_walk.port_properties, alias, port)
    else:
        place = f"switch {alias!r}"
        written = _quiet(_walk.host_properties if host else _walk.switch_properties, alias)
    return f"no property {key!r} on {place}{did_you_mean(key, written)}"


def _quiet(read: Callable[..., Iterable[str]], *arguments: str) -> Sequence[str]:
    """What a reading call lists; nothing where it fails."""
    try:
        return list(read(*arguments))
    except Exception:  # noqa: BLE001 - what is asked for a hint may fail as it likes
        return ()


def _uplink_names(alias: str) -> list[str]:
    return [name for name, _ in _walk.uplinks(alias)]


def _nic_names(alias: str) -> list[str]:
    return [name for name, _ in _walk.nics(alias)]


def _policy_names(alias: str) -> list[str]:
    from vswitch.values.teaming import table_of

    return [policy.name for policy in take(table_of, "VSDVS_GetLSTeamingPolicyTable", alias)]


def _session_ids(alias: str) -> list[str]:
    from vswitch.values.mirror import sessions_of

    found = []
    for port in (None, *_walk.all_ports(alias)):
        found += [session.id for session in take(sessions_of, "VSDVS_GetDVMirrorSessions", alias, port)]
    return found


def _switch_of(known: Known) -> str | None:
    """The alias of the switch that a call names, by whichever of its names."""
    alias = known.get("alias", known.get("switch_name"))
    return alias if isinstance(alias, str) else None


def _missing(known: Known) -> str:
    """The first of switch, port, uplink, session, policy and property that a call names and that is not there."""
    alias = _switch_of(known)
    if alias is None:
        if isinstance(known.get("portset"), str):
            sets = _quiet(_walk.portsets)
            return f"no port set {known['portset']!r}{did_you_mean(known['portset'], sets)}"
        uplink = known.get("uplink")
        return f"no uplink {uplink!r}" if isinstance(uplink, str) else ""
    if _walk.switch_handle(alias) is None:
        return no_switch(alias)
    port = known.get("dvport_id")
    if isinstance(port, str) and port and not _there("DVSQEL_PortFind", alias, port):
        return no_port(alias, port)
    uplink = known.get("uplink")
    if isinstance(uplink, str) and uplink not in _quiet(_uplink_names, alias):
        return no_uplink(alias, uplink)
    for name in _uplinks_named(known):
        if name not in _quiet(_uplink_names, alias):
            return no_uplink(alias, name)
    if isinstance(known.get("session_id"), str):
        return no_session(alias, known["session_id"])
    if isinstance(known.get("policy_name"), str):
        return no_policy(alias, known["policy_name"])
    if isinstance(known.get("external_id"), str):
        return f"no port with the external identifier {known['external_id']!r} on switch {alias!r}"
    return ""


def _uplinks_named(known: Known) -> list[str]:
    """The uplinks that a teaming policy among the arguments names."""
    policies = known.get("table", known.get("policy"))
    policies = policies if isinstance(policies, list) else [policies]
    return [
        name
        for policy in policies
        if isinstance(policy, dict)
        for name in (*policy.get("active", ()), *policy.get("standby", ()))
    ]


def _there(name: str, *arguments: Any) -> bool:
    """Whether a reading call succeeds."""
    try:
        call(name, *arguments)
    except Error:
        return False
    return True


def _not_found(name: str, known: Known) -> str:
    missing = _missing(known)
    if missing:
        return missing
    alias, port = _switch_of(known), known.get("dvport_id")
    if alias is not None and isinstance(known.get("name"), str):
        return no_property(alias, port, known["name"], host="Host" in name)
    if name == "VSDVS_SetPortVLANPolicy":
        return f"no secondary VLAN {known['vlan_id']} in the private VLANs of switch {alias!r}"
    if name == "VSQEL_ClearPortMACTable":
        entry = known["entry"]
        return f"no such entry of MAC {entry['mac']} at port {port!r} of switch {alias!r}"
    if name == "VSQEL_GetMcastFilterStats":
        return f"port {known['port_id']} of switch {alias!r} receives no such group"
    if name == "DVSQEL_UplinkDataGet":
        return f"uplink {known['uplink']!r} of switch {alias!r} has no data of kind {known['kind']}"
    return ""


def without_portset(name: str, known: Known) -> bool:
    """Whether a call for the running state fails because its switch has no port set."""
    alias = known.get("switch_name")
    return name.startswith("VSQEL_") and isinstance(alias, str) and _has_no_portset(alias)


def _has_no_portset(alias: str) -> bool:
    try:
        call("DVSAliasToPortsetName", alias)
    except WrongState:
        return True
    except Error:
        return False
    return False


def _wrong_state(name: str, known: Known) -> str:
    alias = _switch_of(known)
    return f"switch {alias!r} has no port set" if alias is not None and _has_no_portset(alias) else ""


# ---- what is there already, and what holds it ---------------------------------------------------------------------------------


def _exists(name: str, known: Known) -> str:
    alias = _switch_of(known)
    if name in ("VSDVS_CreateVSwitch", "DVSQEL_SwitchAdd"):
        if alias is not None and _walk.switch_handle(alias) is not None:
            return f"switch {alias!r} exists"
        for other in _walk.aliases():
            if call("DVS_SwitchId", _walk.switch_handle(other)) == known.get("switch_id"):
                return f"switch {other!r} has the identifier {known['switch_id']!r}"
        return ""
    port = known.get("dvport_id")
    if name in ("VSDVS_AddDVPort", "VSDVS_AddOpaqueDVPort", "DVSQEL_PortAdd"):
        if _there("DVSQEL_PortFind", alias, port):
            return f"port {port!r} exists on switch {alias!r}"
        return f"another port of switch {alias!r} has the external identifier {known.get('external_id', 'of the image')!r}"
    if name == "VSDVS_AddSwitchUplinkPort":
        return f"uplink {known['uplink']!r} exists on switch {alias!r}"
    if name == "VSDVS_SetSwitchUplinkPorts":
        return "a name or an identifier stands twice"
    if name == "VSQEL_SetPortMACTable":
        return f"MAC {known['entry']['mac']} is set by hand on switch {alias!r}"
    if name in ("VSDVS_SetDVMirrorSessions", "VSDVS_AppendDVMirrorSessions"):
        there = _quiet(_session_ids, alias or "")
        for session in known.get("table") or ():
            if session["id"] in there:
                return f"mirror session {session['id']!r} exists on switch {alias!r}"
    return "it stands twice" if "table" in known or "map" in known or "entries" in known else ""


def client_of(alias: str, port: str) -> str | None:
    """The name of the client of a port, None without one."""
    from vswitch.values.link import PortStatus

    data = query("VSDVS_GetPortProp", alias, port, libvswitch.QEL_HNQPROP_PORT_STATUS, after=(None, 0))
    return PortStatus.from_bytes(data).client or None


def _busy(name: str, known: Known) -> str:
    alias, port, uplink = _switch_of(known), known.get("dvport_id"), known.get("uplink")
    if alias is None:
        return ANOTHER_PROCESS
    if name in ("VSDVS_RemoveDVPort", "DVSQEL_PortRemove") and isinstance(port, str):
        client = client_of(alias, port)
        return f"port {port!r} has the client {client!r}" if client else ANOTHER_PROCESS
    if name in ("VSDVS_DestroyVSwitch", "DVSQEL_SwitchDissociate"):
        for one in _walk.ports(alias):
            client = client_of(alias, one)
            if client:
                return f"port {one!r} has the client {client!r}"
    if name in ("VSDVS_RemoveSwitchUplinkPort", "VSDVS_ClearSwitchUplinkPorts", "VSDVS_SetSwitchUplinkPorts"):
        gone = set(_uplink_names(alias)) - set(known.get("names") or ())
        holder = _names_uplink(alias, {uplink} if isinstance(uplink, str) else gone)
        if holder:
            return holder
    if name in ("VSDVS_AddSwitchUplinkPort", "VSDVS_SetSwitchUplinkPorts"):
        wanted = {uplink} if isinstance(uplink, str) else set(known.get("names") or ())
        for other in _walk.aliases():
            if other != alias:
                for nic in sorted(wanted & set(_quiet(_nic_names, other))):
                    return f"NIC {nic!r} is behind an uplink of switch {other!r}"
        for nic in sorted(wanted & set(_quiet(_nic_names, alias))):
            return f"NIC {nic!r} is behind an uplink of switch {alias!r}"
    if name == "VSDVS_SetPrivateVLANMap" or "VSPROP_PVLAN_MAP" in known.values():
        return "a port is in a secondary VLAN that would go"
    return ANOTHER_PROCESS


def _names_uplink(alias: str, gone: set[str]) -> str:
    """Which port or policy names one of these uplinks."""
    from vswitch.values.teaming import TeamingPolicy, table_of

    def named(policy: Any) -> str | None:
        return next((one for one in (*policy.active, *policy.standby) if one in gone), None)

    teaming, override = libvswitch.VSPROP_PORT_TEAMING_POLICY, libvswitch.VSPROP_PORT_TEAMING_OVERRIDE
    for port, written in _walk.properties_of_ports(alias).items():
        names = _walk.text(written[override].data) if override in written else None
        if names not in gone:
            names = named(TeamingPolicy.from_bytes(written[teaming].data)) if teaming in written else None
        if names:
            return f"port {port!r} names the uplink {names!r}"
    for policy in take(table_of, "VSDVS_GetLSTeamingPolicyTable", alias):
        if names := named(policy):
            return f"teaming policy {policy.name!r} names the uplink {names!r}"
    if libvswitch.VSPROP_SWITCH_TEAMING in _walk.switch_properties(alias) and (
        names := named(TeamingPolicy.from_bytes(fill("VSTeamPolicy", "VSDVS_GetTeamingPolicy", alias)))
    ):
        return f"the teaming of switch {alias!r} names the uplink {names!r}"
    return ""


# ---- what is not permitted ----------------------------------------------------------------------------------------------------


def _read_only(name: str, known: Known) -> str:
    key = known.get("name")
    if isinstance(key, str) and not key.startswith("uplink.") and _is_read_only(key):
        return f"property {key!r} is read only"
    return "the host's state cannot be written"


_READ_ONLY_KEYS = """SWITCH_ALIAS SWITCH_VERSION SWITCH_UPLINKPORTS HOST_STATUS HOST_PROXY PORT_STATUS PORT_LINK_STATUS
    PORT_TYPE PORT_VLAN PORT_PERSIST PORT_VNIC_CONNECTEE PORT_STATISTICS""".split()


def _is_read_only(key: str) -> bool:
    names = (*(f"QEL_HNQPROP_{name}" for name in _READ_ONLY_KEYS), "VSPROP_PORT_MAC_LEARNING_STATS")
    return key in [getattr(libvswitch, name) for name in names]


def _denied(_name: str, known: Known) -> str:
    return f"property {known['name']!r} has another owner" if isinstance(known.get("name"), str) else ""


def _not_supported(name: str, known: Known) -> str:
    if "SmartNIC" in name:
        return f"no uplink of switch {_switch_of(known)!r} has a SmartNIC"
    if name.endswith("DVMirrorSessions"):
        return "a version of the mirror session table that the host does not have"
    return "the host does not do that"


_ASK: dict[type[Error], Callable[[str, Known], str]] = {
    NotFound: _not_found,
    AlreadyExists: _exists,
    Busy: _busy,
    NotSupported: _not_supported,
    ReadOnly: _read_only,
    PermissionDenied: _denied,
    WrongState: _wrong_state,
}
