"""Several threads, several processes, one host."""

import collections
import os
import pathlib
import subprocess
import sys
import threading
from collections.abc import Callable

import pytest
from hosts import description, frame, host, mac
from workspace import SEARCH, Script

from vswitch.simulated import BusyError, SimulatedHost

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
A, B = ("sw", "a"), ("sw", "b")


def together(*targets: Callable[[], object]) -> None:
    """Runs functions in a thread each; the first error is raised."""
    errors = []

    def run(target: Callable[[], object]) -> None:
        try:
            target()
        except BaseException as error:  # noqa: BLE001 - raised below
            errors.append(error)

    threads = [threading.Thread(target=run, args=(target,)) for target in targets]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if errors:
        raise errors[0]


@pytest.mark.parametrize("in_file", [False, True])
def test_API_4_threads_on_one_host_lose_nothing(in_file: bool, tmp_path: pathlib.Path) -> None:
    it = SimulatedHost(tmp_path / "host.db" if in_file else ":memory:", boot=description(4))
    rounds = 200 if FULL else 40
    counted: collections.Counter[str] = collections.Counter()

    def sender(name: str, number: int) -> Callable[[], None]:
        def run() -> None:
            for turn in range(rounds):
                result = it.send_many([(("sw", name), frame(mac(number)))] * 16) if turn % 2 else it.send(
                    ("sw", name), frame(mac(number)))
                counted[name] += len(result.to("nic0"))
                assert all(delivery.endpoint != ("sw", name) for delivery in result.deliveries)
        return run

    def looker() -> None:
        for _ in range(rounds):
            counters = it.counters("nic0")  # C-7: all are of one instant
            assert counters["bytesOutBroadcast"] == 60 * counters["pktsOutBroadcast"]
            it.explain(A, frame(mac(10)))
            assert it.fork().counters("nic0")["bytesOutBroadcast"] % 60 == 0

    together(*(sender(name, 10 + index) for index, name in enumerate("abcd")), looker)
    assert dict(counted) == dict.fromkeys("abcd", rounds // 2 * 17)
    assert it.counters("nic0")["pktsOutBroadcast"] == rounds // 2 * 17 * 4


def test_API_4_other_threads_run_meanwhile() -> None:
    """A long operation of one thread ends after short ones on another host that began while it was under way."""
    slow, fast = host(64), host(2)
    order = []
    started = threading.Event()
    names = [f"{chr(ord('a') + number)}" for number in range(64)]
    frames = [(("sw", names[0]), frame(mac(10)))] * 65536

    class Last:
        """The last frame's bytes are asked for when all others were looked at: what follows is the operation itself."""

        def __bytes__(self) -> bytes:
            started.set()
            return frame(mac(10))

    def long() -> None:
        slow.send_many([*frames[1:], (("sw", names[0]), Last())], count_only=True)
        order.append("long")

    def short() -> None:
        started.wait()
        for _ in range(3):
            fast.send(A, frame(mac(10)))
        order.append("short")

    together(long, short)
    assert order == ["short", "long"]


def test_API_4_a_host_is_closed_under_a_thread() -> None:
    it = host(64)
    names = [f"{chr(ord('a') + number)}" for number in range(64)]
    started = threading.Event()
    results = []

    class Last:
        def __bytes__(self) -> bytes:
            started.set()
            return frame(mac(10))

    def send() -> None:
        results.append(it.send_many([(("sw", names[0]), frame(mac(10)))] * 4000 + [(("sw", names[0]), Last())]))

    def close() -> None:
        started.wait()
        it.close()

    together(send, close)
    assert results[0].frames == 4001 and len(results[0].to("nic0")) == 4001


def test_API_4_captures_come_and_go_under_traffic(tmp_path: pathlib.Path) -> None:
    it = host(2)
    over = threading.Event()

    def send() -> None:
        while not over.is_set():
            it.send(A, frame(mac(10)))

    def watch() -> None:
        try:
            for number in range(50):
                capture = it.capture(B, tmp_path / str(number))
                while not capture.frames:
                    it.send(A, frame(mac(10)))
                capture.close()
        finally:
            over.set()

    together(send, watch)


@pytest.mark.parametrize("path", [":memory:", "host.db"])
def test_API_4_after_a_fork_of_the_process(script: Script, path: str, tmp_path: pathlib.Path) -> None:
    """A host in a file is the same one, a host in memory the child's own copy; whatever threads were doing."""
    script(f"""
    import os, sys, threading
    sys.path.append({os.path.dirname(__file__)!r})
    os.chdir({str(tmp_path)!r})
    from hosts import description, frame, mac
    from vswitch.simulated import SimulatedHost
    a = ("sw", "a")
    it = SimulatedHost({path!r}, boot=description(2))
    it.send(a, frame(mac(10)))
    over = threading.Event()
    def busy():
        while not over.is_set():
            it.explain(a, frame(mac(10)))
            it.fork().close()
    threads = [threading.Thread(target=busy) for _ in range(2)]
    for thread in threads:
        thread.start()
    for turn in range(10):
        child = os.fork()
        if child == 0:
            count = 0
            try:
                it.send(a, frame(mac(10)))
                it.fork().send(a, frame(mac(10)))
                count = it.counters(a)["pktsInBroadcast"]
            finally:
                os._exit(count)
        status = os.waitpid(child, 0)[1]
        expected = 2 if {path!r} == ":memory:" else 2 + turn
        assert status == expected << 8, (turn, status)
    over.set()
    for thread in threads:
        thread.join()
    assert it.counters(a)["pktsInBroadcast"] == (1 if {path!r} == ":memory:" else 11)
    """)


def test_D_4_several_processes_send_to_one_host(tmp_path: pathlib.Path) -> None:
    state = tmp_path / "host.db"
    it = SimulatedHost(state, boot=description(2))
    source = f"""
import sys
sys.path.append({os.path.dirname(__file__)!r})
from hosts import frame, mac
from vswitch.simulated import SimulatedHost
it = SimulatedHost({str(state)!r})
for _ in range(20):
    assert it.send_many([(("sw", "a"), frame(mac(10)))] * 10).frames == 10
"""
    environment = dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH))
    processes = [subprocess.Popen([sys.executable, "-c", source], env=environment) for _ in range(4)]
    assert [process.wait() for process in processes] == [0] * 4
    assert it.counters(A)["pktsInBroadcast"] == 800 == it.counters("nic0")["pktsOutBroadcast"]


def test_D_4_who_waits_too_long_is_told(tmp_path: pathlib.Path) -> None:
    import sqlite3
    state = tmp_path / "host.db"
    it = SimulatedHost(state, boot=description(2))
    lock = sqlite3.connect(state, isolation_level=None)
    lock.execute("BEGIN IMMEDIATE")
    assert it.counters(A)["pktsInBroadcast"] == 0 and it.explain(A, frame(mac(10)))
    if FULL:  # it waits for 10 seconds
        with pytest.raises(BusyError):
            it.send(A, frame(mac(10)))
    lock.execute("ROLLBACK")
    assert it.send(A, frame(mac(10)))
    lock.close()
