"""The command `vswitch`: its entry point, and the exit codes."""

from __future__ import annotations

import sys
from collections.abc import Sequence

from vswitch import __version__

# Exit codes.
OK, FAILED, WRONG_USAGE, DIFFERENT, TIMED_OUT = range(5)


def main(arguments: Sequence[str] | None = None) -> int:
    """Runs one command line (default: that of the process) and gives the exit code.

    0: ok; 1: refused or failed; 2: wrong usage, also a document of wrong form; 3: differences (`drift`); 4: timed out.
    """
    words = list(sys.argv[1:] if arguments is None else arguments)
    if words == ["--version"]:  # asked often by scripts: answered before the grammar is loaded
        print(f"vswitch {__version__}")
        return OK
    from vswitch.cli.running import run

    return run(words)
