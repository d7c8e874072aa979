"""How verbs print: tables for people and for pipes, JSON, YAML, progress, and errors in one line."""

from __future__ import annotations

import os
import sys
from collections.abc import Iterable, Mapping, Sequence
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from rich.console import Console

NOTHING = "-"  # an empty cell


class Style:
    """What the global options say about output."""

    def __init__(self, *, json: bool = False) -> None:
        self.json = json
        self.quiet = False
        self.color = True
        self.dry_run = False


def on_terminal() -> bool:
    """Whether standard output is a terminal."""
    try:
        return sys.stdout.isatty()
    except ValueError:  # closed
        return False


def console(style: Style) -> Console:
    """Rich's console for standard output."""
    from rich.console import Console

    return Console(no_color=not style.color or bool(os.environ.get("NO_COLOR")), highlight=False)


def put(style: Style, text: str) -> None:
    """Prints a text as it is, with one newline at its end; nothing where it is empty or output is not wanted."""
    if text and not style.quiet:
        sys.stdout.write(text if text.endswith("\n") else text + "\n")


def _json(value: object, *, indent: int | None = None) -> str:
    import json  # not needed for most answers

    return json.dumps(value, indent=indent, ensure_ascii=False)


def put_json(style: Style, value: object) -> None:
    """Prints one JSON document, two blanks deep."""
    if not style.quiet:
        print(_json(value, indent=2))


def put_line_json(style: Style, value: object) -> None:
    """Prints one line of a stream of JSON."""
    if not style.quiet:
        print(_json(value), flush=True)


def answer(style: Style, text: str, value: object) -> None:
    """Prints the text, or the value where JSON is wanted."""
    if style.json:
        put_json(style, value)
    else:
        put(style, text)


def put_value(style: Style, value: object, names: Iterable[str] = ()) -> None:
    """Prints a value: a text as it is, anything else as YAML, or JSON. names: where it is in a document."""
    if style.json:
        put_json(style, value)
    else:
        put(style, yaml_text(value, names))


def yaml_text(value: object, names: Iterable[str] = ()) -> str:
    """A value as YAML, a text as it is. names: where it is in a document."""
    if isinstance(value, str):
        return value
    if value is None or isinstance(value, bool | int):
        return str(value) if type(value) is int else _json(value)
    from vswitch.desired.yaml_text import lines_at, to_yaml

    return to_yaml(value, lines_at(names))


def cell(value: object) -> str:
    """The text of a value in a table."""
    if value is None or value == "":
        return NOTHING
    if isinstance(value, bool):
        return "yes" if value else "no"
    if isinstance(value, list | tuple):
        return ",".join(cell(each) for each in value) or NOTHING
    if isinstance(value, Mapping):
        return _json(value)
    return str(value)


def plain_value(value: object) -> Any:
    """A value of a table in JSON: enumerations as their texts, numbers and texts as they are."""
    from enum import Enum

    if isinstance(value, Enum):
        return str(value)
    if value == "":
        return None
    if isinstance(value, list | tuple):
        return [plain_value(each) for each in value]
    if hasattr(value, "to_dict"):
        from vswitch.values.kinds import short

        return short(value)
    return value


def put_table(style: Style, heads: str, rows: Iterable[Sequence[object]], *, texts: Sequence[Any] = ()) -> None:
    """Prints a table.

    heads: the columns' names, separated by blanks. rows: the values in their own types. texts: for a column by its
    position a function that gives its text where `cell` is not enough, or None.
    """
    names = heads.split()
    values = [tuple(row) for row in rows]
    if style.json:
        keys = [name.lower() for name in names]
        put_json(style, [dict(zip(keys, map(plain_value, row), strict=True)) for row in values])
        return
    if style.quiet or not values:
        return
    functions = [*texts, *[None] * (len(names) - len(texts))]
    cells = [[(function or cell)(value) for function, value in zip(functions, row, strict=True)] for row in values]
    widths = [max(map(len, column)) for column in zip(names, *cells, strict=True)]
    # Cells broken into letters help nobody: a terminal that is too narrow wraps whole lines.
    if on_terminal() and sum(widths) + 2 * len(widths) <= console(style).width:
        _put_rich_table(style, names, cells)
        return
    for line in [names, *cells]:
        print("  ".join(text.ljust(width) for text, width in zip(line, widths, strict=True)).rstrip())


def _put_rich_table(style: Style, names: Sequence[str], cells: Iterable[Sequence[str]]) -> None:
    from rich.table import Table
    from rich.text import Text

    table = Table(box=None, padding=(0, 2, 0, 0), header_style="bold cyan")
    for name in names:
        table.add_column(name, no_wrap=True)
    for row in cells:
        table.add_row(*(Text(text, style="dim" if text == NOTHING else "") for text in row))
    console(style).print(table)


def put_diff(style: Style, text: str) -> None:
    """Prints a plan's diff, in colours on a terminal."""
    if style.quiet or not text:
        return
    if not on_terminal():
        put(style, text)
        return
    from rich.text import Text

    colors = {"+": "green", "-": "red", "~": "yellow"}
    screen = console(style)
    for line in text.splitlines():
        screen.print(Text(line, style=colors.get(line.strip()[:1], "bold")), soft_wrap=True)


def complain(style: Style, error: Mapping[str, object]) -> None:
    """Prints an error on standard error: one line, or JSON. error: as `Error.to_dict()` gives it."""
    if style.json:
        text = _json({"error": error}, indent=2)
    else:
        text = "vswitch: " + " ".join(str(error["message"]).split("\n"))
    try:
        print(text, file=sys.stderr, flush=True)
    except (OSError, ValueError):  # nobody listens any more; the exit code says it
        pass
