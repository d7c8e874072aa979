"""Arguments that every function of the host accepts as far as pointers go: names of what exists, storage that is
large enough, handles of real elements."""

import ctypes
from typing import Any

import _libvswitch as m
from host_calls import Host, Parameter, Prototype

ALIAS = b"workload"
SWITCH_ID = b"776f726b-6c6f-6164-0000-000000000002"
PORTSET = b"portset-2"
PORT = b"103"
PROPERTY = b"probe"
EXTERNAL_ID = b"probe-external"
SESSION_ID = b"probe-session"
UPLINK = b"uplink-a"

# An address of one station; all other fields are zero.
MAC_ENTRY = bytes([2, 0, 0, 0, 9, 9])

# Larger than every record, and than what it holds where its counts are 0.
STORAGE = 65536

TEXTS = {
    "alias": ALIAS,
    "switch_name": ALIAS,
    "switch_id": SWITCH_ID,
    "portset": PORTSET,
    "dvport_id": PORT,
    "name": PROPERTY,
    "external_id": EXTERNAL_ID,
    "session_id": SESSION_ID,
    "uplink": UPLINK,
    "vendor": b"",
    "class_name": b"",
    "policy_name": b"policy",
    "command": b"probe",
}
# What makes something needs names that nothing has.
NEW_TEXTS = {
    "VSDVS_CreateVSwitch": {"alias": b"new", "switch_id": b"new-id"},
    "DVSQEL_SwitchAdd": {"alias": b"new", "switch_id": b"new-id"},
    "VSDVS_AddDVPort": {"dvport_id": b"new"},
    "VSDVS_AddOpaqueDVPort": {"dvport_id": b"new", "external_id": b"new"},
    "DVSQEL_PortAdd": {"dvport_id": b"new"},
    "VSDVS_AddSwitchUplinkPort": {"uplink": b"new"},
}
NUMBERS = {
    "length": 4,
    "input_length": 4,
    "max_ports": 128,
    "persistent": 1,
    "version": m.DVS_VERSION_70,
    "list_type": m.VS_LIST_DVS_ALIAS,
    "type": m.DVSPORT_TYPE_ACTIVE,
    "mtu": 1500,
}


class HNQQuery(ctypes.Structure):
    _pack_ = 1
    _fields_ = [("propLen", ctypes.c_int), ("propValue", ctypes.c_void_p)]


VISITOR = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)
ALLOCATE = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_size_t)
RELEASE = ctypes.CFUNCTYPE(None, ctypes.c_void_p)


class ReadyArguments:
    """Prepares the host of this process, and gives the arguments of a call."""

    def __init__(self, host: Host) -> None:
        self.host = host
        self.kept: list[Any] = []
        value = ctypes.create_string_buffer(b"abcd")
        for status in (
            host.VSDVS_SetGlobProp(ALIAS, PROPERTY, value, 4, None, 1),
            host.VSDVS_SetHostProp(ALIAS, PROPERTY, value, 4, None, 1),
            host.VSDVS_SetPortProp(ALIAS, PORT, PROPERTY, value, 4, None, 1),
            host.VSDVS_AddOpaqueDVPort(ALIAS, b"opaque", EXTERNAL_ID),
        ):
            assert host.status(status) == "QEL_OK", host.status(status)
        self.visitor = VISITOR(lambda element, context: 1)
        self.allocate = ALLOCATE(self._allocate)
        self.release = RELEASE(lambda memory: None)
        # A handle exists only where the call that gives it out does: else the pointers are what makes the difference.
        self.switch = host.DVSState_SwitchFindByAlias(ALIAS)
        self.port = host.DVSState_PortFind(ALIAS, PORT)
        item = ctypes.c_void_p()
        host.DVSState_GlobalPropLookup(ALIAS, PROPERTY, ctypes.addressof(item))
        self.item = item.value
        data = ctypes.c_void_p()
        host.DVSData_Alloc(ctypes.addressof(data), self.allocate, self.release)
        self.data = data.value

    def of(self, prototype: Prototype) -> list[Any]:
        return [self._argument(prototype, parameter) for parameter in prototype.parameters]

    def _allocate(self, size: int) -> int:
        return self._keep(ctypes.create_string_buffer(size))

    def _keep(self, memory: Any) -> int:
        self.kept.append(memory)
        return ctypes.addressof(memory)

    def _argument(self, prototype: Prototype, parameter: Parameter) -> Any:
        if not parameter.is_pointer:
            return NUMBERS.get(parameter.name, 0)
        if parameter.is_text:
            return NEW_TEXTS.get(prototype.name, {}).get(parameter.name, TEXTS[parameter.name])
        handles = {
            "DVSwitchHandle": self.switch,
            "DVSPortHandle": self.port,
            "DVSDataItem": self.item,
            "DVSDataHandle": self.data,
            "DVSData_MemAlloc": ctypes.cast(self.allocate, ctypes.c_void_p).value,
            "DVSData_MemFree": ctypes.cast(self.release, ctypes.c_void_p).value,
        }
        if parameter.type in handles:
            return handles[parameter.type]
        if parameter.type.endswith("Callback"):
            return ctypes.cast(self.visitor, ctypes.c_void_p).value
        if parameter.type == "HNQQuery *":
            room = self._keep(ctypes.create_string_buffer(STORAGE))
            return self._keep(HNQQuery(STORAGE, room))
        storage = ctypes.create_string_buffer(STORAGE)
        if parameter.type == "VSMACEntry const *":
            storage.raw = MAC_ENTRY.ljust(STORAGE, b"\0")
        if parameter.type == "char *":
            # A text that comes in as well as out.
            storage.value = ALIAS if parameter.name == "switch_name" else b"x" * 63
        return self._keep(storage)
