"""What runs: learned addresses, memberships, counters; and what the rules need to look at all together."""

from collections import Counter
from dataclasses import dataclass, field
from typing import NamedTuple

from .configuration import Host, Port, Switch

Place = tuple[str, str] | str

TRAFFIC_FIELDS = tuple(
    f"{what}{way}{cast}"
    for way in ("In", "Out") for cast in ("Unicast", "Multicast", "Broadcast") for what in ("pkts", "bytes")
) + ("pktsInDropped", "pktsOutDropped", "pktsInException", "pktsOutException")
LEARNING_FIELDS = ("numMACsLearned", "noLearningAllowedPkts", "noLearningDroppedPkts", "numMACsMoved")
SERVICE_FIELDS = ("txFromSrvPort", "txUsingSrvPortFRP", "txUsingPktSrcPortFRP", "txErrors", "rxToSrvPort",
                  "rxRpfOverride")
MIRROR_FIELDS = ("mirrorPktCnt", "mirrorPktFailCnt", "mirroredPkts", "discardedPkts", "failedPkts")
LEGACY_PROMISCUOUS = "legacy_promiscuous"


@dataclass
class Learned:
    """An entry of the MAC tables. `seen`: whole seconds (MAC-3)."""

    port: int
    seen: int
    moves: int = 0
    aging: bool = True


@dataclass
class Membership:
    """A membership by report (IG-6 to IG-8). Mode exclude without sources: no source filter."""

    mode: str
    sources: set[bytes]
    version: int
    updated: int
    expires: int

    def admits(self, source: bytes) -> bool:
        return (source in self.sources) == (self.mode == "include")


@dataclass
class MirrorState:
    """Of a session: its counters, the frames that sampling has seen, the encapsulated copies of each destination."""

    counters: Counter[str] = field(default_factory=Counter)
    seen: int = 0
    sequence: Counter[str] = field(default_factory=Counter)


@dataclass
class SwitchState:
    """Ports are their numbers here, addresses and groups their bytes."""

    learned: dict[tuple[bytes, int], Learned] = field(default_factory=dict)
    counters: dict[int, Counter[str]] = field(default_factory=dict)
    team_allowed_at_port_limit: int = 0
    service: Counter[str] = field(default_factory=Counter)
    memberships: dict[tuple[int, bytes], Membership] = field(default_factory=dict)
    router_ports: dict[int, int] = field(default_factory=dict)
    mirrors: dict[str, MirrorState] = field(default_factory=dict)

    def of_port(self, number: int) -> Counter[str]:
        return self.counters.setdefault(number, Counter())

    def of_mirror(self, session_id: str) -> MirrorState:
        return self.mirrors.setdefault(session_id, MirrorState())


@dataclass(frozen=True)
class View:
    """All that a rule may look at. `now`: microseconds since the epoch."""

    host: Host
    switch: Switch
    state: SwitchState
    now: int

    def place(self, port: Port) -> Place:
        """API-1: an uplink is named by its NIC, and by its port where it has none."""
        if port.is_uplink and self.host.nic(port.nic) is not None:
            assert port.nic is not None
            return port.nic
        return self.switch.alias, port.dvport_id


class Delivery(NamedTuple):
    endpoint: Place
    frame: bytes
    kind: str


class Drop(NamedTuple):
    place: Place
    reason: str
    stage: str
    rule: str


class Step(NamedTuple):
    rule: str
    place: Place
    text: str


class Result(NamedTuple):
    deliveries: list[Delivery]
    drops: list[Drop]
    consumed: bool
    steps: list[Step]


class MacEntry(NamedTuple):
    mac: str
    vlan: int
    type: str
    port: str
    elapsed: int
    moves: int
    team: bool
