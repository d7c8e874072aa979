"""The measurement of the objects runs and says what it measured; no time is judged here."""

import json
import os
import subprocess
import sys
from typing import Any

import pytest
from workspace import SEARCH, SOURCE

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]


def test_the_measurement_runs(tmp_path: Any) -> None:
    environment = dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH), VSWITCH_APPLY_DIR=str(tmp_path))
    report = tmp_path / "report.json"
    process = subprocess.run(
        [sys.executable, SOURCE / "bench" / "vswitch.py", "--quick", "--folder", tmp_path, "--json", report],
        env=environment,
        capture_output=True,
        text=True,
        timeout=300,
        check=False,
    )
    assert process.returncode == 0, process.stderr
    figures = json.loads(report.read_text())
    assert set(figures) == {"figures", "missed"}
    assert {row["unit"] for row in figures["figures"].values()} <= {"us", "ms", "times"}
    assert "port.vlan over the plain call" in figures["figures"] and len(figures["figures"]) == 35
    assert set(figures["missed"]) <= set(figures["figures"])
