"""Applies: verified, taken back as a whole when a call fails or the process dies, confirmed or reverted.
Longer than most: all share the document that they apply."""

import json
import os
import pathlib
import textwrap
from typing import Any

import pytest
from workspace import BUILD, SOURCE, Script, run_script

import vswitch

FULL = bool(os.environ.get("VSWITCHPY_FULL"))

PRELUDE = f"""
import json, os, pathlib, signal, sys, time
sys.path.insert(0, {str(SOURCE / "tests/vswitch")!r})
import desired_scenario as scenario
import vswitch
from vswitch import _calls
tool = scenario.Tool({str(BUILD / "host/bin/vswitch-host")!r})
folder = pathlib.Path(os.environ["VSWITCH_APPLY_DIR"])
folder.parent.mkdir(exist_ok=True)
host = scenario.prepare()
before = scenario.whole()
exported = host.export()
tool("snapshot", str(folder.parent / "before.db"))
restore = lambda: tool("restore", str(folder.parent / "before.db"))
plan = host.plan(scenario.WANTED)

def wait(condition, seconds=30):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end, "it took too long"
        time.sleep(0.02)

def past(seconds):
    end = time.monotonic() + seconds
    wait(lambda: time.monotonic() > end)

def the_guard():
    def command(process):
        try:
            return (process / "cmdline").read_text()
        except OSError:
            return ""
    guards = [int(process.name) for process in pathlib.Path("/proc").glob("[0-9]*")
        if "vswitch.desired.guard" in command(process) and str(folder) in command(process)]
    assert len(guards) == 1
    return guards[0]

def is_before():
    now = scenario.whole()
    assert now == before, scenario.difference(before, now)
    assert host.export() == exported
"""


@pytest.fixture
def on_file(tmp_path: pathlib.Path) -> Script:
    """Runs a script on a host in a file, prepared, with `plan` at hand."""

    def run(source: str, *arguments: str, **options: Any) -> str:
        options |= {"VSWITCH_HOST": str(tmp_path / "host.db"), "VSWITCH_APPLY_DIR": str(tmp_path / "apply")}
        outcome = run_script(PRELUDE + textwrap.dedent(source), *arguments, **options)
        assert outcome.code == 0, outcome
        return outcome.out

    return run


pytestmark = pytest.mark.same_process


def test_everything_that_changes_can_be_taken_back(on_file: Script) -> None:
    on_file(
        """
        from vswitch.desired import undo
        assert plan.apply().verified
        assert host.plan(scenario.WANTED).diff() == ""
        undone, not_undone, error = undo.undo(plan.operations, lambda *a, **k: None)
        assert undone == plan.operations and not not_undone and error is None
        is_before()
        """
    )


@pytest.mark.parametrize("kind", ["fail", "fail-after", "abort"])
def test_a_fault_at_every_call_leaves_the_host_as_before_or_as_wanted(on_file: Script, kind: str) -> None:
    # In full every call; else each seventh, another one for each kind.
    stride, first = (1, 0) if FULL else (7, {"fail": 0, "fail-after": 2, "abort": 4}[kind])
    told = on_file(
        """
        kind, stride, first = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
        made = []
        with _calls.observed(lambda name, *rest: made.append(name)):
            plan.apply()
        wanted = scenario.whole()
        free = {"VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree", "QEL_ReturnStatusToString"}
        count = len([name for name in made if name not in free])
        failed = 0
        for number in range(first, count, stride):
            restore()
            tool.fault(kind, number)
            error = None
            try:
                plan.apply()
            except (vswitch.Error, OSError) as caught:
                error = caught
            tool("fault", "clear")
            now = scenario.whole()
            if error is None:
                assert now == wanted, (number, scenario.difference(wanted, now))
                continue
            failed += 1
            assert now == before, (number, error, scenario.difference(before, now))
            if isinstance(error, vswitch.ApplyError):
                assert error.rolled_back and not error.not_undone, (number, error)
                assert error.cause is not None and error.status == getattr(error.cause, "status", error.status)
            assert host.pending is None
        print(failed)
        """,
        kind,
        str(stride),
        str(first),
    )
    assert int(told) > 8


