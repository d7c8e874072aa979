"""Calls with the interpreter lock released: other threads run, one call at a time is in the bridge, and nothing is
lost."""

import os
import pathlib
from typing import Any

import pytest
import workspace
from workspace import Script

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
TOOL = workspace.BUILD / "host" / "bin" / "vswitch-host"
with_gate = pytest.mark.skipif(
    "VSWITCHPY_PRELOAD" in os.environ, reason="the gate takes the place of the allocator, as a sanitizer does"
)

# ---- on the simulated host, with calls that a fault delays -----------------------------------------------------------

DELAYED = """
import os, subprocess, sys, threading, time
import libvswitch as vs
from exact import raises
def delay(function, milliseconds, times=1):
    subprocess.run([sys.argv[1], "--host", os.environ["VSWITCH_HOST"], "fault", "add", "delay", "--call", function,
                    "--milliseconds", str(milliseconds), "--times", str(times)], check=True, stdout=subprocess.DEVNULL)
vs.unlocked(vs.VSQEL_GetSwitchInfo, "workload")
"""


@pytest.fixture
def delayed(script: Script, tmp_path: pathlib.Path) -> Script:
    """Runs a script on a host of its own; `delay` makes the next calls of a function take their time."""

    def run(source: str, *arguments: str, **options: Any) -> str:
        host, trace = str(tmp_path / "host.db"), str(tmp_path / "trace")
        options |= {"VSWITCH_HOST": host, "VSWITCH_HOST_TRACE": trace}
        return script(DELAYED + source, str(TOOL), *arguments, **options)

    return run


def test_a_thread_of_plain_python_keeps_its_pace(delayed: Script) -> None:
    """The same loop, while the main thread waits in a call and while it waits for nothing of ours."""
    delayed(
        """
counted, ends = [0], threading.Event()
def count():
    while not ends.is_set():
        counted[0] += 1
counter = threading.Thread(target=count, daemon=True)
counter.start()
def pace(wait):
    before, begin = counted[0], time.monotonic()
    wait()
    return (counted[0] - before) / (time.monotonic() - begin)
def in_a_call():
    assert vs.unlocked(vs.VSDVS_SetMTU, "workload", 1500) == 0
# Other work on the machine may slow down either of a pair, but not all of them.
for attempt in range(5):
    delay("VSDVS_SetMTU", 1500)
    alone, beside = pace(lambda: threading.Event().wait(1.5)), pace(in_a_call)
    if beside > 0.8 * alone:
        break
ends.set()
counter.join()
assert beside > 0.8 * alone, (beside, alone)
"""
    )


def test_other_calls_wait_without_the_lock_until_it_is_over(delayed: Script) -> None:
    """Of the module and of the layer; the host's own trace says in which order it did its work."""
    delayed(
        """
import json
import _libvswitch as m
delay("VSDVS_SetMTU", 1000)
begins, ends, counted = threading.Event(), threading.Event(), [0]
def long():
    begins.set()
    assert vs.unlocked(vs.VSDVS_SetMTU, "workload", 1500) == 0
def other(call):
    assert call("workload")[0] == 0
def count():
    while not ends.is_set():
        counted[0] += 1
# The long call's thread keeps the lock until it gives it up in its call.
sys.setswitchinterval(60)
threads = [threading.Thread(target=long)]
threads[0].start()
begins.wait()
sys.setswitchinterval(0.005)
calls = (m.VSQEL_GetSwitchInfo, vs.VSQEL_GetSwitchInfo, lambda alias: vs.unlocked(vs.VSQEL_GetSwitchInfo, alias))
threads += [threading.Thread(target=other, args=(call,)) for call in calls]
counter = threading.Thread(target=count, daemon=True)
for thread in threads[1:]:
    thread.start()
counter.start()
for thread in threads:
    thread.join()
ends.set()
counter.join()
assert counted[0] > 1000
with open(os.environ["VSWITCH_HOST_TRACE"]) as lines:
    made = [json.loads(line)["call"] for line in lines][1:]
assert made == ["VSDVS_SetMTU"] + ["VSQEL_GetSwitchInfo"] * 3, made
"""
    )


