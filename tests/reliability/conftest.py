"""What the reliability tests share: scripts with the abort gate."""

import textwrap
from typing import Any

import pytest
import workspace
from workspace import Script

HERE = workspace.SOURCE / "tests" / "reliability"


@pytest.fixture
def storm(script: Script) -> Script:
    """Runs a script with the abort gate between the module and the recording stand-ins, see storm.py."""

    def run(source: str, *arguments: str, **options: Any) -> str:
        prelude = f"import sys; sys.path.insert(0, {str(HERE)!r})\nfrom storm import *\n"
        return script(
            prelude + textwrap.dedent(source),
            *arguments,
            library_path=str(workspace.SUPPORT / "recording"),
            LD_PRELOAD=str(workspace.SUPPORT / "libabort_gate.so"),
            **options,
        )

    return run
