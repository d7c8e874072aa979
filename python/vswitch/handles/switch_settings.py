"""The settings of a switch: a row for each."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from vswitch import values
from vswitch._calls import Packed, call, pointed, take
from vswitch.handles.collection import WithSettings
from vswitch.handles.setting import (
    Names,
    Setting,
    Ways,
    decode_one,
    flag,
    member,
    multicast_ways,
    number,
    one_of,
    raw,
    record,
)
from vswitch.values.kinds import MACS, number_of, several, truth, whole_number

if TYPE_CHECKING:
    from vswitch.enums import MulticastMode, RcfType
    from vswitch.values.mac import SwitchMacLearning
    from vswitch.values.teaming import TeamingPolicy
    from vswitch.values.vlan import PrivateVlan

_ENTRY = 8


def _read_map(names: Names) -> tuple[PrivateVlan, ...]:
    return take(
        lambda entries, count: values.vlan.map_of(pointed(entries, count * _ENTRY)) if entries is not None else (),
        "VSDVS_GetPrivateVLANMap",
        *names,
    )


def _write_map(names: Names, entries: tuple[PrivateVlan, ...]) -> None:
    packed = None
    if entries:
        packed = Packed("VSPvlanMapEntry", values.vlan.map_bytes(entries), [entry.to_dict() for entry in entries])
    call("VSDVS_SetPrivateVLANMap", *names, packed, len(entries))


_MAP = Ways(_read_map, _write_map, lambda names: _write_map(names, ()), decode_one("VSPROP_PVLAN_MAP"))


class SwitchSettings(WithSettings):
    """What can be set at a switch."""

    __slots__ = ()

    mtu = Setting[int, int](
        "The largest payload of a frame: bytes, 1280 to 9000. BadParameter.",
        "VSPROP_MTU",
        whole_number,
        number("VSPROP_MTU", "VSDVS_GetMTU", "VSDVS_SetMTU", cell="qel_uint32 *"),
    )
    teaming = Setting["TeamingPolicy", "TeamingPolicy"](
        "Which uplinks carry the traffic of ports without a policy of their own: a TeamingPolicy. NotFound"
        " for an uplink that"
        " the switch does not have, LimitExceeded, BadParameter.",
        "VSPROP_SWITCH_TEAMING",
        one_of("teaming.TeamingPolicy"),
        record(
            "VSPROP_SWITCH_TEAMING",
            "VSTeamPolicy",
            "teaming.TeamingPolicy",
            "VSDVS_GetTeamingPolicy",
            "VSDVS_SetTeamingPolicy",
            "VSDVS_ClearTeamingPolicy",
        ),
    )
    mac_learning = Setting["SwitchMacLearning", "SwitchMacLearning"](
        "How MAC addresses are learned: a SwitchMacLearning; without one those of the host. BadParameter,"
        " LimitExceeded.",
        "VSPROP_SWITCH_MAC_LEARNING",
        one_of("mac.SwitchMacLearning"),
        record(
            "VSPROP_SWITCH_MAC_LEARNING",
            "VSPropMACLearning",
            "mac.SwitchMacLearning",
            "VSDVS_GetMACLearning",
            "VSDVS_SetMACLearning",
            "VSDVS_ClearMACLearning",
        ),
        else_origin="HOST",
    )
    static_mac_allow = Setting[bool, bool](
        "Static addresses are in the MAC tables: a bool; without it that of the host.",
        "VSPROP_SWITCH_STATIC_MAC_ALLOW",
        truth,
        flag(
            "VSPROP_SWITCH_STATIC_MAC_ALLOW",
            "VSDVS_GetStaticMACAllow",
            "VSDVS_SetStaticMACAllow",
            "VSDVS_ClearStaticMACAllow",
        ),
        else_origin="HOST",
    )
    learn_static = Setting[bool, bool](
        "Addresses that are static are learned too: a bool; without it that of the host.",
        "VSPROP_SWITCH_MAC_LEARN_STATIC",
        truth,
        flag(
            "VSPROP_SWITCH_MAC_LEARN_STATIC",
            "VSDVS_GetLearnStatic",
            "VSDVS_SetLearnStatic",
            "VSDVS_ClearLearnStatic",
        ),
        else_origin="HOST",
    )
    private_vlans = Setting["tuple[PrivateVlan, ...]", Any](
        "Its private VLANs: PrivateVlan values of any iterable. BadParameter, AlreadyExists, LimitExceeded;"
        " Busy where a port is"
        " in a secondary VLAN that would go.",
        "VSPROP_PVLAN_MAP",
        lambda given: several(given, one_of("vlan.PrivateVlan")),
        _MAP,
    )
    multicast_mode = Setting["MulticastMode | int", "MulticastMode | int"](
        "How multicast is filtered: a MulticastMode. BadParameter.",
        "VSPROP_MULTICAST_FILTER",
        number_of("MulticastMode").accept,
        member("VSPROP_MULTICAST_FILTER", "MulticastMode", "VSDVS_GetMcastFilterMode", "VSDVS_SetMcastFilterMode"),
    )
    multicast = Setting["tuple[str, ...]", Any](
        "Multicast addresses that its ports receive besides those that clients have joined: MACs, at most"
        " 25, of any iterable."
        " BadParameter, LimitExceeded, AlreadyExists for one that stands twice.",
        "VSPROP_USER_MCAST_ADDRESSES",
        MACS.accept,
        multicast_ways(
            "VSPROP_USER_MCAST_ADDRESSES",
            "VSDVS_GetMcastUserLegacyEntries",
            "VSDVS_SetMcastUserLegacyEntries",
            "VSDVS_ClearMcastUserLegacyEntries",
        ),
    )
    rcf_type = Setting["RcfType | int", "RcfType | int"](
        "Which instructions its packet filters have: an RcfType. BadParameter.",
        "VSPROP_RCF_INSN_TYPE",
        number_of("RcfType").accept,
        member("VSPROP_RCF_INSN_TYPE", "RcfType", "VSDVS_GetRCFType", "VSDVS_SetRCFType"),
    )
    forwarding_disabled = Setting[bool, bool](
        "It forwards no frames: a bool.",
        "VSPROP_SWITCH_FORWARDING_DISABLED",
        truth,
        raw("VSPROP_SWITCH_FORWARDING_DISABLED"),
    )
