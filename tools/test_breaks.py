"""Breaks the sources in small ways, one after the other, and sees whether the tests named for each notice.

Usage: test_breaks.py [--file TOML] [--name PART] [--draw K [--seed N]] [--check]
       test_breaks.py --lines K [--seed N] [--parts PART,...]

A list is tests/breaks/*.toml, tables [[break]]:

    name = "an attribute takes any record"
    file = "companion/members.cpp"                  the source
    text = "return is_record(object) && as_record(object)->type == type ?"          stands there exactly once
    replacement = "return is_record(object) && type ?"
    tests = ["tests/companion/test_every_attribute.py::test_no_accessor_takes_memory_of_another_type"]

One of the tests has to fail: of GoogleTest by suite and name, of pytest by what `pytest` takes (behind "sources:" where
it looks at the sources and at nothing built), or "build", where the compiler is to refuse. Everything happens in copies
of the tree, build-breaks/tree-1 and so on, one for each processor, each with a build folder of its own: the tests must
pass there before anything is broken. They share what is compiled, by ccache. A list whose texts or tests are not there
any more is an error.
"""

from __future__ import annotations

import argparse
import concurrent.futures
import dataclasses
import itertools
import json
import os
import pathlib
import queue
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
import tomllib

SOURCE = pathlib.Path.cwd()
SCRATCH = pathlib.Path("build-breaks")
CTEST = "ctest:"
BUILD = "build"
SOURCES = "sources:"
# What a line is drawn from for a new break. A file belongs to the part that names the most of its path.
PARTS = {
    "forwarding": ("platform/forwarding",),
    "host": ("platform",),
    "layer": ("companion", "python/libvswitch"),
    "module": ("runtime", "extensions"),
    "objects": ("python/vswitch",),
}
# What a break may leave behind without being refused by the compiler.
UNUSED = " ".join(f"-Wno-error=unused-{kind}" for kind in (
    "but-set-parameter", "but-set-variable", "const-variable", "function", "label", "parameter", "value", "variable"))
# Compiling takes most of the time, and no test that is named measures any.
OPTIMISED = "-O0 -DNDEBUG"
# What ccache has to know of headers that are precompiled.
PRECOMPILED = "-fpch-preprocess"
SLOPPINESS = "pch_defines,time_macros"
# Of pytest: a test failed; the modules of the tests could not even be imported.
FAILED = (1, 2)


@dataclasses.dataclass(frozen=True)
class Break:
    name: str
    file: str
    text: str
    replacement: str
    tests: tuple[str, ...]
    list: str


class BadList(Exception):
    """A list that does not fit the sources."""


class Hung(Exception):
    """A command that did not end in time."""


# ---- the lists ---------------------------------------------------------------------------------------------


def read_lists(source: pathlib.Path, only: str | None = None) -> list[Break]:
    """All breaks, ordered by file, so that putting one back and making the next is one compilation."""
    breaks = []
    for path in sorted((source / "tests" / "breaks").glob("*.toml")):
        if only and pathlib.Path(only).stem != path.stem:
            continue
        tables = tomllib.loads(path.read_text(encoding="utf-8"))
        for table in tables.pop("break", []):
            expected = {"name", "file", "text", "replacement", "tests"}
            if set(table) != expected:
                raise BadList(f"{path.name}: {table.get('name', '?')}: keys {sorted(table)}, not {sorted(expected)}")
            breaks.append(Break(**(table | {"tests": tuple(table["tests"])}), list=path.name))
        if tables:
            raise BadList(f"{path.name}: {', '.join(tables)}: only [[break]] is known")
    names = [one.name for one in breaks]
    if doubled := sorted({name for name in names if names.count(name) > 1}):
        raise BadList(f"twice: {', '.join(doubled)}")
    return sorted(breaks, key=lambda one: (one.file, one.name))


