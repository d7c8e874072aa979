"""Teaming: which uplinks carry the traffic of ports."""

from __future__ import annotations

import struct
from collections.abc import Iterable
from typing import TYPE_CHECKING, Any, Self

import libvswitch

from vswitch.enums import LoadBalance, TeamCriterion, TeamFlag
from vswitch.values.base import (
    BOOL,
    INT,
    NAMES,
    TEXT,
    Value,
    bits_of,
    exactly,
    number_of,
    of,
    pack,
    slot,
    slot_text,
    value,
)

__all__ = ["NamedTeaming", "TeamingPolicy"]

SLOTS, SLOT = 32, 81
_POLICY = struct.Struct("<IIBBHIII")
_NAMED = struct.Struct("<136sIIIII")
POLICY_SIZE, NAMED_SIZE = _POLICY.size + SLOTS * SLOT, _NAMED.size + SLOTS * SLOT

_BALANCE, _CRITERIA, _FLAGS = number_of("LoadBalance"), bits_of("TeamCriterion"), bits_of("TeamFlag")


def _at_most(policy: TeamingPolicy | NamedTeaming) -> None:
    count = len(policy.active) + len(policy.standby)
    if count > SLOTS:
        raise ValueError(f"{type(policy).__name__}: {count} uplinks, where {SLOTS} have room")


def _slots(policy: TeamingPolicy | NamedTeaming) -> bytes:
    names = (*policy.active, *policy.standby)
    return b"".join(slot(name, SLOT) for name in names).ljust(SLOTS * SLOT, b"\0")


def _names(data: bytes, active: int, standby: int) -> tuple[tuple[str, ...], tuple[str, ...]]:
    count = min(active + standby, SLOTS)
    names = tuple(slot_text(data[i * SLOT : (i + 1) * SLOT]) for i in range(count))
    return names[:active], names[active:]


@value
class TeamingPolicy(Value):
    """Which uplinks of a team carry the traffic of ports, and what makes one unfit.

    `active`, `standby`: names of uplink ports in their order, at most 32 together (else ValueError). `load_balance`:
    how one is chosen. `criteria`: what makes an uplink unfit. `flags`: how the team behaves. `percent_error`: the share
    of errors that LINK_ERR allows (0 to 100). `full_duplex`, `speed` (Mbit/s): what LINK_DUPLEX and LINK_SPEED ask for.
    """

    active: tuple[str, ...] = of(NAMES, ())
    standby: tuple[str, ...] = of(NAMES, ())
    load_balance: LoadBalance | int = of(_BALANCE, LoadBalance.LB_SRCID)
    criteria: TeamCriterion = of(_CRITERIA, TeamCriterion.LINK_STATE)
    flags: TeamFlag = of(_FLAGS, TeamFlag.NOTIFY_SWITCH)
    percent_error: int = of(INT, 0)
    full_duplex: bool = of(BOOL, False)
    speed: int = of(INT, 0)

    def _short(self) -> Any:
        # Without both, documents mean all uplinks.
        without: dict[str, Any] = {} if self.active or self.standby else {"active": []}
        return {**without, **Value._short(self)}

    if TYPE_CHECKING:  # what is accepted is more than what is kept

        def __init__(
            self,
            active: Iterable[str] = (),
            standby: Iterable[str] = (),
            load_balance: int = LoadBalance.LB_SRCID,
            criteria: int = TeamCriterion.LINK_STATE,
            flags: int = TeamFlag.NOTIFY_SWITCH,
            percent_error: int = 0,
            full_duplex: bool = False,
            speed: int = 0,
        ) -> None: ...

    def _check(self) -> None:
        _at_most(self)

    def to_bytes(self) -> bytes:
        """A `VSTeamPolicy`, 2616 bytes."""
        head = pack(
            _POLICY,
            self.load_balance,
            self.criteria,
            self.percent_error,
            self.full_duplex,
            self.speed,
            self.flags,
            len(self.active),
            len(self.standby),
        )
        return head + _slots(self)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The policy of a `VSTeamPolicy`. ValueError."""
        exactly(data, POLICY_SIZE, "VSTeamPolicy")
        balance, criteria, errors, duplex, speed, flags, active, standby = _POLICY.unpack_from(data)
        names = _names(data[_POLICY.size :], active, standby)
        kept = LoadBalance.of(balance), TeamCriterion(criteria), TeamFlag(flags)
        return cls._made(*names, *kept, errors, bool(duplex), speed)


@value
class NamedTeaming(Value):
    """A teaming policy of a switch that ports choose by its `name` (1 to 135 bytes); the other fields as in
    TeamingPolicy."""

    _entry_name = "name"

    name: str = of(TEXT)
    active: tuple[str, ...] = of(NAMES, ())
    standby: tuple[str, ...] = of(NAMES, ())
    load_balance: LoadBalance | int = of(_BALANCE, LoadBalance.LB_SRCID)
    criteria: TeamCriterion = of(_CRITERIA, TeamCriterion.LINK_STATE)
    flags: TeamFlag = of(_FLAGS, TeamFlag.NOTIFY_SWITCH)

    if TYPE_CHECKING:  # what is accepted is more than what is kept

        def __init__(
            self,
            name: str,
            active: Iterable[str] = (),
            standby: Iterable[str] = (),
            load_balance: int = LoadBalance.LB_SRCID,
            criteria: int = TeamCriterion.LINK_STATE,
            flags: int = TeamFlag.NOTIFY_SWITCH,
        ) -> None: ...

    def _check(self) -> None:
        _at_most(self)

    def to_bytes(self) -> bytes:
        """An `LSTeamPolicy`, 2748 bytes."""
        head = pack(
            _NAMED,
            slot(self.name, 136),
            self.load_balance,
            self.criteria,
            self.flags,
            len(self.active),
            len(self.standby),
        )
        return head + _slots(self)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The policy of an `LSTeamPolicy`. ValueError."""
        exactly(data, NAMED_SIZE, "LSTeamPolicy")
        name, balance, criteria, flags, active, standby = _NAMED.unpack_from(data)
        names = _names(data[_NAMED.size :], active, standby)
        return cls._made(slot_text(name), *names, LoadBalance.of(balance), TeamCriterion(criteria), TeamFlag(flags))


def table_bytes(policies: Iterable[NamedTeaming]) -> bytes:
    """An `LSTeamTable` with its policies."""
    packed = [policy.to_bytes() for policy in policies]
    return struct.pack("<I", len(packed)) + b"".join(packed)


def table_from(data: bytes) -> tuple[NamedTeaming, ...]:
    """The policies of an `LSTeamTable`. ValueError."""
    if not data:
        return ()
    (count,) = struct.unpack_from("<I", data)
    places = range(4, 4 + count * NAMED_SIZE, NAMED_SIZE)
    return tuple(NamedTeaming.from_bytes(data[place : place + NAMED_SIZE]) for place in places)


def table_of(record: Any) -> tuple[NamedTeaming, ...]:
    """The policies of an `LSTeamTable` that a call has handed out."""
    return table_from(libvswitch.pointed_bytes(record, 4 + record.numLSTeam * NAMED_SIZE))
