"""Failover on simulated hosts: which uplink carries what when, and what is announced to the network."""

import pathlib
import struct
import subprocess
from typing import Any

import pytest
import workspace
from group_frames import client, join, snooping
from hosts import access, constants, description, frame, mac, setting
from tshark import needs_tshark, shown

import vswitch
from vswitch.simulated import Endpoint, Kind, Reason, Result, SimulatedHost

NOTIFY = int(constants()["TEAM_FRP_FLAG_NOTIFY_SWITCH"])
ROLLING = int(constants()["TEAM_FRP_FLAG_ROLLING"])
A = ("sw", "a")


def team(
    flags: int = NOTIFY, active: tuple[str, ...] = ("nic0", "nic1"), standby: tuple[str, ...] = (),
    balance: str = "FO_EXPLICIT",
) -> dict[str, Any]:
    """The switch's policy: the first that is fit, by the state of the link."""
    names = b"".join(name.encode().ljust(81, b"\0") for name in (*active, *standby)).ljust(32 * 81, b"\0")
    packed = struct.pack("<IIBBHIII", int(constants()[f"TEAM_FRP_TYPE_{balance}"]),
                         int(constants()["TEAM_FRP_CRIT_LINK_STATE"]), 0, 0, 0, flags, len(active), len(standby))
    return setting("VSPROP_SWITCH_TEAMING", packed + names)


def host(policy: dict[str, Any] | None = None, ports: Any = 3, **options: Any) -> SimulatedHost:
    boot = description(ports, 2, global_properties=[policy or team()])
    return SimulatedHost(boot=boot | {"runtime_options": options})


def announced(result: Result) -> list[tuple[Endpoint, int]]:
    """(NIC, last byte of the address) of each announcement."""
    assert all(one.kind is Kind.MADE and one.index == -1 for one in result.deliveries)
    return [(one.endpoint, one.frame[11]) for one in result.deliveries]


def uplink(it: SimulatedHost) -> Endpoint:
    return it.fork().send(A, frame(mac(10))).deliveries[0].endpoint


# ---- frames and times ------------------------------------------------------------------------------------------------


def test_N_1_as_it_stands_on_the_wire() -> None:
    it = host(ports={"a": {}, "b": {"properties": [access(10)]}})
    it.link("nic0", False)
    plain, tagged = it.advance(0).deliveries
    assert plain == ("nic1", bytes.fromhex(
        "ffffffffffff 02000000010a 80350001080006040003 02000000010a 00000000 02000000010a 00000000"
        "000000000000000000000000000000000000"), Kind.MADE, -1)
    assert tagged.frame == bytes.fromhex(
        "ffffffffffff 02000000010b 8100000a 80350001080006040003 02000000010b 00000000 02000000010b 00000000"
        "000000000000000000000000000000000000")
    layers = pytest.importorskip("scapy.all")
    packet = layers.Ether(tagged.frame)
    assert (packet.dst, packet.src, packet[layers.Dot1Q].vlan, packet[layers.Dot1Q].prio) == (
        "ff:ff:ff:ff:ff:ff", mac(11), 10, 0)
    reverse = layers.ARP(bytes(packet[layers.Dot1Q].payload))
    assert (packet[layers.Dot1Q].type, reverse.op, reverse.hwsrc, reverse.hwdst, reverse.psrc, reverse.pdst) == (
        0x8035, 3, mac(11), mac(11), "0.0.0.0", "0.0.0.0")


@needs_tshark
def test_N_1_N_4_as_tshark_reads_it(tmp_path: pathlib.Path) -> None:
    it = host(ports={"a": {}, "b": {"properties": [access(10)]}}, MaxRARPsPerInterval=1)
    with it.capture("nic1", tmp_path / "nic1.pcapng"):
        it.link("nic0", False)
        it.advance(5)
    fields = ["frame.time_epoch", "vlan.id", "arp.opcode", "arp.src.hw_mac", "arp.dst.hw_mac"]
    assert shown(tmp_path / "nic1.pcapng", *fields) == [
        f"1700000000.000000000||3|{mac(10)}|{mac(10)}", f"1700000000.100000000|10|3|{mac(11)}|{mac(11)}"]


