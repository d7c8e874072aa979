"""The team in the model, worked out by hand from the rules; frames are scapy's."""

from collections.abc import Iterable
from typing import Any

import pytest
from model.frame import Frame, parse
from model.team import ip_index, lag_index
from model_hosts import NOW, Host, access, drops, mac, places, reasons, trunk
from scapy.layers.inet import IP, TCP, UDP
from scapy.layers.inet6 import IPv6, IPv6ExtHdrFragment, IPv6ExtHdrHopByHop
from scapy.layers.l2 import Dot1Q, Ether
from scapy.packet import Raw

pytestmark = pytest.mark.pure_python

ALL = "ff:ff:ff:ff:ff:ff"
STRANGER = "02:00:00:00:09:01"
NAMES = ["nic0", "nic1", "nic2", "nic3"]


def policy(balance: str = "srcid", active: list[str] = NAMES[:2], **settings: Any) -> dict[str, Any]:
    return {"balance": balance, "active": active, **settings}


def frame(source: str, destination: str = STRANGER, vlan: int | None = None) -> Any:
    packet = Ether(src=source, dst=destination)
    if vlan is not None:
        packet /= Dot1Q(vlan=vlan)
    packet.lastlayer().type = 0x1234
    return packet / Raw(bytes(46))


def lag(hash_name: Any, members: tuple[str, ...] = ("nic0",)) -> Any:
    from model.configuration import Lag
    return Lag("lag", tuple(members), tuple(members), hash_name)


def parsed(packet: Any) -> Frame:
    frame = parse(bytes(packet))
    assert frame
    return frame


def hashed(packet: Any, hash_name: str, vlan: int = 10) -> int:
    return lag_index(lag(hash_name), parsed(packet), vlan)


EXAMPLE = Ether(src="02:00:00:00:01:0a", dst="02:00:00:00:00:05")


def test_the_worked_example_of_the_hashes() -> None:
    packet = EXAMPLE / IP(src="192.0.2.1", dst="198.51.100.7") / UDP(sport=1000, dport=2000)
    assert ip_index(parsed(packet)) == 85
    assert [hashed(packet, name) for name in ("l2", "l2+3", "l3+4", "vlan+srcmac")] == [
        2063, 104160082, 49242036, 131328]
    assert ip_index(parsed(EXAMPLE / IPv6(src="2001:db8::1", dst="2001:db8::f00") / UDP())) == 14


def test_hashes_of_what_is_no_whole_ip_packet() -> None:
    packet = EXAMPLE / IP(src="192.0.2.1", dst="198.51.100.7") / UDP(sport=1000, dport=2000)
    layer2 = 0x0A ^ 0x05 ^ 0x0800
    cut = parsed(bytes(packet)[:14 + 19])
    assert ip_index(cut) == 0x0F and lag_index(lag("l3+4"), cut, 0) == lag_index(lag("l2+3"), cut, 0) == layer2
    assert hashed(EXAMPLE / Dot1Q(vlan=10) / packet.payload, "l3+4") == 49242036  # behind the outer tag

    def layer4(ports: int) -> int:
        words = 0xC0000201 ^ 0xC6336407 ^ ports
        words ^= words >> 16
        return (words ^ words >> 8) >> 1

    assert layer4(1000 << 16 | 2000) == 49242036
    fragment = EXAMPLE / IP(src="192.0.2.1", dst="198.51.100.7", flags="MF") / UDP(sport=1000, dport=2000)
    other = EXAMPLE / IP(src="192.0.2.1", dst="198.51.100.7", proto=1) / Raw(b"\x03\xe8\x07\xd0" + bytes(8))
    assert hashed(fragment, "l3+4") == hashed(other, "l3+4") == layer4(0)
    tcp = EXAMPLE / IP(src="192.0.2.1", dst="198.51.100.7") / TCP(sport=1000, dport=2000)
    assert hashed(tcp, "l3+4") == layer4(1000 << 16 | 2000)


