"""Mirror sessions in the model, worked out by hand from the rules, and the vectors of encapsulated copies."""

from typing import Any

import pytest
from model_hosts import NOW, Host, access, drops, mac, places, reasons, trunk
from scapy.layers.inet import IP, TCP, UDP
from scapy.layers.l2 import Dot1Q, Ether
from scapy.packet import Raw

pytestmark = pytest.mark.pure_python

ALL = "ff:ff:ff:ff:ff:ff"


def entity(kind: str, value: object) -> dict[str, str]:
    return {"kind": kind, "value": str(value)}


PORT_C = [entity("dvport", "c")]


def host(*sessions: dict[str, Any], uplinks: int = 1, ports: int = 3, **settings: Any) -> Host:
    """Ports a, b, c; by default sessions go to c, which is in a VLAN of its own."""
    made = Host(uplinks=uplinks, **settings)
    made.switch["mirror_sessions"] = [
        {"session_id": f"s{n}", "destinations": PORT_C, **session} for n, session in enumerate(sessions)]
    for name in "abcdefgh"[:ports]:
        made.port(name, vlan=access(99) if name == "c" else access(10))
    return made


def frame(made: Host, name: str = "a", destination: str = ALL) -> Any:
    number = 1 + next(n for n, port in enumerate(made.ports) if port["dvport_id"] == name)
    return Ether(src=mac(number), dst=destination, type=0x1234) / Raw(bytes(46))


def counted(made: Host, session: str = "s0") -> list[int]:
    return [made.model.mirror_counters("sw", session)[name] for name in (
        "mirrorPktCnt", "mirrorPktFailCnt", "mirroredPkts", "discardedPkts", "failedPkts")]


@pytest.mark.parametrize(
    ("session", "from_a", "from_wire"),
    [
        # M-1: sources by identifier, number, effective address, uplink, VLAN, wildcards
        ({"sources_in": [entity("dvport", "a")]}, True, False),
        ({"sources_in": [entity("port", 2)]}, True, False),
        ({"sources_in": [entity("mac", mac(2))]}, True, False),
        ({"sources_out": [entity("dvport", "a")]}, False, True),
        ({"sources_out": [entity("dvport", "b")]}, True, True),
        ({"sources_out": [entity("uplink", "nic0")]}, True, False),
        ({"sources_in": [entity("uplink", "nic0")]}, False, True),
        ({"sources_in": [entity("vlan", 10)]}, True, True),
        ({"sources_in": [entity("vlan", 11)]}, False, False),
        ({"wild_in": ["vmm"]}, True, False),
        ({"wild_in": ["tcpip", "cos", "test"]}, False, False),
        ({"wild_out": ["pnic"]}, True, False),
        ({"all_uplinks": True}, True, True),
        ({"sources_in": [entity("dvport", "a")], "enabled": False}, False, False),
        # M-6
        ({"type": "rmirror_dst", "sources_in": [entity("vlan", 10)]}, False, True),
    ],
)
def test_sources(session: Any, from_a: Any, from_wire: Any) -> None:
    made = host(session)
    result = made.send("a", frame(made))
    assert ("c*" in places(result)) == from_a and len(result.deliveries) == 2 + from_a
    wire = Ether(src="02:00:00:00:09:01", dst=ALL) / Dot1Q(vlan=10) / Raw(bytes(46))
    assert ("c*" in places(made.send("nic0", wire))) == from_wire


def test_a_frame_is_selected_once_and_before_it_is_dropped() -> None:
    everything = {"sources_in": [entity("vlan", 10)], "sources_out": [entity("vlan", 10)]}
    made = host(everything, {"sources_out": [entity("vlan", 10)]}, mtu=1280)  # P-1, M-1
    result = made.send("a", frame(made))
    assert places(result) == ["nic0", "b", "c*", "c*"]
    result = made.send("a", frame(made, destination="01:80:c2:00:00:00"))
    assert (places(result), reasons(result)) == (["c*"], ["reserved-address"])
    assert places(made.send("a", Ether(src=mac(2), dst=ALL) / Raw(bytes(1400)))) == []  # dropped before step 5
    assert counted(made, "s0") == [2, 0, 2, 0, 0] and counted(made, "s1") == [1, 0, 1, 0, 0]
    assert made.counters("c")["pktsOutBroadcast"] == 2 and made.counters("c")["pktsOutMulticast"] == 1
    made = host({"type": "rmirror_src", "destinations": [entity("uplink", "nic0")],
                 "sources_in": [entity("dvport", "a")]})
    assert places(made.send("a", frame(made, destination="01:80:c2:00:00:00"))) == []  # M-6


