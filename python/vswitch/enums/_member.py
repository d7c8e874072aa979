"""What the enumerations have in common: a member is a number and its meaning, with a form for JSON and for people."""

from __future__ import annotations

import enum
from collections.abc import Iterable
from typing import ClassVar, Self


def _hyphened(name: str) -> str:
    return name.lower().replace("_", "-")


def _refused(kind: str, given: object, choices: Iterable[str]) -> ValueError:
    return ValueError(f"{given!r} is no {kind}: use one of {', '.join(choices)}")


class Number(enum.IntEnum):
    """A number of which one holds. Made of a number and its meaning; `str` gives the name as it stands in JSON."""

    _value_: int
    meaning: str
    """What it means, in one line."""
    _pattern: ClassVar[str]

    def __new__(cls, number: int, meaning: str = "") -> Self:
        member = int.__new__(cls, number)
        member._value_ = number
        member.meaning = meaning
        return member

    def __init_subclass__(cls, constants: str = "", **options: object) -> None:
        """`constants`: the names of the constants in `libvswitch`, with `{}` for the member's."""
        super().__init_subclass__(**options)
        cls._pattern = constants

    @property
    def constant(self) -> str:
        """The name of the constant in `libvswitch`; empty where there is none."""
        return self._constant_of(self.name)

    def __str__(self) -> str:
        return _hyphened(self.name)

    def __format__(self, form: str) -> str:
        return format(int(self), form) if form else str(self)

    def to_json(self) -> str:
        """The name in lower case with hyphens."""
        return str(self)

    @classmethod
    def from_json(cls, given: object) -> Self | int:
        """The member for its form in JSON, its name or its constant's name; a number may be one that no member has.
        ValueError lists the choices; TypeError for what is neither a text nor a number."""
        if isinstance(given, str):
            for name, member in cls.__members__.items():
                if given in (_hyphened(name), name, member._constant_of(name) or name):
                    return member
            raise _refused(cls.__name__, given, map(str, cls))
        if isinstance(given, int) and not isinstance(given, bool):
            return cls.of(given)
        raise TypeError(f"a {cls.__name__} is wanted, not {type(given).__name__}")

    @classmethod
    def of(cls, number: int) -> Self | int:
        """The member of a number, or the number itself where none has it."""
        return cls._value2member_map_.get(number, int(number))  # type: ignore[return-value]

    def _constant_of(self, name: str) -> str:
        return self._pattern.format(name)


class Bits(enum.IntFlag):
    """Bits that hold together. Made of a number and its meaning; `str` joins the names of the bits."""

    _value_: int
    meaning: str
    """What a single bit means, in one line; empty for several bits."""
    _pattern: ClassVar[str]

    def __new__(cls, number: int, meaning: str = "") -> Self:
        # A bit may be the sign of the library's number: passed to a call, the member is that number. Its value, with
        # which bits are combined, has no sign.
        member = int.__new__(cls, number)
        member._value_ = number & 0xFFFFFFFF if number < 0 else number
        member.meaning = meaning
        return member

    @classmethod
    def _missing_(cls, value: object) -> Self:
        if not isinstance(value, int) or value < -(1 << 32):
            raise ValueError(f"{value!r} is no number for {cls.__name__}")
        bits = value & 0xFFFFFFFF if value < 0 else value
        found = cls._value2member_map_.get(bits)
        if isinstance(found, cls):
            return found
        signed = any(int.__lt__(member, 0) for member in cls) and bits >> 31 == 1
        made = int.__new__(cls, bits - (1 << 32) if signed else bits)
        made._value_ = bits
        made.meaning = ""
        known = [member for member in cls if member._value_ & bits]
        made._name_ = "|".join(map(str, [member.name for member in known])) or None
        if known and bits & ~cls._mask():
            made._name_ = f"{made._name_}|{bits & ~cls._mask()}"
        elif known or not bits:
            cls._value2member_map_[bits] = made
        return made

    @classmethod
    def _mask(cls) -> int:
        mask = 0
        for member in cls:
            mask |= member._value_
        return mask

    def __init_subclass__(cls, constants: str = "", **options: object) -> None:
        """`constants`: the names of the constants in `libvswitch`, with `{}` for the member's."""
        super().__init_subclass__(**options)
        cls._pattern = constants

    @property
    def constant(self) -> str:
        """The name of the constant in `libvswitch`; empty for several bits or none."""
        name = self._name_ or ""
        return self._constant_of(name) if name in type(self).__members__ else ""

    def _constant_of(self, name: str) -> str:
        return self._pattern.format(name)

    def to_json(self) -> list[str | int]:
        """The names of the bits in their order, unknown bits as one number at the end."""
        known = [member for member in type(self) if member._value_ & self._value_]
        rest = self._value_ & ~self._mask()
        return [*map(_bit_text, known), *([rest] if rest else [])]

    def __str__(self) -> str:
        return ", ".join(map(str, self.to_json()))

    def __format__(self, form: str) -> str:
        return format(int(self), form) if form else str(self)

    @classmethod
    def from_json(cls, given: object) -> Self:
        """The bits for a list of their forms in JSON, names, constants' names and numbers, or one text that joins such
        by commas, or a number. ValueError lists the choices; TypeError for anything else."""
        if isinstance(given, int) and not isinstance(given, bool):
            return cls(given)
        if isinstance(given, str):
            given = [part.strip() for part in given.split(",")] if given.strip() else []
        elif not isinstance(given, Iterable):
            raise TypeError(f"{cls.__name__} wants a list of names, not {type(given).__name__}")
        bits = cls(0)
        for part in given:
            bits |= cls._one(part)
        return bits

    @classmethod
    def _one(cls, given: object) -> Self:
        if isinstance(given, int) and not isinstance(given, bool):
            return cls(given)
        if not isinstance(given, str):
            raise TypeError(f"{cls.__name__} wants a list of names, not of {type(given).__name__}")
        for name, member in cls.__members__.items():
            if given in (_hyphened(name), name, member._constant_of(name)):
                return member
        if given.isdecimal() and given.isascii():
            return cls(int(given))
        raise _refused(cls.__name__, given, map(_bit_text, cls))


def _bit_text(bit: Bits) -> str:
    return _hyphened(bit.name or "")
