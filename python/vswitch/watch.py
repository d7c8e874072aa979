"""Watching a host for changes, and waiting until it is in some state."""

from __future__ import annotations

import asyncio
import operator
import re
import threading
import time
from collections.abc import Callable, Iterator, Mapping, Sequence
from dataclasses import dataclass
from datetime import datetime, timezone
from typing import TYPE_CHECKING, Any, NamedTuple, Self

from vswitch import _walk
from vswitch.desired import export, settings
from vswitch.desired.document import parse
from vswitch.desired.names import joined, split
from vswitch.errors import DocumentError, NotFound, TimedOut
from vswitch.paths import MISSING, find

if TYPE_CHECKING:
    from vswitch.handles.host import Host

SHORTEST, LONGEST = 0.05, 3600.0


@dataclass(frozen=True, slots=True)
class Change:
    """One value that is another now: its `path`, its `kind` ("added", "removed", "changed"), and its values `before`
    and `after`, None for nothing. A setting or a list is one value."""

    path: str
    kind: str
    before: Any
    after: Any

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {"path": self.path, "kind": self.kind, "before": self.before, "after": self.after}


@dataclass(frozen=True, slots=True)
class ChangeSet:
    """What was seen to be another at one look: its `time` (UTC) and the `changes`."""

    time: datetime
    changes: tuple[Change, ...]

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        time_text = self.time.isoformat().replace("+00:00", "Z")
        return {"time": time_text, "changes": [change.to_dict() for change in self.changes]}


_VALUES = frozenset(("uplinks", "static_addresses", "lags", "mac_learning", *settings.SWITCH, *settings.PORT))
_TABLES = frozenset(("mirrors", "teaming_policies", "properties", "host_properties"))


def leaves(found: Any, path: str = "", depth: int = 0) -> dict[str, Any]:
    """The values of a document by their paths: numbers and texts, and settings, lists and entries of tables as a
    whole."""
    made: dict[str, Any] = {}
    _leaves(found, path, None, made)
    return made


def _leaves(found: Any, path: str, inside: str | None, made: dict[str, Any]) -> None:
    """`inside`: the collection whose entries are here, empty within an object, None at the document."""
    if not isinstance(found, dict):
        made[path] = found
        return
    if not found:
        if inside not in (None, "collection"):
            made[path] = {}
        return
    for name, value in found.items():
        place = joined(path, name)
        if inside == "table" or (inside != "collection" and name in _VALUES and inside != "observed"):
            made[place] = value
        elif isinstance(value, dict):
            if name in _TABLES and inside == "object":
                _leaves(value, place, "table", made)
            elif name in ("switches", "ports", "uplink_ports") and inside in (None, "object"):
                _leaves(value, place, "collection", made)
            elif name == "observed":
                _leaves(value, place, "observed", made)
            else:
                _leaves(value, place, "observed" if inside == "observed" else "object", made)
        else:
            made[place] = value


class Watch:
    """An iterator (also an asynchronous one) of what changes on the host: a ChangeSet for each look that finds
    something else than the one before. Also a context manager; `close()` ends it, from any thread."""

    def __init__(self, paths: Sequence[str], interval: float, timeout: float | None, observed: bool) -> None:
        for path in paths:
            if not isinstance(path, str):
                raise TypeError(f"a path is a text, not {path!r}")
        self._interval = _seconds("interval", interval)
        if not SHORTEST <= self._interval <= LONGEST:
            raise ValueError(f"interval: {SHORTEST} to {LONGEST:g} seconds, not {interval!r}")
        self._end = None if timeout is None else time.monotonic() + _seconds("timeout", timeout)
        self._paths = tuple(path.strip("/") for path in paths)
        self._observed = bool(observed)
        self._closed = threading.Event()
        self._before = self._look()
        self._next = time.monotonic() + self._interval

    def _look(self) -> dict[str, Any]:
        only = None
        if self._paths and all(path.startswith("switches/") for path in self._paths):
            wanted = {split(path)[1] for path in self._paths}
            only = [alias for alias in _walk.aliases() if alias in wanted]
        while True:
            try:
                found = leaves(export.export(observed=self._observed, only=only))
                break
            except NotFound:
                # A switch went while it was looked at.
                if only is not None:
                    present = set(_walk.aliases())
                    only = [alias for alias in only if alias in present]
        if not self._paths:
            return found
        return {
            path: value
            for path, value in found.items()
            if any(path == wanted or path.startswith(f"{wanted}/") for wanted in self._paths)
        }

    def _wait(self) -> float | None:
        """How long until the next look; None where there is none any more."""
        if self._closed.is_set():
            return None
        now = time.monotonic()
        if self._end is not None and self._next > self._end:
            return None
        return max(self._next - now, 0.0)

    def _changed(self) -> ChangeSet | None:
        self._next = time.monotonic() + self._interval
        after = self._look()
        before, self._before = self._before, after
        if before == after:
            return None
        changes = [
            Change(path, "changed" if path in after else "removed", value, after.get(path))
            for path, value in before.items()
            if path not in after or after[path] != value
        ]
        changes += [Change(path, "added", None, value) for path, value in after.items() if path not in before]
        return ChangeSet(datetime.now(timezone.utc), tuple(changes)) if changes else None

    def _remaining(self) -> float:
        return 0.0 if self._end is None else max(self._end - time.monotonic(), 0.0)

    def __iter__(self) -> Iterator[ChangeSet]:
        return self

    def __next__(self) -> ChangeSet:
        while (seconds := self._wait()) is not None:
            if self._closed.wait(seconds):
                break
            found = self._changed()
            if found is not None:
                return found
        else:
            self._closed.wait(self._remaining())
        raise StopIteration

    def __aiter__(self) -> Self:
        return self

    async def __anext__(self) -> ChangeSet:
        while (seconds := self._wait()) is not None:
            end = time.monotonic() + seconds
            while not self._closed.is_set() and (left := end - time.monotonic()) > 0:
                await asyncio.sleep(min(left, 0.1))
            if self._closed.is_set():
                break
            found = await asyncio.to_thread(self._changed)
            if found is not None:
                return found
        raise StopAsyncIteration

    def close(self) -> None:
        """Ends the iteration. Closing twice does nothing."""
        self._closed.set()

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *details: object) -> None:
        self.close()


