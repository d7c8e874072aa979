"""The one gate to the library: a call by its name, statuses as exceptions, what is handed out given back."""

from __future__ import annotations

import struct
import threading
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from functools import cache, partial
from typing import Any, Protocol, TypeVar

import libvswitch
from libvswitch import Record

from vswitch._arguments import Data as Data
from vswitch._arguments import Input as Input
from vswitch._arguments import Output as Output
from vswitch._arguments import Packed as Packed
from vswitch._arguments import Queried as Queried
from vswitch.errors import BadParameter, Error, LimitExceeded, NotFound, WrongState, class_of

T = TypeVar("T")

OK = libvswitch.QEL_OK
MOST_ROOM = 1 << 26
_QUERY = struct.Struct("<iQ")

# Calls whose result is no status.
_WITHOUT_STATUS = frozenset(
    """VSQEL_FreeMemory VSDVS_FreeMemory DVSQEL_DataFree DVSState_SwitchForEach DVSState_PortForEach
    DVSState_HostPropForEach DVSState_GlobalPropForEach DVSState_PortDataForEach DVSState_SwitchFindByAlias
    DVSState_PortFind DVS_SwitchName DVS_SwitchId DVS_ClassName DVS_Version DVS_GetMaxPorts DVS_PortId DVSData_Free
    DVSData_Data DVSData_Name DVSData_PropType DVPortExist QEL_ReturnStatusToString""".split()
)
_functions: dict[str, tuple[Callable[..., Any], bool]] = {}
_asking = threading.local()


class Observer(Protocol):
    """Sees each call that is over: its arguments as passed, its status (None without one and after an abort), its
    result (the exception after an abort), the seconds that it took."""

    def __call__(
        self, name: str, arguments: tuple[Any, ...], status: int | None, result: Any, seconds: float
    ) -> None: ...


_observers: tuple[Observer, ...] = ()
_observers_lock = threading.Lock()


@contextmanager
def observed(observer: Observer) -> Iterator[None]:
    """Lets `observer` see every call of this package, of all threads, until the end of the block."""
    global _observers
    with _observers_lock:
        _observers = (*_observers, observer)
    try:
        yield
    finally:
        with _observers_lock:
            _observers = tuple(one for one in _observers if one is not observer)


def _find(name: str) -> tuple[Callable[..., Any], bool]:
    # Other threads of the script run while the library works.
    function = partial(libvswitch.unlocked, getattr(libvswitch, name))
    found = _functions[name] = function, name not in _WITHOUT_STATUS
    return found


def call(name: str, *arguments: Any) -> Any:
    """Makes one call of the library. The result of a call without a status; else its outputs: None, the one, or a tuple
    of several. A failing status raises its Error; what the library aborts with passes unchanged."""
    function, has_status = _functions.get(name) or _find(name)
    if _observers:
        result = _watched(name, function, has_status, arguments)
    else:
        try:
            result = function(*arguments)
        except (OverflowError, TypeError) as error:
            raise _refused(name, arguments, error) from None
    if not has_status:
        return result
    if type(result) is list:
        status = result[0]
        if status == OK:
            return result[1] if len(result) == 2 else tuple(result[1:])
    elif result == OK:
        return None
    else:
        status = result
    raise _failure(name, arguments, status)


def _watched(name: str, function: Callable[..., Any], has_status: bool, arguments: tuple[Any, ...]) -> Any:
    begin = time.perf_counter()
    status: int | None = None
    result: Any = None
    try:
        result = function(*arguments)
        if has_status:
            status = result[0] if type(result) is list else result
        return result
    except (OverflowError, TypeError) as error:
        result = error
        raise _refused(name, arguments, error) from None
    except BaseException as error:
        result = error
        raise
    finally:
        seconds = time.perf_counter() - begin
        for observer in _observers:
            observer(name, arguments, status, result, seconds)


def status_of(name: str, *arguments: Any) -> int:
    """The status of a call without outputs, of which a failure is an answer: nothing is raised, and no hint is asked
    for."""
    with _without_hints():
        try:
            call(name, *arguments)
        except Error as error:
            return error.status
    return OK


@contextmanager
def _without_hints() -> Iterator[None]:
    before = getattr(_asking, "busy", False)
    _asking.busy = True
    try:
        yield
    finally:
        _asking.busy = before


# ---- what calls hand out ---------------------------------------------------------------------------------------------


def release(name: str, handed_out: Any) -> None:
    """Gives back what the call `name` has handed out."""
    if name.startswith("VSQEL_"):
        call("VSQEL_FreeMemory", handed_out)
    elif name.startswith("VSDVS_"):
        call("VSDVS_FreeMemory", handed_out)
    else:
        call("DVSQEL_DataFree", handed_out)


def take(read: Callable[..., T], name: str, *arguments: Any) -> T:
    """What `read` makes of the outputs of a call that hands out records, which are given back in any case."""
    outputs = call(name, *arguments)
    if type(outputs) is not tuple:
        outputs = (outputs,)
    try:
        return read(*outputs)
    finally:
        for output in outputs:
            if isinstance(output, Record):
                release(name, output)