def test_eight_threads_on_eight_switches_lose_nothing(delayed: Script) -> None:
    said = delayed(
        f"""
rounds = {2000 if FULL else 100}
failures = []
def work(number):
    alias = f"lab-{{number}}"
    try:
        assert vs.unlocked(vs.VSDVS_CreateVSwitch, alias, f"{{alias}}-id", "", 64, 0, 1500, vs.DVS_VERSION_70, 0) == 0
        for turn in range(rounds):
            port = f"port-{{turn % 8}}"
            add = vs.VSDVS_RemoveDVPort if turn // 8 % 2 else vs.VSDVS_AddDVPort
            assert vs.unlocked(add, alias, port, *([] if turn // 8 % 2 else [7])) == 0
            assert vs.unlocked(vs.VSDVS_SetMTU, alias, 1500 + turn % 1000) == 0
            status, info = vs.unlocked(vs.VSQEL_GetSwitchInfo, alias)
            assert status == 0 and info.mtu == 1500 + turn % 1000 and info.dvsName
            if turn % 3:
                assert vs.unlocked(vs.VSQEL_FreeMemory, info) is None
            else:
                info.release()
            with raises_nothing():
                assert vs.VSQEL_GetSwitchInfo("nowhere")[0] == vs.QEL_NOT_FOUND
        value = f"value of {{number}}".encode()
        assert vs.unlocked(vs.VSDVS_SetGlobProp, alias, "com.example.kept", value, len(value), "", 1) == 0
    except BaseException as error:
        failures.append((number, repr(error)))
from contextlib import nullcontext as raises_nothing
threads = [threading.Thread(target=work, args=(number,)) for number in range(8)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
assert not failures, failures
for number in range(8):
    alias = f"lab-{{number}}"
    info = vs.check(vs.VSQEL_GetSwitchInfo(alias))
    assert info.mtu == 1500 + (rounds - 1) % 1000
    query = vs.alloc_hnq_query(64)
    assert vs.VSDVS_GetGlobProp(alias, "com.example.kept", query, "", 1) == 0
    assert query.get_val_in_bytes() == f"value of {{number}}".encode()
print(8 * rounds)
"""
    )
    assert int(said) >= 800


def test_a_process_ends_while_a_thread_is_in_a_call(delayed: Script) -> None:
    """Also when records are freed then, by the module's own function."""
    output = delayed(
        """
import _libvswitch as m
class Info:
    __swig_destroy__ = m.delete_VSInfo
m.VSInfo_swigregister(Info)
kept = m.new_VSInfo()
begins = threading.Event()
delay("VSDVS_SetMTU", 3000)
def long():
    begins.set()
    vs.unlocked(vs.VSDVS_SetMTU, "workload", 1500)
    print("came back")
threading.Thread(target=long, daemon=True).start()
begins.wait()
time.sleep(0)
print("ends")
"""
    )
    assert output in ("ends\n", "ends\ncame back\n")


