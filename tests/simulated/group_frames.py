"""IGMP and MLD as scapy makes them, for the tests of multicast, and hosts that snoop."""

import ipaddress
import struct
from typing import Any

import pytest
from hosts import constants, description, mac, setting

from vswitch.simulated import SimulatedHost

pytest.importorskip("scapy.all")
from scapy.contrib.igmp import IGMP  # noqa: E402
from scapy.contrib.igmpv3 import IGMPv3, IGMPv3gr, IGMPv3mr  # noqa: E402
from scapy.layers.inet import IP, UDP, IPOption_Router_Alert  # noqa: E402
from scapy.layers.inet6 import (  # noqa: E402
    ICMPv6MLDMultAddrRec,
    ICMPv6MLDone,
    ICMPv6MLReport,
    ICMPv6MLReport2,
    IPv6,
    IPv6ExtHdrHopByHop,
    RouterAlert,
)
from scapy.layers.l2 import Ether  # noqa: E402

START = 1_700_000_000  # a multiple of 125
RECORDS = {"is_include": 1, "is_exclude": 2, "to_include": 3, "to_exclude": 4, "allow": 5, "block": 6}


def group_mac(group: str) -> str:
    if ":" in group:
        return "33:33:" + ipaddress.ip_address(group).packed[-4:].hex(":")
    _, b, c, d = (int(part) for part in group.split("."))
    return f"01:00:5e:{b & 0x7f:02x}:{c:02x}:{d:02x}"


def ipv4(source: str, group: str, **more: Any) -> Any:
    return Ether(src=source, dst=group_mac(group)) / IP(
        src="192.0.2.9", dst=group, ttl=1, tos=0xC0, id=0, flags="DF", options=[IPOption_Router_Alert()], **more
    )


def ipv6(source: str, group: str) -> Any:
    return (Ether(src=source, dst=group_mac(group)) / IPv6(src="fe80::9", dst=group, hlim=1)
            / IPv6ExtHdrHopByHop(options=[RouterAlert()]))


def join(source: str, group: str) -> bytes:
    """A report of IGMPv2 or MLDv1."""
    if ":" in group:
        return bytes(ipv6(source, group) / ICMPv6MLReport(mladdr=group))
    return bytes(ipv4(source, group, proto=2) / IGMP(type=0x16, mrcode=0, gaddr=group))


def leave(source: str, group: str) -> bytes:
    if ":" in group:
        return bytes(ipv6(source, "ff02::2") / ICMPv6MLDone(mladdr=group))
    return bytes(ipv4(source, "224.0.0.2", proto=2) / IGMP(type=0x17, mrcode=0, gaddr=group))


def query(source: str) -> bytes:
    """A general one of IGMPv2, as a router sends it."""
    return bytes(ipv4(source, "224.0.0.1", proto=2) / IGMP(type=0x11, gaddr="0.0.0.0"))


def report(source: str, group: str, kind: str, *sources: str) -> bytes:
    """A record of IGMPv3 or MLDv2."""
    if ":" in group:
        record = ICMPv6MLDMultAddrRec(rtype=RECORDS[kind], dst=group, sources=list(sources))
        return bytes(ipv6(source, "ff02::16") / ICMPv6MLReport2(records=[record]))
    record = IGMPv3gr(rtype=RECORDS[kind], maddr=group, srcaddrs=list(sources))
    return bytes(ipv4(source, "224.0.0.22", proto=2) / IGMPv3(type=0x22) / IGMPv3mr(records=[record]))


def data(source: str, group: str, sender: str = "198.51.100.1") -> bytes:
    """A datagram to a group."""
    if ":" in group:
        return bytes(Ether(src=source, dst=group_mac(group)) / IPv6(src=sender, dst=group) / UDP() / b"data")
    return bytes(Ether(src=source, dst=group_mac(group)) / IP(src=sender, dst=group, ttl=9) / UDP() / b"data")


def snooping(ports: int = 3, mode: str = "SNOOPING", nics: int = 1, **options: Any) -> SimulatedHost:
    """A host of hosts.description whose switch snoops."""
    value = struct.pack("<I", int(constants()[f"VS_MCAST_FILTER_MODE_{mode}"]))
    boot = description(ports, nics, global_properties=[setting("VSPROP_MULTICAST_FILTER", value)])
    return SimulatedHost(boot=boot | {"runtime_options": options})


def client(name: str) -> str:
    """The address of the client of port `name` of such a host."""
    return mac(10 + ord(name) - ord("a"))