def test_what_is_filtered_at_the_ingress_is_not_tried_again() -> None:
    made = host({"uplink_filter": "vxlan", "sources_in": [entity("uplink", "nic0")],
                 "sources_out": [entity("dvport", "b")]})
    wire = Ether(src="02:00:00:00:09:01", dst=ALL) / Dot1Q(vlan=10) / Raw(bytes(46))
    assert places(made.send("nic0", wire)) == ["a", "b"] and counted(made) == [0, 0, 0, 1, 0]
    assert places(made.send("a", frame(made))) == ["nic0", "b", "c*"]  # at a client port the filter does not hold


def test_no_input_and_no_output() -> None:
    made = Host()  # M-3
    made.switch["mirror_sessions"] = [{"session_id": "s", "destinations": [entity("dvport", "b")], "no_input": True,
                                       "no_output": True, "sources_in": [entity("dvport", "a")]}]
    for name in "abc":
        made.port(name, client={"promiscuous": name == "b"})
    assert places(made.send("a", frame(made))) == ["nic0", "c", "b*"]
    assert reasons(made.send("b", frame(made, "b"))) == ["mirror-destination"]
    result = made.send("a", frame(made, destination=mac(3)))
    assert (places(result), drops(result)) == (["b*"], [("b", "mirror-destination", "out")])


@pytest.mark.parametrize(
    ("session", "tag", "length"),
    [
        ({}, None, 60), ({"original_vlan": True}, (10, 5), 64), ({"encapsulate": True, "encap_vlan": 30}, (30, 0), 64),
        ({"encapsulate": True}, None, 60), ({"snap_length": 20}, None, 20), ({"snap_length": 3}, None, 14),
        ({"original_vlan": True, "snap_length": 20}, (10, 5), 20),
        ({"original_vlan": True, "encapsulate": True, "encap_vlan": 30, "snap_length": 20}, (30, 0), 24),
    ],
)
def test_the_form_of_a_copy(session: Any, tag: Any, length: int) -> None:
    made = host({"sources_in": [entity("dvport", "a")], **session})  # M-10
    made.ports[1].update(vlan=trunk())
    sent = Ether(src=mac(2), dst=ALL) / Dot1Q(vlan=10, prio=5, type=0x1234) / Raw(bytes(46))
    (copy,) = [d.frame for d in made.send("a", sent).deliveries if d.kind == "mirror"]
    seen = Ether(copy)
    assert ((seen.vlan, seen.prio) if Dot1Q in seen else None) == tag and len(copy) == length


def test_destinations() -> None:
    to = [entity("dvport", "a"), entity("dvport", "none"), entity("dvport", "b"), entity("uplink", "nic0"),
          entity("dvport", "c")]
    made = host({"destinations": to, "sources_in": [entity("dvport", "a")], "type": "mixdst"})  # M-11, M-12
    made.ports[3]["block"] = True
    assert places(made.send("a", frame(made))) == ["nic0", "b", "b*", "nic0*"]
    assert counted(made) == [2, 1, 1, 0, 0]
    made = host({"sources_in": [entity("vlan", 10)], "destinations": [entity("dvport", "a")]})
    made.send("a", frame(made))
    assert counted(made) == [0, 0, 0, 0, 0]  # nobody takes part
    made.send("b", frame(made, "b"))
    assert counted(made) == [1, 0, 1, 0, 0]
    made = host({"sources_in": [entity("dvport", "a")]}, options={"AllowMirrorStats": 0})
    assert places(made.send("a", frame(made))) == ["nic0", "b", "c*"] and counted(made) == [0, 0, 0, 0, 0]
    made = host({"sources_in": [entity("dvport", "a")]})
    made.ports[3]["zombie"] = True
    made.send("a", frame(made))
    assert counted(made) == [0, 1, 0, 0, 1]


