"""Packet header records against an independent implementation of the protocols.

Frames are built with scapy, written to a capture file and read back; each record is laid over the bytes of its
header, and every field compared with what scapy says, reading and writing.
"""

import ctypes
import ipaddress
import logging
from collections.abc import Callable
from typing import Any

import _libvswitch as m
import pytest
from fields import FIELDS

logging.getLogger("scapy").setLevel(logging.ERROR)

from scapy.contrib.geneve import GENEVE, GeneveOptions  # noqa: E402 - after its logger is quiet
from scapy.contrib.igmp import IGMP  # noqa: E402
from scapy.contrib.igmpv3 import IGMPv3, IGMPv3gr, IGMPv3mq, IGMPv3mr  # noqa: E402
from scapy.contrib.pim import PIMv2Hdr  # noqa: E402
from scapy.layers.inet import ICMP, IP, TCP, UDP  # noqa: E402
from scapy.layers.inet6 import (  # noqa: E402
    ICMPv6MLDMultAddrRec,
    ICMPv6MLQuery,
    ICMPv6MLQuery2,
    ICMPv6MLReport2,
    IPv6,
    IPv6ExtHdrDestOpt,
    PadN,
)
from scapy.layers.ipsec import ESP  # noqa: E402
from scapy.layers.l2 import ARP, GRE, Dot1Q, Ether  # noqa: E402
from scapy.layers.vxlan import VXLAN  # noqa: E402
from scapy.packet import Raw  # noqa: E402
from scapy.utils import rdpcap, wrpcap  # noqa: E402


def swapped(value: int, width: int) -> int:
    """How a little-endian machine reads a number in network byte order."""
    return int.from_bytes(int(value).to_bytes(width, "big"), "little")


def mac(text: str) -> bytes:
    return bytes(int(part, 16) for part in text.split(":"))


def ip(text: str) -> bytes:
    return ipaddress.ip_address(text).packed


def ip_word(text: str) -> int:
    return int.from_bytes(ip(text), "little")


ETHERNET = Ether(dst="02:11:22:33:44:55", src="02:66:77:88:99:aa")
V4 = ETHERNET / IP(src="192.0.2.1", dst="198.51.100.7", id=0x1234, tos=0xB8, flags="DF", ttl=63)
V6 = ETHERNET / IPv6(src="2001:db8::1", dst="2001:db8::ff", tc=0xAB, fl=0xC1234, hlim=17)

