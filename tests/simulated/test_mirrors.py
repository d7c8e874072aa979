"""Mirror sessions through simulated hosts: made with `vswitch`, watched in results, counters and captures, and taken
apart by scapy and tshark. What lasts, and that no copy is ever copied."""

import os
import pathlib
import struct
from collections.abc import Iterable
from random import Random
from typing import Any

import pytest
from hosts import access, description, frame, host, mac, trunk
from killed import TURNS, kill_after_turns
from tshark import needs_tshark, shown

import vswitch
from vswitch import MirrorFlag, MirrorRule, MirrorSession
from vswitch.simulated import Endpoint, Kind, Result, SimulatedHost

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
A, B, C = ("sw", "a"), ("sw", "b"), ("sw", "c")
NOW = 1_700_000_000_123_456


def mirror(it: SimulatedHost, *sessions: MirrorSession) -> None:
    """Makes them the sessions of the switch."""
    with it:
        vswitch.Host().switches["sw"].mirrors.set(sessions)


def statistics(it: SimulatedHost, session: str = "s") -> list[int]:
    with it:
        counted = vswitch.Host().switches["sw"].mirrors.statistics(session)
    return [counted.copies, counted.copies_failed, counted.mirrored, counted.discarded, counted.failed]


def copies(result: Result, endpoint: Endpoint | None = None) -> list[bytes]:
    return [one.frame for one in result.deliveries
            if one.kind is Kind.MIRROR and endpoint in (None, one.endpoint)]


def outer_tag(data: bytes, tag: int) -> bytes:
    return data[:12] + b"\x81\0" + tag.to_bytes(2, "big") + data[12:]


# ---- a port mirrored to a port ---------------------------------------------------------------------------------------


def test_M_1_M_12_a_port_is_mirrored_to_a_port(tmp_path: pathlib.Path) -> None:
    it = host({"a": {"properties": [access(10)]}, "b": {"properties": [access(10)]}, "c": {"properties": [access(99)]}})
    mirror(it, MirrorSession("s", destinations=["port:c"], sources_in=["port:a"]))
    sent = frame(mac(10))
    with it.capture(C, tmp_path / "c.pcapng") as capture:
        result = it.send(A, sent)
    assert [(one.endpoint, one.kind, one.frame) for one in result.deliveries] == [
        ("nic0", Kind.FRAME, outer_tag(sent, 10)), (B, Kind.FRAME, sent), (C, Kind.MIRROR, sent)]
    assert statistics(it) == [1, 0, 1, 0, 0]
    assert it.counters(C)["pktsOutBroadcast"] == 1 and it.counters(C)["bytesOutBroadcast"] == 60
    assert capture.frames == 1 and sent in (tmp_path / "c.pcapng").read_bytes()
    explanation = it.explain(A, sent)
    assert explanation.deliveries == result.deliveries
    assert [(step.rule, step.place, step.outcome) for step in explanation.steps][-2:] == [
        ("M-10", C, "next"), ("C-5", C, "deliver")]
    assert ("P-1", A) in [(step.rule, step.place) for step in explanation.steps]


ENDS = [
    ({"sources_in": ["port:a"]}, True, False),
    ({"sources_in": ["number:2"]}, True, False),
    ({"sources_in": [f"mac:{mac(10)}"]}, True, False),
    ({"sources_out": ["port:a"]}, False, True),
    ({"sources_in": ["uplink:nic0"]}, False, True),
    ({"sources_out": ["uplink:nic0"]}, True, False),
    ({"sources_in": ["vlan:0"]}, True, True),
    ({"sources_in": ["vlan:1"]}, False, False),
    ({"sources_in": ["port:nobody", "uplink:nobody", "mac:02:00:00:00:00:77", "number:99"]}, False, False),
    ({"wildcards_in": "VMM"}, True, False),
    ({"wildcards_in": "TCPIP"}, False, False),
    ({"wildcards_in": "COS|TEST"}, False, False),
    ({"wildcards_out": "PNIC"}, True, False),
    ({"flags": "SRC_UPLINK_MIRROR"}, True, True),
    ({"sources_in": ["port:a"], "enabled": False}, False, False),
    ({"type": "RMIRROR_DST", "sources_in": ["vlan:0"]}, False, True),
]


