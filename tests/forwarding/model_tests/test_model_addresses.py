"""MAC learning, look-up, security and receivers in the model, worked out by hand from the rules; frames are scapy's."""

import zlib
from collections.abc import Callable
from typing import Any

import pytest
from model_hosts import NOW, Host, access, drops, mac, places, reasons, trunk
from scapy.layers.l2 import Dot1Q, Ether
from scapy.packet import Raw

pytestmark = pytest.mark.pure_python

ALL = "ff:ff:ff:ff:ff:ff"
STRANGER, OTHER = "02:00:00:00:09:01", "02:00:00:00:09:02"
LEARNS = {"learning": True}


def unicast(source: str, destination: str, vlan: int | None = None) -> Any:
    frame = Ether(src=source, dst=destination)
    if vlan is not None:
        frame /= Dot1Q(vlan=vlan)
    frame.lastlayer().type = 0x1234
    return frame / Raw(bytes(46))


def learned(host: Host, now: int = NOW) -> list[tuple[Any, ...]]:
    return [(entry.mac, entry.vlan, entry.port, entry.elapsed, entry.moves)
            for entry in host.model.mac_table("sw", now) if entry.type == "learned"]


def test_the_example_of_the_interface() -> None:
    host = Host()  # a frame to the uplink, and the same one from the wire: T-4
    host.port("a", client={"mac": "02:00:00:00:01:0a"})
    frame = bytes.fromhex("ffffffffffff 02000000010a 0800") + bytes(46)
    result = host.send("a", frame)
    assert [(d.endpoint, d.frame, d.kind) for d in result.deliveries] == [("nic0", frame, "frame")]
    assert drops(host.send("nic0", frame)) == [("nic0", "reflected", "in")]
    assert host.counters("a") == {"pktsInBroadcast": 1, "bytesInBroadcast": 60}
    assert host.counters("nic0") == {"pktsOutBroadcast": 1, "bytesOutBroadcast": 60, "pktsInBroadcast": 1,
                                     "bytesInBroadcast": 60, "pktsInDropped": 1}


def test_learning_refreshing_aging() -> None:
    host = Host(mac_settings={"aging_time": 10})  # MAC-1, MAC-3
    host.port("a", mac_management=LEARNS)
    b = host.port("b")
    second = 1_000_000
    host.send("a", unicast(STRANGER, ALL), NOW + 900_000)
    assert learned(host) == [(STRANGER, 0, "a", 0, 0)]
    host.send("a", unicast(STRANGER, ALL), NOW + 4 * second)
    assert learned(host, NOW + 14 * second - 1) == [(STRANGER, 0, "a", 9, 0)]
    assert learned(host, NOW + 14 * second) == []
    assert places(host.send("b", unicast(mac(b), STRANGER), NOW + 14 * second)) == ["nic0"]


def test_moves() -> None:
    lag = {"name": "l", "members": ["nic1", "nic2"], "up": ["nic1", "nic2"]}
    host = Host(uplinks=3, lags=[lag], options={"ReversePathFwdCheck": 0})  # MAC-7
    host.port("a", mac_management=LEARNS)
    host.port("b", mac_management=LEARNS)
    for place in ("a", "b", "b", "nic0", "nic1", "nic2"):
        host.send(place, unicast(STRANGER, ALL))
    assert learned(host) == [(STRANGER, 0, "uplink-2", 0, 3)]
    assert [host.counters(place).get("numMACsMoved") for place in ("a", "b", "nic0", "nic1", "nic2")] == [
        None, 1, 1, 1, None]
    assert host.counters("nic2")["numMACsLearned"] == 1 and host.model.mac_table("sw", NOW)[-1].team


def test_static_addresses_are_not_learned() -> None:
    for settings, expected in (({}, 0), ({"learn_static": True}, 1), ({"static_allowed": False}, 1)):
        host = Host(mac_settings=settings)  # MAC-2
        host.port("a", mac_management=LEARNS)
        b = host.port("b")
        host.send("a", unicast(mac(b), ALL))
        assert len(learned(host)) == expected


