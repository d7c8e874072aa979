"""Captures: to the byte, and as tshark and scapy read them."""

import os
import pathlib
import stat
import subprocess
from typing import Any

import pytest
import workspace
from hosts import BROADCAST, access, description, frame, host, mac, security
from pcap_files import capture as expected
from tshark import TSHARK, needs_tshark, shown
from workspace import Script

from vswitch.simulated import NoSpaceError, SimulatedHost, SimulationError

GOLDEN = pathlib.Path(__file__).with_name("golden")
A, B = ("sw", "a"), ("sw", "b")
START = 1_700_000_000_000_000



def small() -> SimulatedHost:
    """Two access ports in VLAN 10, where the first may not forge, and an uplink that is a trunk."""
    return host({"a": {"properties": [access(10), security("FORGED_SRC")]}, "b": {"properties": [access(10)]}})


def what_happens(it: SimulatedHost) -> None:
    it.send(A, frame(mac(10)))
    it.advance(1.5)
    it.send(A, frame(mac(77), mac(11)))
    it.send_many([(A, b"short"), (B, frame(mac(11), mac(10), payload=b"\x01" * 47)),
                  ("nic0", frame("02:00:00:00:09:09"))])
    it.explain(A, frame(mac(10)))
    it.advance(0.000001)
    it.send("nic0", bytes.fromhex(BROADCAST + "020000000909" + "8100600a" + "0800") + bytes(50))


def tagged(data: bytes, tag: str = "8100000a") -> bytes:
    return data[:12] + bytes.fromhex(tag) + data[12:]


WIRE = bytes.fromhex(BROADCAST + "020000000909" + "8100600a" + "0800") + bytes(50)
LATER, LAST = START + 1_500_000, START + 1_500_001
FRAMES: dict[str, tuple[Any, Any, int, str, list[tuple[int, bytes, int, str | None]]]] = {
    "port.pcapng": (A, "both", 262144, "sw/a", [
        (START, frame(mac(10)), 1, None),
        (LATER, frame(mac(77), mac(11)), 1, "forged-source"),
        (LATER, b"short", 1, "runt"),
        (LATER, frame(mac(11), mac(10), payload=b"\x01" * 47), 2, None),
        (LAST, WIRE[:12] + WIRE[16:], 2, None),
    ]),
    "in.pcapng": (A, "in", 20, "sw/a", [
        (START, frame(mac(10)), 1, None),
        (LATER, frame(mac(77), mac(11)), 1, "forged-source"),
        (LATER, b"short", 1, "runt"),
    ]),
    "nic.pcapng": ("nic0", "both", 0, "nic0", [
        (START, tagged(frame(mac(10))), 2, None),
        (LATER, frame("02:00:00:00:09:09"), 1, "no-receiver"),
        (LAST, WIRE, 1, None),
    ]),
    "out.pcapng": ("nic0", "out", 65535, "nic0", [(START, tagged(frame(mac(10))), 2, None)]),
}


@pytest.mark.parametrize("name", FRAMES)
def test_API_11_a_capture_is_the_golden_file(name: str, tmp_path: pathlib.Path) -> None:
    endpoint, direction, snaplen, interface, frames = FRAMES[name]
    golden = (GOLDEN / name).read_bytes()
    assert golden == expected(interface, frames, snaplen), "the golden file itself"
    it = small()
    with it.capture(endpoint, tmp_path / name, direction, snaplen) as capture:
        what_happens(it)
        assert capture.frames == len(frames)
    assert (tmp_path / name).read_bytes() == golden


def test_API_11_the_first_bytes_by_hand(tmp_path: pathlib.Path) -> None:
    """The section, the interface and a dropped frame, as the format's document has them."""
    it = host(1, nics=0)
    with it.capture(A, tmp_path / "a.pcapng"):
        it.send(A, b"\xaa\xbb\xcc")
    assert (tmp_path / "a.pcapng").read_bytes().hex() == (
        "0a0d0d0a" "1c000000" "4d3c2b1a" "0100" "0000" "ffffffffffffffff" "1c000000"
        "01000000" "28000000" "0100" "0000" "00000400"
        "0200" "0400" "73772f61" "0900" "0100" "06000000" "0000" "0000" "28000000"
        "06000000" "40000000" "00000000" "240a0600" "00401e18" "03000000" "03000000" "aabbcc00"
        "0100" "0a00" "64726f703a2072756e74" "0000" "0200" "0400" "01000000" "0000" "0000" "40000000"
    )


