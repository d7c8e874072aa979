"""What happens to processes at work when the surroundings of their host fail: no room, no permission, files that go
away or are not what they were. Each call ends with what docs/host.md says ("When the surroundings fail"), nobody
crashes, and once the surroundings are in order again, the work goes on."""

import collections
import contextlib
import io
import os
import pathlib
import resource
import shutil
import signal
import sqlite3
import stat
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from typing import Any

import pytest
import workspace
from load import PATIENCE, differences, make_host, somebody_says, start_workers

PROCESSES = 4


@pytest.fixture
def state_file(tmp_path: pathlib.Path) -> pathlib.Path:
    path = tmp_path / "host.db"
    make_host(path)
    return path


def beside(state_file: pathlib.Path, suffix: str) -> pathlib.Path:
    return state_file.with_name(state_file.name + suffix)


class Calls:
    """A process that makes one call at a time, of the two kinds: for what must be seen from one call to the next."""

    SOURCE = """
import sys
import _libvswitch as m
for line in sys.stdin:
    call, *arguments = eval(line)
    try:
        result = getattr(m, call)(*arguments)
        status = result[0] if isinstance(result, list) else result
        print(m.QEL_ReturnStatusToString(status), flush=True)
    except Exception as error:
        print(type(error).__name__ + ": " + str(error), flush=True)
"""

    def __init__(self, state_file: pathlib.Path, **options: Any) -> None:
        self.process: subprocess.Popen[str] = subprocess.Popen(
            [sys.executable, "-c", self.SOURCE], text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            env=dict(os.environ, PYTHONPATH=os.pathsep.join(workspace.SEARCH), VSWITCH_HOST=str(state_file)), **options,
        )

    def __call__(self, *call: object) -> str:
        assert self.process.stdin and self.process.stdout
        self.process.stdin.write(repr(call) + "\n")
        self.process.stdin.flush()
        return self.process.stdout.readline().rstrip("\n")

    def write(self, value: str = "1400") -> str:
        return self("VSDVS_SetGlobProp", "load", "mine", value, len(value), None, 1)

    def read(self) -> str:
        return self("VSQEL_GetSwitchInfo", "load")

    def until(self, answer: str) -> collections.Counter[str]:
        """Reads until that is the answer; what else there was. A process looks where its files are every few
        milliseconds only."""
        others: collections.Counter[str] = collections.Counter()
        deadline = time.monotonic() + PATIENCE
        while (said := self.read()) != answer:
            others[said] += 1
            assert time.monotonic() < deadline, others
        return others

    def end(self) -> None:
        self.process.communicate(timeout=PATIENCE)
        assert self.process.returncode == 0


@pytest.fixture
def process(state_file: pathlib.Path) -> Iterator[Calls]:
    process = Calls(state_file)
    assert (process.write(), process.read()) == ("QEL_OK", "QEL_OK")
    yield process
    process.end()


def removed(path: pathlib.Path) -> str:
    return f"OSError: {path}: was removed or replaced while this process had the state file open"


def is_whole(state_file: pathlib.Path) -> bool:
    with contextlib.closing(sqlite3.connect(state_file)) as database:
        return database.execute("PRAGMA integrity_check").fetchall() == [("ok",)]


def answer_of_a_fresh_process(state_file: pathlib.Path) -> str:
    fresh = Calls(state_file)
    try:
        return fresh.read()
    finally:
        fresh.end()


# ---- files that go away ---------------------------------------------------------------------------------


def test_a_removed_state_file_is_reported_once_and_then_a_fresh_host_boots(
    state_file: pathlib.Path, process: Calls
) -> None:
    state_file.unlink()
    others = process.until("QEL_NOT_FOUND")
    assert others.pop(removed(state_file)) == 1
    assert set(others) <= {"QEL_OK"}
    # The new one has what was written since, and nothing of the log that the former left.
    assert process("VSDVS_CreateVSwitch", "load", "load-id", "", 16, 1, 0, 0, 0) == "QEL_OK"
    assert process.write() == "QEL_OK"
    assert answer_of_a_fresh_process(state_file) == "QEL_OK"
    assert is_whole(state_file)
    assert stat.S_IMODE(state_file.stat().st_mode) == 0o600


