"""Many processes at once on one host, reading and writing through the module: no status that is not documented, no
write that was acknowledged and is lost, and nobody starves.

A sample by default; where VSWITCHPY_FULL is set (`make soak`), 16 processes for a minute. The percentiles are printed
(pytest -s) and, where VSWITCHPY_LOAD_REPORT names a file, written there."""

import json
import os
import pathlib
from typing import Any

import pytest
from load import PATIENCE, differences, make_host, start_workers

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
PROCESSES = int(os.environ.get("VSWITCHPY_LOAD_PROCESSES", "16" if FULL else "8"))
SECONDS = float(os.environ.get("VSWITCHPY_LOAD_SECONDS", "60" if FULL else "3"))


@pytest.fixture(scope="module")
def loaded(tmp_path_factory: pytest.TempPathFactory) -> tuple[pathlib.Path, list[Any]]:
    """The state file after the load, and what each process noted."""
    state_file = tmp_path_factory.mktemp("load") / "host.db"
    make_host(state_file)
    workers = start_workers(PROCESSES, state_file, SECONDS)
    logs = []
    for worker in workers:
        worker.process.wait(timeout=SECONDS + PATIENCE)
        logs.append(worker.end())
    report(logs)
    return state_file, logs


def percentiles(durations: list[int]) -> dict[str, int]:
    ordered = sorted(durations)
    return {
        name: ordered[min(int(len(ordered) * share), len(ordered) - 1)]
        for name, share in (("p50", 0.5), ("p99", 0.99), ("p99.9", 0.999), ("max", 1))
    }


def report(logs: list[dict[str, Any]]) -> None:
    figures: dict[str, Any] = {"processes": PROCESSES, "seconds": SECONDS}
    for kind in ("reads", "writes"):
        figures[kind] = {"calls": sum(len(log[kind]) for log in logs)}
        figures[kind]["microseconds"] = percentiles([each for log in logs for each in log[kind]])
        figures[kind]["least and most of one process"] = [
            pick(len(log[kind]) for log in logs) for pick in (min, max)
        ]
    text = json.dumps(figures, indent=2)
    print(text)
    if path := os.environ.get("VSWITCHPY_LOAD_REPORT"):
        with open(path, "w", encoding="utf-8") as file:
            file.write(text + "\n")


def test_every_call_ends_as_documented(loaded: tuple[pathlib.Path, list[Any]]) -> None:
    _, logs = loaded
    assert [log["surprises"] for log in logs] == [[]] * PROCESSES
    # Nor did anybody wait ten seconds for the others, or find the state file unusable.
    assert [log["troubles"] for log in logs] == [{}] * PROCESSES


def test_no_acknowledged_write_is_lost(loaded: tuple[pathlib.Path, list[Any]]) -> None:
    state_file, logs = loaded
    assert all(len(log["slots"]) > 0 for log in logs)
    assert differences(state_file, logs) == []


def test_nobody_starves(loaded: tuple[pathlib.Path, list[Any]]) -> None:
    _, logs = loaded
    calls = [len(log["reads"]) + len(log["writes"]) for log in logs]
    assert min(calls) >= sum(calls) / len(calls) / 4, calls


def test_the_log_does_not_stay(loaded: tuple[pathlib.Path, list[Any]]) -> None:
    state_file, _ = loaded
    assert {path.name for path in state_file.parent.glob("host.db*")} == {"host.db"}
