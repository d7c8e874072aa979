"""What the value types have in common: checked fields, the plain form, and texts and addresses in native records."""

from __future__ import annotations

import dataclasses
import ipaddress
import re
import struct
from collections.abc import Callable, Iterable, Mapping
from typing import Any, ClassVar, Self, dataclass_transform

from vswitch.enums._member import Bits, Number
from vswitch.errors import BadParameter, DocumentError

# ---- kinds of fields -------------------------------------------------------------------------------------------------


class Kind:
    """What a field takes: `accept` makes the kept value of what is given (TypeError, ValueError), `to_json` its plain
    form, `from_json` something that `accept` takes of a plain form."""

    def __init__(
        self,
        accept: Callable[[Any], Any],
        to_json: Callable[[Any], Any] = lambda value: value,
        from_json: Callable[[Any], Any] = lambda value: value,
    ) -> None:
        self.accept = accept
        self.to_json = to_json
        self.from_json = from_json


def wrong_type(wanted: str, value: object) -> TypeError:
    """The error for a value of the wrong type."""
    return TypeError(f"{wanted} is wanted, not {value!r}")


def whole_number(value: object) -> int:
    """An int as it is. TypeError for anything else, also for bool."""
    if not isinstance(value, int) or isinstance(value, bool):
        raise wrong_type("an int", value)
    return int(value)


def truth(value: object) -> bool:
    """A bool as it is. TypeError for anything else."""
    if not isinstance(value, bool):
        raise wrong_type("a bool", value)
    return value


def plain_text(value: object) -> str:
    """A text without NUL. TypeError for what is none, ValueError for one with NUL."""
    if not isinstance(value, str):
        raise wrong_type("a str", value)
    if "\0" in value:
        raise ValueError(f"a text without NUL is wanted, not {value!r}")
    return str(value)


def several(value: object, one: Callable[[Any], Any]) -> tuple[Any, ...]:
    """A tuple of any iterable but a text. TypeError for anything else."""
    if isinstance(value, (str, bytes, bytearray, Mapping)) or not isinstance(value, Iterable):
        raise wrong_type("a sequence", value)
    return tuple(one(element) for element in value)


_MAC = re.compile(r"[0-9A-Fa-f]{1,2}(?:([:-])[0-9A-Fa-f]{1,2})(?:\1[0-9A-Fa-f]{1,2}){4}")


def mac(value: object) -> str:
    """A MAC address as `02:00:00:00:00:01`. TypeError for what is no text, ValueError for what is no address."""
    text = plain_text(value)
    if not _MAC.fullmatch(text):
        raise ValueError(f"not a MAC address: {text!r}")
    return ":".join(f"{int(octet, 16):02x}" for octet in re.split("[:-]", text))


def ip(value: object) -> str:
    """An IPv4 or IPv6 address as RFC 5952 writes it. TypeError for what is no text, ValueError for what is no
    address."""
    text = plain_text(value)
    try:
        if "%" in text:
            raise ValueError
        address = ipaddress.ip_address(text)
    except ValueError:
        raise ValueError(f"not an IP address: {text!r}") from None
    return _ip_text(address)


def _ip_text(address: ipaddress.IPv4Address | ipaddress.IPv6Address) -> str:
    mapped = getattr(address, "ipv4_mapped", None)
    return str(address) if mapped is None else f"::ffff:{mapped}"


def prefix(value: object) -> str:
    """An IP prefix as `10.0.0.0/8`; a bare address has its full length. TypeError, ValueError."""
    text = plain_text(value)
    address, slash, length = text.partition("/")
    kept = ip(address)
    most = 128 if ":" in kept else 32
    length = length if slash else str(most)
    if not (length.isascii() and length.isdecimal()) or int(length) > most:
        raise ValueError(f"not an IP prefix: {text!r}")
    return f"{kept}/{int(length)}"


def span(value: object) -> tuple[int, int]:
    """A range as a pair, from a pair, a number, or a text like `10-19`. TypeError, ValueError."""
    if isinstance(value, str):
        first, _, last = value.partition("-")
        if not all(part.strip().isascii() and part.strip().isdecimal() for part in (first, last or first)):
            raise ValueError(f"not a range: {value!r}")
        return int(first), int(last or first)
    if isinstance(value, int) and not isinstance(value, bool):
        return value, value
    pair = several(value, whole_number)
    if len(pair) != 2:
        raise ValueError(f"a range has two ends: {value!r}")
    return pair[0], pair[1]


