"""The rules that every record follows, on one telling record for each kind of field."""

import ctypes
from collections.abc import Callable
from typing import Any

import _libvswitch as m
import pytest
from exact import raises
from workspace import Script


def memory(record: Any, size: int) -> bytes:
    return ctypes.string_at(int(record), size)


def fill(record: Any, content: bytes) -> None:
    ctypes.memmove(int(record), content, len(content))


# ---- constructors, destructors ---------------------------------------------------------------------------


def record_names() -> list[str]:
    return [name[len("new_"):] for name in vars(m) if name.startswith("new_") and hasattr(m, f"delete_{name[4:]}")
            and hasattr(m, f"{name[4:]}_swigregister")]


def getters(name: str) -> list[str]:
    """A record's getters, without those of records and embedded parts whose names begin alike."""
    longer = tuple(f"{other}_" for other in record_names() if other.startswith(f"{name}_"))
    parts = {f"{other}get" for other in longer}
    return [g for g in vars(m) if g.startswith(f"{name}_") and g.endswith("_get") and g != f"{name}_get"
            and (g in parts or not g.startswith(longer))]


VARIABLE = {"VSUplinks", "VSUplinkPorts", "VSUplinkPortIds", "VSRuntimeOptions"}


@pytest.mark.parametrize("name", sorted(set(record_names()) - VARIABLE))
def test_every_field_of_a_new_record_reads_as_zero(name: str, make: Callable[..., Any]) -> None:
    record = make(name)
    assert record.own() is True
    for getter in getters(name):
        value = getattr(m, getter)(record)
        assert value in (0, "", "\0", "00:00:00:00:00:00", None) or type(value).__name__ == "SwigPyObject", getter


def test_a_counted_constructor_stores_its_count(make: Callable[..., Any]) -> None:
    assert m.VSUplinks_numEntries_get(make("VSUplinks", 3)) == 3
    assert m.VSUplinkPorts_nUplinkPorts_get(make("VSUplinkPorts", 2)) == 2
    assert m.VSUplinkPortIds_nUplinkPorts_get(make("VSUplinkPortIds", 4)) == 4
    assert m.VSRuntimeOptions_totalLength_get(make("VSRuntimeOptions", 16)) == 16


@pytest.mark.parametrize("name", sorted(VARIABLE))
def test_a_counted_constructor_checks_its_count(name: str) -> None:
    new = getattr(m, f"new_{name}")
    with raises(TypeError, f"in method 'new_{name}', argument 1 of type 'int'"):
        new("3")
    with raises(OverflowError, f"in method 'new_{name}', argument 1 of type 'int'"):
        new(2**31)
    with raises(TypeError, f"new_{name}() takes exactly 1 argument (0 given)"):
        new()
    # No allocator has so much: a null pointer, which is None.
    assert new(-1000) is None


def test_the_sizes_requested_of_the_allocator(script: Script) -> None:
    """Counted constructors ask for exactly their stated sizes, uplinks for 32 bytes an entry."""
    script(
        """
        import ctypes, _libvswitch as m
        usable = ctypes.CDLL(None).malloc_usable_size
        usable.argtypes, usable.restype = [ctypes.c_void_p], ctypes.c_size_t
        def rounded(size): return max(24, (size + 8 + 15) // 16 * 16 - 8)
        for n in (1, 2, 5, 40):
            for new, size in [(m.new_VSUplinks, 32 * n + 8), (m.new_VSUplinkPorts, 81 * n + 4),
                              (m.new_VSUplinkPortIds, 48 * n + 4), (m.new_VSRuntimeOptions, n)]:
                record = new(n)
                assert usable(int(record)) in (size, rounded(size), rounded(size) + 16), (new, n, usable(int(record)))
                record.disown()
        """
    )


def test_a_destructor_takes_ownership_away_and_frees_whatever_it_is_given() -> None:
    record = m.new_qel_Name()
    assert m.delete_qel_Name(record) is None
    assert record.own() is False
    assert m.delete_qel_Name(None) is None
    header = m.new_qel_EthHdr()
    with raises(TypeError, "in method 'delete_qel_Name', argument 1 of type 'struct qel_Name *'"):
        m.delete_qel_Name(header)
    assert header.own() is True
    m.delete_qel_EthHdr(header)


# ---- kind 1: scalars -------------------------------------------------------------------------------------


def test_a_scalar_is_read_and_stored_in_place(make: Callable[..., Any]) -> None:
    string = make("qel_String")
    before = memory(string, 16)
    m.qel_String_bufferSize_set(string, 0x11223344)
    after = memory(string, 16)
    assert m.qel_String_bufferSize_get(string) == 0x11223344
    assert [i for i in range(16) if before[i] != after[i]] == [0, 1, 2, 3]


