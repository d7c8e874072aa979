"""What a member of a document may be: each form reads a plain value, refuses a wrong one with its place, and says
itself as JSON Schema."""

from __future__ import annotations

import re
from collections.abc import Callable, Mapping
from typing import Any

from vswitch._similar import did_you_mean
from vswitch.desired.names import joined
from vswitch.enums._member import Bits, Number
from vswitch.errors import DocumentError
from vswitch.values import base

Schema = dict[str, Any]


def named(given: object) -> str:
    """What a wrong value is called in errors."""
    if given is None:
        return "null"
    if isinstance(given, bool):
        return str(given).lower()
    if isinstance(given, float):
        return str(given)
    if isinstance(given, int):
        return "a number"
    if isinstance(given, str):
        return "a text"
    if isinstance(given, Mapping):
        return "a mapping"
    return "a list" if isinstance(given, (list, tuple)) else f"a {type(given).__name__}"


class Form:
    """What a member may be."""

    wanted = "something else"

    def read(self, given: Any, path: str) -> Any:
        """The value that is meant. DocumentError with the place for anything that is not of this form."""
        raise NotImplementedError

    def schema(self) -> Schema:
        """The same as JSON Schema."""
        raise NotImplementedError

    def refuse(self, given: object, path: str) -> DocumentError:
        """The error for a value of another type."""
        return DocumentError(path, f"{self.wanted} is wanted, not {named(given)}")


class Text(Form):
    """A text without NUL."""

    wanted = "a text"

    def __init__(self, check: Callable[[str], object] | None = None, pattern: str = "") -> None:
        self.check, self.pattern = check, pattern

    def read(self, given: Any, path: str) -> Any:
        if type(given) is not str:
            if isinstance(given, str):
                given = str(given)
            elif isinstance(given, (int, float)):
                shown = str(given).lower() if isinstance(given, bool) else given
                raise DocumentError(path, f'a text is wanted: write "{shown}"')
            else:
                raise self.refuse(given, path)
        if not given.isascii() or "\0" in given:
            check_text(given, path)
        if self.check is None:
            return given
        try:
            return self.check(given)
        except ValueError as error:
            raise DocumentError(path, str(error)) from None

    def schema(self) -> Schema:
        return {"type": "string", "pattern": self.pattern} if self.pattern else {"type": "string"}


def check_text(given: str, path: str) -> None:
    """DocumentError for a text that the library cannot take."""
    if "\0" in given:
        raise DocumentError(path, "a text without NUL is wanted")
    try:
        given.encode()
    except UnicodeEncodeError:
        raise DocumentError(path, "a text of Unicode characters is wanted") from None


class Whole(Form):
    """A whole number."""

    wanted = "a whole number"

    def read(self, given: Any, path: str) -> Any:
        if type(given) is not int:
            if not isinstance(given, int) or isinstance(given, bool):
                raise self.refuse(given, path)
            given = int(given)
        if not -(1 << 63) <= given < 1 << 64:
            raise DocumentError(path, "a number of at most 64 bits is wanted")
        return given

    def schema(self) -> Schema:
        return {"type": "integer", "minimum": -(1 << 63), "maximum": (1 << 64) - 1}


class Truth(Form):
    """True or false."""

    wanted = "true or false"

    def read(self, given: Any, path: str) -> Any:
        if not isinstance(given, bool):
            raise self.refuse(given, path)
        return given

    def schema(self) -> Schema:
        return {"type": "boolean"}


class Choice(Form):
    """A member of an enumeration by name, or a number."""

    wanted = "a name"

    def __init__(self, kind: type[Number]) -> None:
        self.kind = kind

    def read(self, given: Any, path: str) -> Any:
        if isinstance(given, int) and not isinstance(given, bool):
            return self.kind.of(Whole().read(given, path))
        if not isinstance(given, str):
            raise self.refuse(given, path)
        try:
            return self.kind.from_json(given)
        except ValueError as error:
            raise DocumentError(path, f"{error}{did_you_mean(given, map(str, self.kind))}") from None

    def schema(self) -> Schema:
        return {"anyOf": [{"enum": all_names(self.kind)}, Whole().schema()]}


def all_names(kind: type[Number] | type[Bits]) -> list[str]:
    """Every text that names a member."""
    names: list[str] = []
    for name, member in kind.__members__.items():
        names += [name.lower().replace("_", "-"), name, member.constant]
    return list(dict.fromkeys(names))


class Flags(Form):
    """Bits by their names: a list, or one text with commas; or a number."""

    wanted = "a list of names"

    def __init__(self, kind: type[Bits]) -> None:
        self.kind = kind

    def read(self, given: Any, path: str) -> Any:
        if isinstance(given, str) or (isinstance(given, int) and not isinstance(given, bool)):
            return self._of(given, path)
        if not isinstance(given, (list, tuple)):
            raise self.refuse(given, path)
        bits = self.kind(0)
        for index, part in enumerate(given):
            place = joined(path, index)
            if not isinstance(part, (str, int)) or isinstance(part, bool):
                raise DocumentError(place, f"a name is wanted, not {named(part)}")
            bits |= self._of(part, place)
        return bits

    def _of(self, given: Any, path: str) -> Any:
        if isinstance(given, int) and not 0 <= given < 1 << 64:
            raise DocumentError(path, "bits of at most 64 are wanted")
        try:
            return self.kind.from_json(given)
        except ValueError as error:
            choices = (str(one) for one in self.kind)
            raise DocumentError(path, f"{error}{did_you_mean(given, choices)}") from None

    def schema(self) -> Schema:
        number = {"type": "integer", "minimum": 0, "maximum": (1 << 64) - 1}
        names = all_names(self.kind)
        one = "(?:" + "|".join(map(re.escape, names)) + "|[0-9]{1,19})"
        joined_names = {"type": "string", "pattern": rf"^\s*(?:{one}\s*(?:,\s*{one}\s*)*)?$"}
        return {"anyOf": [{"type": "array", "items": {"anyOf": [joined_names, number]}}, joined_names, number]}


