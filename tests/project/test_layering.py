"""Who may include whom, folder by folder; no headers or modules that need each other; one owner for each table."""

import collections
import pathlib
import re
from collections.abc import Iterator

import pytest
from workspace import SOURCE

pytestmark = pytest.mark.pure_python

# What the C and C++ files of a folder may include of other folders of the project. All folders with such files stand
# here; an entry that nobody needs any more has to go.
ALLOWED: dict[str, set[str]] = {
    "bench/host": {"constants", "interface", "platform/core", "platform/forwarding", "platform/sim"},
    "bench/module": {"interface"},
    "companion": {"runtime"},
    "constants": {"runtime"},
    "extensions": {"constants", "interface", "runtime"},
    "fuzz": {"interface", "platform/core", "platform/sim", "platform/tool", "tests/forwarding", "tests/host"},
    "interface": {"constants", "extensions", "runtime"},
    "platform/core": {"constants", "interface", "platform/forwarding"},
    "platform/dvs": {"interface", "platform/core"},
    "platform/forwarding": {"constants"},
    "platform/sim": {"interface", "platform/core", "platform/forwarding"},
    "platform/tool": {"platform/core", "platform/sim"},
    "platform/vswitch": {"interface", "platform/core"},
    "python/vswitch/simulated": {"platform/sim"},
    "runtime": set(),
    "tests/extensions": set(),
    "tests/forwarding": {"constants", "platform/forwarding"},
    "tests/host": {"constants", "fuzz", "interface", "platform/core"},
    "tests/reliability": set(),
    "tests/runtime": {"interface", "runtime"},
    "tests/sim": {"constants", "interface", "platform/core", "platform/forwarding", "platform/sim", "tests/forwarding"},
    "tests/support": set(),
    "tools": {"constants", "interface"},
}
# Folders whose headers, and whose modules (a source with the header of its name), do not need each other in a circle.
ACYCLIC = ("platform/", "constants/")
SUFFIXES = (".c", ".cpp", ".h", ".hpp", ".def", ".cpp.in")
# SQL on a table stands in one module. What a migration copies, and the definitions themselves, are about all tables.
TABLE_USE = re.compile(r"\b(?:FROM|JOIN|INTO|UPDATE)\s+(?:OR \w+ )?([a-z]\w*)\b")
ABOUT_ALL_TABLES = {"platform/core/format_2", "platform/core/format_3", "platform/core/migration"}


def sources() -> Iterator[tuple[pathlib.Path, str]]:
    for path in sorted(SOURCE.rglob("*")):
        place = path.relative_to(SOURCE)
        if path.name.endswith(SUFFIXES) and path.is_file() and not place.parts[0].startswith(("build", ".")):
            yield place, path.read_text(errors="replace")


def includes() -> Iterator[tuple[pathlib.PurePosixPath, pathlib.PurePosixPath]]:
    """(file, the project's file that it includes)"""
    for place, text in sources():
        for name in re.findall(r'^\s*#\s*include "([^"]+)"', text, re.MULTILINE):
            target = pathlib.PurePosixPath(name) if "/" in name else place.parent / name
            if (SOURCE / target).exists():
                yield pathlib.PurePosixPath(place), pathlib.PurePosixPath(target)


def circles(graph: dict[str, set[str]]) -> list[list[str]]:
    """The groups of nodes that reach each other."""
    reachable: dict[str, set[str]] = {}
    for start in graph:
        found: set[str] = set()
        waiting = [start]
        while waiting:
            for after in graph.get(waiting.pop(), ()):
                if after not in found:
                    found.add(after)
                    waiting.append(after)
        reachable[start] = found
    groups = {tuple(sorted(other for other in reach if node in reachable.get(other, ()))) for node, reach in
              reachable.items() if node in reach}
    return [list(group) for group in sorted(groups)]


def test_a_circle_is_found() -> None:
    assert circles({"a": {"b"}, "b": {"c"}, "c": {"b"}, "d": {"a"}}) == [["b", "c"]]
    assert circles({"a": {"b", "c"}, "b": {"c"}}) == []


def test_every_folder_with_sources_is_listed() -> None:
    assert {str(place.parent) for place, _ in sources()} == set(ALLOWED)


def test_folders_include_only_what_they_may() -> None:
    used = collections.defaultdict(set)
    for file, target in includes():
        if file.parent != target.parent:
            used[str(file.parent)].add(str(target.parent))
    wrong = {f"{folder} -> {target}" for folder, targets in used.items() for target in targets
             if target not in ALLOWED[folder]}
    assert wrong == set()
    assert {folder: targets for folder, targets in ALLOWED.items() if targets - used[folder]} == {}


@pytest.mark.parametrize("node", ["file", "module"])
def test_nothing_is_included_in_a_circle(node: str) -> None:
    graph = collections.defaultdict(set)
    for file, target in includes():
        ends = (str(file), str(target)) if node == "file" else (str(file.with_suffix("")), str(target.with_suffix("")))
        if all(end.startswith(ACYCLIC) for end in ends) and ends[0] != ends[1]:
            graph[ends[0]].add(ends[1])
    assert len(graph) > 50
    assert circles(graph) == []


def test_each_table_has_one_module() -> None:
    tables = set(re.findall(r"CREATE TABLE (\w+)", (SOURCE / "platform" / "core" / "format_3.hpp").read_text()))
    assert len(tables) > 30
    modules = collections.defaultdict(set)
    for place, text in sources():
        module = str(place.with_suffix(""))
        if not module.startswith("platform/") or module in ABOUT_ALL_TABLES:
            continue
        # Literals that stand beside each other are one.
        statements = re.sub(r'"\s*"', "", "\n".join(re.findall(r'"(?:[^"\\]|\\.)*"(?:\s*"(?:[^"\\]|\\.)*")*', text)))
        for table in TABLE_USE.findall(statements):
            if table in tables:
                modules[table].add(module)
    assert {table: users for table, users in modules.items() if len(users) > 1} == {}
    assert len(modules) > 25
