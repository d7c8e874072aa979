"""What all Python tests share."""

import os
import pathlib
import signal
import sys
import textwrap
from typing import Any

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).parent / "support"))
import workspace  # noqa: E402 - found by the line above
from workspace import Script

sys.path[:0] = workspace.SEARCH
# Each test process has a host of its own unless the test names one.
os.environ["VSWITCH_HOST"] = ":memory:"
# Whoever runs the tests may have them ignore what a terminal sends; what they start would inherit that.
signal.signal(signal.SIGINT, signal.default_int_handler)
signal.signal(signal.SIGHUP, signal.SIG_DFL)


@pytest.fixture
def script() -> Script:
    """Runs Python source in a fresh interpreter and returns what it printed. The assertions in the source are the
    test's, so it must end with exit code 0."""

    def run(source: str, *arguments: str, **options: Any) -> str:
        outcome = workspace.run_script(source, *arguments, **options)
        assert outcome.code == 0, outcome
        return outcome.out

    return run


@pytest.fixture
def recording(script: Script) -> Script:
    """Runs a script against the recording stand-ins; `rec`, `calls`, `m` and `raises` are there, see
    support/recording.py."""

    def run(source: str, *arguments: str, **options: Any) -> str:
        prelude = "from recording import rec, calls, m, raises\n"
        return script(
            prelude + textwrap.dedent(source), *arguments, library_path=str(workspace.SUPPORT / "recording"), **options
        )

    return run
