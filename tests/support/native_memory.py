"""Records at addresses that a test chooses, what is printed through C stdio, and the argument errors of a function."""

import ctypes
import struct
from typing import Any

import _libvswitch as m
from exact import raises

c_library = ctypes.CDLL(None)

# Where a proxy keeps its native address.
POINTER_OFFSET = 16
# Of the counted records; any count will do, the memory is exchanged.
COUNTED = {"VSUplinks": 1, "VSUplinkPorts": 1, "VSUplinkPortIds": 1, "VSRuntimeOptions": 16}


def proxy_at(address: int, name: str) -> Any:
    """An unowned proxy of a record of that name: that of a fresh record, led elsewhere."""
    proxy = getattr(m, f"new_{name}")(*([COUNTED[name]] if name in COUNTED else []))
    getattr(m, f"delete_{name}")(proxy)
    ctypes.c_void_p.from_address(id(proxy) + POINTER_OFFSET).value = address
    assert int(proxy) == address and not proxy.own()
    return proxy


class Memory:
    """A block of bytes in which tests place records; what they do not write is 0xAA."""

    def __init__(self, size: int) -> None:
        self.size = size
        self._block = ctypes.create_string_buffer(b"\xaa" * size, size)
        self.address = ctypes.addressof(self._block)

    def write(self, offset: int, data: bytes) -> None:
        assert 0 <= offset and offset + len(data) <= self.size
        ctypes.memmove(self.address + offset, data, len(data))

    def write_int(self, offset: int, value: int) -> None:
        """32 bits, signed or unsigned."""
        self.write(offset, struct.pack("<I", value & 0xFFFFFFFF))

    def read(self, offset: int, size: int) -> bytes:
        assert 0 <= offset and offset + size <= self.size
        return ctypes.string_at(self.address + offset, size)

    def read_int(self, offset: int) -> int:
        return int.from_bytes(self.read(offset, 4), "little")

    def all(self) -> bytes:
        return self.read(0, self.size)

    def record(self, name: str, offset: int = 0) -> Any:
        """An unowned proxy of a record of that name, at the offset in the block."""
        return proxy_at(self.address + offset, name)


def bare(result: Any) -> Any:
    """The proxy of a result, which is an instance once a class is registered."""
    return getattr(result, "this", result)


def content(result: Any, size: int) -> bytes:
    return ctypes.string_at(int(bare(result)), size)


def take_copy(record: str, result: Any, size: int) -> bytes:
    """The bytes of an owned copy, which is released."""
    assert bare(result).own() is True
    data = content(result, size)
    getattr(m, f"delete_{record}")(result)
    return data


WRONG: dict[str, list[tuple[object, type[BaseException]]]] = {
    "int": [("1", TypeError), (1.0, TypeError), (None, TypeError)]
    + [(2**31, OverflowError), (-(2**31) - 1, OverflowError)],
    "VSListType": [("1", TypeError), (None, TypeError), (2**31, OverflowError)],
    "size_t": [("1", TypeError), (None, TypeError), (-1, OverflowError), (2**64, TypeError)],
    "qel_SwitchPortID": [("1", TypeError), (-1, OverflowError), (2**32, OverflowError), (2**64, TypeError)],
    "char *": [(b"text", TypeError), (5, TypeError)],
    "char const *": [(b"text", TypeError), (5, TypeError)],
    "(unsigned char *mac_str, SIZE)": [("00:00:00:00:00:00", TypeError), (None, TypeError), (5, TypeError)],
}


def check_arguments(name: str, *arguments: tuple[str, object]) -> None:
    """Each argument, given as its type and a right value, is refused with the exact error when it is wrong."""
    function = getattr(m, name)
    right = [value for _, value in arguments]
    for count in {len(right) - 1, len(right) + 1} - {-1}:
        given = [*right, 0][:count] if count else []
        plural = "argument" if len(right) == 1 else "arguments"
        with raises(TypeError, f"{name}() takes exactly {len(right)} {plural} ({count} given)"):
            function(*given)
    for position, (spelled, _) in enumerate(arguments):
        for wrong, kind in WRONG.get(spelled, [(object(), TypeError), ("text", TypeError), (0, TypeError)]):
            with raises(kind, f"in method '{name}', argument {position + 1} of type '{spelled}'"):
                function(*right[:position], wrong, *right[position + 1 :])


def check_method(name: str, record: str, *arguments: tuple[str, object]) -> None:
    """As check_arguments, for a method of a record; its record must not be null either."""
    constructor = getattr(m, f"new_{record}")
    self = constructor(*([COUNTED[record]] if record in COUNTED else []))
    check_arguments(f"{record}_{name}", (f"struct {record} *", self), *arguments)
    with raises(
        ValueError, f"invalid null reference in method '{record}_{name}', argument 1 of type 'struct {record} *'"
    ):
        getattr(m, f"{record}_{name}")(None, *(value for _, value in arguments))
    getattr(m, f"delete_{record}")(self)
