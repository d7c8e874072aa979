"""The order of operations: phases, and which switch gives its NICs up first."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Sequence
from enum import IntEnum

from vswitch.desired import schema


class Phase(IntEnum):
    """When an operation is made. Within a phase: in the order of the document, then by path."""

    RELEASE = 1
    LOSE_MIRRORS = 20
    LOSE_ADDRESSES = 21
    LOSE_PROPERTIES = 22
    REMOVE_PORTS = 23
    REMOVE_SWITCHES = 24
    MAKE_SWITCHES = 30
    UPLINKS = 40
    SWITCH = 50
    PORTS = 60
    SHRINK = 70
    ADDRESSES = 71
    PROPERTIES = 72
    MIRRORS_THAT_LOSE = 73
    MIRRORS = 74
    HOST = 75
    DISCONNECT = 76


# Members whose entries change with one call: one operation has them all.
TABLES = ("mirrors", "teaming_policies", "runtime_options")

_RANKS = {
    members: {name: rank for rank, name in enumerate(form.members)}
    for members, form in (("host", schema.DOCUMENT), ("switch", schema.SWITCH), ("port", schema.PORT))
}


def member_rank(place: str) -> Callable[[str], int]:
    """The order of the members of the object at a path, as a document has them."""
    depth = place.count("/") + 1 if place else 0
    ranks = _RANKS["host" if not depth else "switch" if depth == 2 else "port"]
    return lambda name: ranks.get(name, len(ranks))


def givers_first(changes: Sequence[tuple[str, Iterable[str], Iterable[str]]]) -> tuple[list[str], str | None]:
    """In which order switches get their uplinks, of each alias, the names that it gives up and those that it takes:
    givers before takers, else as they stand. Where none can go first, all of them wait for each other: the second
    result is the one that has to give up what it gives before it takes anything; None if there is no such ring."""
    waiting = [(alias, set(given), set(taken)) for alias, given, taken in changes]
    done: list[str] = []
    while waiting:
        still_given = {name: alias for alias, given, _ in waiting for name in given}
        for position, (alias, _, taken) in enumerate(waiting):
            if all(still_given.get(name, alias) == alias for name in taken):
                done.append(alias)
                del waiting[position]
                break
        else:
            return done, waiting[0][0]
    return done, None
