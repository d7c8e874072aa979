"""The guard: a process of its own that reverts changes which nobody confirms in time.

Usage: python3 -m vswitch.desired.guard JOURNAL

It outlives the process that applies, and its terminal. It ends when the journal has its last line.
"""

from __future__ import annotations

import fcntl
import os
import subprocess
import sys
import time
from datetime import datetime, timezone
from pathlib import Path

from vswitch.desired.journal import Journal, Record, opened, parsed_time
from vswitch.errors import Busy, Failed

READY = b"ready\n"
_LOOK = 0.05


def start(journal: Journal) -> None:
    """Starts the guard of a journal that was begun, and waits until it watches. Failed if it does not."""
    record = journal.read()
    assert record is not None
    root = str(Path(__file__).resolve().parents[2])
    kept = {name: value for name, value in os.environ.items() if not name.startswith("VSWITCH_")}
    paths = [root, *(path for path in kept.get("PYTHONPATH", "").split(os.pathsep) if path)]
    made = {**kept, **record.first["environment"], "PYTHONPATH": os.pathsep.join(paths)}
    process = subprocess.Popen(
        [sys.executable, "-m", "vswitch.desired.guard", str(journal.path)],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        env=made,
        cwd="/",
        start_new_session=True,
    )
    assert process.stdout is not None
    with process.stdout as answer:
        said = answer.readline()
    process.wait()
    if said != READY:
        raise Failed("the guard, which would revert the changes, did not start")


def main(path: str) -> int:
    """The guard itself."""
    wanted = Path(path)
    journal = Journal.current()
    if journal is None or journal.path != wanted:
        return 1
    descriptor = opened(journal.guard, os.O_RDWR | os.O_CREAT)
    fcntl.flock(descriptor, fcntl.LOCK_EX)
    record = journal.read()
    if record is None or record.is_over:
        return 1
    # The process that applies waits for this one; what watches is its child, which no process has to collect.
    if os.fork():
        os._exit(0)
    os.write(1, READY)
    null = os.open(os.devnull, os.O_RDWR)
    for number in (0, 1, 2):
        os.dup2(null, number)
    _Watch(journal, record).run()
    return 0


class _Watch:
    """Waits for the last line, or for the deadline by the monotonic clock."""

    def __init__(self, journal: Journal, record: Record) -> None:
        self.journal = journal
        self.id = record.id
        self.seconds = float(record.first["confirm_within"])
        self.looked = time.monotonic()
        self.deadline = self.looked + self.seconds
        self.is_waiting = False

    def run(self) -> None:
        """Until there is nothing to guard any more."""
        while True:
            record = self.journal.read()
            if record is None or record.id != self.id or record.is_over:
                return
            self.note_waiting(record)
            now = self.looked = time.monotonic()
            if now >= self.deadline and self.revert():
                return
            time.sleep(min(_LOOK, max(self.deadline - now, 0.005)))

    def note_waiting(self, record: Record) -> None:
        """Counts anew from the end of the apply. The line was written since the last look, so that a clock that was set
        meanwhile makes no more difference than that."""
        line = record.find("waiting")
        if line is None or self.is_waiting:
            return
        now = time.monotonic()
        age = (datetime.now(timezone.utc) - parsed_time(line["time"])).total_seconds()
        self.deadline = now - min(max(age, 0.0), now - self.looked) + self.seconds
        self.is_waiting = True

    def revert(self) -> bool:
        """Reverts if nobody is at work; whether there is nothing left to do."""
        from vswitch.desired.apply import revert_locked

        try:
            with self.journal.locked(0):
                record = self.journal.read()
                if record is None or record.id != self.id or record.is_over:
                    return True
                if record.is_waiting and not self.is_waiting:
                    return False
                revert_locked(self.journal, record.begun())
                return True
        except Busy:
            return False


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
