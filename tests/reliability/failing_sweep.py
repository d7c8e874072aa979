"""Runs each operation of a family with one of its allocations failing, then the next, and so on; and with memory gone
from each on. Prints what it found, one JSON object. Part of test_failing_allocations.py.

Usage: failing_sweep.py FAMILY POINTS SEED [SHARE SHARES]    with POINTS failures of each operation and way: "all", a
number, or "few" of few operations; of all operations, or one share of them
"""

import _imp
import collections
import ctypes
import faulthandler
import fcntl
import functools
import gc
import importlib.util
import json
import os
import random
import signal
import sys
import traceback
from collections.abc import Callable, Sequence
from typing import Any

import failing_memory

# Which requests fail: any, or those that come from libraries of these names.
EVERYWHERE: tuple[str, ...] = ()
NATIVE = ("libvswitchpy.so", "_libvswitch.so", "_records.so")
HOST = ("libvswitch.so", "libdvs.so", "libtlklibs.so", "libsqlite3.so", "libstdc++.so")
FOREVER = 2**62
GONE = "none from there on"
WAYS = {
    "one fails": (EVERYWHERE, 1),
    GONE: (EVERYWHERE, FOREVER),
    "none from there on for the native code": (NATIVE + HOST, FOREVER),
}
NEVER = (0, -1)
HOST_OUT_OF_MEMORY = "the host has no memory left"
# Growth that comes again and again is a leak; what comes to rest is a cache that fills.
REPETITIONS = 6
MANY = 400
FEW = 100
# Seconds for one failure with all its repetitions.
HANGS_AFTER = 300


class MemoryCounts(ctypes.Structure):
    _fields_ = [("records", ctypes.c_size_t), ("bytes", ctypes.c_size_t), ("wrong_releases", ctypes.c_size_t)]


Progress = Callable[..., object]


def handed_out() -> int:
    """How many records the host has handed out and not got back."""
    function = ctypes.CDLL("libtlklibs.so")._ZN4host13memory_countsEv
    function.restype = MemoryCounts
    return int(function().records)


def shape(value: object, varies: bool, depth: int = 0) -> object:
    """What is compared of a result: the values, or only their types."""
    if isinstance(value, (list, tuple)) and depth < 4:
        return (type(value).__name__, *(shape(item, varies, depth + 1) for item in value))
    if not varies and isinstance(value, (int, str, bytes, bool, type(None))) and "0x" not in str(value):
        return value
    return type(value).__name__


def outcome(result: Any, error: Any, varies: bool) -> Any:
    if error is None:
        return ("returns", shape(result, varies))
    if error is ...:
        return ("raises", "null without an error", "")
    return ("raises", type(error).__name__, str(error)[:200])


