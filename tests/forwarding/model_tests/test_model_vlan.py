"""VLANs and private VLANs in the model, worked out by hand from the rules; frames are scapy's."""

from typing import Any

import pytest
from model_hosts import Host, access, drops, mac, places, private, reasons, trunk
from scapy.layers.inet import IP, UDP
from scapy.layers.l2 import Dot1AD, Dot1Q, Ether
from scapy.packet import Raw

pytestmark = pytest.mark.pure_python

ALL = "ff:ff:ff:ff:ff:ff"


def broadcast(source: int, *tags: Any, kind: int = 0x1234) -> Any:
    frame = Ether(src=mac(source), dst=ALL)
    for tag in tags:
        frame /= tag
    frame.lastlayer().type = kind
    return frame / Raw(bytes(46))


@pytest.mark.parametrize(
    ("policy", "tag", "outcome"),
    [
        # V-1, V-2, V-4
        (access(10), None, 10),
        (access(10), Dot1Q(vlan=0, prio=3), 10),
        (access(10), Dot1Q(vlan=10), "vlan-tagged"),
        (access(10), Dot1Q(vlan=4095), "vlan-reserved"),
        (trunk(), Dot1Q(vlan=4095), "vlan-reserved"),
        # V-3: both ends are included; without ranges all
        (trunk([10, 12]), Dot1Q(vlan=10), 10),
        (trunk([10, 12]), Dot1Q(vlan=12), 12),
        (trunk([10, 12]), Dot1Q(vlan=13), "vlan-not-allowed"),
        (trunk([10, 12]), Dot1Q(vlan=9), "vlan-not-allowed"),
        (trunk(), Dot1Q(vlan=4094), 4094),
        # V-4: the native VLAN is always allowed, VLAN 0 if a range contains it
        (trunk([10, 12], native=20), Dot1Q(vlan=20), 20),
        (trunk([10, 12], native=20), None, 20),
        (trunk([10, 12]), None, "vlan-untagged"),
        (trunk([0, 12]), None, 0),
        (trunk(native=4095), None, 0),
        (trunk([5, 6], native=4095), Dot1Q(vlan=0), "vlan-untagged"),
    ],
)
def test_the_vlan_of_a_frame(policy: Any, tag: Any, outcome: Any) -> None:
    host = Host(uplinks=0)
    sender = host.port("a", vlan=policy)
    for vlan in (0, 10, 12, 20, 4094):
        host.port(str(vlan), vlan=access(vlan))
    result = host.send("a", broadcast(sender, *([tag.copy()] if tag else [])))
    assert (places(result), reasons(result)) == (([str(outcome)], []) if isinstance(outcome, int) else ([], [outcome]))


@pytest.mark.parametrize(
    ("policy", "tag", "expected"),
    [
        # V-10 to V-12, V-16: what a receiver in the VLAN sees
        (access(10), Dot1Q(vlan=10, prio=5, id=1), None),
        (trunk(), Dot1Q(vlan=10, prio=5, id=1), (10, 5, 1)),
        (trunk(native=10), Dot1Q(vlan=10, prio=5), None),
        (trunk(native=20), Dot1Q(vlan=10), (10, 0, 0)),
        (trunk(), None, None),
        (trunk(), Dot1Q(vlan=0, prio=5), (0, 5, 0)),
        (trunk(native=4095), Dot1Q(vlan=0, id=1), (0, 0, 1)),
    ],
)
def test_the_tag_of_a_frame_that_leaves(policy: Any, tag: Any, expected: Any) -> None:
    host = Host(uplinks=1)
    sender = host.port("a", vlan=trunk())
    host.port("b", vlan=policy)
    result = host.send("a", broadcast(sender, *([tag.copy()] if tag else [])))
    (given,) = [d.frame for d in result.deliveries if d.endpoint == ("sw", "b")]
    seen = Ether(given)
    assert ((seen.vlan, seen.prio, seen.id) if Dot1Q in seen else None) == expected
    assert seen.lastlayer().load == bytes(46) and len(given) == (64 if expected else 60)


def test_a_trunk_with_another_native_vlan_is_not_in_vlan_0() -> None:
    host = Host(uplinks=0)  # the precision of V-5
    sender = host.port("a")
    host.port("b", vlan=trunk(native=10))
    host.port("c", vlan=trunk([0, 10], native=0))
    assert places(host.send("a", broadcast(sender))) == ["c"]


