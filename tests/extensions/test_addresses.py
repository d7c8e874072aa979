"""Hardware and IP addresses in records, as text and from bytes."""

import array
import ctypes
from typing import Any

import _libvswitch as m
import pytest
from exact import raises
from native_memory import Memory, check_method

MAC = bytes.fromhex("001a2b3c4d5e")
OTHER_MAC = bytes.fromhex("ffeeddccbbaa")

MAC_ARRAYS = [("VSMcastFilters", 8), ("VSUserMcastLegacyKeys", 1)]
IPV4_ARRAYS = [("VSMcastFilters", 8), ("VSMcastFilterStats", 28)]
# Records stand at odd addresses as well as at even ones.
PLACES = [64, 65]


@pytest.mark.parametrize("place", PLACES)
@pytest.mark.parametrize(("record", "first"), MAC_ARRAYS)
def test_mac_entries_read_as_lower_case_text_with_two_digits_a_byte(record: str, first: int, place: int) -> None:
    memory = Memory(2048)
    memory.write(place + first, MAC + OTHER_MAC)
    memory.write(place + first + 6 * 200, bytes(6))
    memory.write(place + first - 6, OTHER_MAC)
    read = getattr(m, f"{record}_get_mac_entry")
    proxy = memory.record(record, place)
    assert read(proxy, 0) == "00:1a:2b:3c:4d:5e"
    assert read(proxy, 1) == "ff:ee:dd:cc:bb:aa"
    assert read(proxy, 200) == "00:00:00:00:00:00"
    # Nothing tests the index.
    assert read(proxy, -1) == "ff:ee:dd:cc:bb:aa"


@pytest.mark.parametrize("place", PLACES)
@pytest.mark.parametrize(("record", "first"), IPV4_ARRAYS)
def test_ipv4_entries_are_in_network_order(record: str, first: int, place: int) -> None:
    memory = Memory(2048)
    memory.write(place + first, bytes([10, 0, 0, 1]) + bytes([224, 0, 0, 251]))
    memory.write(place + first - 4, bytes([192, 168, 255, 254]))
    read = getattr(m, f"{record}_get_ip_entry")
    proxy = memory.record(record, place)
    assert read(proxy, 0) == "10.0.0.1"
    assert read(proxy, 1) == "224.0.0.251"
    assert read(proxy, 2) == "170.170.170.170"
    assert read(proxy, -1) == "192.168.255.254"


@pytest.mark.parametrize("place", PLACES)
@pytest.mark.parametrize(("record", "first"), IPV4_ARRAYS)
def test_ipv6_entries_read_in_canonical_form(record: str, first: int, place: int) -> None:
    memory = Memory(2048)
    memory.write(place + first, bytes(16) + bytes.fromhex("fe800000000000000000000000000001"))
    memory.write(place + first + 32, bytes.fromhex("20010db8000000010000000000ab0cde"))
    memory.write(place + first + 48, bytes.fromhex("ffffffffffffffffffffffffffffffff"))
    memory.write(place + first - 16, bytes.fromhex("ff0200000000000000000000000000fb"))
    read = getattr(m, f"{record}_get_ipv6_entry")
    proxy = memory.record(record, place)
    assert [read(proxy, index) for index in range(-1, 4)] == [
        "ff02::fb",
        "::",
        "fe80::1",
        "2001:db8:0:1::ab:cde",
        "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
    ]


def test_the_longest_ipv6_text_fits() -> None:
    memory = Memory(64)
    memory.write(8, bytes.fromhex("00000000000000000000ffff") + bytes([255, 255, 255, 255]))
    assert m.VSMcastFilters_get_ipv6_entry(memory.record("VSMcastFilters"), 0) == "::ffff:255.255.255.255"


# Record, offset of the address in it, and how the setter is called with a buffer.
SETTERS = [
    ("VSMACEntry", 0, ()),
    ("VSStaticLEEntry", 518, ()),
    ("VSMACEntries", 0, (0,)),
    ("VSMACEntries", 6, (1,)),
    ("VSMACEntries", 144, (24,)),
    ("VSMACEntries", -6, (-1,)),
]


@pytest.mark.parametrize("place", PLACES)
@pytest.mark.parametrize(("record", "offset", "index"), SETTERS)
@pytest.mark.parametrize(
    "given",
    [MAC, bytearray(MAC), memoryview(MAC), array.array("B", MAC), MAC + b"\x77\x88", memoryview(b"x" + MAC)[1:]],
)
def test_set_mac_address_stores_the_first_six_bytes_and_nothing_else(
    record: str, offset: int, index: int, place: int, given: Any
) -> None:
    memory = Memory(1024)
    expected = bytearray(memory.all())
    expected[place + offset : place + offset + 6] = MAC
    proxy = memory.record(record, place)
    assert getattr(m, f"{record}_set_mac_address")(proxy, *index, given) is None
    assert memory.all() == bytes(expected)


def test_a_mac_that_was_set_reads_back() -> None:
    entry = m.new_VSMACEntry()
    m.VSMACEntry_set_mac_address(entry, MAC)
    assert m.VSMACEntry_macAddress_get(entry) == "00:1a:2b:3c:4d:5e"
    m.delete_VSMACEntry(entry)
    entry = m.new_VSStaticLEEntry()
    m.VSStaticLEEntry_set_mac_address(entry, MAC)
    assert m.VSStaticLEEntry_macAddress_get(entry) == "00:1a:2b:3c:4d:5e"
    m.delete_VSStaticLEEntry(entry)


def test_a_buffer_that_lies_in_the_record_can_be_given() -> None:
    memory = Memory(64)
    memory.write(3, MAC)
    data = (ctypes.c_char * 6).from_address(memory.address + 3)
    m.VSMACEntry_set_mac_address(memory.record("VSMACEntry"), data)
    assert memory.read(0, 6) == MAC


def test_a_text_is_no_buffer() -> None:
    entry = m.new_VSMACEntry()
    with raises(
        TypeError, "in method 'VSMACEntry_set_mac_address', argument 2 of type '(unsigned char *mac_str, SIZE)'"
    ):
        m.VSMACEntry_set_mac_address(entry, "00:1a:2b:3c:4d:5e")
    assert m.VSMACEntry_macAddress_get(entry) == "00:00:00:00:00:00"
    m.delete_VSMACEntry(entry)


def test_arguments_of_the_methods() -> None:
    buffer = ("(unsigned char *mac_str, SIZE)", MAC)
    check_method("set_mac_address", "VSMACEntry", buffer)
    check_method("set_mac_address", "VSStaticLEEntry", buffer)
    check_method("set_mac_address", "VSMACEntries", ("int", 0), buffer)
    for record, name in (
        ("VSMcastFilters", "get_mac_entry"),
        ("VSMcastFilters", "get_ip_entry"),
        ("VSMcastFilters", "get_ipv6_entry"),
        ("VSMcastFilterStats", "get_ip_entry"),
        ("VSMcastFilterStats", "get_ipv6_entry"),
        ("VSUserMcastLegacyKeys", "get_mac_entry"),
    ):
        check_method(name, record, ("int", 0))
