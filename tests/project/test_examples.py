"""The examples and the README's example, as a user runs them."""

import os
import re
import subprocess
import sys

from workspace import SEARCH, SOURCE


def run(arguments, host):
    environment = dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH), VSWITCH_HOST=str(host))
    return subprocess.run(
        [sys.executable, *arguments], env=environment, capture_output=True, text=True, timeout=120, check=False
    )


def test_the_readme_prints_what_it_says(tmp_path):
    readme = (SOURCE / "README.md").read_text()
    code = re.search(r"```python\n(.*?)```", readme, re.S)[1]
    printed = re.search(r"prints\n\n```\n(.*?)```", readme, re.S)[1]
    script = tmp_path / "example.py"
    script.write_text(code)
    process = run([script], tmp_path / "host.db")
    assert (process.returncode, process.stdout) == (0, printed), process.stderr


EXPECTED = """\
production: MTU 9000, 2 active of at most 64 ports
  uplink nic4 on port uplink-1: link up
  uplink nic5 on port uplink-2: link up
  teaming: active ['nic4'], standby ['nic5']
  port web-1 has the number 12
  port web-2 has the number 13
  port database has the number 14

an MTU of 64 is refused: QEL_BAD_PARAM (0x0bad0007)
"""


def test_setting_up_a_switch_twice_and_seeing_it_from_another_process(tmp_path):
    host = tmp_path / "host.db"
    first = run([SOURCE / "examples" / "set_up_switch.py"], host)
    assert first.returncode == 0, first.stderr
    assert first.stdout.startswith("switch production: created\n  uplink nic4: created\n")
    assert first.stdout.endswith(EXPECTED)
    second = run([SOURCE / "examples" / "set_up_switch.py"], host)
    assert second.returncode == 0, second.stderr
    assert second.stdout.startswith("switch production: already there\n  uplink nic4: already there\n")
    assert second.stdout.endswith(EXPECTED)
    other = run(["-c", "import libvswitch as v; s = v.VSQEL_GetSwitchesPy(2); print([s[i] for i in range(s.count)])"], host)
    assert other.stdout == "['management', 'workload', 'production']\n"


def test_inspecting_tables_on_stand_ins(recording):
    """The LAG table and the filters come from stand-in libraries that hand out the records of this test."""
    printed = recording(
        """
import ctypes, struct, sys
from workspace import SOURCE
sys.path.insert(0, str(SOURCE / "examples"))

def lag(name, state, bitmap, uplinks):
    fixed = struct.pack("<II68sQI", state, 7, name, bitmap, len(uplinks))
    return fixed + b"".join(uplink.ljust(32, b"\\0") for uplink in uplinks)

lags = ctypes.create_string_buffer(struct.pack("<I", 2) + lag(b"lag-a", 1, 0b10, [b"nic1", b"nic2"]) + lag(b"lag-b", 0, 0, []))
macs = struct.pack("<II", 5, 2) + bytes.fromhex("01005e000001 3333000000fb")
ipv6 = struct.pack("<II", 2, 2) + bytes.fromhex("fe80" + "00" * 13 + "01") + bytes.fromhex("20010db8" + "00" * 11 + "09")
filters = [ctypes.create_string_buffer(macs), ctypes.create_string_buffer(ipv6)]

import inspect_tables, libvswitch
def host(name, position, records):
    real = getattr(libvswitch, name)
    records = iter(records)
    def call(*arguments):
        rec.recorder_store(position, ctypes.addressof(next(records)), 8)
        result = real(*arguments)
        rec.recorder_reset()
        return result
    setattr(libvswitch, name, call)
host("VSQEL_GetLAGTable", 2, [lags])
host("VSQEL_GetMcastFilters", 4, filters)
sys.stdout.reconfigure(line_buffering=True)
assert inspect_tables.main("workload", 1) == 0
"""
    )
    assert printed == """\
mirror table: 1 sessions, 3 entities
  session capture (web traffic)
    to nic1
    to 2001:db8::9
    received by 100
runtime options: 34 bytes
  IGMPQueryInterval = 125
  MaxRARPsPerInterval = 128
  IGMPRouterIP = 192.0.2.1
LAG table: 2 LAGs
  lag-a is up: nic1 down, nic2 up
  lag-b is down: no uplinks
multicast filters (mac): 2 of 5
  01:00:5e:00:00:01
  33:33:00:00:00:fb
multicast filters (ipv6): 2 of 2
  fe80::1 (link-local)
  2001:db8::9 (routed)
"""


def test_inspecting_tables_on_the_simulated_host(tmp_path):
    process = run([SOURCE / "examples" / "inspect_tables.py", "workload", "1"], tmp_path / "host.db")
    assert process.returncode == 0, process.stderr
    assert "  session capture (web traffic)\n    to nic1\n    to 2001:db8::9\n" in process.stdout
    assert "  IGMPRouterIP = 192.0.2.1\n" in process.stdout
    assert "LAG table: 1 LAGs\n  lag-1 is up: nic1 up, nic2 up\n" in process.stdout
