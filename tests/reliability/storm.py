"""Inside a script that runs with the abort gate: the gate, every function of the module that goes through the exception
bridge, and random scripts of calls that are aborted one by one."""

import ctypes
import json
import random
import re
import signal
import subprocess
import sys
from typing import Any

import _libvswitch as m
import registry
import workspace
from native_memory import proxy_at
from recording import calls as calls, raises as raises, rec as rec  # noqa: F401 - for the scripts


class Aborted(Exception):
    """What an aborted call raises here."""


# A run in the background ignores the signal, and so would its processes.
signal.signal(signal.SIGINT, signal.default_int_handler)

gate = ctypes.PyDLL(str(workspace.SUPPORT / "libabort_gate.so"))
gate.gate_install.argtypes = [ctypes.c_void_p, ctypes.c_int]
gate.gate_text_slots.argtypes = [ctypes.c_int, ctypes.c_uint64]
gate.gate_abort.argtypes = [ctypes.py_object, ctypes.c_long, ctypes.c_int]
gate.gate_signal.argtypes = [ctypes.c_int, ctypes.c_long]
gate.gate_walk.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_int, ctypes.c_long, ctypes.py_object]
gate.gate_abort_memory.argtypes = [ctypes.py_object, ctypes.c_long]
gate.gate_watch_code.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int]
for _function in (gate.gate_times_aborted, gate.gate_kept_texts, gate.gate_changed_texts, gate.gate_blocks_in_use):
    _function.restype = ctypes.c_long
for _function in (gate.gate_abort, gate.gate_signal, gate.gate_walk, gate.gate_abort_memory, gate.gate_watch_code):
    _function.restype = None

# ---- the module's table of calls -------------------------------------------------------------------------------

ENTRY_SIZE = 24
NAME_OFFSET = 8


def loaded_at(name: str) -> int:
    with open("/proc/self/maps", encoding="utf-8") as lines:
        return next(int(line.split("-")[0], 16) for line in lines if line.rstrip().endswith(name))


def code_of(name: str) -> tuple[int, int]:
    with open("/proc/self/maps", encoding="utf-8") as lines:
        for line in lines:
            bounds, access = line.split()[:2]
            if "x" in access and line.rstrip().endswith(name):
                first, last = bounds.split("-")
                return int(first, 16), int(last, 16)
    raise LookupError(name)


def symbols() -> dict[str, tuple[int, int]]:
    """Address and size of the variables of the module."""
    base = loaded_at("libvswitchpy.so")
    shown = subprocess.run(["nm", "-C", "-S", m.__file__], capture_output=True, text=True, check=True).stdout
    found = re.findall(r"^(\w{16}) (\w{16}) \w (.*)$", shown, re.M)
    return {name: (base + int(address, 16), int(size, 16)) for address, size, name in found}


_symbols = symbols()
_table, _table_size = next(place for name, place in _symbols.items() if name.endswith("BoundInterface>::calls"))
ENTRY_COUNT = _table_size // ENTRY_SIZE
_texts = ctypes.c_void_p.from_address(_symbols["vswitchpy::text_pool"][0]).value
_unused_copies = ctypes.c_size_t.from_address(_symbols["vswitchpy::unused_copy_count"][0])
_bridge_use = ctypes.c_uint64.from_address(_symbols["vswitchpy::bridge_use"][0])


def calls_in_progress() -> int:
    return _bridge_use.value & 0xFFFFFFFF


def bridge_claims() -> int:
    """Threads that hold the bridge for a call without the interpreter lock, or wait for one."""
    return _bridge_use.value >> 32


def blocks_in_use() -> int:
    """Memory that the module has taken and not given back, without what it keeps for the next copies."""
    return int(gate.gate_blocks_in_use()) - _unused_copies.value


def _entry_name(entry: int) -> str:
    offset = ctypes.c_uint32.from_address(_table + entry * ENTRY_SIZE + NAME_OFFSET).value
    return ctypes.string_at((_texts or 0) + offset).decode()


