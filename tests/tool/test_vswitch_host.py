"""The tool vswitch-host, as it is run from the command line."""

import contextlib
import json
import os
import pathlib
import shutil
import sqlite3
import stat
import subprocess
import sys
from typing import Any

import pytest
from workspace import BUILD, SEARCH, SOURCE

TOOL = BUILD / "host" / "bin" / "vswitch-host"
CONNECTED = {"name": "vm", "type": "vnic", "mac": "02:00:00:00:09:09", "numa_node": 0, "router": False,
             "promiscuous": False}


class Host:
    """A host of the test's own and the tool on it."""

    def __init__(self, folder: pathlib.Path) -> None:
        self.folder = folder
        self.file = folder / "host.db"
        self.environment = dict(os.environ, VSWITCH_HOST=str(self.file))

    def run(self, *arguments: object) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            [TOOL, *map(str, arguments)], env=self.environment, capture_output=True, text=True, timeout=60, check=False
        )

    def __call__(self, *arguments: object) -> Any:
        """What a command that works answers, from its JSON."""
        process = self.run(*arguments, "--json")
        assert process.returncode == 0, process
        assert process.stderr == ""
        return json.loads(process.stdout)

    def refused(self, *arguments: object) -> str:
        process = self.run(*arguments)
        assert (process.returncode, process.stdout) == (1, ""), process
        assert process.stderr.startswith("vswitch-host: ")
        return process.stderr

    def python(self, source: str | pathlib.Path, *arguments: str) -> subprocess.CompletedProcess[str]:
        environment = dict(self.environment, PYTHONPATH=os.pathsep.join(SEARCH))
        return subprocess.run(
            [sys.executable, *([source] if os.path.exists(str(source)) else ["-c", source]), *arguments],
            env=environment, capture_output=True, text=True, timeout=120, check=False,
        )

    def port(self, alias: str, dvport_id: str) -> dict[str, Any]:
        vswitch = next(vswitch for vswitch in self("show")["switches"] if vswitch["alias"] == alias)
        return next(port for port in vswitch["ports"] if port["dvport_id"] == dvport_id)

    def nic(self, name: str) -> dict[str, Any]:
        return next(nic for nic in self("show")["physical_nics"] if nic["name"] == name)


@pytest.fixture
def empty(tmp_path: pathlib.Path) -> Host:
    return Host(tmp_path)


@pytest.fixture
def host(empty: Host) -> Host:
    empty("init")
    return empty


def set_mtu(host: Host, mtu: int) -> subprocess.CompletedProcess[str]:
    return host.python(f"import _libvswitch as m; print(m.VSDVS_SetMTU('management', {mtu}))")


def mtu(host: Host) -> int:
    found: int = host("show")["switches"][0]["mtu"]
    return found


def test_without_a_host_only_init_works(empty: Host) -> None:
    for command in (["show"], ["export"], ["reset"], ["boot"], ["clock", "show"], ["fault", "list"]):
        assert "there is no host" in empty.refused(*command)
    assert not empty.file.exists()
    assert empty("init") == {"state_file": str(empty.file)}
    assert empty("show")["boots"] == 1


def test_init_replaces_a_host_only_by_force(host: Host) -> None:
    assert set_mtu(host, 2000).stdout == "0\n"
    assert "--force" in host.refused("init")
    assert mtu(host) == 2000
    host("init", "--force")
    assert mtu(host) == 1500


def test_init_boots_from_a_description(empty: Host) -> None:
    description = empty.folder / "init.json"
    description.write_text(ONE_SWITCH)
    empty("init", description)
    assert [(vswitch["alias"], vswitch["mtu"]) for vswitch in empty("show")["switches"]] == [("only", 3000)]
    description.write_text('{"format": 1, "wrong": 5}')
    assert "wrong" in empty.refused("init", "--force", description)
    assert [vswitch["alias"] for vswitch in empty("show")["switches"]] == ["only"]


ONE_SWITCH = '{"format": 1, "switches": [{"alias": "only", "switch_id": "i", "mtu": 3000}]}'