def test_an_uplink_learns_while_a_client_port_does() -> None:
    for policy, expected in ((None, 0), (LEARNS, 1)):
        host = Host()
        host.port("a", mac_management=policy)
        host.send("nic0", unicast(STRANGER, ALL))
        assert len(learned(host)) == expected


@pytest.mark.parametrize(("policy", "outcome"), [("allow", "nic0"), ("drop", "mac-limit")])
def test_limit_of_a_port(policy: Any, outcome: Any) -> None:
    host = Host()  # MAC-9; an entry by hand counts
    host.port("a", mac_management={"learning": True, "limit": 2, "at_limit": policy},
              user_macs=[{"mac": "02:00:00:00:09:99"}])
    host.send("a", unicast(STRANGER, OTHER))
    assert places(host.send("a", unicast(STRANGER, OTHER))) == ["nic0"]  # known already
    result = host.send("a", unicast(OTHER, ALL))
    assert places(result) + reasons(result) == [outcome]
    counted = host.counters("a")
    assert counted["numMACsLearned"] == 1
    assert counted.get("noLearningAllowedPkts", 0) == (policy == "allow")
    # What a limit drops is in both, and counted once.
    assert counted.get("noLearningDroppedPkts", 0) == counted.get("pktsInDropped", 0) == (policy == "drop")


def test_limits_of_switch_and_uplink() -> None:
    host = Host(mac_settings={"limit": 1})
    host.port("a", mac_management=LEARNS)
    host.port("b", mac_management=LEARNS)
    host.send("a", unicast(STRANGER, ALL))
    host.send("b", unicast(OTHER, ALL))
    assert [entry[0] for entry in learned(host)] == [STRANGER]
    host.send("b", unicast(STRANGER, ALL))  # a move on the same side is not new
    assert learned(host) == [(STRANGER, 0, "b", 0, 1)]
    host.send("nic0", unicast(OTHER, ALL))  # the team has a limit of its own
    assert len(learned(host)) == 2
    host = Host()
    host.ports[0]["mac_management"] = {"limit": 0}
    host.port("a", mac_management=LEARNS)
    host.send("nic0", unicast(OTHER, ALL))
    assert learned(host) == [] and host.counters("nic0")["noLearningAllowedPkts"] == 1
    assert host.model.team_allowed_at_port_limit("sw") == 1


def test_unknown_unicast() -> None:
    host = Host(uplinks=2, options={"ReversePathFwdCheck": 0})  # MAC-5
    a = host.port("a")
    host.port("b", mac_management={"flooding": True})
    host.port("c", extra_filter={"flags": ["sink"]})
    host.port("d", mac_management={"flooding": True}, vlan=access(10))
    assert places(host.send("a", unicast(mac(a), STRANGER))) == ["nic1", "b", "c"]
    assert places(host.send("nic0", unicast(OTHER, STRANGER))) == ["b", "c"]
    assert reasons(host.send("nic0", unicast(OTHER, STRANGER, 7))) == ["unknown-unicast"]


def test_known_addresses() -> None:
    host = Host(uplinks=2)  # MAC-6, MAC-11, MAC-12, MAC-20
    a = host.port("a", mac_management=LEARNS)
    b = host.port("b", vlan=trunk([0, 10]))
    host.port("empty", client=None, user_macs=[{"mac": OTHER}])
    host.port("far", vlan=access(10), user_macs=[{"mac": "02:00:00:00:09:03"}])
    assert places(host.send("a", unicast(mac(a), mac(b)))) == ["b"]
    assert reasons(host.send("a", unicast(mac(a), mac(a)))) == ["same-port"]
    assert drops(host.send("a", unicast(mac(a), OTHER))) == [("empty", "no-client", "out")]
    assert drops(host.send("a", unicast(mac(a), "02:00:00:00:09:03"))) == [("a", "not-a-member", "in")]
    host.send("nic1", unicast(STRANGER, ALL))
    assert reasons(host.send("nic1", unicast(OTHER, STRANGER))) == ["same-port"]
    assert reasons(host.send("nic0", unicast("02:00:00:00:09:04", STRANGER))) == ["uplink-to-uplink"]
    assert places(host.send("a", unicast(mac(a), STRANGER))) == ["nic1"]  # port 3; whichever it was learned at


