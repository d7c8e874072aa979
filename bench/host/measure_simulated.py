"""Measures frames through a simulated host from Python: batches, single frames, explanations, copies. Medians of 5.

    PYTHONPATH=build/python python3 bench/host/measure_simulated.py RESULT.json [SECONDS] [--folder FOLDER]

SECONDS (1) is what a figure takes. Processor time of this process, so that other work of the machine does not count.
The state file stands in FOLDER (a temporary one); each figure has its goal beside it, and `missed` names those missed.
"""

from __future__ import annotations

import argparse
import json
import pathlib
import statistics
import tempfile
import time
from collections.abc import Callable

from vswitch.simulated import Endpoint, SimulatedHost

RUNS = 5
PORTS, ADDRESSES, BATCH = 64, 1000, 512
# The figures' names, units and goals; True: more is better.
GOALS: dict[str, tuple[str, float, bool]] = {
    "lists of 512, deliveries read, in a file": ("frames/s", 500_000, True),
    "lists of 512, deliveries read, in memory": ("frames/s", 500_000, True),
    "explain": ("us", 100, False),
    "fork with 100 ports": ("us", 1000, False),
    "24 h of 100 fast LACP links and 10,000 addresses": ("s", 5, False),
}
DAY = 86_400  # seconds


def client_mac(number: int) -> bytes:
    return bytes((2, 0, 0, 0, 1, number))


def learned_mac(number: int) -> bytes:
    return bytes((2, 0, 0, 1, number >> 8, number & 0xFF))


def description(ports: int, addresses: int = 0) -> dict[str, object]:
    """A stopped host; its first port learns, and these addresses behind it are known."""
    learned = [{"mac": learned_mac(number).hex(":")} for number in range(addresses)]
    made: list[dict[str, object]] = [
        {"dvport_id": str(number), "client": {"name": f"client {number}", "type": "vnic",
                                              "mac": client_mac(number).hex(":")}}
        for number in range(ports)]
    made[0] |= {"mac_learning": {}, "learned": learned}
    return {"format": 1, "stopped_clock": 1_700_000_000_000_000,
            "physical_nics": [{"name": "nic0", "mac": "02:00:00:00:00:01"}],
            "switches": [{"alias": "sw", "switch_id": "sw", "uplinks": [{"name": "nic0"}], "ports": made}]}


def batch() -> list[tuple[Endpoint, bytes]]:
    """Unicast frames of 64 bytes from all ports but the first to the addresses behind that."""
    return [(("sw", str(1 + number % (PORTS - 1))),
             learned_mac(number * 7 % ADDRESSES) + client_mac(1 + number % (PORTS - 1)) + b"\x08\x00" + bytes(50))
            for number in range(BATCH)]


def rate(work: Callable[[], int], seconds: float) -> float:
    """What `work` counts, for each second: the median of RUNS after one that does not count."""
    work()
    found = []
    for _ in range(RUNS):
        count = 0
        begin = time.process_time()
        while (taken := time.process_time() - begin) < seconds / RUNS:
            count += work()
        found.append(count / taken)
    return statistics.median(found)


def negotiating(addresses: int) -> dict[str, object]:
    """100 links in four LAGs with partners that are as fast, and addresses that age."""
    nics = [{"name": f"nic{n}", "mac": f"02:00:00:01:00:{n:02x}", "partner": {"fast": True}} for n in range(100)]
    switches = []
    for first in range(0, 100, 25):
        names = [f"nic{n}" for n in range(first, first + 25)]
        learned = [{"mac": bytes((2, 0, 1, first, n >> 8, n & 0xFF)).hex(":"), "age": n % 600}
                   for n in range(addresses // 4)]
        switches.append({
            "alias": f"sw{first}", "switch_id": f"sw{first}", "uplinks": [{"name": name} for name in names],
            "lags": [{"name": "lag", "mode": "active", "fast": True, "members": [{"uplink": name} for name in names]}],
            "ports": [{"dvport_id": "a", "client": {"name": "a", "type": "vnic", "mac": "02:00:00:00:01:01"},
                       "mac_learning": {}, "learned": learned}]})
    return {"format": 1, "stopped_clock": 1_700_000_000_000_000, "physical_nics": nics, "switches": switches}


def time_of_a_day(seconds: float) -> float:
    """The processor time of 24 hours, by the part of them that may be looked at."""
    part = min(1.0, seconds)
    start, found = SimulatedHost(boot=negotiating(int(10_000 * part))), []
    for _ in range(RUNS):
        host = start.fork()
        begin = time.process_time()
        result = host.advance(DAY * part)
        found.append((time.process_time() - begin) / part)
        assert len(result.deliveries) + result.not_kept >= 100 * int(DAY * part)
        host.close()
    return statistics.median(found)


def measure(folder: pathlib.Path, seconds: float) -> dict[str, float]:
    figures: dict[str, float] = {}
    frames = batch()

    def read_all(host: SimulatedHost) -> Callable[[], int]:
        def work() -> int:
            deliveries = host.send_many(frames).deliveries
            assert sum(len(delivery.frame) for delivery in deliveries) == BATCH * 64
            return BATCH
        return work

    def once(work: Callable[[], object]) -> Callable[[], int]:
        def counted() -> int:
            work()
            return 1
        return counted

    boot = description(PORTS, ADDRESSES)
    in_file, in_memory = SimulatedHost(folder / "host.db", boot), SimulatedHost(boot=boot)
    endpoint, frame = frames[0]
    figures["lists of 512, deliveries read, in a file"] = rate(read_all(in_file), seconds)
    figures["lists of 512, deliveries read, in memory"] = rate(read_all(in_memory), seconds)
    figures["lists of 512, counted only, in memory"] = rate(
        lambda: in_memory.send_many(frames, count_only=True).frames, seconds)
    figures["single frames, in a file"] = rate(once(lambda: in_file.send(endpoint, frame)), seconds)
    figures["single frames, in memory"] = rate(once(lambda: in_memory.send(endpoint, frame)), seconds)
    hundred = SimulatedHost(boot=description(100))
    figures["explain"] = 1e6 / rate(once(lambda: in_memory.explain(endpoint, frame)), seconds)
    figures["fork with 100 ports"] = 1e6 / rate(once(lambda: hundred.fork().close()), seconds)
    figures["24 h of 100 fast LACP links and 10,000 addresses"] = time_of_a_day(seconds)
    return figures


def main() -> None:
    parser = argparse.ArgumentParser(description="Measures frames through a simulated host from Python.")
    parser.add_argument("result", type=pathlib.Path)
    parser.add_argument("seconds", type=float, nargs="?", default=1.0)
    parser.add_argument("--folder", type=pathlib.Path)
    chosen = parser.parse_args()
    with tempfile.TemporaryDirectory(dir=chosen.folder) as folder:
        figures = measure(pathlib.Path(folder), chosen.seconds)
    missed = []
    for name, figure in figures.items():
        unit, goal, more = GOALS.get(name, ("frames/s", 0.0, True))
        good = figure >= goal if more else figure <= goal
        missed += [] if good else [name]
        aim = f"  goal {'>=' if more else '<='} {goal:,.0f}{'' if good else '  MISSED'}" if goal else ""
        print(f"{name:45} {figure:12,.1f} {unit}{aim}")
    chosen.result.write_text(json.dumps({"figures": figures, "missed": missed}, indent=1) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
