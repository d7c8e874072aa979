"""Multicast snooping on simulated hosts: messages that scapy makes, queries that scapy and tshark take apart."""

import os
import pathlib
import signal
import subprocess
import sys
from typing import Any

import pytest
from group_frames import START, client, data, join, leave, query, report, snooping
from scapy.contrib.igmpv3 import IGMPv3, IGMPv3mq
from scapy.layers.inet import IP
from scapy.layers.inet6 import ICMPv6MLQuery2, IPv6, IPv6ExtHdrHopByHop
from scapy.layers.l2 import Ether
from tshark import needs_tshark, shown

import vswitch
from vswitch.simulated import Kind, SimulatedHost

OUTSIDE = "02:00:00:00:0f:0f"


def receivers(it: SimulatedHost, group: str, sender: str = "198.51.100.1") -> list[str]:
    return [one.endpoint[1] for one in it.send("nic0", data(OUTSIDE, group, sender)).deliveries]


def port(it: SimulatedHost, name: str) -> vswitch.Port:
    return vswitch.Host().switches["sw"].ports[name]


# ---- joins and leaves ------------------------------------------------------------------------------------------------


@pytest.mark.parametrize(("group", "sender", "other"), [("239.1.1.1", "198.51.100.1", "198.51.100.2"),
                                                        ("ff0e::1", "2001:db8::1", "2001:db8::2")])
def test_IG_4_IG_7_IG_8_joins_leaves_and_source_lists(group: str, sender: str, other: str) -> None:
    it = snooping()
    assert receivers(it, group, sender) == []
    sent = it.send(("sw", "a"), join(client("a"), group))
    assert [one.endpoint for one in sent.deliveries] == ["nic0"]
    it.send(("sw", "b"), report(client("b"), group, "is_include", sender))
    it.send(("sw", "c"), report(client("c"), group, "to_exclude", sender))
    assert receivers(it, group, sender) == ["a", "b"]
    assert receivers(it, group, other) == ["a", "c"]
    it.send(("sw", "b"), report(client("b"), group, "allow", other))
    it.send(("sw", "c"), report(client("c"), group, "allow", sender))
    assert receivers(it, group, sender) == ["a", "b", "c"]
    it.send(("sw", "b"), report(client("b"), group, "block", sender))
    it.send(("sw", "c"), report(client("c"), group, "block", other))
    assert receivers(it, group, sender) == ["a", "c"]
    assert receivers(it, group, other) == ["a", "b"]
    it.send(("sw", "a"), leave(client("a"), group))
    it.send(("sw", "c"), report(client("c"), group, "to_include"))
    assert receivers(it, group, other) == ["b"]


def test_IG_6_libraries_show_what_has_not_aged() -> None:
    it = snooping()
    it.send(("sw", "a"), report(client("a"), "232.1.1.1", "is_include", "198.51.100.2", "198.51.100.1"))
    it.advance(100)
    it.send(("sw", "a"), join(client("a"), "ff0e::1"))
    it.send(("sw", "a"), join(client("a"), "239.1.1.1"))
    with it:
        igmp, mld = vswitch.MulticastMode.IGMP, vswitch.MulticastMode.MLD
        assert port(it, "a").multicast_filters(igmp) == ("232.1.1.1", "239.1.1.1")
        assert port(it, "a").multicast_filters(mld) == ("ff0e::1",)
        first, second = port(it, "a").multicast_group("232.1.1.1"), port(it, "a").multicast_group("239.1.1.1")
        assert first.sources == ("198.51.100.1", "198.51.100.2") and first.version == 3
        assert second.sources == () and second.version == 2
        assert second.updated - first.updated == 100_000_000
        # Calls let nothing happen; what has aged is not shown all the same.
        it.stop_clock(START + 260)
        assert port(it, "a").multicast_filters(igmp) == ("239.1.1.1",)
        with pytest.raises(vswitch.NotFound):
            port(it, "a").multicast_group("232.1.1.1")
        it.advance(100)
        assert port(it, "a").multicast_filters(mld) == ()
    assert it.client(("sw", "a")).groups == ()


