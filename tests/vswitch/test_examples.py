"""The five scripts, as a user runs them, each on a fresh built-in host in a file."""

import os
import re
import subprocess
import sys
from typing import Any

import pytest
from workspace import SEARCH, SOURCE

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]

EXAMPLES = SOURCE / "examples" / "vswitch"
LINES = {"inventory": 9, "set_up": 14, "mirror": 6, "macs": 6, "properties": 10}

INVENTORY = """\
management: MTU 1500, 2 active of at most 128 ports
  uplink nic0 on port uplink-1: link up
  teaming: active ['nic0'], standby []
  port 1: number 2, VLAN 0, client kernel0
  port 2: number 3, VLAN 0, client -
workload: MTU 9000, 5 active of at most 512 ports
  uplink uplink-a on port uplink-1: link up
  uplink uplink-b on port uplink-2: link up
  teaming: active ['uplink-a', 'uplink-b'], standby []
  port 100: number 6, VLAN 0, client web0.eth0
  port 101: number 7, VLAN 0, client web1.eth0
  port 102: number 8, VLAN 0, client database0.eth0
  port 103: number 9, VLAN 0, client -
"""
PRINTED = {
    "inventory": [INVENTORY, INVENTORY],
    "mirror": ["('web-tap',) 0\n"] * 2,
    "macs": [
        """\
02:00:00:00:02:00 0 static 100 0
02:00:00:00:02:01 0 static 101 0
02:00:00:00:02:02 0 static 102 0
02:00:00:00:03:01 0 learned 103 AGE
02:00:00:00:03:02 20 learned 103 AGE
100 0 0 0
101 0 0 0
102 0 0 0
103 0 0 1
"""
    ],
    "properties": ["B12 9000\nTrue\n"] * 2,
}


def run(name: Any, folder: Any) -> Any:
    environment = dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH), VSWITCH_HOST=str(folder / "host.db"))
    environment["VSWITCH_APPLY_DIR"] = str(folder / "apply")
    process = subprocess.run(
        [sys.executable, EXAMPLES / f"{name}.py"],
        env=environment,
        cwd=folder,
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
    )
    assert (process.returncode, process.stderr) == (0, "")
    return process.stdout


@pytest.mark.parametrize("name", PRINTED)
def test_a_script_prints_the_same_each_time(name: Any, tmp_path: Any) -> None:
    for printed in PRINTED[name]:
        said = run(name, tmp_path)
        if name == "macs":  # the clock runs
            said = re.sub(r"( learned \w+) \d+$", r"\1 AGE", said, flags=re.MULTILINE)
        assert said == printed


def test_a_set_up_is_done_once(tmp_path: Any) -> None:
    first = run("set_up", tmp_path)
    assert first.startswith("switches/production: create\n  + mtu: 9000\n")
    assert "switches/production/ports/web-1: create" in first
    assert run("set_up", tmp_path) == "nothing to do\n"
    said = run("inventory", tmp_path).removeprefix(INVENTORY)
    assert said == """\
production: MTU 9000, 2 active of at most 128 ports
  uplink nic4 on port uplink-1: link up
  uplink nic5 on port uplink-2: link up
  teaming: active ['nic4'], standby ['nic5']
  port web-1: number 12, VLAN 10, client -
  port database: number 13, VLAN 20, client -
"""


@pytest.mark.parametrize("name", LINES)
def test_the_scripts_are_as_short_as_they_are_said_to_be(name: Any) -> None:
    lines = (EXAMPLES / f"{name}.py").read_text().splitlines()
    assert lines[0] == f"# {name}.py"
    assert len([line for line in lines[1:] if line.strip()]) == LINES[name]
