"""Documents: YAML 1.2 and JSON texts as plain values, within limits, and what they want."""

from __future__ import annotations

import json
import re
from collections import Counter
from collections.abc import Mapping
from itertools import islice
from pathlib import Path
from typing import Any

from vswitch.desired.forms import named
from vswitch.desired.names import joined
from vswitch.desired.schema import DOCUMENT
from vswitch.errors import DocumentError

MOST_BYTES = 64 << 20
MOST_NODES = 1_000_000
MOST_LINES = 4_000_000
MOST_DEPTH = 32
MOST_DIGITS = 40


def read(document: object) -> dict[str, Any]:
    """The members of a document, checked: a dict, a path, or a text of YAML or JSON. DocumentError with the place for
    whatever is wrong in it, OSError for a file that cannot be read, TypeError for anything else."""
    if isinstance(document, Path):
        plain = load(document)
    elif isinstance(document, str):
        plain = parse(document)
    elif isinstance(document, (bytes, bytearray)):
        plain = parse(_decoded(bytes(document)))
    elif isinstance(document, Mapping):
        plain = _Copy().value(document, None, 1)
    else:
        raise TypeError(f"a dict, a path or a text is wanted, not {type(document).__name__}")
    members: dict[str, Any] = DOCUMENT.read(plain, "")
    return members


def load(path: Path) -> Any:
    """The plain values of a file: JSON if its name ends so, else YAML."""
    with open(path, "rb") as file:
        data = file.read(MOST_BYTES + 1)
    return parse_json(_decoded(data)) if path.name.endswith(".json") else parse(_decoded(data))


def _decoded(data: bytes) -> str:
    if len(data) > MOST_BYTES:
        raise _too_long()
    try:
        return data.decode("utf-8-sig")
    except UnicodeDecodeError as error:
        raise DocumentError("", f"not UTF-8: byte {error.start}") from None


def _too_long() -> DocumentError:
    return DocumentError("", f"longer than {MOST_BYTES >> 20} MiB")


def _too_deep(path: str) -> DocumentError:
    return DocumentError(path, f"more than {MOST_DEPTH} deep")


def _too_many(path: str) -> DocumentError:
    return DocumentError(path, f"more than {MOST_NODES:,} values")


# The way to a value, as pairs of the way before and a name: only errors need its text.
_Way = tuple[Any, str | int] | None


def _text_of(way: _Way) -> str:
    names: list[str | int] = []
    while way is not None:
        way, name = way
        names.append(name)
    path = ""
    for name in reversed(names):
        path = joined(path, name)
    return path


class _Copy:
    """Plain values out of a dict of the caller's, within the limits."""

    def __init__(self) -> None:
        self.nodes = 0

    def value(self, given: Any, way: _Way, depth: int) -> Any:
        self.nodes += 1
        if self.nodes > MOST_NODES:
            raise _too_many(_text_of(way))
        if type(given) in _LEAVES:
            return given
        if isinstance(given, Mapping):
            if depth > MOST_DEPTH:
                raise _too_deep(_text_of(way))
            self.nodes += len(given)
            if self.nodes > MOST_NODES:
                raise _too_many(_text_of(way))
            made: dict[str, Any] = {}
            for key, value in given.items():
                name = key if type(key) is str else self.key(key, way)
                if name in made:
                    raise DocumentError(_text_of((way, name)), "stands twice")
                made[name] = value if type(value) in _LEAVES else self.value(value, (way, name), depth + 1)
            return made
        if isinstance(given, (list, tuple)):
            if depth > MOST_DEPTH:
                raise _too_deep(_text_of(way))
            return [self.value(one, (way, index), depth + 1) for index, one in enumerate(given)]
        return given

    def key(self, key: object, way: _Way) -> str:
        """The text of a key; a number is its decimal text."""
        if isinstance(key, str):
            return str(key)
        if isinstance(key, int) and not isinstance(key, bool):
            return str(int(key))
        raise DocumentError(_text_of(way), f"a key is a text, not {named(key)}")


_LEAVES = (str, int, bool, type(None))


# ---- JSON -----------------------------------------------------------------------------------------------------


class _Pairs(list[tuple[str, Any]]):
    """The members of an object as they stand."""


def _no_constant(name: str) -> Any:
    raise DocumentError("", f"not JSON: {name}")


