"""The rules that every library call follows, each on a call that shows it, against recording libraries."""

from workspace import Script


def test_texts_and_integers_reach_the_library_and_the_status_comes_back(recording: Script) -> None:
    recording(
        """
rec.recorder_return(0x0bad0003)
assert m.VSDVS_SetMTU("alpha", 4294967295) == 0x0bad0003
rec.recorder_return(-1)
assert m.VSDVS_SetMTU(None, 0) == -1
assert calls() == [["VSDVS_SetMTU", '"alpha"', "4294967295"], ["VSDVS_SetMTU", "null", "0"]]
"""
    )


def test_an_output_makes_a_list_and_caller_storage_does_not(recording: Script) -> None:
    recording(
        """
import swig_peer, ctypes
rec.recorder_store(2, 3, 4)
assert m.VSDVS_GetMcastFilterMode("alpha") == [0, 3]
cell = swig_peer.new_uint32_cell()
rec.recorder_store(2, 9000, 4)
assert m.VSDVS_GetMTU("alpha", cell) == 0
assert ctypes.c_uint32.from_address(int(cell)).value == 9000
assert m.VSDVS_GetMTU("alpha", None) == 0
with raises(TypeError, "in method 'VSDVS_GetMTU', argument 2 of type 'qel_uint32 *'"):
    m.VSDVS_GetMTU("alpha", 5)
"""
    )


def test_integer_outputs_are_signed(recording: Script) -> None:
    recording(
        """
rec.recorder_store(3, 0x80000000, 4)
assert m.VSDVS_DvPortIDToPortID("alpha", "p1") == [0, -2147483648]
"""
    )


def test_boolean_outputs_are_signed_bytes(recording: Script) -> None:
    recording(
        """
for byte, value in ((0, 0), (1, 1), (255, -1), (128, -128)):
    rec.recorder_store(2, byte, 1)
    assert m.VSDVS_GetStaticMACAllow("alpha") == [0, value]
"""
    )


def test_record_outputs_are_unowned_proxies_or_none(recording: Script) -> None:
    recording(
        """
assert m.VSQEL_GetSwitchInfo("alpha") == [0, None]
info = m.new_VSInfo()
rec.recorder_store(2, int(info), 8)
status, seen = m.VSQEL_GetSwitchInfo("alpha")
assert status == 0 and seen == info and seen.own() is False
assert "'VSInfo *'" in repr(seen)
rec.recorder_store(2, 0x1000, 8)
rec.recorder_store(3, 0x2000, 8)
result = m.VSDVS_GetSwitchUplinkPorts("alpha")
assert [int(x) for x in result] == [0, 0x1000, 0x2000]
assert "'VSUplinkPorts *'" in repr(result[1]) and "'VSUplinkPortIds *'" in repr(result[2])
"""
    )


def test_record_outputs_are_instances_of_the_registered_class(recording: Script) -> None:
    recording(
        """
class Info: pass
m.VSInfo_swigregister(Info)
rec.recorder_store(2, 0x1000, 8)
status, seen = m.VSQEL_GetSwitchInfo("alpha")
assert type(seen) is Info and int(seen.this) == 0x1000
"""
    )


def test_the_private_vlan_map_is_wrapped_as_uplink_ports(recording: Script) -> None:
    recording(
        """
rec.recorder_store(2, 0x1000, 8)
rec.recorder_store(3, 4, 4)
status, map_, count = m.VSDVS_GetPrivateVLANMap("alpha")
assert (status, int(map_), count) == (0, 0x1000, 4)
assert "'VSUplinkPorts *'" in repr(map_)
"""
    )


def test_text_outputs_are_cut_and_decoded(recording: Script) -> None:
    recording(
        """
rec.recorder_store_text(2, b"name\\0rest", 9)
assert m.VSDVS_GetAliasFromPortset("ps") == [0, "name"]
rec.recorder_store_text(2, b"x" * 129, 129)
assert m.VSDVS_GetAliasFromPortset("ps") == [0, "x" * 128]
rec.recorder_reset()
rec.recorder_store_text(3, b"y" * 82, 82)
assert m.VSDVS_GetPortTeamingOverride("alpha", "p1") == [0, "y" * 81]
rec.recorder_reset()
rec.recorder_store_text(2, b"\\xff\\0", 2)
assert m.VSDVS_GetAliasFromPortset("ps") == [0, "\\udcff"]
rec.recorder_reset()
assert m.VSDVS_GetAliasFromPortset("ps") == [0, ""]
"""
    )


