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
import os
import weakref
from collections.abc import Iterable, Mapping
from types import NoneType
from typing import Any, Literal, Self

from vswitch.simulated._results import (
    Buffer, BusyError, Delivery, Drop, Endpoint, Explanation, Kind, NoSpaceError, ReadOnlyError, Reason, Result,
    SimulationError, Step, explanation_of, result_of,
)
from vswitch.simulated._values import Capture, Client, Fault, Group, LacpPartner, LacpState, MacEntry
from vswitch.simulated._arguments import (
    boot_text, fault_rule, group_of, many, microseconds, nic_name, port_place, typed,
)

import vswitch.simulated._native as _native

__all__ = [
    "Buffer", "BusyError", "Capture", "Client", "Delivery", "Drop", "Endpoint", "Explanation", "Fault", "Group", "Kind",
    "LacpPartner", "LacpState", "MacEntry", "NoSpaceError", "ReadOnlyError", "Reason", "Result", "SimulatedHost",
    "SimulationError", "Step",
]

_KEEP: Any = ...  # stands for an argument that was not given
_DIRECTIONS = {"in": 1, "out": 2, "both": 3}
_LONGEST = 3_200_000_000  # seconds that a clock goes forward at once


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
        self._adopt(_native.Host(os.fsencode(path), boot_text(boot)))

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
        self._native.stop_clock(-1 if at is None else microseconds("at", at, 0, 9_000_000_000_000))

    def run_clock(self) -> None:
        """Lets the host's clock go with the system's."""
        self._native.run_clock()

    def advance(self, seconds: float) -> Result:
        """Moves a stopped clock on by 0 to 3.2e9 seconds, to the microsecond; whatever is due on the way happens at its
        time. 0: what is due now. `SimulationError` while the clock runs."""
        return result_of(self._native.advance(microseconds("seconds", seconds, 0, _LONGEST)))

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
        if not 0 <= typed("snaplen", snaplen, int) <= 0xFFFFFFFF:
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
            "name": typed("name", name, str),
            "mac": typed("mac", mac, str, NoneType),
            "type": typed("type", type, str),
        }
        self._native.connect(port_place(port), json.dumps(client).encode())

    def disconnect(self, port: tuple[str, str]) -> None:
        """Takes the client from a port. `SimulationError`: it has none, or is one of an uplink."""
        self._native.disconnect(port_place(port))

    def client(self, port: tuple[str, str]) -> Client:
        """Who is connected to a port. `SimulationError`: nobody, or an uplink."""
        found = json.loads(self._native.client(port_place(port)))
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
            changes["mac"] = typed("mac", mac, str, NoneType)
        if promiscuous is not _KEEP:
            changes["promiscuous"] = typed("promiscuous", promiscuous, bool)
        if link is not _KEEP:
            changes["link"] = typed("link", link, bool)
        if groups is not _KEEP:
            changes["groups"] = [group_of(group) for group in many("groups", groups)]
        if multicast_macs is not _KEEP:
            addresses = many("multicast_macs", multicast_macs)
            changes["multicast_macs"] = [typed("multicast_macs", address, str) for address in addresses]
        self._native.set_client(port_place(port), json.dumps(changes).encode())

    # ---- NICs ----

    def link(self, nic: str, up: bool) -> None:
        """The carrier of a NIC: up or down."""
        self._native.set_nic(nic_name(nic), json.dumps({"link": typed("up", up, bool)}).encode())

    def set_nic(self, nic: str, *, errors: int = _KEEP, segment: str = _KEEP) -> None:
        """Changes a NIC; what is not given stays. `errors`: how many percent of its frames are damaged, which teaming
        can look at. `segment`: the network that it is plugged into, at most 31 bytes; beacons are heard in the same
        one."""
        changes: dict[str, object] = {}
        if errors is not _KEEP:
            changes["errors"] = typed("errors", errors, int)
        if segment is not _KEEP:
            changes["segment"] = typed("segment", segment, str)
        self._native.set_nic(nic_name(nic), json.dumps(changes).encode())

    def set_partner(self, nic: str, partner: LacpPartner | None) -> None:
        """Gives a NIC a partner that speaks LACP by itself, or takes it away (None). It is gone after a boot, unless
        the boot description has it."""
        said = None if partner is None else typed("partner", partner, LacpPartner)._asdict()
        self._native.set_partner(nic_name(nic), json.dumps(said).encode())

    def lacp(self, nic: str) -> LacpState:
        """Where LACP stands at a NIC. `SimulationError`: it is in no LAG."""
        return LacpState(**json.loads(self._native.lacp(nic_name(nic))))

    # ---- what is seen ----

    def counters(self, endpoint: Endpoint) -> dict[str, int]:
        """The counters of a port, or of a NIC's uplink, by the names of the fields of `qel_HNQPortStatistics` and
        `VSPMACLearningStats`. All of them are of one instant. `SimulationError`: the NIC is behind no uplink."""
        found: dict[str, int] = json.loads(self._native.counters(endpoint))
        return found

    def mac_table(self, alias: str) -> list[MacEntry]:
        """The addresses that a switch knows, in the order of `VSQEL_GetMACTable`, and then those behind its uplinks."""
        return [MacEntry(**entry) for entry in json.loads(self._native.mac_table(typed("alias", alias, str)))]

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
        rule = fault_rule(kind, call, status, exception, message, milliseconds, skip, times, probability, seed)
        return self._native.fault(json.dumps(rule).encode())

    def faults(self) -> list[Fault]:
        """The rules that are in effect, by their numbers."""
        return [Fault(**rule) for rule in json.loads(self._native.faults())]

    def clear_fault(self, number: int | None = None) -> None:
        """Removes a rule, or all of them (None). `ValueError`: no such rule."""
        if number is not None and typed("number", number, int) < 1:
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


# The object of each host that is not closed.
_objects: weakref.WeakValueDictionary[_native.Host, SimulatedHost] = weakref.WeakValueDictionary()
