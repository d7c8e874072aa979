"""LACP on simulated hosts: byte for byte, as scapy and tshark read it, with scripted partners and between two hosts
that are wired to each other; who sees what it negotiated, and what survives."""

import os
import pathlib
import subprocess
from typing import Any

import pytest
from hosts import description, frame, mac
from killed import TURNS, kill_after_turns
from tshark import needs_tshark, shown
from workspace import BUILD, FOREIGN

import libvswitch as vs
import vswitch
from libvswitch import allocated, check
from vswitch.simulated import Endpoint, Kind, LacpPartner, Reason, Result, SimulatedHost, SimulationError

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
START = 1_700_000_000_000_000
MULTICAST = "01:80:c2:00:00:02"

# The first LACPDU of an active, fast member: NIC 02:00:00:00:00:01, nothing known of the other end.
FIRST = bytes.fromhex(
    "0180c2000002 020000000001 88090101"
    "0114 800002767300000100018000000187000000"
    "0214 000000000000000000000000000002000000"
    "0310 0000000000000000000000000000 0000" + 50 * "00")
PARTNER = LacpPartner(system="02:00:00:ff:ff:07", key=7, port=5)


def lag(
    nics: int = 2,
    partner: LacpPartner | None = PARTNER,
    links: dict[str, dict[str, Any]] | None = None,
    **settings: Any,
) -> dict[str, Any]:
    """A description of a host whose uplinks are the members of an active LAG."""
    boot = description(3, nics, lags=[{"name": "lag", "mode": "active", "members": [
        {"uplink": f"nic{number}"} for number in range(nics)]} | settings])
    for nic in boot["physical_nics"]:
        if partner:
            nic["partner"] = partner._asdict()
    for name, changes in (links or {}).items():
        boot["physical_nics"][int(name[3:])] |= changes
    return boot


def state(data: bytes) -> str:
    """What an LACPDU says of its sender and of the other end."""
    return f"{data[32]:02x}/{data[52]:02x}"


def sent(result: Result) -> list[tuple[Endpoint, str]]:
    """The LACPDUs of a result: (NIC, states)."""
    return [(delivery.endpoint, state(delivery.frame)) for delivery in result.deliveries if delivery.kind is Kind.MADE]


def word(host: SimulatedHost, nic: str = "nic0") -> str:
    it = host.lacp(nic)
    return it.receive + (" selected" if it.selected else "") + (" up" if it.up else "")


def link_state(host: SimulatedHost, nic: str = "nic0") -> tuple[bool, bool]:
    """Of a member, and of the whole LAG, as the libraries tell it."""
    with host:
        with allocated(vs.VSQEL_GetLAGTable, "sw") as lags:
            whole = next(iter(lags)).state == vs.QEL_LINK_STATE_UP
        return check(vs.VSQEL_GetUplinkLACPLinkState("sw", nic)) == vs.QEL_LINK_STATE_UP, whole


# ---- frames ----------------------------------------------------------------------------------------------------------


def test_L_1_L_2_the_first_lacpdu_byte_for_byte() -> None:
    host = SimulatedHost(boot=lag(1, partner=None, fast=True))
    made = host.advance(0).only()
    assert (made.endpoint, made.kind, made.index, made.frame) == ("nic0", Kind.MADE, -1, FIRST)
    assert host.counters("nic0")["pktsOutMulticast"] == host.counters("nic0")["pktsOutException"] == 1
    assert host.counters("nic0")["bytesOutMulticast"] == 124


def test_L_1_scapy_takes_it_apart() -> None:
    lacp = pytest.importorskip("scapy.contrib.lacp", reason="scapy is not installed; `make test` installs it")
    from scapy.layers.l2 import Ether

    host = SimulatedHost(boot=lag(1, fast=True, system="02:00:00:00:0a:0b", system_priority=9, key=77))
    last = host.advance(10).deliveries[-1].frame
    packet = Ether(last)
    assert packet.dst == MULTICAST
    assert packet.src == "02:00:00:00:00:01"
    pdu = packet[lacp.LACP]
    read = (pdu.actor_system, pdu.actor_system_priority, pdu.actor_key, pdu.actor_port_priority, pdu.actor_port_number,
            pdu.actor_state, pdu.partner_system, pdu.partner_key, pdu.partner_port_number, pdu.partner_state)
    assert read == ("02:00:00:00:0a:0b", 9, 77, 32768, 1, 0x3F, "02:00:00:ff:ff:07", 7, 5, 0x3D)
    # And what scapy makes is heard.
    answer = Ether(dst=MULTICAST, src="02:00:00:aa:00:01") / lacp.SlowProtocol() / lacp.LACP(
        actor_system="02:00:00:aa:00:00", actor_key=3, actor_port_number=9, actor_state=0x0D)
    other = SimulatedHost(boot=lag(1, partner=None))
    result = other.send("nic0", bytes(answer))
    assert (result.consumed, other.lacp("nic0").partner_system) == (1, "02:00:00:aa:00:00")
    assert other.lacp("nic0").partner_key == 3