def misfits(source: pathlib.Path, breaks: list[Break]) -> list[str]:
    """What is wrong with the breaks for the sources as they are."""
    wrong = []
    defined = set().union(*defined_in(source / "tests").values())
    for one in breaks:
        where = f"{one.list}: {one.name}"
        path = source / one.file
        found = path.read_text(encoding="utf-8").count(one.text) if path.is_file() else -1
        if found != 1:
            problem = {-1: "is no file", 0: "does not have the text"}.get(found, f"has the text {found} times")
            wrong.append(f"{where}: {one.file} {problem}")
        if one.text == one.replacement:
            wrong.append(f"{where}: the replacement is the text")
        if not one.tests:
            wrong.append(f"{where}: no tests")
        for test in one.tests:
            if misname := misnamed(source, defined, test):
                wrong.append(f"{where}: {test}: {misname}")
    return wrong


def defined_in(folder: pathlib.Path) -> dict[pathlib.Path, set[str]]:
    """The tests of GoogleTest that each source defines, as Suite.Name."""
    pattern = re.compile(r"\b(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)")
    return {path: {".".join(names) for names in pattern.findall(path.read_text(encoding="utf-8"))}
            for path in sorted(folder.rglob("*.cpp"))}


def definition(test: str) -> str:
    """As what a test is defined; a parametrised one is named Instance/Suite.Name/Case."""
    suite, _, name = test.removeprefix(CTEST).partition(".")
    return f"{suite.split('/')[-1]}.{name.split('/')[0]}"


def misnamed(source: pathlib.Path, defined: set[str], test: str) -> str | None:
    if test == BUILD:
        return None
    if test.startswith(CTEST):
        return None if definition(test) in defined else "no such test"
    file, *names = re.sub(r"\[.*", "", test.removeprefix(SOURCES)).split("::")
    path = source / file
    if not (path.is_file() or (path.is_dir() and not names)):
        return "no such file"
    text = path.read_text(encoding="utf-8") if names else ""
    missing = [name for name in names if not re.search(rf"^\s*(def|class) {re.escape(name)}\b", text, re.M)]
    return f"no {missing[0]} in it" if missing else None


# ---- the copy ------------------------------------------------------------------------------------------------