def test_what_an_uplink_s_own_port_names_is_taken_back(on_file: Script) -> None:
    """A setting of a new uplink's port that names an uplink keeps it from being removed, until it is cleared."""
    on_file(
        """
        host.switches.create("late")
        before = scenario.whole()
        made = host.plan(
            "format: 1\\nruntime_options: {IGMPVersion: 77}\\n"
            "switches: {late: {uplinks: [x], uplink_ports: {x: {teaming_override: x, blocked: true}}}}"
        )
        try:
            made.apply()
        except vswitch.ApplyError as error:
            assert [one.path for one in error.done][-1] == "switches/late/uplink_ports/x/teaming_override"
            assert error.rolled_back and not error.not_undone, error.not_undone
        else:
            raise AssertionError("it did not fail")
        now = scenario.whole()
        assert now == before, scenario.difference(before, now)
        """
    )


def test_what_a_volatile_value_was_comes_back_as_such(on_file: Script) -> None:
    """On a switch that does not outlive a boot a volatile value counts as stored, and is volatile all the same."""
    on_file(
        """
        brief = host.switches.create("brief", persistent=False)
        brief.properties.set("org.v", "x", volatile=True)
        before = scenario.whole()
        made = host.plan("format: 1\\nswitches: {brief: {mtu: 64, properties: {org.v: null, org.w: y}}}")
        try:
            made.apply()
        except vswitch.ApplyError as error:
            assert error.rolled_back
        else:
            raise AssertionError("it did not fail")
        now = scenario.whole()
        assert now == before, scenario.difference(before, now)
        # Nothing is stored below it.
        assert brief.properties.remove("org.v", volatile_only=True) is True
        assert "org.v" not in brief.properties
        """
    )


def test_what_cannot_be_taken_back_is_named(on_file: Script) -> None:
    on_file(
        """
        # From some call on everything fails, also what would undo it.
        tool.fault("fail", 60, times=None)
        try:
            plan.apply()
        except vswitch.ApplyError as error:
            caught = error
        tool("fault", "clear")
        assert not caught.rolled_back
        assert set(caught.done) >= set(caught.undone)
        assert caught.not_undone
        named = {operation.path for operation in caught.not_undone}
        now = scenario.whole()
        changed = {name.split()[0] for name in {**before, **now} if before.get(name) != now.get(name)}
        assert changed, "something is left"
        assert changed <= {path.split("/")[1] for path in named if "/" in path} | {"mac_learning", "options"}
        lines = [json.loads(line) for line in next(folder.glob("*.last")).read_text().splitlines()]
        assert lines[-1]["type"] == "rolled_back" and lines[-1]["complete"] is False
        numbers = {line["number"] for line in lines if line["type"] == "not_undone"}
        assert numbers == {operation.number for operation in caught.not_undone}
        assert all(line["error"]["class"] for line in lines if line["type"] == "not_undone")
        """
    )


def test_killed_at_every_line_of_the_journal(on_file: Script) -> None:
    stride = 1 if FULL else 5
    told = on_file(
        """
        stride, number, reverted = int(sys.argv[1]), 0, 0
        while scenario.killed(plan, number, number % 2 == 0, number % 3 == 0):
            now = scenario.whole()
            found = host.pending
            if found is None:
                assert now == before or host.plan(scenario.WANTED).diff() == "", number
            else:
                assert not found.guarded and not found.finished and found.deadline is None
                try:
                    host.plan(scenario.WANTED).apply()
                except vswitch.Busy as busy:
                    assert "was interrupted; 'vswitch revert' undoes it, 'vswitch confirm' keeps it" in str(busy)
                else:
                    raise AssertionError("not Busy")
                result = host.revert()
                assert result.verified and result.operations == found.operations
                is_before()
                assert host.pending is None
                reverted += 1
            restore()
            number += stride
        print(number, reverted)
        """,
        str(stride),
    )
    lines, reverted = map(int, told.split())
    assert lines >= 75 and reverted >= lines // stride - 3


def test_an_interrupted_apply_can_be_kept(on_file: Script) -> None:
    on_file(
        """
        if not (child := os.fork()):
            plan.apply(progress=lambda done, total, operation: done == 20 and os.kill(os.getpid(), signal.SIGKILL))
        os.waitpid(child, 0)
        pending = host.pending
        assert [operation.number for operation in pending.operations] == list(range(1, 21))
        result = host.confirm(pending.id)
        assert not result.changed and result.operations == pending.operations and result.confirmation is None
        assert host.pending is None
        assert host.plan(scenario.WANTED).apply().changed
        """
    )


