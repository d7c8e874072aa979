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
