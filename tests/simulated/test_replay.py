"""Replay: every form of capture file, what times do, and files that are damaged or hostile."""

import os
import pathlib
import shutil
import struct
import subprocess
from collections.abc import Callable, Collection, Iterable, Iterator
from typing import Any

import pytest
import workspace
from hosts import description, frame, host, mac
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from pcap_files import Pcapng, pcap

from vswitch.simulated import SimulatedHost, SimulationError

A, B = ("sw", "a"), ("sw", "b")
START = 1_700_000_000_000_000
EDITCAP = shutil.which("editcap")
FULL = bool(os.environ.get("VSWITCHPY_FULL"))


def frames(count: int) -> list[bytes]:
    return [frame(mac(10), payload=bytes((number % 256,)) * (46 + number % 5)) for number in range(count)]


def ng(data: Collection[bytes], order: str = "<", stamps: Iterable[int] | None = None, **options: Any) -> bytes:
    writer = Pcapng(order)
    stamps = stamps or range(len(data))
    return writer.section() + writer.interface(**options) + b"".join(
        writer.enhanced(one, stamp) for one, stamp in zip(data, stamps, strict=True))


@pytest.fixture
def file(tmp_path: pathlib.Path) -> Callable[[bytes], pathlib.Path]:
    def write(content: bytes) -> pathlib.Path:
        path = tmp_path / "capture"
        path.write_bytes(content)
        return path

    return write


# ---- formats ---------------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("nanoseconds", [False, True])
@pytest.mark.parametrize("order", ["<", ">"])
def test_API_10_pcap_of_both_orders_and_resolutions(
    file: Callable[[bytes], pathlib.Path], order: str, nanoseconds: bool
) -> None:
    it = host(2)
    content = pcap(((5.25 + n, one) for n, one in enumerate(frames(3))), order, nanoseconds)
    result = it.replay(A, file(content), timing=True)
    assert result.to(B) == frames(3) and result.frames == 3
    assert [delivery.index for delivery in result.deliveries] == [0, 0, 1, 1, 2, 2]
    assert it.now_us == START + 2_000_000


@pytest.mark.parametrize("order", ["<", ">"])
def test_API_10_pcapng_of_both_orders(file: Callable[[bytes], pathlib.Path], order: str) -> None:
    assert host(2).replay(A, file(ng(frames(3), order))).to(B) == frames(3)


def test_API_10_blocks_of_all_kinds_are_passed_over(file: Callable[[bytes], pathlib.Path]) -> None:
    writer = Pcapng()
    others = b"".join(writer.block(kind, bytes(24)) for kind in (4, 5, 0xA, 0xBAD, 0x40000BAD, 0x12345678))
    content = (writer.section() + others + writer.interface() + others + writer.enhanced(frames(1)[0], 0,
                                                                                         options=[(1, b"note")])
               + others + writer.simple(frames(2)[1]) + others)
    assert host(2).replay(A, file(content)).to(B) == frames(2)


def test_API_10_simple_packets_are_cut_by_the_interface(file: Callable[[bytes], pathlib.Path]) -> None:
    writer = Pcapng()
    long = frame(mac(10), payload=bytes(100))
    content = writer.section() + writer.interface(snaplen=60) + writer.simple(long[:60], len(long))
    assert host(2).replay(A, file(content)).to(B) == [long[:60]]
    content = writer.section() + writer.interface(snaplen=0) + writer.simple(long)
    assert host(2).replay(A, file(content)).to(B) == [long]


def test_API_10_several_sections_and_interfaces(file: Callable[[bytes], pathlib.Path]) -> None:
    one, two, three = frames(3)
    little, big = Pcapng("<"), Pcapng(">")
    content = (little.section() + little.interface() + little.interface(options=[(9, b"\x09")])
               + little.enhanced(one, 2_000_000, 0) + little.enhanced(two, 3_000_000_000, 1)
               + big.section() + big.interface(options=[(9, b"\x83")]) + big.enhanced(three, 8 * 5, 0))
    it = host(2)
    assert it.replay(A, file(content), timing=True).to(B) == [one, two, three]
    assert it.now_us == START + 3_000_000  # 2 s, 3 s, 5 s