def test_untagged_records_are_named_without_struct(make: Callable[..., Any]) -> None:
    name = make("qel_Name")
    with raises(TypeError, "in method 'qel_String_bufferSize_get', argument 1 of type 'qel_String *'"):
        m.qel_String_bufferSize_get(name)
    with raises(TypeError, "in method 'VSUplinks_entries_portID_set', argument 1 of type 'VSUplinks_entries *'"):
        m.VSUplinks_entries_portID_set(name, 1)


def test_a_setter_on_a_null_record_stores_nothing_and_succeeds() -> None:
    assert m.qel_String_bufferSize_set(None, 5) is None
    assert m.qel_Name_string_set(None, "x") is None
    assert m.qel_VLANHdr_priority_set(None, 5) is None
    with raises(OverflowError, "in method 'qel_String_bufferSize_set', argument 2 of type 'qel_ByteCountSmall'"):
        m.qel_String_bufferSize_set(None, -1)


def test_a_getter_on_a_null_record_is_a_value_error() -> None:
    for getter, kind in [
        (m.VSInfo_mtu_get, "struct VSInfo *"),
        (m.qel_VLANHdr_priority_get, "struct qel_VLANHdr *"),
        (m.qel_Name_string_get, "struct qel_Name *"),
        (m.qel_EthHdr_daddr_get, "struct qel_EthHdr *"),
        (m.VSMACEntry_macAddress_get, "struct VSMACEntry *"),
        (m.VSUplinks_entries_name_get, "VSUplinks_entries *"),
        (m.qel_ListLinks_prevPtr_get, "struct qel_ListLinks *"),
        (m.HNQQuery_propValue_get, "struct HNQQuery *"),
    ]:
        with raises(ValueError, f"invalid null reference in method '{getter.__name__}', argument 1 of type '{kind}'"):
            getter(None)


def test_a_one_byte_enumeration_takes_any_int_and_keeps_its_low_byte(make: Callable[..., Any]) -> None:
    entry = make("VSMACEntry")
    for value, read in ((300, 44), (-1, 255), (3, 3), (-(2**31), 0)):
        m.VSMACEntry_macAddrType_set(entry, value)
        assert m.VSMACEntry_macAddrType_get(entry) == read
    assert memory(entry, 26)[7:] == bytes(19)
    with raises(OverflowError, "in method 'VSMACEntry_macAddrType_set', argument 2 of type 'VSMACAddrType'"):
        m.VSMACEntry_macAddrType_set(entry, 2**31)


# ---- kind 2: bit-fields ----------------------------------------------------------------------------------


def test_a_bit_field_keeps_its_bits_and_leaves_the_others(make: Callable[..., Any]) -> None:
    header = make("qel_VLANHdr")
    fill(header, b"\x50\xaa\xbb\xcc")
    m.qel_VLANHdr_vlanIDHigh_set(header, 255)
    assert memory(header, 4) == b"\x5f\xaa\xbb\xcc"
    assert m.qel_VLANHdr_vlanIDHigh_get(header) == 15
    m.qel_VLANHdr_vlanIDHigh_set(header, 16)
    assert memory(header, 4) == b"\x50\xaa\xbb\xcc"
    with raises(OverflowError, "in method 'qel_VLANHdr_vlanIDHigh_set', argument 2 of type 'qel_uint8'"):
        m.qel_VLANHdr_vlanIDHigh_set(header, 256)
    with raises(TypeError, "in method 'qel_VLANHdr_vlanIDHigh_set', argument 2 of type 'qel_uint8'"):
        m.qel_VLANHdr_vlanIDHigh_set(header, "1")


def test_a_24_bit_field_spans_three_bytes(make: Callable[..., Any]) -> None:
    header = make("qel_VXLANHdr")
    fill(header, b"\xff" * 8)
    m.qel_VXLANHdr_vxlanID_set(header, 0x01020304)
    assert memory(header, 8) == b"\xff\xff\xff\xff\x04\x03\x02\xff"
    assert m.qel_VXLANHdr_vxlanID_get(header) == 0x020304
    with raises(OverflowError, "in method 'qel_VXLANHdr_vxlanID_set', argument 2 of type 'qel_uint32'"):
        m.qel_VXLANHdr_vxlanID_set(header, 2**32)


# ---- kind 3: character arrays ----------------------------------------------------------------------------


def test_a_character_array_that_is_full_reads_back_whole(make: Callable[..., Any]) -> None:
    name = make("qel_Name")
    fill(name, b"x" * 32)
    assert m.qel_Name_string_get(name) == "x" * 32


def test_the_empty_character_array_reads_empty_and_takes_only_none(make: Callable[..., Any]) -> None:
    switches = make("VSList")
    assert m.VSList_switches_get(switches) == ""
    m.VSList_switches_set(switches, None)
    for text in ("", "a"):
        with raises(TypeError, "in method 'VSList_switches_set', argument 2 of type 'char [0]'"):
            m.VSList_switches_set(switches, text)