def span_text(pair: tuple[int, int]) -> str:
    """A range as a text: `10`, `10-19`."""
    return str(pair[0]) if pair[0] == pair[1] else f"{pair[0]}-{pair[1]}"


def optional(kind: Kind) -> Kind:
    """The same or None."""
    return Kind(
        lambda value: None if value is None else kind.accept(value),
        lambda value: None if value is None else kind.to_json(value),
        lambda value: None if value is None else kind.from_json(value),
    )


def many(kind: Kind) -> Kind:
    """A tuple of such."""
    return Kind(
        lambda value: several(value, kind.accept),
        lambda value: [kind.to_json(element) for element in value],
        lambda value: several(value, kind.from_json),
    )


def number_of(cls: type[Number]) -> Kind:
    """A member of an enumeration, or a number that no member has."""

    def accept(value: object) -> int:
        if isinstance(value, cls):
            return value
        if not isinstance(value, int) or isinstance(value, bool):
            raise wrong_type(f"a {cls.__name__}", value)
        return cls.of(value)

    return Kind(accept, lambda value: value.to_json() if isinstance(value, cls) else value, cls.from_json)


def bits_of(cls: type[Bits]) -> Kind:
    """Bits, unknown ones included."""

    def accept(value: object) -> int:
        if not isinstance(value, int) or isinstance(value, bool):
            raise wrong_type(f"a {cls.__name__}", value)
        return cls(value)

    return Kind(accept, lambda value: value.to_json(), cls.from_json)


def value_of(cls: type[Value], from_other: Callable[[Any], Any] = lambda value: value) -> Kind:
    """A value of another type; `from_other` makes one of what is accepted beside it."""

    def accept(value: object) -> Value:
        made = from_other(value)
        if not isinstance(made, cls):
            raise wrong_type(f"a {cls.__name__}", value)
        return made

    return Kind(accept, cls.to_dict, lambda data: cls.from_dict(data) if isinstance(data, Mapping) else data)


INT = Kind(whole_number)
BOOL = Kind(truth)
TEXT = Kind(plain_text)
MAC = Kind(mac)
IP = Kind(ip)
PREFIX = Kind(prefix)
SPAN = Kind(span, list)
NAMES = many(TEXT)
OPTIONAL_INT = optional(INT)
OPTIONAL_TEXT = optional(TEXT)


def of(kind: Kind, default: Any = dataclasses.MISSING) -> Any:
    """A field of a kind, with a default or required."""
    return dataclasses.field(default=default, metadata={"kind": kind})


# ---- values ----------------------------------------------------------------------------------------------------------

_FIELDS: dict[type, tuple[tuple[str, Kind, Any], ...]] = {}
_PUT: dict[type, tuple[Callable[[Any, Any], None], ...]] = {}


def fields_of(cls: type[Value]) -> tuple[tuple[str, Kind, Any], ...]:
    """Name, kind and default (`dataclasses.MISSING`) of each field."""
    found = _FIELDS.get(cls)
    if found is None:
        found = _FIELDS[cls] = tuple(
            (field.name, field.metadata["kind"], field.default) for field in dataclasses.fields(cls)
        )
    return found


@dataclass_transform(frozen_default=True, field_specifiers=(of,))
def value(cls: type) -> Any:
    """Makes a class a value type: a frozen dataclass with slots."""
    # What `Value` has once need not be made for each class, which is most of what importing 30 of them costs.
    return dataclasses.dataclass(frozen=True, slots=True, eq=False, repr=False)(cls)