def test_order_of_look_up() -> None:
    for learn_static, expected in ((False, "c"), (True, "b")):
        host = Host(uplinks=0, mac_settings={"learn_static": learn_static})
        a = host.port("a")
        host.port("b", mac_management=LEARNS)
        c = host.port("c")
        host.send("b", unicast(mac(c), ALL))
        assert places(host.send("a", unicast(mac(a), mac(c)))) == [expected if learn_static else "c"]
    # An address by hand goes before a client's, of several clients the lowest number.
    host = Host(uplinks=0)
    a = host.port("a")
    same = host.port("b")
    host.port("c", client={"mac": mac(same)})
    assert places(host.send("a", unicast(mac(a), mac(same)))) == ["b"]
    host = Host(uplinks=0)
    a = host.port("a")
    host.port("b")
    host.port("c", user_macs=[{"mac": mac(same)}])
    assert places(host.send("a", unicast(mac(a), mac(same)))) == ["c"]


def test_the_table() -> None:
    host = Host()
    a = host.port("a", vlan=access(10), mac_management=LEARNS, user_macs=[{"mac": OTHER, "vlan": 20, "since": NOW}])
    host.port("b", vlan=trunk(native=5), security={"disallow_mac_change": True},
              client={"mac": "02:00:00:00:01:99", "effective_mac": "02:00:00:00:01:98"})
    host.send("a", unicast(STRANGER, ALL))
    host.send("nic0", unicast("02:00:00:00:09:07", ALL, 10))
    assert [tuple(entry) for entry in host.model.mac_table("sw", NOW + 2_500_000)] == [
        (mac(a), 10, "static", "a", 0, 0, False),
        ("02:00:00:00:01:99", 0, "static", "b", 0, 0, False),
        (OTHER, 20, "user", "a", 2, 0, False),
        (STRANGER, 10, "learned", "a", 2, 0, False),
        ("02:00:00:00:09:07", 10, "learned", "uplink-0", 2, 0, True),
    ]


# ---- security, receivers --------------------------------------------------------------------------------------------


def test_forged_sources() -> None:
    host = Host()  # S-2
    a = host.port("a", security={"disallow_forged_src": True}, client={"effective_mac": "02:00:00:00:01:77"})
    host.port("none", security={"disallow_forged_src": True}, client={"mac": None})
    assert reasons(host.send("a", unicast(mac(a), STRANGER))) == ["forged-source"]
    assert places(host.send("a", unicast("02:00:00:00:01:77", STRANGER))) == ["nic0"]
    assert reasons(host.send("none", unicast(STRANGER, OTHER))) == ["forged-source"]
    assert host.counters("a") == {"pktsInUnicast": 2, "bytesInUnicast": 120, "pktsInDropped": 1}


def test_a_client_in_violation_receives_nothing() -> None:
    host = Host(uplinks=0)  # S-1, S-3
    a = host.port("a")
    assigned = host.port("b", security={"disallow_mac_change": True}, client={"effective_mac": OTHER})
    host.port("c", mac_management={"change_allowed": False, "flooding": True}, client={"effective_mac": STRANGER})
    assert drops(host.send("a", unicast(mac(a), mac(assigned)))) == [("b", "mac-changed", "out")]
    assert reasons(host.send("a", unicast(mac(a), OTHER))) == ["unknown-unicast"]
    assert reasons(host.send("a", unicast(mac(a), ALL))) == ["no-receiver"]
    assert places(host.send("b", unicast(OTHER, mac(a)))) == ["a"]
    assert host.counters("b")["pktsOutDropped"] == 1


