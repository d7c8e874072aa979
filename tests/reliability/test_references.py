"""No function of the module and no attribute of the layer keeps a reference or gives one back too often, with good
arguments and with bad ones.

With the interpreter that runs the tests; and with Debian's debug interpreter (python3-dbg), which counts all
references, with module and layer built so that it counts theirs too (target `counted`)."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
from typing import Any

import pytest
import workspace
from operations import FAMILIES, LAYER_FAMILIES, LEAST, RAW_FAMILIES

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
ROUNDS = 60 if FULL else 12
HERE = workspace.SOURCE / "tests" / "reliability"
COUNTED = workspace.SUPPORT / "counted"
# A debug interpreter that is not installed system-wide is named by the variable.
DEBUG_PYTHON = os.environ.get("VSWITCHPY_DEBUG_PYTHON") or shutil.which(
    f"python{sys.version_info.major}.{sys.version_info.minor}-dbg"
)
# It does not load a sanitizer's runtime.
SANITIZED = "asan" in pathlib.Path("/proc/self/maps").read_text(encoding="utf-8")
# The debug interpreter and the sanitizers do without the results that come with an error pending, which fail there by
# definition.
LEAST_WITHOUT_QUIRKS = 0.9


@pytest.mark.parametrize("family", FAMILIES)
def test_references_balance(family: str) -> None:
    found = swept(sys.executable, family, [])
    least, least_succeeding = LEAST[family]
    assert found["operations"] >= (LEAST_WITHOUT_QUIRKS * least if SANITIZED else least)
    assert found["succeeding"] >= least_succeeding


@pytest.mark.parametrize("family", FAMILIES)
def test_references_balance_where_all_are_counted(family: str) -> None:
    if SANITIZED:
        pytest.skip("the debug interpreter does not load a sanitizer's runtime")
    if not FULL and not (DEBUG_PYTHON and (COUNTED / "_libvswitch.so").exists()):
        pytest.skip("needs python3-dbg and the target `counted`, which make test-memory brings")
    assert DEBUG_PYTHON, "python3-dbg is not installed"
    found = swept(DEBUG_PYTHON, family, [str(COUNTED)])
    least, least_succeeding = LEAST[family]
    assert found["operations"] >= LEAST_WITHOUT_QUIRKS * least
    assert found["succeeding"] >= least_succeeding


def test_every_function_is_in_an_operation() -> None:
    """By its name. What a registration replaces stays on purpose, so that only that of one class is in them."""
    listed = (workspace.SOURCE / "tests" / "data" / "functions.txt").read_text(encoding="utf-8").split()
    words: set[str] = set()
    for families in (RAW_FAMILIES, LAYER_FAMILIES):  # the former need a process without the layer
        outcome = subprocess.run(
            [sys.executable, "-c", NAMES, *families],
            env=dict(os.environ, PYTHONPATH=search(), VSWITCH_HOST=":memory:"),
            capture_output=True,
            text=True,
            check=False,
        )
        assert outcome.returncode == 0, outcome.stderr[-4000:]
        words |= set(re.findall(r"\w+", outcome.stdout))
    missing = [name for name in listed if name not in words and not name.endswith("_swigregister")]
    assert missing == ["SWIG_PyInstanceMethod_New"]  # "instance method"


NAMES = """
import sys
from typing import Any
from operations import operations
print([operation.name for family in sys.argv[1:] for operation in operations(family)])
"""


def search(*before: str) -> str:
    found = [*before, *workspace.SEARCH, str(HERE.parent / "simulated_host"), str(HERE)]
    if os.environ.get("PYTHONPATH"):
        found.append(os.environ["PYTHONPATH"])
    return os.pathsep.join(found)


def swept(interpreter: str, family: str, before: list[str]) -> dict[str, Any]:
    """What the sweep printed, with nothing that changed."""
    outcome = subprocess.run(
        [interpreter, HERE / "reference_sweep.py", family, str(ROUNDS)],
        env=dict(
            os.environ,
            PYTHONPATH=search(*before),
            VSWITCH_HOST=":memory:",
            # The system's allocator counts what this cache keeps as used.
            GLIBC_TUNABLES="glibc.malloc.tcache_count=0",
        ),
        capture_output=True, text=True, check=False,
    )
    assert outcome.returncode == 0, outcome.stderr[-4000:]
    found: dict[str, Any] = json.loads(outcome.stdout)
    print(f"{family}: {found['operations']} operations, {found['succeeding']} succeed, {found['calls']} calls")
    assert found["changing"] == []
    return found
