"""The state of a host as it is read for exports and plans: switches with their properties, stored and volatile."""

from __future__ import annotations

import bisect
import functools
import struct
from collections.abc import Iterable, Mapping
from dataclasses import dataclass, field
from typing import Any, NamedTuple

import libvswitch

from vswitch import _walk
from vswitch._calls import Output, call, fill, take, take_bytes
from vswitch.desired import settings
from vswitch.desired.schema import StaticAddress, Uplink
from vswitch.enums import MacType, PortFlag, PortType, PropertyKey, RuntimeOption
from vswitch.errors import Failed, NotFound
from vswitch.values.base import slot_text
from vswitch.values.mac import HostMacLearning, MacEntry
from vswitch.values.options import options_from

_HEAD = struct.Struct("<8sIII")
MAGIC = b"vswstate"
_NAME, _IDENTIFIER = 81, 48
_ENTRY_SIZE = 26
_VOLATILE = int(libvswitch.VOLATILE_PROP_TYPE)
_CONFIG = int(libvswitch.CONFIG_PROP_TYPE)
_ATTEMPTS = 5
_CALLS_TO_PLACE = 8


class Entry(NamedTuple):
    """One of the two values of a property."""

    data: bytes
    owner: str
    kinds: int


@dataclass(slots=True)
class Object:
    """Properties by their keys: the stored values and the volatile ones."""

    stored: dict[str, Entry] = field(default_factory=dict)
    volatile: dict[str, Entry] = field(default_factory=dict)

    def data(self) -> dict[str, bytes]:
        """The stored bytes by key."""
        return {key: entry.data for key, entry in self.stored.items()}

    def in_effect(self, key: str) -> Entry | None:
        """The value in effect."""
        return self.volatile.get(key) or self.stored.get(key)


@dataclass(slots=True)
class PortState(Object):
    """A port, or the port of an uplink."""

    external_id: str = ""
    static: tuple[StaticAddress, ...] = ()


@dataclass(slots=True)
class SwitchState:
    """A switch. `details`: whether what only images tell is known (`persistent`, external identifiers, owners)."""

    alias: str
    id: str = ""
    class_name: str = ""
    version: int = 0
    max_ports: int = 0
    flags: int = 0
    persistent: bool = True
    connected: bool = True
    details: bool = True
    common: Object = field(default_factory=Object)
    local: Object = field(default_factory=Object)
    uplinks: list[Uplink] = field(default_factory=list)
    ports: dict[str, PortState] = field(default_factory=dict)
    uplink_ports: dict[str, PortState] = field(default_factory=dict)
    nics: dict[str, str] = field(default_factory=dict)
    image: dict[str, Any] | None = None


@dataclass(slots=True)
class HostState:
    """All switches in the library's order, and the host's own settings if they were asked for."""

    switches: dict[str, SwitchState]
    mac_learning: HostMacLearning = field(default_factory=HostMacLearning)
    options: dict[RuntimeOption, int | str] = field(default_factory=dict)


def decoded(image: bytes) -> dict[str, Any] | None:
    """The document in an image of the state; None where it is not of the known form."""
    if len(image) < _HEAD.size or image[:8] != MAGIC:
        return None
    import cbor2

    try:
        document = cbor2.loads(image[_HEAD.size :])
    except Exception:  # noqa: BLE001 - whatever a decoder finds wrong, the image is not of this form
        return None
    return document if isinstance(document, dict) and document.get("content") == "state" else None


def read(only: Iterable[str] | None = None, *, volatile: bool = False, own: bool = True) -> HostState:
    """Reads the host: of the switches `only`, or all; with the volatile values too; and the host's own settings."""
    images, aliases = _all_images() if volatile else _stored_images()
    wanted = aliases if only is None else [alias for alias in aliases if alias in set(only)]
    host = HostState({})
    for alias in wanted:
        try:
            image = images.get(alias)
            host.switches[alias] = _of_image(image) if image is not None else _of_calls(alias)
        except NotFound:
            if _walk.switch_handle(alias) is not None:
                raise
    if not volatile:
        for switch in host.switches.values():
            in_order(switch)
    if own:
        host.mac_learning = host_mac_learning()
        host.options = runtime_options()
    return host


def _images(name: str) -> dict[str, Any] | None:
    document = decoded(take_bytes(name))
    return None if document is None else {switch["alias"]: switch for switch in document["switches"]}


def _all_images() -> tuple[dict[str, Any], list[str]]:
    """The switches by their aliases with all values, and the aliases."""
    images = _images("DVSQEL_StateGet")
    return ({}, _walk.aliases()) if images is None else (images, list(images))


