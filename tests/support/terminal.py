"""Runs a command on a terminal of its own, for what people see: the pictures of the README, and tests."""

from __future__ import annotations

import os
import pty
from collections.abc import Mapping, Sequence


def on_terminal(
    command: Sequence[str], environment: Mapping[str, str], folder: str | os.PathLike[str] = ".", answer: bytes = b""
) -> tuple[str, int]:
    """What a command prints on a terminal, with its colours, and its exit code. `answer`: typed where it asks y/N."""
    child, terminal = pty.fork()
    if child == 0:
        try:
            os.chdir(folder)
            os.execvpe(command[0], list(command), dict(environment))
        finally:
            os._exit(127)
    seen = b""
    if answer:
        while not seen.rstrip().endswith(b"[y/N]:"):
            seen += os.read(terminal, 4096)
        os.write(terminal, answer)
    while True:
        try:
            data = os.read(terminal, 65536)
        except OSError:  # the other end is closed
            break
        if not data:
            break
        seen += data
    os.close(terminal)
    code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    return seen.decode().replace("\r\n", "\n"), code
