"""Frames that the switch makes itself: queries, beacons, announcements, LACPDUs; their bytes only, not when."""

import ipaddress
from dataclasses import dataclass

from .frame import Tag, checksum

ALL_HOSTS_4, ALL_HOSTS_6 = bytes.fromhex("01005e000001"), bytes.fromhex("333300000001")
ROUTER_ALERT_4, ROUTER_ALERT_6 = b"\x94\x04\0\0", bytes.fromhex("3a00050200000100")
SLOW_PROTOCOLS = bytes.fromhex("0180c2000002")
BROADCAST = b"\xff" * 6


def padded(frame: bytes, tagged: bool = False) -> bytes:
    """V-12."""
    return frame.ljust(64 if tagged else 60, b"\0")


# ---- queries (IG-12) ------------------------------------------------------------------------------------------------


def interval_code(interval: int) -> int:
    """QQIC: the largest code (RFC 3376, 4.1.7) whose value is not above the interval."""
    def value(code: int) -> int:
        return code if code < 128 else (code & 15 | 16) << (code >> 4 & 7) + 3

    return max(code for code in range(256) if value(code) <= interval)


def _tail(queries: int, interval: int) -> bytes:
    return bytes((queries if queries <= 7 else 0, interval_code(interval), 0, 0))


def igmp_query(own_mac: bytes, version: int = 3, queries: int = 2, interval: int = 125, router: str = "0.0.0.0"
               ) -> bytes:
    message = bytes((0x11, 0 if version == 1 else 100, 0, 0)) + bytes(4)
    if version == 3:
        message += _tail(queries, interval)
    message = message[:2] + checksum(message).to_bytes(2, "big") + message[4:]
    head = bytes((0x46, 0xC0)) + (24 + len(message)).to_bytes(2, "big") + b"\0\0\x40\0\x01\x02"
    ends = ipaddress.IPv4Address(router).packed + bytes((224, 0, 0, 1)) + ROUTER_ALERT_4
    packet = head + checksum(head + b"\0\0" + ends).to_bytes(2, "big") + ends + message
    return padded(ALL_HOSTS_4 + own_mac + b"\x08\0" + packet)


def link_local(mac: bytes) -> bytes:
    """fe80::/64 with the modified EUI-64 (RFC 4291)."""
    return b"\xfe\x80" + bytes(6) + bytes((mac[0] ^ 2,)) + mac[1:3] + b"\xff\xfe" + mac[3:]


def mld_query(own_mac: bytes, version: int = 2, queries: int = 2, interval: int = 125, router: str = "::") -> bytes:
    source = ipaddress.IPv6Address(router).packed
    if not any(source):
        source = link_local(own_mac)
    destination = ipaddress.IPv6Address("ff02::1").packed
    message = bytes((0x82, 0, 0, 0)) + (10000).to_bytes(2, "big") + bytes(18)
    if version == 2:
        message += _tail(queries, interval)
    pseudo = source + destination + len(message).to_bytes(4, "big") + b"\0\0\0\x3a"
    message = message[:2] + checksum(pseudo + message).to_bytes(2, "big") + message[4:]
    head = b"\x60\0\0\0" + (8 + len(message)).to_bytes(2, "big") + b"\0\x01"
    return padded(ALL_HOSTS_6 + own_mac + b"\x86\xdd" + head + source + destination + ROUTER_ALERT_6 + message)


# ---- beacons, announcements, LACP -----------------------------------------------------------------------------------


def beacon(nic_mac: bytes, second: int, switch_id: str, port: int) -> bytes:
    """BC-1."""
    return (BROADCAST + nic_mac + b"\x89\x22VSB1" + (second & 0xFFFFFFFF).to_bytes(4, "big")
            + switch_id.encode().ljust(64, b"\0") + port.to_bytes(4, "big"))


def announcement(mac: bytes, tag: int | None) -> bytes:
    """N-1; `tag`: the VLAN of its tag, None for an untagged one."""
    body = bytes.fromhex("80350001080006040003") + mac + bytes(4) + mac + bytes(4)
    return padded(BROADCAST + mac + (Tag(tag).bytes() if tag is not None else b"") + body, tag is not None)


@dataclass(frozen=True)
class LacpEnd:
    """What a LACPDU says of one end. The default: no partner is known, and the receive machine is `defaulted`."""

    system: bytes = bytes(6)
    system_priority: int = 0
    key: int = 0
    port: int = 0
    port_priority: int = 0
    state: int = 0

    def packed(self) -> bytes:
        return (self.system_priority.to_bytes(2, "big") + self.system + self.key.to_bytes(2, "big")
                + self.port_priority.to_bytes(2, "big") + (self.port & 0xFFFF).to_bytes(2, "big")
                + self.state.to_bytes(1, "big") + bytes(3))


def lacpdu(nic_mac: bytes, actor: LacpEnd, partner: LacpEnd) -> bytes:
    """L-1."""
    return (SLOW_PROTOCOLS + nic_mac + b"\x88\x09\x01\x01" + b"\x01\x14" + actor.packed() + b"\x02\x14"
            + partner.packed() + b"\x03\x10" + bytes(14) + bytes(52))