def member(name: str, value: Any) -> Any:
    """A value by the names of constants."""
    kinds: dict[str, Any] = {"type": vswitch.MirrorType, "flags": MirrorFlag, "wildcards_in": vswitch.MirrorWildcard,
             "wildcards_out": vswitch.MirrorWildcard}
    if name not in kinds:
        return value
    found = kinds[name][value.split("|")[0]]
    for part in value.split("|")[1:]:
        found |= kinds[name][part]
    return found


@pytest.mark.parametrize(("fields", "from_port", "from_wire"), ENDS, ids=lambda value: str(value)[:40])
def test_M_1_sources(fields: Any, from_port: int, from_wire: int) -> None:
    it = host({"a": {}, "b": {}, "c": {"properties": [access(99)]}})
    fields = {name: member(name, value) for name, value in fields.items()}
    mirror(it, MirrorSession("s", destinations=["port:c"], **fields))
    sent, received = frame(mac(10)), frame("02:00:00:00:09:09")
    assert copies(it.send(A, sent), C) == [sent] * from_port
    assert copies(it.send("nic0", received), C) == [received] * from_wire


def test_M_1_the_address_is_the_effective_one_and_nics_have_names_too() -> None:
    it = host({"a": {}, "b": {}, "c": {"properties": [access(99)]}}, uplinks=[{"name": "up", "nic": "nic0"}])
    mirror(it, MirrorSession("s", destinations=["port:c"], sources_in=[f"mac:{mac(10)}", "uplink:nic0"]))
    assert len(copies(it.send(A, frame(mac(10))))) == 1
    assert len(copies(it.send("nic0", frame("02:00:00:00:09:09")))) == 1
    it.set_client(A, mac=mac(50))
    assert copies(it.send(A, frame(mac(50)))) == []
    it.set_client(B, mac=mac(10))
    assert len(copies(it.send(B, frame(mac(10))))) == 1


def test_API_7_sessions_of_the_switch_and_then_of_its_ports_by_number() -> None:
    it = host(4)
    session: dict[str, Any] = dict(destinations=["port:d"], sources_in=["port:a"])
    with it:
        switch = vswitch.Host().switches["sw"]
        switch.ports["c"].mirrors.create(MirrorSession("third", snap_length=33, **session))
        switch.ports["b"].mirrors.create(MirrorSession("second", snap_length=22, **session))
        switch.mirrors.create(MirrorSession("first", snap_length=11, **session))
        switch.mirrors.create(MirrorSession("of the switch too", snap_length=15, **session))
        assert list(switch.running_mirrors) == ["first", "of the switch too", "second", "third"]
    assert [len(copy) for copy in copies(it.send(A, frame(mac(10))))] == [14, 15, 22, 33]


# ---- what copies look like to others ---------------------------------------------------------------------------------

SAMPLE = bytes.fromhex("ffffffffffff 02000000010a 0800") + bytes(range(46))
CUT = SAMPLE[:40]
OUTER = "027673ffffff 027673000001 0800 "
VECTORS = {
    "GRE": OUTER + "45000044 00004000 402f4e4d c0000201 c6336409 20006558 000004d2",
    "ERSPAN2": OUTER + "4500004c 00004000 402f4e45 c0000201 c6336409 100088be 00000000 100ab464 00000007",
    "ERSPAN3": OUTER + "45000050 00004000 402f4e41 c0000201 c6336409 100022eb 00000000 200aa464 18202240 00008006",
}


def remote(encapsulation: str, **fields: Any) -> tuple[SimulatedHost, tuple[str, str]]:
    """A session of port 7, in VLAN 10, to an address."""
    ports: dict[str, dict[str, Any]] = {
        name: {"client": {"name": name, "type": "vnic", "mac": mac(30 + n)}} for n, name in enumerate("abcde")}
    ports["f"] = {"properties": [access(10)], "client": {"name": "f", "type": "vnic", "mac": "02:00:00:00:01:0a"}}
    it = host(ports, **fields.pop("switch", {}))
    it.stop_clock(NOW / 1e6)
    chosen: dict[str, Any] = {"destinations": ["ip:198.51.100.9"], "snap_length": 40, "gre_key": 1234} | fields
    mirror(it, MirrorSession("s", type=vswitch.MirrorType.ERMIRROR_SRC, sources_in=["port:f"], erspan_id=100,
                             erspan_cos=5, erspan_gra=3, encapsulation=vswitch.MirrorEncapsulation[encapsulation],
                             **chosen))
    return it, ("sw", "f")