def test_IG_6_groups_of_the_client_itself_stay() -> None:
    it = snooping()
    it.send(("sw", "a"), join(client("a"), "239.1.1.1"))
    it.set_client(("sw", "a"), groups=["239.1.1.1", "239.2.2.2"])
    it.send(("sw", "a"), leave(client("a"), "239.1.1.1"))
    it.advance(10_000)
    assert receivers(it, "239.1.1.1") == receivers(it, "239.2.2.2") == ["a"]
    it.set_client(("sw", "a"), groups=[])
    assert receivers(it, "239.1.1.1") == []
    it.send(("sw", "a"), join(client("a"), "239.1.1.1"))
    it.disconnect(("sw", "a"))
    it.connect(("sw", "a"), "anew", client("a"))
    assert receivers(it, "239.1.1.1") == [], "it was the former client's"


def test_IG_11_a_storm_of_reports_within_the_limit() -> None:
    it = snooping(4)
    frames = []
    for number in range(20_000):
        name = "abcd"[number % 4]
        group = f"239.{number >> 16}.{number >> 8 & 255}.{number & 255}"
        frames.append((("sw", name), bytes_of_join(client(name), group)))
    result = it.send_many(frames)
    assert len(result.deliveries) == 20_000 and {one.endpoint for one in result.deliveries} == {"nic0"}
    assert receivers(it, "239.0.63.255") == ["d"]  # the 16,384th
    assert receivers(it, "239.0.64.0") == []
    with it:
        counts = [len(port(it, name).multicast_filters(vswitch.MulticastMode.IGMP)) for name in "abcd"]
    assert counts == [4096] * 4
    it.advance(130)
    it.send_many(frames[:100])
    it.advance(129.999999)
    assert receivers(it, "239.0.63.255") == ["d"]
    it.advance(0.000001)
    assert receivers(it, "239.0.63.255") == []
    assert receivers(it, "239.0.0.99") == ["d"]
    assert it.counters(("sw", "a"))["pktsInException"] == 5025


def bytes_of_join(source: str, group: str) -> bytes:
    """As `join`, without what scapy takes for it."""
    packed = bytes(int(part) for part in group.split("."))

    def sealed(data: bytes, at: int) -> bytes:
        total = sum(int.from_bytes(data[i:i + 2], "big") for i in range(0, len(data), 2))
        while total >> 16:
            total = (total & 0xFFFF) + (total >> 16)
        return data[:at] + (~total & 0xFFFF).to_bytes(2, "big") + data[at + 2:]

    header = sealed(bytes.fromhex("46c00020000040000102 0000 c0000209") + packed + bytes.fromhex("94040000"), 10)
    message = sealed(b"\x16\0\0\0" + packed, 2)
    return (b"\x01\0\x5e" + bytes((packed[1] & 127,)) + packed[2:] + bytes.fromhex(source.replace(":", ""))
            + b"\x08\0" + header + message).ljust(60, b"\0")


def test_the_plain_message_is_that_of_scapy() -> None:
    assert bytes_of_join(client("a"), "239.1.2.3") == join(client("a"), "239.1.2.3").ljust(60, b"\0")


# ---- queries ---------------------------------------------------------------------------------------------------------


def test_IG_12_queries_come_by_the_clock() -> None:
    it = snooping(2)
    assert it.advance(124.999999).deliveries == []
    asked = it.advance(0.000001)
    assert [(one.endpoint, one.kind, one.index) for one in asked.deliveries] == [
        (("sw", name), Kind.MADE, -1) for name in "aabb"]
    igmp, mld = (Ether(one.frame) for one in asked.deliveries[:2])
    assert (igmp[IP].ttl, igmp[IP].dst, igmp[IGMPv3].type, igmp[IGMPv3].mrcode) == (1, "224.0.0.1", 0x11, 100)
    assert (igmp[IGMPv3mq].gaddr, igmp[IGMPv3mq].qrv, igmp[IGMPv3mq].qqic) == ("0.0.0.0", 2, 125)
    assert bytes(igmp)[14 + 20:14 + 24].hex() == "94040000"
    assert (mld[IPv6].hlim, mld[IPv6].src, mld[IPv6].dst) == (1, "fe80::76:73ff:fe00:1", "ff02::1")
    assert mld[IPv6ExtHdrHopByHop].options[0].value == 0
    query = mld[ICMPv6MLQuery2]
    assert (query.mladdr, query.mrd, query.QRV, query.QQIC, query.sources_number) == ("::", 10000, 2, 125, 0)
    right = [bytes(igmp), bytes(mld)]
    del igmp[IP].chksum, igmp[IGMPv3].chksum, mld[ICMPv6MLQuery2].cksum
    assert [bytes(igmp), bytes(mld)] == right, "scapy computes the same checksums"
    assert len(it.advance(1250).deliveries) == 40