def test_fixed_texts_hold_one_byte_less_than_their_room(recording: Script) -> None:
    recording(
        """
assert m.VSDVS_RemoveDVMirrorSession("alpha", "p1", "s" * 31) == 0
assert calls()[0][3] == '"' + "s" * 31 + '"'
for text in ("s" * 32, b"s", 5):
    with raises(TypeError, "in method 'VSDVS_RemoveDVMirrorSession', argument 3 of type 'char const [32]'"):
        m.VSDVS_RemoveDVMirrorSession("alpha", "p1", text)
assert calls() == []
assert m.VSDVS_RemoveDVMirrorSession("alpha", "p1", None) == 0
assert calls()[0][3] == '""'
"""
    )


def test_what_the_library_writes_into_a_fixed_text_is_dropped(recording: Script) -> None:
    recording(
        """
rec.recorder_store_text(2, b"z" * 64, 64)
assert m.DVSAliasToSwitchId("alpha", "in") == 0
assert calls() == [["DVSAliasToSwitchId", '"alpha"', '"in"']]
with raises(TypeError, "in method 'DVSAliasToSwitchId', argument 2 of type 'char [64]'"):
    m.DVSAliasToSwitchId("alpha", "i" * 64)
"""
    )


def test_integer_arguments_check_their_range(recording: Script) -> None:
    recording(
        """
with raises(OverflowError, "in method 'VSDVS_SetMTU', argument 2 of type 'qel_uint32'"):
    m.VSDVS_SetMTU("alpha", 4294967296)
with raises(OverflowError, "in method 'VSQEL_GetRuntimeOptions', argument 2 of type 'qel_uint16'"):
    m.VSQEL_GetRuntimeOptions(None, 65536)
with raises(OverflowError, "in method 'VSDVS_SetMcastFilterMode', argument 2 of type 'VSMcastFilterMode'"):
    m.VSDVS_SetMcastFilterMode("alpha", 2147483648)
with raises(TypeError, "in method 'VSDVS_SetMcastFilterMode', argument 2 of type 'VSMcastFilterMode'"):
    m.VSDVS_SetMcastFilterMode("alpha", "1")
with raises(OverflowError, "in method 'VSDVS_CreateVSwitch', argument 4 of type 'qel_uint32'"):
    m.VSDVS_CreateVSwitch("a", "b", "c", -1, 1, 1500, 1, 0)
assert calls() == []
m.VSDVS_SetMcastFilterMode("alpha", -2147483648)
assert calls() == [["VSDVS_SetMcastFilterMode", '"alpha"', "-2147483648"]]
"""
    )


def test_booleans_pass_a_character_or_a_small_int(recording: Script) -> None:
    recording(
        """
for value, byte in (("1", "49"), ("", "0"), (True, "1"), (0, "0"), (-128, "-128"), ("A", "65")):
    assert m.VSDVS_SetStaticMACAllow("alpha", value) == 0
    assert calls() == [["VSDVS_SetStaticMACAllow", '"alpha"', byte]], value
with raises(OverflowError, "in method 'VSDVS_SetStaticMACAllow', argument 2 of type 'qel_Bool'"):
    m.VSDVS_SetStaticMACAllow("alpha", 128)
with raises(TypeError, "in method 'VSDVS_SetStaticMACAllow', argument 2 of type 'qel_Bool'"):
    m.VSDVS_SetStaticMACAllow("alpha", "no")
"""
    )


def test_the_one_byte_enumeration_reaches_the_library_as_its_low_byte(recording: Script) -> None:
    recording(
        """
assert m.VSQEL_GetMACTable("alpha", 256) == [0, None]
assert m.VSQEL_GetMACTable("alpha", -1) == [0, None]
assert [call[:3] for call in calls()] == [["VSQEL_GetMACTable", '"alpha"', number] for number in ("0", "255")]
"""
    )


