"""valgrind sees no invalid access, no use of undefined values and no lost block of this project's libraries.

A sample in each run; every operation where VSWITCHPY_FULL is set (`make test-valgrind`)."""

import os
import pathlib
import re
import shutil
import subprocess
import sys

import pytest
import workspace
from operations import FAMILIES

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
SAMPLE = {"layer records": 1}
OURS = re.compile(r"lib(vswitchpy|vswitch|dvs|tlklibs)\.so|_libvswitch\.so|_records\.so")

pytestmark = [
    pytest.mark.skipif(not shutil.which("valgrind"), reason="the package valgrind is not installed"),
    pytest.mark.skipif(
        "asan" in pathlib.Path("/proc/self/maps").read_text(encoding="utf-8"),
        reason="valgrind and the sanitizer do not go together",
    ),
]


@pytest.mark.parametrize("family", FAMILIES if FULL else SAMPLE)
def test_valgrind_has_nothing_to_report_of_our_libraries(family, tmp_path):
    here = workspace.SOURCE / "tests" / "reliability"
    search = [*workspace.SEARCH, str(here.parent / "simulated_host"), str(here)]
    log = tmp_path / "valgrind.log"
    outcome = subprocess.run(
        ["valgrind", "--leak-check=full", "--show-leak-kinds=definite", "--errors-for-leak-kinds=definite",
         "--num-callers=30", f"--log-file={log}", f"--suppressions={here / 'interpreter.supp'}", sys.executable,
         here / "representative_run.py", family, "1" if FULL else str(SAMPLE[family])],
        env=dict(os.environ, PYTHONMALLOC="malloc", PYTHONPATH=os.pathsep.join(search), VSWITCH_HOST=":memory:"),
        capture_output=True, text=True, check=False,
    )
    assert outcome.returncode == 0, outcome.stderr[-2000:]
    # One paragraph for each error.
    text = re.sub(r"==\d+== ?", "", log.read_text(encoding="utf-8"))
    assert "ERROR SUMMARY" in text
    reports = [report for report in re.split(r"\n\s*\n", text) if "   at 0x" in report and OURS.search(report)]
    assert reports == []
