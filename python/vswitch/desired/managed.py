"""What a document manages of a host: its members before and after a plan, for people who look at the difference."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from copy import deepcopy
from typing import Any

from vswitch.desired import document, order, settings
from vswitch.desired.names import joined, split
from vswitch.desired.plan import Operation, place_of
from vswitch.desired.schema import Collection
from vswitch.values.kinds import short

_TELL_NOTHING = frozenset(("$schema", "format", "observed"))
_ONE_PROPERTY = {
    name: short(setting.default) for name, setting in settings.PORT.items() if settings.MANAGEMENT in setting.keys
}


def managed(desired: object, exported: Mapping[str, Any], *, exact: bool | None = None) -> dict[str, Any]:
    """Of an export, the members that a document mentions, and all objects of its exact collections. `exact`: as of
    `Host.plan`."""
    return _members(document.read(desired), exported, "", exact)


def _members(wanted: Mapping[str, Any], found: Mapping[str, Any], place: str, exact: bool | None) -> dict[str, Any]:
    made: dict[str, Any] = {}
    for name in sorted(wanted, key=order.member_rank(place)):
        value = wanted[name]
        if name in _TELL_NOTHING or name not in found:
            continue
        if isinstance(value, Collection):
            entries = _entries(value, found[name], joined(place, name), exact)
            if entries or name == "switches":
                made[name] = entries
        elif isinstance(value, Mapping):
            made[name] = _entries(Collection(dict(value)), found[name], joined(place, name), False)
        else:
            made[name] = found[name]
    return made


def _entries(wanted: Collection, found: Mapping[str, Any], path: str, exact: bool | None) -> dict[str, Any]:
    everything = wanted.exact if exact is None else exact
    made = {}
    for name, value in found.items():
        members = wanted.entries.get(name)
        if isinstance(members, Mapping) and isinstance(value, Mapping):
            made[name] = _members(members, value, joined(path, name), exact)
        elif everything or name in wanted.entries:
            made[name] = value
    return made


def afterwards(exported: Mapping[str, Any], operations: Iterable[Operation]) -> dict[str, Any]:
    """An export as it will be when some operations are made, as far as these say it."""
    made: dict[str, Any] = deepcopy(dict(exported))
    for operation in operations:
        place, names = place_of(operation.path)
        if names:
            _change(_object(made, split(place)), names, operation)
        elif operation.action == "create":
            # A switch always lists its uplinks.
            always: dict[str, Any] = {"uplinks": []} if place.count("/") == 1 else {}
            _object(made, split(place)).update(always | (operation.after or {}))
        else:
            *outer, name = split(place)
            _object(made, outer).pop(name, None)
    return made


def _object(made: dict[str, Any], names: list[str]) -> dict[str, Any]:
    for name in names:
        made = made.setdefault(name, {})
    return made


def _change(found: dict[str, Any], names: tuple[str, ...], operation: Operation) -> None:
    """Makes one operation within the object that it is of."""
    before: Mapping[str, Any]
    after: Mapping[str, Any]
    if names[0] in order.TABLES:
        before, after = operation.before or {}, operation.after or {}
    else:
        before, after = ({} if value is None else {names[-1]: value} for value in (operation.before, operation.after))
    table = found if len(names) == 1 and names[0] not in order.TABLES else found.setdefault(names[0], {})
    for name in (*before, *after):
        if name not in after:
            table.pop(name, None)
        else:
            table[name] = after[name]
    if table is not found and not table:
        del found[names[0]]
    if names[0] in _ONE_PROPERTY:
        _both_or_none(found, cleared=names[0] not in after)


def _both_or_none(found: dict[str, Any], cleared: bool) -> None:
    """Settings that share a property are written together, and cleared together where all have their defaults again;
    who sets a default has it written."""
    values = {name: found.get(name, default) for name, default in _ONE_PROPERTY.items()}
    for name, value in values.items():
        if cleared and values == _ONE_PROPERTY:
            found.pop(name, None)
        else:
            found[name] = value
