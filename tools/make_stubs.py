"""Writes the type stubs of the companion layer from the interface as JSON (see describe_interface.cpp).

Usage: make_stubs.py interface.json > __init__.pyi
"""

import json
import sys
import textwrap
from typing import Any

from constant_meanings import meanings
from interface_text import Interface

HEADER = '''\
"""Manage a host's virtual switches: what administration scripts import."""

from collections.abc import Iterator
from typing import Any, ClassVar, Generic, TypeVar, overload

from libvswitch._addresses import ip_bytes as ip_bytes
from libvswitch._addresses import ip_text as ip_text
from libvswitch._addresses import mac_bytes as mac_bytes
from libvswitch._addresses import mac_text as mac_text
from libvswitch._callbacks import Callback as Callback
from libvswitch._callbacks import allocator as allocator
from libvswitch._callbacks import callback as callback
from libvswitch._cells import Buffer as Buffer
from libvswitch._cells import Cell as Cell
from libvswitch._cells import buffer as buffer
from libvswitch._cells import cell as cell
from libvswitch._cells import pointed_bytes as pointed_bytes
from libvswitch._errors import VSwitchError as VSwitchError
from libvswitch._errors import check as check
from libvswitch._iteration import rows as rows
from libvswitch._ownership import allocated as allocated
from libvswitch._unlocked import unlocked as unlocked

_Read = TypeVar("_Read")
_Written = TypeVar("_Written")
_Out = TypeVar("_Out", covariant=True)
_Self = TypeVar("_Self", bound="Record")

class Outputs(list[Any], Generic[_Out]):
    """What a call with outputs returns: a list of the status and the outputs, None for an output that there is not.
    `check` makes of it the output, or the tuple of outputs."""

class _Field(Generic[_Read, _Written]):
    """An attribute whose value may be given in more ways than it is read."""

    @overload
    def __get__(self, record: None, kind: type[Any]) -> Any: ...
    @overload
    def __get__(self, record: Any, kind: type[Any] | None = None) -> _Read: ...
    def __set__(self, record: Any, value: _Written) -> None: ...

class SwigPyObject:
    """A native pointer with its type and an ownership flag."""

    def disown(self) -> None: ...
    def acquire(self) -> None: ...
    def own(self, flag: object = ..., /) -> bool: ...
    def append(self, other: SwigPyObject, /) -> None: ...
    def next(self) -> SwigPyObject | None: ...
    def __int__(self) -> int: ...

# What is passed for a `void *`.
_Pointer = Record | SwigPyObject | Cell[Any] | Buffer | Callback

class _RecordClass(type):
    """Of the record classes, which are immutable."""

class Record(metaclass=_RecordClass):
    """Base of all record classes. Two records are equal when they stand for the same native memory; same_contents()
    compares their bytes."""

    __hash__: ClassVar[None]  # type: ignore[assignment]
    this: SwigPyObject
    """The native pointer: a proxy object."""
    thisown: bool
    """Whether the native memory is freed with this object."""
    def __bytes__(self) -> bytes:
        """The record's bytes as they lie in memory. TypeError for a record without a fixed size."""
    @classmethod
    def from_bytes(cls: type[_Self], data: bytes | bytearray | memoryview, /) -> _Self:
        """A new record with these bytes. ValueError unless they are as many as it has."""
    def same_contents(self, other: Record, /) -> bool:
        """Whether another record of the same kind has the same bytes, padding included; == tells whether both stand for
        the same memory. TypeError for a record of another kind, and for one without a fixed size."""
    def release(self) -> None:
        """Frees the memory now if the record owns it, and gives it back if a call has handed it out. The record and
        its views are unusable afterwards: using one raises an exception. Releasing twice does nothing."""
    def __enter__(self: _Self) -> _Self:
        """The record, which is released at the end. ValueError for memory of unknown origin."""
    def __exit__(self, *details: object) -> None:
        """Releases the record."""

class swigvarlink:
    """Native global variables as read-only attributes."""

    @property
    def qel_ModuleCurrentID(self) -> int: ...
    @property
    def runtimeOptionNames(self) -> SwigPyObject: ...

cvar: swigvarlink

def SWIG_PyInstanceMethod_New(function: Any, /) -> Any:
    """An instance method object around a function."""

def Panic(format: str | None, /, *ignored: object) -> None:
    """Writes a text to the host's log. Further arguments are not read. Raises TypeError for what is no text."""
'''

ENTITIES = '''\
    def entities(self, session: DVMirrorSession) -> Iterator[DVMirrorEntity]:
        """The entities of one session of a mirror table: its destinations, then the sources received from, then those
        sent from, as many as its three counts say. IndexError where these lead beyond the table's entities."""'''