def test_ipv6_extension_headers_are_passed() -> None:
    ends = IPv6(src="2001:db8::1", dst="2001:db8::f00")
    plain = hashed(EXAMPLE / ends / UDP(sport=7, dport=9), "l3+4")
    assert hashed(EXAMPLE / ends / IPv6ExtHdrHopByHop() / UDP(sport=7, dport=9), "l3+4") == plain
    fragment = hashed(EXAMPLE / ends / IPv6ExtHdrFragment() / UDP(sport=7, dport=9), "l3+4")
    words = 0x1 ^ 0xF00
    words ^= words >> 16
    assert fragment == (words ^ words >> 8) >> 1 != plain


@pytest.mark.parametrize(
    ("balance", "source", "uplinks"),
    [
        ("srcid", None, "nic1"),  # port 5 of three
        ("lbt", None, "nic2"),
        ("srcmac", "02:00:00:00:01:07", "nic1"),
        ("srcmac", "02:00:00:00:01:08", "nic2"),
        ("ip", "02:00:00:00:09:02", "nic0"),  # 02 ^ 01 = 3
        ("explicit", None, "nic0"),
        ("none", None, "nic0"),
    ],
)
def test_the_choice(balance: str, source: str, uplinks: Any) -> None:
    host = Host(uplinks=4, team=policy(balance, NAMES[:3]))  # T-1
    assert host.port("a") == 5
    if balance == "srcid":
        host.switch["team"]["active"] = ["nic0", "nic2", "nic1"]
    assert places(host.send("a", frame(source or mac(5)))) == [uplinks]


def test_standby_uplinks_and_flags() -> None:
    def team(down: Iterable[int] = (), **settings: Any) -> list[Any]:
        host = Host(uplinks=4, team=policy("explicit", NAMES[:2], standby=NAMES[2:], **settings))
        for number in down:
            host.nics[number]["carrier"] = False
        host.port("a")
        result = host.send("a", frame(mac(5)))
        return places(result) + reasons(result)

    assert team() == ["nic0"]
    assert team(down=[0]) == ["nic1"]  # standby uplinks stand behind active ones
    assert team(down=[0, 1]) == ["nic2"]
    assert team(down=[0, 1, 2, 3]) == ["no-uplink"]
    assert team(down=[0], criteria=[]) == ["link-down"]
    assert team(flags=["reverse"]) == ["nic1"]
    assert team(flags=["block_output"]) == ["team-blocked"]
    host = Host(uplinks=4, team=policy("srcid", NAMES[:2], standby=NAMES[2:], flags=["all_available"]))
    host.port("a")
    host.port("b")
    host.port("c")
    assert places(host.send("c", frame(mac(7)))) == ["nic3"]  # T-12: 7 mod 4
    host.switch["team"]["flags"] = []
    host.made = None
    assert places(host.send("c", frame(mac(7)))) == ["nic1"]


def test_criteria() -> None:
    def failed(criterion: str, settings: Any, **parameters: Any) -> bool:
        host = Host(uplinks=2, team=policy("explicit", criteria=[criterion], **parameters))
        host.nics[0].update(settings)
        host.port("a")
        (used,) = places(host.send("a", frame(mac(3))))
        return used == "nic1"

    assert failed("link_speed", {"speed": 25000}, speed=10000)
    assert not failed("link_speed_gte", {"speed": 25000}, speed=10000)
    assert failed("link_speed_gte", {"speed": 1000}, speed=10000)
    assert failed("link_duplex", {"duplex": "half"}, full_duplex=True)
    assert failed("link_err", {"errors": 5}, percent_error=5)  # T-17
    assert not failed("link_err", {"errors": 4}, percent_error=5)
    assert not failed("link_err", {"errors": 0}, percent_error=0)
    assert failed("link_state", {"up_since": NOW - 99_999})  # T-5
    assert not failed("link_state", {"up_since": NOW - 100_000})


