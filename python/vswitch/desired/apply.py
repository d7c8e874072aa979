"""Applies plans: checked, journalled, verified, and taken back as a whole if anything fails; confirms and reverts."""

from __future__ import annotations

import json
import time
from collections.abc import Callable, Sequence
from contextlib import nullcontext
from dataclasses import dataclass
from datetime import datetime
from typing import Any

from vswitch.desired import execute
from vswitch.desired.journal import Journal, Record, now_text
from vswitch.desired.look import Look
from vswitch.desired.plan import Operation, Plan, place_of
from vswitch.desired.undo import plain_error, took_effect, undisturbed, undo
from vswitch.errors import ApplyError, Busy, NotFound, NotSupported, NotVerified, PlanChanged, TimedOut

Progress = Callable[[int, int, Operation], object]
SHORTEST, LONGEST = 1, 86400  # seconds to confirm within


@dataclass(frozen=True, slots=True)
class Confirmation:
    """An apply that waits to be confirmed.

    `id`: its name. `deadline`: when it is reverted (UTC), None if that never happens by itself. `operations`: what it
    has made. `guarded`: a process stands by to revert it. `finished`: everything was applied; False if the apply was
    interrupted, or is at work."""

    id: str
    deadline: datetime | None
    operations: tuple[Operation, ...]
    guarded: bool
    finished: bool

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {
            "id": self.id,
            "deadline": self.deadline.isoformat().replace("+00:00", "Z") if self.deadline is not None else None,
            "operations": [operation.to_dict() for operation in self.operations],
            "guarded": self.guarded,
            "finished": self.finished,
        }


@dataclass(frozen=True, slots=True)
class ApplyResult:
    """What an apply did: whether it `changed` anything, the `operations` it made, whether what they changed was read
    and found right (`verified`), the `seconds` it took, and the `confirmation` that it waits for, if any."""

    changed: bool
    operations: tuple[Operation, ...]
    verified: bool
    seconds: float
    confirmation: Confirmation | None = None

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {
            "changed": self.changed,
            "operations": [operation.to_dict() for operation in self.operations],
            "verified": self.verified,
            "seconds": self.seconds,
            "confirmation": None if self.confirmation is None else self.confirmation.to_dict(),
        }


def apply(plan: Plan, *, progress: Progress | None, confirm_within: float | None, verify: bool) -> ApplyResult:
    """See Plan.apply."""
    if confirm_within is not None:
        if not isinstance(confirm_within, (int, float)) or isinstance(confirm_within, bool):
            raise TypeError(f"confirm_within: a number of seconds is wanted, not {confirm_within!r}")
        if not SHORTEST <= confirm_within <= LONGEST:
            raise ValueError(f"confirm_within: {SHORTEST} to {LONGEST} seconds, not {confirm_within!r}")
    begin = time.perf_counter()
    journal = Journal.current()
    if journal is None and confirm_within is not None:
        raise NotSupported("a host in memory has no process that could revert a change")
    if journal is not None:
        refuse_unfinished(journal, at_work=journal.is_locked())
    with journal.locked() if journal is not None else nullcontext():
        if journal is not None:
            refuse_unfinished(journal, at_work=False)
        operations = plan.operations
        unchanged(operations)
        if not operations:
            return ApplyResult(False, (), verify, time.perf_counter() - begin)
        confirmation = _Work(plan, journal, progress, confirm_within, verify).run()
    return ApplyResult(True, operations, verify, time.perf_counter() - begin, confirmation)


def refuse_unfinished(journal: Journal, at_work: bool) -> None:
    """Busy while a confirmation is pending, or where an apply was interrupted: none is `at_work`."""
    record = journal.read()
    if record is None or record.is_over:
        return
    if record.is_waiting or journal.is_guarded():
        raise Busy(f"the changes of {record.first['time']} wait to be confirmed: 'vswitch confirm' or 'vswitch revert'")
    if not at_work:
        raise Busy(
            f"an apply of {record.first['time']} was interrupted; 'vswitch revert' undoes it,"
            " 'vswitch confirm' keeps it"
        )


def unchanged(operations: Sequence[Operation]) -> None:
    """PlanChanged if something is not as it was when the plan was made."""
    if not operations:
        return
    look = Look(operations)
    made: set[str] = set()
    for operation in first_of_each(operations):
        place, _ = place_of(operation.path)
        if operation.action == "create":
            made.add(operation.path)
        elif place in made:
            continue
        difference = look.differs(operation, operation.before)
        if difference is not None:
            path, now, expected = difference
            raise PlanChanged(f"{path} is {_json(now)}, not {_json(expected)} as when the plan was made", path=path)


def first_of_each(operations: Sequence[Operation]) -> list[Operation]:
    """The first operation at each path."""
    first: dict[str, Operation] = {}
    for operation in operations:
        first.setdefault(operation.path, operation)
    return list(first.values())


def _json(value: Any) -> str:
    return json.dumps(value, ensure_ascii=False)


