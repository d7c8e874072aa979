"""What each module does with its arguments, on a simulated host in a file."""

import base64
import json
import os
import pathlib
import subprocess
import sys
from typing import Any

import pytest
import yaml
from collection import HERE, Ansible
from workspace import BUILD, SOURCE

import vswitch
from vswitch.simulated import SimulatedHost

pytestmark = pytest.mark.pure_python

DOCUMENT = {"format": 1, "switches": {"workload": {"mtu": 1500, "ports": {"new": {"vlan": 10}}}}}


class Modules:
    """Modules on one host."""

    def __init__(self, server: Any, folder: pathlib.Path) -> None:
        self.server, self.folder = server, folder
        self.host = folder / "host.db"

    def __call__(self, module: str, _check: bool = False, _diff: bool = True, **arguments: Any) -> dict[str, Any]:
        given = {"host_file": str(self.host), "_ansible_check_mode": _check, "_ansible_diff": _diff, **arguments}
        environment = {"VSWITCH_APPLY_DIR": str(self.folder / "applies")}
        self.server.stdin.write(json.dumps({"module": module, "arguments": given, "environment": environment}) + "\n")
        self.server.stdin.flush()
        told: dict[str, Any] = json.loads(self.server.stdout.readline())
        told.pop("invocation", None)
        return told

    def tool(self, *words: str) -> None:
        """The tool of the simulated host."""
        program = BUILD / "host" / "bin" / "vswitch-host"
        subprocess.run([program, "--host", str(self.host), *words], check=True, stdout=subprocess.DEVNULL)

    def workload(self) -> dict[str, Any]:
        """The switch as it is, without Ansible."""
        host = SimulatedHost(self.host)
        with host:
            found: dict[str, Any] = vswitch.Host().export()["switches"]["workload"]
        host.close()
        return found


@pytest.fixture(scope="module")
def server(ansible: Ansible) -> Any:
    environment = dict(ansible.environment)
    environment["PYTHONPATH"] = os.pathsep.join([str(BUILD / "python"), str(ansible.collections)])
    with subprocess.Popen(
        [sys.executable, HERE / "module_server.py"],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        env=environment,
        text=True,
    ) as process:
        yield process
        assert process.stdin is not None
        process.stdin.close()


@pytest.fixture
def run(server: Any, tmp_path: pathlib.Path) -> Modules:
    return Modules(server, tmp_path)


def diff(told: dict[str, Any]) -> tuple[Any, Any]:
    assert set(told["diff"]) == {"before", "after"}
    return yaml.safe_load(told["diff"]["before"]), yaml.safe_load(told["diff"]["after"])


# ---- state -----------------------------------------------------------------------------------------------------------


def test_check_mode_changes_nothing_and_predicts_exactly(run: Modules) -> None:
    predicted = run("state", _check=True, document=DOCUMENT)
    assert predicted["changed"] and "result" not in predicted and run.workload()["mtu"] == 9000
    assert diff(predicted) == (
        {"switches": {"workload": {"mtu": 9000}}},
        {"switches": {"workload": {"mtu": 1500, "ports": {"new": {"vlan": 10}}}}},
    )
    told = run("state", document=DOCUMENT)
    assert told["changed"] and told["result"]["verified"] and run.workload()["ports"]["new"] == {"vlan": 10}
    for name in ("plan", "diff_text", "diff"):
        assert told[name] == predicted[name], name
    assert told["diff_text"].startswith("switches/workload:\n  ~ mtu: 9000 -> 1500\n")
    again = run("state", document=DOCUMENT)
    assert not again["changed"] and again["plan"]["operations"] == [] and again["diff_text"] == ""
    assert again["diff"]["before"] == again["diff"]["after"] == told["diff"]["after"]


RICH = """
format: 1
switches:
  workload:
    max_ports: 600
    uplinks: [uplink-b, nic5]
    teaming: {active: [uplink-b]}
    teaming_policies: {gold: {active: [uplink-b]}}
    mirrors: {tap: {destinations: ["port:103"]}}
    properties: {org.a: one, org.b: {base64: AAE=}}
    host_properties: {org.h: two}
    ports: {exact: true, "100": {security: {promiscuous: false}}, "101": {}, "102": {}, new: {properties: {p: q}}}
    uplink_ports: {nic5: {blocked: true}}
  made: {mtu: 2000, ports: {exact: true, a: {vlan: {trunk: [10-19]}}}}
  management: {ports: {exact: true, "1": {}}}
mac_learning: {aging_time: 300}
runtime_options: {IGMPVersion: 2}
"""


