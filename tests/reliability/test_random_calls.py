"""Random calls of every function with random arguments of every kind, and random games with records of the companion
layer, on the simulated host: no crash, and no memory that is given back twice or used after that."""

import collections
import json
import os
import pathlib
import re
import subprocess
import sys
from typing import Any

import pytest
import workspace
from workspace import Script

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
WORKER = workspace.SOURCE / "tests" / "reliability" / "random_calls.py"
FUNCTIONS = (workspace.SOURCE / "tests" / "data" / "functions.txt").read_text(encoding="utf-8").split()
INTERFACE = json.loads((workspace.BUILD / "interface.json").read_text(encoding="utf-8"))

# What nothing checks, with the sentences that say so, the place where they stand, and how random_calls.py keeps it out.
UNCHECKED = [
    ("an index without a bound", "No index is refused: scripts keep it below", "interface", "0 to 39, in roomy memory"),
    (
        "a negative index of names",
        "a negative one is not refused and reaches the bytes before the first slot",
        "interface",
        "not used",
    ),
    (
        "a negative index of a list",
        "a negative one is not refused and reads the bytes before the first name",
        "interface",
        "not used",
    ),
    (
        "steps through a table",
        "The end of the table is not noticed: scripts take",
        "interface",
        "in roomy memory, small counts",
    ),
    (
        "counts in records",
        "Walks read the counts as they go and trust them",
        "python/libvswitch/_iteration.py",
        "0, 1 or none",
    ),
    (
        "the capacity of options",
        "The buffer is not enlarged: totalLength must not exceed its capacity",
        "interface",
        "0 or 1",
    ),
    ("the length of a value", "get_val_in_bytes reads propLen raw bytes", "interface", "0, 1 or none"),
    (
        "less than six bytes",
        "scripts pass exactly six, a shorter object is read past its end",
        "interface",
        "six or more",
    ),
    ("data and its length", "passed unchecked", "interface", "lengths of 0 or 1"),
    ("undefined memory", "without clearing them", "interface", "not read"),
    ("undefined memory", "its contents are undefined", "interface", "not read"),
    ("undefined memory", "uninitialised", "interface", "not read"),
    ("bare proxies of what was freed", "must not be used any more", "interface", "dropped when it is freed"),
    (
        "bare proxies of what was freed",
        "a use after a release reads memory that is gone",
        "docs/manual/guides/styles.rst",
        "dropped when it is freed",
    ),
]


def documentation(place: str) -> str:
    if place != "interface":
        return (workspace.SOURCE / place).read_text(encoding="utf-8")
    rows = [*INTERFACE["calls"], *INTERFACE["records"]]
    rows += [part for record in INTERFACE["records"] for part in (*record["fields"], *record["methods"])]
    rows += [argument for row in rows for argument in row.get("arguments", [])]
    return "\n".join(row.get(text, "") for row in rows for text in ("doc", "remarks"))


@pytest.mark.parametrize("sentence, place", [row[1:3] for row in UNCHECKED])
def test_what_is_not_checked_is_documented(sentence: str, place: str) -> None:
    assert sentence in re.sub(r"\s+", " ", documentation(place))


def run_worker(tmp_path: pathlib.Path, kind: str, seed: int, calls: int) -> dict[str, Any]:
    note = tmp_path / "note"
    environment = dict(os.environ, PYTHONPATH=os.pathsep.join(workspace.SEARCH), VSWITCH_HOST=":memory:")
    environment["LD_PRELOAD"] = environment.get("VSWITCHPY_PRELOAD", "")
    # Memory that was freed is overwritten.
    environment["MALLOC_PERTURB_"] = "165" if kind == "records" else "0"
    ended = subprocess.run(
        [sys.executable, str(WORKER), kind, str(seed), str(calls), str(note)],
        capture_output=True,
        env=environment,
        timeout=600,
        check=False,
    )
    answer: dict[str, Any] = json.loads(ended.stdout or "{}")
    assert ended.returncode == 0, (ended.returncode, note.read_text().strip(), answer.get("failure"))
    assert answer["calls"] == calls
    return answer


SEEDS = range(1, 11) if FULL else (1, 2)
CALLS = 100_000 if FULL else 5_000


@pytest.mark.parametrize("kind", ["native", "layer"])
def test_random_calls_of_every_function(tmp_path: pathlib.Path, kind: str) -> None:
    raised: collections.Counter[str] = collections.Counter()
    calls = 0
    for seed in SEEDS:
        answer = run_worker(tmp_path, kind, seed, CALLS)
        assert answer["functions"] == sorted(FUNCTIONS)
        raised.update(answer["raised"])
        calls += answer["calls"]
    print(f"{kind}: {calls} calls of {len(FUNCTIONS)} functions, raised {dict(raised)}")
    # Neither all arguments are refused nor none.
    assert 0.1 * calls < sum(raised.values()) < 0.9 * calls


def test_random_games_with_records(tmp_path: pathlib.Path) -> None:
    for seed in SEEDS:
        answer = run_worker(tmp_path, "records", seed, CALLS)
        assert {"make", "release", "delete", "use_with", "free_view", "make_again"} <= set(answer["functions"])


def test_a_class_that_cannot_be_instantiated_stands_for_no_record(script: Script) -> None:
    """Found by random registrations."""
    script(
        """
from exact import raises
import _libvswitch as m
m.DVMirrorIP_swigregister(type(len))
with raises(TypeError, "cannot create 'builtin_function_or_method' instances"):
    m.DVMirrorEntity_ip_get(m.new_DVMirrorEntity())
"""
    )


def test_a_record_has_one_memory_and_one_owner(script: Script) -> None:
    """Found by random games: what was released cannot come back to life under its views, nor be owned once more."""
    script(
        """
from exact import raises
import libvswitch as vs
for proxied in (False, True):
    record = vs.DVMirrorEntity()
    view = record.ip
    if proxied:
        record.this, view.this
    with raises(ValueError, "a view cannot own the memory of the record it lies in"):
        view.thisown = True
    record.release()
    for attempt in (record.__init__, lambda: setattr(record, "this", vs.new_DVMirrorEntity())):
        with raises(ValueError, "the memory of this libvswitch.DVMirrorEntity was released"):
            attempt()
    with raises(ValueError, "the record has no memory to own"):
        record.thisown = True
    with raises(ValueError, "the memory of this libvswitch.DVMirrorIP was released"):
        view.isIPv6
"""
    )
