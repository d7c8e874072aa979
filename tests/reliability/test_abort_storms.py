"""Calls that the host aborts, one after the other, in random scripts: nothing but the aborted call is lost. Longer than
most: each test is a script for a process of its own."""

import os
import pathlib
from typing import Any

import pytest
import workspace
from workspace import Script

pytestmark = pytest.mark.skipif(
    "VSWITCHPY_PRELOAD" in os.environ, reason="the gate takes the place of the allocator, as a sanitizer does"
)

FULL = bool(os.environ.get("VSWITCHPY_FULL"))


SWEEP = """
import gc, os, random
answers = os.dup(1)
os.dup2(os.open(os.devnull, os.O_WRONLY), 1)   # what the methods say of indexes
if sys.argv[1] == "native":
    module = m
else:
    import libvswitch as module
    watch_layer()
if sys.argv[1] == "unlocked":
    module = Unlocked()
length, points, seed = int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4])
script = Script(module, seed, length)
plain = run(script)
first = {entry: position for position, (entry, _) in reversed(list(enumerate(script.calls)))}
assert len(first) == ENTRY_COUNT
chosen = range(length) if not points else sorted({*first.values(), *random.Random(seed).sample(range(length), points)})
before = state()
objects = script.objects()
for position in chosen:
    entry = script.calls[position][0]
    expected = run(script, omitted=position)
    gc.collect() if position % 100 == 0 else None
    counts, blocks, texts = references(objects), blocks_in_use(), gate.gate_kept_texts()
    assert run(script, aborted=position) == expected, (position, NAMES[entry])
    # The texts of the aborted call are all that is left of it.
    left = gate.gate_kept_texts() - texts
    assert blocks_in_use() - blocks == left, (NAMES[entry], blocks_in_use() - blocks, left)
    assert references(objects) == counts, NAMES[entry]
    late = run(script, aborted=position, late=True)
    assert late[:position] == plain[:position] and late[position] is None, NAMES[entry]
    assert late[position + 1 :] == plain[position + 1 :], NAMES[entry]
    assert references(objects) == counts, NAMES[entry]
assert run(script) == plain
assert state() == before
assert gate.gate_changed_texts() == 0 and gate.gate_kept_texts() > 0
aborted = [gate.gate_times_aborted(entry) for entry in range(ENTRY_COUNT)]
assert all(aborted), [NAMES[entry] for entry, times in enumerate(aborted) if not times]
said = f"{len(chosen)} of {length} calls aborted, {ENTRY_COUNT} functions, {gate.gate_kept_texts()} texts kept"
os.write(answers, said.encode())
"""


@pytest.mark.parametrize("module", ["native", "layer", "unlocked"])
def test_a_call_that_is_aborted_changes_nothing_else(storm: Script, module: Any) -> None:
    """Each function is aborted at least once, before and after its work; every other call of the script answers as if
    the aborted one had been left out, or had been made."""
    said = storm(SWEEP, module, "2000", "0" if FULL else "30", "7")
    print(f"{module}: {said}")
    assert int(said.split()[0]) >= (2000 if FULL else 289)


def test_constructors_and_destructors_can_be_aborted(storm: Script) -> None:
    """An aborted constructor leaves nothing; an aborted destructor leaves memory that nothing owns."""
    storm(
        """
from native_memory import COUNTED
for record in RECORDS:
    make, destroy = getattr(m, f"new_{record}"), getattr(m, f"delete_{record}")
    arguments = [COUNTED[record]] if record in COUNTED else []
    before = blocks_in_use()
    gate.gate_abort_memory(Aborted, 0)
    with raises(Aborted, "aborted"):
        make(*arguments)
    assert not gate.gate_pending() and blocks_in_use() == before
    proxy = make(*arguments)
    gate.gate_abort_memory(Aborted, 0)
    with raises(Aborted, "aborted"):
        destroy(proxy)
    assert not gate.gate_pending() and blocks_in_use() == before + 1 and not proxy.own()
    destroy(proxy)
    assert blocks_in_use() == before and calls_in_progress() == 0
assert len(RECORDS) == 117
"""
    )


