"""The settings of switches and ports as documents have them: their properties, forms, defaults, and the calls that
write and clear them."""

from __future__ import annotations

import base64
from collections.abc import Callable, Mapping
from typing import Any, NamedTuple

from vswitch.desired import forms
from vswitch.desired.value_forms import MAC, TEAMING, TEXT, TRUTH, VLAN, WHOLE
from vswitch.enums import (
    EthernetFilterFlag,
    MacLimitPolicy,
    MulticastMode,
    PrivateVlanType,
    PropertyKey,
    RcfType,
)
from vswitch.values import base
from vswitch.values.codecs import CODECS, NUMBER, OPTIONAL_TEXTUAL
from vswitch.values.mac import MacLearning, SwitchMacLearning
from vswitch.values.properties import ResourcePool
from vswitch.values.security import EthernetFilter, SecurityPolicy
from vswitch.values.teaming import TeamingPolicy
from vswitch.values.vlan import PrivateVlan, VlanPolicy

# A call with its inputs by the interface's names, as plain data.
Call = tuple[str, dict[str, Any]]
Calls = tuple[Call, ...]
# Which switch, and which port if any: the first arguments of every call about it.
Place = dict[str, Any]
# The stored values of an object's properties by their keys.
Stored = Mapping[str, bytes]


# ---- settings -------------------------------------------------------------------------------------------------


class Setting(NamedTuple):
    """A setting: its name, the keys of its properties, the form of its value, its default (None: has no value), and how
    to make its value of the stored properties, and the calls that write and clear it. A setting that inherits takes
    what it does not have from the switch or the host."""

    name: str
    keys: tuple[str, ...]
    form: forms.Form
    default: Any
    decode: Callable[[Stored], Any]
    write: Callable[[Place, Any], Calls]
    clear: Callable[[Place], Calls]


def data(value: bytes) -> dict[str, str]:
    """Bytes as plain data."""
    return {"base64": base64.b64encode(value).decode()}


def write_property(
    place: Place, key: str, value: bytes, owner: str | None = None, volatile: bool = False, host: bool = False
) -> Call:
    """The call that writes a property of a port, or of a switch on all its hosts or (`host`) on this one."""
    arguments = {"name": key, "data": data(value), "length": len(value), "vendor": owner}
    return f"VSDVS_Set{_scope(place, host)}Prop", {**place, **arguments, "persistent": int(not volatile)}


def clear_property(place: Place, key: str, owner: str | None = None, host: bool = False) -> Call:
    """The call that clears both values of a property."""
    return f"VSDVS_Clear{_scope(place, host)}Prop", {**place, "name": key, "vendor": owner, "persistent": 1}


def _scope(place: Place, host: bool) -> str:
    return "Port" if "dvport_id" in place else "Host" if host else "Glob"


def plain(value: Any) -> Any:
    """A value as plain data."""
    if isinstance(value, base.Value):
        return value.to_dict()
    if isinstance(value, tuple):
        return [plain(one) for one in value]
    return int(value) if isinstance(value, int) else value


def _typed(
    name: str,
    key: str,
    form: forms.Form,
    default: Any,
    write: str,
    argument: str,
    clear: str = "",
) -> Setting:
    """A setting that one call with one argument writes, and one without clears (or else that of the property)."""
    text = str(getattr(PropertyKey, key))
    codec = CODECS[text]

    def writing(place: Place, value: Any) -> Calls:
        return ((write, {**place, argument: plain(value)}),)

    def clearing(place: Place) -> Calls:
        return ((clear, dict(place)),) if clear else (clear_property(place, text),)

    return Setting(name, (text,), form, default, lambda stored: codec.decode(stored[text]), writing, clearing)


def _raw(name: str, key: str, form: forms.Form, default: Any, codec: Any = None) -> Setting:
    """A setting that is written as the property itself."""
    text = str(getattr(PropertyKey, key))
    used = codec or CODECS[text]
    return Setting(
        name,
        (text,),
        form,
        default,
        lambda stored: used.decode(stored[text]),
        lambda place, value: (write_property(place, text, used.encode(value)),),
        lambda place: (clear_property(place, text),),
    )


def _flag(name: str, key: str, write: str, argument: str, default: bool, clear: str = "") -> Setting:
    made = _typed(name, key, TRUTH, default, write, argument, clear)
    return made._replace(write=lambda place, value: ((write, {**place, argument: int(value)}),))


def _entries(write: str) -> Callable[[Place, Any], Calls]:
    return lambda place, value: ((write, {**place, "count": len(value), "entries": list(value)}),)


def _write_vlan(place: Place, value: VlanPolicy) -> Calls:
    ranges = [list(one) for one in value.trunk or ()]
    arguments = {
        "vlan_id": value.id,
        "priority": NO_PRIORITY if value.priority is None else value.priority,
        "guest_tagging": int(value.trunk is not None),
        "private_vlan": int(value.private),
        "ranges": ranges or None,
        "num_ranges": len(ranges),
    }
    return (("VSDVS_SetPortVLANPolicy", {**place, **arguments}),)


