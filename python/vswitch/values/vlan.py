"""VLANs of ports, and the private VLANs of a switch."""

from __future__ import annotations

import struct
from collections.abc import Iterable, Sequence
from typing import TYPE_CHECKING, Any, Self

from vswitch.enums import PrivateVlanType, VlanFlag
from vswitch.values.base import (
    BOOL,
    INT,
    OPTIONAL_INT,
    Kind,
    Value,
    many,
    number_of,
    of,
    optional,
    pack,
    span,
    span_text,
    value,
)

__all__ = ["PrivateVlan", "VlanPolicy"]

_POLICY = struct.Struct("<HHHH")
_RANGE = struct.Struct("<HH")
_ENTRY = struct.Struct("<HHB3x")

TRUNK, PRIVATE, PRIORITY = (
    int(VlanFlag.GUEST_TAGGING),
    int(VlanFlag.PVLAN_ENABLED),
    int(VlanFlag.SET_PRIORITY),
)


@value
class VlanPolicy(Value):
    """How a port uses VLANs.

    `id`: the access VLAN, 0 for none (0 to 4094; for a trunk also 4095). `priority`: the IEEE 802.1p priority that its
    frames get (0 to 7), None: their own. `trunk`: ranges of VLANs whose tagged frames the client sends and receives,
    `()` for all, None for no trunk. `private`: `id` is a secondary VLAN of the switch's private VLANs. ValueError for a
    private trunk.
    """

    id: int = of(INT, 0)
    priority: int | None = of(OPTIONAL_INT, None)
    trunk: tuple[tuple[int, int], ...] | None = of(
        optional(
            Kind(
                many(Kind(span)).accept,
                lambda ranges: [span_text(one) for one in ranges],
                many(Kind(span)).accept,
            )
        ),
        None,
    )
    private: bool = of(BOOL, False)

    def _short(self) -> Any:
        has_more = self.priority is not None or self.trunk is not None or self.private
        return Value._short(self) if has_more else self.id

    if TYPE_CHECKING:  # what is accepted is more than what is kept

        def __init__(
            self,
            id: int = 0,  # noqa: A002
            priority: int | None = None,
            trunk: Iterable[int | str | Sequence[int]] | None = None,
            private: bool = False,
        ) -> None: ...

    def _check(self) -> None:
        if self.private and self.trunk is not None:
            raise ValueError("VlanPolicy.trunk: a port in a private VLAN is no trunk")

    @classmethod
    def access(cls, id: int) -> Self:  # noqa: A002 - the field's name
        """Frames of one VLAN, which the client sends and receives without a tag."""
        return cls(id)

    @classmethod
    def trunk_of(cls, *ranges: int | str | tuple[int, int]) -> Self:
        """A trunk of these VLANs: numbers, texts like "10-19", pairs; of all without any."""
        return cls(trunk=ranges)

    @classmethod
    def secondary(cls, id: int) -> Self:  # noqa: A002 - the field's name
        """A secondary VLAN of the private VLANs of the switch."""
        return cls(id, private=True)

    def to_bytes(self) -> bytes:
        """A `VSPortVlanPolicy` with its ranges. The priority itself stands in a property of its own; here is only that
        there is one."""
        ranges = self.trunk or ()
        flags = TRUNK if self.trunk is not None else PRIVATE if self.private else 0
        if self.priority is not None:
            flags |= PRIORITY
        return pack(_POLICY, flags, self.id, 0, len(ranges)) + b"".join(pack(_RANGE, *one) for one in ranges)

    @classmethod
    def from_bytes(cls, data: bytes, priority: int = 0) -> Self:
        """The policy of a `VSPortVlanPolicy` with its ranges; `priority` is what the other property says.
        ValueError."""
        if len(data) < _POLICY.size:
            raise ValueError(f"a VSPortVlanPolicy has at least {_POLICY.size} bytes, not {len(data)}")
        flags, vlan, _, count = _POLICY.unpack_from(data)
        if len(data) < _POLICY.size + count * _RANGE.size:
            raise ValueError(f"a VSPortVlanPolicy of {count} ranges in {len(data)} bytes")
        trunk = None
        if flags & TRUNK:
            trunk = tuple(_RANGE.unpack_from(data, _POLICY.size + i * _RANGE.size) for i in range(count))
        return cls._made(vlan, priority if flags & PRIORITY else None, trunk, bool(flags & PRIVATE))


@value
class PrivateVlan(Value):
    """An entry of a switch's private VLANs. `primary`, `secondary`: VLANs, 1 to 4094. `type`: whom ports in the
    secondary VLAN reach; each primary VLAN has one entry of type PROMISC, whose secondary VLAN is itself."""

    primary: int = of(INT)
    secondary: int = of(INT)
    type: PrivateVlanType | int = of(number_of("PrivateVlanType"))

    def to_bytes(self) -> bytes:
        """A `VSPvlanMapEntry`."""
        return pack(_ENTRY, self.primary, self.secondary, self.type)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The entry of a `VSPvlanMapEntry`. ValueError."""
        if len(data) != _ENTRY.size:
            raise ValueError(f"a VSPvlanMapEntry has {_ENTRY.size} bytes, not {len(data)}")
        primary, secondary, kind = _ENTRY.unpack(data)
        return cls._made(primary, secondary, PrivateVlanType.of(kind))


def map_bytes(entries: Iterable[PrivateVlan]) -> bytes:
    """`VSPvlanMapEntry` records side by side."""
    return b"".join(entry.to_bytes() for entry in entries)


def map_of(data: bytes) -> tuple[PrivateVlan, ...]:
    """The entries of records side by side."""
    return tuple(PrivateVlan.from_bytes(data[i : i + _ENTRY.size]) for i in range(0, len(data), _ENTRY.size))