def test_a_fresh_process_after_a_removal_has_a_fresh_host_whoever_is_left_of_the_former(
    state_file: pathlib.Path, process: Calls
) -> None:
    state_file.unlink()
    # The former log and its index are still there, and `process` still has them open.
    assert beside(state_file, "-wal").exists() and beside(state_file, "-shm").exists()
    assert answer_of_a_fresh_process(state_file) == "QEL_NOT_FOUND"
    assert is_whole(state_file)
    process.until("QEL_NOT_FOUND")


def test_a_removed_folder_is_made_again(tmp_path: pathlib.Path) -> None:
    state_file = tmp_path / "folder" / "host.db"
    state_file.parent.mkdir()
    make_host(state_file)
    process = Calls(state_file)
    assert process.write() == "QEL_OK"
    shutil.rmtree(state_file.parent)
    others = process.until("QEL_NOT_FOUND")
    assert others.pop(removed(state_file)) == 1
    assert state_file.exists()
    assert stat.S_IMODE(state_file.parent.stat().st_mode) == 0o700
    process.end()


def test_a_renamed_state_file_keeps_what_was_acknowledged(
    state_file: pathlib.Path, process: Calls, tmp_path: pathlib.Path
) -> None:
    assert process.write("before") == "QEL_OK"
    state_file.rename(tmp_path / "kept.db")
    process.until("QEL_NOT_FOUND")
    with contextlib.closing(sqlite3.connect(tmp_path / "kept.db")) as database:
        assert database.execute("SELECT value FROM property WHERE name = 'mine'").fetchone() == (b"before",)
    assert is_whole(tmp_path / "kept.db")


@pytest.mark.parametrize("suffix", ["-wal", "-shm"])
def test_a_removed_log_loses_nothing(state_file: pathlib.Path, suffix: str) -> None:
    """All processes end their use of the file; the last one saves what is in the log that they still have."""
    processes = [Calls(state_file) for _ in range(PROCESSES)]
    for number, each in enumerate(processes):
        assert each.write(f"value {number}") == "QEL_OK"
    beside(state_file, suffix).unlink()
    notices: collections.Counter[str] = collections.Counter()
    for each in processes:
        deadline = time.monotonic() + PATIENCE
        while (said := each.read()) == "QEL_OK":
            assert time.monotonic() < deadline
        notices[said] += 1
    assert notices == {removed(beside(state_file, suffix)): PROCESSES}
    for each in processes:
        assert each.read() == "QEL_OK"
        assert each.write("after") == "QEL_OK"
    for each in processes:
        each.end()
    assert is_whole(state_file)
    with contextlib.closing(sqlite3.connect(state_file)) as database:
        assert database.execute("SELECT value FROM property WHERE name = 'mine'").fetchone() == (b"after",)


def test_nobody_begins_a_second_log_beside_one_that_was_removed(state_file: pathlib.Path) -> None:
    first = Calls(state_file)
    assert first.write("first") == "QEL_OK"
    beside(state_file, "-wal").unlink()
    second = Calls(state_file)
    assert second.read() == (
        f"OSError: {state_file}: cannot open the state file: its log (-wal, -shm) was removed under processes that"
        " still have it open"
    )
    first.end()
    assert second.write("second") == "QEL_OK"
    second.end()
    assert is_whole(state_file)


# ---- files that are not what they were -------------------------------------------------------------------


