"""`rows`: fields of many records in one call are what their records give one by one."""

import ctypes
import gc
import json
import random
import sys
from typing import Any

import libvswitch
import pytest
from libvswitch import _records
from misused import vs
from workspace import BUILD

with open(BUILD / "interface.json", encoding="utf-8") as source:
    NAMES = [record["name"] for record in json.load(source)["records"]]
VALUES = ("scalar", "bits", "text", "mac")


def fields(kind: Any, kinds: tuple[str, ...] = VALUES) -> list[str]:
    return [name for name, member in vars(kind).items() if type(member) is _records.field and member.kind in kinds]


def fixed_size(kind: Any) -> int:
    try:
        return len(bytes(kind()))
    except TypeError:
        return 0


SIZED = [name for name in NAMES if fixed_size(getattr(vs, name)) and fields(getattr(vs, name))]


def run_of(kind: Any, memory: Any, index: int) -> Any:
    return _records.pointer(ctypes.addressof(memory) + index * fixed_size(kind), f"_p_{kind.__name__}")


def test_most_records_have_rows() -> None:
    assert len(SIZED) > 100 or sorted(set(NAMES) - set(SIZED)) == []


@pytest.mark.parametrize("name", SIZED)
def test_rows_are_what_the_records_give(name: str) -> None:
    kind = getattr(vs, name)
    memory: Any = ctypes.create_string_buffer(random.Random(name).randbytes(5 * fixed_size(kind)))
    # Texts of every length up to the whole field.
    for offset in range(0, len(memory), 7):
        memory[offset] = 0
    names = fields(kind)
    expected = [tuple(getattr(run_of(kind, memory, index), each) for each in names) for index in range(5)]
    assert vs.rows(run_of(kind, memory, 0), 5, *names) == expected
    assert vs.rows(run_of(kind, memory, 2), 1, names[0], names[-1]) == [(expected[2][0], expected[2][-1])]
    assert vs.rows(run_of(kind, memory, 0), 0, names[0]) == []


def test_a_field_may_be_named_twice_and_by_any_str() -> None:
    class Entry(libvswitch.VSMACEntry):
        pass

    class Text(str):
        pass

    entry = Entry()
    entry.vid = 7
    assert vs.rows(entry, 1, "vid", Text("vid")) == [(7, 7)]


def test_what_is_refused() -> None:
    info, released = vs.VSInfo(), vs.VSInfo()
    released.release()
    for first, count, names, error, message in (
        (info, 1, (), ValueError, "^no field is named$"),
        (info, -1, ("mtu",), ValueError, "^a negative number of rows$"),
        (info, 1, ("mut",), ValueError, r"^libvswitch\.VSInfo has no number or text 'mut'$"),
        (info, 1, ("mtu", "this"), ValueError, r"^libvswitch\.VSInfo has no number or text 'this'$"),
        (info, 1, (3,), ValueError, r"^libvswitch\.VSInfo has no number or text 3$"),
        (info, 1, ([],), TypeError, "unhashable"),
        (vs.VSMACLearningSwitchInfo(), 1, ("teamMACLearning",), ValueError, "no number or text 'teamMACLearning'$"),
        (vs.VSUplinks(2), 1, ("numEntries",), TypeError, r"^libvswitch\.VSUplinks has no fixed size$"),
        (released, 1, ("mtu",), ValueError, r"^the memory of this libvswitch\.VSInfo was released$"),
        (vs.VSInfo.__new__(vs.VSInfo), 1, ("mtu",), ValueError, "^the record has no memory$"),
        (info.this, 1, ("mtu",), TypeError, "^a record is needed, not 'SwigPyObject'$"),
        (None, 1, ("mtu",), TypeError, "^a record is needed, not 'NoneType'$"),
        (info, "1", ("mtu",), TypeError, "str"),
        (info, 2**64, ("mtu",), OverflowError, ""),
        (info, sys.maxsize, ("mtu",), MemoryError, ""),
    ):
        with pytest.raises(error, match=message):
            vs.rows(first, count, *names)


def test_a_record_that_a_finalizer_releases_meanwhile_is_not_read() -> None:
    class Garbage:
        def __init__(self, entry: Any) -> None:
            self.entry, self.itself = entry, self

        def __del__(self) -> None:
            self.entry.release()

    refused = 0
    before = gc.get_threshold()
    for threshold in range(1, 30):
        entry = vs.VSMACEntry()
        entry.vid = 7
        gc.collect()
        Garbage(entry)
        gc.set_threshold(threshold)
        try:
            assert vs.rows(entry, 1, "vid") == [(7,)]
        except ValueError as error:
            assert str(error) == "the memory of this libvswitch.VSMACEntry was released"
            refused += 1
        finally:
            gc.set_threshold(*before)
    assert 0 < refused


def test_rows_hold_no_memory_of_the_record() -> None:
    entry = vs.VSMACEntry()
    entry.portID = 5
    rows = vs.rows(entry, 1, "portID", "macAddress")
    references = sys.getrefcount(entry)
    entry.portID = 6
    assert rows == [(5, "00:00:00:00:00:00")] and references == 2
