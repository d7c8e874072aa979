"""Looks at what operations are called with, and brings it into the form of the library's JSON."""

from __future__ import annotations

import json
import math
import os
import stat
from collections.abc import Iterable, Mapping
from types import NoneType
from typing import Any

from vswitch.simulated._results import SimulationError
from vswitch.simulated._values import Group

_LONGEST_BOOT = 64 << 20  # bytes of a boot description


def typed(name: str, value: object, *types: Any) -> Any:
    """The value, if it has one of the types."""
    if isinstance(value, types):
        return value
    wanted = " or ".join("None" if one is type(None) else one.__name__ for one in types)
    raise TypeError(f"{name}: {wanted} expected, not {type(value).__name__}")


def port_place(port: object) -> tuple[str, str]:
    """Where a port is; what is in it the library looks at."""
    return typed("port", port, tuple)  # type: ignore[no-any-return]


def nic_name(nic: object) -> str:
    """The name of a NIC."""
    return typed("nic", nic, str)  # type: ignore[no-any-return]


def microseconds(name: str, seconds: object, least: int, greatest: int) -> int:
    """Of seconds within a range."""
    number: float = typed(name, seconds, int, float)
    if not math.isfinite(number) or not least <= number <= greatest:
        raise ValueError(f"{name}: {least} to {greatest} seconds expected, not {seconds}")
    return round(number * 1_000_000)


def _plain(value: object) -> object:
    """For JSON: mappings of any kind as objects."""
    if isinstance(value, Mapping):
        return dict(value)
    raise TypeError(f"a boot description cannot have a {type(value).__name__}")


def boot_text(boot: Mapping[str, object] | str | os.PathLike[str] | None) -> bytes | None:
    """The text of a boot description: of a mapping, or of a file."""
    if boot is None:
        return None
    if isinstance(boot, Mapping):
        return json.dumps(boot, default=_plain).encode()
    path = os.fsdecode(boot)
    try:
        # Opening a pipe would wait for its other end.
        with open(path, "rb", opener=lambda name, flags: os.open(name, flags | os.O_NONBLOCK)) as file:
            if not stat.S_ISREG(os.fstat(file.fileno()).st_mode):
                raise OSError(0, "it is not a regular file")
            text = file.read(_LONGEST_BOOT + 1)
    except OSError as error:
        raise SimulationError(f"boot description {path}: cannot read it: {error.strerror}") from error
    if len(text) > _LONGEST_BOOT:
        raise SimulationError(f"boot description {path}: cannot read it: it is larger than {_LONGEST_BOOT} bytes")
    return text


def group_of(group: object) -> dict[str, object]:
    """A group, or its address alone, for JSON."""
    if isinstance(group, str):
        return {"address": group}
    address, sources, mode, version = typed("groups", group, Group)
    found: dict[str, object] = {"address": typed("groups: address", address, str)}
    found["sources"] = [typed("groups: sources", source, str) for source in sources]
    found["mode"] = typed("groups: mode", mode, str)
    if version is not None:
        found["version"] = typed("groups: version", version, int)
    return found


def many(name: str, values: object) -> Iterable[object]:
    """An iterable, but not one text."""
    if isinstance(values, str | bytes):
        raise TypeError(f"{name}: an iterable of texts expected, not one text")
    return typed(name, values, Iterable)  # type: ignore[no-any-return]


def fault_rule(
    kind: object, call: object, status: object, exception: object, message: object, milliseconds: object, skip: object,
    times: object, probability: object, seed: object,
) -> dict[str, object]:
    """A fault, for JSON."""
    rule: dict[str, object] = {
        "kind": typed("kind", kind, str),
        "call": typed("call", call, str, NoneType),
        "status": typed("status", status, str, NoneType),
        "exception": typed("exception", exception, str, NoneType),
        "message": typed("message", message, str, NoneType),
        "milliseconds": typed("milliseconds", milliseconds, int),
        "skip": typed("skip", skip, int),
        "times": typed("times", times, int, NoneType),
        "probability": typed("probability", probability, int, float),
        "seed": typed("seed", seed, int),
    }
    if not math.isfinite(typed("probability", probability, int, float)):
        raise ValueError(f"probability: 0 to 1 expected, not {probability}")
    return rule