def test_a_state_file_that_another_takes_the_place_of(
    state_file: pathlib.Path, process: Calls, tmp_path: pathlib.Path
) -> None:
    """By renaming: processes go on with the other host, whose own content is all that is in it."""
    other = tmp_path / "other.db"
    make_host(other)
    writer = Calls(other)
    assert writer("VSDVS_CreateVSwitch", "other", "other-id", "", 16, 1, 0, 0, 0) == "QEL_OK"
    writer.end()
    other.rename(state_file)
    others = process.until(removed(state_file))
    assert set(others) <= {"QEL_OK"}
    assert process("VSQEL_GetSwitchInfo", "other") == "QEL_OK"
    # What the former file's log would bring, if it were taken for that of the new one.
    with contextlib.closing(sqlite3.connect(state_file)) as database:
        assert database.execute("SELECT value FROM property WHERE name = 'mine'").fetchall() == []
    assert process.write() == "QEL_OK"
    assert is_whole(state_file)


def test_whoever_is_late_to_notice_another_state_file_does_not_touch_its_log(
    state_file: pathlib.Path, process: Calls, tmp_path: pathlib.Path
) -> None:
    """The index is memory that processes share: that of the former file would say of the new log that it was saved."""
    late = Calls(state_file)
    assert late.write("before") == "QEL_OK"
    make_host(tmp_path / "other.db")
    (tmp_path / "other.db").rename(state_file)
    process.until(removed(state_file))
    assert process.write("after") == "QEL_OK"
    late.until(removed(state_file))
    assert late.read() == "QEL_OK"
    late.end()
    with contextlib.closing(sqlite3.connect(state_file)) as database:
        assert database.execute("SELECT value FROM property WHERE name = 'mine'").fetchall() == [(b"after",)]
    assert is_whole(state_file)


@pytest.mark.parametrize("content", [b"", b"x" * 5000, os.urandom(100000)], ids=["empty", "text", "noise"])
def test_a_state_file_that_another_program_replaces(
    state_file: pathlib.Path, process: Calls, tmp_path: pathlib.Path, content: bytes
) -> None:
    good = tmp_path / "good.db"
    shutil.copy(state_file, good)
    garbage = tmp_path / "garbage"
    garbage.write_bytes(content)
    garbage.rename(state_file)
    process.until(removed(state_file))
    if content:
        assert process.read() == f"OSError: {state_file}: the state file is damaged: file is not a database"
        assert process.write() == f"OSError: {state_file}: the state file is damaged: file is not a database"
        assert state_file.read_bytes() == content, "what is damaged is left as it is"
    else:
        assert process.read() == "QEL_NOT_FOUND"  # an empty file is a fresh host
    good.rename(state_file)
    process.until("QEL_OK")
    assert process.write() == "QEL_OK"