@pytest.mark.parametrize(("rule", "kind"), [("E-1", "GRE"), ("E-3", "ERSPAN2"), ("E-4", "ERSPAN3")])
def test_E_1_E_3_E_4_byte_for_byte(rule: str, kind: str) -> None:
    it, source = remote(kind)
    it.stop_clock(1_700_000_000.123456)
    (copy,) = copies(it.send(source, SAMPLE), "nic0")
    assert copy.hex() == VECTORS[kind].replace(" ", "") + CUT.hex(), rule


def test_E_1_as_scapy_reads_it() -> None:
    layers = pytest.importorskip("scapy.layers.l2")
    from scapy.layers.inet import IP
    it, source = remote("GRE")
    (copy,) = copies(it.send(source, SAMPLE))
    seen = layers.Ether(copy)
    assert (seen.src, seen.dst, seen[IP].src, seen[IP].dst, seen[IP].ttl, seen[IP].flags) == (
        "02:76:73:00:00:01", "02:76:73:ff:ff:ff", "192.0.2.1", "198.51.100.9", 64, "DF")
    gre = seen[layers.GRE]
    assert (gre.proto, gre.key_present, gre.key) == (0x6558, 1, 1234) and bytes(gre.payload) == CUT
    assert IP(bytes(seen[IP])[:20])  # a checksum that is right stays
    again = seen.copy()
    del again[IP].chksum
    assert bytes(again) == copy


@pytest.mark.parametrize("kind", ["ERSPAN2", "ERSPAN3"])
def test_E_3_E_4_as_scapy_reads_it(kind: str) -> None:
    pytest.importorskip("scapy.contrib.erspan")
    from scapy.contrib.erspan import ERSPAN, ERSPAN_III
    from scapy.layers.l2 import GRE, Ether
    it, source = remote(kind, flags=MirrorFlag.DST_ORIG_VLAN)
    it.send(source, SAMPLE)
    (copy,) = copies(it.send(source, SAMPLE))
    seen = Ether(copy)
    assert seen[GRE].sequence_number == 1
    shown = seen[ERSPAN if kind == "ERSPAN2" else ERSPAN_III]
    assert (shown.vlan, shown.cos, shown.session_id, shown.t) == (10, 5, 100, 1)
    if kind == "ERSPAN2":
        assert (shown.ver, shown.en, shown.index) == (1, 3, 7)
    else:
        assert (shown.ver, shown.timestamp, shown.p, shown.d, shown.gra) == (2, NOW & 0xFFFFFFFF, 1, 0, 3)
    assert bytes(shown.payload) == outer_tag(SAMPLE, 10)[:40]


FIELDS = {
    "GRE": ("gre.proto", "gre.key", "ip.id", "ip.checksum.status"),
    "ERSPAN2": (
        "erspan.version",
        "erspan.vlan",
        "erspan.cos",
        "erspan.spanid",
        "erspan.truncated",
        "gre.sequence_number",
    ),
    "ERSPAN3": ("erspan.version", "erspan.vlan", "erspan.cos", "erspan.spanid", "erspan.truncated", "erspan.direction"),
}
SHOWN = {
    "GRE": ["0x6558", "0x000004d2", "0x0000", "1"],
    "ERSPAN2": ["1", "10", "5", "100", "1", "0"],
    "ERSPAN3": ["2", "10", "5", "100", "1", "0"],
}


