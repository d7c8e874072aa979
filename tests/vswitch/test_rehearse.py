"""Rehearsals: a plan is tried on a simulated twin of the host, which is only read."""

import hashlib
import json
import os
import pathlib
import subprocess
import sys
from typing import Any

import pytest
import workspace
from test_sessions import on_terminal

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]

if not (workspace.BUILD / "python/vswitch/simulated").exists():
    pytest.skip("frames through simulated hosts are not built", allow_module_level=True)

SWITCHES, PORTS = 3, 67  # of each: 200 in all, and one


def description() -> dict[str, Any]:
    """A host of three switches and 201 ports, each port with a client but for the last of a switch."""
    switches = []
    for number in range(SWITCHES):
        ports = [
            {"dvport_id": f"p{port}", "client": {"name": f"vm{number}-{port}", "type": "vnic"}}
            for port in range(PORTS - 1)
        ]
        switches.append({
            "alias": f"switch-{number}", "switch_id": f"id-{number}",
            "uplinks": [{"name": f"up{number}", "nic": f"nic{number}"}],
            "ports": [*ports, {"dvport_id": "spare"}],
        })  # fmt: skip
    nics = [{"name": f"nic{number}", "mac": f"02:00:00:00:00:0{number}"} for number in range(SWITCHES)]
    return {"format": 1, "physical_nics": nics, "switches": switches}


VLANS = {
    "format": 1,
    "switches": {
        f"switch-{number}": {"ports": {f"p{port}": {"vlan": port % 3 + 1} for port in range(PORTS - 1)}}
        for number in range(SWITCHES)
    },
}


@pytest.fixture
def environment(tmp_path: pathlib.Path) -> dict[str, str]:
    boot = tmp_path / "boot.json"
    boot.write_text(json.dumps(description()))
    (tmp_path / "vlans.json").write_text(json.dumps(VLANS))
    command = tmp_path / "bin" / "vswitch"
    command.parent.mkdir()
    command.write_text(f'#!/bin/sh\nexec {sys.executable} -m vswitch "$@"\n')
    command.chmod(0o755)
    made = {
        "PATH": f"{command.parent}:/usr/bin:/bin",
        "PYTHONPATH": os.pathsep.join(map(str, workspace.SEARCH)),
        "HOME": str(tmp_path),
        "LANG": "C.UTF-8",
        "VSWITCH_HOST": str(tmp_path / "host.db"),
        "VSWITCH_HOST_INIT": str(boot),
        "VSWITCH_APPLY_DIR": str(tmp_path / "apply"),
        "LD_LIBRARY_PATH": os.environ.get("LD_LIBRARY_PATH", ""),
    }
    run(made, "apply", "--yes", str(tmp_path / "vlans.json"), code=0)
    return made


def run(environment: dict[str, str], *arguments: str, code: int) -> subprocess.CompletedProcess[str]:
    done = subprocess.run(
        ["vswitch", *arguments], env=environment, capture_output=True, text=True, timeout=120, check=False,
        executable=environment["PATH"].split(":")[0] + "/vswitch",
    )  # fmt: skip
    assert done.returncode == code, (done.stdout[-2000:], done.stderr[-2000:])
    return done


def digest(environment: dict[str, str]) -> dict[str, str]:
    """Of every byte of the host's state, and of the folder of applies."""
    home = pathlib.Path(environment["HOME"])
    files = sorted(path for path in home.rglob("*") if path.is_file() and not path.name.endswith((".yaml", "-shm")))
    return {str(path): hashlib.sha256(path.read_bytes()).hexdigest() for path in files}


def document(environment: dict[str, str], text: str) -> str:
    path = pathlib.Path(environment["HOME"]) / "wanted.yaml"
    path.write_text(text)
    return str(path)


WRONG_VLAN = "format: 1\nswitches: {switch-1: {ports: {p4: {vlan: 20}, spare: {vlan: 2}}}}\n"
FAILS_LATE = """format: 1
switches:
  switch-0: {mtu: 9000, ports: {new: {vlan: 7}}}
  switch-2: {ports: {p0: {blocked: true}}}
runtime_options: {IGMPVersion: 77}
"""


