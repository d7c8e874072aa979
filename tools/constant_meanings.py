"""Reads what constants mean from the source of the enumerations, which needs no built module.

Usage: constant_meanings.py interface.json > families.json
writes the families of the constants, for `vswitch.constants()`.
"""

import ast
import json
import pathlib
import sys
from collections.abc import Iterator
from typing import Any

ENUMERATIONS = pathlib.Path(__file__).resolve().parents[1] / "python" / "vswitch" / "enums"


def meanings() -> dict[str, tuple[str, str, str]]:
    """By name of the constant: the class that has it, the member's name and its meaning."""
    found: dict[str, tuple[str, str, str]] = {}
    for path in sorted(ENUMERATIONS.glob("*.py")):
        for kind in ast.parse(path.read_text(encoding="utf-8")).body:
            if isinstance(kind, ast.ClassDef):
                found.update(members(kind))
    return found


def members(kind: ast.ClassDef) -> Iterator[Any]:
    for line in kind.body:
        if isinstance(line, ast.Assign) and isinstance(line.value, ast.Tuple):
            number, *_, meaning = line.value.elts
            if isinstance(number, ast.Attribute):
                yield number.attr, (kind.name, ast.unparse(line.targets[0]), ast.literal_eval(meaning))


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as source:
        families = json.load(source)["constants"]
    table = [[family["family"], family["doc"], [name for name, _ in family["items"]]] for family in families]
    json.dump(table, sys.stdout, indent=0)
    sys.stdout.write("\n")
