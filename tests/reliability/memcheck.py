"""Runs a program under valgrind's memcheck and tells what it reports of this project's libraries from the rest."""

import dataclasses
import os
import pathlib
import re
import subprocess
import xml.etree.ElementTree as ElementTree
from typing import Any

OURS = re.compile(r"/(libvswitchpy|_records[^/]*|libvswitch|libdvs|libtlklibs)\.so$")
INTERPRETER = re.compile(r"/python3[^/]*$")
# What is not looked into: ctypes does what a script tells it, and loses memory of its own; the loader compares words at
# a time, beyond the end of a path.
OTHERS = re.compile(r"/_ctypes\.[^/]*\.so$|/libffi\.so[^/]*$|/ld-linux[^/]*$")


@dataclasses.dataclass
class Frame:
    function: str
    library: str
    place: str

    def __str__(self) -> str:
        return f"{self.function or '?'} ({self.place or self.library})"


@dataclasses.dataclass(repr=False)
class Report:
    kind: str
    what: str
    # Of the access, or of the allocation that was lost; innermost first.
    stack: list[Frame]

    def __repr__(self) -> str:
        return "\n    ".join([f"{self.kind}: {self.what}", *map(str, self.stack)])

    def is_loss(self) -> bool:
        return self.kind.startswith("Leak_")

    def function(self) -> str:
        """The innermost of ours."""
        return next((frame.function for frame in self.stack if OURS.search(frame.library)), "")

    def counts(self) -> bool:
        """By the innermost frame that is not in one of the system's libraries. In the interpreter everything counts: it
        meets what was freed too early or referenced too often, and has nothing to report by itself."""
        for frame in self.stack:
            if OURS.search(frame.library) or INTERPRETER.search(frame.library):
                return True
            if OTHERS.search(frame.library):
                return False
        return True


def _report(error: ElementTree.Element) -> Report:
    frames = [
        Frame(
            frame.findtext("fn", ""),
            frame.findtext("obj", ""),
            f"{frame.findtext('file')}:{frame.findtext('line')}" if frame.find("line") is not None else "",
        )
        for frame in error.findall("stack[1]/frame")
    ]
    return Report(error.findtext("kind", ""), error.findtext("what") or error.findtext("xwhat/text") or "", frames)


def run(command: list[Any], folder: pathlib.Path, **environment: str) -> list[Report]:
    """What valgrind has to say of a program, which has to end well."""
    log = folder / "memcheck.xml"
    outcome = subprocess.run(
        ["valgrind", "--xml=yes", f"--xml-file={log}", "--leak-check=full", "--show-leak-kinds=definite",
         "--errors-for-leak-kinds=definite", "--num-callers=50", "--error-limit=no", *map(str, command)],
        # Every object of the interpreter in a block of its own.
        env=dict(os.environ, PYTHONMALLOC="malloc", **environment),
        capture_output=True, text=True, check=False,
    )
    assert outcome.returncode == 0, outcome.stderr[-2000:]
    # Complete, or else no XML.
    return [_report(error) for error in ElementTree.parse(log).getroot().findall("error")]