@needs_tshark
def test_L_1_tshark_takes_it_apart(tmp_path: pathlib.Path) -> None:
    host = SimulatedHost(boot=lag(1, fast=True))
    with host.capture("nic0", tmp_path / "lacp.pcapng"):
        host.advance(2)
    fields = ("lacp.actor.sysid", "lacp.actor.key", "lacp.actor.port", "lacp.actor.state", "lacp.partner.sysid",
              "lacp.partner.state", "_ws.malformed")
    own, other = "02:76:73:00:00:01|1|1", "02:00:00:ff:ff:07"
    assert [line.rstrip("|").replace("0x000000", "0x") for line in shown(tmp_path / "lacp.pcapng", *fields)] == [
        f"{own}|0x87|00:00:00:00:00:00|0x02", f"{own}|0x07|{other}|0x05", f"{own}|0x3f|{other}|0x0d"]


# ---- times -----------------------------------------------------------------------------------------------------------


def test_L_6_L_12_up_after_two_seconds_to_the_microsecond() -> None:
    host = SimulatedHost(boot=lag(2))
    assert sent(host.advance(0)) == [("nic0", "85/02"), ("nic0", "05/05"), ("nic1", "85/02"), ("nic1", "05/05")]
    assert word(host) == "current selected"
    assert sent(host.advance(1.999999)) == []
    assert host.send("nic0", frame("02:00:00:00:09:09")).drops[0].reason is Reason.LACP_DOWN
    assert sent(host.advance(0.000001)) == [("nic0", "3d/0d"), ("nic1", "3d/0d")]
    assert word(host) == word(host, "nic1") == "current selected up"
    assert host.lacp("nic0")._replace(sent=0, received=0) == (
        "current", True, True, 0x3D, 0x3D, "02:00:00:ff:ff:07", 7, 0, 0, 0, 1)
    assert host.send("nic0", frame("02:00:00:00:09:09")).deliveries


def test_L_4_L_3_without_a_partner() -> None:
    host = SimulatedHost(boot=lag(1, partner=None))
    times = []
    for _ in range(70):
        times += [(host.now_us - START, states) for _, states in sent(host.advance(0.5))]
    # The second of the start is no multiple of 30 seconds: 1700000000 = 30 * 56666666 + 20.
    assert times == [(500_000, "85/02")] + [(second * 10**6, "85/02") for second in (1, 2)] + [
        (3 * 10**6, "45/00"), (10 * 10**6, "45/00")]
    assert word(host) == "defaulted"


def test_L_12_a_partner_comes_and_goes() -> None:
    host = SimulatedHost(boot=lag(1, partner=None))
    host.advance(100)
    assert word(host) == "defaulted"
    host.set_partner("nic0", PARTNER)
    host.advance(2)
    assert word(host) == "current selected up"
    host.set_partner("nic0", PARTNER._replace(on=False))
    host.advance(89.9)
    assert word(host) == "current selected up"
    host.advance(0.1)
    assert (word(host), host.lacp("nic0").partner_system) == ("expired", PARTNER.system)
    host.advance(3)
    assert (word(host), host.lacp("nic0").partner_system) == ("defaulted", None)
    host.set_partner("nic0", None)
    host.boot()
    assert word(host) == "expired"


def test_L_12_its_frames_are_not_shown_and_not_counted(tmp_path: pathlib.Path) -> None:
    host = SimulatedHost(boot=lag(1, fast=True))
    host.advance(10)
    counters = host.counters("nic0")
    assert counters["pktsInMulticast"] == counters["pktsInException"] == 0
    assert (host.lacp("nic0").received, host.lacp("nic0").sent) == (12, counters["pktsOutMulticast"]) == (12, 4)


