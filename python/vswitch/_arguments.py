"""Arguments of calls that are native: records and bytes that are read, requests, and what is filled."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any, Protocol

import libvswitch

VLAN_POLICY = 8


class HasDict(Protocol):
    """A value that can say itself in plain data."""

    def to_dict(self) -> dict[str, Any]: ...


class Packed:
    """A native record as an argument: `data` as the record `kind`. `value` is what errors show of it."""

    __slots__ = ("_storage", "data", "kind", "this", "value")

    def __init__(self, kind: str, data: bytes, value: HasDict | list[Any] | None = None) -> None:
        self.kind = kind
        self.data = data
        self.value = value
        if kind == _RANGES:
            # Ranges side by side: those behind a VLAN policy.
            self._storage: Any = libvswitch.buffer(bytes(VLAN_POLICY) + data)
            self.this = libvswitch.cell("VSPortVlanPolicy **", self._storage).value.vidRanges.this
        elif kind in _COUNTED:
            self._storage = libvswitch.buffer(data)
            self.this = libvswitch.cell(f"{kind} **", self._storage).value.this
        else:
            self._storage = getattr(libvswitch, kind).from_bytes(data)
            self.this = self._storage.this


_RANGES = "qel_HNQPortVIDRange"
_COUNTED = frozenset(
    ("DVMirrorSessionTable", "LSTeamTable", "VSPvlanMapEntry", "VSRuntimeOptions", "VSUplinkPortIds", "VSUplinkPorts")
)


def is_counted(kind: str) -> bool:
    """Whether records of this kind go on behind their fixed part."""
    return kind == _RANGES or kind in _COUNTED


class Data:
    """Bytes as an argument of the kind `void *`; null if there are none."""

    __slots__ = ("_storage", "size", "this")

    def __init__(self, data: bytes) -> None:
        self.size = len(data)
        self._storage = libvswitch.buffer(data or b"\0")
        self.this = self._storage.this

    @property
    def bytes(self) -> bytes:
        """The bytes as they are now."""
        return bytes(self._storage.view[: self.size])


class Queried:
    """A request that a call reads and answers in, released at the end of a `with` block. `value` is what errors
    show."""

    __slots__ = ("_release", "native", "this", "value")

    def __init__(self, native: Any, value: dict[str, Any], release: Callable[[Any], object]) -> None:
        self.native = native
        self.this = native.this
        self.value = value
        self._release = release

    def __enter__(self) -> Queried:
        return self

    def __exit__(self, *details: object) -> None:
        self._release(self.native)


class Input:
    """A native object that a call reads. `value` is what errors show of it."""

    __slots__ = ("native", "this", "value")

    def __init__(self, native: Any, value: list[Any]) -> None:
        self.native = native
        self.this = native.this
        self.value = value


class Output:
    """A native object that a call fills: no input, so that errors do not show it."""

    __slots__ = ("native", "this")

    def __init__(self, native: Any) -> None:
        self.native = native
        self.this = native.this
