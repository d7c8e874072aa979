"""Runtime option buffers: building, walking, names and values."""

import struct
from typing import Any

import _libvswitch as m
import pytest
from exact import raises
from native_memory import Memory, bare, check_arguments, check_method
from workspace import Script

INTEGER_NAMES = (
    "IGMPQueryInterval IGMPV3MaxSrcIPNum IGMPQueries IGMPVersion MLDVersion MLDV2MaxSrcIPNum MaxRARPsPerInterval "
    "RARPAdvertisementDuration ReversePathFwdCheck ReversePathFwdCheckPromisc AllowFastPath TeamPolicyUpDelay "
    "AllowMirrorStats TeamingNUMAAware SendIGMPReportToUplink TeamingIgnoreShotgun"
).split()
NAMES = [*INTEGER_NAMES, "IGMPRouterIP", "MLDRouterIP"]


class Buffer(Memory):
    """A runtime options buffer in a block of 512 bytes, with the given total length."""

    def __init__(self, total_length: int = 512, at: int = 0) -> None:
        super().__init__(512 + at)
        self.at = at
        self.write_int(at, total_length)
        self.proxy = self.record("VSRuntimeOptions", at)

    def entry(self, offset: int) -> Any:
        """A proxy of the entry at that offset from the start of the buffer."""
        return self.record("VSRuntimeOptionHeader", self.at + offset)

    def taken(self, offset: int, size: int) -> bytes:
        return self.read(self.at + offset, size)

    def put(self, offset: int, data: bytes) -> None:
        self.write(self.at + offset, data)

    def position(self, entry: Any) -> int:
        """Where an entry lies in the buffer; it is a view."""
        assert bare(entry).own() is False
        return int(bare(entry)) - self.address - self.at


def integer_entry(kind: int, value: int) -> bytes:
    return struct.pack("<HHI", kind, 8, value)


def text_entry(kind: int, text: bytes) -> bytes:
    return struct.pack("<HH", kind, 5 + len(text)) + text + b"\0"


# ---- names ---------------------------------------------------------------------------------------------


@pytest.mark.parametrize(("kind", "name"), enumerate(NAMES))
def test_every_type_has_its_name(kind: int, name: str) -> None:
    assert m.get_runtime_option_type_from_name(name) == kind
    buffer = Buffer()
    buffer.put(4, integer_entry(kind, 0))
    assert m.VSRuntimeOptionHeader_get_option_name(buffer.entry(4)) == name


@pytest.mark.parametrize("name", ["igmpversion", "IGMPVersio", "IGMPVersion ", "IGMPVersions", "", "MLDRouterIp", None])
def test_names_are_compared_byte_for_byte(name: str) -> None:
    assert m.get_runtime_option_type_from_name("IGMPVersion") == 3
    assert m.get_runtime_option_type_from_name(name) == -1


def test_name_arguments_are_texts() -> None:
    check_arguments("get_runtime_option_type_from_name", ("char *", "IGMPQueries"))


@pytest.mark.parametrize("kind", [18, 19, 0xFFFF])
def test_a_type_without_a_name_reads_none(kind: int) -> None:
    buffer = Buffer()
    buffer.put(4, integer_entry(kind, 0))
    assert m.VSRuntimeOptionHeader_get_option_name(buffer.entry(4)) is None


# ---- values --------------------------------------------------------------------------------------------


@pytest.mark.parametrize("at", [4, 5, 6, 7])
def test_integer_values_are_read_unsigned_at_any_address(at: int) -> None:
    buffer = Buffer()
    for kind, value in ((0, 0), (7, 5), (15, 0xFFFFFFFF), (15, 0x80000000)):
        buffer.put(at, integer_entry(kind, value))
        assert m.VSRuntimeOptionHeader_get_option_value(buffer.entry(at)) == value


@pytest.mark.parametrize("kind", [16, 17, 18, 0xFFFF])
def test_values_of_types_from_16_on_are_bytes_up_to_the_terminator(kind: int) -> None:
    buffer = Buffer()
    for text in (b"", b"10.0.0.1", b"\xff\xfe"):
        buffer.put(4, text_entry(kind, text) + b"behind")
        assert m.VSRuntimeOptionHeader_get_option_value(buffer.entry(4)) == text


# ---- walking -------------------------------------------------------------------------------------------