def test_the_difference_of_everything_that_documents_have(run: Modules) -> None:
    document = yaml.safe_load(RICH)
    predicted = run("state", _check=True, document=document)
    told = run("state", document=document)
    assert told["diff"] == predicted["diff"]
    before, after = diff(told)
    assert list(before) == ["switches", "mac_learning", "runtime_options"]
    assert set(before["switches"]["workload"]["ports"]) == {"100", "101", "102", "103"}
    assert set(after["switches"]["workload"]["ports"]) == {"100", "101", "102", "new"}
    assert list(after["switches"]["management"]) == ["ports"] and "made" not in before["switches"]
    assert after["runtime_options"] == {"IGMPVersion": 2} and "mtu" not in after["switches"]["workload"]
    assert after["switches"]["workload"]["uplink_ports"] == {"nic5": {"blocked": True}}
    removed = run("state", _check=True, document={"format": 1, "switches": {"made": None}}, exact=False)
    assert removed["diff_text"] == "switches/made: remove\n" and diff(removed)[1] == {"switches": {}}


def test_a_document_in_a_file_of_the_host(run: Modules) -> None:
    path = run.folder / "document.yaml"
    path.write_text("format: 1\nswitches: {workload: {ports: {100: {}}}}\n")
    assert run("state", path=str(path))["changed"] is False
    refused = run("state", _check=True, path=str(path), exact=True)
    assert refused["failed"] and refused["error"]["class"] == "Busy", refused
    kept: dict[str, Any] = {
        "management": {"ports": {"1": {}}},
        "workload": {"ports": {"100": {}, "101": {}, "102": {}}},
    }
    exact = run("state", document={"format": 1, "switches": kept}, exact=True)
    assert "switches/workload/ports/103: remove" in exact["diff_text"] and exact["changed"]
    assert "103" in diff(exact)[0]["switches"]["workload"]["ports"]
    assert set(diff(exact)[1]["switches"]["workload"]["ports"]) == {"100", "101", "102"}
    assert "path" in run("state")["msg"] and "mutually exclusive" in run("state", path="x", document={})["msg"]
    wrong = run("state", document={"format": 1, "switches": {"lab": {"mtuu": 1}}})
    assert wrong["failed"] and wrong["msg"] == "switches/lab/mtuu: no such member; did you mean 'mtu'?"
    assert (wrong["error"]["class"], wrong["error"]["path"]) == ("DocumentError", "switches/lab/mtuu")
    missing = run("state", path=str(run.folder / "none.yaml"))
    assert missing["failed"] and missing["error"]["class"] == "FileNotFoundError"


def test_a_failure_is_rolled_back_and_told(run: Modules) -> None:
    run.tool("init")
    run.tool("fault", "add", "fail", "--call", "VSDVS_SetPortVLANPolicy", "--status", "QEL_NO_MEMORY", "--times", "1")
    told = run("state", document=DOCUMENT)
    assert told["failed"] and not told["changed"] and told["rolled_back"] is True and told["not_undone"] == []
    assert told["error"]["class"] == "ApplyError" and told["error"]["name"] == "QEL_NO_MEMORY"
    assert told["msg"] == told["error"]["message"]
    assert [one["path"] for one in told["done"]] == ["switches/workload/mtu", "switches/workload/ports/new"]
    assert len(told["undone"]) >= 2 and told["plan"]["operations"]
    assert run.workload()["mtu"] == 9000 and "new" not in run.workload()["ports"]
    run.tool("fault", "add", "abort", "--call", "DVSQEL_StateGet", "--exception", "OSError", "--message", "gone")
    told = run("state", document=DOCUMENT)
    assert told["msg"] == "gone" and told["error"] == {"class": "OSError", "message": "gone"}


def test_changes_that_wait_to_be_confirmed(run: Modules) -> None:
    told = run("state", document=DOCUMENT, confirm_within=600)
    name = told["confirmation_id"]
    assert told["result"]["confirmation"]["id"] == name
    busy = run("state", document=DOCUMENT)
    assert busy["error"]["class"] == "Busy" and "wait to be confirmed" in busy["msg"]
    for check in (False, True):
        other = run("confirm", _check=check, id="00000000")
        assert other["msg"] == f"no changes '00000000' wait to be confirmed; '{name}' do"
    assert run("confirm", _check=True, id=name) == {"changed": True}
    confirmed = run("confirm", id=name)
    assert confirmed["changed"] and [one["path"] for one in confirmed["result"]["operations"]] == [
        one["path"] for one in told["plan"]["operations"]
    ]
    for check in (False, True):
        late = run("confirm", _check=check, id=name)
        assert late["failed"] and late["msg"] == "nothing waits to be confirmed", late
    assert run("state", document=DOCUMENT, confirm_within=600)["changed"] is False
    assert "diff" not in confirmed and "1 to 86400" in run("state", document=DOCUMENT, confirm_within=0)["msg"]


