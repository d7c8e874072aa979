"""How records show themselves."""

from __future__ import annotations

from typing import Any

from libvswitch import Record, _records

MOST_FIELDS = 16
MOST_CHARACTERS = 48


def _shown(value: object) -> str:
    """The text of a plain value, cut to a bounded length."""
    text = repr(value)
    return text if len(text) <= MOST_CHARACTERS else f"{text[: MOST_CHARACTERS - 3]}..."


def _text_in(record: Record, field: Any) -> str | None:
    """The terminated printable text that an array of bytes holds, if that is what it holds."""
    contents: bytes = _records.read(field.__get__(record), field.size)
    text, terminator, _ = contents.partition(b"\0")
    return text.decode() if terminator and text.isascii() and text.decode().isprintable() and len(text) > 1 else None


def fields(record: Record) -> list[Any]:
    """The field attributes of a record, in the order of its memory."""
    kind = next(cls for cls in type(record).__mro__ if cls.__base__ is Record)
    return [member for member in vars(kind).values() if type(member) is _records.field]


def describe(record: Record) -> str:
    """The record's class, plain fields and address; nested records by their class, arrays if they hold a text, pointers
    not at all."""
    name = type(record).__name__
    if _records.released(record):
        return f"<{name} released>"
    try:
        address = int(record.this)
    except AttributeError:
        return f"<{name} without memory>"
    except TypeError:
        return f"<{name} holding {record.this!r}>"
    parts = []
    for field in fields(record):
        if field.kind in ("scalar", "bits", "text", "mac"):
            parts.append(f"{field.__name__}={_shown(field.__get__(record))}")
        elif field.kind == "record":
            parts.append(f"{field.__name__}=<{type(field.__get__(record)).__name__}>")
        elif field.kind == "array" and (text := _text_in(record, field)):
            parts.append(f"{field.__name__}={_shown(text)}")
    if len(parts) > MOST_FIELDS:
        parts[MOST_FIELDS:] = ["..."]
    return f"<{name} {', '.join(parts)} at 0x{address:x}>" if parts else f"<{name} at 0x{address:x}>"
