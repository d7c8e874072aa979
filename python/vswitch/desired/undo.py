"""Takes operations back, and reads what came of it."""

from __future__ import annotations

import signal
import threading
from collections.abc import Callable, Iterator, Sequence
from contextlib import contextmanager
from typing import Any

from vswitch.desired import execute
from vswitch.desired.look import Look
from vswitch.desired.plan import Operation
from vswitch.errors import Error, NotVerified


def took_effect(operation: Operation) -> bool:
    """Whether anything of an operation that failed was done. Where that cannot be read, it counts as done."""
    try:
        return Look([operation]).differs(operation, operation.before) is not None
    except Exception:  # noqa: BLE001 - what cannot be read is undone as well
        return True


def plain_error(error: BaseException) -> dict[str, Any]:
    """An exception as plain data."""
    return error.to_dict() if isinstance(error, Error) else {"class": type(error).__name__, "message": str(error)}


def undo(
    operations: Sequence[Operation], note: Callable[..., None]
) -> tuple[tuple[Operation, ...], tuple[Operation, ...], BaseException | None]:
    """Takes operations back, the last first, each although others fail; then reads what came of it. Which were undone,
    which not, and the first failure of those."""
    errors: dict[int, BaseException] = {}
    for operation in reversed(operations):
        note("undoing", number=operation.number)
        for one in operation.undo:
            try:
                execute.run(one)
            except Exception as error:  # noqa: BLE001 - the rest is undone all the same
                errors.setdefault(operation.number, error)
    undone, not_undone = _outcome(operations, errors)
    for operation in undone:
        note("undone", number=operation.number)
    for operation in not_undone:
        reason = errors.get(operation.number, NotVerified(f"{operation.path} is not as before"))
        note("not_undone", number=operation.number, error=plain_error(reason))
    first = next((errors[one.number] for one in not_undone if one.number in errors), None)
    return undone, not_undone, first


def _outcome(
    operations: Sequence[Operation], errors: dict[int, BaseException]
) -> tuple[tuple[Operation, ...], tuple[Operation, ...]]:
    """Which operations are taken back, by reading."""
    if not operations:
        return (), ()
    try:
        look = Look(operations)
        before = {operation.path: operation.before for operation in reversed(operations)}
        back = [one for one in operations if look.differs(one, before[one.path]) is None]
    except Exception:  # noqa: BLE001 - where nothing can be read, what failed is known all the same
        back = [one for one in operations if one.number not in errors]
    kept = {one.number for one in back}
    return tuple(back), tuple(one for one in operations if one.number not in kept)


@contextmanager
def undisturbed() -> Iterator[None]:
    """Lets no further interrupt stop what is being taken back."""
    if threading.current_thread() is not threading.main_thread():
        yield
        return
    handlers = {number: signal.signal(number, signal.SIG_IGN) for number in (signal.SIGINT, signal.SIGTERM)}
    try:
        yield
    finally:
        for number, handler in handlers.items():
            signal.signal(number, handler if handler is not None else signal.SIG_DFL)
