"""A run of pytest in a process of its own, as users of the kit have it: the package is on the path, nothing else."""

from __future__ import annotations

import os
import pathlib
import re
import subprocess
import sys
import textwrap

from workspace import BUILD


class Session:
    """A folder with tests. What the run puts aside goes to a folder of its own beside it."""

    def __init__(self, folder: pathlib.Path) -> None:
        self.folder = folder / "session"
        self.temporary = folder / "temporary"
        self.home = folder / "home"
        for made in (self.folder, self.temporary, self.home):
            made.mkdir()
        self.said = ""

    def write(self, name: str, text: str) -> None:
        """A file of the session."""
        (self.folder / name).write_text(textwrap.dedent(text))

    def run(self, *arguments: str, code: int | None = 0, **more: str) -> dict[str, int]:
        """How many tests came to what; `said` is what was printed. The exit code is to be `code`."""
        environment = {
            "PATH": os.environ["PATH"],
            "PYTHONPATH": str(BUILD / "python"),
            "PYTHONDONTWRITEBYTECODE": "1",
            "HOME": str(self.home),
            "TMPDIR": str(self.temporary),
            "VSWITCH_HOST": str(self.home / "not-to-be-used.db"),
            **more,
        }
        process = subprocess.run(
            [sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", "--strict-markers", *arguments],
            cwd=self.folder,
            env=environment,
            capture_output=True,
            text=True,
            timeout=300,
            check=False,
        )
        self.said = process.stdout + process.stderr
        assert code is None or process.returncode == code, self.said
        last = next((line for line in reversed(self.said.splitlines()) if re.search(r" in [\d.]+s", line)), "")
        return {kind: int(count) for count, kind in re.findall(r"(\d+) (passed|failed|error|skipped)", last)}

    def left(self) -> list[str]:
        """What the run has left of files, beside the tests."""
        places = (self.temporary, self.home)
        return [str(path.relative_to(place)) for place in places for path in place.rglob("*")]
