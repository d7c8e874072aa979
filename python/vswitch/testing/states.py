"""The state of a host as tests compare it, and what is different in another, as text."""

from __future__ import annotations

from collections.abc import Iterator, Mapping
from typing import Any

from vswitch.desired import export, order, state
from vswitch.desired.names import joined, path_of, split
from vswitch.desired.plan import Difference, Operation, place_of
from vswitch.watch import leaves

VOLATILE = "volatile"


def read_state() -> dict[str, Any]:
    """The host in use: what `Host.export()` gives, and in `volatile` the volatile values by their paths."""
    host = state.read(volatile=True)
    found = export.document(host)
    found[VOLATILE] = {
        joined(path, key): export.property_form(entry)
        for alias, switch in host.switches.items()
        for path, kept in _written(alias, switch)
        for key, entry in kept.volatile.items()
    }
    return found


def _written(alias: str, switch: state.SwitchState) -> Iterator[tuple[str, state.Object]]:
    yield path_of("switches", alias, "properties"), switch.common
    yield path_of("switches", alias, "host_properties"), switch.local
    for kind, ports in (("ports", switch.ports), ("uplink_ports", switch.uplink_ports)):
        for name, port in ports.items():
            yield path_of("switches", alias, kind, name, "properties"), port


def difference(before: Mapping[str, Any], after: Mapping[str, Any]) -> str:
    """What is different in `after`, both of them exports or what `read_state` gives, in the form in which plans say
    what they do; empty if they are the same."""
    old, new = _objects(before), _objects(after)
    operations: list[Operation] = []

    def add(action: str, path: str, one: Any, other: Any) -> None:
        operations.append(Operation(len(operations) + 1, action, path, (), (), one, other))

    gone = [path for path in old if path not in new]
    for path in gone:
        if not any(path.startswith(f"{outer}/") for outer in gone):
            add("remove", path, {}, None)
    for path in new:
        if path not in old:
            add("create", path, None, {})
    for path, one, other in _changes(before, after):
        place, names = place_of(path)
        if not place:
            names = tuple(split(path))
        if any(path.startswith(f"{outer}/") for outer in gone):
            continue
        if len(names) == 2 and names[0] in order.TABLES:
            entries = [{} if value is None else {names[1]: value} for value in (one, other)]
            add("set", joined(place, names[0]), *entries)
        elif names:
            add("set", path, one, other)
    return Difference(operations, [*new, *gone]).text()


def _objects(found: Mapping[str, Any]) -> list[str]:
    """The paths of switches and ports, in their order. Ports of uplinks go with these."""
    paths = []
    for alias, switch in found["switches"].items():
        paths.append(path_of("switches", alias))
        paths += [path_of("switches", alias, "ports", name) for name in switch.get("ports", ())]
    return paths


def _changes(before: Mapping[str, Any], after: Mapping[str, Any]) -> Iterator[tuple[str, Any, Any]]:
    """Path, value before and value after of each value that is another."""
    old, new = (_values(found) for found in (before, after))
    for path in [*old, *(path for path in new if path not in old)]:
        if old.get(path) != new.get(path):
            yield path, old.get(path), new.get(path)


def _values(found: Mapping[str, Any]) -> dict[str, Any]:
    values = leaves({name: value for name, value in found.items() if name != VOLATILE})
    values.update({f"{path} (volatile)": value for path, value in found.get(VOLATILE, {}).items()})
    return values
