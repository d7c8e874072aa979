"""The C++ tests of the host, traced: every call is driven to success, and every documented status is reached."""

import json
import os
import re
import subprocess

import pytest
import workspace
from host_calls import prototypes

# Answered without the host's state: not in a trace.
UNTRACED = {"QEL_ReturnStatusToString"}
# What a defect of the host itself would give.
DEFECT = {"QEL_FAILURE"}


@pytest.fixture(scope="module")
def reached(tmp_path_factory) -> dict[str, set[str]]:
    """Call to the statuses that it returned; none for the calls without one."""
    trace = tmp_path_factory.mktemp("trace") / "calls.jsonl"
    # The tests of the trace itself end the tracing of the process.
    subprocess.run(
        [str(workspace.BUILD / "tests" / "host" / "host_test"), "--gtest_filter=-Trace*"],
        env=dict(os.environ, VSWITCH_HOST_TRACE=str(trace)),
        capture_output=True,
        timeout=300,
        check=True,
    )
    statuses: dict[str, set[str]] = {}
    for line in trace.read_text().splitlines():
        entry = json.loads(line)
        if "call" in entry:
            statuses.setdefault(entry["call"], set()).add(str(entry.get("status")))
    return statuses


def test_every_call_succeeds_somewhere(reached):
    successful = {name for name, statuses in reached.items() if statuses & {"QEL_OK", "None"}}
    assert set(prototypes()) - UNTRACED - successful == set()


def test_every_documented_status_is_reached(reached):
    documented = set(re.findall(r"QEL_[A-Z0-9_]+", (workspace.SOURCE / "docs" / "host.md").read_text()))
    codes = (workspace.SOURCE / "constants" / "status_codes.def").read_text()
    statuses = documented & set(re.findall(r"INTEGER\((\w+),", codes))
    assert len(statuses) > 30
    assert statuses - DEFECT - set().union(*reached.values()) == set()
