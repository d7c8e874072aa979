"""Walks of records whose elements have no place by their number, and fields of many records at once.

Walks read the counts as they go and trust them, as the library does.
"""

from __future__ import annotations

from collections.abc import Callable, Iterator
from typing import Any

import libvswitch as vs
from libvswitch import _records

RUNTIME_OPTIONS_HEADER = 4


def _lags(table: vs.VSLAGTable) -> Iterator[vs.VSLAGStatus]:
    lag = table.vs_lag_table_first_lag()
    for remaining in range(len(table), 0, -1):
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
    from, as many as its three counts say. IndexError where these lead beyond the table's entities."""
    count = session.numDstEntities + session.numSrcInEntities + session.numSrcOutEntities
    for index in range(session.startIdx, session.startIdx + count):
        yield self.get_first_session_entity(index)


_WALKS: dict[str, Callable[[Any], Iterator[Any]]] = {"VSLAGTable": _lags, "VSRuntimeOptions": _options}


def rows(first: vs.Record, count: int, *fields: str) -> list[tuple[Any, ...]]:
    """Fields of `count` records that lie side by side from `first` on, such as those of a MAC table, without a record
    object for each: a list with a tuple for each record, in the order of `fields`.

    Fields are numbers and texts; any other raises ValueError. As with an index, nothing checks that there are `count`
    records: it is the number that came with them, such as `numEntries`.
    """
    return _records.rows(first, count, fields)


def iterate(record: vs.Record) -> Iterator[Any]:
    """What `iter(record)` gives where there is no index within a count. TypeError for a record that holds nothing or
    that does not know how much."""
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
