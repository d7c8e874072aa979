"""What is raised: an exception class for each kind of failing status, with the call, its arguments and a hint."""

from __future__ import annotations

from collections.abc import Mapping
from typing import TYPE_CHECKING, Any, ClassVar

import libvswitch
from libvswitch import VSwitchError

if TYPE_CHECKING:
    from vswitch.desired.plan import Operation

__all__ = [
    "AlreadyExists",
    "ApplyError",
    "BadImage",
    "BadParameter",
    "Busy",
    "DocumentError",
    "Error",
    "Failed",
    "LimitExceeded",
    "NoMemory",
    "NoSpace",
    "NotFound",
    "NotSupported",
    "NotVerified",
    "PermissionDenied",
    "PlanChanged",
    "ReadOnly",
    "TimedOut",
    "WrongState",
]

MOST_SHOWN = 60  # characters of a value in the text of an error


def _shown(value: object) -> str:
    text = repr(value)
    return text if len(text) <= MOST_SHOWN else f"{text[: MOST_SHOWN - 3]}..."


class Error(VSwitchError):
    """Something was refused or failed; `str(error)` is one line that says what and why.

    `status`: the library's status. `name`: its constant such as "QEL_NOT_FOUND", None for an unknown one. `call`: the
    library call that returned it, empty where this package refused by itself. `arguments`: the call's inputs by name.
    `hint`: what is wrong in words, empty if that is not known. `path`: the place in a desired-state document, else
    None.
    """

    statuses: ClassVar[tuple[str, ...]] = ("FAILURE",)

    call: str
    arguments: dict[str, object]
    hint: str
    path: str | None

    def __init__(
        self,
        hint: str = "",
        *,
        status: int | None = None,
        name: str | None = None,
        call: str = "",
        arguments: Mapping[str, object] | None = None,
        path: str | None = None,
    ) -> None:
        if status is None:
            name = f"QEL_{self.statuses[0]}"
            status = getattr(libvswitch, name)
        self.status = status
        self.name = name
        self.call = call
        self.arguments = dict(arguments or {})
        self.hint = hint
        self.path = path
        Exception.__init__(self, hint)

    def __str__(self) -> str:
        if not self.call:
            return self.hint or self._status_text()
        arguments = ", ".join(f"{name}={_shown(value)}" for name, value in self.arguments.items())
        text = f"{self.call}({arguments}): {self._status_text()}"
        return f"{text}: {self.hint}" if self.hint else text

    def _status_text(self) -> str:
        return self.name or f"unknown status 0x{self.status & 0xFFFFFFFF:08x}"

    def to_dict(self) -> dict[str, object]:
        """All of it as plain data: `class`, `status`, `name`, `call`, `arguments`, `hint`, `path`, `message`."""
        return {
            "class": type(self).__name__,
            "status": self.status,
            "name": self.name,
            "call": self.call,
            "arguments": self.arguments,
            "hint": self.hint,
            "path": self.path,
            "message": str(self),
        }

    def __reduce__(self) -> tuple[Any, ...]:  # type: ignore[override]
        return _remade, (type(self), self.__dict__.copy())


def _remade(kind: type[Error], state: dict[str, Any]) -> Error:
    error = kind.__new__(kind)
    error.__dict__.update(state)
    Exception.__init__(error, state.get("hint", ""))
    return error


class NotFound(Error, KeyError):
    """There is no such switch, port, uplink, session, policy, property or device. Also a KeyError."""

    statuses = ("NOT_FOUND", "NO_SUCH_DEVICE", "MODULE_NOT_FOUND", "INVALID_MODULE", "INVALID_WORLD")


class AlreadyExists(Error):
    """What was to be made is there already."""

    statuses = ("EXISTS", "EALREADY", "DUPLICATE_UID")


class Busy(Error):
    """Something is in use, or another process holds the host."""

    statuses = ("BUSY", "LOCK_EXISTS", "RETRY")


class BadParameter(Error, ValueError):
    """A value that the library does not take. Also a ValueError."""

    statuses = (
        "BAD_PARAM",
        "INVALID_NAME",
        "NAME_TOO_LONG",
        "INVALID_ADDRESS",
        "BAD_VLANID",
        "BAD_PARAM_COUNT",
        "BAD_PARAM_TYPE",
    )


class NotSupported(Error):
    """The host, or this kind of thing, does not do that."""

    statuses = ("NOT_SUPPORTED", "NOT_IMPLEMENTED", "EOPNOTSUPP")


