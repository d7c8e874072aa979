"""What comes of frames: deliveries, drops and steps, and the errors of what cannot be done. All of it is public as a
part of `vswitch.simulated`."""

from __future__ import annotations

from collections.abc import Sequence
from enum import Enum
from typing import Literal, NamedTuple, NoReturn, SupportsBytes

try:
    import vswitch.simulated._native as _native
except ImportError as error:
    if "undefined symbol" in str(error):
        raise ImportError(
            f"vswitch.simulated needs the simulated host's own libraries, and others were found before them: {error}"
        ) from error
    raise

Endpoint = tuple[str, str] | str
"""`(switch alias, dvport id)`, or the name of a physical NIC."""

Buffer = bytes | bytearray | memoryview | SupportsBytes
"""The bytes of a frame, or what gives them by `__bytes__`, such as a packet of scapy."""

# ---- errors ----------------------------------------------------------------------------------------------------------


class SimulationError(Exception):
    """What a host could not do, with the text that the tool `vswitch-host` prints."""


class BusyError(SimulationError):
    """Another process has kept the state file for longer than 10 seconds."""


class ReadOnlyError(SimulationError):
    """The state file cannot be written."""


class NoSpaceError(SimulationError):
    """There is no room on the disk."""


# ---- what comes of frames --------------------------------------------------------------------------------------------


class Kind(Enum):
    """What a delivery is."""

    FRAME = "frame"
    """The frame that was sent, in the form that the receiver's VLAN policy says."""
    PROMISCUOUS = "promiscuous"
    """A copy for a client that sees everything in its VLANs."""
    MIRROR = "mirror"
    """A copy of a mirror session."""
    MADE = "made"
    """A frame that the switch made: an announcement, a beacon, a query, LACP."""


class Reason(Enum):
    """Why a frame was dropped. There will be more."""

    NIC_UNBOUND = "nic-unbound"
    """The NIC is behind no uplink."""
    NO_PORTSET = "no-portset"
    """The switch has no port set, or does not run on this host."""
    FORWARDING_DISABLED = "forwarding-disabled"
    """The switch does not forward (`VSPROP_SWITCH_FORWARDING_DISABLED`)."""
    ZOMBIE_PORT = "zombie-port"
    """The port was removed while its client was connected."""
    NO_CLIENT = "no-client"
    """Nobody is connected to the port."""
    LINK_DOWN = "link-down"
    """The link of the port is down."""
    PORT_BLOCKED = "port-blocked"
    """The port is blocked."""
    RUNT = "runt"
    """The frame has less than 14 bytes."""
    MALFORMED = "malformed"
    """The frame ends within its tag."""
    TOO_LONG = "too-long"
    """The payload is longer than the switch's MTU."""
    RESERVED_ADDRESS = "reserved-address"
    """The destination is for the next bridge only (01-80-c2-00-00-00 to -0f)."""
    BAD_SOURCE = "bad-source"
    """The source is a group address, or zero."""
    FORGED_SOURCE = "forged-source"
    """The source is not the client's address, and the security policy forbids that."""
    LACP_DOWN = "lacp-down"
    """LACP does not have the member of the LAG up."""
    MIRROR_DESTINATION = "mirror-destination"
    """The port is the destination of a mirror session, and takes no part in other traffic."""
    VLAN_RESERVED = "vlan-reserved"
    """The frame is tagged with VLAN 4095."""
    VLAN_TAGGED = "vlan-tagged"
    """A tagged frame at an access port."""
    VLAN_NOT_ALLOWED = "vlan-not-allowed"
    """The VLAN is in none of the trunk's ranges."""
    VLAN_UNTAGGED = "vlan-untagged"
    """An untagged frame at a trunk that has no untagged network."""
    NESTED_TAG = "nested-tag"
    """A tag within a tag where that is not allowed, or would change the VLAN."""
    PRIVATE_VLAN = "private-vlan"
    """The private VLANs keep the two apart, or the port's VLAN is not in the map."""
    MAC_LIMIT = "mac-limit"
    """The table of learned addresses is full, and the policy says to drop."""
    UNKNOWN_UNICAST = "unknown-unicast"
    """Nobody knows the destination, and nobody takes what is unknown."""
    SAME_PORT = "same-port"
    """The destination is where the frame came from."""
    UPLINK_TO_UPLINK = "uplink-to-uplink"
    """Nothing goes from uplink to uplink."""
    NOT_A_MEMBER = "not-a-member"
    """The port of the destination is not in the VLAN."""
    MULTICAST_FILTERED = "multicast-filtered"
    """Nobody wants the multicast group."""
    NO_RECEIVER = "no-receiver"
    """Nobody else is in the VLAN."""
    REVERSE_PATH = "reverse-path"
    """The receivers take such frames from another uplink."""
    NO_UPLINK = "no-uplink"
    """Teaming has no uplink for the frame."""
    TEAM_BLOCKED = "team-blocked"
    """The teaming policy lets nothing out."""
    MAC_CHANGED = "mac-changed"
    """The client has changed its address, and the security policy forbids that."""
    REFLECTED = "reflected"
    """A frame of the switch's own client came back from the wire."""
    NO_NIC = "no-nic"
    """No NIC is behind the uplink."""
    VLAN_EGRESS = "vlan-egress"
    """The uplink's own VLAN policy does not have the VLAN."""


