"""All named constants of the library with what they mean."""

from __future__ import annotations

import functools
from dataclasses import dataclass

from vswitch.enums import with_constants

__all__ = ["Constant", "constants"]


@dataclass(frozen=True, slots=True)
class Constant:
    """A named constant of the library."""

    name: str
    """Its name in `libvswitch`."""
    value: int | str
    """Its number, or its text."""
    family: str
    """The family that it is declared in."""
    meaning: str
    """What it means, in one line; of one that is in no enumeration, what its family is for."""


@functools.cache
def _families() -> dict[str, tuple[str, tuple[str, ...]]]:
    """By name of the family what it is for, and its constants, in the order of declaration."""
    import json
    from pathlib import Path

    table = json.loads(Path(__file__).with_name("families.json").read_text(encoding="utf-8"))
    return {name: (text, tuple(constants)) for name, text, constants in table}


def constants() -> dict[str, Constant]:
    """All named constants of the library by name, in the order of declaration."""
    import libvswitch

    meanings: dict[str, str] = {member.constant: member.meaning for kind in with_constants() for member in kind}
    return {
        name: Constant(name, getattr(libvswitch, name), family, meanings.get(name, text))
        for family, (text, names) in _families().items()
        for name in names
    }
