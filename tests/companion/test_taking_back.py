"""Which function takes back what, watched on the recording stand-ins; and what nobody takes back."""

import gc
import json
import weakref
from typing import Any

import libvswitch as vs
import pytest
from workspace import BUILD, Script

with open(BUILD / "interface.json", encoding="utf-8") as source:
    INTERFACE = json.load(source)

# Who takes back what a call hands out, by the library that the call belongs to.
TAKERS = {
    "VSQEL": "VSQEL_FreeMemory",
    "VSDVS": "VSDVS_FreeMemory",
    "DVSQEL": "DVSQEL_DataFree",
    "DVSData": "DVSQEL_DataFree",
}

WATCHED = """
import ctypes, json
import libvswitch as vs
from libvswitch import _records

INTERFACE = json.load(open({interface!r}))
TAKERS = {takers!r}
BLOCK = ctypes.create_string_buffer(1 << 16)
ADDRESS = ctypes.addressof(BLOCK)

def value(argument, row):
    if argument["typemap"] in ("text", "fixed text"):
        return "x"
    if argument["typemap"] == "scalar":
        return 0
    if argument["typemap"].startswith("raw"):
        return b"1234"
    return None

def prepared(row, at):
    "Arguments for a call that stores the address of the block in its argument number `at`."
    rec.recorder_reset()
    rec.recorder_return(0)
    rec.recorder_store(at + 1, ADDRESS, 8)
    return [value(argument, row) for argument in row["arguments"] if not argument["output"]]

def taken():
    return [(name, arguments) for name, *arguments in calls()]
"""


@pytest.fixture
def watched(recording: Script) -> Script:
    def run(source: str, *arguments: str, **options: Any) -> str:
        return recording(
            WATCHED.format(interface=str(BUILD / "interface.json"), takers=TAKERS) + source, *arguments, **options
        )

    return run


def test_what_a_call_gives_goes_back_to_its_library(watched: Script) -> None:
    watched(
        """
def leave(record):
    with record:
        assert [name for name, _ in taken()] == []

ways = {"release": lambda record: record.release(), "with": leave}
seen = 0
for row in INTERFACE["calls"]:
    places = [i for i, argument in enumerate(row["arguments"]) if argument["typemap"] == "record output"]
    if not places:
        continue
    function, taker = getattr(vs, row["name"]), TAKERS[row["name"].partition("_")[0]]
    for release in ways.values():
        status, *outputs = function(*prepared(row, places[0]))
        record = next(output for output in outputs if isinstance(output, vs.Record))
        assert status == 0 and _records.address(record) == ADDRESS and not record.thisown
        assert [name for name, _ in taken()] == [row["name"]]
        release(record)
        assert taken() == [(taker, [str(ADDRESS)])], row["name"]
        record.release()
        assert taken() == [] and _records.released(record)
    with vs.allocated(function, *prepared(row, places[0])):
        assert [name for name, _ in taken()] == [row["name"]]
    assert taken() == [(taker, [str(ADDRESS)])]
    seen += 1
assert seen == 24, seen
"""
    )


def test_what_a_call_stores_goes_back_to_its_library(watched: Script) -> None:
    watched(
        """
seen = 0
for row in INTERFACE["calls"]:
    places = [i for i, argument in enumerate(row["arguments"])
              if argument["type"].endswith("**") and not argument["output"]]
    if not places or row["name"] == "DVSData_Data":
        continue
    place = places[0]
    taker = TAKERS[row["name"].partition("_")[0]]
    given = prepared(row, place)
    given[place] = vs.cell(row["arguments"][place]["type"])
    with vs.allocated(getattr(vs, row["name"]), *given) as held:
        assert _records.address(held) == ADDRESS, row["name"]
        assert [name for name, _ in taken()] == [row["name"]]
    assert taken() == [(taker, [str(ADDRESS)])], row["name"]
    seen += 1
assert seen == 16, seen
"""
    )


HELPERS = {
    "alloc_dvmirror_session_table": (1, 1),
    "alloc_ls_team_table": (1,),
    "alloc_rtm_query": (1,),
    "alloc_rtm_mod_query": (1,),
    "alloc_hnq_query": (1,),
    "alloc_vs_info": (),
    "new_vidrangeArray": (1,),
    "new_pvlanmapentryArray": (1,),
}


@pytest.mark.parametrize("name", HELPERS)
def test_what_a_helper_makes_is_freed_once(script: Script, name: str) -> None:
    script(
        f"""
        import libvswitch as vs
        from heap import bytes_in_use
        function, arguments = vs.{name}, {HELPERS[name]!r}
        def once():
            function(*arguments).release()
            with function(*arguments):
                pass
            with vs.allocated(function, *arguments):
                pass
        for _ in range(200):
            once()
        before = bytes_in_use()
        for _ in range(2000):
            once()
        assert abs(bytes_in_use() - before) < 2000, bytes_in_use() - before
        """
    )