def test_priority_of_a_port() -> None:
    host = Host()  # V-6
    policy = {"mode": "trunk", "vlan": 0, "set_priority": True}
    a = host.port("a", vlan=policy, priority=4)
    b = host.port("b", vlan=policy, priority=4, retain_priority=True)
    for name, number, tag, expected in (
        ("a", a, Dot1Q(vlan=7, prio=2, id=1), (4, 1)), ("b", b, Dot1Q(vlan=7, prio=2), (2, 0)),
        ("b", b, None, (4, 0)), ("b", b, Dot1Q(vlan=0), None),
    ):
        frame = broadcast(number, *([tag] if tag else []))
        given = Ether(next(d.frame for d in host.send(name, frame).deliveries if d.endpoint == "nic0"))
        assert ((given.prio, given.id) if Dot1Q in given else None) == expected


def test_a_tag_kept_as_payload() -> None:
    """V-13 at an access port: the guest's tag goes inside, whatever its VLAN, and gives no priority."""
    host = Host()
    sender = host.port("a", vlan=access(10), nested_tag=True)
    host.port("b", vlan=access(10), nested_tag=True)
    host.port("c", vlan=access(10))
    host.port("d", vlan=trunk(), nested_tag=True)
    frame = bytes(broadcast(sender, Dot1Q(vlan=4095, prio=6)))
    result = host.send("a", frame)
    assert places(result) == ["nic0", "b", "d"]  # c has nested tags off
    tagged = frame[:12] + bytes.fromhex("8100000a") + frame[12:]
    assert [d.frame for d in result.deliveries] == [tagged, frame, tagged]
    # A priority tag is no VLAN: it stays an outer tag.
    result = host.send("a", broadcast(sender, Dot1Q(vlan=0, prio=6)))
    assert Ether(result.deliveries[0].frame).prio == 6 and places(result) == ["nic0", "b", "c", "d"]


def test_nested_frames() -> None:
    host = Host(switch_id="id")  # V-13, V-14, V-15, V-16
    off = host.port("off", vlan=trunk())
    on = host.port("on", vlan=trunk(), nested_tag=True)
    host.port("native", vlan=trunk(native=10), nested_tag=True)
    double = broadcast(on, Dot1Q(vlan=10), Dot1Q(vlan=20))
    assert reasons(host.send("off", broadcast(off, Dot1Q(vlan=10), Dot1Q(vlan=20)))) == ["nested-tag"]
    result = host.send("on", double)
    assert places(result) == ["nic0", "native"]
    assert {d.frame for d in result.deliveries} == {bytes(double)}  # tagged in the native VLAN, too
    # Untagged 88a8 is in VLAN 0 and leaves as it is; an 8100 behind a priority tag would change its VLAN.
    service = Ether(src=mac(on), dst=ALL) / Dot1AD(vlan=30) / Raw(bytes(46))
    assert [d.frame for d in host.send("on", service).deliveries] == [bytes(service)]
    dropped = host.send("on", broadcast(on, Dot1Q(vlan=0), Dot1Q(vlan=20))).drops[0]
    assert (dropped.reason, dropped.rule) == ("nested-tag", "V-15")


def test_known_unicast_to_a_port_without_nested_tags() -> None:
    host = Host(uplinks=0)
    on = host.port("on", vlan=trunk(), nested_tag=True)
    off = host.port("off", vlan=trunk())
    frame = Ether(src=mac(on), dst=mac(off)) / Dot1Q(vlan=10) / Dot1Q(vlan=20) / Raw(bytes(46))
    assert drops(host.send("on", frame)) == [("off", "nested-tag", "out")]


MAP = [
    {"primary": 100, "secondary": 100, "type": "promiscuous"},
    {"primary": 100, "secondary": 101, "type": "isolated"},
    {"primary": 100, "secondary": 102, "type": "community"},
    {"primary": 100, "secondary": 103, "type": "community"},
    {"primary": 200, "secondary": 200, "type": "promiscuous"},
]
PORTS = {"p1": 100, "p2": 100, "i1": 101, "i2": 101, "c1": 102, "c2": 102, "d1": 103, "q1": 200}
REACHES = {  # PV-1, by the VLAN of the sender
    100: {"p1", "p2", "i1", "i2", "c1", "c2", "d1"}, 101: {"p1", "p2"}, 102: {"p1", "p2", "c1", "c2"},
    103: {"p1", "p2", "d1"}, 200: {"q1"},
}