def test_L_10_only_members_of_lags_have_it() -> None:
    host = SimulatedHost(boot=description(1, 1))
    with pytest.raises(SimulationError, match="the NIC nic0 is in no LAG"):
        host.lacp("nic0")
    # LACPDUs are consumed there all the same, and at fixed ones, where they mean nothing.
    assert host.send("nic0", FIRST).consumed == 1
    fixed = SimulatedHost(boot=lag(1, mode="fixed"))
    assert (fixed.send("nic0", FIRST).consumed, sent(fixed.advance(100))) == (1, [])
    assert fixed.lacp("nic0") == ("disabled", True, True, 0, 0, None, 0, 0, 0, 0, 0)


def test_L_3_answers_come_with_the_frame_that_asks_for_them() -> None:
    host = SimulatedHost(boot=lag(1, partner=None))
    host.advance(0.5)
    result = host.send("nic0", FIRST.replace(bytes.fromhex("027673000001"), bytes.fromhex("020000aa0000")))
    assert [(made.kind, made.index, state(made.frame)) for made in result.deliveries] == [(Kind.MADE, 0, "05/87")]


def test_API_8_explanations_show_what_is_answered() -> None:
    host = SimulatedHost(boot=lag(1, partner=None))
    host.advance(0.5)
    asking = FIRST.replace(bytes.fromhex("027673000001"), bytes.fromhex("020000aa0000"))
    explained = host.explain("nic0", asking)
    assert [(step.rule, step.outcome) for step in explained.steps][2:] == [("L-1", "consume"), ("C-5", "deliver")]
    result = host.send("nic0", asking)
    assert (explained.deliveries, explained.consumed) == (result.deliveries, 1)


def test_L_6_a_member_that_comes_back_negotiates_anew() -> None:
    host = SimulatedHost(boot=lag(2))
    host.advance(2)
    host.link("nic0", False)
    assert (word(host), word(host, "nic1")) == ("disabled", "current selected up")
    assert link_state(host) == (False, True)
    host.advance(5)
    host.link("nic0", True)
    assert (word(host), link_state(host)) == ("expired", (False, True))
    assert sent(host.advance(0)) == [("nic0", "85/02"), ("nic0", "05/05")]
    host.advance(1.999999)
    assert not host.lacp("nic0").up
    host.advance(0.000001)
    assert (host.lacp("nic0").changes, link_state(host)) == (3, (True, True))


def test_L_9_status_calls_see_a_fallback_from_the_boot_on() -> None:
    host = SimulatedHost(boot=lag(2, partner=None, fallback=True, links={"nic0": {"link": "down"}}))
    assert (link_state(host), link_state(host, "nic1")) == ((False, True), (True, True))
    host.link("nic0", True)
    assert (link_state(host), link_state(host, "nic1")) == ((True, True), (False, True))


@pytest.mark.parametrize(("seconds", "shown"), [
    (89, ((True, True), "current selected up")), (90, ((False, False), "expired")), (91, ((False, False), "expired"))])
def test_K_4_calls_do_not_show_what_has_expired(seconds: int, shown: tuple[tuple[bool, bool], str]) -> None:
    host = SimulatedHost(boot=lag(1, partner=None))
    host.advance(0)
    heard = bytearray(FIRST.replace(bytes.fromhex("027673000001"), bytes.fromhex("020000aa0000")))
    heard[32] = 0x3D
    host.send("nic0", heard)
    host.advance(2)
    assert (link_state(host), word(host)) == ((True, True), "current selected up")
    host.stop_clock(START / 1e6 + seconds)
    assert (link_state(host), word(host)) == shown


def test_K_6_a_gap_of_a_running_clock() -> None:
    """Partners count as having gone on, and only the last ten seconds are made up for."""
    host = SimulatedHost(boot=lag(2, PARTNER._replace(fast=True), fast=True))
    host.stop_clock(START / 1e6)
    host.advance(2)
    changes, count = host.lacp("nic0").changes, host.lacp("nic0").sent
    host.run_clock()
    result = host.send_many([])
    assert (word(host), host.lacp("nic0").changes, link_state(host)) == ("current selected up", changes, (True, True))
    assert 20 <= len(sent(result)) <= 24
    assert host.lacp("nic0").sent == count + len(sent(result)) // 2


def test_N_1_what_lacp_negotiated_is_announced() -> None:
    boot = lag(2)
    boot["physical_nics"].append({"name": "nic2", "mac": "02:00:00:00:00:03"})
    boot["switches"][0]["uplinks"].insert(0, {"name": "nic2"})
    with SimulatedHost(boot=boot) as host:
        vswitch.Host().switches["sw"].teaming = vswitch.TeamingPolicy(
            active=["nic2", "nic0", "nic1"], load_balance=vswitch.LoadBalance.FO_EXPLICIT,
            flags=vswitch.TeamFlag.NOTIFY_SWITCH)
        host.advance(0)
        announced = [made.endpoint for made in host.advance(2).deliveries if made.frame[12:14] == b"\x80\x35"]
    assert announced == ["nic2"] * 3


