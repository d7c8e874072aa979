"""The model and the generators are typed strictly."""

import os
import pathlib
import subprocess
import sys

import pytest

pytestmark = pytest.mark.pure_python

FOLDER = pathlib.Path(__file__).parents[1]


def test_the_model_is_typed_strictly(tmp_path):
    process = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir", str(tmp_path), "model", "boot.py", "compare.py",
         "random_hosts.py", "random_frames.py"],
        cwd=FOLDER, env=dict(os.environ, PYTHONPATH=""), text=True, timeout=120, check=False, capture_output=True)
    assert (process.returncode, process.stderr) == (0, ""), process.stdout
