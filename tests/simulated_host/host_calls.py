"""The host libraries as C programs see them: every prototype of the headers, callable through ctypes."""

import ctypes
import json
import os
import pathlib
import re
import subprocess
import sys
import traceback
from collections.abc import Callable
from typing import TYPE_CHECKING, Any

import workspace

LIBRARIES = ("libtlklibs.so", "libdvs.so", "libvswitch.so")
HEADERS = ("switch_queries.h", "distributed_switch_configuration.h", "distributed_switch_state.h")
PROTOTYPE = re.compile(r"^(?P<result>[\w ]+?[ *]+)(?P<name>\w+)\((?P<parameters>[^)]*)\);$", re.M)

SCALARS = {
    "int": ctypes.c_int,
    "unsigned int": ctypes.c_uint,
    "size_t": ctypes.c_size_t,
    "qel_uint16": ctypes.c_uint16,
    "qel_uint32": ctypes.c_uint32,
    "qel_Bool": ctypes.c_byte,
    "qel_WorldID": ctypes.c_int,
    "qel_SwitchPortID": ctypes.c_uint32,
    "VSMACAddrType": ctypes.c_uint8,
}
# All others are as wide as int.
ENUMERATIONS = {
    "QEL_ReturnStatus",
    "qel_LinkState",
    "DVSPortType",
    "HNQVersion",
    "RTMIOCtlMode",
    "VSListType",
    "VSMcastFilterMode",
    "qbr_RCFInsnType",
}
HANDLES = {"DVSwitchHandle", "DVSPortHandle", "DVSDataHandle", "DVSDataItem"}
CALLBACKS = {"DVSwitchCallback", "DVSPortCallback", "DVSPortDataCallback", "DVSData_MemAlloc", "DVSData_MemFree"}
# These take memory that the host gave out, and nothing else.
RELEASING = {"VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree", "DVSData_Free"}


class Parameter:
    def __init__(self, declaration: str) -> None:
        ((spelled, name),) = re.findall(r"^(.*?[ *])(\w+)$", declaration)
        self.name: str = name
        self.type = spelled.strip()
        self.is_pointer = self.type.endswith("*") or self.type in HANDLES | CALLBACKS
        self.is_text = self.type == "char const *"

    def native(self) -> Any:
        return ctypes.c_void_p if self.is_pointer else scalar(self.type)


class Prototype:
    def __init__(self, header: str, match: re.Match[str]) -> None:
        self.header = header
        self.name = match["name"]
        self.result = match["result"].strip()
        text = match["parameters"]
        self.parameters = [] if text == "void" else [Parameter(part) for part in re.split(r",\s+", text)]
        # The functions that return an int return a status, but for one that returns a number.
        self.has_status = self.result == "int" and self.name != "DVS_GetMaxPorts"

    def pointers(self) -> list[int]:
        return [position for position, parameter in enumerate(self.parameters) if parameter.is_pointer]


def scalar(name: str) -> Any:
    return ctypes.c_int if name in ENUMERATIONS else SCALARS[name]


def prototypes() -> dict[str, Prototype]:
    found = {}
    for header in HEADERS:
        text = (workspace.SOURCE / "interface" / header).read_text(encoding="utf-8")
        for match in PROTOTYPE.finditer(text):
            prototype = Prototype(header, match)
            found[prototype.name] = prototype
    return found


class Host:
    """The functions as attributes. Texts are bytes, other pointers what ctypes takes for one."""

    if TYPE_CHECKING:
        def __getattr__(self, name: str) -> Any: ...

    def __init__(self) -> None:
        folder = workspace.BUILD / "host"
        self.libraries = [ctypes.CDLL(str(folder / library), mode=ctypes.RTLD_GLOBAL) for library in LIBRARIES]
        for prototype in prototypes().values():
            function = self._find(prototype.name)
            function.argtypes = [parameter.native() for parameter in prototype.parameters]
            function.restype = self._result(prototype.result)
            setattr(self, prototype.name, function)

    def _find(self, name: str) -> Any:
        for library in self.libraries:
            try:
                return getattr(library, name)
            except AttributeError:
                continue
        raise AttributeError(name)

    @staticmethod
    def _result(name: str) -> Any:
        if name == "void":
            return None
        if name == "char const *":
            return ctypes.c_char_p
        return ctypes.c_void_p if name in HANDLES else scalar(name)

    def status(self, number: int) -> str:
        name: bytes | None = self.QEL_ReturnStatusToString(number)
        return name.decode() if name else f"no status: {number}"


def isolated(body: Callable[[], str]) -> tuple[int | None, str]:
    """Runs the body in a forked process; gives the signal that ended it, if one did, and the text it returned. A host
    in memory is copied by the fork, so what the body does to it is not seen here."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        os.close(reader)
        code = 1
        try:
            os.write(writer, body().encode())
            code = 0
        except BaseException:  # noqa: BLE001 - whatever it is, it must not run on as a second test run
            traceback.print_exc()
        os._exit(code)
    os.close(writer)
    with os.fdopen(reader, encoding="utf-8") as answer:
        text = answer.read()
    ended = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    return (-ended if ended < 0 else None), text if ended <= 0 else f"exit {ended}: {text}"


def outcomes_of(program: pathlib.Path, arguments: list[str], timeout: float = 300) -> list[dict[str, Any]]:
    """What a program found that makes calls on a host of its own: it prints lines of JSON."""
    ended = subprocess.run(
        [sys.executable, str(program), *arguments],
        capture_output=True,
        text=True,
        env=dict(os.environ, PYTHONPATH=os.pathsep.join(workspace.SEARCH), VSWITCH_HOST=":memory:"),
        timeout=timeout,
        check=False,
    )
    assert ended.returncode == 0, ended.stderr
    return [json.loads(line) for line in ended.stdout.splitlines()]