def test_every_row_says_who_takes_back() -> None:
    functions = {call["name"]: call for call in INTERFACE["calls"]}
    takers = {name for name, call in functions.items() if call.get("takes_back")}
    assert takers == {
        *("VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree", "free_switches"),
        *(name.replace("alloc_", "free_").replace("new_", "delete_") for name in HELPERS),
    }
    for name, call in functions.items():
        gives = any(argument["typemap"] == "record output" for argument in call["arguments"])
        assert ("taken_back_by" in call) == (gives or name in HELPERS), name
        assert call.get("taken_back_by", "free_switches") in takers
        for argument in call["arguments"]:
            stores = argument["type"].endswith("**") and not argument["output"] or argument["type"] == "DVSDataHandle *"
            assert ("taken_back_by" in argument) == (stores and name != "DVSData_Data"), name


# ---- views ---------------------------------------------------------------------------------------------------------

FREEING = [
    *(f"delete_{record['name']}" for record in INTERFACE["records"]),
    *(call["name"] for call in INTERFACE["calls"] if call["name"].startswith(("free_", "delete_"))),
    *("VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree"),
]


def test_no_view_is_freed_by_itself(script: Script) -> None:
    """In a process of its own: a view that is freed ends it."""
    script(
        f"""
        import json
        import _libvswitch as m
        import libvswitch as vs
        from exact import raises

        nested = {{}}
        for record in json.load(open({str(BUILD / "interface.json")!r}))["records"]:
            for field in record["fields"]:
                if field["kind"] == "record" and not record["counted"]:
                    nested.setdefault(field["target"], (record["name"], field["name"]))
        table = vs.alloc_dvmirror_session_table(2, 2)
        views = {{"DVMirrorSession": (table, table[1]), "DVMirrorEntity": (table, table.get_first_session_entity(1))}}
        for target, (owner, name) in nested.items():
            whole = getattr(vs, owner)()
            view = getattr(whole, name)
            if isinstance(view, vs.Record):
                views[type(view).__name__] = (whole, view)
        assert len(views) >= 17, len(views)
        told = "a view cannot be freed without the record it lies in"
        for kind, (whole, view) in views.items():
            for name in {FREEING!r}:
                of_any = name in ("VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree")
                if name != "delete_" + kind and not of_any:
                    try:
                        getattr(vs, name)(view)
                    except (TypeError, ValueError):
                        continue
                    raise AssertionError((kind, name))
                with raises(ValueError, f"in method '{{name}}', {{told}}"):
                    getattr(vs, name)(view)
            with raises(ValueError, f"in method 'delete_{{kind}}', {{told}}"):
                getattr(m, "delete_" + kind)(view)
            bytes(view)
        """
    )


# ---- memory of unknown origin ----------------------------------------------------------------------------------------


def test_with_needs_to_know_who_takes_back() -> None:
    info = vs.VSInfo()
    other = vs.VSInfo.__new__(vs.VSInfo)
    other.this = vs._records.pointer(int(info.this), "_p_VSInfo").this
    disowned = vs.VSInfo()
    disowned.thisown = False
    for record in (other, disowned, vs.cell("VSInfo **", info).value):
        with pytest.raises(ValueError, match="does not know who takes its memory back"):
            with record:
                raise AssertionError("entered")
        assert record.mtu == 0
    disowned.thisown = True
    with disowned:
        pass
    with info.__class__() as own:
        own.mtu = 5
    with pytest.raises(ValueError, match="released"):
        own.mtu


def test_allocators_live_as_long_as_the_process() -> None:
    """The library may call them as long as it holds memory from them."""
    made = vs.allocator(lambda size: None, lambda address: None)
    watches = [weakref.ref(one._native) for one in made]
    del made
    gc.collect()
    assert [watch() is not None for watch in watches] == [True, True]


def test_long_values_are_cut_where_records_show_themselves() -> None:
    session = vs.DVMirrorSession()
    session.dname = "x" * 80
    assert f"dname='{'x' * 44}..." in repr(session) and "x" * 45 not in repr(session)
    session.dname = "y" * 46
    assert f"dname='{'y' * 46}'" in repr(session)


def test_a_destructor_marks_its_record_released() -> None:
    info = vs.VSInfo()
    vs.delete_VSInfo(info)
    assert repr(info) == "<VSInfo released>" and info.thisown is False
    with pytest.raises(ValueError, match="was released"):
        info.mtu
    info = vs.VSInfo()
    import _libvswitch

    _libvswitch.delete_VSInfo(info)
    assert repr(info) == "<VSInfo released>"


def test_rows_take_no_array() -> None:
    for record, field in ((vs.VSInfo(), "dvsName"), (vs.VSPortInfo(), "stats"), (vs.HNQQuery(), "this")):
        with pytest.raises(ValueError, match="has no number or text"):
            vs.rows(record, 1, field)
