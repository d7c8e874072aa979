"""MAC learning: policies, tables and counters."""

from __future__ import annotations

import struct
from collections.abc import Mapping
from typing import Self

from vswitch.enums import MacLimitPolicy, MacType
from vswitch.values.base import (
    BOOL,
    INT,
    MAC,
    OPTIONAL_TEXT,
    SPAN,
    Value,
    exactly,
    mac_bytes,
    mac_of,
    many,
    number_of,
    of,
    pack,
    value,
    value_of,
)

__all__ = [
    "HostMacLearning",
    "MacEntry",
    "MacLearning",
    "MacStatistics",
    "MacSummary",
    "StaticEntry",
    "SwitchMacLearning",
]

_LEARNING = struct.Struct("<??Ii")
_SWITCH = struct.Struct("<II")
_HOST = struct.Struct("<II??")
_ENTRY = struct.Struct("<6sBIBHIII")
_STATISTICS = struct.Struct("<IQQQ")
_SUMMARY = struct.Struct("<IIIII10s28s6xQIII4x")
_STATIC = struct.Struct("<512sBBI6sBI")
ENTRY_SIZE, STATISTICS_SIZE, LEARNING_SIZE, STATIC_SIZE = 26, 28, 10, 529

_MANAGEMENT = struct.Struct("<B10s")
MOST_AGING = 1 << 24


@value
class MacLearning(Value):
    """Whether the switch learns the addresses behind a port. `learning`; `flooding`: frames to addresses that are not
    known go to the port; `limit`: how many addresses (at most 4096); `at_limit`: what happens to frames of further
    ones."""

    learning: bool = of(BOOL, False)
    flooding: bool = of(BOOL, False)
    limit: int = of(INT, 4096)
    at_limit: MacLimitPolicy | int = of(number_of("MacLimitPolicy"), MacLimitPolicy.ALLOW)

    def to_bytes(self) -> bytes:
        """A `VSPMACLearning`, 10 bytes."""
        return pack(_LEARNING, self.learning, self.flooding, self.limit, self.at_limit)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The policy of a `VSPMACLearning`. ValueError."""
        learning, flooding, limit, at_limit = _LEARNING.unpack(exactly(data, _LEARNING.size, "VSPMACLearning"))
        return cls._made(learning, flooding, limit, MacLimitPolicy.of(at_limit))


@value
class SwitchMacLearning(Value):
    """MAC learning of a switch. `aging_time`: seconds until an address that is not seen is forgotten (0: never, at most
    1000000); `limit`: how many addresses behind its ports (at most 1048576)."""

    aging_time: int = of(INT, 600)
    limit: int = of(INT, 65536)

    def to_bytes(self) -> bytes:
        """A `VSPropMACLearning`, 8 bytes. An aging time beyond 24 bits fills them, which the library refuses."""
        aging_time = min(self.aging_time, MOST_AGING - 1) if self.aging_time >= 0 else self.aging_time
        return pack(_SWITCH, aging_time, self.limit)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The settings of a `VSPropMACLearning`. ValueError."""
        aging_time, limit = _SWITCH.unpack(exactly(data, _SWITCH.size, "VSPropMACLearning"))
        return cls._made(aging_time % MOST_AGING, limit)


