"""Makes the pictures of the README: a terminal session as SVG, and the topology of the built-in host.

    python3 tools/make_pictures.py BUILD [FOLDER]

The session is what the command `vswitch` of the build folder prints on a terminal, on a fresh simulated host; rich
draws it. The topology is `vswitch topology --svg`. FOLDER: where they go, `docs/pictures` without one.
"""

from __future__ import annotations

import os
import pathlib
import re
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(SOURCE / "tests" / "support"))

from terminal import on_terminal  # noqa: E402 - found there

COLUMNS = 96
DOCUMENT = """\
format: 1
switches:
  lab:
    mtu: 9000
    uplinks: [nic4]
    ports: {web-1: {vlan: 10}}
"""
SESSION = (
    "vswitch switch list",
    "vswitch port list workload",
    "cat lab.yaml",
    "vswitch plan lab.yaml",
    "vswitch apply --yes --quiet lab.yaml",
    "vswitch set switches/lab/ports/web-1/vlan '{trunk: [10-19, 30]}'",
    "vswitch get switches/lba/mtu",
)


def drawn(transcript: list[tuple[str, str]]) -> str:
    """Commands and what they print as SVG. It asks no server for a typeface."""
    from rich.console import Console
    from rich.text import Text

    with open(os.devnull, "w", encoding="utf-8") as nothing:
        console = Console(record=True, width=COLUMNS, file=nothing, force_terminal=True, color_system="standard")
        for command, printed in transcript:
            console.print(Text.assemble(("$ ", "bold green"), (command, "bold")))
            console.print(Text.from_ansi(printed.rstrip("\n")), soft_wrap=True) if printed else None
        text = console.export_svg(title="vswitch", unique_id="session")
    # Some readers of SVG drop the blanks that a line begins with, unless they are told.
    text = text.replace("<svg ", '<svg xml:space="preserve" ', 1)
    text = re.sub(r"@font-face \{.*?\}\n?", "", text, flags=re.DOTALL)
    return "\n".join(line.rstrip() for line in text.splitlines()) + "\n"


def main(build: str, folder: str = str(SOURCE / "docs" / "pictures")) -> int:
    """Makes both."""
    tree = pathlib.Path(build).resolve()
    with tempfile.TemporaryDirectory() as home:
        (pathlib.Path(home) / "lab.yaml").write_text(DOCUMENT, encoding="utf-8")
        command = pathlib.Path(home) / "vswitch"
        command.write_text(f'#!/bin/sh\nexec {sys.executable} -m vswitch "$@"\n', encoding="utf-8")
        command.chmod(0o755)
        environment = {
            "PATH": f"{home}:/usr/bin:/bin", "PYTHONPATH": str(tree / "python"), "HOME": home, "LANG": "C.UTF-8",
            "TERM": "xterm", "COLUMNS": str(COLUMNS), "VSWITCH_HOST": f"{home}/host.db",
            "LD_LIBRARY_PATH": os.environ.get("LD_LIBRARY_PATH", ""),
        }  # fmt: skip
        picture = subprocess.run(
            ["vswitch", "topology", "--svg", "-"], env=environment, check=True, capture_output=True, text=True
        ).stdout
        session = drawn([(line, on_terminal(["sh", "-c", line], environment, home)[0]) for line in SESSION])
    place = pathlib.Path(folder)
    (place / "session.svg").write_text(session, encoding="utf-8")
    (place / "topology.svg").write_text(picture, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
