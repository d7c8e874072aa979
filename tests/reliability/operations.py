"""Every kind of thing that a script can do with the module and the layer, each as an operation that can be repeated at
will and leaves nothing behind: what the tests of this folder run without memory, with references counted, and
watched. Longer than most, as the closed list of them stands in one place."""

import ctypes
import dataclasses
import json
import os
import tempfile
from collections.abc import Callable, Iterator
from functools import partial
from typing import Any

import _libvswitch as m
import workspace

INTERFACE = json.loads((workspace.BUILD / "interface.json").read_text(encoding="utf-8"))
CLOSED = workspace.SOURCE / "tests" / "data"
# Of the counted records; enough for the operations below.
COUNTED = {"VSUplinks": 2, "VSUplinkPorts": 2, "VSUplinkPortIds": 2, "VSRuntimeOptions": 64}
# Larger than every record and what its counts claim below.
STORAGE = 65536
# So that numbers and texts read are objects of their own: 0x41414141, "AAAA".
FILLING = 0x41


@dataclasses.dataclass
class Operation:
    name: str
    # A `partial` of a native function where that is all: then no failure is the interpreter's own.
    run: Callable[..., Any]
    # Makes what `run` takes, and takes back what it has used and returned; neither is part of the operation.
    prepare: Callable[[], tuple[Any, ...]] = tuple
    discard: Callable[..., Any] = lambda result, *prepared: None
    # Without memory the result may be None, as documented.
    may_be_none: bool = False
    # The state of the host decides the values of the result; else it is always the same.
    varies: bool = False
    # Returns a result with an error pending, which the interpreter turns into a SystemError (a debug build: its end).
    quirk: bool = False
    # The interpreter's own Python code never ends in it without memory: one exception handler meets the next.
    runs_in_circles: bool = False
    # How many texts the library may keep for ever if it aborts the call.
    texts: int = 0


def one(make: Callable[..., object], *arguments: object) -> tuple[object]:
    return (make(*arguments),)


def constructor_arguments(record: str) -> list[int]:
    return [COUNTED[record]] if record in COUNTED else []


# ---- arguments ---------------------------------------------------------------------------------------------

class Kept:
    """Zeroed storage that lives as long as the process."""

    blocks: list[Any] = []

    @classmethod
    def address(cls, size: int = STORAGE, content: bytes = b"") -> int:
        block = ctypes.create_string_buffer(content.ljust(size, b"\0"), size)
        cls.blocks.append(block)
        return ctypes.addressof(block)


COUNT_FIELDS = {
    "count", "numActive", "numEntities", "numEntries", "numLAGs", "numLSTeam", "numMod", "numPortsets", "numSessions",
    "numStandby", "numUplinks", "nUplinkPorts",
}


def record_storage(row: dict[str, Any]) -> int:
    """A record in zeroed storage that says it has two of whatever it counts; runtime options are two numbers."""
    content = bytearray(256 + row["size"])
    for field in row["fields"]:
        if field["name"] in COUNT_FIELDS and field["size"] == 4:
            content[field["offset"]] = 2
    if row["name"] == "VSRuntimeOptions":
        content[0:20] = bytes([4 + 16, 0, 0, 0, 0, 0, 8, 0, 1, 2, 3, 4, 1, 0, 8, 0, 1, 2, 3, 4])
    return Kept.address(content=bytes(content))


def simple_value(argument: dict[str, Any], number: int = 1) -> Any:
    kind = argument["typemap"]
    if kind == "scalar":
        return number
    if kind == "text":
        return "a text of some length: \xe9" if number % 2 else "plain"
    if kind == "fixed text":
        return "fixed"
    if kind in ("raw bytes", "raw bytes or text", "six bytes"):
        return b"\1\2\3\4\5\6\7\x08"
    raise LookupError(kind)


