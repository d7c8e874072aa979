"""Lines of sources end at 120 columns; what is set in tables, the lists of constants and of rules, may be wider."""

import pytest
from workspace import SOURCE

pytestmark = pytest.mark.pure_python

COLUMNS = 120
SUFFIXES = {".c", ".cpp", ".h", ".hpp", ".py"}


def test_lines_end_where_a_window_does() -> None:
    wide = []
    for path in SOURCE.rglob("*"):
        place = path.relative_to(SOURCE)
        if path.suffix in SUFFIXES and path.is_file() and not place.parts[0].startswith(("build", ".")):
            lines = path.read_text(encoding="utf-8").splitlines()
            wide += [f"{place}:{number}" for number, line in enumerate(lines, 1) if len(line) > COLUMNS]
    assert wide == []