def test_N_1_N_5_failover_and_the_way_back() -> None:
    it = host()
    it.link("nic0", False)
    assert uplink(it) == "nic1"
    assert announced(it.advance(0)) == [("nic1", 10), ("nic1", 11), ("nic1", 12)]
    it.advance(5)
    it.link("nic0", True)
    # The link is waited for: all clients are announced where they still are.
    assert announced(it.advance(0.099999)) == [("nic1", 10), ("nic1", 11), ("nic1", 12)]
    assert uplink(it) == "nic1"
    assert announced(it.advance(0.000001)) == [("nic0", 10), ("nic0", 11), ("nic0", 12)]
    assert uplink(it) == "nic0"
    assert announced(it.advance(100)) == []
    with it:
        assert vswitch.Host().switches["sw"].announcements.packets == 9


def test_T_5_N_1_a_policy_that_rolls_stays_where_it_is() -> None:
    it = host(team(NOTIFY | ROLLING))
    with it:
        vswitch.Host().switches["sw"].uplinks["nic0"].set_admin("down")
        assert len(announced(it.advance(1))) == 3
        vswitch.Host().switches["sw"].uplinks["nic0"].set_admin("up")
    assert len(announced(it.advance(1))) == 3
    assert uplink(it) == "nic1"


def test_T_5_N_1_a_policy_that_rolls_stays_where_it_is_after_the_carrier_failed() -> None:
    it = host(team(NOTIFY | ROLLING))
    it.link("nic0", False)
    assert announced(it.advance(1)) == [("nic1", 10), ("nic1", 11), ("nic1", 12)]
    it.link("nic0", True)
    assert announced(it.advance(1)) == [("nic1", 10), ("nic1", 11), ("nic1", 12)], "and none when the wait ends"
    assert uplink(it) == "nic1"
    it.link("nic1", False)
    it.link("nic1", True)
    assert announced(it.advance(1)) == [("nic0", 10), ("nic0", 11), ("nic0", 12)]
    assert uplink(it) == "nic0"


def test_T_5_a_longer_wait() -> None:
    it = host(TeamPolicyUpDelay=3000)
    it.link("nic0", False)
    it.link("nic0", True)
    it.advance(0)
    assert announced(it.advance(2.999999)) == []
    it.link("nic0", False)
    it.advance(0)
    it.advance(1)
    it.link("nic0", True)
    it.advance(0)
    assert announced(it.advance(2.999999)) == [], "it is waited for anew"
    assert announced(it.advance(0.000001)) == [("nic0", 10), ("nic0", 11), ("nic0", 12)]


def test_N_4_rounds_of_many_clients() -> None:
    it = host(ports=12, MaxRARPsPerInterval=5)
    it.link("nic0", False)
    assert [number for _, number in announced(it.advance(0))] == [10, 11, 12, 13, 14]
    assert announced(it.advance(0.099999)) == []
    assert [number for _, number in announced(it.advance(0.000001))] == [15, 16, 17, 18, 19]
    it.link("nic1", False)
    assert announced(it.advance(0)) == [], "there is no uplink; a new round replaces the old one"
    it.link("nic1", True)
    # A link that is waited for carries nothing; when it does, all uplinks have changed.
    assert announced(it.advance(0.099999)) == []
    assert [number for _, number in announced(it.advance(0.000001))] == [10, 11, 12, 13, 14]
    assert [number for _, number in announced(it.advance(10))] == [15, 16, 17, 18, 19, 20, 21]
    with it:
        statistics = vswitch.Host().switches["sw"].announcements
        assert (statistics.packets, statistics.longest) == (48, 300)