def test_the_journal_says_what_happened(on_file: Script) -> None:
    on_file(
        """
        result = plan.apply()
        assert result.changed and result.verified and result.seconds > 0 and result.operations == plan.operations
        assert scenario.journals() == ["last", "lock"]
        assert folder.stat().st_mode & 0o777 == 0o700
        for path in folder.iterdir():
            assert path.stat().st_mode & 0o777 == 0o600
        import hashlib
        key = hashlib.sha256(os.environ["VSWITCH_HOST"].encode()).hexdigest()[:16]
        lines = [json.loads(line) for line in (folder / f"{key}.last").read_text().splitlines()]
        numbers = [number for operation in plan for number in (("doing", operation.number), ("done", operation.number))]
        assert [(line["type"], line.get("number")) for line in lines[1:-2]] == numbers
        assert [line["type"] for line in lines[-2:]] == ["verified", "finished"]
        begin = lines[0]
        assert set(begin) == set("type time format id pid plan confirm_within deadline environment".split())
        assert begin["format"] == 1 and begin["pid"] == os.getpid()
        assert begin["confirm_within"] is begin["deadline"] is None
        assert vswitch.Plan.from_dict(begin["plan"]) == plan and begin["plan"]["id"] == plan.id
        assert begin["environment"]["VSWITCH_HOST"] == os.environ["VSWITCH_HOST"]
        import re
        assert re.fullmatch(r"[0-9a-f]{8}", begin["id"])
        assert all(re.fullmatch(r"\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{6}Z", line["time"]) for line in lines)
        # Nothing to do: no journal, no other last one.
        again = host.plan(scenario.WANTED).apply()
        assert not again.changed and again.operations == () and (folder / f"{key}.last").stat().st_size
        """
    )


def test_links_in_the_folder_are_not_followed(on_file: Script) -> None:
    on_file(
        """
        plan.apply()
        key = next(folder.glob("*.last")).stem
        victim = folder.parent / "victim"
        victim.write_text("mine")
        (folder / f"{key}.journal").symlink_to(victim)
        try:
            host.plan({"format": 1, "switches": {"one": {}}}).apply()
        except OSError as error:
            assert error.errno in (40, 17), error
        else:
            raise AssertionError("followed")
        assert victim.read_text() == "mine"
        """
    )


def test_the_guard_reverts_unless_it_is_confirmed(on_file: Script) -> None:
    on_file(
        """
        result = plan.apply(confirm_within=60)
        waiting = result.confirmation
        assert waiting.guarded and waiting.finished and waiting.operations == plan.operations
        assert host.pending == waiting
        left = (waiting.deadline.timestamp() - time.time())
        assert 50 < left <= 60
        for refused, kind, text in (
            (lambda: host.plan({"format": 1, "switches": {"x": {}}}).apply(), vswitch.Busy, "wait to be confirmed"),
            (lambda: host.confirm("0" * 8), vswitch.NotFound, "wait to be confirmed"),
            (lambda: host.revert("0" * 8), vswitch.NotFound, "wait to be confirmed"),
        ):
            try:
                refused()
            except kind as error:
                assert text in str(error)
            else:
                raise AssertionError(text)
        wanted = scenario.whole()
        assert not host.confirm().changed
        assert host.pending is None and scenario.whole() == wanted
        wait(lambda: scenario.journals() == ["last", "lock"])

        # A later change, which nobody reverts.
        host.plan({"format": 1, "switches": {"later": {}}}).apply()
        restore()
        result = plan.apply(confirm_within=1)
        wait(lambda: host.pending is None)
        is_before()
        last = json.loads(next(folder.glob("*.last")).read_text().splitlines()[-1])
        assert last["type"] == "reverted" and last["complete"] is True
        try:
            host.confirm(result.confirmation.id)
        except vswitch.TimedOut as error:
            assert "were reverted" in str(error)
        else:
            raise AssertionError("confirmed")
        """
    )


