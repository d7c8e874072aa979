"""Multicast filters: by hardware address in the mode `legacy`, by memberships in those that snoop."""

import zlib
from dataclasses import dataclass

from .configuration import Group, Port
from .frame import HOP_BY_HOP, Frame, checksum, ip_header
from .state import Membership, View

EVERY_CLIENT = (bytes.fromhex("01005e000001"), bytes.fromhex("333300000001"))
SNOOPED = {"legacy": (), "igmp": (4,), "mld": (6,), "snooping": (4, 6)}
ROUTER_SECONDS = 255
MOST_MEMBERSHIPS = 16384
IGMP, ICMPV6 = 2, 58


@dataclass(frozen=True)
class Record:
    """What a report says of a group: `kind` is a record type of IGMPv3 and MLDv2, 0: no source filter, -1: leave."""

    kind: int
    group: bytes
    sources: frozenset[bytes] = frozenset()


@dataclass(frozen=True)
class Message:
    """An IGMP or MLD message that IG-9 accepts. `query`, or else reports and leaves in `records`."""

    ip_version: int
    source: bytes
    query: bool
    version: int
    records: tuple[Record, ...] = ()


def is_group(address: bytes) -> bool:
    return address[0] >> 4 == 14 if len(address) == 4 else address[0] == 0xFF


# ---- messages (IG-9) ------------------------------------------------------------------------------------------------


def message_of(frame: Frame) -> Message | None:
    """None: data, whatever else it is."""
    header = ip_header(frame)
    if header is None:
        return None
    packet = frame.body[2:]
    if header.version == 4:
        length = (packet[0] & 15) * 4
        total = int.from_bytes(packet[2:4], "big")
        if (packet[9] != IGMP or packet[8] != 1 or header.fragmented or checksum(packet[:length]) != 0
                or not length + 8 <= total <= len(packet)):
            return None
        return _igmp(header.source, packet[length:total])
    total = 40 + int.from_bytes(packet[4:6], "big")
    if total > len(packet) or packet[7] != 1:
        return None
    begin, protocol = 40, packet[6]
    if protocol == HOP_BY_HOP:
        if total < 48 or total < 48 + packet[41] * 8:
            return None
        begin, protocol = 48 + packet[41] * 8, packet[40]
    message = packet[begin:total]
    pseudo = header.source + header.destination + len(message).to_bytes(4, "big") + bytes((0, 0, 0, ICMPV6))
    if protocol != ICMPV6 or len(message) < 24 and message[:1] != b"\x8f" or checksum(pseudo + message) != 0:
        return None
    return _mld(header.source, message)


def _igmp(source: bytes, message: bytes) -> Message | None:
    if checksum(message) != 0:
        return None
    kind, group = message[0], message[4:8]
    if kind == 0x11:
        good = is_group(group) or not any(group)
        return Message(4, source, True, 0) if good else None
    if kind == 0x22:
        records = _records(message[8:], int.from_bytes(message[6:8], "big"), 4)
        return None if records is None else Message(4, source, False, 3, records)
    if not is_group(group):
        return None
    if kind in (0x12, 0x16):
        return Message(4, source, False, 1 if kind == 0x12 else 2, (Record(0, group),))
    return Message(4, source, False, 2, (Record(-1, group),)) if kind == 0x17 else None


def _mld(source: bytes, message: bytes) -> Message | None:
    kind = message[0]
    if kind == 143:
        if len(message) < 8:
            return None
        records = _records(message[8:], int.from_bytes(message[6:8], "big"), 16)
        return None if records is None else Message(6, source, False, 2, records)
    group = message[8:24]
    if kind == 130:
        good = is_group(group) or not any(group)
        return Message(6, source, True, 0) if good else None
    if not is_group(group) or kind not in (131, 132):
        return None
    return Message(6, source, False, 1, (Record(0 if kind == 131 else -1, group),))


def _records(data: bytes, count: int, size: int) -> tuple[Record, ...] | None:
    """Group records; None if one is cut short or names no group. Unknown types are skipped (IG-8)."""
    records = []
    for _ in range(count):
        if len(data) < 4 + size:
            return None
        sources = int.from_bytes(data[2:4], "big")
        length = 4 + size + sources * size + data[1] * 4
        if len(data) < length:
            return None
        group = data[4:4 + size]
        if data[0] in range(1, 7):
            if not is_group(group):
                return None
            begin = 4 + size
            records.append(Record(data[0], group, frozenset(
                data[begin + size * index:begin + size * (index + 1)] for index in range(sources))))
        data = data[length:]
    return tuple(records)


# ---- memberships ----------------------------------------------------------------------------------------------------


def forget_old(view: View) -> None:
    """IG-1, IG-6."""
    for key, membership in list(view.state.memberships.items()):
        if view.now >= membership.expires:
            del view.state.memberships[key]
    for number, expires in list(view.state.router_ports.items()):
        if view.now >= expires:
            del view.state.router_ports[number]


def look_at(view: View, ingress: Port, frame: Frame) -> Message | None:
    """Step 6: what the switch snoops, and what follows from it. Reports from uplinks are data."""
    message = message_of(frame)
    if message is None or message.ip_version not in SNOOPED[view.switch.multicast_mode]:
        return None
    if message.query:
        if ingress.is_client_port and any(message.source):
            view.state.router_ports[ingress.number] = view.now + ROUTER_SECONDS * 1_000_000  # IG-1
        return message
    if ingress.is_uplink:
        return None
    for record in message.records:
        _report(view, ingress, message, record)
    return message


