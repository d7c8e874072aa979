"""Allocation helpers: sizes, headers, ownership, what they say without memory; and the switch list in one call."""

import os
import pathlib
import struct
import subprocess
from collections.abc import Callable
from typing import Any

import _libvswitch as m
import pytest
from exact import raises
from native_memory import check_arguments, content
from workspace import Script

MAGIC = struct.pack("<I", 0xFACEBEEF)

# Helper, arguments, bytes asked for, header, release.
TABLES = [
    ("alloc_dvmirror_session_table", (0, 0), 20, MAGIC, m.free_dvmirror_session_table),
    ("alloc_dvmirror_session_table", (2, 3), 640, MAGIC + struct.pack("<III", 0, 2, 3), m.free_dvmirror_session_table),
    ("alloc_ls_team_table", (0,), 4, b"", m.free_ls_team_table),
    ("alloc_ls_team_table", (3,), 4 + 3 * 2748, struct.pack("<I", 3), m.free_ls_team_table),
    ("alloc_rtm_query", (0,), 9, b"", m.free_rtm_query),
    ("alloc_rtm_query", (2,), 281, struct.pack("<I", 2), m.free_rtm_query),
    ("alloc_rtm_mod_query", (0,), 132, b"", m.free_rtm_mod_query),
    ("alloc_rtm_mod_query", (7,), 167, struct.pack("<I", 7), m.free_rtm_mod_query),
]
NO_TABLE = {
    "alloc_dvmirror_session_table": "",
    "alloc_ls_team_table": "",
    "alloc_rtm_query": "Calloc failed for RTMIOCtlQuery",
    "alloc_rtm_mod_query": "Calloc failed for RTMModIOCtlQuery",
}


@pytest.mark.parametrize(("name", "arguments", "size", "header", "release"), TABLES)
def test_tables_are_zero_behind_their_header_and_not_owned(
    name: str, arguments: Any, size: int, header: bytes, release: Callable[[Any], object], printed: Callable[[], str]
) -> None:
    table = getattr(m, name)(*arguments)
    assert table.own() is False
    assert content(table, size) == header.ljust(size, b"\0")
    assert release(table) is None
    assert printed() == ""


def test_blocks_are_cleared_by_the_helper(script: Script) -> None:
    """Also where the allocator hands out used memory."""
    script(
        """
        import ctypes, struct
        import _libvswitch as m
        for table, size in (
            (m.alloc_dvmirror_session_table(1, 1), 304), (m.alloc_ls_team_table(1), 2752), (m.alloc_rtm_query(1), 145),
            (m.alloc_rtm_mod_query(1), 137),
        ):
            data = ctypes.string_at(int(table), size)
            assert set(data[16:]) == {0}, data
        query = m.alloc_hnq_query(300)
        length, value = struct.unpack("<iQ", ctypes.string_at(int(query), 12))
        assert length == 300 and set(ctypes.string_at(value, 300)) == {0}
        """,
        MALLOC_PERTURB_="165",
    )


def test_an_empty_mirror_table_has_20_bytes_with_the_magic_number_and_zero_counts() -> None:
    table = m.alloc_dvmirror_session_table(0, 0)
    assert m.DVMirrorSessionTable_magicNum_get(table) == 0xFACEBEEF == m.VS_DVMIRROR_MAGIC_NUM & 0xFFFFFFFF
    for field in ("version", "numSessions", "numEntities", "numFilterRules", "numFilterIPs"):
        assert getattr(m, f"DVMirrorSessionTable_{field}_get")(table) == 0
    m.free_dvmirror_session_table(table)


def test_an_rtm_query_for_two_switches_has_281_bytes() -> None:
    query = m.alloc_rtm_query(2)
    assert m.RTMIOCtlQuery_numPortsets_get(query) == 2
    assert m.RTMIOCtlQuery_maxAllowedOutage_get(query) == 0
    last = m.RTMIOCtlQuery___getitem__(query, 1)
    assert int(last) + 136 - int(query) == 281
    m.free_rtm_query(query)


