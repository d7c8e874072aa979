"""What holds for every frame on every host, on random ones. A failure prints its seed, which makes the same host
again."""

import collections
import os
import pathlib
import struct
import subprocess
from collections.abc import Iterator
from random import Random
from typing import Any

import pytest
from hosts import access, description, frame, host, mac, private, setting, trunk
from hypothesis import given, seed, settings
from hypothesis import strategies as st
from workspace import BUILD

from boot import description as boot_of
from boot import number as constant
from random_hosts import START, random_change, random_host, random_traffic
from vswitch.simulated import Kind, Reason, SimulatedHost

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
HOSTS = settings(max_examples=1000 if FULL else 25, deadline=None, print_blob=True, database=None)
FRAMES = 200 if FULL else 60
SEEDS = st.integers(0, 2**32 - 1)
OUT_OF_STEP_1 = {Reason.NIC_UNBOUND, Reason.NO_PORTSET, Reason.FORWARDING_DISABLED, Reason.ZOMBIE_PORT,
                 Reason.NO_CLIENT,
                 Reason.LINK_DOWN, Reason.PORT_BLOCKED}


def random_simulated(number: int) -> tuple[SimulatedHost, dict[str, Any], list[Any]]:
    """A host, its document, and its frames in the order of their times."""
    document = random_host(number)
    return SimulatedHost(boot=boot_of(document, START)), document, list(random_traffic(number, document, FRAMES))


def each_frame(number: int) -> Iterator[tuple[SimulatedHost, dict[str, Any], Any, bytes]]:
    """The frames of a random host, with time and changes of clients in between, for the caller to send: (host,
    document, endpoint, frame) each."""
    it, document, traffic = random_simulated(number)
    random = Random(f"changes {number}")
    now = START
    for endpoint, data, at in traffic:
        if at > now:
            it.advance((at - now) / 1e6)
            now = at
        changed = random_change(random, document) if random.random() < 0.05 else None
        if changed is not None:
            document, port, changes = changed
            it.set_client(port, **changes)
        yield it, document, endpoint, data


# ---- P-3, P-4 --------------------------------------------------------------------------------------------------------


@seed(3)
@HOSTS
@given(SEEDS)
def test_P_3_and_P_4_every_frame_comes_to_an_end_once(number: int) -> None:
    for it, _, endpoint, data in each_frame(number):
        result = it.send(endpoint, data)
        real = [delivery for delivery in result.deliveries if delivery.kind is not Kind.MIRROR]
        assert real or result.drops or result.consumed == 1, (endpoint, data.hex())
        received = [delivery.endpoint for delivery in result.deliveries if delivery.kind in (Kind.FRAME,
                                                                                             Kind.PROMISCUOUS)]
        assert endpoint not in received and len(set(received)) == len(received), (endpoint, data.hex())
        coming_in = [drop for drop in result.drops if drop.stage == "in"]
        assert len(coming_in) <= 1 and result.frames == 1 and result.consumed in (0, 1)
        if coming_in:
            assert not [one for one in result.deliveries if one.kind is Kind.FRAME and one.index >= 0], result
        for drop in result.drops:
            assert drop.stage == "in" or drop.place not in received


# ---- VLAN ------------------------------------------------------------------------------------------------------------


