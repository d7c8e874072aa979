"""Plans from one random host to another: whatever call of theirs fails, and wherever the applying process is killed,
the host is as it was afterwards, or the error and the journal name exactly what is not.

A sample of plans with a fault at one call of each, and a few lines of their journals; where VSWITCHPY_FULL is set, 200
plans with each kind of fault at every call in turn, and killed at every line."""

import json
import os
import pathlib
from typing import Any

import pytest
from workspace import BUILD, SOURCE, run_script

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
NICS = [{"name": f"nic{number}", "mac": f"02:00:00:00:00:{number:02x}"} for number in range(4)]
PLANS = 25  # of a chunk
CHUNKS = range(8) if FULL else range(1)

PRELUDE = """
import json, os, random, sys
sys.path.insert(0, sys.argv[1])
from hypothesis import HealthCheck, Phase, given, seed, settings, strategies as st
import desired_scenario as scenario
import vswitch
from random_actions import PORT, SWITCH, actions, do, host, in_child, made_by
from vswitch.desired import execute

plans, chunk, full = int(sys.argv[2]), int(sys.argv[3]), sys.argv[4] == "full"
begin = [("switch", "a", True, 0, vswitch.SwitchVersion.DVS_70), ("uplinks", "a", ["nic0", "up"])]
begin += [("port", "a", "a", None), ("port", "a", "b", None)]
told = {"plans": 0, "calls": 0, "tried": 0, "kept": 0}

def wanted_by(steps):
    made_by(steps)
    return host.export()

def planned(wanted):
    try:
        return host.plan(wanted, exact=True)
    except (vswitch.DocumentError, vswitch.Busy):
        return []  # what cannot change, an uplink that would be on two switches, or one that is still named

def same(error, before):
    # Everything is as it was. No call makes the version of a switch smaller that is in no image of what is stored;
    # the error says so.
    now = scenario.whole()
    kept = set()
    if error is not None:
        kept = {operation.path.rpartition("/")[2] for operation in error.not_undone}
        assert kept <= {"version"} and error.rolled_back == (not kept), error.not_undone
    for alias, switch in now.items():
        if kept and isinstance(switch, dict) and "version" in switch:
            switch["version"] = before[alias]["version"]
    assert now == before, (error, scenario.difference(before, now))
    return bool(kept)

def run_all(tried):
    @seed(chunk)
    @settings(max_examples=plans, deadline=None, database=None, phases=[Phase.generate],
        suppress_health_check=list(HealthCheck))
    @given(
        st.lists(actions, min_size=5, max_size=40),
        st.fixed_dictionaries({}, optional=SWITCH),
        st.fixed_dictionaries({}, optional=PORT),
        st.lists(actions, min_size=5, max_size=30),
        st.integers(0, 1000),
    )
    def one(steps, of_switch, of_port, others, number):
        more = [("set", "a", pair) for pair in of_switch.items()]
        more += [("set port", "a", "a", pair, len(of_port) % 3 == 0) for pair in of_port.items()]
        tried([*begin, *more, *steps], [begin[0], begin[2], *others], number)
        told["plans"] += 1

    one()
    print(json.dumps(told))
"""

FAULTS = """
KINDS = ("fail", "fail-after", "abort")

def failing(steps, wanted, first, most, kinds):
    # Lets one call of the plan fail after the other, from `first` on. Gives the number of calls, how many failed, and
    # the one to go on with on a fresh host, as a version was kept.
    made_by(steps)
    plan = planned(wanted)
    calls = sum(len(operation.calls) for operation in plan)
    before, run = scenario.whole(), execute.run
    failed = 0
    for point in range(first, min(first + most, calls * len(kinds))):
        kind, made = kinds[point % len(kinds)], 0

        def counted(call):
            nonlocal made
            made += 1
            if made == point // len(kinds) + 1:
                if kind == "fail-after":
                    run(call)
                raise OSError("on purpose") if kind == "abort" else vswitch.Busy("on purpose")
            try:
                run(call)
            except vswitch.Error:
                made = calls + 1  # a plan that fails by itself: what takes it back does not fail
                raise

        execute.run = counted
        try:
            plan.apply()
        except vswitch.ApplyError as error:
            execute.run = run
            failed += 1
            if same(error, before):
                return calls, failed, point + 1
        else:
            raise AssertionError("did not fail")
    return calls, failed, None

def tried(steps, others, number):
    wanted = in_child(wanted_by, steps)
    if full:
        point, most, kinds = 0, 1 << 30, KINDS
    else:
        calls = in_child(failing, others, wanted, 0, 0, KINDS)[0]
        point, most, kinds = number % calls if calls else 0, 1, (KINDS[number % 3],)
    while point is not None:
        calls, failed, point = in_child(failing, others, wanted, point, most, kinds)
        told["tried"] += failed
        told["kept"] += point is not None
        if not full:
            break
    told["calls"] += calls

host.portsets
run_all(tried)
"""

