"""Mirror sessions: which frames they select, filters and sampling, the copies and where they go."""

import ipaddress
from dataclasses import dataclass

from . import encapsulation
from .configuration import Entity, FilterRule, MirrorSession, Port
from .frame import TCP, UDP, IpHeader, Tag, ip_header
from .ports import cannot_receive, entity_port, entity_uplink, link_up
from .reasons import Refused
from .state import MirrorState, View
from .team import is_blocked
from .vlan import InVlan

RESERVED = bytes.fromhex("0180c20000")
TUNNELS = {"stt": (TCP, (7471,)), "vxlan": (UDP, (4789, 8472)), "geneve": (UDP, (6081,))}


@dataclass(frozen=True)
class Selection:
    """Where a session selected a frame; `out`: on its way out (E-4)."""

    port: Port
    out: bool


@dataclass(frozen=True)
class Copy:
    """What a session hands over: the port (or, at an uplink, its NIC) and the bytes."""

    port: Port
    frame: bytes


class Mirrors:
    """The sessions of a switch and one frame. M-1: each selects it at most once, ingress before egress."""

    def __init__(self, view: View, ingress: Port) -> None:
        self.view = view
        self.ingress = ingress
        self.sessions = [session for session in view.switch.mirror_sessions if session.runs]
        self.selected: dict[str, Selection] = {}

    def select(self, port: Port, way: InVlan, out: bool) -> None:
        """P-1, M-2: at the ingress, and then at each delivery of kind `frame` or `promiscuous`, by port number."""
        for session in self.sessions:
            if session.session_id not in self.selected and self._is_source(session, port, way, out):
                self.selected[session.session_id] = Selection(port, out)

    def _is_source(self, session: MirrorSession, port: Port, way: InVlan, out: bool) -> bool:
        destination = way.frame.destination
        if session.type == "rmirror_src" and destination[:5] == RESERVED and destination[5] < 16:
            return False  # M-6
        if session.all_uplinks and port.is_uplink:
            return True
        wild = session.wild_out if out else session.wild_in
        if port.is_uplink:
            if "pnic" in wild:
                return True
        elif port.client is not None:
            if ("vmm" if port.client.type == "vnic" else "tcpip") in wild:
                return True
        entities = session.sources_out if out else session.sources_in
        return any(self._names(session, entity, port, way.vlan) for entity in entities)

    def _names(self, session: MirrorSession, entity: Entity, port: Port, vlan: int) -> bool:
        if entity.kind == "vlan":
            return int(entity.value) == vlan and (port.is_uplink or session.type != "rmirror_dst")  # M-6
        if entity.kind == "uplink":
            return entity_uplink(self.view, entity.value) == port
        return entity_port(self.view, entity.kind, entity.value) == port

    # ---- copies -----------------------------------------------------------------------------------------------------

    def copies(self, way: InVlan) -> list[Copy]:
        """By session and destination; counts (M-12)."""
        made: list[Copy] = []
        for session in self.sessions:
            selection = self.selected.get(session.session_id)
            if selection is not None:
                made += self._copies_of(session, selection, way)
        return made

    def _copies_of(self, session: MirrorSession, selection: Selection, way: InVlan) -> list[Copy]:
        state = self.view.state.of_mirror(session.session_id)
        targets = [target for target in map(self._target, session.destinations) if target is not None]
        if not targets:
            return []  # M-11: counts in nothing
        if not self._passes(session, selection, way, state):
            self._count(state, "discardedPkts")
            return []
        frame, cut = mirrored_bytes(session, way)
        made = []
        for entity, port in targets:
            try:
                made.append(self._copy(session, selection, way, entity, port, frame, cut))
                self._count(state, "mirrorPktCnt")
            except Refused:
                self._count(state, "mirrorPktFailCnt")
        self._count(state, "mirroredPkts" if made else "failedPkts")
        return made

    def _count(self, state: MirrorState, counter: str) -> None:
        if self.view.host.options.AllowMirrorStats:
            state.counters[counter] += 1

    def _target(self, entity: Entity) -> tuple[Entity, Port | None] | None:
        """M-11: None if the destination takes no part. An address has no port."""
        if entity.kind == "ip":
            return entity, None
        if entity.kind == "uplink":
            port = entity_uplink(self.view, entity.value)
            return (entity, port) if port else None
        port = entity_port(self.view, entity.kind, entity.value)
        return (entity, port) if port is not None and port != self.ingress else None

    def _copy(self, session: MirrorSession, selection: Selection, way: InVlan, entity: Entity, port: Port | None,
              frame: bytes, cut: bool) -> Copy:
        """Raises Refused for a copy that fails."""
        if port is None:
            outer, uplink = encapsulation.encapsulate(
                self.view, session, entity.value, frame,
                encapsulation.Selected(selection.port.number, selection.out, way.vlan, cut))
            return Copy(uplink, outer)
        if port.is_uplink:
            if port.nic is None or not link_up(self.view, port) or is_blocked(port):
                raise Refused("failed", "M-11")
        elif cannot_receive(self.view, port):
            raise Refused("failed", "M-11")
        return Copy(port, frame)

    def _passes(self, session: MirrorSession, selection: Selection, way: InVlan, state: MirrorState) -> bool:
        """M-8, M-9, then M-5."""
        header = ip_header(way.frame)
        if selection.port.is_uplink and not uplink_filter(session.uplink_filter, header):
            return False
        if not filter_rules(session.rules, header):
            return False
        number = state.seen
        state.seen += 1
        return session.sampling_rate <= 1 or number % session.sampling_rate == 0