@value
class HostMacLearning(Value):
    """MAC learning of the switches without settings of their own. `aging_time` (seconds, 0: never), `limit`: as in
    SwitchMacLearning; `learn_static`: addresses that are static are learned too; `allow_static`: static addresses are
    in the tables."""

    aging_time: int = of(INT, 600)
    limit: int = of(INT, 65536)
    learn_static: bool = of(BOOL, False)
    allow_static: bool = of(BOOL, True)

    def to_bytes(self) -> bytes:
        """A `VSMACLearningGlobalProps`, 10 bytes."""
        return pack(_HOST, self.aging_time, self.limit, self.learn_static, self.allow_static)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The settings of a `VSMACLearningGlobalProps`. ValueError."""
        return cls._made(*_HOST.unpack(exactly(data, _HOST.size, "VSMACLearningGlobalProps")))


@value
class MacEntry(Value):
    """An entry of a MAC table. `mac`, `type`; `port`: identifier of the port, None if it went meanwhile; `number`: of
    the port; `vlan`; `vni`: overlay network, 0 outside; `ages`: it is forgotten some time; `age`: seconds since the
    address was seen; `moves`: how often it moved from port to port."""

    mac: str = of(MAC)
    type: MacType | int = of(number_of("MacType"))
    port: str | None = of(OPTIONAL_TEXT)
    number: int = of(INT)
    vlan: int = of(INT, 0)
    vni: int = of(INT, 0)
    ages: bool = of(BOOL, False)
    age: int = of(INT, 0)
    moves: int = of(INT, 0)

    def to_bytes(self) -> bytes:
        """A `VSMACEntry`, 26 bytes, which has no place for `port`."""
        rest = (self.ages, self.vlan, self.vni, self.age, self.moves)
        return pack(_ENTRY, mac_bytes(self.mac), self.type, self.number, *rest)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The entry of a `VSMACEntry`, without its `port`. ValueError."""
        exactly(data, ENTRY_SIZE, "VSMACEntry")
        return cls._made(*next(_rows(data, {})))


_TYPES = {int(member): member for member in MacType}


def numbers_in(data: bytes) -> set[int]:
    """Numbers of the ports in `VSMACEntry` records side by side."""
    return {row[2] for row in _ENTRY.iter_unpack(data)}


def _rows(data: bytes, ports: Mapping[int, str]):  # type: ignore[no-untyped-def]
    types, name = _TYPES, ports.get
    for mac, kind, number, ages, vlan, vni, age, moves in _ENTRY.iter_unpack(data):
        yield mac.hex(":"), types.get(kind, kind), name(number), number, vlan, vni, bool(ages), age, moves


def entries_of(data: bytes, ports: Mapping[int, str]) -> tuple[MacEntry, ...]:
    """The entries of `VSMACEntry` records side by side; `ports` are the identifiers by number."""
    made = MacEntry._made
    return tuple(made(*row) for row in _rows(data, ports))


@value
class StaticEntry(Value):
    """A static address of a switch. `mac`, `type`; `port`: identifier, None if it went meanwhile; `number`: of the
    port; `vlans`: ranges of the VLANs that it is in; `vni`: overlay network, 0 outside; `trunk_vni`: it is in an
    overlay network and its client tags its frames; `router`: the interface of a distributed router."""

    mac: str = of(MAC)
    type: MacType | int = of(number_of("MacType"))
    port: str | None = of(OPTIONAL_TEXT)
    number: int = of(INT)
    vlans: tuple[tuple[int, int], ...] = of(many(SPAN))
    vni: int = of(INT)
    trunk_vni: bool = of(BOOL)
    router: bool = of(BOOL)

    def to_bytes(self) -> bytes:
        """A `VSStaticLEEntry`, 529 bytes, which has no place for `port`."""
        bitmap = 0
        for first, last in self.vlans:
            bitmap |= ((1 << (last - first + 1)) - 1) << first
        vlans = (bitmap & ((1 << 4096) - 1)).to_bytes(512, "little")
        return pack(
            _STATIC, vlans, self.trunk_vni, self.router, self.vni, mac_bytes(self.mac), self.type, self.number
        )

    @classmethod
    def from_bytes(cls, data: bytes, port: str | None = None) -> Self:
        """The entry of a `VSStaticLEEntry`; `port` is the identifier of its port. ValueError."""
        exactly(data, STATIC_SIZE, "VSStaticLEEntry")
        vlans, trunk, router, vni, mac, kind, number = _STATIC.unpack(data)
        return cls._made(
            mac_of(mac), MacType.of(kind), port, number, _ranges(vlans), vni, bool(trunk), bool(router)
        )


