"""A process that is killed in the middle of its work on a simulated host."""

import os
import subprocess
import sys

from workspace import SEARCH

TURNS = 20
SCRIPT = """
import sys
from vswitch.simulated import SimulatedHost
host = SimulatedHost(sys.argv[1])
while True:
    {turn}
    print(flush=True)
"""


def kill_after_turns(turn: str, *arguments: "str | os.PathLike[str]") -> None:
    """Has a process do the same again and again, and kills it when it has done so TURNS times at least.

    `turn`: a line of Python; `host` is that of the state file which is the first argument, `sys.argv[1]`.
    """
    environment = os.environ | {"PYTHONPATH": os.pathsep.join(SEARCH)}
    command = [sys.executable, "-c", SCRIPT.format(turn=turn), *arguments]
    with subprocess.Popen(command, stdout=subprocess.PIPE, env=environment) as worker:
        assert worker.stdout
        for _ in range(TURNS):
            worker.stdout.readline()
        worker.kill()
