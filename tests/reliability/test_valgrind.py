"""valgrind sees no invalid access, no use of undefined values and no lost block of this project's libraries.

A sample in each run; everything where VSWITCHPY_FULL is set (`make test-valgrind`)."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
from collections.abc import Callable
from typing import Any

import memcheck
import pytest
import workspace
from operations import FAMILIES

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
HERE = workspace.SOURCE / "tests" / "reliability"
EXAMPLES = workspace.SOURCE / "examples"
SEARCH = os.pathsep.join([*workspace.SEARCH, str(HERE.parent / "simulated_host"), str(HERE)])
# Every so manieth operation of each family, all in one process.
SAMPLE = {
    "layer records": 1,
    "layer classes": 3,
    "layer fields": 10,
    "layer methods": 7,
    "layer parts": 1,
    "host calls": 5,
}

# Lost on purpose: which of our functions has asked for the memory, and why it stays.
BY_DESIGN = {
    "raw shadow classes": {
        "register_class": "the data of an earlier registration stays",
        "port_security": "the result of a class that takes no attribute and names no destructor",
    },
    "aborts on the host": {r"convert_\w+": "the library may have kept the address of an aborted call's text"},
}
# Of random arguments: what is undefined or lost is their own doing.
INVALID = {"InvalidRead", "InvalidWrite", "InvalidJump", "InvalidFree", "MismatchedFree", "Overlap"}

pytestmark = [
    pytest.mark.skipif(not shutil.which("valgrind"), reason="the package valgrind is not installed"),
    pytest.mark.skipif(
        "asan" in pathlib.Path("/proc/self/maps").read_text(encoding="utf-8"),
        reason="valgrind and the sanitizer do not go together",
    ),
]
full = pytest.mark.skipif(not FULL, reason="runs with VSWITCHPY_FULL=1 (make test-valgrind)")


@pytest.fixture
def watch(tmp_path: pathlib.Path) -> Callable[..., None]:
    """Runs a Python program under valgrind, which may report nothing that counts but losses by design; `kinds`: only
    these are looked at."""

    def run(*command: str, title: str = "", kinds: set[str] | None = None, **environment: str) -> None:
        variables = {"PYTHONPATH": SEARCH, "VSWITCH_HOST": ":memory:", "TMPDIR": str(tmp_path), **environment}
        reports = [
            report for report in memcheck.run([sys.executable, *command], tmp_path, **variables) if report.counts()
        ]
        found = [
            report for report in reports if not is_by_design(report, title) and (not kinds or report.kind in kinds)
        ]
        assert not found, "\n".join(map(repr, found))

    return run


def is_by_design(report: memcheck.Report, title: str) -> bool:
    return report.is_loss() and any(re.search(rf"\b{name}\(", report.function()) for name in BY_DESIGN.get(title, ()))


def test_a_sample_of_the_operations(watch: Callable[..., None]) -> None:
    watch(HERE / "representative_run.py", *(str(part) for item in SAMPLE.items() for part in item))


@full
@pytest.mark.parametrize("family", FAMILIES)
def test_every_operation(watch: Callable[..., None], family: str) -> None:
    watch(HERE / "representative_run.py", family, "1", title=family)


@full
@pytest.mark.parametrize("module", ["_libvswitch", "libvswitch"])
def test_an_import_alone(watch: Callable[..., None], module: Any) -> None:
    watch("-c", f"import {module}")


@full
def test_the_examples(watch: Callable[..., None], tmp_path: pathlib.Path) -> None:
    for example, *arguments in (["set_up_switch"], ["set_up_switch"], ["raw_style"], ["inspect_tables", "workload"]):
        watch(EXAMPLES / f"{example}.py", *arguments, VSWITCH_HOST=str(tmp_path / "host.db"))


@full
def test_aborts_on_the_stand_ins(watch: Callable[..., None]) -> None:
    watch(HERE / "watched_aborts.py", "stand-ins", LD_LIBRARY_PATH=str(workspace.SUPPORT / "recording"))


def test_aborts_on_the_host(watch: Callable[..., None], tmp_path: pathlib.Path) -> None:
    host = str(tmp_path / "host.db")
    tool = (workspace.BUILD / "host" / "bin" / "vswitch-host", "--host", host)
    rule = ["abort", "--probability", "0.3", "--seed", "3", "--exception", "RuntimeError", "--message", "aborted"]
    for command in (["init"], ["fault", "add", *rule]):
        subprocess.run([*tool, *command], check=True, capture_output=True)
    watch(HERE / "watched_aborts.py", "host", title="aborts on the host", VSWITCH_HOST=host)


@full
@pytest.mark.parametrize("kind", ["native", "layer", "records"])
def test_random_calls(watch: Callable[..., None], tmp_path: pathlib.Path, kind: str) -> None:
    # As under a sanitizer, the process has no limit of its memory: valgrind needs more.
    watch(HERE / "random_calls.py", kind, "1", "5000", tmp_path / "note", kinds=INVALID, VSWITCHPY_PRELOAD="")


MISUSE = """
import _libvswitch as m
import libvswitch as vs
for _ in range(3):
    m.VSMACEntry_set_mac_address(m.new_VSMACEntry(), b"12")   # is read past its end
    repr(vs.VSUplinks(2))                                     # has undefined contents
    vs.alloc_vs_info()                                        # has to be released
"""


@full
def test_what_the_documentation_leaves_to_scripts_is_seen(tmp_path: pathlib.Path) -> None:
    found = memcheck.run([sys.executable, "-c", MISUSE], tmp_path, PYTHONPATH=SEARCH, VSWITCH_HOST=":memory:")
    assert {"InvalidRead", "UninitCondition", "Leak_DefinitelyLost"} <= {
        report.kind for report in found if report.counts()
    }