class _Work:
    """One apply, from the journal's first line to its last."""

    def __init__(
        self, plan: Plan, journal: Journal | None, progress: Progress | None, confirm_within: float | None, verify: bool
    ) -> None:
        self.plan, self.journal, self.progress = plan, journal, progress
        self.confirm_within, self.verify = confirm_within, verify
        self.done: list[Operation] = []
        self.operation: Operation | None = None

    def note(self, kind: str, **members: Any) -> None:
        """A line in the journal, if there is one."""
        if self.journal is not None:
            self.journal.write(kind, **members)

    def run(self) -> Confirmation | None:
        """Does it. ApplyError, or KeyboardInterrupt, after everything was taken back."""
        name = ""
        if self.journal is not None:
            name = self.journal.begin(self.plan, self.confirm_within)
        try:
            if self.journal is not None and self.confirm_within is not None:
                from vswitch.desired import guard

                guard.start(self.journal)
            self.make()
            if self.verify:
                self.check()
        except BaseException as error:
            self.take_back(error)
            raise AssertionError from error  # take_back always raises
        return self.finish(name)

    def make(self) -> None:
        """The operations in their order."""
        total = len(self.plan)
        for operation in self.plan:
            self.operation = operation
            if self.progress is not None:
                self.progress(len(self.done), total, operation)
            self.note("doing", number=operation.number)
            for one in operation.calls:
                execute.run(one)
            self.note("done", number=operation.number)
            self.done.append(operation)
        if self.progress is not None and self.operation is not None:
            self.progress(total, total, self.operation)
        self.operation = None

    def check(self) -> None:
        """Reads what was changed. NotVerified for what is not as it should be."""
        look = Look(self.plan)
        for operation in {operation.path: operation for operation in self.plan}.values():
            difference = look.differs(operation, operation.after)
            if difference is not None:
                self.operation = operation
                path, now, expected = difference
                raise NotVerified(f"{path} is {_json(now)}, not {_json(expected)}", path=path)
        self.note("verified")

    def finish(self, name: str) -> Confirmation | None:
        """The last line, or that it waits to be confirmed."""
        if self.journal is None:
            return None
        if self.confirm_within is None:
            self.journal.end("finished")
            return None
        deadline = now_text(self.confirm_within)
        self.journal.write("waiting", deadline=deadline)
        self.journal.close()
        from vswitch.desired.journal import parsed_time

        return Confirmation(name, parsed_time(deadline), self.plan.operations, self.journal.is_guarded(), True)

    def take_back(self, error: BaseException) -> None:
        """Undoes what was done, and raises what says so."""
        failed = self.operation if len(self.done) < len(self.plan) else None
        with undisturbed():
            if failed is not None:
                self.note("failed", number=failed.number, error=plain_error(error))
            begun = list(self.done)
            if failed is not None and took_effect(failed):
                begun.append(failed)
            undone, not_undone, _ = undo(begun, self.note)
            if self.journal is not None:
                self.journal.end("rolled_back", complete=not not_undone)
        if not isinstance(error, Exception):
            raise error
        raise ApplyError(
            error, self.operation, tuple(self.done), undone, not_undone, rolled_back=not not_undone
        ) from error


# ---- confirm and revert ---------------------------------------------------------------------------------------


def pending() -> Confirmation | None:
    """The apply that waits to be confirmed, or was interrupted."""
    journal = Journal.current()
    record = None if journal is None else journal.read()
    if journal is None or record is None or record.is_over:
        return None
    guarded = journal.is_guarded()
    if not record.is_waiting and not guarded and journal.is_locked():
        return None
    return Confirmation(record.id, record.deadline(), record.begun(), guarded, record.is_waiting)


def _wanted(journal: Journal | None, name: str | None) -> tuple[Journal, Record]:
    """The journal that is meant, as it is now. NotFound."""
    if name is not None and not isinstance(name, str):
        raise TypeError(f"id: a text is wanted, not {name!r}")
    record = None if journal is None else journal.read()
    if journal is None or record is None or record.is_over:
        if journal is not None and name is not None:
            former = journal.read(journal.last)
            if former is not None and former.id == name and former.find("reverted") is not None:
                raise TimedOut(f"the changes {name} were reverted")
        raise NotFound("nothing waits to be confirmed")
    if name is not None and record.id != name:
        raise NotFound(f"no changes {name!r} wait to be confirmed; {record.id!r} do")
    return journal, record


def confirm(name: str | None = None) -> ApplyResult:
    """See Host.confirm."""
    begin = time.perf_counter()
    journal, record = _wanted(Journal.current(), name)
    if record.is_reverting:
        raise TimedOut(f"the changes {record.id} are being reverted")
    with journal.locked():
        try:
            journal, record = _wanted(journal, record.id)
        except NotFound:
            raise NotFound("nothing waits to be confirmed") from None
        if record.is_reverting:
            raise TimedOut(f"the changes {record.id} are being reverted")
        journal.resume()
        journal.end("confirmed")
    return ApplyResult(False, record.begun(), record.find("verified") is not None, time.perf_counter() - begin)


def revert(name: str | None = None) -> ApplyResult:
    """See Host.revert."""
    begin = time.perf_counter()
    journal, record = _wanted(Journal.current(), name)
    with journal.locked():
        journal, record = _wanted(journal, record.id)
        operations = record.begun()
        undone, not_undone, error = revert_locked(journal, operations)
    if not_undone:
        cause = error or NotVerified(f"{not_undone[0].path} is not as before", path=not_undone[0].path)
        raise ApplyError(cause, not_undone[0], operations, undone, not_undone, rolled_back=False) from error
    return ApplyResult(bool(operations), undone, True, time.perf_counter() - begin)


def revert_locked(
    journal: Journal, operations: Sequence[Operation]
) -> tuple[tuple[Operation, ...], tuple[Operation, ...], BaseException | None]:
    """Undoes what a journal has begun, whose lock is held, and ends the journal."""
    journal.resume()
    with undisturbed():
        outcome = undo(operations, journal.write)
        journal.end("reverted", complete=not outcome[1])
    return outcome
