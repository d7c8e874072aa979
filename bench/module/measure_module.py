"""Measures the module beside the same interface as SWIG generates it, and beside types written by hand.

Each contestant runs in processes of its own, in alternating rounds whose order alternates, too, with the garbage
collector off. A round gives the best of some short runs; what counts is the ratio of the lower quartiles of the rounds:
shared machines have phases in which all takes almost twice as long, and a median falls now into one, now into the
other.
All load the same host libraries, whose functions only return.

Usage: measure_module.py BENCH [--rounds N] [--json FILE]    the table; BENCH is build/bench/module
       measure_module.py BENCH --growth FILE.svg             cost of an element of a table, by its size
       measure_module.py BENCH --instructions [--write]      instructions of accessors and calls, beside the reference
"""

import argparse
import gc
import json
import os
import pathlib
import statistics
import subprocess
import sys
from collections.abc import Iterable
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from itertools import repeat
from pathlib import Path
from time import perf_counter_ns
from typing import Any

OURS, DEFAULT, BUILTIN, LIMIT = "ours", "default", "builtin", "limit"
TITLES = {OURS: "ours", DEFAULT: "SWIG default", BUILTIN: "SWIG -builtin", LIMIT: "limit"}
NATIVE = {OURS: "_libvswitch", DEFAULT: "_peer", BUILTIN: "_peer", LIMIT: "limit"}
LAYER = {OURS: "libvswitch", DEFAULT: "peer", BUILTIN: "peer", LIMIT: "limit"}
PEERS = (DEFAULT, BUILTIN, LIMIT)
REFERENCE = Path(__file__).with_name("instructions.json")
TOLERANCE = 0.02

ENTRIES = 4096
GROWTH = [4**power for power in range(2, 9)]


@dataclass(frozen=True, eq=False)
class Row:
    """What is measured, and the largest ratio to each peer that is accepted; None: measured without a target."""

    label: str
    targets: dict[str, float | None]
    unit: str = "ns"


@dataclass(frozen=True, eq=False)
class Loop(Row):
    """A row whose statement runs in a loop; its cost is divided by what it does `per` run."""

    setup: str = ""
    statement: str = "pass"
    per: int = 1
    counted: bool = True  # also counted in instructions


def loop(label: str, default: float | None, builtin: float | None, limit: float | None, setup: str, statement: str,
         **details: Any) -> Loop:
    """Targets below zero: the peer takes no part."""
    targets = {peer: target for peer, target in zip(PEERS, (default, builtin, limit)) if target is None or target > 0}
    return Loop(label, targets, setup=setup, statement=statement, **details)


def walk(entries: int, attributes: str) -> dict[str, str]:
    reads = "".join(f"; entry.{name}" for name in attributes.split())
    return {
        "setup": f"first = layer.VSQEL_GetMACTable('{entries}', 0)[1].macEntries; indices = range({entries})",
        "statement": f"for index in indices: entry = first[index]{reads}",
    }


