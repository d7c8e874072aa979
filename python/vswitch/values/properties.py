"""Properties: a value with what is known of it, and what the bytes of the known keys mean."""

from __future__ import annotations

import base64
import struct
from collections.abc import Callable, Mapping
from typing import Any, NamedTuple, Self

import libvswitch

from vswitch.enums import (
    MulticastMode,
    PortType,
    PropertyKey,
    PropertyKind,
    RcfType,
    Scope,
    SwitchStatus,
    SwitchVersion,
)
from vswitch.errors import BadParameter
from vswitch.values.base import (
    BOOL,
    INT,
    TEXT,
    Kind,
    Value,
    bits_of,
    exactly,
    number_of,
    of,
    pack,
    plain_text,
    slot_text,
    value,
    whole_number,
    wrong_type,
)
from vswitch.values.link import LinkStatus, PortStatus
from vswitch.values.mac import MacStatistics, SwitchMacLearning
from vswitch.values.mirror_table import table_bytes as mirror_bytes
from vswitch.values.mirror_table import table_from as mirror_table
from vswitch.values.multicast import keys_bytes, keys_from
from vswitch.values.security import EthernetFilter, SecurityPolicy
from vswitch.values.statistics import Statistics
from vswitch.values.teaming import TeamingPolicy, table_bytes, table_from
from vswitch.values.vlan import VlanPolicy, map_bytes, map_of

__all__ = ["PropertyValue", "ResourcePool"]

_POOL = struct.Struct("<iiib3xi")
SIZES = (1, 2, 4, 8)


