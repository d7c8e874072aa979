"""The measurement of simulated hosts from Python: that it runs and says what it is to say. It judges no time."""

import json
import os
import pathlib
import subprocess
import sys

from workspace import BUILD, SOURCE


def test_the_measurement_runs(tmp_path: pathlib.Path) -> None:
    result = tmp_path / "result.json"
    command: list[str | pathlib.Path] = [
        sys.executable,
        SOURCE / "bench" / "host" / "measure_simulated.py",
        result,
        "0.01",
        "--folder",
        tmp_path,
    ]
    environment = dict(os.environ, PYTHONPATH=str(BUILD / "python"))
    process = subprocess.run(command, env=environment, capture_output=True, text=True, check=False)
    assert (process.returncode, process.stderr) == (0, "")
    measured = json.loads(result.read_text())
    assert set(measured) == {"figures", "missed"} and len(measured["figures"]) == 8
    assert all(figure > 0 for figure in measured["figures"].values())
    assert set(measured["missed"]) <= set(measured["figures"])
    for name in measured["figures"]:
        assert name in process.stdout
    assert list(tmp_path.iterdir()) == [result]