def test_an_array_type_is_spelled_as_the_interface_has_it(make: Callable[..., Any]) -> None:
    policy = make("LSTeamPolicy")
    with raises(TypeError, "in method 'LSTeamPolicy_name_set', argument 2 of type 'char [(32*4) +8]'"):
        m.LSTeamPolicy_name_set(policy, "x" * 136)
    m.LSTeamPolicy_name_set(policy, "x" * 135)
    assert m.LSTeamPolicy_name_get(policy) == "x" * 135


# ---- kinds 4 and 6: arrays ---------------------------------------------------------------------------------


def test_an_array_is_a_view_of_its_elements(make: Callable[..., Any]) -> None:
    header = make("qel_EthHdr")
    view = m.qel_EthHdr_daddr_get(header)
    assert "'unsigned char *'" in repr(view) and view.own() is False
    assert int(view) == int(header)
    assert int(m.qel_EthHdr_saddr_get(header)) == int(header) + 6
    other = make("qel_EthHdr")
    fill(other, bytes(range(1, 15)))
    m.qel_EthHdr_daddr_set(header, m.qel_EthHdr_saddr_get(other))
    assert memory(header, 14) == bytes([7, 8, 9, 10, 11, 12]) + bytes(8)


def test_an_array_refuses_null_and_other_types(make: Callable[..., Any]) -> None:
    header = make("qel_EthHdr")
    with raises(ValueError, "invalid null reference in variable 'daddr' of type 'unsigned char [6]'"):
        m.qel_EthHdr_daddr_set(header, None)
    with raises(TypeError, "in method 'qel_EthHdr_daddr_set', argument 2 of type 'unsigned char [6]'"):
        m.qel_EthHdr_daddr_set(header, b"123456")
    with raises(TypeError, "in method 'qel_EthHdr_daddr_set', argument 2 of type 'unsigned char [6]'"):
        m.qel_EthHdr_daddr_set(header, header)


def test_a_two_dimensional_array_is_a_view_of_its_first_row(make: Callable[..., Any]) -> None:
    policy = make("VSTeamPolicy")
    view = m.VSTeamPolicy_uplinkPortName_get(policy)
    assert "'char (*)[81]'" in repr(view) and int(view) == int(policy) + 24
    other = make("VSTeamPolicy")
    fill(other, bytes(24) + b"\x01" * 2592)
    m.VSTeamPolicy_uplinkPortName_set(policy, m.VSTeamPolicy_uplinkPortName_get(other))
    assert memory(policy, 2616) == bytes(24) + b"\x01" * 2592


def test_a_flexible_array_takes_any_pointer_and_copies_nothing(make: Callable[..., Any]) -> None:
    ports = make("VSPortList")
    view = m.VSPortList_ports_get(ports)
    assert int(view) == int(ports) + 4
    m.VSPortList_ports_set(ports, view)
    assert memory(ports, 4) == bytes(4)
    with raises(ValueError, "invalid null reference in variable 'ports' of type 'qel_SwitchPortID [0]'"):
        m.VSPortList_ports_set(ports, None)
    with raises(TypeError, "in method 'VSPortList_ports_set', argument 2 of type 'qel_SwitchPortID [0]'"):
        m.VSPortList_ports_set(ports, ports)


# ---- kind 5: MAC texts -------------------------------------------------------------------------------------


def test_a_mac_field_reads_as_text_and_is_written_as_an_array(make: Callable[..., Any]) -> None:
    entry = make("VSMACEntry")
    assert m.VSMACEntry_macAddress_get(entry) == "00:00:00:00:00:00"
    header = make("qel_EthHdr")
    fill(header, b"\x00\x1a\x2b\x3c\x4d\xfe")
    m.VSMACEntry_macAddress_set(entry, m.qel_EthHdr_daddr_get(header))
    assert m.VSMACEntry_macAddress_get(entry) == "00:1a:2b:3c:4d:fe"
    with raises(TypeError, "in method 'VSMACEntry_macAddress_set', argument 2 of type 'unsigned char [6]'"):
        m.VSMACEntry_macAddress_set(entry, "00:1a:2b:3c:4d:fe")
    with raises(ValueError, "invalid null reference in variable 'macAddress' of type 'unsigned char [6]'"):
        m.VSMACEntry_macAddress_set(entry, None)


# ---- kind 7: embedded records --------------------------------------------------------------------------------