# Record: (frame, how to find the header in the frame read back, field -> value as the record reads it)
CASES: dict[str, tuple[Any, Callable[[Any], Any], dict[str, Callable[[Any], Any]]]] = {
    "qel_EthHdr": (V4 / UDP(), lambda p: p[Ether], {
        "daddr": lambda h: mac(h.dst), "saddr": lambda h: mac(h.src), "type": lambda h: swapped(h.type, 2)}),
    "qel_VLANHdr": (ETHERNET / Dot1Q(prio=5, id=1, vlan=0xABC) / IP(), lambda p: p[Dot1Q], {
        "vlanIDHigh": lambda h: h.vlan >> 8, "dropEligible": lambda h: h.id, "priority": lambda h: h.prio,
        "vlanIDLow": lambda h: h.vlan & 255, "type": lambda h: swapped(h.type, 2)}),
    "qel_ArpHdr": (ETHERNET / ARP(op=2, hwsrc="02:01:02:03:04:05", psrc="192.0.2.9", hwdst="02:0a:0b:0c:0d:0e",
                                  pdst="192.0.2.10"), lambda p: p[ARP], {
        "htype": lambda h: swapped(h.hwtype, 2), "ptype": lambda h: swapped(h.ptype, 2), "hlen": lambda h: h.hwlen,
        "plen": lambda h: h.plen, "oper": lambda h: swapped(h.op, 2), "sha": lambda h: mac(h.hwsrc),
        "spa": lambda h: ip_word(h.psrc), "tha": lambda h: mac(h.hwdst), "tpa": lambda h: ip_word(h.pdst)}),
    "qel_IPv4Hdr": (ETHERNET / IP(src="192.0.2.1", dst="198.51.100.7", id=0x1234, tos=0xB9, flags="MF+evil",
                                  frag=0x1ABC, ttl=63, proto=253) / Raw(b"payload!"), lambda p: p[IP], {
        "headerLength": lambda h: h.ihl, "version": lambda h: h.version, "tos": lambda h: h.tos & 31,
        "precedence": lambda h: h.tos >> 5, "ecn": lambda h: h.tos & 3, "dscp": lambda h: h.tos >> 2,
        "qosFlags": lambda h: h.tos, "totalLength": lambda h: swapped(h.len, 2),
        "identification": lambda h: swapped(h.id, 2), "fragmentOffsetHigh": lambda h: h.frag >> 8,
        "moreFragments": lambda h: int(h.flags) & 1, "dontFragment": lambda h: int(h.flags) >> 1 & 1,
        "zero": lambda h: int(h.flags) >> 2, "fragmentOffsetLow": lambda h: h.frag & 255,
        "fragmentInfo": lambda h: swapped(int(h.flags) << 13 | h.frag, 2), "ttl": lambda h: h.ttl,
        "protocol": lambda h: h.proto, "checksum": lambda h: swapped(h.chksum, 2),
        "saddr": lambda h: ip_word(h.src), "daddr": lambda h: ip_word(h.dst)}),
    "qel_IPv6Hdr": (V6 / UDP() / Raw(b"x"), lambda p: p[IPv6], {
        "trafficClassHigh": lambda h: h.tc >> 4, "version": lambda h: h.version, "flowLabelHigh": lambda h: h.fl >> 16,
        "trafficClassLow": lambda h: h.tc & 15, "flowLabelLow": lambda h: swapped(h.fl & 0xFFFF, 2),
        "payloadLength": lambda h: swapped(h.plen, 2), "nextHeader": lambda h: h.nh, "hopLimit": lambda h: h.hlim,
        "saddr": lambda h: ip(h.src), "daddr": lambda h: ip(h.dst)}),
    "qel_IPv6ExtHdr": (V6 / IPv6ExtHdrDestOpt(options=[PadN(optdata=b"\1\2\3\4")]) / UDP(),
                      lambda p: p[IPv6ExtHdrDestOpt], {
        "nextHeader": lambda h: h.nh, "hdrExtLength": lambda h: h.len,
        "optPad1": lambda h: int.from_bytes(bytes(h.options[0])[:2], "little"),
        "optPad2": lambda h: int.from_bytes(bytes(h.options[0])[2:6], "little")}),
    "qel_ICMPHdr": (V4 / ICMP(type=3, code=4), lambda p: p[ICMP], {
        "type": lambda h: h.type, "code": lambda h: h.code, "checksum": lambda h: swapped(h.chksum, 2)}),
    "qel_IGMPHdr": (V4 / IGMP(type=0x16, mrcode=20, gaddr="239.1.2.3"), lambda p: IGMP(bytes(p[IP].payload)), {
        "type": lambda h: h.type, "maxResponseTime": lambda h: h.mrcode, "checksum": lambda h: swapped(h.chksum, 2),
        "groupAddr": lambda h: ip_word(h.gaddr)}),
    "qel_IGMPv3QueryHdr": (V4 / IGMPv3(type=0x11, mrcode=33) / IGMPv3mq(
        gaddr="239.1.2.3", resv=9, s=1, qrv=5, qqic=77, srcaddrs=["192.0.2.1", "192.0.2.2"]),
        lambda p: IGMPv3(bytes(p[IP].payload)), {
        "type": lambda h: h.type, "maxResponseCode": lambda h: h.mrcode, "checksum": lambda h: swapped(h.chksum, 2),
        "groupAddr": lambda h: ip_word(h[IGMPv3mq].gaddr), "qrv": lambda h: h[IGMPv3mq].qrv,
        "sFlag": lambda h: h[IGMPv3mq].s, "reserved": lambda h: h[IGMPv3mq].resv, "qqic": lambda h: h[IGMPv3mq].qqic,
        "numSources": lambda h: swapped(h[IGMPv3mq].numsrc, 2),
        "sourcesIPv4": lambda h: b"".join(map(ip, h[IGMPv3mq].srcaddrs))}),
    "qel_IGMPv3GrpRecord": (V4 / IGMPv3(type=0x22) / IGMPv3mr(records=[
        IGMPv3gr(rtype=4, maddr="239.9.8.7", srcaddrs=["192.0.2.77"])]),
        lambda p: IGMPv3(bytes(p[IP].payload))[IGMPv3mr].records[0], {
        "type": lambda h: h.rtype, "dataLength": lambda h: h.auxdlen, "numSources": lambda h: swapped(h.numsrc, 2),
        "groupIPv4Addr": lambda h: ip_word(h.maddr), "sourcesIPv4": lambda h: b"".join(map(ip, h.srcaddrs))}),
    "qel_IGMPv3ReportHdr": (V4 / IGMPv3(type=0x22) / IGMPv3mr(res2=0x1234, records=[
        IGMPv3gr(rtype=4, maddr="239.9.8.7")]), lambda p: IGMPv3(bytes(p[IP].payload)), {
        "type": lambda h: h.type, "reserved1": lambda h: h.mrcode, "checksum": lambda h: swapped(h.chksum, 2),
        "reserved2": lambda h: swapped(h[IGMPv3mr].res2, 2), "numGroups": lambda h: swapped(h[IGMPv3mr].numgrp, 2),
        "record": lambda h: bytes(h[IGMPv3mr].records[0])}),
    "qel_MLDHdr": (V6 / ICMPv6MLQuery(mrd=0x4321, reserved=0x55AA, mladdr="ff02::1:3"), lambda p: p[ICMPv6MLQuery], {
        "type": lambda h: h.type, "code": lambda h: h.code, "checksum": lambda h: swapped(h.cksum, 2),
        "maxResponseTime": lambda h: swapped(h.mrd, 2), "reserved": lambda h: swapped(h.reserved, 2),
        "groupIPv6Addr": lambda h: ip(h.mladdr)}),
    "qel_MLDv2QueryHdr": (V6 / ICMPv6MLQuery2(mrd=0x4321, reserved=0x55AA, mladdr="ff02::1:3", Resv=11, S=1, QRV=6,
                                              QQIC=99, sources=["2001:db8::5"]), lambda p: p[ICMPv6MLQuery2], {
        "type": lambda h: h.type, "code": lambda h: h.code, "checksum": lambda h: swapped(h.cksum, 2),
        "maxResponseCode": lambda h: swapped(h.mrd, 2), "reserved1": lambda h: swapped(h.reserved, 2),
        "groupIPv6Addr": lambda h: ip(h.mladdr), "qrv": lambda h: h.QRV, "sFlag": lambda h: h.S,
        "reserved2": lambda h: h.Resv, "qqic": lambda h: h.QQIC,
        "numSources": lambda h: swapped(h.sources_number, 2),
        "sourcesIPv6": lambda h: b"".join(map(ip, h.sources))}),
    "qel_MLDv2GrpRecord": (V6 / ICMPv6MLReport2(records=[ICMPv6MLDMultAddrRec(
        rtype=3, dst="ff02::16", sources=["2001:db8::8"])]), lambda p: p[ICMPv6MLReport2].records[0], {
        "type": lambda h: h.rtype, "dataLength": lambda h: h.auxdata_len,
        "numSources": lambda h: swapped(h.sources_number, 2), "groupIPv6Addr": lambda h: ip(h.dst),
        "sourcesIPv6": lambda h: b"".join(map(ip, h.sources))}),
    "qel_MLDv2ReportHdr": (V6 / ICMPv6MLReport2(res=5, reserved=0x1234, records=[ICMPv6MLDMultAddrRec(
        rtype=3, dst="ff02::16")]), lambda p: p[ICMPv6MLReport2], {
        "type": lambda h: h.type, "reserved1": lambda h: h.res, "checksum": lambda h: swapped(h.cksum, 2),
        "reserved2": lambda h: swapped(h.reserved, 2), "numGroups": lambda h: swapped(h.records_number, 2),
        "record": lambda h: bytes(h.records[0])}),
    "qel_UDPHdr": (V4 / UDP(sport=0x1234, dport=53) / Raw(b"abc"), lambda p: p[UDP], {
        "srcPort": lambda h: swapped(h.sport, 2), "dstPort": lambda h: swapped(h.dport, 2),
        "length": lambda h: swapped(h.len, 2), "checksum": lambda h: swapped(h.chksum, 2)}),
    "qel_TCPHdr": (V4 / TCP(sport=0x1234, dport=443, seq=0x01020304, ack=0x0A0B0C0D, reserved=5, flags="SPUC",
                            window=0x7F01, urgptr=0x0102), lambda p: p[TCP], {
        "srcPort": lambda h: swapped(h.sport, 2), "dstPort": lambda h: swapped(h.dport, 2),
        "seq": lambda h: swapped(h.seq, 4), "ackSeq": lambda h: swapped(h.ack, 4),
        "reserved": lambda h: h.reserved << 1 | int(h.flags) >> 8, "dataOffset": lambda h: h.dataofs,
        **{name: (lambda bit: lambda h: int(h.flags) >> bit & 1)(bit)
           for bit, name in enumerate(["fin", "syn", "rst", "psh", "ack", "urg", "ece", "cwr"])},
        "flags": lambda h: int(h.flags) & 255, "window": lambda h: swapped(h.window, 2),
        "checksum": lambda h: swapped(h.chksum, 2), "urgPtr": lambda h: swapped(h.urgptr, 2)}),
    "qel_ESPHdr": (V4 / ESP(spi=0x11223344, seq=0x55667788), lambda p: p[ESP], {
        "spi": lambda h: swapped(h.spi, 4), "seq": lambda h: swapped(h.seq, 4)}),
    "qel_VXLANHdr": (V4 / UDP() / VXLAN(flags=0x08, vni=0xABCDEF, reserved2=0x77) / ETHERNET, lambda p: p[VXLAN], {
        "flags1": lambda h: int(h.flags) & 1, "locallyReplicate": lambda h: int(h.flags) >> 1 & 1,
        "flags1b": lambda h: int(h.flags) >> 2 & 1, "instanceID": lambda h: int(h.flags) >> 3 & 1,
        "flags2": lambda h: int(h.flags) >> 4, "reserved1": lambda h: swapped(h.reserved1 or h.reserved0 or 0, 3),
        "vxlanID": lambda h: swapped(h.vni, 3), "reserved2": lambda h: h.reserved2}),
    "qel_GREHdr": (V4 / GRE(key_present=1, seqnum_present=1, strict_route_source=1, recursion_control=5, flags=0x15,
                            version=1, proto=0x6558, key=0x01020304, sequence_number=9), lambda p: p[GRE], {
        "reserved1": lambda h: h.recursion_control, "strictSourceRoute": lambda h: h.strict_route_source,
        "sequencePresent": lambda h: h.seqnum_present, "keyPresent": lambda h: h.key_present,
        "routingPresent": lambda h: h.routing_present, "checksumPresent": lambda h: h.chksum_present,
        "version": lambda h: h.version, "reserved2": lambda h: h.flags & 15, "ackPresent": lambda h: h.flags >> 4,
        "flags": lambda h: int.from_bytes(bytes(h)[:2], "little"), "protocol": lambda h: swapped(h.proto, 2),
        "options": lambda h: h.key.to_bytes(4, "big")}),
    "qel_GeneveHdr": (V4 / UDP() / GENEVE(oam=1, critical=1, reserved=0x2A, vni=0x123456, reserved2=0x99, options=[
        GeneveOptions(classid=0x0102, type=0x83, data=b"\1\2\3\4")]) / ETHERNET, lambda p: p[GENEVE], {
        "optionsLength": lambda h: h.optionlen, "version": lambda h: h.version, "reserved1": lambda h: h.reserved,
        "criticalOptions": lambda h: h.critical, "oamFrame": lambda h: h.oam,
        "protocolType": lambda h: swapped(h.proto, 2), "virtualNetworkId": lambda h: swapped(h.vni, 3),
        "reserved2": lambda h: h.reserved2, "options": lambda h: bytes(h.options[0])}),
    "qel_GeneveOptionHdr": (V4 / UDP() / GENEVE(options=[GeneveOptions(
        classid=0x0102, type=0x83, reserved=5, data=b"\1\2\3\4")]) / ETHERNET, lambda p: p[GENEVE].options[0], {
        "optClass": lambda h: swapped(h.classid, 2), "optType": lambda h: h.type, "optLength": lambda h: h.length,
        "reserved": lambda h: h.reserved}),
    "qel_PIMHdr": (V4 / PIMv2Hdr(type=3, reserved=0x5A), lambda p: p[PIMv2Hdr], {
        "type": lambda h: h.type, "version": lambda h: h.version, "reserved": lambda h: h.reserved,
        "checksum": lambda h: swapped(h.chksum, 2)}),
}


