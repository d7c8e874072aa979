"""Manage a host's virtual switches: what administration scripts import.

Everything of the native module `_libvswitch` is here under its own name: functions, constants, `cvar`. Beside it,
each native record is a class whose attributes are the record's fields::

    status, info = libvswitch.VSQEL_GetSwitchInfo("production")
    print(info.mtu, info.activePorts)

A class instance holds its record in `this`. Records that a script makes are freed with their instance; views
(nested records, array elements) and records that a library call returns are not, see `thisown`.
"""

import _libvswitch
from _libvswitch import *  # noqa: F403 - the native names are this module's own


class VSwitchError(Exception):
    """A library call returned a failing status.

    Attributes: `status`, the number; `name`, its constant such as "QEL_NOT_FOUND", or None for an unknown one.
    """

    def __init__(self, status: int):
        self.status = status
        self.name = _libvswitch.QEL_ReturnStatusToString(status)
        super().__init__(self.name or f"unknown status 0x{status & 0xFFFFFFFF:08x}")


def check(result):
    """The outputs of a call that succeeded: None, the one output, or a tuple of several.

    `result` is what the call returned: a status, or a list of the status and the outputs. A status other than
    `QEL_OK` raises VSwitchError.
    """
    status, *outputs = result if isinstance(result, list) else [result]
    if status != _libvswitch.QEL_OK:
        raise VSwitchError(status)
    if not outputs:
        return None
    return outputs[0] if len(outputs) == 1 else tuple(outputs)


class Record:
    """Base of all record classes. Two are equal when they stand for the same native memory."""

    __slots__ = ("this",)
    __hash__ = None

    def __eq__(self, other):
        if not isinstance(other, Record):
            return NotImplemented
        return self.this == other.this

    def __repr__(self):
        return f"<{type(self).__name__} at 0x{int(self.this):x}>"

    @property
    def thisown(self):
        """Whether the native memory is freed with this object."""
        return self.this.own()

    @thisown.setter
    def thisown(self, owned):
        self.this.own(owned)


def _constructor(new):
    def __init__(self, *arguments):
        self.this = new(*arguments)

    return __init__


def _iterate_counted(self):
    """The elements in order, as many as the record's count says."""
    return (self[index] for index in range(len(self)))


def _make_class(name, functions):
    """The class of one record, from its module functions: accessors, methods, constructor, destructor."""
    members = {
        "__slots__": (),
        "__module__": __name__,
        "__init__": _constructor(getattr(_libvswitch, f"new_{name}")),
        "__swig_destroy__": getattr(_libvswitch, f"delete_{name}"),
    }
    for function in functions:
        member = function[len(name) + 1 :]
        if member.endswith("_set") and f"{function[:-4]}_get" in functions:
            continue
        native = getattr(_libvswitch, function)
        if member.endswith("_get"):
            members[member[:-4]] = property(native, getattr(_libvswitch, f"{function[:-4]}_set", None))
        else:
            members[member] = _libvswitch.SWIG_PyInstanceMethod_New(native)
    if "__getitem__" in members:
        # An index out of range raises nothing, so that the interpreter's own iteration would never end.
        members["__iter__"] = _iterate_counted if "__len__" in members else None
    return type(name, (Record,), members)


def _make_classes():
    """One class for each record: its functions stand together in the module, the registration last."""
    functions = []
    for name, value in vars(_libvswitch).items():
        if not callable(value):
            continue
        if not name.endswith("_swigregister"):
            functions.append(name)
            continue
        record = name[: -len("_swigregister")]
        own = [function for function in functions if function.startswith(f"{record}_")]
        globals()[record] = _make_class(record, own)
        value(globals()[record])
        functions = []


_make_classes()
