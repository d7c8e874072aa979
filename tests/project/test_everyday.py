"""The everyday commands: what `make` installs and builds for each of them."""

import os
import pathlib
import re
import subprocess
from typing import Any

import pytest
from workspace import SOURCE

pytestmark = pytest.mark.pure_python

ROWS = re.findall(r"^\| `([a-z0-9.+-]+)` \| ([a-z, -]+) \| .+ \|$", (SOURCE / "README.md").read_text(), re.M)
COMMANDS = {command for _, commands in ROWS for command in commands.split(", ")}


def output(*command: str | pathlib.Path, **options: Any) -> str:
    process: subprocess.CompletedProcess[str] = subprocess.run(
        command, capture_output=True, text=True, timeout=120, check=False, **options
    )
    assert process.returncode == 0, process.stdout + process.stderr
    return process.stdout


def installed(folder: pathlib.Path, *commands: str) -> list[str]:
    """What `install_packages` would install on a machine that has nothing, with stand-ins for Debian's tools."""
    folder.mkdir()
    for name in ("dpkg-query", "apt-get", "sudo"):
        (folder / name).write_text("#!/bin/sh\nexit 0\n")
        (folder / name).chmod(0o755)
    environment = dict(os.environ, PATH=f"{folder}:{os.environ['PATH']}")
    text = output(SOURCE / "tools" / "install_packages", SOURCE / "README.md", *commands, env=environment)
    return text.removeprefix("installing: ").split()


def steps(target: str, folder: pathlib.Path) -> str:
    """What `make` would do in a clean clone."""
    return output("make", "-n", "-C", folder, "-f", SOURCE / "Makefile", target)


def test_every_command_installs_what_the_readme_says_it_needs(tmp_path: pathlib.Path) -> None:
    base = {package for package, commands in ROWS if "demo" in commands.split(", ")}
    assert base >= {"g++", "cmake", "python3-dev"}
    assert not base & {"libgtest-dev", "python3-pytest", "swig", "valgrind", "clang-14", "clang-tidy", "python3-sphinx"}
    assert set(installed(tmp_path / "demo")) == base
    for command in COMMANDS - {"demo"}:
        own = {package for package, commands in ROWS if command in commands.split(", ")}
        assert own and set(installed(tmp_path / command, command)) == base | own


def test_every_row_of_the_table_is_understood() -> None:
    table = (SOURCE / "README.md").read_text().split("## Dependencies")[1].split("\n## ")[0]
    assert [line for line in table.splitlines() if line.startswith("| `")] != []
    assert sum(line.startswith("| `") for line in table.splitlines()) == len(ROWS)
    assert len({package for package, _ in ROWS}) == len(ROWS), "a package has one row"


def test_make_asks_for_the_packages_of_its_command(tmp_path: pathlib.Path) -> None:
    for command in sorted(COMMANDS):
        asked = re.findall(r"install_packages README\.md *(.*)", steps(command, tmp_path))
        assert asked, command
        assert command == "demo" or any(command in line.split() for line in asked), (command, asked)
    assert re.findall(r"install_packages README\.md *(.*)", steps("demo", tmp_path)) == [""]
    everything = " ".join(re.findall(r"install_packages README\.md *(.*)", steps("packages", tmp_path)))
    assert set(everything.split()) == COMMANDS - {"demo"}


def test_the_demo_needs_no_tests(tmp_path: pathlib.Path) -> None:
    """Neither their libraries, when it is configured, nor a compilation of one of them."""
    said = steps("demo", tmp_path)
    assert "-DVSWITCHPY_TESTS=OFF" in said and "--target product" in said
    build = tmp_path / "build"
    output("cmake", "--preset", "release", "-B", build, "-DPYTHON=/usr/bin/python3", "-DVSWITCHPY_TESTS=OFF",
           "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON", cwd=SOURCE)
    built = output("ninja", "-C", build, "-t", "commands", "product")
    assert "runtime/calls.cpp" in built and "python/libvswitch/__init__.pyi" in built
    compiled = set(re.findall(r" -c (\S+)", built))
    assert compiled
    wrong = [path for path in compiled if not pathlib.Path(path).is_relative_to(build)
             and pathlib.Path(path).relative_to(SOURCE).parts[0] in ("tests", "bench", "fuzz")]
    assert wrong == []


def test_tests_stay_configured(tmp_path: pathlib.Path) -> None:
    """`make demo` after `make test` throws nothing away."""
    (tmp_path / "build").mkdir()
    (tmp_path / "build" / "CMakeCache.txt").touch()
    assert "VSWITCHPY_TESTS" not in steps("demo", tmp_path)
    assert "-DVSWITCHPY_TESTS=ON" in steps("test", tmp_path)
