"""Steps through mirror session and LAG tables, and mirror entities as text."""

import struct
from collections.abc import Callable
from typing import Any

import _libvswitch as m
import pytest
from native_memory import Memory, bare, check_arguments, check_method
from workspace import Script

DVPORT, UPLINK, VLAN, IP, PORT, MAC = range(6)
PLACES = [64, 65]


@pytest.fixture(params=PLACES, ids=["aligned", "unaligned"])
def entity(request: pytest.FixtureRequest) -> "Entity":
    return Entity(request.param)


class Entity(Memory):
    """A mirror entity with zeroed value area; around it lies 0xAA."""

    def __init__(self, place: int) -> None:
        super().__init__(256)
        self.place = place
        self.write(place, bytes(52))
        self.proxy = self.record("DVMirrorEntity", place)

    def become(self, kind: int, value: bytes = b"") -> None:
        self.write(self.place, struct.pack("<i", kind) + value.ljust(48, b"\0"))

    def value(self, size: int = 48) -> bytes:
        return self.read(self.place + 4, size)

    def get(self) -> str:
        text: str = m.DVMirrorEntity_get_entity(self.proxy)
        return text

    def set(self, text: Any) -> None:
        kind = self.read(self.place, 4)
        assert m.DVMirrorEntity_set_entity(self.proxy, text) is None
        assert self.read(self.place, 4) == kind
        assert set(self.read(0, self.place) + self.read(self.place + 52, 256 - self.place - 52)) == {0xAA}


# ---- entities as text ------------------------------------------------------------------------------------


@pytest.mark.parametrize("text", [b"", b"port-7", b"x" * 47, b"x" * 48])
def test_a_port_identifier_reads_up_to_48_bytes(entity: Entity, text: bytes) -> None:
    entity.become(DVPORT, text)
    assert entity.get() == text.decode()


@pytest.mark.parametrize("text", [b"", b"vmnic0", b"x" * 31, b"x" * 32])
def test_an_uplink_name_reads_up_to_32_bytes(entity: Entity, text: bytes) -> None:
    entity.become(UPLINK, text + (b"behind" if len(text) == 32 else b""))
    assert entity.get() == text.decode()


def test_text_that_is_not_utf_8_is_escaped(entity: Entity) -> None:
    entity.become(UPLINK, b"\xffa")
    assert entity.get() == "\udcffa"


@pytest.mark.parametrize("number", [0, 1, 4095, 65535])
def test_a_vlan_reads_as_16_bits_in_decimal(entity: Entity, number: int) -> None:
    entity.become(VLAN, struct.pack("<HH", number, 0x5555))
    assert entity.get() == str(number)


@pytest.mark.parametrize(
    ("number", "text"), [(0, "0"), (67108880, "67108880"), (2**31, "-2147483648"), (2**32 - 1, "-1")]
)
def test_a_numeric_port_reads_as_a_signed_number(entity: Entity, number: int, text: str) -> None:
    entity.become(PORT, struct.pack("<I", number))
    assert entity.get() == text


@pytest.mark.parametrize("flag", [1, 2, 255])
def test_the_family_flag_says_how_an_address_reads(entity: Entity, flag: int) -> None:
    address = bytes.fromhex("fe800000000000000000000000000001")
    entity.become(IP, b"\0\x11\x22\x33" + address)
    assert entity.get() == "254.128.0.0"
    entity.become(IP, bytes([flag, 0x11, 0x22, 0x33]) + address)
    assert entity.get() == "fe80::1"


def test_a_mac_reads_as_text(entity: Entity) -> None:
    entity.become(MAC, bytes.fromhex("001a2b3c4d5e77"))
    assert entity.get() == "00:1a:2b:3c:4d:5e"


@pytest.mark.parametrize("kind", [6, 7, 1000, -1, -(2**31)])
def test_an_unknown_type_reads_empty_and_ignores_writes(entity: Entity, kind: int) -> None:
    entity.become(kind, b"value")
    assert entity.get() == ""
    entity.set("17")
    assert entity.value() == b"value".ljust(48, b"\0")