def test_a_record_is_released_only_when_its_destructor_was_not_aborted(storm: Script) -> None:
    storm(
        """
import libvswitch as vs
from libvswitch import _records
from native_memory import COUNTED
watch_layer()
self_types = {}
for name in RECORDS:
    try:
        getattr(m, f"delete_{name}")("no record")
    except TypeError as error:
        self_types[name] = str(error).split("'")[3]
    record = getattr(vs, name)(*([COUNTED[name]] if name in COUNTED else []))
    before = blocks_in_use()
    gate.gate_abort_memory(Aborted, 0)
    with raises(Aborted, "aborted"):
        getattr(vs, f"delete_{name}")(record)
    assert not _records.released(record) and not record.thisown and blocks_in_use() == before
    getattr(vs, f"delete_{name}")(record)
    assert _records.released(record) and blocks_in_use() == before - 1
    with raises(TypeError, f"in method 'delete_{name}', argument 1 of type '{self_types[name]}'"):
        getattr(vs, f"delete_{name}")(record)
"""
    )


INTERRUPTED = """
import os, signal
answers = os.dup(1)
os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
import libvswitch
script = Script(libvswitch, 11, 600)
script.reset()
interrupted = 0
for position, (entry, arguments) in enumerate(script.calls):
    if position % 200 == 0:
        rec.recorder_reset()
    aborts = position % 3 == 0
    seen = []
    gate.gate_signal(signal.SIGINT, 0)
    if aborts:
        gate.gate_abort(Aborted, 0, position % 2)
    try:
        try:
            script.functions[entry](*arguments)
        except (Aborted, ValueError) as error:
            seen.append(type(error))
        for _ in range(2):
            pass
    except KeyboardInterrupt:
        interrupted += 1
    else:
        raise AssertionError(NAMES[entry])
    assert (Aborted in seen) <= aborts and not gate.gate_pending() and calls_in_progress() == 0
assert interrupted == len(script.calls)
assert {entry for entry, _ in script.calls} == set(range(ENTRY_COUNT))
assert run(script) == run(script)
"""


def test_an_interrupt_during_a_call_comes_after_it(storm: Script) -> None:
    """SIGINT in every function, in one third of the calls together with an abort."""
    storm(INTERRUPTED)


def test_a_signal_handler_calls_the_module(storm: Script) -> None:
    """The handler runs between bytecodes, when the call that was interrupted is over."""
    storm(
        """
import signal
depths = []
def handler(number, frame):
    depths.append(calls_in_progress())
    gate.gate_abort(Aborted, 0, 0)
    with raises(Aborted, "aborted"):
        m.VSDVS_DestroyVSwitch("from the handler")
    m.VSDVS_SetMTU("alpha", 1500)
    if len(depths) % 2:
        gate.gate_abort(Aborted, 0, 0)
        m.DVSLoadConfig()
signal.signal(signal.SIGALRM, handler)
raised = 0
for attempt in range(200):
    gate.gate_signal(signal.SIGALRM, 0)
    try:
        m.VSDVS_AddOpaqueDVPort("alpha", "port", "external")
        for _ in range(2):
            pass
    except Aborted:
        raised += 1
assert raised == 100 and depths == [0] * 200 and calls_in_progress() == 0
assert {call[0] for call in calls()} == {"VSDVS_AddOpaqueDVPort", "VSDVS_SetMTU"}
"""
    )


WALK = """
import libvswitch as vs
walk = NAMES.index("DVSState_SwitchForEach")
def visiting(visits, abort_after=-1):
    gate.gate_walk(walk, 0, visits, abort_after, Aborted)
"""


def test_calls_within_a_visitor(storm: Script) -> None:
    storm(
        WALK
        + """
# A nested call that is aborted is an exception of the visitor, which ends the walk.
visits = []
def visit(handle):
    visits.append(int(handle))
    assert calls_in_progress() == 1
    assert vs.VSDVS_SetMTU("alpha", 1500) == 0
    if len(visits) == 3:
        gate.gate_abort(Aborted, 0, 0)
    vs.VSDVS_DestroyVSwitch("nested")
visiting(5)
with vs.callback(visit) as visitor:
    vs.DVSState_SwitchForEach(visitor, None)
    assert type(visitor.error) is Aborted
    visitor.error = None
assert visits == [1, 2, 3] and calls_in_progress() == 0

# Caught there, it does not.
visits = []
def visit(handle):
    visits.append(int(handle))
    gate.gate_abort(Aborted, 0, 0)
    with raises(Aborted, "aborted"):
        vs.VSDVS_DestroyVSwitch("nested")
with vs.callback(visit) as visitor:
    vs.DVSState_SwitchForEach(visitor, None)
assert visits == [1, 2, 3, 4, 5] and calls_in_progress() == 0

# The call around the visitor is aborted itself, before and after visits in which calls were made and aborted.
for abort_after in range(6):
    visits = []
    visiting(5, abort_after)
    with vs.callback(visit) as visitor:
        with raises(Aborted, "aborted"):
            vs.DVSState_SwitchForEach(visitor, None)
    assert len(visits) == abort_after and calls_in_progress() == 0
visiting(0)
assert vs.VSDVS_SetMTU("alpha", 1500) == 0
"""
    )