NAMES = [_entry_name(entry) for entry in range(ENTRY_COUNT)]


INTERFACE = json.loads((workspace.BUILD / "interface.json").read_text(encoding="utf-8"))


def rows() -> list[dict[str, Any]]:
    """What the rows say of each entry, in the order of the entries."""
    by_name: dict[str, list[dict[str, Any]]] = {}
    for call in INTERFACE["calls"]:
        by_name.setdefault(call["name"], []).append(call)
    for record in INTERFACE["records"]:
        for method in record["methods"]:
            by_name.setdefault(f"{record['name']}_{method['name']}", []).append(method)
    return [by_name[name].pop(0) for name in NAMES]


ROWS = rows()
RECORDS = [
    name.removeprefix("new_") for name in dir(m) if name.startswith("new_") and f"{name[4:]}_swigregister" in dir(m)
]
COPIED = ("text", "fixed text")
for _entry, _row in enumerate(ROWS):
    gate.gate_text_slots(_entry, sum(1 << i for i, a in enumerate(_row["arguments"]) if a["typemap"] in COPIED))
gate.gate_bridge(
    *(ctypes.c_void_p(_symbols[name][0]) for name in ("exception_buffer", "exceptionType", "exceptionMsg"))
)
assert gate.gate_install(_table, ENTRY_COUNT) == 0
gate.gate_watch_code(*code_of("libvswitchpy.so"), 1)
gate.gate_watch_code(*code_of("libabort_gate.so"), 1)


class Unlocked:
    """The layer's functions, each called with the interpreter lock released."""

    def __getattr__(self, name: str) -> Any:
        import functools

        import libvswitch

        return functools.partial(libvswitch.unlocked, getattr(libvswitch, name))


def watch_layer() -> None:
    """The companion layer frees records by itself."""
    from libvswitch import _records

    gate.gate_watch_code(*code_of(_records.__file__), 0)


# ---- random scripts -------------------------------------------------------------------------------------------------

ROOM = 8192
TEXTS = ["", "a", "alpha", "port-1", "x" * 63, "y" * 64, "z" * 127, "ü" * 20, None]
NUMBERS: dict[str, list[Any]] = {
    "unsigned 8": [0, 1, 255],
    "unsigned 16": [0, 1, 65535],
    "unsigned 32": [0, 1, 2**32 - 1],
    "unsigned 64": [0, 2**64 - 1],
    "size": [0, 1, 2, 3],
    "signed 32": [0, 1, 2, 3],
    "signed 32 in byte": [0, 1, 2],
    "character": ["a", 0, -128, 127],
}
DATA = [b"abcdef", b"\0\xff" * 16, bytearray(b"mutable"), memoryview(b"viewed")]


# Take back what others hand out, so that the block is nothing for them.
RELEASING = ("free_", "delete_", "VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree")
# What counts the contents of records: two each, so that the companion layer, too, passes the first two indexes on.
COUNTS = [
    (record["name"], count)
    for record in INTERFACE["records"]
    for count in record.get("contents", {}).get("counts", ())[:1]
]
COUNTS.append(("DVMirrorSessionTable", "numEntities"))


