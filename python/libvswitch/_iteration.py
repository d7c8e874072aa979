"""Iteration over records that hold others: as many elements as the record's count says.

Walks read the counts as they go and trust them, as the library does.
"""

from __future__ import annotations

from collections.abc import Callable, Iterator
from typing import Any

import libvswitch as vs
from libvswitch import _records

RUNTIME_OPTIONS_HEADER = 4
TEAMING_SLOTS = 32


def _counted(field: str) -> Callable[[Any], Iterator[Any]]:
    """Elements by index, as many as a field of the record says."""

    def walk(record: Any) -> Iterator[Any]:
        index = 0
        while index < getattr(record, field):
            yield record[index]
            index += 1

    return walk


def _teaming_uplinks(policy: vs.VSTeamPolicy | vs.LSTeamPolicy) -> Iterator[Any]:
    """The uplinks in failover order: the active ones, then the standby ones."""
    count = policy.numActive + policy.numStandby
    if count > TEAMING_SLOTS:
        raise ValueError(f"a teaming policy of {count} uplinks, where {TEAMING_SLOTS} have room")
    for index in range(count):
        yield policy[index]


def _lags(table: vs.VSLAGTable) -> Iterator[vs.VSLAGStatus]:
    lag = table.vs_lag_table_first_lag()
    for remaining in range(table.numLAGs, 0, -1):
        yield lag
        if remaining > 1:
            lag = lag.vs_lag_table_next_lag()


def _options(options: vs.VSRuntimeOptions) -> Iterator[vs.VSRuntimeOptionHeader]:
    option = options.get_first_option() if options.totalLength > RUNTIME_OPTIONS_HEADER else None
    while option is not None:
        if option.length == 0:
            raise ValueError("a runtime option of length 0: the buffer is not complete")
        yield option
        option = options.get_next_option(option)


def entities(self: vs.DVMirrorSessionTable, session: vs.DVMirrorSession) -> Iterator[vs.DVMirrorEntity]:
    """The entities of one session of a mirror table: its destinations, then the sources received from, then those sent
    from, as many as its three counts say."""
    count = session.numDstEntities + session.numSrcInEntities + session.numSrcOutEntities
    entity = self.get_first_session_entity(session.startIdx)
    for remaining in range(count, 0, -1):
        yield entity
        if remaining > 1:
            entity = entity.__next__()


_WALKS: dict[str, Callable[[Any], Iterator[Any]]] = {
    "DVMirrorSessionTable": _counted("numSessions"),
    "LSTeamPolicy": _teaming_uplinks,
    "LSTeamTable": _counted("numLSTeam"),
    "RTMIOCtlQuery": _counted("numPortsets"),
    "RTMModIOCtlQuery": _counted("numMod"),
    "VSDVMirrorSessionIDs": _counted("numEntries"),
    "VSLAGStatus": _counted("numUplinks"),
    "VSLAGTable": _lags,
    "VSList": _counted("count"),
    "VSPromiscSessionActiveDsts": _counted("numEntries"),
    "VSRuntimeOptions": _options,
    "VSTeamPolicy": _teaming_uplinks,
    "VSUplinkPortIds": _counted("nUplinkPorts"),
    "VSUplinkPorts": _counted("nUplinkPorts"),
    "VSUplinks": _counted("numEntries"),
}


def rows(first: vs.Record, count: int, *fields: str) -> list[tuple[Any, ...]]:
    """Fields of `count` records that lie side by side from `first` on, such as those of a MAC table, without a record
    object for each: a list with a tuple for each record, in the order of `fields`.

    Fields are numbers and texts; any other raises ValueError. As with an index, nothing checks that there are `count`
    records: it is the number that came with them, such as `numEntries`.
    """
    return _records.rows(first, count, fields)


def iterate(record: vs.Record) -> Iterator[Any]:
    """What `iter(record)` gives. TypeError for a record that holds nothing or that does not know how much."""
    for kind in type(record).__mro__:
        walk = _WALKS.get(kind.__name__)
        if walk is not None:
            return walk(record)
    name = type(record).__name__
    if hasattr(record, "__getitem__"):
        raise TypeError(
            f"'{name}' object is not iterable: it does not know how many elements follow; "
            f"write (record[index] for index in range(count))"
        )
    raise TypeError(f"'{name}' object is not iterable")
