"""The C++ tests of the host, traced: every function reaches every status that is documented for it."""

import collections
import json
import os
import subprocess
import sys
from typing import Any

import pytest
import workspace
from host_calls import prototypes

PROGRAM = workspace.SOURCE / "tests" / "simulated_host" / "status_calls.py"
# What a function cannot be seen to return, each with its reason.
EXEMPT = {
    # Is the same as of the call that it is documented as, which can be told a class; this one cannot.
    "DVSQEL_SwitchAdd": {"QEL_MODULE_NOT_FOUND"},
    # Comes when the traced part of the call is over; status_calls.py looks at it.
    "DVSData_Update": {"QEL_NO_MEMORY"},
    # Read by the same functions as what DVSQEL_StateInit and VSDVS_SetDVMirrorSessions get, which reach them.
    "DVSState_ConfigDeserialize": {"QEL_BUSY"},
    "VSDVS_AppendDVMirrorSessions": {"QEL_INVALID_NAME", "QEL_NAME_TOO_LONG"},
}
WITH_A_CLIENT = {"alias": "fleeting", "switch_id": "fleeting", "persistent": False,
                 "ports": [{"dvport_id": "p", "client": {"name": "c", "type": "vnic"}}]}


@pytest.fixture(scope="module")
def documented() -> dict[str, set[str]]:
    """The statuses of each function, read out of docs/host.md."""
    tool = workspace.BUILD / "host" / "bin" / "vswitch-host"
    answer = subprocess.run([tool, "--json", "calls"], capture_output=True, text=True, timeout=60, check=True)
    return {call["name"]: set(call["statuses"]) for call in json.loads(answer.stdout)}


@pytest.fixture(scope="module")
def traced(tmp_path_factory: pytest.TempPathFactory) -> list[dict[str, Any]]:
    """The calls of the C++ tests."""
    folder = tmp_path_factory.mktemp("trace")
    environment = dict(os.environ, VSWITCH_HOST_TRACE=str(folder / "calls.jsonl"))
    # Tests that have a trace of their own end that of the process.
    subprocess.run(
        [str(workspace.BUILD / "tests" / "host" / "host_test"), "--gtest_filter=-Trace*:Follows*"],
        env=environment, capture_output=True, timeout=300, check=True,
    )
    description = json.loads((workspace.SOURCE / "platform" / "default_host.json").read_text())
    description["switches"].append(WITH_A_CLIENT)
    (folder / "init.json").write_text(json.dumps(description))
    environment |= {"VSWITCH_HOST": ":memory:", "VSWITCH_HOST_INIT": str(folder / "init.json")}
    calls = subprocess.run([sys.executable, PROGRAM, workspace.BUILD / "host"], env=environment, capture_output=True,
                           text=True, timeout=60, check=False)
    assert calls.returncode == 0, calls
    entries = map(json.loads, (folder / "calls.jsonl").read_text().splitlines())
    return [entry for entry in entries if "call" in entry]


@pytest.fixture(scope="module")
def reached(traced: list[dict[str, Any]]) -> dict[str, set[str]]:
    """The statuses that calls of each function returned."""
    statuses = collections.defaultdict(set)
    for entry in traced:
        statuses[entry["call"]].add(str(entry.get("status")))
    return statuses


def test_every_function_reaches_every_status_documented_for_it(
    documented: dict[str, set[str]], reached: dict[str, set[str]]
) -> None:
    assert sum(map(len, documented.values())) > 250
    missing = {name: sorted(statuses - reached[name] - EXEMPT.get(name, set()))
               for name, statuses in documented.items()}
    assert {name: statuses for name, statuses in missing.items() if statuses} == {}


def test_what_is_exempt_is_documented_and_not_reached(
    documented: dict[str, set[str]], reached: dict[str, set[str]]
) -> None:
    for name, statuses in EXEMPT.items():
        assert statuses <= documented[name]
        assert not statuses & reached[name]


def test_the_trace_has_the_arguments_of_every_function(traced: list[dict[str, Any]]) -> None:
    declared = {
        name: [parameter.name for parameter in prototype.parameters] for name, prototype in prototypes().items()
    }
    # What gives memory back is traced in one form, whichever call does it.
    declared["DVSQEL_DataFree"] = ["memory"]
    # The tests change hosts in functions of their own, too.
    found = {entry["call"]: list(entry["arguments"]) for entry in traced if entry["call"] in declared}
    assert {name: names for name, names in found.items() if names != declared[name]} == {}
    # Asks no host.
    assert sorted(set(declared) - set(found)) == ["QEL_ReturnStatusToString"]
