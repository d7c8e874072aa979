"""Simulated hosts that move frames: exact, repeatable models of one host's switches, in this process.

    from vswitch.simulated import SimulatedHost

    with SimulatedHost() as host:                      # what vswitch and libvswitch do goes to this host now
        result = host.send(("workload", "100"), bytes.fromhex("ffffffffffff 020000000200 0800") + bytes(46))
        print([delivery.endpoint for delivery in result.deliveries], result.drops)

A frame that is sent takes the way that the host's configuration says, and changes its tables and counters; what comes
out is handed back, with a reason for each drop. Nothing sleeps and nothing needs privileges. Frames are bytes from the
destination address on, without FCS. An endpoint is the client side of a port, `(switch alias, dvport id)`, or the wire
side of a physical NIC, its name.

What cannot be an endpoint, a mode or a number is a `ValueError`, what has another type a `TypeError`, everything else
a `SimulationError`. An operation that is refused has changed nothing. A frame is never refused: it gets a reason.
"""

from __future__ import annotations

import json
import math
import os
import stat
import weakref
from collections.abc import Iterable, Mapping
from typing import Any, Literal, NamedTuple, Self

from vswitch.simulated._results import (
    Buffer, BusyError, Delivery, Drop, Endpoint, Explanation, Kind, NoSpaceError, ReadOnlyError, Reason, Result,
    SimulationError, Step, explanation_of, result_of,
)

import vswitch.simulated._native as _native

__all__ = [
    "Buffer", "BusyError", "Capture", "Client", "Delivery", "Drop", "Endpoint", "Explanation", "Fault", "Group", "Kind",
    "LacpPartner", "LacpState", "MacEntry", "NoSpaceError", "ReadOnlyError", "Reason", "Result", "SimulatedHost",
    "SimulationError", "Step",
]

