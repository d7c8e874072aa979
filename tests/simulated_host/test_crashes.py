"""Processes that are killed while they write: what was acknowledged is there, the state file is whole, and the others
go on without waiting long."""

import os
import pathlib
import random
import signal
import sqlite3
import subprocess
import sys
import time
from typing import Any

import pytest
import workspace

PROGRAM = workspace.SOURCE / "tests" / "simulated_host" / "crash_writer.py"
WRITERS = 4
FULL = bool(os.environ.get("VSWITCHPY_FULL"))
KILLS = int(os.environ.get("VSWITCHPY_CRASH_KILLS", "200" if FULL else "12"))
SEED = int(os.environ.get("VSWITCHPY_CRASH_SEED", "20240229"))
# Once in so many times all writers are killed: nobody is left who has the state file open.
KILL_ALL_ONE_IN = 5
LEAST_WRITES, MOST_WRITES = 1, 300
SECOND = 1_000_000_000

MAKE_SWITCH = """
import libvswitch as vs
vs.check(vs.VSDVS_CreateVSwitch("crash", "crash-id", "", 16, 1, 0, 0, 0))
"""


class Writer:
    def __init__(self, number: int, folder: pathlib.Path) -> None:
        self.number = number
        self.log = folder / f"writer-{number}.log"
        self.log.touch()
        self.environment = dict(
            os.environ, PYTHONPATH=os.pathsep.join(workspace.SEARCH), VSWITCH_HOST=str(folder / "host.db")
        )
        self.active = 0  # nanoseconds between opening the host and the kill, all processes together

    def command(self, *mode: str) -> list[str]:
        return [sys.executable, str(PROGRAM), str(self.number), str(self.log), *mode]

    def start(self) -> None:
        self.known_lines = self.lines()
        self.process = subprocess.Popen(self.command(), env=self.environment, stderr=subprocess.PIPE, text=True)

    def lines(self) -> int:
        return self.log.read_bytes().count(b"\n")

    def entries(self) -> list[list[int]]:
        return [[int(field) for field in line.split()] for line in self.log.read_text().splitlines()]

    def wait_for(self, writes: int) -> None:
        """Until the process has made so many writes."""
        deadline = time.monotonic() + 60
        # The first line is about opening the host.
        while self.lines() <= self.known_lines + writes:
            assert self.process.poll() is None, self.process.stderr and self.process.stderr.read()
            assert time.monotonic() < deadline, "the writer is stuck"
            time.sleep(0.001)

    def kill(self) -> None:
        self.process.kill()
        killed = time.monotonic_ns()
        self.process.wait()
        assert self.process.stderr
        # It must not have ended by itself before, with something to say.
        assert self.process.returncode == -signal.SIGKILL, self.process.stderr.read()
        self.process.stderr.close()
        self.active += killed - self.entries()[self.known_lines][1]

    def check(self) -> None:
        ended = subprocess.run(
            self.command("check"), env=self.environment, capture_output=True, text=True, timeout=60, check=False
        )
        assert ended.returncode == 0, ended.stderr

    def writes(self) -> list[list[int]]:
        return [entry for entry in self.entries() if entry[0] > 0]


@pytest.fixture(scope="module")
def crashed(tmp_path_factory: pytest.TempPathFactory) -> tuple[list[Any], pathlib.Path]:
    """The writers after all kills, and the folder of their host."""
    folder = tmp_path_factory.mktemp("crashes")
    made = workspace.run_script(MAKE_SWITCH, VSWITCH_HOST=str(folder / "host.db"))
    assert made.code == 0, made
    chance = random.Random(SEED)
    writers = [Writer(number, folder) for number in range(WRITERS)]
    for writer in writers:
        writer.start()
    kills = 0
    try:
        while kills < KILLS:
            victim = chance.choice(writers)
            victims = writers if chance.randrange(KILL_ALL_ONE_IN) == 0 else [victim]
            for each in writers if len(victims) > 1 else [victim]:
                each.wait_for(LEAST_WRITES)
            victim.wait_for(chance.randint(LEAST_WRITES, MOST_WRITES))
            for each in victims:
                each.kill()
                kills += 1
            for each in victims:
                each.start()
        for each in writers:
            each.wait_for(LEAST_WRITES)
    finally:
        for each in writers:
            if each.process.poll() is None:
                each.kill()
    return writers, folder


# Each process has looked for its predecessor's writes before it went on, or it would not have come this far.
def test_no_acknowledged_write_is_lost(crashed: tuple[list[Any], pathlib.Path]) -> None:
    writers, _ = crashed
    for writer in writers:
        numbers = [entry[0] for entry in writer.writes()]
        assert numbers == list(range(1, len(numbers) + 1)), "the log itself has gaps"
        writer.check()


def test_the_state_file_is_whole(crashed: tuple[list[Any], pathlib.Path]) -> None:
    _, folder = crashed
    with sqlite3.connect(folder / "host.db") as database:
        assert database.execute("PRAGMA integrity_check").fetchall() == [("ok",)]
        assert database.execute("PRAGMA foreign_key_check").fetchall() == []


def test_the_next_process_works_at_once(crashed: tuple[list[Any], pathlib.Path]) -> None:
    writers, _ = crashed
    openings = [entry[2] for writer in writers for entry in writer.entries() if entry[0] == 0]
    assert len(openings) >= KILLS + WRITERS
    assert max(openings) < SECOND


def test_nobody_waits_long(crashed: tuple[list[Any], pathlib.Path]) -> None:
    writers, _ = crashed
    durations = sorted(entry[2] for writer in writers for entry in writer.writes())
    assert durations[len(durations) * 99 // 100] < SECOND // 10


def test_nobody_is_left_behind(crashed: tuple[list[Any], pathlib.Path]) -> None:
    writers, _ = crashed
    rates = [len(writer.writes()) * SECOND / writer.active for writer in writers]
    assert min(rates) >= sum(rates) / len(rates) / 4, rates