def wrong_values(argument: dict[str, Any]) -> Iterator[tuple[str, Any, bool]]:
    """Name of the fault, a value that has it, and whether it is accepted with an error pending."""
    kind = argument["typemap"]
    if kind.startswith("raw bytes"):
        yield "no buffer", 5, True
        return
    yield "object", object(), False
    if kind == "scalar":
        signed = "unsigned" not in argument.get("scalar", "") and argument.get("scalar") != "size"
        yield "beyond 64 bits", 2**70, signed
        yield "beyond the range", -(2**40), False
        yield "text", "text", False
    if kind in ("text", "fixed text"):
        yield "no UTF-8", "\ud800 a lone surrogate", False
    if kind == "fixed text":
        yield "too long", "x" * 300, False


def refused(
    name: str, function: Callable[..., Any], arguments: list[dict[str, Any]], values: list[Any]
) -> Iterator[Operation]:
    """The function with each argument wrong in each way, and with too many."""
    for position, argument in enumerate(arguments):
        for fault, value, quirk in wrong_values(argument):
            given = [*values[:position], value, *values[position + 1 :]]
            if quirk and argument.get("scalar", "").startswith("unsigned"):
                continue
            yield Operation(
                f"{name} refuses argument {position + 1}: {fault}",
                partial(function, *given),
                quirk=quirk, varies=True, texts=len(values),
            )
    yield Operation(f"{name} refuses {len(values) + 9} arguments", partial(function, *values, *range(9)))


# ---- the module by itself ----------------------------------------------------------------------------------

def filled_proxy(row: dict[str, Any]) -> Any:
    proxy = getattr(m, f"new_{row['name']}")(*constructor_arguments(row["name"]))
    ctypes.memset(int(proxy), FILLING, row["size"])
    # The texts and pointers that a record owns are no addresses.
    for field in row["fields"]:
        if "pointer" in field["kind"] or field["kind"] == "owned text":
            ctypes.memset(int(proxy) + field["offset"], 0, field["size"])
    return proxy


def field_value(field: dict[str, Any], current: Any) -> Any:
    if field["kind"] in ("scalar", "bits"):
        return "\1" if "character" in field.get("scalar", "") else 3
    if field["kind"] == "characters":
        return "name"[: field["size"] - 1]
    if field["kind"] == "owned text":
        return "a text that the record owns"
    return current


def raw_records() -> Iterator[Operation]:
    """Constructor, destructor, registration and accessors of every record, without classes."""
    for row in INTERFACE["records"]:
        name = row["name"]
        new, delete = getattr(m, f"new_{name}"), getattr(m, f"delete_{name}")
        arguments = constructor_arguments(name)
        yield Operation(
            f"new_{name}", partial(new, *arguments), may_be_none=True,
            discard=lambda made, delete=delete: made is not None and delete(made),
        )
        yield Operation(
            f"delete_{name}", delete,
            prepare=partial(one, new, *arguments),
            discard=lambda _, proxy, delete=delete: proxy.own() and delete(proxy),
        )
        yield Operation(f"new_{name} refuses", partial(new, object(), 2))
        yield Operation(f"delete_{name} refuses", partial(delete, object()))
        proxy = filled_proxy(row)
        # Never released: the operations below use it as long as the process lives.
        proxy.disown()
        for field in row["fields"]:
            yield from raw_field(row, field, proxy)


def raw_field(row: dict[str, Any], field: dict[str, Any], proxy: Any) -> Iterator[Operation]:
    name = f"{row['name']}_{field['name']}"
    get, put = getattr(m, f"{name}_get"), getattr(m, f"{name}_set", None)
    yield Operation(f"{name}_get", partial(get, proxy))
    yield Operation(f"{name}_get refuses an object", partial(get, object()))
    yield Operation(f"{name}_get refuses null", partial(get, None))
    if put is None:
        return
    current = None if field["kind"] == "mac" else get(proxy)
    if field["kind"] == "mac":
        # Written from bytes that a proxy points at, such as those of another field.
        source = m.new_qel_EthHdr()
        source.disown()
        current = m.qel_EthHdr_daddr_get(source)
    yield Operation(f"{name}_set", partial(put, proxy, field_value(field, current)))
    yield Operation(f"{name}_set refuses an object", partial(put, proxy, object()))
    yield Operation(f"{name}_set through null", partial(put, None, field_value(field, current)))
    if field["kind"] == "scalar":
        quirk = field["scalar"].startswith("signed") or "character" in field["scalar"]
        yield Operation(f"{name}_set beyond 64 bits", partial(put, proxy, 2**70), quirk=quirk)