def _seconds(name: str, given: object) -> float:
    if not isinstance(given, (int, float)) or isinstance(given, bool):
        raise TypeError(f"{name}: a number of seconds is wanted, not {given!r}")
    if not given >= 0:
        raise ValueError(f"{name}: a number of seconds is wanted, not {given!r}")
    return float(given)


# ---- conditions -----------------------------------------------------------------------------------------------

_OPERATORS = ("==", "!=", "<=", ">=", "<", ">", "contains", "exists", "absent")
_CONDITION = re.compile(r"\s*(\S+)\s+(==|!=|<=|>=|<|>|contains|exists|absent)(?:\s+(.*?))?\s*", re.DOTALL)
_COMPARED = {"<": operator.lt, "<=": operator.le, ">": operator.gt, ">=": operator.ge}


class Condition(NamedTuple):
    """A condition of the form `PATH OP [VALUE]`."""

    path: str
    operator: str
    value: Any

    def holds(self, found: Any) -> bool:
        """Whether it holds for what is at the path."""
        if self.operator in ("exists", "absent"):
            return (found is not MISSING) == (self.operator == "exists")
        if found is MISSING:
            return self.operator == "!="
        if self.operator in ("==", "!="):
            return bool(found == self.value) == (self.operator == "==")
        if self.operator == "contains":
            return isinstance(found, (str, list, tuple, Mapping)) and _contains(found, self.value)
        try:
            return bool(_COMPARED[self.operator](found, self.value))
        except TypeError:
            return False


def _contains(found: Any, value: Any) -> bool:
    if isinstance(found, str):
        return isinstance(value, str) and value in found
    if isinstance(found, Mapping):
        return str(value) in found
    return value in found or any(isinstance(one, Mapping) and one.get("name") == value for one in found)


def condition(text: str) -> Condition:
    """The condition of a text. ValueError for any other text."""
    match = _CONDITION.fullmatch(text)
    if match is None:
        raise ValueError(f"not a condition: {text!r}; write PATH OP [VALUE], with OP one of {', '.join(_OPERATORS)}")
    path, operator, rest = match.groups()
    if operator in ("exists", "absent"):
        if rest:
            raise ValueError(f"not a condition: {text!r}; '{operator}' takes no value")
        return Condition(path, operator, None)
    if not rest:
        raise ValueError(f"not a condition: {text!r}; '{operator}' needs a value")
    try:
        return Condition(path, operator, parse(rest))
    except DocumentError as error:
        raise ValueError(f"not a condition: {text!r}; {error.reason}") from None


def wait_until(host: Host, wanted: str | Callable[[Host], Any], timeout: float, interval: float) -> Any:
    """See Host.wait_until."""
    pause, patience = _seconds("interval", interval), _seconds("timeout", timeout)
    asked = condition(wanted) if isinstance(wanted, str) else None
    if asked is None and not callable(wanted):
        raise TypeError(f"a text or a callable is wanted, not {wanted!r}")
    end = time.monotonic() + patience
    while True:
        if asked is None:
            result = wanted(host)  # type: ignore[operator]
            if result:
                return result
            hint = f"the condition did not hold within {patience:g} s"
        else:
            found = find(host, asked.path)
            if asked.holds(found):
                return None if found is MISSING else found
            hint = f"{asked.path} is {'absent' if found is MISSING else _shown(found)}"
        left = end - time.monotonic()
        if left <= 0:
            raise TimedOut(hint)
        time.sleep(min(pause, left))


def _shown(found: Any) -> str:
    import json

    return found if isinstance(found, str) else json.dumps(found, ensure_ascii=False)
