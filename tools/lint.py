"""Checks the format of all C and C++ sources, and their content with clang-tidy, as the .clang-tidy files say.

Usage: lint.py BUILD [SOURCE...]    BUILD has a compile_commands.json, and what is generated has been generated

A source that was clean is looked at again when it, a file that it includes, its compile command or the checks have
changed; BUILD/lint remembers what each one was clean with. Without SOURCE: all that git knows.
"""

from __future__ import annotations

import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import time

# clang-tidy 14 itself crashes where the tables are computed from all rows at compile time; each of these files is only
# that computation, or prints or checks its result.
CRASHING = {"interface/binding.cpp", "tests/runtime/layout_test.cpp", "tools/describe_interface.cpp"}
# Without the analyser, which would follow each of 1,792 instances of one function template by itself.
WITHOUT_ANALYSER = {"companion/functions.cpp"}
# How far the analyser follows one function. Twenty times as far, which is its own limit, takes five times as long.
STEPS = ["-Xclang", "-analyzer-config", "-Xclang", "max-nodes=10000"]
# Built for the fuzzer only, in a build of its own.
ELSEWHERE = {"fuzz/main.cpp"}


def output(command: list[str], folder: pathlib.Path) -> str:
    return subprocess.run(command, cwd=folder, capture_output=True, text=True, check=True).stdout


@functools.cache
def digest(path: str) -> str:
    try:
        return hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()
    except OSError:
        return "not there"


def without_precompiled(command: list[str]) -> list[str]:
    """How a source is compiled without the headers that its target has precompiled, which are for one compiler only."""
    return [word for before, word in zip(["", *command], command)
            if word not in ("-include", "-Winvalid-pch") and before != "-include"]


def each_by_itself(entry: dict[str, str]) -> list[dict[str, str]]:
    """An entry for each source of several that are compiled as one: that file includes them."""
    if "/Unity/" not in entry["file"]:
        return [entry]
    text = pathlib.Path(entry["file"]).read_text(encoding="utf-8")
    return [dict(entry, file=source, command=entry["command"].replace(entry["file"], source))
            for source in re.findall(r'^#include "(.*)"$', text, re.MULTILINE)]


class Lint:
    def __init__(self, root: pathlib.Path, build: pathlib.Path) -> None:
        self.root = root
        self.stamps = build / "lint"
        compiled = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
        entries = [source for entry in compiled for source in each_by_itself(entry)]
        for entry in entries:
            entry["command"] = shlex.join(without_precompiled(shlex.split(entry["command"])))
        # Where clang-tidy finds them.
        self.stamps.mkdir(exist_ok=True)
        (self.stamps / "compile_commands.json").write_text(json.dumps(entries), encoding="utf-8")
        self.commands = {os.path.relpath(entry["file"], root): entry for entry in entries}
        self.version = output(["clang-tidy", "--version"], root)

    def arguments(self, source: str) -> list[str]:
        return shlex.split(self.commands[source]["command"])

    def checks(self, source: str) -> list[str]:
        """The .clang-tidy files that hold for a source."""
        folders = pathlib.Path(source).parents
        files = [self.root / folder / ".clang-tidy" for folder in folders]
        return [str(file) for file in files if file.is_file()]

    def included(self, source: str) -> list[str]:
        """The source and all that it includes, as the compiler finds it."""
        arguments = self.arguments(source)
        position = arguments.index("-o")
        command = [*arguments[:position], *arguments[position + 2 :], "-M"]
        command.remove("-c")
        rule = output(command, pathlib.Path(self.commands[source]["directory"]))
        return rule.replace("\\\n", " ").split()[1:]

    def settings(self, source: str) -> str:
        own = digest(__file__)
        text = "\0".join([self.version, own, self.commands[source]["command"], *map(digest, self.checks(source))])
        return hashlib.sha256(text.encode()).hexdigest()

    def stamp(self, source: str) -> pathlib.Path:
        return self.stamps / (source.replace("/", "-") + ".json")

    def is_clean(self, source: str) -> bool:
        try:
            known = json.loads(self.stamp(source).read_text(encoding="utf-8"))
        except (OSError, ValueError):
            return False
        files: dict[str, str] = known["files"]
        directory = pathlib.Path(self.commands[source]["directory"])
        return bool(known["settings"] == self.settings(source)) and all(
            digest(str(directory / path)) == content for path, content in files.items()
        )

    def look_at(self, source: str) -> tuple[str, float]:
        """What clang-tidy says of a source, and how long it took. Nothing said is remembered."""
        began = time.monotonic()
        directory = pathlib.Path(self.commands[source]["directory"])
        try:
            files = {path: digest(str(directory / path)) for path in self.included(source)}
        except subprocess.CalledProcessError as error:
            return f"{source}: the compiler cannot read it:\n{error.stderr}", time.monotonic() - began
        command = ["clang-tidy", "--quiet", "-p", str(self.stamps), *(f"--extra-arg={option}" for option in STEPS)]
        if source in WITHOUT_ANALYSER:
            command.append("--checks=-clang-analyzer-*")
        process = subprocess.run([*command, source], cwd=self.root, text=True, stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, check=False)
        said = process.stdout.strip()
        if process.returncode and not said:
            said = f"{source}: clang-tidy ended with {process.returncode}:\n{process.stderr[-2000:]}"
        if not said:
            known = {"settings": self.settings(source), "files": files}
            self.stamp(source).write_text(json.dumps(known), encoding="utf-8")
        return said, time.monotonic() - began


def main(build: pathlib.Path, chosen: list[str]) -> int:
    root = pathlib.Path.cwd()
    listed = output(["git", "ls-files", "--", "*.cpp", "*.hpp", "*.h"], root).split()
    format_check = subprocess.run(["clang-format", "--dry-run", "--Werror", *listed], cwd=root, check=False)
    lint = Lint(root, build.resolve())
    sources = chosen or [name for name in listed if name.endswith(".cpp") and name not in CRASHING | ELSEWHERE]
    missing = [name for name in sources if name not in lint.commands]
    known = [name for name in sources if name in lint.commands]
    begun = [name for name in known if not lint.is_clean(name)]
    # The long ones first, so that no processor waits for one at the end.
    begun.sort(key=lambda name: -(root / name).stat().st_size)
    complaints = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        looks = {pool.submit(lint.look_at, name): name for name in begun}
        for look in concurrent.futures.as_completed(looks):
            said, took = look.result()
            if os.environ.get("LINT_TIMES"):
                print(f"{took:6.1f} s  {looks[look]}", flush=True)
            if said:
                complaints += 1
                print(said, flush=True)
    print(f"{len(begun)} sources looked at, {len(known) - len(begun)} unchanged since they were clean", file=sys.stderr)
    if missing:
        print("not built, so not looked at: " + " ".join(missing), file=sys.stderr)
    return 1 if complaints or format_check.returncode or missing else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1]), sys.argv[2:]))