def test_promiscuous_ports() -> None:
    host = Host()  # S-4
    a = host.port("a")
    b = host.port("b")
    host.port("wants", client={"promiscuous": True})
    host.port("filter", extra_filter={"flags": ["promisc"]})
    host.port("may not", client={"promiscuous": True}, security={"disallow_promisc": True})
    host.port("elsewhere", client={"promiscuous": True}, vlan=access(10))
    assert places(host.send("a", unicast(mac(a), mac(b)))) == ["b", "wants!", "filter!"]
    assert places(host.send("a", unicast(mac(a), mac(a)))) == ["wants!", "filter!"]  # a drop does not end it for them
    assert places(host.send("a", unicast(mac(a), ALL))) == ["nic0", "b", "wants", "filter", "may not"]
    # What did not pass step 8 is not for them: bad-source, reserved-address, reflected.
    assert places(host.send("a", unicast("01:00:00:00:00:01", ALL))) == []
    assert places(host.send("a", unicast(mac(a), "01:80:c2:00:00:00"))) == []
    assert places(host.send("nic0", unicast(mac(a), ALL))) == []
    counted = host.model.mirror_counters("sw", "legacy_promiscuous")
    assert counted["mirrorPktCnt"] == 4 and counted["mirroredPkts"] == 2


def test_ports_that_cannot_receive() -> None:
    host = Host(uplinks=0)
    a = host.port("a")
    down = host.port("down", client={"link": False})
    blocked = host.port("blocked", block=True)
    zombie = host.port("zombie", zombie=True)
    rtm = host.port("rtm", rtm_block=True)
    for number, name, reason in ((down, "down", "link-down"), (blocked, "blocked", "port-blocked"),
                                 (zombie, "zombie", "zombie-port"), (rtm, "rtm", "port-blocked")):
        assert drops(host.send("a", unicast(mac(a), mac(number)))) == [(name, reason, "out")]
        assert drops(host.send(name, unicast(mac(number), ALL))) == [(name, reason, "in")]
        assert host.counters(name) == {"pktsInDropped": 1, "pktsOutDropped": 1}
    assert reasons(host.send("a", unicast(mac(a), ALL))) == ["no-receiver"]


def test_the_gate() -> None:
    host = Host()  # P-6
    host.nics.append({"name": "nic9", "mac": "02:00:00:00:00:09"})
    a = host.port("a")
    host.port("empty", client=None)
    assert drops(host.send("nic9", unicast(STRANGER, ALL))) == [("nic9", "nic-unbound", "in")]
    assert drops(host.send("empty", unicast(STRANGER, ALL))) == [("empty", "no-client", "in")]
    setting: Any
    for setting, reason in (({"portset": None}, "no-portset"), ({"proxy_state": 1}, "no-portset"),
                            ({"forwarding_disabled": True}, "forwarding-disabled")):
        host = Host(**setting)
        host.port("a", client={"link": False})
        assert reasons(host.send("a", unicast(mac(a), ALL))) == [reason]


def test_reserved_addresses_and_what_uplinks_consume() -> None:
    host = Host()  # MAC-10, L-1, BC-1
    a = host.port("a")
    host.port("b")
    for last in range(16):
        assert reasons(host.send("a", unicast(mac(a), f"01:80:c2:00:00:{last:02x}"))) == ["reserved-address"]
    assert places(host.send("a", unicast(mac(a), "01:80:c2:00:00:10"))) == ["nic0"]
    lacp = bytes(Ether(src=STRANGER, dst="01:80:c2:00:00:02", type=0x8809) / Raw(bytes(110)))
    beacon = (bytes.fromhex("ffffffffffff 020000000001 8922 56534231 6553f100") + b"id".ljust(64, b"\0")
              + (1).to_bytes(4, "big"))
    assert len(beacon) == 90
    for frame in (lacp, beacon):
        result = host.send("nic0", frame)
        assert result.consumed and not result.deliveries and not result.drops
    assert host.counters("nic0")["pktsInException"] == 2
    assert reasons(host.send("nic0", unicast(STRANGER, "01:80:c2:00:00:02", 7))) == ["reserved-address"]
    assert places(host.send("nic0", beacon.replace(b"id\0", b"ie\0"))) == ["a", "b"]


