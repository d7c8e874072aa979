"""What the tests of the objects share: each test runs in a process of its own, with a fresh simulated host."""

import os
import pickle
import sys
import traceback
from typing import Any

import pytest


def pytest_configure(config: Any) -> Any:
    config.addinivalue_line("markers", "pure_python: needs no run with sanitizers")
    config.addinivalue_line("markers", "same_process: touches no host, or one of a process that it starts")
    import vswitch

    vswitch.Host().portsets  # boots the host that each test gets a copy of


@pytest.hookimpl(tryfirst=True)  # type: ignore[misc]
def pytest_pyfunc_call(pyfuncitem: Any) -> Any:
    """Runs the test in a child, whose host in memory is its own; what it raises is told to the parent."""
    if pyfuncitem.get_closest_marker("same_process"):
        return None
    arguments = {name: pyfuncitem.funcargs[name] for name in pyfuncitem._fixtureinfo.argnames}
    sys.stdout.flush()
    sys.stderr.flush()
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        outcome = None
        try:
            pyfuncitem.obj(**arguments)
        except pytest.skip.Exception as skipped:
            outcome = ("skip", str(skipped))
        except BaseException:  # noqa: BLE001 - told to the parent
            outcome = ("fail", traceback.format_exc())
        with os.fdopen(writer, "wb") as pipe:
            pickle.dump(outcome, pipe)
        sys.stdout.flush()
        os._exit(0)
    os.close(writer)
    with os.fdopen(reader, "rb") as pipe:
        told = pipe.read()
    _, status = os.waitpid(child, 0)
    if status != 0 or not told:
        pytest.fail(f"the process of the test ended with status {status}", pytrace=False)
    outcome = pickle.loads(told)
    if outcome is not None:
        kind, text = outcome
        if kind == "skip":
            pytest.skip(text)
        pytest.fail(text, pytrace=False)
    return True