@pytest.mark.parametrize(
    ("name", "arguments"),
    [
        ("alloc_dvmirror_session_table", (-1, 0)),
        ("alloc_dvmirror_session_table", (2, -9)),             # 16 bytes would be left for a header of 20
        ("alloc_dvmirror_session_table", (2**31 - 1, 2**31 - 1)),
        ("alloc_dvmirror_session_table", (9256395, 0)),        # one session more than 32 bits have room for
        ("alloc_dvmirror_session_table", (18512790, 0)),       # would wrap around to a small block
        ("alloc_ls_team_table", (-1,)),
        ("alloc_ls_team_table", (-(2**31),)),
        ("alloc_ls_team_table", (1562943,)),
        ("alloc_rtm_query", (-1,)),
        ("alloc_rtm_query", (31580642,)),
        ("alloc_rtm_mod_query", (-27,)),
        ("alloc_rtm_mod_query", (858993460,)),
    ],
)
def test_sizes_that_no_block_has_give_none_and_the_helper_s_message(
    name: str, arguments: Any, printed: Callable[[], str]
) -> None:
    assert getattr(m, name)(*arguments) is None
    assert printed() == NO_TABLE[name]


def test_negative_counts_that_leave_a_valid_size_are_kept() -> None:
    table = m.alloc_dvmirror_session_table(1, -1)
    assert content(table, 20 + 232 - 52)[:16] == MAGIC + struct.pack("<IIi", 0, 1, -1)
    m.free_dvmirror_session_table(table)


@pytest.mark.parametrize("count", [-1, -2, -25, -26])
def test_a_negative_number_of_modules_takes_from_the_fixed_part(count: int, printed: Callable[[], str]) -> None:
    query = m.alloc_rtm_mod_query(count)
    size = 132 + 5 * count
    # The number stands in the smallest block too, which an allocator makes larger than it was asked for; that of the
    # sanitizers does not.
    if size >= 4 or not os.environ.get("VSWITCHPY_PRELOAD"):
        assert content(query, max(size, 4))[:4] == struct.pack("<i", count)
    assert set(content(query, size)[4:]) <= {0}
    assert m.free_rtm_mod_query(query) is None
    assert printed() == ""


def test_a_property_query_has_a_cleared_value_of_its_own(printed: Callable[[], str]) -> None:
    query = m.alloc_hnq_query(5)
    assert query.own() is False
    assert m.HNQQuery_propLen_get(query) == 5
    assert m.HNQQuery_propValue_get(query) == ""
    assert m.HNQQuery_get_val_in_bytes(query) == bytes(5)
    # The value is what the record releases when it gets another.
    m.HNQQuery_propValue_set(query, "other")
    assert m.HNQQuery_get_val_in_bytes(query) == b"other"
    assert m.free_hnq_query(query) is None
    assert printed() == ""


def test_a_property_query_of_size_0_is_made_without_a_message(printed: Callable[[], str]) -> None:
    query = m.alloc_hnq_query(0)
    assert m.HNQQuery_propLen_get(query) == 0
    assert m.HNQQuery_get_val_in_bytes(query) == b""
    m.free_hnq_query(query)
    assert printed() == ""


@pytest.mark.parametrize("size", [-1, -(2**31)])
def test_a_property_query_of_negative_size_keeps_it_without_a_value(size: int, printed: Callable[[], str]) -> None:
    query = m.alloc_hnq_query(size)
    assert m.HNQQuery_propLen_get(query) == size
    assert m.HNQQuery_propValue_get(query) is None
    m.free_hnq_query(query)
    assert printed() == ""


def test_switch_information_is_allocated_whole_and_not_owned(printed: Callable[[], str]) -> None:
    info = m.alloc_vs_info()
    assert info.own() is False
    m.VSInfo_flags_set(info, 2**64 - 1)
    assert m.VSInfo_flags_get(info) == 2**64 - 1
    assert m.free_vs_info(info) is None
    assert printed() == ""