# ---- two hosts -------------------------------------------------------------------------------------------------------


class Wired:
    """Two hosts whose NICs are connected: what one sends comes in at the other."""

    def __init__(self, one: SimulatedHost, other: SimulatedHost) -> None:
        self.hosts = (one, other)
        self.unplugged: set[str] = set()
        self.arrived: dict[int, list[tuple[str, bytes]]] = {0: [], 1: []}  # what clients got

    def pass_on(self, index: int, result: Result) -> None:
        for delivery in result.deliveries:
            if isinstance(delivery.endpoint, tuple):
                self.arrived[index].append((delivery.endpoint[1], delivery.frame))
            elif delivery.endpoint not in self.unplugged:
                self.pass_on(1 - index, self.hosts[1 - index].send(delivery.endpoint, delivery.frame))

    def advance(self, seconds: float) -> None:
        for _ in range(round(seconds * 10)):
            for index, host in enumerate(self.hosts):
                self.pass_on(index, host.advance(0.1))

    def send(self, index: int, port: str, data: bytes) -> None:
        self.pass_on(index, self.hosts[index].send(("sw", port), data))


def conversation(number: int, sequence: int) -> bytes:
    """Frames of several senders to one client of the other host, numbered."""
    payload = bytes([number]) + sequence.to_bytes(2, "big") + bytes(43)
    return frame(f"02:00:00:00:07:{number:02x}", "02:00:00:00:05:01", payload)


def test_L_6_L_7_two_hosts_wired_to_each_other_lose_a_member_and_come_back() -> None:
    one = lag(3, partner=None, fast=True, system="02:00:00:00:0a:01", hash="vlan+srcmac")
    other = lag(3, partner=None, fast=True, system="02:00:00:00:0b:01", mode="passive")
    other["switches"][0]["ports"][0]["client"]["mac"] = "02:00:00:00:05:01"
    wires = Wired(SimulatedHost(boot=one), SimulatedHost(boot=other))
    a, b = wires.hosts
    wires.advance(3)
    assert {word(host, f"nic{n}") for host in wires.hosts for n in range(3)} == {"current selected up"}
    assert {a.lacp("nic0").partner_system, b.lacp("nic0").partner_system} == {"02:00:00:00:0a:01", "02:00:00:00:0b:01"}

    numbers = iter(range(1000))

    def talk(rounds: int) -> set[str]:
        used = set()
        for _ in range(rounds):
            sequence = next(numbers)
            for number in range(12):
                result = a.send(("sw", "a"), conversation(number, sequence))
                used |= {delivery.endpoint for delivery in result.deliveries if isinstance(delivery.endpoint, str)}
                wires.pass_on(0, result)
        return used

    assert talk(5) == {"nic0", "nic1", "nic2"}
    # The cable between the second ones is cut: one side sees it, the other hears nothing any more.
    wires.unplugged = {"nic1"}
    a.link("nic1", False)
    assert talk(5) == {"nic0", "nic2"}
    wires.advance(3.2)
    assert (word(b, "nic1"), word(b, "nic2")) == ("expired", "current selected up")
    assert talk(5) == {"nic0", "nic2"}
    wires.unplugged = set()
    a.link("nic1", True)
    wires.advance(3)
    assert word(a, "nic1") == word(b, "nic1") == "current selected up"
    assert talk(5) == {"nic0", "nic1", "nic2"}

    # Each frame has arrived once, in the order of its conversation.
    for number in range(12):
        got = [int.from_bytes(data[15:17], "big") for port, data in wires.arrived[1]
               if port == "a" and data[14] == number and data[6:12] == conversation(number, 0)[6:12]]
        assert got == list(range(20)), number
    assert not [data for _, data in wires.arrived[1] if data[12:14] == b"\x88\x09"]


# ---- what survives ---------------------------------------------------------------------------------------------------


def whole(host: SimulatedHost, nics: int = 2) -> list[object]:
    """All that is to be seen of LACP."""
    return [host.lacp(f"nic{number}") for number in range(nics)] + [host.counters("nic0"), link_state(host)]


