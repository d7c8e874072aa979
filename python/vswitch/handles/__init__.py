"""Handles: objects that are names, and ask the host that is in use at each use.

A module is imported when it is first used, `handles.port.Ports`: they lead to each other, and few scripts need all.
"""

from __future__ import annotations

from importlib import import_module
from types import ModuleType
from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from vswitch.handles import host as host
    from vswitch.handles import image as image
    from vswitch.handles import lags as lags
    from vswitch.handles import mac_table as mac_table
    from vswitch.handles import mirrors as mirrors
    from vswitch.handles import nic as nic
    from vswitch.handles import options as options
    from vswitch.handles import port as port
    from vswitch.handles import properties as properties
    from vswitch.handles import save_restore as save_restore
    from vswitch.handles import switch as switch
    from vswitch.handles import switches as switches
    from vswitch.handles import teaming_policies as teaming_policies
    from vswitch.handles import uplink as uplink

_MODULES = frozenset(
    "host image lags mac_table mirrors nic options port properties save_restore switch switches teaming_policies"
    " uplink".split()
)


def __getattr__(name: str) -> ModuleType:
    """The module of a kind of handles, when it is first used."""
    if name not in _MODULES:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    return import_module(f"{__name__}.{name}")
