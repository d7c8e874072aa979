"""Exports: what is stored on a host as a document."""

from __future__ import annotations

import base64
import re
from collections.abc import Iterable
from typing import Any

from vswitch import _walk
from vswitch.desired import schema, settings, state
from vswitch.desired.published import NAMES
from vswitch.desired.state import Entry, HostState, Object, PortState, SwitchState
from vswitch.enums import LinkState, PortFlag, PortType, SwitchVersion
from vswitch.values.kinds import short
from vswitch.values.mirror_table import table_from
from vswitch.values.teaming import table_from as teaming_from

_GENERATED = re.compile(r"uplink-[0-9]+")


def export(*, observed: bool = False, only: Iterable[str] | None = None) -> dict[str, Any]:
    """What is stored and own on the switches `only`, or on all and on the host itself, as a document; with what is
    observed of the running state if wanted."""
    if isinstance(only, str):
        raise TypeError("only: several aliases are wanted, not a text")
    wanted = None if only is None else list(only)
    host = state.read(wanted, own=wanted is None)
    for alias in wanted or ():
        if alias not in host.switches:
            _walk.known_switch(alias)
    return document(host, observed=observed, own=wanted is None)


def document(host: HostState, *, observed: bool = False, own: bool = True) -> dict[str, Any]:
    """The document of a state."""
    made: dict[str, Any] = {"$schema": NAMES["state"], "format": schema.FORMAT, "switches": {}}
    for switch in host.switches.values():
        made["switches"][switch.alias] = switch_members(switch, observed)
    if own:
        made["mac_learning"] = short(host.mac_learning)
        made["runtime_options"] = {option.option_name: value for option, value in host.options.items()}
    return made


def switch_members(switch: SwitchState, observed: bool = False) -> dict[str, Any]:
    """A switch as a document has it."""
    made: dict[str, Any] = {"id": switch.id, "class": switch.class_name}
    if switch.details:
        made["persistent"] = switch.persistent
    if switch.flags:
        made["flags"] = switch.flags
    if not switch.connected:
        made["connected"] = False
    made["version"] = short(SwitchVersion.of(switch.version))
    made["max_ports"] = switch.max_ports
    made.update(own_settings(switch.common, settings.SWITCH))
    made["uplinks"] = uplinks(switch.uplinks)
    policies = teaming_policies(switch)
    _put(made, "teaming_policies", {policy.name: short(policy) for policy in policies})
    _put(made, "mirrors", mirrors(switch.common, settings.SWITCH_MIRRORS))
    _put(made, "properties", properties(switch.common, settings.SWITCH_KEYS))
    _put(made, "host_properties", properties(switch.local, settings.SWITCH_KEYS))
    ports = {name: port_members(port) for name, port in switch.ports.items()}
    uplink_ports = {name: port_members(port) for name, port in switch.uplink_ports.items()}
    if observed:
        made["observed"] = _observe(switch, ports, uplink_ports)
        observed_switch = made.pop("observed")
    _put(made, "ports", ports)
    _put(made, "uplink_ports", {name: members for name, members in uplink_ports.items() if members})
    if observed:
        made["observed"] = observed_switch
    return made


def port_members(port: PortState) -> dict[str, Any]:
    """A port as a document has it."""
    made: dict[str, Any] = {}
    if port.external_id:
        made["external_id"] = port.external_id
    if port.stored:
        made.update(own_settings(port, settings.PORT))
        if made.get("connect_id") == 0:
            del made["connect_id"]
        _put(made, "mirrors", mirrors(port, settings.PORT_MIRRORS))
        _put(made, "properties", properties(port, settings.PORT_KEYS))
    _put(made, "static_addresses", static_addresses(port))
    return made


def _put(made: dict[str, Any], name: str, value: Any) -> None:
    if value:
        made[name] = value


def own_settings(kept: Object, table: dict[str, settings.Setting]) -> dict[str, Any]:
    """The settings that are stored and own, in the short form."""
    return {name: short(value) for name, value in own_values(kept, table).items()}



def _names_by_key(table: dict[str, settings.Setting]) -> dict[str, frozenset[str]]:
    keys = {key for setting in table.values() for key in setting.keys}
    return {key: frozenset(name for name, setting in table.items() if key in setting.keys) for key in keys}


_BY_KEY = {id(table): _names_by_key(table) for table in (settings.SWITCH, settings.PORT)}


def own_values(kept: Object, table: dict[str, settings.Setting]) -> dict[str, Any]:
    """The values of the settings that are stored and own, in the order of the table."""
    if not kept.stored:
        return {}
    by_key = _BY_KEY[id(table)]
    names = {name for key in kept.stored for name in by_key.get(key, ())}
    if not names:
        return {}
    data = kept.data()
    return {name: table[name].decode(data) for name in table if name in names}