# One rule for all rows: functions are measured where a contestant's cost least (`quick`): in this module's layer, and
# in the peers' native modules, without their Python wrappers; classes in the layers of all (`layer`). Rows of `native`
# measure the native modules of all.
ABSENT = -1.0
ACCESSOR = "record = layer.VSInfo(); proxy = record.this; call = {}; record.mtu = 1500"
EIGHT = "call('lab', 'lab-id', 'cswitch', 128, {}, 1500, 3, 0)"
LOOPS = [
    loop("read an integer attribute", 0.55, 0.85, 1.3, "record = layer.VSInfo(); record.mtu = 1500", "record.mtu"),
    loop("write an integer attribute", 0.45, 0.75, 1.3, "record = layer.VSInfo()", "record.mtu = 1500"),
    loop("read a text attribute", 0.65, 0.90, 1.5, "record = layer.qel_Name(); record.string = 'uplink-1'",
         "record.string"),
    loop("write a text attribute", 0.65, 0.90, 1.5, "record = layer.qel_Name()", "record.string = 'uplink-1'"),
    loop("read a MAC text attribute", 0.40, 0.45, ABSENT, "record = layer.VSMACEntry()", "record.macAddress"),
    loop("read an embedded record", 0.50, 0.90, ABSENT, "record = layer.VSMACLearningSwitchInfo()",
         "record.teamMACLearning"),
    loop("create and drop a record", 0.15, 1.1, 2.2, "make = layer.VSInfo", "make()"),
    loop("raw accessor function, read", 1.0, ABSENT, ABSENT, ACCESSOR.format("quick.VSInfo_mtu_get"), "call(proxy)"),
    loop("the same, native module", 1.9, ABSENT, ABSENT, ACCESSOR.format("native.VSInfo_mtu_get"), "call(proxy)"),
    loop("raw accessor function, write", 0.70, ABSENT, ABSENT, ACCESSOR.format("quick.VSInfo_mtu_set"),
         "call(proxy, 1500)"),
    loop("the same as that, native module", None, ABSENT, ABSENT, ACCESSOR.format("native.VSInfo_mtu_set"),
         "call(proxy, 1500)"),
    loop("call: text + integer, status only", 0.70, 0.70, ABSENT, "call = quick.VSDVS_SetMTU", "call('lab', 1500)"),
    loop("the same call, native module", None, None, ABSENT, "call = native.VSDVS_SetMTU", "call('lab', 1500)"),
    loop("call with a record output", 0.50, 0.90, ABSENT, "call = quick.VSQEL_GetSwitchInfo", "call('lab')"),
    loop("call with an integer output", 0.80, 0.90, ABSENT, "call = quick.VSQEL_GetUplinkLinkState",
         "call('lab', 'nic0')"),
    loop("eight arguments, boolean as int", 0.35, 0.70, ABSENT, "call = quick.VSDVS_CreateVSwitch", EIGHT.format(0)),
    loop("eight arguments, boolean as text", 0.70, 0.70, ABSENT, "call = quick.VSDVS_CreateVSwitch",
         EIGHT.format(r"'\x01'")),
    loop("argument errors raised and caught, two in turn", 0.90, 1.1, ABSENT,
         "first = quick.VSDVS_SetMTU; second = quick.VSDVS_AddDVPort",
         "\n    try:\n      first('lab', 'x')\n    except TypeError:\n      pass"
         "\n    try:\n      second('lab', 5, 7)\n    except TypeError:\n      pass", per=2),
    loop("subscript of a record: a name", 1.0, 1.1, ABSENT,
         "policy = layer.VSTeamPolicy()", "policy[2]"),
    loop("subscript of a record: a record", 1.0, 1.1, ABSENT, "query = layer.RTMIOCtlQuery(); query.numPortsets = 4",
         "query[2]"),
    loop("walk a MAC table, an entry with 4 fields", 0.35, 0.70, ABSENT,
         **walk(ENTRIES, "macAddress portID vid vni"), per=ENTRIES, counted=False),
    loop("the same in one call (rows)", ABSENT, ABSENT, ABSENT, walk(ENTRIES, "")["setup"],
         f"layer.rows(first, {ENTRIES}, 'macAddress', 'portID', 'vid', 'vni')", per=ENTRIES, counted=False),
    loop("a walk with 4 integer fields", None, None, ABSENT, **walk(ENTRIES, "portID vid vni elapsed"), per=ENTRIES,
         counted=False),
]

NATIVE_IMPORT = Row("import of the native module", {DEFAULT: 0.80, BUILTIN: 0.80}, "us")
LAYER_IMPORT = Row("import of the layer, all classes", {DEFAULT: 0.45, BUILTIN: 1.0}, "us")
FIRST_USE = Row("first use of a class", {DEFAULT: None, BUILTIN: None}, "us")
MEMORY = Row("peak memory added by the layer", {DEFAULT: 1.0, BUILTIN: 1.0}, "KiB")
USED_MEMORY = Row("the same, all classes and functions used", {DEFAULT: None, BUILTIN: None}, "KiB")
SIZE = Row("size of the native module", {DEFAULT: 0.40, BUILTIN: 0.40}, "KiB")
LAYER_SIZE = Row("size of all the layer's files", {DEFAULT: None, BUILTIN: None}, "KiB")

