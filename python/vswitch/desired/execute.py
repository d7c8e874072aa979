"""Makes the calls of operations, whose inputs are plain data."""

from __future__ import annotations

import base64
import functools
import inspect
import struct
from collections.abc import Callable
from typing import Any

import libvswitch

from vswitch import _walk
from vswitch._calls import Data, Packed, call
from vswitch.desired.settings import Call
from vswitch.enums import MacType, RuntimeOption
from vswitch.values.base import slot
from vswitch.values.mac import HostMacLearning, MacEntry, MacLearning, SwitchMacLearning
from vswitch.values.mirror import MirrorSession
from vswitch.values.mirror_table import table_bytes as mirror_bytes
from vswitch.values.multicast import entries_bytes
from vswitch.values.options import options_bytes
from vswitch.values.security import EthernetFilter, SecurityPolicy
from vswitch.values.teaming import NamedTeaming, TeamingPolicy
from vswitch.values.teaming import table_bytes as teaming_bytes
from vswitch.values.vlan import PrivateVlan, map_bytes

_RANGE = struct.Struct("<HH")


def _record(kind: str, value_type: Any) -> Callable[[Any], Any]:
    def pack(plain: Any) -> Any:
        value = value_type.from_dict(plain)
        return Packed(kind, value.to_bytes(), value)

    return pack


def _slots(kind: str, size: int) -> Callable[[Any], Any]:
    def pack(names: Any) -> Any:
        return Packed(kind, struct.pack("<I", len(names)) + b"".join(slot(name, size) for name in names), names)

    return pack


def _mirror_table(sessions: Any) -> Any:
    return Packed("DVMirrorSessionTable", mirror_bytes(map(MirrorSession.from_dict, sessions)), sessions)


def _teaming_table(policies: Any) -> Any:
    return Packed("LSTeamTable", teaming_bytes(map(NamedTeaming.from_dict, policies)), policies)


class _Shown:
    """Options as errors show them."""

    def __init__(self, options: dict[str, Any]) -> None:
        self.options = options

    def to_dict(self) -> dict[str, Any]:
        return self.options


def _options(options: Any) -> Any:
    by_name = {option.option_name: option for option in RuntimeOption}
    data = options_bytes({by_name[name]: value for name, value in options.items()})
    return Packed("VSRuntimeOptions", data, _Shown(options))


def _address(entry: Any) -> Any:
    value = MacEntry(entry["mac"], MacType.USER, None, 0, entry["vlan"], entry["vni"])
    return Packed("VSMACEntry", value.to_bytes(), value)


# How plain data become a native argument, by the call and the argument.
_POLICIES = {
    "VSDVS_SetTeamingPolicy": _record("VSTeamPolicy", TeamingPolicy),
    "VSDVS_SetPortTeamingPolicy": _record("VSTeamPolicy", TeamingPolicy),
    "VSDVS_SetPortMACLearning": _record("VSPMACLearning", MacLearning),
}
_TABLES = {
    "VSDVS_SetLSTeamingPolicy": _teaming_table,
    "VSDVS_SetDVMirrorSessions": _mirror_table,
    "VSDVS_AppendDVMirrorSessions": _mirror_table,
}
_ARGUMENTS: dict[str, Callable[[Any], Any]] = {
    "properties": _record("VSPropMACLearning", SwitchMacLearning),
    "props": _record("VSMACLearningGlobalProps", HostMacLearning),
    "security": _record("VSPropSecurity", SecurityPolicy),
    "filter": _record("VSExtraEthFilter", EthernetFilter),
    "map": lambda entries: Packed("VSPvlanMapEntry", map_bytes(map(PrivateVlan.from_dict, entries)), entries),
    "ranges": lambda ranges: Packed("qel_HNQPortVIDRange", b"".join(_RANGE.pack(*one) for one in ranges), ranges),
    "entries": lambda addresses: Packed("VSMACEntries", entries_bytes(addresses), addresses),
    "names": _slots("VSUplinkPorts", _walk.NAME_SLOT),
    "dvport_ids": _slots("VSUplinkPortIds", _walk.ID_SLOT),
    "options": _options,
    "entry": _address,
}


@functools.cache
def _parameters(name: str) -> tuple[str, ...]:
    return tuple(inspect.signature(getattr(libvswitch, name)).parameters)


def run(one: Call) -> None:
    """Makes a call. Raises what it raises."""
    name, arguments = one
    native: list[Any] = []
    for argument in _parameters(name):
        value = arguments[argument]
        if value is None or type(value) is int or type(value) is str:
            native.append(value)
        elif argument in ("data", "image"):
            data = base64.b64decode(value["base64"])
            native.append(data if name.startswith("VSDVS_") else Data(data))
        else:
            pack = _POLICIES.get(name) if argument == "policy" else _TABLES.get(name) if argument == "table" else None
            native.append((pack or _ARGUMENTS[argument])(value))
    call(name, *native)