def _ranges(bitmap: bytes) -> tuple[tuple[int, int], ...]:
    """The runs of bits that are set."""
    bits, found, place = int.from_bytes(bitmap, "little"), [], 0
    while bits:
        skip = (bits & -bits).bit_length() - 1
        bits >>= skip
        place += skip
        run = (~bits & (bits + 1)).bit_length() - 1
        found.append((place, place + run - 1))
        bits >>= run
        place += run
    return tuple(found)


@value
class MacStatistics(Value):
    """Counters of MAC learning at a port: addresses `learned`; packets of addresses that were not learned
    (`allowed_unlearned`, `dropped_unlearned`); addresses that `moved` here."""

    learned: int = of(INT)
    allowed_unlearned: int = of(INT)
    dropped_unlearned: int = of(INT)
    moved: int = of(INT)

    def to_bytes(self) -> bytes:
        """A `VSPMACLearningStats`, 28 bytes."""
        return pack(_STATISTICS, self.learned, self.allowed_unlearned, self.dropped_unlearned, self.moved)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The counters of a `VSPMACLearningStats`. ValueError."""
        return cls._made(*_STATISTICS.unpack(exactly(data, _STATISTICS.size, "VSPMACLearningStats")))


@value
class MacSummary(Value):
    """MAC learning of a running switch. `aging_time` (seconds) and `limit` in force; `learning_ports`: how many learn;
    `learned`, `team_learned`: addresses behind the ports and behind the uplinks; `team`, `team_statistics`: policy and
    counters of the uplinks together; `team_allowed_at_port_limit`: packets let through unlearned at an uplink with a
    limit of its own; `ports_at_limit`; `sink_ports`; `sink_and_flooding_ports`: ports that are one or the other."""

    aging_time: int = of(INT)
    limit: int = of(INT)
    learning_ports: int = of(INT)
    learned: int = of(INT)
    team_learned: int = of(INT)
    team: MacLearning = of(value_of(MacLearning))
    team_statistics: MacStatistics = of(value_of(MacStatistics))
    team_allowed_at_port_limit: int = of(INT)
    ports_at_limit: int = of(INT)
    sink_ports: int = of(INT)
    sink_and_flooding_ports: int = of(INT)

    def to_bytes(self) -> bytes:
        """A `VSMACLearningSwitchInfo`, 88 bytes."""
        return pack(
            _SUMMARY,
            self.aging_time,
            self.limit,
            self.learning_ports,
            self.learned,
            self.team_learned,
            self.team.to_bytes(),
            self.team_statistics.to_bytes(),
            self.team_allowed_at_port_limit,
            self.ports_at_limit,
            self.sink_ports,
            self.sink_and_flooding_ports,
        )

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The summary of a `VSMACLearningSwitchInfo`. ValueError."""
        row = list(_SUMMARY.unpack(exactly(data, _SUMMARY.size, "VSMACLearningSwitchInfo")))
        row[5], row[6] = MacLearning.from_bytes(row[5]), MacStatistics.from_bytes(row[6])
        return cls._made(*row)


# ---- MAC management of a port: whether changes are allowed, and learning ---------------------------------------------


def changes_of(data: bytes) -> bool:
    """Whether a `VSPMACManagement` allows the client to change its address."""
    return bool(_MANAGEMENT.unpack(exactly(data, _MANAGEMENT.size, "VSPMACManagement"))[0])


def learning_of(data: bytes) -> MacLearning:
    """The learning policy in a `VSPMACManagement`."""
    return MacLearning.from_bytes(_MANAGEMENT.unpack(exactly(data, _MANAGEMENT.size, "VSPMACManagement"))[1])


def management_bytes(changes: bool, learning: MacLearning) -> bytes:
    """A `VSPMACManagement`, 11 bytes."""
    return pack(_MANAGEMENT, changes, learning.to_bytes())
