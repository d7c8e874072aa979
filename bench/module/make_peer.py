"""Writes the SWIG interface of the whole native interface, as a SWIG user would write it by hand.

Usage: make_peer.py interface.json base_types.h > peer.i

Methods and helpers whose work needs more than a line (walking mirror sessions, formatting addresses other than MAC
addresses, packing runtime options) are declared with their types and give nothing back: no row measures them, and
the peers are that much smaller than complete ones.
"""

import json
import re
import sys
from typing import Any

INTEGERS = {
    "unsigned 8": "unsigned char",
    "unsigned 16": "unsigned short",
    "unsigned 32": "unsigned int",
    "unsigned 64": "unsigned long long",
    "size": "size_t",
    "signed 32": "int",
    "character": "char",
}

PROLOGUE = r"""%module peer
%{
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include "interface/distributed_switch_configuration.h"
#include "interface/distributed_switch_state.h"
#include "interface/packet_headers.h"
#include "interface/switch_queries.h"

int qel_ModuleCurrentID;
char const *runtimeOptionNames[] = {"option", NULL};
%}
%include <carrays.i>

%typemap(in, numinputs=0) SWIGTYPE **OUTPUT ($*1_ltype given = NULL) "$1 = &given;"
%typemap(argout) SWIGTYPE **OUTPUT {
  $result = SWIG_Python_AppendOutput($result, SWIG_NewPointerObj(*$1, $*1_descriptor, 0));
}
%typemap(in, numinputs=0) int *OUTPUT ($*1_ltype given = 0), unsigned int *OUTPUT ($*1_ltype given = 0)
  "$1 = &given;"
%typemap(argout) int *OUTPUT { $result = SWIG_Python_AppendOutput($result, PyLong_FromLong(*$1)); }
%typemap(argout) unsigned int *OUTPUT { $result = SWIG_Python_AppendOutput($result, PyLong_FromUnsignedLong(*$1)); }
%typemap(in, numinputs=0) char *BOOLEAN (char given = 0) "$1 = &given;"
%typemap(argout) char *BOOLEAN { $result = SWIG_Python_AppendOutput($result, PyLong_FromLong(*$1)); }
%typemap(in, numinputs=0) char *TEXT (char given[256]) "given[0] = 0; $1 = given;"
%typemap(argout) char *TEXT { $result = SWIG_Python_AppendOutput($result, SWIG_FromCharPtr($1)); }
%typemap(in) unsigned char *SIX_BYTES (Py_buffer given) {
  if (PyObject_GetBuffer($input, &given, PyBUF_SIMPLE) < 0) SWIG_fail;
  $1 = given.buf;
  PyBuffer_Release(&given);
}
%typemap(out) unsigned char MAC[6] {
  char text[18];
  snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", $1[0], $1[1], $1[2], $1[3], $1[4], $1[5]);
  $result = SWIG_FromCharPtr(text);
}

%immutable;
int qel_ModuleCurrentID;
char const *runtimeOptionNames[];
%mutable;
"""

HEADER_TYPEDEF = re.compile(r"^typedef [^{}]*?;", re.M)
ENUMERATION = re.compile(r"^QEL_ENUMERATION\((\w+)\);", re.M)


def declared(native_type: str, name: str) -> str:
    """`char [32]` and a name as C declares them."""
    plain, bracket, size = native_type.partition("[")
    return f"{plain.rstrip()} {name}{bracket}{size}"


def parameter(argument: dict[str, Any]) -> str:
    """An argument as the SWIG declaration has it: outputs by the names that the typemaps know."""
    kind, name = argument["typemap"], argument["name"]
    if kind == "record output":
        return f"{argument['type']}OUTPUT"
    if kind == "integer output":
        return f"{argument['type']}OUTPUT"
    if kind == "boolean output":
        return "char *BOOLEAN"
    if kind == "text output":
        return "char *TEXT"
    if kind == "six bytes":
        return "unsigned char *SIX_BYTES"
    if kind in ("raw bytes", "raw bytes or text"):
        return f"char const *{name}"
    if kind == "disowned pointer":
        return f"{argument['type']}DISOWN"
    return declared(argument["type"], name)


def result_type(call: dict[str, Any]) -> str:
    kind = call["result"]
    if kind == "scalar":
        return INTEGERS[call["scalar"]]
    if kind in ("borrowed pointer", "owned pointer"):
        return f"{call['target']} *"
    return {"none": "void", "text": "char const *", "object": "char const *"}[kind]


# What -builtin needs beside the method's name.
SLOTS = {
    "__getitem__": '"mp_subscript", functype="binaryfunc"',
    "__setitem__": '"mp_ass_subscript", functype="objobjargproc"',
    "__len__": '"mp_length", functype="lenfunc"',
}


# Subscripts that are measured do the module's work.
ELEMENTS = {
    "VSTeamPolicy": "{ return index <= 31 ? (char const *)$self->uplinkPortName[index] : 0; }",
    "RTMIOCtlQuery": "{ return (unsigned)index < $self->numPortsets ? &$self->rtmPs[index] : 0; }",
}


