"""The state of the distributed switches through the companion layer: images, property lists, handles, commands."""

from collections.abc import Callable, Iterator
from typing import Any

import pytest
from libvswitch import check
from misused import vs


@pytest.fixture(autouse=True)
def put_back() -> Iterator[None]:
    """Each test finds the host as the one before did."""
    before = image_of(vs.DVSQEL_StateGet)
    yield
    check(vs.DVSQEL_StateInit(vs.buffer(before), len(before)))


def image_of(get: Callable[..., Any]) -> bytes:
    image, length = vs.cell("void **"), vs.cell("int *")
    check(get(image, length))
    contents: bytes = vs.pointed_bytes(image.value, length.value)
    vs.DVSQEL_DataFree(image.value)
    assert length.value == len(contents) > 0
    return contents


def mtu() -> int:
    cell = vs.cell("qel_uint32 *")
    check(vs.VSDVS_GetMTU("workload", cell))
    return int(cell.value)


@pytest.mark.parametrize("get", [vs.DVSQEL_StateGet, vs.DVSQEL_PersistentStateGet])
@pytest.mark.parametrize("put", [vs.DVSQEL_StateInit, vs.DVSState_ConfigDeserialize])
def test_an_image_brings_back_what_it_was_taken_of(get: Callable[..., Any], put: Callable[..., Any]) -> None:
    check(vs.VSDVS_SetMTU("workload", 1600))
    image = image_of(get)
    check(vs.VSDVS_SetMTU("workload", 1700))
    check(vs.VSDVS_AddDVPort("workload", "added", 7))
    check(put(vs.buffer(image), len(image)))
    assert mtu() == 1600
    assert vs.VSDVS_DvPortIDToPortID("workload", "added")[0] == vs.QEL_NOT_FOUND


def test_a_damaged_image_changes_nothing() -> None:
    image = image_of(vs.DVSQEL_StateGet)
    check(vs.VSDVS_SetMTU("workload", 1700))
    for damaged in (image[:-1], image[:-1] + bytes([image[-1] ^ 1]), b"x", image + b"\0"):
        for put in (vs.DVSQEL_StateInit, vs.DVSState_ConfigDeserialize):
            status = put(vs.buffer(damaged), len(damaged))
            assert status != vs.QEL_OK and vs.QEL_ReturnStatusToString(status)
            with pytest.raises(vs.VSwitchError):
                check(status)
    assert mtu() == 1700


def test_loading_goes_back_to_what_is_stored() -> None:
    assert vs.DVSLoadConfig() == vs.QEL_OK
    check(vs.VSDVS_SetGlobProp("workload", "com.example.x", b"stored", 6, "owner", 1))
    check(vs.VSDVS_SetGlobProp("workload", "com.example.x", b"now", 3, "owner", 0))
    assert global_property("com.example.x") == b"now"
    check(vs.DVSLoadConfig())
    assert global_property("com.example.x") == b"stored"


def global_property(name: str) -> bytes:
    item = vs.cell("DVSDataItem *")
    check(vs.DVSState_GlobalPropLookup("workload", name, item))
    assert vs.DVSData_Name(item.value) == name
    return read_item(item.value)


def read_item(item: Any) -> bytes:
    value = vs.cell("void **")
    length = vs.DVSData_Data(item, value)
    return bytes(vs.pointed_bytes(value.value, length)) if length else b""


@pytest.mark.parametrize("prop_list", [vs.DVSQEL_VendorGlobalPropList, vs.DVSQEL_VendorHostPropList])
def test_property_lists_of_a_switch(prop_list: Callable[..., Any]) -> None:
    put = vs.VSDVS_SetGlobProp if prop_list is vs.DVSQEL_VendorGlobalPropList else vs.VSDVS_SetHostProp
    check(put("workload", "com.example.listed", b"value", 5, "owner", 1))
    data = vs.cell("DVSDataHandle *")
    check(prop_list("workload", data, 0))
    image, length = vs.cell("void **"), vs.cell("qel_uint32 *")
    check(vs.DVSData_Serialize(data.value, image, length, 0))
    contents = vs.pointed_bytes(image.value, length.value)
    assert b"com.example.listed" in contents and b"value" in contents
    vs.DVSQEL_DataFree(image.value)
    vs.DVSData_Free(data.value)
    assert prop_list("none such", data, 0) == vs.QEL_NOT_FOUND


