"""Logs of library calls: what this layer called with what, what came back, and as a file."""

from __future__ import annotations

import base64
import json
import os
import re
from collections.abc import Iterable, Iterator, Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Final, Self, overload

import libvswitch
from libvswitch import Record

from vswitch._arguments import Data, Output, Packed
from vswitch._calls import argument_names
from vswitch.enums import Status
from vswitch.values.mirror_table import sessions_of, table_bytes

__all__ = ["ADDRESS", "Aborted", "CallLog", "CallRecord", "RecordBytes"]

# What changes the host, by the verb in a call's name. What a command does only the host knows.
_WRITES = re.compile(
    r"(?:Set|Clear|Add(?!ress)|Remove|Create|Destroy|Append|Configure|Associate|Dissociate|Sanitize|Refresh|Reset|RTM)"
    r"|StateInit|ConfigDeserialize|LoadConfig|CmdExec"
)


class _Address:
    """What is only known by its address: a handle, a cell, a callback, a record that holds addresses itself."""

    __slots__ = ()

    def __repr__(self) -> str:
        return "ADDRESS"


ADDRESS: Final = _Address()
"""Stands in a log for an address: a handle, a cell, a callback."""


@dataclass(frozen=True, slots=True)
class RecordBytes:
    """A native record: its class in `libvswitch`, its bytes, and behind them those of what it counts."""

    record: str
    data: bytes


@dataclass(frozen=True, slots=True)
class Aborted:
    """The result of a call that the library aborted: the exception's class and text."""

    exception: str
    message: str


@dataclass(frozen=True, slots=True)
class CallRecord:
    """One call of the library.

    `call`: its name. `arguments`: by the interface's names, in order; records as RecordBytes (one that the call fills
    as it was afterwards), addresses as ADDRESS. `status`: a Status, a number that has none, or None for a call without
    one and an aborted one. `result`: the result of a call without a status, else what it gives beside it: None, the
    one, or a tuple of several. `seconds`: how long it took."""

    call: str
    arguments: dict[str, Any]
    status: Status | int | None
    result: Any
    seconds: float

    @property
    def writes(self) -> bool:
        """Whether it is a call that changes the host, if it succeeds."""
        return _WRITES.search(self.call) is not None

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data, as it stands in files."""
        return {
            "call": self.call,
            "arguments": {name: _plain(value) for name, value in self.arguments.items()},
            "status": str(self.status) if isinstance(self.status, Status) else self.status,
            "result": _plain(self.result),
            "seconds": self.seconds,
        }

    @classmethod
    def from_dict(cls, mapping: Mapping[str, Any]) -> Self:
        """The record of its plain form. ValueError for another form."""
        try:
            status = mapping["status"]
            return cls(
                str(mapping["call"]),
                {str(name): _value(value) for name, value in mapping["arguments"].items()},
                None if status is None else Status.from_json(status),
                _value(mapping["result"]),
                float(mapping["seconds"]),
            )
        except (AttributeError, KeyError, TypeError) as error:
            raise ValueError(f"not a call: {error}") from None

    def __str__(self) -> str:
        arguments = ", ".join(f"{name}={_short(value)}" for name, value in self.arguments.items())
        return f"{self.call}({arguments})" + ("" if self.status is None else f": {self.status}")


class CallLog(Sequence[CallRecord]):
    """Calls in their order. The fixture `vswitch_call_log` and `record()` give one that grows."""

    def __init__(self, records: Iterable[CallRecord] = ()) -> None:
        self._records = list(records)

    def __len__(self) -> int:
        return len(self._records)

    @overload
    def __getitem__(self, index: int) -> CallRecord: ...
    @overload
    def __getitem__(self, index: slice) -> list[CallRecord]: ...
    def __getitem__(self, index: int | slice) -> CallRecord | list[CallRecord]:
        return self._records[index]

    def __iter__(self) -> Iterator[CallRecord]:
        return iter(self._records)

    def __repr__(self) -> str:
        return f"<CallLog of {len(self)} call{'' if len(self) == 1 else 's'}>"

    def clear(self) -> None:
        """Forgets all calls so far."""
        self._records.clear()

    def calls(self, name: str | None = None) -> tuple[CallRecord, ...]:
        """The calls of a function, or all."""
        return tuple(one for one in self._records if name is None or one.call == name)

    def expect(self, *names: str) -> None:
        """Exactly these functions were called, in this order; calls that only read are left out. AssertionError shows
        both lists."""
        made = [one for one in self._records if one.writes]
        if [one.call for one in made] != list(names):
            wanted = "\n".join(f"  {name}" for name in names) or "  nothing"
            found = "\n".join(f"  {one}" for one in made) or "  nothing"
            raise AssertionError(f"these calls were expected:\n{wanted}\nthese were made:\n{found}")

    def expect_no_writes(self) -> None:
        """Nothing was called that changes the host. AssertionError shows what was."""
        made = [one for one in self._records if one.writes]
        if made:
            found = "\n".join(f"  {one}" for one in made)
            raise AssertionError(f"nothing was to be changed; these calls were made:\n{found}")

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the calls to a file, a line of JSON each."""
        Path(path).write_text("".join(json.dumps(one.to_dict()) + "\n" for one in self._records), encoding="utf-8")

    @classmethod
    def load(cls, path: str | os.PathLike[str]) -> Self:
        """What `save` has written. ValueError, with the number of the line, for a file that has anything else."""
        records = []
        for number, line in enumerate(Path(path).read_text(encoding="utf-8").split("\n"), 1):
            if line.strip():
                try:
                    records.append(CallRecord.from_dict(json.loads(line)))
                except ValueError as error:
                    raise ValueError(f"{os.fspath(path)}, line {number}: {error}") from None
        return cls(records)

    def note(self, name: str, arguments: tuple[Any, ...], status: int | None, result: Any, seconds: float) -> None:
        """Adds a call that is over, while its records still are; what `vswitch._calls.observed` calls."""
        if isinstance(result, BaseException):
            given: Any = Aborted(type(result).__name__, str(result))
        elif status is None:
            given = _copied(result)
        else:
            outputs = [_copied(one) for one in result[1:]] if isinstance(result, list) else []
            given = None if not outputs else outputs[0] if len(outputs) == 1 else tuple(outputs)
        named = dict(zip(argument_names(name), map(_argument, arguments), strict=False))
        known = None if status is None else Status.of(status)
        self._records.append(CallRecord(name, named, known, given, seconds))


