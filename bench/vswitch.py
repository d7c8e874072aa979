"""Measures the objects beside the plain calls they stand on: medians of 7 runs after a warm-up, as JSON.

    PYTHONPATH=build/python python3 bench/vswitch.py [--json FILE] [--quick]

The simulated host stands in a state file in a folder of its own (`--folder`, on a disk). Each figure has its goal
beside it, where there is one, and ratios are of two measurements of one run; what is measured is alone on its host;
`missed` names the goals that are missed.
"""

from __future__ import annotations

import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time
from collections.abc import Callable

# The interpreter looks beside a script first, where this one has the name of what it measures.
HERE = pathlib.Path(__file__).resolve().parent
sys.path[:] = [place for place in sys.path if pathlib.Path(place or ".").resolve() != HERE]

RUNS, STARTS = 7, 21
MILLI, MICRO = 1e3, 1e6


def median(measure: Callable[[], float], runs: int = RUNS) -> float:
    """Seconds: the median of some runs after one that does not count."""
    measure()
    return statistics.median(measure() for _ in range(runs))


def timed(work: Callable[[], object], times: int = 1) -> Callable[[], float]:
    """Measures one use of many."""

    def measure() -> float:
        begin = time.perf_counter()
        for _ in range(times):
            work()
        return (time.perf_counter() - begin) / times

    return measure


def processes(commands: dict[str, tuple[str, ...]], runs: int) -> dict[str, float]:
    """Milliseconds that whole processes of the interpreter take: medians of turns after one that does not count, all
    commands in each turn, so that what else the machine does meets all of them. Bytecode is written, as usual."""
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONDONTWRITEBYTECODE"}
    taken: dict[str, list[float]] = {name: [] for name in commands}
    for turn in range(runs + 1):
        for name, arguments in commands.items():
            begin = time.perf_counter()
            subprocess.run([sys.executable, *arguments], env=environment, check=True, capture_output=True)
            if turn:
                taken[name].append((time.perf_counter() - begin) * MILLI)
    return {name: statistics.median(times) for name, times in taken.items()}


class Report:
    """What was measured."""

    def __init__(self) -> None:
        self.rows: dict[str, dict[str, object]] = {}
        self.missed: list[str] = []

    def add(self, name: str, value: float, unit: str, goal: float | None = None, **others: float) -> None:
        """A figure, and what it is to be at most."""
        self.rows[name] = {"value": round(value, 3), "unit": unit, "goal": goal}
        self.rows[name] |= {key: round(other, 3) for key, other in others.items()}
        if goal is not None and value > goal:
            self.missed.append(name)

    def to_dict(self) -> dict[str, object]:
        """All of it."""
        return {"figures": self.rows, "missed": self.missed}


def reading(report: Report, quick: bool) -> None:
    """A setting beside the plain call."""
    import libvswitch
    import vswitch

    times, runs = (200, 3) if quick else (2000, RUNS)
    port = vswitch.Switch("workload").ports["100"]
    get, free, ok = libvswitch.VSDVS_GetPortVLANPolicy, libvswitch.VSDVS_FreeMemory, libvswitch.QEL_OK

    def plain() -> int:
        status, policy, _ = get("workload", "100")
        assert status == ok
        vlan = policy.vlanID
        free(policy)
        return int(vlan)

    call = median(timed(plain, times), runs) * MICRO
    setting = median(timed(lambda: port.vlan, times), runs) * MICRO
    others = {"setting": setting, "call": call, "ratio": setting / call}
    report.add("port.vlan over the plain call", setting - call, "us", 10, **others)
    mtu = median(timed(lambda: vswitch.Switch("workload").mtu, times), runs) * MICRO
    report.add("switch.mtu", mtu, "us")


def bulk(report: Report, quick: bool) -> None:
    """Many ports by one walk, beside a call for each setting."""
    from vswitch import Host, _walk

    count, runs = (50, 3) if quick else (1000, RUNS)
    switch = Host().switches.create("many", max_ports=8192, exist_ok=True)
    for number in range(count):
        switch.ports.create(f"port-{number}", connect_id=number, exist_ok=True)
        switch.ports[f"port-{number}"].vlan = number % 4000
    walk = median(timed(lambda: _walk.properties_of_ports("many")), runs) * MILLI
    each = median(timed(lambda: [port.vlan for port in switch.ports.values()]), runs) * MILLI
    export = median(timed(lambda: Host().export(only=["many"])), runs) * MILLI
    report.add(f"properties of {count} ports in one walk", walk, "ms", None, vlan_of_each=each, ratio=walk / each)
    report.add(f"export() of {count} ports", export, "ms", 60 if count == 1000 else None, ratio_to_walk=export / walk)
    from vswitch.exporter import Collector

    scrape = median(timed(lambda: list(Collector(Host()).collect())), runs) * MILLI
    report.add(f"a scrape of {count} ports", scrape, "ms", None, ratio_to_export=scrape / export)
    Host().switches.remove("many")


