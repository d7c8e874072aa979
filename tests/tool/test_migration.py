"""State files of the former format: the first process that may write one makes it one of this format.

`format_2.db.gz` was made by a host of format 2 and is committed as it was: counters of all kinds, learned addresses and
addresses by hand, a membership whose client has left, mirror sessions, a LAG, a fault, a switch in save and restore,
and a port whose number must not be used again. `format_2.json` is what that host exported from it."""

import contextlib
import gzip
import json
import os
import pathlib
import signal
import sqlite3
import subprocess
import sys
from typing import Any

import pytest
from workspace import BUILD, SEARCH

HERE = pathlib.Path(__file__).parent
TOOL = BUILD / "host" / "bin" / "vswitch-host"


def tool(file: pathlib.Path, *arguments: object) -> subprocess.CompletedProcess[str]:
    environment = dict(os.environ, VSWITCH_HOST=str(file))
    return subprocess.run(
        [TOOL, *map(str, arguments)], env=environment, capture_output=True, text=True, timeout=60, check=False
    )


def exported(file: pathlib.Path) -> Any:
    process = tool(file, "export")
    assert process.returncode == 0, process
    return json.loads(process.stdout)


# What the former format did not have, with the values that it gets.
NEW_OF_LAGS = {"mode": "fixed", "fast": False, "hash": "l2+3", "system_priority": 32768, "max_active": 32,
               "fallback": False}


def expected() -> Any:
    description = json.loads((HERE / "format_2.json").read_text())
    for nic in description["physical_nics"]:
        nic["segment"] = ""
    for lag in (lag for switch in description["switches"] for lag in switch["lags"]):
        lag.update(NEW_OF_LAGS)
    return description


def rows(file: pathlib.Path, sql: str) -> list[Any]:
    with contextlib.closing(sqlite3.connect(file)) as database:
        return database.execute(sql).fetchall()


@pytest.fixture
def file(tmp_path: pathlib.Path) -> pathlib.Path:
    state = tmp_path / "host.db"
    state.write_bytes(gzip.decompress((HERE / "format_2.db.gz").read_bytes()))
    return state


def test_nothing_of_the_configuration_is_lost(file: pathlib.Path) -> None:
    assert exported(file) == expected()
    assert rows(file, "PRAGMA user_version") == [(3,)]
    assert rows(file, "PRAGMA integrity_check") == [("ok",)]
    assert rows(file, "PRAGMA foreign_key_check") == []
    assert exported(file) == expected()  # and again, from what is one of this format now


ASK = """
import libvswitch as vs
from libvswitch import check
info = vs.VSMACLearningSwitchInfo()
check(vs.VSQEL_GetSwitchMACLearningInfo("sw", info))
print(info.numMACsLearned, info.teamNumMACsLearned, info.teamAllowedPktsWithPortLimit)
stats = vs.VSPMACLearningStats()
check(vs.VSQEL_GetPortMACLearningStats("sw", "a", stats))
print(stats.numMACsLearned, stats.noLearningAllowedPkts, stats.noLearningDroppedPkts, stats.numMACsMoved)
service = vs.VSServicePortTeamingStats()
check(vs.VSQEL_GetServicePortTeamingStats("sw", service))
print(service.txFromSrvPort, service.txUsingSrvPortFRP, service.txUsingPktSrcPortFRP, service.txErrors,
      service.rxToSrvPort, service.rxRpfOverride)
rarp = vs.VSRARPStats()
check(vs.VSQEL_GetRARPStats("sw", rarp))
print(rarp.rarpPktsSent, rarp.maxRARPTime, rarp.rarpTime)
mirror = vs.VSDVMirrorSessionStats()
check(vs.VSQEL_GetDVMirrorSessionStats("sw", "m", mirror))
print(mirror.mirrorPktCnt, mirror.mirrorPktFailCnt, mirror.mirroredPkts, mirror.discardedPkts, mirror.failedPkts)
check(vs.VSDVS_AddDVPort("sw", "new", 1))
"""