@needs_tshark
def test_E_1_E_3_E_4_M_10_as_tshark_reads_it(tmp_path: pathlib.Path) -> None:
    for kind, fields in FIELDS.items():
        it, source = remote(kind, vlan=30, flags=MirrorFlag.DST_ENCAP | MirrorFlag.DST_ORIG_VLAN)
        path = tmp_path / f"{kind}.pcapng"
        with it.capture("nic0", path):
            it.send(source, SAMPLE)
        lines = [line.split("|") for line in shown(path, *fields, "vlan.id", "eth.dst")]
        assert len(lines) == 2, lines  # the frame as it leaves, and its copy
        assert lines[1][:-2] == SHOWN[kind], (kind, lines[1])
        assert lines[1][-2:] == ["30,10", "02:76:73:ff:ff:ff,ff:ff:ff:ff:ff:ff"]


def test_E_0_by_ipv6_with_the_stack_for_mirroring() -> None:
    layers = pytest.importorskip("scapy.layers.inet6")
    boot = description({"a": {}}) | {"stacks": {"mirror": {
        "mac": "02:00:00:00:00:77", "vlan": 20, "ttl": 9, "dscp": 10, "ipv6": "2001:db8::2"}}}
    it = SimulatedHost(boot=boot)
    mirror(it, MirrorSession("s", type=vswitch.MirrorType.ERMIRROR_SRC, destinations=["ip:2001:db8::9"],
                             sources_in=["port:a"], mirror_stack=True))
    (copy,) = copies(it.send(A, frame(mac(10))))
    from scapy.layers.l2 import Dot1Q, Ether
    seen = Ether(copy)
    assert (seen.src, seen[Dot1Q].vlan, seen[Dot1Q].prio) == ("02:00:00:00:00:77", 20, 0)
    ip = seen[layers.IPv6]
    assert (ip.src, ip.dst, ip.hlim, ip.tc, ip.nh, ip.plen) == ("2001:db8::2", "2001:db8::9", 9, 40, 47, 64)
    assert copy[58:] == bytes.fromhex("00006558") + frame(mac(10))


def test_M_6_remote_mirrors_from_host_to_host() -> None:
    source = host({"a": {"properties": [access(10)]}}, nics=2)
    mirror(source, MirrorSession("s", type=vswitch.MirrorType.RMIRROR_SRC, destinations=["uplink:nic1"],
                                 sources_in=["port:a"], flags=MirrorFlag.DST_ENCAP, vlan=30))
    sent = frame(mac(10))
    (copy,) = copies(source.send(A, sent), "nic1")
    assert copy == outer_tag(sent, 30)
    target = host({"a": {}, "b": {"properties": [trunk(0)]}})
    mirror(target, MirrorSession("s", type=vswitch.MirrorType.RMIRROR_DST, destinations=["port:a"],
                                 sources_in=["vlan:30"]))
    assert copies(target.send("nic0", copy), A) == [sent]


def test_M_9_rules_of_the_table() -> None:
    it = host({"a": {}, "b": {}, "c": {"properties": [access(99)]}})
    rules = [MirrorRule(vswitch.MirrorAction.DONT_MIRROR, sources=["192.0.2.128/25"]),
             MirrorRule(protocol=17, destination_ports=(50, 60), destinations=["198.51.100.0/24", "2001:db8::/32"])]
    mirror(it, MirrorSession("s", destinations=["port:c"], sources_in=["port:a"], rules=rules))

    def seen(source: str, port: int, protocol: int = 17) -> int:
        packet = bytes.fromhex("4500001c0000000040") + bytes((protocol,)) + bytes(2) + bytes(
            map(int, source.split("."))) + bytes((198, 51, 100, 7)) + struct.pack(">HH", 1000, port) + bytes(22)
        return len(copies(it.send(A, frame(mac(10), payload=packet))))

    assert [seen("192.0.2.1", 53), seen("192.0.2.129", 53), seen("192.0.2.1", 61), seen("192.0.2.1", 53, 6)] == [
        1, 0, 0, 0]
    assert statistics(it) == [1, 0, 1, 3, 0]


# ---- no mirror of a mirror -------------------------------------------------------------------------------------------