def _report(view: View, port: Port, message: Message, record: Record) -> None:
    """IG-6 to IG-8, IG-11."""
    if port.client is not None and any(group.address.packed == record.group for group in port.client.groups):
        return  # IG-6: memberships of X-2 are not changed
    key = (port.number, record.group)
    old = view.state.memberships.get(key)
    mode, sources = _after(old, record)
    if mode == "include" and not sources:
        view.state.memberships.pop(key, None)  # IG-7
        return
    options = view.host.options
    if len(sources) > (options.IGMPV3MaxSrcIPNum if message.ip_version == 4 else options.MLDV2MaxSrcIPNum):
        mode, sources = "exclude", set()
    if old is None and _memberships(view) >= MOST_MEMBERSHIPS:
        return  # IG-11
    seconds = options.IGMPQueries * options.IGMPQueryInterval + 10
    view.state.memberships[key] = Membership(mode, sources, message.version, view.now, view.now + seconds * 1_000_000)


def _after(old: Membership | None, record: Record) -> tuple[str, set[bytes]]:
    """IG-8: mode and sources of a membership after a record."""
    given = set(record.sources)
    if record.kind == -1:
        return "include", set()
    if record.kind == 0:
        return "exclude", set()
    if record.kind in (1, 3):
        return "include", given
    if record.kind in (2, 4):
        return "exclude", given
    if old is None:
        return "include", given if record.kind == 5 else set()
    adds = (record.kind == 5) == (old.mode == "include")
    return old.mode, old.sources | given if adds else old.sources - given


def _memberships(view: View) -> int:
    fixed = sum(len(port.client.groups) for port in view.switch.client_ports if port.client is not None)
    return fixed + len(view.state.memberships)


# ---- the filter -----------------------------------------------------------------------------------------------------


def is_router_port(view: View, port: Port) -> bool:
    """IG-1."""
    return port.number in view.state.router_ports or (port.client is not None and port.client.router)


def refuses(view: View, port: Port, frame: Frame, message: Message | None) -> str | None:
    """The rule by which the filter of a client port refuses a group frame, None if it lets it pass. `message`: what
    step 6 has accepted."""
    if frame.is_broadcast and (message is None or message.query):
        return None  # S-9
    if "allmulti" in port.extra_filter.flags:
        return None  # S-9: in every mode
    if message is not None and not message.query:
        return None if is_router_port(view, port) else "IG-2"
    if view.switch.multicast_mode == "legacy":
        return None if _in_legacy_list(view, port, frame.destination) else "IG-20"
    header = ip_header(frame)
    family = {b"\x01\x00\x5e": 4, b"\x33\x33": 6}
    expected = family.get(frame.destination[:3], family.get(frame.destination[:2]))
    if header is None or header.version != expected:
        return None  # IG-3
    if header.version not in SNOOPED[view.switch.multicast_mode]:
        return None  # IG-5
    if header.destination[:3] == b"\xe0\0\0" if header.version == 4 else header.destination[:2] == b"\xff\x02":
        return None  # IG-3
    if is_router_port(view, port) or _has_joined(view, port, header.destination, header.source):
        return None
    return "IG-4"


def _has_joined(view: View, port: Port, group: bytes, source: bytes) -> bool:
    """IG-4: by IP address, not by its MAC."""
    assert port.client is not None
    for joined in port.client.groups:
        if joined.address.packed == group:
            return _admits(joined, source)
    membership = view.state.memberships.get((port.number, group))
    return membership is not None and membership.admits(source)


def _admits(group: Group, source: bytes) -> bool:
    named = any(address.packed == source for address in group.sources)
    return not group.sources or named == (group.mode == "include")


def group_mac(group: bytes) -> bytes:
    """RFC 1112, RFC 2464."""
    if len(group) == 4:
        return b"\x01\x00\x5e" + bytes((group[1] & 0x7F,)) + group[2:]
    return b"\x33\x33" + group[12:]


def legacy_list(view: View, port: Port) -> list[bytes]:
    """IG-20: the list of VSQEL_GetMcastFilters, each address once."""
    assert port.client is not None
    joined = [group.address.packed for group in port.client.groups]
    joined += [group for number, group in view.state.memberships if number == port.number]
    switch = () if port.user_multicast_override else view.switch.user_multicast
    addresses: list[bytes] = [*port.user_multicast, *switch, *port.extra_filter.addresses]
    addresses += map(group_mac, joined)
    addresses += port.client.multicast_macs
    return list(dict.fromkeys(addresses))


def _in_legacy_list(view: View, port: Port, destination: bytes) -> bool:
    if destination in EVERY_CLIENT or destination in legacy_list(view, port):
        return True
    by_bucket = "use_ladrf" in port.extra_filter.flags
    return by_bucket and bucket(destination) in map(bucket, port.extra_filter.addresses)


def bucket(address: bytes) -> int:
    """S-9."""
    return (zlib.crc32(address) ^ 0xFFFFFFFF) >> 26