def addresses(report: Report, quick: bool) -> None:
    """A MAC table of many addresses."""
    import libvswitch
    import vswitch

    count, runs = (100, 3) if quick else (10000, RUNS)
    lab = vswitch.Host().switches.create("addresses", exist_ok=True)
    for first in range(0, count, 4000):
        port = lab.ports.create(f"port-{first}")
        for number in range(first, min(first + 4000, count)):
            port.mac_table.add(f"02:00:00:01:{number >> 8:02x}:{number & 255:02x}")
    table = lab.mac_table
    assert len(table) == count

    def plain() -> None:
        status, record = libvswitch.VSQEL_GetMACTable("addresses", libvswitch.VS_MAC_ADDR_TYPE_ALL)
        assert status == libvswitch.QEL_OK
        libvswitch.VSQEL_FreeMemory(record)

    call = median(timed(plain), runs) * MILLI
    entries = median(timed(table.entries), runs) * MILLI
    goal = 50 if count == 10000 else None
    report.add(f"MacTable.entries() of {count} addresses", entries, "ms", goal, call=call, ratio=entries / call)
    vswitch.Host().switches.remove("addresses")


def desired(report: Report, quick: bool) -> None:
    """Plans and applies of many ports, exports and looks; and what a port costs among more of them."""
    from vswitch import Host
    from vswitch.watch import leaves

    count, runs = (50, 2) if quick else (1000, RUNS)
    host = Host()

    def wanted(number: int) -> dict[str, object]:
        ports = {
            f"port-{i}": {"connect_id": i + 1, "vlan": i % 4000 + 1, "properties": {"org.example.rack": f"rack {i}"}}
            for i in range(number)
        }
        return {"format": 1, "switches": {"desired": {"max_ports": 8192, "ports": ports}}}

    def applied(number: int) -> float:
        plan = host.plan(wanted(number))
        begin = time.perf_counter()
        plan.apply()
        seconds = time.perf_counter() - begin
        host.switches.remove("desired")
        return seconds

    def goal(milliseconds: float) -> float | None:
        return None if quick else milliseconds

    document = wanted(count)
    report.add(f"plan of {count} new ports", median(timed(lambda: host.plan(document)), runs) * MILLI, "ms", goal(50))
    report.add(f"apply of {count} new ports", median(lambda: applied(count), runs) * MILLI, "ms", goal(1000))
    few, many = (20, 50) if quick else (400, 4000)
    small = median(lambda: applied(few), runs) / few
    large = median(lambda: applied(many), 2) / many
    report.add(f"a port of {many} over one of {few} in apply", large / small, "times", None if quick else 1.5)
    host.plan(document).apply()
    again = median(timed(lambda: host.plan(document).apply()), runs) * MILLI
    report.add(f"apply of {count} ports that are there", again, "ms", goal(100))
    look = median(timed(lambda: leaves(host.export(observed=True, only=["desired"]))), runs) * MILLI
    report.add(f"a look of watch at {count} ports", look, "ms", goal(80))
    export = median(timed(lambda: host.export(only=["desired"])), runs) * MILLI
    report.add(f"export() of {count} ports with 3 properties each", export, "ms", goal(60))
    host.switches.remove("desired")


