"""Counters of ports, switches and mirror sessions, and what a switch is as a whole."""

from __future__ import annotations

import struct
from typing import Self

from vswitch.values.base import INT, TEXT, Value, exactly, of, pack, slot, slot_text, value

__all__ = ["Announcements", "MirrorStatistics", "ServicePort", "Statistics", "SwitchInfo"]

_STATISTICS = struct.Struct("<16Q")
_ANNOUNCEMENTS = struct.Struct("<IIQ")
_SERVICE = struct.Struct("<6Q")
_MIRROR = struct.Struct("<5Q81s")
_INFO = struct.Struct("<IHHII128s64sHQ")


@value
class Statistics(Value):
    """Packets and bytes of a port: in, from the client into the switch, and out. Exceptions are packets that did not
    take the fast path. `a - b` is what was counted between the two."""

    packets_in_unicast: int = of(INT)
    bytes_in_unicast: int = of(INT)
    packets_in_multicast: int = of(INT)
    bytes_in_multicast: int = of(INT)
    packets_in_broadcast: int = of(INT)
    bytes_in_broadcast: int = of(INT)
    packets_out_unicast: int = of(INT)
    bytes_out_unicast: int = of(INT)
    packets_out_multicast: int = of(INT)
    bytes_out_multicast: int = of(INT)
    packets_out_broadcast: int = of(INT)
    bytes_out_broadcast: int = of(INT)
    packets_in_dropped: int = of(INT)
    packets_out_dropped: int = of(INT)
    packets_in_exception: int = of(INT)
    packets_out_exception: int = of(INT)

    @property
    def packets_in(self) -> int:
        """Packets in, of all casts."""
        return self.packets_in_unicast + self.packets_in_multicast + self.packets_in_broadcast

    @property
    def bytes_in(self) -> int:
        """Bytes in, of all casts."""
        return self.bytes_in_unicast + self.bytes_in_multicast + self.bytes_in_broadcast

    @property
    def packets_out(self) -> int:
        """Packets out, of all casts."""
        return self.packets_out_unicast + self.packets_out_multicast + self.packets_out_broadcast

    @property
    def bytes_out(self) -> int:
        """Bytes out, of all casts."""
        return self.bytes_out_unicast + self.bytes_out_multicast + self.bytes_out_broadcast

    def __sub__(self, other: Statistics) -> Statistics:
        if not isinstance(other, Statistics):
            return NotImplemented
        pairs = zip(self.to_dict().values(), other.to_dict().values(), strict=True)
        return Statistics(*(later - earlier for later, earlier in pairs))

    def to_bytes(self) -> bytes:
        """A `qel_HNQPortStatistics`, 128 bytes."""
        return pack(_STATISTICS, *self.to_dict().values())

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The counters of a `qel_HNQPortStatistics`. ValueError."""
        return cls._made(*_STATISTICS.unpack(exactly(data, _STATISTICS.size, "qel_HNQPortStatistics")))


@value
class Announcements(Value):
    """Announcements of a switch after its uplinks changed: `packets` sent; `longest` and `time`: milliseconds of the
    longest one and of all together."""

    packets: int = of(INT)
    longest: int = of(INT)
    time: int = of(INT)

    def to_bytes(self) -> bytes:
        """A `VSRARPStats`, 16 bytes."""
        return pack(_ANNOUNCEMENTS, self.packets, self.longest, self.time)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The counters of a `VSRARPStats`. ValueError."""
        return cls._made(*_ANNOUNCEMENTS.unpack(exactly(data, _ANNOUNCEMENTS.size, "VSRARPStats")))


@value
class ServicePort(Value):
    """Packets of the service port of a switch: `sent`, of these by its own teaming policy (`sent_own_policy`) or by
    that of the port they came from (`sent_source_policy`), `errors`; `received`, of these past the reverse path check
    (`received_override`)."""

    sent: int = of(INT)
    sent_own_policy: int = of(INT)
    sent_source_policy: int = of(INT)
    errors: int = of(INT)
    received: int = of(INT)
    received_override: int = of(INT)

    def to_bytes(self) -> bytes:
        """A `VSServicePortTeamingStats`, 48 bytes."""
        return pack(_SERVICE, *self.to_dict().values())

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The counters of a `VSServicePortTeamingStats`. ValueError."""
        return cls._made(*_SERVICE.unpack(exactly(data, _SERVICE.size, "VSServicePortTeamingStats")))


@value
class SwitchInfo(Value):
    """A running switch: `alias`, `id` (switch identifier), `mtu` (bytes) in effect, `active_ports` (with a client),
    `max_ports`, `min_vlan` and `max_vlan` (VLANs that are valid), `sink_ports`, `flags` (given when it was made)."""

    alias: str = of(TEXT)
    id: str = of(TEXT)
    mtu: int = of(INT)
    active_ports: int = of(INT)
    max_ports: int = of(INT)
    min_vlan: int = of(INT)
    max_vlan: int = of(INT)
    sink_ports: int = of(INT)
    flags: int = of(INT)

    def to_bytes(self) -> bytes:
        """A `VSInfo`, 218 bytes."""
        return pack(
            _INFO,
            self.mtu,
            self.max_vlan,
            self.min_vlan,
            self.active_ports,
            self.max_ports,
            slot(self.alias, 128),
            slot(self.id, 64),
            self.sink_ports,
            self.flags,
        )

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The switch of a `VSInfo`. ValueError."""
        mtu, max_vlan, min_vlan, active, most, alias, switch_id, sinks, flags = _INFO.unpack(
            exactly(data, _INFO.size, "VSInfo")
        )
        return cls._made(slot_text(alias), slot_text(switch_id), mtu, active, most, min_vlan, max_vlan, sinks, flags)


@value
class MirrorStatistics(Value):
    """Counters of a mirror session. `name` of the session; `copies` that were made and that could not be made
    (`copies_failed`); packets that were `mirrored`, left out by a rule or by sampling (`discarded`), or not delivered
    (`failed`)."""

    name: str = of(TEXT)
    copies: int = of(INT)
    copies_failed: int = of(INT)
    mirrored: int = of(INT)
    discarded: int = of(INT)
    failed: int = of(INT)

    def to_bytes(self) -> bytes:
        """A `VSDVMirrorSessionStats`, 121 bytes."""
        counters = (self.copies, self.copies_failed, self.mirrored, self.discarded, self.failed)
        return pack(_MIRROR, *counters, slot(self.name, 81))

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The counters of a `VSDVMirrorSessionStats`. ValueError."""
        row = _MIRROR.unpack(exactly(data, _MIRROR.size, "VSDVMirrorSessionStats"))
        return cls._made(slot_text(row[5]), *row[:5])