class Vlans:
    """The VLANs of a document's ports, as the rules V-1 to V-5, V-13 to V-15 and PV-1 say; a second reading of
    these."""

    def __init__(self, document: dict[str, Any]) -> None:
        self.ports: dict[Any, tuple[dict[str, Any], bool, dict[int, tuple[int, str]]]] = {}
        for switch in document["switches"]:
            entries = {entry["secondary"]: (entry["primary"], entry["type"]) for entry in switch["private_vlans"]}
            for port in switch["ports"]:
                place = (switch["alias"], port["dvport_id"])
                uplink = bool(port.get("uplink"))
                if uplink:
                    place = port.get("nic") or place
                policy = port.get("vlan") or {"mode": "trunk" if uplink else "access", "vlan": 0}
                nested = port.get("nested_tag")
                if nested is None:
                    nested = uplink and not port.get("vlan") or uplink
                self.ports[place] = policy, nested, entries

    def of_frame(self, place: Any, data: bytes) -> int | None:
        """The VLAN of a frame that comes in at a place, and whether it is nested; None: it is in none."""
        policy, nested_allowed, _ = self.ports[place]
        own: int = policy["vlan"]
        outer = int.from_bytes(data[14:16], "big") & 0xFFF if data[12:14] == b"\x81\0" else None
        if policy["mode"] == "access" and outer and nested_allowed and 1 <= own <= 4094:
            return own
        if not outer:
            return own % 4095 if policy["mode"] == "trunk" else own
        return outer if policy["mode"] == "trunk" and outer != 4095 else None

    def has(self, place: Any, vlan: int) -> bool:
        """Whether a port is a member of a VLAN."""
        policy, _, entries = self.ports[place]
        own: int = policy["vlan"]
        if policy["mode"] == "access":
            return vlan == own
        if policy["mode"] == "trunk":
            ranges = policy.get("ranges") or []
            within = not ranges or any(first <= vlan <= last for first, last in ranges)
            native = own % 4095
            return within or (vlan == native and native != 0)
        if own not in entries or vlan not in entries:
            return False
        (primary, kind), (of_frame, frame_kind) = entries[own], entries[vlan]
        if primary != of_frame:
            return False
        return kind == "promiscuous" or frame_kind == "promiscuous" or (own == vlan and kind == "community")


@seed(5)
@HOSTS
@given(SEEDS)
def test_V_5_no_frame_leaves_its_vlan(number: int) -> None:
    checked = 0
    for it, document, endpoint, data in each_frame(number):
        vlans = Vlans(document)
        result = it.send(endpoint, data)
        for delivery in result.deliveries:
            if delivery.kind not in (Kind.FRAME, Kind.PROMISCUOUS):
                continue
            vlan = vlans.of_frame(endpoint, data)
            assert vlan is not None, (endpoint, delivery, data.hex())
            assert vlans.has(delivery.endpoint, vlan), (endpoint, vlan, delivery, data.hex())
            checked += 1


PRIVATE_PORTS = {"p1": 100, "p2": 100, "i1": 101, "i2": 101, "c1": 102, "c2": 102, "d1": 103, "d2": 103, "q": 200,
                 "e": 202}
MAP = [(100, 100, 1), (100, 101, 2), (100, 102, 3), (100, 103, 3), (200, 200, 1), (200, 202, 3)]


def may_reach(source: str, target: str) -> bool:
    """The matrix of private VLANs, written out."""
    if source[0] in "qe" or target[0] in "qe":
        return {source[0], target[0]} == {"q", "e"}
    return "p" in (source[0], target[0]) or (source[0] == target[0] and source[0] in "cd")


def private_host() -> SimulatedHost:
    types = {1: "PROMISC", 2: "ISOLATED", 3: "COMMUNITY"}
    table = b"".join(struct.pack("<HHB3x", primary, secondary, constant(f"VSPORT_PVLAN_TYPE_{types[kind]}"))
                     for primary, secondary, kind in MAP)
    ports = {name: {"properties": [private(vlan)]} for name, vlan in PRIVATE_PORTS.items()}
    return host(ports, global_properties=[setting("VSPROP_PVLAN_MAP", table)])


@pytest.mark.parametrize("destination", ["broadcast", "multicast", "known", "unknown"])
def test_PV_1_over_all_pairs(destination: str) -> None:
    it = private_host()
    names = list(PRIVATE_PORTS)
    for source in names:
        target_of = {"broadcast": "ff:ff:ff:ff:ff:ff", "multicast": "01:00:5e:00:00:01", "unknown": "02:00:00:00:0f:0f"}
        for target in names:
            if source == target:
                continue
            address = mac(10 + names.index(target)) if destination == "known" else target_of[destination]
            result = it.send(("sw", source), frame(mac(10 + names.index(source)), address))
            received = [delivery.endpoint[1] for delivery in result.deliveries if isinstance(delivery.endpoint, tuple)]
            expected = [name for name in names if name != source and may_reach(source, name)]
            if destination == "unknown":
                assert received == []
                assert [one.frame[12:16].hex() for one in result.deliveries] == [f"8100{PRIVATE_PORTS[source]:04x}"]
            elif destination == "known":
                assert received == ([target] if target in expected else [])
                if target in expected:
                    continue
                reason = [drop.reason for drop in result.drops]
                other_primary = (source[0] in "qe") != (target[0] in "qe")
                assert reason == ([] if other_primary else [Reason.PRIVATE_VLAN]), (source, target, reason)
            else:
                assert received == expected, source


