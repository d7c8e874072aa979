"""What the value types have in common: checked fields, the plain form, and texts and addresses in native records."""

from __future__ import annotations

import dataclasses
import ipaddress
import struct
from collections.abc import Callable, Mapping
from typing import Any, ClassVar, Self, dataclass_transform

from vswitch.errors import BadParameter, DocumentError
from vswitch.values.kinds import BOOL as BOOL
from vswitch.values.kinds import INT as INT
from vswitch.values.kinds import IP as IP
from vswitch.values.kinds import MAC as MAC
from vswitch.values.kinds import NAMES as NAMES
from vswitch.values.kinds import OPTIONAL_INT as OPTIONAL_INT
from vswitch.values.kinds import OPTIONAL_TEXT as OPTIONAL_TEXT
from vswitch.values.kinds import PREFIX as PREFIX
from vswitch.values.kinds import SPAN as SPAN
from vswitch.values.kinds import TEXT as TEXT
from vswitch.values.kinds import Kind as Kind
from vswitch.values.kinds import bits_of as bits_of
from vswitch.values.kinds import ip as ip
from vswitch.values.kinds import ip_text
from vswitch.values.kinds import mac as mac
from vswitch.values.kinds import many as many
from vswitch.values.kinds import number_of as number_of
from vswitch.values.kinds import optional as optional
from vswitch.values.kinds import plain_text as plain_text
from vswitch.values.kinds import prefix as prefix
from vswitch.values.kinds import several as several
from vswitch.values.kinds import span as span
from vswitch.values.kinds import span_text as span_text
from vswitch.values.kinds import truth as truth
from vswitch.values.kinds import whole_number as whole_number
from vswitch.values.kinds import wrong_type as wrong_type

# ---- fields ----------------------------------------------------------------------------------------------------------

def value_of(cls: type[Value], from_other: Callable[[Any], Any] = lambda value: value) -> Kind:
    """A value of another type; `from_other` makes one of what is accepted beside it."""

    def accept(value: object) -> Value:
        made = from_other(value)
        if not isinstance(made, cls):
            raise wrong_type(f"a {cls.__name__}", value)
        return made

    return Kind(accept, cls.to_dict, lambda data: cls.from_dict(data) if isinstance(data, Mapping) else data)


def of(kind: Kind, default: Any = dataclasses.MISSING) -> Any:
    """A field of a kind, with a default or required."""
    return dataclasses.field(default=default, metadata={"kind": kind})


# ---- values ----------------------------------------------------------------------------------------------------------

_FIELDS: dict[type, tuple[tuple[str, Kind, Any], ...]] = {}
_ACCEPTING: dict[type, tuple[tuple[str, Callable[[Any], Any], Any], ...]] = {}
_MISSING = dataclasses.MISSING
_PUT: dict[type, tuple[Callable[[Any, Any], None], ...]] = {}


def fields_of(cls: type[Value]) -> tuple[tuple[str, Kind, Any], ...]:
    """Name, kind and default (`dataclasses.MISSING`) of each field."""
    found = _FIELDS.get(cls)
    if found is None:
        found = _FIELDS[cls] = tuple(
            (field.name, field.metadata["kind"], field.default) for field in dataclasses.fields(cls)
        )
    return found


def _accepting(cls: type[Value]) -> tuple[tuple[str, Callable[[Any], Any], Any], ...]:
    """Name and check of each field, and its default if that is kept as it is and so needs no check."""
    found = _ACCEPTING.get(cls)
    if found is None:
        found = _ACCEPTING[cls] = tuple(
            (name, kind.accept, default if default is not _MISSING and kind.accept(default) is default else _MISSING)
            for name, kind, default in fields_of(cls)
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
    _entry_name: ClassVar[str] = ""
    """The field that is the name of the entry where documents have a table of these."""

    def __post_init__(self) -> None:
        name = ""
        try:
            for name, accept, settled in _accepting(type(self)):
                given = getattr(self, name)
                if given is not settled:
                    kept = accept(given)
                    if kept is not given:
                        object.__setattr__(self, name, kept)
        except (TypeError, ValueError) as error:
            if isinstance(error, DocumentError):
                raise
            raise type(error)(f"{type(self).__name__}.{name}: {error}") from None
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

    def _short(self) -> Any:
        """The form that documents have: see `short`."""
        made = {}
        for name, kind, default in fields_of(type(self)):
            one = getattr(self, name)
            if name != self._entry_name and one != default:
                made[name] = [rule._short() for rule in one] if name == "rules" else kind.to_json(one)
        return made

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
    return ip_text(ipaddress.ip_address(data))


def ip_bytes(text: str) -> bytes:
    """The 4 or 16 bytes of an IP address that was checked."""
    return ipaddress.ip_address(text).packed
