"""Multicast: groups that clients have joined, and lists of addresses."""

from __future__ import annotations

import struct
from collections.abc import Sequence
from typing import Self

from vswitch.enums import SourceFilterMode
from vswitch.values.base import (
    INT,
    IP,
    Value,
    ip_bytes,
    ip_of,
    mac_bytes,
    mac_of,
    many,
    number_of,
    of,
    pack,
    value,
)

__all__ = ["MulticastGroup"]

_GROUP = struct.Struct("<IIQIII")
MOST_IN_RECORD = 25


@value
class MulticastGroup(Value):
    """A multicast group that the client of a port has joined. `address` (IP); `version` of IGMP or MLD; `mode` of the
    source filter and its `sources` (IPs); `updated`: when it last changed, in microseconds since the epoch; `vni`:
    overlay network, 0 outside."""

    address: str = of(IP)
    version: int = of(INT)
    mode: SourceFilterMode | int = of(number_of("SourceFilterMode"))
    sources: tuple[str, ...] = of(many(IP))
    updated: int = of(INT)
    vni: int = of(INT)

    def to_bytes(self) -> bytes:
        """A `VSMcastFilterStats` with its sources, which has no place for the group's address."""
        count = len(self.sources)
        head = pack(_GROUP, self.version, self.mode, self.updated, self.vni, count, count)
        return head + b"".join(map(ip_bytes, self.sources))

    @classmethod
    def from_bytes(cls, data: bytes, address: str = "0.0.0.0") -> Self:  # noqa: S104 - no address that is bound
        """The group `address` of a `VSMcastFilterStats` with its sources. ValueError."""
        if len(data) < _GROUP.size:
            raise ValueError(f"a VSMcastFilterStats has at least {_GROUP.size} bytes, not {len(data)}")
        version, mode, updated, vni, _, count = _GROUP.unpack_from(data)
        size = 16 if ":" in address else 4
        places = range(_GROUP.size, _GROUP.size + count * size, size)
        sources = tuple(ip_of(data[place : place + size]) for place in places)
        return cls._made(address, version, SourceFilterMode.of(mode), sources, updated, vni)


def group_size(head: bytes, address: str) -> int:
    """The bytes of a `VSMcastFilterStats`, of which `head` is the fixed part."""
    return _GROUP.size + int(_GROUP.unpack(head)[5]) * (16 if ":" in address else 4)


GROUP_HEAD = _GROUP.size


def keys_from(data: bytes) -> tuple[str, ...]:
    """The addresses of a `VSUserMcastLegacyKeys`."""
    return tuple(mac_of(data[1 + i * 6 : 7 + i * 6]) for i in range(data[0] if data else 0))


def keys_bytes(addresses: Sequence[str]) -> bytes:
    """A `VSUserMcastLegacyKeys` with its addresses."""
    return pack(struct.Struct("<B"), len(addresses)) + b"".join(map(mac_bytes, addresses))


def entries_bytes(addresses: Sequence[str]) -> bytes:
    """A `VSMACEntries`, which has room for 25 addresses."""
    return b"".join(map(mac_bytes, addresses))[: MOST_IN_RECORD * 6].ljust(MOST_IN_RECORD * 6, b"\0")