def private_host() -> tuple[Host, dict[str, int]]:
    host = Host(private_vlans=MAP)
    numbers = {name: host.port(name, vlan=private(vlan)) for name, vlan in PORTS.items()}
    return host, numbers


@pytest.mark.parametrize("sender", PORTS)
def test_the_private_vlan_matrix(sender: str) -> None:
    host, numbers = private_host()
    expected = REACHES[PORTS[sender]] - {sender}
    result = host.send(sender, broadcast(numbers[sender]))
    assert set(places(result)) == expected | {"nic0"}
    # PV-3: on the wire the VLAN is the sender's own; back in, PV-1 decides by the tag (PV-4).
    wire = Ether(result.deliveries[0].frame)
    assert wire.vlan == PORTS[sender]
    back = Ether(src="02:00:00:00:09:09", dst=ALL) / Dot1Q(vlan=PORTS[sender]) / Raw(bytes(46))
    assert set(places(host.send("nic0", back))) == REACHES[PORTS[sender]]
    for receiver, number in numbers.items():
        if receiver == sender:
            continue
        result = host.send(sender, Ether(src=mac(numbers[sender]), dst=mac(number), type=0x1234) / Raw(bytes(46)))
        if receiver in expected:
            assert places(result) == [receiver]
        elif PORTS[receiver] // 100 == PORTS[sender] // 100:
            assert drops(result) == [(sender, "private-vlan", "in")]
        else:  # not found there: unknown, to the team
            assert places(result) == ["nic0"]


def test_private_ports_and_tags() -> None:
    host = Host(private_vlans=MAP)
    sender = host.port("i", vlan=private(101))
    lost = host.port("lost", vlan=private(77))
    host.port("plain", vlan=access(101))
    host.port("other", vlan=access(100))
    assert reasons(host.send("i", broadcast(sender, Dot1Q(vlan=101)))) == ["vlan-tagged"]
    assert reasons(host.send("lost", broadcast(lost))) == ["private-vlan"]
    # PV-4: other ports are ordinary members of exactly that VLAN.
    assert places(host.send("i", broadcast(sender))) == ["nic0", "plain"]


def test_learning_is_in_the_primary_vlan() -> None:
    host = Host(private_vlans=MAP)  # PV-2
    sender = host.port("c", vlan=private(102), mac_management={"learning": True})
    promiscuous = host.port("p", vlan=private(100))
    stranger = "02:00:00:00:09:01"
    host.send("c", Ether(src=stranger, dst=ALL) / Raw(bytes(50)))
    learned = [entry for entry in host.model.mac_table("sw", 0) if entry.type == "learned"]
    assert [(entry.mac, entry.vlan, entry.port) for entry in learned] == [(stranger, 100, "c")]
    result = host.send("p", Ether(src=mac(promiscuous), dst=stranger, type=0x1234) / Raw(bytes(46)))
    assert places(result) == ["c"] and sender


@pytest.mark.parametrize(
    ("length", "tags", "outcome"),
    [(1514, 0, []), (1515, 0, ["too-long"]), (1518, 1, []), (1519, 1, ["too-long"]), (1522, 2, []),
     (1523, 2, ["too-long"]),
     (1522, 3, []), (1523, 3, ["too-long"]), (13, 0, ["runt"]), (17, 1, ["malformed"]), (18, 1, [])],
)
def test_lengths(length: int, tags: Any, outcome: Any) -> None:
    host = Host()  # P-7, X-1
    sender = host.port("a", vlan=trunk(), nested_tag=True)
    frame = Ether(src=mac(sender), dst=ALL)
    for vlan in (10, 20, 30)[:tags]:
        frame /= Dot1Q(vlan=vlan)
    whole = (bytes(frame / IP() / UDP() / Raw(bytes(1600))))[:length]
    assert reasons(host.send("a", whole)) == outcome
    counted = host.counters("a")
    assert counted.get("pktsInBroadcast", 0) == (length >= 14)  # C-2: a runt is not counted in
    assert counted.get("pktsInDropped", 0) == len(outcome)
