"""Value types: immutable data that knows no host, and for each its way to and from the native record.

A module of a topic is imported when it is first used, `values.mac.MacEntry`: making a class of values costs more than a
call of the library.
"""

from __future__ import annotations

from functools import cache
from importlib import import_module
from types import ModuleType
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from vswitch.values import codecs as codecs
    from vswitch.values import link as link
    from vswitch.values import mac as mac
    from vswitch.values import mirror as mirror
    from vswitch.values import mirror_table as mirror_table
    from vswitch.values import multicast as multicast
    from vswitch.values import options as options
    from vswitch.values import properties as properties
    from vswitch.values import security as security
    from vswitch.values import statistics as statistics
    from vswitch.values import teaming as teaming
    from vswitch.values import vlan as vlan

_TOPICS = frozenset(
    "codecs link mac mirror mirror_table multicast options properties security statistics teaming vlan".split()
)


def __getattr__(name: str) -> ModuleType:
    """The module of a topic, when it is first used."""
    if name not in _TOPICS:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    return import_module(f"{__name__}.{name}")


@cache
def type_at(place: str) -> Any:
    """The type, or whatever else it is, at a place such as "mac.MacEntry"."""
    topic, _, name = place.partition(".")
    return getattr(import_module(f"{__name__}.{topic}"), name)
