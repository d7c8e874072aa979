"""What a failure's hint says: what is missing, there already, in use, or beyond a limit; asked of the host
afterwards."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Sequence
from typing import Any

import libvswitch

from vswitch import _walk
from vswitch._calls import call, fill, query, take
from vswitch._limits import IMAGES, READ_ONLY, WORDS, limit
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
_MAKING = ("VSDVS_CreateVSwitch", "DVSQEL_SwitchAdd")


def asked(ask: Callable[..., str], *arguments: Any) -> str:
    """What `ask` says; its first word alone where the host does not answer."""
    try:
        return ask(*arguments)
    except Exception:  # noqa: BLE001 - what is asked for a hint may fail as it likes
        return ""


def hint(kind: type[Error], name: str, status: str, known: Known) -> str:
    """The hint of a failed call, empty if nothing is known."""
    words = WORDS.get((name, status))
    if words is not None and (name in _MAKING or kind is not NotFound or not _missing(known)):
        return words.format(**known)
    if kind in (LimitExceeded, BadParameter):
        return limit(name, status, known)
    ask = _ASK.get(kind)
    if ask is not None:
        return ask(name, known)
    return IMAGES.get(status, "")


# ---- what is missing -------------------------------------------------------------------------------------------------


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
    from vswitch.values.mirror_table import sessions_of

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


# ---- what is there already, and what holds it ------------------------------------------------------------------------


def _exists(name: str, known: Known) -> str:
    alias = _switch_of(known)
    if name in _MAKING:
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
        return f"another port of switch {alias!r} has the external identifier"
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


# ---- what is not permitted -------------------------------------------------------------------------------------------


def _read_only(name: str, known: Known) -> str:
    key = known.get("name")
    if isinstance(key, str) and not key.startswith("uplink.") and _is_read_only(key):
        return f"property {key!r} is read only"
    return "the host's state cannot be written"


def _is_read_only(key: str) -> bool:
    return key in [getattr(libvswitch, name) for name in READ_ONLY]


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