def test_a_function_that_a_script_has_made_by_itself(storm: Script) -> None:
    """With ctypes alone: calls within it, aborted ones as well, leave the call around them abortable."""
    storm(
        WALK
        + """
from libvswitch import _callbacks
visits = []
def visit(handle, context):
    visits.append(handle)
    gate.gate_abort(Aborted, 0, 0)
    with raises(Aborted, "aborted"):
        m.VSDVS_DestroyVSwitch("nested")
    m.VSDVS_SetMTU("nested", 1500)
    return 0
function = _callbacks.Callback(_callbacks._VISITOR(visit), "_p_f_p_void_p_void__int")
for abort_after in (1, 2, 3):
    visits.clear()
    visiting(3, abort_after)
    with raises(Aborted, "aborted"):
        m.DVSState_SwitchForEach(function, None)
    assert visits == [1, 2, 3][:abort_after] and calls_in_progress() == 0
visiting(0)
"""
    )


def test_walks_within_walks(storm: Script) -> None:
    """Each of forty walks is aborted once the one within it was."""
    storm(
        WALK
        + """
deepest = 0
def visit(handle):
    global deepest
    depth = calls_in_progress()
    deepest = max(deepest, depth)
    if depth < 40:
        with vs.callback(visit) as visitor:
            visiting(2, 1)
            with raises(Aborted, "aborted"):
                vs.DVSState_SwitchForEach(visitor, None)
        assert calls_in_progress() == depth
        visiting(2, 1)
for attempt in range(20):
    visiting(2, 1)
    with vs.callback(visit) as visitor:
        with raises(Aborted, "aborted"):
            vs.DVSState_SwitchForEach(visitor, None)
    assert calls_in_progress() == 0
assert deepest == 40
"""
    )


def test_an_interrupt_within_a_visitor_ends_the_walk(storm: Script) -> None:
    storm(
        WALK
        + """
import signal
visits = []
def visit(handle):
    visits.append(int(handle))
    if len(visits) == 2:
        gate.gate_signal(signal.SIGINT, 0)
    vs.VSDVS_SetMTU("alpha", 1500)
visiting(4)
try:
    with vs.callback(visit) as visitor:
        vs.DVSState_SwitchForEach(visitor, None)
except KeyboardInterrupt:
    pass
else:
    raise AssertionError
assert visits == [1, 2] and calls_in_progress() == 0
visiting(0)
"""
    )


def test_threads_that_walk_at_the_same_time(storm: Script) -> None:
    """The first walk is aborted while the second one is in its visitor, and then the second, in either order."""
    storm(
        WALK
        + """
import threading
def walk_with(name, visit, outcomes):
    visiting(1, 1)
    with vs.callback(visit) as visitor:
        try:
            vs.DVSState_SwitchForEach(visitor, None)
        except Aborted as error:
            outcomes.append(name)
    visiting(0)

for second_ends_first in (False, True):
    for nested in (False, True):
        inside, may_end, outcomes = threading.Event(), threading.Event(), []
        def visit_second(handle):
            inside.set()
            if not second_ends_first:
                assert may_end.wait(60)
            if nested:
                vs.VSDVS_SetMTU("second", 1500)
        second = threading.Thread(target=walk_with, args=("second", visit_second, outcomes))
        def visit_first(handle):
            second.start()
            assert inside.wait(60)
            if second_ends_first:
                second.join()
            if nested:
                vs.VSDVS_SetMTU("first", 1500)
        walk_with("first", visit_first, outcomes)
        may_end.set()
        second.join()
        assert outcomes == (["second", "first"] if second_ends_first else ["first", "second"]), outcomes
        assert calls_in_progress() == 0
"""
    )