def test_the_guard_reverts_after_the_process_its_terminal_or_its_time_is_gone(on_file: Script) -> None:
    on_file(
        """
        import pty

        # Killed in the middle of an apply: the deadline of the beginning holds.
        if not (child := os.fork()):
            plan.apply(confirm_within=1, progress=lambda done, total, operation: done == 20 and os.kill(os.getpid(), 9))
        os.waitpid(child, 0)
        assert host.pending.guarded and not host.pending.finished
        wait(lambda: host.pending is None)
        is_before()

        # Its terminal goes away with it.
        child, terminal = pty.fork()
        if not child:
            plan.apply(confirm_within=2)
            time.sleep(60)  # it is killed before
            os._exit(1)
        wait(lambda: host.pending is not None and host.pending.finished)
        os.close(terminal)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == -signal.SIGHUP
        assert host.pending.guarded
        wait(lambda: host.pending is None)
        is_before()

        # The guard is stopped, and goes on after the deadline.
        plan.apply(confirm_within=1)
        guard = the_guard()
        os.kill(guard, signal.SIGSTOP)
        past(1.5)
        assert host.pending.guarded
        os.kill(guard, signal.SIGCONT)
        wait(lambda: host.pending is None)
        is_before()
        """
    )


@pytest.mark.parametrize("first", ["the guard", "the apply"])
@pytest.mark.parametrize("confirmed", [False, True])
def test_the_guard_and_the_apply_are_stopped_and_go_on(on_file: Script, first: str, confirmed: bool) -> None:
    """Both are stopped in the middle of an apply and go on after the deadline, one or the other first. The apply is
    finished; the time to confirm counts from its end."""
    on_file(
        """
        first, confirmed = sys.argv[1], sys.argv[2] == "True"
        child = os.fork()
        if not child:
            stop = lambda done, total, operation: done == 20 and os.kill(os.getpid(), signal.SIGSTOP)
            plan.apply(confirm_within=2, progress=stop)
            if confirmed:
                host.confirm()
            os._exit(0)
        assert os.WIFSTOPPED(os.waitpid(child, os.WUNTRACED)[1])
        guard = the_guard()
        os.kill(guard, signal.SIGSTOP)
        begun = host.pending
        assert begun.guarded and not begun.finished
        past(2.5)
        order = (guard, child) if first == "the guard" else (child, guard)
        os.kill(order[0], signal.SIGCONT)
        if first == "the apply":
            wait(lambda: host.pending is None if confirmed else host.pending.finished)
        else:
            past(0.5)  # the guard is past its deadline, and waits: somebody is at work
            assert not host.pending.finished
        os.kill(order[1], signal.SIGCONT)
        assert os.waitpid(child, 0)[1] == 0
        if confirmed:
            wait(lambda: "guard" not in scenario.journals())
            assert host.pending is None and host.plan(scenario.WANTED).diff() == ""
        else:
            wait(lambda: host.pending is None)
            is_before()
            last = json.loads(next(folder.glob("*.last")).read_text().splitlines()[-1])
            assert last["type"] == "reverted" and last["complete"] is True
        """,
        first,
        str(confirmed),
    )


def test_a_confirmation_by_hand_while_the_guard_sleeps(on_file: Script) -> None:
    on_file(
        """
        result = plan.apply(confirm_within=30)
        back = host.revert(result.confirmation.id)
        assert back.changed and back.verified and set(back.operations) == set(plan.operations)
        is_before()
        try:
            host.revert()
        except vswitch.NotFound as error:
            assert str(error) == "nothing waits to be confirmed"
        else:
            raise AssertionError("found")
        """
    )


def test_two_at_once(on_file: Script) -> None:
    on_file(
        """
        from vswitch.desired import journal
        assert journal.PATIENCE == 10
        journal.PATIENCE = 0.5
        go, gone = os.pipe()
        if not (child := os.fork()):
            def progress(done, total, operation):
                if done == 5:
                    os.write(gone, b"x")
                    time.sleep(2)
            try:
                plan.apply(progress=progress)
            finally:
                os._exit(0)
        os.read(go, 1)
        begin = time.monotonic()
        assert host.pending is None
        try:
            host.plan({"format": 1, "switches": {"x": {}}}).apply()
        except vswitch.Busy as error:
            assert str(error) == "another process applies changes to this host"
        else:
            raise AssertionError("not Busy")
        assert 0.5 <= time.monotonic() - begin < 2
        os.waitpid(child, 0)
        assert host.plan(scenario.WANTED).diff() == ""
        """
    )


def test_an_interrupt_takes_everything_back_and_goes_on(on_file: Script) -> None:
    on_file(
        """
        def progress(done, total, operation):
            if done == 30:
                os.kill(os.getpid(), signal.SIGINT)
                os.kill(os.getpid(), signal.SIGINT)
        try:
            plan.apply(progress=progress)
        except KeyboardInterrupt:
            pass
        else:
            raise AssertionError("went on")
        is_before()
        assert signal.getsignal(signal.SIGINT) is signal.default_int_handler
        assert json.loads(next(folder.glob("*.last")).read_text().splitlines()[-1])["type"] == "rolled_back"
        """
    )