def parse_json(text: str) -> Any:
    """The plain values of a JSON text."""
    if len(text) > MOST_BYTES:
        raise _too_long()
    if text.count(",") > MOST_NODES and _STRING.sub("", text).count(",") > MOST_NODES:
        raise _too_many("")
    try:
        loaded = json.loads(text, object_pairs_hook=_Pairs, parse_constant=_no_constant, parse_int=_integer)
    except json.JSONDecodeError as error:
        raise DocumentError("", f"not JSON: line {error.lineno}, column {error.colno}: {error.msg}") from None
    except RecursionError:
        raise _too_deep(_deep_path(text)) from None
    return _Json().value(loaded, None, 1)


_STRING = re.compile(r'"(?:[^"\\]|\\.)*"')


def _integer(text: str) -> int:
    if len(text) > MOST_DIGITS:
        raise DocumentError("", f"a number of more than {MOST_DIGITS} digits")
    return int(text)


def _deep_path(text: str) -> str:
    """Where JSON is deeper than it may be."""
    path: list[str | int] = []
    key = ""
    for token in re.finditer(r'"(?:[^"\\]|\\.)*"|[][{}:,]', text):
        mark = token[0]
        if mark in "[{":
            path.append(0 if mark == "[" else "")
            if len(path) > MOST_DEPTH:
                break
        elif mark in "]}":
            path.pop()
        elif mark == "," and path and isinstance(path[-1], int):
            path[-1] += 1
        elif mark == ":" and path:
            path[-1] = json.loads(key)
        elif mark[0] == '"':
            key = mark
    made = ""
    for name in path[:MOST_DEPTH]:
        made = joined(made, name)
    return made


class _Json(_Copy):
    """The same of parsed JSON, whose objects are pairs."""

    def value(self, given: Any, way: _Way, depth: int) -> Any:
        if isinstance(given, _Pairs):
            self.nodes += 1
            if depth > MOST_DEPTH:
                raise _too_deep(_text_of(way))
            if self.nodes + len(given) > MOST_NODES:
                raise _too_many(_text_of(way))
            made: dict[str, Any] = {}
            for name, value in given:
                if name in made:
                    raise DocumentError(_text_of((way, name)), "stands twice")
                made[name] = self.value(value, (way, name), depth + 1)
            self.nodes += len(given)
            return made
        return super().value(given, way, depth)


# ---- YAML -----------------------------------------------------------------------------------------------------

_NUMBER = re.compile(r"[-+]?[0-9]+|0o[0-7]+|0x[0-9a-fA-F]+")
_WORDS = {
    **dict.fromkeys(("", "~", "null", "Null", "NULL"), None),
    **dict.fromkeys(("true", "True", "TRUE"), True),
    **dict.fromkeys(("false", "False", "FALSE"), False),
}


def resolved(text: str, path: str = "") -> Any:
    """What a plain scalar means in the core schema of YAML 1.2, without fractions."""
    if text in _WORDS:
        return _WORDS[text]
    if _NUMBER.fullmatch(text):
        if len(text) > MOST_DIGITS:
            raise DocumentError(path, f"a number of more than {MOST_DIGITS} digits")
        return int(text, 8 if text.startswith("0o") else 16 if text.startswith("0x") else 10)
    return text


def parse(text: str) -> Any:
    """The plain values of a YAML text."""
    size = len(text)
    if MOST_BYTES // 4 < size <= MOST_BYTES and not text.isascii():
        size = len(text.encode(errors="replace"))
    if size > MOST_BYTES:
        raise _too_long()
    reader = _Yaml(text)
    try:
        return reader.document()
    except reader.yaml.YAMLError as error:
        raise DocumentError(reader.path(), f"not YAML: {_yaml_reason(error)}") from None


def _yaml_reason(error: Any) -> str:
    mark = getattr(error, "problem_mark", None)
    problem = getattr(error, "problem", None) or getattr(error, "reason", None) or "it cannot be read"
    return f"line {mark.line + 1}, column {mark.column + 1}: {problem}" if mark is not None else str(problem)


_EVENTS_AROUND = 4  # the beginnings and ends of the text and of its document
# What ends a value, and as what it counts at most: a value on each side, or a mapping or list around it as well.
_ENDS = {"\n": 1, "\r": 1, "\x85": 1, "\u2028": 1, "\u2029": 1, ",": 2, ":": 3, "-": 2, "[": 2, "{": 2, "?": 3}
_BREAKS = "\n\r\x85\u2028\u2029"
_ASCII_ENDS = "".join(filter(str.isascii, _ENDS)).encode()