def _read_vlan(stored: Stored) -> VlanPolicy:
    priority = stored.get(PRIORITY)
    policy = stored.get(str(PropertyKey.VSPROP_PORT_VLAN))
    if policy is None:
        return VlanPolicy()
    return VlanPolicy.from_bytes(policy, int.from_bytes(priority or b"", "little"))


NO_PRIORITY = 255
PRIORITY = str(PropertyKey.VSPROP_PORT_PRIORITY)
MANAGEMENT = str(PropertyKey.VSPROP_PORT_MAC_MANAGEMENT)
CONNECT_ID = str(PropertyKey.QEL_HNQPROP_PORT_CONNECTID)
_MANAGEMENT_DEFAULT = b"\1" + MacLearning().to_bytes()


def management(stored: Stored) -> bytes:
    """The property that MAC learning and MAC changes of a port share."""
    return stored.get(MANAGEMENT, _MANAGEMENT_DEFAULT)


def is_default_management(value: bytes) -> bool:
    """Whether the shared property says what it would say without being there."""
    return bool(value[0]) and MacLearning.from_bytes(value[1:]) == MacLearning()


SWITCH = {
    setting.name: setting
    for setting in (
        _typed("mtu", "VSPROP_MTU", WHOLE, 1500, "VSDVS_SetMTU", "mtu"),
        _typed(
            "teaming",
            "VSPROP_SWITCH_TEAMING",
            TEAMING,
            TeamingPolicy(),
            "VSDVS_SetTeamingPolicy",
            "policy",
            "VSDVS_ClearTeamingPolicy",
        ),
        _typed(
            "mac_learning",
            "VSPROP_SWITCH_MAC_LEARNING",
            forms.Record(SwitchMacLearning, aging_time=WHOLE, limit=WHOLE),
            None,
            "VSDVS_SetMACLearning",
            "properties",
            "VSDVS_ClearMACLearning",
        ),
        _flag(
            "static_mac_allow",
            "VSPROP_SWITCH_STATIC_MAC_ALLOW",
            "VSDVS_SetStaticMACAllow",
            "allow",
            True,
            "VSDVS_ClearStaticMACAllow",
        )._replace(default=None),
        _flag(
            "learn_static",
            "VSPROP_SWITCH_MAC_LEARN_STATIC",
            "VSDVS_SetLearnStatic",
            "learn",
            False,
            "VSDVS_ClearLearnStatic",
        )._replace(default=None),
        _typed(
            "private_vlans",
            "VSPROP_PVLAN_MAP",
            forms.Listed(
                forms.Record(
                    PrivateVlan,
                    ("primary", "secondary", "type"),
                    primary=WHOLE,
                    secondary=WHOLE,
                    type=forms.Choice(PrivateVlanType),
                )
            ),
            (),
            "VSDVS_SetPrivateVLANMap",
            "map",
        )._replace(
            write=lambda place, value: (
                ("VSDVS_SetPrivateVLANMap", {**place, "map": plain(value) or None, "count": len(value)}),
            ),
        ),
        _typed(
            "multicast_mode",
            "VSPROP_MULTICAST_FILTER",
            forms.Choice(MulticastMode),
            MulticastMode.LEGACY,
            "VSDVS_SetMcastFilterMode",
            "mode",
        ),
        _typed(
            "multicast",
            "VSPROP_USER_MCAST_ADDRESSES",
            forms.Listed(MAC),
            (),
            "",
            "",
            "VSDVS_ClearMcastUserLegacyEntries",
        )._replace(write=_entries("VSDVS_SetMcastUserLegacyEntries")),
        _typed(
            "rcf_type",
            "VSPROP_RCF_INSN_TYPE",
            forms.Choice(RcfType),
            RcfType.CBPF,
            "VSDVS_SetRCFType",
            "instruction_type",
        ),
        _raw("forwarding_disabled", "VSPROP_SWITCH_FORWARDING_DISABLED", TRUTH, False),
    )
}