def test_D_2_lacp_survives_snapshot_fork_and_another_process(tmp_path: pathlib.Path) -> None:
    host = SimulatedHost(tmp_path / "host.db", lag(2, fast=True))
    host.advance(1)  # in the middle of the wait
    host.snapshot(tmp_path / "copy.db")
    copies = [host.fork(), SimulatedHost(tmp_path / "copy.db"), SimulatedHost(tmp_path / "host.db")]
    before = whole(host)
    assert [whole(copy) for copy in copies] == [before] * 3
    expected = host.fork()
    shown = sent(expected.advance(5))
    for copy in copies:
        assert (sent(copy.advance(5)), whole(copy)) == (shown, whole(expected))


def test_D_1_K_3_an_advance_in_pieces_is_the_same() -> None:
    one = SimulatedHost(boot=lag(2, PARTNER._replace(fast=True), fast=True))
    other = one.fork()
    whole_way = [(made.endpoint, made.frame) for made in one.advance(12.5).deliveries]
    in_pieces = [(made.endpoint, made.frame) for _ in range(125) for made in other.advance(0.1).deliveries]
    assert in_pieces == whole_way
    assert whole(one) == whole(other)


def test_D_3_a_killed_process_leaves_whole_operations(tmp_path: pathlib.Path) -> None:
    SimulatedHost(tmp_path / "host.db", lag(2, PARTNER._replace(fast=True), fast=True)).close()
    kill_after_turns("host.advance(1)", tmp_path / "host.db")
    host = SimulatedHost(tmp_path / "host.db")
    seconds = (host.now_us - START) // 10**6
    assert seconds >= TURNS
    # Two at the start, then one in each second.
    assert [host.lacp(nic).sent for nic in ("nic0", "nic1")] == [2 + seconds] * 2
    assert host.counters("nic0")["pktsOutMulticast"] == 2 + seconds
    assert word(host) == "current selected up"


# ---- a day -----------------------------------------------------------------------------------------------------------


def busy(links: int, addresses: int) -> dict[str, Any]:
    """Hosts with so many fast links in LAGs, and addresses that age."""
    nics = [{"name": f"nic{n}", "mac": f"02:00:00:01:00:{n:02x}", "partner": PARTNER._replace(fast=True)._asdict()}
            for n in range(links)]
    switches = []
    for first in range(0, links, 25):
        names = [f"nic{n}" for n in range(first, min(first + 25, links))]
        learned = [{"mac": f"02:00:01:{first:02x}:{n >> 8:02x}:{n & 255:02x}", "age": n % 500}
                   for n in range(addresses * len(names) // links)]
        switches.append({
            "alias": f"sw{first}", "switch_id": f"id{first}", "uplinks": [{"name": name} for name in names],
            "lags": [{"name": "lag", "mode": "active", "fast": True, "members": [{"uplink": name} for name in names]}],
            "ports": [{"dvport_id": "a", "client": {"name": "a", "type": "vnic", "mac": mac(10)},
                       "mac_learning": {}, "learned": learned}]})
    return {"format": 1, "stopped_clock": START, "physical_nics": nics, "switches": switches}


def test_K_3_L_3_a_long_time_in_one_step_and_in_a_thousand(tmp_path: pathlib.Path) -> None:
    links, addresses, seconds, steps = (100, 10_000, 86_400, 1000) if FULL else (26, 500, 1200, 100)
    one = SimulatedHost(boot=busy(links, addresses))
    other = one.fork()
    result = one.advance(seconds)
    parts = [other.advance(seconds / steps) for _ in range(steps)]
    assert len(result.deliveries) + result.not_kept == links * (2 + seconds)
    assert sum(len(part.deliveries) + part.not_kept for part in parts) == links * (2 + seconds)
    if not result.not_kept:
        assert [(made.endpoint, made.frame) for made in result.deliveries] == [
            (made.endpoint, made.frame) for part in parts for made in part.deliveries]
    for nic in range(links):
        assert one.lacp(f"nic{nic}") == other.lacp(f"nic{nic}")
        assert one.counters(f"nic{nic}") == other.counters(f"nic{nic}")
    assert one.lacp("nic0").sent == 2 + seconds
    exports = []
    for name, host in (("one", one), ("other", other)):
        assert not [entry for entry in host.mac_table("sw0") if entry.type == "learned"]
        host.snapshot(tmp_path / name)
        exports.append(subprocess.run([BUILD / "host" / "bin" / "vswitch-host", "export"], capture_output=True,
                                      check=True, env=FOREIGN | {"VSWITCH_HOST": str(tmp_path / name)}).stdout)
    assert exports[0] == exports[1]
