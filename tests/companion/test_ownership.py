"""Memory is destroyed once, whatever a script does; what is gone refuses to be used."""

import copy
import gc
import pickle
import weakref
from typing import Any

import libvswitch
import pytest
from misused import vs
from workspace import Script

RELEASED = "the memory of this .* was released"
COUNTED = {"VSUplinks": 2, "VSUplinkPorts": 2, "VSUplinkPortIds": 2, "VSRuntimeOptions": 16}
CLASSES = {
    name: kind
    for name in dir(vs)
    if isinstance(kind := getattr(vs, name), type) and issubclass(kind, vs.Record) and kind is not vs.Record
}
SIZED = sorted(set(CLASSES) - set(COUNTED))


def make(name: str, kind: Any = None) -> Any:
    return (kind or CLASSES[name])(*([COUNTED[name]] if name in COUNTED else []))


# What two steps may follow each other, each in a process of its own: a second destruction would abort it. Every one
# ends with the record dropped.
TWICE = {
    "release": "r = vs.VSInfo(); r.release(); r.release()",
    "delete": "r = vs.VSInfo(); vs.delete_VSInfo(r); refused(vs.delete_VSInfo, r)",
    "release, delete": "r = vs.VSInfo(); r.release(); refused(vs.delete_VSInfo, r)",
    "delete, release": "r = vs.VSInfo(); vs.delete_VSInfo(r); r.release()",
    "free": "r = vs.alloc_vs_info(); vs.free_vs_info(r); refused(vs.free_vs_info, r)",
    "free, release": "r = vs.alloc_vs_info(); vs.free_vs_info(r); r.release()",
    "free an own one": "r = vs.VSInfo(); vs.free_vs_info(r); refused(vs.free_vs_info, r)",
    "free after this": "r = vs.VSInfo(); r.this; vs.free_vs_info(r); r.release()",
    "owning helper record": "r = vs.alloc_vs_info(); r.thisown = True; vs.free_vs_info(r)",
    "delete, free": "r = vs.alloc_vs_info(); vs.delete_VSInfo(r); refused(vs.free_vs_info, r)",
    "free memory": "r = got(); vs.VSQEL_FreeMemory(r); refused(vs.VSQEL_FreeMemory, r)",
    "both libraries": "r = got(); vs.VSQEL_FreeMemory(r); refused(vs.VSDVS_FreeMemory, r); "
    "refused(vs.DVSQEL_DataFree, r)",
    "free memory, release": "r = got(); vs.VSQEL_FreeMemory(r); r.release()",
    "free memory, delete": "r = got(); vs.VSQEL_FreeMemory(r); refused(vs.delete_VSInfo, r)",
    "free memory, own": "r = got(); vs.VSQEL_FreeMemory(r); refused_value(setattr, r, 'thisown', True)",
    "with, free": "r = got()\nwith r: vs.VSQEL_FreeMemory(r)",
    "with, release": "r = got()\nwith r: r.release()",
    "with twice": "r = got()\nwith r: pass\nwith r: pass",
    "allocated, free": "with vs.allocated(vs.VSQEL_GetSwitchInfo, 'workload') as r: vs.VSQEL_FreeMemory(r)",
    "allocated, with": "with vs.allocated(vs.VSQEL_GetSwitchInfo, 'workload') as r:\n    with r: pass",
    "allocated helper": "with vs.allocated(vs.alloc_vs_info) as r: vs.free_vs_info(r)",
    "free switches": "r = vs.VSQEL_GetSwitchesPy(2); vs.free_switches(r); refused(vs.free_switches, r)",
    "thisown of two": "r = vs.VSInfo(); p = r.this; r.thisown = True; p.own(True); p.acquire(); del r; del p; r = None",
    "proxy outlives": "r = vs.VSInfo(); p = r.this; del r; assert p.own(); del p; r = None",
    "disown, release": "r = vs.VSInfo(); r.thisown = False; r.thisown = True; r.release()",
    "second memory": "r = vs.VSInfo(); refused_value(r.__init__); refused_value(setattr, r, 'this', vs.VSInfo().this)",
    "this of another": "r = vs.VSInfo.__new__(vs.VSInfo); o = vs.VSInfo(); r.this = o.this; del o; r.mtu = 5; "
    "r.release()",
    "view owns": "w = vs.qel_MgmtApiSignature(); r = w.name; refused_value(setattr, r, 'thisown', True); "
    "del w; r.release()",
    "own, free memory": "r = vs.VSQEL_GetSwitchesPy(2); vs.VSQEL_FreeMemory(r)",
    "array": "r = vs.new_vidrangeArray(3); vs.delete_vidrangeArray(r); refused(vs.delete_vidrangeArray, r)",
    "delete a view": "w = vs.qel_MgmtApiSignature(); r = w.name; refused_value(vs.delete_qel_Name, r)",
}
PRELUDE = """
import libvswitch as vs

def refused(function, *arguments, error=TypeError):
    try:
        function(*arguments)
    except error:
        return
    raise AssertionError("accepted")

def refused_value(function, *arguments):
    refused(function, *arguments, error=ValueError)

def got():
    return vs.check(vs.VSQEL_GetSwitchInfo("workload"))
"""