PORT = {
    setting.name: setting
    for setting in (
        Setting(
            "vlan",
            (str(PropertyKey.VSPROP_PORT_VLAN), PRIORITY),
            VLAN,
            VlanPolicy(),
            _read_vlan,
            _write_vlan,
            lambda place: (("VSDVS_ClearPortVLANPolicy", dict(place)),),
        ),
        _flag("nested_vlan_tagging", "VSPROP_PORT_VLAN_NESTEDTAG", "VSDVS_SetPortNestedVLANTagging", "enable", False),
        _flag("tx_uplink_always", "VSPROP_PORT_TX_UPLINK", "VSDVS_SetTxUplinkAlways", "enable", False),
        _raw("priority_retain", "VSPROP_PORT_PRIORITY_RETAIN", TRUTH, False),
        _raw("multicast_override", "VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE", TRUTH, False),
        _raw("blocked", "QEL_HNQPROP_PORT_BLOCK", TRUTH, False),
        _raw("passthrough_allowed", "QEL_HNQPROP_PORT_PTALLOWED", TRUTH, False),
        _typed(
            "teaming",
            "VSPROP_PORT_TEAMING_POLICY",
            TEAMING,
            TeamingPolicy(),
            "VSDVS_SetPortTeamingPolicy",
            "policy",
            "VSDVS_ClearPortTeamingPolicy",
        ),
        _typed(
            "teaming_override",
            "VSPROP_PORT_TEAMING_OVERRIDE",
            TEXT,
            None,
            "VSDVS_SetPortTeamingOverride",
            "uplink",
            "VSDVS_ClearPortTeamingOverride",
        ),
        _typed(
            "teaming_policy",
            "VSPROP_PORT_LS_TEAMING_POLICY",
            TEXT,
            None,
            "VSDVS_SetPortLSTeamingPolicy",
            "policy_name",
            "VSDVS_ClearPortLSTeamingPolicy",
        ),
        Setting(
            "mac_learning",
            (MANAGEMENT,),
            forms.Record(
                MacLearning, learning=TRUTH, flooding=TRUTH, limit=WHOLE, at_limit=forms.Choice(MacLimitPolicy)
            ),
            MacLearning(),
            lambda stored: MacLearning.from_bytes(stored[MANAGEMENT][1:]),
            lambda place, value: (("VSDVS_SetPortMACLearning", {**place, "policy": value.to_dict()}),),
            lambda place: (clear_property(place, MANAGEMENT),),
        ),
        Setting(
            "mac_changes",
            (MANAGEMENT,),
            TRUTH,
            True,
            lambda stored: bool(stored[MANAGEMENT][0]),
            lambda place, value: (),
            lambda place: (clear_property(place, MANAGEMENT),),
        ),
        _typed(
            "security",
            "VSPROP_PORT_SECURITY",
            forms.Record(SecurityPolicy, promiscuous=TRUTH, mac_changes=TRUTH, forged_transmits=TRUTH),
            SecurityPolicy(),
            "VSDVS_SetPortSecurity",
            "security",
        ),
        _typed(
            "filter",
            "VSPROP_PORT_EXTRA_ETH_FRP",
            forms.Record(EthernetFilter, flags=forms.Flags(EthernetFilterFlag), addresses=forms.Listed(MAC)),
            EthernetFilter(),
            "VSDVS_SetExtraEthFilter",
            "filter",
            "VSDVS_ClearExtraEthFilter",
        ),
        _typed(
            "multicast",
            "VSPROP_PORT_USER_MCAST_ADDRESSES",
            forms.Listed(MAC),
            (),
            "",
            "",
            "VSDVS_ClearPortMcastUserLegacyEntries",
        )._replace(write=_entries("VSDVS_SetPortMcastUserLegacyEntries")),
        _raw("connect_id", "QEL_HNQPROP_PORT_CONNECTID", WHOLE, 0, NUMBER),
        _raw("alias", "QEL_HNQPROP_PORT_ALIAS", TEXT, None, OPTIONAL_TEXTUAL),
        _raw("port_group", "QEL_HNQPROP_PORT_PORTGROUP", TEXT, None, OPTIONAL_TEXTUAL),
        _raw("resource_pool", "QEL_HNQPROP_PORT_RESPOOL_ASSOC", TEXT, None, OPTIONAL_TEXTUAL),
        _raw(
            "resources",
            "QEL_HNQPROP_PORT_RESPOOLS_CFG",
            forms.Record(
                ResourcePool, shares=WHOLE, limit=WHOLE, reservation=WHOLE, priority=WHOLE, queue_depth=WHOLE
            ),
            ResourcePool(),
        ),
    )
}

SWITCH_MIRRORS = str(PropertyKey.VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS)
PORT_MIRRORS = str(PropertyKey.VSPROP_PORT_MIRROR_SESSIONS)
TEAMING_TABLE = str(PropertyKey.VSPROP_LS_TEAMING_POLICY)
UPLINKS = str(PropertyKey.QEL_HNQPROP_HOST_UPLINKPORTS)

# Keys that documents write by another member.
SWITCH_KEYS = {key: setting.name for setting in SWITCH.values() for key in setting.keys} | {
    SWITCH_MIRRORS: "mirrors",
    TEAMING_TABLE: "teaming_policies",
    UPLINKS: "uplinks",
}
PORT_KEYS = {key: setting.name for setting in PORT.values() for key in setting.keys} | {PORT_MIRRORS: "mirrors"}
READ_ONLY = frozenset(
    str(getattr(PropertyKey, name))
    for name in """QEL_HNQPROP_SWITCH_ALIAS QEL_HNQPROP_SWITCH_VERSION QEL_HNQPROP_SWITCH_UPLINKPORTS
    QEL_HNQPROP_HOST_STATUS QEL_HNQPROP_HOST_PROXY QEL_HNQPROP_PORT_STATUS QEL_HNQPROP_PORT_LINK_STATUS
    QEL_HNQPROP_PORT_TYPE QEL_HNQPROP_PORT_VLAN QEL_HNQPROP_PORT_PERSIST QEL_HNQPROP_PORT_VNIC_CONNECTEE
    QEL_HNQPROP_PORT_STATISTICS VSPROP_PORT_MAC_LEARNING_STATS""".split()
)
