"""Links: of ports, NICs and LAGs."""

from __future__ import annotations

import struct
from collections.abc import Callable
from typing import Self

from vswitch.enums import LinkDuplex, LinkState, PortFlag
from vswitch.values.base import (
    INT,
    TEXT,
    Value,
    bits_of,
    exactly,
    many,
    number_of,
    of,
    pack,
    slot,
    slot_text,
    value,
    value_of,
)

__all__ = ["Lag", "LagMember", "LinkStatus", "PortStatus"]

_STATUS = struct.Struct("<QQI80s")
_LINK = struct.Struct("<iii")
_LAG = struct.Struct("<iI68sQI")
_NAME = 32


@value
class PortStatus(Value):
    """The state of a port: `flags`; `no_passthrough_reason`: bits that say why frames do not bypass the switch;
    `number` of the port; `client`: its name, empty without one."""

    flags: PortFlag = of(bits_of("PortFlag"))
    no_passthrough_reason: int = of(INT)
    number: int = of(INT)
    client: str = of(TEXT)

    @property
    def in_use(self) -> bool:
        """Whether it has a client."""
        return bool(self.flags & PortFlag.INUSE)

    @property
    def link_up(self) -> bool:
        """Whether its link is up."""
        return bool(self.flags & PortFlag.LINKUP)

    @property
    def blocked(self) -> bool:
        """Whether it is blocked."""
        return bool(self.flags & PortFlag.BLOCKED)

    def to_bytes(self) -> bytes:
        """A `qel_HNQPortStatus`, 100 bytes."""
        return pack(_STATUS, self.flags, self.no_passthrough_reason, self.number, slot(self.client, 80))

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The state of a `qel_HNQPortStatus`. ValueError."""
        flags, reason, number, client = _STATUS.unpack(exactly(data, _STATUS.size, "qel_HNQPortStatus"))
        return cls._made(PortFlag(flags), reason, number, slot_text(client))


@value
class LinkStatus(Value):
    """A link: `state`, `speed` (Mbit/s), `duplex`."""

    state: LinkState | int = of(number_of("LinkState"))
    speed: int = of(INT)
    duplex: LinkDuplex | int = of(number_of("LinkDuplex"))

    def to_bytes(self) -> bytes:
        """A `qel_LinkStatus`, 12 bytes."""
        return pack(_LINK, self.state, self.speed, self.duplex)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The link of a `qel_LinkStatus`. ValueError."""
        state, speed, duplex = _LINK.unpack(exactly(data, _LINK.size, "qel_LinkStatus"))
        return cls._made(LinkState.of(state), speed, LinkDuplex.of(duplex))


@value
class LagMember(Value):
    """An uplink of a LAG: `nic` (or the uplink port, if it has none) and its `link`."""

    nic: str = of(TEXT)
    link: LinkState | int = of(number_of("LinkState"))


@value
class Lag(Value):
    """Uplinks that the physical switch treats as one. `name`, `id` (a number), `state` (up while LACP has a member up),
    `members`."""

    name: str = of(TEXT)
    id: int = of(INT)
    state: LinkState | int = of(number_of("LinkState"))
    members: tuple[LagMember, ...] = of(many(value_of(LagMember)))

    def to_bytes(self) -> bytes:
        """A `VSLAGStatus` with its members."""
        bitmap = sum(1 << index for index, member in enumerate(self.members) if member.link == LinkState.UP)
        head = pack(_LAG, self.state, self.id, slot(self.name, 68), bitmap, len(self.members))
        return head + b"".join(slot(member.nic, _NAME) for member in self.members)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The LAG of a `VSLAGStatus` with its members. ValueError."""
        if len(data) < _LAG.size:
            raise ValueError(f"a VSLAGStatus has at least {_LAG.size} bytes, not {len(data)}")
        return cls._made(*_row(data, 0)[0])


def _row(data: bytes, place: int) -> tuple[tuple[str, int, LinkState | int, tuple[LagMember, ...]], int]:
    """The fields of a LAG, and where the next one begins."""
    state, number, name, bitmap, count = _LAG.unpack_from(data, place)
    place += _LAG.size
    members = tuple(
        LagMember(
            slot_text(data[place + i * _NAME : place + (i + 1) * _NAME]),
            LinkState.UP if bitmap >> i & 1 else LinkState.DOWN,
        )
        for i in range(count)
    )
    return (slot_text(name), number, LinkState.of(state), members), place + count * _NAME


def table_size(read: Callable[[int], bytes]) -> int:
    """The bytes of a `VSLAGTable`, read with `read(size)` as far as needed."""
    size, known = 4, 4
    (count,) = struct.unpack("<I", read(4))
    for _ in range(count):
        known = size + _LAG.size
        (members,) = struct.unpack_from("<I", read(known), known - 4)
        size = known + members * _NAME
    return size


def table_from(data: bytes) -> tuple[Lag, ...]:
    """The LAGs of a `VSLAGTable`."""
    (count,) = struct.unpack_from("<I", data)
    place, found = 4, []
    for _ in range(count):
        row, place = _row(data, place)
        found.append(Lag._made(*row))
    return tuple(found)
