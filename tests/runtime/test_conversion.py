"""Argument conversion: ranges, exception classes, exact messages."""

from collections.abc import Callable, Iterator
from typing import Any

import _libvswitch as m
import pytest
from exact import raises
from workspace import Script

UNSIGNED = [
    (
        "qel_uint8",
        m.new_qel_PIMHdr,
        m.qel_PIMHdr_reserved_set,
        m.qel_PIMHdr_reserved_get,
        2**8,
        "qel_PIMHdr_reserved_set",
    ),
    ("qel_uint16", m.new_qel_EthHdr, m.qel_EthHdr_type_set, m.qel_EthHdr_type_get, 2**16, "qel_EthHdr_type_set"),
    (
        "qel_VlanID",
        m.new_VSInfo,
        m.VSInfo_maxValidVlan_set,
        m.VSInfo_maxValidVlan_get,
        2**16,
        "VSInfo_maxValidVlan_set",
    ),
    ("qel_uint32", m.new_VSInfo, m.VSInfo_mtu_set, m.VSInfo_mtu_get, 2**32, "VSInfo_mtu_set"),
    (
        "qel_SwitchPortID",
        m.new_VSMACEntry,
        m.VSMACEntry_portID_set,
        m.VSMACEntry_portID_get,
        2**32,
        "VSMACEntry_portID_set",
    ),
]


@pytest.fixture(params=UNSIGNED, ids=[case[0] for case in UNSIGNED])
def unsigned(request: pytest.FixtureRequest) -> Iterator[Any]:
    spelled, new, write, read, limit, method = request.param
    record = new()
    yield spelled, record, write, read, limit, method
    record.disown()


