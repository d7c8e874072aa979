"""The examples and the README's example, as a user runs them."""

import ast
import os
import pathlib
import re
import subprocess
import sys
from collections.abc import Sequence

import pytest
from workspace import BUILD, SEARCH, SOURCE

EXAMPLES = SOURCE / "examples"


def run(
    arguments: Sequence[str | pathlib.Path], host: str | pathlib.Path, **variables: str
) -> subprocess.CompletedProcess[str]:
    environment = dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH), VSWITCH_HOST=str(host), **variables)
    return subprocess.run(
        [sys.executable, *arguments], env=environment, capture_output=True, text=True, timeout=120, check=False
    )


def add_fault(host: pathlib.Path, *rule: str) -> None:
    tool = (BUILD / "host" / "bin" / "vswitch-host", "--host", host)
    subprocess.run([*tool, "init"], check=True, capture_output=True)
    subprocess.run([*tool, "fault", "add", *rule], check=True, capture_output=True)


def test_the_readme_prints_what_it_says(tmp_path: pathlib.Path) -> None:
    readme = (SOURCE / "README.md").read_text()
    code = "".join(re.findall(r"```python\n(.*?)```", readme, re.S))
    printed = "".join(re.findall(r"prints\n\n```\n(.*?)```", readme, re.S))
    script = tmp_path / "example.py"
    script.write_text(code)
    process = run([script], tmp_path / "host.db")
    assert (process.returncode, process.stdout) == (0, printed), process.stderr


# ---- set_up_switch.py ------------------------------------------------------------------------------------------

SET_UP = """\
switch production: {0}
  uplink nic4: {0}
  uplink nic5: {0}
  port web-1: {0}
  port web-2: {0}
  port database: {0}

management: MTU 1500, 2 active of at most 128 ports
  uplink nic0 on port uplink-1: link up
  teaming: active ['nic0'], standby []
workload: MTU 9000, 5 active of at most 512 ports
  uplink uplink-a on port uplink-1: link up
  uplink uplink-b on port uplink-2: link up
  teaming: active ['uplink-a', 'uplink-b'], standby []
production: MTU 9000, 2 active of at most 64 ports
  uplink nic4 on port uplink-1: link up
  uplink nic5 on port uplink-2: link up
  teaming: active ['nic4'], standby ['nic5']
  port web-1 has the number 12 and VLAN 10
  port web-2 has the number 13 and VLAN 10
  port database has the number 14 and VLAN 20

an MTU of 64 is refused: QEL_BAD_PARAM (0x0bad0007)
"""


def test_setting_up_a_switch_twice_and_seeing_it_from_another_process(tmp_path: pathlib.Path) -> None:
    host = tmp_path / "host.db"
    first = run([EXAMPLES / "set_up_switch.py"], host)
    assert (first.returncode, first.stdout, first.stderr) == (0, SET_UP.format("created"), "")
    second = run([EXAMPLES / "set_up_switch.py"], host)
    assert (second.returncode, second.stdout, second.stderr) == (0, SET_UP.format("already there"), "")
    other = run(["-c", "import libvswitch as v; print(list(v.VSQEL_GetSwitchesPy(2)))"], host)
    assert other.stdout == "['management', 'workload', 'production']\n"


