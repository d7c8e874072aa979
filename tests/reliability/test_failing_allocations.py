"""Without memory, whatever a script does ends with a MemoryError or a documented None, leaves nothing behind, and works
again as soon as there is memory.

A sample of the failures, the same in each run; all of them where VSWITCHPY_FULL is set (`make test-memory`)."""

import json
import os
import pathlib
import subprocess
import sys

import pytest
import workspace

# Failures of each operation and way, of which there are about 10 in many operations and 5,000 in an import.
SAMPLES = {
    "import _libvswitch": 40,
    "import libvswitch": 40,
    "raw records": "few",
    "raw proxies": 3,
    "raw shadow classes": 20,
    "layer classes": "few",
    "layer records": 3,
    "layer fields": "few",
    "layer methods": "few",
    "layer parts": 1,
    "host calls": "few",
}
FULL = bool(os.environ.get("VSWITCHPY_FULL"))
SEED = 20

# What is not this project's, by the operation that shows it.
NOT_OURS = {
    # ctypes keeps parts of an array type, of a function type and of a callback that it could not make, skips a callback
    # whose arguments it cannot make, and turns a MemoryError in an argument into an error of its own.
    "a cell", "a cell of several", "a pointer cell", "a cell's value refused", "repr of a cell", "a buffer", "a callback",
    "a callback that raises",
}
# Known and left: each with its reason.
KNOWN = {
    # The destructor function of a proxy takes its record as a new proxy in a tuple. Without memory for them it cannot
    # be called, and the record stays.
    "this assigned",
    # The block's own Python code gets no further than the call, or not as far as the release.
    "an allocated record", "a helper's record",
    # The simulated host's JSON values need memory to be taken apart, which ends the process.
    "DVSQEL_StateGet", "DVSQEL_PersistentStateGet", "DVSQEL_PortStateGet", "DVSQEL_PersistentPortStateGet",
    "DVSData_Serialize",
    # The allocator of the ready arguments keeps each block that a value is put into.
    "DVSData_Update",
}


@pytest.fixture(scope="module", autouse=True)
def no_sanitizer():
    if "asan" in pathlib.Path("/proc/self/maps").read_text(encoding="utf-8"):
        pytest.skip("the sanitizer has an allocator of its own, which cannot be replaced")


def sweep(family: str, points: str) -> dict:
    search = [*workspace.SEARCH, *(str(workspace.SOURCE / "tests" / name) for name in ("simulated_host", "reliability"))]
    outcome = subprocess.run(
        [sys.executable, workspace.SOURCE / "tests" / "reliability" / "failing_sweep.py", family, points, str(SEED)],
        env=dict(
            os.environ,
            LD_PRELOAD=str(workspace.SUPPORT / "failing_memory.so"),
            # So that every object is an allocation of its own.
            PYTHONMALLOC="malloc",
            PYTHONPATH=os.pathsep.join(search),
            VSWITCH_HOST=":memory:",
        ),
        capture_output=True,
        text=True,
        check=False,
    )
    assert outcome.returncode == 0, outcome.stderr[-4000:]
    return json.loads(outcome.stdout)


def ours(problem: list) -> bool:
    return problem[0].removeprefix("layer's ") not in NOT_OURS | KNOWN


@pytest.mark.parametrize("family", SAMPLES)
def test_each_failing_allocation_is_an_error_without_a_trace(family, record_property):
    found = sweep(family, "all" if FULL else str(SAMPLES[family]))
    problems = found.pop("problems")
    record_property("found", found)
    print(f"{family}: {found}")
    assert found["points"] > 0
    assert [problem for problem in problems if ours(problem)] == []
