"""Python callables where the library wants functions."""

from __future__ import annotations

import ctypes
import operator
from collections.abc import Callable
from typing import TYPE_CHECKING, Any

from libvswitch import _records

if TYPE_CHECKING:
    from libvswitch import SwigPyObject

_VISITOR = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)
_ALLOCATE = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_size_t)
_RELEASE = ctypes.CFUNCTYPE(None, ctypes.c_void_p)
STOP = 1


class Callback:
    """A Python callable as a native function, to be passed where a call wants one.

    An exception of the callable does not pass through the library: it ends the walk, stands in `error`, and is
    raised by `reraise()` or at the end of a `with` block. The native function lives as long as this object.
    """

    __slots__ = ("_native", "error", "this")

    this: SwigPyObject
    error: BaseException | None

    def __init__(self, native: Any, type_name: str) -> None:
        self._native = native
        self.error = None
        self.this = _records.pointer(ctypes.cast(native, ctypes.c_void_p).value, type_name)

    def reraise(self) -> None:
        """Raises what the callable has raised, once."""
        error, self.error = self.error, None
        if error is not None:
            raise error

    def __enter__(self) -> Callback:
        return self

    def __exit__(self, kind: object, *details: object) -> None:
        if kind is None:
            self.reraise()


def callback(visit: Callable[[SwigPyObject | None], object]) -> Callback:
    """A visitor for the for-each calls (`DVSwitchCallback`, `DVSPortCallback`, `DVSPortDataCallback`).

    `visit` gets the handle of each thing visited; a true result ends the walk. Pass None as the call's context::

        names = []
        with callback(lambda switch: names.append(DVS_SwitchName(switch))) as visitor:
            DVSState_SwitchForEach(visitor, None)
    """

    def native(handle: int | None, _context: int | None) -> int:
        try:
            return STOP if visit(_records.pointer(handle or 0, "_p_void")) else 0
        except BaseException as error:  # noqa: BLE001 - must not pass through the library
            made.error = error
            return STOP

    made = Callback(_VISITOR(_records.called_back(native)), "_p_f_p_void_p_void__int")
    return made


# The library calls what it was given for as long as it holds memory from it.
_allocators: list[Callback] = []


def allocator(
    allocate: Callable[[int], int | None], release: Callable[[int], object]
) -> tuple[Callback, Callback]:
    """The two functions that `DVSData_Alloc` takes (`DVSData_MemAlloc`, `DVSData_MemFree`).

    `allocate` gets a size in bytes and returns the address of as many, or None if there are none; `release` gets that
    address back. An exception in `allocate` counts as None and stands in the first object's `error`; one in `release`
    in the second's. Both live as long as the process.
    """

    def native_allocate(size: int) -> int | None:
        try:
            address = allocate(size)
            return None if address is None else operator.index(address)
        except BaseException as error:  # noqa: BLE001 - must not pass through the library
            pair[0].error = error
            return None

    def native_release(address: int | None) -> None:
        try:
            if address is not None:
                release(address)
        except BaseException as error:  # noqa: BLE001 - must not pass through the library
            pair[1].error = error

    pair = (
        Callback(_ALLOCATE(_records.called_back(native_allocate)), "_p_f_size_t__p_void"),
        Callback(_RELEASE(_records.called_back(native_release)), "_p_f_p_void__void"),
    )
    _allocators.extend(pair)
    return pair