def most_values(text: str) -> int:
    """How many values a YAML text can have at most, by the characters that end them."""
    if text.isascii():
        # One pass instead of one for each.
        data = text.encode()
        ends = len(data) - len(data.translate(None, _ASCII_ENDS))
        if ends * 3 <= MOST_NODES - 8:
            return 8 + ends * 3
    return 8 + sum(text.count(mark) * values for mark, values in _ENDS.items())


_FLOW = re.compile(r"\s*[\[{]")
# Where a quoted text may begin in brackets, and the text. A quotation mark within a plain text begins nothing.
_QUOTED = re.compile(r"""([\[{,]\s*|(?<=["']):\s*|:\s+)(?:"(?:[^"\\]|\\.)*"|'[^']*(?:''[^']*)*')""")
_UNSURE = re.compile("[\"'#]")
_MEMBER = re.compile(r"^[^\s#&*!|>%@`?:,-][^:\n]*:(?:[ \n]|$)", re.MULTILINE)
_ELSEWHERE = ("\n ", "\n\t", "\n\n\n", "\r", '"', "'", "[", "{", "\n---", "\n...")
_PREFIX = 6 << 20  # enough of what is too much; the rest need not be looked at


def least_values(text: str) -> int:
    """How many values a YAML text has at least if it is none that is refused for something else; 0 where that takes
    reading it. In brackets a comma stands behind a value; what is not indented is an entry of the outermost mapping, or
    of a list in it, on each line."""
    if _FLOW.match(text):
        start = text[:_PREFIX]
        if '"' in start or "'" in start:
            start = _QUOTED.sub(r"\1", start)
        return _UNSURE.split(start, 1)[0].count(",")
    if not _MEMBER.match(text) or any(mark in text for mark in _ELSEWHERE):
        return 0
    return text.count("\n") - text.count("\n\n") - text.count("\n#") + len(_MEMBER.findall(text))


class _Anchored:
    """What an anchor names: the value, its nodes and how deep it is; `key`: its text as a key."""

    __slots__ = ("depth", "key", "nodes", "value")

    def __init__(self) -> None:
        self.value: Any = _UNFINISHED
        self.nodes = 0
        self.depth = 0
        self.key: str | None = None


_UNFINISHED = object()