def test_raw_data_is_passed_unchecked(recording: Script) -> None:
    recording(
        """
data = b"bytes"
assert m.VSDVS_SetGlobProp("alpha", "key", data, 99, "owner", 1) == 0
assert m.VSDVS_SetGlobProp("alpha", "key", "bytes", -1, None, "1") == 0
first, second = calls()
assert first == ["VSDVS_SetGlobProp", '"alpha"', '"key"', '"bytes"', "99", '"owner"', "1"]
assert second == ["VSDVS_SetGlobProp", '"alpha"', '"key"', '"bytes"', "-1", "null", "49"]
"""
    )


def test_raw_data_of_another_type_is_null_with_the_interpreters_error_pending(recording: Script) -> None:
    recording(
        """
def complaint(function, *arguments):
    try:
        function(*arguments)
    except SystemError as error:
        return type(error.__cause__), str(error.__cause__)
    raise AssertionError("no error")
assert complaint(m.VSDVS_SetGlobProp, "a", "k", 5, 1, "v", 0) == (TypeError, "expected bytes, int found")
assert complaint(m.VSQEL_GetMcastFilterStats, "a", 1, 0, "text")[0] is TypeError
logged = calls()
assert [call[0] for call in logged] == ["VSDVS_SetGlobProp", "VSQEL_GetMcastFilterStats"]
assert logged[0][3] == "null" and logged[1][4] == "null"
# Later arguments are converted as if nothing were pending.
with raises(TypeError, "in method 'VSDVS_SetGlobProp', argument 5 of type 'char const *'"):
    m.VSDVS_SetGlobProp("a", "k", 5, 1, 5, 0)
assert m.VSQEL_GetMcastFilterStats("a", 1, 0, b"group") == [0, None]
"""
    )


def test_an_int_beyond_64_bits_reaches_the_library_as_minus_one(recording: Script) -> None:
    recording(
        """
try:
    m.VSDVS_SetMcastFilterMode("alpha", 2**64)
except SystemError as error:
    assert type(error.__cause__) is OverflowError
else:
    raise AssertionError
assert calls() == [["VSDVS_SetMcastFilterMode", '"alpha"', "-1"]]
"""
    )


def test_any_pointer_is_released(recording: Script) -> None:
    recording(
        """
name, header = m.new_qel_Name(), m.new_qel_EthHdr()
assert m.VSQEL_FreeMemory(name) is None and m.VSDVS_FreeMemory(header) is None
assert m.VSDVS_FreeMemory(None) is None
assert calls() == [
    ["VSQEL_FreeMemory", str(int(name))], ["VSDVS_FreeMemory", str(int(header))], ["VSDVS_FreeMemory", "0"]]
assert name.own() is True
with raises(TypeError, "in method 'VSQEL_FreeMemory', argument 1 of type 'void *'"):
    m.VSQEL_FreeMemory(5)
"""
    )


def test_record_pointers_pass_null_or_their_address(recording: Script) -> None:
    recording(
        """
policy = m.new_VSTeamPolicy()
assert m.VSDVS_SetTeamingPolicy("alpha", policy) == 0 and m.VSDVS_SetTeamingPolicy("alpha", None) == 0
assert [call[2] for call in calls()] == [str(int(policy)), "0"]
with raises(TypeError, "in method 'VSDVS_SetTeamingPolicy', argument 2 of type 'VSTeamPolicy const *'"):
    m.VSDVS_SetTeamingPolicy("alpha", m.new_VSInfo())
with raises(TypeError, "in method 'VSQEL_GetSwitches', argument 2 of type 'VSList **'"):
    m.VSQEL_GetSwitches(1, policy)
"""
    )


