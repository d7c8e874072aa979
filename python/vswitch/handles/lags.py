"""The LAGs of a switch."""

from __future__ import annotations

from typing import Any

from vswitch._calls import pointed, take
from vswitch._similar import did_you_mean
from vswitch.errors import WrongState
from vswitch.handles.collection import Collection
from vswitch.values.link import Lag, table_from, table_size

__all__ = ["Lags"]


class Lags(Collection[Lag]):
    """The LAGs of a switch by name, by their numbers; none without a port set."""

    __slots__ = ("_alias",)

    def __init__(self, alias: str) -> None:
        self._alias = alias

    def _all(self) -> dict[str, Lag]:
        try:
            found = take(_lags_of, "VSQEL_GetLAGTable", self._alias)
        except WrongState:
            return {}
        return {lag.name: lag for lag in found}

    def _missing(self, name: str) -> str:
        return f"no LAG {name!r} on switch {self._alias!r}{did_you_mean(name, self._all())}"

    def __repr__(self) -> str:
        return f"<Lags of switch {self._alias!r}>"


def _lags_of(table: Any) -> tuple[Lag, ...]:
    return table_from(pointed(table, table_size(lambda size: pointed(table, size))))