def random_session(random: Random, number: int, ports: Iterable[str], nics: Iterable[str]) -> MirrorSession:
    """Any source, any destination: sessions point at each other."""
    ends = [f"port:{name}" for name in ports] + [f"uplink:{name}" for name in nics]
    sources = [*ends, "vlan:0", "vlan:10"]
    to = [*ends, "ip:198.51.100.9", "ip:2001:db8::9"]
    flags = MirrorFlag(0)
    for flag in (MirrorFlag.DST_ORIG_VLAN, MirrorFlag.DST_ENCAP, MirrorFlag.SRC_UPLINK_MIRROR):
        flags |= flag if random.random() < 0.4 else MirrorFlag(0)
    return MirrorSession(
        f"s{number}", type=vswitch.MirrorType.MIXDST, destinations=random.sample(to, random.randint(1, 3)),
        sources_in=random.sample(sources, random.randint(0, 4)),
        sources_out=random.sample(sources, random.randint(0, 4)), flags=flags, vlan=random.choice((0, 30)),
        snap_length=random.choice((None, None, 50)), sampling=random.choice((0, 0, 2)),
        encapsulation=random.choice(list(vswitch.MirrorEncapsulation)[:3]), gre_key=random.choice((0, 9)))


def without_tags(data: bytes) -> bytes:
    while data[12:14] == b"\x81\0":
        data = data[:12] + data[16:]
    return data


def carried(copy: bytes) -> bytes:
    """What a copy is of: inside one encapsulation, if it is in one."""
    copy = without_tags(copy)
    if copy[:6] != bytes.fromhex("027673ffffff"):
        return copy
    gre = copy[34:] if copy[12:14] == b"\x08\0" else copy[54:]
    inner = {0x6558: 8 if gre[0] & 0x20 else 4, 0x88BE: 16, 0x22EB: 20}[int.from_bytes(gre[2:4], "big")]
    return without_tags(gre[inner:])


def test_M_4_M_12_no_mirror_of_a_mirror_and_every_copy_counted() -> None:
    random = Random(4)
    hosts, frames = (40, 250) if FULL else (6, 60)
    ports = "abcd"
    total = 0
    for _ in range(hosts):
        it = host({name: {"properties": [random.choice((access(0), access(10), trunk(0)))]} for name in ports}, nics=2)
        sessions = [random_session(random, number, ports, ("nic0", "nic1")) for number in range(random.randint(1, 5))]
        mirror(it, *sessions)
        most = sum(len(session.destinations) for session in sessions)
        seen = 0
        for number in range(frames):
            place = random.randrange(6)
            payload = struct.pack(">HI", 0x1234, number).ljust(random.choice((46, 200)), b"\x55")
            to = random.choice(("ff:ff:ff:ff:ff:ff", mac(10), mac(11), "02:00:00:00:09:09"))
            endpoint: Endpoint
            if place < 4:
                endpoint, data = ("sw", ports[place]), frame(mac(10 + place), to, payload[2:], payload[:2].hex())
            else:
                endpoint, data = f"nic{place - 4}", frame("02:00:00:00:08:08", to, payload[2:], payload[:2].hex())
                if random.random() < 0.5:
                    data = outer_tag(data, 10)
            result = it.send(endpoint, data)
            found = copies(result)
            assert len(found) <= most, (endpoint, data.hex())
            for copy in found:
                inner = carried(copy)
                whole = without_tags(data)
                assert inner == whole[:len(inner)] and len(inner) >= min(len(whole), 42), (copy.hex(), data.hex())
            kinds = [one.kind is Kind.MIRROR for one in result.deliveries]
            assert kinds == sorted(kinds)
            seen += len(found)
        counted = [statistics(it, session.id) for session in sessions]
        assert sum(copied for copied, *_ in counted) == seen
        total += seen
    assert total > hosts * frames / 2


# ---- the same by other ways, and what lasts --------------------------------------------------------------------------


def lasting() -> tuple[SimulatedHost, tuple[str, str]]:
    """A host whose session samples every second frame, to an address, and has seen three."""
    it, source = remote("ERSPAN2", sampling=2)
    for _ in range(3):
        it.send(source, SAMPLE)
    assert statistics(it) == [2, 0, 2, 1, 0]
    return it, source


def goes_on(it: SimulatedHost, source: tuple[str, str]) -> None:
    """The next two frames: the fourth is left out, the copy of the fifth has the number 2."""
    assert copies(it.send(source, SAMPLE)) == []
    (copy,) = copies(it.send(source, SAMPLE))
    assert (copy[38:42].hex(), copy[18:20].hex()) == ("00000002", "0002")
    assert statistics(it) == [3, 0, 3, 2, 0]


