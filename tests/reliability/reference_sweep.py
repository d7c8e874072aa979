"""Under an interpreter that counts all references: runs each operation of a family many times and prints, one JSON
object, those after which there are more references or memory blocks than before. Part of test_references.py.

Usage: reference_sweep.py FAMILY
"""

import gc
import json
import os
import sys

ROUNDS = 40


def attempt(operation) -> None:
    prepared = operation.prepare()
    result = None
    try:
        result = operation.run(*prepared)
    except Exception:  # noqa: BLE001 - refusals are part of the operations
        pass
    operation.discard(result, *prepared)


def counts() -> tuple[int, int]:
    gc.collect()
    # It keeps the names that were looked up.
    sys._clear_type_cache()
    return sys.gettotalrefcount(), sys.getallocatedblocks()


def growth(operation) -> tuple[int, int]:
    before = counts()
    for _ in range(ROUNDS):
        attempt(operation)
    after = counts()
    return after[0] - before[0], after[1] - before[1]


def main(family: str) -> None:
    answer = os.dup(1)
    os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
    from operations import operations

    every = [operation for operation in operations(family) if not operation.quirk]
    for operation in every:
        for _ in range(2):
            attempt(operation)
    gc.collect()
    gc.freeze()
    found = []
    for operation in every:
        # What grows once has filled a cache; what grows each time by as much as there were rounds is lost.
        grown = [max(growth(operation)) for _ in range(2)]
        if min(grown) >= ROUNDS // 2:
            grown = [max(growth(operation)) for _ in range(4)]
            if min(grown) >= ROUNDS // 2:
                found.append([operation.name, grown])
    os.write(answer, json.dumps({"operations": len(every), "calls": 2 * ROUNDS * len(every), "growing": found}).encode())


if __name__ == "__main__":
    main(sys.argv[1])