def test_N_3_N_6_reports_to_the_uplink() -> None:
    it = snooping(2, nics=2, SendIGMPReportToUplink=1)
    it.send(A, join(client("a"), "239.1.1.1"))
    it.set_client(A, groups=["ff0e::1"])
    it.link("nic1", False)
    made = it.advance(0).deliveries
    assert [one.frame[12:14].hex() for one in made] == ["8035", "0800", "86dd", "8035"]
    layers = pytest.importorskip("scapy.all")
    igmp, mld = layers.Ether(made[1].frame), layers.Ether(made[2].frame)
    assert (igmp.dst, igmp[layers.IP].src, igmp[layers.IP].dst, igmp[layers.IP].ttl, igmp[layers.IP].proto) == (
        "01:00:5e:01:01:01", "0.0.0.0", "239.1.1.1", 1, 2)
    assert bytes(igmp[layers.IP].payload)[:8].hex() == "1600f9fcef010101"
    assert (mld.dst, mld[layers.IPv6].src, mld[layers.ICMPv6MLReport].mladdr) == ("33:33:00:00:00:01", "::", "ff0e::1")
    right = bytes(mld)
    del mld[layers.ICMPv6MLReport].cksum
    assert bytes(mld) == right


# ---- in pieces, in other processes -----------------------------------------------------------------------------------


def test_K_3_rounds_in_flight_between_two_advances() -> None:
    it = host(ports=9, MaxRARPsPerInterval=2)
    it.link("nic0", False)
    it.advance(0.05)
    it.link("nic0", True)
    whole, pieces = it.fork(), it.fork()
    together = whole.advance(2)
    apart = [pieces.advance(step / 1000) for step in (30, 70, 1, 99, 0, 400, 1400)]
    assert list(together.deliveries) == [one for part in apart for one in part.deliveries]
    assert len(together.deliveries) > 9
    assert whole.counters("nic0") == pieces.counters("nic0")


def test_D_2_a_round_goes_on_in_a_copy(tmp_path: pathlib.Path) -> None:
    it = host(ports=4, MaxRARPsPerInterval=1)
    it.link("nic0", False)
    it.advance(0.05)
    it.link("nic0", True)
    it.advance(0.05)
    it.snapshot(tmp_path / "copy.db")
    copy = SimulatedHost(tmp_path / "copy.db")
    rest = it.fork().advance(10)
    assert len(rest.deliveries) == 4
    # The tool runs it as well, and keeps no frames.
    tool = workspace.BUILD / "host" / "bin" / "vswitch-host"
    subprocess.run([tool, "--host", tmp_path / "copy.db", "clock", "advance", "0.1"], check=True, capture_output=True)
    assert copy.counters("nic1")["pktsOutBroadcast"] + copy.counters("nic0")["pktsOutBroadcast"] == 3
    it.advance(0.1)
    assert copy.advance(9.9) == it.advance(9.9)


def test_K_5_K_7_clocks_that_are_set_back_and_boots() -> None:
    it = host(MaxRARPsPerInterval=2)
    it.link("nic0", False)
    it.advance(0)
    it.stop_clock(1_699_999_000)
    assert announced(it.advance(999)) == []
    assert announced(it.advance(2)) == [("nic1", 12)]
    it.link("nic0", True)
    it.boot()
    assert announced(it.advance(10)) == []


def test_T_9_what_the_uplink_cannot_send_is_dropped_there() -> None:
    boot = description({"a": {"properties": [access(30)]}}, 2, global_properties=[team()])
    boot["switches"][0]["uplinks"][1]["properties"] = [
        setting("VSPROP_PORT_VLAN", struct.pack("<HHHHHH", int(constants()["VSPORT_VLAN_GUEST_TAGGING"]), 0, 0, 1, 1,
                                                20))]
    it = SimulatedHost(boot=boot)
    it.link("nic0", False)
    result = it.advance(0)
    assert [(one.place, one.reason, one.stage, one.index) for one in result.drops] == [
        ("nic1", Reason.VLAN_EGRESS, "out", -1)]
