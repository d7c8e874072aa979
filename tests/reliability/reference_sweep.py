"""Runs each operation of a family many times and prints, one JSON object, those after which there are more references
or more memory than before, or fewer. Part of test_references.py.

What counts: the blocks of the interpreter's own allocator (a lost reference keeps its object), the bytes of the
system's (larger objects, native memory), the references of each object that lives anyway (None, numbers, classes, the
arguments: one that is given back too often shows there only), and all references under an interpreter that counts them.

Usage: reference_sweep.py FAMILY ROUNDS
"""

import array
import builtins
import faulthandler
import functools
import gc
import json
import os
import pathlib
import sys
import types
from typing import Any

import heap

# What changes again, and after many more rounds in each of them, is no cache that fills.
AGAIN = 2
MANY = 100
# After so many findings the sweep ends: what is given back too often must not come to its end.
MOST = 5
# The smallest chunk of the system's allocator.
CHUNK = 32
# References of ours to each object that is watched, so that it outlives those that are given back too often.
HELD = 4000
COUNTS_ALL = hasattr(sys, "gettotalrefcount")


def attempt(operation: Any) -> bool:
    """Whether it succeeded. What always fails balances easily; refusals are operations, too."""
    prepared = operation.prepare()
    result = None
    try:
        result = operation.run(*prepared)
        succeeds = True
    except Exception:  # noqa: BLE001 - whichever: it is counted
        succeeds = False
    operation.discard(result, *prepared)
    return succeeds


def living_objects() -> list[Any]:
    """What is there whatever an operation does: its references must be as many afterwards."""
    modules = [sys.modules[name] for name in ("_libvswitch", "libvswitch") if name in sys.modules]
    found = [None, True, False, NotImplemented, ..., (), "", b"", *range(-5, 257)]
    found += map(chr, range(256))
    found += (bytes([number]) for number in range(256))
    for names in (vars(builtins), vars(types), *map(vars, modules)):
        found += (value for value in names.values() if isinstance(value, type))
    for module in modules:
        found += (module, vars(module))
    return found


def parts(value: object, depth: int = 0) -> list[Any]:
    """An operation's function with all that it holds: functions, arguments, variables."""
    found = [value]
    inner: tuple[Any, ...] | list[Any]
    if isinstance(value, functools.partial):
        inner = (value.func, *value.args, *(value.keywords or {}).values())
    elif isinstance(value, types.FunctionType):
        cells = (cell.cell_contents for cell in value.__closure__ or ())
        inner = (*cells, *(value.__defaults__ or ()), *value.__code__.co_consts)
    elif isinstance(value, (types.MethodType, types.BuiltinMethodType)):
        inner = (value.__self__,)
    elif isinstance(value, (tuple, list)) and len(value) < 100:
        inner = value
    else:
        inner = ()
    for item in inner if depth < 4 else ():
        found += parts(item, depth + 1)
    return found


def described(value: object) -> str:
    return f"references to a {type(value).__name__}: {value!r:.60}"


class Counters:
    """What is counted for one operation, twice: numbers in arrays that are there before, and no objects."""

    def __init__(self, living: list[Any], operation: Any) -> None:
        known = {id(value): value for value in parts(operation.run)}
        for value in living:
            known.pop(id(value), None)
        arguments = list(known.values())
        self.watched = [*living, *arguments]
        self.held = [[value] * HELD for value in arguments]
        size = len(self.watched) + 3
        self.before, self.after = array.array("q", [0] * size), array.array("q", [0] * size)

    def read(self, numbers: "array.array[int]") -> None:
        gc.collect()
        # It keeps the names that were looked up.
        sys._clear_type_cache()
        numbers[:-3] = array.array("q", map(sys.getrefcount, self.watched))
        numbers[-3] = sys.getallocatedblocks()
        numbers[-2] = heap.bytes_in_use() // CHUNK
        numbers[-1] = sys.gettotalrefcount() if COUNTS_ALL else 0

    def changes(self) -> list[int]:
        return [after - before for before, after in zip(self.before, self.after, strict=True)]

    def name(self, position: int) -> str:
        if position < len(self.watched):
            return described(self.watched[position])
        return ("blocks", "memory", "references in all")[position - len(self.watched)]


def deviations(counters: Counters, operation: Any, rounds: int) -> dict[int, int]:
    """By how much each counter differs after so many rounds, where that is as much as something in each round."""
    counters.read(counters.before)
    for _ in range(rounds):
        attempt(operation)
    counters.read(counters.after)
    if counters.before == counters.after:
        return {}
    return {position: change for position, change in enumerate(counters.changes()) if abs(change) >= rounds * 3 // 4}


def lasting(counters: Counters, operation: Any, rounds: int) -> list[Any]:
    """The counters that every repetition changes in the same direction, and by how much a call does."""
    for _ in range(2):
        attempt(operation)
    found = deviations(counters, operation, rounds)
    for times in (rounds,) * AGAIN + (MANY,):
        if not found:
            return []
        again = deviations(counters, operation, times)
        found = {position: again[position] for position, change in found.items() if change * again.get(position, 0) > 0}
    return [[counters.name(position), change / MANY] for position, change in found.items()]


def main(family: str, rounds: int) -> None:
    faulthandler.enable()
    answer = os.dup(1)
    os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
    from operations import operations

    # A result with an error pending ends the process of a debug interpreter. The number that it comes of is read as -1,
    # which as an index has a sanitizer end it.
    without_quirks = COUNTS_ALL or "asan" in pathlib.Path("/proc/self/maps").read_text(encoding="utf-8")
    every = [operation for operation in operations(family) if not (operation.quirk and without_quirks)]
    living = list({id(value): value for value in living_objects()}.values())
    held: list[Any] = [[value] * HELD for value in living]
    gc.collect()
    gc.freeze()
    found = []
    succeeding = 0
    for operation in every:
        succeeding += attempt(operation)
        counters = Counters(living, operation)
        changed = lasting(counters, operation, rounds)
        if changed:
            found.append([operation.name, changed])
            held.append(counters)
        if len(found) == MOST:
            break
    os.write(
        answer,
        json.dumps({
            "operations": len(every), "succeeding": succeeding, "calls": rounds * len(every), "changing": found
        }).encode(),
    )
    # Without letting go of what has too few references.
    os._exit(0)


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]))
