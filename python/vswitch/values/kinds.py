"""Kinds of fields: what each takes, and its plain form."""

from __future__ import annotations

import re
from collections.abc import Callable, Iterable, Mapping
from typing import TYPE_CHECKING, Any

from vswitch import enums
from vswitch.enums._member import Bits, Number

if TYPE_CHECKING:
    import ipaddress


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
        import ipaddress

        if "%" in text:
            raise ValueError
        address = ipaddress.ip_address(text)
    except ValueError:
        raise ValueError(f"not an IP address: {text!r}") from None
    return ip_text(address)


def ip_text(address: ipaddress.IPv4Address | ipaddress.IPv6Address) -> str:
    """An address as RFC 5952 writes it, IPv4-mapped ones with the IPv4 part as such."""
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


def number_of(name: str) -> Kind:
    """A member of the enumeration of a name, or a number that no member has. The enumeration is loaded when the first
    value is accepted."""

    def accept(value: object) -> int:
        cls: type[Number] = getattr(enums, name)
        if isinstance(value, cls):
            return value
        if not isinstance(value, int) or isinstance(value, bool):
            raise wrong_type(f"a {cls.__name__}", value)
        return cls.of(value)

    return Kind(
        accept,
        lambda value: value.to_json() if isinstance(value, Number) else value,
        lambda given: getattr(enums, name).from_json(given),
    )


def bits_of(name: str) -> Kind:
    """Bits of the enumeration of a name, unknown ones included."""

    def accept(value: object) -> int:
        cls: type[Bits] = getattr(enums, name)
        if not isinstance(value, int) or isinstance(value, bool):
            raise wrong_type(f"a {cls.__name__}", value)
        return cls(value)

    return Kind(accept, lambda value: value.to_json(), lambda given: getattr(enums, name).from_json(given))


_PLAIN = (int, str, bool, bytes, float)


def short(value: Any) -> Any:
    """The short plain form of a value, as documents have it: fields that have their defaults are left out, a VLAN
    policy with nothing but an `id` is the number."""
    if value is None or type(value) in _PLAIN:
        return value
    if isinstance(value, tuple):
        return [short(one) for one in value]
    made = getattr(value, "_short", None) or getattr(value, "to_json", None)
    return made() if made is not None else value


INT = Kind(whole_number)
BOOL = Kind(truth)
TEXT = Kind(plain_text)
MAC = Kind(mac)
IP = Kind(ip)
PREFIX = Kind(prefix)
SPAN = Kind(span, list)
NAMES = many(TEXT)
MACS = many(MAC)
OPTIONAL_INT = optional(INT)
OPTIONAL_TEXT = optional(TEXT)
