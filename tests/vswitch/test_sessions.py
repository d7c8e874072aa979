"""The command line as people and pipes see it: transcripts of whole sessions, to the letter.

A transcript, `sessions/*.txt`, has commands behind `$ `, then what is printed on standard output, what is printed on
standard error behind `! `, and the exit code in brackets where it is not 0. `VSWITCHPY_UPDATE=1` writes them anew: read
the difference before it is committed.
"""

import os
import pathlib
import subprocess
import sys

import pytest
import workspace

pytestmark = pytest.mark.pure_python
SESSIONS = pathlib.Path(__file__).with_name("sessions")


@pytest.fixture
def environment(tmp_path):
    """A home of its own with the command on the path, and a fresh host in a state file."""
    command = tmp_path / "bin" / "vswitch"
    command.parent.mkdir()
    command.write_text(f'#!/bin/sh\nexec {sys.executable} -m vswitch "$@"\n')
    command.chmod(0o755)
    for file in SESSIONS.glob("*.yaml"):
        (tmp_path / file.name).write_text(file.read_text())
    variables = {
        "PATH": f"{command.parent}:/usr/bin:/bin",
        "PYTHONPATH": os.pathsep.join(map(str, workspace.SEARCH)),
        "HOME": str(tmp_path),
        "LANG": "C.UTF-8",
        "VSWITCH_HOST": str(tmp_path / "host.db"),
        "LD_LIBRARY_PATH": os.environ.get("LD_LIBRARY_PATH", ""),
    }
    tool = workspace.BUILD / "host" / "bin" / "vswitch-host"
    for words in (["init"], ["clock", "stop"]):  # so that ages stand still
        subprocess.run([tool, *words], env=variables, check=True, capture_output=True)
    return variables


def transcript(commands, environment, folder):
    lines = []
    for command in commands:
        done = subprocess.run(
            ["sh", "-c", command], env=environment, cwd=folder, capture_output=True, text=True, timeout=60, check=False,
            stdin=subprocess.DEVNULL,
        )  # fmt: skip
        assert "Traceback" not in done.stderr, done.stderr
        lines.append(f"$ {command}")
        lines += done.stdout.splitlines()
        lines += [f"! {line}" for line in done.stderr.splitlines()]
        if done.returncode:
            lines.append(f"[{done.returncode}]")
    return "".join(line + "\n" for line in lines)


@pytest.mark.parametrize("session", sorted(SESSIONS.glob("*.txt")), ids=lambda path: path.stem)
def test_session(session, environment, tmp_path):
    expected = session.read_text()
    commands = [line[2:] for line in expected.splitlines() if line.startswith("$ ")]
    assert commands
    found = transcript(commands, environment, tmp_path)
    if os.environ.get("VSWITCHPY_UPDATE"):
        session.write_text(found)
    assert found == expected