class Stubs:
    def __init__(self, interface: Any) -> None:
        self.interface = interface
        self.lines = [HEADER]
        # Records of which a view may show an array whose elements another record counts.
        self.in_arrays = {
            field["target"]
            for record in interface.records
            for field in record["fields"]
            if field["name"] == record.get("contents", {}).get("elements")
        } & interface.record_names

    def doc(self, text: str, indent: str) -> None:
        wrapped = textwrap.wrap(text, 108 - len(indent), break_on_hyphens=False) or [""]
        body = ("\n" + indent).join(wrapped).replace("\\", "\\\\")
        self.lines.append(f'{indent}"""{body}"""')

    def field(self, field: dict[str, Any]) -> None:
        read = self.interface.read_type(field)
        text = self.interface.field_text(field)
        if field["read_only"]:
            self.lines.append(f"    @property\n    def {field['name']}(self) -> {read}:")
            self.doc(text, " " * 8)
            return
        written = self.interface.written_type(field)
        kind = read if read == written else f"_Field[{read}, {written}]"
        self.lines.append(f"    {field['name']}: {kind}")
        self.doc(text, " " * 4)

    def function(self, name: str, arguments: Any, result: str, text: str, indent: str = "") -> None:
        names = [f"{argument}: {kind}" if kind else argument for argument, kind in arguments]
        if names:
            names.append("/")
        self.lines.append(f"{indent}def {name}({', '.join(names)}) -> {result}:")
        self.doc(text, indent + "    ")

    def method(self, method: dict[str, Any]) -> None:
        arguments = [("self", ""), *list(self.interface.inputs(method))[1:]]
        self.function(method["name"], arguments, self.method_result(method), self.interface.call_text(method), "    ")

    def method_result(self, method: dict[str, Any]) -> str:
        result: str = self.interface.result_type(method)
        # A method has a record, and an index that the record has not raises IndexError: what there is is always there.
        always = method["name"] == "__repr__" or any(argument.get("index") for argument in method["arguments"])
        return result.removesuffix(" | None") if always else result

    def element(self, record: dict[str, Any]) -> str | None:
        """What a record holds that has an index of its own, or whose array or walk gives it; None without any."""
        wanted = record.get("contents", {}).get("elements", "__getitem__")
        for method in record["methods"]:
            if method["name"] == wanted and "contents" in record:
                return self.method_result(method)
        for field in record["fields"]:
            if field["name"] == wanted:
                return str(field["target"]) if field["target"] in self.interface.record_names else "int"
        element: str | None = record["name"] if record["name"] in self.in_arrays else record.get("yields")
        return element

    def holding(self, record: dict[str, Any]) -> None:
        """Length, subscripts and iteration, as far as no method of the record's gives them."""
        methods = {method["name"] for method in record["methods"]}
        element = self.element(record)
        if ("contents" in record or record["name"] in self.in_arrays) and "__len__" not in methods:
            self.function("__len__", [("self", "")], "int", "Return len(self).", "    ")
        if element and element != record.get("yields") and "__getitem__" not in methods:
            self.function("__getitem__", [("self", ""), ("key", "int")], element, "Return self[key].", "    ")
        if element:
            self.lines.append(f"    def __iter__(self) -> Iterator[{element}]: ...")
        if record["name"] == "DVMirrorSessionTable":
            self.lines.append(ENTITIES)

    def record(self, record: dict[str, Any]) -> None:
        name = record["name"]
        self.lines.append(f"\nclass {name}(Record):")
        self.doc(record["doc"], " " * 4)
        self.lines.append("")
        self.lines.append(f"    def __init__(self{', count: int, /' if record['counted'] else ''}) -> None: ...")
        for field in record["fields"]:
            self.field(field)
        for method in record["methods"]:
            self.method(method)
        self.holding(record)

    def write(self) -> str:
        for record in self.interface.records:
            self.record(record)
        self.lines.append("")
        for record in self.interface.records:
            for name, arguments, result, text, _ in self.interface.record_functions(record):
                self.function(name, arguments, result, text)
        functions = list(self.interface.library_functions())
        overloaded = {name for name, _, _, _, call in functions if call["overload"]}
        for name, arguments, result, text, _ in functions:
            if name in overloaded:
                self.lines.append("@overload")
            self.function(name, arguments, result, text)
        known = meanings()
        for family in self.interface.constants:
            self.lines.append("")
            self.lines.extend("# " + line for line in textwrap.wrap(family["doc"], 110))
            for name, value in family["items"]:
                self.lines.append(f"{name}: {type(value).__name__}")
                if name in known:
                    self.doc(known[name][2], "")
        return "\n".join(self.lines) + "\n"


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as source:
        sys.stdout.write(Stubs(Interface(json.load(source))).write())