def test_a_walk_visits_every_entry_and_ends_behind_the_last() -> None:
    entries = [integer_entry(3, 2), text_entry(16, b"10.0.0.1"), integer_entry(0, 125), text_entry(17, b"fe80::1")]
    total = 4 + sum(map(len, entries))
    buffer = Buffer(total, at=3)
    buffer.put(4, b"".join(entries))
    entry = m.VSRuntimeOptions_get_first_option(buffer.proxy)
    seen = []
    while entry is not None:
        seen.append((buffer.position(entry), m.VSRuntimeOptionHeader_get_option_value(entry)))
        entry = m.VSRuntimeOptions_get_next_option(buffer.proxy, entry)
    assert seen == [(4, 2), (12, b"10.0.0.1"), (25, 125), (33, b"fe80::1")]


def test_the_first_option_of_an_empty_buffer_is_where_it_would_be() -> None:
    buffer = Buffer(4)
    assert buffer.position(m.VSRuntimeOptions_get_first_option(buffer.proxy)) == 4


def test_the_next_of_the_last_option_is_none() -> None:
    for total, is_last in ((12, True), (13, False), (11, True), (0, True)):
        buffer = Buffer(total)
        buffer.put(4, integer_entry(1, 1))
        following = m.VSRuntimeOptions_get_next_option(buffer.proxy, buffer.entry(4))
        assert (following is None) == is_last


def test_an_entry_of_length_0_is_its_own_next() -> None:
    buffer = Buffer(100)
    buffer.put(4, struct.pack("<HH", 1, 0))
    assert buffer.position(m.VSRuntimeOptions_get_next_option(buffer.proxy, buffer.entry(4))) == 4


def test_a_total_length_beyond_31_bits_is_unsigned() -> None:
    buffer = Buffer(0xFFFFFFFF)
    buffer.put(4, integer_entry(1, 1))
    assert buffer.position(m.VSRuntimeOptions_get_next_option(buffer.proxy, buffer.entry(4))) == 12


# ---- building ------------------------------------------------------------------------------------------


@pytest.mark.parametrize(("n", "total"), [(0, 4), (96, 100), (-4, 0), (-5, 0xFFFFFFFF), (2**31 - 1, 2**31 + 3)])
def test_the_length_is_stored_with_four_bytes_more(n: int, total: int) -> None:
    buffer = Buffer(1)
    assert m.VSRuntimeOptions_set_options_length(buffer.proxy, n) is None
    assert buffer.read_int(0) == total
    assert set(buffer.all()[4:]) == {0xAA}


def test_a_buffer_built_entry_by_entry_reads_back() -> None:
    options = m.new_VSRuntimeOptions(64)
    m.VSRuntimeOptions_set_options_length(options, 60)
    entry = m.VSRuntimeOptions_get_first_option(options)
    entry = m.VSRuntimeOptions_add_int_option(options, entry, "IGMPVersion", 3, 3)
    entry = m.VSRuntimeOptions_add_str_option(options, entry, "IGMPRouterIP", 16, "10.0.0.1")
    entry = m.VSRuntimeOptions_add_int_option(options, entry, "AllowFastPath", 10, -1)
    assert m.VSRuntimeOptions_add_str_option(options, entry, "MLDRouterIP", 17, "x" * 60) is None
    m.VSRuntimeOptions_set_options_length(options, 8 + 13 + 8)
    read = []
    entry = m.VSRuntimeOptions_get_first_option(options)
    while entry is not None:
        read.append((m.VSRuntimeOptionHeader_get_option_name(entry), m.VSRuntimeOptionHeader_get_option_value(entry)))
        entry = m.VSRuntimeOptions_get_next_option(options, entry)
    assert read == [("IGMPVersion", 3), ("IGMPRouterIP", b"10.0.0.1"), ("AllowFastPath", 4294967295)]
    m.delete_VSRuntimeOptions(options)


@pytest.mark.parametrize("at", [4, 7])
def test_an_integer_entry_is_written_whole(at: int) -> None:
    buffer = Buffer()
    following = m.VSRuntimeOptions_add_int_option(buffer.proxy, buffer.entry(at), "any", 65536 + 5, -2)
    assert buffer.position(following) == at + 8
    assert buffer.taken(at, 9) == integer_entry(5, 0xFFFFFFFE) + b"\xaa"


