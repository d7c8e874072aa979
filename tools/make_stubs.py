"""Writes the type stubs of the companion layer from the interface as JSON (see describe_interface.cpp).

Usage: make_stubs.py interface.json > libvswitch.pyi
"""

import json
import keyword
import sys
import textwrap

HEADER = '''\
"""Manage a host's virtual switches: what administration scripts import."""

from collections.abc import Iterator
from typing import Any, Generic, TypeVar, overload

_Read = TypeVar("_Read")
_Written = TypeVar("_Written")

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

class VSwitchError(Exception):
    """A library call returned a failing status."""

    status: int
    name: str | None
    def __init__(self, status: int) -> None: ...

def check(result: int | list[Any]) -> Any:
    """The outputs of a call that succeeded: None, the one output, or a tuple of several. A status other than QEL_OK
    raises VSwitchError."""

class Record:
    """Base of all record classes. Two are equal when they stand for the same native memory."""

    this: SwigPyObject
    thisown: bool

class swigvarlink:
    """Native global variables as read-only attributes."""

    qel_ModuleCurrentID: int
    runtimeOptionNames: SwigPyObject

cvar: swigvarlink

def SWIG_PyInstanceMethod_New(function: Any, /) -> Any:
    """An instance method object around a function."""

def Panic(format: str | None, /, *ignored: object) -> None:
    """Writes a text to the host's log. Further arguments are not read."""
'''


class Stubs:
    def __init__(self, interface):
        self.interface = interface
        self.records = {record["name"] for record in interface["records"]}
        self.lines = [HEADER]

    def doc(self, text, indent):
        wrapped = textwrap.wrap(text, 108 - len(indent)) or [""]
        body = ("\n" + indent).join(wrapped).replace("\\", "\\\\")
        self.lines.append(f'{indent}"""{body}"""')

    def pointer(self, target):
        """A proxy, or the class of a record."""
        return target if target in self.records else "SwigPyObject"

    def accepted(self, target):
        return f"{target} | SwigPyObject" if target in self.records else "SwigPyObject"

    # ---- fields --------------------------------------------------------------------------------------------

    def read_type(self, field):
        kind = field["kind"]
        if kind in ("scalar", "bits"):
            return "str" if field.get("scalar") == "character" else "int"
        if kind in ("characters", "mac"):
            return "str"
        if kind == "owned text":
            return "str | None"
        view = self.pointer(field.get("target"))
        return view if kind in ("array", "record") else f"{view} | None"

    def written_type(self, field):
        kind = field["kind"]
        if kind in ("scalar", "bits"):
            return "str | int" if field.get("scalar") == "character" else "int"
        if kind in ("characters", "owned text"):
            return "str | None"
        if kind == "mac":
            return "SwigPyObject"
        if kind == "any pointer":
            return "Record | SwigPyObject | None"
        accepted = self.accepted(field.get("target"))
        return accepted if kind in ("array", "record") else f"{accepted} | None"

    def field(self, field):
        read = self.read_type(field)
        if field["read_only"]:
            self.lines.append(f"    @property\n    def {field['name']}(self) -> {read}:")
            self.doc(field["doc"], " " * 8)
            return
        written = self.written_type(field)
        kind = read if read == written else f"_Field[{read}, {written}]"
        self.lines.append(f"    {field['name']}: {kind}")
        self.doc(field["doc"], " " * 4)

    # ---- functions -----------------------------------------------------------------------------------------

    def argument_type(self, argument):
        typemap = argument["typemap"]
        if typemap in ("text", "fixed text"):
            return "str | None"
        if typemap == "scalar":
            return "str | int" if argument["scalar"] == "character" else "int"
        if typemap in ("any pointer",):
            return "Record | SwigPyObject | None"
        if typemap == "raw bytes":
            return "bytes"
        if typemap == "raw bytes or text":
            return "bytes | str"
        if typemap == "six bytes":
            return "bytes | bytearray | memoryview"
        accepted = self.accepted(argument["target"])
        return accepted if typemap in ("self", "record value") else f"{accepted} | None"

    def result_type(self, call):
        if any(argument["output"] for argument in call["arguments"]):
            return "list[Any]"
        result = call["result"]
        if result == "none":
            return "None"
        if result == "scalar":
            return "str" if call["scalar"] == "character" else "int"
        if result == "text":
            return "str | None"
        if result == "object":
            return call["annotation"]
        return f"{self.pointer(call['target'])} | None"

    def function(self, name, call, indent="", method=False):
        arguments = [a for a in call["arguments"] if not a["output"]]
        names = []
        for index, argument in enumerate(arguments):
            if method and index == 0:
                names.append("self")
                continue
            safe = argument["name"] + ("_" if keyword.iskeyword(argument["name"]) else "")
            names.append(f"{safe}: {self.argument_type(argument)}")
        if names:
            names.append("/")
        # A method has a record, so that the one text that is None for a null record is always there.
        result = "str" if method and name == "__repr__" else self.result_type(call)
        self.lines.append(f"{indent}def {name}({', '.join(names)}) -> {result}:")
        self.doc(call["doc"], indent + "    ")

    # ---- the whole -------------------------------------------------------------------------------------------

    def record(self, record):
        name = record["name"]
        self.lines.append(f"\nclass {name}(Record):")
        self.doc(record["doc"], " " * 4)
        self.lines.append("")
        self.lines.append(f"    def __init__(self{', count: int, /' if record['counted'] else ''}) -> None: ...")
        for field in record["fields"]:
            self.field(field)
        methods = {method["name"] for method in record["methods"]}
        for method in record["methods"]:
            self.function(method["name"], method, "    ", method=True)
        if {"__getitem__", "__len__"} <= methods:
            self.lines.append("    def __iter__(self) -> Iterator[Any]: ...")

    def record_functions(self, record):
        name = record["name"]
        owner = f"record: {name} | SwigPyObject"
        for field in record["fields"]:
            if not field["read_only"]:
                self.lines.append(
                    f"def {name}_{field['name']}_set({owner} | None, value: {self.written_type(field)}, /) -> None: ..."
                )
            self.lines.append(f"def {name}_{field['name']}_get({owner}, /) -> {self.read_type(field)}: ...")
        for method in record["methods"]:
            self.function(f"{name}_{method['name']}", method)
        count = "count: int, /" if record["counted"] else ""
        self.lines.append(f"def new_{name}({count}) -> SwigPyObject | None: ...")
        self.lines.append(f"def delete_{name}({owner} | None, /) -> None: ...")
        self.lines.append(f"def {name}_swigregister(shadow_class: Any, /) -> None: ...")

    def write(self):
        for record in self.interface["records"]:
            self.record(record)
        self.lines.append("")
        for record in self.interface["records"]:
            self.record_functions(record)
        calls = self.interface["calls"]
        for index, call in enumerate(calls):
            overloaded = call["overload"] or (index + 1 < len(calls) and calls[index + 1]["overload"])
            if overloaded:
                self.lines.append("@overload")
            self.function(call["name"], call)
        for family in self.interface["constants"]:
            self.lines.append("")
            self.lines.extend("# " + line for line in textwrap.wrap(family["doc"], 110))
            for name, value in family["items"]:
                self.lines.append(f"{name}: {type(value).__name__}")
        return "\n".join(self.lines) + "\n"


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as source:
        sys.stdout.write(Stubs(json.load(source)).write())