class Value:
    """Base of the value types. Immutable, equal by contents, without knowledge of a host."""

    __slots__ = ()
    __dataclass_fields__: ClassVar[dict[str, Any]]

    def __post_init__(self) -> None:
        for name, kind, _ in fields_of(type(self)):
            given = getattr(self, name)
            try:
                kept = kind.accept(given)
            except (TypeError, ValueError) as error:
                if isinstance(error, DocumentError):
                    raise
                raise type(error)(f"{type(self).__name__}.{name}: {error}") from None
            if kept is not given:
                object.__setattr__(self, name, kept)
        self._check()

    def __eq__(self, other: object) -> bool:
        if other.__class__ is not self.__class__:
            return NotImplemented
        return all(getattr(self, name) == getattr(other, name) for name in self.__dataclass_fields__)

    def __hash__(self) -> int:
        return hash(tuple(getattr(self, name) for name in self.__dataclass_fields__))

    def __repr__(self) -> str:
        fields = ", ".join(f"{name}={getattr(self, name)!r}" for name in self.__dataclass_fields__)
        return f"{type(self).__qualname__}({fields})"

    def _check(self) -> None:
        """Raises ValueError for fields that do not go together."""

    @classmethod
    def _made(cls, *values: Any) -> Self:
        """A value of what a library gave, which needs no check."""
        put = _PUT.get(cls)
        if put is None:
            put = _PUT[cls] = tuple(getattr(cls, name).__set__ for name, _, _ in fields_of(cls))
        self = object.__new__(cls)
        for set_field, one in zip(put, values, strict=True):
            set_field(self, one)
        return self

    def replace(self, **changes: Any) -> Self:
        """A copy with other values of some fields. TypeError for a field that there is not."""
        return dataclasses.replace(self, **changes)

    def to_dict(self) -> dict[str, Any]:
        """The plain form: all fields, in order, of `str`, `int`, `bool`, None, lists and dicts."""
        return {name: kind.to_json(getattr(self, name)) for name, kind, _ in fields_of(type(self))}

    @classmethod
    def from_dict(cls, mapping: Mapping[str, Any]) -> Self:
        """The value of a plain form; members that are missing have their defaults. DocumentError for an unknown member
        and one that must be there, TypeError and ValueError for a member that is wrong."""
        if not isinstance(mapping, Mapping):
            raise wrong_type(f"{cls.__name__}: a mapping", mapping)
        known = {name: (kind, default) for name, kind, default in fields_of(cls)}
        for member in mapping:
            if member not in known:
                from vswitch._similar import did_you_mean

                raise DocumentError(str(member), f"no such member{did_you_mean(str(member), known)}")
        given = {}
        for name, (kind, default) in known.items():
            if name in mapping:
                try:
                    given[name] = kind.from_json(mapping[name])
                except DocumentError as error:
                    raise DocumentError(f"{name}/{error.path}", error.reason) from None
                except (TypeError, ValueError) as error:
                    raise type(error)(f"{cls.__name__}.{name}: {error}") from None
            elif default is dataclasses.MISSING:
                raise DocumentError(name, "must be there")
        return cls(**given)


# ---- native records --------------------------------------------------------------------------------------------------


def pack(layout: struct.Struct, *values: Any) -> bytes:
    """The bytes of a record. BadParameter for a number that has no room in it."""
    try:
        return layout.pack(*values)
    except struct.error as error:
        raise BadParameter(f"a number that does not fit: {error}") from None


def slot(text: str, size: int) -> bytes:
    """A text for a slot of `size` bytes with its terminator; one that is too long is cut without one, which the library
    refuses as such."""
    return text.encode(errors="surrogateescape")[:size].ljust(size, b"\0")


def slot_text(data: bytes) -> str:
    """The text of a slot, up to its terminator."""
    return data.partition(b"\0")[0].decode(errors="surrogateescape")


def exactly(data: bytes, size: int, name: str) -> bytes:
    """The bytes of a record of a fixed size. ValueError unless they are as many."""
    if len(data) != size:
        raise ValueError(f"a {name} has {size} bytes, not {len(data)}")
    return bytes(data)


def mac_of(data: bytes) -> str:
    """The text of six bytes."""
    return data.hex(":")


def mac_bytes(text: str) -> bytes:
    """The six bytes of a MAC address that was checked."""
    return bytes.fromhex(text.replace(":", ""))


def ip_of(data: bytes) -> str:
    """The text of 4 or 16 bytes."""
    return _ip_text(ipaddress.ip_address(data))


def ip_bytes(text: str) -> bytes:
    """The 4 or 16 bytes of an IP address that was checked."""
    return ipaddress.ip_address(text).packed
