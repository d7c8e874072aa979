"""Frames that the model makes: the vectors of the rules, byte for byte, and scapy's view of them."""

import pytest
from model.made_frames import (
    LacpEnd, announcement, beacon, igmp_query, interval_code, lacpdu, link_local, mld_query,
)
from scapy.contrib.igmpv3 import IGMPv3mq
from scapy.contrib.lacp import LACP
from scapy.layers.inet6 import ICMPv6MLQuery2
from scapy.layers.l2 import Dot1Q, Ether

pytestmark = pytest.mark.pure_python

SW = bytes.fromhex("027673000001")
NIC = bytes.fromhex("020000000001")


def vector(text: str) -> bytes:
    return bytes.fromhex(text.replace(" ", ""))


def test_queries() -> None:
    assert igmp_query(SW) == vector(
        "01005e000001 027673000001 0800 46c00024 00004000 01020413 00000000 e0000001 94040000 1164ec1e00000000 027d0000"
        "00000000000000000000")
    version_2 = (
        "01005e000001 027673000001 0800 46c00020 00004000 01020417 00000000 e0000001 94040000 1164ee9b00000000"
        "0000000000000000000000000000")
    assert igmp_query(SW, 2) == vector(version_2)
    assert igmp_query(SW, 1) == vector(version_2.replace("64ee9b", "00eeff"))
    assert mld_query(SW) == vector(
        "333300000001 027673000001 86dd 60000000 00240001 fe80000000000000007673fffe000001"
        "ff020000000000000000000000000001 3a00050200000100 8200e41f27100000 00000000000000000000000000000000 027d0000")
    assert mld_query(SW, 1) == vector(
        "333300000001 027673000001 86dd 60000000 00200001 fe80000000000000007673fffe000001"
        "ff020000000000000000000000000001 3a00050200000100 8200e6a027100000 00000000000000000000000000000000")
    assert link_local(SW).hex() == "fe80000000000000007673fffe000001"


def test_queries_by_the_options() -> None:
    seen = Ether(igmp_query(SW, queries=9, interval=300, router="192.0.2.77"))
    assert (seen[IGMPv3mq].qrv, seen[IGMPv3mq].qqic, seen.src, seen["IP"].src) == (
        0, interval_code(300), SW.hex(":"), "192.0.2.77")
    seen = Ether(mld_query(SW, queries=7, router="2001:db8::7"))
    assert (seen[ICMPv6MLQuery2].QRV, seen[ICMPv6MLQuery2].QQIC, seen["IPv6"].src) == (7, 125, "2001:db8::7")


@pytest.mark.parametrize(
    ("interval", "code"),
    # The value of a code from 128 on is (mantissa | 16) << (exponent + 3).
    [(1, 1), (127, 127), (128, 128), (135, 128), (136, 129), (255, 0x8F), (256, 0x90), (300, 0x92), (31743, 0xFE),
     (31744, 0xFF), (65535, 0xFF)],
)
def test_interval_codes(interval: int, code: int) -> None:
    assert interval_code(interval) == code


def test_a_beacon() -> None:
    made = beacon(NIC, 1_700_000_000, "id", 1)
    assert made == vector("ffffffffffff 020000000001 8922 56534231 6553f100" + "6964" + "00" * 62 + "00000001")
    assert len(made) == 90


def test_announcements() -> None:
    tagged = announcement(bytes.fromhex("02000000010a"), 10)
    assert tagged == vector(
        "ffffffffffff 02000000010a 8100000a 80350001080006040003 02000000010a 00000000 02000000010a 00000000"
        "000000000000000000000000000000000000")
    assert Ether(tagged)[Dot1Q].vlan == 10 and len(announcement(NIC, None)) == 60
    assert announcement(bytes.fromhex("02000000010a"), None)[12:] == tagged[16:]


def test_the_first_lacpdu() -> None:
    made = lacpdu(NIC, LacpEnd(SW, 32768, 1, 1, 32768, 0x87), LacpEnd(state=2))
    assert made == vector(
        "0180c2000002 020000000001 88090101 0114 800002767300000100018000000187000000 0214"
        "000000000000000000000000000002000000 0310 0000000000000000000000000000 0000" + "00" * 50)
    seen = Ether(made)[LACP]
    assert (len(made), seen.actor_system, seen.actor_port_number, seen.partner_state) == (124, SW.hex(":"), 1, 2)
