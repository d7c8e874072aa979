"""The manual's page that maps each call of the library to its place among the objects, from `vswitch.coverage()`."""

import pathlib
import sys
from collections.abc import Iterator
from typing import Any

PYTHON = pathlib.Path(__file__).resolve().parents[1] / "python"


def calls_page() -> str:
    """The page as reStructuredText."""
    sys.path.insert(0, str(PYTHON))
    try:
        from vswitch.coverage import coverage
    finally:
        sys.path.remove(str(PYTHON))
    places = coverage()
    used = {call: place for call, place in places.items() if not place.startswith("not used: ")}
    unused = {call: place.removeprefix("not used: ") for call, place in places.items() if call not in used}
    lines = [
        "Calls and their places",
        "======================",
        "",
        f"Where ``vswitch`` uses each of the library's {len(places)} calls: {len(used)} of them, and why the other"
        f" {len(unused)} are not needed. The same as data: ``vswitch.coverage()``.",
        "",
        *table(("Call", "Place"), used, "``{}``"),
        "",
        "Not used",
        "--------",
        "",
        *table(("Call", "Reason"), unused, "{}"),
        "",
    ]
    return "\n".join(lines)


def table(header: tuple[str, str], rows: Any, form: str) -> Iterator[str]:
    """A table of calls, which are links to their reference."""
    yield from [".. list-table::", "   :header-rows: 1", "   :widths: 45 55", ""]
    yield from [f"   * - {header[0]}", f"     - {header[1]}"]
    for call, text in rows.items():
        yield from [f"   * - :py:func:`{call} <libvswitch.{call}>`", f"     - {form.format(text)}"]
