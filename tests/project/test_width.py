"""Lines of sources end at 120 columns; what is set in tables, the lists of constants and of rules, may be wider. A
source of more than 600 lines says in its opening why it is long."""

import itertools
import pathlib
import re
from collections.abc import Iterator

import pytest
from workspace import SOURCE

pytestmark = pytest.mark.pure_python

COLUMNS = 120
LINES = 600
SUFFIXES = {".c", ".cpp", ".h", ".hpp", ".py"}


def sources() -> Iterator[tuple[pathlib.Path, list[str]]]:
    for path in sorted(SOURCE.rglob("*")):
        place = path.relative_to(SOURCE)
        if path.suffix in SUFFIXES and path.is_file() and not place.parts[0].startswith(("build", ".")):
            yield place, path.read_text(encoding="utf-8").splitlines()


def opening(lines: list[str]) -> str:
    """The comment or the documentation that a file begins with."""
    if lines[0].startswith("//"):
        return " ".join(itertools.takewhile(lambda line: line.startswith("//"), lines))
    return "\n".join(lines).split('"""')[1]


def test_lines_end_where_a_window_does() -> None:
    wide = [f"{place}:{number}" for place, lines in sources() for number, line in enumerate(lines, 1)
            if len(line) > COLUMNS]
    assert wide == []


def test_long_files_say_why() -> None:
    long = [(place, lines) for place, lines in sources() if len(lines) > LINES]
    assert len(long) > 5
    assert [str(place) for place, lines in long if not re.search(r"\b[Ll]ong(?:er)?\b", opening(lines))] == []
