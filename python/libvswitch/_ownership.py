"""Memory that the library or a helper hands out, released at the end of a block."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from contextlib import AbstractContextManager, contextmanager
from typing import TYPE_CHECKING, Any, TypeVar, cast, overload

import libvswitch as vs
from libvswitch import Record, _records, check

if TYPE_CHECKING:
    from libvswitch import Outputs

T = TypeVar("T")


def release_result(result: Any) -> None:
    """Releases what a call or helper has handed out; a failed call has handed out nothing."""
    if not isinstance(result, list):
        result = (result,)
    elif result[0] != vs.QEL_OK:
        result = ()
    for record in result:
        if isinstance(record, Record):
            record.release()


@contextmanager
def _stored(function: Callable[..., Any], arguments: tuple[Any, ...]) -> Iterator[Any]:
    """What a call that succeeded has stored in the cell among its arguments; None where it stores nothing."""
    storage = _records.storage(function)
    held = getattr(arguments[storage[0]], "value", None) if storage else None
    try:
        yield held
    finally:
        if storage and held is not None and not _records.released(held):
            release = storage[1]
            release(held)


@overload
def allocated(function: Callable[..., Outputs[T]], *arguments: Any) -> AbstractContextManager[T]: ...
@overload
def allocated(function: Callable[..., int], *arguments: Any) -> AbstractContextManager[Any]: ...
@overload
def allocated(function: Callable[..., T | None], *arguments: Any) -> AbstractContextManager[T]: ...
@contextmanager
def allocated(function: Callable[..., Any], *arguments: Any) -> Iterator[Any]:
    """Calls `function(*arguments)` and releases at the end of the `with` block what it has handed out.

    For library calls (a failing status raises VSwitchError, the block gets the output or the tuple of outputs), for
    those that store what they hand out in a cell (the block gets the cell's value), and for the allocation helpers
    (`alloc_...`, `new_...Array`; None raises MemoryError)::

        with allocated(VSQEL_GetSwitchInfo, "production") as info:
            print(info.mtu)
        with allocated(DVSQEL_SwitchPortList, "production", cell("DVPortList **"), DVSPORT_TYPE_ACTIVE) as ports:
            print(len(ports))
    """
    result: Any = None
    try:
        result = function(*arguments)
        if isinstance(result, int):
            check(result)
            with _stored(function, arguments) as value:
                yield value
            return
        outputs: Any = check(cast("Outputs[Any]", result)) if isinstance(result, list) else result
        if outputs is None:
            raise MemoryError(f"{function.__name__} has handed out nothing")
        yield outputs
    finally:
        release_result(result)