@pytest.mark.parametrize(
    ("rule", "said"),
    [
        (
            ["fail", "--call", "VSDVS_CreateVSwitch", "--status", "QEL_NO_RESOURCES"],
            "cannot create the switch production: QEL_NO_RESOURCES\n",
        ),
        (
            ["fail", "--call", "VSDVS_AddSwitchUplinkPort", "--skip", "1", "--status", "QEL_BUSY"],
            "cannot add the uplink nic5: QEL_BUSY\n",
        ),
        (["fail", "--call", "VSDVS_SetMTU", "--status", "QEL_TIMEOUT"], "cannot set the MTU: QEL_TIMEOUT\n"),
        (
            ["abort", "--call", "VSDVS_SetTeamingPolicy", "--exception", "RuntimeError", "--message", "no answer"],
            "cannot set the teaming policy: no answer\n",
        ),
        (
            ["fail", "--call", "VSDVS_SetPortVLANPolicy", "--skip", "2", "--status", "QEL_BUSY"],
            "cannot set up the port database: QEL_BUSY\n",
        ),
        (["fail", "--call", "VSQEL_GetSwitchInfo", "--status", "QEL_BUSY"], "cannot list the switches: QEL_BUSY\n"),
    ],
)
def test_a_failure_ends_the_setup_with_one_line(tmp_path: pathlib.Path, rule: str, said: str) -> None:
    host = tmp_path / "host.db"
    add_fault(host, *rule)
    process = run([EXAMPLES / "set_up_switch.py"], host)
    assert (process.returncode, process.stderr) == (1, said)


def test_a_state_file_that_is_none_ends_the_setup_with_one_line(tmp_path: pathlib.Path) -> None:
    host = tmp_path / "host.db"
    host.write_text("no state file " * 100)
    process = run([EXAMPLES / "set_up_switch.py"], host)
    assert process.returncode == 1
    assert process.stderr.startswith(f"cannot create the switch production: {host}: ")
    assert process.stderr.count("\n") == 1


# ---- inspect_tables.py -----------------------------------------------------------------------------------------


def test_inspecting_a_port_with_mirroring_and_multicast_groups(tmp_path: pathlib.Path) -> None:
    host = tmp_path / "host.db"
    snooping = (
        "import libvswitch as v; v.check(v.VSDVS_SetMcastFilterMode('management', v.VS_MCAST_FILTER_MODE_SNOOPING));"
        "t = v.check(v.VSDVS_GetDVMirrorSessions('management', '2'));"
        "next(iter(t)).sid = 'tap'; v.check(v.VSDVS_SetDVMirrorSessions('management', None, t))"
    )
    assert run(["-c", snooping], host).returncode == 0
    process = run([EXAMPLES / "inspect_tables.py", "management", "1"], host)
    assert process.returncode == 0, process.stderr
    assert process.stdout == """\
mirror sessions of the switch: 1
  tap (Management traffic)
    to 2
    received by 1
    sent by 1
mirror sessions of 1: 0
LAGs: 0
MAC addresses: 1
  02:00:00:00:01:00 in VLAN 0 at port 2: static
multicast filters of 1 (MAC): 0 of 0
multicast filters of 1 (IPv4): 1 of 1
  239.255.0.1
multicast filters of 1 (IPv6): 1 of 1
  ff05::1:3
runtime options: 32 bytes
  IGMPQueryInterval = 125
  MaxRARPsPerInterval = 128
  IGMPRouterIP = 0.0.0.0
"""


def test_inspecting_a_switch_with_a_lag_and_learned_addresses(tmp_path: pathlib.Path) -> None:
    process = run([EXAMPLES / "inspect_tables.py", "workload"], tmp_path / "host.db")
    assert process.returncode == 0, process.stderr
    assert "LAGs: 1\n  lag-1 is up: nic1 up, nic2 up\n" in process.stdout
    assert "  02:00:00:00:03:02 in VLAN 20 at port 9: learned\n" in process.stdout


def test_inspecting_what_is_not_there(tmp_path: pathlib.Path) -> None:
    process = run([EXAMPLES / "inspect_tables.py", "nowhere"], tmp_path / "host.db")
    assert (process.returncode, process.stderr) == (1, "nowhere: the host answers QEL_NOT_FOUND\n")


# ---- raw_style.py ----------------------------------------------------------------------------------------------

RAW = """\
create the switch backup: {0}
add the uplink nic3: {0}
set the MTU: done
set the teaming policy: done
add the port tape-1: {0}
add the port tape-2: {0}
backup: MTU 9000, 1 active ports
  uplink nic3 on port uplink-1
"""