@pytest.mark.parametrize("refuse", ["the tool", "a call"])
def test_a_refused_description_leaves_no_host(empty: Host, refuse: str) -> None:
    description = empty.folder / "init.json"
    switches = [{"alias": f"switch-{i}", "switch_id": f"id-{i}"} for i in range(100)]
    description.write_text(json.dumps({"format": 1, "switches": [*switches, {"alias": "last", "switch_id": 5}]}))
    if refuse == "the tool":
        assert "switches[100]" in empty.refused("init", description)
    else:
        call = f"import os; os.environ['VSWITCH_HOST_INIT'] = {str(description)!r}; import _libvswitch as m; "
        assert "switches[100]" in empty.python(call + "m.VSDVS_SetMTU('only', 2000)").stderr
    assert "there is no host" in empty.refused("show")
    description.write_text(ONE_SWITCH)
    empty("init", description)
    assert [vswitch["alias"] for vswitch in empty("show")["switches"]] == ["only"]


def cut_short(host: Host, folder: pathlib.Path) -> None:
    """What a process leaves at the host's file that was killed within its first commit: a part of the pages, and the
    journal that says that there were none before."""
    unfinished = folder / "unfinished.db"
    with contextlib.closing(sqlite3.connect(unfinished, isolation_level=None)) as database:
        database.executescript("PRAGMA cache_size = 1; BEGIN IMMEDIATE; CREATE TABLE t (value BLOB);")
        database.execute("INSERT INTO t VALUES (zeroblob(1000000))")
        for suffix in ("", "-journal"):
            shutil.copyfile(f"{unfinished}{suffix}", f"{host.file}{suffix}")
    assert host.file.stat().st_size > 0


def test_a_boot_that_was_cut_short_leaves_no_host(empty: Host) -> None:
    description = empty.folder / "init.json"
    description.write_text(ONE_SWITCH)
    for command in (["show"], ["boot"]):
        cut_short(empty, empty.folder)
        assert "there is no host" in empty.refused(*command)
    cut_short(empty, empty.folder)
    empty("init", description)
    assert [vswitch["alias"] for vswitch in empty("show")["switches"]] == ["only"]


def test_init_by_force_leaves_what_is_no_host(empty: Host) -> None:
    empty.file.write_text("my notes" * 1000)
    empty.refused("init", "--force")
    assert empty.file.read_text() == "my notes" * 1000


def test_an_empty_host_shows_empty_lists(empty: Host) -> None:
    description = empty.folder / "init.json"
    description.write_text('{"format": 1}')
    empty("init", description)
    shown = empty("show")
    assert {name: shown[name] for name in ("physical_nics", "switches", "faults")} == {
        "physical_nics": [], "switches": [], "faults": []
    }


def test_reset_goes_back_to_the_first_description(empty: Host) -> None:
    description = empty.folder / "init.json"
    description.write_text('{"format": 1, "switches": [{"alias": "management", "switch_id": "i", "mtu": 3000}]}')
    empty("init", description)
    description.unlink()
    assert set_mtu(empty, 2000).stdout == "0\n"
    empty("fault", "add", "fail")
    empty("clock", "stop")
    empty("reset")
    assert mtu(empty) == 3000
    assert empty("fault", "list") == []
    assert empty("clock", "show")["running"] is True
    empty("reset")


def test_boot_loses_what_is_volatile(host: Host) -> None:
    host.python("import _libvswitch as m; m.VSDVS_CreateVSwitch('temporary', 'id', '', 0, 0, 0, 0, 0)")
    assert len(host("show")["switches"]) == 3
    assert host("boot") == {"boots": 2}
    assert len(host("show")["switches"]) == 2


def test_show_for_people(host: Host) -> None:
    text = host.run("show").stdout
    assert "switch management: identifier 6d616e61-6765-6d65-6e74-000000000001, port set portset-1, MTU 1500" in text
    assert "  port 1: number 2, active, client kernel0 (tcpip, 02:00:00:00:01:00)\n" in text
    assert "NIC nic0: 02:00:00:00:00:00, 10000 Mbit/s, carrier up, set up, uplink nic0 of switch management\n" in text


def test_the_host_option_goes_before_the_environment(host: Host) -> None:
    other = host.folder / "other.db"
    host("--host", other, "init")
    host("link", "nic0", "down", "--host", other)
    assert host.nic("nic0")["link"] == "up"
    shown = host("show", "--host", other)
    assert shown["state_file"] == str(other)
    assert shown["physical_nics"][0]["link"] == "down"


def test_link_is_the_carrier(host: Host) -> None:
    state = "import _libvswitch as m; print(m.VSQEL_GetUplinkLinkState('management', 'nic0'))"
    before = host.python(state).stdout
    host("link", "nic0", "down")
    assert host.nic("nic0")["link"] == "down"
    assert host.python(state).stdout != before
    host("link", "nic0", "up")
    assert host.python(state).stdout == before
    assert "no NIC nic9" in host.refused("link", "nic9", "up")