@pytest.mark.parametrize("steps", TWICE)
def test_memory_is_destroyed_once(script: Script, steps: str) -> None:
    end = "print(repr(r)); del r; import gc; gc.collect(); [vs.VSInfo() for _ in range(300)]"
    script("\n".join([PRELUDE, TWICE[steps], end]))


@pytest.mark.parametrize("name", SIZED)
def test_a_released_record_refuses_everything(name: str) -> None:
    record = make(name)
    kind = type(record)
    record.release()
    fields = [member for member in vars(kind).values() if type(member).__name__ == "field"]
    for field in fields:
        with pytest.raises(ValueError, match=RELEASED):
            field.__get__(record)
        with pytest.raises(TypeError):
            field.fget(record)
        if field.fset is not None:
            with pytest.raises(ValueError, match=RELEASED):
                setattr(record, field.__name__, None)
    for member, value in vars(kind).items():
        if type(value).__name__ == "method":
            with pytest.raises(ValueError, match=RELEASED):
                value(record, *[None] * 4)
    with pytest.raises(ValueError):
        bytes(record)
    with pytest.raises(AttributeError):
        record.this
    assert repr(record) == f"<{name} released>" and record.thisown is False


@pytest.mark.parametrize("name", sorted(CLASSES))
def test_views_keep_the_memory_and_end_with_its_release(name: str) -> None:
    record = make(name)
    kind = type(record)
    nested = [field.__get__(record) for field in vars(kind).values() if getattr(field, "kind", "") == "record"]
    # Two unions have no class; bare proxies keep nothing alive.
    views = [view for view in nested if isinstance(view, vs.Record)]
    assert len(views) == len(nested) or name == "VSIOCtlQuery"
    del nested
    watch: Any = weakref.ref(record)
    view = None
    for view in views:
        assert view.thisown is False
    if not views:
        del record
        assert watch() is None
        return
    content = [bytes(view) for view in views]
    del record
    gc.collect()
    others = [make(name) for _ in range(50)]
    assert watch() is not None and [bytes(view) for view in views] == content
    watch().release()
    for view in views:
        with pytest.raises(ValueError):
            bytes(view)
    assert len(others) == 50
    del view, views
    assert watch() is None


def test_a_view_of_a_view_keeps_the_whole() -> None:
    signature = vs.qel_MgmtApiSignature()
    watch = weakref.ref(signature)
    signature.name.string = "module"
    name = signature.name
    del signature
    gc.collect()
    assert name.string == "module" and watch() is not None
    del name
    assert watch() is None


def test_elements_keep_their_table() -> None:
    table = vs.alloc_dvmirror_session_table(2, 2)
    session, entity = table[1], table.get_first_session_entity(1)
    session.sid = "second"
    del table
    gc.collect()
    assert session.sid == "second" and entity.get_entity() is not None
    with vs.allocated(vs.alloc_dvmirror_session_table, 1, 1) as other:
        kept = other[0]
    with pytest.raises(ValueError, match=RELEASED):
        kept.sid


# ---- being an object ---------------------------------------------------------------------------------------------


@pytest.mark.parametrize("name", sorted(CLASSES))
def test_records_are_objects_of_their_own_kind(name: str) -> None:
    record = make(name)
    with pytest.raises(AttributeError):
        record.misspelt_ = 1
    with pytest.raises(AttributeError):
        record.misspelt_
    with pytest.raises(TypeError):
        hash(record)
    with pytest.raises(TypeError):
        setattr(type(record), "mtu", 1)
    with pytest.raises(TypeError, match="keyword"):
        type(record)(count=1)
    assert record == record and record != make(name) and record != 5 and (record == None) is False  # noqa: E711
    kind: Any = type(record)
    again = kind.__new__(kind)
    again.this = record.this
    assert again == record and not again != record
    with pytest.raises(TypeError):
        record < again
    watch = weakref.ref(record)
    assert watch() is record
    text = repr(record)
    assert text.startswith(f"<{name} ") or name == "qel_Name"
    assert len(text) < 1600
    for field in vars(type(record)).values():
        if type(field).__name__ == "field":
            with pytest.raises(AttributeError, match="cannot be deleted"):
                delattr(record, field.__name__)


@pytest.mark.parametrize("name", sorted(CLASSES))
def test_copies_that_would_share_memory_are_refused(name: str) -> None:
    derived = type("Derived", (CLASSES[name],), {"extra": 1})
    for record in (make(name), make(name, derived)):
        with pytest.raises(TypeError):
            copy.copy(record)
        with pytest.raises(TypeError):
            copy.deepcopy(record)
        for protocol in range(6):
            with pytest.raises(TypeError):
                pickle.dumps(record, protocol)