def raw_proxies() -> Iterator[Operation]:
    """What a bare proxy does."""
    proxy, other = m.new_VSInfo(), m.new_VSInfo()
    proxy.disown()
    other.disown()
    yield Operation("repr of a proxy", partial(repr, proxy))
    yield Operation("int of a proxy", partial(int, proxy))
    yield Operation("comparison of proxies", lambda: (proxy == other, proxy != other, proxy == 5))
    yield Operation("own, disown, acquire", lambda: (proxy.own(), proxy.acquire(), proxy.own(False), proxy.disown()))
    yield Operation("append and next", lambda: (proxy.append(other), proxy.next() is other))
    yield Operation("append refuses", partial(proxy.append, 5))
    yield Operation("cvar", lambda: (m.cvar, repr(m.cvar)))
    for name in ("qel_ModuleCurrentID", "runtimeOptionNames"):
        yield Operation(f"cvar.{name}", partial(getattr, m.cvar, name))
        yield Operation(f"cvar.{name} is read-only", partial(setattr, m.cvar, name, 1))
    yield Operation("cvar refuses", partial(getattr, m.cvar, "unknown"))
    yield Operation("instance method", partial(m.SWIG_PyInstanceMethod_New, m.new_VSInfo))


def raw_shadow_classes() -> Iterator[Operation]:
    """Results as instances of a class that a script has registered: the last operations of their process."""

    class Entry:
        __swig_destroy__ = m.delete_VSPropSecurity

    class Slotted:
        __slots__ = ()

    owner = m.new_VSPropSecurityPortInfo()
    owner.disown()
    read = m.VSPropSecurityPortInfo_get_port_sec
    registered: list[type] = []

    def register(kind: type) -> tuple[Any, ...]:
        if not registered or registered[-1] is not kind:
            m.VSPropSecurity_swigregister(kind)
            registered.append(kind)
        return ()

    yield Operation(
        "an owned result of a registered class", partial(read, owner), prepare=lambda: register(Entry),
        may_be_none=True,
    )
    yield Operation(
        "an owned result of a class that takes no attribute", partial(read, owner),
        prepare=lambda: register(Slotted), may_be_none=True,
    )
    # The data of an earlier registration stays allocated, which is why it is not repeated above.


def host_starts() -> Iterator[Operation]:
    """The first call of a process: it makes the host, or finds it."""
    close = ctypes.CDLL("libtlklibs.so")._ZN4host10close_hostEv
    folder = tempfile.TemporaryDirectory()
    Kept.blocks.append(folder)

    def anew(state: str, trace: str = "") -> tuple[Any, ...]:
        close()
        os.environ.update(VSWITCH_HOST=state, VSWITCH_HOST_TRACE=trace)
        return ()

    call = m.DVSQEL_StateSanitize
    found = f"{folder.name}/found"
    yield Operation("first call on a host in memory", call, prepare=partial(anew, ":memory:"))
    yield Operation("first call on a host that is there", call, prepare=partial(anew, found))
    yield Operation("first call with a trace", call, prepare=partial(anew, found, f"{folder.name}/trace"))


RAW_FAMILIES = {
    "raw records": raw_records,
    "raw proxies": raw_proxies,
    "raw shadow classes": raw_shadow_classes,
    "host starts": host_starts,
}


# ---- the layer ---------------------------------------------------------------------------------------------

def layer_pointer(address: int, target: str) -> Any:
    from libvswitch import _records

    return _records.pointer(address, f"_p_{target}")


