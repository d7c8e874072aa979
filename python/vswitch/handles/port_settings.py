"""The settings of a port: a row for each."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import libvswitch

from vswitch import enums, values
from vswitch._calls import Packed, call, fill, pointed, take
from vswitch.handles.collection import WithSettings
from vswitch.handles.setting import (
    Names,
    Raw,
    Setting,
    Ways,
    clear_by,
    clear_raw,
    flag,
    is_on,
    key_of,
    multicast_ways,
    name,
    one_of,
    raw,
    read_raw,
    record,
    write_raw,
)
from vswitch.values.codecs import NUMBER, OPTIONAL_TEXTUAL
from vswitch.values.kinds import MACS, plain_text, truth, whole_number, wrong_type

if TYPE_CHECKING:
    from vswitch.values.mac import MacLearning
    from vswitch.values.properties import ResourcePool
    from vswitch.values.security import EthernetFilter, SecurityPolicy
    from vswitch.values.teaming import TeamingPolicy
    from vswitch.values.vlan import VlanPolicy

_PRIORITY, _MANAGEMENT, _FILTER = (
    key_of("VSPROP_PORT_PRIORITY"),
    key_of("VSPROP_PORT_MAC_MANAGEMENT"),
    key_of("VSPROP_PORT_EXTRA_ETH_FRP"),
)
NO_PRIORITY = libvswitch.QEL_VLAN_PRIORITY_INVALID

# ---- VLAN: two properties --------------------------------------------------------------------------------------------


def _vlan(data: bytes, raw_value: Raw) -> VlanPolicy:
    """The policy of a record; the priority is asked for where there is one."""
    priority = NUMBER.decode(raw_value(_PRIORITY)) if data[0] & values.vlan.PRIORITY else 0
    return values.vlan.VlanPolicy.from_bytes(data, priority)


def _read_vlan(names: Names) -> VlanPolicy:
    data = take(lambda policy, length: pointed(policy, length), "VSDVS_GetPortVLANPolicy", *names)
    return _vlan(data, lambda key: read_raw(names, key))


def _write_vlan(names: Names, policy: VlanPolicy) -> None:
    ranges = policy.trunk or ()
    packed = None
    if ranges:
        data = policy.to_bytes()[8:]
        packed = Packed("qel_HNQPortVIDRange", data, [list(one) for one in ranges])
    priority = NO_PRIORITY if policy.priority is None else policy.priority
    trunk, private = int(policy.trunk is not None), int(policy.private)
    if policy.priority == NO_PRIORITY:
        priority = NO_PRIORITY + 1  # no priority either, and not the number for none
    call("VSDVS_SetPortVLANPolicy", *names, policy.id, priority, trunk, private, packed, len(ranges))


_one_policy = one_of("vlan.VlanPolicy")


def _vlan_policy(value: object) -> VlanPolicy:
    if isinstance(value, int) and not isinstance(value, bool):
        return values.vlan.VlanPolicy(value)
    accepted: VlanPolicy = _one_policy(value)
    return accepted


_VLAN = Ways(
    _read_vlan,
    _write_vlan,
    clear_by("VSDVS_ClearPortVLANPolicy"),
    lambda raw_value: _vlan(raw_value(key_of("VSPROP_PORT_VLAN")), raw_value),
)

# ---- MAC management: one property with two settings ------------------------------------------------------------------


def _read_learning(names: Names) -> MacLearning:
    return values.mac.MacLearning.from_bytes(fill("VSPMACLearning", "VSDVS_GetPortMACLearning", *names))


def _write_learning(names: Names, policy: MacLearning) -> None:
    call("VSDVS_SetPortMACLearning", *names, Packed("VSPMACLearning", policy.to_bytes(), policy))


def _clear_learning(names: Names) -> None:
    if values.mac.changes_of(read_raw(names, _MANAGEMENT)):
        clear_raw(names, _MANAGEMENT)
    else:
        _write_learning(names, values.mac.MacLearning())


def _write_changes(names: Names, allowed: bool) -> None:
    learning = values.mac.learning_of(read_raw(names, _MANAGEMENT))
    write_raw(names, _MANAGEMENT, values.mac.management_bytes(allowed, learning))


def _clear_changes(names: Names) -> None:
    if values.mac.learning_of(read_raw(names, _MANAGEMENT)) == values.mac.MacLearning():
        clear_raw(names, _MANAGEMENT)
    else:
        _write_changes(names, True)


_LEARNING = Ways(
    _read_learning, _write_learning, _clear_learning, lambda raw_value: values.mac.learning_of(raw_value(_MANAGEMENT))
)
_CHANGES = Ways(
    lambda names: values.mac.changes_of(read_raw(names, _MANAGEMENT)),
    _write_changes,
    _clear_changes,
    lambda raw_value: values.mac.changes_of(raw_value(_MANAGEMENT)),
)

# ---- the extra Ethernet filter, of which a sink port is one flag -----------------------------------------------------


def _write_sink(names: Names, enabled: bool) -> None:
    call("VSDVS_ConfigureSinkPort", *names, int(enabled))


def _flags(data: bytes) -> enums.EthernetFilterFlag:
    return values.security.EthernetFilter.from_bytes(data).flags


_SINK = Ways(
    lambda names: is_on(call("VSDVS_IsSinkPortEnabled", *names)),
    _write_sink,
    lambda names: _write_sink(names, False),
    lambda raw_value: bool(_flags(raw_value(_FILTER)) & enums.EthernetFilterFlag.SINK),
)

# ---- the rows --------------------------------------------------------------------------------------------------------


def _name_or_none(value: object) -> str:
    if not isinstance(value, str):
        raise wrong_type("a str", value)
    return plain_text(value)


def _textual(constant: str) -> Ways[Any]:
    return raw(constant, OPTIONAL_TEXTUAL)


class PortSettings(WithSettings):
    """What can be set at a port."""

    __slots__ = ()

    vlan = Setting["VlanPolicy", "VlanPolicy | int"](
        "VLANs: a VlanPolicy, or the number of an access VLAN (0 to 4094). BadParameter; NotFound for a"
        " secondary VLAN that"
        " the switch does not have.",
        "VSPROP_PORT_VLAN VSPROP_PORT_PRIORITY",
        _vlan_policy,
        _VLAN,
    )
    nested_vlan_tagging = Setting[bool, bool](
        "Frames that have a tag already get another one: a bool.",
        "VSPROP_PORT_VLAN_NESTEDTAG",
        truth,
        flag("VSPROP_PORT_VLAN_NESTEDTAG", "VSDVS_GetPortNestedVLANTagging", "VSDVS_SetPortNestedVLANTagging"),
    )
    tx_uplink_always = Setting[bool, bool](
        "What the client sends goes out by an uplink, whatever the switch knows: a bool.",
        "VSPROP_PORT_TX_UPLINK",
        truth,
        flag("VSPROP_PORT_TX_UPLINK", "VSDVS_GetTxUplinkAlways", "VSDVS_SetTxUplinkAlways"),
    )
    priority_retain = Setting[bool, bool](
        "Frames that have a priority keep it: a bool.",
        "VSPROP_PORT_PRIORITY_RETAIN",
        truth,
        raw("VSPROP_PORT_PRIORITY_RETAIN"),
    )
    multicast_override = Setting[bool, bool](
        "The port's multicast addresses replace those of the switch, and are not added to them: a bool.",
        "VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE",
        truth,
        raw("VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE"),
    )
    blocked = Setting[bool, bool](
        "No frames pass: a bool.", "QEL_HNQPROP_PORT_BLOCK", truth, raw("QEL_HNQPROP_PORT_BLOCK")
    )
    passthrough_allowed = Setting[bool, bool](
        "Frames may bypass the switch: a bool.",
        "QEL_HNQPROP_PORT_PTALLOWED",
        truth,
        raw("QEL_HNQPROP_PORT_PTALLOWED"),
    )
    teaming = Setting["TeamingPolicy", "TeamingPolicy"](
        "Which uplinks carry its traffic: a TeamingPolicy; inherits the switch's. NotFound for an uplink"
        " that the switch"
        " does not have, LimitExceeded, BadParameter.",
        "VSPROP_PORT_TEAMING_POLICY",
        one_of("teaming.TeamingPolicy"),
        record(
            "VSPROP_PORT_TEAMING_POLICY",
            "VSTeamPolicy",
            "teaming.TeamingPolicy",
            "VSDVS_GetPortTeamingPolicy",
            "VSDVS_SetPortTeamingPolicy",
            "VSDVS_ClearPortTeamingPolicy",
        ),
        inherits="VSPROP_SWITCH_TEAMING",
    )
    teaming_override = Setting["str | None", str](
        "The one uplink port by which it sends, whatever the policies say: a name, None without one. NotFound.",
        "VSPROP_PORT_TEAMING_OVERRIDE",
        _name_or_none,
        name(
            "VSPROP_PORT_TEAMING_OVERRIDE",
            "VSDVS_GetPortTeamingOverride",
            "VSDVS_SetPortTeamingOverride",
            "VSDVS_ClearPortTeamingOverride",
        ),
    )
    teaming_policy = Setting["str | None", str](
        "The named teaming policy of the switch that it has chosen: a name, None without one. NotFound.",
        "VSPROP_PORT_LS_TEAMING_POLICY",
        _name_or_none,
        name(
            "VSPROP_PORT_LS_TEAMING_POLICY",
            "VSDVS_GetPortLSTeamingPolicyName",
            "VSDVS_SetPortLSTeamingPolicy",
            "VSDVS_ClearPortLSTeamingPolicy",
        ),
    )
    mac_learning = Setting["MacLearning", "MacLearning"](
        "Whether addresses behind it are learned: a MacLearning. LimitExceeded, BadParameter.",
        "VSPROP_PORT_MAC_MANAGEMENT",
        one_of("mac.MacLearning"),
        _LEARNING,
    )
    mac_changes = Setting[bool, bool](
        "The client may change its MAC address: a bool.", "VSPROP_PORT_MAC_MANAGEMENT", truth, _CHANGES
    )
    security = Setting["SecurityPolicy", "SecurityPolicy"](
        "What the client is allowed: a SecurityPolicy.",
        "VSPROP_PORT_SECURITY",
        one_of("security.SecurityPolicy"),
        record(
            "VSPROP_PORT_SECURITY",
            "VSPropSecurity",
            "security.SecurityPolicy",
            "VSDVS_GetPortSecurity",
            "VSDVS_SetPortSecurity",
        ),
    )
    filter = Setting["EthernetFilter", "EthernetFilter"](
        "Which frames reach it besides those for its client: an EthernetFilter. BadParameter, LimitExceeded.",
        "VSPROP_PORT_EXTRA_ETH_FRP",
        one_of("security.EthernetFilter"),
        record(
            "VSPROP_PORT_EXTRA_ETH_FRP",
            "VSExtraEthFilter",
            "security.EthernetFilter",
            "VSDVS_GetExtraEthFilter",
            "VSDVS_SetExtraEthFilter",
            "VSDVS_ClearExtraEthFilter",
        ),
    )
    sink = Setting[bool, bool](
        "Frames to addresses that nobody has go to it: a bool, the flag SINK of `filter`.",
        "VSPROP_PORT_EXTRA_ETH_FRP",
        truth,
        _SINK,
    )
    multicast = Setting["tuple[str, ...]", Any](
        "Multicast addresses that it receives besides those that its client has joined: MACs, at most 25, of"
        " any iterable."
        " BadParameter, LimitExceeded, AlreadyExists for one that stands twice.",
        "VSPROP_PORT_USER_MCAST_ADDRESSES",
        MACS.accept,
        multicast_ways(
            "VSPROP_PORT_USER_MCAST_ADDRESSES",
            "VSDVS_GetPortMcastUserLegacyEntries",
            "VSDVS_SetPortMcastUserLegacyEntries",
            "VSDVS_ClearPortMcastUserLegacyEntries",
        ),
    )
    connect_id = Setting[int, int](
        "A number by which clients find it, 0 to 4294967295.",
        "QEL_HNQPROP_PORT_CONNECTID",
        whole_number,
        raw("QEL_HNQPROP_PORT_CONNECTID"),
    )
    alias = Setting["str | None", str](
        "A name for people, at most 80 bytes; None without one. BadParameter.",
        "QEL_HNQPROP_PORT_ALIAS",
        _name_or_none,
        _textual("QEL_HNQPROP_PORT_ALIAS"),
    )
    port_group = Setting["str | None", str](
        "The port group that it belongs to, at most 63 bytes; None without one. BadParameter.",
        "QEL_HNQPROP_PORT_PORTGROUP",
        _name_or_none,
        _textual("QEL_HNQPROP_PORT_PORTGROUP"),
    )
    resource_pool = Setting["str | None", str](
        "The resource pool that it belongs to, at most 127 bytes; None without one. BadParameter.",
        "QEL_HNQPROP_PORT_RESPOOL_ASSOC",
        _name_or_none,
        _textual("QEL_HNQPROP_PORT_RESPOOL_ASSOC"),
    )
    resources = Setting["ResourcePool", "ResourcePool"](
        "Its part of the pool: a ResourcePool. BadParameter.",
        "QEL_HNQPROP_PORT_RESPOOLS_CFG",
        one_of("properties.ResourcePool"),
        raw("QEL_HNQPROP_PORT_RESPOOLS_CFG"),
    )
