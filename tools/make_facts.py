"""Writes what the companion layer knows of functions and records beside the module's own tables: who frees what, what
an index or a length is measured by, and what a record holds.

Usage: make_facts.py interface.json > facts.inc
"""

import json
import sys
from collections.abc import Iterator
from typing import Any

from interface_text import Interface

# What is passed as data, by its typemap: a typed pointer is measured in elements.
DATA = {
    "any pointer": "Data::memory",
    "pointer": "Data::elements",
    "raw bytes": "Data::bytes",
    "raw bytes or text": "Data::bytes_or_text",
}
SCALARS = {"unsigned_char": "unsigned_8", "unsigned_short": "unsigned_16", "unsigned_int": "unsigned_32"}


class Facts:
    def __init__(self, interface: Any) -> None:
        self.interface = interface
        self.methods = []  # name, record or None, row or None; in the order of the method table
        for record in interface.records:
            self.methods += [(name, record, row) for name, *_, row in interface.record_functions(record)]
        for name, *_, row in interface.library_functions():
            if not row["overload"]:
                self.methods.append((name, None, row))
        self.positions = {name: index for index, (name, *_) in enumerate(self.methods)}
        self.fields: dict[tuple[str, str], int] = {}  # record and name to the position among all fields
        for record in interface.records:
            for field in record["fields"]:
                self.fields[record["name"], field["name"]] = len(self.fields)

    def taker(self, name: str) -> int:
        """The position of a function that takes memory back, or a handle, which the library knows."""
        row = self.methods[self.positions[name]][2]
        assert "takes_back" in row or row["arguments"][0]["type"].endswith("Handle"), f"{name} takes nothing back"
        return self.positions[name]

    def method(self, name: str, record: dict[str, Any] | None, row: dict[str, Any] | None) -> dict[str, Any]:
        """What is known of a function, by the names of MethodFacts; empty for most."""
        if name == f"delete_{record and record['name']}":
            return {"role": "Role::takes_back", "inputs": 1}
        known: dict[str, Any] = {}
        if row is None:
            return known
        if "taken_back_by" in row:
            known |= {"role": "Role::hands_out", "taken_back_by": self.taker(row["taken_back_by"])}
        if "takes_back" in row:
            known["role"] = "Role::takes_back"
        inputs = [argument for argument in row["arguments"] if not argument["output"]]
        places = {argument["name"]: place for place, argument in enumerate(inputs, 1)}
        for place, argument in enumerate(inputs, 1):
            if argument["typemap"].startswith("raw bytes"):
                known |= {"data": place, "data_kind": DATA[argument["typemap"]]}
            elif argument["typemap"] == "six bytes":
                known["six_bytes"] = place
            if "taken_back_by" in argument:
                known |= {"storage": place, "storage_taken_back_by": self.taker(argument["taken_back_by"])}
            if "length_of" in argument:
                data = inputs[places[argument["length_of"]] - 1]
                known |= {"data": places[data["name"]], "data_kind": DATA[data["typemap"]], "length": place}
            if "index" in argument:
                known["index"] = place
                known |= self.bound(record, argument["index"])
        return known and known | {"inputs": len(inputs)}

    def bound(self, record: dict[str, Any] | None, bound: Any) -> dict[str, Any]:
        if bound is True:
            return {"bound": "Bound::contents"}
        if isinstance(bound, int):
            return {"bound": "Bound::number", "limit": bound}
        assert record
        return {"bound": "Bound::field", "limit": self.fields[record["name"], bound]}

    def contents(self, record: dict[str, Any]) -> dict[str, Any]:
        known = record["contents"]
        name = record["name"]
        counts = [self.fields[name, count] for count in known["counts"]]
        made: dict[str, Any] = {"count": counts[0]}
        if len(counts) > 1:
            made["further_count"] = counts[1]
        if "room" in known:
            made["room"] = known["room"]
        elements = known.get("elements", "__getitem__")
        if f"{name}_{elements}" in self.positions:
            made |= {"elements": "Elements::of_method", "method": self.positions[f"{name}_{elements}"]}
        elif (name, elements) in self.fields:
            target = next(field for field in record["fields"] if field["name"] == elements)["target"]
            made |= {"elements": "Elements::of_array", "array": self.fields[name, elements]}
            of = next((other for other in self.interface.records if other["name"] == target), None)
            if of is None:
                made["scalar"] = f"Scalar::{SCALARS[target]}"
            else:
                made |= {"stride": of["size"], "copied": "true" if self.copies(of) else "false"}
        return made

    def copies(self, record: dict[str, Any]) -> bool:
        """Whether the index of a record gives copies of those behind it."""
        return any(
            method["name"] == "__getitem__"
            and method["result"] == "owned pointer"
            and method["target"] == record["name"]
            for method in record["methods"]
        )

    def write(self) -> Iterator[str]:
        sets: list[dict[str, Any]] = [{}]
        which = []
        for method in self.methods:
            known = self.method(*method)
            if known not in sets:
                sets.append(known)
            which.append(sets.index(known))
        assert len(sets) < 256
        held: list[dict[str, Any]] = [{}]
        of_record = []
        for record in self.interface.records:
            of_record.append(len(held) if "contents" in record else 0)
            if "contents" in record:
                held.append(self.contents(record))
        order = ["inputs", "role", "taken_back_by", "storage", "storage_taken_back_by", "data", "data_kind", "length"]
        order += ["six_bytes", "index", "bound", "limit"]
        yield table("MethodFacts", "method_facts", sets, order)
        yield f"constexpr std::uint8_t facts_of_method[] = {{{', '.join(map(str, which))}}};\n"
        order = ["room", "stride", "count", "further_count", "method", "array", "elements", "copied", "scalar"]
        yield table("RecordContents", "contents", held, order)
        also = [
            f"    {{{self.fields[record['name'], field['name']]}, {field['also'][1]}}},\n"
            for record in self.interface.records
            for field in record["fields"]
            if "also" in field
        ]
        yield f"constexpr AlsoAccepted also_accepted[] = {{\n{''.join(also)}}};\n"
        yield f"constexpr std::uint8_t contents_of_record[] = {{{', '.join(map(str, of_record))}}};\n"


def table(kind: str, name: str, rows: Any, order: list[str]) -> str:
    lines = []
    for row in rows:
        assert not row.keys() - set(order)
        lines.append("    {" + ", ".join(f".{key} = {row[key]}" for key in order if key in row) + "},\n")
    return f"constexpr {kind} {name}[] = {{\n{''.join(lines)}}};\n"


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as source:
        sys.stdout.writelines(Facts(Interface(json.load(source))).write())
