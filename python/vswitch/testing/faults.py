"""Takes a script through the failure of each call that it makes, one in each run, and looks at what is left."""

from __future__ import annotations

import json
import os
import runpy
import sys
import tempfile
from collections.abc import Callable, Iterable, Iterator
from dataclasses import dataclass
from itertools import islice
from pathlib import Path
from typing import Any, Self

from vswitch.enums import Status
from vswitch.testing.host import LabHost, MetFault, fault_options
from vswitch.testing.states import difference, read_state

__all__ = ["FaultReport", "FaultRun", "every_fault"]

Script = Callable[[LabHost], object] | str | os.PathLike[str]
Invariant = Callable[[LabHost, dict[str, Any], dict[str, Any], BaseException | None], str | None]
KINDS = ("fail", "fail-after", "abort")


@dataclass(frozen=True, slots=True)
class FaultRun:
    """One run of the script, in which one call failed.

    `number`: which of the calls that could be met it was, from 1. `call`: its name. `kind`, `status`: how it failed;
    the status is None for an abort. `error`: what the script raised. `broken`: what is wrong with what it left, None if
    nothing is. `diff`: of a broken run, what is different from the state that is nearest to being right."""

    number: int
    call: str
    kind: str
    status: Status | None
    error: BaseException | None
    broken: str | None
    diff: str

    def __str__(self) -> str:
        how = self.kind if self.status is None else f"{self.kind} {self.status}"
        return f"call {self.number}, {self.call} ({how}): {self.broken or 'handled'}"


class FaultReport(str):
    """What came of all runs, as a text with attributes: pytest shows the message of an assertion whole if it is one.

    `runs`: those in which a call failed. `complete`: every call of the script had its turn; False where the limit came
    first. The text is a count of what was handled, and a line for each run that is broken."""

    runs: tuple[FaultRun, ...]
    complete: bool

    def __new__(cls, runs: Iterable[FaultRun], complete: bool = True) -> Self:
        listed = tuple(runs)
        broken = [run for run in listed if run.broken is not None]
        handled = f"{len(listed) - len(broken)} of {len(listed)} failing calls handled"
        if not complete:
            handled += "; the limit came before the end of the script"
        report = super().__new__(cls, "\n".join([handled, *(f"  {run}" for run in broken)]))
        report.runs, report.complete = listed, complete
        return report

    @property
    def broken(self) -> tuple[FaultRun, ...]:
        """The runs whose failure was not handled."""
        return tuple(run for run in self.runs if run.broken is not None)

    @property
    def ok(self) -> bool:
        """Every failing call was handled."""
        return self.complete and not self.broken

    def __repr__(self) -> str:
        return f"<FaultReport: {self.splitlines()[0]}>"


def every_fault(
    script: Script,
    *,
    host: LabHost,
    statuses: Iterable[Status | int | str] = (Status.BUSY,),
    kinds: Iterable[str] = ("fail",),
    calls: Iterable[str] | None = None,
    limit: int = 10000,
    invariant: Invariant | None = None,
) -> FaultReport:
    """Runs a script once for each call that it makes, each time on a copy of the host on which that call fails.

    `script`: a callable of the host, or the path of a Python file, which is run in this process. `kinds`: of "fail",
    "fail-after" and "abort"; `statuses`: those that are returned, each in runs of its own. `calls`: the functions that
    fail one after the other, None for any call. `limit`: the most runs of one of these series.

    `invariant(host, before, after, error)` says what is wrong with what the script left, or None: `before` and `after`
    are what `export()` gives, with the volatile values by their paths in `volatile`. Without one: a script that raised
    nothing has to leave what it leaves when nothing fails, one that raised what was there before, or that. What the
    script raises when nothing fails is raised here.
    """
    work = _Script(script)
    with host._using(host.simulated.fork()):
        before = read_state()
        error = work.run(host)
        if error is not None:
            error.add_note("the script fails although no call does")
            raise error
        ask = invariant or _Default(read_state())
    runs: list[FaultRun] = []
    complete = True
    with tempfile.TemporaryDirectory(prefix="vswitch-faults-") as folder:
        for series in _series(kinds, statuses, calls):
            number = 1
            while (run := _one(work, host, before, ask, series, number, Path(folder) / "trace")) is not None:
                if number > limit:
                    complete = False
                    break
                runs.append(run)
                number += 1
    return FaultReport(runs, complete)


