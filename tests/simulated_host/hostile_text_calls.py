"""Calls each function named on the command line with hostile texts, each call in a process of its own; prints what came
of it, one JSON object a call: the function, the argument, the kind of text, the signal that ended the process, the
result, and whether the host's state is what it was. Part of test_hostile_texts.py."""

import ctypes
import json
import sys

from host_calls import Host, Prototype, isolated, prototypes
from ready_arguments import ReadyArguments

TEXTS = {"too long": b"x" * 5000, "no UTF-8": b"\xff\xfe\x80name"}


def state(host: Host) -> bytes:
    image, length = ctypes.c_void_p(), ctypes.c_int()
    assert host.DVSQEL_StateGet(ctypes.addressof(image), ctypes.addressof(length)) == 0
    content = ctypes.string_at(image.value or 0, length.value)
    host.DVSQEL_DataFree(image.value)
    return content


def main(names: list[str]) -> None:
    host = Host()
    ready = ReadyArguments(host)

    def attempt(prototype: Prototype, position: int, text: bytes) -> str:
        arguments = ready.of(prototype)
        arguments[position] = text
        before = state(host)
        result = getattr(host, prototype.name)(*arguments)
        unchanged = state(host) == before
        name = host.status(result) if prototype.has_status else ("nothing" if not result else "something")
        return f"{name} {unchanged}"

    for name in names:
        prototype = prototypes()[name]
        for position, parameter in enumerate(prototype.parameters):
            if not parameter.is_text:
                continue
            for kind, text in TEXTS.items():
                ended_by, answer = isolated(
                    lambda: attempt(prototype, position, text)
                )  # noqa: B023 - it is over when this is
                result, _, unchanged = answer.partition(" ")
                print(json.dumps({"function": name, "argument": parameter.name, "kind": kind, "signal": ended_by,
                                  "result": result, "unchanged": unchanged == "True"}))


main(sys.argv[1:])