def value_of(kept: Object, setting: settings.Setting) -> Any:
    """The stored value of a setting; None where it is not own."""
    if not any(key in kept.stored for key in setting.keys):
        return None
    return setting.decode(kept.data())


def uplinks(found: Iterable[schema.Uplink]) -> list[Any]:
    """The short form of uplinks."""
    return [
        one.name if one.port is None or _GENERATED.fullmatch(one.port) else {"name": one.name, "port": one.port}
        for one in found
    ]


def teaming_policies(switch: SwitchState) -> tuple[Any, ...]:
    """The policies in the stored table."""
    entry = switch.common.stored.get(settings.TEAMING_TABLE)
    return teaming_from(entry.data) if entry is not None else ()


def sessions(kept: Object, key: str) -> tuple[Any, ...]:
    """The mirror sessions in the stored table."""
    entry = kept.stored.get(key)
    return table_from(entry.data) if entry is not None else ()


def mirrors(kept: Object, key: str) -> dict[str, Any]:
    """The short form of mirror sessions."""
    return {session.id: short(session) for session in sessions(kept, key)}


def is_free(key: str, keys: dict[str, str]) -> bool:
    """Whether a property is in `properties`, not in a member of its own."""
    return key not in keys and key not in settings.READ_ONLY


def properties(kept: Object, keys: dict[str, str]) -> dict[str, Any]:
    """The short form of the properties without a member of their own, by name."""
    return {key: property_form(kept.stored[key]) for key in sorted(kept.stored) if is_free(key, keys)}


def property_form(entry: Entry, volatile: bool = False) -> Any:
    """The short form of a property."""
    made = data_form(entry.data)
    if entry.owner:
        made["owner"] = entry.owner
    if volatile:
        made["volatile"] = True
    return made["text"] if list(made) == ["text"] else made


def data_form(data: bytes) -> dict[str, Any]:
    """Bytes as `text` where they are printable UTF-8 without blanks at the ends, else as `base64`."""
    try:
        text = data.decode()
    except UnicodeDecodeError:
        text = "\n"
    if text.isprintable() and text == text.strip():
        return {"text": text}
    return {"base64": base64.b64encode(data).decode()}


def static_addresses(port: PortState) -> list[dict[str, Any]]:
    """The short form of addresses that were set by hand."""
    return [static_form(one) for one in port.static]


def static_form(one: schema.StaticAddress) -> dict[str, Any]:
    """The short form of an address."""
    made: dict[str, Any] = {"mac": one.mac}
    _put(made, "vlan", one.vlan)
    _put(made, "vni", one.vni)
    return made


# ---- what is observed -----------------------------------------------------------------------------------------


def _observe(switch: SwitchState, ports: dict[str, Any], uplink_ports: dict[str, Any]) -> dict[str, Any]:
    """What runs, put into the members of the ports; what is the switch's own is returned."""
    import vswitch

    handle = vswitch.Host().switches[switch.alias]
    alias = switch.alias
    made: dict[str, Any] = {}
    if switch.connected:
        made["portset"] = handle.portset
        made["active_ports"] = handle.info.active_ports
    made["status"] = short(handle.status)
    if switch.connected:
        made["lags"] = [lag.to_dict() for lag in handle.lags.values()]
    types = {}
    for kind in (PortType.ACTIVE, PortType.SHADOW, PortType.LOCALCACHE):
        types.update(dict.fromkeys(_walk.ports_of_type(alias, kind), kind))
    reader = state.StatusReader(alias)
    for name, members in ports.items():
        members["observed"] = _observed_port(reader, name, types)
    names = {uplink.name: str(uplink.port) for uplink in switch.uplinks}
    for name, members in uplink_ports.items():
        members["observed"] = _observed_port(reader, names[name], types)
    if switch.uplinks and switch.connected:
        nics = {uplink.name: handle.uplinks[uplink.name] for uplink in switch.uplinks}
        made["uplinks"] = {
            name: {
                "link": short(uplink.link),
                "lacp_link": short(uplink.lacp_link),
                "nic": uplink.nic.name if uplink.nic is not None else None,
            }
            for name, uplink in nics.items()
        }
    return made


_LINK_UP = int(PortFlag.LINKUP)
_LINK_TEXTS = (short(LinkState.DOWN), short(LinkState.UP))


def _observed_port(reader: state.StatusReader, port: str, types: dict[str, PortType]) -> dict[str, Any]:
    flags, number, client = reader.read(port)
    return {
        "number": number,
        "type": short(types.get(port)),
        "client": client or None,
        "link": _LINK_TEXTS[bool(flags & _LINK_UP)],
    }