_Series = tuple[str, Status | int | str | None, str | None]


def _series(
    kinds: Iterable[str], statuses: Iterable[Status | int | str], calls: Iterable[str] | None
) -> Iterator[_Series]:
    """Kind, status and function of each series of runs."""
    if isinstance(kinds, str) or isinstance(calls, str):
        raise TypeError("kinds and calls: several texts are wanted, not one")
    listed, functions = tuple(statuses), (None,) if calls is None else tuple(calls)
    for kind in kinds:
        if kind not in KINDS:
            raise ValueError(f"{kind!r} is no kind of failure: use one of {', '.join(KINDS)}")
        for status in listed if kind != "abort" else (None,):
            for function in functions:
                yield kind, status, function


def _one(
    work: _Script, host: LabHost, before: dict[str, Any], ask: Invariant, series: _Series, number: int, trace: Path
) -> FaultRun | None:
    """The run whose call `number` fails; None if the script does not make so many."""
    kind, status, function = series
    options = fault_options(kind, status)
    with host._using(host.simulated.fork()):
        simulated = host.simulated
        trace.unlink(missing_ok=True)
        simulated.trace = str(trace)
        fault = MetFault(simulated, simulated.fault(kind, function, skip=number - 1, times=1, **options))
        error = work.run(host)
        # A copy that the script has put into the host's place has the rule as well.
        if not fault.met and not MetFault(host.simulated, fault.number).met:
            return None
        host.simulated.clear_fault()
        simulated.trace = None
        after = read_state()
        broken = ask(host, before, after, error)
        diff = ""
        if broken is not None:
            right = ask.right if isinstance(ask, _Default) and error is None else before
            diff = difference(right, after)
    # A number that is no status was refused above.
    known: Any = None if status is None else Status.from_json(status)
    return FaultRun(number, _met_call(trace, function, number), kind, known, error, broken, diff)


def _met_call(trace: Path, function: str | None, number: int) -> str:
    """The name of the call that was met, as the trace has it."""
    if function is not None:
        return function
    # What releases memory is of no host, and so neither met nor in its trace.
    with open(trace, encoding="utf-8") as lines:
        line = next(islice(lines, number - 1, None), '{"call": "a call on a copy of the host"}')
    return str(json.loads(line)["call"])


class _Script:
    """What is run: a callable, or a file."""

    def __init__(self, script: Script) -> None:
        if not callable(script) and not isinstance(script, (str, os.PathLike)):
            raise TypeError(f"a callable or a path is wanted, not {type(script).__name__}")
        self.script = script

    def run(self, host: LabHost) -> BaseException | None:
        """Runs it; what it raised. An exit with another code than 0 is an error."""
        try:
            if callable(self.script):
                self.script(host)
            else:
                self.run_file(os.fspath(self.script))
        except KeyboardInterrupt:
            raise
        except SystemExit as error:
            return error if error.code not in (None, 0) else None
        except BaseException as error:  # noqa: BLE001 - this is what is looked at
            return error
        return None

    @staticmethod
    def run_file(path: str) -> None:
        """As an interpreter that is given the file."""
        arguments, folders = sys.argv, list(sys.path)
        sys.argv = [path]
        sys.path.insert(0, os.path.dirname(os.path.abspath(path)))
        try:
            runpy.run_path(path, run_name="__main__")
        finally:
            sys.argv = arguments
            sys.path[:] = folders


class _Default:
    """The invariant of scripts that do all or nothing. `right`: what one leaves whose calls all succeed."""

    def __init__(self, right: dict[str, Any]) -> None:
        self.right = right

    def __call__(
        self, _host: LabHost, before: dict[str, Any], after: dict[str, Any], error: BaseException | None
    ) -> str | None:
        if error is None:
            return None if after == self.right else "the failure was swallowed"
        return None if after in (before, self.right) else "left half done"
