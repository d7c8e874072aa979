"""Prints the value at a path: what scripts ask most, and so without the grammar where it need not be."""

from __future__ import annotations

from vswitch.cli.output import Style, put_value
from vswitch.desired.names import split
from vswitch.handles.host import Host
from vswitch.paths import value_at


def put_value_at(style: Style, path: str) -> None:
    """Prints the value in effect at a path. NotFound where there is none."""
    put_value(style, value_at(Host(), path), split(path))