def test_a_port_identifier_keeps_48_bytes_without_a_terminator(entity: Entity) -> None:
    entity.become(DVPORT, b"\x55" * 48)
    entity.set("7")
    assert entity.value() == b"7".ljust(48, b"\0")
    for length in (47, 48, 60):
        entity.set("y" * length)
        assert entity.value() == (b"y" * min(length, 48)).ljust(48, b"\0")
        assert entity.get() == "y" * min(length, 48)


def test_an_uplink_set_from_40_characters_reads_back_its_first_31(entity: Entity) -> None:
    entity.become(UPLINK, b"\x55" * 48)
    text = "abcdefghijklmnopqrstuvwxyz0123456789ABCD"
    entity.set(text)
    assert entity.get() == text[:31]
    assert entity.value() == text[:31].encode() + b"\0" + b"\x55" * 16
    entity.set("vmnic1")
    assert entity.value() == b"vmnic1".ljust(32, b"\0") + b"\x55" * 16


@pytest.mark.parametrize(
    ("text", "number"),
    [
        ("0", 0), ("4095", 4095), ("65536", 0), ("65537", 1), ("-1", 0xFFFF), (" 12", 12), ("+12", 12), ("12x", 12),
        ("0x10", 0), ("none", 0), ("", 0), ("99999999999999999999", 0xFFFF),
    ],
)  # fmt: skip
def test_a_vlan_takes_the_low_16_bits_of_a_decimal_number(entity: Entity, text: str, number: int) -> None:
    entity.become(VLAN, b"\x55" * 8)
    entity.set(text)
    assert entity.value(4) == struct.pack("<H", number) + b"\x55\x55"


@pytest.mark.parametrize(
    ("text", "number"), [("67108880", 67108880), ("4294967297", 1), ("-1", 0xFFFFFFFF), ("010", 10), ("port", 0)]
)
def test_a_numeric_port_takes_the_low_32_bits_of_a_decimal_number(entity: Entity, text: str, number: int) -> None:
    entity.become(PORT, b"\x55" * 8)
    entity.set(text)
    assert entity.value(8) == struct.pack("<I", number) + b"\x55" * 4


def test_an_address_sets_the_flag_of_its_family_and_reads_back_in_canonical_form(entity: Entity) -> None:
    entity.become(IP, b"\x55" * 20)
    entity.set("10.0.0.1")
    assert entity.get() == "10.0.0.1"
    assert entity.value(20) == b"\0\x55\x55\x55" + bytes([10, 0, 0, 1]) + b"\x55" * 12
    entity.set("FE80:0:0::1")
    assert entity.get() == "fe80::1"
    assert entity.value(20) == b"\1\x55\x55\x55" + bytes.fromhex("fe800000000000000000000000000001")
    entity.set("10.0.0.1")
    assert entity.get() == "10.0.0.1"
    assert entity.value(1) == b"\0"


@pytest.mark.parametrize("text", ["", "host", "10.0.0", "10.0.0.256", "10.0.0.1 ", "fe80::1::2", "fe80::1%eth0"])
def test_text_of_neither_address_form_keeps_address_and_flag(entity: Entity, text: str) -> None:
    for before in (b"\0\x55\x55\x55\x0a\0\0\1", b"\1\x55\x55\x55" + bytes.fromhex("fe80000000000000000000000000000a")):
        entity.become(IP, before)
        entity.set(text)
        assert entity.value() == before.ljust(48, b"\0")


@pytest.mark.parametrize(
    ("text", "stored"),
    [
        ("00:1a:2B:3c:4D:5e", "001a2b3c4d5e"),
        ("1:2:3:4:5:6", "010203040506"),
        ("ff:ee", "ffee55555555"),
        ("ff:ee:xx:00:00:00", "ffee55555555"),
        ("a-b", "0a5555555555"),
        ("", "555555555555"),
        ("zz", "555555555555"),
        ("112:3", "115555555555"),
        ("01:02:03:04:05:06:07", "010203040506"),
    ],
)
def test_mac_bytes_that_do_not_scan_keep_their_value(entity: Entity, text: str, stored: str) -> None:
    entity.become(MAC, b"\x55" * 10)
    entity.set(text)
    assert entity.value(10) == bytes.fromhex(stored) + b"\x55" * 4


