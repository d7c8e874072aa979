"""Frames taken apart: Ethernet, one outer tag, IP headers, transport ports. P-0 says what the words mean."""

from dataclasses import dataclass, replace

TAG_TYPES = (0x8100, 0x88A8, 0x9100)
BROADCAST = b"\xff" * 6
TCP, UDP = 6, 17
HOP_BY_HOP, ROUTING, FRAGMENT, DESTINATION = 0, 43, 44, 60


@dataclass(frozen=True)
class Tag:
    vid: int
    pcp: int = 0
    dei: int = 0

    def bytes(self) -> bytes:
        return b"\x81\x00" + (self.pcp << 13 | self.dei << 12 | self.vid).to_bytes(2, "big")


@dataclass(frozen=True)
class Frame:
    """`body` is all that stands behind the outer tag: the inner type and the payload."""

    destination: bytes
    source: bytes
    tag: Tag | None
    body: bytes

    @property
    def inner_type(self) -> int:
        return int.from_bytes(self.body[:2], "big")

    @property
    def nested(self) -> bool:
        return self.inner_type in TAG_TYPES

    @property
    def is_group(self) -> bool:
        return bool(self.destination[0] & 1)

    @property
    def is_broadcast(self) -> bool:
        return self.destination == BROADCAST

    @property
    def is_multicast(self) -> bool:
        return self.is_group and not self.is_broadcast  # C-1

    def with_tag_as_payload(self) -> "Frame":
        """V-13, P-0: the tag is no outer tag any more, the inner type is 8100."""
        assert self.tag is not None
        return replace(self, tag=None, body=self.tag.bytes() + self.body)

    def bytes(self, tag: Tag | None) -> bytes:
        """The frame with this outer tag in place of its own."""
        return self.destination + self.source + (tag.bytes() if tag else b"") + self.body


def parse(data: bytes) -> Frame | None:
    """None: the frame is malformed (P-7). It has 14 bytes or more."""
    if data[12:14] == b"\x81\x00":
        if len(data) < 18:
            return None
        tci = int.from_bytes(data[14:16], "big")
        return Frame(data[:6], data[6:12], Tag(tci & 0xFFF, tci >> 13, tci >> 12 & 1), data[16:])
    return Frame(data[:6], data[6:12], None, data[12:])


def payload_length(data: bytes) -> int:
    """X-1: what is compared with the MTU."""
    tags = 0
    while tags < 2 and int.from_bytes(data[12 + 4 * tags:14 + 4 * tags], "big") in TAG_TYPES:
        tags += 1
    return len(data) - 14 - 4 * tags


@dataclass(frozen=True)
class IpHeader:
    """`protocol` is that of the transport, None where the header chain is cut short; `transport` all behind the
    headers; `first` unless a fragment's offset is above 0."""

    version: int
    source: bytes
    destination: bytes
    protocol: int | None
    fragmented: bool
    first: bool
    transport: bytes

    @property
    def ports(self) -> tuple[int, int] | None:
        if self.protocol not in (TCP, UDP) or not self.first or len(self.transport) < 4:
            return None
        return int.from_bytes(self.transport[:2], "big"), int.from_bytes(self.transport[2:4], "big")


def ip_header(frame: Frame) -> IpHeader | None:
    """T-2, IG-3 and their precision: the header behind the outer tag, or None if there is no valid one."""
    packet = frame.body[2:]
    if not packet:
        return None
    if frame.inner_type == 0x0800 and packet[0] >> 4 == 4:
        length = (packet[0] & 15) * 4
        if length < 20 or len(packet) < length:
            return None
        fragment = int.from_bytes(packet[6:8], "big")
        return IpHeader(4, packet[12:16], packet[16:20], packet[9], bool(fragment & 0x3FFF), not fragment & 0x1FFF,
                        packet[length:])
    if frame.inner_type == 0x86DD and packet[0] >> 4 == 6 and len(packet) >= 40:
        return _ipv6(packet)
    return None


def _ipv6(packet: bytes) -> IpHeader:
    protocol: int | None = packet[6]
    rest = packet[40:]
    fragmented, first = False, True
    while protocol in (HOP_BY_HOP, ROUTING, DESTINATION, FRAGMENT) and first:
        length = 8 if protocol == FRAGMENT else (rest[1] + 1) * 8 if len(rest) >= 2 else 8
        if len(rest) < length:
            protocol, rest = None, b""
            break
        if protocol == FRAGMENT:
            fragmented, first = True, not int.from_bytes(rest[2:4], "big") & 0xFFF8
        protocol, rest = rest[0], rest[length:]
    return IpHeader(6, packet[8:24], packet[24:40], protocol, fragmented, first, rest)


def checksum(data: bytes) -> int:
    """The Internet checksum (RFC 1071)."""
    if len(data) % 2:
        data += b"\0"
    total = sum(int.from_bytes(data[at:at + 2], "big") for at in range(0, len(data), 2))
    while total > 0xFFFF:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF
