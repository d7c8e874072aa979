"""Cells, buffers, callbacks, allocators and addresses: what scripts pass where a call wants a pointer."""

import ctypes
import gc
import weakref
from collections.abc import Callable
from typing import Any

import pytest
from hypothesis import given
from hypothesis import strategies as st
from libvswitch import check
from misused import vs
from workspace import Script

# ---- cells -------------------------------------------------------------------------------------------------------

HIGHEST = {
    "int": 2**31 - 1,
    "unsigned int": 2**32 - 1,
    "qel_uint32": 2**32 - 1,
    "unsigned short": 2**16 - 1,
    "qel_uint16": 2**16 - 1,
    "qel_VlanID": 2**16 - 1,
    "unsigned char": 2**8 - 1,
    "qel_uint8": 2**8 - 1,
    "unsigned long long": 2**64 - 1,
    "qel_uint64": 2**64 - 1,
}


@pytest.mark.parametrize("element", HIGHEST)
def test_number_cells_hold_what_fits(element: str) -> None:
    lowest = -(2**31) if element == "int" else 0
    made = vs.cell(f"{element} *")
    assert (made.value, len(made), list(made), made.type) == (0, 1, [0], f"{element} *")
    for value in (lowest, HIGHEST[element]):
        made.value = value
        assert made.value == value
    for value in (lowest - 1, HIGHEST[element] + 1):
        with pytest.raises(OverflowError, match="does not fit"):
            made.value = value
        assert made.value == HIGHEST[element]
    for wrong in ("1", None, 1.5, b"1"):
        with pytest.raises(TypeError, match="a number is needed"):
            made.value = wrong
    assert repr(made) == f"<cell '{element} *' {HIGHEST[element]}>"


def test_cells_of_several() -> None:
    made = vs.cell("qel_uint16 *", 1, 2, 3)
    made[2] = 9
    assert (list(made), len(made), repr(made)) == ([1, 2, 9], 3, "<cell 'qel_uint16 *' 3 elements>")
    with pytest.raises(IndexError):
        made[3]
    with pytest.raises(IndexError):
        made[3] = 1


@pytest.mark.parametrize("name", ["int", "float *", "int ***x", "", "VSInfo", "char *"])
def test_there_are_no_cells_for_other_types(name: str) -> None:
    with pytest.raises(TypeError, match="pointer type|no cells"):
        vs.cell(name)


def test_pointer_cells_give_records_proxies_and_none() -> None:
    made = vs.cell("VSList **")
    assert made.value is None
    check(vs.VSQEL_GetSwitches(vs.VS_LIST_DVS_ALIAS, made))
    assert isinstance(made.value, vs.VSList) and list(made.value) == ["management", "workload"]
    assert made.value.thisown is False
    vs.VSQEL_FreeMemory(made.value)
    made.value = None
    assert made.value is None
    record = vs.VSInfo()
    pointers = vs.cell("void **", record, record.this, None)
    assert [pointer and int(pointer) for pointer in pointers] == [int(record.this), int(record.this), None]
    with pytest.raises(TypeError):
        pointers[0] = "text"


def test_spacing_and_const_do_not_matter() -> None:
    for name in ("qel_uint16 const *", "const qel_uint16*", "  qel_uint16  *"):
        assert vs.cell(name, 5).value == 5
    assert vs.cell("struct VSList**").value is None


def test_a_cell_is_accepted_for_its_type_only() -> None:
    number = vs.cell("qel_uint32 *")
    check(vs.VSDVS_GetMTU("workload", number))
    assert number.value == 9000
    assert number.this.own() is False
    for other in (vs.cell("int *"), vs.cell("void **"), vs.VSInfo(), 5):
        with pytest.raises(TypeError, match="in method 'VSDVS_GetMTU', argument 2 of type 'qel_uint32 \\*'"):
            vs.VSDVS_GetMTU("workload", other)
    assert vs.VSDVS_GetMTU("workload", None) == vs.QEL_BAD_PARAM