def hostile(report: Report, quick: bool) -> None:
    """Texts that are no documents: how long it takes to say so."""
    from vswitch import DocumentError
    from vswitch.desired import document

    many, length = (1000, 1000) if quick else (1_000_001, 63 << 20)
    texts = {
        "a list of too many values": "a: [" + "x," * many + "]",
        "too many lines of a list": "a:\n" + "- x\n" * many,
        "too many members": "".join(f"k{number}: v\n" for number in range(many // 2 + 1)),
        "too many lists": "[" + "[]," * many + "]",
        "a text of 63 MiB": "a: " + "x" * length,
        "64 MiB of values": "[" + "x," * (length // 2) + "]",
        "deep lists": "[" * 100_000,
        "anchors that multiply": "a: &a [x,x,x,x,x,x,x,x,x,x]\n"
        + "".join(
            f"{name}: &{name} [{','.join(['*' + former] * 10)}]\n" for former, name in zip("abcdefgh", "bcdefghi")
        ),
        "a NUL": "format: 1\nswitches: {\0: {}}",
        "a key twice": "format: 1\nswitches: {lab: {}, lab: {}}",
    }

    def refused(text: str) -> None:
        try:
            document.read(text)
        except DocumentError:
            return
        raise AssertionError("it was accepted")

    for name, text in texts.items():
        taken = median(timed(lambda text=text: refused(text)), 1 if quick else 3) * MILLI  # type: ignore[misc]
        report.add(f"refusing {name}", taken, "ms", 1000)


def imports(report: Report, quick: bool) -> None:
    """What starting costs, in whole processes, beside an interpreter that does nothing."""
    path = "switches/workload/mtu"
    taken = processes(
        {
            "nothing": ("-c", "pass"),
            "import vswitch": ("-c", "import vswitch"),
            "import vswitch; vswitch.Host": ("-c", "import vswitch; vswitch.Host"),
            "vswitch --version": ("-m", "vswitch", "--version"),
            f"vswitch get {path}": ("-m", "vswitch", "get", path),
            "vswitch switch list": ("-m", "vswitch", "switch", "list"),
        },
        3 if quick else STARTS,
    )
    nothing = taken.pop("nothing")
    report.add("import vswitch over nothing", taken["import vswitch"] - nothing, "ms", 15)
    goals = {"vswitch --version": (60, 4), f"vswitch get {path}": (120, 8)}
    for name, milliseconds in taken.items():
        most, times = goals.get(name, (None, None))
        report.add(name, milliseconds, "ms", most, nothing=nothing)
        report.add(f"{name}, times python3 -c pass", milliseconds / nothing, "times", times)


def fixtures(report: Report, quick: bool) -> None:
    """What a test pays for a fresh host: the fixture of the plugin, beside a test without one, in one run of pytest."""
    tests = 20 if quick else 1000
    source = f"""
import pytest
@pytest.mark.parametrize("number", range({tests}))
def test_nothing(number): pass
@pytest.mark.parametrize("number", range({tests}))
def test_a_host(vswitch_host, number): pass
@pytest.mark.vswitch_host(file=True)
@pytest.mark.parametrize("number", range({tests // 10}))
def test_a_host_in_a_file(vswitch_host, number): pass
"""
    conftest = """
import collections, time
taken = collections.defaultdict(list)
def pytest_runtest_logstart(nodeid):
    global begin
    begin = time.perf_counter()
def pytest_runtest_logfinish(nodeid):
    taken[nodeid.split("::")[1].partition("[")[0]].append(time.perf_counter() - begin)
def pytest_sessionfinish():
    import json, pathlib, statistics
    with open(pathlib.Path(__file__).with_name("taken.json"), "w") as file:
        json.dump({name: statistics.median(times) for name, times in taken.items()}, file)
"""
    with tempfile.TemporaryDirectory() as folder:
        place = pathlib.Path(folder)
        (place / "test_it.py").write_text(source)
        (place / "conftest.py").write_text(conftest)
        # A package that is installed is found by its entry point; this one may be only on the path.
        command = [sys.executable, "-m", "pytest", "-q", "-p", "vswitch.testing.plugin", "-p", "no:cacheprovider"]
        places = [f"--basetemp={place / 'tests'}", f"--rootdir={place}", str(place)]
        subprocess.run([*command, *places], check=True, capture_output=True)
        taken = json.loads((place / "taken.json").read_text())
    milliseconds = {name: (seconds - taken["test_nothing"]) * MILLI for name, seconds in taken.items()}
    nothing = taken["test_nothing"] * MILLI
    report.add("a fresh host for a test", milliseconds["test_a_host"], "ms", 2, without=nothing)
    report.add("a fresh host in a file for a test", milliseconds["test_a_host_in_a_file"], "ms", None, without=nothing)


def main() -> int:
    """Measures and prints."""
    parser = argparse.ArgumentParser(description="measure the objects")
    parser.add_argument("--json", type=pathlib.Path, help="where the figures go; printed without")
    parser.add_argument("--quick", action="store_true", help="few and small runs, of no meaning")
    parser.add_argument("--folder", type=pathlib.Path, help="where the state file stands; on a disk")
    options = parser.parse_args()
    report = Report()
    with tempfile.TemporaryDirectory(dir=options.folder) as folder:
        os.environ["VSWITCH_HOST"] = str(pathlib.Path(folder) / "host.db")
        os.environ["VSWITCH_APPLY_DIR"] = str(pathlib.Path(folder) / "apply")
        for measure in (reading, bulk, addresses, desired, hostile, imports, fixtures):
            measure(report, options.quick)
    text = json.dumps(report.to_dict(), indent=2)
    if options.json:
        options.json.write_text(text + "\n")
    else:
        print(text)
    for name in report.missed:
        print(f"missed: {name}", file=sys.stderr)
    return 0


if __name__ == "__main__":
    sys.exit(main())