def test_what_was_counted_and_learned_goes_over(file: pathlib.Path) -> None:
    environment = dict(os.environ, VSWITCH_HOST=str(file), PYTHONPATH=os.pathsep.join(SEARCH))
    process = subprocess.run(
        [sys.executable, "-c", ASK], env=environment, capture_output=True, text=True, timeout=60, check=False
    )
    assert process.stdout.splitlines() == ["2 1 1", "2 3 4 5", "5 6 7 8 9 10", "2 3 4", "1 2 3 4 5"], process
    # The highest number that a port ever had was 6; that port is gone.
    assert rows(file, "SELECT id FROM port WHERE dvport_id = 'new'") == [(7,)]
    counters = "SELECT packets_in_unicast, bytes_out_broadcast, packets_out_exception FROM "
    assert rows(file, counters + "port_counter WHERE port = 3") == [(2**63 - 1, 12, 13)]
    assert rows(file, counters + "rtm_saved_port_counter WHERE port = 3") == [(2**63 - 1, 12, 13)]
    assert rows(file, "SELECT step FROM rtm_switch") == [(6,)]
    assert rows(file, "SELECT count(*) FROM rtm_blocked_port") == [(5,)]
    assert rows(file, "SELECT call, skip FROM fault") == [("VSDVS_SetMTU", 3)]


def test_memberships_without_their_client_do_not_go_over(file: pathlib.Path) -> None:
    assert rows(file, "SELECT count(*) FROM multicast_group") == [(3,)]
    exported(file)
    assert rows(file, "SELECT count(*) FROM multicast_group") == [(2,)]
    assert rows(file, "SELECT count(*) FROM multicast_source") == [(2,)]


def test_what_can_only_be_read_is_refused_and_left_alone(file: pathlib.Path) -> None:
    """As an image that nobody can write, because the superuser may write any file."""
    folder = file.parent
    before = file.read_bytes()
    mount = 'mount --bind "$1" "$1" && mount -o remount,ro,bind "$1" || exit 77; shift; exec "$@"'
    mounted = ["unshare", "-rm", "sh", "-c", mount, "sh", str(folder)]
    process = subprocess.run([*mounted, TOOL, "export"], env=dict(os.environ, VSWITCH_HOST=str(file)),
                             capture_output=True, text=True, timeout=60, check=False)
    if process.returncode == 77:
        pytest.skip("the kernel does not let this process mount file systems: " + process.stderr)
    assert process.returncode == 1, process
    assert f"{file}: the state file has format 2, this host has format 3" in process.stderr
    assert file.read_bytes() == before


def test_tables_of_somebody_else_are_not_migrated(file: pathlib.Path) -> None:
    with contextlib.closing(sqlite3.connect(file)) as database:
        database.execute("CREATE TRIGGER foreign_one AFTER INSERT ON port BEGIN SELECT 1; END")
    process = tool(file, "export")
    assert process.returncode == 1
    assert "its tables are not those of a host" in process.stderr
    assert rows(file, "PRAGMA user_version") == [(2,)]


def test_of_many_processes_one_migrates(file: pathlib.Path) -> None:
    environment = dict(os.environ, VSWITCH_HOST=str(file))
    processes = [subprocess.Popen([TOOL, "export"], env=environment, stdout=subprocess.PIPE, text=True)
                 for _ in range(6)]
    answers = [json.loads(process.communicate(timeout=60)[0]) for process in processes]
    assert answers == [expected()] * 6


def test_a_snapshot_of_the_former_format_can_be_restored(tmp_path: pathlib.Path, file: pathlib.Path) -> None:
    host = tmp_path / "other.db"
    assert tool(host, "init").returncode == 0
    before = file.read_bytes()
    assert tool(host, "restore", file).returncode == 0
    assert exported(host) == expected()
    assert file.read_bytes() == before


def test_a_migration_that_finds_no_room_changes_nothing(file: pathlib.Path) -> None:
    before = rows(file, "SELECT name, sql FROM sqlite_schema ORDER BY name")
    limited = ["prlimit", f"--fsize={file.stat().st_size}", str(TOOL), "export"]
    process = subprocess.run(limited, env=dict(os.environ, VSWITCH_HOST=str(file)), capture_output=True, text=True,
                             timeout=60, check=False, preexec_fn=ignore_the_signal)
    assert process.returncode == 1, process
    assert rows(file, "SELECT name, sql FROM sqlite_schema ORDER BY name") == before
    assert exported(file) == expected()


def ignore_the_signal() -> None:
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
