"""Reads the configuration classes from a plain JSON document, and says where a value is wrong."""

import dataclasses
import ipaddress
import types
import typing
from typing import Any, TypeVar, Union

T = TypeVar("T")
Address = ipaddress.IPv4Address | ipaddress.IPv6Address
Mac = typing.NewType("Mac", bytes)


class DocumentError(ValueError):
    """A document is not of the form that the package's docstring describes; the text begins with the place."""


def mac(text: str) -> Mac:
    """`02:00:00:00:01:0a` as six bytes."""
    parts = text.split(":")
    if len(parts) != 6 or any(len(part) != 2 for part in parts):
        raise ValueError(f"{text!r} is no MAC address")
    return Mac(bytes(int(part, 16) for part in parts))


def mac_text(address: bytes) -> str:
    return address.hex(":")


def read(kind: type[T], value: object, where: str = "") -> T:
    """Makes a dataclass of a JSON object, by the types of its fields."""
    if not isinstance(value, dict):
        raise DocumentError(f"{where or 'document'}: not an object")
    hints = typing.get_type_hints(kind)
    fields = {field.name: field for field in dataclasses.fields(kind)}
    for name in value:
        if name not in fields:
            raise DocumentError(f"{where}{'.' if where else ''}{name}: unknown member")
    found: dict[str, object] = {}
    for name, field in fields.items():
        place = f"{where}{'.' if where else ''}{name}"
        if name in value:
            found[name] = _value(hints[name], value[name], place)
        elif field.default is dataclasses.MISSING and field.default_factory is dataclasses.MISSING:
            raise DocumentError(f"{place}: is missing")
    try:
        return kind(**found)
    except ValueError as error:
        raise DocumentError(f"{where or 'document'}: {error}") from None


def _value(kind: Any, value: object, where: str) -> object:
    origin, arguments = typing.get_origin(kind), typing.get_args(kind)
    if kind == Address:
        return _converted(ipaddress.ip_address, value, str, where)
    if origin in (Union, types.UnionType):
        if value is None:
            return None
        (kind,) = [argument for argument in arguments if argument is not types.NoneType]
        return _value(kind, value, where)
    if origin is tuple:
        if not isinstance(value, (list, tuple)):
            raise DocumentError(f"{where}: not a list")
        if arguments[-1] is Ellipsis:
            return tuple(_value(arguments[0], item, f"{where}[{index}]") for index, item in enumerate(value))
        if len(value) != len(arguments):
            raise DocumentError(f"{where}: not {len(arguments)} values")
        return tuple(_value(part, item, where) for part, item in zip(arguments, value))
    if origin is typing.Literal:
        if value not in arguments:
            raise DocumentError(f"{where}: {value!r} is none of {', '.join(map(repr, arguments))}")
        return value
    if kind is Mac:
        return _converted(mac, value, str, where)
    if dataclasses.is_dataclass(kind) and isinstance(kind, type):
        return read(kind, value, where)
    if not isinstance(value, kind) or (kind is int and isinstance(value, bool)):
        raise DocumentError(f"{where}: {value!r} is no {kind.__name__}")
    return value


def _converted(convert: Any, value: object, kind: type, where: str) -> object:
    if not isinstance(value, kind):
        raise DocumentError(f"{where}: {value!r} is no {kind.__name__}")
    try:
        return convert(value)
    except ValueError as error:
        raise DocumentError(f"{where}: {error}") from None
