"""Beacons and balancing by load on simulated hosts: partial failures, and what survives."""

import pathlib
from typing import Any

import pytest
from hosts import description, frame, mac

import vswitch
from vswitch.simulated import Kind, SimulatedHost

START = 1_700_000_000_000_000
VECTOR = bytes.fromhex("ffffffffffff 020000000001 8922 56534231 6553f100 6964" + 62 * "00" + "00000001")


def teamed(
    nics: int, nic_settings: dict[str, Any] | None = None, start: int = START, **policy: Any
) -> SimulatedHost:
    """A host whose policy has all uplinks active, and is else as said."""
    boot: dict[str, Any] = description(3, nics) | {"stopped_clock": start}
    for nic in boot["physical_nics"]:
        nic |= nic_settings or {}
    host = SimulatedHost(boot=boot)
    with host:
        vswitch.Host().switches["sw"].teaming = vswitch.TeamingPolicy(
            active=[f"nic{number}" for number in range(nics)], **policy)
    return host


def beacons(nics: int = 3, **policy: Any) -> SimulatedHost:
    criteria = vswitch.TeamCriterion.LINK_STATE | vswitch.TeamCriterion.BEACON_STATE
    return teamed(nics, criteria=criteria, load_balance=vswitch.LoadBalance.FO_EXPLICIT, **policy)


def out(host: SimulatedHost, port: str = "a") -> list[str]:
    """Where a frame of a client leaves."""
    number = 10 + ord(port) - ord("a")
    result = host.send(("sw", port), frame(mac(number), "02:00:00:00:09:99"))
    return [delivery.endpoint for delivery in result.deliveries if isinstance(delivery.endpoint, str)]


def hint(host: SimulatedHost, port: str = "a") -> str | None:
    """As the libraries tell it."""
    with host:
        return vswitch.Host().switches["sw"].ports[port].uplink_hint


def test_BC_1_a_beacon_byte_for_byte() -> None:
    host = beacons(start=START - 500_000)
    result = host.advance(0.5)
    assert [(made.endpoint, made.kind) for made in result.deliveries] == [(f"nic{n}", Kind.MADE) for n in range(3)]
    assert result.deliveries[0].frame == VECTOR
    assert host.advance(0.999999).deliveries == []
    assert len(host.advance(0.000001).deliveries) == 3


