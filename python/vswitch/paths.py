"""Paths of a document on a host: the object that one is of, and the value in effect there."""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from typing import TYPE_CHECKING, Any

from vswitch.desired.names import split
from vswitch.errors import NotFound
from vswitch.handles.setting import settings_of

if TYPE_CHECKING:
    from vswitch.handles.host import Host
    from vswitch.handles.port import Port
    from vswitch.handles.switch import Switch

MISSING = object()
# What every switch has and one call gives.
_OF_SWITCHES = {"id": "id", "class": "class_name", "version": "version", "max_ports": "max_ports"}


def value_at(host: Host, path: str) -> Any:
    """The value in effect at a path of a document, in the short form. NotFound, with what is missing, where there is
    none."""
    found = _look(host, split(path.strip("/")))
    if found is MISSING:
        raise NotFound(f"nothing at {path}")
    return found


def find(host: Host, path: str) -> Any:
    """The same, with a mark of its own where there is none."""
    try:
        return _look(host, split(path.strip("/")))
    except NotFound:
        return MISSING


def object_at(host: Host, parts: Sequence[str]) -> tuple[Host | Switch | Port, Sequence[str]]:
    """The object that a path is of or in, and the names below it. NotFound where it does not exist."""
    if len(parts) < 2 or parts[0] != "switches":
        return host, parts
    switch, rest = host.switches[parts[1]], parts[2:]
    if len(rest) < 2 or rest[0] not in ("ports", "uplink_ports"):
        return switch, rest
    return switch.ports[rest[1]] if rest[0] == "ports" else switch.uplinks[rest[1]].port, rest[2:]


def _look(host: Host, parts: Sequence[str]) -> Any:
    handle, rest = object_at(host, parts)
    if rest and rest[0] != "sink" and rest[0] in settings_of(type(handle)):  # a flag of `filter` in documents
        return _within(getattr(handle, rest[0]), rest[1:])
    if handle is not host and len(rest) > 2 and rest[0] in ("mirrors", "teaming_policies"):
        return _within(getattr(handle, rest[0])[rest[1]], rest[2:])
    if len(rest) == 1 and len(parts) == 3 and rest[0] in _OF_SWITCHES:
        return _within(getattr(handle, _OF_SWITCHES[rest[0]]), [])
    whole = not rest or "observed" in rest[:1] or (handle is host and rest == ["switches"])
    from vswitch.desired.export import export

    return step(export(observed=whole, only=None if handle is host else [parts[1]]), parts)


def _within(value: Any, parts: Sequence[str]) -> Any:
    """What is at the rest of a path in a value: all of it in its short form, or a field, also a default one."""
    if value is None or type(value) in (bool, int, str):
        return step(value, parts)
    if parts and hasattr(value, "to_dict"):
        return step(value.to_dict(), parts)
    from vswitch.values.kinds import short

    return step(short(value), parts)


def step(found: Any, parts: Sequence[str]) -> Any:
    """What is below a value by the names of a path. Elements of a list go by number, or by their `name`."""
    for part in parts:
        if isinstance(found, Mapping) and part in found:
            found = found[part]
        elif isinstance(found, (list, tuple)):
            found = _element(found, part)
        else:
            return MISSING
        if found is MISSING:
            return MISSING
    return found


def _element(found: Sequence[Any], part: str) -> Any:
    for one in found:
        if isinstance(one, Mapping) and one.get("name") == part:
            return one
    if part.isascii() and part.isdecimal() and int(part) < len(found):
        return found[int(part)]
    return MISSING