def uplink_filter(kind: str, header: IpHeader | None) -> bool:
    """M-8."""
    found = ""
    if header is not None and header.ports is not None:
        for name, (protocol, ports) in TUNNELS.items():
            if header.protocol == protocol and header.ports[1] in ports:
                found = name
    if kind in ("none", "type_max"):
        return True
    if kind == "normal":
        return not found
    return bool(found) if kind == "all_encap" else found == kind


def filter_rules(rules: tuple[FilterRule, ...], header: IpHeader | None) -> bool:
    """M-9: the first that matches decides."""
    for rule in rules:
        if _matches(rule, header):
            return rule.mirror
    return not any(rule.mirror for rule in rules)


def _matches(rule: FilterRule, header: IpHeader | None) -> bool:
    if header is None:
        return not (rule.sources or rule.destinations or rule.protocol is not None or rule.source_ports
                    or rule.destination_ports)
    if rule.sources and not _in_prefixes(rule.sources, header.source):
        return False
    if rule.destinations and not _in_prefixes(rule.destinations, header.destination):
        return False
    if rule.protocol is not None and rule.protocol != header.protocol:
        return False
    for wanted, index in ((rule.source_ports, 0), (rule.destination_ports, 1)):
        if wanted and (header.ports is None or not wanted[0] <= header.ports[index] <= wanted[1]):
            return False
    return True


def _in_prefixes(prefixes: tuple[str, ...], packed: bytes) -> bool:
    found = ipaddress.ip_address(packed)
    networks = [ipaddress.ip_network(prefix, strict=False) for prefix in prefixes]
    return any(found.version == network.version and found in network for network in networks)


def mirrored_bytes(session: MirrorSession, way: InVlan) -> tuple[bytes, bool]:
    """M-10: the copy, and whether it was cut."""
    tag = Tag(way.vlan, way.pcp, way.dei) if session.original_vlan and way.vlan else None
    frame = way.frame.bytes(tag)
    cut = False
    if session.snap_length:
        kept = frame[:max(session.snap_length, 14)]
        cut, frame = len(kept) < len(frame), kept
    if session.encapsulate and session.encap_vlan:
        frame = frame[:12] + Tag(session.encap_vlan).bytes() + frame[12:]
    return frame, cut


