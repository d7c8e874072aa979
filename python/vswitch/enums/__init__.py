"""Enumerations of the library's numbers, by topic, and the reference of all its constants."""

import functools
import json
from collections.abc import Iterable
from dataclasses import dataclass
from pathlib import Path

import libvswitch

from vswitch.enums._member import Bits, Number
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

_OF_CONSTANTS: tuple[type[Number] | type[Bits] | type[PropertyKey], ...] = (
    EthernetFilterFlag, LinkDuplex, LinkState, LoadBalance, MacLimitPolicy, MacType, MirrorAction, MirrorEncapsulation,
    MirrorEndType, MirrorFlag, MirrorType, MirrorUplinkFilter, MirrorWildcard, MulticastMode, PortFlag, PortType,
    PrivateVlanType, PropertyKey, PropertyKind, RcfType, RuntimeOption, SaveRestoreMode, SecurityFlag, SourceFilterMode,
    Status, SwitchStatus, SwitchVersion, TeamCriterion, TeamFlag, VlanFlag,
)  # fmt: skip


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
    table = json.loads(Path(__file__).with_name("families.json").read_text(encoding="utf-8"))
    return {name: (text, tuple(constants)) for name, text, constants in table}


def constants() -> dict[str, Constant]:
    """All named constants of the library by name, in the order of declaration."""
    meanings: dict[str, str] = {}
    for kind in _OF_CONSTANTS:
        members: Iterable[Number | Bits | PropertyKey] = kind
        for member in members:
            meanings[member.constant] = member.meaning
    return {
        name: Constant(name, getattr(libvswitch, name), family, meanings.get(name, text))
        for family, (text, names) in _families().items()
        for name in names
    }