def test_legacy_multicast() -> None:
    host = Host(uplinks=0, user_multicast=["01:00:5e:01:01:01"])  # IG-20
    a = host.port("a")
    host.port("switch's")
    host.port("own", user_multicast=["01:00:5e:01:01:02"], user_multicast_override=True)
    host.port("joined", client={"groups": [{"address": "239.129.1.2"}, {"address": "ff0e::1:3"}]})
    host.port("runs", client={"multicast_macs": ["01:00:5e:01:01:03"]}, extra_filter={"flags": ["allmulti"]})
    expected = {
        "01:00:5e:01:01:01": ["switch's", "joined", "runs"],
        "01:00:5e:01:01:02": ["own", "joined", "runs"],
        "33:33:00:01:00:03": ["joined", "runs"],
        "01:00:5e:00:00:01": ["switch's", "own", "joined", "runs"],
        "33:33:00:00:00:01": ["switch's", "own", "joined", "runs"],
        "33:33:00:00:00:02": ["runs"],
    }
    for group, receivers in expected.items():
        assert places(host.send("a", unicast(mac(a), group))) == receivers
    host = Host(uplinks=0)
    a = host.port("a")
    host.port("b")
    assert reasons(host.send("a", unicast(mac(a), "01:00:5e:01:01:01"))) == ["multicast-filtered"]


def test_hash_filter() -> None:
    group = bytes.fromhex("01005e000116")  # S-9: bucket 16
    crc = zlib.crc32(group) ^ 0xFFFFFFFF
    assert crc >> 26 == 16
    same = next(bytes.fromhex("01005e7f") + n.to_bytes(2, "big") for n in range(65536)
                if (zlib.crc32(bytes.fromhex("01005e7f") + n.to_bytes(2, "big")) ^ 0xFFFFFFFF) >> 26 == 16)
    for mode, flags, outcome in (("legacy", ["use_ladrf"], ["b"]), ("legacy", [], [])):
        host = Host(uplinks=0, multicast_mode=mode)
        a = host.port("a")
        host.port("b", extra_filter={"flags": flags, "addresses": [group.hex(":")]})
        assert places(host.send("a", unicast(mac(a), same.hex(":")))) == outcome


def test_frames_to_the_uplink_as_well() -> None:
    host = Host()  # S-10
    a = host.port("a", tx_uplink=True)
    b = host.port("b")
    assert places(host.send("a", unicast(mac(a), mac(b)))) == ["nic0", "b"]
    assert places(host.send("b", unicast(mac(b), mac(a)))) == ["a"]
    host = Host()
    host.nics[0]["carrier"] = False
    a = host.port("a", tx_uplink=True)
    b = host.port("b")
    result = host.send("a", unicast(mac(a), mac(b)))
    assert (places(result), drops(result)) == (["b"], [])


def test_what_a_change_of_the_configuration_removes() -> None:
    def entries(change: Callable[[Any], object]) -> list[tuple[Any, ...]]:  # V-8, MAC-8, MAC-3
        host = Host(private_vlans=[{"primary": 10, "secondary": 10, "type": "promiscuous"}])
        host.port("a", mac_management=LEARNS, vlan=trunk())
        for vlan in (10, 20):
            host.send("a", unicast(STRANGER, ALL, vlan))
        host.send("nic0", unicast(OTHER, ALL, 20))
        change(host)
        host.model.reconfigure(type(host.model.host).from_json(host.document), NOW + 5_000_000)
        return [(entry[0], entry[1]) for entry in learned(host, NOW + 5_000_000)]

    def with_port(**settings: Any) -> list[tuple[Any, ...]]:
        return entries(lambda host: host.ports[1].update(settings))

    everything = [(STRANGER, 10), (STRANGER, 20), (OTHER, 20)]
    assert with_port() == with_port(security={"disallow_promisc": True}) == everything
    assert with_port(vlan=trunk([10, 20])) == with_port(client=None) == [(OTHER, 20)]
    assert with_port(client={"name": "a", "mac": mac(2), "link": False}) == [(OTHER, 20)]
    assert entries(lambda host: host.nics[0].update(carrier=False)) == everything[:2]
    assert entries(lambda host: host.switch.update(private_vlans=[])) == everything[1:]
    assert entries(lambda host: host.switch.update(mac_settings={"aging_time": 5})) == []