def _stored_images() -> tuple[dict[str, Any], list[str]]:
    """The switches with what is stored, those that are not persistent with all values, and all aliases. The walk has no
    status: where it lacks what the image has, it failed, or the switch went meanwhile, and everything is read again."""
    for _ in range(_ATTEMPTS):
        images = _images("DVSQEL_PersistentStateGet")
        aliases = _walk.aliases()
        if images is None:
            return {}, aliases
        if all(alias in aliases for alias in images):
            break
    else:
        raise Failed("the library leaves switches out that its image has")
    if any(alias not in images for alias in aliases):
        images = {**(_images("DVSQEL_StateGet") or {}), **images}
    return images, aliases


def host_mac_learning() -> HostMacLearning:
    """What holds for every switch without settings of its own."""
    return HostMacLearning.from_bytes(fill("VSMACLearningGlobalProps", "VSQEL_GetGlobalMACLearningProps"))


def runtime_options() -> dict[RuntimeOption, int | str]:
    """All runtime options."""
    wanted = libvswitch.cell("qel_uint16 *", *RuntimeOption)
    return take(
        lambda record: options_from(libvswitch.pointed_bytes(record, record.totalLength)),
        "VSQEL_GetRuntimeOptions",
        Output(wanted),
        len(RuntimeOption),
    )


# ---- from an image --------------------------------------------------------------------------------------------


def _object(properties: list[dict[str, Any]], into: Object) -> None:
    stored, volatile = into.stored, into.volatile
    for one in properties:
        kept = volatile if one["volatile"] else stored
        kept[one["name"]] = Entry(one["value"], one["owner"], one["type"])


def uplink_list(data: bytes) -> list[Uplink]:
    """The uplinks that the host's property lists: their names, and the identifiers of their ports."""
    if len(data) < 4:
        return []
    (count,) = struct.unpack_from("<I", data)
    ids = 4 + count * _NAME + 4
    return [
        Uplink(
            slot_text(data[4 + i * _NAME : 4 + (i + 1) * _NAME]),
            slot_text(data[ids + i * _IDENTIFIER : ids + (i + 1) * _IDENTIFIER]),
        )
        for i in range(count)
    ]


def _of_image(image: dict[str, Any]) -> SwitchState:
    switch = SwitchState(
        alias=image["alias"],
        id=image["switch_id"],
        class_name=image["class"],
        version=image["version"],
        max_ports=image["max_ports"],
        flags=image["flags"],
        persistent=bool(image["persistent"]),
        connected=bool(image["portset"]),
        image=image,
    )
    _object(image["global"], switch.common)
    _object(image["host"], switch.local)
    entry = switch.local.in_effect(settings.UPLINKS)
    switch.uplinks = uplink_list(entry.data) if entry is not None else []
    switch.nics = {one["uplink"]: one["nic"] for one in image["nics"]}
    found: dict[str, PortState] = {}
    for one in image["ports"]:
        port = found[one["dvport_id"]] = PortState(external_id=one["external_id"])
        _object(one["properties"], port)
    names = {uplink.port: uplink.name for uplink in switch.uplinks}
    free = {port: one for port, one in found.items() if port not in names}
    switch.ports = free
    switch.uplink_ports = {name: found.get(str(port)) or PortState() for port, name in names.items()}
    if not switch.persistent:
        # Nothing of it outlives a boot: what is written counts as stored.
        for kept in (switch.common, switch.local, *switch.ports.values(), *switch.uplink_ports.values()):
            kept.stored = {**kept.volatile, **kept.stored}
    if switch.connected:
        _read_static(switch)
    return switch


def _read_static(switch: SwitchState) -> None:
    """What was set by hand in the MAC tables."""
    for name in ("VSQEL_GetMACTable", "VSQEL_GetTeamMACTable"):
        entries = take(_rows, name, switch.alias, int(MacType.USER))
        if not entries:
            continue
        ports = _walk.identifiers(switch.alias, (entry.number for entry in entries))
        uplinks = {uplink.port: uplink.name for uplink in switch.uplinks}
        for entry in entries:
            identifier = ports.get(entry.number, "")
            port = switch.ports.get(identifier) or switch.uplink_ports.get(uplinks.get(identifier, ""))
            if port is not None:
                port.static += (StaticAddress(entry.mac, entry.vlan, entry.vni),)


def _rows(table: Any) -> list[MacEntry]:
    count = table.numEntries
    if not count:
        return []
    data = libvswitch.pointed_bytes(table, 8 + count * _ENTRY_SIZE)
    return [MacEntry.from_bytes(data[at : at + _ENTRY_SIZE]) for at in range(8, len(data), _ENTRY_SIZE)]


