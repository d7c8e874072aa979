"""Documents and their parts as YAML that people read: objects and collections a member a line, values in one line."""

from __future__ import annotations

import json
import re
from collections.abc import Iterable, Iterator, Mapping
from typing import Any, Final, Union

from yaml.nodes import ScalarNode
from yaml.resolver import Resolver

# Which members stand in lines of their own: a mapping by the member's name, `*` for any other; nothing: in one line.
Lines = Mapping[str, Union["Lines", "Everything"]]


class Everything:
    """All mappings below stand in lines of their own."""

    def get(self, name: str, default: object = None) -> Everything:
        """What holds of a member."""
        return self


EVERYTHING: Final = Everything()
_ENTRIES: Final[Lines] = {}
PORT: Final[Lines] = {"mirrors": _ENTRIES, "properties": _ENTRIES, "observed": EVERYTHING}
SWITCH: Final[Lines] = {
    **PORT,
    "host_properties": _ENTRIES,
    "teaming_policies": _ENTRIES,
    "ports": {"*": PORT},
    "uplink_ports": {"*": PORT},
}
DOCUMENT: Final[Lines] = {"switches": {"*": SWITCH}, "runtime_options": _ENTRIES, "observed": EVERYTHING}

# What YAML 1.1 has beyond PyYAML's own reading of it, and the numbers of 1.2.
_OTHER = re.compile(r"y|Y|n|N|0o[0-7]+|[-+]?(?:\.[0-9]+|[0-9]+(?:\.[0-9]*)?)(?:[eE][-+]?[0-9]+)?")
_resolver = Resolver()
# What a text without quotes cannot be: what begins like something else, ends like a key, or holds a key or a comment.
_NOT_PLAIN = re.compile(r"(?:[,\[\]{}#&*!|>'\"%@`?:\s]|-(?:\s|$)|---|\.\.\.).*|.*[:\s]|.*(?::\s|\s#).*|", re.DOTALL)


def lines_at(names: Iterable[str]) -> Lines | Everything | None:
    """How the member of a document at a path is written: what `to_yaml` takes; None: in one line."""
    found: Lines | Everything | None = DOCUMENT
    for name in names:
        if found is not None:
            found = found.get(name, found.get("*"))
    return found


def to_yaml(value: object, lines: Lines | Everything | None = DOCUMENT) -> str:
    """A plain value (of dicts, lists, texts, numbers, truth values and None) as YAML with a newline at its end, which
    readers of YAML 1.1 and 1.2 take for the same. `lines`: see `lines_at`."""
    if isinstance(value, Mapping) and value and lines is not None:
        return "".join(_block(value, lines, ""))
    return _flow(value) + "\n"


def _block(members: Mapping[Any, Any], lines: Lines | Everything, indent: str) -> Iterator[str]:
    for name, value in members.items():
        below = lines.get(str(name), lines.get("*"))
        if isinstance(value, Mapping) and value and below is not None:
            yield f"{indent}{_scalar(str(name), flow=False)}:\n"
            yield from _block(value, below, indent + "  ")
        else:
            yield f"{indent}{_scalar(str(name), flow=False)}: {_flow(value, flow=False)}\n"


def _flow(value: object, *, flow: bool = True) -> str:
    if isinstance(value, Mapping):
        return "{" + ", ".join(f"{_scalar(str(name))}: {_flow(one)}" for name, one in value.items()) + "}"
    if isinstance(value, (list, tuple)):
        return "[" + ", ".join(map(_flow, value)) + "]"
    if isinstance(value, str):
        return _scalar(value, flow=flow)
    return json.dumps(value)


def _scalar(text: str, *, flow: bool = True) -> str:
    """A text, in double quotes where it would be taken for something else without."""
    plain = text.isprintable() and not _NOT_PLAIN.fullmatch(text) and not (flow and set(text) & set(",?[]{}"))
    if plain and not _OTHER.fullmatch(text) and not _is_no_text(text):
        return text
    return json.dumps(text, ensure_ascii=not text.isprintable())


def _is_no_text(text: str) -> bool:
    tag: str = _resolver.resolve(ScalarNode, text, (True, False))
    return tag != "tag:yaml.org,2002:str"
