"""No function of the module and no attribute of the layer loses a reference, with good arguments and with bad ones.

Counted by Debian's debug interpreter (python3-dbg), with module and layer built so that their own references are counted
too (target `counted`). It ends the process where a function returns a result with an error pending: those operations are
left out (`quirk`)."""

import json
import os
import pathlib
import shutil
import subprocess
import sys

import pytest
import workspace
from operations import FAMILIES

# A debug interpreter that is not installed system-wide is named by the variable.
DEBUG_PYTHON = os.environ.get("VSWITCHPY_DEBUG_PYTHON") or shutil.which(
    f"python{sys.version_info.major}.{sys.version_info.minor}-dbg"
)

COUNTED = workspace.SUPPORT / "counted"

pytestmark = [
    pytest.mark.skipif(
        not (COUNTED / "_libvswitch.so").exists(), reason="the target counted is not built (make test-memory does)"
    ),
    pytest.mark.skipif(not DEBUG_PYTHON, reason="the package python3-dbg is not installed"),
    pytest.mark.skipif(
        "asan" in pathlib.Path("/proc/self/maps").read_text(encoding="utf-8"),
        reason="the debug interpreter does not load the sanitizer's runtime",
    ),
]


@pytest.mark.parametrize("family", FAMILIES)
def test_no_operation_loses_a_reference(family):
    tests = workspace.SOURCE / "tests"
    search = [str(COUNTED), *workspace.SEARCH, str(tests / "simulated_host"), str(tests / "reliability")]
    if os.environ.get("PYTHONPATH"):
        search.append(os.environ["PYTHONPATH"])
    outcome = subprocess.run(
        [DEBUG_PYTHON, tests / "reliability" / "reference_sweep.py", family],
        env=dict(os.environ, PYTHONPATH=os.pathsep.join(search), VSWITCH_HOST=":memory:"),
        capture_output=True, text=True, check=False,
    )
    assert outcome.returncode == 0, outcome.stderr[-4000:]
    found = json.loads(outcome.stdout)
    print(f"{family}: {found['operations']} operations, {found['calls']} calls")
    assert found["operations"] > 0
    # The allocator of the ready arguments keeps each block that a value is put into.
    assert [name for name, _ in found["growing"] if name.removeprefix("layer's ") != "DVSData_Update"] == []