class ReadOnly(Error):
    """A property that is only read, or a host whose state cannot be written."""

    statuses = ("READ_ONLY",)


class LimitExceeded(Error):
    """More than there may be, or longer than there is room for."""

    statuses = ("LIMIT_EXCEEDED", "TOO_MANY_ELEMENTS", "QUOTA_LIMIT_EXCEEDED", "RESULT_TOO_LARGE", "BUF_TOO_SMALL")


class PermissionDenied(Error):
    """Somebody else owns it, or a setting forbids it."""

    statuses = ("NO_PERMISSION", "ACCESS_DENIED", "NO_ACCESS")


class TimedOut(Error, TimeoutError):
    """It took longer than it may. Also a TimeoutError."""

    statuses = ("TIMEOUT", "WAIT_INTERRUPTED")


class NoMemory(Error, MemoryError):
    """The library has no memory left. Also a MemoryError."""

    statuses = ("NO_MEMORY", "NO_MEMORY_NICE")


class NoSpace(Error):
    """The disk that holds the host's state is full."""

    statuses = ("NO_SPACE_ON_DEVICE", "NO_SPACE")


class WrongState(Error):
    """The switch, uplink or host is not in the state that this needs."""

    statuses = ("INVALID_STATE", "IS_DISCONNECTED", "IS_CONNECTED", "ENETDOWN", "NOT_READY")


class BadImage(Error):
    """An image of state that is damaged, of another kind, or of a version that does not fit."""

    statuses = ("INVALID_METADATA", "CHECKSUM_MISMATCH", "VERSION_MISMATCH_MAJOR", "VERSION_MISMATCH_MINOR")


class Failed(Error):
    """Any other failing status."""


class DocumentError(Error, ValueError):
    """A desired-state document, or the plain form of a value, that is wrong. `path` says where, `reason` what."""

    statuses = ("BAD_PARAM",)
    reason: str

    def __init__(self, path: str, reason: str) -> None:
        super().__init__(f"{path}: {reason}" if path else reason, path=path)
        self.reason = reason


class PlanChanged(Error):
    """The host is not what it was when the plan was made. Nothing was done."""

    statuses = ("BUSY",)


class NotVerified(Error):
    """What was read after an apply is not what was applied."""

    statuses = ("FAILURE",)


class ApplyError(Error):
    """An apply failed and was rolled back as far as possible.

    `cause`: the exception that ended it. `operation`: the operation it was in, or None. `done`, `undone`, `not_undone`:
    operations that were made, taken back, and could not be taken back. `rolled_back`: everything is as before.
    """

    cause: BaseException
    operation: Operation | None
    done: tuple[Operation, ...]
    undone: tuple[Operation, ...]
    not_undone: tuple[Operation, ...]
    rolled_back: bool

    def __init__(
        self,
        cause: BaseException,
        operation: Operation | None,
        done: tuple[Operation, ...],
        undone: tuple[Operation, ...],
        not_undone: tuple[Operation, ...],
        rolled_back: bool,
    ) -> None:
        known = cause if isinstance(cause, Error) else Failed(str(cause) or type(cause).__name__)
        super().__init__(
            known.hint,
            status=known.status,
            name=known.name,
            call=known.call,
            arguments=known.arguments,
            path=known.path,
        )
        self.cause = cause
        self.operation = operation
        self.done = done
        self.undone = undone
        self.not_undone = not_undone
        self.rolled_back = rolled_back

    def to_dict(self) -> dict[str, object]:
        """As of any Error, and `rolled_back`, `done`, `undone`, `not_undone`: operations as plain data."""
        return {
            **super().to_dict(),
            "rolled_back": self.rolled_back,
            "done": [operation.to_dict() for operation in self.done],
            "undone": [operation.to_dict() for operation in self.undone],
            "not_undone": [operation.to_dict() for operation in self.not_undone],
        }


_OF_LIBRARY = (
    NotFound,
    AlreadyExists,
    Busy,
    BadParameter,
    NotSupported,
    ReadOnly,
    LimitExceeded,
    PermissionDenied,
    TimedOut,
    NoMemory,
    NoSpace,
    WrongState,
    BadImage,
)
_CLASS_OF = {f"QEL_{name}": kind for kind in _OF_LIBRARY for name in kind.statuses}


def class_of(name: str | None) -> type[Error]:
    """The exception class of a status, by the name of its constant."""
    return _CLASS_OF.get(name or "", Failed)