def test_what_is_no_function_of_the_library_is_refused(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        import libvswitch as vs
        from exact import raises
        with raises(TypeError, "unlocked() needs a function of libvswitch"):
            vs.unlocked()
        for value in (len, "VSDVS_SetMTU", vs.VSInfo, lambda: 0):
            with raises(TypeError, f"unlocked() needs a function of libvswitch, not {value!r}"):
                vs.unlocked(value)
        # What is no call of a library is made all the same, and a function of the native module is one, too.
        info = vs.unlocked(vs.new_VSInfo)
        assert vs.unlocked(vs.VSInfo_mtu_set, info, 9000) is None and vs.unlocked(vs.VSInfo_mtu_get, info) == 9000
        assert vs.unlocked(vs.delete_VSInfo, info) is None
        assert vs.unlocked(m.VSDVS_SetMTU, "workload", 1500) == 0
        status, text = vs.unlocked(vs.DVSAliasToPortsetName, "workload", None), "in method 'VSDVS_SetMTU', argument 2"
        with raises(TypeError, text + " of type 'qel_uint32'"):
            vs.unlocked(vs.VSDVS_SetMTU, "workload", "1500")
        with raises(TypeError, "VSDVS_SetMTU() takes exactly 2 arguments (1 given)"):
            vs.unlocked(vs.VSDVS_SetMTU, "workload")
        names = set(vars(m))
        assert not [name for name in names if "lock" in name.lower() and not name.isupper() and "Block" not in name]
        """
    )


# ---- with the abort gate ---------------------------------------------------------------------------------------------

WALK = """
import threading
import libvswitch as vs
watch_layer()
walk = NAMES.index("DVSState_SwitchForEach")
def visiting(visits, abort_after=-1):
    gate.gate_walk(walk, 0, visits, abort_after, Aborted)
def settled():
    assert calls_in_progress() == 0 and bridge_claims() == 0 and not gate.gate_pending()
"""


@with_gate
def test_a_visitor_has_the_lock_and_lends_the_bridge(storm: Script) -> None:
    """Other threads call while a visitor runs, and the walk goes on to its own abort afterwards."""
    storm(
        WALK
        + """
for abort_after in (-1, 2):
    seen = []
    def visit(handle):
        seen.append(int(handle))
        for call in (vs.VSDVS_SetMTU, lambda *a: vs.unlocked(vs.VSDVS_SetMTU, *a), m.VSDVS_SetMTU):
            outcomes = []
            thread = threading.Thread(target=lambda: outcomes.append(call("other", 1500)))
            thread.start()
            thread.join()
            assert outcomes == [0]
            assert call("nested", 1500) == 0
        gate.gate_abort(Aborted, 0, 0)
        with raises(Aborted, "aborted"):
            vs.unlocked(vs.VSDVS_DestroyVSwitch, "nested")
        assert calls_in_progress() == 1
    visiting(3, abort_after)
    aborted = False
    with vs.callback(visit) as visitor:
        try:
            vs.unlocked(vs.DVSState_SwitchForEach, visitor, None)
        except Aborted:
            aborted = True
    assert aborted == (abort_after > 0) and seen == [1, 2, 3][: abort_after if aborted else 3]
    settled()
visiting(0)
"""
    )


@with_gate
def test_a_visitor_of_a_script_s_own_keeps_the_bridge(storm: Script) -> None:
    """Made with ctypes alone: its calls are made, with the lock; those of other threads wait until the walk is over."""
    storm(
        WALK
        + """
order = []
def other():
    assert vs.VSDVS_SetMTU("other", 1500) == 0
    order.append("other")
thread = threading.Thread(target=other)
@ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)
def visit(handle, context):
    if not order:
        thread.start()
    while bridge_claims() < 2:
        pass
    assert vs.VSDVS_SetMTU("nested", 1500) == 0 == vs.unlocked(vs.VSDVS_SetMTU, "nested", 1500)
    order.append("visit")
    return 0
visiting(3, 3)
address = vs._records.pointer(ctypes.cast(visit, ctypes.c_void_p).value, "_p_f_p_void_p_void__int")
with raises(Aborted, "aborted"):
    vs.unlocked(vs.DVSState_SwitchForEach, address, None)
thread.join()
assert order == ["visit"] * 3 + ["other"]
settled()
visiting(0)
"""
    )


@with_gate
def test_memory_that_a_call_may_be_using_is_freed_when_it_is_over(storm: Script) -> None:
    storm(
        WALK
        + """
record, text = vs.VSInfo(), vs.HNQQuery()
text.propValue = "before"
view = vs.VSMACLearningSwitchInfo()
counts = []
def visit(handle):
    counts.append(blocks_in_use())
    if int(handle) == 1:
        record.release()
        text.propValue = None
        view.release()
        with raises(ValueError, "the memory of this libvswitch.VSInfo was released"):
            record.mtu
visiting(3)
before = blocks_in_use()
with vs.callback(visit) as visitor:
    vs.unlocked(vs.DVSState_SwitchForEach, visitor, None)