@pytest.mark.parametrize(("total", "fits"), [(11, False), (12, False), (13, True), (14, True)])
def test_an_integer_entry_needs_a_byte_to_spare(total: int, fits: bool) -> None:
    """4 + 8 is not before 12."""
    buffer = Buffer(total)
    before = buffer.all()
    following = m.VSRuntimeOptions_add_int_option(buffer.proxy, buffer.entry(4), "IGMPVersion", 3, 7)
    assert (following is not None) == fits
    assert (buffer.all() != before) == fits


@pytest.mark.parametrize(("total", "fits"), [(16, False), (17, False), (18, True)])
def test_a_text_entry_needs_a_byte_to_spare(total: int, fits: bool) -> None:
    """4 + 13 is not before 17."""
    buffer = Buffer(total)
    before = buffer.all()
    following = m.VSRuntimeOptions_add_str_option(buffer.proxy, buffer.entry(4), "IGMPRouterIP", 16, "10.0.0.1")
    assert (following is not None) == fits
    assert (buffer.all() != before) == fits


@pytest.mark.parametrize("text", ["", "a", "10.0.0.1", "\u00e9", "x" * 127])
def test_a_text_entry_is_written_with_its_terminator(text: str) -> None:
    buffer = Buffer(at=1)
    data = text.encode()
    following = m.VSRuntimeOptions_add_str_option(buffer.proxy, buffer.entry(5), "any", 65536 + 17, text)
    assert buffer.position(following) == 5 + 5 + len(data)
    assert buffer.taken(5, 6 + len(data)) == text_entry(17, data) + b"\xaa"
    assert m.VSRuntimeOptionHeader_get_option_value(buffer.entry(5)) == data


def test_a_text_of_127_bytes_makes_an_entry_of_132_and_one_of_128_is_refused() -> None:
    buffer = Buffer()
    assert buffer.position(m.VSRuntimeOptions_add_str_option(buffer.proxy, buffer.entry(4), "n", 16, "x" * 127)) == 136
    assert m.VSRuntimeOptionHeader_length_get(buffer.entry(4)) == 132
    before = buffer.all()
    for text in ("x" * 128, "\u00e9" * 64, "x" * 65535, "x" * 70000, None):
        assert m.VSRuntimeOptions_add_str_option(buffer.proxy, buffer.entry(4), "n", 16, text) is None
        assert buffer.all() == before


def test_the_name_is_checked_and_not_used() -> None:
    buffer = Buffer()
    for name in ("MLDVersion", "", "no such option", None):
        assert m.VSRuntimeOptions_add_int_option(buffer.proxy, buffer.entry(4), name, 3, 1) is not None
        assert buffer.taken(4, 8) == integer_entry(3, 1)


def test_arguments_of_the_methods() -> None:
    buffer = Buffer()
    entry = ("VSRuntimeOptionHeader *", buffer.entry(8))
    check_method("get_option_name", "VSRuntimeOptionHeader")
    check_method("get_option_value", "VSRuntimeOptionHeader")
    check_method("get_first_option", "VSRuntimeOptions")
    check_method("set_options_length", "VSRuntimeOptions", ("int", 1))
    check_method("get_next_option", "VSRuntimeOptions", entry)
    check_method("add_int_option", "VSRuntimeOptions", entry, ("char *", "n"), ("int", 1), ("int", 1))
    check_method("add_str_option", "VSRuntimeOptions", entry, ("char *", "n"), ("int", 1), ("char *", "v"))


def test_a_null_entry_is_refused() -> None:
    buffer = Buffer()
    for name, rest in (("get_next_option", ()), ("add_int_option", ("n", 1, 1)), ("add_str_option", ("n", 1, "v"))):
        with raises(
            ValueError,
            f"invalid null reference in method 'VSRuntimeOptions_{name}', argument 2 of type 'VSRuntimeOptionHeader *'",
        ):
            getattr(m, f"VSRuntimeOptions_{name}")(buffer.proxy, None, *rest)


def test_the_linked_table_holds_the_same_names(script: Script) -> None:
    script(
        """
        import ctypes
        import _libvswitch as m
        table = (ctypes.c_char_p * 18).from_address(int(m.cvar.runtimeOptionNames))
        assert [m.get_runtime_option_type_from_name(name.decode()) for name in table] == list(range(18))
        """
    )