class _Yaml:
    """A YAML text as a stream of events, of which plain values are made."""

    def __init__(self, text: str) -> None:
        import yaml

        self.yaml = yaml
        self.events: Any = None
        self.text = text
        self.names: list[str | int] = []
        self.anchors: dict[str, _Anchored] = {}
        self.nodes = 0

    def path(self) -> str:
        """The place that is being read."""
        made = ""
        for name in self.names:
            made = joined(made, name)
        return made

    def next(self) -> Any:
        return self.events.get_event()

    def parser(self) -> Any:
        """A stream of the text's events."""
        try:
            from yaml.cyaml import CParser
        except ImportError:
            return self.yaml.Loader(self.text)
        return CParser(self.text.encode(errors="surrogatepass"))

    def refuse_too_many(self) -> None:
        """Refuses a text of more values than may be, before any is made: making a million takes seconds."""
        yaml = self.yaml
        most = most_values(self.text)
        if most <= MOST_NODES:
            return
        if least_values(self.text) > MOST_NODES:
            raise _too_many("")
        # Empty lines are no values, and are read one by one all the same.
        if sum(self.text.count(mark) for mark in _BREAKS) > MOST_LINES:
            raise DocumentError("", f"more than {MOST_LINES:,} lines")
        parser = self.parser()
        if most <= 6 * MOST_NODES and hasattr(parser, "raw_parse"):
            # The library counts events faster than it gives them: one for a value, two for a list or a mapping.
            count = parser.raw_parse() - _EVENTS_AROUND
            lists = sum(self.text.count(mark) for mark in "[{-:?\n")
            if count > 2 * MOST_NODES or count - lists > MOST_NODES:
                raise _too_many("")
            parser = self.parser()
        events: Any = iter(parser.get_event, None)
        kinds = (yaml.ScalarEvent, yaml.AliasEvent, yaml.SequenceStartEvent, yaml.MappingStartEvent)
        seen: Counter[type] = Counter()
        while seen[yaml.StreamEndEvent] == 0:
            seen.update(map(type, islice(events, MOST_NODES // 8)))  # no loop of our own: that costs as much again
            if sum(seen[kind] for kind in kinds) > MOST_NODES:
                raise _too_many("")

    def document(self) -> Any:
        """The one document of the text."""
        yaml = self.yaml
        self.refuse_too_many()
        self.events = self.parser()
        self.next()
        event = self.next()
        if isinstance(event, yaml.StreamEndEvent):
            return None
        value, _ = self.node(self.next(), 1)
        self.next()
        if not isinstance(self.next(), yaml.StreamEndEvent):
            raise DocumentError("", "a second document")
        return value

    def count(self, nodes: int) -> None:
        self.nodes += nodes
        if self.nodes > MOST_NODES:
            raise _too_many(self.path())

    def node(self, event: Any, depth: int) -> tuple[Any, int]:
        """The value that begins with this event, and how deep it is."""
        yaml = self.yaml
        if isinstance(event, yaml.AliasEvent):
            return self.alias(event.anchor, depth)
        if event.tag is not None:
            raise DocumentError(self.path(), f"a tag: {event.tag}")
        self.count(1)
        anchored = None
        if event.anchor is not None:
            anchored = self.anchors[event.anchor] = _Anchored()
        before = self.nodes
        height = 0
        value: Any
        if isinstance(event, yaml.ScalarEvent):
            plain = event.style is None or event.style == ""
            text = event.value
            value = resolved(text, self.path() if len(text) > MOST_DIGITS else "") if plain else text
            if anchored is not None:
                anchored.key = event.value
        else:
            if depth > MOST_DEPTH:
                raise _too_deep(self.path())
            sequence = isinstance(event, yaml.SequenceStartEvent)
            value, height = self.sequence(depth) if sequence else self.mapping(depth)
            height += 1
        if anchored is not None:
            anchored.value, anchored.nodes, anchored.depth = value, self.nodes - before + 1, height
        return value, height

    def alias(self, name: str, depth: int) -> tuple[Any, int]:
        found = self.anchors.get(name)
        if found is None:
            raise DocumentError(self.path(), f"no anchor '{name}' before this alias")
        if found.value is _UNFINISHED:
            raise DocumentError(self.path(), f"the alias '{name}' stands in what it names")
        self.count(found.nodes)
        if depth - 1 + found.depth > MOST_DEPTH:
            raise _too_deep(self.path())
        return found.value, found.depth

    def sequence(self, depth: int) -> tuple[list[Any], int]:
        yaml = self.yaml
        made: list[Any] = []
        deepest = 0
        self.names.append(0)
        while not isinstance(event := self.next(), yaml.SequenceEndEvent):
            self.names[-1] = len(made)
            value, height = self.node(event, depth + 1)
            made.append(value)
            deepest = max(deepest, height)
        self.names.pop()
        return made, deepest

    def mapping(self, depth: int) -> tuple[dict[str, Any], int]:
        yaml = self.yaml
        made: dict[str, Any] = {}
        deepest = 0
        while not isinstance(event := self.next(), yaml.MappingEndEvent):
            key = self.key(event)
            self.names.append(key)
            if key in made:
                raise DocumentError(self.path(), "stands twice")
            made[key], height = self.node(self.next(), depth + 1)
            deepest = max(deepest, height)
            self.names.pop()
        return made, deepest

    def key(self, event: Any) -> str:
        """A key, which is a text as it stands."""
        yaml = self.yaml
        self.count(1)
        if isinstance(event, yaml.AliasEvent):
            found = self.anchors.get(event.anchor)
            if found is None or found.key is None:
                raise DocumentError(self.path(), "a key is a text")
            return found.key
        if not isinstance(event, yaml.ScalarEvent):
            raise DocumentError(self.path(), "a key is a text")
        if event.tag is not None:
            raise DocumentError(self.path(), f"a tag: {event.tag}")
        if event.anchor is not None:
            anchored = self.anchors[event.anchor] = _Anchored()
            anchored.value = resolved(event.value) if not event.style else event.value
            anchored.nodes, anchored.key = 1, event.value
        return str(event.value)
