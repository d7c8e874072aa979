"""Calls that reach the documented statuses which no test of the host has a reason to reach through just this function.

Usage: status_calls.py FOLDER-OF-THE-LIBRARIES. Ends with 0 if every call returned what it is to return."""

import ctypes
import pathlib
import struct
import sys
from typing import Any

folder = pathlib.Path(sys.argv[1])
core, vswitch, dvs = (ctypes.CDLL(str(folder / f"lib{name}.so"), mode=ctypes.RTLD_GLOBAL)
                      for name in ("tlklibs", "vswitch", "dvs"))
dvs.QEL_ReturnStatusToString.restype = ctypes.c_char_p

ALIAS, PORT = b"workload", b"103"
READ_ONLY = b"com.taliko.common.host.volatile.status"
HANDLE = ctypes.c_void_p
wrong = []


class HNQQuery(ctypes.Structure):
    _pack_ = 1
    _fields_ = [("propLen", ctypes.c_int32), ("propVal", ctypes.c_void_p)]


def call(name: str, *arguments: object) -> str:
    library = vswitch if name.startswith("VS") else dvs
    text: bytes = dvs.QEL_ReturnStatusToString(getattr(library, name)(*arguments))
    return text.decode()


def expect(status: str, name: str, *arguments: object) -> None:
    got = call(name, *arguments)
    if got != status:
        wrong.append(f"{name}: {got}, not {status}")


def pointer() -> Any:
    return ctypes.byref(ctypes.c_void_p())


def number() -> Any:
    return ctypes.byref(ctypes.c_int())


def mac_entry(vid: int = 0, vni: int = 0) -> ctypes.Array[ctypes.c_char]:
    return ctypes.create_string_buffer(struct.pack("<6sBIBHI8x", b"\2\0\0\0\0\1", 0, 0, 0, vid, vni), 64)


def no_sessions() -> Any:
    table = ctypes.c_void_p()
    expect("QEL_OK", "VSDVS_GetDVMirrorSessions", ALIAS, PORT, ctypes.byref(table))
    return table


# Nobody owns these names but the vendor who writes them first.
expect("QEL_OK", "VSDVS_SetHostProp", ALIAS, b"owned", b"x", 1, b"me", 1)
expect("QEL_OK", "VSDVS_SetPortProp", ALIAS, PORT, b"owned", b"x", 1, b"me", 1)
for setter in ("VSDVS_SetHostProp", "VSDVS_SetRuntimeHostProp"):
    expect("QEL_NO_PERMISSION", setter, ALIAS, b"owned", b"x", 1, b"you", 1)
    expect("QEL_LIMIT_EXCEEDED", setter, ALIAS, b"large", bytes(1048577), 1048577, None, 1)
    expect("QEL_BAD_PARAM", setter, ALIAS, b"negative", b"x", -1, None, 1)
expect("QEL_NO_PERMISSION", "VSDVS_ClearHostProp", ALIAS, b"owned", b"you", 1)
expect("QEL_NO_PERMISSION", "VSDVS_ClearPortProp", ALIAS, PORT, b"owned", b"you", 1)
expect("QEL_READ_ONLY", "VSDVS_SetRuntimeHostProp", ALIAS, READ_ONLY, b"x", 1, None, 1)
expect("QEL_READ_ONLY", "VSDVS_ClearHostProp", ALIAS, READ_ONLY, None, 1)
expect("QEL_BAD_PARAM", "DVSQEL_HostPropSet", ALIAS, b"typed", b"x", 1, 0x40000000)
room = ctypes.create_string_buffer(8)
expect("QEL_OK", "VSDVS_SetHostProp", ALIAS, b"long", b"123456789", 9, None, 1)
expect("QEL_BUF_TOO_SMALL", "VSDVS_GetHostProp", ALIAS, b"long",
       ctypes.byref(HNQQuery(8, ctypes.addressof(room))), None, 0)
for getter, place in (("VSDVS_GetHostProp", (ALIAS,)), ("VSDVS_GetPortProp", (ALIAS, PORT))):
    expect("QEL_BAD_PARAM", getter, *place, b"owned", ctypes.byref(HNQQuery(-1, ctypes.addressof(room))), None, 0)