def test_API_11_a_file_that_is_there_is_left_alone(tmp_path: pathlib.Path) -> None:
    it = host(1)
    (tmp_path / "there").write_text("mine")
    (tmp_path / "link").symlink_to(tmp_path / "nowhere")
    for name in ("there", "link"):
        with pytest.raises(SimulationError, match="is there already"):
            it.capture(A, tmp_path / name)
    with pytest.raises(SimulationError, match="No such file"):
        it.capture(A, tmp_path / "no folder" / "x")
    assert (tmp_path / "there").read_text() == "mine" and not (tmp_path / "nowhere").exists()
    it.send(A, frame(mac(10)))


def test_API_11_nobody_else_may_read_it(tmp_path: pathlib.Path) -> None:
    before = os.umask(0o777)
    try:
        host(1).capture(A, tmp_path / "a.pcapng")
    finally:
        os.umask(before)
    assert stat.S_IMODE((tmp_path / "a.pcapng").stat().st_mode) == 0o600


def test_API_11_it_is_flushed_with_each_operation(tmp_path: pathlib.Path) -> None:
    it = host(1)
    file = tmp_path / "a.pcapng"
    with it.capture(A, file) as capture:
        sizes = [file.stat().st_size]
        for count in range(1, 4):
            it.send(A, frame(mac(10)))
            sizes.append(file.stat().st_size)
            assert capture.frames == count
        assert len(set(sizes)) == 4
        assert file.read_bytes() == expected("sw/a", [(START, frame(mac(10)), 1, None)] * 3)


def test_API_11_only_operations_of_this_object(tmp_path: pathlib.Path) -> None:
    state = tmp_path / "host.db"
    it, other = SimulatedHost(state, boot=description(2)), SimulatedHost(state)
    with it.capture(A, tmp_path / "a.pcapng") as capture:
        other.send(A, frame(mac(10)))
        it.fork().send(A, frame(mac(10)))
        assert capture.frames == 0
        it.send(A, frame(mac(10)))
        assert capture.frames == 1


def test_API_11_what_is_only_counted_is_captured(tmp_path: pathlib.Path) -> None:
    it = host(2)
    with it.capture(B, tmp_path / "b.pcapng", "out") as capture:
        it.send_many([(A, frame(mac(10)))] * 700, count_only=True)
        assert capture.frames == 700


def test_API_11_a_refused_operation_leaves_no_trace_in_it(tmp_path: pathlib.Path) -> None:
    it = host(2)
    with it.capture(A, tmp_path / "a.pcapng") as capture:
        with pytest.raises(ValueError):
            it.send_many([(A, frame(mac(10))), (("sw", "no"), b"")])
        assert capture.frames == 0
    assert (tmp_path / "a.pcapng").read_bytes() == expected("sw/a", [])


def test_API_11_several_of_one_endpoint(tmp_path: pathlib.Path) -> None:
    it = host(2)
    with (it.capture(A, tmp_path / "1") as one, it.capture(A, tmp_path / "2", "out") as two,
          it.capture(B, tmp_path / "3") as three):
        it.send(A, frame(mac(10)))
        assert (one.frames, two.frames, three.frames) == (1, 0, 1)
    it.send(A, frame(mac(10)))
    assert (one.frames, two.frames, three.frames) == (1, 0, 1)


def test_API_11_it_ends_with_the_host(tmp_path: pathlib.Path) -> None:
    it = host(2)
    capture = it.capture(A, tmp_path / "a.pcapng")
    it.send(A, frame(mac(10)))
    it.close()
    assert capture.frames == 1
    capture.close()
    assert (tmp_path / "a.pcapng").read_bytes() == expected("sw/a", [(START, frame(mac(10)), 1, None)])