DAMAGE = {
    "cut to half": lambda file, size: file.truncate(size // 2),
    "cut to nothing": lambda file, size: file.truncate(0),
    "overwritten": lambda file, size: (file.seek(0), file.write(b"\xee" * size)),
    "overwritten from its second page": lambda file, size: (file.seek(4096), file.write(b"\xee" * (size - 4096))),
}


@pytest.mark.parametrize("damage", DAMAGE.values(), ids=DAMAGE)
def test_a_state_file_that_is_damaged_where_it_is(
    state_file: pathlib.Path, damage: Callable[[io.FileIO, int], object]
) -> None:
    """What processes have in their memory they may still answer; whoever meets the damage says so, and somebody
    does."""
    damaged = f"{state_file}: the state file is damaged: "
    workers = start_workers(PROCESSES, state_file, seconds=PATIENCE)
    for worker in workers:
        worker.hear("working")
    with open(state_file, "r+b", buffering=0) as file:
        damage(file, os.fstat(file.fileno()).st_size)
    assert somebody_says(workers, "troubled", within=PATIENCE)
    troubles = [text for worker in workers for text in worker.end()["troubles"]]
    assert troubles != []
    assert [text for text in troubles if not text.startswith(damaged)] == []
    fresh = Calls(state_file)
    said = fresh.read()
    fresh.end()
    # An empty file is a fresh host. With the log that the processes leave nothing may be missing, either.
    assert said in ("QEL_OK", "QEL_NOT_FOUND") or said.startswith("OSError: " + damaged), said


@pytest.mark.parametrize("cut", [lambda size: 0, lambda size: size // 2], ids=["to nothing", "to half"])
def test_a_log_that_is_cut_off_is_noticed(state_file: pathlib.Path, cut: Any) -> None:
    workers = start_workers(PROCESSES, state_file, seconds=PATIENCE)
    for worker in workers:
        worker.hear("working")
    log = beside(state_file, "-wal")
    for _ in range(PATIENCE):
        os.truncate(log, cut(log.stat().st_size))
        # Nothing is missing where all of it stood in the state file at that moment.
        if somebody_says(workers, "troubled", within=1):
            break
    admitted = (
        f"{state_file}: the state file is damaged: ",
        f"{state_file}: cannot read or write the state file: disk I/O error",
    )
    troubles = [text for worker in workers for text in worker.end()["troubles"]]
    assert troubles != []
    assert [text for text in troubles if not text.startswith(admitted)] == []


def test_an_index_that_is_cut_off_loses_nothing(state_file: pathlib.Path) -> None:
    """It is memory that processes share: the system ends them."""
    process = Calls(state_file)
    assert process.write("before") == "QEL_OK"
    os.truncate(beside(state_file, "-shm"), 0)
    assert process.read() == ""
    # A sanitizer reports the signal and ends the process itself.
    assert process.process.wait(timeout=PATIENCE) == (1 if os.environ.get("VSWITCHPY_PRELOAD") else -signal.SIGBUS)
    assert answer_of_a_fresh_process(state_file) == "QEL_OK"
    with contextlib.closing(sqlite3.connect(state_file)) as database:
        assert database.execute("SELECT value FROM property WHERE name = 'mine'").fetchone() == (b"before",)


# ---- no room, no permission, no descriptors --------------------------------------------------------------


def test_no_room_for_the_files_of_a_process(state_file: pathlib.Path) -> None:
    """A limit of the size of files stands for a full disk where no file system can be mounted."""
    limit = 400_000
    worker = Calls(state_file, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
    assert worker.write() == "QEL_OK"
    large = "x" * 1_000_000
    assert worker.write(large) == "QEL_NO_SPACE_ON_DEVICE"
    assert worker.read() == "QEL_OK"
    assert worker.write("small") == "QEL_OK"
    worker.end()
    assert is_whole(state_file)


# Mounts of one process, which go with it.
MOUNTED = ["unshare", "-rm", "sh", "-c", 'mount -t tmpfs -o size=48m none "$1" || exit 77; shift; exec "$@"', "sh"]


def test_a_full_disk(tmp_path: pathlib.Path) -> None:
    """Room is made again while the processes work."""
    small = tmp_path / "small"
    small.mkdir()
    probe = subprocess.run([*MOUNTED, small, "true"], capture_output=True, text=True, timeout=PATIENCE, check=False)
    if probe.returncode != 0:
        pytest.skip("the kernel does not let this process mount file systems: " + probe.stderr)
    program = pathlib.Path(__file__).parent / "full_disk.py"
    ended = subprocess.run(
        [*MOUNTED, small, sys.executable, program, small, tmp_path], capture_output=True, text=True, timeout=120,
        check=False,
    )
    assert ended.returncode == 0, ended


def test_a_full_disk_at_the_first_call(tmp_path: pathlib.Path) -> None:
    """Nothing can be made; with room again the same process boots the host."""
    state_file = tmp_path / "host.db"
    source = """
import resource
import _libvswitch as m
soft, hard = resource.getrlimit(resource.RLIMIT_FSIZE)
resource.setrlimit(resource.RLIMIT_FSIZE, (20000, hard))
print(m.QEL_ReturnStatusToString(m.VSDVS_AddDVPort("management", "new", 1)))
resource.setrlimit(resource.RLIMIT_FSIZE, (soft, hard))
print(m.QEL_ReturnStatusToString(m.VSDVS_AddDVPort("management", "new", 1)))
"""
    outcome = workspace.run_script(source, VSWITCH_HOST=str(state_file))
    assert outcome.out.split() == ["QEL_NO_SPACE_ON_DEVICE", "QEL_OK"], outcome


@pytest.mark.skipif(os.geteuid() != 0, reason="only the superuser can become another user")
def test_permissions_that_are_taken_away(tmp_path: pathlib.Path) -> None:
    """Who has the file open goes on; who opens it then can only read, until it may write again."""
    tmp_path.chmod(0o755)
    for parent in tmp_path.parents[:2]:
        parent.chmod(0o755)
    folder = tmp_path / "folder"
    folder.mkdir()
    os.chown(folder, 12345, 12345)
    state_file = folder / "host.db"
    another = {"user": 12345, "group": 12345, "extra_groups": []}
    first = Calls(state_file, **another)
    assert first("VSDVS_CreateVSwitch", "load", "load-id", "", 16, 1, 0, 0, 0) == "QEL_OK"
    state_file.chmod(0o400)
    assert (first.write(), first.read()) == ("QEL_OK", "QEL_OK")
    second = Calls(state_file, **another)
    assert (second.write(), second.read()) == ("QEL_READ_ONLY", "QEL_OK")
    state_file.chmod(0o600)
    assert (second.write(), second.read()) == ("QEL_OK", "QEL_OK")
    for process in (first, second):
        process.end()
    assert is_whole(state_file)


@pytest.mark.skipif(
    "VSWITCHPY_PRELOAD" in os.environ, reason="a sanitizer reads objects through a pipe, which needs descriptors"
)
def test_no_descriptors_left(state_file: pathlib.Path) -> None:
    source = """
import os, resource
import _libvswitch as m
def read():
    try:
        result = m.VSQEL_GetSwitchInfo("load")
        return m.QEL_ReturnStatusToString(result[0] if isinstance(result, list) else result)
    except OSError as error:
        return str(error)
def use_up():
    taken = []
    try:
        while True:
            taken.append(os.dup(1))
    except OSError:
        return taken
resource.setrlimit(resource.RLIMIT_NOFILE, (64, 64))
taken = use_up()
print(read())
for each in taken: os.close(each)
print(read())
# With the file open, nothing more is needed.
taken = use_up()
print(read())
print(m.QEL_ReturnStatusToString(m.VSDVS_SetGlobProp("load", "large", "x" * 900000, 900000, None, 1)))
"""
    outcome = workspace.run_script(source, VSWITCH_HOST=str(state_file))
    assert outcome.code == 0, outcome
    first, *others = outcome.out.splitlines()
    assert first == (
        f"{state_file}: cannot open the state file: unable to open database file (Too many open files)"
    )
    assert others == ["QEL_OK", "QEL_OK", "QEL_OK"]


# ---- while processes are at work -------------------------------------------------------------------------


@pytest.mark.parametrize("suffix", ["", "-wal", "-shm"])
def test_removals_under_load(state_file: pathlib.Path, suffix: str) -> None:
    """Nobody crashes, each process notices, and nothing but that is said."""
    workers = start_workers(PROCESSES, state_file, seconds=PATIENCE)
    for worker in workers:
        worker.hear("working")
    beside(state_file, suffix).unlink()
    for worker in workers:
        worker.hear("troubled")
    logs = [worker.end() for worker in workers]
    admitted = {
        removed(beside(state_file, each)).removeprefix("OSError: ") for each in ("", "-wal", "-shm")
    }
    for log in logs:
        assert log["troubles"] and set(log["troubles"]) <= admitted, log["troubles"]
    if suffix:
        assert [log["surprises"] for log in logs] == [[]] * PROCESSES
        assert differences(state_file, logs) == []
    assert is_whole(state_file)
