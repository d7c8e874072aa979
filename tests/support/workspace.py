"""Where the sources and the build are, and how to run a script in a process of its own."""

import os
import pathlib
import subprocess
import sys
import textwrap
from typing import Any, Protocol

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("VSWITCHPY_BUILD", SOURCE / "build"))
SUPPORT = BUILD / "tests" / "support"
# For programs that are not ours: some do not end under a sanitizer's runtime, which is preloaded for the interpreter.
FOREIGN = {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}
SEARCH = [str(BUILD / "python"), str(SUPPORT), str(SOURCE / "tests" / "support")]


class Script(Protocol):
    """What the fixtures `script`, `recording` and the like give: runs Python source and gives what it printed."""

    def __call__(self, source: str, *arguments: str, **options: Any) -> str: ...


class Outcome:
    """Of a script: its exit code and what it printed."""

    def __init__(self, process: subprocess.CompletedProcess[str]) -> None:
        self.code = process.returncode
        self.out = process.stdout
        self.err = process.stderr

    def __repr__(self) -> str:
        return f"<exit {self.code}\n{self.out}\n{self.err}>"


def run_script(
    source: str, *arguments: str, library_path: str | None = None, limit: float = 120, **environment: str
) -> Outcome:
    """Runs Python source in a fresh interpreter; a crash there fails one test and not the run. `limit`: seconds."""
    variables = dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH), **environment)
    if library_path:
        variables["LD_LIBRARY_PATH"] = library_path
    return Outcome(
        subprocess.run(
            [sys.executable, "-c", textwrap.dedent(source), *arguments],
            capture_output=True,
            text=True,
            env=variables,
            timeout=limit,
            check=False,
        )
    )