@pytest.mark.parametrize(("options", "stamps"), [
    ([], (10, 2_500_010)), ([(9, b"\x06")], (10, 2_500_010)), ([(9, b"\x09")], (7, 2_500_000_007)),
    ([(9, b"\x03")], (1, 2501)), ([(9, b"\x00")], (5, 7)), ([(9, b"\x81")], (3, 8)), ([(9, b"\xa0")], (0, 5 << 31)),
    ([(14, struct.pack("<q", -5))], (6_000_000, 8_500_000)), ([(9, b"\x0c")], (0, 2_500_000_000_000)),
])
def test_API_10_resolutions_of_time(
    file: Callable[[bytes], pathlib.Path], options: Any, stamps: Iterable[int] | None
) -> None:
    it = host(2)
    it.replay(A, file(ng(frames(2), stamps=stamps, options=options)), timing=True)
    assert it.now_us - START == (2_000_000 if options == [(9, b"\x00")] else 2_500_000)


def test_API_10_time_goes_forward_only(file: Callable[[bytes], pathlib.Path]) -> None:
    it = host(2)
    with it.capture(A, file(b"").with_name("seen.pcapng"), "in"):
        it.replay(A, file(pcap(zip((100, 101.5, 101, 103), frames(4), strict=True))), timing=True)
        assert it.now_us == START + 3_500_000
    times = [int.from_bytes(block[12:16], "little") << 32 | int.from_bytes(block[16:20], "little")
             for block in blocks(file(b"").with_name("seen.pcapng").read_bytes()) if block[0] == 6]
    assert [time - START for time in times] == [0, 1_500_000, 1_500_000, 3_500_000]


def blocks(content: bytes) -> Iterator[bytes]:
    at = 0
    while at < len(content):
        length = int.from_bytes(content[at + 4:at + 8], "little")
        yield content[at:at + length]
        at += length


def test_API_10_packets_without_time_take_none(file: Callable[[bytes], pathlib.Path]) -> None:
    writer = Pcapng()
    content = (writer.section() + writer.interface() + writer.enhanced(frames(1)[0],
                                                                       1_000_000) + writer.simple(frames(1)[0])
               + writer.enhanced(frames(1)[0], 3_000_000))
    it = host(2)
    it.replay(A, file(content), timing=True)
    assert it.now_us == START + 2_000_000


def test_API_10_without_timing_time_stands(file: Callable[[bytes], pathlib.Path]) -> None:
    it = host(2)
    it.replay(A, file(pcap(zip((1, 2, 3), frames(3), strict=True))))
    assert it.now_us == START


def test_API_10_a_running_clock_takes_no_notice(file: Callable[[bytes], pathlib.Path]) -> None:
    boot = description(2)
    del boot["stopped_clock"]
    it = SimulatedHost(boot=boot)
    before = it.now_us
    assert it.replay(A, file(pcap(zip((1, 100_000), frames(2), strict=True))), timing=True).frames == 2
    assert it.now_us - before < 90_000_000_000


def test_API_10_transactions_of_512_frames(file: Callable[[bytes], pathlib.Path], tmp_path: pathlib.Path) -> None:
    """By what a capture shows: it is written once for each operation."""
    it = host(2)
    content = file(pcap((0, one) for one in frames(1300)))
    result = it.replay(A, content)
    assert result.frames == 1300 and result.to(B) == frames(1300)
    assert result.deliveries[-1].index == 1299 and len(result.deliveries) == 2600


def test_API_10_an_empty_file_has_happen_what_is_due(file: Callable[[bytes], pathlib.Path]) -> None:
    it = host(2)
    assert not it.replay(A, file(pcap(()))) and not it.replay(A, file(ng(()))) and it.replay(A,
                                                                                             file(ng(()))).frames == 0


def test_API_10_a_capture_of_a_host_can_be_replayed(tmp_path: pathlib.Path) -> None:
    it = host(2)
    with it.capture(A, tmp_path / "a.pcapng", "in"):
        for one in frames(5):
            it.send(A, one)
            it.advance(0.5)
    again = host(2)
    assert again.replay(A, tmp_path / "a.pcapng", timing=True).to(B) == frames(5)
    assert again.counters(A) == it.counters(A) and again.now_us == START + 2_000_000