def in_order(switch: SwitchState) -> None:
    """Puts the ports into the library's order, that of their numbers; images have another."""
    if switch.image is None or len(switch.ports) < 2:
        return
    left = dict(switch.ports)
    switch.ports = {port: left.pop(port) for port in _port_order(switch.alias, left) if port in left} | left


def _port_order(alias: str, ports: Mapping[str, Any]) -> list[str]:
    """Identifiers in the order of the numbers. Lists by type have that order; where one has nearly all ports, the
    others are put between them, which takes fewer calls than a walk that asks for each identifier."""
    kinds = (PortType.ACTIVE, PortType.SHADOW, PortType.LOCALCACHE)
    lists = [[port for port in _walk.ports_of_type(alias, kind) if port in ports] for kind in kinds]
    longest = max(lists, key=len)
    others = [port for found in lists if found is not longest for port in found]
    if len(others) * _CALLS_TO_PLACE > len(longest):
        return _walk.all_ports(alias)
    number = functools.cache(lambda port: _walk.port_number(alias, port))
    for port in others:
        bisect.insort(longest, port, key=number)
    return longest


# ---- from calls, where images are in another form -------------------------------------------------------------


def _of_calls(alias: str) -> SwitchState:
    handle = _walk.known_switch(alias)
    switch = SwitchState(
        alias=alias,
        id=call("DVS_SwitchId", handle) or "",
        class_name=call("DVS_ClassName", handle) or "",
        version=call("DVS_Version", handle),
        max_ports=call("DVS_GetMaxPorts", handle),
        details=False,
    )
    switch.connected = is_connected(alias)
    _written(_walk.switch_properties(alias), switch.common)
    _written(_walk.host_properties(alias), switch.local)
    switch.uplinks = [Uplink(name, port) for name, port in _walk.uplinks(alias)]
    everything = _walk.properties_of_ports(alias)
    names = {uplink.port: uplink.name for uplink in switch.uplinks}
    zombies = _walk.zombies(alias)
    for identifier, written in everything.items():
        port = PortState()
        _written(written, port)
        if identifier in names:
            switch.uplink_ports[names[identifier]] = port
        elif identifier not in zombies:
            switch.ports[identifier] = port
    if switch.connected:
        _read_static(switch)
    return switch


def _written(written: dict[str, _walk.Written], into: Object) -> None:
    for key, value in written.items():
        into.stored[key] = Entry(value.data, "", value.kinds & ~_VOLATILE or _CONFIG)


def is_connected(alias: str) -> bool:
    """Whether a switch has a port set."""
    from vswitch.errors import WrongState

    try:
        call("DVSAliasToPortsetName", alias)
    except WrongState:
        return False
    return True


# ---- who is connected -----------------------------------------------------------------------------------------

_STATUS = struct.Struct("<QQI80s")
_QUERY = struct.Struct("<IQ")
_STATUS_KEY = str(PropertyKey.QEL_HNQPROP_PORT_STATUS)


class PropertyReader:
    """Reads one property of fixed size of a switch's ports, with one call for each into the same memory."""

    def __init__(self, alias: str, key: str, size: int) -> None:
        self.alias, self.key = alias, key
        self.room = libvswitch.buffer(size)
        self.query = libvswitch.HNQQuery.from_bytes(_QUERY.pack(size, int(self.room.this)))
        self.output = Output(self.query)

    def data(self, port: str) -> memoryview:
        """The value in effect, until the next one is read."""
        call("VSDVS_GetPortProp", self.alias, port, self.key, self.output, None, 0)
        return self.room.view


# A number, since a number and a member make a member, which takes longer than the rest of a port.
_IN_USE = int(PortFlag.INUSE)


class StatusReader(PropertyReader):
    """Reads what the status of a port says, with one call for each."""

    def __init__(self, alias: str) -> None:
        super().__init__(alias, _STATUS_KEY, _STATUS.size)

    def read(self, port: str) -> tuple[int, int, str]:
        """The flags and the number of a port, and its client (empty without one)."""
        flags, _, number, client = _STATUS.unpack_from(self.data(port))
        return flags, number, slot_text(client) if flags & _IN_USE else ""


def clients(alias: str) -> dict[str, str]:
    """The clients of a switch's ports, without uplinks, by the ports' identifiers."""
    uplinks = {port for _, port in _walk.uplinks(alias)}
    reader = StatusReader(alias)
    active = [port for port in _walk.ports_of_type(alias, PortType.ACTIVE) if port not in uplinks]
    return {port: reader.read(port)[2] for port in active}