def test_PV_1_from_the_wire_over_all_vlans() -> None:
    it = private_host()
    for vlan in (100, 101, 102, 103, 200, 202):
        source = next(name for name, own in PRIVATE_PORTS.items() if own == vlan)
        data = frame("02:00:00:00:0f:0f", payload=b"\x08\0" + bytes(46), kind="8100" + f"{vlan:04x}")
        received = {delivery.endpoint[1] for delivery in it.send("nic0", data).deliveries}
        mates = {source} if source[0] in "pcdqe" else set()
        assert received == {name for name in PRIVATE_PORTS if may_reach(source, name) or name in mates}, vlan


# ---- counters --------------------------------------------------------------------------------------------------------


def kind_of(data: bytes) -> str:
    if data[:6] == b"\xff" * 6:
        return "Broadcast"
    return "Multicast" if data[0] & 1 else "Unicast"


@seed(7)
@HOSTS
@given(SEEDS)
def test_C_2_every_counter_equals_what_results_showed(number: int) -> None:
    expected: collections.Counter[Any] = collections.Counter()
    consumed: collections.Counter[Any] = collections.Counter()
    it = None
    for it, document, endpoint, data in each_frame(number):  # noqa: B007
        result = it.send(endpoint, data)
        coming_in = [drop for drop in result.drops if drop.stage == "in"]
        if len(data) >= 14 and not (coming_in and coming_in[0].reason in OUT_OF_STEP_1):
            expected[endpoint, f"pktsIn{kind_of(data)}"] += 1
            expected[endpoint, f"bytesIn{kind_of(data)}"] += len(data)
        for drop in result.drops:
            if drop.reason is not Reason.NIC_UNBOUND:
                expected[drop.place, "pktsInDropped" if drop.stage == "in" else "pktsOutDropped"] += 1
        if coming_in and coming_in[0].reason is Reason.MAC_LIMIT:
            expected[coming_in[0].place, "noLearningDroppedPkts"] += 1
        for delivery in result.deliveries:
            expected[delivery.endpoint, f"pktsOut{kind_of(delivery.frame)}"] += 1
            expected[delivery.endpoint, f"bytesOut{kind_of(delivery.frame)}"] += len(delivery.frame)
        consumed[endpoint] += result.consumed
    if it is None:
        return
    bound = {port["nic"] for switch in document["switches"] for port in switch["ports"] if port.get("nic")}
    fast = document["options"]["AllowFastPath"]
    for endpoint in it.endpoints():
        if isinstance(endpoint, str) and endpoint not in bound:
            continue
        counters = it.counters(endpoint)
        for name, value in counters.items():
            if name in ("numMACsLearned", "numMACsMoved", "noLearningAllowedPkts", "pktsOutException",
                        "pktsInException"):
                continue
            assert value == expected[endpoint, name], (endpoint, name)
        if fast:
            assert counters["pktsInException"] >= consumed[endpoint]
        else:
            entered = sum(counters[f"pktsIn{kind}"] for kind in ("Unicast", "Multicast", "Broadcast"))
            assert counters["pktsInException"] == entered


# ---- the same by other ways ------------------------------------------------------------------------------------------


@seed(11)
@HOSTS
@given(SEEDS)
def test_API_8_explain_agrees_with_send_on_a_fork(number: int) -> None:
    for index, (it, _, endpoint, data) in enumerate(each_frame(number)):
        explanation = it.explain(endpoint, data)
        result = (it.fork() if index % 8 == 0 else it).send(endpoint, data)
        assert explanation.deliveries == [one for one in result.deliveries if one.index == 0]
        assert explanation.drops == [one for one in result.drops if one.index == 0]
        assert explanation.consumed == result.consumed
        shown = [step for step in explanation.steps if step.outcome != "next"]
        delivered = collections.Counter(step.place for step in shown if step.outcome == "deliver")
        assert delivered == collections.Counter(one.endpoint for one in explanation.deliveries)
        dropped = [(step.place, step.text.split(":")[0].split(" ")[0]) for step in shown if step.outcome == "drop"]
        assert collections.Counter(dropped) == collections.Counter(
            (one.place, one.reason.value) for one in explanation.drops)


