"""Typed storage for arguments that the library fills or reads through a pointer."""

from __future__ import annotations

import ctypes
from collections.abc import Iterator
from typing import TYPE_CHECKING, Any, Generic, Literal, TypeVar, overload

from libvswitch import _records

if TYPE_CHECKING:
    from libvswitch import Record, SwigPyObject, VSList

T = TypeVar("T")

# C type of the element, and the name of the pointer to it in the native module's registry.
_NUMBERS: dict[str, tuple[Any, str]] = {
    "int": (ctypes.c_int, "_p_int"),
    "unsigned int": (ctypes.c_uint, "_p_unsigned_int"),
    "unsigned short": (ctypes.c_ushort, "_p_unsigned_short"),
    "unsigned char": (ctypes.c_ubyte, "_p_unsigned_char"),
    "unsigned long long": (ctypes.c_ulonglong, "_p_unsigned_long_long"),
    "qel_uint8": (ctypes.c_ubyte, "_p_unsigned_char"),
    "qel_uint16": (ctypes.c_ushort, "_p_unsigned_short"),
    "qel_VlanID": (ctypes.c_ushort, "_p_unsigned_short"),
    "qel_uint32": (ctypes.c_uint, "_p_unsigned_int"),
    "qel_uint64": (ctypes.c_ulonglong, "_p_unsigned_long_long"),
}
_HANDLES = ("DVSwitchHandle", "DVSPortHandle", "DVSDataHandle", "DVSDataItem")


class Cell(Generic[T]):
    """Native storage for one value or several, to be passed where a call wants a pointer to them.

    `value` reads and writes the first element; indexes reach the others. The storage lives as long as the cell; what
    a pointer read from it points at belongs to whoever stored it.
    """

    __slots__ = ("_storage", "_target", "this", "type")

    this: SwigPyObject
    type: str

    def __init__(self, type_name: str, storage: Any, pointer: str, target: str | None) -> None:
        self.type = type_name
        self._storage = storage
        self._target = target
        self.this = _records.pointer(ctypes.addressof(storage), pointer)

    @property
    def value(self) -> T:
        """The first element: an int, or for pointers a record, a proxy, or None for a null pointer."""
        return self[0]

    @value.setter
    def value(self, value: T) -> None:
        self[0] = value

    def __len__(self) -> int:
        return len(self._storage)

    def __iter__(self) -> Iterator[T]:
        return (self[index] for index in range(len(self)))

    def __getitem__(self, index: int) -> T:
        value = self._storage[index]
        element: T = value if self._target is None else _records.pointer(value or 0, self._target)
        return element

    def __setitem__(self, index: int, value: T) -> None:
        if self._target is not None:
            self._storage[index] = 0 if value is None else _records.address(value)
            return
        if not isinstance(value, int):
            raise TypeError(f"a number is needed for {self.type!r}, not {value!r}")
        before = self._storage[index]
        self._storage[index] = value
        if self._storage[index] != value:
            self._storage[index] = before
            raise OverflowError(f"{value} does not fit {self.type!r}")

    def __repr__(self) -> str:
        shown = repr(self.value) if len(self) == 1 else f"{len(self)} elements"
        return f"<cell {self.type!r} {shown}>"


@overload
def cell(type_name: Literal["VSList **"]) -> Cell[VSList | None]: ...
@overload
def cell(type_name: Literal["void **"]) -> Cell[SwigPyObject | None]: ...
@overload
def cell(
    type_name: Literal[
        "int *", "unsigned int *", "qel_uint32 *", "unsigned short *", "qel_uint16 *", "unsigned char *"
    ],
    *values: int,
) -> Cell[int]: ...
@overload
def cell(type_name: str, *values: Any) -> Cell[Any]: ...
def cell(type_name: str, *values: Any) -> Cell[Any]:
    """Storage for a pointer argument, of the type that the argument has: `cell("int *")` holds one int,
    `cell("VSList **")` one pointer to a VSList, `cell("qel_uint16 *", 1, 2, 3)` three numbers.

    Starts with zeros (null) unless values are given. TypeError for a type of which there are no cells, and for a value
    of another kind; OverflowError for a number that does not fit.
    """
    text = " ".join(type_name.replace("*", " * ").split())
    element, star, rest = text.removeprefix("const ").replace(" const", "").rpartition("*")
    element = element.strip()
    if element in _HANDLES:
        element = "void *"
    if not star or rest:
        raise TypeError(f"not a pointer type: {type_name!r}")
    count = max(1, len(values))
    if element.endswith("*"):
        target = element[:-1].strip().removeprefix("struct ").replace(" ", "_")
        made: Cell[Any] = Cell(type_name, (ctypes.c_void_p * count)(), f"_p_p_{target}", f"_p_{target}")
    elif element in _NUMBERS:
        number, pointer = _NUMBERS[element]
        made = Cell(type_name, (number * count)(), pointer, None)
    else:
        raise TypeError(f"there are no cells for {type_name!r}")
    for index, value in enumerate(values):
        made[index] = value
    return made


class Buffer:
    """Plain memory for `void *` arguments. Holds `len(buffer)` bytes; `bytes(buffer)` copies them, `buffer.view` reads
    and writes them in place. Lives as long as this object."""

    __slots__ = ("_storage", "this")

    this: SwigPyObject

    def __init__(self, storage: Any) -> None:
        self._storage = storage
        self.this = _records.pointer(ctypes.addressof(storage), "_p_void")

    @property
    def view(self) -> memoryview:
        """The memory itself, byte by byte."""
        return memoryview(self._storage).cast("B")

    def __len__(self) -> int:
        return len(self._storage)

    def __bytes__(self) -> bytes:
        return bytes(self._storage)

    def __repr__(self) -> str:
        return f"<buffer of {len(self)} bytes>"


def buffer(contents: int | bytes | bytearray | memoryview) -> Buffer:
    """Memory for a `void *` argument: as many zero bytes as a number says, or a copy of the bytes given. ValueError for
    no bytes at all."""
    data = bytes(contents)
    if not data:
        raise ValueError("a buffer has at least one byte")
    return Buffer((ctypes.c_ubyte * len(data)).from_buffer_copy(data))


def pointed_bytes(pointer: SwigPyObject | Record, size: int) -> bytes:
    """A copy of `size` bytes from where a pointer points, such as the value that `DVSData_Data` gives. The caller knows
    that there are as many."""
    return _records.read(pointer, size)