def test_extra_configuration_has_what_has_no_owner() -> None:
    check(vs.VSDVS_SetGlobProp("workload", "com.example.free", b"value", 5, None, 1))
    data = vs.cell("DVSDataHandle *")
    check(vs.DVSQEL_ExtraConfigPropList("workload", data, 0))
    image, length = vs.cell("void **"), vs.cell("qel_uint32 *")
    check(vs.DVSData_Serialize(data.value, image, length, 0))
    assert b"com.example.free" in vs.pointed_bytes(image.value, length.value)
    vs.DVSQEL_DataFree(image.value)
    vs.DVSData_Free(data.value)


def test_handles_tell_and_walk() -> None:
    switch = vs.DVSState_SwitchFindByAlias("workload")
    assert (vs.DVS_SwitchName(switch), vs.DVS_GetMaxPorts(switch)) == ("workload", 512)
    assert vs.DVSState_SwitchFindByAlias("none such") is None
    check(vs.VSDVS_AddDVPort("workload", "walked", 7))
    seen = []
    with vs.callback(lambda port: seen.append(vs.DVS_PortId(port))) as visitor:
        vs.DVSState_PortForEach(switch, visitor, None)
    assert "walked" in seen
    check(vs.VSDVS_SetGlobProp("workload", "com.example.walked", b"12", 2, "owner", 1))
    values: dict[str, Any] = {}
    with vs.callback(lambda item: values.__setitem__(vs.DVSData_Name(item), read_item(item))) as visitor:
        vs.DVSState_GlobalPropForEach(switch, visitor, None)
    assert values["com.example.walked"] == b"12"
    image = image_of(vs.DVSQEL_StateGet)
    check(vs.DVSQEL_StateInit(vs.buffer(image), len(image)))
    assert vs.DVS_SwitchName(switch) is None  # stale


def test_a_command_and_its_answer() -> None:
    output, length = vs.cell("void **"), vs.cell("int *")
    check(vs.DVSQEL_CmdExec("workload", "ports", None, 0, output, length))
    lines = vs.pointed_bytes(output.value, length.value).decode().splitlines()
    vs.DVSQEL_DataFree(output.value)
    assert lines and all(len(line.split("\t")) == 3 for line in lines)
    missing = b"none such"
    arguments = (vs.buffer(missing), len(missing), output, length)
    assert vs.DVSQEL_CmdExec("workload", "port-properties", *arguments) == vs.QEL_NOT_FOUND


def test_properties_through_pointers() -> None:
    value = b"\1\0\3"
    check(vs.DVSQEL_GlobalPropSet("workload", "com.example.p", vs.buffer(value), len(value), vs.CONFIG_PROP_TYPE))
    data, length = vs.cell("void **"), vs.cell("int *")
    check(vs.DVSQEL_GlobalPropGet("workload", "com.example.p", data, length))
    assert vs.pointed_bytes(data.value, length.value) == value == global_property("com.example.p")
    vs.DVSQEL_DataFree(data.value)
    check(vs.DVSQEL_GlobalPropClear("workload", "com.example.p"))
    assert vs.DVSQEL_GlobalPropGet("workload", "com.example.p", data, length) == vs.QEL_NOT_FOUND


def test_ports_of_a_switch() -> None:
    ports = vs.cell("DVPortList **")
    check(vs.DVSQEL_SwitchPortList("workload", ports, vs.DVSPORT_TYPE_ACTIVE))
    assert isinstance(ports.value, vs.DVPortList)
    vs.DVSQEL_DataFree(ports.value)