# ---- what is native, copied ------------------------------------------------------------------------------------------

# Their bytes have addresses in them.
_WITH_ADDRESSES = frozenset(("HNQQuery", "VSMACGetDynamic"))
# They have room for what they count.
_WITH_NAMES_INSIDE = frozenset(("LSTeamPolicy", "VSTeamPolicy"))


def _argument(value: Any) -> Any:
    """An argument as it is now, for good."""
    if isinstance(value, Record):
        return ADDRESS  # of what a call has handed out: it may have been given back
    if isinstance(value, Data):
        return value.bytes
    if isinstance(value, Packed):
        return RecordBytes(value.kind, value.data)
    return _copied(value.native if isinstance(value, Output) else value)


def _copied(value: Any) -> Any:
    """A result, or what a call has filled, as it is now, for good."""
    if value is None or isinstance(value, (bool, str)):
        return value
    if isinstance(value, int):
        return int(value)
    if isinstance(value, (bytes, bytearray)):
        return bytes(value)
    if isinstance(value, Record) and type(value).__name__ not in _WITH_ADDRESSES:
        return RecordBytes(type(value).__name__, _contents(value))
    if isinstance(value, (list, tuple)):
        return tuple(_copied(one) for one in value)
    return ADDRESS


def _contents(record: Any) -> bytes:
    """The bytes of a record, and of what lies behind it as far as it counts it."""
    kind = type(record).__name__
    if kind == "VSRuntimeOptions":
        return libvswitch.pointed_bytes(record, record.totalLength)
    if kind == "DVMirrorSessionTable":
        return table_bytes(sessions_of(record))
    try:
        made = bytes(record)
    except TypeError:  # it has no fixed size
        made = b""
    if kind in _WITH_NAMES_INSIDE:
        return made
    try:
        elements = list(record)
    except TypeError:  # it counts nothing
        return made
    return made + b"".join(map(_element, elements))


def _element(one: Any) -> bytes:
    if isinstance(one, Record):
        return _contents(one)
    if isinstance(one, int):
        return one.to_bytes(8, "little", signed=True)
    return str(one).encode(errors="surrogateescape") + b"\0"


# ---- as JSON ---------------------------------------------------------------------------------------------------------


def _plain(value: Any) -> Any:
    if isinstance(value, bytes):
        return {"base64": base64.b64encode(value).decode()}
    if isinstance(value, RecordBytes):
        return {"record": value.record, "base64": base64.b64encode(value.data).decode()}
    if isinstance(value, Aborted):
        return {"exception": value.exception, "message": value.message}
    if value is ADDRESS:
        return {"address": None}
    return [_plain(one) for one in value] if isinstance(value, tuple) else value


def _value(plain: Any) -> Any:
    if isinstance(plain, list):
        return tuple(_value(one) for one in plain)
    if not isinstance(plain, dict):
        return plain
    if "address" in plain:
        return ADDRESS
    if "exception" in plain:
        return Aborted(str(plain["exception"]), str(plain["message"]))
    data = base64.b64decode(plain["base64"], validate=True)
    return RecordBytes(str(plain["record"]), data) if "record" in plain else data


def _short(value: Any) -> str:
    if isinstance(value, RecordBytes):
        return f"<{value.record}>"
    if isinstance(value, bytes):
        return f"<{len(value)} bytes>"
    return "<address>" if value is ADDRESS else repr(value)
