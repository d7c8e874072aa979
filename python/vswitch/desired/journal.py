"""The journal of an apply: which host it is of, where it stands, what is in it, and who works with it."""

from __future__ import annotations

import fcntl
import functools
import hashlib
import json
import os
import secrets
import stat
import sys
import time
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from datetime import datetime
from pathlib import Path
from typing import Any

from vswitch.desired.plan import Operation, Plan
from vswitch.errors import Busy, Failed

FORMAT = 1
LAST = ("confirmed", "reverted", "finished", "rolled_back")
PATIENCE = 10.0  # seconds that a lock is waited for
_LOOK = 0.02


def now_text(after: float = 0.0) -> str:
    """The time as RFC 3339, in so many seconds."""
    seconds, rest = divmod(time.time_ns() // 1000 + int(after * 1_000_000), 1_000_000)
    return f"{_second_text(seconds)}.{rest:06}Z"


@functools.lru_cache(maxsize=4)
def _second_text(seconds: int) -> str:
    return time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(seconds))


def parsed_time(text: str) -> datetime:
    """The time of an RFC 3339 text."""
    return datetime.fromisoformat(text.replace("Z", "+00:00"))


# ---- which host -----------------------------------------------------------------------------------------------


def host_path() -> str | None:
    """The absolute path of the state file of the host in use, "host" for a real host, None for a memory host."""
    simulated = sys.modules.get("vswitch.simulated")
    if simulated is not None:
        path = str(simulated.SimulatedHost.current().path)
        return None if path == ":memory:" else os.path.abspath(path)
    named = os.environ.get("VSWITCH_HOST", "")
    if named == ":memory:":
        return None
    if named:
        return os.path.abspath(named)
    return _usual_path() if _is_simulated() else "host"


def _usual_path() -> str:
    state = os.environ.get("XDG_STATE_HOME") or os.path.expanduser("~/.local/state")
    return os.path.abspath(os.path.join(state, "vswitchpy", "host.db"))


def _is_simulated() -> bool:
    """Whether the platform libraries that are loaded are the simulated host's, beside which its tool stands."""
    try:
        with open("/proc/self/maps", encoding="utf-8", errors="replace") as maps:
            loaded = {line.split(maxsplit=5)[5].strip() for line in maps if "/libvswitch.so" in line}
    except OSError:
        return False
    return any((Path(path).parent / "bin" / "vswitch-host").exists() for path in loaded)


def folder() -> Path:
    """Where journals stand."""
    named = os.environ.get("VSWITCH_APPLY_DIR")
    if named:
        return Path(named)
    state = os.environ.get("XDG_STATE_HOME") or os.path.expanduser("~/.local/state")
    return Path(state) / "vswitchpy" / "apply"


# ---- files ----------------------------------------------------------------------------------------------------


def opened(path: Path, flags: int) -> int:
    """A file of this user's, never a link; made with mode 0600 if the flags say so."""
    descriptor = os.open(path, flags | os.O_NOFOLLOW | os.O_CLOEXEC, 0o600)
    if not stat.S_ISREG(os.fstat(descriptor).st_mode):
        os.close(descriptor)
        raise Failed(f"{path} is no regular file")
    return descriptor


@dataclass(frozen=True, slots=True)
class Line:
    """A line of a journal."""

    type: str
    members: dict[str, Any]