def test_buffers() -> None:
    made = vs.buffer(4)
    assert bytes(made) == bytes(4) and len(made) == 4 and repr(made) == "<buffer of 4 bytes>"
    made.view[1:3] = b"ab"
    assert bytes(made) == b"\0ab\0" and vs.pointed_bytes(made.this, 3) == b"\0ab"
    for contents in (b"xyz", bytearray(b"xyz"), memoryview(b"xyz")):
        assert bytes(vs.buffer(contents)) == b"xyz"
    for nothing in (0, b""):
        with pytest.raises(ValueError, match="at least one byte"):
            vs.buffer(nothing)
    with pytest.raises(ValueError):
        vs.buffer(-1)
    with pytest.raises(TypeError):
        vs.buffer("text")
    with pytest.raises(ValueError):
        vs.pointed_bytes(made.this, -1)
    with pytest.raises(ValueError, match="null pointer"):
        vs.pointed_bytes(None, 1)


def test_the_storage_goes_with_its_cell(script: Script) -> None:
    script(
        """
        import libvswitch as vs
        from heap import bytes_in_use
        def work(count):
            for _ in range(count):
                vs.cell("qel_uint32 *").value = 5
                vs.cell("void **").value
                vs.buffer(1000).this
                vs.callback(lambda handle: None)
        work(1000)
        before = bytes_in_use()
        work(10_000)
        assert bytes_in_use() - before < 100_000
        """
    )


# ---- callbacks -----------------------------------------------------------------------------------------------------


def names_visited(visit: Callable[[Any], object] = lambda handle: None) -> tuple[Any, Any]:
    seen = []

    def both(handle: Any) -> object:
        seen.append(vs.DVS_SwitchName(handle))
        return visit(handle)

    made = vs.callback(both)
    vs.DVSState_SwitchForEach(made, None)
    return made, seen


def test_a_visitor_sees_each_and_a_true_result_ends_the_walk() -> None:
    assert names_visited()[1] == ["management", "workload"]
    assert names_visited(lambda handle: True)[1] == ["management"]
    assert names_visited(lambda handle: 0)[1] == ["management", "workload"]


@pytest.mark.parametrize("kind", [ValueError, KeyboardInterrupt, SystemExit, StopIteration])
def test_an_exception_ends_the_walk_and_comes_out_once(kind: Any) -> None:
    error = kind("inside")

    def fail(handle: object) -> None:
        raise error

    made, seen = names_visited(fail)
    assert seen == ["management"] and made.error is error
    with pytest.raises(kind) as caught:
        made.reraise()
    assert caught.value is error and made.error is None
    made.reraise()
    with pytest.raises(kind):
        with vs.callback(fail) as visitor:
            vs.DVSState_SwitchForEach(visitor, None)
    with pytest.raises(LookupError):
        with vs.callback(fail) as visitor:
            vs.DVSState_SwitchForEach(visitor, None)
            raise LookupError("of the block itself goes first")


def test_calls_and_walks_inside_a_visitor() -> None:
    found: dict[Any, Any] = {}

    def visit(switch: Any) -> None:
        name = vs.DVS_SwitchName(switch)
        found[name] = []
        with vs.callback(lambda port: found[name].append(vs.DVS_PortId(port))) as ports:
            vs.DVSState_PortForEach(switch, ports, None)
        assert check(vs.VSQEL_GetSwitchInfo(name)).mtu == 9000 or name == "management"

    with vs.callback(visit) as visitor:
        vs.DVSState_SwitchForEach(visitor, None)
    assert list(found) == ["management", "workload"] and all(found.values())


def test_properties_are_visited_by_name() -> None:
    switch = vs.DVSState_SwitchFindByAlias("workload")
    for walk, handle in (
        (vs.DVSState_GlobalPropForEach, switch),
        (vs.DVSState_HostPropForEach, switch),
    ):
        names = []
        with vs.callback(lambda item: names.append((vs.DVSData_Name(item), vs.DVSData_PropType(item)))) as visitor:
            walk(handle, visitor, None)
        assert names == sorted(names)
    check(vs.VSDVS_SetMTU("workload", 9000))
    names = []
    with vs.callback(lambda item: names.append(vs.DVSData_Name(item))) as visitor:
        vs.DVSState_GlobalPropForEach(switch, visitor, None)
    assert names


def test_what_is_no_callback_is_refused() -> None:
    for wrong in (print, "x", vs.cell("int *"), vs.VSInfo()):
        with pytest.raises(TypeError, match="DVSState_SwitchForEach"):
            vs.DVSState_SwitchForEach(wrong, None)
    assert vs.DVSState_SwitchForEach(None, None) is None


