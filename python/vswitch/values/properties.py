"""Properties: a value with what is known of it, and what one is set to."""

from __future__ import annotations

import base64
import struct
from collections.abc import Mapping
from typing import Any, Self

import libvswitch

from vswitch.enums import PropertyKey, PropertyKind, Scope
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
    value,
    whole_number,
    wrong_type,
)
from vswitch.values.codecs import CODECS, number_bytes

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


# ---- keys ------------------------------------------------------------------------------------------------------------

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
    scope: Scope | int = of(number_of("Scope"))
    kinds: PropertyKind = of(bits_of("PropertyKind"), PropertyKind.CONFIG)
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
        return int.from_bytes(self.data, "little")

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