def take_pointer(read: Callable[[Any], T], kind: str, name: str, *arguments: Any, after: tuple[Any, ...] = ()) -> T:
    """What `read` makes of the record or handle that a call stores in the cell `kind`, such as "VSList **", between
    `arguments` and `after`. It is given back in any case."""
    cell = libvswitch.cell(kind)
    call(name, *arguments, Output(cell), *after)
    pointer = cell.value
    try:
        return read(pointer)
    finally:
        if pointer is not None:
            release(name, pointer)


def take_bytes(name: str, *arguments: Any, length: str = "int *", after: tuple[Any, ...] = ()) -> bytes:
    """The bytes that a call hands out by an address and a length."""
    size = libvswitch.cell(length)

    def read(pointer: Any) -> bytes:
        return libvswitch.pointed_bytes(pointer, size.value) if pointer is not None and size.value else b""

    return take_pointer(read, "void **", name, *arguments, after=(Output(size), *after))


def fill(kind: str, name: str, *arguments: Any) -> bytes:
    """The bytes of the record `kind`, which a call fills as its last argument."""
    record = getattr(libvswitch, kind)()
    call(name, *arguments, Output(record))
    return bytes(record)


def query(name: str, *arguments: Any, after: tuple[Any, ...], room: int = 4096) -> bytes:
    """The value of a property, by a call that copies it into a query between `arguments` and `after`. The room grows by
    doubling while it is too small."""
    while True:
        storage = libvswitch.buffer(room)
        record = libvswitch.HNQQuery.from_bytes(_QUERY.pack(room, int(storage.this)))
        try:
            call(name, *arguments, Output(record), *after)
        except LimitExceeded as error:
            if error.name != "QEL_BUF_TOO_SMALL" or room >= MOST_ROOM:
                raise
            room *= 2
            continue
        return storage.view[: record.propLen].tobytes()


def pointed(record: Any, size: int) -> bytes:
    """A copy of `size` bytes of what a call has handed out."""
    return libvswitch.pointed_bytes(record, size) if size else b""


# ---- failures --------------------------------------------------------------------------------------------------------


def _plain(value: Any) -> object:
    """An argument as plain data."""
    if isinstance(value, (Queried, Input)):
        return value.value
    if isinstance(value, Packed):
        shown = value.value
        return shown if shown is None or isinstance(shown, list) else shown.to_dict()
    if isinstance(value, (bytes, bytearray)):
        return f"<{len(value)} bytes>"
    if isinstance(value, Data):
        return f"<{value.size} bytes>"
    if value is None or isinstance(value, (str, bool)):
        return value
    return int(value) if isinstance(value, int) else "<handle>"


@cache
def argument_names(name: str) -> tuple[str, ...]:
    """The names of a call's arguments, in order."""
    import inspect

    if name == "DVSAliasToPortsetName":  # has two forms, and so no signature
        return ("alias",)
    return tuple(inspect.signature(getattr(libvswitch, name)).parameters)


def inputs(name: str, arguments: tuple[Any, ...]) -> dict[str, object]:
    """The inputs of a call by the interface's names, as plain data."""
    return {
        key: _plain(value)
        for key, value in zip(argument_names(name), arguments, strict=False)
        if not isinstance(value, (Output, libvswitch.Callback))
    }


def _failure(name: str, arguments: tuple[Any, ...], status: int) -> Error:
    """The exception of a failed call, with its hint."""
    status_name = call("QEL_ReturnStatusToString", status)
    known = inputs(name, arguments)
    kind = class_of(status_name)
    hint = ""
    if not getattr(_asking, "busy", False):
        from vswitch import _hints

        with _without_hints():
            try:
                if kind is NotFound and _hints.without_portset(name, known):
                    kind = WrongState
                hint = _hints.hint(kind, name, status_name or "", known)
            except Exception:  # noqa: BLE001, S110 - what is asked for a hint may fail as it likes
                pass
    return kind(hint, status=status, name=status_name, call=name, arguments=known)


def _broken(text: str) -> bool:
    """Whether a text has no form in UTF-8."""
    try:
        text.encode()
    except UnicodeEncodeError:
        return True
    return False


def _refused(name: str, arguments: tuple[Any, ...], error: Exception) -> Error:
    """What does not reach the library: a number or a text for which the argument has no room. Types were checked
    before."""
    known = inputs(name, arguments)
    status = "QEL_BAD_PARAM" if isinstance(error, OverflowError) else "QEL_NAME_TOO_LONG"
    from vswitch._limits import limit

    hint = limit(name, status, known) or str(error)
    if any(isinstance(value, str) and not value.isascii() and _broken(value) for value in arguments):
        status, hint = "QEL_INVALID_NAME", "a text that has no form in UTF-8"
    return BadParameter(hint, status=getattr(libvswitch, status), name=status, call=name, arguments=known)