# Time and memory of imports, in a fresh interpreter that knows nothing else. Processor time: an import is long enough
# to have to wait for a processor, and those who wait longest would seem slowest.
IMPORT_SCRIPT = """
import sys
from time import process_time_ns
path, module, classes = sys.argv[1:4]
sys.path.insert(0, path)
def status(key):
    with open("/proc/self/status") as lines:
        return next(int(line.split()[1]) for line in lines if line.startswith(key))
names = classes.split()
# The peak starts anew; what is read first is the memory that measuring itself takes.
status("VmHWM:")
with open("/proc/self/clear_refs", "w") as reset:
    reset.write("5")
before = status("VmRSS:")
begin = process_time_ns()
imported = __import__(module)
for name in names:
    getattr(imported, name)
end = process_time_ns()
peak = status("VmHWM:")
use = 0
if names:
    begin_use = process_time_ns()
    imported.VSInfo()
    use = process_time_ns() - begin_use
# What people use: each class with an instance, and each function looked up.
used = 0
if names:
    counted = ("VSUplinks", "VSUplinkPorts", "VSUplinkPortIds", "VSRuntimeOptions")
    kept = [getattr(imported, name)(*([16] if name in counted else [])) for name in names]
    kept += [getattr(imported, name) for name in dir(imported)]
    used = status("VmHWM:") - before
print(end - begin, use, peak - before, used)
"""


# What the whole contest rests on: that the peers do the same. Each has to give the same text.
AGREED = """
info = layer.VSInfo(); info.mtu = 1500
name = layer.qel_Name(); name.string = 'uplink-1'
table = layer.VSQEL_GetMACTable('300', 0)[1]
entry = table.macEntries[258]
status, record = layer.VSQEL_GetSwitchInfo('lab')
policy = layer.VSTeamPolicy()
query = layer.RTMIOCtlQuery(); query.numPortsets = 4
create = [native.VSDVS_CreateVSwitch('lab', 'id', 'class', 128, flag, 1500, 3, 0) for flag in (0, '\\x01')]
answers = [
    info.mtu, name.string, table.numEntries, entry.macAddress, entry.portID, entry.vid, entry.vni, entry.elapsed,
    status, record.mtu, type(record).__name__, layer.VSQEL_GetUplinkLinkState('lab', 'nic0'),
    type(layer.VSMACLearningSwitchInfo().teamMACLearning).__name__, native.VSDVS_SetMTU('lab', 1500), *create,
    layer.VSDVS_GetLearnStatic('lab'), layer.QEL_BAD_PARAM, policy[2], policy[31], type(query[2]).__name__,
]
"""


class Contest:
    """The contestants as they were built."""

    def __init__(self, bench: Path) -> None:
        self.bench = bench
        self.environment = {
            **{name: value for name, value in os.environ.items() if not name.startswith("PYTHON")},
            "LD_LIBRARY_PATH": str(bench / "host"),
            "PYTHONHASHSEED": "0",
        }

    def run(self, *command: str, wrapper: tuple[str, ...] = ()) -> subprocess.CompletedProcess[str]:
        done = subprocess.run(
            [*wrapper, sys.executable, *command], env=self.environment, capture_output=True, text=True
        )
        if done.returncode:
            sys.exit(f"{' '.join(command[:3])} failed:\n{done.stderr}")
        return done

    def worker(self, mode: str, contestant: str) -> dict[str, Any]:
        told: dict[str, Any] = json.loads(self.run(__file__, str(self.bench), "--worker", mode, contestant).stdout)
        return told

    def imports(self, contestant: str, module: str, classes: str) -> list[int]:
        done = self.run("-S", "-E", "-c", IMPORT_SCRIPT, str(self.bench / contestant), module, classes)
        return [int(number) for number in done.stdout.split()]


# ---- in the process of a contestant --------------------------------------------------------------------------


