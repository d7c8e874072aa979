"""Snooping in the model, worked out by hand from the rules; messages are scapy's."""

from typing import Any

import pytest
from model_hosts import NOW, Host, mac, places, reasons
from scapy.contrib.igmp import IGMP
from scapy.contrib.igmpv3 import IGMPv3, IGMPv3gr, IGMPv3mr
from scapy.layers.inet import IP, UDP, IPOption_Router_Alert
from scapy.layers.inet6 import (
    ICMPv6MLDMultAddrRec, ICMPv6MLDone, ICMPv6MLQuery, ICMPv6MLReport, ICMPv6MLReport2, IPv6, IPv6ExtHdrHopByHop,
    RouterAlert,
)
from scapy.layers.l2 import Ether
from scapy.packet import Raw

pytestmark = pytest.mark.pure_python

SECOND = 1_000_000


def host(mode: str = "snooping", **settings: Any) -> Host:
    made = Host(uplinks=1, multicast_mode=mode, **settings)
    for name in ("a", "b", "c"):
        made.port(name)
    made.port("router", client={"router": True})
    return made


NUMBERS = {"a": 2, "b": 3, "c": 4, "router": 5}


def igmp(sender: str, message: Any, target: str, **header: Any) -> Any:
    packet = IP(**{"src": "192.0.2.9", "dst": target, "ttl": 1, "options": [IPOption_Router_Alert()], **header})
    return Ether(src=mac(NUMBERS.get(sender, 99)), dst=ip_mac(target)) / packet / message


def mld(sender: str, message: Any, target: str, hops: int = 1, source: str = "fe80::9", alert: bool = True) -> Any:
    packet = IPv6(src=source, dst=target, hlim=hops)
    if alert:
        packet /= IPv6ExtHdrHopByHop(options=[RouterAlert()])
    return Ether(src=mac(NUMBERS.get(sender, 99)), dst=ip_mac(target)) / packet / message


def ip_mac(target: str) -> str:
    from model.multicast import group_mac
    import ipaddress
    return group_mac(ipaddress.ip_address(target).packed).hex(":")


def v3(*records: Any) -> Any:
    return IGMPv3(type=0x22) / IGMPv3mr(records=[IGMPv3gr(rtype=kind, maddr=group, srcaddrs=list(sources))
                                                  for kind, group, *sources in records])


def data(group: str, source: str = "192.0.2.1", sender: str = "c", **kind: Any) -> Any:
    layer = IPv6(src=source, dst=group) if ":" in group else IP(src=source, dst=group)
    return Ether(src=mac(NUMBERS.get(sender, 99)), dst=ip_mac(group)) / layer / UDP(dport=5000) / Raw(bytes(20))


def join(made: Host, port: Any, message: Any, target: str = "239.1.1.1", now: int = NOW) -> Any:
    return made.send(port, igmp(port, message, target), now)


def reaches(made: Host, group: str = "239.1.1.1", source: str = "192.0.2.1", now: int = NOW) -> list[Any]:
    """The ports, but for the team and the router, that data of an uplink reaches."""
    result = made.send("nic0", data(group, source, sender="wire"), now)
    return [place for place in places(result) if place != "router"]


def test_reports_go_to_routers_and_the_team() -> None:
    made = host()  # IG-2
    result = join(made, "a", IGMP(type=0x16, gaddr="239.1.1.1"))
    assert places(result) == ["nic0", "router"]
    assert made.counters("a")["pktsInException"] == 1
    assert places(made.send("a", igmp("a", IGMP(type=0x11, gaddr="0.0.0.0"), "224.0.0.1"))) == [
        "nic0", "b", "c", "router"]  # a query by its destination; IG-1: a is a router port now
    assert places(join(made, "b", IGMP(type=0x16, gaddr="239.1.1.1"))) == ["nic0", "a", "router"]
    later = NOW + 255 * SECOND
    assert places(join(made, "b", IGMP(type=0x16, gaddr="239.1.1.1"), now=later)) == ["nic0", "router"]
    alone = Host(uplinks=0, multicast_mode="igmp")
    alone.port("?")
    alone.port("a")
    assert reasons(join(alone, "a", IGMP(type=0x16, gaddr="239.1.1.1"))) == ["multicast-filtered"]


def test_memberships_come_and_go() -> None:
    made = host()  # IG-4, IG-6, IG-7
    assert reaches(made) == [] and reasons(made.send("nic0", data("224.0.0.5", sender="wire"))) == []
    join(made, "a", IGMP(type=0x12, gaddr="239.1.1.1"))
    assert reaches(made) == ["a"]
    assert reaches(made, now=NOW + 260 * SECOND - 1) == ["a"]
    assert reaches(made, now=NOW + 260 * SECOND) == []
    join(made, "a", IGMP(type=0x16, gaddr="239.1.1.1"))
    join(made, "a", IGMP(type=0x17, gaddr="239.1.1.1"), "224.0.0.2")
    assert reaches(made) == []


