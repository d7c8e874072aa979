"""Calls each function named on the command line with null pointers, each call in a process of its own; prints what
came of it, one JSON object a call: the function, which arguments were null, how many elements the counts claimed, the
signal that ended the process, the result. Part of test_null_pointers.py."""

import json
import sys
from typing import Any

from host_calls import RELEASING, Host, Prototype, isolated, prototypes
from ready_arguments import ReadyArguments


def result_of(host: Host, prototype: Prototype, arguments: list[Any]) -> str:
    result = getattr(host, prototype.name)(*arguments)
    if prototype.has_status:
        return host.status(result)
    return "nothing" if not result else "something"


# The arguments that say how many elements an array has.
COUNTS = ("count", "num_ranges")


def main(names: list[str]) -> None:
    host = Host()
    ready = ReadyArguments(host)
    known = prototypes()

    def call(prototype: Prototype, nulls: list[int], claimed: int = 0) -> None:
        arguments = ready.of(prototype)
        for position, parameter in enumerate(prototype.parameters):
            if position in nulls:
                arguments[position] = None
            elif claimed and not parameter.is_pointer and parameter.name in COUNTS:
                arguments[position] = claimed
        ended_by, result = isolated(lambda: result_of(host, prototype, arguments))
        null_names = [prototype.parameters[position].name for position in nulls]
        outcome = {"function": prototype.name, "null": null_names, "claimed": claimed}
        print(json.dumps(outcome | {"signal": ended_by, "result": result}))

    for name in names:
        prototype = known[name]
        pointers = prototype.pointers()
        # What releases memory takes none of ours.
        if name not in RELEASING:
            call(prototype, [])
        for position in pointers:
            call(prototype, [position])
            if any(not p.is_pointer and p.name in COUNTS for p in prototype.parameters):
                call(prototype, [position], claimed=1)
        call(prototype, pointers)


main(sys.argv[1:])