def layer_classes() -> Iterator[Operation]:
    """Construction, and what every record instance does."""
    from misused import vs

    for row in INTERFACE["records"]:
        kind = getattr(vs, row["name"])
        arguments = constructor_arguments(row["name"])
        yield Operation(f"{kind.__name__}()", partial(kind, *arguments))
        yield Operation(f"{kind.__name__}() refuses", partial(kind, object(), 2))
        yield Operation(f"class documentation of {kind.__name__}", partial(getattr, kind, "__doc__"))
        record = kind(*arguments)
        if row["name"] not in COUNTED:
            yield Operation(f"bytes of {kind.__name__}", partial(bytes, record))
            yield Operation(
                f"{kind.__name__}.from_bytes", partial(kind.from_bytes, bytes(row["size"]))
            )
        yield Operation(f"repr of {kind.__name__}", lambda r=record: repr(r))


def layer_records() -> Iterator[Operation]:
    import libvswitch
    from misused import vs

    class Derived(libvswitch.VSInfo):
        def __init__(self) -> None:
            super().__init__()
            self.note = "a derived class"

    record, other = vs.VSInfo(), vs.VSInfo()
    port = vs.VSPortInfo()

    def with_block() -> Any:
        with vs.VSInfo() as block:
            return block.thisown

    def exchange() -> None:
        vs.VSInfo().this = vs.VSInfo().this

    yield Operation("VSInfo().this", lambda: vs.VSInfo().this)
    yield Operation("this of a record that has one", lambda: record.this)
    yield Operation("this assigned", exchange)
    yield Operation("this deleted", lambda: delattr(vs.VSInfo(), "this"))
    yield Operation("thisown", lambda: (vs.VSInfo().thisown, record.thisown))
    yield Operation("thisown assigned", lambda: setattr(vs.VSInfo(), "thisown", True))
    yield Operation("thisown assigned where there is a proxy", lambda: setattr(record, "thisown", True))
    yield Operation("release", lambda: vs.VSInfo().release())
    yield Operation("a released record refuses", lambda: _released(vs).mtu)
    yield Operation("a released record refuses a value", lambda: setattr(_released(vs), "mtu", 1))
    yield Operation("repr of a released record", lambda: repr(_released(vs)))
    yield Operation("with", with_block)
    yield Operation("comparison", lambda: (record == other, record != other, record == 5))
    yield Operation("hash refused", lambda: hash(record))
    yield Operation("a derived class", lambda: Derived().note)
    yield Operation("base class refuses", lambda: vs.Record())
    yield Operation("keywords refused", lambda: vs.VSInfo(mtu=5))
    yield Operation("from_bytes refuses a length", lambda: vs.VSInfo.from_bytes(b"12"))
    yield Operation("from_bytes refuses a text", lambda: vs.VSInfo.from_bytes("text"))
    yield Operation("a view keeps its record", lambda: vs.VSPortInfo().vlan)
    yield Operation("a view", lambda: port.vlan)
    yield Operation("an unknown attribute", lambda: record.nothing)
    yield Operation("an unknown attribute assigned", lambda: setattr(record, "nothing", 5))
    yield Operation("weak reference", lambda: _weak(vs.VSInfo()))


def _released(vs: Any) -> Any:
    record = vs.VSInfo()
    record.release()
    return record


def _weak(record: Any) -> Any:
    import weakref

    return weakref.ref(record)() is record


def layer_fields() -> Iterator[Operation]:
    """Every field as an attribute, and what its descriptor says."""
    from misused import vs

    for row in INTERFACE["records"]:
        kind = getattr(vs, row["name"])
        record = kind(*constructor_arguments(row["name"]))
        ctypes.memset(vs._records.address(record), FILLING, row["size"])
        for field in row["fields"]:
            if "pointer" in field["kind"] or field["kind"] == "owned text":
                ctypes.memset(vs._records.address(record) + field["offset"], 0, field["size"])
        for field in row["fields"]:
            yield from layer_field(kind, record, field)