def test_a_callback_goes_with_its_last_name() -> None:
    made = names_visited()[0]
    callable_watch = weakref.ref(made._native)
    del made
    gc.collect()
    assert callable_watch() is None


# ---- property lists and their memory ---------------------------------------------------------------------------------


def test_a_property_list_with_an_allocator_of_the_script() -> None:
    blocks: dict[int, Any] = {}
    freed: list[int] = []

    def allocate(size: int) -> int:
        block = ctypes.create_string_buffer(size)
        blocks[ctypes.addressof(block)] = block
        return ctypes.addressof(block)

    pair = vs.allocator(allocate, freed.append)
    data = vs.cell("DVSDataHandle *")
    check(vs.DVSData_Alloc(data, *pair))
    for name, value in (("one", b"1"), ("two", b"22"), ("one", b"111")):
        check(vs.DVSData_Update(data.value, name, vs.buffer(value), len(value), vs.CONFIG_PROP_TYPE))
    image, length = vs.cell("void **"), vs.cell("qel_uint32 *")
    check(vs.DVSData_Serialize(data.value, image, length, 0))
    assert b"22" in vs.pointed_bytes(image.value, length.value)
    vs.DVSQEL_DataFree(image.value)
    vs.DVSData_Free(data.value)
    assert sorted(freed) == sorted(blocks)
    assert [len(block) for block in blocks.values()] == [1, 2, 3]
    assert pair[0].error is None and pair[1].error is None


def test_an_allocator_that_fails_is_no_memory() -> None:
    def fail(_: object) -> None:
        raise ArithmeticError("none left")

    for index, allocate in enumerate((fail, lambda size: None, lambda size: "no address")):
        pair = vs.allocator(allocate, lambda address: None)
        data = vs.cell("DVSDataHandle *")
        check(vs.DVSData_Alloc(data, *pair))
        assert vs.DVSData_Update(data.value, "x", vs.buffer(b"1"), 1, vs.CONFIG_PROP_TYPE) == vs.QEL_NO_MEMORY
        expected = {0: ArithmeticError, 1: type(None), 2: TypeError}
        assert type(pair[0].error) is expected[index]
        vs.DVSData_Free(data.value)
    assert vs.DVSData_Alloc(data, pair[0], None) == vs.QEL_BAD_PARAM


# ---- allocated -------------------------------------------------------------------------------------------------------


def test_allocated_gives_back_at_the_end() -> None:
    with vs.allocated(vs.VSQEL_GetSwitchInfo, "workload") as info:
        assert info.mtu == 9000
    with pytest.raises(ValueError, match="released"):
        info.mtu
    with vs.allocated(vs.VSDVS_GetSwitchUplinkPorts, "workload") as (names, ids):
        assert list(names) == ["uplink-a", "uplink-b"] and len(names) == len(ids)
    for record in (names, ids):
        with pytest.raises(ValueError, match="released"):
            record.nUplinkPorts
        with pytest.raises((TypeError, ValueError)):
            len(record)
    with pytest.raises(LookupError):
        with vs.allocated(vs.alloc_vs_info) as info:
            raise LookupError
    with pytest.raises(ValueError, match="released"):
        info.mtu
    with vs.allocated(vs.new_vidrangeArray, 2) as ranges:
        assert isinstance(ranges, vs.qel_HNQPortVIDRange)
    with pytest.raises(vs.VSwitchError, match="QEL_NOT_FOUND"):
        with vs.allocated(vs.VSQEL_GetSwitchInfo, "none such"):
            raise AssertionError("entered")
    with pytest.raises(MemoryError, match="alloc_dvmirror_session_table"):
        with vs.allocated(vs.alloc_dvmirror_session_table, 2**31 - 1, 2**31 - 1):
            raise AssertionError("entered")


def test_a_failing_status_raises_also_where_it_is_the_only_result() -> None:
    for function, arguments in (
        (vs.DVSQEL_SwitchPortList, ("nope", vs.cell("DVPortList **"), 1)),
        (vs.VSQEL_GetSwitches, (99, vs.cell("VSList **"))),
        (vs.VSDVS_SetMTU, ("nope", 1500)),
        (vs.DVSQEL_GlobalPropGet, ("nope", "x", vs.cell("void **"), vs.cell("int *"))),
    ):
        with pytest.raises(vs.VSwitchError):
            with vs.allocated(function, *arguments):
                raise AssertionError("entered")
        with pytest.raises(vs.VSwitchError):
            check(function(*arguments))