def test_D_5_a_child_of_the_process_writes_nothing(script: Script, tmp_path: pathlib.Path) -> None:
    """It has the parent's file open, too."""
    script(f"""
    import os, sys
    sys.path.append({os.path.dirname(__file__)!r})
    from hosts import frame, host, mac
    it = host(1)
    with it.capture(("sw", "a"), {str(tmp_path / "a.pcapng")!r}) as capture:
        child = os.fork()
        if child == 0:
            it.send(("sw", "a"), frame(mac(10)))
            os._exit(it.counters(("sw", "a"))["pktsInBroadcast"])
        assert os.waitpid(child, 0)[1] >> 8 == 1
        it.send(("sw", "a"), frame(mac(10)))
        assert capture.frames == 1
    """)
    assert (tmp_path / "a.pcapng").read_bytes() == expected("sw/a", [(START, frame(mac(10)), 1, None)])


def test_a_full_disk_ends_a_capture_with_what_was_whole(script: Script, tmp_path: pathlib.Path) -> None:
    """A limit of the file's size, which is as a full disk is."""
    script(f"""
    import resource, signal, sys
    sys.path.append({os.path.dirname(__file__)!r})
    from hosts import frame, host, mac
    from vswitch.simulated import NoSpaceError
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    it = host(1)
    capture = it.capture(("sw", "a"), {str(tmp_path / "a.pcapng")!r})
    resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
    for _ in range(20):
        assert it.send(("sw", "a"), frame(mac(10)))
    assert capture.frames == 8, capture.frames
    try:
        capture.close()
    except NoSpaceError as error:
        assert str(error).startswith({str(tmp_path / "a.pcapng")!r} + ": cannot write it: "), error
    else:
        raise AssertionError
    capture.close()
    """)
    assert (tmp_path / "a.pcapng").read_bytes() == expected("sw/a", [(START, frame(mac(10)), 1, None)] * 8)
    assert issubclass(NoSpaceError, SimulationError)


# ---- other readers ---------------------------------------------------------------------------------------------------

FIELDS = ["frame.time_epoch", "frame.interface_name", "frame.len", "frame.cap_len", "frame.packet_flags_direction",
          "frame.comment", "eth.dst", "eth.src", "vlan.id", "vlan.priority"]


@needs_tshark
@pytest.mark.parametrize("name", FRAMES)
def test_API_11_as_tshark_reads_it(name: str) -> None:
    _, _, snaplen, interface, frames = FRAMES[name]
    lines = shown(GOLDEN / name, *FIELDS)
    assert len(lines) == len(frames)
    for line, (time, data, direction, reason) in zip(lines, frames, strict=True):
        fields = line.split("|")
        captured = min(len(data), snaplen or len(data))
        assert fields[0] == f"{time // 10**6}.{time % 10**6:06}000"
        assert fields[1:4] == [interface, str(len(data)), str(captured)]
        assert int(fields[4], 0) == direction and fields[5] == (f"drop: {reason}" if reason else "")
        if captured >= 14:
            assert fields[6:8] == [data[:6].hex(":"), data[6:12].hex(":")]
        if data[12:14] == b"\x81\0":
            tag = int.from_bytes(data[14:16], "big")
            assert fields[8:] == [str(tag & 0xFFF), str(tag >> 13)]


@needs_tshark
def test_API_11_tshark_finds_nothing_wrong(tmp_path: pathlib.Path) -> None:
    for name in FRAMES:
        process = subprocess.run([TSHARK, "-r", GOLDEN / name, "-Y", "_ws.malformed.expert"], capture_output=True,
                                 text=True, check=True, env=workspace.FOREIGN)
        assert "appears" not in process.stderr and "damaged" not in process.stderr


@pytest.mark.parametrize("name", FRAMES)
def test_API_11_as_scapy_reads_it(name: str) -> None:
    utils = pytest.importorskip("scapy.utils")
    _, _, snaplen, _, frames = FRAMES[name]
    reader = utils.RawPcapReader(str(GOLDEN / name))
    read = list(reader)
    reader.close()
    assert [data for data, _ in read] == [data[:snaplen or None] for _, data, _, _ in frames]
    assert [(meta.linktype, meta.tsresol, meta.tshigh << 32 | meta.tslow, meta.wirelen) for _, meta in read] == [
        (1, 1_000_000, time, len(data)) for time, data, _, _ in frames]