def layer_field(kind: Any, record: Any, field: dict[str, Any]) -> Iterator[Operation]:
    name = field["name"]
    title = f"{kind.__name__}.{name}"
    descriptor = vars(kind)[name]
    yield Operation(f"{title} read", partial(getattr, record, name))
    yield Operation(
        f"{title} described",
        lambda: (descriptor.__name__, descriptor.__doc__, descriptor.kind, descriptor.__objclass__, repr(descriptor),
                 descriptor.fget, descriptor.fset),
    )
    yield Operation(f"{title} deleted", partial(delattr, record, name))
    yield Operation(f"{title} refuses an object", partial(setattr, record, name, object()))
    yield Operation(f"{title} read from an object", partial(descriptor.__get__, object()))
    if not field["read_only"] and field["kind"] != "mac":
        current = getattr(record, name)
        yield Operation(f"{title} written", partial(setattr, record, name, field_value(field, current)))
        if field["kind"] == "scalar":
            quirk = field["scalar"].startswith("signed") or "character" in field["scalar"]
            yield Operation(f"{title} beyond 64 bits", partial(setattr, record, name, 2**70), quirk=quirk)


def layer_methods() -> Iterator[Operation]:
    """Every method of every record: as a function of the module, of the layer, and of an instance."""
    from misused import vs

    rows = {row["name"]: row for row in INTERFACE["records"]}
    for row in INTERFACE["records"]:
        for method in row["methods"]:
            record = layer_pointer(record_storage(row), row["name"])
            values = [
                layer_pointer(record_storage(rows[argument["target"]]), argument["target"])
                if argument.get("target") in rows else simple_value(argument)
                for argument in method["arguments"][1:]
            ]
            full = f"{row['name']}_{method['name']}"
            none = method["result"] == "owned pointer"
            member = vars(getattr(vs, row["name"]))[method["name"]]
            for title, function in (("", getattr(m, full)), ("layer's ", getattr(vs, full)), ("member ", member)):
                if callable(function):  # not a method that the layer has in Python, whose memory is the interpreter's
                    yield Operation(f"{title}{full}", partial(function, record, *values), may_be_none=none)
            if callable(member):
                yield from refused(full, partial(member, record), method["arguments"][1:], values)
            yield Operation(
                f"{full} described",
                lambda d=member: (d.__name__, d.__qualname__, d.__doc__, d.__text_signature__, d.__objclass__, repr(d)),
            )
    for entity_type in range(8):
        entity = vs.DVMirrorEntity()
        entity.type = entity_type
        for text in ("10.0.0.1", "fe80::1", "02:00:00:00:00:01", "77"):
            title = f"mirror entity of type {entity_type}"
            yield Operation(f"{title} from {text}", partial(m.DVMirrorEntity_set_entity, entity, text))
            yield Operation(f"{title} as text after {text}", partial(m.DVMirrorEntity_get_entity, entity), varies=True)