def test_uplinks_that_cannot_carry() -> None:
    host = Host(uplinks=3, team=policy("explicit", ["nic0"], criteria=[]))  # T-9
    a = host.port("a", vlan=trunk())
    host.port("b", vlan=trunk())
    settings: Any
    for settings, reason in (({"block": True}, "port-blocked"), ({"vlan": access(20)}, "vlan-egress")):
        host.ports[0].update(settings)
        host.made = None
        assert drops(host.send("a", frame(mac(a), vlan=10))) == [("nic0", reason, "out")]
        result = host.send("a", frame(mac(a), ALL, vlan=10))  # group frames, too
        assert (places(result), drops(result)) == (["b"], [("nic0", reason, "out")])
        host.ports[0].update(block=False)
    host.ports[0].update(uplink="bare", nic=None, vlan=None)
    host.switch["team"]["active"] = ["bare"]
    host.made = None
    assert drops(host.send("a", frame(mac(a), vlan=10))) == [("uplink-0", "no-nic", "out")]


def test_a_tied_port() -> None:
    host = Host(uplinks=3, team=policy("explicit", ["nic0"]), lags=[{"name": "l", "members": ["nic1", "nic2"],
                                                                    "up": ["nic2"]}])
    host.port("a", tied_to="nic1")
    assert places(host.send("a", frame(mac(4)))) == ["nic1"]  # T-3: not by the LAG
    host.nics[1]["carrier"] = False
    host.made = None
    assert reasons(host.send("a", frame(mac(4)))) == ["no-uplink"]  # T-8


def test_lags() -> None:
    host = Host(uplinks=4, team=policy("explicit", ["nic0"]),  # T-3, L-6
                lags=[{"name": "l", "members": ["nic2", "nic0", "nic1"], "up": ["nic2", "nic0"], "hash": "l2"}])
    a = host.port("a")
    # l2: 04 ^ destination ^ 1234, modulo the two that are up
    sent = host.send("a", frame(mac(5), "02:00:00:00:09:05"))
    assert (5 ^ 5 ^ 0x1234) % 2 == 0 and places(sent) == ["nic2"] and a == 5
    assert places(host.send("a", frame(mac(5), "02:00:00:00:09:04"))) == ["nic0"]
    assert reasons(host.send("nic1", frame(STRANGER, ALL))) == ["lacp-down"]
    assert places(host.send("nic2", frame(STRANGER, ALL))) == ["a"]  # T-20: RX has all of the LAG
    assert reasons(host.send("nic3", frame(STRANGER, ALL))) == ["reverse-path"]
    host.switch["lags"][0]["up"] = []
    host.made = None
    assert reasons(host.send("a", frame(mac(5)))) == ["no-uplink"]


def test_reverse_path() -> None:
    host = Host(uplinks=2)  # T-20: RX of port 3 is nic1
    host.port("a", mac_management={"flooding": True, "learning": True})
    assert reasons(host.send("nic0", frame(STRANGER, ALL))) == ["reverse-path"]
    assert places(host.send("nic1", frame(STRANGER, ALL))) == ["a"]
    assert reasons(host.send("nic0", frame(STRANGER, "02:00:00:00:09:09"))) == ["reverse-path"]
    assert places(host.send("nic0", frame(STRANGER, mac(3)))) == ["a"]  # known: all of `fit`
    # T-4: a client's address from the wire is reflected; a learned one moves if it comes from RX.
    assert reasons(host.send("nic1", frame(mac(3), ALL))) == ["reflected"]
    host.send("a", frame("02:00:00:00:09:07", ALL))
    assert reasons(host.send("nic0", frame("02:00:00:00:09:07", ALL))) == ["reflected"]
    assert places(host.send("nic1", frame("02:00:00:00:09:07", ALL))) == ["a"]
    host = Host(uplinks=2, team=policy("ip"))
    host.port("a")
    assert places(host.send("nic0", frame(STRANGER, ALL))) == ["a"]  # all of `fit`
    host = Host(uplinks=3, team=policy("ip", active=["nic0", "nic1"]))
    host.port("a")
    assert reasons(host.send("nic2", frame(STRANGER, mac(4)))) == ["reverse-path"]  # known, from outside of `fit`


def test_promiscuous_copies_and_the_reverse_path() -> None:
    for option, expected in ((0, ["a!"]), (1, [])):
        host = Host(uplinks=2, options={"ReversePathFwdCheckPromisc": option})
        host.port("a", client={"promiscuous": True})
        result = host.send("nic0", frame(STRANGER, ALL))
        assert (places(result), reasons(result)) == (expected, ["reverse-path"])


