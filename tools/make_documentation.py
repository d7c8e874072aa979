"""Writes the documentation that the companion layer carries: the texts and where each begins.

Usage: make_documentation.py interface.json > documentation.inc
"""

import json
import sys
import textwrap
from collections.abc import Iterable
from typing import Any

from interface_text import Interface

WIDTH = 96


def wrapped(text: str) -> str:
    return textwrap.fill(text, WIDTH, break_long_words=False, break_on_hyphens=False)


def with_signature(name: str, arguments: Any, text: str) -> str:
    names = [argument for argument, _ in arguments]
    return f"{name}({', '.join([*names, '/']) if names else ''})\n--\n\n{wrapped(text)}"


class Texts:
    """Texts back to back, each with its terminator."""

    def __init__(self) -> None:
        self.size = 0
        self.lines: list[str] = []

    def add(self, text: str) -> int:
        offset = self.size
        self.size += len(text.encode()) + 1
        self.lines.append(json.dumps(text, ensure_ascii=False)[:-1] + '\\0"')
        return offset

    def table(self, name: str, texts: Iterable[str]) -> str:
        offsets = [str(self.add(text)) for text in texts]
        return f"constexpr std::uint32_t {name}[] = {{{', '.join(offsets)}}};\n"


def documentation(interface: Interface) -> str:
    texts = Texts()
    functions = []
    for record in interface.records:
        functions += [with_signature(name, arguments, text)
                      for name, arguments, _, text, _ in interface.record_functions(record)]
    for name, arguments, _, text, row in interface.library_functions():
        if row["overload"]:
            # The other form of the function before: its signature cannot be told in one line.
            functions[-1] = functions[-1].split("\n--\n\n", 1)[1] + "\n\n" + wrapped(text)
        else:
            functions.append(with_signature(name, arguments, text))
    tables = [
        texts.table("record_texts", [wrapped(record["doc"]) for record in interface.records]),
        texts.table(
            "field_texts",
            [wrapped(interface.field_text(field)) for record in interface.records for field in record["fields"]],
        ),
        texts.table("method_texts", functions),
    ]
    return "constexpr char documentation_texts[] =\n" + "\n".join(texts.lines) + ";\n" + "".join(tables)


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as source:
        sys.stdout.write(documentation(Interface(json.load(source))))
