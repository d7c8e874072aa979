"""`tools/lint.py`, on a small project with a stand-in for clang-tidy: what it looks at, and what it skips."""

import json
import os
import pathlib
import subprocess
import sys

import pytest
from workspace import SOURCE

pytestmark = pytest.mark.pure_python

# Says something of every source that has the word, and notes which it was asked for.
TIDY = """#!/bin/sh
if [ "$1" = --version ]; then echo version 1; exit 0; fi
for source; do :; done
echo "$source" >> "$NOTES"
grep -n wrong "$source" && exit 1
exit 0
"""


@pytest.fixture
def project(tmp_path: pathlib.Path) -> pathlib.Path:
    for name, text in {
        "runtime/sum.hpp": "int sum(int a, int b);\n",
        "runtime/sum.cpp": '#include "runtime/sum.hpp"\nint sum(int a, int b) { return a + b; }\n',
        "runtime/other.cpp": "int other() { return 1; }\n",
        ".clang-tidy": "Checks: bugprone-*\n",
        "programs/clang-tidy": TIDY,
        "programs/clang-format": "#!/bin/sh\nexit 0\n",
    }.items():
        path = tmp_path / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)
    for program in (tmp_path / "programs").iterdir():
        program.chmod(0o755)
    commands = [
        {
            "directory": str(tmp_path),
            "file": str(tmp_path / name),
            "command": f"c++ -I{tmp_path} -o x.o -c {tmp_path / name}",
        }
        for name in ("runtime/sum.cpp", "runtime/other.cpp")
    ]
    (tmp_path / "build").mkdir()
    (tmp_path / "build" / "compile_commands.json").write_text(json.dumps(commands))
    subprocess.run(["git", "init", "-q", tmp_path], check=True)
    subprocess.run(["git", "add", "runtime", ".clang-tidy"], cwd=tmp_path, check=True)
    return tmp_path


def lint(project: pathlib.Path) -> tuple[int, str, list[str]]:
    """Exit code, what was said, and what was looked at."""
    notes = project / "notes"
    notes.write_text("")
    environment = dict(os.environ, PATH=f"{project / 'programs'}:{os.environ['PATH']}", NOTES=str(notes))
    process = subprocess.run([sys.executable, SOURCE / "tools" / "lint.py", "build"], cwd=project, env=environment,
                             text=True, capture_output=True, timeout=60, check=False)
    return process.returncode, process.stdout, sorted(notes.read_text().split())


def test_what_was_clean_is_not_looked_at_again(project: pathlib.Path) -> None:
    assert lint(project) == (0, "", ["runtime/other.cpp", "runtime/sum.cpp"])
    assert lint(project) == (0, "", [])


def test_a_change_of_a_header_is_a_change_of_who_includes_it(project: pathlib.Path) -> None:
    lint(project)
    (project / "runtime" / "sum.hpp").write_text("int sum(int a, int b); // of two\n")
    assert lint(project) == (0, "", ["runtime/sum.cpp"])


def test_a_change_of_the_checks_or_of_the_command_counts(project: pathlib.Path) -> None:
    lint(project)
    (project / ".clang-tidy").write_text("Checks: misc-*\n")
    assert lint(project) == (0, "", ["runtime/other.cpp", "runtime/sum.cpp"])
    commands = project / "build" / "compile_commands.json"
    commands.write_text(commands.read_text().replace("c++ ", "c++ -DMORE ", 1))
    assert lint(project) == (0, "", ["runtime/sum.cpp"])


def test_what_is_not_clean_is_said_each_time(project: pathlib.Path) -> None:
    (project / "runtime" / "other.cpp").write_text("int wrong() { return 1; }\n")
    for _ in range(2):
        code, said, looked_at = lint(project)
        assert (code, said) == (1, "1:int wrong() { return 1; }\n")
        assert "runtime/other.cpp" in looked_at


def test_a_source_that_is_not_built_is_named(project: pathlib.Path) -> None:
    (project / "runtime" / "new.cpp").write_text("int new_one() { return 1; }\n")
    subprocess.run(["git", "add", "runtime"], cwd=project, check=True)
    assert lint(project)[0] == 1
