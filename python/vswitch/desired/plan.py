"""Plans: the operations that lead a host to a document's state, as data, and as text."""

from __future__ import annotations

import hashlib
import json
from collections.abc import Callable, Iterator, Mapping, Sequence
from dataclasses import dataclass
from functools import cached_property
from typing import TYPE_CHECKING, Any, Self

from vswitch.desired import order
from vswitch.desired.names import joined, split
from vswitch.desired.settings import Calls
from vswitch.errors import DocumentError

if TYPE_CHECKING:
    from vswitch.desired.apply import ApplyResult
    from vswitch.desired.rehearse import Rehearsal

FORMAT = 1


@dataclass(frozen=True, slots=True)
class Operation:
    """One step of a plan.

    `number`: from 1. `action`: "create", "remove", "set" or "clear". `path`: of what it changes. `calls`: the library
    calls that make it, and `undo`: those that take it back, each a pair of the call's name and its inputs by name, as
    plain data. `before`, `after`: what is at the path, in the short form; None for nothing."""

    number: int
    action: str
    path: str
    calls: Calls
    undo: Calls
    before: Any
    after: Any

    def __hash__(self) -> int:
        return hash((self.number, self.action, self.path))

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {
            "number": self.number,
            "action": self.action,
            "path": self.path,
            "calls": [list(one) for one in self.calls],
            "undo": [list(one) for one in self.undo],
            "before": self.before,
            "after": self.after,
        }

    @classmethod
    def from_dict(cls, mapping: Mapping[str, Any]) -> Self:
        """The operation of its plain form. DocumentError for another form."""
        try:
            return cls(
                int(mapping["number"]),
                str(mapping["action"]),
                str(mapping["path"]),
                tuple((str(name), dict(arguments)) for name, arguments in mapping["calls"]),
                tuple((str(name), dict(arguments)) for name, arguments in mapping["undo"]),
                mapping["before"],
                mapping["after"],
            )
        except (KeyError, TypeError, ValueError) as error:
            raise DocumentError("operations", f"not an operation: {error}") from None


class Plan(Sequence[Operation]):
    """The operations that a host lacks to be as a document says; empty (and false) if it is so already."""

    def __init__(self, operations: Sequence[Operation], places: Sequence[str] = ()) -> None:
        """`places`: paths of objects in the order in which an export would have them afterwards."""
        self._operations = tuple(operations)
        self._places = tuple(places)

    @property
    def operations(self) -> tuple[Operation, ...]:
        """The operations in the order in which they are made."""
        return self._operations

    @cached_property
    def id(self) -> str:
        """16 hexadecimal digits that follow from the operations."""
        text = json.dumps([operation.to_dict() for operation in self._operations], sort_keys=True)
        return hashlib.sha256(text.encode()).hexdigest()[:16]

    def __len__(self) -> int:
        return len(self._operations)

    def __getitem__(self, index: Any) -> Any:
        return self._operations[index]

    def __iter__(self) -> Iterator[Operation]:
        return iter(self._operations)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Plan) and self._operations == other._operations

    def __hash__(self) -> int:
        return hash(self.id)

    def __repr__(self) -> str:
        return f"<Plan of {len(self)} operation{'' if len(self) == 1 else 's'}>"

    def diff(self) -> str:
        """What changes, as text: a head for each object, a line for each member; empty for an empty plan."""
        return Difference(self._operations, self._places).text()

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {"format": FORMAT, "id": self.id, "operations": [one.to_dict() for one in self._operations]}

    @classmethod
    def from_dict(cls, mapping: Mapping[str, Any]) -> Self:
        """The plan of its plain form. DocumentError for another form."""
        if not isinstance(mapping, Mapping) or mapping.get("format") != FORMAT:
            raise DocumentError("format", f"the number {FORMAT} is wanted")
        operations = mapping.get("operations")
        if not isinstance(operations, (list, tuple)):
            raise DocumentError("operations", "a list is wanted")
        return cls([Operation.from_dict(one) for one in operations])

    def apply(
        self,
        *,
        progress: Callable[[int, int, Operation], object] | None = None,
        confirm_within: float | None = None,
        verify: bool = True,
    ) -> ApplyResult:
        """Makes the operations in their order, reads what they changed (`verify`), and takes everything back if one
        fails.

        `progress(done, total, operation)` is called before each operation, and once with `done == total` at the end.
        `confirm_within` (seconds, 1 to 86400): the changes are taken back by a process of its own unless
        `Host.confirm()` comes in time. PlanChanged if the host is not what it was, Busy if another apply is going on or
        waits, ApplyError for what fails on the way, with what was undone.
        """
        from vswitch.desired.apply import apply

        return apply(self, progress=progress, confirm_within=confirm_within, verify=verify)

    def rehearse(self) -> Rehearsal:
        """Applies the plan to a private simulated twin of the host, in a process of its own: whether it works, what the
        host is afterwards, and whom it cuts off. The host itself is only read. NotSupported where the simulated host is
        not installed (VSWITCH_SIMULATED_HOST names the folder of its libraries)."""
        from vswitch.desired.rehearse import rehearse

        return rehearse(self)


