"""Statuses as exceptions."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, TypeVar, overload

from libvswitch import QEL_OK, QEL_ReturnStatusToString

if TYPE_CHECKING:
    from libvswitch import Outputs

_Out = TypeVar("_Out")


class VSwitchError(Exception):
    """A library call returned a failing status.

    Attributes: `status`, the number; `name`, its constant such as "QEL_NOT_FOUND", or None for an unknown one.
    """

    status: int
    name: str | None

    def __init__(self, status: int) -> None:
        self.status = status
        self.name = QEL_ReturnStatusToString(status)
        super().__init__(self.name or f"unknown status 0x{status & 0xFFFFFFFF:08x}")

    def __reduce__(self) -> tuple[type[VSwitchError], tuple[int]]:
        return type(self), (self.status,)


@overload
def check(result: int) -> None: ...
@overload
def check(result: Outputs[_Out]) -> _Out: ...
def check(result: Any) -> Any:
    """The outputs of a call that succeeded: None, the one output, or a tuple of several.

    `result` is what the call returned: a status, or a list of the status and the outputs. A status other than
    `QEL_OK` raises VSwitchError; what is neither raises TypeError.
    """
    if isinstance(result, list) and result:
        status, *outputs = result
    else:
        status, outputs = result, []
    if not isinstance(status, int) or isinstance(status, bool):
        raise TypeError(f"neither a status nor a list that begins with one: {result!r}")
    if status != QEL_OK:
        raise VSwitchError(status)
    if not outputs:
        return None
    return outputs[0] if len(outputs) == 1 else tuple(outputs)