@pytest.mark.skipif(not EDITCAP, reason="editcap is not installed; `make test` installs it with tshark")
@pytest.mark.parametrize("kind", ["pcap", "nsecpcap", "pcapng"])
def test_API_10_what_other_programs_write(
    file: Callable[[bytes], pathlib.Path], tmp_path: pathlib.Path, kind: str
) -> None:
    (tmp_path / "made").write_bytes(pcap(zip((1, 2.5, 4), frames(3), strict=True)))
    command: list[str | pathlib.Path] = [EDITCAP or "", "-F", kind, tmp_path / "made", tmp_path / "converted"]
    subprocess.run(command, check=True, capture_output=True, env=workspace.FOREIGN)
    it = host(2)
    assert it.replay(A, tmp_path / "converted", timing=True).to(B) == frames(3) and it.now_us == START + 3_000_000


def test_API_10_what_scapy_writes(tmp_path: pathlib.Path) -> None:
    utils, layers = pytest.importorskip("scapy.utils"), pytest.importorskip("scapy.layers.l2")
    packets = [layers.Ether(dst="ff:ff:ff:ff:ff:ff", src=mac(10)) / layers.ARP(pdst=f"192.0.2.{n}") for n in range(3)]
    utils.wrpcap(str(tmp_path / "made"), packets)
    assert host(2).replay(A, tmp_path / "made").to(B) == [bytes(packet) for packet in packets]


# ---- what is refused -------------------------------------------------------------------------------------------------

W = Pcapng()
HEAD = W.section() + W.interface()
GOOD = frame(mac(10))
REFUSED = {
    "empty": (b"", 0, "no capture file"),
    "text": (b"this is text, and no capture at all", 0, "no capture file"),
    "another magic": (b"\xa1\xb2\xcd\x34" + bytes(40), 0, "no capture file"),
    "cut pcap head": (pcap(())[:20], 0, "the file ends within"),
    "pcap of another version": (b"\xd4\xc3\xb2\xa1\x02\0\x03\0" + bytes(16), 0, "version 2.4"),
    "pcap of another link": (pcap((), linktype=113), 0, "link type 113"),
    "cut record head": (pcap([(0, GOOD)])[:30], 24, "the file ends within"),
    "cut record": (pcap([(0, GOOD)] * 2)[:-1], 24 + 76, "the file ends within"),
    "long record": (pcap(()) + struct.pack("<IIII", 0, 0, 262145, 262145) + bytes(262145), 24, "more than 262144"),
    "huge record": (pcap([(0, GOOD)]) + struct.pack("<IIII", 0, 0, 0xFFFFFFFF, 60) + bytes(60), 24 + 76,
                    "more than 262144"),
    "unknown byte order": (W.section().replace(b"\x4d\x3c", b"\x00\x00"), 0, "order of bytes"),
    "version 2": (W.section(version=2), 0, "version 1"),
    "cut section": (W.section()[:16], 0, "the file ends within"),
    "short section": (struct.pack("<IIII", 0x0A0D0D0A, 16, 0x1A2B3C4D, 16), 0, "too short"),
    "another link": (W.section() + W.interface(linktype=276), 28, "link type 276"),
    "short interface": (W.section() + W.block(1, bytes(4)), 28, "too short"),
    "option beyond its block": (W.section() + W.block(1, struct.pack("<HHIHH", 1, 0, 0, 2, 400)), 28, "option"),
    "resolution of two bytes": (W.section() + W.interface(options=[(9, b"\x06\x06")]), 28, "2 bytes"),
    "no interface": (W.section() + W.enhanced(GOOD), 28, "interface 0"),
    "no interface for a simple packet": (W.section() + W.simple(GOOD), 28, "interface 0"),
    "another interface": (HEAD + W.enhanced(GOOD, interface=1), 48, "interface 1"),
    "interface of the section before": (HEAD + W.section() + W.enhanced(GOOD), 76, "interface 0"),
    "obsolete packet": (HEAD + W.block(2, bytes(60)), 48, "obsolete"),
    "more than its block": (HEAD + W.enhanced(GOOD, captured=61 + 3), 48, "60 for it"),
    "short packet block": (HEAD + W.block(6, bytes(16)), 48, "too short"),
    "short simple packet block": (HEAD + W.block(3, b""), 48, "too short"),
    "simple packet longer than its block": (HEAD + W.simple(GOOD, 100), 48, "60 for it"),
    "block of 4 bytes": (HEAD + struct.pack("<III", 5, 4, 4), 48, "block of 4 bytes"),
    "block of 13 bytes": (HEAD + struct.pack("<II", 5, 13) + bytes(5), 48, "block of 13 bytes"),
    "block beyond the file": (HEAD + struct.pack("<III", 5, 0xFFFFFFFC, 0), 48, "the file ends within"),
    "another length at the end": (HEAD + W.enhanced(GOOD)[:-4] + bytes(4), 48, "end with its length"),
    "cut block": (HEAD + W.enhanced(GOOD)[:-1], 48, "the file ends within"),
    "cut type": (HEAD + b"\x06\0", 48, "the file ends within"),
}