THREADS = """
import sys, threading
sys.setswitchinterval(1e-6)
import libvswitch as vs
watch_layer()
script = Script(vs, 5, 400)
script.reset()
rounds = int(sys.argv[1])
reset = ctypes.PyDLL("libtlklibs.so").recorder_reset   # while no other thread runs
failures = []
done = []

def work(number):
    choice = random.Random(number)
    walk = NAMES.index("DVSState_SwitchForEach")
    def visit(handle):
        vs.VSDVS_SetMTU("visited", 1500)
        gate.gate_abort(Aborted, 0, 0)
        try:
            vs.VSDVS_DestroyVSwitch("nested")
        except Aborted:
            return 0
        raise AssertionError("not aborted")
    try:
        for turn in range(rounds):
            what = choice.randrange(5)
            if what == 0:
                gate.gate_abort(Aborted, 0, 0)
                try:
                    vs.VSDVS_AddOpaqueDVPort(f"alpha {number}", "port", "external")
                except Aborted:
                    pass
                else:
                    raise AssertionError("not aborted")
            elif what == 1:
                info = vs.VSInfo()
                info.mtu = number
                str(info.activePorts)
                assert info.mtu == number
                if choice.random() < 0.5:
                    info.release()
            elif what == 2:
                policy = vs.VSTeamPolicy()
                policy[0] = f"uplink {number}"
                assert policy[0] == f"uplink {number}"
                entry = vs.DVMirrorEntity()
                view = entry.ip
                del entry
                view.isIPv6 = number
                assert view.isIPv6 == chr(number)
            elif what == 3:
                gate.gate_walk(walk, 0, 2, choice.choice([-1, 0, 1, 2]), Aborted)
                with vs.callback(visit) as visitor:
                    try:
                        vs.DVSState_SwitchForEach(visitor, None)
                    except Aborted:
                        pass
                gate.gate_walk(-1, 0, 0, -1, Aborted)
            else:
                assert vs.VSDVS_SetMTU("alpha", number) == 0
            if turn % 20 == 0:
                reset()
        done.append(number)
    except BaseException as error:
        import traceback
        traceback.print_exc()
        failures.append(error)

threads = [threading.Thread(target=work, args=(number,)) for number in range(8)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
assert not failures and sorted(done) == list(range(8)), failures
assert calls_in_progress() == 0
assert gate.gate_changed_texts() == 0
"""


def test_threads_that_call_abort_and_drop(storm: Script) -> None:
    storm(THREADS, "20000" if FULL else "1500")


# ---- the simulated host ----------------------------------------------------------------------------------------------

