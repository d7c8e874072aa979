"""Random frames for a host of random_hosts: addresses, VLANs and groups that mean something there, and all else that
a wire may bring (cut headers, nested tags, wrong checksums, oversize)."""

import ipaddress
from random import Random
from typing import Any

Document = dict[str, Any]
Endpoint = tuple[str, str] | str

GROUP_MACS = ("01:00:5e:01:01:01", "01:00:5e:01:01:02", "33:33:00:00:00:01", "33:33:00:01:00:03",
              "01:00:5e:00:00:05", "09:00:07:00:00:05")
GROUPS = ("239.1.1.1", "239.1.1.2", "232.5.5.5", "224.0.0.5", "224.0.0.1", "ff0e::1", "ff05::1:3", "ff02::1")
SOURCES_4 = ("192.0.2.1", "198.51.100.7", "0.0.0.0", "198.51.100.200")
SOURCES_6 = ("2001:db8::1", "fe80::5", "::")
TAG_TYPES = (b"\x81\x00", b"\x88\xa8", b"\x91\x00")


def mac(text: str) -> bytes:
    return bytes.fromhex(text.replace(":", ""))


def internet_checksum(data: bytes) -> bytes:
    """RFC 1071, by arithmetic modulo 65535."""
    total = int.from_bytes(data + b"\0" * (len(data) % 2), "big")
    return (0xFFFF - total % 0xFFFF if total % 0xFFFF or not total else 0).to_bytes(2, "big")


def group_mac(group: str) -> bytes:
    packed = ipaddress.ip_address(group).packed
    if len(packed) == 4:
        return b"\x01\0\x5e" + (int.from_bytes(packed[1:], "big") & 0x7FFFFF).to_bytes(3, "big")
    return b"\x33\x33" + packed[-4:]