class Delivery(NamedTuple):
    """What came out at an endpoint."""

    endpoint: Endpoint
    frame: bytes
    kind: Kind
    index: int  # type: ignore[assignment] # in place of the method of tuples
    """Which of the frames that were sent it came from, from 0 on; -1: something that was due by the host's clock."""


class Drop(NamedTuple):
    """That a frame was dropped: on its way into the switch, or out of it to one receiver."""

    place: Endpoint
    """Where: an endpoint, or the port of an uplink that has no NIC."""
    reason: Reason
    stage: Literal["in", "out"]
    index: int  # type: ignore[assignment]
    """As in `Delivery`."""


class Step(NamedTuple):
    """One step of a frame's way."""

    rule: str
    """The id of the rule that decided."""
    place: Endpoint | None
    text: str
    outcome: Literal["next", "drop", "deliver", "consume"]


class Result:
    """What came of the frames of an operation: first what was due by the host's clock, then by the index of the frame.
    Of one frame, deliveries stand by port number, then copies of mirrors, then frames that the switch made in reply;
    drops first that on the way in, then those on the way out by port number. Nothing in it changes.

    `bool(result)`: whether anything was delivered.
    """

    __slots__ = ("_native",)
    _native: _native.Result

    def __init__(self) -> None:
        raise TypeError("results come from operations of a SimulatedHost")

    @property
    def deliveries(self) -> Sequence[Delivery]:
        """What came out. The sequence is made while it is read; it is equal to a list or tuple of the same."""
        return self._native.deliveries

    @property
    def drops(self) -> Sequence[Drop]:
        """What was dropped, like `deliveries`."""
        return self._native.drops

    @property
    def frames(self) -> int:
        """How many frames were sent in."""
        return self._native.total(0)

    @property
    def consumed(self) -> int:
        """How many of them the switch kept for itself (LACP, beacons)."""
        return self._native.total(3)

    @property
    def not_kept(self) -> int:
        """How many deliveries came after the first 4,194,304, which `deliveries` has; 0 with `count_only`."""
        return self._native.total(4)

    def to(self, endpoint: Endpoint) -> list[bytes]:
        """The frames that came out at an endpoint, of all kinds."""
        return self._native.to(endpoint)

    def only(self) -> Delivery:
        """The only delivery. `SimulationError` unless there is exactly one."""
        deliveries = self.deliveries
        if len(deliveries) != 1 or self.not_kept:
            dropped = ", ".join(f"{_place(drop.place)}: {drop.reason.value}" for drop in self.drops[:5])
            more = "; dropped at " + dropped if dropped else ""
            raise SimulationError(f"{len(deliveries) + self.not_kept} deliveries where one was expected{more}")
        return deliveries[0]

    def __bool__(self) -> bool:
        return self._native.total(1) != 0

    def __eq__(self, other: object) -> bool:
        if type(other) is not type(self):
            return NotImplemented
        assert isinstance(other, Result)
        return self._native.equals(other._native)

    def __hash__(self) -> int:
        return hash(tuple(map(self._native.total, range(5))))

    def __setattr__(self, name: str, value: object) -> NoReturn:
        raise AttributeError(f"a {type(self).__name__} does not change")

    def __repr__(self) -> str:
        totals = f"{self.frames} frames, {self._native.total(1)} deliveries, {self._native.total(2)} drops"
        return f"<{type(self).__name__}: {totals}, {self.consumed} consumed>"


class Explanation(Result):
    """What would come of a frame, and why: `str()` has one line for each step, such as `V-3 sw/7: ...`."""

    __slots__ = ()

    @property
    def steps(self) -> Sequence[Step]:
        """The way of the frame: what each step of the pipeline decided where it came in, each receiver that was
        refused, choices of an uplink, deliveries and drops."""
        return self._native.steps

    def __str__(self) -> str:
        return "\n".join(
            f"{step.rule} {_place(step.place)}: {step.text}" if step.place is not None else f"{step.rule}: {step.text}"
            for step in self.steps
        )


def _place(place: Endpoint) -> str:
    return place if isinstance(place, str) else "/".join(place)


_set_native = Result.__dict__["_native"].__set__


def result_of(native: _native.Result) -> Result:
    """An operation's result, of what the library gave."""
    result = object.__new__(Result)
    _set_native(result, native)
    return result


def explanation_of(native: _native.Result) -> Explanation:
    """An explanation, of what the library gave."""
    explanation = object.__new__(Explanation)
    _set_native(explanation, native)
    return explanation


for _class in (
    BusyError, Delivery, Drop, Explanation, Kind, NoSpaceError, ReadOnlyError, Reason, Result, SimulationError, Step
):
    _class.__module__ = "vswitch.simulated"

Sequence.register(_native.Items)
_native.take_classes(
    {
        "delivery": Delivery,
        "drop": Drop,
        "step": Step,
        "simulation_error": SimulationError,
        "busy_error": BusyError,
        "read_only_error": ReadOnlyError,
        "no_space_error": NoSpaceError,
        "kinds": list(Kind),
        "reasons": list(Reason),
        "stages": ["in", "out"],
        "outcomes": ["next", "drop", "deliver", "consume"],
    }
)
