"""The fixture: found by pytest, fresh for each test, leaving nothing, telling what a failing test has changed."""

import json
import os
import pathlib
import subprocess
import sys
from typing import Any

import pytest
from inner import Session
from workspace import BUILD, SUPPORT

import vswitch
from vswitch.simulated import SimulatedHost
from vswitch.testing import LabHost

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises

SMALL = {
    "format": 1,
    "physical_nics": [{"name": "nic0", "mac": "02:00:00:00:00:01"}],
    "switches": [{"alias": "small", "switch_id": "small-id", "uplinks": [{"name": "nic0"}]}],
}
CHANGES = """
    def test_the_host_is_fresh(vswitch_host):
        workload = vswitch_host.switches["workload"]
        assert workload.mtu == 9000
        workload.mtu = 1500
"""


# ---- as pytest sees it -----------------------------------------------------------------------------------------------


def test_pytest_finds_the_plugin_and_loads_the_rest_when_it_is_wanted(session: Session) -> None:
    session.write("test_it.py", f"""
    import sys

    def test_nothing_is_loaded():
        assert not {{"libvswitch", "vswitch.simulated", "vswitch.handles"}} & set(sys.modules)
    {CHANGES}""")  # fmt: skip
    assert session.run() == {"passed": 2}


def test_the_plugin_may_be_named_as_well(session: Session) -> None:
    session.write("test_it.py", CHANGES + "        assert False")
    assert session.run("-p", "vswitch.testing.plugin", code=1) == {"failed": 1}
    assert session.said.count("What the test has changed on its host") == 1


def test_the_plugin_can_be_left_out(session: Session) -> None:
    session.write("test_it.py", CHANGES)
    assert session.run("-p", "no:vswitch", code=1) == {"error": 1}
    assert "fixture 'vswitch_host' not found" in session.said


def test_no_test_is_run_on_the_library_of_a_real_host(session: Session) -> None:
    session.write("test_it.py", CHANGES)
    assert session.run(code=1, LD_LIBRARY_PATH=str(SUPPORT / "recording")) == {"error": 1}
    assert "the simulated host is needed (package vswitchpy-host): " in session.said
    assert "others were found before them" in session.said


def test_a_thousand_tests_leave_nothing_behind(session: Session) -> None:
    session.write("conftest.py", """
        import os, pathlib, re, threading

        def resident():
            status = pathlib.Path("/proc/self/status").read_text()
            return int(re.search(r"VmRSS:\\s+(\\d+) kB", status)[1])

        def held():
            handles = sorted(os.readlink(f"/proc/self/fd/{name}") for name in os.listdir("/proc/self/fd")
                             if os.path.exists(f"/proc/self/fd/{name}"))
            children = "".join(path.read_text() for path in pathlib.Path("/proc/self/task").glob("*/children"))
            return handles, children.split(), threading.active_count(), os.environ.get("VSWITCH_APPLY_DIR")

        def pytest_runtest_logstart(nodeid):
            if nodeid.endswith("[10]"):
                global first, memory
                first, memory = held(), resident()  # the host is booted, everything is loaded

        def pytest_sessionfinish():
            assert held() == first, (held(), first)
            assert resident() - memory < 64 << 10, "of a thousand hosts in memory some are left"
            print("nothing is held")
        """)  # fmt: skip
    session.write("test_it.py", """
        import os, pytest
        from vswitch.simulated import SimulatedHost

        @pytest.mark.parametrize("number", range(1000))
        def test_the_host_is_fresh(vswitch_host, number):
            workload = vswitch_host.switches["workload"]
            assert workload.mtu == 9000 and vswitch_host.simulated.path == ":memory:"
            workload.mtu = 1500
            if number % 50 == 0:  # another host, with a journal of its own
                with SimulatedHost(os.environ["HOME"] + "/other.db") as other:
                    vswitch_host.plan("format: 1\\nswitches: {other: {}}").apply()
                    assert os.listdir(os.environ["VSWITCH_APPLY_DIR"])
                other.close()
                os.unlink(os.environ["HOME"] + "/other.db")
        """)  # fmt: skip
    assert session.run("-s") == {"passed": 1000}
    assert "nothing is held" in session.said
    assert session.left() == []