def test_connect_and_disconnect(host: Host) -> None:
    host("connect", "management", "2", "vm", "--mac", "02:00:00:00:09:09")
    assert host.port("management", "2")["client"] == CONNECTED
    assert host.port("management", "2")["type"] == "active"
    assert "has a client" in host.refused("connect", "management", "2", "vm")
    host("disconnect", "management", "2")
    assert host.port("management", "2")["client"] is None
    assert "has no client" in host.refused("disconnect", "management", "2")
    host("connect", "portset-1", "2", "stack", "--type", "tcpip")
    assert host.port("management", "2")["client"]["type"] == "tcpip"
    assert "uplink" in host.refused("disconnect", "management", "uplink-1")
    assert "no port 99" in host.refused("connect", "management", "99", "vm")
    assert "MAC address" in host.refused("connect", "workload", "103", "vm", "--mac", "02:00")


def test_the_clock(host: Host) -> None:
    assert host("clock", "show")["running"] is True
    assert "stop it first" in host.refused("clock", "advance", "5")
    assert host("show")["clock"]["running"] is True
    stopped = host("clock", "stop")
    assert stopped["running"] is False
    assert host("clock", "show") == host("show")["clock"] == stopped
    assert host("clock", "advance", "1.5")["microseconds"] == stopped["microseconds"] + 1500000
    assert host("clock", "run")["running"] is True


def test_a_snapshot_brings_everything_back(host: Host) -> None:
    snapshot = host.folder / "saved.db"
    host("fault", "add", "fail", "--call", "VSDVS_SetMTU")
    before = host("show")
    host("snapshot", snapshot)
    assert stat.S_IMODE(snapshot.stat().st_mode) == 0o600
    assert sorted(path.name for path in host.folder.iterdir()) == ["host.db", "saved.db"]
    assert "--force" in host.refused("snapshot", snapshot)
    host("fault", "clear")
    host("link", "nic0", "down")
    host("connect", "management", "2", "vm")
    host("restore", snapshot)
    after = host("show")
    after["clock"] = before["clock"]
    assert after == before
    host("snapshot", snapshot, "--force")


def test_a_restore_is_seen_by_a_process_that_runs(host: Host) -> None:
    snapshot = host.folder / "saved.db"
    host("snapshot", snapshot)
    script = f"""
import subprocess, libvswitch as vs
mtu = lambda: vs.check(vs.VSQEL_GetSwitchInfo("management")).mtu
assert vs.VSDVS_SetMTU("management", 2000) == 0 and mtu() == 2000
subprocess.run([{str(TOOL)!r}, "restore", {str(snapshot)!r}], check=True)
assert mtu() == 1500
assert vs.VSDVS_SetMTU("management", 2001) == 0 and mtu() == 2001
"""
    process = host.python(script)
    assert process.returncode == 0, process.stderr


def test_restore_refuses_what_is_no_snapshot(host: Host) -> None:
    host.refused("restore", host.folder / "missing")
    assert not (host.folder / "missing").exists()
    (host.folder / "notes").write_text("my notes" * 1000)
    host.refused("restore", host.folder / "notes")
    with sqlite3.connect(host.folder / "foreign") as foreign:
        foreign.execute("CREATE TABLE t (a)")
    assert "not a state file" in host.refused("restore", host.folder / "foreign")
    assert host("show")["boots"] == 1


def test_export_boots_the_same_host(host: Host) -> None:
    host("connect", "management", "2", "vm", "--mac", "02:00:00:00:09:09")
    host("link", "nic2", "down")
    host("clock", "stop")
    host.python(
        "import _libvswitch as m; m.VSDVS_AddSwitchUplinkPort('management', 'nic3'); m.VSDVS_SetMTU('workload', 4000)"
    )
    exported = host("export")
    description = host.folder / "exported.json"
    description.write_text(json.dumps(exported))
    host("init", "--force", description)
    assert host("export") == exported
    assert host.port("management", "2")["client"] == CONNECTED
    assert host.nic("nic2")["link"] == "down"
    assert host("show")["switches"][1]["mtu"] == 4000


def test_calls_are_those_of_the_interface(empty: Host) -> None:
    calls = {call["name"]: call["statuses"] for call in empty("calls")}
    lines = (SOURCE / "tests" / "data" / "calls.tsv").read_text().splitlines()
    interface = {line.split("\t")[0] for line in lines[1:]} - {"Panic"}
    assert set(calls) == interface
    assert calls["VSDVS_DestroyVSwitch"] == ["QEL_BUSY"]
    assert "QEL_LIMIT_EXCEEDED" in calls["DVSQEL_SwitchAdd"], "as VSDVS_CreateVSwitch"
    assert "VSDVS_SetMTU QEL_BAD_PARAM" in empty.run("calls").stdout.splitlines()