def test_an_apply_that_was_killed_is_completed(run: Modules) -> None:
    run.tool("init")
    journal = """
import os, vswitch
def die(done, total, operation):
    if done == 1:
        os._exit(9)
vswitch.Host().plan(os.environ["DOCUMENT"]).apply(progress=die)
"""
    environment = {**os.environ, "PYTHONPATH": str(BUILD / "python"), "VSWITCH_HOST": str(run.host)}
    environment |= {"VSWITCH_APPLY_DIR": str(run.folder / "applies"), "DOCUMENT": json.dumps(DOCUMENT)}
    assert subprocess.run([sys.executable, "-c", journal], env=environment, check=False).returncode == 9
    predicted = run("state", _check=True, document=DOCUMENT)
    told = run("state", document=DOCUMENT)
    assert told["changed"] and told["plan"] == predicted["plan"] and told["diff"] == predicted["diff"]
    said = "an apply was interrupted on this host; what it had done was kept, and the rest is done now"
    assert told["warnings"] == [said]
    assert "warnings" not in run("state", document=DOCUMENT)


def test_an_apply_that_is_still_at_work_is_waited_for(run: Modules) -> None:
    """As when the machine that ran the playbook was killed and another one runs it again."""
    run.tool("init")
    run.tool("fault", "add", "delay", "--call", "VSDVS_AddDVPort", "--milliseconds", "2000", "--times", "1")
    script = """
import os, vswitch
vswitch.Host().plan(os.environ["DOCUMENT"]).apply(progress=lambda done, *rest: print(done, flush=True))
"""
    environment = {**os.environ, "PYTHONPATH": str(BUILD / "python"), "VSWITCH_HOST": str(run.host)}
    environment |= {"VSWITCH_APPLY_DIR": str(run.folder / "applies"), "DOCUMENT": json.dumps(DOCUMENT)}
    with subprocess.Popen([sys.executable, "-c", script], env=environment, stdout=subprocess.PIPE, text=True) as other:
        assert other.stdout is not None and [other.stdout.readline() for _ in range(2)] == ["0\n", "1\n"]
        told = run("state", document=DOCUMENT)
        assert other.wait() == 0
    assert not told.get("failed") and told["changed"] is False and told["result"]["operations"] == [], told


# ---- info ------------------------------------------------------------------------------------------------------------


def test_what_there_is(run: Modules) -> None:
    told = run("info")
    assert not told["changed"] and set(told) == {"changed", "vswitch"}
    found = told["vswitch"]
    assert set(found["switches"]) == {"management", "workload"} and found["format"] == 1
    assert found["switches"]["workload"]["ports"]["100"]["observed"]["client"] == "web0.eth0"
    few = run("info", observed=False, switches=["workload"], statistics=True, _check=True)["vswitch"]
    assert set(few["switches"]) == {"workload"} == set(few["statistics"]) and "mac_learning" not in few
    assert "observed" not in few["switches"]["workload"]["ports"]["100"]
    assert set(few["statistics"]["workload"]) == {"100", "101", "102", "103", "uplink-1", "uplink-2"}
    assert few["statistics"]["workload"]["100"]["packets_in_unicast"] == 0
    wrong = run("info", switches=["worload"])
    assert wrong["failed"] and wrong["msg"] == "no switch 'worload'; did you mean 'workload'?"
    assert wrong["error"]["class"] == "NotFound"


# ---- property --------------------------------------------------------------------------------------------------------


def encoded(text: str) -> str:
    return base64.b64encode(text.encode()).decode()


