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


def releasing_function(source: str) -> Callable[[Any], object] | None:
    """The function that takes back what the function named `source` hands out; None if its proxies own it."""
    if source.startswith("alloc_"):
        return getattr(vs, f"free_{source.removeprefix('alloc_')}")  # type: ignore[no-any-return]
    if source.startswith("new_") and source.endswith("Array"):
        return getattr(vs, f"delete_{source.removeprefix('new_')}")  # type: ignore[no-any-return]
    for prefix, function in (
        ("VSQEL_", vs.VSQEL_FreeMemory),
        ("VSDVS_", vs.VSDVS_FreeMemory),
        ("DVS", vs.DVSQEL_DataFree),
    ):
        if source.startswith(prefix):
            return function
    return None


def give_back(record: Record) -> None:
    """Gives a record back to the library or helper that has handed it out."""
    function = releasing_function(_records.source(record) or "")
    assert function is not None, "only such calls hand out records"
    function(record)


def release_result(result: Any) -> None:
    """Releases what a call or helper has handed out; a failed call has handed out nothing."""
    if not isinstance(result, list):
        result = (result,)
    elif result[0] != vs.QEL_OK:
        result = ()
    for record in result:
        if isinstance(record, Record):
            record.release()


@overload
def allocated(function: Callable[..., Outputs[T]], *arguments: Any) -> AbstractContextManager[T]: ...
@overload
def allocated(function: Callable[..., T | None], *arguments: Any) -> AbstractContextManager[T]: ...
@contextmanager
def allocated(function: Callable[..., Any], *arguments: Any) -> Iterator[Any]:
    """Calls `function(*arguments)` and releases at the end of the `with` block what it has handed out.

    For library calls (a failing status raises VSwitchError, the block gets the output or the tuple of outputs) and for
    the allocation helpers (`alloc_...`, `new_...Array`; None raises MemoryError)::

        with allocated(VSQEL_GetSwitchInfo, "production") as info:
            print(info.mtu)
    """
    result: Any = None
    try:
        result = function(*arguments)
        outputs: Any = check(cast("Outputs[Any]", result)) if isinstance(result, list) else result
        if outputs is None:
            raise MemoryError(f"{function.__name__} has handed out nothing")
        yield outputs
    finally:
        release_result(result)
