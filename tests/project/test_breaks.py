"""`make test-breaks`: that the lists fit the sources, and what the tool says of a small project."""

import pathlib
import subprocess
import sys
import textwrap

import pytest
from workspace import SOURCE

pytestmark = pytest.mark.pure_python

TOOL = SOURCE / "tools" / "test_breaks.py"
FILES = {
    ".gitignore": "build/\nbuild-breaks/\n",
    "CMakePresets.json": '{"version": 4, "configurePresets": [{"name": "release", "generator": "Ninja"}]}',
    "CMakeLists.txt": """
        cmake_minimum_required(VERSION 3.25)
        project(small NONE)
        enable_testing()
        add_custom_command(OUTPUT sum.py COMMAND sh ${CMAKE_SOURCE_DIR}/compile ${CMAKE_SOURCE_DIR}/sum.py sum.py
          DEPENDS sum.py)
        add_custom_target(product DEPENDS sum.py)
        add_custom_target(python_tests)
        add_custom_target(program DEPENDS sum.py)
        add_custom_target(cpp_tests DEPENDS product)
        add_test(NAME program.Sum.AddsUp COMMAND program Sum.AddsUp)
        """,
    "compile": """
        grep -q 'return' $1 || { echo "$1: error: nothing is returned"; exit 1; }
        cp $1 $2
        printf '#!/bin/sh\\nexec %s -c "import sum; assert sum.total([1, 2]) == 3"\\n' PYTHON > program
        chmod +x program
        """,
    "sum.py": """
        def total(numbers):
            result = 0
            for number in numbers:
                result += number
            return result
        """,
    "tests/sum_test.cpp": "TEST(Sum, AddsUp) {}\n",
    "tests/test_sum.py": """
        import os, sys
        sys.path.insert(0, os.environ["VSWITCHPY_BUILD"])
        import sum as our

        def test_numbers():
            assert our.total([2, 2]) == 4

        def test_nothing():
            assert our.total([]) == 0
        """,
}


@pytest.fixture
def project(tmp_path: pathlib.Path) -> pathlib.Path:
    for name, text in FILES.items():
        path = tmp_path / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(textwrap.dedent(text).replace("PYTHON", sys.executable))
    subprocess.run(["git", "init", "-q", tmp_path], check=True)
    (tmp_path / "tests" / "breaks").mkdir()
    return tmp_path


def break_of(text: str, replacement: str, *tests: str, name: str = "", file: str = "sum.py") -> str:
    return (f"[[break]]\nname = {name or text!r}\nfile = {file!r}\ntext = {text!r}\nreplacement = {replacement!r}\n"
            f"tests = {list(tests)}\n").replace("'", '"')