def test_a_host_in_a_file_goes_with_its_test_and_so_does_its_guard(session: Session) -> None:
    session.write("test_it.py", """
        import json, os, pathlib, pytest

        pytestmark = pytest.mark.vswitch_host(file=True)

        def test_a_change_waits_to_be_confirmed(vswitch_host, tmp_path):
            assert vswitch_host.simulated.path == str(tmp_path / "host.db")
            assert os.environ["VSWITCH_APPLY_DIR"] == str(tmp_path)
            vswitch_host.plan("format: 1\\nswitches: {workload: {mtu: 1500}}").apply(confirm_within=86400)
            assert vswitch_host.pending.guarded

        def test_a_failure_keeps_the_state(vswitch_host):
            vswitch_host.plan("format: 1\\nswitches: {workload: {mtu: 1500}}").apply(confirm_within=86400)
            assert False
        """)  # fmt: skip
    assert session.run(code=1) == {"failed": 1, "passed": 1}
    # pytest keeps the folders of tests for a while; in them is the state of the one that failed.
    assert [name for name in session.left() if not (session.temporary / name).is_dir()] == [
        name for name in session.left() if name.endswith("test_a_failure_keeps_the_state0/host.db")
    ]
    assert len([name for name in session.left() if name.endswith("host.db")]) == 1
    for _ in range(100_000):  # it looks for its journal twenty times a second
        if not running(str(session.temporary)):
            break
    assert not running(str(session.temporary))


def running(word: str) -> bool:
    """Whether there is a process with a word in its command line."""
    for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            if word in path.read_text(errors="replace"):
                return True
        except OSError:  # it has ended
            pass
    return False


def test_several_workers(session: Session) -> None:
    """Each worker boots its own."""
    pytest.importorskip("xdist", reason="pytest-xdist is not installed (package python3-pytest-xdist)")
    session.write("test_it.py", """
        import pytest

        @pytest.mark.parametrize("number", range(20))
        def test_the_host_is_fresh(vswitch_host, number, worker_id):
            assert worker_id in ("gw0", "gw1")
            assert vswitch_host.switches["workload"].mtu == 9000
            vswitch_host.switches["workload"].mtu = 1500

        def test_a_failure_is_told(vswitch_host):
            vswitch_host.switches["workload"].mtu = 1500
            assert False
        """)  # fmt: skip
    assert session.run("-n", "2", code=1) == {"passed": 20, "failed": 1}
    assert "~ mtu: 9000 -> 1500" in session.said
    assert [name for name in session.left() if not (session.temporary / name).is_dir()] == []


def test_a_failing_test_shows_what_it_has_changed(session: Session) -> None:
    session.write("test_it.py", """
        import pytest, vswitch

        @pytest.mark.vswitch_host(state="format: 1\\nswitches: {lab: {ports: {a: {}, b: {vlan: 3}}}}")
        def test_changes(vswitch_host):
            lab = vswitch_host.switches["lab"]
            lab.mtu = 1500
            lab.ports.remove("b")
            lab.ports.create("c").vlan = 7
            lab.properties.set("org.example.seen", "yes", volatile=True)
            mirror = vswitch.MirrorSession("tap", destinations=["port:a"])
            lab.mirrors.create(mirror)
            vswitch_host.runtime_options["IGMPVersion"] = 2
            vswitch_host.switches.create("other")
            assert lab.mtu == 9000

        def test_changes_nothing(vswitch_host):
            assert False

        def test_has_no_host():
            assert False
        """)  # fmt: skip
    assert session.run(code=1) == {"failed": 3}
    shown = session.said.split("What the test has changed on its host")
    assert len(shown) == 3
    lines = shown[1].splitlines()
    for line in (
        "  + mtu: 1500",
        "switches/lab/ports/b: remove",
        "switches/lab/ports/c: create",
        "  + vlan: 7",
        '  + org.example.seen (volatile): "yes"',
        "switches/lab/mirrors:",
        '  + tap: {"destinations": ["port:a"]}',
        "switches/other: create",
        "runtime_options:",
    ):
        assert line in lines, (line, shown[1])
    assert "switches/lab/ports/a" not in shown[1] and "workload" not in shown[1]
    assert "\nnothing\n" in shown[2]


# ---- the marker ------------------------------------------------------------------------------------------------------


@pytest.mark.vswitch_host(description=SMALL)
def test_a_boot_description(vswitch_host: LabHost) -> None:
    assert list(vswitch_host.switches) == ["small"]


@pytest.mark.vswitch_host(description=SMALL, state={"format": 1, "switches": {"small": {"mtu": 4000}}})
def test_a_state_on_top_of_it(vswitch_host: LabHost) -> None:
    assert vswitch_host.switches["small"].mtu == 4000
    assert vswitch_host.diff() == ""


def test_descriptions_and_states_from_files_beside_the_test(session: Session) -> None:
    session.write("small.json", json.dumps(SMALL))
    session.write("lab.yaml", "format: 1\nswitches: {lab: {mtu: 2000}}\n")
    session.write("test_it.py", """
        import pathlib, pytest

        @pytest.mark.vswitch_host(description="small.json", state=pathlib.Path("lab.yaml"))
        def test_both(vswitch_host):
            assert {name: switch.mtu for name, switch in vswitch_host.switches.items()} == {"small": 1500, "lab": 2000}

        @pytest.mark.vswitch_host(stat="x")
        def test_a_slip(vswitch_host):
            pass
        """)  # fmt: skip
    assert session.run(str(session.folder / "test_it.py"), "--rootdir", "/", code=1) == {"passed": 1, "error": 1}
    assert "vswitch_host: " in session.said and "unexpected keyword argument 'stat'" in session.said