def test_what_changed_meanwhile_is_not_overwritten(on_file: Script) -> None:
    on_file(
        """
        for change, path in (
            (lambda: setattr(host.switches["management"], "mtu", 4000), "switches/management/mtu"),
            (lambda: host.switches["management"].ports.remove("gone"), "switches/management/ports/gone"),
            (lambda: host.switches.create("late"), "switches/late"),
            (lambda: setattr(host, "mac_learning", vswitch.HostMacLearning(aging_time=1)), "mac_learning"),
            (lambda: host.switches["workload"].mirrors.clear(), "switches/workload/mirrors/t1"),
        ):
            change()
            now = scenario.whole()
            try:
                plan.apply()
            except vswitch.PlanChanged as error:
                assert error.path == path, error.path
            else:
                raise AssertionError(path)
            assert scenario.whole() == now and host.pending is None
            restore()
        """
    )


def test_progress_is_told_before_each_operation_and_at_the_end(on_file: Script) -> None:
    on_file(
        """
        told = []
        plan.apply(progress=lambda *arguments: told.append(arguments), verify=False)
        total = len(plan)
        assert told == [(done, total, operation) for done, operation in enumerate(plan)] + [(total, total, plan[-1])]
        """
    )


def test_a_host_in_memory_has_neither_lock_nor_journal(tmp_path: pathlib.Path) -> None:
    outcome = run_script(
        """
        import os, vswitch
        host = vswitch.Host()
        result = host.plan("{format: 1, switches: {lab: {mtu: 9000}}}").apply()
        assert result.changed and result.verified and result.confirmation is None and host.pending is None
        plan = host.plan("{format: 1, switches: {lab: {mtu: 1500}}}")
        try:
            plan.apply(confirm_within=5)
        except vswitch.NotSupported as error:
            assert host.switches["lab"].mtu == 9000
        else:
            raise AssertionError("supported")
        for wrong, kind in ((0.5, ValueError), (86401, ValueError), (float("nan"), ValueError), ("5", TypeError),
                            (True, TypeError)):
            try:
                plan.apply(confirm_within=wrong)
            except kind:
                continue
            raise AssertionError(wrong)
        for asked in (host.confirm, host.revert):
            try:
                asked()
            except vswitch.NotFound:
                continue
            raise AssertionError(asked)
        assert not os.path.exists(os.environ["VSWITCH_APPLY_DIR"])
        """,
        VSWITCH_HOST=":memory:",
        VSWITCH_APPLY_DIR=str(tmp_path / "apply"),
    )
    assert outcome.code == 0, outcome


def test_a_value_that_does_not_stay_is_not_verified(tmp_path: pathlib.Path) -> None:
    outcome = run_script(
        """
        import vswitch
        from vswitch.desired import execute
        host = vswitch.Host()
        plan = host.plan("{format: 1, switches: {management: {mtu: 9000}, workload: {mtu: 1500}}}")
        run = execute.run
        execute.run = lambda one: None if one[1].get("alias") == "workload" and one[0] == "VSDVS_SetMTU" else run(one)
        try:
            plan.apply()
        except vswitch.ApplyError as error:
            assert isinstance(error.cause, vswitch.NotVerified) and error.rolled_back
            assert str(error) == "switches/workload/mtu is 9000, not 1500" and error.path == "switches/workload/mtu"
            assert error.operation is plan[1] and error.name == "QEL_FAILURE"
        else:
            raise AssertionError("verified")
        assert host.switches["management"].mtu == 1500
        """,
        VSWITCH_HOST=":memory:",
    )
    assert outcome.code == 0, outcome


def test_results_as_plain_data(on_file: Script) -> None:
    told = on_file(
        """
        result = plan.apply(confirm_within=60)
        print(json.dumps(result.to_dict()))
        host.confirm()
        """
    )
    data = json.loads(told)
    assert list(data) == ["changed", "operations", "verified", "seconds", "confirmation"]
    assert list(data["confirmation"]) == ["id", "deadline", "operations", "guarded", "finished"]
    assert [vswitch.Operation.from_dict(one).number for one in data["operations"]] == list(
        range(1, len(data["operations"]) + 1)
    )