def test_allocated_gives_what_was_stored_in_a_cell() -> None:
    cell = vs.cell("DVPortList **")
    with vs.allocated(vs.DVSQEL_SwitchPortList, "workload", cell, vs.DVSPORT_TYPE_ACTIVE) as ports:
        assert isinstance(ports, vs.DVPortList) and len(ports) > 1
    with pytest.raises(ValueError, match="released"):
        len(ports)
    with vs.allocated(vs.VSQEL_GetSwitches, vs.VS_LIST_DVS_ALIAS, vs.cell("VSList **")) as listed:
        assert list(listed) == ["management", "workload"]
        vs.VSQEL_FreeMemory(listed)  # not again at the end
    data, length = vs.cell("void **"), vs.cell("int *")
    with vs.allocated(vs.DVSQEL_StateGet, data, length) as image:
        assert len(vs.pointed_bytes(image, length.value)) == length.value > 0
    with vs.allocated(vs.DVSData_Alloc, vs.cell("DVSDataHandle *"), None, None) as properties:
        check(vs.DVSData_Update(properties, "x", vs.buffer(b"1"), 1, vs.CONFIG_PROP_TYPE))
    with vs.allocated(vs.VSDVS_SetMTU, "workload", 9000) as nothing:
        assert nothing is None


# ---- data and its length ---------------------------------------------------------------------------------------------

PROPERTIES = {
    vs.VSDVS_SetGlobProp: ("workload",),
    vs.VSDVS_SetHostProp: ("workload",),
    vs.VSDVS_SetRuntimeHostProp: ("workload",),
    vs.VSDVS_SetPortProp: ("workload", "data-port"),
}


@pytest.fixture(params=PROPERTIES, ids=[function.__name__ for function in PROPERTIES])
def store(request: pytest.FixtureRequest) -> "Store":
    return Store(request.param)


class Store:
    """Stores data and a length under a name of its own; `place`: of the data among the arguments."""

    def __init__(self, function: Any) -> None:
        vs.VSDVS_AddDVPort("workload", "data-port", 7)
        self.function = function
        self.arguments = (*PROPERTIES[function], "com.example.bounded")
        self.extra = (None, 1) if vs.VSDVS_SetGlobProp is function else ("owner", 1)
        self.place = len(self.arguments) + 1

    def __call__(self, data: Any, length: int) -> Any:
        return self.function(*self.arguments, data, length, *self.extra)


@pytest.mark.parametrize("data", [b"", b"abc", "", "abc", "\u00e4\u00f6", "\U0001f50c" * 3])
def test_no_length_goes_beyond_the_data(store: Store, data: Any) -> None:
    size = len(data if isinstance(data, bytes) else data.encode())
    assert store(data, size) in (vs.QEL_OK, vs.QEL_BAD_PARAM)
    for beyond in (size + 1, 4096, 2**31 - 1):
        message = f"argument {store.place + 1}: a length of {beyond}, where argument {store.place} has {size}$"
        with pytest.raises(ValueError, match=message):
            store(data, beyond)


@pytest.mark.parametrize("data", [None, 5, 1.5, bytearray(b"abc"), memoryview(b"abc"), ["abc"], vs.VSInfo(), "\ud800"])
def test_data_of_another_kind_is_refused_before_the_call(store: Store, data: Any) -> None:
    with pytest.raises(TypeError, match=f"^in method '.*', argument {store.place} of type 'bytes or str'$"):
        store(data, 1)


def test_a_name_is_stored_as_long_as_its_data_only(script: Script) -> None:
    script(
        """
        import libvswitch as vs
        secret = b"secret" * 100
        try:
            vs.VSDVS_SetGlobProp("workload", "com.example.leak", b"abc", 500, None, 1)
        except ValueError:
            pass
        item = vs.cell("DVSDataItem *")
        assert vs.DVSState_GlobalPropLookup("workload", "com.example.leak", item) == vs.QEL_NOT_FOUND
        """
    )