def loop_source(setup: str, statement: str) -> str:
    return (
        "def loop(native, layer, quick, count):\n"
        f"  {setup or 'pass'}\n"
        "  begin = perf_counter_ns()\n"
        "  for _ in repeat(None, count):\n"
        f"    {statement}\n"
        "  return perf_counter_ns() - begin\n"
    )


def compiled(setup: str, statement: str) -> Any:
    names = {"perf_counter_ns": perf_counter_ns, "repeat": repeat}
    exec(loop_source(setup, statement), names)
    return names["loop"]


def modules(bench: Path, contestant: str) -> tuple[Any, ...]:
    sys.path.insert(0, str(bench / contestant))
    native, layer = __import__(NATIVE[contestant]), __import__(LAYER[contestant])
    return native, layer, layer if contestant == OURS else native


def cost(setup: str, statement: str, imported: tuple[Any, ...], enough: int = 1_000_000, runs: int = 15) -> float:
    """Nanoseconds of one run, without those of the loop: the least of some, short enough not to be interrupted."""
    measured, empty = compiled(setup, statement), compiled("", "pass")
    count = 1
    while measured(*imported, count) < enough:
        count *= 2
    least, idle = (min(run(*imported, count) for _ in range(runs)) for run in (measured, empty))
    return float(least - idle) / count


def work(bench: Path, mode: str, contestant: str) -> None:
    gc.disable()
    imported = modules(bench, contestant)
    if mode == "loops":
        rows = [row for row in LOOPS if contestant == OURS or contestant in row.targets]
        print(json.dumps({row.label: cost(row.setup, row.statement, imported) / row.per for row in rows}))
    elif mode == "agreed":
        names = {"native": imported[0], "layer": imported[1]}
        exec(AGREED, names)
        print(json.dumps(names["answers"]))
    elif mode == "growth":
        walks: dict[int, dict[str, Any]] = {size: walk(size, "macAddress portID vid vni") for size in GROWTH}
        print(json.dumps({size: cost(**run, imported=imported) / size for size, run in walks.items()}))


# ---- the table -----------------------------------------------------------------------------------------------


def class_names(bench: Path) -> str:
    with open(bench.parents[1] / "interface.json", encoding="utf-8") as source:
        return " ".join(record["name"] for record in json.load(source)["records"])


def size_of(paths: Iterable[pathlib.Path]) -> float:
    return sum(path.stat().st_size for path in paths) / 1024


def add_sizes(contest: Contest, samples: dict[Row, dict[str, list[float]]]) -> None:
    for contestant in (OURS, DEFAULT, BUILTIN):
        folder = contest.bench / contestant
        native = folder / ("libvswitchpy.so" if contestant == OURS else "_peer.so")
        parts = (folder / "libvswitch").glob("*.*") if contestant == OURS else [folder / "peer.py"]
        layer = [part for part in parts if part.suffix in (".py", ".so")]
        samples[SIZE][contestant] = [size_of([native])]
        samples[LAYER_SIZE][contestant] = [size_of([native, *layer])]


def measure(contest: Contest, rounds: int, imports: int) -> dict[Row, dict[str, list[float]]]:
    rows = [*LOOPS, NATIVE_IMPORT, LAYER_IMPORT, FIRST_USE, SIZE, LAYER_SIZE, MEMORY, USED_MEMORY]
    samples: dict[Row, dict[str, list[float]]] = {
        row: {OURS: [], **{peer: [] for peer in row.targets}} for row in rows}
    for turn in range(rounds):
        # Now forwards, now backwards: nobody always follows the same one.
        for contestant in list(TITLES)[:: 1 if turn % 2 == 0 else -1]:
            results = contest.worker("loops", contestant)
            for row in LOOPS:
                if row.label in results:
                    samples[row][contestant].append(results[row.label])
    classes = class_names(contest.bench)
    # The first run of each writes the bytecode.
    for number in range(imports + 1):
        for contestant in (OURS, DEFAULT, BUILTIN)[:: 1 if number % 2 == 0 else -1]:
            native = contest.imports(contestant, NATIVE[contestant], "")
            layer = contest.imports(contestant, LAYER[contestant], classes)
            if number:
                samples[NATIVE_IMPORT][contestant].append(native[0] / 1000)
                samples[LAYER_IMPORT][contestant].append(layer[0] / 1000)
                samples[FIRST_USE][contestant].append(layer[1] / 1000)
                samples[MEMORY][contestant].append(layer[2])
                samples[USED_MEMORY][contestant].append(layer[3])
    add_sizes(contest, samples)
    return samples


