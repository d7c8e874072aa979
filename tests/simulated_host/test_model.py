"""The host does what a small model of its documented rules does, in random sequences of calls."""

import workspace
from host_calls import outcomes_of

PROGRAM = workspace.SOURCE / "tests" / "simulated_host" / "model_machine.py"
EXAMPLES, STEPS = 80, 100
LEAST_CALLS = 5000


def test_the_host_behaves_as_the_model() -> None:
    (counts,) = outcomes_of(PROGRAM, [str(EXAMPLES), str(STEPS)], timeout=900)
    assert counts["calls"] >= LEAST_CALLS
    # A sequence of refusals would show little.
    assert counts["successes"] * 2 >= counts["calls"]