@needs_tshark
def test_IG_12_as_tshark_reads_it(tmp_path: pathlib.Path) -> None:
    it = snooping(1, IGMPRouterIP="192.0.2.1", IGMPQueryInterval=200, MLDRouterIP="fe80::1:1")
    with it.capture(("sw", "a"), tmp_path / "a.pcapng"):
        it.advance(200)
        it.send(("sw", "a"), report(client("a"), "239.1.1.1", "is_include", "198.51.100.1"))
    fields = ["frame.time_epoch", "igmp.type", "igmp.qqic", "igmp.checksum.status", "ip.src", "ip.checksum.status",
              "icmpv6.type", "icmpv6.checksum.status", "icmpv6.mld.qqi", "ipv6.src"]
    assert shown(tmp_path / "a.pcapng", *fields) == [
        f"{START + 200}.000000000|0x11|137|1|192.0.2.1|1||||",
        f"{START + 200}.000000000||||||130|1|200|fe80::1:1",
        f"{START + 200}.000000000|0x22||1|192.0.2.9|1||||",
    ]


# ---- it stays --------------------------------------------------------------------------------------------------------


def known(it: SimulatedHost) -> Any:
    """Who receives what, and for how long: the members of two groups, and the router, each time that something ages."""
    copy = it.fork()
    return [(receivers(copy, "239.1.1.1"), receivers(copy, "232.5.5.5", "198.51.100.7"),
             [one.endpoint for one in copy.advance(step).deliveries])
            for step in (0, 100, 54.999999, 0.000001, 4.999999, 0.000001, 100)]


def learn(it: SimulatedHost) -> None:
    it.send(("sw", "a"), join(client("a"), "239.1.1.1"))
    it.send(("sw", "b"), report(client("b"), "232.5.5.5", "is_exclude", "198.51.100.1", "198.51.100.2"))
    it.send(("sw", "c"), query(client("c")))
    it.advance(100)


def test_D_2_memberships_and_routers_stand_in_the_state_file(tmp_path: pathlib.Path) -> None:
    it = snooping()
    learn(it)
    expected = known(it)
    assert expected[0][0] == ["a", "c"] and expected[0][1] == ["b", "c"] and expected[-1][0] == []
    it.snapshot(tmp_path / "copy.db")
    assert known(SimulatedHost(tmp_path / "copy.db")) == expected
    # By a process that is killed right after the last frame.
    it.stop_clock(START)
    code = f"""
import os, signal, sys
sys.path[:] = {sys.path!r}
from group_frames import snooping
from test_multicast import learn
it = snooping()
it.snapshot({str(tmp_path / 'killed.db')!r})
from vswitch.simulated import SimulatedHost
learn(SimulatedHost({str(tmp_path / 'killed.db')!r}))
os.kill(os.getpid(), signal.SIGKILL)
"""
    killed = subprocess.run([sys.executable, "-c", code], env=os.environ, capture_output=True, text=True)
    assert killed.returncode == -signal.SIGKILL, killed.stderr
    assert known(SimulatedHost(tmp_path / "killed.db")) == expected


def test_K_7_a_boot_forgets_it(tmp_path: pathlib.Path) -> None:
    it = snooping()
    learn(it)
    it.boot()
    assert receivers(it, "239.1.1.1") == receivers(it, "232.5.5.5") == []