class Sweep:
    """Of one operation, in a process of its own."""

    def __init__(self, operation: Any) -> None:
        self.operation = operation
        self.report: dict[str, Any] = {"points": 0, "none": 0, "memory errors": 0, "as ever": 0, "problems": []}

    def once(self, first: int, last: int) -> tuple[Any, int, int]:
        operation = self.operation
        prepared = operation.prepare()
        gc.collect()
        result, error, requests, failures = failing_memory.attempt(
            functools.partial(operation.run, *prepared), first, last
        )
        seen = outcome(result, error, operation.varies)
        operation.discard(result, *prepared)
        return seen, requests, failures

    def problem(self, way: str, point: int, text: str) -> None:
        if len(self.report["problems"]) < 20:
            self.report["problems"].append([self.operation.name, way, point, text])

    def allowed(self, seen: Any) -> bool:
        if seen[:2] == ("raises", "MemoryError"):
            self.report["memory errors"] += 1
        elif seen == ("returns", None) and self.operation.may_be_none:
            self.report["none"] += 1
        elif self.is_usual(seen):
            self.report["as ever"] += 1
        else:
            return False
        return True

    def is_usual(self, seen: Any) -> bool:
        if seen[0] == "returns":
            return seen == self.usual or (self.operation.varies and same_kind(seen[1], self.usual[1]))
        if seen[1] == self.usual[1] and seen[0] == self.usual[0]:
            # The interpreter raises an exception without its text when it has no memory for that.
            return seen[2] in (self.usual[2], "") or self.operation.quirk
        # The interpreter loses the exception when it has no memory for the frame object of Python code.
        of_python_code = not isinstance(self.operation.run, functools.partial)
        return seen[1] == "SystemError" and (self.operation.quirk or of_python_code)

    def mark(self, index: int) -> None:
        gc.collect()
        # It keeps the names that were looked up, and makes the measurement wander.
        sys._clear_type_cache()
        failing_memory.mark(index)

    def grows(self, first: int, last: int) -> float | None:
        """What each repetition leaves behind in blocks, if nearly each leaves something however often; None if not."""
        for _ in range(3):
            self.mark(0)
            self.repeat(REPETITIONS, first, last)
            self.mark(1)
            blocks, _ = failing_memory.grown(0)
            if blocks < REPETITIONS:
                return None
        self.mark(0)
        self.repeat(MANY, first, last)
        self.mark(1)
        blocks, _ = failing_memory.grown(0)
        return blocks / MANY if blocks > 0.9 * MANY else None

    def repeat(self, times: int, first: int, last: int) -> None:
        for _ in range(times):
            self.once(first, last)
            self.once(*NEVER)

    def point(self, way: str, point: int, span: int) -> bool:
        """False when no request was left to fail."""
        first, last = point, min(point + span - 1, FOREVER)
        self.mark(0)
        seen, _, failures = self.once(first, last)
        if failures == 0:
            return False
        self.report["points"] += 1
        if not self.allowed(seen):
            self.problem(way, point, f"gives {seen}, not {self.usual}")
        again, _, _ = self.once(*NEVER)
        if not self.allowed(again):
            self.problem(way, point, f"next gives {again}, not {self.usual}")
        again = None
        self.mark(1)
        if any(count > 0 for count in failing_memory.grown(0)):
            growth = self.grows(first, last)
            if growth and not self.explained(seen, growth, first, last):
                self.problem(way, point, f"leaks {growth} blocks each time after {seen}")
        return True

    def explained(self, seen: Any, growth: float, first: int, last: int) -> bool:
        """A record that was handed out and could not be made an object of; text copies of an aborted call."""
        if seen[0] != "raises":
            return False
        records = handed_out() if self.host else 0
        self.repeat(REPETITIONS, first, last)
        kept = (handed_out() - records) / REPETITIONS if self.host else 0
        # With memory gone for good, there is none for the text of the exception either.
        aborted = seen[2] == HOST_OUT_OF_MEMORY or (last - first > 1 and seen[1:] == ("MemoryError", ""))
        # The host remembers each in a block of its own.
        return bool(growth <= 2 * kept + (self.operation.texts if aborted else 0))

    def run(self, points: str, seed: int, progress: Progress) -> dict[str, Any]:
        self.host = "libtlklibs.so" in open("/proc/self/maps", encoding="ascii").read()
        for _ in range(4):
            self.usual, requests, _ = self.once(*NEVER)
        for way, (libraries, span) in WAYS.items():
            if way == GONE and self.operation.runs_in_circles:
                continue
            failing_memory.watch(*libraries)
            chosen: Sequence[int] = range(1, 1_000_000)
            if points != "all":
                _, requests, _ = self.once(*NEVER)
                last = requests + 1
                picked = random.Random(f"{seed} {self.operation.name} {way}").sample(
                    range(1, last + 1), min(int(points), last)
                )
                chosen = sorted(picked)
            for number in chosen:
                progress(way, number)
                faulthandler.dump_traceback_later(HANGS_AFTER, exit=True)
                if not self.point(way, number, span) and points == "all":
                    break
        return self.report


def same_kind(seen: Any, usual: Any) -> bool:
    """Of results that vary: a status stands first in both, or both are of one type; outputs can be missing."""
    if isinstance(seen, tuple) and isinstance(usual, tuple):
        return len(seen) == len(usual)
    return seen == usual or "NoneType" in (seen, usual)


