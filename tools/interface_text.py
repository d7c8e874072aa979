"""What stubs, docstrings and manual say of the interface: types, ranges and errors, derived from the rows as JSON."""

import keyword
import re
from collections.abc import Iterator
from typing import Any

INTEGER_RANGES = {
    "unsigned 8": (0, 2**8 - 1),
    "unsigned 16": (0, 2**16 - 1),
    "unsigned 32": (0, 2**32 - 1),
    "unsigned 64": (0, 2**64 - 1),
    "size": (0, 2**64 - 1),
    "signed 32": (-(2**31), 2**31 - 1),
    "signed 32 in byte": (-(2**31), 2**31 - 1),
}
# Numbers of which the companion layer has cells, by their names in pointer types.
CELLS = {"int", "unsigned_int", "unsigned_short", "unsigned_char", "unsigned_long_long"}
HOST_MANUAL = "docs/host.md"


def range_sentence(scalar: str) -> str:
    if scalar == "character":
        return "One character or an int from -128 to 127; TypeError or OverflowError otherwise."
    low, high = INTEGER_RANGES[scalar]
    return f"An int from {low} to {high}; OverflowError outside, TypeError for anything else."


class Interface:
    """The rows, with what follows from them."""

    def __init__(self, rows: Any) -> None:
        self.records = rows["records"]
        self.calls = rows["calls"]
        self.constants = rows["constants"]
        self.record_names = {record["name"] for record in self.records}

    # ---- types ---------------------------------------------------------------------------------------------

    def proxy(self, target: str | None) -> str:
        """What a pointer to `target` is read as: its record's class, or a bare proxy."""
        return target if target and target in self.record_names else "SwigPyObject"

    def element(self, target: str) -> str:
        """What a cell holds to which a pointer to `target` points."""
        if target.startswith("p_"):
            return f"{self.proxy(target.removeprefix('p_'))} | None"
        return "int"

    def accepted(self, target: str) -> str:
        """What can be passed for a pointer to `target`."""
        if target in self.record_names:
            return f"{target} | SwigPyObject"
        if target.startswith("f_"):
            return "Callback | SwigPyObject"
        if target in CELLS or target.startswith("p_"):
            return f"Cell[{self.element(target)}] | SwigPyObject"
        return "SwigPyObject"

    def read_type(self, field: dict[str, Any]) -> str:
        kind = field["kind"]
        if kind in ("scalar", "bits"):
            return "str" if field.get("scalar") == "character" else "int"
        if kind in ("characters", "mac"):
            return "str"
        if kind == "owned text":
            return "str | None"
        view = self.proxy(field.get("target"))
        return view if kind in ("array", "record") else f"{view} | None"

    def written_type(self, field: dict[str, Any]) -> str:
        kind = field["kind"]
        if kind in ("scalar", "bits"):
            return "str | int" if field.get("scalar") == "character" else "int"
        if kind in ("characters", "owned text"):
            return "str | None"
        if kind == "mac":
            return self.accepted("unsigned_char")
        if kind == "any pointer":
            return "_Pointer | None"
        accepted = self.accepted(field.get("target", ""))
        return accepted if kind in ("array", "record") else f"{accepted} | None"

    def argument_type(self, argument: dict[str, Any]) -> str:
        typemap = argument["typemap"]
        if typemap in ("text", "fixed text"):
            return "str | None"
        if typemap == "scalar":
            return "str | int" if argument["scalar"] == "character" else "int"
        if typemap == "any pointer":
            return "_Pointer | None"
        if typemap == "raw bytes":
            return "bytes"
        if typemap == "raw bytes or text":
            return "bytes | str"
        if typemap == "six bytes":
            return "bytes | bytearray | memoryview"
        accepted = self.accepted(argument["target"])
        return accepted if typemap in ("self", "record value") else f"{accepted} | None"

    def output_type(self, argument: dict[str, Any]) -> str:
        """Of an output when the call has succeeded."""
        return {"record output": self.proxy(argument.get("target")), "text output": "str"}.get(
            argument["typemap"], "int"
        )

    def value_type(self, call: dict[str, Any]) -> str:
        """Of what the native function itself returns."""
        result = call["result"]
        if result == "none":
            return "None"
        if result == "scalar":
            return "str" if call["scalar"] == "character" else "int"
        if result == "object":
            value = call["annotation"].removesuffix(" | None")
        else:
            value = "str" if result == "text" else self.proxy(call["target"])
        return f"{value} | None" if "or_none" in call else str(value)

    def result_type(self, call: dict[str, Any]) -> str:
        outputs = [self.output_type(argument) for argument in call["arguments"] if argument["output"]]
        if not outputs:
            return self.value_type(call)
        return f"Outputs[{outputs[0] if len(outputs) == 1 else 'tuple[' + ', '.join(outputs) + ']'}]"

    def inputs(self, call: dict[str, Any]) -> Iterator[tuple[str, str]]:
        """Name and type of each argument that scripts pass."""
        for argument in call["arguments"]:
            if not argument["output"]:
                name = argument["name"] + ("_" if keyword.iskeyword(argument["name"]) else "")
                yield name, self.argument_type(argument)

    # ---- documentation -------------------------------------------------------------------------------------

    def assignment_text(self, field: dict[str, Any]) -> str:
        """What may be assigned and what a bad value raises."""
        if field["read_only"]:
            return "Read-only."
        kind = field["kind"]
        noun = field["target"] if field.get("target") in self.record_names else "proxy of that type"
        if kind in ("scalar", "bits"):
            also = f" {field['also'][0]} is accepted as well." if "also" in field else ""
            return range_sentence(field["scalar"]) + also
        if kind == "characters":
            return f"A text of at most {field['size'] - 1} bytes, or None for an empty one; TypeError otherwise."
        if kind == "owned text":
            return "A text or None; TypeError otherwise."
        if kind == "mac":
            return "Read as text such as 02:00:00:00:00:01 and a closing NUL; assigned from a proxy of six bytes."
        if kind == "any pointer":
            return "A record, a proxy of any type or None, which gives up its memory; TypeError otherwise."
        if kind == "pointer":
            return f"A {noun} or None, which gives up its memory; TypeError otherwise."
        if kind == "record":
            return f"A view. Assigned by copying a {noun}; TypeError otherwise."
        return "A proxy of the first element. Assigned by copying; TypeError for another type, ValueError for None."

    def field_text(self, field: dict[str, Any]) -> str:
        return f"{field['doc']} {self.assignment_text(field)}"

    def error_text(self, call: dict[str, Any]) -> str:
        """Which exceptions arguments raise."""
        errors = set()
        for argument in call["arguments"]:
            typemap = argument["typemap"]
            if argument["output"]:
                continue
            errors.add("TypeError for an argument of another type")
            if typemap == "scalar":
                errors.add("OverflowError for a number out of range")
            if typemap in ("self", "record value"):
                errors.add("ValueError for a null record")
            if typemap == "fixed text":
                errors.add("TypeError for a text that is too long")
            if "length_of" in argument:
                errors.add("ValueError for a length beyond the data")
            if "index" in argument:
                errors.add("IndexError for an index beyond the end")
            if typemap == "six bytes":
                errors.add("ValueError for fewer than six bytes")
        return f"Raises {', '.join(sorted(errors, key=lambda text: (text[0] != 'T', text)))}." if errors else ""

    def meaning(self, call: dict[str, Any]) -> str:
        """What a call does, what its arguments mean, and what comes of it."""
        arguments = [f"{argument['name']}: {argument['doc']}." for argument in call["arguments"] if "doc" in argument]
        text = self.index_text(call["doc"]) if self.has_index(call) else call["doc"]
        return " ".join(filter(None, [text, *arguments, call["remarks"]]))

    @staticmethod
    def has_index(call: dict[str, Any]) -> bool:
        return any("index" in argument for argument in call["arguments"])

    @staticmethod
    def index_text(text: str) -> str:
        """A method's text ends with what the module does about an index that the companion layer refuses."""
        native = re.search(r"(An index|No index is refused)\b.*$", text)
        assert native, text
        ends = "A negative index counts from the end; one beyond it raises IndexError."
        if "of the run that starts here" in text:
            ends = f"Of a view from a record that counts them: {ends[0].lower()}{ends[1:]}"
        return f"{text[: native.start()]}{ends} In _libvswitch: {native[0][0].lower()}{native[0][1:]}"

    def call_text(self, call: dict[str, Any]) -> str:
        parts = [self.meaning(call), self.error_text(call)]
        library_call = call["name"].startswith(("VSQEL_", "VSDVS_", "DVS"))
        returns_status = call["name"].startswith(("VSQEL_", "VSDVS_", "DVSQEL_")) or "QEL_" in self.meaning(call)
        if call["result"] == "scalar" and library_call and returns_status:
            parts.append(f"All statuses of the simulated host: {HOST_MANUAL}.")
        return " ".join(part for part in parts if part)

    def getter_text(self, record: dict[str, Any], field: dict[str, Any]) -> str:
        return f"Reads {record['name']}.{field['name']}: {field['doc']} ValueError for a null record."

    def setter_text(self, record: dict[str, Any], field: dict[str, Any]) -> str:
        return f"Writes {record['name']}.{field['name']}: {field['doc']} {self.assignment_text(field)}"

    def constructor_text(self, record: dict[str, Any]) -> str:
        name = record["name"]
        if record["counted"]:
            return (
                f"Makes a {name} with room for count entries; its contents are undefined but for the count. Gives the "
                f"bare proxy, which owns the memory; None if there is none. Scripts rather write {name}(count)."
            )
        return (
            f"Makes a {name} of zero bytes and gives the bare proxy, which owns the memory; None if there is none. "
            f"Scripts rather write {name}()."
        )

    def destructor_text(self, record: dict[str, Any]) -> str:
        return (
            f"Frees the memory of a {record['name']}, which is unusable afterwards. Only for memory that new_"
            f"{record['name']} has made; instances that own theirs free it themselves."
        )

    def registration_text(self, record: dict[str, Any]) -> str:
        return (
            f"Makes the module return {record['name']} records as instances of shadow_class. The companion layer has "
            f"registered its own class."
        )

    def record_functions(self, record: dict[str, Any]) -> Iterator[Any]:
        """Name, arguments (name, type), result type and documentation of each function of a record, in the order of
        the module's method table; for an extension method its row as well, else None."""
        name = record["name"]
        owner = ("record", f"{name} | SwigPyObject")
        for field in record["fields"]:
            if not field["read_only"]:
                arguments = [("record", f"{name} | SwigPyObject | None"), ("value", self.written_type(field))]
                yield f"{name}_{field['name']}_set", arguments, "None", self.setter_text(record, field), None
            yield f"{name}_{field['name']}_get", [owner], self.read_type(field), self.getter_text(record, field), None
        for method in record["methods"]:
            arguments = list(self.inputs(method))
            yield f"{name}_{method['name']}", arguments, self.result_type(method), self.call_text(method), method
        count = [("count", "int")] if record["counted"] else []
        yield f"new_{name}", count, "SwigPyObject | None", self.constructor_text(record), None
        nullable = [("record", f"{name} | SwigPyObject | None")]
        yield f"delete_{name}", nullable, "None", self.destructor_text(record), None
        yield f"{name}_swigregister", [("shadow_class", "Any")], "None", self.registration_text(record), None

    def library_functions(self) -> Iterator[Any]:
        """The same of the library calls and helpers. Overloads of one function follow each other."""
        for call in self.calls:
            yield call["name"], list(self.inputs(call)), self.result_type(call), self.call_text(call), call