class Listed(Form):
    """A list of such."""

    wanted = "a list"

    def __init__(self, form: Form) -> None:
        self.form = form

    def read(self, given: Any, path: str) -> Any:
        if not isinstance(given, (list, tuple)):
            raise self.refuse(given, path)
        read = self.form.read
        return tuple([read(one, f"{path}/{index}") for index, one in enumerate(given)])

    def schema(self) -> Schema:
        return {"type": "array", "items": self.form.schema()}


class Maybe(Form):
    """Such, or null."""

    def __init__(self, form: Form) -> None:
        self.form = form

    def read(self, given: Any, path: str) -> Any:
        return None if given is None else self.form.read(given, path)

    def schema(self) -> Schema:
        return {"anyOf": [self.form.schema(), {"type": "null"}]}


class Span(Form):
    """A range of numbers: `10`, `"10"`, `"10-19"`, or a pair."""

    wanted = "a range"

    def read(self, given: Any, path: str) -> Any:
        if isinstance(given, (list, tuple)):
            ends = tuple(Whole().read(one, joined(path, index)) for index, one in enumerate(given))
            if len(ends) != 2:
                raise DocumentError(path, "a range has two ends")
            return ends
        if isinstance(given, bool) or not isinstance(given, (int, str)):
            raise self.refuse(given, path)
        if isinstance(given, str) and not re.fullmatch(_SPAN, given):
            raise DocumentError(path, f"not a range: {given!r}")
        return base.span(given)

    def schema(self) -> Schema:
        pair = {"type": "array", "items": Whole().schema(), "minItems": 2, "maxItems": 2}
        return {"anyOf": [{"type": "string", "pattern": _SPAN}, Whole().schema(), pair]}


_SPAN = "^[0-9]{1,10}(?:-[0-9]{1,10})?$"


class Record(Form):
    """A mapping that makes a value: its fields and their forms."""

    wanted = "a mapping"

    def __init__(self, kind: type[base.Value] | None, required: tuple[str, ...] = (), **fields: Form) -> None:
        self.kind, self.required, self.fields = kind, required, fields

    def read(self, given: Any, path: str) -> Any:
        if isinstance(given, base.Value) and self.kind is not None and isinstance(given, self.kind):
            return given
        values = self.read_fields(given, path)
        return values if self.kind is None else self.make(values, path)

    def read_fields(self, given: Any, path: str) -> dict[str, Any]:
        """The fields that are given. DocumentError for unknown, wrong and missing ones."""
        if not isinstance(given, dict):
            raise self.refuse(given, path)
        values = {}
        for name, one in given.items():
            form = self.fields.get(name)
            if form is None:
                raise no_member(path, name, self.fields)
            values[name] = form.read(one, f"{path}/{name}")
        for name in self.required:
            if name not in values:
                raise DocumentError(joined(path, name), "must be there")
        return values

    def make(self, values: Mapping[str, Any], path: str) -> Any:
        """The value of its fields."""
        assert self.kind is not None
        try:
            return self.kind(**values)
        except (TypeError, ValueError) as error:
            found = re.match(rf"{self.kind.__name__}\.(\w+): (.*)", str(error), re.DOTALL)
            if found:
                raise DocumentError(joined(path, found[1]), found[2]) from None
            raise DocumentError(path, str(error)) from None

    def schema(self) -> Schema:
        made: Schema = {
            "type": "object",
            "properties": {name: form.schema() for name, form in self.fields.items()},
            "additionalProperties": False,
        }
        if self.required:
            made["required"] = list(self.required)
        return made


def no_member(path: str, name: object, known: Mapping[str, object]) -> DocumentError:
    """The error for a member that there is not."""
    return DocumentError(joined(path, str(name)), f"no such member{did_you_mean(str(name), known)}")


class Either(Form):
    """One form for plain values (texts or numbers), another for mappings."""

    def __init__(self, wanted: str, plain: Form, record: Form, kinds: tuple[type, ...]) -> None:
        self.wanted, self.plain, self.record, self.kinds = wanted, plain, record, kinds

    def read(self, given: Any, path: str) -> Any:
        if isinstance(given, (dict, base.Value)):
            return self.record.read(given, path)
        if not isinstance(given, self.kinds) or isinstance(given, bool):
            raise self.refuse(given, path)
        return self.plain.read(given, path)

    def schema(self) -> Schema:
        return {"anyOf": [self.plain.schema(), self.record.schema()]}


class Converted(Form):
    """A form whose value is made into another."""

    def __init__(self, form: Form, make: Callable[[Any], Any]) -> None:
        self.form, self.make = form, make

    def read(self, given: Any, path: str) -> Any:
        return self.make(self.form.read(given, path))

    def schema(self) -> Schema:
        return self.form.schema()