def run(command: list[str], folder: pathlib.Path, timeout: float, **variables: str) -> tuple[int, str]:
    """Exit code and what was printed. Whatever the command has started ends with it."""
    environment = {name: value for name, value in os.environ.items() if not name.startswith("VSWITCH")}
    # Two versions of a file in one second would have the same bytecode.
    environment |= {"PYTHONDONTWRITEBYTECODE": "1"} | variables
    process = subprocess.Popen(command, cwd=folder, env=environment, text=True, errors="replace",
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
    try:
        text, _ = process.communicate(timeout=timeout)
    except subprocess.TimeoutExpired:
        raise Hung(f"{command[0]} did not end in {timeout:.0f} s") from None
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
    return process.returncode, text


class Tree:
    """A copy that is broken."""

    def __init__(self, source: pathlib.Path, root: pathlib.Path, python: str, jobs: int, timeout: float) -> None:
        self.source = source
        self.root = root.resolve()
        self.build = self.root / "build"
        self.python = python
        self.jobs = jobs
        self.timeout = timeout
        self.programs: dict[str, tuple[str, str]] = {}

    def copy(self) -> None:
        """Takes over what git knows, or would; what is the same already keeps its time, so that little is compiled."""
        listing = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                                 cwd=self.source, capture_output=True, text=True, check=True).stdout
        names = {name for name in listing.split("\0") if name and (self.source / name).is_file()}
        for old in [path for path in self.root.rglob("*") if path.is_file() and self.build not in path.parents]:
            if str(old.relative_to(self.root)) not in names:
                old.unlink()
        for name in names:
            ours, theirs = self.root / name, self.source / name
            if not ours.is_file() or ours.read_bytes() != theirs.read_bytes():
                ours.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(theirs, ours)
            shutil.copymode(theirs, ours)

    def make(self, targets: set[str]) -> str | None:
        """What the build complained about."""
        if not targets:
            return None
        code, text = run(["ninja", "-C", str(self.build), f"-j{self.jobs}", *sorted(targets)], self.root, 3600,
                         CCACHE_DIR=str(self.root.parent / "ccache"), CCACHE_BASEDIR=str(self.root),
                         CCACHE_NOHASHDIR="1", CCACHE_SLOPPINESS=SLOPPINESS)
        return text if code else None

    def prepare(self, breaks: list[Break]) -> None:
        """Builds all that the breaks' tests need."""
        launcher = shutil.which("ccache") or ""
        code, text = run(
            [
                "cmake",
                "--preset",
                "release",
                "-B",
                str(self.build),
                f"-DPYTHON={self.python}",
                f"-DCMAKE_CXX_FLAGS={UNUSED} {PRECOMPILED}",
                "-DCMAKE_BUILD_TYPE=Broken",
                f"-DCMAKE_CXX_FLAGS_BROKEN={OPTIMISED}",
                f"-DCMAKE_C_FLAGS_BROKEN={OPTIMISED}",
                *(f"-DCMAKE_{language}_COMPILER_LAUNCHER={launcher}" for language in ("C", "CXX")),
            ],
            self.root,
            600,
        )
        tests = {test for one in breaks for test in one.tests}
        of_google = {test for test in tests if test.startswith(CTEST)}
        targets = self.programs_with(of_google)
        if tests != of_google:
            targets.add("product")
        if any(test != BUILD for test in tests - of_google):
            targets.add("python_tests")
        if code or (text := self.make(targets) or ""):
            raise BadList("the tree does not build as it is:\n" + text[-4000:])
        if of_google:
            _, listing = run(["ctest", "--test-dir", str(self.build), "--show-only=json-v1"], self.root, 600)
            for test in json.loads(listing)["tests"]:
                command = test.get("command", ["not built"])
                # As CTest knows it, without the program in front.
                name = test["name"].removeprefix(pathlib.Path(command[0]).name + ".")
                self.programs[name] = test["name"], pathlib.Path(command[0]).name
        missing = [test for test in of_google if not self.ctest_names(test)]
        if missing:
            raise BadList(f"CTest does not know {', '.join(sorted(missing))}")

    def programs_with(self, tests: set[str]) -> set[str]:
        """The programs that the build makes of the sources with these tests; all of them where it does not say."""
        rules = (self.build / "build.ninja").read_text(encoding="utf-8") if tests else ""
        programs = {source: program for program, source in
                    re.findall(r"^build \S*CMakeFiles/(\w+)\.dir/\S+\.o: \S+ (\S+)", rules, re.M)}
        defined = defined_in(self.root / "tests")
        found = {programs.get(str(path), "cpp_tests")
                 for test in tests for path, names in defined.items() if definition(test) in names}
        return {"cpp_tests"} if "cpp_tests" in found else found

    def ctest_names(self, test: str) -> dict[str, str]:
        """CTest's own names and the programs; of a parametrised test all cases."""
        wanted = test.removeprefix(CTEST)
        pattern = re.compile(rf"(\w+/)?{re.escape(wanted)}(/.*)?")
        return dict(found for name, found in self.programs.items() if pattern.fullmatch(name))

    def targets(self, tests: tuple[str, ...]) -> set[str]:
        wanted: set[str] = set()
        for test in tests:
            if test.startswith(CTEST):
                wanted |= set(self.ctest_names(test).values())
            elif not test.startswith(SOURCES):
                wanted |= {"product"} if test == BUILD else {"product", "python_tests"}
        return wanted

    def failure(self, tests: tuple[str, ...], timeout: float) -> str | None:
        """The first test that fails, or None."""
        names = sorted(name for test in tests if test.startswith(CTEST) for name in self.ctest_names(test))
        if names:
            pattern = "^(" + "|".join(re.escape(name).replace("/", "[/]") for name in names) + ")$"
            code, text = run(["ctest", "--test-dir", str(self.build), "--stop-on-failure", "-R", pattern],
                             self.root, timeout)
            if code:
                failed = re.search(r"^\s*\d+ - (\S+) \(", text, re.M)
                return failed[1] if failed else text[-500:]
        ids = [test.removeprefix(SOURCES) for test in tests if not test.startswith(CTEST) and test != BUILD]
        # A process for each folder: the classes that one registers the tests of another must not see.
        groups: dict[str, list[str]] = {}
        for test in ids:
            groups.setdefault("/".join(test.split("/")[:2]), []).append(test)
        for group in groups.values():
            command = [self.python, "-m", "pytest", "-q", "-x", "--tb=no", "-p", "no:cacheprovider", *group]
            code, text = run(command, self.root, timeout, VSWITCHPY_BUILD=str(self.build))
            failed = re.search(r"^(?:FAILED|ERROR) (\S+)", text, re.M)
            # A module that cannot be imported has no test of any name, which pytest counts as a wrong command.
            if code in FAILED or code < 0 or (code and failed):
                return failed[1] if failed else f"pytest ended with {code}"
            if code:
                raise BadList(f"pytest does not run {' '.join(group)}:\n{text[-2000:]}")
        return None

    def outcome(self, one: Break) -> tuple[bool, str]:
        """Whether the break is caught, and by what."""
        path = self.root / one.file
        text = path.read_text(encoding="utf-8")
        before = path.stat()
        targets = self.targets(one.tests)
        path.write_text(text.replace(one.text, one.replacement), encoding="utf-8")
        try:
            complaint = self.make(targets)
            if complaint is not None:
                if BUILD in one.tests:
                    return True, "the build"
                errors = re.findall(r".*\berror: .*", complaint)
                raise BadList(f"{one.list}: {one.name}: does not build: {(errors or [complaint[-500:]])[0]}")
            failed = self.failure(one.tests, self.timeout)
            return failed is not None, failed or ""
        except Hung as hung:
            return True, str(hung)
        finally:
            path.write_text(text, encoding="utf-8")
            if not targets:
                os.utime(path, ns=(before.st_atime_ns, before.st_mtime_ns))