def test_sampling() -> None:
    made = host({"sources_in": [entity("dvport", "a")], "sampling_rate": 3})  # M-5
    assert ["c*" in places(made.send("a", frame(made))) for _ in range(5)] == [True, False, False, True, False]
    assert counted(made) == [2, 0, 2, 3, 0]


@pytest.mark.parametrize(
    ("kind", "protocol", "port", "mirrored"),
    [("normal", UDP, 53, True), ("normal", UDP, 4789, False), ("vxlan", UDP, 4789, True), ("vxlan", UDP, 8472, True),
     ("vxlan", UDP, 6081, False), ("geneve", UDP, 6081, True), ("stt", TCP, 7471, True), ("stt", UDP, 7471, False),
     ("all_encap", UDP, 8472, True), ("all_encap", UDP, 53, False), ("none", UDP, 53, True)],
)
def test_uplink_filter(kind: str, protocol: Any, port: Any, mirrored: Any) -> None:
    made = host({"all_uplinks": True, "uplink_filter": kind}, {"sources_in": [entity("dvport", "a")],
                                                              "uplink_filter": kind})  # M-8: at uplinks only
    packet = Ether(src=mac(2), dst=ALL) / IP() / protocol(dport=port)
    made.send("a", packet)
    assert counted(made, "s0") == [int(mirrored), 0, int(mirrored), int(not mirrored), 0]
    assert counted(made, "s1")[0] == 1


@pytest.mark.parametrize(
    ("rules", "packet", "mirrored"),
    [
        ([{"mirror": True, "sources": ["192.0.2.0/24"]}], IP(src="192.0.2.1") / UDP(), True),
        ([{"mirror": True, "sources": ["192.0.2.0/24"]}], IP(src="192.0.3.1") / UDP(), False),
        ([{"mirror": False, "sources": ["192.0.2.0/24"]}], IP(src="192.0.3.1") / UDP(), True),
        ([{"mirror": False, "protocol": 17}, {"mirror": True}], IP() / UDP(), False),
        ([{"mirror": False, "protocol": 17}, {"mirror": True}], IP() / TCP(), True),
        ([{"mirror": True, "destination_ports": [50, 60]}], IP() / UDP(dport=60), True),
        ([{"mirror": True, "destination_ports": [50, 60]}], IP() / UDP(dport=61), False),
        ([{"mirror": True, "source_ports": [0, 65535]}], IP(frag=1) / UDP(), False),
        ([{"mirror": True, "source_ports": [0, 65535]}], IP(flags="MF") / UDP(), True),
        ([{"mirror": True, "protocol": 17}], Raw(bytes(40)), False),
        ([{"mirror": False}], Raw(bytes(40)), False),
    ],
)
def test_filter_rules(rules: Any, packet: Any, mirrored: Any) -> None:
    made = host({"sources_in": [entity("dvport", "a")], "rules": rules})  # M-9
    base = Ether(src=mac(2), dst=ALL, **({"type": 0x1234} if packet.name == "Raw" else {}))
    assert ("c*" in places(made.send("a", base / packet))) == mirrored


# ---- copies to an address -------------------------------------------------------------------------------------------

SAMPLE = bytes.fromhex("ffffffffffff 02000000010a 0800") + bytes(range(0x2E))
INNER = "ffffffffffff02000000010a0800000102030405060708090a0b0c0d0e0f10111213141516171819"
VECTORS = {
    "gre": "027673ffffff 027673000001 0800 45000044 00004000 402f4e4d c0000201 c6336409 20006558 000004d2",
    "erspan2": "027673ffffff 027673000001 0800 4500004c 00004000 402f4e45 c0000201 c6336409"
               "100088be 00000000 100ab464 00000007",
    "erspan3": "027673ffffff 027673000001 0800 45000050 00004000 402f4e41 c0000201 c6336409"
               "100022eb 00000000 200aa464 18202240 00008006",
}