@pytest.mark.parametrize("name", SIZED)
def test_bytes_there_and_back_are_an_independent_copy(name: str) -> None:
    record = make(name)
    pattern = bytes(1 + index % 251 for index in range(len(bytes(record))))
    if name == "HNQQuery":
        pattern = bytes(len(pattern))  # it owns what its pointer names
    copied = type(record).from_bytes(pattern)
    assert bytes(copied) == pattern and bytes(record) != pattern or name == "HNQQuery" or not pattern
    for wrong in (pattern + b"\0", pattern[:-1]) if pattern else (b"\0",):
        with pytest.raises(ValueError, match=f"has {len(pattern)} bytes, not {len(wrong)}"):
            type(record).from_bytes(wrong)
    with pytest.raises(TypeError):
        type(record).from_bytes("text")


def test_derived_classes() -> None:
    class Named(libvswitch.VSInfo):
        """With more of its own."""

        def __init__(self, name: str) -> None:
            super().__init__()
            self.name = name
            self.mtu = 9000

        def double(self) -> int:
            return 2 * self.mtu

    record = Named("x")
    assert (record.double(), record.name, isinstance(record, vs.VSInfo)) == (18000, "x", True)
    assert repr(record).startswith("<Named mtu=9000, ") and weakref.ref(record)() is record
    assert vs.VSInfo_mtu_get(record) == 9000
    assert type(Named.from_bytes) and vs.VSInfo.from_bytes(bytes(record)).mtu == 9000
    with pytest.raises(TypeError):
        type("Wrong", (vs.Record,), {})
    with pytest.raises(TypeError):
        vs.Record()


def test_a_class_may_be_derived_before_anything_is_read_of_its_base(script: Script) -> None:
    script(
        """
        import libvswitch as vs
        class Mine(vs.VSUplinks):
            pass
        # What looks at the bases themselves asks no class.
        assert super(Mine, Mine).numEntries is vs.VSUplinks.numEntries
        mine = Mine(3)
        mine.numEntries = 2
        mine[0], mine[1] = "nic0", "nic1"
        assert (len(mine), mine[1], list(mine)) == (2, "nic1", ["nic0", "nic1"])
        """
    )


def test_a_derived_class_that_forgets_to_construct_has_no_memory() -> None:
    class Empty(libvswitch.VSInfo):
        def __init__(self) -> None:
            pass

    record = Empty()
    assert repr(record) == "<Empty without memory>"
    with pytest.raises((AttributeError, TypeError, ValueError)):
        record.mtu
    record.release()


def test_undefined_and_null_memory_can_be_shown() -> None:
    for name, arguments in (
        ("dvmirror_session_table", (3, 3)),
        ("ls_team_table", (2,)),
        ("rtm_query", (2,)),
        ("rtm_mod_query", (2,)),
        ("hnq_query", (16,)),
        ("vs_info", ()),
    ):
        record = getattr(vs, f"alloc_{name}")(*arguments)
        assert repr(record).startswith(f"<{type(record).__name__} ") and len(repr(record)) < 1600
        getattr(vs, f"free_{name}")(record)
        assert repr(record) == f"<{type(record).__name__} released>"
    assert repr(vs.VSRuntimeOptions(4000)).startswith("<VSRuntimeOptions ")
    assert repr(vs.VSInfo.__new__(vs.VSInfo)) == "<VSInfo without memory>"
    # list() would ask for the length first, which is refused.
    assert [entry for entry in vs.VSMACTable.__new__(vs.VSMACTable)] == []
    assert repr(vs.qel_ListLinks()).startswith("<qel_ListLinks at 0x")


# ---- 100,000 of each class ----------------------------------------------------------------------------------------


def test_a_hundred_thousand_of_each_class_leave_nothing(script: Script) -> None:
    printed = script(
        f"""
        import sys, libvswitch as vs
        from heap import bytes_in_use
        COUNTED = {COUNTED!r}
        CYCLES = 100_000

        def cycle(kind, arguments, field, count):
            for _ in range(count):
                record = kind(*arguments)
                if field is not None:
                    field.__get__(record)

        for name in {sorted(CLASSES)!r}:
            kind = getattr(vs, name)
            arguments = [COUNTED[name]] if name in COUNTED else []
            fields = [member for member in vars(kind).values() if type(member).__name__ == "field"]
            field = next((f for f in fields if f.kind == "record"), fields[0] if fields else None)
            cycle(kind, arguments, field, 1000)
            references, before = sys.getrefcount(kind), bytes_in_use()
            cycle(kind, arguments, field, CYCLES)
            grown = bytes_in_use() - before
            assert abs(grown) < 4096, (name, grown)
            assert sys.getrefcount(kind) == references, name
        print("done")
        """
    )
    assert printed == "done\n"


def test_a_library_call_a_hundred_thousand_times_leaves_nothing(script: Script) -> None:
    script(
        """
        import libvswitch as vs
        from heap import bytes_in_use

        def visit(count):
            for _ in range(count):
                record = vs.alloc_vs_info()
                record.mtu, record.this
                vs.free_vs_info(record)
                table = vs.alloc_dvmirror_session_table(1, 1)
                for session in table:
                    session.sid = "x"
                vs.free_dvmirror_session_table(table)

        visit(1000)
        before = bytes_in_use()
        visit(50_000)
        assert abs(bytes_in_use() - before) < 4096
        """
    )
