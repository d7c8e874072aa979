"""What tshark, where it is installed, sees in a capture."""

import pathlib
import shutil
import subprocess

import pytest
from workspace import FOREIGN

TSHARK = shutil.which("tshark") or ""
needs_tshark = pytest.mark.skipif(not TSHARK, reason="tshark is not installed; `make test` installs it")


def shown(file: pathlib.Path, *fields: str) -> list[str]:
    """A line for each frame, its fields between bars; checksums are looked at."""
    command: list[str | pathlib.Path] = [
        TSHARK, "-r", file, "-o", "ip.check_checksum:TRUE", "-T", "fields", "-E", "separator=|",
        *(part for name in fields for part in ("-e", name))]
    process = subprocess.run(command, capture_output=True, text=True, check=True, env=FOREIGN | {"TZ": "UTC"})
    return process.stdout.splitlines()