def fields_of(record: str) -> list[dict[str, str]]:
    return [row for row in FIELDS if row["record"] == record]


@pytest.fixture(scope="module")
def captured(tmp_path_factory: pytest.TempPathFactory) -> dict[str, Any]:
    """Every frame, after it went through a capture file."""
    path = str(tmp_path_factory.mktemp("capture") / "frames.pcap")
    wrpcap(path, [frame for frame, _, _ in CASES.values()])
    return dict(zip(CASES, rdpcap(path)))


def load(record: str, content: bytes) -> tuple[Any, int]:
    """A record of its own, its header bytes the first of these."""
    proxy = getattr(m, f"new_{record}")()
    size = int(fields_of(record)[0]["size"])
    ctypes.memmove(int(proxy), content[:size], size)
    return proxy, size


@pytest.mark.parametrize("record", CASES)
def test_every_field_reads_what_the_frame_says(record: str, captured: dict[str, Any]) -> None:
    _, find, expected = CASES[record]
    header = find(captured[record])
    content = bytes(header)
    assert set(expected) == {row["field"] for row in fields_of(record)}
    proxy, size = load(record, content)
    for row in fields_of(record):
        value = getattr(m, f"{record}_{row['field']}_get")(proxy)
        wanted = expected[row["field"]](header)
        if isinstance(wanted, bytes):
            offset = int(row["offset"])
            assert int(value) == int(proxy) + offset
            if offset < size:
                value = ctypes.string_at(int(value), len(wanted))
            else:
                # A part behind the header: the record says where it begins.
                value = content[offset : offset + len(wanted)]
        assert value == wanted, row["field"]
    proxy.disown()