def layer_parts() -> Iterator[Operation]:
    """What the layer's Python part offers."""
    from misused import vs

    switches = vs.cell("VSList **")
    assert vs.VSQEL_GetSwitches(vs.VS_LIST_DVS_ALIAS, switches) == 0
    listed = switches.value
    options = layer_pointer(record_storage({"name": "VSRuntimeOptions", "size": 4, "fields": []}), "VSRuntimeOptions")
    yield Operation("a list iterated", lambda: list(listed), varies=True)
    yield Operation("options iterated", lambda: [option.type for option in options])
    yield Operation("iteration refused", lambda: list(vs.VSInfo()))
    yield Operation("a cell", lambda: vs.cell("int *", 5).value)
    yield Operation("a cell of several", lambda: list(vs.cell("qel_uint16 *", 1, 2, 3000)))
    yield Operation("a pointer cell", lambda: vs.cell("VSList **").value)
    yield Operation("a cell refused", lambda: vs.cell("VSInfo"))
    yield Operation("a cell's value refused", lambda: vs.cell("int *", 2**40))
    yield Operation("repr of a cell", lambda: repr(vs.cell("int *", 7)))
    yield Operation("a buffer", lambda: bytes(vs.buffer(b"content")))
    yield Operation("pointed bytes", lambda: vs.pointed_bytes(listed, 4))
    yield Operation("mac_text", lambda: vs.mac_text(b"\2\0\0\0\0\1"))
    yield Operation("mac_bytes", lambda: vs.mac_bytes("02:00:00:00:00:01"))
    yield Operation("mac_bytes refused", lambda: vs.mac_bytes("02:00"))
    yield Operation("ip_text", lambda: vs.ip_text(b"\x0a\0\0\1"), runs_in_circles=True)
    yield Operation("ip_bytes", lambda: vs.ip_bytes("fe80::1"), runs_in_circles=True)
    yield Operation("check", lambda: vs.check([0, 7, "x"]))
    yield Operation("check raises", lambda: vs.check(vs.QEL_NOT_FOUND))
    yield Operation("check refused", lambda: vs.check("text"))
    yield Operation("an allocated record", lambda: _allocated(vs), texts=1)
    yield Operation("a helper's record", lambda: _helped(vs))
    yield Operation("a callback", lambda: _visited(vs), varies=True)
    yield Operation("a callback that raises", lambda: _failing_visit(vs))
    yield Operation("a name of the layer", lambda: _fresh_name(vs, "VSQEL_GetSwitchInfo"))
    yield Operation("a constant of the layer", lambda: _fresh_name(vs, "QEL_OK"))
    yield Operation("no name of the layer", lambda: vs.no_such_name)
    yield Operation("dir of the layer", lambda: len(dir(vs)))
    yield Operation("address", lambda: vs._records.address(listed) != 0)
    yield Operation("address refused", lambda: vs._records.address(5))
    yield Operation("pointer refused", lambda: vs._records.pointer(5, "_p_nothing"))
    yield Operation("read refused", lambda: vs._records.read(None, 5))
    yield Operation("storage", lambda: vs._records.storage(vs.VSQEL_GetSwitches))


def _allocated(vs: Any) -> int:
    with vs.allocated(vs.VSQEL_GetSwitchUplinkPorts if hasattr(vs, "VSQEL_GetSwitchUplinkPorts")
                      else vs.VSDVS_GetSwitchUplinkPorts, "workload") as outputs:
        return len(outputs)


def _helped(vs: Any) -> int:
    with vs.allocated(vs.alloc_rtm_query, 3) as query:
        return int(query.numPortsets)


def _visited(vs: Any) -> list[Any]:
    names: list[Any] = []
    with vs.callback(lambda switch: names.append(vs.DVS_SwitchName(switch))) as visitor:
        vs.DVSState_SwitchForEach(visitor, None)
    return names