@pytest.mark.vswitch_host(file=True)
def test_child_processes_work_on_a_host_in_a_file(vswitch_host: LabHost, tmp_path: pathlib.Path) -> None:
    vswitch_host.switches["workload"].mtu = 4321
    environment = {**os.environ, **vswitch_host.environment, "PYTHONPATH": str(BUILD / "python")}
    command = [sys.executable, "-m", "vswitch", "get", "switches/workload/mtu"]
    said = subprocess.run(command, env=environment, capture_output=True, text=True, check=True)
    assert said.stdout == "4321\n"
    assert vswitch_host.environment["VSWITCH_HOST"] == str(tmp_path / "host.db")
    assert vswitch_host.environment["VSWITCH_APPLY_DIR"] == str(tmp_path)


# ---- the host --------------------------------------------------------------------------------------------------------


def test_it_is_a_host_with_the_simulated_one_in_use(vswitch_host: LabHost) -> None:
    assert isinstance(vswitch_host, vswitch.Host)
    assert SimulatedHost.current() is vswitch_host.simulated
    vswitch_host.switches["workload"].mtu = 1600
    assert vswitch.Host().switches["workload"].mtu == 1600
    assert vswitch_host.simulated.send("nic1", b"").drops


def test_what_is_to_stay_as_it_is(vswitch_host: LabHost) -> None:
    workload = vswitch_host.switches["workload"]
    with vswitch_host.unchanged():
        workload.ports["100"].vlan = 10
        del workload.ports["100"].vlan
    with raises(AssertionError, match=r"switches/workload/ports/100:\n  \+ vlan: 10"):
        with vswitch_host.unchanged():
            workload.ports["100"].vlan = 10
    with raises(KeyError, match="own"):
        with vswitch_host.unchanged():
            workload.ports["100"].vlan = 20
            raise KeyError("own")


@pytest.mark.parametrize("file", [False, True])
def test_snapshots(request: Any, file: bool) -> None:
    request.node.add_marker(pytest.mark.vswitch_host(file=file))
    host = request.getfixturevalue("vswitch_host")
    workload = host.switches["workload"]
    before = host.snapshot()
    workload.mtu = 1500
    host.simulated.link("nic1", False)
    for _ in range(2):
        host.restore_snapshot(before)
        assert workload.mtu == 9000 and host.nics["nic1"].link.state == vswitch.LinkState.UP
        workload.mtu = 1600
    assert host.diff() == "switches/workload:\n  ~ mtu: 9000 -> 1600\n"


def test_faults(vswitch_host: LabHost) -> None:
    workload = vswitch_host.switches["workload"]
    with vswitch_host.fault(call="VSDVS_SetMTU") as fault:
        with raises(vswitch.Busy):
            workload.mtu = 1500
        assert fault.met == 1
        workload.mtu = 1500
    assert fault.met == 1 and vswitch_host.simulated.faults() == []
    with vswitch_host.fault("fail-after", "VSDVS_SetMTU", status=vswitch.Status.NO_MEMORY):
        with raises(vswitch.NoMemory):
            workload.mtu = 1600
    assert workload.mtu == 1600
    with vswitch_host.fault("abort", "VSDVS_SetMTU", exception="OSError", message="gone"):
        with raises(OSError, match="gone"):
            workload.mtu = 1500
    with vswitch_host.fault("delay", "VSDVS_SetMTU", milliseconds=1) as fault:
        workload.mtu = 1500
    assert fault.met == 1


def test_a_fault_that_nothing_met_fails_the_test(vswitch_host: LabHost) -> None:
    with raises(AssertionError, match="no call met the fault: fail of VSDVS_SetMTU"):
        with vswitch_host.fault("fail", "VSDVS_SetMTU"):
            vswitch_host.switches["workload"].mtu
    with vswitch_host.fault("fail", "VSDVS_SetMTU", unused=True) as fault:
        pass
    assert fault.met == 0 and vswitch_host.simulated.faults() == []
    before = vswitch_host.snapshot()
    with raises(AssertionError, match="no call met the fault: fail of any call"):
        with vswitch_host.fault():
            vswitch_host.restore_snapshot(before)
    with vswitch_host.fault() as outer, vswitch_host.fault("fail", "VSDVS_SetMTU", unused=True):
        with raises(vswitch.Error):
            vswitch_host.switches["workload"].mtu = 1500
        vswitch_host.restore_snapshot(before)
    assert outer.met == 1 and SimulatedHost.current() is vswitch_host.simulated
    with raises(KeyError):  # what the block raises goes before it
        with vswitch_host.fault("fail", "VSDVS_SetMTU"):
            raise KeyError
    assert vswitch_host.simulated.faults() == []
