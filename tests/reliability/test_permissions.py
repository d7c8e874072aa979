"""What the host makes is its owner's only, and what somebody else has put in its way (links, pipes, files of other
users, hostile databases and descriptions) leads it neither to other files nor to run anything."""

import contextlib
import json
import os
import pathlib
import resource
import sqlite3
import stat
import subprocess
import sys
from collections.abc import Callable
from typing import Any

import pytest
import workspace

TOOL = workspace.BUILD / "host" / "bin" / "vswitch-host"
ANOTHER = 12345
superuser = pytest.mark.skipif(os.geteuid() != 0, reason="only the superuser can make files of other users")

CALL = """
import _libvswitch as m
try:
    print(m.QEL_ReturnStatusToString(m.VSDVS_AddDVPort("management", "probe", 1)))
    m.VSDVS_RemoveDVPort("management", "probe")
except Exception as error:
    print(f"{type(error).__name__}: {error}")
"""


def call(state_file: str | pathlib.Path, user: int | None = None, **environment: str) -> str:
    """What a writing call of a fresh process ends with."""
    ended = subprocess.run(
        [sys.executable, "-c", CALL], capture_output=True, text=True, timeout=60, check=False, user=user,
        env=dict(os.environ, PYTHONPATH=os.pathsep.join(workspace.SEARCH), VSWITCH_HOST=str(state_file), **environment),
    )
    assert ended.returncode == 0, ended
    return ended.stdout.strip()


# Seconds of the processor for what would otherwise take minutes, whatever else the machine does.
AT_ONCE = 20


def processor_seconds() -> float:
    """What the processes that were started have used."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def tool(*arguments: object, state_file: str | pathlib.Path, **options: Any) -> subprocess.CompletedProcess[str]:
    return subprocess.run(
        [TOOL, "--host", str(state_file), *map(str, arguments)], capture_output=True, text=True, timeout=60,
        check=False, **options,
    )


def refusal(*arguments: object, state_file: str | pathlib.Path) -> str:
    ended = tool(*arguments, state_file=state_file)
    assert (ended.returncode, ended.stdout) == (1, ""), ended
    return str(ended.stderr).removeprefix("vswitch-host: ").rstrip("\n")


@pytest.fixture
def state_file(tmp_path: pathlib.Path) -> pathlib.Path:
    path = tmp_path / "host.db"
    assert tool("init", state_file=path).returncode == 0
    return path


@pytest.fixture
def shared(tmp_path: pathlib.Path) -> pathlib.Path:
    """A folder in which anybody may make files, and only their owners remove them."""
    folder = tmp_path / "shared"
    folder.mkdir()
    folder.chmod(0o1777)
    return folder


def mode(path: pathlib.Path) -> int:
    return stat.S_IMODE(path.stat().st_mode)


def beside(path: pathlib.Path, suffix: str) -> pathlib.Path:
    return path.with_name(path.name + suffix)


# ---- what the host makes ---------------------------------------------------------------------------------


@pytest.mark.parametrize("mask", [0o000, 0o022, 0o777])
def test_everything_is_made_for_its_owner_only(tmp_path: pathlib.Path, mask: int) -> None:
    folder = tmp_path / "a" / "b"
    source = f"""