def test_BC_1_scapy_takes_it_apart() -> None:
    l2 = pytest.importorskip("scapy.layers.l2", reason="scapy is not installed; `make test` installs it")
    made = l2.Ether(beacons().advance(1).deliveries[1].frame)
    assert (made.dst, made.src, made.type) == ("ff:ff:ff:ff:ff:ff", "02:00:00:00:00:02", 0x8922)
    body = bytes(made.payload)
    assert (body[:4], int.from_bytes(body[4:8], "big"), body[8:72].rstrip(b"\0"), body[72:]) == (
        b"VSB1", START // 10**6 + 1, b"id", (2).to_bytes(4, "big"))


def test_BC_2_BC_3_BC_4_a_partial_failure() -> None:
    """One of three uplinks is cut off from the others though its link is up."""
    host = beacons()
    host.advance(3)
    assert (out(host), hint(host)) == (["nic0"], "nic0")
    host.set_nic("nic0", segment="elsewhere")
    host.advance(2)
    assert (out(host), hint(host)) == (["nic0"], "nic0")  # heard less than three seconds ago
    host.advance(1)
    assert (out(host), hint(host)) == (["nic1"], "nic1")
    host.set_nic("nic0", segment="")
    host.advance(1)
    assert (out(host), hint(host)) == (["nic0"], "nic0")


def test_BC_2_beacons_on_wires_are_heard_as_well() -> None:
    host = beacons()
    for n in range(3):
        host.set_nic(f"nic{n}", segment=str(n))
    host.advance(4)
    for _ in range(4):  # a network that connects the first two
        sent = {made.endpoint: made.frame for made in host.advance(1).deliveries}
        assert host.send("nic1", sent["nic0"]).consumed == host.send("nic0", sent["nic1"]).consumed == 1
    host.advance(1)
    assert out(host) == ["nic0"]
    host.advance(3)
    assert out(host) == ["nic0"]  # nobody is heard any more: nobody is said to have failed


def test_T_14_shotgun_while_undecided() -> None:
    host = beacons(2, flags=vswitch.TeamFlag.SHOTGUN)
    host.advance(3)
    assert out(host) == ["nic0"]
    host.set_nic("nic1", segment="elsewhere")
    host.advance(3)
    assert out(host) == ["nic0", "nic1"]


def test_K_6_only_the_last_beacons_of_a_gap() -> None:
    host = beacons()
    host.advance(3)
    host.run_clock()
    assert 30 <= len([made for made in host.send_many([]).deliveries if made.frame[12:14] == b"\x89\x22"]) <= 36
    assert out(host) == ["nic0"]


def test_D_2_beacons_survive(tmp_path: pathlib.Path) -> None:
    host = beacons()
    host.set_nic("nic0", segment="elsewhere")
    host.advance(4)
    host.snapshot(tmp_path / "copy.db")
    for copy in (host.fork(), SimulatedHost(tmp_path / "copy.db")):
        assert (out(copy), hint(copy)) == (["nic1"], "nic1")
    # What was heard survives as well: it is two seconds old at the next judgement but one.
    other = beacons()
    other.advance(3)
    other.set_nic("nic0", segment="elsewhere")
    other.advance(1)
    other.snapshot(tmp_path / "other.db")
    again = SimulatedHost(tmp_path / "other.db")
    again.advance(1)
    assert out(again) == ["nic0"]
    again.advance(1)
    assert out(again) == ["nic1"]


# ---- balancing by load -----------------------------------------------------------------------------------------------


def loaded() -> tuple[SimulatedHost, list[str]]:
    """Three clients whose policy balances by load; of two slow uplinks one carries a and c."""
    host = teamed(2, {"speed": 1}, load_balance=vswitch.LoadBalance.LB_LBT)
    host.advance(10.5)  # a period has just begun
    before = {port: out(host, port) for port in "abc"}
    busy = [port for port in "abc" if before[port] == before["a"]]
    assert len(busy) == 2
    return host, busy


def fill(host: SimulatedHost, busy: list[str]) -> None:
    """More than three quarters of what the uplink can carry in 30 seconds: 3,750,000 bytes."""
    for port, count in zip(busy, (1200, 900), strict=True):
        number = 10 + ord(port) - ord("a")
        host.send_many([(("sw", port), frame(mac(number), "02:00:00:00:09:99", bytes(1500)))] * count, count_only=True)


def test_T_7_the_busiest_port_moves_and_comes_back_with_the_policy(tmp_path: pathlib.Path) -> None:
    host, busy = loaded()
    fill(host, busy)
    former = out(host, busy[0])
    host.advance(29.4)
    assert out(host, busy[0]) == former
    host.snapshot(tmp_path / "before.db")
    for copy in (host, host.fork(), SimulatedHost(tmp_path / "before.db")):
        copy.advance(0.1)
        moved = out(copy, busy[0])
        assert moved != former
        assert [hint(copy, busy[0])] == moved
        assert out(copy, busy[1]) == former
    host.snapshot(tmp_path / "after.db")
    assert out(SimulatedHost(tmp_path / "after.db"), busy[0]) == moved
    host.advance(300)
    assert out(host, busy[0]) == moved
    # A link that fails is another team, and all begin anew.
    host.link(former[0], False)
    host.link(former[0], True)
    assert [hint(host, busy[0])] == moved
    host.advance(1)
    assert (out(host, busy[0]), [hint(host, busy[0])]) == (former, former)


def test_T_7_nobody_moves_where_nobody_sends_much() -> None:
    host, busy = loaded()
    former = out(host, busy[0])
    host.advance(100)
    assert out(host, busy[0]) == out(host, busy[1]) == former
