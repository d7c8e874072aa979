"""What the bytes of the known properties mean, by their keys. The types are loaded when a value of them is read."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any, NamedTuple

import libvswitch

from vswitch import enums
from vswitch.errors import BadParameter
from vswitch.values import type_at


class Codec(NamedTuple):
    """Between the bytes of a property and its typed value."""

    decode: Callable[[bytes], Any]
    encode: Callable[[Any], bytes]


def number_bytes(number: int, size: int = 4) -> bytes:
    """A little-endian number. BadParameter where it has no room."""
    try:
        return int(number).to_bytes(size, "little", signed=number < 0)
    except OverflowError:
        raise BadParameter(f"{number} does not fit {size} bytes") from None


def _number(data: bytes) -> int:
    return int.from_bytes(data, "little")


NUMBER = Codec(_number, number_bytes)
FLAG = Codec(lambda data: any(data), lambda yes: b"\1" if yes else b"\0")


def _text(data: bytes) -> str:
    return data.partition(b"\0")[0].decode(errors="surrogateescape")


def _text_bytes(text: str) -> bytes:
    return text.encode(errors="surrogateescape")


TEXTUAL = Codec(_text, _text_bytes)
OPTIONAL_TEXTUAL = Codec(lambda data: _text(data) or None, _text_bytes)


def _of_enumeration(name: str) -> Codec:
    return Codec(lambda data: getattr(enums, name).of(_number(data)), number_bytes)


def _of_type(place: str) -> Codec:
    def encode(value: Any) -> bytes:
        made: bytes = value.to_bytes()
        return made

    return Codec(lambda data: type_at(place).from_bytes(data), encode)


def _of_table(decode: str, encode: str) -> Codec:
    def encoded(entries: Any) -> bytes:
        made: bytes = type_at(encode)(entries)
        return made

    return Codec(lambda data: type_at(decode)(data), encoded)


_FLAGS = """VSPROP_SWITCH_MAC_LEARN_STATIC VSPROP_SWITCH_STATIC_MAC_ALLOW VSPROP_SWITCH_FORWARDING_DISABLED
    VSPROP_SWITCH_LLSPAN_RX_DISPATCHER VSPROP_PORT_TX_UPLINK VSPROP_PORT_VLAN_NESTEDTAG VSPROP_PORT_PRIORITY_RETAIN
    VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE QEL_HNQPROP_PORT_BLOCK QEL_HNQPORT_FORWARD_NOT_READY_BLOCK
    QEL_HNQPROP_PORT_PTALLOWED QEL_HNQPROP_PORT_PTALLOWEDRT QEL_HNQPROP_PORT_PERSIST""".split()
_NUMBERS = """VSPROP_MTU QEL_HNQPROP_HOST_PROXY_STATE VSPROP_PORT_PRIORITY QEL_HNQPROP_PORT_CONNECTID
    QEL_HNQPROP_PORT_QELNIC_VLANID""".split()
_TEXTS = """QEL_HNQPROP_SWITCH_ALIAS QEL_HNQPROP_HOST_PROXY QEL_HNQPROP_PORT_ALIAS QEL_HNQPROP_PORT_PORTGROUP
    QEL_HNQPROP_PORT_RESPOOL_ASSOC QEL_HNQPROP_PORT_VNIC_CONNECTEE VSPROP_PORT_TEAMING_OVERRIDE
    VSPROP_PORT_LS_TEAMING_POLICY""".split()
_KEYS: dict[str, Codec] = {
    **{name: FLAG for name in _FLAGS},
    **{name: NUMBER for name in _NUMBERS},
    **{name: TEXTUAL for name in _TEXTS},
    "VSPROP_MULTICAST_FILTER": _of_enumeration("MulticastMode"),
    "VSPROP_RCF_INSN_TYPE": _of_enumeration("RcfType"),
    "VSPROP_SWITCH_STATUS": _of_enumeration("SwitchStatus"),
    "QEL_HNQPROP_HOST_STATUS": _of_enumeration("SwitchStatus"),
    "QEL_HNQPROP_SWITCH_VERSION": _of_enumeration("SwitchVersion"),
    "QEL_HNQPROP_PORT_TYPE": _of_enumeration("PortType"),
    "VSPROP_SWITCH_TEAMING": _of_type("teaming.TeamingPolicy"),
    "VSPROP_PORT_TEAMING_POLICY": _of_type("teaming.TeamingPolicy"),
    "QBR_PRP_LAN_TEAMING_POLICY": _of_type("teaming.TeamingPolicy"),
    "VSPROP_LS_TEAMING_POLICY": _of_table("teaming.table_from", "teaming.table_bytes"),
    "VSPROP_PVLAN_MAP": _of_table("vlan.map_of", "vlan.map_bytes"),
    "VSPROP_SWITCH_MAC_LEARNING": _of_type("mac.SwitchMacLearning"),
    "VSPROP_USER_MCAST_ADDRESSES": _of_table("multicast.keys_from", "multicast.keys_bytes"),
    "VSPROP_PORT_USER_MCAST_ADDRESSES": _of_table("multicast.keys_from", "multicast.keys_bytes"),
    "VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS": _of_table("mirror_table.table_from", "mirror_table.table_bytes"),
    "VSPROP_PORT_MIRROR_SESSIONS": _of_table("mirror_table.table_from", "mirror_table.table_bytes"),
    "VSPROP_PORT_VLAN": _of_type("vlan.VlanPolicy"),
    "VSPROP_PORT_SECURITY": _of_type("security.SecurityPolicy"),
    "VSPROP_PORT_EXTRA_ETH_FRP": _of_type("security.EthernetFilter"),
    "QEL_HNQPROP_PORT_RESPOOLS_CFG": _of_type("properties.ResourcePool"),
    "QEL_HNQPROP_PORT_STATUS": _of_type("link.PortStatus"),
    "QEL_HNQPROP_PORT_LINK_STATUS": _of_type("link.LinkStatus"),
    "QEL_HNQPROP_PORT_STATISTICS": _of_type("statistics.Statistics"),
    "VSPROP_PORT_MAC_LEARNING_STATS": _of_type("mac.MacStatistics"),
}
# By the text of the key.
CODECS: dict[str, Codec] = {getattr(libvswitch, name): codec for name, codec in _KEYS.items()}