def test_whose_policy_holds() -> None:
    logical = [{"name": "ls", "balance": "explicit", "active": ["nic2"]}]
    own = policy("explicit", ["nic1"])
    host = Host(uplinks=4, team=policy("explicit", ["nic0"]), logical_teams=logical)
    host.port("plain")
    host.port("own", team=own)
    host.port("logical", team=own, logical_team="ls")
    host.port("gone", team=own, logical_team="no such one")
    host.port("tied", team=own, logical_team="ls", tied_to="nic3")
    sent = {name: places(host.send(name, frame(STRANGER, "02:00:00:00:09:0f")))
            for name in ("plain", "own", "logical", "gone", "tied")}
    assert sent == {"plain": ["nic0"], "own": ["nic1"], "logical": ["nic2"], "gone": ["nic1"], "tied": ["nic3"]}


def test_link_state_tracking() -> None:
    host = Host(uplinks=1, team=policy("explicit", ["nic0"], flags=["lst"]))  # T-16
    a = host.port("a")
    host.port("b")
    assert places(host.send("a", frame(mac(a), ALL))) == ["nic0", "b"]
    host.nics[0]["carrier"] = False
    host.made = None
    assert drops(host.send("a", frame(mac(a), ALL))) == [("a", "link-down", "in")]


def test_numa_nodes() -> None:
    host = Host(uplinks=3, team=policy("explicit", NAMES[:3]), options={"TeamingNUMAAware": 1})
    host.nics[1]["numa_node"] = 1
    host.port("near", client={"numa_node": 1})
    host.port("nowhere", client={"numa_node": 7})
    assert places(host.send("near", frame(STRANGER, "02:00:00:00:09:0f"))) == ["nic1"]
    assert places(host.send("nowhere", frame(STRANGER, "02:00:00:00:09:0f"))) == ["nic0"]


def test_shotgun() -> None:
    host = Host(uplinks=3, team=policy("explicit", NAMES[:3], flags=["shotgun"]), beacons_undecided=True)  # T-14
    host.port("a")
    assert places(host.send("a", frame(mac(4)))) == NAMES[:3]
    host.document["options"] = {"TeamingIgnoreShotgun": 1}
    host.made = None
    assert places(host.send("a", frame(mac(4)))) == ["nic0"]


def test_service_ports() -> None:
    host = Host(uplinks=2)  # T-21
    router = host.port("router", client={"router": True})
    host.port("b", team=policy("explicit", ["nic0"]))
    assert places(host.send("router", frame(mac(router)))) == ["nic1"]  # port 3
    assert places(host.send("router", frame(mac(4)))) == ["nic0"]  # by the policy of b
    assert places(host.send("nic0", frame(STRANGER, ALL))) == ["router", "b"]  # T-20 does not hold for it
    assert host.model.service_counters("sw") == {
        "txFromSrvPort": 2, "txUsingSrvPortFRP": 1, "txUsingPktSrcPortFRP": 1, "txErrors": 0, "rxToSrvPort": 1,
        "rxRpfOverride": 1}
    host.switch["team"] = policy(active=[])
    host.made = None
    assert reasons(host.send("router", frame(mac(router)))) == ["no-uplink"]
    assert host.model.service_counters("sw")["txErrors"] == 1


def test_why_nobody_receives() -> None:
    host = Host(uplinks=1, team=policy(active=[]))  # P-5
    a = host.port("a")
    assert reasons(host.send("a", frame(mac(a), ALL))) == ["no-uplink"]
    host.port("b")
    host.made = None
    assert reasons(host.send("a", frame(mac(a), "01:00:5e:01:01:01"))) == ["no-uplink"]  # before multicast-filtered
    assert places(host.send("a", frame(mac(a), ALL))) == ["b"]
    host = Host(uplinks=0)
    a = host.port("a")
    host.port("b", vlan=access(10))
    assert reasons(host.send("a", frame(mac(a), ALL))) == ["no-receiver"]
    assert reasons(host.send("a", frame(mac(a)))) == ["unknown-unicast"]
