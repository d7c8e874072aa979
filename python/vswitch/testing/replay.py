"""Records the calls of this layer on any host, and makes recorded calls again, on the same host or on another."""

from __future__ import annotations

import os
import sys
from collections.abc import Iterator
from contextlib import contextmanager, nullcontext
from dataclasses import dataclass
from types import ModuleType
from typing import Any

import libvswitch

from vswitch import _calls
from vswitch._arguments import Data, Output, Packed, is_counted
from vswitch.errors import Error
from vswitch.handles.host import Host
from vswitch.testing.calls import ADDRESS, CallLog, CallRecord, RecordBytes

__all__ = ["Difference", "ReplayReport", "record", "replay"]


@dataclass(frozen=True, slots=True)
class Difference:
    """A call that did not go as recorded. `index`: its place in the log, from 0. `call`: its name. `expected`, `got`:
    the statuses where these differ, else the results, else the arguments with what the call has filled."""

    index: int
    call: str
    expected: Any
    got: Any

    def __str__(self) -> str:
        return f"call {self.index}, {self.call}: {self.got}, not {self.expected}"


@dataclass(frozen=True, slots=True)
class ReplayReport:
    """What came of a replay: the `differences`, in order; how many calls were `made`, and how many were left out
    because addresses were passed to them (`skipped`)."""

    differences: tuple[Difference, ...]
    made: int
    skipped: int

    @property
    def ok(self) -> bool:
        """Every call went as recorded."""
        return not self.differences

    def __str__(self) -> str:
        """How much was made, and the first difference."""
        made = f"{self.made} calls made, {self.skipped} skipped"
        if not self.differences:
            return f"{made}, no difference"
        return f"{made}, {len(self.differences)} differ; the first is {self.differences[0]}"


@contextmanager
def record(path: str | os.PathLike[str]) -> Iterator[CallLog]:
    """Logs what this layer calls within the block, in all threads, on whatever host: a CallLog, which is written to the
    file when the block is over, also if it raises."""
    log = CallLog()
    with _calls.observed(log.note):
        try:
            yield log
        finally:
            log.save(path)


def replay(log: CallLog | str | os.PathLike[str], host: Any = None) -> ReplayReport:
    """Makes the calls of a log again, in their order, and compares what comes back. `log`: one, or the path of a file
    with one. `host`: a `LabHost` or a `SimulatedHost`, which is in use meanwhile; None for the host in use. Calls to
    which addresses were passed are skipped."""
    calls = log if isinstance(log, CallLog) else CallLog.load(log)
    simulated = getattr(host, "simulated", None if type(host) is Host else host)
    differences = []
    made = 0
    with nullcontext() if simulated is None else simulated:
        for index, one in enumerate(calls):
            if any(value is ADDRESS for value in one.arguments.values()):
                continue
            made += 1
            found = _again(one)
            expected, got = _different(one, found)
            if expected is not got:
                differences.append(Difference(index, one.call, expected, got))
    return ReplayReport(tuple(differences), made, len(calls) - made)


def _again(one: CallRecord) -> CallRecord:
    """Makes a call again; what came of it."""
    log = CallLog()
    arguments = [_native(one.call, value) for value in one.arguments.values()]
    with _calls.observed(log.note):
        try:
            _calls.take(lambda *outputs: None, one.call, *arguments)
        except (Error, OSError, RuntimeError, MemoryError, ValueError):
            pass  # it is in the log, as any outcome
    # What follows gives back what the call has handed out, or asks for a hint.
    return log[0]


def _native(call: str, value: Any) -> Any:
    """An argument as the library takes it."""
    if isinstance(value, bytes):
        return value if call.startswith("VSDVS_") else Data(value)
    if not isinstance(value, RecordBytes):
        return value
    if is_counted(value.record):
        return Packed(value.record, value.data)
    # Filled or only read: it is looked at again when the call is over.
    return Output(getattr(libvswitch, value.record).from_bytes(value.data))


def _different(one: CallRecord, other: CallRecord) -> tuple[Any, Any]:
    """Where two calls of a function differ, both sides of it; the same object twice if they do not."""
    for name in ("status", "result", "arguments"):
        expected, got = getattr(one, name), getattr(other, name)
        if expected != got:
            return expected, got
    return None, None


class _Callable(ModuleType):
    """Importing this module makes it an attribute of the package, where the function of its name is wanted."""

    def __call__(self, log: CallLog | str | os.PathLike[str], host: Any = None) -> ReplayReport:
        return replay(log, host)


sys.modules[__name__].__class__ = _Callable
