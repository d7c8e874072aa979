"""What single records are known for: overlays, unaligned fields, exact blocks, names kept as they are."""

import ctypes
from collections.abc import Callable
from typing import Any

import _libvswitch as m
from exact import raises


def memory(record: Any, size: int, offset: int = 0) -> bytes:
    return ctypes.string_at(int(record) + offset, size)


def usable(record: Any) -> int:
    size = ctypes.CDLL(None).malloc_usable_size
    size.argtypes, size.restype = [ctypes.c_void_p], ctypes.c_size_t
    return int(size(int(record)))


# ---- kernel records ------------------------------------------------------------------------------------------


def test_management_instances_lie_behind_seven_bytes_of_padding(make: Callable[..., Any]) -> None:
    instances = make("qel_MgmtInstances")
    assert int(m.qel_MgmtInstances_instanceIds_get(instances)) - int(instances) == 8
    assert int(m.qel_MgmtInstances_instanceNames_get(instances)) - int(instances) == 264
    assert usable(instances) >= 1288


def test_the_views_of_an_ipv6_address_show_the_same_bytes(make: Callable[..., Any]) -> None:
    address = make("qel_SocketIPv6AddressAddr")
    union = m.qel_SocketIPv6AddressAddr___u6_addr_get(address)
    words = m.qel_SocketIPv6AddressAddr___u6_addr___u6_addr32_get(union)
    ctypes.memmove(int(words), b"\xfe\x80\0\0", 4)
    octets = m.qel_SocketIPv6AddressAddr___u6_addr___u6_addr8_get(union)
    assert ctypes.string_at(int(octets), 4) == b"\xfe\x80\0\0"


def test_the_port_status_text_lies_at_offset_20(make: Callable[..., Any]) -> None:
    status = make("qel_HNQPortStatus")
    m.qel_HNQPortStatus_displayStr_set(status, "shown")
    assert memory(status, 5, 20) == b"shown"
    with raises(TypeError, "in method 'qel_HNQPortStatus_displayStr_set', argument 2 of type 'char [80]'"):
        m.qel_HNQPortStatus_displayStr_set(status, "x" * 80)


def test_a_priority_tag_of_256_is_refused(make: Callable[..., Any]) -> None:
    config = make("qel_PortsetResPoolCfg")
    with raises(OverflowError,
                "in method 'qel_PortsetResPoolCfg_pTag_set', argument 2 of type 'qel_PortsetResPoolPriorityTag'"):
        m.qel_PortsetResPoolCfg_pTag_set(config, 256)


def test_a_pool_limit_of_minus_one_can_be_written(make: Callable[..., Any]) -> None:
    config = make("qel_PortsetResPoolCfg")
    m.qel_PortsetResPoolCfg_limit_set(config, m.QEL_PORTSET_RESPOOL_LIMIT_INFINITE)
    assert m.qel_PortsetResPoolCfg_limit_get(config) == -1


# ---- mirror records ------------------------------------------------------------------------------------------


def test_the_magic_number_reads_unsigned_from_a_field(make: Callable[..., Any]) -> None:
    assert m.DVMirrorSessionTable_magicNum_get(make("DVMirrorSessionTable")) == 0
    table = m.alloc_dvmirror_session_table(0, 0)
    assert m.DVMirrorSessionTable_magicNum_get(table) == 4207853295 == 0xFACEBEEF
    m.free_dvmirror_session_table(table)


def test_the_values_of_a_mirror_entity_overlay_each_other(make: Callable[..., Any]) -> None:
    entity = make("DVMirrorEntity")
    m.DVMirrorEntity_type_set(entity, m.MIRROR_ENTTYPE_PORT)
    m.DVMirrorEntity_dvPortId_set(entity, "abcdefgh")
    m.DVMirrorEntity_portId_set(entity, 0x04030201)
    assert memory(entity, 12) == b"\x04\0\0\0\x01\x02\x03\x04efgh"
    assert m.DVMirrorEntity_vlan_get(entity) == 0x0201
    assert m.DVMirrorEntity_mac_get(entity) == "01:02:03:04:65:66"
    assert m.qel_Name_string_get(m.DVMirrorEntity_uplink_get(entity)) == "\x01\x02\x03\x04efgh"
    assert m.DVMirrorEntity_type_get(entity) == m.MIRROR_ENTTYPE_PORT


def test_a_flag_of_a_filter_rule_leaves_its_neighbours(make: Callable[..., Any]) -> None:
    rule = make("DVMirrorFilterRule")
    ctypes.memset(int(rule) + 8, 0b10101101, 1)
    m.DVMirrorFilterRule_has_srcports_set(rule, 3)
    assert memory(rule, 1, 8) == bytes([0b10101111])


def test_the_names_of_a_mirror_session_end_within_their_room(make: Callable[..., Any]) -> None:
    session = make("DVMirrorSession")
    m.DVMirrorSession_dname_set(session, "d" * 80)
    m.DVMirrorSession_sid_set(session, "s" * 31)
    with raises(TypeError, "in method 'DVMirrorSession_dname_set', argument 2 of type 'char [81]'"):
        m.DVMirrorSession_dname_set(session, "d" * 81)
    with raises(TypeError, "in method 'DVMirrorSession_sid_set', argument 2 of type 'char [32]'"):
        m.DVMirrorSession_sid_set(session, "s" * 32)
    assert m.DVMirrorSession_dname_get(session) == "d" * 80 and m.DVMirrorSession_sid_get(session) == "s" * 31