# A port that there is not.
expect("QEL_NOT_FOUND", "DVSQEL_PersistentPortStateGet", ALIAS, b"none", 0, pointer(), number())
expect("QEL_NOT_FOUND", "VSDVS_GetPortTeamingPolicy", ALIAS, b"none", ctypes.create_string_buffer(4096))
for getter in ("VSDVS_GetPortTeamingOverride", "VSDVS_GetPortLSTeamingPolicyName"):
    expect("QEL_NOT_FOUND", getter, ALIAS, b"none", ctypes.create_string_buffer(256))
for getter in ("VSDVS_GetDVMirrorSessions", "VSDVS_GetPortMcastUserLegacyEntries"):
    expect("QEL_NOT_FOUND", getter, ALIAS, b"none", pointer())
for clearer in ("VSDVS_ClearPortTeamingOverride", "VSDVS_ClearPortLSTeamingPolicy",
                "VSDVS_ClearPortMcastUserLegacyEntries"):
    expect("QEL_NOT_FOUND", clearer, ALIAS, b"none")
# A switch that there is not.
expect("QEL_NOT_FOUND", "VSDVS_ClearMcastUserLegacyEntries", b"none")
expect("QEL_NOT_FOUND", "VSDVS_GetMcastUserLegacyEntries", b"none", pointer())

# Groups: an address twice, and one too many.
twice = (ctypes.c_uint8 * 12)(1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 1)
expect("QEL_EXISTS", "VSDVS_SetPortMcastUserLegacyEntries", ALIAS, PORT, 2, twice)
expect("QEL_LIMIT_EXCEEDED", "VSDVS_SetPortMcastUserLegacyEntries", ALIAS, PORT, 26, ctypes.create_string_buffer(256))

# SmartNICs and property lists.
expect("QEL_OK", "VSDVS_AddSwitchUplinkPort", ALIAS, b"nic5")
for getter in ("DVSQEL_SmartNICHostPropGet", "DVSQEL_SmartNICGlobalPropGet"):
    expect("QEL_NOT_SUPPORTED", getter, b"management", b"none", pointer(), number())
    expect("QEL_NOT_FOUND", getter, ALIAS, b"none", pointer(), number())
expect("QEL_BAD_PARAM", "DVSQEL_VendorHostPropList", ALIAS, pointer(), 0x40000000)
expect("QEL_BAD_PARAM", "DVSQEL_VendorPortPropList", ALIAS, PORT, pointer(), 0x40000000)
Allocate, Release = ctypes.CFUNCTYPE(HANDLE, ctypes.c_size_t), ctypes.CFUNCTYPE(None, HANDLE)
nothing, ignored = Allocate(lambda size: None), Release(lambda memory: None)
list_handle = ctypes.c_void_p()
expect("QEL_OK", "DVSData_Alloc", ctypes.byref(list_handle), nothing, ignored)
expect("QEL_NO_MEMORY", "DVSData_Update", list_handle, b"name", b"x", 1, 16)

# Addresses: none, one in no VLAN that there is, one in an overlay network that there is not.
expect("QEL_INVALID_ADDRESS", "VSQEL_ClearPortMACTable", ALIAS, PORT, ctypes.create_string_buffer(64))
expect("QEL_BAD_VLANID", "VSQEL_ClearPortMACTable", ALIAS, PORT, mac_entry(vid=4095))
expect("QEL_BAD_PARAM", "VSQEL_ClearPortMACTable", ALIAS, PORT, mac_entry(vni=1 << 24))

# Mirror sessions whose identifier is missing, or does not end.
expect("QEL_NOT_FOUND", "VSDVS_AppendDVMirrorSessions", ALIAS, b"none", no_sessions())
expect("QEL_NOT_FOUND", "VSDVS_GetDVMirrorSessions", b"none", None, pointer())

# No room for a port.
expect("QEL_OK", "VSDVS_CreateVSwitch", b"small", b"small-id", None, 1, 0, 0, 0, 0)
expect("QEL_OK", "VSDVS_AddDVPort", b"small", b"only", 0)
expect("QEL_LIMIT_EXCEEDED", "VSDVS_AddOpaqueDVPort", b"small", b"more", b"outside")

# Of a switch that is gone at the next boot a port has a client: the description of the host has it.
expect("QEL_BUSY", "DVSLoadConfig")

print("\n".join(wrong))
sys.exit(bool(wrong))