def test_an_embedded_record_is_a_view_and_is_assigned_by_value(make: Callable[..., Any]) -> None:
    signature = make("qel_MgmtApiSignature")
    view = m.qel_MgmtApiSignature_name_get(signature)
    assert int(view) == int(signature) + 4 and view.own() is False
    m.qel_Name_string_set(view, "through the view")
    assert memory(signature, 80)[4:20] == b"through the view"
    source = make("qel_Name")
    m.qel_Name_string_set(source, "copied")
    m.qel_MgmtApiSignature_name_set(signature, source)
    m.qel_Name_string_set(source, "changed afterwards")
    assert m.qel_Name_string_get(view) == "copied"
    assert source.own() is True
    for value in (None, signature, "copied"):
        with raises(TypeError, "in method 'qel_MgmtApiSignature_name_set', argument 2 of type 'qel_Name *'"):
            m.qel_MgmtApiSignature_name_set(signature, value)
    assert m.qel_Name_string_get(view) == "copied"
    m.qel_MgmtApiSignature_name_set(signature, view)
    assert m.qel_Name_string_get(view) == "copied"


# ---- kind 8: pointers ------------------------------------------------------------------------------------------


def test_a_pointer_field_takes_the_ownership_of_its_target(make: Callable[..., Any]) -> None:
    links = make("qel_ListLinks")
    target = m.new_qel_ListLinks()
    m.qel_ListLinks_prevPtr_set(links, target)
    assert target.own() is False
    assert m.qel_ListLinks_prevPtr_get(links) == target
    assert m.qel_ListLinks_prevPtr_get(links).own() is False
    assert m.qel_ListLinks_nextPtr_get(links) is None
    m.qel_ListLinks_prevPtr_set(links, None)
    assert m.qel_ListLinks_prevPtr_get(links) is None
    with raises(TypeError, "in method 'qel_ListLinks_prevPtr_set', argument 2 of type 'struct qel_ListLinks *'"):
        m.qel_ListLinks_prevPtr_set(links, 5)
    m.delete_qel_ListLinks(target)


def test_a_void_pointer_field_takes_any_pointer(make: Callable[..., Any]) -> None:
    parameter = make("qel_MgmtVectorParm")
    name = make("qel_Name")
    m.qel_MgmtVectorParm_dataPtr_set(parameter, name)
    assert int(m.qel_MgmtVectorParm_dataPtr_get(parameter)) == int(name)
    m.qel_MgmtVectorParm_dataPtr_set(parameter, None)
    with raises(TypeError, "in method 'qel_MgmtVectorParm_dataPtr_set', argument 2 of type 'void *'"):
        m.qel_MgmtVectorParm_dataPtr_set(parameter, 5)


# ---- kind 9: the text that its record owns -----------------------------------------------------------------------


def test_a_string_pointer_holds_a_private_copy(make: Callable[..., Any]) -> None:
    query = make("HNQQuery")
    assert m.HNQQuery_propValue_get(query) is None
    for text in ("first", "a longer second text", ""):
        m.HNQQuery_propValue_set(query, text)
        assert m.HNQQuery_propValue_get(query) == text
    with raises(TypeError, "in method 'HNQQuery_propValue_set', argument 2 of type 'char *'"):
        m.HNQQuery_propValue_set(query, b"bytes")
    assert m.HNQQuery_propValue_get(query) == ""
    m.HNQQuery_propValue_set(query, None)
    assert m.HNQQuery_propValue_get(query) is None


def test_a_string_pointer_lies_unaligned_behind_its_length(make: Callable[..., Any]) -> None:
    query = make("HNQQuery")
    m.HNQQuery_propLen_set(query, -2)
    m.HNQQuery_propValue_set(query, "x")
    address = int.from_bytes(memory(query, 12)[4:], "little")
    assert ctypes.string_at(address) == b"x"
    assert m.HNQQuery_propLen_get(query) == -2
    m.HNQQuery_propValue_set(query, None)


# ---- kind 10: read-only parts -----------------------------------------------------------------------------------


def test_read_only_parts_have_no_setter(make: Callable[..., Any]) -> None:
    for name in ("VSUplinks_entries", "VSPortInfo_vlan", "VSPortInfo_ethFrpAccepted", "VSIOCtlQuery_uplink",
                 "VSIOCtlQuery_mcastFilter", "qel_IGMPv3QueryHdr_sourcesIPv4"):
        assert hasattr(m, f"{name}_get") and not hasattr(m, f"{name}_set")
    uplinks = make("VSUplinks", 2)
    entry = m.VSUplinks_entries_get(uplinks)
    assert int(entry) == int(uplinks) + 8
    m.VSUplinks_entries_portID_set(entry, 77)
    assert int.from_bytes(memory(uplinks, 48)[40:44], "little") == 77
    query = make("VSIOCtlQuery")
    assert "'_uplink *'" in repr(m.VSIOCtlQuery_uplink_get(query))
    assert "'_mcastFilter *'" in repr(m.VSIOCtlQuery_mcastFilter_get(query))