@pytest.mark.parametrize("kind", range(7))
def test_none_changes_nothing(entity: Entity, kind: int) -> None:
    entity.become(kind, b"\x31" * 48)
    entity.set(None)
    assert entity.value() == b"\x31" * 48


# ---- the mirror session table ---------------------------------------------------------------------------


def mirror_table(place: int, sessions: int) -> tuple[Memory, object]:
    memory = Memory(4096)
    memory.write_int(place + 8, sessions)
    return memory, memory.record("DVMirrorSessionTable", place)


def offset_of(view: Any, start: int) -> int:
    assert bare(view).own() is False
    return int(bare(view)) - start


@pytest.mark.parametrize("place", [512, 513])
def test_sessions_start_behind_the_header_and_entities_behind_the_sessions(place: int) -> None:
    for sessions in (0, 1, 2, 5):
        memory, table = mirror_table(place, sessions)
        start = memory.address + place
        assert offset_of(m.DVMirrorSessionTable_get_first_session(table), start) == 20
        for index in (0, 1, 7, -1):
            entity = m.DVMirrorSessionTable_get_first_session_entity(table, index)
            assert offset_of(entity, start) == 20 + 232 * sessions + 52 * index


def test_the_first_entity_of_a_table_with_2_sessions_is_484_bytes_from_its_start() -> None:
    table = m.alloc_dvmirror_session_table(2, 1)
    entity = m.DVMirrorSessionTable_get_first_session_entity(table, 0)
    assert offset_of(entity, int(table)) == 484
    m.free_dvmirror_session_table(table)


def test_offsets_beyond_32_bits_do_not_wrap() -> None:
    memory, table = mirror_table(0, 0xFFFFFFFF)
    entity = m.DVMirrorSessionTable_get_first_session_entity(table, 2**31 - 1)
    assert offset_of(entity, memory.address) == 20 + 232 * 0xFFFFFFFF + 52 * (2**31 - 1)
    entity = m.DVMirrorSessionTable_get_first_session_entity(table, -(2**31))
    assert offset_of(entity, memory.address) == 20 + 232 * 0xFFFFFFFF - 52 * 2**31


def test_next_steps_52_bytes_and_never_ends(entity: Entity) -> None:
    following = m.DVMirrorEntity___next__(entity.proxy)
    assert offset_of(following, int(entity.proxy)) == 52
    assert offset_of(m.DVMirrorEntity___next__(following), int(entity.proxy)) == 104


def test_a_table_that_was_written_step_by_step_reads_back() -> None:
    table = m.alloc_dvmirror_session_table(2, 3)
    entity = m.DVMirrorSessionTable_get_first_session_entity(table, 0)
    for kind, text in ((UPLINK, "vmnic0"), (VLAN, "7"), (IP, "::1")):
        m.DVMirrorEntity_type_set(entity, kind)
        m.DVMirrorEntity_set_entity(entity, text)
        entity = m.DVMirrorEntity___next__(entity)
    session = m.DVMirrorSessionTable_get_first_session(table)
    m.DVMirrorSession_sid_set(session, "first")
    assert m.DVMirrorSession_sid_get(m.DVMirrorSessionTable___getitem__(table, 0)) == "first"
    read = [
        m.DVMirrorEntity_get_entity(m.DVMirrorSessionTable_get_first_session_entity(table, index)) for index in range(3)
    ]
    assert read == ["vmnic0", "7", "::1"]
    m.free_dvmirror_session_table(table)


# ---- the LAG table --------------------------------------------------------------------------------------