@pytest.mark.parametrize("record", CASES)
def test_the_fields_of_the_frame_make_its_bytes(record: str, captured: dict[str, Any]) -> None:
    _, find, expected = CASES[record]
    header = find(captured[record])
    proxy, size = load(record, bytes(512))
    for row in fields_of(record):
        setter: Any = getattr(m, f"{record}_{row['field']}_set", None)
        wanted = expected[row["field"]](header)
        if isinstance(wanted, int):
            setter(proxy, wanted)
        elif int(row["offset"]) < size:
            source, _ = load(record, b"")
            ctypes.memmove(int(source) + int(row["offset"]), wanted, len(wanted))
            setter(proxy, getattr(m, f"{record}_{row['field']}_get")(source))
            source.disown()
    assert ctypes.string_at(int(proxy), size) == bytes(header)[:size]
    proxy.disown()


def test_every_protocol_header_but_the_platforms_own_is_compared() -> None:
    headers = {row["record"] for row in FIELDS[: [row["record"] for row in FIELDS].index("qel_String")]}
    assert headers - set(CASES) == {"qel_FenceHdr"}
    assert len(headers) == 24


def test_the_fence_header_by_hand() -> None:
    fence, _ = load("qel_FenceHdr", b"\xad\x01\x02\x03")
    assert m.qel_FenceHdr_version_get(fence) == 1
    assert m.qel_FenceHdr_frag_get(fence) == 1
    assert m.qel_FenceHdr_fragmentID_get(fence) == 21
    assert m.qel_FenceHdr_fenceID_get(fence) == 0x030201
    m.qel_FenceHdr_fenceID_set(fence, 0xFF0A0B0C)
    m.qel_FenceHdr_version_set(fence, 2)
    m.qel_FenceHdr_frag_set(fence, 0)
    m.qel_FenceHdr_fragmentID_set(fence, 1)
    assert ctypes.string_at(int(fence), 4) == b"\x0a\x0c\x0b\x0a"
    fence.disown()


