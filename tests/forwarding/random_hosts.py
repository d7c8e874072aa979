"""Random hosts, in the form of the model's document, and random frames for them; the same seed gives the same ones.

    document = random_host(seed)
    for endpoint, frame, now in random_traffic(seed, document, 200): ...
    document, port, changes = random_change(random, document)

By default a host is one that a boot description can ask for (`boot.description`): no zombies, no port in a private
VLAN that the map lacks. Its time begins at START, and traffic never goes more than LONGEST microseconds further, so
that nothing periodic happens meanwhile: that is not what is compared.
"""

import copy
from collections.abc import Iterator
from dataclasses import dataclass
from random import Random
from typing import Any, TypeVar

import random_frames

T = TypeVar("T")
Document = dict[str, Any]
Endpoint = tuple[str, str] | str

START = 1_700_000_011_000_000  # 1 s behind a multiple of 30 s, 11 s behind one of 125 s
LONGEST = 25_000_000
VLANS = (0, 10, 20, 30)
PRIVATE = (
    (100, 100, "promiscuous"), (100, 101, "isolated"), (100, 102, "community"), (100, 103, "community"),
    (200, 200, "promiscuous"), (200, 202, "community"),
)
CRITERIA = ("link_speed", "link_speed_gte", "link_duplex", "lacp_port_down", "link_err", "link_state", "port_blocked",
            "drv_present")
TEAM_FLAGS = ("all_available", "reverse", "best_effort", "rolling", "shotgun", "notify_switch", "block_output",
              "lacp_client", "lst")
GROUPS = ("239.1.1.1", "239.1.1.2", "232.5.5.5", "ff0e::1", "ff05::1:3")
SOURCES = ("192.0.2.1", "198.51.100.7", "2001:db8::1", "fe80::5")


def client_mac(number: int) -> str:
    return f"02:00:00:00:01:{number & 0xff:02x}"


