"""Paths of a document: the names on the way to a member, `/` in a name as `~1` and `~` as `~0`."""

from __future__ import annotations


def joined(path: str, name: str | int) -> str:
    """The path of a member or element below `path`."""
    if not isinstance(name, str):
        text = str(name)
    elif "/" in name or "~" in name:
        text = name.replace("~", "~0").replace("/", "~1")
    else:
        text = name
    return f"{path}/{text}" if path else text


def path_of(*names: str) -> str:
    """The path of a member by the names on the way to it."""
    path = ""
    for name in names:
        path = joined(path, name)
    return path


def split(path: str) -> list[str]:
    """The names in a path."""
    return [part.replace("~1", "/").replace("~0", "~") for part in path.split("/")] if path else []