class Frames:
    """Makes frames for the endpoints of a host."""

    def __init__(self, random: Random, document: Document) -> None:
        self.random = random
        self.document = document
        self.clients: dict[Endpoint, bytes] = {}
        self.access: set[Endpoint] = set()
        self.known: dict[Endpoint, list[bytes]] = {}
        self.vlans: dict[Endpoint, list[int]] = {}
        for switch in document["switches"]:
            self.add(switch)
        self.outside = [bytes((2, 0, 0, 0, 5, number)) for number in range(4)]

    def add(self, switch: Document) -> None:
        """Notes what means something on a switch, for each of its endpoints."""
        known: set[str] = {"02:00:00:00:01:01"}
        vlans: set[int] = set()
        here: list[Endpoint] = []
        for port in switch["ports"]:
            client = port.get("client") or {}
            known |= {text for text in (client.get("mac"), client.get("effective_mac")) if text}
            known |= {entry["mac"] for entry in port.get("user_macs", []) + port.get("learned", [])}
            policy = port.get("vlan") or {"mode": "trunk", "vlan": 0}
            vlans |= {policy["vlan"]} | {vlan for both in policy.get("ranges", []) for vlan in both}
            place: Endpoint = (switch["alias"], port["dvport_id"])
            if port.get("uplink"):
                place = port["nic"] or place
            elif client.get("effective_mac"):
                self.clients[place] = mac(client["effective_mac"])
            if policy["mode"] != "trunk":
                self.access.add(place)
            here.append(place)
        for place in here:
            self.known[place] = sorted(map(mac, known))
            self.vlans[place] = sorted(vlans) * 2 + [0, 10, 10, 20, 100, 101, 4094, 4095]

    def frame(self, endpoint: Endpoint, now: int) -> bytes:
        self.here = self.known.get(endpoint, [mac("02:00:00:00:01:01")])
        chance = self.random.random()
        if chance < 0.03:
            return self.random.randbytes(self.random.choice((0, 5, 13, 14, 16, 17, 18, 40)))
        if chance < 0.06 and isinstance(endpoint, str):
            return self.control(now)
        source = self.source(endpoint)
        kind, payload, destination = self.payload()
        whole = destination + source + self.tags(endpoint) + kind + payload
        if self.random.random() < 0.05:
            whole = whole[:self.random.randrange(len(whole) + 1)]
        elif self.random.random() < 0.04:
            whole += bytes(self.random.choice((1200, 1280, 1466, 1500, 9000)) - 36)
        return whole + bytes(max(0, 60 - len(whole)) if self.random.random() < 0.6 else 0)

    def source(self, endpoint: Endpoint) -> bytes:
        own = self.clients.get(endpoint)
        chance = self.random.random()
        if own is not None and chance < 0.7:
            return own
        if chance < 0.85:
            return self.random.choice(self.outside)
        if chance < 0.985:
            return self.random.choice(self.here)
        return self.random.choice((bytes(6), b"\x03\0\0\0\0\1"))

    def destination(self) -> bytes:
        chance = self.random.random()
        if chance < 0.55:
            return self.random.choice(self.here)
        if chance < 0.68:
            return self.random.choice(self.outside)
        if chance < 0.8:
            return b"\xff" * 6
        if chance < 0.95:
            return mac(self.random.choice(GROUP_MACS))
        return bytes.fromhex("0180c20000") + bytes((self.random.randrange(18),))

    def tag(self, endpoint: Endpoint, kind: bytes) -> bytes:
        priority = self.random.choice((0, 0, 0, 1 << 12, 3 << 13, 5 << 13 | 1 << 12))
        return kind + (priority | self.random.choice(self.vlans.get(endpoint, [0, 10]))).to_bytes(2, "big")

    def tags(self, endpoint: Endpoint) -> bytes:
        chance = self.random.random()
        if chance < (0.85 if endpoint in self.access else 0.35):
            return b""
        if chance < 0.94:
            return self.tag(endpoint, TAG_TYPES[0])
        if chance < 0.96:
            return self.tag(endpoint, self.random.choice(TAG_TYPES[1:]))
        return self.tag(endpoint, TAG_TYPES[0]) + self.tag(endpoint, self.random.choice(TAG_TYPES))

    # ---- payloads ---------------------------------------------------------------------------------------------------

    def payload(self) -> tuple[bytes, bytes, bytes]:
        """EtherType, payload, destination."""
        chance = self.random.random()
        if chance < 0.4:
            kind: bytes = self.random.choice((b"\x08\x06", b"\x12\x34", b"\x80\x35"))
            return kind, self.random.randbytes(30), self.destination()
        if chance < 0.72:
            return self.data()
        return self.report() if chance < 0.95 else self.nonsense()

    def data(self) -> tuple[bytes, bytes, bytes]:
        """UDP or TCP to a group or an address."""
        group = self.random.choice(GROUPS) if self.random.random() < 0.5 else None
        version = 6 if (group and ":" in group) or (not group and self.random.random() < 0.4) else 4
        source = self.random.choice(SOURCES_4 if version == 4 else SOURCES_6)
        target = group or ("203.0.113.5" if version == 4 else "2001:db8::f00")
        ports = b"".join(self.random.choice((1000, 2000, 53, 4789, 6081, 7471, 8472)).to_bytes(2, "big")
                         for _ in range(2))
        protocol: int = self.random.choice((6, 17, 17, 1))
        body = ports + self.random.randbytes(16)
        destination = group_mac(group) if group and self.random.random() < 0.9 else self.destination()
        if version == 4:
            options = b"\x94\x04\0\0" if self.random.random() < 0.1 else b""
            fragment = self.random.choice((0, 0, 0, 0, 0x2000, 0x2005, 5, 0x4000))
            return b"\x08\0", self.ipv4(source, target, protocol, body, 64, options, fragment), destination
        chain: list[tuple[int, bytes]] = []
        if self.random.random() < 0.3:
            chain = [(self.random.choice((0, 43, 60)), b"\0" * 6), (44, self.random.choice((0, 1, 8, 9)).to_bytes(
                2, "big") + b"\0\0\0\1")][:self.random.choice((1, 2))]
        return b"\x86\xdd", self.ipv6(source, target, protocol, body, 64, chain), destination

    def ipv4(self, source: str, target: str, protocol: int, body: bytes, ttl: int, options: bytes = b"",
             fragment: int = 0) -> bytes:
        words = (20 + len(options)) // 4
        head = bytes((0x40 | words, 0)) + (words * 4 + len(body)).to_bytes(2, "big") + b"\0\1" + fragment.to_bytes(
            2, "big") + bytes((ttl, protocol))
        ends = ipaddress.ip_address(source).packed + ipaddress.ip_address(target).packed + options
        return head + internet_checksum(head + b"\0\0" + ends) + ends + body

    def ipv6(self, source: str, target: str, protocol: int, body: bytes, hops: int,
             chain: list[tuple[int, bytes]]) -> bytes:
        """`chain`: types of extension headers of 8 bytes and what they have behind their first two."""
        following = [kind for kind, _ in chain] + [protocol]
        extension = b"".join(bytes((after, 0)) + rest for after, (_, rest) in zip(following[1:], chain))
        return (b"\x60\0\0\0" + (len(extension) + len(body)).to_bytes(2, "big") + bytes((following[0], hops))
                + ipaddress.ip_address(source).packed + ipaddress.ip_address(target).packed + extension + body)

    def report(self) -> tuple[bytes, bytes, bytes]:
        """IGMP or MLD: queries, reports, leaves, most of them right."""
        group = self.random.choice(GROUPS[:3] if self.random.random() < 0.5 else GROUPS[5:7])
        spoiled = self.random.random() < 0.12
        lifetime = 1 if self.random.random() < 0.95 else 64
        if ":" not in group:
            source = self.random.choice(SOURCES_4)
            message = self.igmp(ipaddress.ip_address(group).packed)
            message = message[:2] + internet_checksum(message) + message[4:]
            if spoiled:
                message = self.spoil(message)
            target = {0x22: "224.0.0.22", 0x11: "224.0.0.1", 0x17: "224.0.0.2"}.get(message[0] if message else 0, group)
            options = b"\x94\x04\0\0" if self.random.random() < 0.7 else b""
            return b"\x08\0", self.ipv4(source, target, 2, message, lifetime, options), group_mac(target)
        source = self.random.choice(SOURCES_6)
        message = self.mld(ipaddress.ip_address(group).packed)
        target = {143: "ff02::16", 130: "ff02::1", 132: "ff02::2"}.get(message[0], group)
        pseudo = (ipaddress.ip_address(source).packed + ipaddress.ip_address(target).packed
                  + len(message).to_bytes(4, "big") + b"\0\0\0\x3a")
        message = message[:2] + internet_checksum(pseudo + message) + message[4:]
        if spoiled:
            message = self.spoil(message)
        chain = [(0, b"\x05\x02\0\0\1\0")] if self.random.random() < 0.8 else []
        return b"\x86\xdd", self.ipv6(source, target, 58, message, lifetime, chain), group_mac(target)

    def spoil(self, message: bytes) -> bytes:
        if self.random.random() < 0.5:
            return message[:self.random.randrange(len(message))]
        at = self.random.randrange(len(message))
        return message[:at] + bytes((message[at] ^ 1 << self.random.randrange(8),)) + message[at + 1:]

    def records(self, group: bytes, sources: tuple[str, ...]) -> bytes:
        count = self.random.choice((1, 1, 2))
        made = b""
        for _ in range(count):
            named = self.random.sample(sources, self.random.randrange(len(sources) + 1))
            auxiliary = self.random.choice((0, 0, 0, 1))
            made += (bytes((self.random.randrange(1, 8), auxiliary)) + len(named).to_bytes(2, "big") + group
                     + b"".join(ipaddress.ip_address(source).packed for source in named) + bytes(4 * auxiliary))
        return count.to_bytes(2, "big") + made

    def igmp(self, group: bytes) -> bytes:
        kind = self.random.choice((0x11, 0x12, 0x16, 0x16, 0x17, 0x22, 0x22, 0x22, 0x30))
        if kind == 0x22:
            return b"\x22\0\0\0\0\0" + self.records(group, SOURCES_4)
        if kind == 0x11:
            group = self.random.choice((group, bytes(4)))
        return bytes((kind, 100, 0, 0)) + group + (b"\x02\x7d\0\0" if kind == 0x11 else b"")

    def mld(self, group: bytes) -> bytes:
        kind = self.random.choice((130, 131, 131, 132, 143, 143, 143, 151))
        if kind == 143:
            return b"\x8f\0\0\0\0\0" + self.records(group, SOURCES_6)
        if kind == 130:
            group = self.random.choice((group, bytes(16)))
        return bytes((kind, 0, 0, 0)) + b"\x27\x10\0\0" + group

    def nonsense(self) -> tuple[bytes, bytes, bytes]:
        """Headers that are no valid ones, and of the wrong family for their address."""
        kind = self.random.choice((b"\x08\0", b"\x86\xdd"))
        payload = bytes((self.random.choice((0x45, 0x44, 0x4F, 0x60, 0x05)),)) + self.random.randbytes(
            self.random.choice((0, 10, 19, 39, 60)))
        return kind, payload, mac(self.random.choice(GROUP_MACS))

    def control(self, now: int) -> bytes:
        """What uplinks consume, and what nearly looks like it."""
        if self.random.random() < 0.5:
            return bytes.fromhex("0180c2000002") + self.random.choice(self.outside) + b"\x88\x09\1\1" + bytes(108)
        names: list[str] = [switch["switch_id"] for switch in self.document["switches"]]
        identifier = self.random.choice(names + ["other"])
        return (b"\xff" * 6 + self.random.choice(self.outside) + b"\x89\x22VSB1" + (now // 1_000_000).to_bytes(4, "big")
                + identifier.encode().ljust(64, b"\0") + b"\0\0\0\1")