# ---- as text --------------------------------------------------------------------------------------------------


def place_of(path: str) -> tuple[str, tuple[str, ...]]:
    """The path of the object that a path is in, and the names of the member and of its entry."""
    parts = path.split("/")
    if parts[0] != "switches":
        return "", (parts[0],)
    depth = 4 if len(parts) >= 4 and parts[2] in ("ports", "uplink_ports") else 2
    names = split("/".join(parts[depth:]))
    return "/".join(parts[:depth]), tuple(names)


class Difference:
    """Operations brought together by object and member, what was first and what is last."""

    def __init__(self, operations: Sequence[Operation], places: Sequence[str]) -> None:
        self.heads: dict[str, str] = {}
        self.members: dict[str, dict[str, list[Any]]] = {}
        self.tables: dict[str, dict[str, dict[str, list[Any]]]] = {}
        for operation in operations:
            self._add(operation)
        known = {place: position for position, place in enumerate(places)}
        self.places = sorted(
            dict.fromkeys([*self.heads, *self.members, *self.tables]),
            key=lambda place: known.get(place, len(known)) if place else len(known) + 1,
        )

    def _add(self, operation: Operation) -> None:
        place, names = place_of(operation.path)
        if not names:
            if operation.action == "create":
                self.heads[place] = "create"
                for name, value in (operation.after or {}).items():
                    self._line(self.members.setdefault(place, {}), name, None, value)
            else:
                self.heads[place] = "remove"
        elif names[0] in order.TABLES:
            table = self.tables.setdefault(place, {}).setdefault(names[0], {})
            before, after = operation.before or {}, operation.after or {}
            for name in [*before, *(name for name in after if name not in before)]:
                self._line(table, name, before.get(name), after.get(name))
        elif len(names) == 2:
            table = self.tables.setdefault(place, {}).setdefault(names[0], {})
            self._line(table, names[1], operation.before, operation.after)
        else:
            self._line(self.members.setdefault(place, {}), names[0], operation.before, operation.after)

    def _line(self, lines: dict[str, list[Any]], name: str, before: Any, after: Any) -> None:
        if name in lines:
            lines[name][1] = after
        else:
            lines[name] = [before, after]

    def text(self) -> str:
        """The text."""
        lines: list[str] = []
        for place in self.places:
            members = self.members.get(place, {})
            if place in self.heads:
                lines.append(f"{place}: {self.heads[place]}")
            elif members and place:
                lines.append(f"{place}:")
            indent = "  " if place else ""
            for name in sorted(members, key=order.member_rank(place)):
                lines += [indent + line for line in _change(name, *members[name])]
            tables = self.tables.get(place, {})
            for table in sorted(tables, key=order.member_rank(place)):
                changes = [line for name, pair in tables[table].items() for line in _change(name, *pair)]
                if changes:
                    lines.append(f"{joined(place, table)}:")
                    lines += ["  " + line for line in changes]
        return "".join(line + "\n" for line in lines)


def _change(name: str, before: Any, after: Any) -> list[str]:
    if before == after:
        return []
    if before is None:
        return [f"+ {name}: {_json(after)}"]
    if after is None:
        return [f"- {name}: {_json(before)}"]
    return [f"~ {name}: {_json(before)} -> {_json(after)}"]


def _json(value: Any) -> str:
    return json.dumps(value, ensure_ascii=False)