HOST_SWEEP = """
import json, os, subprocess, sys
import libvswitch as vs
TOOL, FOLDER, STEP = sys.argv[1], sys.argv[2], int(sys.argv[3])

def plain(result):
    if isinstance(result, list):
        return [plain(item) for item in result]
    if isinstance(result, vs.VSInfo):
        return bytes(result).hex()
    return result if result is None or isinstance(result, (int, str)) else type(result).__name__

SCRIPT = [
    (vs.VSDVS_CreateVSwitch, "lab", "lab-id", "", 16, 0, 9000, vs.DVS_VERSION_70, 0),
    (vs.VSDVS_AddSwitchUplinkPort, "lab", "nic5"),
    (vs.VSDVS_SetMTU, "lab", 1500),
    *[(vs.VSDVS_AddDVPort, "lab", f"port-{number}", 7) for number in range(8)],
    (vs.VSQEL_GetSwitchInfo, "lab"),
    (vs.VSDVS_SetGlobProp, "lab", "probe", b"value", 5, "", 1),
    (vs.VSDVS_SetHostProp, "lab", "probe", b"other", 5, "", 1),
    *[(vs.VSDVS_SetPortProp, "lab", f"port-{number}", "probe", b"port", 4, "", 1) for number in range(4)],
    (vs.VSDVS_AddOpaqueDVPort, "lab", "opaque", "external"),
    (vs.VSDVS_GetSwitchUplinkPorts, "lab"),
    (vs.VSDVS_SetMTU, "lab", 64),
    (vs.VSDVS_DestroyVSwitch, "management"),
    (vs.VSQEL_GetSwitchInfo, "management"),
    *[(vs.VSDVS_RemoveDVPort, "lab", f"port-{number}") for number in (1, 3)],
    (vs.VSQEL_GetSwitchInfo, "lab"),
    (vs.VSDVS_CreateVSwitch, "second", "second-id", "", 16, 0, 1500, vs.DVS_VERSION_70, 0),
    (vs.VSQEL_GetSwitchInfo, "second"),
]

def state():
    image, length = vs.cell("void **"), vs.cell("int *")
    vs.check(vs.DVSQEL_StateGet(image, length))
    return vs.pointed_bytes(image.value, length.value).hex()

def outcome(position, aborted):
    host = os.path.join(FOLDER, f"host-{position}-{aborted}.db")
    if aborted:
        subprocess.run([TOOL, "--host", host, "init"], check=True)
        subprocess.run([TOOL, "--host", host, "fault", "add", "abort", "--skip", str(position), "--times", "1",
                        "--exception", "RuntimeError", "--message", f"call {position}"],
                       check=True, stdout=subprocess.DEVNULL)
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        os.environ["VSWITCH_HOST"] = host
        results = []
        for number, (function, *arguments) in enumerate(SCRIPT):
            if number == position and not aborted:
                results.append(None)
                continue
            try:
                results.append(plain(function(*arguments)))
            except RuntimeError as error:
                results.append(None)
                assert number == position and str(error) == f"call {position}", (number, error)
        os.write(writer, json.dumps([results, state()]).encode())
        os._exit(0)
    os.close(writer)
    with os.fdopen(reader) as answer:
        said = answer.read()
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
    return json.loads(said)

for position in range(0, len(SCRIPT), STEP):
    aborted, omitted = outcome(position, True), outcome(position, False)
    assert aborted[0][position] is None and aborted == omitted, (position, aborted, omitted)
print(len(SCRIPT))
"""


def test_a_call_that_the_host_aborts_has_done_nothing(script: Script, tmp_path: pathlib.Path) -> None:
    """By a fault on demand for each call of a script in turn; compared with a host on which the call was not made."""
    tool = workspace.BUILD / "host" / "bin" / "vswitch-host"
    script(HOST_SWEEP, str(tool), str(tmp_path), "1" if FULL else "5")


# ---- imports ---------------------------------------------------------------------------------------------------------

ELSEWHERE = '"the companion layer belongs to the interpreter that imported it first"'


def test_threads_import_at_the_same_time(script: Script) -> None:
    script(
        """
import sys, threading
sys.setswitchinterval(1e-6)
start = threading.Barrier(8)
found = []
def work(number):
    start.wait()
    if number % 2:
        import _libvswitch
    import libvswitch as vs
    from libvswitch import check, cell, callback
    record = vs.VSTeamPolicy()
    record[0] = f"uplink {number}"
    assert record[0] == f"uplink {number}"
    assert check(vs.VSQEL_GetSwitchInfo("management")).mtu == 1500
    found.append((id(vs), id(vs.VSTeamPolicy), id(vs.check)))
threads = [threading.Thread(target=work, args=(number,)) for number in range(8)]
for thread in threads: thread.start()
for thread in threads: thread.join()
assert len(found) == 8 and len(set(found)) == 1, found
"""
    )


def test_importing_in_a_visitor_and_in_a_signal_handler(script: Script) -> None:
    script(
        """
import importlib, signal, sys
import libvswitch as vs
from libvswitch import callback
seen = []
def visit(switch):
    for name in ("_errors", "_cells", "_ownership", "_iteration", "_text"):
        importlib.import_module(f"libvswitch.{name}")
    importlib.reload(sys.modules["_libvswitch"])
    seen.append(vs.check(vs.VSQEL_GetSwitchInfo(vs.DVS_SwitchName(switch))).mtu)
assert "libvswitch._cells" not in sys.modules
with callback(visit) as visitor:
    vs.DVSState_SwitchForEach(visitor, None)
assert seen and set(seen) == {1500, 9000}
def handler(number, frame):
    import libvswitch._addresses
    seen.append(vs.mac_text(b"abcdef"))
signal.signal(signal.SIGALRM, handler)
signal.raise_signal(signal.SIGALRM)
assert seen[-1] == "61:62:63:64:65:66"
"""
    )