import os, sys, pathlib
os.umask({mask})
import _libvswitch as m
folder = pathlib.Path(sys.argv[1])
assert m.VSDVS_AddDVPort("management", "new", 1) == 0
print(*(oct(path.stat().st_mode & 0o777) for path in (folder.parent, folder, *sorted(folder.iterdir()))))
print(*sorted(path.name for path in folder.iterdir()))
"""
    trace = tmp_path / "trace"
    outcome = workspace.run_script(
        source, str(folder), VSWITCH_HOST=str(folder / "host.db"), VSWITCH_HOST_TRACE=str(trace)
    )
    assert outcome.code == 0, outcome
    assert outcome.out.splitlines() == ["0o700 0o700 0o600 0o600 0o600", "host.db host.db-shm host.db-wal"]
    assert mode(trace) == 0o600
    saved = folder / "saved"
    assert tool("snapshot", saved, state_file=folder / "host.db", umask=mask).returncode == 0
    assert mode(saved) == 0o600


# ---- what stands in its way ------------------------------------------------------------------------------


def test_a_state_file_that_is_a_link(state_file: pathlib.Path, shared: pathlib.Path) -> None:
    planted = shared / "host.db"
    planted.symlink_to(state_file)
    before = state_file.read_bytes()
    assert call(planted) == f"OSError: {planted}: cannot open the state file: it is a symbolic link"
    assert refusal("show", state_file=planted) == f"{planted}: cannot open the state file: it is a symbolic link"
    assert state_file.read_bytes() == before
    assert not beside(state_file, "-wal").exists()


def test_a_link_to_nowhere_makes_nothing_there(tmp_path: pathlib.Path, shared: pathlib.Path) -> None:
    planted = shared / "host.db"
    planted.symlink_to(tmp_path / "elsewhere")
    assert call(planted) == f"OSError: {planted}: cannot open the state file: it is a symbolic link"
    assert not (tmp_path / "elsewhere").exists()


@pytest.mark.parametrize("suffix", ["-wal", "-shm", "-journal"])
def test_links_beside_the_state_file(state_file: pathlib.Path, tmp_path: pathlib.Path, suffix: str) -> None:
    target = tmp_path / "precious"
    target.write_bytes(b"precious")
    planted = beside(state_file, suffix)
    planted.symlink_to(target)
    assert call(state_file) == f"OSError: {planted}: cannot open the state file: it is a symbolic link"
    assert target.read_bytes() == b"precious"


def test_a_second_name_of_a_file(state_file: pathlib.Path, shared: pathlib.Path) -> None:
    planted = shared / "host.db"
    os.link(state_file, planted)
    assert call(planted) == f"OSError: {planted}: cannot open the state file: it has a second name (a hard link)"


@pytest.mark.parametrize(
    ("make", "reason"),
    [
        (os.mkdir, "it is a folder"),
        (os.mkfifo, "it is not a regular file"),
    ],
    ids=["folder", "pipe"],
)
@pytest.mark.parametrize("suffix", ["", "-wal", "-shm", "-journal"])
def test_what_is_no_file_ends_calls_at_once(
    state_file: pathlib.Path, make: Callable[[pathlib.Path], object], reason: str, suffix: str
) -> None:
    planted = beside(state_file, suffix)
    planted.unlink(missing_ok=True)
    make(planted)
    assert call(state_file) == f"OSError: {planted}: cannot open the state file: {reason}"


@pytest.mark.parametrize("device", ["/dev/null", "/dev/zero", "/dev/full", "/dev/tty"])
def test_devices_are_no_state_files(device: str) -> None:
    assert call(device) == f"OSError: {device}: cannot open the state file: it is not a regular file"
    assert refusal("init", state_file=device) == f"{device}: cannot open the state file: it is not a regular file"


@superuser
def test_a_state_file_of_another_user(state_file: pathlib.Path, tmp_path: pathlib.Path) -> None:
    for folder in (tmp_path, *tmp_path.parents[:2]):
        folder.chmod(0o755)
    os.chown(state_file, ANOTHER + 1, ANOTHER + 1)
    state_file.chmod(0o666)
    assert call(state_file, user=ANOTHER) == (
        f"OSError: {state_file}: cannot open the state file: it belongs to another user"
    )
    # The superuser may use any.
    assert call(state_file) == "QEL_OK"
    assert state_file.stat().st_uid == ANOTHER + 1


@superuser
@pytest.mark.parametrize("suffix", ["-wal", "-shm", "-journal"])
def test_a_log_that_another_user_has_planted(state_file: pathlib.Path, tmp_path: pathlib.Path, suffix: str) -> None:
    for folder in (tmp_path, *tmp_path.parents[:2]):
        folder.chmod(0o755)
    tmp_path.chmod(0o1777)
    os.chown(state_file, ANOTHER, ANOTHER)
    planted = beside(state_file, suffix)
    planted.write_bytes(b"planted")
    planted.chmod(0o666)
    os.chown(planted, ANOTHER + 1, ANOTHER + 1)
    assert call(state_file, user=ANOTHER) == (
        f"OSError: {planted}: cannot open the state file: it belongs to another user"
    )
    # Nor does the superuser take it for the owner's.
    assert call(state_file) == (
        f"OSError: {planted}: cannot open the state file: it belongs to another user than the state file"
    )
    assert planted.read_bytes() == b"planted"


# ---- traces and snapshots --------------------------------------------------------------------------------


def traced(state_file: pathlib.Path, trace: str | pathlib.Path) -> str:
    """What a process says about a trace; the call itself always works."""
    ended = subprocess.run(
        [sys.executable, "-c", CALL], capture_output=True, text=True, timeout=60, check=False,
        env=dict(
            os.environ, PYTHONPATH=os.pathsep.join(workspace.SEARCH), VSWITCH_HOST=str(state_file),
            VSWITCH_HOST_TRACE=str(trace),
        ),
    )
    assert (ended.returncode, ended.stdout.strip()) == (0, "QEL_OK"), ended
    return ended.stderr.strip()


def test_a_trace_goes_to_a_file_of_ones_own_only(state_file: pathlib.Path, tmp_path: pathlib.Path) -> None:
    target = tmp_path / "precious"
    target.write_bytes(b"precious")
    link = tmp_path / "link"
    link.symlink_to(target)
    second_name = tmp_path / "second"
    os.link(target, second_name)
    pipe = tmp_path / "pipe"
    os.mkfifo(pipe)
    complaint = "vswitch host: {}: cannot open the trace: {}"
    assert traced(state_file, link) == complaint.format(link, "Too many levels of symbolic links")
    assert traced(state_file, second_name) == complaint.format(second_name, "it has a second name (a hard link)")
    # Without a reader, and with one.
    assert traced(state_file, pipe) == complaint.format(pipe, "No such device or address")
    reader = os.open(pipe, os.O_RDONLY | os.O_NONBLOCK)
    assert traced(state_file, pipe) == complaint.format(pipe, "it is not a regular file")
    os.close(reader)
    assert traced(state_file, "/dev/null") == complaint.format("/dev/null", "it is not a regular file")
    assert target.read_bytes() == b"precious"


@superuser
def test_a_trace_is_not_appended_to_a_file_of_another_user(state_file: pathlib.Path, tmp_path: pathlib.Path) -> None:
    trace = tmp_path / "trace"
    trace.write_bytes(b"theirs")
    os.chown(trace, ANOTHER, ANOTHER)
    assert traced(state_file, trace).endswith("cannot open the trace: it belongs to another user")
    assert trace.read_bytes() == b"theirs"


def test_a_snapshot_does_not_go_through_a_link(
    state_file: pathlib.Path, shared: pathlib.Path, tmp_path: pathlib.Path
) -> None:
    for name, target in (("to a file", tmp_path / "precious"), ("to nowhere", tmp_path / "elsewhere")):
        (shared / name).symlink_to(target)
    (tmp_path / "precious").write_bytes(b"precious")
    for arguments in ((), ("--force",)):
        dangling = shared / "to nowhere"
        assert refusal("snapshot", dangling, *arguments, state_file=state_file) == (
            f"{dangling}: cannot write the snapshot: it is a symbolic link"
        )
    link = shared / "to a file"
    assert refusal("snapshot", link, "--force", state_file=state_file) == (
        f"{link}: cannot write the snapshot: it is a symbolic link"
    )
    assert (tmp_path / "precious").read_bytes() == b"precious"
    assert not (tmp_path / "elsewhere").exists()


def test_a_snapshot_does_not_take_the_place_of_its_own_state_file(state_file: pathlib.Path) -> None:
    assert refusal("snapshot", state_file, "--force", state_file=state_file) == (
        f"{state_file}: cannot write the snapshot: it is the state file itself"
    )


def test_a_snapshot_is_restored_without_a_trace_beside_it(state_file: pathlib.Path, tmp_path: pathlib.Path) -> None:
    folder = tmp_path / "theirs"
    folder.mkdir()
    saved = folder / "saved"
    assert tool("snapshot", saved, state_file=state_file).returncode == 0
    with contextlib.closing(sqlite3.connect(saved)) as database:
        database.execute("PRAGMA journal_mode = WAL")
    folder.chmod(0o555)
    before = saved.read_bytes()
    assert tool("restore", saved, state_file=state_file).returncode == 0
    assert [path.name for path in folder.iterdir()] == ["saved"]
    assert saved.read_bytes() == before
    pipe = tmp_path / "pipe"
    os.mkfifo(pipe)
    assert refusal("restore", pipe, state_file=state_file) == (
        f"{pipe}: cannot read the snapshot: it is not a regular file"
    )


# ---- hostile databases -----------------------------------------------------------------------------------

FOREIGN = "the state file is damaged: its tables are not those of a host"
HOSTILE = {
    "a trigger on a table": "CREATE TRIGGER t AFTER INSERT ON port BEGIN DELETE FROM vswitch; END",
    "a view in place of a table": "ALTER TABLE port RENAME TO real_port; CREATE VIEW port AS SELECT * FROM real_port",
    "a view with a trigger":
        "ALTER TABLE fault RENAME TO real; CREATE VIEW fault AS SELECT * FROM real;"
        "CREATE TRIGGER t INSTEAD OF INSERT ON fault BEGIN DELETE FROM vswitch; END",
    "a computed column": "ALTER TABLE port ADD COLUMN c TEXT AS (hex(zeroblob(100000000)))",
    "an index on an expression": "CREATE INDEX i ON port (abs(id))",
    "a virtual table": "CREATE VIRTUAL TABLE v USING fts5(text)",
    "a further table": "CREATE TABLE further (x)",
    "a table less": "DROP TABLE port_counter",
    "a check that is another": "PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = replace(sql,"
                               " 'boot_count INTEGER NOT NULL', 'boot_count INTEGER CHECK(1)') WHERE name = 'host'",
    "5000 tables": "".join(f"CREATE TABLE t{number} (x);" for number in range(5000)),
}


@pytest.mark.parametrize("sql", HOSTILE.values(), ids=HOSTILE)
def test_a_state_file_with_other_tables_is_not_used(state_file: pathlib.Path, tmp_path: pathlib.Path, sql: str) -> None:
    with contextlib.closing(sqlite3.connect(state_file)) as database:
        database.executescript("PRAGMA journal_mode = DELETE; PRAGMA synchronous = OFF; BEGIN;" + sql + ";COMMIT")
    before = state_file.read_bytes()
    used = processor_seconds()
    assert call(state_file) == f"OSError: {state_file}: {FOREIGN}"
    assert processor_seconds() - used < AT_ONCE
    assert state_file.read_bytes() == before
    # Neither is it taken as a snapshot.
    good = tmp_path / "good.db"
    assert tool("init", state_file=good).returncode == 0
    assert refusal("restore", state_file, state_file=good) == f"{state_file}: {FOREIGN}"
    assert call(good) == "QEL_OK"


def test_a_schema_that_is_rubbish_is_damage(state_file: pathlib.Path) -> None:
    with contextlib.closing(sqlite3.connect(state_file)) as database:
        database.executescript(
            "PRAGMA journal_mode = DELETE; PRAGMA writable_schema = ON;"
            "UPDATE sqlite_schema SET sql = 'CREATE TABLE port AS SELECT load_extension(1)' WHERE name = 'port'"
        )
    said = call(state_file)
    assert said.startswith(f"OSError: {state_file}: the state file is damaged: "), said


# ---- hostile descriptions --------------------------------------------------------------------------------


def description_refusal(tmp_path: pathlib.Path, text: str | bytes) -> str:
    description = tmp_path / "init.json"
    description.write_bytes(text if isinstance(text, bytes) else text.encode())
    state_file = tmp_path / "new.db"
    said = call(state_file, VSWITCH_HOST_INIT=str(description))
    start = f"RuntimeError: boot description {description}: "
    assert said.startswith(start), said[:500]
    assert len(said) < 2000
    # The tool says the same of it.
    assert refusal("init", description, state_file=tmp_path / "another.db") == said.removeprefix("RuntimeError: ")
    return said.removeprefix(start)


NESTED = 1_000_000


@pytest.mark.parametrize(
    ("text", "message"),
    [
        ("[" * NESTED + "]" * NESTED, "values stand more than 32 deep in each other"),
        ('{"a":' * NESTED + "1" + "}" * NESTED, "values stand more than 32 deep in each other"),
        ('{"format": 1, "format": 1}', 'an object has two members "format"'),
        ('{"format": 1, "physical_nics": [{"name": "a", "name": "b"}]}', 'an object has two members "name"'),
        ('{"format": 1e999}', "number overflow"),
        ('{"format": ' + "9" * 100000 + "}", "number overflow"),
        ('{"format": 18446744073709551616}', "format: must be 1"),
        ('{"format": 1, "' + "x" * 100000 + "\n", "parse error"),
        ('{"format": 1, "stopped_clock": 9223372036854775808}', "stopped_clock: must be a number from 0 to"),
        (b"\xff\xfe{", "parse error"),
        ("", "parse error"),
        (" " * (100 << 20), "cannot read it: it is larger than 67108864 bytes"),
    ],
    ids=lambda value: value[:24] if isinstance(value, str) else None,
)
def test_a_hostile_description_is_refused_at_once(tmp_path: pathlib.Path, text: str, message: str) -> None:
    used = processor_seconds()
    assert message in description_refusal(tmp_path, text)
    assert processor_seconds() - used < AT_ONCE


@pytest.mark.parametrize("path", ["/dev/zero", "/dev/null", "{folder}", "{pipe}"])
def test_a_description_is_a_file(tmp_path: pathlib.Path, path: str) -> None:
    os.mkfifo(tmp_path / "pipe")
    path = path.format(folder=tmp_path, pipe=tmp_path / "pipe")
    said = call(tmp_path / "new.db", VSWITCH_HOST_INIT=path)
    assert said == f"RuntimeError: boot description {path}: cannot read it: it is not a regular file"


def test_a_description_may_be_reached_by_a_link(tmp_path: pathlib.Path) -> None:
    """It is only read: a link leads to nothing that its reader could not read anyway."""
    (tmp_path / "init.json").write_text(json.dumps({"format": 1, "switches": []}))
    (tmp_path / "link.json").symlink_to(tmp_path / "init.json")
    assert call(tmp_path / "new.db", VSWITCH_HOST_INIT=str(tmp_path / "link.json")) == "QEL_NOT_FOUND"
