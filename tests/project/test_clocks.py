"""No test waits for time to pass or is judged by the clock, but for those listed here with their reason: on a machine
with other work such a test fails by itself. A test waits for what it needs: a line that is said, a file, an exit."""

import re

import pytest
from workspace import SOURCE

pytestmark = pytest.mark.pure_python

CLOCKS = re.compile(
    r"\b(?:time\.sleep|time\.time|monotonic|perf_counter|asyncio\.sleep|usleep|nanosleep|sleep_for|sleep_until|sleep"
    r"|steady_clock|system_clock|clock_gettime)(?:_ns)?\b *(?:\(|::now)"
)
PATIENCE = "only a deadline for what hangs"
LISTED = {
    "tests/ansible/test_fleet.py": "what waits for the middle of an apply, to kill it there, looks every 20"
    " milliseconds",
    "tests/host/faults_test.cpp": "a delay on demand lasts at least as long as asked for; longer is no failure",
    "tests/host/running_state_test.cpp": "delays of several rules last at least their sum; longer is no failure",
    "tests/project/test_clocks.py": "this table",
    "tests/reliability/load_worker.py": "a load of a given time; how long calls took is reported and not judged",
    "tests/reliability/test_surroundings.py": PATIENCE,
    "tests/reliability/test_unlocked_calls.py": "the pace of a thread while another is in a call; sleep(0) only yields",
    "tests/simulated_host/crash_writer.py": "how long calls took",
    "tests/simulated_host/test_crashes.py": "that nobody waits long for a killed writer is the promise: ten times what"
    " is usual; between two looks into a log it sleeps a millisecond",
    "tests/vswitch/test_apply.py": "a guard acts at a time; what waits for it looks every 20 milliseconds",
    "tests/vswitch/test_documents.py": "a hostile document is refused at once: in seconds, not minutes",
    "tests/vswitch/test_watch.py": "a wait that ends at its time: twenty seconds for what takes one",
    "tests/vswitch/test_threads.py": "threads work for a given time",
}


def test_no_other_test_looks_at_the_clock() -> None:
    found = {}
    for path in sorted((SOURCE / "tests").rglob("*")):
        if path.suffix in (".py", ".cpp", ".hpp", ".c"):
            used = sorted(set(CLOCKS.findall(path.read_text(encoding="utf-8"))))
            if used:
                found[str(path.relative_to(SOURCE))] = used
    assert {path: used for path, used in found.items() if path not in LISTED} == {}
    assert [path for path in LISTED if path not in found and path != "tests/project/test_clocks.py"] == []