# ---- particular values ---------------------------------------------------------------------------------------


def test_the_sizes_are_the_protocols() -> None:
    sizes = {row["record"]: int(row["size"]) for row in FIELDS[:200]}
    assert (sizes["qel_EthHdr"], sizes["qel_IPv4Hdr"], sizes["qel_TCPHdr"], sizes["qel_ArpHdr"]) == (14, 20, 20, 28)


def test_an_ipv4_ethertype_reads_as_8() -> None:
    header, _ = load("qel_EthHdr", bytes(12) + b"\x08\x00")
    assert m.qel_EthHdr_type_get(header) == 8
    header.disown()


def test_the_quality_of_service_byte_has_three_views() -> None:
    header, _ = load("qel_IPv4Hdr", bytes(20))
    m.qel_IPv4Hdr_qosFlags_set(header, 0xB8)
    assert (m.qel_IPv4Hdr_dscp_get(header), m.qel_IPv4Hdr_ecn_get(header)) == (46, 0)
    assert (m.qel_IPv4Hdr_tos_get(header), m.qel_IPv4Hdr_precedence_get(header)) == (24, 5)
    header.disown()


def test_the_fragment_word_changes_flags_and_offset_together() -> None:
    header, _ = load("qel_IPv4Hdr", bytes(20))
    m.qel_IPv4Hdr_fragmentInfo_set(header, 0xCDFF)
    parts = [getattr(m, f"qel_IPv4Hdr_{name}_get")(header) for name in
             ("fragmentOffsetHigh", "moreFragments", "dontFragment", "zero", "fragmentOffsetLow")]
    assert parts == [31, 1, 1, 1, 0xCD]
    header.disown()


def test_syn_alone_makes_the_flags_two() -> None:
    header, _ = load("qel_TCPHdr", bytes(20))
    m.qel_TCPHdr_syn_set(header, 1)
    assert m.qel_TCPHdr_flags_get(header) == 2
    header.disown()


def test_the_vxlan_identifier_keeps_24_bits() -> None:
    header, _ = load("qel_VXLANHdr", bytes(7) + b"\x5a")
    m.qel_VXLANHdr_vxlanID_set(header, 16777217)
    assert m.qel_VXLANHdr_vxlanID_get(header) == 1
    assert m.qel_VXLANHdr_reserved2_get(header) == 0x5A
    header.disown()


def test_an_options_length_of_64_stores_zero() -> None:
    header, _ = load("qel_GeneveHdr", b"\xff" * 8)
    m.qel_GeneveHdr_optionsLength_set(header, 64)
    assert m.qel_GeneveHdr_optionsLength_get(header) == 0
    assert m.qel_GeneveHdr_version_get(header) == 3
    header.disown()