@pytest.mark.parametrize("place", PLACES)
def test_lags_stand_one_behind_the_other_with_their_uplink_names(place: int) -> None:
    memory = Memory(1024)
    memory.write_int(place, 3)
    at = place + 4
    starts = []
    lags: list[tuple[bytes, list[bytes]]] = [
        (b"lag1", [b"vmnic0", b"vmnic1"]), (b"lag2", []), (b"l" * 68, [b"u" * 32])]
    for name, uplinks in lags:
        starts.append(at)
        memory.write(at, bytes(8) + name.ljust(68, b"\0") + bytes(8))
        memory.write_int(at + 84, len(uplinks))
        memory.write(at + 88, b"".join(uplink.ljust(32, b"\0") for uplink in uplinks))
        at += 88 + 32 * len(uplinks)
    lag = m.VSLAGTable_vs_lag_table_first_lag(memory.record("VSLAGTable", place))
    seen = []
    for _ in range(3):
        uplinks = [m.VSLAGStatus_get_uplink_name(lag, i) for i in range(m.VSLAGStatus_numUplinks_get(lag))]
        seen.append((offset_of(lag, memory.address), m.VSLAGStatus_get_name(lag), uplinks))
        lag = m.VSLAGStatus_vs_lag_table_next_lag(lag)
    assert seen == [
        (starts[0], "lag1", ["vmnic0", "vmnic1"]), (starts[1], "lag2", []), (starts[2], "l" * 68, ["u" * 32]),
    ]  # fmt: skip
    assert offset_of(lag, memory.address) == at


@pytest.mark.parametrize("uplinks", [0, 1, 32, 2**31, 2**32 - 1])
def test_the_next_lag_lies_behind_the_uplink_names(uplinks: int) -> None:
    memory = Memory(128)
    memory.write_int(84, uplinks)
    lag = memory.record("VSLAGStatus")
    assert offset_of(m.VSLAGStatus_vs_lag_table_next_lag(lag), memory.address) == 88 + 32 * uplinks


def test_uplink_names_out_of_range_are_none_without_a_message(printed: Callable[[], str]) -> None:
    memory = Memory(512)
    memory.write_int(84, 2)
    memory.write(88, b"vmnic0".ljust(32, b"\0") + b"\xe9".ljust(32, b"\0"))
    lag = memory.record("VSLAGStatus")
    names = [m.VSLAGStatus_get_uplink_name(lag, index) for index in (0, 1, 2, 3, -1, 2**31 - 1, -(2**31))]
    assert names == ["vmnic0", "\udce9", None, None, None, None, None]
    assert printed() == ""


# ---- arguments ------------------------------------------------------------------------------------------


def test_arguments_of_the_methods() -> None:
    check_method("get_first_session", "DVMirrorSessionTable")
    check_method("get_first_session_entity", "DVMirrorSessionTable", ("int", 0))
    check_method("__next__", "DVMirrorEntity")
    check_method("get_entity", "DVMirrorEntity")
    check_method("set_entity", "DVMirrorEntity", ("char const *", "text"))
    check_method("vs_lag_table_first_lag", "VSLAGTable")
    check_method("vs_lag_table_next_lag", "VSLAGStatus")
    check_method("get_name", "VSLAGStatus")
    check_method("get_uplink_name", "VSLAGStatus", ("int", 0))


@pytest.mark.parametrize("name", ["MIRROR_ENCAP_TYPE", "MIRROR_ASSERT"])
def test_the_two_names_without_an_effect_give_none(name: str, printed: Callable[[], str]) -> None:
    assert getattr(m, name)() is None
    check_arguments(name)
    assert printed() == ""


def test_every_method_arms_the_bridge(recording: Script) -> None:
    """Also the two without an effect: the status of an earlier abort is gone after them."""
    recording(
        """
        import ctypes
        status = ctypes.c_int.in_dll(ctypes.CDLL(m.__file__), "exception_status")
        for function in (m.MIRROR_ENCAP_TYPE, m.MIRROR_ASSERT):
            status.value = 5
            function()
            assert status.value == 0
        """
    )