def in_a_process_of_its_own(work: Callable[[Progress], Any]) -> dict[str, Any]:
    """What the work returned, or the signal that ended it and the progress that it had made."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        os.close(reader)
        faulthandler.dump_traceback_later(HANGS_AFTER, exit=True)
        try:
            text = json.dumps(work(lambda *where: os.pwrite(PROGRESS, json.dumps(where).ljust(120).encode(), 0)))
        except BaseException:  # noqa: BLE001 - it must not run on as a second sweep
            text = json.dumps({"trouble": traceback.format_exc()})
        os.write(writer, text.encode())
        os._exit(0)
    os.close(writer)
    with os.fdopen(reader, encoding="utf-8") as answer:
        text = answer.read()
    code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    if code or not text:
        return {"trouble": f"ended with {code} at {os.pread(PROGRESS, 120, 0).decode().strip()}"}
    told: dict[str, Any] = json.loads(text)
    return told


PROGRESS = os.memfd_create("progress")
# What goes to standard error within an import.
ERRORS = os.memfd_create("errors")


def main(family: str, points: str, seed: int, share: int = 0, shares: int = 1) -> None:
    answer = os.dup(1)
    # What the operations print is nobody's business here.
    os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
    faulthandler.enable()
    if family.startswith("import "):
        os.write(answer, json.dumps(import_sweep(family.split()[1], points, seed)).encode())
        return
    from operations import operations

    every = operations(family)[share::shares]
    if "libvswitch" in sys.modules:
        fill_caches()
    gc.collect()
    gc.freeze()
    gc.disable()
    if points == "few":
        # Of a family with thousands of operations.
        every = random.Random(f"{seed} {family}").sample(every, FEW)
        points = "1"
    total: collections.Counter[str] = collections.Counter()
    problems = []
    for operation in every:
        report = in_a_process_of_its_own(
            functools.partial(Sweep(operation).run, points, seed)
        )
        if "trouble" in report:
            problems.append([operation.name, report["trouble"]])
            continue
        problems += report["problems"]
        total.update({name: count for name, count in report.items() if isinstance(count, int)})
    os.write(answer, json.dumps({"operations": len(every), **total, "problems": problems}).encode())


def native_import(name: str) -> Callable[[], object]:
    """What is native of an import, prepared: the interpreter's own import machinery runs in circles without memory."""
    if name == "_libvswitch":
        return functools.partial(_imp.create_dynamic, importlib.util.find_spec(name))
    # Completely: without memory it would leave names out, which the layer cannot do without.
    importlib.import_module("_libvswitch")
    found = importlib.util.find_spec(name)
    assert found
    layer = importlib.util.module_from_spec(found)
    sys.modules[name] = layer
    records = importlib.import_module("libvswitch._records")
    return functools.partial(records.install, layer)


def import_once(name: str, first: int, last: int, again: Callable[[], object] = lambda: None) -> dict[str, Any]:
    """In a process that has not imported the module: fails it may, and be tried again, of which `again` is told."""
    made, error, requests, failures = failing_memory.attempt(native_import(name), first, last)
    report = {"requests": requests, "failures": failures, "error": error is not None and repr(error)[:150]}
    if name == "libvswitch":
        made = sys.modules[name]
    if error is not None:
        sys.modules.pop(name, None)
        again()
        made = __import__(name)
        assert (made.VSInfo() if name == "libvswitch" else made.new_VSInfo()) is not None
    return report | {"names": len(vars(made))}


# The C library's, with its messages, where it has no memory for a library's variables of a thread.
LOADER_ENDS = 127
# And where it had none for its own lists: the next time it gives out a library whose addresses it has not filled in.
AGAIN = "imported again"
LOADER_SAYS = (b"cannot allocate memory for thread-local data: ABORT\n", b"out of memory\n")


def import_sweep(name: str, points: str, seed: int) -> dict[str, Any]:
    os.set_inheritable(ERRORS, True)
    fcntl.fcntl(ERRORS, fcntl.F_SETFL, os.O_APPEND)
    os.dup2(ERRORS, 2)
    usual = in_a_process_of_its_own(lambda _: import_once(name, *NEVER))
    summary: dict[str, Any] = {
        "operations": 1,
        "requests": usual["requests"],
        "points": 0,
        "failed": 0,
        "incomplete": 0,
        "ended by the loader": 0,
        "left unfinished by the loader": 0,
        "problems": [],
    }
    for way, (libraries, span) in WAYS.items():
        failing_memory.watch(*libraries)
        numbers: Sequence[int] = range(1, usual["requests"] + 1)
        if points != "all":
            numbers = sorted(random.Random(f"{seed} {name} {way}").sample(numbers, int(points)))
        for number in numbers:
            report = in_a_process_of_its_own(
                lambda progress: (
                    progress(way, number),
                    import_once(name, number, min(number + span - 1, FOREVER), lambda: progress(way, number, AGAIN)),
                )[1]
            )
            said = os.pread(ERRORS, 4096, 0)
            os.ftruncate(ERRORS, 0)
            if report.get("trouble", "").startswith(f"ended with {LOADER_ENDS}") and said in LOADER_SAYS:
                summary["ended by the loader"] += 1
                continue
            if report.get("trouble", "").startswith(f"ended with -{signal.SIGSEGV}") and AGAIN in report["trouble"]:
                summary["left unfinished by the loader"] += 1
                continue
            if "trouble" in report:
                summary["problems"].append([name, way, number, f"{report} {said.decode(errors='replace')}"])
                continue
            if not report["failures"]:
                break
            summary["points"] += 1
            summary["failed"] += bool(report["error"])
            # Names that could not be made are left out.
            summary["incomplete"] += not report["error"] and report["names"] < usual["names"]
    return summary


def fill_caches() -> None:
    """The layer keeps instances that are not used for the next ones."""
    import libvswitch

    kept = [libvswitch.VSInfo() for _ in range(300)]
    del kept


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2], *map(int, sys.argv[3:]))