def test_faults_fail_a_script(host: Host) -> None:
    assert host("fault", "add", "fail", "--call", "VSDVS_SetMTU", "--status", "QEL_BUSY", "--times", "1") == {
        "number": 1
    }
    assert host("fault", "list") == [
        {"number": 1, "kind": "fail", "call": "VSDVS_SetMTU", "status": "QEL_BUSY", "skip": 0, "times": 1,
         "probability": 1.0, "met": 0}
    ]
    failed = host.python("import _libvswitch as m; print(m.VSDVS_SetMTU('management', 2000) == m.QEL_BUSY)")
    assert (failed.stdout, failed.stderr) == ("True\n", "")
    assert set_mtu(host, 2000).stdout.strip() == "0"
    assert host("fault", "list")[0]["met"] == 1
    host("fault", "clear", "1")
    assert host("fault", "list") == []
    host.refused("fault", "clear", "1")


@pytest.mark.parametrize("exception", ["OSError", "RuntimeError", "MemoryError", "ValueError"])
def test_faults_abort_a_script(host: Host, exception: str) -> None:
    host("fault", "add", "abort", "--call", "VSDVS_SetMTU", "--exception", exception, "--message", "100% gone")
    process = set_mtu(host, 2000)
    assert process.returncode == 1
    assert process.stderr.splitlines()[-1] == f"{exception}: 100% gone"


def test_wrong_faults_are_refused(host: Host) -> None:
    assert "no such function" in host.refused("fault", "add", "fail", "--call", "VSDVS_Nothing")
    assert "failing status" in host.refused("fault", "add", "fail", "--status", "QEL_OK")
    assert "--milliseconds" in host.refused("fault", "add", "delay")
    assert host("fault", "list") == []


@pytest.mark.parametrize(
    "arguments",
    [[], ["nothing"], ["fault"], ["fault", "add"], ["fault", "add", "explode"], ["link", "nic0"],
     ["link", "nic0", "sideways"], ["clock", "advance"], ["show", "--wrong"],
     ["fault", "add", "delay", "--milliseconds", "60001"], ["fault", "add", "fail", "--probability", "0"]],
)
def test_wrong_usage(host: Host, arguments: list[str]) -> None:
    process = host.run(*arguments)
    assert process.returncode == 2
    assert process.stderr


@pytest.mark.parametrize(
    "command", [[], ["init"], ["show"], ["export"], ["reset"], ["boot"], ["snapshot"], ["restore"], ["fault"],
                ["fault", "add"], ["fault", "list"], ["fault", "clear"], ["clock"], ["clock", "advance"], ["link"],
                ["connect"], ["disconnect"], ["calls"]],
)
def test_help(empty: Host, command: str) -> None:
    process = empty.run(*command, "--help")
    assert process.returncode == 0
    assert "Usage:" in process.stdout


def test_an_example_takes_its_error_path(host: Host) -> None:
    host("fault", "add", "fail", "--call", "VSDVS_SetTeamingPolicy", "--status", "QEL_NO_RESOURCES")
    process = host.python(SOURCE / "examples" / "set_up_switch.py")
    assert process.returncode == 1
    assert process.stderr.splitlines()[-1] == "cannot set the teaming policy: QEL_NO_RESOURCES"
    host("fault", "clear")
    again = host.python(SOURCE / "examples" / "set_up_switch.py")
    assert again.returncode == 0, again.stderr
    assert again.stdout.startswith("switch production: already there\n")


def test_an_example_survives_a_failure_of_any_of_its_calls(host: Host) -> None:
    """The n-th call fails, whatever it is: a script ends with the platform's error or copes, and never crashes."""
    snapshot = host.folder / "saved.db"
    host("snapshot", snapshot)
    met = 0
    for number in range(0, 40, 3):
        host("restore", snapshot)
        host("fault", "add", "fail", "--skip", number, "--times", "1", "--status", "QEL_TIMEOUT")
        process = host.python(SOURCE / "examples" / "set_up_switch.py")
        failed = host("fault", "list")[0]["met"]
        met += failed
        assert process.returncode in (0, 1), process
        if failed and process.returncode == 1:
            assert "QEL_TIMEOUT" in process.stderr, process.stderr
    assert met >= 5
