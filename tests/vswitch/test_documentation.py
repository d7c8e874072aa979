"""Documentation: every public name and member says what it is, and the package is laid out as told."""

import ast
import inspect
import re
from typing import Any

import pytest
from workspace import SOURCE

import vswitch as v

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]

PACKAGE = SOURCE / "python" / "vswitch"
CLASSES = [getattr(v, name) for name in dir(v) if isinstance(getattr(v, name), type)]


def test_every_public_name_is_documented() -> None:
    for name in dir(v):
        if name == "__version__":
            continue
        text = getattr(v, name).__doc__
        assert text and text.strip(), name


@pytest.mark.parametrize("kind", CLASSES, ids=lambda kind: kind.__name__)  # type: ignore[no-any-return]
def test_every_public_member_is_documented(kind: Any) -> None:
    for name, member in vars(kind).items():
        if name.startswith("_") or not (callable(member) or isinstance(member, (property, classmethod, staticmethod))):
            continue
        text = inspect.getdoc(getattr(kind, name))
        assert text and re.search(r"[.:`]", text), f"{kind.__name__}.{name}"


def test_every_module_begins_with_what_it_is_for() -> None:
    for path in PACKAGE.rglob("*.py"):
        assert ast.get_docstring(ast.parse(path.read_text())), path


def test_no_file_is_longer_than_a_person_reads() -> None:
    for path in PACKAGE.rglob("*.py"):
        if path.name == "status.py" or "desired" in path.parts:
            continue
        assert len(path.read_text().splitlines()) <= 360, path


def test_the_table_of_public_names_is_that_of_the_modules() -> None:
    from importlib import import_module

    for place, names in v._PLACES.items():
        module = import_module(f"vswitch.{place}")
        assert all(hasattr(module, name) for name in names.split()), place
        if place.partition(".")[0] in ("errors", "enums", "values", "handles"):
            assert sorted(module.__all__) == sorted(names.split()), place


# Folders and files from below to above; none imports what stands after it, but within functions.
ROWS = [
    ["errors", "_similar", "_limits", "_arguments", "enums"],
    ["_calls", "_walk", "_hints"],
    ["values"],
    ["handles"],
    ["desired"],
    ["paths", "watch", "topology", "exporter", "coverage"],
    ["cli", "__main__", "testing"],
]
ROW_OF = {name: number for number, row in enumerate(ROWS) for name in row}


def imports_at_the_top(path: Any) -> Any:
    for node in ast.parse(path.read_text()).body:
        if isinstance(node, ast.ImportFrom) and (node.module or "").startswith("vswitch"):
            parts = node.module.split(".")  # type: ignore[union-attr]
            yield from ([parts[1]] if len(parts) > 1 else [alias.name for alias in node.names])


def test_no_module_imports_one_of_a_row_above() -> None:
    for path in PACKAGE.rglob("*.py"):
        part = path.relative_to(PACKAGE).parts[0].removesuffix(".py")
        if part not in ROW_OF:
            continue
        for imported in imports_at_the_top(path):
            # Values stand on errors and enumerations alone.
            if imported in ROW_OF:
                assert ROW_OF[imported] <= ROW_OF[part], f"{path} imports {imported}"
