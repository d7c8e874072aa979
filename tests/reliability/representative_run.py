"""What a script does with module and layer, once: run by test_valgrind.py.

Usage: representative_run.py FAMILY STEP [FAMILY STEP ...]: every STEP-th operation of each family in turn
"""

import functools
import os
import sys
from typing import Any

import operations
from reference_sweep import attempt

# Memory that is documented as undefined until the script has filled it.
UNDEFINED = {f"repr of {record}" for record in operations.COUNTED}
# The address of the text stands at no multiple of eight, where valgrind does not look for it.
UNALIGNED_TEXT = {"HNQQuery_propValue_set", "HNQQuery.propValue written"}
MARGIN = 4096


def add_margins() -> None:
    """A number beyond 64 bits becomes the index -1, which is not refused."""
    address = operations.Kept.address
    kept: Any = operations.Kept
    kept.address = lambda size=operations.STORAGE, content=b"": (
        address(size + MARGIN, bytes(MARGIN) + content) + MARGIN
    )


def main(families: list[str], steps: list[str]) -> None:
    os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
    add_margins()
    kept = []
    for family, step in zip(families, steps, strict=True):
        every = operations.operations(family)[:: int(step)]
        kept.append(every)
        succeeding = 0
        for operation in every:
            if operation.name in UNDEFINED:
                continue
            succeeding += attempt(operation)
            if operation.name in UNALIGNED_TEXT:
                assert isinstance(operation.run, functools.partial)
                operation.run.func(*operation.run.args[:-1], None)
        least, least_succeeding = operations.LEAST[family]
        assert len(every) >= least // int(step), (family, len(every))
        # Steps of more than one take refusals or what succeeds as it comes.
        assert int(step) > 1 or succeeding >= least_succeeding - len(UNDEFINED), (family, succeeding)
    # With everything that is still in use in its place: what nothing leads to any more is lost.
    os._exit(0)


main(sys.argv[1::2], sys.argv[2::2])