FREES = {
    "free_dvmirror_session_table": "DVMirrorSessionTable *",
    "free_ls_team_table": "LSTeamTable *",
    "free_rtm_query": "RTMIOCtlQuery *",
    "free_rtm_mod_query": "RTMModIOCtlQuery *",
    "free_hnq_query": "HNQQuery *",
    "free_vs_info": "VSInfo *",
    "free_switches": "VSList *",
}


@pytest.mark.parametrize("name", FREES)
def test_releasing_none_does_nothing(name: str) -> None:
    assert getattr(m, name)(None) is None


@pytest.mark.parametrize(("name", "spelled"), FREES.items())
def test_releasing_takes_exactly_the_helper_s_record(name: str, spelled: str) -> None:
    check_arguments(name, (spelled, None))
    other = m.new_qel_Name()
    with raises(TypeError, f"in method '{name}', argument 1 of type '{spelled}'"):
        getattr(m, name)(other)
    m.delete_qel_Name(other)


def test_counts_and_sizes_are_ints() -> None:
    for name in ("alloc_ls_team_table", "alloc_rtm_query", "alloc_rtm_mod_query", "alloc_hnq_query"):
        check_arguments(name, ("int", 1))
    check_arguments("alloc_dvmirror_session_table", ("int", 1), ("int", 1))
    check_arguments("alloc_vs_info")
    check_arguments("VSQEL_GetSwitchesPy", ("VSListType", 1))


# ---- without memory ------------------------------------------------------------------------------------


