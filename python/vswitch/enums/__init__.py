"""Enumerations of the library's numbers, by topic, and the reference of all its constants."""

from __future__ import annotations

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
    from vswitch.enums.reference import Constant, constants
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
    "reference": "Constant constants",
    "status": "Status",
    "switches": "Origin SaveRestoreMode Scope SwitchStatus SwitchVersion",
}
_OWN = {"Origin", "Scope"}
_TOPIC_OF = {name: topic for topic, names in _TOPICS.items() for name in names.split()}


def with_constants() -> list[Any]:
    """The enumerations whose members are constants of the library."""
    return [__getattr__(name) for name, topic in _TOPIC_OF.items() if topic != "reference" and name not in _OWN]


def __getattr__(name: str) -> Any:
    """An enumeration, when it is first used."""
    if name not in _TOPIC_OF:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    from importlib import import_module

    value = globals()[name] = getattr(import_module(f"{__name__}.{_TOPIC_OF[name]}"), name)
    return value