PREDICTED = """
from vswitch.desired.managed import afterwards, managed
from vswitch.desired.yaml_text import to_yaml

def comes_true(steps, wanted, exact):
    # The members of the document before and after, as they are foreseen and as they come. Gives how much was done.
    made_by(steps)
    before = host.export()
    try:
        plan = host.plan(wanted, exact=exact)
        foreseen = to_yaml(managed(wanted, afterwards(before, plan), exact=exact))
        plan.apply()
    except (vswitch.DocumentError, vswitch.Busy, vswitch.ApplyError):
        return 0
    assert foreseen == to_yaml(managed(wanted, host.export(), exact=exact)), foreseen + plan.diff()
    return len(plan)

def tried(steps, others, number):
    wanted = in_child(wanted_by, steps)
    if number % 3 == 0:  # a document that leaves things out
        del wanted["switches"][sorted(wanted["switches"])[0]]
    done = in_child(comes_true, others, wanted, number % 2 == 0)
    told["tried"] += done > 0
    told["calls"] += done

host.portsets
run_all(tried)
"""

KILLED = """
tool = scenario.Tool(sys.argv[5])
folder = os.path.dirname(os.environ["VSWITCH_HOST"])
empty, begun = os.path.join(folder, "empty.db"), os.path.join(folder, "begun.db")
def tried(steps, others, number):
    tool("restore", empty)
    wanted = wanted_by(steps)
    tool("restore", empty)
    made_by(others)
    plan = planned(wanted)
    if not plan:
        return
    before = scenario.whole()
    tool("snapshot", "--force", begun)
    stride = 1 if full else 11
    line = 0 if full else number % stride
    while scenario.killed(plan, line, line % 2 == 0, line % 3 == 0):
        told["tried"] += 1
        if host.pending is None:
            if scenario.whole() != before:
                assert not planned(wanted), line
        else:
            error = None
            try:
                host.revert()
            except vswitch.ApplyError as caught:
                error = caught
            told["kept"] += same(error, before)
            assert host.pending is None
        tool("restore", begun)
        line += stride

host.portsets
tool("snapshot", empty)
run_all(tried)
"""


def run(tmp_path: pathlib.Path, script: str, plans: int, chunk: int, host: str, *arguments: str) -> dict[str, Any]:
    description = tmp_path / "nics.json"
    description.write_text(json.dumps({"format": 1, "physical_nics": NICS}))
    outcome = run_script(
        PRELUDE + script, str(SOURCE / "tests/vswitch"), str(plans), str(chunk), "full" if FULL else "sample",
        *arguments, limit=3600, VSWITCH_HOST=host, VSWITCH_HOST_INIT=str(description),
        VSWITCH_APPLY_DIR=str(tmp_path / "apply"), PYTHONHASHSEED="0",
    )  # fmt: skip
    assert outcome.code == 0, outcome
    print(outcome.out)
    told: dict[str, Any] = json.loads(outcome.out)
    assert told["plans"] >= plans
    return told


@pytest.mark.parametrize("chunk", CHUNKS)
def test_a_call_that_fails_leaves_nothing_of_a_random_plan(tmp_path: pathlib.Path, chunk: int) -> None:
    told = run(tmp_path, FAULTS, PLANS, chunk, ":memory:")
    assert told["tried"] >= (told["calls"] * 3 if FULL else PLANS * 2 // 3)
    assert told["calls"] > 5 * PLANS and told["kept"] < told["tried"] // 2


@pytest.mark.parametrize("chunk", CHUNKS)
def test_a_kill_leaves_what_can_be_taken_back_of_a_random_plan(tmp_path: pathlib.Path, chunk: int) -> None:
    plans = PLANS if FULL else 5
    told = run(tmp_path, KILLED, plans, chunk, str(tmp_path / "host.db"), str(BUILD / "host/bin/vswitch-host"))
    assert told["tried"] >= (PLANS * 10 if FULL else 5) and told["kept"] < told["tried"] // 2


@pytest.mark.parametrize("chunk", CHUNKS)
def test_what_is_foreseen_of_a_random_plan_is_what_comes(tmp_path: pathlib.Path, chunk: int) -> None:
    told = run(tmp_path, PREDICTED, PLANS, chunk, ":memory:")
    assert told["tried"] >= PLANS // 3 and told["calls"] > 5 * told["tried"]
