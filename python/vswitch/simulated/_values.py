"""What a host has and is told: faults, clients and their groups, LACP, addresses, captures. All of it is public as a
part of `vswitch.simulated`."""

from __future__ import annotations

from typing import Literal, NamedTuple, Self

import vswitch.simulated._native as _native


class Fault(NamedTuple):
    """A rule that makes calls of the three libraries fail. See `SimulatedHost.fault`."""

    number: int
    kind: str
    call: str | None
    status: str | None
    exception: str | None
    message: str
    milliseconds: int
    skip: int
    times: int | None
    probability: float
    seed: int
    met: int
    """How many calls it has met."""


class Group(NamedTuple):
    """A multicast group that a client has joined."""

    address: str
    """An IPv4 or IPv6 group address."""
    sources: tuple[str, ...] = ()
    """Addresses that it is to come from, or not; none: no source filter."""
    mode: Literal["include", "exclude"] = "include"
    """Whether `sources` are wanted or unwanted."""
    version: int | None = None
    """Of IGMP or MLD. None: 3 or 2, the newest."""


class Client(NamedTuple):
    """Who is connected to a port, and how it runs."""

    name: str
    type: str
    """`"vnic"` or `"tcpip"`."""
    assigned_mac: str | None
    """The address that it was connected with."""
    mac: str | None
    """The address that it uses now (the effective one)."""
    promiscuous: bool
    """It wants to see everything in its VLANs."""
    link: bool
    """Its link is up."""
    groups: tuple[Group, ...]
    multicast_macs: tuple[str, ...]
    """Multicast addresses that it listens to besides its groups."""


class LacpPartner(NamedTuple):
    """What a scripted partner of a NIC says in LACP."""

    system: str = "02:00:00:ff:ff:01"
    system_priority: int = 32768
    key: int = 1
    port: int = 1
    port_priority: int = 32768
    active: bool = True
    """It speaks first."""
    fast: bool = False
    """It wants to hear something every second, and not every 30 seconds."""
    aggregatable: bool = True
    on: bool = True
    """False: it is silent."""


class LacpState(NamedTuple):
    """Where LACP stands at a NIC."""

    receive: str
    """The receive machine: `"disabled"`, `"expired"`, `"current"` or `"defaulted"`."""
    selected: bool
    up: bool
    """Frames go over this member."""
    actor_state: int
    """The state byte of IEEE 802.1AX: activity, timeout, aggregation, synchronization, collecting, distributing,
    defaulted, expired, from bit 0 on."""
    partner_state: int
    partner_system: str | None
    """None: no partner is known."""
    partner_key: int
    sent: int
    """LACPDUs sent; `received` and `bad` count those that came."""
    received: int
    bad: int
    changes: int
    """How often `up` has changed."""


class MacEntry(NamedTuple):
    """An address in a switch's table."""

    mac: str
    vlan: int
    type: Literal["static", "user", "learned"]
    port: str
    """The dvport id."""
    elapsed: int
    """Seconds since it was seen; 0 for what was not learned."""
    moves: int
    """How often it has moved from one port to another."""
    team: bool
    """It is behind an uplink."""


class Capture:
    """A pcapng file of what passes an endpoint. Made by `SimulatedHost.capture`; a `with` block closes it."""

    __slots__ = ("_native", "_path", "__weakref__")

    def __init__(self, native: _native.Capture, path: str) -> None:
        self._native = native
        self._path = path

    @property
    def path(self) -> str:
        """The file."""
        return self._path

    @property
    def frames(self) -> int:
        """How many frames have been written to it."""
        return self._native.frames

    def close(self) -> None:
        """Ends it; a second time does nothing. `SimulationError`, `NoSpaceError`: the file could not be written, and
        ends with the last operation that was written whole."""
        self._native.close()

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<Capture {self._path!r}: {self.frames} frames>"


for _class in (Capture, Client, Fault, Group, LacpPartner, LacpState, MacEntry):
    _class.__module__ = "vswitch.simulated"