@pytest.mark.parametrize(
    ("records", "admitted"),
    [
        # IG-8: what of the sources 1, 2, 3 is received after these records
        ([(1, 1)], [1]),
        ([(3, 1, 2)], [1, 2]),
        ([(2, 1)], [2, 3]),
        ([(4,)], [1, 2, 3]),
        ([(1, 1), (5, 2)], [1, 2]),
        ([(5, 2)], [2]),
        ([(2, 1, 2), (5, 2)], [2, 3]),
        ([(1, 1, 2), (6, 1)], [2]),
        ([(1, 1), (6, 1)], []),
        ([(2, 1), (6, 2)], [3]),
        ([(6, 1)], []),
        ([(1, 1), (3,)], []),
        ([(1, 1), (9, 2)], [1]),
        ([(3, 1, 2, 3)], [1, 2, 3]),
    ],
)
def test_records(records: Any, admitted: Any) -> None:
    made = host(options={"IGMPV3MaxSrcIPNum": 3})
    for kind, *sources in records:
        join(made, "a", v3((kind, "239.1.1.1", *(f"192.0.2.{source}" for source in sources))), "224.0.0.22")
    assert [source for source in (1, 2, 3) if reaches(made, source=f"192.0.2.{source}")] == admitted


def test_too_many_sources() -> None:
    made = host(options={"IGMPV3MaxSrcIPNum": 1})
    join(made, "a", v3((1, "239.1.1.1", "192.0.2.1", "192.0.2.2")), "224.0.0.22")
    assert reaches(made, source="192.0.2.77") == ["a"]


def test_mld() -> None:
    made = host()
    group = "ff0e::1"
    made.send("a", mld("a", ICMPv6MLReport(mladdr=group), group))
    assert reaches(made, group, "2001:db8::1") == ["a"]
    assert places(made.send("a", mld("a", ICMPv6MLDone(mladdr=group), "ff02::2"))) == ["nic0", "router"]
    assert reaches(made, group, "2001:db8::1") == []
    record = ICMPv6MLDMultAddrRec(rtype=2, dst=group, sources=["2001:db8::1"], sources_number=1)
    made.send("b", mld("b", ICMPv6MLReport2(records=[record], records_number=1), "ff02::16"))
    assert (reaches(made, group, "2001:db8::1"), reaches(made, group, "2001:db8::2")) == ([], ["b"])
    made.send("c", mld("c", ICMPv6MLQuery(), "ff02::1", source="fe80::9", alert=False))
    assert places(made.send("b", mld("b", ICMPv6MLReport(mladdr=group), group))) == ["nic0", "c", "router"]


def test_what_is_not_looked_at() -> None:
    report = IGMP(type=0x16, gaddr="239.1.1.1")
    for spoiled in (
        igmp("a", report, "239.1.1.1", ttl=2),
        igmp("a", report, "239.1.1.1", chksum=1),
        igmp("a", IGMP(type=0x16, gaddr="239.1.1.1", chksum=1), "239.1.1.1"),
        igmp("a", IGMP(type=0x16, gaddr="192.0.2.1"), "239.1.1.1"),
        igmp("a", report, "239.1.1.1", len=31),
        bytes(igmp("a", report, "239.1.1.1"))[:-1],
        mld("a", ICMPv6MLReport(mladdr="ff0e::1"), "ff0e::1", hops=255),
        mld("a", ICMPv6MLReport(mladdr="ff0e::1", cksum=1), "ff0e::1"),
    ):
        made = host()  # IG-9: forwarded as data by its destination
        assert places(made.send("a", spoiled)) == ["nic0", "router"]
        assert "pktsInException" not in made.counters("a")
        assert not made.model.state["sw"].memberships
    made = host()  # Reports from uplinks are data.
    assert reasons(made.send("nic0", igmp("wire", report, "239.1.1.1"))) == []
    assert not made.model.state["sw"].memberships and "pktsInException" not in made.counters("nic0")


def test_modes() -> None:
    for mode, four, six in (("igmp", [], ["a", "b", "c"]), ("mld", ["a", "b", "c"], []), ("snooping", [], [])):
        made = host(mode)  # IG-5
        assert (reaches(made), reaches(made, "ff0e::1", "2001:db8::1")) == (four, six)


def test_what_is_flooded() -> None:
    made = host()  # IG-3
    for group, source in (("224.0.0.251", "192.0.2.1"), ("ff02::fb", "fe80::1")):
        assert reaches(made, group, source) == ["a", "b", "c"]
    other = Ether(src=mac(99), dst="01:00:5e:01:01:01")
    for frame in (other / Raw(bytes(46)), other / IPv6(dst="ff0e::1") / UDP(), bytes(other / IP(dst="239.1.1.1"))[:30],
                  Ether(src=mac(99), dst="09:00:07:00:00:05") / IP(dst="239.1.1.1") / UDP()):
        assert places(made.send("nic0", frame)) == ["a", "b", "c", "router"]


def test_memberships_by_the_run_time_state() -> None:
    made = Host(uplinks=1, multicast_mode="igmp")  # X-2, IG-6
    a = made.port("a", client={"groups": [{"address": "239.1.1.1", "sources": ["192.0.2.1"]}]})
    made.port("b")
    assert a == NUMBERS["a"] and reaches(made) == ["a"] and reaches(made, source="192.0.2.2") == []
    join(made, "a", IGMP(type=0x17, gaddr="239.1.1.1"), "224.0.0.2")
    assert reaches(made, now=NOW + 10_000 * SECOND) == ["a"]


def test_every_multicast_port_in_every_mode() -> None:
    made = Host(uplinks=1, multicast_mode="snooping")  # S-9
    made.port("a", extra_filter={"flags": ["allmulti"]})
    made.port("b")
    assert reaches(made) == ["a"]