def test_a_wrong_vlan_cuts_connections(environment: dict[str, str]) -> None:
    before = digest(environment)
    told = json.loads(run(environment, "--json", "rehearse", document(environment, WRONG_VLAN), code=3).stdout)
    assert digest(environment) == before
    assert told["ok"] is True and told["error"] is None and told["result"]["verified"] is True
    others = [f"switch-1/p{port}" for port in range(PORTS - 1) if port % 3 == 1 and port != 4]
    assert len(others) == 21
    # Its broadcasts, tagged on the wire, reach the NIC before and after; none comes from there without a tag.
    assert {tuple(pair) for pair in told["connectivity"]["lost"]} == {
        pair for other in others for pair in (("switch-1/p4", other), (other, "switch-1/p4"))
    }
    assert told["connectivity"]["gained"] == []
    assert ["switch-1/p4", "nic1"] in told["connectivity"]["after"]
    assert told["state"]["switches"]["switch-1"]["ports"]["p4"]["vlan"] == 20
    assert len(told["connectivity"]["before"]) == SWITCHES * (66 * 21 + 66)


def test_a_plan_that_fails_late(environment: dict[str, str]) -> None:
    before = digest(environment)
    path = document(environment, FAILS_LATE)
    run(environment, "plan", path, code=0)
    done = run(environment, "rehearse", path, code=1)
    assert digest(environment) == before
    lines = done.stdout.splitlines()
    assert lines[0] == "switches/switch-0:" and done.stderr == ""
    assert lines[-1].startswith("VSQEL_SetRuntimeOptions(") and "QEL_BAD_PARAM" in lines[-1]
    told = json.loads(run(environment, "--json", "rehearse", path, code=1).stdout)
    error = told["error"]
    assert (told["ok"], told["result"], error["class"], error["rolled_back"]) == (False, None, "ApplyError", True)
    assert len(error["done"]) == len(error["undone"]) == 4
    assert told["connectivity"]["lost"] == told["connectivity"]["gained"] == []


def test_what_works_and_what_is_gained(environment: dict[str, str]) -> None:
    path = document(environment, "format: 1\nswitches: {switch-0: {ports: {p0: {vlan: {trunk: [1, 3-4]}}}}}\n")
    text, code = on_terminal(f"vswitch rehearse {path}", environment, pathlib.Path(environment["HOME"]))
    assert code == 0 and "\\e[33m  ~ vlan: 1 -> " in text and "\nworks\n" in text
    done = run(environment, "rehearse", path, code=0).stdout.splitlines()
    # As a trunk it sends with the tags 1 and 3, and ports of VLAN 3 hear it; a broadcast of theirs comes back.
    assert "+ switch-0/p0 -> switch-0/p2" in done and "+ switch-0/p2 -> switch-0/p0" in done
    assert done.index("works") < done.index("+ switch-0/p0 -> switch-0/p2")
    path = document(environment, "format: 1\nswitches: {switch-0: {ports: {spare: {alias: x}}}}\n")
    assert run(environment, "rehearse", path, code=0).stdout.splitlines()[-1] == "works"
    assert run(environment, "rehearse", document(environment, "format: 2\n"), code=2).stdout == ""


def test_without_the_simulated_host(environment: dict[str, str], tmp_path: pathlib.Path) -> None:
    path = document(environment, WRONG_VLAN)
    done = run({**environment, "VSWITCH_SIMULATED_HOST": str(tmp_path / "none")}, "rehearse", path, code=1)
    assert done.stderr.splitlines()[-1] == (
        "vswitch: the simulated host is not installed (VSWITCH_SIMULATED_HOST names the folder of its libraries)"
    )


def test_a_rehearsal_as_an_object(environment: dict[str, str]) -> None:
    source = f"""
import json, pathlib
import vswitch
plan = vswitch.Host().plan(pathlib.Path({document(environment, FAILS_LATE)!r}))
found = plan.rehearse()
assert not found.ok and isinstance(found.error, vswitch.ApplyError) and found.result is None
assert isinstance(found.error.cause, vswitch.BadParameter) and found.error.operation == plan[-1]
assert found.error.done == plan.operations[:-1] == found.error.undone
links = found.connectivity
assert isinstance(links, vswitch.Connectivity) and links.before == links.after
assert ("switch-0/p0", "switch-0/p3") in links.before
assert list(found.to_dict()) == ["ok", "error", "result", "state", "connectivity"]
json.dumps(found.to_dict())
worked = vswitch.Host().plan("format: 1\\nswitches: {{switch-0: {{mtu: 9000}}}}").rehearse()
assert worked.ok and worked.result.changed and worked.result.operations and worked.error is None
assert worked.state["switches"]["switch-0"]["mtu"] == 9000
assert vswitch.Host().switches["switch-0"].mtu == 1500
"""
    subprocess.run([sys.executable, "-c", source], env=environment, check=True, timeout=120)