def test_unsigned_values_within_the_range_are_stored(unsigned: Any) -> None:
    _, record, write, read, limit, _ = unsigned
    for value in (0, 1, limit // 2, limit - 1, True):
        write(record, value)
        assert read(record) == value


def test_unsigned_values_out_of_range_are_overflow_errors(unsigned: Any) -> None:
    spelled, record, write, read, limit, method = unsigned
    write(record, 5)
    for value in (limit, limit + 1, 2**64 - 1, -1, -limit, -(2**63)):
        with raises(OverflowError, f"in method '{method}', argument 2 of type '{spelled}'"):
            write(record, value)
    assert read(record) == 5


def test_unsigned_values_beyond_64_bits_or_of_another_type_are_type_errors(unsigned: Any) -> None:
    spelled, record, write, read, _, method = unsigned
    write(record, 5)
    for value in (2**64, 2**200, -(2**63) - 1, 3.0, "1", b"1", None, [1]):
        with raises(TypeError, f"in method '{method}', argument 2 of type '{spelled}'"):
            write(record, value)
    assert read(record) == 5


def test_a_uint64_of_minus_one_is_a_type_error() -> None:
    info = m.new_VSInfo()
    text = "in method 'VSInfo_flags_set', argument 2 of type 'qel_uint64'"
    for value in (-1, -(2**63), 2**64, "1", 1.0):
        with raises(TypeError, text):
            m.VSInfo_flags_set(info, value)
    m.VSInfo_flags_set(info, 2**64 - 1)
    assert m.VSInfo_flags_get(info) == 2**64 - 1
    info.disown()


def test_int_ranges() -> None:
    entries = m.new_VSList()
    text = "in method 'VSList_count_set', argument 2 of type 'qel_int32'"
    for value in (-(2**31), 2**31 - 1, 0, -1, True):
        m.VSList_count_set(entries, value)
        assert m.VSList_count_get(entries) == value
    for value in (2**31, -(2**31) - 1, 2**63 - 1, -(2**63)):
        with raises(OverflowError, text):
            m.VSList_count_set(entries, value)
    for wrong in (1.0, "1", None, b"\x01"):
        with raises(TypeError, text):
            m.VSList_count_set(entries, wrong)
    assert m.VSList_count_get(entries) == 1
    entries.disown()


def test_an_int_beyond_64_bits_is_stored_as_minus_one_with_the_interpreters_error(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        entries = m.new_VSList()
        for value in (2**63, -2**63 - 1, 2**200):
            m.VSList_count_set(entries, 5)
            try:
                m.VSList_count_set(entries, value)
            except SystemError as error:
                assert type(error.__cause__) is OverflowError, error.__cause__
                assert str(error.__cause__) == "Python int too large to convert to C long"
            else:
                raise AssertionError(value)
            assert m.VSList_count_get(entries) == -1
        """
    )


def test_a_bool_takes_one_character_or_a_signed_byte() -> None:
    entry = m.new_VSMACEntry()
    stored = {
        "A": "A",
        "": "\0",
        "\x7f": "\x7f",
        1: "\x01",
        0: "\0",
        True: "\x01",
        127: "\x7f",
        -1: "\udcff",
        -128: "\udc80",
    }
    for value, read in stored.items():
        m.VSMACEntry_aging_set(entry, value)
        assert m.VSMACEntry_aging_get(entry) == read
    m.VSMACEntry_aging_set(entry, "A")
    text = "in method 'VSMACEntry_aging_set', argument 2 of type 'qel_Bool'"
    for value in ("AB", "é", "\udc80", None, 1.0, b"A", object()):
        with raises(TypeError, text):
            m.VSMACEntry_aging_set(entry, value)
    for value in (128, 200, -129, 2**40):
        with raises(OverflowError, text):
            m.VSMACEntry_aging_set(entry, value)
    assert m.VSMACEntry_aging_get(entry) == "A"
    entry.disown()


def test_character_arrays_take_one_byte_less_than_they_hold() -> None:
    import ctypes

    name = m.new_qel_Name()
    ctypes.memset(int(name), 0xEE, 32)
    m.qel_Name_string_set(name, "a" * 31)
    assert ctypes.string_at(int(name), 32) == b"a" * 31 + b"\0"
    for text in ("b" * 32, "b" * 33, "é" * 16, "\ud800", b"bytes", 5):
        with raises(TypeError, "in method 'qel_Name_string_set', argument 2 of type 'char [32]'"):
            m.qel_Name_string_set(name, text)
    assert m.qel_Name_string_get(name) == "a" * 31
    m.qel_Name_string_set(name, "b" * 16)
    assert ctypes.string_at(int(name), 32) == b"b" * 16 + b"\0" * 16
    m.qel_Name_string_set(name, "é" * 15)
    assert m.qel_Name_string_get(name) == "é" * 15
    name.disown()


def test_none_clears_a_character_array() -> None:
    import ctypes

    port = m.new_DVPortData()
    ctypes.memset(int(port), 0xEE, 48)
    m.DVPortData_dvPortId_set(port, None)
    assert ctypes.string_at(int(port), 48) == bytes(48)
    port.disown()


def test_texts_that_are_no_utf8_come_back_with_surrogates() -> None:
    import ctypes

    name = m.new_qel_Name()
    ctypes.memmove(int(name), b"\xff\xfeok\0", 5)
    assert m.qel_Name_string_get(name) == "\udcff\udcfeok"
    # They go in as plain UTF-8 only.
    with raises(TypeError, "in method 'qel_Name_string_set', argument 2 of type 'char [32]'"):
        m.qel_Name_string_set(name, "\udcff\udcfeok")
    name.disown()


def test_a_char_pointer_proxy_is_a_text() -> None:
    import swig_peer

    name = m.new_qel_Name()
    text = swig_peer.new_text_pointer("through a pointer")
    assert "'char *'" in repr(text)
    m.qel_Name_string_set(name, text)
    assert m.qel_Name_string_get(name) == "through a pointer"
    with raises(TypeError, "in method 'qel_Name_string_set', argument 2 of type 'char [32]'"):
        m.qel_Name_string_set(name, swig_peer.new_text_pointer("x" * 32))
    name.disown()


def test_str_subclasses_are_texts() -> None:
    class Text(str):
        pass

    name = m.new_qel_Name()
    m.qel_Name_string_set(name, Text("subclass"))
    assert m.qel_Name_string_get(name) == "subclass"
    name.disown()


def test_pointer_arguments_take_exactly_their_type() -> None:
    name = m.new_qel_Name()
    header = m.new_qel_EthHdr()
    text = "in method 'qel_Name_string_get', argument 1 of type 'struct qel_Name *'"
    for other in (header, 5, "text", object(), int(name)):
        with raises(TypeError, text):
            m.qel_Name_string_get(other)
    name.disown()
    header.disown()


def test_wrong_argument_counts_raise_the_interpreters_own_message() -> None:
    name = m.new_qel_Name()
    cases: list[tuple[Callable[[], object], str]] = [
        (lambda: m.new_qel_Name(1), "new_qel_Name() takes exactly 0 arguments (1 given)"),
        (lambda: m.qel_Name_string_get(), "qel_Name_string_get() takes exactly 1 argument (0 given)"),
        (lambda: m.qel_Name_string_set(name), "qel_Name_string_set() takes exactly 2 arguments (1 given)"),
        (lambda: m.VSDVS_CreateVSwitch("a"), "VSDVS_CreateVSwitch() takes exactly 8 arguments (1 given)"),
        (lambda: m.delete_qel_Name(), "delete_qel_Name() takes exactly 1 argument (0 given)"),
    ]
    for call, text in cases:
        with raises(TypeError, text):
            call()
    name.disown()


def test_arguments_are_converted_left_to_right_and_the_first_failure_is_raised() -> None:
    with raises(TypeError, "in method 'VSDVS_SetMTU', argument 1 of type 'char const *'"):
        m.VSDVS_SetMTU(5, "x")
    with raises(TypeError, "in method 'VSDVS_SetMTU', argument 2 of type 'qel_uint32'"):
        m.VSDVS_SetMTU("a", "x")