def lower_quartile(values: list[float]) -> float:
    return statistics.quantiles(values, n=4, method="inclusive")[0] if len(values) > 1 else values[0]


def summary(samples: dict[Row, dict[str, list[float]]]) -> list[dict[str, Any]]:
    table = []
    for row, runs in samples.items():
        costs = {contestant: lower_quartile(values) for contestant, values in runs.items()}
        ratios = {peer: costs[OURS] / costs[peer] for peer in row.targets}
        met = all(target is None or ratios[peer] <= target for peer, target in row.targets.items())
        table.append({"row": row.label, "unit": row.unit, "costs": costs, "ratios": ratios,
                      "targets": row.targets, "met": met, "samples": runs})
    return table


def show(table: list[dict[str, Any]]) -> None:
    print(f"{'operation':<42}{'unit':>5}" + "".join(f"{title:>15}" for title in TITLES.values())
          + "   ratio (accepted) to each peer")
    for row in table:
        cells = [f"{row['costs'][name]:.1f}" if name in row["costs"] else "-" for name in TITLES]
        ratios = []
        for peer in PEERS:
            if peer not in row["ratios"]:
                ratios.append("-")
                continue
            ratio, target = row["ratios"][peer], row["targets"][peer]
            accepted = "" if target is None else f" ({target:g})" + ("" if ratio <= target else " missed")
            ratios.append(f"{ratio:.2f}{accepted}")
        print(f"{row['row']:<42}{row['unit']:>5}" + "".join(f"{cell:>15}" for cell in cells) + "   "
              + "".join(f"{ratio:<20}" for ratio in ratios).rstrip())
    judged = [row for row in table if any(target is not None for target in row["targets"].values())]
    print(f"{sum(row['met'] for row in judged)} of {len(judged)} rows with a target meet it")


# ---- growth ----------------------------------------------------------------------------------------------------

SVG_COLOURS = {OURS: "#1b6ca8", DEFAULT: "#b0413e", BUILTIN: "#5b8c5a"}