def test_callbacks_are_native_pointers_only(recording: Script) -> None:
    recording(
        """
import swig_peer
visitor = swig_peer.a_visitor()
assert m.DVSState_SwitchForEach(visitor, None) is None
assert m.DVSState_SwitchForEach(None, None) is None
assert calls() == [["DVSState_SwitchForEach", str(int(visitor)), "0"], ["DVSState_SwitchForEach", "0", "0"]]
with raises(TypeError, "in method 'DVSState_SwitchForEach', argument 1 of type 'DVSwitchCallback'"):
    m.DVSState_SwitchForEach(lambda *a: 0, None)
"""
    )


def test_text_character_and_handle_results(recording: Script) -> None:
    recording(
        """
import ctypes
text = ctypes.create_string_buffer(b"caf\\xc3\\xa9 \\xff")
rec.recorder_return(ctypes.addressof(text))
assert m.QEL_ReturnStatusToString(0) == "café \\udcff"
rec.recorder_return(0)
assert m.QEL_ReturnStatusToString(0) is None
assert m.DVPortExist("alpha", "p1") == "\\0"
rec.recorder_return(1)
assert m.DVPortExist("alpha", "p1") == "\\x01"
rec.recorder_return(0x1000)
handle = m.DVSState_SwitchFindByAlias("alpha")
assert int(handle) == 0x1000 and handle.own() is False
rec.recorder_return(0)
assert m.DVSState_SwitchFindByAlias("alpha") is None
rec.recorder_return(0xffffffff)
assert m.DVS_Version(handle) == 4294967295 and m.DVS_GetMaxPorts(handle) == -1
"""
    )


OVERLOAD_ERROR = (
    "Wrong number or type of arguments for overloaded function 'DVSAliasToPortsetName'.\\n"
    "  Possible C/C++ prototypes are:\\n"
    "    DVSAliasToPortsetName(char const *,char *)\\n"
    "    DVSAliasToPortsetName(char const *,char [128])\\n"
)


def test_the_overloaded_call_chooses_its_form(recording: Script) -> None:
    recording(
        f"""
error = "{OVERLOAD_ERROR}"
rec.recorder_store_text(2, b"portset\\0", 8)
assert m.DVSAliasToPortsetName("alpha") == [0, "portset"]
assert m.DVSAliasToPortsetName("alpha", "x" * 127) == 0
assert calls() == [
    ["DVSAliasToPortsetName", '"alpha"', '""'], ["DVSAliasToPortsetName", '"alpha"', '"' + "x" * 127 + '"']]
for arguments in [(), ("a", "b", "c"), (5,), ("a", 5), ("a", "x" * 128), (b"a",)]:
    with raises(NotImplementedError, error):
        m.DVSAliasToPortsetName(*arguments)
assert calls() == []
"""
    )


def test_the_call_with_eight_arguments(recording: Script) -> None:
    recording(
        """
assert m.VSDVS_CreateVSwitch("alias", "id", "class", 128, "1", 1500, 7, 4294967295) == 0
assert calls() == [["VSDVS_CreateVSwitch", '"alias"', '"id"', '"class"', "128", "49", "1500", "7", "4294967295"]]
"""
    )


def test_calls_leave_no_memory_behind(recording: Script) -> None:
    """Text copies, in calls that succeed and in calls whose later argument fails."""
    recording(
        """
from heap import bytes_in_use
text = "x" * 2000
def calls_of_each_kind():
    for _ in range(200):
        m.VSDVS_SetMTU(text, 1500)
        m.VSDVS_RemoveDVMirrorSession(text, text, "sid")
        m.VSQEL_GetSwitchInfo(text)
        m.DVSAliasToPortsetName(text)
        m.DVSAliasToPortsetName(text, "x")
        m.Panic(text)
        for function, *arguments in [(m.VSDVS_SetMTU, text, -1), (m.VSDVS_RemoveDVMirrorSession, text, text, 5),
                                     (m.DVSAliasToPortsetName, text, 5)]:
            try:
                function(*arguments)
            except (OverflowError, TypeError, NotImplementedError):
                continue
            raise AssertionError(function)
        rec.recorder_reset()
calls_of_each_kind()
before = bytes_in_use()
calls_of_each_kind()
assert bytes_in_use() - before < 20000, bytes_in_use() - before
"""
    )