class Script:
    """Random calls of every function that goes through the bridge, on records in one block that starts as zeros."""

    def __init__(self, module: Any, seed: int, length: int) -> None:
        self.random = random.Random(seed)
        targets = {a["target"] for row in ROWS for a in row["arguments"] if a.get("target") in RECORDS}
        self.block = ctypes.create_string_buffer(ROOM * (len(targets) + 1))
        start = ctypes.addressof(self.block)
        self.records = {}
        for position, name in enumerate(sorted(targets)):
            self.records[name] = proxy_at(start + ROOM * position, name)
        self.functions = [getattr(module, name) for name in NAMES]
        order = list(range(ENTRY_COUNT)) + self.random.choices(range(ENTRY_COUNT), k=length - ENTRY_COUNT)
        self.random.shuffle(order)
        self.calls = [(entry, self._arguments(ROWS[entry])) for entry in order]

    def _arguments(self, row: dict[str, Any]) -> tuple[Any, ...]:
        return tuple(self._argument(row, argument) for argument in row["arguments"] if not argument["output"])

    def _argument(self, row: dict[str, Any], argument: dict[str, Any]) -> Any:
        kind = argument["typemap"]
        if kind in COPIED:
            fitting = [t for t in TEXTS if t is None or len(t.encode()) < argument.get("capacity", 256)]
            return self.random.choice(fitting)
        if "index" in argument or "length_of" in argument:
            return self.random.choice([0, 1])
        if kind == "scalar":
            return self.random.choice(NUMBERS[argument["scalar"]])
        if kind in ("raw bytes", "raw bytes or text"):
            return b"some bytes"
        if kind == "six bytes":
            return self.random.choice(DATA)
        if row["name"].startswith(RELEASING):
            return None
        record = self.records.get(argument.get("target"))
        if kind in ("self", "record value"):
            return record
        if kind == "any pointer":
            record = self.random.choice(list(self.records.values()))
        return self.random.choice([record, None])

    def reset(self) -> None:
        ctypes.memset(self.block, 0, len(self.block))
        for record, field in COUNTS:
            if record in self.records:
                getattr(m, f"{record}_{field}_set")(self.records[record], 2)
        rec.recorder_reset()

    def objects(self) -> list[Any]:
        """Everything that a call could keep or lose a reference to, but for what the interpreter shares."""
        return [Aborted, *self.records.values(), *self.functions, *DATA, *(text for text in TEXTS if text and text[1:])]


def type_of(result: Any) -> str:
    """The record that a proxy is for."""
    found = re.match(r"<Swig Object of type '(?:struct )?(\w+)", repr(getattr(result, "this", result)))
    return found[1] if found else type(result).__name__


def settle(name: str, result: Any) -> object:
    """What can be compared of a result, whose memory is given back."""
    if isinstance(result, list):
        return [settle(name, item) for item in result]
    if result is None or isinstance(result, (int, str, bytes)):
        return result
    proxy = getattr(result, "this", result)
    kind = type_of(result)
    if name.startswith("alloc_"):
        getattr(m, f"free_{name.removeprefix('alloc_')}")(proxy)
    elif name.startswith("new_"):
        getattr(m, f"delete_{name.removeprefix('new_')}")(proxy)
    elif proxy.own() and result is proxy:
        getattr(m, f"delete_{kind}")(proxy)
    return kind


def run(script: Script, omitted: int = -1, aborted: int = -1, late: bool = False) -> list[Any]:
    """The results of a script, of which one call is left out or aborted: that one's is None."""
    script.reset()
    results: list[object] = []
    functions = script.functions
    for position, (entry, arguments) in enumerate(script.calls):
        if position % 500 == 0:
            rec.recorder_reset()
        if position == omitted:
            results.append(None)
            continue
        if position == aborted:
            gate.gate_abort(Aborted, 0, late)
        try:
            result = functions[entry](*arguments)
        except Aborted as error:
            assert position == aborted and error.args == ("aborted",), (position, NAMES[entry], error)
            results.append(None)
        except (ValueError, NotImplementedError) as error:
            results.append((type(error), str(error)))
        else:
            assert position != aborted, NAMES[entry]
            results.append(settle(NAMES[entry], result))
    assert not gate.gate_pending() and calls_in_progress() == 0 and bridge_claims() == 0
    return results


def state() -> list[Any]:
    """Of the module: the registry, and the dictionary."""
    types = [
        (name, registry.address(kind.cast), kind.clientdata, kind.owndata, len(registry.casts(kind)))
        for module in registry.modules()
        for name, kind in registry.descriptors(module).items()
    ]
    return [types, {name: id(value) for name, value in vars(m).items()}]


def references(objects: list[Any]) -> list[int]:
    return [sys.getrefcount(item) for item in objects]