def method(record: dict[str, Any], method: dict[str, Any]) -> list[str]:
    name = method["name"]
    rest = method["arguments"][1:]
    lines = []
    if name in SLOTS:
        lines.append(f'    %feature("python:slot", {SLOTS[name]}) {name};')
    body = "{ }" if method["result"] == "none" else "{ return 0; }"
    if method["result"] == "owned pointer":
        lines.append(f"    %newobject {name};")
        if name == "__getitem__" and method["target"] == record["name"]:
            target = method["target"]
            body = (
                f"{{ {target} *copy = malloc(sizeof *copy); if (copy) memcpy(copy, $self + index, sizeof *copy); "
                "return copy; }"
            )
    elif name == "__getitem__" and record["name"] in ELEMENTS:
        body = ELEMENTS[record["name"]]
        # What another record's subscript gives new is given to all of that name unless they say otherwise.
        lines.append(f'    %feature("new", "") {name};')
    elif name == "__len__":
        body = "{ return (int)*(unsigned int *)$self; }"
    elif name == "set_mac_address" and len(rest) == 1:
        body = "{ memcpy($self->macAddress, SIX_BYTES, 6); }"
    elif name == "__setitem__" and rest[1]["typemap"] == "pointer" and method["result"] == "none":
        body = "{ (void)index; }"
    return [*lines, f"    {result_type(method)} {name}({', '.join(map(parameter, rest))}) {body}"]


def record(row: dict[str, Any]) -> list[str]:
    name = row["name"]
    macs = [declared(field["type"], field["name"]) for field in row["fields"] if field["kind"] == "mac"]
    lines = [f"%apply unsigned char MAC[6] {{ {mac} }};" for mac in macs]
    tag = f"{name} " if any(field["type"] == f"struct {name} *" for field in row["fields"]) else ""
    lines.append(f"typedef struct {tag}{{")
    for field in row["fields"]:
        # The rows give embedded records as the pointers that scripts see.
        native_type = field["type"].removesuffix(" *") if field["kind"] == "record" else field["type"]
        line = f"  {declared(native_type, field['name'])};"
        lines.append(f"  %immutable;\n{line}\n  %mutable;" if field["read_only"] else line)
    if row["counted"] or row["methods"]:
        lines.append("  %extend {")
        if row["counted"]:
            lines.append(
                f"    {name}(int count) {{ {name} *made = calloc(1, sizeof *made + (size_t)count * 128); "
                "if (made) *(unsigned int *)made = (unsigned int)count; return made; }"
            )
            lines.append(f"    ~{name}() {{ free($self); }}")
        for row_method in row["methods"]:
            lines += method(row, row_method)
        lines.append("  }")
    lines.append(f"}} {name};")
    lines += [f"%clear {mac};" for mac in macs]
    return lines


def helper(call: dict[str, Any]) -> list[str]:
    """A function of the module's own, which no library has."""
    name, arguments = call["name"], call["arguments"]
    parameters = ", ".join(map(parameter, arguments)) or "void"
    lines = []
    if name.startswith("alloc_"):
        size = f" + (size_t){arguments[0]['name']} * 512" if arguments else ""
        body = f"{{ return calloc(1, sizeof({call['target']}){size}); }}"
    elif name.startswith("free_"):
        body = f"{{ free({parameters.rsplit('*', 1)[-1]}); }}"
    elif name == "VSQEL_GetSwitchesPy":
        lines.append(f"%newobject {name};")
        body = "{ VSList *list = NULL; return VSQEL_GetSwitches(listType, &list) == 0 ? list : NULL; }"
    else:
        body = "{ }" if call["result"] == "none" else "{ return 0; }"
    return [*lines, f"%inline %{{ {result_type(call)} {name}({parameters}) {body} %}}"]


def constant(name: str, value: int | str) -> str:
    if isinstance(value, int) and not -(2**31) <= value < 2**31:
        return f"%constant long long {name} = {value}LL;"
    return f"#define {name} {json.dumps(value) if isinstance(value, str) else value}"


def main(rows_path: str, base_types_path: str) -> None:
    with open(rows_path, encoding="utf-8") as source:
        rows = json.load(source)
    with open(base_types_path, encoding="utf-8") as source:
        base_types = source.read()
    lines = [PROLOGUE]
    lines += HEADER_TYPEDEF.findall(base_types)
    lines += [f"typedef int {name};" for name in [*ENUMERATION.findall(base_types), "VSMACAddrType"]]
    for row in rows["records"]:
        lines += record(row)
    for array, element in (("vidrangeArray", "qel_HNQPortVIDRange"), ("pvlanmapentryArray", "VSPvlanMapEntry")):
        lines.append(f"%array_functions({element}, {array});")
    for call in rows["calls"]:
        name = call["name"]
        if "Array" in name and ("vidrange" in name or "pvlanmapentry" in name):
            continue
        if name.startswith(("alloc_", "free_", "MIRROR_", "get_runtime")) or name == "VSQEL_GetSwitchesPy":
            lines += helper(call)
        else:
            parameters = ", ".join(map(parameter, call["arguments"])) or "void"
            lines.append(f"{result_type(call)} {name}({parameters});")
    lines += [constant(*item) for family in rows["constants"] for item in family["items"]]
    print("\n".join(lines))


if __name__ == "__main__":
    main(*sys.argv[1:])
