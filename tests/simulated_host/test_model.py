"""The host does what a small model of its documented rules does, in random sequences of calls."""

import json
import os
import subprocess
import sys

import workspace

PROGRAM = workspace.SOURCE / "tests" / "simulated_host" / "model_machine.py"
EXAMPLES, STEPS = 80, 100
LEAST_CALLS = 5000


def test_the_host_behaves_as_the_model() -> None:
    ended = subprocess.run(
        [sys.executable, str(PROGRAM), str(EXAMPLES), str(STEPS)],
        capture_output=True,
        text=True,
        env=dict(os.environ, PYTHONPATH=os.pathsep.join(workspace.SEARCH), VSWITCH_HOST=":memory:"),
        timeout=900,
        check=False,
    )
    assert ended.returncode == 0, ended.stderr
    counts = json.loads(ended.stdout)
    assert counts["calls"] >= LEAST_CALLS
    # A sequence of refusals would show little.
    assert counts["successes"] * 2 >= counts["calls"]