@pytest.mark.parametrize("name", REFUSED)
def test_API_10_what_is_refused_and_where(file: Callable[[bytes], pathlib.Path], name: str) -> None:
    content, byte, text = REFUSED[name]
    it = host(2)
    # What is right stands before what is wrong where that is possible: nothing of it is sent.
    with pytest.raises(SimulationError) as error:
        it.replay(A, file(content))
    said = str(error.value)
    assert said.startswith(f"{file(content)}: byte {byte}: ") and text in said
    assert it.counters(A)["pktsInBroadcast"] == 0


def test_API_10_nothing_is_sent_before_all_was_looked_at(file: Callable[[bytes], pathlib.Path]) -> None:
    it = host(2)
    with pytest.raises(SimulationError, match=f"byte {24 + 1999 * 76}: the file ends within"):
        it.replay(A, file(pcap([(0, GOOD)] * 2000)[:-1]))
    assert it.counters(A)["pktsInBroadcast"] == 0


def test_API_10_times_too_far_apart(file: Callable[[bytes], pathlib.Path]) -> None:
    it = host(2)
    for stamps, place in (((0, 3_200_000_001_000_000), 48 + 92), ((0, 2**63), 48 + 92)):
        content = file(ng(frames(1) * 2, stamps=stamps))
        with pytest.raises(SimulationError, match=f"byte {place}: a time more than 3200000000 seconds"):
            it.replay(A, content, timing=True)
        assert it.now_us == START and it.replay(A, content).frames == 2


def test_API_10_files_that_are_none(tmp_path: pathlib.Path) -> None:
    it = host(2)
    os.mkfifo(tmp_path / "pipe")
    for name, text in (("no", "No such file"), (".", "not a regular file"), ("pipe", "not a regular file")):
        with pytest.raises(SimulationError, match=f"cannot read it: .*{text}"):
            it.replay(A, tmp_path / name)


@settings(max_examples=3000 if FULL else 300, deadline=None, print_blob=True,
          suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(st.data())
def test_API_10_damaged_files_are_refused_or_read(tmp_path: pathlib.Path, data: st.DataObject) -> None:
    """Bytes of good files changed, cut and doubled: an error that names the file and a byte of it, or frames."""
    base = data.draw(st.sampled_from([
        pcap(zip((1, 2), frames(2), strict=True)), ng(frames(2)), ng(frames(2), ">", options=[(9, b"\x09")]),
        HEAD + W.simple(GOOD) + W.block(5, bytes(20)) + W.section() + W.interface() + W.enhanced(GOOD)]))
    content = bytearray(base)
    for _ in range(data.draw(st.integers(1, 4))):
        at = data.draw(st.integers(0, len(content) - 1))
        what = data.draw(st.sampled_from(["change", "number", "cut", "double"]))
        if what == "change":
            content[at] = data.draw(st.integers(0, 255))
        elif what == "number":
            number = data.draw(st.sampled_from([0, 1, 3, 4, 12, 28, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFC, 0xFFFFFFFF]))
            content[at // 4 * 4:at // 4 * 4 + 4] = number.to_bytes(4, "little")
        elif what == "cut" and at:
            del content[at:]
        else:
            content += content[at // 4 * 4:]
    path = pathlib.Path(tmp_path) / "damaged"
    path.write_bytes(content)
    it = SHARED.fork()
    try:
        result = it.replay(A, path, timing=data.draw(st.booleans()))
    except SimulationError as error:
        assert str(error).startswith(f"{path}: byte ")
        assert int(str(error).split(": byte ")[1].split(":")[0]) <= len(content)
        assert it.counters(A)["pktsInBroadcast"] == 0
    else:
        assert 0 <= result.frames <= len(content) // 16


SHARED = host(2)
