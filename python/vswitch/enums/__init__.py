"""Enumerations of the library's numbers, by topic, and the reference of all its constants."""

from __future__ import annotations

import functools
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from vswitch.enums.keys import PropertyKey
    from vswitch.enums.mac import MacLimitPolicy, MacType
    from vswitch.enums.mirrors import (
        MirrorAction,
        MirrorEncapsulation,
        MirrorEndType,
        MirrorFlag,
        MirrorType,
        MirrorUplinkFilter,
        MirrorWildcard,
    )
    from vswitch.enums.multicast import MulticastMode, SourceFilterMode
    from vswitch.enums.options import RuntimeOption
    from vswitch.enums.policies import (
        EthernetFilterFlag,
        LoadBalance,
        PrivateVlanType,
        PropertyKind,
        RcfType,
        SecurityFlag,
        TeamCriterion,
        TeamFlag,
        VlanFlag,
    )
    from vswitch.enums.ports import LinkDuplex, LinkState, PortFlag, PortType
    from vswitch.enums.status import Status
    from vswitch.enums.switches import Origin, SaveRestoreMode, Scope, SwitchStatus, SwitchVersion

__all__ = [
    "Constant",
    "EthernetFilterFlag",
    "LinkDuplex",
    "LinkState",
    "LoadBalance",
    "MacLimitPolicy",
    "MacType",
    "MirrorAction",
    "MirrorEncapsulation",
    "MirrorEndType",
    "MirrorFlag",
    "MirrorType",
    "MirrorUplinkFilter",
    "MirrorWildcard",
    "MulticastMode",
    "Origin",
    "PortFlag",
    "PortType",
    "PrivateVlanType",
    "PropertyKey",
    "PropertyKind",
    "RcfType",
    "RuntimeOption",
    "SaveRestoreMode",
    "Scope",
    "SecurityFlag",
    "SourceFilterMode",
    "Status",
    "SwitchStatus",
    "SwitchVersion",
    "TeamCriterion",
    "TeamFlag",
    "VlanFlag",
    "constants",
]

# The enumerations of each topic, whose module is imported when one of them is first used.
_TOPICS = {
    "keys": "PropertyKey",
    "mac": "MacLimitPolicy MacType",
    "mirrors": "MirrorAction MirrorEncapsulation MirrorEndType MirrorFlag MirrorType MirrorUplinkFilter MirrorWildcard",
    "multicast": "MulticastMode SourceFilterMode",
    "options": "RuntimeOption",
    "policies": (
        "EthernetFilterFlag LoadBalance PrivateVlanType PropertyKind RcfType SecurityFlag TeamCriterion TeamFlag"
        " VlanFlag"
    ),
    "ports": "LinkDuplex LinkState PortFlag PortType",
    "status": "Status",
    "switches": "Origin SaveRestoreMode Scope SwitchStatus SwitchVersion",
}
_TOPIC_OF = {name: topic for topic, names in _TOPICS.items() for name in names.split()}
_OF_NO_CONSTANTS = {"Origin", "Scope"}


def __getattr__(name: str) -> Any:
    """An enumeration, when it is first used."""
    if name not in _TOPIC_OF:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    from importlib import import_module

    value = globals()[name] = getattr(import_module(f"{__name__}.{_TOPIC_OF[name]}"), name)
    return value


@dataclass(frozen=True, slots=True)
class Constant:
    """A named constant of the library."""

    name: str
    """Its name in `libvswitch`."""
    value: int | str
    """Its number, or its text."""
    family: str
    """The family that it is declared in."""
    meaning: str
    """What it means, in one line; of one that is in no enumeration, what its family is for."""


@functools.cache
def _families() -> dict[str, tuple[str, tuple[str, ...]]]:
    """By name of the family what it is for, and its constants, in the order of declaration."""
    import json
    from pathlib import Path

    table = json.loads(Path(__file__).with_name("families.json").read_text(encoding="utf-8"))
    return {name: (text, tuple(constants)) for name, text, constants in table}


def constants() -> dict[str, Constant]:
    """All named constants of the library by name, in the order of declaration."""
    import libvswitch

    kinds = [__getattr__(name) for name in _TOPIC_OF if name not in _OF_NO_CONSTANTS]
    meanings: dict[str, str] = {member.constant: member.meaning for kind in kinds for member in kind}
    return {
        name: Constant(name, getattr(libvswitch, name), family, meanings.get(name, text))
        for family, (text, names) in _families().items()
        for name in names
    }