# ---- the command ---------------------------------------------------------------------------------------------


def part_of(path: pathlib.Path) -> str:
    folders = [(len(folder), part) for part, names in PARTS.items() for folder in names if path.is_relative_to(folder)]
    return max(folders)[1]


def drawn_lines(source: pathlib.Path, parts: list[str], count: int, seed: int) -> list[str]:
    """Lines of code in the order in which they are drawn: of each part in turn, so that each has its share."""
    lines: dict[str, list[str]] = {part: [] for part in parts}
    for path in sorted({path for part in parts for folder in PARTS[part] for path in (source / folder).rglob("*")}):
        file = path.relative_to(source)
        if path.suffix not in (".cpp", ".hpp", ".py") or part_of(file) not in lines:
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            code = line.strip()
            if not re.fullmatch(r"|(//|#|\"\"\"|\*).*|[\W_]+(//.*)?|(import|from|namespace|using)\b.*", code):
                lines[part_of(file)].append(f"{file}:{number}: {code}")
    chance = random.Random(seed)
    shuffled = [chance.sample(lines[part], len(lines[part])) for part in parts]
    turns = itertools.chain.from_iterable(itertools.zip_longest(*shuffled))
    return list(itertools.islice((line for line in turns if line), count))


def minutes(seconds: float) -> str:
    return f"{int(seconds) // 60}:{int(seconds) % 60:02}"


def prepare(trees: list[Tree], breaks: list[Break]) -> int:
    """Builds the copies, and sees the tests pass before anything is broken. How many there are."""
    for tree in trees:
        tree.copy()
        tree.prepare(breaks)
    every = list(dict.fromkeys(test for one in breaks for test in one.tests))
    with concurrent.futures.ThreadPoolExecutor(len(trees)) as pool:
        shares = [tuple(every[number :: len(trees)]) for number in range(len(trees))]
        for done in [pool.submit(tree.failure, share, timeout=3600) for tree, share in zip(trees, shares)]:
            if failed := done.result():
                raise BadList(f"fails before anything is broken: {failed}")
    return len(every)


