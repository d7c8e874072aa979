"""One frame's way through a switch, step by step."""

from . import addresses, multicast, ports, team, vlan
from .configuration import Port
from .frame import Frame, parse, payload_length
from .mirror import Mirrors
from .multicast import Message
from .reasons import NOBODY, Refused
from .state import LEGACY_PROMISCUOUS, Delivery, Drop, Place, Result, Step, View
from .team import Team
from .vlan import InVlan

RESERVED = bytes.fromhex("0180c20000")
SLOW_PROTOCOLS = bytes.fromhex("0180c2000002")
BEACON_TYPE, BEACON_MAGIC, BEACON_LENGTH = 0x8922, b"VSB1", 90


class Way:
    """The way of one frame that comes in at a port."""

    def __init__(self, view: View, ingress: Port, data: bytes) -> None:
        self.view = view
        self.switch = view.switch
        self.options = view.host.options
        self.ingress = ingress
        self.data = data
        self.counters = view.state.of_port(ingress.number)
        self.mirrors = Mirrors(view, ingress)
        self.deliveries: list[Delivery] = []
        self.drops: list[tuple[int, Drop]] = []
        self.given: dict[int, tuple[Port, str, bytes]] = {}
        self.steps: list[Step] = []
        self.consumed = False
        self.found: addresses.Found | None = None
        self.message: Message | None = None

    def run(self) -> Result:
        try:
            way = self.enter()
            if way is not None:
                self.forward(way)
        except Refused as refused:
            self.drop_in(refused)
        return self.result

    # ---- steps 1 to 8 -----------------------------------------------------------------------------------------------

    def enter(self) -> InVlan | None:
        """Steps 1 to 4. None: the frame was consumed. Raises Refused."""
        self.gate()
        if len(self.data) < 14:
            raise Refused("runt", "P-7")
        self.count("In", self.ingress, self.data)  # C-2
        if not self.options.AllowFastPath:
            self.counters["pktsInException"] += 1
        frame = self.parsed()
        self.sender(frame)
        if self.consumed:
            if self.options.AllowFastPath:  # a frame counts once
                self.counters["pktsInException"] += 1
            return None
        return vlan.classify(self.switch, self.ingress, frame)  # 4 VLAN

    def gate(self) -> None:
        """1, P-6."""
        port = self.ingress
        if self.switch.portset is None or self.switch.proxy_state == 1:
            raise Refused("no-portset", "P-6")
        if self.switch.forwarding_disabled:
            raise Refused("forwarding-disabled", "P-6")
        if port.zombie:
            raise Refused("zombie-port", "X-5")
        if port.client is None and not port.is_uplink:
            raise Refused("no-client", "X-5")
        if not ports.link_up(self.view, port):
            raise Refused("link-down", "X-3")
        if team.is_blocked(port):
            raise Refused("port-blocked", "X-4")

    def parsed(self) -> Frame:
        """2, P-7."""
        frame = parse(self.data)
        if frame is None:
            raise Refused("malformed", "P-7")
        if payload_length(self.data) > self.switch.mtu:
            raise Refused("too-long", "X-1")
        if frame.source[0] & 1 or not any(frame.source):
            raise Refused("bad-source", "P-7")
        return frame

    def sender(self, frame: Frame) -> None:
        """3."""
        port = self.ingress
        if not port.is_uplink:
            if ports.is_mirror_destination(self.view, port, "no_input"):
                raise Refused("mirror-destination", "M-3")
            if ports.forged(port, frame):
                raise Refused("forged-source", "S-2")
            return
        if frame.destination == SLOW_PROTOCOLS and frame.tag is None and frame.inner_type == 0x8809:
            self.consume("L-1")
        elif self.is_own_beacon(frame):
            self.consume("BC-1")
        elif team.lag_of(self.view, port) is not None and not team.lacp_up(self.view, port):
            raise Refused("lacp-down", "L-6")

    def is_own_beacon(self, frame: Frame) -> bool:
        """BC-1: one of this switch."""
        identifier = self.switch.switch_id.encode().ljust(64, b"\0")
        return (frame.is_broadcast and frame.tag is None and frame.inner_type == BEACON_TYPE
                and len(self.data) == BEACON_LENGTH and self.data[14:18] == BEACON_MAGIC
                and self.data[22:86] == identifier)

    def consume(self, rule: str) -> None:
        self.consumed = True
        self.steps.append(Step(rule, self.view.place(self.ingress), "consumed"))

    def forward(self, way: InVlan) -> None:
        """Steps 5 to 12."""
        self.mirrors.select(self.ingress, way, out=False)  # 5, P-1
        learned = False
        try:
            self.control(way.frame)
            self.reverse_path(way)
            addresses.learn(self.view, self.ingress, way)  # 8
            learned = True
            self.receivers(way)
        except Refused as refused:
            self.drop_in(refused)
        if learned:
            self.promiscuous_copies(way)
        self.hand_over(way)

    def control(self, frame: Frame) -> None:
        """6."""
        if frame.destination[:5] == RESERVED and frame.destination[5] < 16:
            raise Refused("reserved-address", "MAC-10")
        self.message = multicast.look_at(self.view, self.ingress, frame)
        if self.message is not None and self.options.AllowFastPath:
            self.counters["pktsInException"] += 1

    def reverse_path(self, way: InVlan) -> None:
        """7, T-4."""
        if not self.ingress.is_uplink or not self.options.ReversePathFwdCheck:
            return
        source = way.frame.source
        if addresses.is_static_at_client_port(self.view, source, way.vlan):
            raise Refused("reflected", "T-4")
        port = addresses.learned_at_client_port(self.view, source, way.vlan)
        if port is not None and self.ingress.number not in team.receives_from(self.view, port):
            raise Refused("reflected", "T-4")

    # ---- steps 9 to 11 ----------------------------------------------------------------------------------------------

    def receivers(self, way: InVlan) -> None:
        """Raises Refused if nobody receives the frame."""
        if way.frame.is_group:
            self.flood(way, list(self.switch.client_ports), "no-receiver", "V-5")
            return
        self.found = addresses.look_up(self.view, way.frame.destination, way.vlan)
        if self.found is None:  # MAC-5
            flooded = [port for port in self.switch.client_ports if ports.floods(port)]
            self.flood(way, flooded, "unknown-unicast", "MAC-5")
        else:
            self.known(way, self.found.port)

    def flood(self, way: InVlan, candidates: list[Port], nobody: str, rule: str) -> None:
        """Group frames and unknown unicast: S-9, MAC-5, IG-*; P-5 where nobody receives them."""
        refused: dict[str, str] = {}
        received = False
        for port in candidates:
            if port == self.ingress:
                continue
            try:
                self.check_flooded(way, port)
            except Refused as refusal:
                refused.setdefault(refusal.reason, refusal.rule)
                self.steps.append(Step(refusal.rule, self.view.place(port), "refused"))
            else:
                self.give(port, "frame", way)
                received = True
        if not self.ingress.is_uplink and self.switch.uplinks:
            try:
                received = self.to_team(way, known=False) or received
            except Refused as refusal:
                refused.setdefault(refusal.reason, refusal.rule)
        if not received:
            for reason in NOBODY:
                if reason in refused:
                    raise Refused(reason, refused[reason])
            raise Refused(nobody, rule)

    def check_flooded(self, way: InVlan, port: Port) -> None:
        """10: the order of refusals. Reasons that are none of P-5 have no name here."""
        if not vlan.is_member(self.switch, port, way.vlan):
            raise Refused("", "PV-1" if vlan.policy_of(port).mode == "private" else "V-5")
        if way.frame.nested and not vlan.nested_allowed(port):
            raise Refused("", "V-13")
        if way.frame.is_group:
            filtered = multicast.refuses(self.view, port, way.frame, self.message)
            if filtered is not None:
                raise Refused("multicast-filtered", filtered)
        if self.wrong_path(port):
            raise Refused("reverse-path", "T-20")
        if ports.in_violation(port):
            raise Refused("", "S-3")
        if ports.is_mirror_destination(self.view, port, "no_output"):
            raise Refused("", "M-3")
        if ports.cannot_receive(self.view, port):
            raise Refused("", "X-5")

    def wrong_path(self, port: Port) -> bool:
        """T-20: the frame comes from an uplink that the client port does not receive from. T-21: service ports do."""
        if not self.ingress.is_uplink or not self.options.ReversePathFwdCheck or not port.is_client_port:
            return False
        if self.found is not None:
            allowed = team.with_lags(self.view, list(team.team_of(self.view, port).fit))
        else:
            allowed = team.receives_from(self.view, port)
        if self.ingress.number in allowed:
            return False
        if port.client is not None and port.client.router:
            self.view.state.service["rxRpfOverride"] += 1
            return False
        return True

    def known(self, way: InVlan, port: Port) -> None:
        """Known unicast: MAC-6, MAC-11, MAC-12, then step 10."""
        if port == self.ingress:
            raise Refused("same-port", "MAC-6")
        if port.is_uplink:
            if self.ingress.is_uplink:
                raise Refused("uplink-to-uplink", "MAC-11")
            self.to_team(way, known=True)
            return
        if not vlan.is_member(self.switch, port, way.vlan):
            if vlan.policy_of(port).mode == "private":
                raise Refused("private-vlan", "PV-1")
            raise Refused("not-a-member", "MAC-12")
        if way.frame.nested and not vlan.nested_allowed(port):
            self.drop_out(port, "nested-tag", "V-13")
        elif self.wrong_path(port):
            raise Refused("reverse-path", "T-20")
        elif ports.in_violation(port):
            self.drop_out(port, "mac-changed", "S-3")
        elif port.is_client_port and ports.is_mirror_destination(self.view, port, "no_output"):
            self.drop_out(port, "mirror-destination", "M-3")
        elif (reason := ports.cannot_receive(self.view, port)) is not None:
            self.drop_out(port, reason, {"link-down": "X-3", "port-blocked": "X-4"}.get(reason, "X-5"))
        else:
            self.give(port, "frame", way)
        if self.ingress.tx_uplink and not self.ingress.is_uplink and self.switch.uplinks:
            try:
                self.to_team(way, known=True)
            except Refused:
                pass  # S-10: not having an uplink is no drop

    def to_team(self, way: InVlan, known: bool) -> bool:
        """11: whether the frame counts as received, which an `out` drop does. Raises Refused if the team is no receiver
        (T-8, T-13)."""
        port = self.team_port(way.frame)
        found = team.team_of(self.view, port)
        try:
            uplinks = self.chosen(way, port, found)
        except Refused:
            if self.from_service_port:
                self.view.state.service["txErrors"] += 1
            raise
        received = False
        for uplink in uplinks:
            received = self.leave_by(way, uplink, known) or received
        return received

    @property
    def from_service_port(self) -> bool:
        return self.ingress.client is not None and self.ingress.client.router

    def team_port(self, frame: Frame) -> Port:
        """T-21: the port by whose policy the team carries the frame."""
        if not self.from_service_port:
            return self.ingress
        service = self.view.state.service
        service["txFromSrvPort"] += 1
        # As MAC-20 has it, of several the lowest port number.
        first = next((port for port in self.switch.client_ports if ports.address(port) == frame.source), self.ingress)
        service["txUsingSrvPortFRP" if first == self.ingress else "txUsingPktSrcPortFRP"] += 1
        return first

    def chosen(self, way: InVlan, port: Port, found: Team) -> list[Port]:
        """T-1, T-3, T-8, T-13, T-14."""
        if found.has("block_output"):
            raise Refused("team-blocked", "T-13")
        if found.tied and not team.uplink_link(self.view, found.fit[0]):
            raise Refused("no-uplink", "T-8")
        if found.has("shotgun") and self.switch.beacons_undecided and not self.options.TeamingIgnoreShotgun:
            if not found.fit:
                raise Refused("no-uplink", "T-8")
            return list(found.fit)
        uplink = team.choose(self.view, found, port.number, ports.address(port), way.frame, port.moved_to)
        if uplink is None:
            raise Refused("no-uplink", "T-8")
        return [team.carrier(self.view, found, uplink, way.frame, way.vlan)]

    def leave_by(self, way: InVlan, uplink: Port, known: bool) -> bool:
        """T-9, then V-13. Whether this counts as received."""
        if self.view.host.nic(uplink.nic) is None:
            self.drop_out(uplink, "no-nic", "T-9")
        elif not team.uplink_link(self.view, uplink):
            self.drop_out(uplink, "link-down", "T-9")
        elif team.is_blocked(uplink):
            self.drop_out(uplink, "port-blocked", "T-9")
        elif not vlan.is_member(self.switch, uplink, way.vlan):
            self.drop_out(uplink, "vlan-egress", "T-9")
        elif way.frame.nested and not vlan.nested_allowed(uplink):
            if not known:
                return False
            self.drop_out(uplink, "nested-tag", "V-13")
        else:
            self.give(uplink, "frame", way)
        return True

    # ---- step 12 ----------------------------------------------------------------------------------------------------

    def promiscuous_copies(self, way: InVlan) -> None:
        """S-4: what passed step 8, to who would get it as a broadcast."""
        copies = 0
        for port in self.switch.client_ports:
            if port == self.ingress or port.number in self.given or not ports.promiscuous(port):
                continue
            if not vlan.is_member(self.switch, port, way.vlan):
                continue
            if way.frame.nested and not vlan.nested_allowed(port):
                continue
            if (ports.in_violation(port) or ports.is_mirror_destination(self.view, port, "no_output")
                    or ports.cannot_receive(self.view, port)):
                continue
            if self.options.ReversePathFwdCheckPromisc and self.wrong_path(port):
                continue
            self.give(port, "promiscuous", way)
            copies += 1
        if copies and self.options.AllowMirrorStats:
            counters = self.view.state.of_mirror(LEGACY_PROMISCUOUS).counters
            counters["mirrorPktCnt"] += copies
            counters["mirroredPkts"] += 1

    def give(self, port: Port, kind: str, way: InVlan) -> None:
        """A delivery of kind `frame` or `promiscuous`."""
        assert port.number not in self.given and port != self.ingress  # P-4
        self.given[port.number] = port, kind, vlan.leave(port, way)
        if self.ingress.is_uplink and port.client is not None and port.client.router:
            self.view.state.service["rxToSrvPort"] += 1  # T-21

    def hand_over(self, way: InVlan) -> None:
        """Deliveries in the order of API-7, mirror copies behind the frames."""
        for _, (port, kind, data) in sorted(self.given.items()):
            self.mirrors.select(port, way, out=True)  # M-2
            self.deliver(port, kind, data)
        for copy in self.mirrors.copies(way):
            self.deliver(copy.port, "mirror", copy.frame)

    def deliver(self, port: Port, kind: str, data: bytes) -> None:
        place = self.view.place(port)
        self.deliveries.append(Delivery(place, data, kind))
        self.steps.append(Step("C-5", place, "deliver"))
        self.count("Out", port, data)
        if not self.options.AllowFastPath:
            self.view.state.of_port(port.number)["pktsOutException"] += 1

    # ---- counters, drops --------------------------------------------------------------------------------------------

    def count(self, way: str, port: Port, data: bytes) -> None:
        """C-1, C-3."""
        cast = "Broadcast" if data[:6] == b"\xff" * 6 else "Multicast" if data[0] & 1 else "Unicast"
        counters = self.view.state.of_port(port.number)
        counters[f"pkts{way}{cast}"] += 1
        counters[f"bytes{way}{cast}"] += len(data)

    def drop_in(self, refused: Refused) -> None:
        if refused.reason != "mac-limit":  # counted in noLearningDroppedPkts alone
            self.counters["pktsInDropped"] += 1
        self.dropped(-1, self.view.place(self.ingress), refused.reason, "in", refused.rule)

    def drop_out(self, port: Port, reason: str, rule: str) -> None:
        self.view.state.of_port(port.number)["pktsOutDropped"] += 1
        self.dropped(port.number, self.view.place(port), reason, "out", rule)

    def dropped(self, order: int, place: Place, reason: str, stage: str, rule: str) -> None:
        self.drops.append((order, Drop(place, reason, stage, rule)))
        self.steps.append(Step(rule, place, reason))

    @property
    def result(self) -> Result:
        drops = [drop for _, drop in sorted(self.drops, key=lambda item: item[0])]
        return Result(self.deliveries, drops, self.consumed, self.steps)