def state(it: SimulatedHost) -> Any:
    endpoints = it.endpoints()
    counters = {}
    for endpoint in endpoints:
        if isinstance(endpoint, tuple):
            counters[endpoint] = it.counters(endpoint), it.client(endpoint)
    return counters, {alias: it.mac_table(alias) for alias in sorted({one[0] for one in counters})}, it.now_us


@seed(13)
@HOSTS
@given(SEEDS)
def test_API_6_a_batch_equals_single_sends(number: int) -> None:
    it, _, traffic = random_simulated(number)
    frames = [(endpoint, data) for endpoint, data, _ in traffic]
    other = it.fork()
    whole = it.send_many(iter(frames))
    deliveries, drops, consumed = [], [], 0
    for index, (endpoint, data) in enumerate(frames):
        result = other.send(endpoint, data)
        deliveries += [one._replace(index=index if one.index == 0 else one.index) for one in result.deliveries]
        drops += [one._replace(index=index if one.index == 0 else one.index) for one in result.drops]
        consumed += result.consumed
    assert whole.deliveries == deliveries and whole.drops == drops
    assert (whole.frames, whole.consumed) == (len(frames), consumed)
    assert state(it) == state(other)


@seed(17)
@HOSTS
@given(SEEDS)
def test_D_1_two_forks_fed_alike_answer_alike(number: int) -> None:
    it, _, traffic = random_simulated(number)
    one, two = it.fork(), it.fork()
    now = START
    for endpoint, data, at in traffic:
        if at > now:
            assert one.advance((at - now) / 1e6) == two.advance((at - now) / 1e6)
            now = at
        assert one.send(endpoint, data) == two.send(endpoint, data)
    assert state(one) == state(two)


@pytest.mark.parametrize("number", range(40 if FULL else 3))
def test_D_1_two_forks_fed_alike_export_alike(number: int, tmp_path: pathlib.Path) -> None:
    it, _, traffic = random_simulated(number)
    texts = []
    for name in ("one", "two"):
        copy = it.fork()
        copy.send_many([(endpoint, data) for endpoint, data, _ in traffic])
        copy.advance(7)
        copy.snapshot(tmp_path / name)
        tool = BUILD / "host" / "bin" / "vswitch-host"
        exported = subprocess.run(
            [tool, "--host", tmp_path / name, "export"], capture_output=True, text=True, check=True
        )
        texts.append(exported.stdout)
    assert texts[0] == texts[1] and '"switches"' in texts[0]


@seed(19)
@HOSTS
@given(SEEDS, st.floats(0, 150), st.floats(0, 150))
def test_K_3_a_time_cut_in_pieces_is_the_same(number: int, first: float, second: float) -> None:
    it, _, traffic = random_simulated(number)
    it.send_many([(endpoint, data) for endpoint, data, _ in traffic])
    whole, pieces = it.fork(), it.fork()
    first_us, second_us = round(first * 1e6), round(second * 1e6)
    together = whole.advance((first_us + second_us) / 1e6)
    apart = [pieces.advance(first_us / 1e6), pieces.advance(second_us / 1e6)]
    assert list(together.deliveries) == [one for part in apart for one in part.deliveries]
    assert list(together.drops) == [one for part in apart for one in part.drops]
    assert state(whole) == state(pieces)


def test_the_second_reading_of_vlans_is_not_empty() -> None:
    """That the VLANs above tell members from others."""
    it = host({"a": {"properties": [access(10)]}, "b": {"properties": [trunk(20, (10, 11))]},
               "c": {"properties": [access(20)]}})
    document = {"switches": [{"alias": "sw", "private_vlans": [], "ports": [
        {"dvport_id": "a", "vlan": {"mode": "access", "vlan": 10}},
        {"dvport_id": "b", "vlan": {"mode": "trunk", "vlan": 20, "ranges": [(10, 11)]}},
        {"dvport_id": "c", "vlan": {"mode": "access", "vlan": 20}}]}]}
    vlans = Vlans(document)
    result = it.send(("sw", "a"), frame(mac(10)))
    assert [one.endpoint for one in result.deliveries] == ["nic0", ("sw", "b")]
    assert vlans.of_frame(("sw", "a"), frame(mac(10))) == 10
    assert [vlans.has(("sw", name), 10) for name in "abc"] == [True, True, False]
    assert [vlans.has(("sw", name), 20) for name in "abc"] == [False, True, True]
    assert description(1)["format"] == 1
