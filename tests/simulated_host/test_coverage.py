"""The C++ tests of the host, traced: every documented status is reached."""

import json
import os
import re
import subprocess

import pytest
import workspace

# What a defect of the host itself would give.
DEFECT = {"QEL_FAILURE"}


@pytest.fixture(scope="module")
def reached(tmp_path_factory) -> set[str]:
    """The statuses that calls returned."""
    trace = tmp_path_factory.mktemp("trace") / "calls.jsonl"
    # Tests that have a trace of their own end that of the process.
    subprocess.run(
        [str(workspace.BUILD / "tests" / "host" / "host_test"), "--gtest_filter=-Trace*:Follows*"],
        env=dict(os.environ, VSWITCH_HOST_TRACE=str(trace)),
        capture_output=True,
        timeout=300,
        check=True,
    )
    entries = (json.loads(line) for line in trace.read_text().splitlines())
    return {str(entry.get("status")) for entry in entries if "call" in entry}


def test_every_documented_status_is_reached(reached):
    documented = set(re.findall(r"QEL_[A-Z0-9_]+", (workspace.SOURCE / "docs" / "host.md").read_text()))
    codes = (workspace.SOURCE / "constants" / "status_codes.def").read_text()
    statuses = documented & set(re.findall(r"INTEGER\((\w+),", codes))
    assert len(statuses) > 30
    assert statuses - DEFECT - reached == set()