class Journal:
    """The files of one host. Nothing is made before `begin` or `locked`."""

    def __init__(self, host: str) -> None:
        self.host = host
        key = hashlib.sha256(host.encode(errors="surrogateescape")).hexdigest()[:16]
        self.folder = folder()
        self.path = self.folder / f"{key}.journal"
        self.last = self.folder / f"{key}.last"
        self.lock = self.folder / f"{key}.lock"
        self.guard = self.folder / f"{key}.guard"
        self._descriptor = -1

    @classmethod
    def current(cls) -> Journal | None:
        """That of the host in use; None for a memory host."""
        host = host_path()
        return None if host is None else cls(host)

    def _make_folder(self) -> None:
        self.folder.mkdir(mode=0o700, parents=True, exist_ok=True)

    @contextmanager
    def locked(self, patience: float | None = None) -> Iterator[None]:
        """Holds the lock of the host's journal. Busy if another process has it for too long (PATIENCE)."""
        self._make_folder()
        descriptor = opened(self.lock, os.O_RDWR | os.O_CREAT)
        try:
            if not self._take(descriptor, PATIENCE if patience is None else patience):
                raise Busy("another process applies changes to this host")
            yield
        finally:
            os.close(descriptor)

    @staticmethod
    def _take(descriptor: int, patience: float) -> bool:
        end = time.monotonic() + patience
        while True:
            try:
                fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
            except BlockingIOError:
                if time.monotonic() >= end:
                    return False
                time.sleep(_LOOK)
            else:
                return True

    def is_guarded(self) -> bool:
        """Whether a guard watches: it holds its file locked."""
        try:
            descriptor = opened(self.guard, os.O_RDWR)
        except FileNotFoundError:
            return False
        try:
            fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return True
        finally:
            os.close(descriptor)
        return False

    def is_locked(self) -> bool:
        """Whether a process is at work."""
        try:
            with self.locked(0):
                return False
        except Busy:
            return True

    # ---- writing --------------------------------------------------------------------------------------------------

    def begin(self, plan: Plan, confirm_within: float | None) -> str:
        """Begins the journal, on the disk; its id."""
        self._make_folder()
        name = secrets.token_hex(4)
        self._descriptor = opened(self.path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_APPEND)
        self.write(
            "begin",
            format=FORMAT,
            id=name,
            pid=os.getpid(),
            plan=plan.to_dict(),
            confirm_within=confirm_within,
            deadline=None if confirm_within is None else now_text(confirm_within),
            environment=environment(self.host),
        )
        os.fsync(self._descriptor)
        held = os.open(self.folder, os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
        try:
            os.fsync(held)
        finally:
            os.close(held)
        return name

    def resume(self) -> None:
        """Goes on with the journal that is there."""
        self._descriptor = opened(self.path, os.O_RDWR | os.O_APPEND)
        size = os.fstat(self._descriptor).st_size
        if size and os.pread(self._descriptor, 1, size - 1) != b"\n":
            os.write(self._descriptor, b"\n")

    def write(self, kind: str, **members: Any) -> None:
        """Appends a line, in one piece."""
        if len(members) == 1 and "number" in members:
            line = f'{{"type": "{kind}", "time": "{now_text()}", "number": {members["number"]}}}'
        else:
            line = json.dumps({"type": kind, "time": now_text(), **members}, ensure_ascii=False, default=str)
        data = (line + "\n").encode(errors="surrogateescape")
        while data:
            data = data[os.write(self._descriptor, data) :]

    def end(self, kind: str, **members: Any) -> None:
        """Writes the last line and puts the journal away."""
        self.write(kind, **members)
        self.close()
        os.replace(self.path, self.last)
        self.guard.unlink(missing_ok=True)

    def close(self) -> None:
        """Closes the file."""
        if self._descriptor >= 0:
            os.close(self._descriptor)
            self._descriptor = -1

    # ---- reading --------------------------------------------------------------------------------------------------

    def read(self, path: Path | None = None) -> Record | None:
        """What the journal says; None if there is none."""
        try:
            descriptor = opened(path or self.path, os.O_RDONLY)
        except FileNotFoundError:
            return None
        with open(descriptor, "rb") as file:
            data = file.read()
        lines = []
        for text in data.split(b"\n"):
            try:
                members = json.loads(text)
                lines.append(Line(members["type"], members))
            except (ValueError, KeyError, TypeError):
                continue  # torn when its writer was killed
        return Record(tuple(lines)) if lines and lines[0].type == "begin" else None


@dataclass(frozen=True, slots=True)
class Record:
    """A journal as it was read."""

    lines: tuple[Line, ...]

    @property
    def first(self) -> dict[str, Any]:
        """The members of the first line."""
        return self.lines[0].members

    @property
    def id(self) -> str:
        """The id of the apply."""
        return str(self.first["id"])

    def find(self, kind: str) -> dict[str, Any] | None:
        """The members of the last line of a type."""
        return next((line.members for line in reversed(self.lines) if line.type == kind), None)

    @property
    def is_over(self) -> bool:
        """Whether it has a last line."""
        return self.lines[-1].type in LAST

    @property
    def is_waiting(self) -> bool:
        """Whether everything was applied, to be confirmed."""
        return self.find("waiting") is not None

    @property
    def is_reverting(self) -> bool:
        """Whether what was applied is being undone."""
        return self.is_waiting and self.find("undoing") is not None

    @property
    def plan(self) -> Plan:
        """The plan."""
        return Plan.from_dict(self.first["plan"])

    def begun(self) -> tuple[Operation, ...]:
        """The operations that were begun or made."""
        numbers = {line.members["number"] for line in self.lines if line.type in ("doing", "done")}
        return tuple(operation for operation in self.plan if operation.number in numbers)

    def deadline(self) -> datetime | None:
        """When it is reverted unless it is confirmed."""
        text = (self.find("waiting") or self.first).get("deadline")
        return parsed_time(text) if text else None


def environment(host: str) -> dict[str, str]:
    """What another process needs to work on the same host."""
    wanted = ("LD_LIBRARY_PATH",)
    kept = {name: value for name, value in os.environ.items() if name.startswith("VSWITCH_") or name in wanted}
    if host != "host":
        kept["VSWITCH_HOST"] = host
    kept["VSWITCH_APPLY_DIR"] = os.path.abspath(folder())
    return kept