def run(project: pathlib.Path, *breaks: str, arguments: tuple[str, ...] = ()) -> tuple[int, str]:
    (project / "tests" / "breaks" / "small.toml").write_text("\n".join(breaks))
    process = subprocess.run([sys.executable, TOOL, *arguments], cwd=project, text=True, timeout=120, check=False,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return process.returncode, process.stdout


NUMBERS = "tests/test_sum.py::test_numbers"
NOTHING = "tests/test_sum.py::test_nothing"


def test_the_lists_fit_the_sources() -> None:
    lists = list((SOURCE / "tests" / "breaks").glob("*.toml"))
    assert lists
    process = subprocess.run([sys.executable, TOOL, "--check"], cwd=SOURCE, text=True, timeout=60, check=False,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    assert (process.returncode, process.stdout) == (0, "")


def test_breaks_are_caught_or_survive(project: pathlib.Path) -> None:
    code, said = run(
        project,
        break_of("result += number", "result -= number", NUMBERS, name="taken away"),
        break_of("result = 0", "result = 1", "ctest:Sum.AddsUp", name="counts from one"),
        break_of("for number in numbers", "for number in numbers[:1]", NOTHING, name="the first only"),
        break_of("return result", "", "build", name="nothing is returned"),
        break_of("numbers)", "numbers, *, base)", NUMBERS, NOTHING, name="another argument"),
    )
    lines = said.splitlines()
    assert code == 1, said
    assert [line.split()[0] for line in lines[1:6]] == ["caught", "caught", "caught", "caught", "SURVIVED"], said
    assert lines[1].endswith(f"sum.py: another argument  [{NUMBERS}]")
    assert lines[2].endswith("sum.py: counts from one  [program.Sum.AddsUp]")
    assert lines[3].endswith("sum.py: nothing is returned  [the build]")
    assert lines[5].endswith("sum.py: the first only")
    assert lines[6].startswith("4 of 5 breaks caught, in ")
    assert lines[7] == "survived: the first only"


def test_two_files_are_broken_in_two_copies(project: pathlib.Path) -> None:
    (project / "tests" / "test_text.py").write_text(
        "def test_is_known():\n    assert 'cmake_minimum' in open('CMakeLists.txt').read()\n")
    code, said = run(
        project,
        break_of("result += number", "result -= number", NUMBERS, name="taken away"),
        break_of(
            "cmake_minimum_required",
            "cmake_maximum_required",
            "sources:tests/test_text.py",
            file="CMakeLists.txt",
            name="another command",
        ),
        arguments=("--trees", "2"),
    )
    assert (code, "2 of 2 breaks caught" in said) == (0, True), said
    assert sorted(path.name for path in (project / "build-breaks").glob("tree-*")) == ["tree-1", "tree-2"]


def test_what_looks_at_the_sources_needs_no_build(project: pathlib.Path) -> None:
    (project / "tests" / "test_text.py").write_text(
        "def test_all_are_added():\n    assert '+= number' in open('sum.py').read()\n")
    broken = break_of("return result", "return results", "sources:tests/test_text.py", name="a slip")
    refused = break_of("result += number", "", "sources:tests/test_text.py", name="nothing is added")
    code, said = run(project, refused, broken)
    assert (code, [line.split()[0] for line in said.splitlines()[1:3]]) == (1, ["SURVIVED", "caught"]), said
    assert "return result\n" in (project / "build-breaks" / "tree-1" / "build" / "sum.py").read_text()
    before = (project / "build-breaks" / "tree-1" / "sum.py").stat().st_mtime_ns
    assert run(project, refused)[0] == 0
    assert (project / "build-breaks" / "tree-1" / "sum.py").stat().st_mtime_ns == before


def test_nothing_of_a_break_is_left(project: pathlib.Path) -> None:
    before = (project / "sum.py").read_bytes()
    broken = break_of("result += number", "result -= number", NUMBERS, name="taken away")
    assert run(project, broken)[0] == 0
    assert (project / "sum.py").read_bytes() == before
    copy = project / "build-breaks" / "tree-1" / "sum.py"
    assert copy.read_bytes() == before
    # What a killed run would have left is put right, too.
    copy.write_text("def total(numbers): return 7\n")
    code, said = run(project, broken)
    assert (code, "1 of 1 breaks caught" in said) == (0, True), said


@pytest.mark.parametrize(
    ("listed", "complaint"),
    [
        (break_of("result *= number", "", NUMBERS), "small.toml: result *= number: sum.py does not have the text"),
        (break_of("number", "", NUMBERS), "small.toml: number: sum.py has the text 4 times"),
        (break_of("return", "", NUMBERS, file="product.py"), "small.toml: return: product.py is no file"),
        (break_of("return", "return", NUMBERS), "small.toml: return: the replacement is the text"),
        (break_of("return", "yield"), "small.toml: return: no tests"),
        (break_of("return", "yield", "tests/test_sum.py::test_other"),
         "small.toml: return: tests/test_sum.py::test_other: no test_other in it"),
        (break_of("return", "yield", "tests/test_product.py"),
         "small.toml: return: tests/test_product.py: no such file"),
        (break_of("return", "yield", "ctest:Sum.Adds"), "small.toml: return: ctest:Sum.Adds: no such test"),
        (break_of("return", "yield", NUMBERS) * 2, "twice: return"),
        (break_of("return", "yield", NUMBERS) + "by = 'me'\n",
         "small.toml: return: keys ['by', 'file', 'name', 'replacement', 'tests', 'text'], not"
         " ['file', 'name', 'replacement', 'tests', 'text']"),
        ("[[brake]]\n", "small.toml: brake: only [[break]] is known"),
        ("", "no break is meant"),
    ],
)
def test_a_list_that_does_not_fit_is_refused(project: pathlib.Path, listed: str, complaint: str) -> None:
    assert run(project, listed, arguments=("--check",)) == (2, complaint + "\n")
    assert not (project / "build-breaks").exists()


def test_what_does_not_build_is_no_break(project: pathlib.Path) -> None:
    code, said = run(project, break_of("return result", "", NUMBERS, name="nothing is returned"))
    assert code == 1
    assert "WRONG" in said and "does not build" in said and "nothing is returned" in said, said
    assert "0 of 1 breaks caught" in said


def test_tests_that_fail_anyway_catch_nothing(project: pathlib.Path) -> None:
    (project / "sum.py").write_text("def total(numbers):\n    result = 5\n    return result\n")
    code, said = run(project, break_of("result = 5", "result = 6", NUMBERS))
    assert (code, said) == (2, f"fails before anything is broken: {NUMBERS}\n")


def test_some_are_chosen(project: pathlib.Path) -> None:
    breaks = [break_of(text, "1", NUMBERS) for text in ("result = 0", "result +=", "return result")]
    chosen = "name = \"result +=\""
    assert chosen in "\n".join(breaks)
    assert run(project, *breaks, arguments=("--check", "--name", "nobody's")) == (2, "no break is meant\n")
    assert run(project, *breaks, arguments=("--check", "--file", "other")) == (2, "no break is meant\n")
    assert run(project, *breaks, arguments=("--check", "--file", "small.toml", "--name", "+=")) == (0, "")
    drawn = [run(project, *breaks, arguments=("--check", "--draw", "2", "--seed", "5")) for _ in range(2)]
    assert drawn == [(0, "seed 5\n")] * 2


def test_lines_are_drawn_by_their_seed(project: pathlib.Path) -> None:
    texts = {
        "runtime/calls.cpp": "// words\n#include <x>\n}\n\nreturn 1;\nreturn 2;\nreturn 3;\n",
        "python/vswitch/text.py": "import sys\nvalue = 1\n",
        "platform/core/text.cpp": "return 4;\n",
        "platform/forwarding/pipeline.cpp": "return 5;\n",
    }
    for name, text in texts.items():
        (project / name).parent.mkdir(parents=True)
        (project / name).write_text(text)
    objects, host = "python/vswitch/text.py:2: value = 1", "platform/core/text.cpp:1: return 4;"
    module = {f"runtime/calls.cpp:{line}: return {line - 4};" for line in (5, 6, 7)}
    orders = set()
    for seed in ("1", "1", "2", "3", "4"):
        code, said = run(project, arguments=("--lines", "9", "--seed", seed, "--parts", "module,objects,host"))
        lines = said.splitlines()
        assert (code, lines[0], lines[2:4]) == (0, f"seed {seed}", [objects, host])
        assert {lines[1], *lines[4:]} == module and len(lines) == 6
        orders.add((seed, *lines))
    assert len(orders) == 4 and len({order[2:] for order in orders}) > 1
    code, said = run(project, arguments=("--lines", "9"))
    assert code == 0 and "platform/forwarding/pipeline.cpp:1: return 5;" in said.splitlines()
    code, said = run(project, arguments=("--lines", "9", "--parts", "home"))
    assert code == 2 and said.endswith("no part 'home': there are forwarding, host, layer, module, objects\n")