def plot(costs: dict[str, list[float]]) -> str:
    width, height, left, top, right, bottom = 760, 420, 70, 50, 30, 60
    highest = max(max(values) for values in costs.values()) * 1.1

    def x(position: int) -> float:
        return left + position * (width - left - right) / (len(GROWTH) - 1)

    def y(value: float) -> float:
        return height - bottom - value * (height - top - bottom) / highest

    step = next(step for step in (10, 20, 50, 100, 200, 500, 1000, 5000) if highest / step <= 8)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" font-family="sans-serif" '
        'font-size="13">',
        f'<rect width="{width}" height="{height}" fill="white"/>',
        f'<text x="{left}" y="24" font-size="15">Reading a MAC table: nanoseconds for an entry and four of its '
        "fields</text>",
    ]
    for value in range(0, int(highest) + 1, step):
        parts.append(f'<line x1="{left}" x2="{width - right}" y1="{y(value):.1f}" y2="{y(value):.1f}" stroke="#ddd"/>')
        parts.append(f'<text x="{left - 8}" y="{y(value) + 4:.1f}" text-anchor="end">{value}</text>')
    for position, size in enumerate(GROWTH):
        parts.append(f'<text x="{x(position):.1f}" y="{height - bottom + 20}" text-anchor="middle">{size}</text>')
    parts.append(f'<text x="{(left + width - right) / 2}" y="{height - 14}" text-anchor="middle">entries of the '
                 "table</text>")
    for contestant, values in costs.items():
        colour = SVG_COLOURS[contestant]
        points = " ".join(f"{x(position):.1f},{y(value):.1f}" for position, value in enumerate(values))
        parts.append(f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="2"/>')
        label = "this module" if contestant == OURS else TITLES[contestant]
        parts.append(f'<text x="{width - right}" y="{y(values[-1]) - 8:.1f}" text-anchor="end" fill="{colour}">'
                     f"{label}</text>")
    return "\n".join([*parts, "</svg>"]) + "\n"


def grow(contest: Contest, rounds: int, target: str) -> None:
    samples: dict[str, list[Any]] = {contestant: [] for contestant in SVG_COLOURS}
    for _ in range(rounds):
        for contestant, results in samples.items():
            results.append(contest.worker("growth", contestant))
    # The least, not the median: the long walks are rarely left undisturbed.
    costs = {
        contestant: [min(result[str(size)] for result in results) for size in GROWTH]
        for contestant, results in samples.items()
    }
    for contestant, values in costs.items():
        print(f"{TITLES[contestant]:<15}" + "".join(f"{value:10.1f}" for value in values))
    Path(target).write_text(plot(costs), encoding="utf-8")


# ---- instructions ----------------------------------------------------------------------------------------------

# Long enough that the interpreter has stopped trying to specialise what it runs.
SHORT, LONG = 10_000, 30_000

COUNT_SCRIPT = """
import gc, sys
from itertools import repeat
from time import perf_counter_ns
path, native, layer, source, count = sys.argv[1:]
gc.disable()
sys.path.insert(0, path)
exec(source)
native, layer = __import__(native), __import__(layer)
loop(native, layer, layer if layer.__name__ == "libvswitch" else native, int(count))
"""


def instructions(contest: Contest, row: Loop) -> float:
    """Of one run: the difference between two lengths of the loop, so that all else falls out."""
    totals = []
    for count in (SHORT, LONG):
        done = contest.run(
            "-S", "-E", "-c", COUNT_SCRIPT, str(contest.bench / OURS), NATIVE[OURS], LAYER[OURS],
            loop_source(row.setup, row.statement), str(count),
            wrapper=("valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"),
        )
        totals.append(int(done.stderr.rsplit("Collected :", 1)[1].split()[0]))
    return (totals[1] - totals[0]) / (LONG - SHORT)


def count_instructions(contest: Contest, write: bool) -> int:
    rows = [row for row in LOOPS if row.counted]
    contest.imports(OURS, LAYER[OURS], "")  # writes the bytecode
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        counted = pool.map(lambda row: instructions(contest, row), rows)
        counts = {row.label: round(count, 1) for row, count in zip(rows, counted)}
    if write:
        REFERENCE.write_text(json.dumps(counts, indent=2) + "\n", encoding="utf-8")
    reference = json.loads(REFERENCE.read_text(encoding="utf-8"))
    failed = 0
    for label, count in counts.items():
        change = count / reference[label] - 1 if label in reference else float("inf")
        failed += abs(change) > TOLERANCE
        print(f"{label:<42}{count:10.1f}{reference.get(label, 0):10.1f}{change:+9.2%}"
              + ("  differs" if abs(change) > TOLERANCE else ""))
    return 1 if failed else 0


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("bench", type=Path)
    parser.add_argument("--rounds", type=int, default=9)
    parser.add_argument("--imports", type=int, default=31)
    parser.add_argument("--json", type=Path)
    parser.add_argument("--growth")
    parser.add_argument("--instructions", action="store_true")
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--worker", nargs=2, help=argparse.SUPPRESS)
    options = parser.parse_args()
    bench = options.bench.resolve()
    if options.worker:
        work(bench, *options.worker)
        return 0
    contest = Contest(bench)
    if options.growth:
        grow(contest, options.rounds, options.growth)
        return 0
    if options.instructions:
        return count_instructions(contest, options.write)
    answers = {contestant: contest.worker("agreed", contestant) for contestant in (OURS, DEFAULT, BUILTIN)}
    if len(set(map(str, answers.values()))) != 1:
        sys.exit("\n".join(["the contestants do not do the same:", *map(str, answers.items())]))
    table = summary(measure(contest, options.rounds, options.imports))
    show(table)
    if options.json:
        options.json.write_text(json.dumps(table, indent=1) + "\n", encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