# ---- what a host has -------------------------------------------------------------------------------------------------


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
        ends with the last frame that was written whole."""
        self._native.close()

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *exc: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<Capture {self._path!r}: {self.frames} frames>"


# ---- hosts -----------------------------------------------------------------------------------------------------------

_KEEP: Any = ...  # stands for an argument that was not given
_DIRECTIONS = {"in": 1, "out": 2, "both": 3}
_LONGEST = 3_200_000_000  # seconds that a clock goes forward at once
_LONGEST_BOOT = 64 << 20  # bytes of a boot description

def _typed(name: str, value: object, *types: Any) -> Any:
    """The value, if it has one of the types."""
    if isinstance(value, types):
        return value
    wanted = " or ".join("None" if one is type(None) else one.__name__ for one in types)
    raise TypeError(f"{name}: {wanted} expected, not {type(value).__name__}")


def _port(port: object) -> tuple[str, str]:
    return _typed("port", port, tuple)  # type: ignore[no-any-return] # what is in it the native module looks at


def _nic(nic: object) -> str:
    return _typed("nic", nic, str)  # type: ignore[no-any-return]


def _microseconds(name: str, seconds: object, least: int, greatest: int) -> int:
    number: float = _typed(name, seconds, int, float)
    if not math.isfinite(number) or not least <= number <= greatest:
        raise ValueError(f"{name}: {least} to {greatest} seconds expected, not {seconds}")
    return round(number * 1_000_000)


def _plain(value: object) -> object:
    """For JSON: mappings of any kind as objects."""
    if isinstance(value, Mapping):
        return dict(value)
    raise TypeError(f"a boot description cannot have a {type(value).__name__}")


def _boot_text(boot: Mapping[str, object] | str | os.PathLike[str] | None) -> bytes | None:
    if boot is None:
        return None
    if isinstance(boot, Mapping):
        return json.dumps(boot, default=_plain).encode()
    path = os.fsdecode(boot)
    try:
        # Opening a pipe would wait for its other end.
        with open(path, "rb", opener=lambda name, flags: os.open(name, flags | os.O_NONBLOCK)) as file:
            if not stat.S_ISREG(os.fstat(file.fileno()).st_mode):
                raise OSError(0, "it is not a regular file")
            text = file.read(_LONGEST_BOOT + 1)
    except OSError as error:
        raise SimulationError(f"boot description {path}: cannot read it: {error.strerror}") from error
    if len(text) > _LONGEST_BOOT:
        raise SimulationError(f"boot description {path}: cannot read it: it is larger than {_LONGEST_BOOT} bytes")
    return text


def _group(group: object) -> dict[str, object]:
    if isinstance(group, str):
        return {"address": group}
    address, sources, mode, version = _typed("groups", group, Group, tuple)
    found: dict[str, object] = {"address": _typed("groups: address", address, str)}
    found["sources"] = [_typed("groups: sources", source, str) for source in sources]
    found["mode"] = _typed("groups: mode", mode, str)
    if version is not None:
        found["version"] = _typed("groups: version", version, int)
    return found


def _many(name: str, values: object) -> Iterable[object]:
    if isinstance(values, str | bytes):
        raise TypeError(f"{name}: an iterable of texts expected, not one text")
    return _typed(name, values, Iterable)  # type: ignore[no-any-return]


class SimulatedHost:
    """A simulated host: a state file, or a private host in memory.

    `path`: the state file; it is made where there is none. `boot`: what a fresh host boots from, a boot description as
    a mapping or as the path of a JSON file; without it the host boots as any process's first call would make it boot,
    in memory always from the built-in description. A file that is a host already ignores it.

    A `with` block is `use()`, and leaves the host at its end. A host may be used from several threads; other threads of
    Python run meanwhile. After a fork of the process a host in a file is opened anew, and one in memory is the child's
    own copy.
    """

    __slots__ = ("_native", "_trace", "_uses", "__weakref__")

    def __init__(
        self,
        path: str | os.PathLike[str] = ":memory:",
        boot: Mapping[str, object] | str | os.PathLike[str] | None = None,
    ) -> None:
        self._adopt(_native.Host(os.fsencode(path), _boot_text(boot)))

    def _adopt(self, native: _native.Host) -> None:
        self._native = native
        self._trace: str | None = None
        self._uses = 0  # those that close() ends: not those of with blocks
        _objects[native] = self

    @classmethod
    def current(cls) -> SimulatedHost:
        """The host in use, or else the one that the environment names (`VSWITCH_HOST`). A host that is in use is the
        same object, as long as there is one that is not closed."""
        native = _native.Host.current()
        return _objects.get(native) or cls._of(native)

    @classmethod
    def _of(cls, native: _native.Host) -> SimulatedHost:
        host = cls.__new__(cls)
        host._adopt(native)
        return host

    def use(self) -> None:
        """Makes this the host that the calls of `libvswitch`, and so those of `vswitch`, answer for, in the whole
        process. Uses nest: at the end of a `with` block, or with `close()`, the host before is in use again, at the
        bottom that of the environment."""
        self._native.use()
        self._uses += 1

    def __enter__(self) -> Self:
        self._native.use()
        return self

    def __exit__(self, *exc: object) -> None:
        self._native.unuse()

    def close(self) -> None:
        """Gives the host back, with its captures and whatever is in memory only, and ends its uses by `use()`; in a
        `with` block it stays in use up to its end. Afterwards everything but results is a `SimulationError`; a second
        time does nothing."""
        while self._uses:
            self._uses -= 1
            self._native.unuse()
        self._native.close()

    def fork(self) -> SimulatedHost:
        """A private copy in memory: the whole state, with clock, faults and what runs. Captures, uses, trace and
        handles do not go along. Neither host sees the other."""
        return self._of(self._native.fork())

    def reset(self) -> None:
        """Makes the host anew from the description that it first booted from. Everything else goes, faults included."""
        self._native.reset()

    def boot(self) -> None:
        """Boots it again: what is volatile, learned and counted goes."""
        self._native.boot()

    def snapshot(self, path: str | os.PathLike[str], *, force: bool = False) -> None:
        """Writes the whole state to a new file, which is a state file itself; with `force` in the place of one."""
        self._native.snapshot(os.fsencode(path), bool(force))

    @property
    def path(self) -> str:
        """The full path of the state file, `":memory:"` for a host in memory."""
        return self._native.path

    def __repr__(self) -> str:
        return f"<SimulatedHost {self._native.path!r}>" if self._native.is_open else "<SimulatedHost, closed>"

    # ---- time ----

    @property
    def now(self) -> float:
        """The host's time, in seconds since the epoch."""
        return self._native.now() / 1e6

    @property
    def now_us(self) -> int:
        """The host's time, in microseconds since the epoch."""
        return self._native.now()

    def stop_clock(self, at: float | None = None) -> None:
        """Stops the host's clock, at a time in seconds since the epoch, or where it is."""
        self._native.stop_clock(-1 if at is None else _microseconds("at", at, 0, 9_000_000_000_000))

    def run_clock(self) -> None:
        """Lets the host's clock go with the system's."""
        self._native.run_clock()

    def advance(self, seconds: float) -> Result:
        """Moves a stopped clock on by 0 to 3.2e9 seconds, to the microsecond; whatever is due on the way happens at its
        time. 0: what is due now. `SimulationError` while the clock runs."""
        return result_of(self._native.advance(_microseconds("seconds", seconds, 0, _LONGEST)))

    # ---- frames ----

    def endpoints(self) -> list[Endpoint]:
        """The ports with a client, by their numbers, and then the NICs, by name: where frames can be sent in."""
        found = json.loads(self._native.endpoints())
        return [(one[0], one[1]) if isinstance(one, list) else one for one in found]

    def send(self, endpoint: Endpoint, frame: Buffer) -> Result:
        """Sends a frame in at an endpoint: from the client of a port, or from the wire of a NIC. `ValueError`: no such
        switch, port or NIC, or the port of an uplink (send to its NIC)."""
        return result_of(self._native.send(endpoint, frame))

    def send_many(self, frames: Iterable[tuple[Endpoint, Buffer]], *, count_only: bool = False) -> Result:
        """Sends frames in, one after the other, as one operation: all of them count, or none. At most 65,536 frames and
        64 MiB (`ValueError`). With `count_only` the result has its totals only. No frames: what is due by the host's
        clock happens."""
        return result_of(self._native.send_many(frames, bool(count_only)))

    def explain(self, endpoint: Endpoint, frame: Buffer) -> Explanation:
        """What `send` would do with the frame now, step by step. Nothing changes."""
        return explanation_of(self._native.explain(endpoint, frame))

    def capture(
        self,
        endpoint: Endpoint,
        path: str | os.PathLike[str],
        direction: Literal["in", "out", "both"] = "both",
        snaplen: int = 262144,
    ) -> Capture:
        """Writes what passes an endpoint by operations of this object to a new pcapng file (mode 0600), with the host's
        time, at most `snaplen` bytes of each frame (0: all). `in` is into the switch; a frame that was dropped on its
        way in has a comment, `drop: REASON`. What was written stands in the file when an operation returns. An existing
        file: `SimulationError`."""
        if direction not in _DIRECTIONS:
            raise ValueError(f'direction: "in", "out" or "both" expected, not {direction!r}')
        if not 0 <= _typed("snaplen", snaplen, int) <= 0xFFFFFFFF:
            raise ValueError(f"snaplen: 0 to 4294967295 expected, not {snaplen}")
        native = self._native.capture(endpoint, os.fsencode(path), _DIRECTIONS[direction], snaplen)
        return Capture(native, os.fsdecode(path))

    def replay(self, endpoint: Endpoint, path: str | os.PathLike[str], *, timing: bool = False) -> Result:
        """Sends in the frames of a capture file at an endpoint: pcap or pcapng, Ethernet. They go in operations of 512
        frames. With `timing` a stopped clock goes forward by the differences of their times, never back, and each frame
        is an operation of its own; a running clock takes no notice. `index` counts the frames of the file.
        `SimulationError`: the file is none of these, or damaged; nothing was sent then."""
        return result_of(self._native.replay(endpoint, os.fsencode(path), bool(timing)))

    # ---- clients ----

    def connect(
        self, port: tuple[str, str], name: str, mac: str | None = None, type: Literal["vnic", "tcpip"] = "vnic"
    ) -> None:
        """Connects a client to a port: a virtual NIC, or the host's TCP/IP stack. Its link is up, it has joined
        nothing. `SimulationError`: the port has a client, or is one of an uplink."""
        client = {
            "name": _typed("name", name, str),
            "mac": _typed("mac", mac, str, _NoneType),
            "type": _typed("type", type, str),
        }
        self._native.connect(_port(port), json.dumps(client).encode())

    def disconnect(self, port: tuple[str, str]) -> None:
        """Takes the client from a port. `SimulationError`: it has none, or is one of an uplink."""
        self._native.disconnect(_port(port))

    def client(self, port: tuple[str, str]) -> Client:
        """Who is connected to a port. `SimulationError`: nobody, or an uplink."""
        found = json.loads(self._native.client(_port(port)))
        groups = found.pop("groups")
        return Client(
            **found | {"multicast_macs": tuple(found["multicast_macs"])},
            groups=tuple(Group(**group | {"sources": tuple(group["sources"])}) for group in groups),
        )

    def set_client(
        self,
        port: tuple[str, str],
        *,
        mac: str | None = _KEEP,
        promiscuous: bool = _KEEP,
        link: bool = _KEEP,
        groups: Iterable[Group | str] = _KEEP,
        multicast_macs: Iterable[str] = _KEEP,
    ) -> None:
        """Changes how the client of a port runs; what is not given stays. `mac`: the address that it uses, None for the
        assigned one. `promiscuous`: whether it wants to see everything in its VLANs. `link`: whether its link is up.
        `groups`: those that it has joined, in place of the former ones; a text is a group without a source filter.
        `multicast_macs`: further addresses that it listens to. `ValueError`: a group or zero `mac`, a group that is
        none, stands twice or has more than 64 sources. `SimulationError`: the port has no client, or is one of an
        uplink."""
        changes: dict[str, object] = {}
        if mac is not _KEEP:
            changes["mac"] = _typed("mac", mac, str, _NoneType)
        if promiscuous is not _KEEP:
            changes["promiscuous"] = _typed("promiscuous", promiscuous, bool)
        if link is not _KEEP:
            changes["link"] = _typed("link", link, bool)
        if groups is not _KEEP:
            changes["groups"] = [_group(group) for group in _many("groups", groups)]
        if multicast_macs is not _KEEP:
            addresses = _many("multicast_macs", multicast_macs)
            changes["multicast_macs"] = [_typed("multicast_macs", address, str) for address in addresses]
        self._native.set_client(_port(port), json.dumps(changes).encode())

    # ---- NICs ----

    def link(self, nic: str, up: bool) -> None:
        """The carrier of a NIC: up or down."""
        self._native.set_nic(_nic(nic), json.dumps({"link": _typed("up", up, bool)}).encode())

    def set_nic(self, nic: str, *, errors: int = _KEEP, segment: str = _KEEP) -> None:
        """Changes a NIC; what is not given stays. `errors`: how many percent of its frames are damaged, which teaming
        can look at. `segment`: the network that it is plugged into, at most 31 bytes; beacons are heard in the same
        one."""
        changes: dict[str, object] = {}
        if errors is not _KEEP:
            changes["errors"] = _typed("errors", errors, int)
        if segment is not _KEEP:
            changes["segment"] = _typed("segment", segment, str)
        self._native.set_nic(_nic(nic), json.dumps(changes).encode())

    def set_partner(self, nic: str, partner: LacpPartner | None) -> None:
        """Gives a NIC a partner that speaks LACP by itself, or takes it away (None). It is gone after a boot, unless
        the boot description has it."""
        said = None if partner is None else _typed("partner", partner, LacpPartner)._asdict()
        self._native.set_partner(_nic(nic), json.dumps(said).encode())

    def lacp(self, nic: str) -> LacpState:
        """Where LACP stands at a NIC. `SimulationError`: it is in no LAG."""
        return LacpState(**json.loads(self._native.lacp(_nic(nic))))

    # ---- what is seen ----

    def counters(self, endpoint: Endpoint) -> dict[str, int]:
        """The counters of a port, or of a NIC's uplink, by the names of the fields of `qel_HNQPortStatistics` and
        `VSPMACLearningStats`. All of them are of one instant. `SimulationError`: the NIC is behind no uplink."""
        found: dict[str, int] = json.loads(self._native.counters(endpoint))
        return found

    def mac_table(self, alias: str) -> list[MacEntry]:
        """The addresses that a switch knows, in the order of `VSQEL_GetMACTable`, and then those behind its uplinks."""
        return [MacEntry(**entry) for entry in json.loads(self._native.mac_table(_typed("alias", alias, str)))]

    # ---- faults and the trace ----

    def fault(
        self,
        kind: str,
        call: str | None = None,
        *,
        status: str | None = None,
        exception: str | None = None,
        message: str | None = None,
        milliseconds: int = 0,
        skip: int = 0,
        times: int | None = None,
        probability: float = 1.0,
        seed: int = 0,
    ) -> int:
        """Makes calls of the three libraries on this host fail from now on, in every process: a rule, whose number is
        returned. `kind`: `"fail"`, `"fail-after"`, `"abort"` or `"delay"`, as the tool's `fault add`. `call`: the
        function, None for all. `status`: the name of the status. `exception`, `message`: of an abort. `milliseconds`:
        of a delay. `skip` calls pass first; `times` are met, None for all; of these a share of `probability`, by random
        numbers that follow from `seed`. Operations of this class are never met."""
        rule = {
            "kind": _typed("kind", kind, str),
            "call": _typed("call", call, str, _NoneType),
            "status": _typed("status", status, str, _NoneType),
            "exception": _typed("exception", exception, str, _NoneType),
            "message": _typed("message", message, str, _NoneType),
            "milliseconds": _typed("milliseconds", milliseconds, int),
            "skip": _typed("skip", skip, int),
            "times": _typed("times", times, int, _NoneType),
            "probability": _typed("probability", probability, int, float),
            "seed": _typed("seed", seed, int),
        }
        if not math.isfinite(probability):
            raise ValueError(f"probability: 0 to 1 expected, not {probability}")
        return self._native.fault(json.dumps(rule).encode())

    def faults(self) -> list[Fault]:
        """The rules that are in effect, by their numbers."""
        return [Fault(**rule) for rule in json.loads(self._native.faults())]

    def clear_fault(self, number: int | None = None) -> None:
        """Removes a rule, or all of them (None). `ValueError`: no such rule."""
        if number is not None and _typed("number", number, int) < 1:
            raise ValueError(f"no fault {number}")
        self._native.clear_fault(number or 0)

    @property
    def trace(self) -> str | None:
        """The file that the calls of the three libraries of this process on this host are traced to, a line of JSON
        each; None: to none, or to that of the environment."""
        return self._trace

    @trace.setter
    def trace(self, path: str | None) -> None:
        self._native.trace(None if path is None else os.fsencode(path))
        self._trace = None if path is None else os.fsdecode(path)


_NoneType = type(None)
# The object of each host that is not closed.
_objects: weakref.WeakValueDictionary[_native.Host, SimulatedHost] = weakref.WeakValueDictionary()