@pytest.mark.parametrize("module", ["libvswitch", "_libvswitch"])
def test_the_raw_style_with_either_module(tmp_path: pathlib.Path, module: str) -> None:
    script = tmp_path / "raw_style.py"
    source = (EXAMPLES / "raw_style.py").read_text()
    script.write_text(source.replace("import libvswitch as vs\n", f"import {module} as vs\n"))
    first = run([script], tmp_path / "host.db")
    assert (first.returncode, first.stdout, first.stderr) == (0, RAW.format("done"), "")
    second = run([script], tmp_path / "host.db")
    assert (second.returncode, second.stdout, second.stderr) == (0, RAW.format("was done before"), "")


def test_the_raw_style_uses_functions_and_constants_alone() -> None:
    tree = ast.parse((EXAMPLES / "raw_style.py").read_text())
    attributes = {(node.value.id, node.attr) for node in ast.walk(tree)
                  if isinstance(node, ast.Attribute) and isinstance(node.value, ast.Name)}
    assert {name for name, _ in attributes} <= {"vs", "sys", "PORTS"}
    raw = run(["-c", "import _libvswitch; print(*dir(_libvswitch))"], ":memory:").stdout.split()
    assert {attribute for name, attribute in attributes if name == "vs"} <= set(raw)
    imported = [node for node in ast.walk(tree) if isinstance(node, ast.Import | ast.ImportFrom)]
    assert [alias.name for node in imported for alias in node.names] == ["sys", "libvswitch"]


def test_the_raw_style_gives_back_all_that_it_was_handed(tmp_path: pathlib.Path) -> None:
    trace = tmp_path / "trace"
    assert run([EXAMPLES / "raw_style.py"], tmp_path / "host.db", VSWITCH_HOST_TRACE=str(trace)).returncode == 0
    lines = trace.read_text()
    assert "VSQEL_GetSwitchInfo" in lines
    assert "never_released" not in lines


def test_a_failure_in_the_raw_style(tmp_path: pathlib.Path) -> None:
    host = tmp_path / "host.db"
    add_fault(host, "fail", "--call", "VSDVS_SetMTU", "--status", "QEL_BUSY")
    process = run([EXAMPLES / "raw_style.py"], host)
    assert (process.returncode, process.stderr) == (1, "cannot set the MTU: QEL_BUSY\n")


# ---- simulated/reachability.py ---------------------------------------------------------------------------------------


def test_who_reaches_whom_is_found_on_a_copy(tmp_path: pathlib.Path) -> None:
    host = tmp_path / "host.db"
    pairs = [(a, b) for a in (100, 101, 102) for b in (100, 101, 102) if a != b]
    script = [EXAMPLES / "simulated" / "reachability.py"]
    everybody = "".join(f"workload/{a} reaches workload/{b}\n" for a, b in pairs)
    assert run(script, host).stdout == everybody
    apart = "import vswitch; vswitch.Host().switches['workload'].ports['101'].vlan = 20"
    assert run(["-c", apart], host).returncode == 0
    said = "".join(
        f"workload/{a} does not reach workload/{b}: it went elsewhere\n" if 101 in (a, b)
        else f"workload/{a} reaches workload/{b}\n" for a, b in pairs)
    assert run(script, host).stdout == said
    counted = "import vswitch; print(vswitch.Host().switches['workload'].ports['100'].statistics.packets_in)"
    assert run(["-c", counted], host).stdout == "0\n"


# ---- simulated/test_protocols.py -----------------------------------------------------------------------------------


def test_the_tests_of_protocols_pass(tmp_path: pathlib.Path) -> None:
    process = run(["-m", "pytest", "-q", "-p", "no:cacheprovider", EXAMPLES / "simulated" / "test_protocols.py"],
                  tmp_path / "host.db")
    assert process.returncode == 0 and "3 passed" in process.stdout, process.stdout