@dataclass
class Generator:
    """Makes one host. `rare` is how often unusual settings stand."""

    random: Random
    bootable: bool
    rare: float

    def chance(self, share: float) -> bool:
        return self.random.random() < share

    def odd(self) -> bool:
        return self.chance(self.rare)

    def some(self, values: "tuple[T, ...] | list[T]", share: float) -> list[T]:
        return [value for value in values if self.chance(share)]

    # ---- the host ---------------------------------------------------------------------------------------------------

    def host(self) -> Document:
        nics = [self.nic(number) for number in range(self.random.choice((0, 1, 2, 3, 3, 4)))]
        free = [nic["name"] for nic in nics]
        self.random.shuffle(free)
        switches: list[Document] = []
        number = 1
        for index in range(self.random.choice((1, 1, 1, 2))):
            switch = self.switch(index, number, free)
            number += len(switch["ports"])
            switches.append(switch)
        return {"options": self.options(), "nics": nics, "switches": switches, "stacks": self.stacks()}

    def options(self) -> Document:
        return {
            "ReversePathFwdCheck": int(not self.chance(0.2)),
            "ReversePathFwdCheckPromisc": int(self.chance(0.3)),
            "AllowFastPath": int(not self.odd()),
            "AllowMirrorStats": int(not self.odd()),
            "TeamingNUMAAware": int(self.chance(0.2)),
            "IGMPV3MaxSrcIPNum": self.random.choice((1, 2, 10)),
            "MLDV2MaxSrcIPNum": self.random.choice((1, 2, 10)),
        }

    def stacks(self) -> Document:
        made: Document = {}
        for name in ("default", "mirror"):
            if self.chance(0.5):
                made[name] = {"ipv4": f"192.0.2.{self.random.randrange(1, 255)}", "vlan": self.random.choice((0, 10)),
                              "ttl": self.random.randrange(1, 256), "dscp": self.random.randrange(64),
                              "ipv6": "2001:db8::99", "gateway_mac": "02:76:73:00:ff:01"}
        return made

    def nic(self, number: int) -> Document:
        return {
            "name": f"nic{number}",
            "mac": f"02:00:00:00:00:{number + 1:02x}",
            "speed": self.random.choice((10000, 10000, 1000, 25000)),
            "duplex": self.random.choice(("full", "full", "full", "half")),
            "carrier": not self.odd(),
            "numa_node": self.random.choice((0, 0, 1)),
            "errors": self.random.choice((0, 0, 5, 50)),
        }

    def switch(self, index: int, number: int, free: list[str]) -> Document:
        private = self.chance(0.35)
        uplinks: list[Document] = []
        for _ in range(self.random.choice((0, 1, 2, 2, 3, 4))):
            nic = free.pop() if free and not self.odd() else None
            uplinks.append(self.uplink(index, number + len(uplinks), nic))
        names = [port["uplink"] for port in uplinks]
        teams = [dict(self.team(names), name=f"logical{n}") for n in range(2)] if self.chance(0.2) else []
        ports = [self.port(number + len(uplinks) + n, names, teams, private, index)
                 for n in range(self.random.randrange(2, 8))]
        switch: Document = {
            "alias": f"sw{index}",
            "switch_id": f"id {index}",
            "portset": index + 1,
            "proxy_state": int(self.chance(0.02)),
            "forwarding_disabled": self.chance(0.02),
            "mtu": self.random.choice((1500, 1500, 9000, 1280)),
            "multicast_mode": self.random.choice(("legacy", "legacy", "igmp", "mld", "snooping", "snooping")),
            "user_multicast": self.some(random_frames.GROUP_MACS, 0.15),
            "mac_settings": {
                "aging_time": self.random.choice((0, 3, 600)), "limit": self.random.choice((65536, 65536, 2)),
                "learn_static": self.chance(0.2), "static_allowed": not self.odd(),
            },
            "private_vlans": [{"primary": p, "secondary": s, "type": t} for p, s, t in PRIVATE] if private else [],
            "team": self.team(names) if names and self.chance(0.7) else None,
            "logical_teams": teams,
            "lags": self.lags(names),
            "ports": uplinks + ports,
        }
        self.addresses(switch)
        switch["mirror_sessions"] = self.sessions(switch) if self.chance(0.4) else []
        return switch

    def uplink(self, index: int, number: int, nic: str | None) -> Document:
        name = f"uplink{index}-{number}"
        port: Document = {
            "number": number, "dvport_id": f"u{number}", "uplink": nic or name, "nic": nic,
            "block": self.odd() and self.odd(), "not_ready_block": self.odd() and self.odd(),
        }
        if self.chance(0.25):
            port["vlan"] = self.random.choice((
                {"mode": "trunk", "vlan": self.random.choice(VLANS), "ranges": []},
                {"mode": "trunk", "vlan": self.random.choice((0, 10, 4095)), "ranges": [[0, 10], [20, 25], [100, 110]]},
                {"mode": "access", "vlan": self.random.choice(VLANS)},
            ))
        if self.chance(0.2):
            port["nested_tag"] = self.chance(0.5)
        if self.odd():
            port["mac_management"] = {"limit": self.random.choice((0, 1, 2)),
                                      "at_limit": self.random.choice(("allow", "drop"))}
        return port

    # ---- ports ------------------------------------------------------------------------------------------------------

    def port(self, number: int, uplinks: list[str], teams: list[Document], private: bool, index: int) -> Document:
        port: Document = {
            "number": number, "dvport_id": f"p{number}",
            "client": None if self.odd() else self.client(number),
            "vlan": self.vlan(private),
            "priority": self.random.randrange(8), "retain_priority": self.chance(0.5),
            "nested_tag": self.chance(0.35),
            "security": {"disallow_promisc": self.chance(0.2), "disallow_mac_change": self.chance(0.2),
                         "disallow_forged_src": self.chance(0.3)},
            "extra_filter": {"flags": self.some(("unicast", "multicast", "allmulti", "broadcast", "promisc",
                                                 "use_ladrf", "sink"), 0.08),
                             "addresses": self.some(random_frames.GROUP_MACS, 0.15)},
            "user_multicast": self.some(random_frames.GROUP_MACS, 0.15),
            "user_multicast_override": self.chance(0.2),
            "tx_uplink": self.chance(0.15), "block": self.odd() and self.odd(),
            "not_ready_block": self.odd() and self.odd(),
        }
        if self.chance(0.6):
            port["mac_management"] = {
                "change_allowed": not self.chance(0.15), "learning": self.chance(0.7), "flooding": self.chance(0.5),
                "limit": self.random.choice((4096, 4096, 0, 1, 2)),
                "at_limit": self.random.choice(("allow", "drop")),
            }
        if uplinks and self.chance(0.2):
            port["team"] = self.team(uplinks)
        if uplinks and self.chance(0.1):
            port["tied_to"] = self.random.choice(uplinks)
        if teams and self.chance(0.5):
            port["logical_team"] = self.random.choice(teams)["name"]
        if not self.bootable and self.odd():
            port["zombie"] = port["client"] is not None
        return port

    def vlan(self, private: bool) -> Document:
        if private and self.chance(0.6):
            own = self.random.choice([secondary for _, secondary, _ in PRIVATE] + ([] if self.bootable else [77]))
            return {"mode": "private", "vlan": own, "set_priority": self.chance(0.2)}
        if self.chance(0.6):
            return {"mode": "access", "vlan": self.random.choice(VLANS + ((101, 100) if private else (10,))),
                    "set_priority": self.chance(0.2)}
        ranges = self.random.choice(([], [], [[10, 10]], [[0, 10], [20, 30]], [[20, 4094]], [[100, 102]]))
        return {"mode": "trunk", "vlan": self.random.choice((0, 0, 10, 4095)), "ranges": ranges,
                "set_priority": self.chance(0.2)}

    def client(self, number: int) -> Document:
        mac = client_mac(number) if not self.odd() else self.random.choice((None, client_mac(number - 1)))
        client: Document = {
            "name": f"client {number}", "type": self.random.choice(("vnic", "vnic", "tcpip")), "mac": mac,
            "effective_mac": mac, "promiscuous": self.chance(0.12), "link": not self.odd(),
            "router": self.chance(0.12), "numa_node": self.random.choice((0, 1)),
            "groups": [self.group(address) for address in self.some(GROUPS, 0.2)],
            "multicast_macs": self.some(random_frames.GROUP_MACS, 0.1),
        }
        if self.chance(0.12):
            client["effective_mac"] = f"02:00:00:00:02:{number & 0xff:02x}"
        return client

    def group(self, address: str) -> Document:
        sources = [source for source in self.some(SOURCES, 0.3) if (":" in source) == (":" in address)]
        mode = self.random.choice(("include", "exclude")) if sources else "include"
        return {"address": address, "sources": sources, "mode": mode}

    def addresses(self, switch: Document) -> None:
        """Addresses by hand and learned ones, at some ports of the switch; learned ones within the limits."""
        def learns(port: Document) -> bool:
            return bool(port.get("client") and port.get("mac_management", {}).get("learning"))

        room = switch["mac_settings"]["limit"]
        for port in switch["ports"]:
            tail = f"{port['number'] & 0xff:02x}"
            if switch["mac_settings"]["static_allowed"] and self.odd():
                port["user_macs"] = [{"mac": f"02:00:00:00:03:{tail}", "vlan": self.random.choice((0, 10, 100)),
                                      "since": START}]
            limit = port.get("mac_management", {}).get("limit", 4096)
            blocked = port["block"] or port["not_ready_block"]
            if blocked or limit <= len(port.get("user_macs", [])) or not self.chance(0.3):
                continue
            if any(map(learns, switch["ports"])) if port.get("uplink") else learns(port) and room > 0:
                room -= not port.get("uplink")
                port["learned"] = [{"mac": f"02:00:00:00:04:{tail}", "vlan": self.random.choice((0, 10, 20, 100)),
                                    "seen": START // 1_000_000 - self.random.randrange(3), "aging": not self.odd()}]

    # ---- teams, LAGs, mirror sessions -------------------------------------------------------------------------------

    def team(self, uplinks: list[str]) -> Document:
        names = self.random.sample(uplinks, self.random.randrange(len(uplinks) + 1)) if self.odd() else uplinks[:]
        self.random.shuffle(names)
        split = len(names) if self.chance(0.6) else self.random.randrange(min(1, len(names)), len(names) + 1)
        criteria = ["link_state"] if self.chance(0.6) else self.some(CRITERIA, 0.25)
        return {
            "balance": self.random.choice(("none", "ip", "ip", "srcmac", "srcid", "explicit", "lbt")),
            "criteria": criteria,
            "flags": self.some(TEAM_FLAGS, 0.06),
            "active": names[:split], "standby": names[split:],
            "speed": self.random.choice((1000, 10000)), "full_duplex": self.chance(0.7),
            "percent_error": self.random.choice((0, 5, 10)),
        }

    def lags(self, uplinks: list[str]) -> list[Document]:
        if len(uplinks) < 2 or not self.chance(0.35):
            return []
        members = self.random.sample(uplinks, self.random.randrange(1, len(uplinks) + 1))
        return [{"name": "lag1", "members": members, "up": [name for name in members if not self.chance(0.15)],
                 "hash": self.random.choice(("l2", "l2+3", "l3+4", "vlan+srcmac"))}]

    def sessions(self, switch: Document) -> list[Document]:
        return [self.session(switch, f"session{number}") for number in range(self.random.choice((1, 1, 2)))]

    def entity(self, switch: Document, kinds: tuple[str, ...]) -> Document | None:
        kind = self.random.choice(kinds)
        ports = [port for port in switch["ports"] if not port.get("uplink")]
        uplinks = [port for port in switch["ports"] if port.get("uplink")]
        if kind == "uplink":
            return {"kind": kind, "value": self.random.choice(uplinks)["uplink"]} if uplinks else None
        if kind == "vlan":
            return {"kind": kind, "value": str(self.random.choice(VLANS + (101,)))}
        if kind == "ip":
            return {"kind": kind, "value": self.random.choice(("198.51.100.9", "2001:db8::9"))}
        port = self.random.choice(ports)
        mac = (port.get("client") or {}).get("effective_mac") or "02:00:00:00:09:09"
        return {"kind": kind, "value": {"dvport": port["dvport_id"], "port": str(port["number"]), "mac": mac}[kind]}

    def entities(self, switch: Document, kinds: tuple[str, ...], most: int) -> list[Document]:
        found: list[Document] = []
        for _ in range(self.random.randrange(most + 1)):
            entity = self.entity(switch, kinds)
            if entity and entity not in found:
                found.append(entity)
        return found

    def session(self, switch: Document, identifier: str) -> Document:
        named = ("dvport", "port", "mac")
        kind = self.random.choice(("mixdst", "dvport", "rmirror_src", "rmirror_dst", "ermirror_src"))
        to = {"mixdst": named + ("uplink", "ip"), "dvport": named, "rmirror_src": ("uplink",), "rmirror_dst": named,
              "ermirror_src": ("ip",)}[kind]
        sources = ("vlan",) if kind == "rmirror_dst" else named + ("uplink", "vlan")
        wild = ("vmm", "pnic", "cos", "tcpip", "test")
        return {
            "session_id": identifier, "type": kind, "enabled": not self.odd(),
            "destinations": self.entities(switch, to, 2),
            "sources_in": self.entities(switch, sources, 3), "sources_out": self.entities(switch, sources, 3),
            "wild_in": self.some(wild, 0.1), "wild_out": self.some(wild, 0.1),
            "no_output": self.chance(0.2), "no_input": self.chance(0.2), "original_vlan": self.chance(0.4),
            "encapsulate": self.chance(0.4), "all_uplinks": self.chance(0.15),
            "snap_length": self.random.choice((0, 0, 10, 40)), "encap_vlan": self.random.choice((0, 30)),
            "sampling_rate": self.random.choice((0, 1, 2, 3)),
            "uplink_filter": self.random.choice(("none", "none", "normal", "vxlan", "geneve", "stt", "all_encap")),
            "rules": self.rules() if self.chance(0.3) else [],
            "stack": self.random.choice((0, 1)), "encapsulation": self.random.choice(("gre", "erspan2", "erspan3")),
            "gre_key": self.random.choice((0, 1234)), "erspan_id": self.random.randrange(1024),
            "erspan_cos": self.random.randrange(8), "erspan_gra": self.random.randrange(4),
        }

    def rules(self) -> list[Document]:
        return [{
            "mirror": self.chance(0.6),
            "sources": self.some(("192.0.2.0/24", "2001:db8::/32"), 0.3),
            "destinations": self.some(("198.51.100.0/25", "ff00::/8"), 0.2),
            "protocol": self.random.choice((None, None, 6, 17)),
            "source_ports": self.random.choice((None, None, [1000, 2000])),
            "destination_ports": self.random.choice((None, None, [53, 6081])),
        } for _ in range(self.random.choice((1, 2)))]


def random_host(seed: int, bootable: bool = True) -> Document:
    """A document for Model.from_json and boot.description."""
    random = Random(f"host {seed}")
    return Generator(random, bootable, random.choice((0.0, 0.0, 0.03, 0.06, 0.12))).host()


def endpoints(document: Document) -> list[Endpoint]:
    """Ports that are none of an uplink, NICs behind uplinks (twice: to be chosen more often), another NIC."""
    ports: list[Endpoint] = [(switch["alias"], port["dvport_id"]) for switch in document["switches"]
                             for port in switch["ports"] if not port.get("uplink")]
    behind: list[Endpoint] = [port["nic"] for switch in document["switches"] for port in switch["ports"]
                              if port.get("nic")]
    unbound: list[Endpoint] = [nic["name"] for nic in document["nics"] if nic["name"] not in behind]
    return ports + 2 * behind + unbound[:1]


def random_traffic(seed: int, document: Document, count: int) -> Iterator[tuple[Endpoint, bytes, int]]:
    """Endpoint, frame and time of `count` frames; times never go back."""
    random = Random(f"traffic {seed}")
    frames = random_frames.Frames(random, document)
    now = START
    for _ in range(count):
        if random.random() < 0.1:
            now = min(now + random.choice((1000, 400_000, 1_000_000, 3_500_000)), START + LONGEST)
        endpoint = random.choice(endpoints(document))
        yield endpoint, frames.frame(endpoint, now), now


def random_change(random: Random, document: Document) -> tuple[Document, tuple[str, str], Document] | None:
    """A change of the run-time state of a client: the document afterwards, the port, and the changes as `set_client` of
    the simulated host takes them. None: the host has no client."""
    changed = copy.deepcopy(document)
    ports = [(switch["alias"], port) for switch in changed["switches"] for port in switch["ports"]
             if port.get("client") and not port.get("zombie")]
    if not ports:
        return None
    alias, port = random.choice(ports)
    client = port["client"]
    possible: list[Document] = [
        {"mac": None}, {"mac": f"02:00:00:00:02:{port['number'] & 0xff:02x}"}, {"mac": client_mac(port["number"] + 1)},
        {"promiscuous": random.random() < 0.5}, {"link": False}, {"link": True},
        {"multicast_macs": random.sample(random_frames.GROUP_MACS, 2)},
    ]
    changes = random.choice(possible)
    for name, value in changes.items():
        if name == "mac":
            client["effective_mac"] = value or client["mac"]
        else:
            client[name] = value
    return changed, (alias, port["dvport_id"]), changes
