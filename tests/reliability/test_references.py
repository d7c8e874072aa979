"""No function of the module and no attribute of the layer keeps a reference or gives one back too often, with good
arguments and with bad ones.

With the interpreter that runs the tests; and with Debian's debug interpreter (python3-dbg) where there is one, which
counts all references, with module and layer built so that it counts theirs too (target `counted`)."""

import json
import os
import pathlib
import shutil
import subprocess
import sys

import pytest
import workspace
from operations import FAMILIES

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

# What goes before on the search path, by the interpreter.
INTERPRETERS = {sys.executable: []}
if DEBUG_PYTHON and not SANITIZED and (COUNTED / "_libvswitch.so").exists():
    INTERPRETERS[DEBUG_PYTHON] = [str(COUNTED)]


@pytest.mark.parametrize("family", FAMILIES)
@pytest.mark.parametrize("interpreter", INTERPRETERS, ids=os.path.basename)
def test_references_balance(interpreter, family):
    search = [*INTERPRETERS[interpreter], *workspace.SEARCH, str(HERE.parent / "simulated_host"), str(HERE)]
    if os.environ.get("PYTHONPATH"):
        search.append(os.environ["PYTHONPATH"])
    outcome = subprocess.run(
        [interpreter, HERE / "reference_sweep.py", family, str(ROUNDS)],
        env=dict(
            os.environ,
            PYTHONPATH=os.pathsep.join(search),
            VSWITCH_HOST=":memory:",
            # The system's allocator counts what this cache keeps as used.
            GLIBC_TUNABLES="glibc.malloc.tcache_count=0",
        ),
        capture_output=True, text=True, check=False,
    )
    assert outcome.returncode == 0, outcome.stderr[-4000:]
    found = json.loads(outcome.stdout)
    print(f"{family}: {found['operations']} operations, {found['calls']} calls")
    assert found["operations"] > 0
    assert found["changing"] == []
