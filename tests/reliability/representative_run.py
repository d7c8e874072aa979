"""What a script does with module and layer, once: run by test_valgrind.py.

Usage: representative_run.py FAMILY STEP: every STEP-th operation of a family
"""

import os
import sys

from operations import operations


def main(family: str, step: int) -> None:
    os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
    every = operations(family)
    for operation in every[::step]:
        prepared = operation.prepare()
        result = None
        try:
            result = operation.run(*prepared)
        except Exception:  # noqa: BLE001 - refusals are part of the operations
            pass
        operation.discard(result, *prepared)
    # With everything that is still in use in its place: what nothing leads to any more is lost.
    os._exit(0)


main(sys.argv[1], int(sys.argv[2]))
