"""The host of a test: a simulated one in use, with the objects of this package over it."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import Any

from vswitch.desired import journal
from vswitch.enums import Status
from vswitch.handles.host import Host
from vswitch.simulated import SimulatedHost
from vswitch.testing.states import difference, read_state

__all__ = ["LabHost", "MetFault"]


class MetFault:
    """A fault while it is in effect, and how often it was met."""

    def __init__(self, host: SimulatedHost, number: int) -> None:
        self._host = host
        self._met = 0
        self._is_over = False
        self.number = number
        """The number of the rule on the host."""

    @property
    def met(self) -> int:
        """How many calls it has met so far; of one that is over, how many it met."""
        self._look()
        return self._met

    def _look(self) -> bool:
        """Reads the rule; whether it is there. Of a fault that is over nothing is read."""
        if self._is_over:
            return False
        rule = next((rule for rule in self._host.faults() if rule.number == self.number), None)
        if rule is not None:
            self._met = rule.met
        return rule is not None

    def _end(self) -> bool:
        """Takes the rule away; whether it was still there."""
        there = self._look()
        if there:
            self._host.clear_fault(self.number)
        self._is_over = True
        return there


class LabHost(Host):
    """The host of a test: a `Host` whose simulated host only this test has.

    The fixture `vswitch_host` is one. Everything of `Host` is here; what only a simulator can do has `simulated`.
    """

    __slots__ = ("_begin", "_held", "_kept", "_simulated")

    def __init__(self, simulated: SimulatedHost, begin: Callable[[], SimulatedHost] | None = None) -> None:
        """Over a simulated host that is in use. `begin`: makes a copy of it as it was at the beginning."""
        super().__init__()
        self._simulated = simulated
        self._begin = begin
        self._held: SimulatedHost | None = None
        self._kept: list[SimulatedHost] = []

    @property
    def simulated(self) -> SimulatedHost:
        """The simulated host: frames, time, clients, faults, captures."""
        return self._simulated

    @property
    def environment(self) -> dict[str, str]:
        """What child processes need in their environment to work on this host. A host in memory (":memory:") is this
        process's alone, and a child gets a fresh one of its own: mark the test with `vswitch_host(file=True)`."""
        return journal.environment(self._simulated.path)

    def diff(self) -> str:
        """What has changed since the test began, in the form in which plans say what they do; empty if nothing has, and
        for a host whose beginning is not known."""
        if self._begin is None:
            return ""
        now = read_state()
        begin = self._begin()
        try:
            with begin:
                before = read_state()
        finally:
            begin.close()
        return difference(before, now)

    @contextmanager
    def unchanged(self) -> Iterator[None]:
        """Fails the test with the difference if `export()` is another at the end of the block. A block that raises has
        its own say."""
        before = self.export()
        yield
        after = self.export()
        if after != before:
            raise AssertionError(f"the host was to stay as it is:\n{difference(before, after)}")

    # ---- the whole host ----------------------------------------------------------------------------------------------

    def snapshot(self) -> SimulatedHost:
        """A copy of the whole host in memory, for `restore_snapshot` and comparisons. It is closed with the test."""
        copy = self._simulated.fork()
        self._kept.append(copy)
        return copy

    def restore_snapshot(self, snapshot: SimulatedHost) -> None:
        """Makes the host what it was when the snapshot was made, which stays as it is. From then on it is in memory."""
        self._replace(snapshot.fork())

    def _replace(self, simulated: SimulatedHost) -> None:
        simulated.use()
        if self._simulated is not self._held:
            self._simulated.close()
        self._simulated = simulated

    @contextmanager
    def _holding(self, simulated: SimulatedHost) -> Iterator[None]:
        """Lets `simulated` stay open while something else may come in its place."""
        before = self._held
        self._held = simulated
        try:
            yield
        finally:
            self._held = before
            if simulated not in (self._simulated, before):
                simulated.close()

    @contextmanager
    def _using(self, simulated: SimulatedHost) -> Iterator[None]:
        """Lets `simulated` be the host for a while. At the end it is closed, and what has come in its place."""
        before = self._simulated
        simulated.use()
        self._simulated = simulated
        try:
            with self._holding(simulated):
                yield
        finally:
            self._simulated.close()
            self._simulated = before

    def close(self) -> None:
        """Gives the simulated host and all snapshots back."""
        for one in (self._simulated, *self._kept):
            one.close()
        self._kept.clear()

    # ---- failures ----------------------------------------------------------------------------------------------------

    @contextmanager
    def fault(
        self,
        kind: str = "fail",
        call: str | None = None,
        *,
        status: Status | int | str = Status.BUSY,
        times: int | None = 1,
        unused: bool = False,
        **options: Any,
    ) -> Iterator[MetFault]:
        """Lets calls fail within the block, as `SimulatedHost.fault` does, which has the other options; `status` counts
        for "fail" and "fail-after". A fault that was never met fails the test, unless that may be (`unused`)."""
        host = self._simulated
        fault = MetFault(host, host.fault(kind, call, times=times, **(fault_options(kind, status) | options)))
        with self._holding(host):
            try:
                yield fault
            except BaseException:
                fault._end()
                raise
            there = fault._end()
        if there and not fault.met and not unused:
            raise AssertionError(f"no call met the fault: {kind} of {call or 'any call'}")


def fault_options(kind: str, status: Status | int | str | None) -> dict[str, Any]:
    """What `SimulatedHost.fault` is to be told beside the kind: the name of the status, or what an abort says."""
    if kind == "abort":
        return {"exception": "RuntimeError", "message": "the library gave up"}
    if kind not in ("fail", "fail-after"):
        return {}
    known = Status.from_json(status)
    if not isinstance(known, Status):
        raise ValueError(f"status: no status has the number {status}")
    return {"status": known.constant}
