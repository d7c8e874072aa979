"""The command line as people and pipes see it: transcripts of whole sessions, to the letter.

A transcript, `sessions/*.txt`, has commands behind `$ `, then what is printed on standard output, what is printed on
standard error behind `! `, and the exit code in brackets where it is not 0. Those in `sessions/terminal` are what a
terminal of 100 columns gets: escape sequences begin with `\\e`, and what lasts or is made anew each time is left out.
`VSWITCHPY_UPDATE=1` writes them anew: read the difference before it is committed.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
from collections.abc import Iterable, Iterator

import pytest
import terminal
import workspace

pytestmark = pytest.mark.pure_python
SESSIONS = pathlib.Path(__file__).with_name("sessions")


def stem(path: pathlib.Path) -> str:
    return path.stem


@pytest.fixture
def environment(tmp_path: pathlib.Path) -> dict[str, str]:
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
    description = json.loads((workspace.SOURCE / "platform" / "default_host.json").read_text())
    description["stopped_clock"] = 1700000000 * 1000000  # so that ages stand still
    (tmp_path / "description.json").write_text(json.dumps(description))
    tool = workspace.BUILD / "host" / "bin" / "vswitch-host"
    subprocess.run([tool, "init", tmp_path / "description.json"], env=variables, check=True, capture_output=True)
    return variables


def transcript(commands: Iterable[str], environment: dict[str, str], folder: pathlib.Path) -> str:
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


@pytest.mark.parametrize("session", sorted(SESSIONS.glob("*.txt")), ids=stem)
def test_session(session: pathlib.Path, environment: dict[str, str], tmp_path: pathlib.Path) -> None:
    expected = session.read_text()
    commands = [line[2:] for line in expected.splitlines() if line.startswith("$ ")]
    assert commands
    found = transcript(commands, environment, tmp_path)
    if os.environ.get("VSWITCHPY_UPDATE"):
        session.write_text(found)
    assert found == expected


# ---- on a terminal ---------------------------------------------------------------------------------------------------

# What is not the same each time: the progress of an apply, seconds, names of applies, times.
CHANGING = (
    (re.compile(r"\\e\[\?25l.*?\\e\[\?25h(?:\r|\\e\[1A|\\e\[2K)*", re.DOTALL), "(progress)"),
    (re.compile(r"in [0-9.]+ s\b"), "in S s"),
    (re.compile(r"20[0-9-]+T[0-9:.]+Z"), "TIME"),
    (re.compile(r"\b[0-9a-f]{8}\b(?!-)"), "ID"),
)


def on_terminal(command: str, environment: dict[str, str], folder: pathlib.Path) -> tuple[str, int]:
    """What a terminal gets of a command, and the exit code."""
    variables = {**environment, "TERM": "xterm", "COLUMNS": "100"}
    text, code = terminal.on_terminal(["sh", "-c", command], variables, folder)
    text = text.replace("\x1b", "\\e")
    for pattern, replacement in CHANGING:
        text = pattern.sub(replacement, text)
    return text, code


@pytest.mark.parametrize("session", sorted(SESSIONS.glob("terminal/*.txt")), ids=stem)
def test_session_on_a_terminal(session: pathlib.Path, environment: dict[str, str], tmp_path: pathlib.Path) -> None:
    expected = session.read_text()
    found = ""
    for command in [line[2:] for line in expected.splitlines() if line.startswith("$ ")]:
        text, code = on_terminal(command, environment, tmp_path)
        assert "Traceback" not in text, text
        lines = [line.rstrip() for line in text.splitlines()]
        found += "".join(f"{line}\n" for line in (f"$ {command}", *lines, *([f"[{code}]"] if code else [])))
    if os.environ.get("VSWITCHPY_UPDATE"):
        session.write_text(found)
    assert found == expected


# ---- every verb, every way -------------------------------------------------------------------------------------------


def verbs() -> Iterator[str]:
    """All verbs, as words."""
    from vswitch.cli.grammar import VERBS

    for name, place in VERBS.items():
        yield from [f"{name} {inner}" for inner in place[1]] if isinstance(place, tuple) else [name]


def used(lines: Iterable[str]) -> set[str]:
    """The verbs that commands use."""
    found = set()
    for line in lines:
        words = [word for word in line.split() if not word.startswith("-")]
        for at, word in enumerate(words):
            if word == "vswitch":
                found |= {" ".join(words[at + 1 : at + 2]), " ".join(words[at + 1 : at + 3])}
    return found


@pytest.mark.same_process
def test_every_verb_is_seen_on_a_terminal_in_a_pipe_and_in_json() -> None:
    piped = [line for path in SESSIONS.glob("*.txt") for line in path.read_text().splitlines() if line[:2] == "$ "]
    manual = (workspace.SOURCE / "docs/manual/objects/command_line.rst").read_text().splitlines()
    seen = {
        "on a terminal": used(
            line
            for path in SESSIONS.glob("terminal/*.txt")
            for line in path.read_text().splitlines()
            if line.startswith("$ ")
        ),
        "in a pipe": used([*(line for line in piped if "--json" not in line), *(one.strip() for one in manual)]),
        "in JSON": used(line for line in piped if "--json" in line),
    }
    # One serves until it is interrupted (test_terminal.py), one needs frames through simulated hosts
    # (test_rehearse.py).
    for way, found in seen.items():
        assert set(verbs()) - found == {"exporter", "rehearse"}, way


@pytest.mark.same_process
def test_every_exit_code_is_seen() -> None:
    text = "".join(path.read_text() for path in SESSIONS.rglob("*.txt"))
    assert set(re.findall(r"^\[([0-9]+)\]$", text, re.MULTILINE)) == {"1", "2", "3", "4"}