def test_importing_again(script: Script) -> None:
    """The native module comes back with the same functions; the layer with the same classes, and records stay good."""
    script(
        """
import importlib, sys
from exact import raises
import _libvswitch as m
import libvswitch as vs
from libvswitch import check
record = vs.VSInfo()
record.mtu = 9000
assert importlib.reload(m) is m
info_class = vs.VSInfo
assert importlib.reload(vs) is vs and vs.VSInfo is info_class
assert record.mtu == 9000 and check(vs.VSQEL_GetSwitchInfo("management")).mtu == 1500
del sys.modules["_libvswitch"]
import _libvswitch as again
assert again is not m and again.VSInfo_mtu_get(record) == 9000 and vars(again).keys() == vars(m).keys()
for name in [name for name in sys.modules if name.startswith("libvswitch")]:
    del sys.modules[name]
import libvswitch
assert libvswitch is not vs and libvswitch.VSInfo is info_class
assert record.mtu == 9000 and check(vs.VSQEL_GetSwitchInfo("management")).mtu == 1500
assert type(again.VSQEL_GetSwitchInfo("workload")[1]) is vs.VSInfo
record.release()
with raises(ValueError, "the memory of this libvswitch.VSInfo was released"):
    record.mtu
"""
    )


@pytest.mark.parametrize("first", ["main", "sub"])
def test_subinterpreters(script: Script, first: str) -> None:
    """The native module works in each; the layer belongs to the interpreter that imports it first."""
    script(
        f"""
import _xxsubinterpreters as subinterpreters
from exact import raises
if {first == "main"}:
    import libvswitch
one = subinterpreters.create()
subinterpreters.run_string(
    one, "import _libvswitch as m; assert m.VSDVS_SetMTU('workload', 1500) == 0; m.delete_VSInfo(m.new_VSInfo())")
layer = '''
try:
    import libvswitch as vs
except ImportError as error:
    assert {first == "main"} and str(error) == {ELSEWHERE}
else:
    assert {first == "sub"} and vs.check(vs.VSQEL_GetSwitchInfo("management")).mtu == 1500
'''
subinterpreters.run_string(one, layer)
subinterpreters.destroy(one)
import _libvswitch as m
assert m.VSDVS_SetMTU("workload", 1500) == 0
if {first == "main"}:
    assert libvswitch.check(libvswitch.VSQEL_GetSwitchInfo("management")).mtu == 1500
else:
    with raises(ImportError, {ELSEWHERE}):
        import libvswitch
    status, info = m.VSQEL_GetSwitchInfo("workload")
    assert status == 0 and m.VSInfo_mtu_get(info) == 1500
    for name in ("workload", "management"):
        status, names, ports = m.VSDVS_GetSwitchUplinkPorts(name)
        assert status == 0 and m.VSUplinkPorts___len__(names) == m.VSUplinkPortIds___len__(ports)
"""
    )


# ---- forks -----------------------------------------------------------------------------------------------------------


def test_a_fork_within_a_walk(storm: Script) -> None:
    """Parent and child both go on: with the walk, with calls, and with the abort of the call that they are in."""
    storm(
        WALK
        + """
import os
children = []
def visit(handle):
    if int(handle) == 2:
        children.append(os.fork())
    assert calls_in_progress() == 1
    gate.gate_abort(Aborted, 0, 0)
    with raises(Aborted, "aborted"):
        vs.VSDVS_DestroyVSwitch("nested")
    seen.append(int(handle))
for abort_after in (-1, 3, 4):
    seen = []
    visiting(4, abort_after)
    aborted = False
    with vs.callback(visit) as visitor:
        try:
            vs.DVSState_SwitchForEach(visitor, None)
        except Aborted:
            aborted = True
    assert aborted == (abort_after >= 0) and calls_in_progress() == 0
    assert seen == [1, 2, 3, 4][: abort_after if abort_after >= 0 else 4]
    visiting(0)
    policy = vs.VSTeamPolicy()
    policy[1] = "uplink"
    assert policy[1] == "uplink" and vs.VSDVS_SetMTU("alpha", 1500) == 0
    if children[-1] == 0:
        os._exit(0)
    assert os.waitstatus_to_exitcode(os.waitpid(children[-1], 0)[1]) == 0
"""
    )