def test_D_2_a_snapshot_has_it(tmp_path: pathlib.Path) -> None:
    it, source = lasting()
    it.snapshot(tmp_path / "host.db")
    goes_on(SimulatedHost(tmp_path / "host.db"), source)
    goes_on(it.fork(), source)
    goes_on(it, source)


def test_D_2_D_4_other_processes_see_it(tmp_path: pathlib.Path) -> None:
    it, source = lasting()
    it.snapshot(tmp_path / "host.db")
    first, other = SimulatedHost(tmp_path / "host.db"), SimulatedHost(tmp_path / "host.db")
    assert copies(first.send(source, SAMPLE)) == []
    assert len(copies(other.send(source, SAMPLE))) == 1
    assert statistics(first) == statistics(other) == [3, 0, 3, 2, 0]


def test_D_2_saved_and_restored_around_an_upgrade() -> None:
    it, source = lasting()
    with it:
        with vswitch.Host().save_restore("sw") as steps:
            steps.register_save().save().block_ports()
            assert it.send(source, SAMPLE).drops[0].reason.value == "port-blocked"
            steps.upgrade_switch().upgrade_ports().register_restore().restore().restore_complete()
        goes_on(it, source)


def test_D_3_a_killed_process_leaves_whole_frames(tmp_path: pathlib.Path) -> None:
    it, source = lasting()
    it.snapshot(tmp_path / "host.db")
    turn = 'host.send(("sw", sys.argv[2]), bytes.fromhex(sys.argv[3]))'
    kill_after_turns(turn, tmp_path / "host.db", source[1], SAMPLE.hex())
    after = SimulatedHost(tmp_path / "host.db")
    sent = after.counters(source)["pktsInUnicast"] + after.counters(source)["pktsInBroadcast"]
    assert sent >= 3 + TURNS
    copied = (sent + 1) // 2  # every second one, from the first on
    assert statistics(after) == [copied, 0, copied, sent - copied, 0]
    following = [copy for _ in range(2) for copy in copies(after.send(source, SAMPLE))]
    assert [copy[38:42] for copy in following] == [copied.to_bytes(4, "big")]


def test_E_5_a_boot_and_a_new_session_begin_anew() -> None:
    it, source = lasting()
    it.boot()
    assert statistics(it) == [0, 0, 0, 0, 0]
    it, source = lasting()
    with it:
        mirrors = vswitch.Host().switches["sw"].mirrors
        session = mirrors["s"]
        mirrors["s"] = session.replace(snap_length=41)
    goes_on(it, source)  # one that stays keeps its counters
    with it:
        mirrors.remove("s")
        mirrors.create(session)
    (copy,) = copies(it.send(source, SAMPLE))
    assert copy[38:42].hex() == "00000000" and statistics(it) == [1, 0, 1, 0, 0]


def test_API_6_a_batch_is_as_single_frames() -> None:
    it, source = lasting()
    batch = it.fork()
    frames: list[tuple[Endpoint, bytes]] = [(source, SAMPLE), ("nic0", frame("02:00:00:00:09:09"))] * 5
    singly = [one for endpoint, data in frames for one in it.send(endpoint, data).deliveries]
    together = batch.send_many(frames).deliveries
    assert [one._replace(index=0) for one in together] == singly
    assert statistics(batch) == statistics(it)


def test_M_11_what_there_is_changes_with_the_host() -> None:
    it = host({"a": {}, "b": {}, "c": {"properties": [access(99)]}})
    mirror(it, MirrorSession("s", destinations=["port:c", f"mac:{mac(50)}"], sources_in=["port:a"]))
    sent = frame(mac(10))
    assert len(copies(it.send(A, sent))) == 1
    it.set_client(B, mac=mac(50))
    assert len(copies(it.send(A, sent))) == 2
    it.set_client(C, link=False)
    assert len(copies(it.send(A, sent))) == 1
    it.disconnect(C)
    assert len(copies(it.send(A, sent))) == 1
    assert statistics(it) == [5, 2, 4, 0, 0]
