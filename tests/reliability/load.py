"""Several processes on one host at once: starting them, ending them, and comparing what is there with what they were
told. Part of test_load.py and test_surroundings.py."""

import contextlib
import json
import os
import pathlib
import select
import sqlite3
import subprocess
import sys
from typing import Any

import workspace

# Seconds for what takes milliseconds: only what hangs meets it.
PATIENCE = 60

PROGRAM = pathlib.Path(__file__).parent / "load_worker.py"

MAKE_SWITCH = """
import libvswitch as vs
vs.check(vs.VSDVS_CreateVSwitch("load", "load-id", "", 1024, 1, 0, 0, 0))
"""

# What the state is compared by: the values and ports of the switch, as the tables have them.
PROPERTIES = "SELECT name, value FROM property WHERE name LIKE 'worker-%'"
PORTS = "SELECT dvport_id FROM port JOIN vswitch ON vswitch.id = port.vswitch WHERE alias = 'load'"


def make_host(state_file: pathlib.Path) -> None:
    made = workspace.run_script(MAKE_SWITCH, VSWITCH_HOST=str(state_file))
    assert made.code == 0, made


class Worker:
    """One process. It waits for all others to be ready before it begins."""

    def __init__(self, number: int, state_file: pathlib.Path, folder: pathlib.Path, seconds: float) -> None:
        self.log_path = folder / f"worker-{number}.json"
        self.process = subprocess.Popen(
            [sys.executable, str(PROGRAM), str(number), str(seconds), str(self.log_path)],
            env=dict(os.environ, PYTHONPATH=os.pathsep.join(workspace.SEARCH), VSWITCH_HOST=str(state_file)),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0,
        )
        self.said = ""

    def listen(self) -> None:
        """Reads what the process says next."""
        assert self.process.stdout
        said = os.read(self.process.stdout.fileno(), 1000).decode()
        assert said, ("ended", self.process.communicate(timeout=PATIENCE)[1].decode())
        self.said += said

    def hear(self, word: str) -> None:
        """Waits until the process has said it."""
        while word not in self.said.split():
            assert select.select([self.process.stdout], [], [], PATIENCE)[0], f"never {word}, only {self.said.split()}"
            self.listen()

    def begin(self) -> None:
        assert self.process.stdin
        self.process.stdin.write(b"go\n")

    def end(self) -> dict[str, Any]:
        """Ends the work, and gives the log."""
        _, errors = self.process.communicate(timeout=PATIENCE)
        assert self.process.returncode == 0, (self.process.returncode, errors.decode())
        log: dict[str, Any] = json.loads(self.log_path.read_text(encoding="utf-8"))
        return log


def start_workers(
    count: int, state_file: pathlib.Path, seconds: float, logs: pathlib.Path | None = None
) -> list[Worker]:
    """All at once. Their logs stand beside the state file, or in the folder that is given."""
    workers = [Worker(number, state_file, logs or state_file.parent, seconds) for number in range(count)]
    for worker in workers:
        worker.hear("ready")
    for worker in workers:
        worker.begin()
    return workers


def somebody_says(workers: list[Worker], word: str, within: float) -> bool:
    """Whether one of them has said it, or does in so many seconds."""
    while not any(word in worker.said.split() for worker in workers):
        talking, _, _ = select.select([worker.process.stdout for worker in workers], [], [], within)
        if not talking:
            return False
        for worker in workers:
            if worker.process.stdout in talking:
                worker.listen()
    return True


def differences(state_file: pathlib.Path, logs: list[dict[str, Any]]) -> list[str]:
    """Where the state is not what the workers were told, and where it contradicts itself."""
    with contextlib.closing(sqlite3.connect(state_file)) as database:
        values = {name: bytes(value).decode() for name, value in database.execute(PROPERTIES)}
        ports = {port for (port,) in database.execute(PORTS)}
        found = [str(row) for row in database.execute("PRAGMA integrity_check") if row != ("ok",)]
        found += [str(row) for row in database.execute("PRAGMA foreign_key_check")]
    for number, log in enumerate(logs):
        found += [f"{name} of worker {number}" for name, value in log["slots"].items() if values.get(name) != value]
        if log["port"] != (f"worker-{number}" in ports):
            found.append(f"the port of worker {number}")
    for shared, flips in enumerate(zip(*(log["flips"] for log in logs))):
        if sum(flips) != (f"shared-{shared}" in ports):
            found.append(f"shared port {shared}: {sum(flips)} times made and not removed")
    return found
