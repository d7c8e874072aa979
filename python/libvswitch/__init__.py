"""Manage a host's virtual switches: what administration scripts import.

Everything of the native module `_libvswitch` is here under its own name: functions, constants, `cvar`. Beside it,
each native record is a class whose attributes are the record's fields::

    status, info = libvswitch.VSQEL_GetSwitchInfo("production")
    print(info.mtu, info.activePorts)

A class instance holds its record in `this`. Records that a script makes are freed with their instance; views
(nested records, array elements) keep the record alive in which they lie; what a library call returns is released
with `allocated(...)` or the library's own function, see `thisown`.
"""

import sys

# First: it says if it is built for another version of Python.
__import__("_libvswitch")

from libvswitch import _records  # noqa: E402 - see above

_records.install(sys.modules[__name__])

# Names of the comfortable part, and the module of each: imported when first used.
_PARTS = {
    "Buffer": "_cells",
    "Callback": "_callbacks",
    "Cell": "_cells",
    "VSwitchError": "_errors",
    "allocated": "_ownership",
    "allocator": "_callbacks",
    "buffer": "_cells",
    "callback": "_callbacks",
    "cell": "_cells",
    "check": "_errors",
    "ip_bytes": "_addresses",
    "ip_text": "_addresses",
    "mac_bytes": "_addresses",
    "mac_text": "_addresses",
    "pointed_bytes": "_cells",
    "rows": "_iteration",
    "unlocked": "_unlocked",
}


def __getattr__(name: str) -> object:
    """Any other public name, when it is first used."""
    try:
        return _records.find(name)
    except KeyError:
        pass
    if name in _PARTS:
        from importlib import import_module

        value = globals()[name] = getattr(import_module(f"libvswitch.{_PARTS[name]}"), name)
        return value
    if name == "__all__":
        return [public for public in __dir__() if not public.startswith("_")]
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


def __dir__() -> list[str]:
    import _libvswitch

    return sorted({*globals(), *_PARTS, *vars(_libvswitch)} - {"sys"})