assert counts == [counts[0]] * 3 and blocks_in_use() == before - 3
settled()
visiting(0)
vs.VSInfo().release()
assert blocks_in_use() == before - 3
"""
    )


STORM = """
import os, random, signal, sys, threading
sys.setswitchinterval(1e-5)
import libvswitch as vs
from libvswitch import _records
vs.unlocked
watch_layer()
rounds = int(sys.argv[1])
walk = NAMES.index("DVSState_SwitchForEach")
failures, done, handled = [], [], []

def reset():
    # The record of the calls is the library's: not in the middle of one.
    _records.fork_begins()
    rec.recorder_reset()
    _records.forked_in_parent()

def handler(number, frame):
    handled.append(number)
    gate.gate_abort(Aborted, 0, 0)
    try:
        vs.unlocked(vs.VSDVS_DestroyVSwitch, "from the handler")
    except Aborted:
        return
    raise AssertionError("not aborted")

def child():
    # Only this thread came along, in no call: what it does works as before.
    try:
        info = vs.VSInfo()
        assert vs.unlocked(vs.VSDVS_SetMTU, "child", 1500) == 0 and vs.VSDVS_SetMTU("child", 1500) == 0
        gate.gate_abort(Aborted, 0, 0)
        try:
            vs.unlocked(vs.VSDVS_DestroyVSwitch, "child")
        except Aborted:
            info.release()
            os._exit(0 if bridge_claims() == 0 else 3)
        os._exit(1)
    except BaseException:
        os._exit(2)

def forked():
    pid = os.fork()
    if pid == 0:
        child()
    code = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
    assert code == 0, code

def call(choice, function, *arguments):
    return vs.unlocked(function, *arguments) if choice.random() < 0.7 else function(*arguments)

def work(number):
    choice = random.Random(number)
    def visit(handle):
        call(choice, vs.VSDVS_SetMTU, "visited", 1500)
        gate.gate_abort(Aborted, 0, 0)
        try:
            call(choice, vs.VSDVS_DestroyVSwitch, "nested")
        except Aborted:
            return 0
        raise AssertionError("not aborted")
    try:
        for turn in range(rounds):
            what = choice.randrange(6)
            if what == 0:
                gate.gate_abort(Aborted, 0, turn % 2)
                try:
                    call(choice, vs.VSDVS_AddOpaqueDVPort, f"alpha {number}", "port", "external")
                except Aborted:
                    pass
                else:
                    raise AssertionError("not aborted")
            elif what == 1:
                info = vs.VSInfo()
                info.mtu = number
                call(choice, vs.VSQEL_GetVSInfo, "alpha", info)
                info.release()
            elif what == 2:
                policy = vs.VSTeamPolicy()
                policy[0] = f"uplink {number}"
                assert policy[0] == f"uplink {number}"
                m.delete_VSInfo(m.new_VSInfo())
            elif what == 3:
                gate.gate_walk(walk, 0, 2, choice.choice([-1, 0, 1, 2]), Aborted)
                with vs.callback(visit) as visitor:
                    try:
                        call(choice, vs.DVSState_SwitchForEach, visitor, None)
                    except Aborted:
                        pass
                gate.gate_walk(-1, 0, 0, -1, Aborted)
            elif what == 4:
                assert call(choice, vs.VSDVS_SetMTU, "alpha", number) == 0
            elif turn % 50 == 5:
                forked()
            if turn % 20 == 0:
                reset()
        done.append(number)
    except BaseException as error:
        import traceback
        traceback.print_exc()
        failures.append(error)

signal.signal(signal.SIGALRM, handler)
threads = [threading.Thread(target=work, args=(number,)) for number in range(8)]
for thread in threads:
    thread.start()
while any(thread.is_alive() for thread in threads):
    gate.gate_signal(signal.SIGALRM, 0)
    assert vs.unlocked(vs.VSDVS_SetMTU, "main", 1500) == 0
for thread in threads:
    thread.join()
assert not failures and sorted(done) == list(range(8)), failures
assert handled
assert calls_in_progress() == 0 and bridge_claims() == 0
assert gate.gate_changed_texts() == 0
print(len(handled))
"""


@with_gate
def test_threads_signals_forks_and_aborts_at_once(storm: Script) -> None:
    storm(STORM, "5000" if FULL else "300")