def test(trees: list[Tree], breaks: list[Break]) -> list[str]:
    """Runs them; what survived, and what could not be tried."""
    started = time.monotonic()
    count = prepare(trees, breaks)
    print(f"built, and {count} tests pass, in {minutes(time.monotonic() - started)}", flush=True)
    survived = []
    wrong = []
    # What is broken in one file stays together, since putting one back and making the next is then one compilation.
    # Headers first: they take longest, and no processor is to wait for one at the end.
    files = [list(group) for _, group in itertools.groupby(breaks, key=lambda one: one.file)]
    waiting: queue.SimpleQueue[list[Break]] = queue.SimpleQueue()
    for group in sorted(files, key=lambda group: pathlib.Path(group[0].file).suffix not in (".h", ".hpp")):
        waiting.put(group)

    def work(tree: Tree) -> None:
        while True:
            try:
                group = waiting.get_nowait()
            except queue.Empty:
                return
            for one in group:
                begun = time.monotonic()
                try:
                    caught, by = tree.outcome(one)
                    said = "caught  " if caught else "SURVIVED"
                    if not caught:
                        survived.append(one.name)
                except BadList as error:
                    said, by = "WRONG   ", str(error)
                    wrong.append(one.name)
                print(f"{said} {minutes(time.monotonic() - begun):>5}  {one.file}: {one.name}{by and f'  [{by}]'}",
                      flush=True)

    with concurrent.futures.ThreadPoolExecutor(len(trees)) as pool:
        for done in [pool.submit(work, tree) for tree in trees]:
            done.result()
    caught_count = len(breaks) - len(survived) - len(wrong)
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    print(f"{caught_count} of {len(breaks)} breaks caught, in {minutes(time.monotonic() - started)}"
          f" ({minutes(used.ru_utime + used.ru_stime)} of processor time)")
    for title, names in (("survived", survived), ("not tried", wrong)):
        if names:
            print(f"{title}: {'; '.join(names)}")
    return survived + wrong


def main(arguments: list[str]) -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--file", help="only this list (host, host.toml)")
    parser.add_argument("--name", help="only breaks whose name or source contains this")
    parser.add_argument("--draw", type=int, metavar="K", help="only K of them, drawn")
    parser.add_argument("--seed", type=int, default=random.randrange(10**6), help="what is drawn")
    parser.add_argument("--check", action="store_true", help="only whether texts and tests are there")
    parser.add_argument("--lines", type=int, metavar="K", help="no breaks: K lines of code, drawn, to make breaks of")
    parser.add_argument("--parts", default=",".join(PARTS), help="of what the lines are drawn, separated by commas")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="of each build")
    parser.add_argument("--trees", type=int, default=os.cpu_count(), help="copies that are broken at a time")
    parser.add_argument("--timeout", type=float, default=300, help="seconds for the tests of one break")
    options = parser.parse_args(arguments)
    if options.lines or options.draw:
        print(f"seed {options.seed}")
    if options.lines:
        parts = options.parts.split(",")
        if unknown := [part for part in parts if part not in PARTS]:
            parser.error(f"no part {unknown[0]!r}: there are {', '.join(PARTS)}")
        print("\n".join(drawn_lines(SOURCE, parts, options.lines, options.seed)))
        return 0
    try:
        breaks = read_lists(SOURCE, options.file)
        breaks = [one for one in breaks if (options.name or "") in one.name + "\0" + one.file]
        if options.draw:
            chosen = random.Random(options.seed).sample(breaks, min(options.draw, len(breaks)))
            breaks = [one for one in breaks if one in chosen]
        if not breaks:
            raise BadList("no break is meant")
        if wrong := misfits(SOURCE, breaks):
            raise BadList("\n".join(wrong))
        if options.check:
            return 0
        python = os.environ.get("PYTHON", "/usr/bin/python3")
        trees = [Tree(SOURCE, SCRATCH / f"tree-{number}", python, options.jobs, options.timeout)
                 for number in range(1, min(options.trees, len({one.file for one in breaks})) + 1)]
        return 1 if test(trees, breaks) else 0
    except BadList as error:
        print(error, file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