def test_the_length_of_a_buffer_is_known() -> None:
    data, cells = vs.buffer(b"abcd"), vs.cell("qel_uint16 *", 1, 2)
    for value in (data, cells):
        check(vs.DVSQEL_GlobalPropSet("workload", "com.example.measured", value, 4, vs.CONFIG_PROP_TYPE))
        for beyond in (5, 4096, 2**31 - 1):
            with pytest.raises(ValueError, match=f"argument 4: a length of {beyond}, where argument 3 has 4$"):
                vs.DVSQEL_GlobalPropSet("workload", "com.example.measured", value, beyond, vs.CONFIG_PROP_TYPE)
    # What a bare pointer points at is the script's to know.
    check(vs.DVSQEL_GlobalPropSet("workload", "com.example.measured", data.this, 3, vs.CONFIG_PROP_TYPE))
    for function in (vs.DVSQEL_StateInit, vs.DVSState_ConfigDeserialize):
        with pytest.raises(ValueError, match="argument 2: a length of 5, where argument 1 has 4$"):
            function(data, 5)
    output, length = vs.cell("void **"), vs.cell("int *")
    with pytest.raises(ValueError, match="argument 4: a length of 5, where argument 3 has 4$"):
        vs.DVSQEL_CmdExec("workload", "ports", data, 5, output, length)
    types = vs.cell("qel_uint16 *", 0, 1)
    with vs.allocated(vs.VSQEL_GetRuntimeOptions, types, 2) as options:
        assert len(list(options)) == 2
    with pytest.raises(ValueError, match="argument 2: a length of 3, where argument 1 has 2$"):
        vs.VSQEL_GetRuntimeOptions(types, 3)


def test_a_group_is_given_as_bytes() -> None:
    for wrong in (None, "224.0.0.1", bytearray(4), 5):
        with pytest.raises(TypeError, match="^in method 'VSQEL_GetMcastFilterStats', argument 4 of type 'bytes'$"):
            vs.VSQEL_GetMcastFilterStats("workload", 1, 1, wrong)


# ---- addresses -------------------------------------------------------------------------------------------------------


@given(st.binary(min_size=6, max_size=6))
def test_mac_addresses_there_and_back(address: bytes) -> None:
    text = vs.mac_text(address)
    assert vs.mac_bytes(text) == vs.mac_bytes(text.upper()) == vs.mac_bytes(text.replace(":", "-")) == address
    entry = vs.VSMACEntry()
    entry.set_mac_address(address)
    assert vs.mac_bytes(entry.macAddress) == address


@given(st.one_of(st.binary(min_size=4, max_size=4), st.binary(min_size=16, max_size=16)))
def test_ip_addresses_there_and_back(address: bytes) -> None:
    assert vs.ip_bytes(vs.ip_text(address)) == address
    assert vs.ip_text(vs.buffer(address).this, len(address)) == vs.ip_text(bytearray(address))


@pytest.mark.parametrize(
    "text",
    ["", "1:2:3:4:5", "1:2:3:4:5:6:7", "1:2-3:4:5:6", "g0:0:0:0:0:0", "100:0:0:0:0:0", " 1:2:3:4:5:6", "020000000001"]
    + ["1:2:3:4:5:6\n"],
)
def test_what_is_no_mac_address(text: str) -> None:
    with pytest.raises(ValueError, match="not a MAC address"):
        vs.mac_bytes(text)


def test_addresses_of_another_size_or_kind() -> None:
    for data in (b"", bytes(5), bytes(7)):
        with pytest.raises(ValueError, match="6 bytes"):
            vs.mac_text(data)
    for data in (b"", bytes(5), bytes(15)):
        with pytest.raises(ValueError, match="4 or 16 bytes"):
            vs.ip_text(data)
    for text in ("", "1.2.3", "1.2.3.256", "::g", "1.2.3.4/8", "fe80::1%eth0"):
        with pytest.raises(ValueError):
            vs.ip_bytes(text)
    for function in (vs.mac_text, vs.ip_text):
        with pytest.raises(TypeError):
            function("text")
    with pytest.raises((TypeError, AttributeError)):
        vs.mac_bytes(b"02:00:00:00:00:01")
    with pytest.raises(ValueError, match="expected 16 bytes, not 4"):
        vs.ip_text(bytes(4), 16)