@pytest.fixture(scope="module")
def failing_allocator(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    if "asan" in pathlib.Path("/proc/self/maps").read_text(encoding="utf-8"):
        pytest.skip("the sanitizer has an allocator of its own")
    library = tmp_path_factory.mktemp("allocator") / "failing_allocator.so"
    source = pathlib.Path(__file__).with_name("failing_allocator.c")
    subprocess.run(["cc", "-shared", "-fPIC", "-fno-builtin", "-o", library, source], check=True)
    return library


@pytest.mark.parametrize(
    ("call", "size", "message"),
    [
        *((f"{name}{arguments}", size, NO_TABLE[name]) for name, arguments, size, _, _ in TABLES),
        ("alloc_rtm_mod_query(-1)", 127, NO_TABLE["alloc_rtm_mod_query"]),
        ("alloc_rtm_mod_query(-20)", 32, NO_TABLE["alloc_rtm_mod_query"]),
        ("alloc_hnq_query(70)", 12, "Calloc failed for HNQQuery"),
        ("alloc_hnq_query(777)", 777, "Calloc failed for property value"),
        ("alloc_vs_info()", 218, "malloc failed for VSInfo"),
        ("new_vidrangeArray(333)", 1332, ""),
        ("new_pvlanmapentryArray(333)", 2664, ""),
    ],
)
def test_without_exactly_this_much_memory_there_is_a_message_and_none(
    call: str, size: int, message: str, failing_allocator: pathlib.Path, script: Script
) -> None:
    output = script(
        f"""
        import ctypes
        import _libvswitch as m
        refuse = ctypes.CDLL(None).refuse_size
        refuse.argtypes = [ctypes.c_size_t]
        refuse({size})
        result = m.{call}
        refuse(2**64 - 1)
        assert result is None, result
        # One byte more or less is not what the helper asks for.
        for other in ({size} - 1, {size} + 1):
            refuse(other)
            result = m.{call}
            refuse(2**64 - 1)
            assert result is not None
        """,
        LD_PRELOAD=str(failing_allocator),
    )
    assert output == message


def test_an_overloaded_call_without_memory_for_a_text_is_a_memory_error(
    failing_allocator: pathlib.Path, script: Script
) -> None:
    script(
        """
        import ctypes
        import _libvswitch as m
        refuse = ctypes.CDLL(None).refuse_size
        refuse.argtypes = [ctypes.c_size_t]
        text = "\u00e4" * 300  # whose 600 bytes and their terminator are made when they are asked for
        refuse(601)
        try:
            result = m.DVSAliasToPortsetName(text)
        except BaseException as error:
            result = type(error)
        refuse(2**64 - 1)
        assert result is MemoryError, result
        assert m.DVSAliasToPortsetName(text)[0] == m.QEL_NAME_TOO_LONG
        """,
        LD_PRELOAD=str(failing_allocator),
    )


def test_a_property_query_without_memory_for_its_value_leaves_nothing(
    failing_allocator: pathlib.Path, script: Script
) -> None:
    output = script(
        """
        import ctypes
        import _libvswitch as m
        import heap
        refuse = ctypes.CDLL(None).refuse_size
        refuse.argtypes = [ctypes.c_size_t]
        def fail(times):
            refuse(777)
            for _ in range(times):
                assert m.alloc_hnq_query(777) is None
            refuse(2**64 - 1)
        fail(10)
        before = heap.bytes_in_use()
        fail(1000)
        # A record that was kept each time would take 24 bytes.
        assert heap.bytes_in_use() - before < 12_000, heap.bytes_in_use() - before
        """,
        LD_PRELOAD=str(failing_allocator),
    )
    assert output == "Calloc failed for property value" * 1010


def test_a_property_query_of_size_0_does_not_need_a_value(failing_allocator: pathlib.Path, script: Script) -> None:
    output = script(
        """
        import ctypes
        import _libvswitch as m
        refuse = ctypes.CDLL(None).refuse_size
        refuse.argtypes = [ctypes.c_size_t]
        refuse(0)
        query = m.alloc_hnq_query(0)
        refuse(2**64 - 1)
        assert m.HNQQuery_propLen_get(query) == 0
        assert m.HNQQuery_propValue_get(query) is None
        """,
        LD_PRELOAD=str(failing_allocator),
    )
    assert output == ""


def test_owned_copies_without_memory_are_none(failing_allocator: pathlib.Path, script: Script) -> None:
    script(
        """
        import ctypes
        import _libvswitch as m
        refuse = ctypes.CDLL(None).refuse_size
        refuse.argtypes = [ctypes.c_size_t]
        entry = m.new_VSStaticLEEntry()
        refuse(529)
        copy = m.VSStaticLEEntry___getitem__(entry, 0)
        refuse(2**64 - 1)
        m.delete_VSStaticLEEntry(entry)
        assert copy is None
        """,
        LD_PRELOAD=str(failing_allocator),
    )


# ---- the switch list -----------------------------------------------------------------------------------


def test_the_switch_list_comes_in_one_call_and_is_owned(recording: Script) -> None:
    recording(
        """
        import ctypes
        allocate = ctypes.CDLL(None).calloc
        allocate.restype = ctypes.c_void_p
        memory = allocate(1, 8 + 2 * 81)
        ctypes.memmove(memory, b"\\2\\0\\0\\0\\2\\0\\0\\0first", 13)
        rec.recorder_store(2, memory, 8)
        switches = m.VSQEL_GetSwitchesPy(m.VS_LIST_DVS_ALIAS)
        (call,) = calls()
        assert call[:2] == ["VSQEL_GetSwitches", "2"]
        assert int(switches) == memory
        assert switches.own() is True
        assert m.VSList___getitem__(switches, 0) == "first"
        # Released once: the proxy gives up the list before it is freed.
        assert m.free_switches(switches) is None
        assert switches.own() is False
        """
    )


def test_a_failing_status_is_printed_in_hexadecimal_and_gives_none(recording: Script) -> None:
    output = recording(
        """
        for status in (0x0BAD0037, -1, 1):
            rec.recorder_return(status)
            # A list that the library leaves behind is not handed out.
            rec.recorder_store(2, 4096, 8)
            assert m.VSQEL_GetSwitchesPy(1) is None
            rec.recorder_reset()
        """
    )
    assert output == "failed: bad0037\nfailed: ffffffff\nfailed: 1\n"


def test_an_empty_answer_is_none_without_a_message(recording: Script) -> None:
    assert recording("assert m.VSQEL_GetSwitchesPy(1) is None") == ""


def test_an_abort_of_the_library_is_raised(recording: Script) -> None:
    recording(
        """
        rec.recorder_abort(LookupError, b"the state is damaged", 3)
        with raises(LookupError, "the state is damaged"):
            m.VSQEL_GetSwitchesPy(1)
        """
    )