@pytest.mark.parametrize(
    ("place", "member"),
    [
        ({}, {"properties": {"org.example.rack": "B12"}}),
        ({"scope": "global"}, {"properties": {"org.example.rack": "B12"}}),
        ({"scope": "host"}, {"host_properties": {"org.example.rack": "B12"}}),
        ({"port": "100"}, {"ports": {"100": {"properties": {"org.example.rack": "B12"}}}}),
    ],
    ids=["switch", "global", "host", "port"],
)
def test_a_property(run: Modules, place: Any, member: Any) -> None:
    given: dict[str, Any] = {"switch": "workload", "key": "org.example.rack", **place}
    wanted = {"changed": True, "before": None, "after": encoded("B12")}
    predicted = run("property", _check=True, value="B12", **given)
    assert run("property", _check=True, value="B12", **given) == predicted
    told = run("property", value="B12", **given)
    assert told == predicted and {name: told[name] for name in wanted} == wanted
    assert told["diff"]["before"] == "" and diff(told)[1] == {"switches": {"workload": member}}
    forms: list[dict[str, Any]] = [{"value": "B12"}, {"hex": "42 31 32"}, {"base64": encoded("B12")}]
    for form in forms:
        assert run("property", **given, **form)["changed"] is False
    assert run("property", state="absent", **given)["after"] is None
    gone = run("property", state="absent", _diff=False, **given)
    assert gone == {"changed": False, "before": None, "after": None}


def test_owners_and_volatile_values(run: Modules) -> None:
    given: dict[str, Any] = {"switch": "workload", "key": "org.example.x"}
    assert run("property", **given, value="stored", owner="me")["changed"]
    assert run("property", **given, value="stored", owner="me")["changed"] is False
    other = run("property", **given, value="other", owner="you")
    assert other["failed"] and other["error"]["class"] == "PermissionDenied", other
    volatile = run("property", **given, value="now", owner="me", volatile=True)
    assert (volatile["changed"], volatile["before"], volatile["after"]) == (True, None, encoded("now"))
    assert run("property", **given, value="now", owner="me", volatile=True)["changed"] is False
    assert run("property", **given, value="stored", owner="me")["changed"] is False, "what is stored is that"
    cleared = run("property", **given, owner="me", state="absent", volatile=True)
    assert (cleared["changed"], cleared["before"], cleared["after"]) == (True, encoded("now"), None)
    assert run("property", **given, owner="me", state="absent")["before"] == encoded("stored")


def test_wrong_uses_of_a_property(run: Modules) -> None:
    given: dict[str, Any] = {"switch": "workload", "key": "x"}
    wrong: Any
    for wrong, said in (
        ({}, "state is present but any of the following are missing: value, hex, base64"),
        ({"value": "a", "hex": "00"}, "parameters are mutually exclusive"),
        ({"hex": "0"}, "hex: "),
        ({"base64": "?"}, "base64: "),
        ({"value": "a", "port": "100", "scope": "host"}, "scope: a port has properties of the scope port alone"),
        ({"value": "a", "scope": "port"}, "scope is port but all of the following are missing: port"),
        ({"value": "a", "port": "1000"}, "no port '1000' on switch 'workload'"),
        ({"value": "a", "switch": "worload"}, "no switch 'worload'; did you mean 'workload'?"),
    ):
        told = run("property", **{**given, **wrong})
        assert told["failed"] and said in told["msg"], (wrong, told)


# ---- without the package ---------------------------------------------------------------------------------------------


@pytest.mark.parametrize("module", ["confirm", "info", "property", "state"])
def test_a_host_without_the_package_says_so(module: str, ansible: Ansible, tmp_path: pathlib.Path) -> None:
    arguments = {
        "confirm": {"id": "x"},
        "info": {},
        "property": {"switch": "s", "key": "k", "value": "v"},
        "state": {"document": DOCUMENT},
    }
    name = f"ansible_collections.vswitchpy.vswitch.plugins.modules.{module}"
    process = subprocess.run(
        [sys.executable, "-m", name],
        input=json.dumps({"ANSIBLE_MODULE_ARGS": arguments[module]}),
        env={**ansible.environment, "PYTHONPATH": str(ansible.collections), "VSWITCH_HOST": str(tmp_path / "host.db")},
        capture_output=True,
        text=True,
        check=False,
    )
    told = json.loads(process.stdout)
    assert told["failed"] and told["msg"] == "the Python package vswitch is needed on the managed host"


def test_a_package_without_its_library_says_what_is_missing(ansible: Ansible) -> None:
    process = subprocess.run(
        [sys.executable, "-m", "ansible_collections.vswitchpy.vswitch.plugins.modules.info"],
        input=json.dumps({"ANSIBLE_MODULE_ARGS": {}}),
        env={
            **ansible.environment,
            "PYTHONPATH": os.pathsep.join([str(ansible.collections), str(SOURCE / "python")]),
            "PYTHONDONTWRITEBYTECODE": "1",
        },
        capture_output=True,
        text=True,
        check=False,
    )
    said = "the Python package vswitch is needed on the managed host, and this one cannot be imported: No module named"
    assert json.loads(process.stdout)["msg"].startswith(said), process.stdout + process.stderr