def remote(uplinks: int = 1, address: str = "198.51.100.9", **session: Any) -> Host:
    """A session of the frames of port 7, which is in VLAN 10."""
    made = Host(uplinks=uplinks, stacks=session.pop("stacks", {}), mtu=session.pop("mtu", 1500))
    made.switch["mirror_sessions"] = [{
        "session_id": "s", "type": "ermirror_src", "destinations": [entity("ip", address)],
        "sources_in": [entity("dvport", "here")], "snap_length": 40, "gre_key": 1234, "erspan_cos": 5,
        "erspan_id": 100, "erspan_gra": 3, **session}]
    for name in "abcdef"[:6 - uplinks]:
        made.port(name, vlan=access(99))
    assert made.port("here", vlan=access(10), client={"mac": "02:00:00:00:01:0a"}) == 7
    return made


def copies(made: Host, now: int = NOW, frame: Any = SAMPLE) -> list[bytes]:
    return [d.frame for d in made.send("here", frame, now).deliveries if d.kind == "mirror"]


@pytest.mark.parametrize("kind", VECTORS)
def test_vectors(kind: str) -> None:
    made = remote(encapsulation=kind)
    assert [copy.hex() for copy in copies(made, 1_700_000_000_123_456)] == [VECTORS[kind].replace(" ", "") + INNER]
    assert counted(made, "s") == [1, 0, 1, 0, 0]


@pytest.mark.parametrize(("granularity", "word"), [(0, "1ef614d2"), (1, "f1415680"), (2, "075bca00"), (3, "18202240")])
def test_times(granularity: Any, word: Any) -> None:
    (copy,) = copies(remote(encapsulation="erspan3", erspan_gra=granularity), 1_700_000_000_123_456)
    assert copy[46:50].hex() == word


def test_the_numbers_of_copies() -> None:
    made = remote(encapsulation="erspan2", snap_length=0)  # E-5
    headers = [copies(made)[0] for _ in range(3)]
    assert [copy[38:42].hex() for copy in headers] == ["00000000", "00000001", "00000002"]
    assert [copy[18:20].hex() for copy in headers] == ["0000", "0001", "0002"]
    assert headers[0][42:46].hex() == "100ab064"  # T: not cut
    made.ports[0].update(block=True)
    made.model.reconfigure(type(made.model.host).from_json(made.document), NOW)
    assert copies(made) == [] and counted(made, "s") == [3, 1, 3, 0, 1]
    made.ports[0].update(block=False)
    made.model.reconfigure(type(made.model.host).from_json(made.document), NOW)
    assert copies(made)[0][38:42].hex() == "00000003"


def test_copies_by_ipv6() -> None:
    made = remote(address="2001:db8::9", stack=1, encapsulation="gre", gre_key=0,
                  stacks={"mirror": {"vlan": 20, "ttl": 9, "dscp": 10, "ipv6": "2001:db8::2"}})
    (copy,) = copies(made)
    seen = Ether(copy)
    assert (seen.vlan, seen.prio, seen["IPv6"].hlim, seen["IPv6"].tc, seen["IPv6"].nh) == (20, 0, 9, 40, 47)
    assert (seen["IPv6"].src, seen["IPv6"].dst, seen["IPv6"].plen) == ("2001:db8::2", "2001:db8::9", 44)
    assert copy[58:62].hex() == "00006558" and copy[62:].hex() == INNER


def test_copies_that_fail() -> None:
    longest = SAMPLE + bytes(1476 - 60)  # with IPv4 and GRE 1500 bytes: X-1
    assert [len(copy) for copy in copies(remote(snap_length=0, gre_key=0), frame=longest)] == [1514]
    assert copies(remote(snap_length=0, gre_key=0), frame=longest + b"!") == []
    assert copies(remote(uplinks=0)) == []
    made = remote()
    made.ports[0]["vlan"] = access(10)
    assert copies(made) == []  # T-9: VLAN 0
    made = remote()
    made.switch["team"] = {"active": ["nic0"], "flags": ["block_output"]}
    assert copies(made) == []