@value
class ResourcePool(Value):
    """A port's part of a resource pool: `shares` (at most 100), `limit` and `reservation` (Mbit/s; -1: no limit),
    `priority` tag (0 to 7), `queue_depth` (-1: the default)."""

    shares: int = of(INT, 100)
    limit: int = of(INT, -1)
    reservation: int = of(INT, 0)
    priority: int = of(INT, 0)
    queue_depth: int = of(INT, -1)

    def to_bytes(self) -> bytes:
        """A `qel_PortsetResPoolCfg`, 20 bytes."""
        return pack(_POOL, *self.to_dict().values())

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The part of a `qel_PortsetResPoolCfg`. ValueError."""
        return cls._made(*_POOL.unpack(exactly(data, _POOL.size, "qel_PortsetResPoolCfg")))


# ---- what the bytes of a key mean ------------------------------------------------------------------------------------


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
def _text_bytes(text: str) -> bytes:
    return text.encode(errors="surrogateescape")


TEXTUAL = Codec(slot_text, _text_bytes)
OPTIONAL_TEXTUAL = Codec(lambda data: slot_text(data) or None, _text_bytes)


def _of_enumeration(cls: Any) -> Codec:
    return Codec(lambda data: cls.of(_number(data)), number_bytes)


def _of_type(cls: Any) -> Codec:
    return Codec(cls.from_bytes, cls.to_bytes)


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
    "VSPROP_MULTICAST_FILTER": _of_enumeration(MulticastMode),
    "VSPROP_RCF_INSN_TYPE": _of_enumeration(RcfType),
    "VSPROP_SWITCH_STATUS": _of_enumeration(SwitchStatus),
    "QEL_HNQPROP_HOST_STATUS": _of_enumeration(SwitchStatus),
    "QEL_HNQPROP_SWITCH_VERSION": _of_enumeration(SwitchVersion),
    "QEL_HNQPROP_PORT_TYPE": _of_enumeration(PortType),
    "VSPROP_SWITCH_TEAMING": _of_type(TeamingPolicy),
    "VSPROP_PORT_TEAMING_POLICY": _of_type(TeamingPolicy),
    "QBR_PRP_LAN_TEAMING_POLICY": _of_type(TeamingPolicy),
    "VSPROP_LS_TEAMING_POLICY": Codec(table_from, table_bytes),
    "VSPROP_PVLAN_MAP": Codec(map_of, map_bytes),
    "VSPROP_SWITCH_MAC_LEARNING": _of_type(SwitchMacLearning),
    "VSPROP_USER_MCAST_ADDRESSES": Codec(keys_from, keys_bytes),
    "VSPROP_PORT_USER_MCAST_ADDRESSES": Codec(keys_from, keys_bytes),
    "VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS": Codec(mirror_table, mirror_bytes),
    "VSPROP_PORT_MIRROR_SESSIONS": Codec(mirror_table, mirror_bytes),
    "VSPROP_PORT_VLAN": _of_type(VlanPolicy),
    "VSPROP_PORT_SECURITY": _of_type(SecurityPolicy),
    "VSPROP_PORT_EXTRA_ETH_FRP": _of_type(EthernetFilter),
    "QEL_HNQPROP_PORT_RESPOOLS_CFG": _of_type(ResourcePool),
    "QEL_HNQPROP_PORT_STATUS": _of_type(PortStatus),
    "QEL_HNQPROP_PORT_LINK_STATUS": _of_type(LinkStatus),
    "QEL_HNQPROP_PORT_STATISTICS": _of_type(Statistics),
    "VSPROP_PORT_MAC_LEARNING_STATS": _of_type(MacStatistics),
}
# By the text of the key.
CODECS: dict[str, Codec] = {getattr(libvswitch, name): codec for name, codec in _KEYS.items()}
# Keys by the names of their constants.
_NAMES = (*PropertyKey.__members__, "QEL_HNQPORT_FORWARD_NOT_READY_BLOCK")
_CONSTANTS = {name: getattr(libvswitch, name) for name in _NAMES}


def key_text(key: object) -> str:
    """The text of a key: of the name of a constant such as "VSPROP_MTU", a PropertyKey, or the text itself. TypeError,
    ValueError for a text with NUL."""
    if isinstance(key, PropertyKey):
        return key.value
    text = plain_text(key)
    return _CONSTANTS.get(text, text)


# ---- values in plain form --------------------------------------------------------------------------------------------


def data_to_json(data: bytes) -> str | dict[str, str]:
    """A text where the bytes are printable UTF-8 without blanks at its ends, else `{"base64": ...}`."""
    try:
        text = data.decode()
    except UnicodeDecodeError:
        text = " "
    if text.isprintable() and text == text.strip():
        return text
    return {"base64": base64.b64encode(data).decode()}


def data_from_json(given: object) -> bytes:
    """The bytes of a text, or of a mapping with `text`, `hex`, `base64`, or `int` with `size` (1, 2, 4 or 8 bytes; 4).
    TypeError, ValueError."""
    if isinstance(given, (bytes, bytearray, memoryview)):
        return bytes(given)
    if isinstance(given, str):
        return given.encode(errors="surrogateescape")
    if not isinstance(given, Mapping):
        raise wrong_type("a text, or a mapping with text, hex, base64 or int", given)
    kinds = [kind for kind in ("text", "hex", "base64", "int") if kind in given]
    if len(kinds) != 1 or set(given) - {kinds[0], *(["size"] if kinds == ["int"] else [])}:
        raise ValueError("one of text, hex, base64 or int (with size) is wanted")
    wanted = given[kinds[0]]
    if kinds == ["int"]:
        size = whole_number(given.get("size", 4))
        if size not in SIZES:
            raise ValueError(f"a size is 1, 2, 4 or 8 bytes, not {size}")
        return number_bytes(whole_number(wanted), size)
    if not isinstance(wanted, str):
        raise wrong_type("a text", wanted)
    if kinds == ["text"]:
        return wanted.encode(errors="surrogateescape")
    if kinds == ["hex"]:
        return bytes.fromhex(wanted)
    return base64.b64decode(wanted, validate=True)


def _bytes(given: object) -> bytes:
    if not isinstance(given, (bytes, bytearray, memoryview)):
        raise wrong_type("bytes", given)
    return bytes(given)


@value
class PropertyValue(Value):
    """A property: its `key` (the text), `data`, `scope`, `kinds`; `written`: it is no default; `volatile`: the value in
    effect is not the persistent one. `.value` is the typed value; `int(p)` the little-endian number, `str(p)` the text
    (UTF-8, wrong bytes replaced), `bytes(p)` the data."""

    key: str = of(TEXT)
    data: bytes = of(Kind(_bytes, data_to_json, data_from_json))
    scope: Scope | int = of(number_of(Scope))
    kinds: PropertyKind = of(bits_of(PropertyKind), PropertyKind.CONFIG)
    written: bool = of(BOOL, True)
    volatile: bool = of(BOOL, False)

    @property
    def value(self) -> Any:
        """What the data mean: an int, bool, str or value type for the keys that have one, else the data."""
        codec = CODECS.get(self.key)
        try:
            return self.data if codec is None else codec.decode(self.data)
        except (ValueError, struct.error):
            return self.data

    def __int__(self) -> int:
        return _number(self.data)

    def __str__(self) -> str:
        return self.data.decode(errors="replace")

    def __bytes__(self) -> bytes:
        return self.data


def native_bytes(given: object, size: int | None = None) -> bytes:
    """The bytes of what a property is set to: bytes, a text, a bool (1 byte), an int (`size` 1, 2, 4 or 8 bytes; 4), a
    PropertyValue, or a value with a native form. TypeError, ValueError."""
    if size is not None and (not isinstance(given, int) or isinstance(given, bool)):
        raise TypeError("size: only a number has one")
    if size is not None and size not in SIZES:
        raise ValueError(f"size: 1, 2, 4 or 8 bytes, not {size!r}")
    if isinstance(given, (bytes, bytearray, memoryview)):
        return bytes(given)
    if isinstance(given, str):
        return given.encode(errors="surrogateescape")
    if isinstance(given, bool):
        return b"\1" if given else b"\0"
    if isinstance(given, int):
        return number_bytes(given, size or 4)
    if isinstance(given, PropertyValue):
        return given.data
    to_bytes = getattr(given, "to_bytes", None)
    if isinstance(given, Value) and to_bytes is not None:
        made: bytes = to_bytes()
        return made
    raise wrong_type("bytes, str, int, bool or a value", given)