def _failing_visit(vs: Any) -> None:
    with vs.callback(lambda switch: 1 // 0) as visitor:
        vs.DVSState_SwitchForEach(visitor, None)


def _fresh_name(vs: Any, name: str) -> Any:
    vars(vs).pop(name, None)
    return getattr(vs, name)


# ---- library calls -----------------------------------------------------------------------------------------

# These take memory that the host gave out, and nothing else; the operations with outputs use them.
RELEASING = {"VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree", "DVSData_Free"}


def host_calls() -> Iterator[Operation]:
    """Every library call on the simulated host, with arguments that it accepts as far as pointers go."""
    from misused import vs
    from host_calls import Host, prototypes
    from ready_arguments import ReadyArguments

    host = Host()
    ready = ReadyArguments(host)
    Kept.blocks.append(ready)
    # In the system's memory: the allocator of the ready arguments keeps each block.
    data = ctypes.c_void_p()
    assert host.DVSData_Alloc(ctypes.addressof(data), None, None) == 0
    ready.data = data.value
    known = prototypes()
    read_pointer = ctypes.c_void_p.from_address

    for call in INTERFACE["calls"]:
        name = call["name"]
        if name not in known or name in RELEASING:
            continue
        inputs = [argument for argument in call["arguments"] if not argument["output"]]
        native = ready.of(known[name])
        cells: list[tuple[int, Any]] = []
        values: list[Any] = []
        for argument, value in zip(call["arguments"], native, strict=True):
            if argument["output"]:
                continue
            if argument["typemap"] in ("scalar", "fixed text", "raw bytes", "raw bytes or text", "six bytes"):
                if not isinstance(value, (int, bytes)) or argument["typemap"] != "scalar":
                    value = simple_value(argument) if not isinstance(value, bytes) else value
                if argument["typemap"] == "fixed text":
                    value = "workload" if argument["name"] == "switch_name" else "fixed"
                values.append(value)
            elif isinstance(value, bytes):
                values.append(value.decode())
            elif argument["typemap"] == "text":
                values.append(simple_value(argument))
            else:
                target = argument.get("target") or "void"
                values.append(layer_pointer(value or 0, target))
                if target in ("p_VSList", "p_void", "p_DVPortList", "p_OpaqueDVPortData") or argument["type"].endswith(
                    ("DVSDataHandle *", "DVSDataItem *")
                ):
                    lists = argument["type"] == "DVSDataHandle *"
                    cells.append((value, host.DVSData_Free if lists else host.VSQEL_FreeMemory))
        count = sum(argument["typemap"] in ("text", "fixed text") for argument in inputs)

        def discard(result: Any, cells: list[Any] = cells) -> None:
            for item in result if isinstance(result, list) else []:
                if isinstance(item, vs.Record):
                    host.VSQEL_FreeMemory(vs._records.address(item))
            for address, release in cells:
                cell = read_pointer(address)
                if cell.value:
                    # What the host did not hand out is left alone.
                    release(cell.value)
                    cell.value = None

        for title, function in (("", getattr(m, name)), ("layer's ", getattr(vs, name))):
            yield Operation(
                f"{title}{name}", partial(function, *values), discard=discard, varies=True, texts=count
            )
        if call["overload"]:
            yield Operation(f"{name} refuses all its forms", partial(getattr(m, name), *values, object()))
        elif name != "DVSAliasToPortsetName":
            yield from refused(name, getattr(m, name), inputs, values)


def helpers() -> Iterator[Operation]:
    import helper_operations

    return helper_operations.helpers()


LAYER_FAMILIES = {
    "helpers": helpers,
    "layer classes": layer_classes,
    "layer records": layer_records,
    "layer fields": layer_fields,
    "layer methods": layer_methods,
    "layer parts": layer_parts,
    "host calls": host_calls,
}
FAMILIES = RAW_FAMILIES | LAYER_FAMILIES


def functions_of(interface: dict[str, Any]) -> set[str]:
    """Every function that there is by the interface as the product prints it."""
    found = {"SWIG_PyInstanceMethod_New", "Panic"} | {call["name"] for call in interface["calls"]}
    for row in interface["records"]:
        name = row["name"]
        found |= {f"new_{name}", f"delete_{name}", f"{name}_swigregister"}
        found |= {f"{name}_{method['name']}" for method in row["methods"]}
        for field in row["fields"]:
            found |= {f"{name}_{field['name']}_get"}
            found |= set() if field["read_only"] else {f"{name}_{field['name']}_set"}
    return found


# How many operations a family has at least, and how many of those succeed: the rest are refusals.
LEAST = {
    "raw records": (4251, 1930),
    "raw proxies": (13, 9),
    "raw shadow classes": (2, 1),
    "host starts": (3, 3),
    "helpers": (133, 62),
    "layer classes": (694, 577),
    "layer records": (24, 13),
    "layer fields": (3802, 1704),
    "layer methods": (599, 318),
    "layer parts": (32, 21),
    "host calls": (1583, 390),
}


def operations(family: str) -> list[Operation]:
    """Of one family; those of the module by itself need a process without the layer. What is not in the interface as
    printed would be in no operation either: it is compared with the closed list first."""
    listed = set((CLOSED / "functions.txt").read_text(encoding="utf-8").split())
    assert functions_of(INTERFACE) == listed, functions_of(INTERFACE) ^ listed
    return list(FAMILIES[family]())