def test_the_port_range_record_is_spelled_as_declared(make: Callable[..., Any]) -> None:
    ports = make("DVMirrorPortRanage")
    m.DVMirrorPortRanage_begin_set(ports, 80)
    assert m.DVMirrorPortRanage_begin_get(ports) == 80
    assert not [name for name in vars(m) if "PortRange" in name and name.startswith(("DVMirror", "new_", "delete_"))]


# ---- policy records ------------------------------------------------------------------------------------------


def test_an_aging_time_keeps_24_bits_and_leaves_the_reserved_byte(make: Callable[..., Any]) -> None:
    learning = make("VSPropMACLearning")
    m.VSPropMACLearning_reserved_set(learning, 0x5A)
    m.VSPropMACLearning_agingTime_set(learning, 16777215)
    assert m.VSPropMACLearning_agingTime_get(learning) == 16777215
    m.VSPropMACLearning_agingTime_set(learning, 16777216)
    assert m.VSPropMACLearning_agingTime_get(learning) == 0
    assert m.VSPropMACLearning_reserved_get(learning) == 0x5A


def test_the_learning_policy_within_the_management_policy_is_a_view_at_offset_1(make: Callable[..., Any]) -> None:
    management = make("VSPMACManagement")
    view = m.VSPMACManagement_portMACLearning_get(management)
    m.VSPMACLearning_macLimit_set(view, 0x04030201)
    assert memory(management, 11) == b"\0\0\0\x01\x02\x03\x04\0\0\0\0"


def test_the_multicast_keys_are_one_byte_with_a_view_behind_it(make: Callable[..., Any]) -> None:
    keys = make("VSUserMcastLegacyKeys")
    assert int(m.VSUserMcastLegacyKeys_multicastAddrs_get(keys)) == int(keys) + 1


# ---- status records ------------------------------------------------------------------------------------------


def test_the_selectors_of_a_query_overlay_each_other(make: Callable[..., Any]) -> None:
    query = make("VSIOCtlQuery")
    m.VSIOCtlQuery_portID_set(query, 0x64636261)
    assert ctypes.string_at(int(m.VSIOCtlQuery_dvPortID_get(query)), 5) == b"abcd\0"
    ctypes.memmove(int(m.VSIOCtlQuery_dvPortID_get(query)), b"\x01\0\0\0", 4)
    assert m.VSIOCtlQuery_portID_get(query) == 1
    m.VSIOCtlQuery_dvsId_set(query, "switch")
    assert ctypes.string_at(int(m.VSIOCtlQuery_psName_get(query))) == b"switch"
    assert ctypes.string_at(int(m.VSIOCtlQuery_dvsName_get(query))) == b"switch"


def test_the_flags_of_a_switch_lie_unaligned_and_keep_64_bits(make: Callable[..., Any]) -> None:
    info = make("VSInfo")
    m.VSInfo_flags_set(info, 0x8877665544332211)
    assert memory(info, 8, 210) == b"\x11\x22\x33\x44\x55\x66\x77\x88"
    assert m.VSInfo_flags_get(info) == 0x8877665544332211


def test_the_statistics_of_a_port_are_a_view(make: Callable[..., Any]) -> None:
    port = make("VSPortInfo")
    view = m.VSPortInfo_stats_get(port)
    m.VSStats_pktsTx_set(view, m.VSStats_pktsTx_get(view) + 1)
    assert m.VSStats_pktsTx_get(m.VSPortInfo_stats_get(port)) == 1


def test_a_new_mac_table_is_a_header_with_its_entries_behind_it(make: Callable[..., Any]) -> None:
    table = make("VSMACTable")
    assert int(m.VSMACTable_macEntries_get(table)) == int(table) + 8


def test_the_count_of_a_switch_list_is_signed(make: Callable[..., Any]) -> None:
    switches = make("VSList")
    m.VSList_count_set(switches, -1)
    assert m.VSList_count_get(switches) == -1


# ---- runtime option and save-and-restore records ---------------------------------------------------------------


def test_a_save_and_restore_request_has_its_entries_at_offset_9(make: Callable[..., Any]) -> None:
    query = make("RTMIOCtlQuery")
    assert int(m.RTMIOCtlQuery_rtmPs_get(query)) == int(query) + 9
    m.RTMIOCtlQuery_maxAllowedOutage_set(query, 0x04030201)
    assert memory(query, 4, 5) == b"\x01\x02\x03\x04"


def test_a_module_identifier_lies_unaligned(make: Callable[..., Any]) -> None:
    module = make("RTM_ModInfo")
    for value in (-(2**31), 2**31 - 1):
        m.RTM_ModInfo_ModID_set(module, value)
        assert m.RTM_ModInfo_ModID_get(module) == value
        assert memory(module, 4, 1) == value.to_bytes(4, "little", signed=True)


def test_an_option_length_of_65536_is_refused(make: Callable[..., Any]) -> None:
    header = make("VSRuntimeOptionHeader")
    with raises(OverflowError, "in method 'VSRuntimeOptionHeader_length_set', argument 2 of type 'qel_uint16'"):
        m.VSRuntimeOptionHeader_length_set(header, 65536)


def test_an_options_buffer_is_as_long_as_asked_and_says_so(make: Callable[..., Any]) -> None:
    options = make("VSRuntimeOptions", 16)
    assert m.VSRuntimeOptions_totalLength_get(options) == 16
    assert usable(options) >= 16
