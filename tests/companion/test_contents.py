"""What records hold: length, index and iteration end where the count does, whichever way one reaches the elements."""

import ctypes
import gc
import json
from collections.abc import Callable
from typing import Any

import pytest
from libvswitch import _records
from misused import vs
from workspace import BUILD, Script

with open(BUILD / "interface.json", encoding="utf-8") as source:
    RECORDS = {record["name"]: record for record in json.load(source)["records"]}


def placed(name: str, memory: Any) -> Any:
    """A record at the start of some memory, which the caller keeps."""
    return _records.pointer(ctypes.addressof(memory), f"_p_{name}")


# Counted arrays: the record, its count and that count's bytes, its array, where that begins, its element and the
# element's bytes, and a field of the element with a number that its first bytes say.
ARRAYS = [
    ("VSMACTable", "numEntries", "macEntries", 8, "VSMACEntry", 26, lambda entry: vs.mac_bytes(entry.macAddress)[0]),
    (
        "VSMACLearningStats",
        "numEntries",
        "macLearningEntries",
        8,
        "VSPMACLearningStatsPortInfo",
        32,
        lambda e: e.portID,
    ),
    ("VSMACLearningEntries", "numEntries", "portMACLearningEntries", 8, "VSPMACLearningInfo", 14, lambda e: e.portID),
    ("VSL2Security", "numEntries", "portSecEntries", 8, "VSPropSecurityPortInfo", 8, lambda e: e.portID),
    (
        "VSStaticLeCtxEntries",
        "numEntries",
        "staticLECtxEntries",
        8,
        "VSStaticLEEntry",
        529,
        lambda e: e.vlan_get_values(0),
    ),
    ("DVPortList", "nports", "dvPort", 8, "DVPortData", 52, lambda e: ord(e.dvPortId or "\0")),
    ("qel_HNQPortVlanInfo", "numRanges", "vidRanges", None, "qel_HNQPortVIDRange", 4, lambda e: e.minVID & 0xFF),
]
IDS = [array[0] for array in ARRAYS]


@pytest.fixture(params=ARRAYS, ids=IDS)
def array(request: pytest.FixtureRequest) -> Any:
    """A record that counts four elements, whose first bytes are 1 to 4, and a fifth behind them that it does not
    count."""
    name, count, field, start, element, size, number = request.param
    described = {each["name"]: each for each in RECORDS[name]["fields"]}
    start = described[field]["offset"]
    memory: Any = ctypes.create_string_buffer(start + 6 * size)
    for index in range(6):
        memory[start + index * size] = index + 1
    holder = placed(name, memory)
    setattr(holder, count, 4)
    return holder, count, field, getattr(vs, element), number, memory


def test_an_array_ends_where_its_record_says(array: Any) -> None:
    holder, count, field, element, number, _ = array
    for run in (holder, getattr(holder, field)):
        assert len(run) == 4
        assert [number(each) for each in run] == [1, 2, 3, 4]
        assert (
            [number(run[index]) for index in range(4)] == [number(run[index]) for index in range(-4, 0)] == [1, 2, 3, 4]
        )
        assert all(type(each) is element for each in run)
        for beyond in (4, 5, 9999, -5, -9999, 2**31, -(2**31) - 1, 2**70, -(2**70)):
            with pytest.raises(IndexError, match=f"index .* of a 'libvswitch.{type(run).__name__}' that has 4$"):
                run[beyond]
        for wrong in ("1", None, 1.0, slice(0, 2), b"1"):
            with pytest.raises(TypeError):
                run[wrong]


def test_the_count_of_now_counts(array: Any) -> None:
    holder, count, field, element, number, _ = array
    run = getattr(holder, field)
    walk, other = iter(run), iter(holder)
    assert number(next(walk)) == number(next(other)) == 1
    setattr(holder, count, 1)
    assert len(run) == len(holder) == 1 and list(walk) == list(other) == []
    setattr(holder, count, 4)
    assert list(walk) == list(other) == []  # a walk that is over stays over
    setattr(holder, count, 0)
    assert len(run) == 0 and list(run) == list(holder) == [] and not holder and run
    with pytest.raises(IndexError):
        run[0]
    with pytest.raises(IndexError):
        holder[-1]


def test_elements_outlive_their_walk(array: Any) -> None:
    holder, count, field, element, number, memory = array
    kept = list(holder) + list(getattr(holder, field))
    copied = kept[0].thisown
    for index in range(4):
        memory[RECORDS[type(holder).__name__]["fields"][-1]["offset"] + index * len(bytes(kept[0]))] = 9
    gc.collect()
    # Copies where the module's own index gives copies, else views.
    assert [number(each) for each in kept] == ([1, 2, 3, 4] if copied else [9, 9, 9, 9]) * 2
    described = {method["name"]: method["result"] for method in RECORDS[element.__name__]["methods"]}
    assert copied == (described.get("__getitem__") == "owned pointer")


@pytest.mark.parametrize("name", sorted({array[4] for array in ARRAYS}))
def test_a_record_by_itself_has_no_length(name: str) -> None:
    record = getattr(vs, name)()
    assert record
    with pytest.raises(TypeError, match="has no len"):
        len(record)
    with pytest.raises(TypeError, match="not iterable"):
        iter(record)


def test_what_nobody_counts_stays_as_it_is() -> None:
    made = vs.new_pvlanmapentryArray(3)
    for index in range(3):
        entry = vs.VSPvlanMapEntry()
        entry.primaryVID = 10 + index
        vs.pvlanmapentryArray_setitem(made, index, entry)
    assert [made[index].primaryVID for index in range(3)] == [10, 11, 12]
    vs.delete_pvlanmapentryArray(made)
    entries: Any = ctypes.create_string_buffer(3 * 26)
    entries[26] = 7
    assert placed("VSMACEntry", entries)[1].macAddress.startswith("07:")


def test_a_view_of_one_record_is_no_view_of_another() -> None:
    """What an array's view knows of its record goes when the view gets other memory."""
    memory: Any = ctypes.create_string_buffer(8 + 26)
    memory[4] = 1
    view = placed("VSMACTable", memory).macEntries
    assert len(view) == 1
    view.this = vs.VSMACEntry().this
    with pytest.raises(TypeError):
        len(view)
    made_anew = placed("VSMACTable", memory).macEntries
    assert len(made_anew) == 1
    made_anew.__init__()
    assert made_anew.thisown
    with pytest.raises(TypeError):
        len(made_anew)


def test_tables_of_the_host_end() -> None:
    with vs.allocated(vs.VSQEL_GetL2Security, "workload") as security:
        ports = [entry.portID for entry in security]
        assert len(ports) == len(security) == security.numEntries > 2
        assert security.portSecEntries[-1].portID == ports[-1] == security[-1].portID
        with pytest.raises(IndexError):
            security.portSecEntries[9999]
        kept, view = security[0], security.portSecEntries
    assert kept.portID == ports[0]  # a copy
    uses: tuple[Callable[[Any], object], ...] = (len, iter, list, lambda run: run[0])
    for use in uses:
        with pytest.raises(ValueError, match="was released"):
            use(view)
        with pytest.raises(ValueError, match="was released"):
            use(security)


def test_port_lists_of_the_host() -> None:
    with vs.allocated(vs.DVSQEL_SwitchPortList, "workload", vs.cell("DVPortList **"), vs.DVSPORT_TYPE_ACTIVE) as ports:
        names = [port.dvPortId for port in ports]
        assert len(names) == ports.nports == len(ports) > 1
        assert ports[-1].dvPortId == ports.dvPort[-1].dvPortId == names[-1] and ports.dvPort.dvPortId == names[0]
        with pytest.raises(IndexError):
            ports[len(ports)]
        last = ports[-1]
    with pytest.raises(ValueError, match="was released"):
        last.dvPortId


# ---- records with an index of their own ----------------------------------------------------------------------------

NAMES = ["a", "bb", "ccc"]


def uplinks() -> Any:
    made = vs.VSUplinks(4)
    made.numEntries = 3
    return made


def lag(memory: Any = ctypes.create_string_buffer(88 + 4 * 32)) -> Any:
    made = placed("VSLAGStatus", memory)
    made.numUplinks = 3
    return made


def teaming(kind: Any) -> Callable[[], Any]:
    def make() -> Any:
        made = kind()
        made.numActive, made.numStandby = 1, 2
        return made

    return make


WRITABLE: dict[str, tuple[Callable[[], Any], int]] = {
    "VSUplinks": (uplinks, 3),
    "VSUplinkPorts": (lambda: vs.VSUplinkPorts(3), 3),
    "VSUplinkPortIds": (lambda: vs.VSUplinkPortIds(3), 3),
    "VSLAGStatus": (lag, 3),
    "VSTeamPolicy": (teaming(vs.VSTeamPolicy), 32),
    "LSTeamPolicy": (teaming(vs.LSTeamPolicy), 32),
}


@pytest.mark.parametrize("name", WRITABLE)
def test_names_are_reached_within_the_count_only(name: str, capfd: pytest.CaptureFixture[str]) -> None:
    make, room = WRITABLE[name]
    made = make()
    for index, text in enumerate(NAMES):
        made[index] = text
    assert list(made) == [made[0], made[1], made[2]] == [made[-3], made[-2], made[-1]] == NAMES
    made[-1] = "last"
    assert made[2] == "last" and len(made) == 3 and "bb" in made
    for beyond in (room, 40, 2**31, 2**64, -4, -33, -(2**64)):
        with pytest.raises(IndexError):
            made[beyond]
        with pytest.raises(IndexError):
            made[beyond] = "x"
        with pytest.raises(IndexError):
            getattr(vs, f"{name}___getitem__")(made, beyond)
        with pytest.raises(IndexError):
            getattr(vs, f"{name}___setitem__")(made, beyond, "x")
    for wrong in ("0", None, 1.0):
        with pytest.raises(TypeError, match="argument 2 of type 'int'"):
            made[wrong]
    assert list(made) == ["a", "bb", "last"]
    assert capfd.readouterr().out == ""


def test_the_module_itself_says_what_it_says(script: Script) -> None:
    """Under `_libvswitch` an index beyond the end is a line on standard output."""
    printed = script(
        """
        import _libvswitch as m
        policy = m.new_VSTeamPolicy()
        assert m.VSTeamPolicy___setitem__(policy, 40, "x") is None
        m.delete_VSTeamPolicy(policy)
        """
    )
    assert printed == "Invalid array index."


def test_teaming_policies_have_room_for_more_than_they_use() -> None:
    policy = vs.VSTeamPolicy()
    policy[31] = "spare"
    assert len(policy) == 0 and policy[31] == "spare"
    with pytest.raises(IndexError):
        policy[-1]
    policy.numActive = 33
    sized: tuple[Callable[[Any], object], ...] = (len, list)
    for use in sized:
        with pytest.raises(ValueError, match="a teaming policy of 33 uplinks, where 32 have room"):
            use(policy)


TABLES: dict[str, tuple[Callable[[], Any], str, Any]] = {
    "DVMirrorSessionTable": (
        lambda: vs.alloc_dvmirror_session_table(3, 2),
        "DVMirrorSession",
        vs.free_dvmirror_session_table,
    ),
    "LSTeamTable": (lambda: vs.alloc_ls_team_table(3), "LSTeamPolicy", vs.free_ls_team_table),
    "RTMIOCtlQuery": (lambda: vs.alloc_rtm_query(3), "RTM_Portset", vs.free_rtm_query),
    "RTMModIOCtlQuery": (lambda: vs.alloc_rtm_mod_query(3), "RTM_ModInfo", vs.free_rtm_mod_query),
}


@pytest.mark.parametrize("name", TABLES)
def test_tables_are_reached_within_the_count_only(name: str, capfd: pytest.CaptureFixture[str]) -> None:
    make, element, free = TABLES[name]
    table, entry = make(), getattr(vs, element)()
    assert len(table) == 3 and [type(each).__name__ for each in table] == [element] * 3
    assert [int(each.this) for each in table] == [int(table[index].this) for index in (-3, -2, -1)]
    for beyond in (3, 9999, -4, 2**63):
        with pytest.raises(IndexError):
            table[beyond]
        with pytest.raises(IndexError):
            table[beyond] = entry
    with pytest.raises(ValueError, match="argument 3"):
        table[0] = None
    free(table)
    assert capfd.readouterr().out == ""


def test_entities_end_with_their_table() -> None:
    with vs.allocated(vs.alloc_dvmirror_session_table, 1, 2) as table:
        assert table.get_first_session_entity(-1) == table.get_first_session_entity(1)
        for beyond in (2, 9999, -3):
            with pytest.raises(IndexError):
                table.get_first_session_entity(beyond)
        session = table[0]
        session.startIdx, session.numDstEntities = 1, 2
        walk = table.entities(session)
        next(walk)
        with pytest.raises(IndexError):
            next(walk)


def test_lists_of_the_host_end() -> None:
    listed = vs.VSQEL_GetSwitchesPy(vs.VS_LIST_DVS_ALIAS)
    assert (len(listed), listed[-1], list(reversed([*listed]))) == (2, "workload", ["workload", "management"])
    for beyond in (2, -3):
        with pytest.raises(IndexError):
            listed[beyond]
    with vs.allocated(vs.VSQEL_GetLAGTable, "workload") as lags:
        assert len(lags) == 1 and lags.vs_lag_table_first_lag().get_uplink_name(9) is None


def test_numbers_and_addresses_end() -> None:
    memory: Any = ctypes.create_string_buffer(4 + 5 * 4)
    memory[0], memory[4], memory[8] = 2, 5, 6
    ports = placed("VSPortList", memory)
    assert (len(ports), list(ports), ports[0], ports[-1]) == (2, [5, 6], 5, 6)
    with pytest.raises(IndexError):
        ports[2]
    memory[0:13] = b"\2\0\0\0\2\0\0\0\7\0\0\0\x08"
    active = placed("VSPromiscSessionActiveDsts", memory)
    assert (len(active), list(active), active[-1]) == (2, [7, 8], 8)
    active[-1] = 9
    assert active[1] == 9
    with pytest.raises(IndexError):
        active[2]
    with pytest.raises(IndexError):
        active[2] = 5
    keys: Any = ctypes.create_string_buffer(1 + 3 * 6)
    keys[0], keys[1], keys[7] = 2, 1, 2
    legacy = placed("VSUserMcastLegacyKeys", keys)
    assert list(legacy) == ["01:00:00:00:00:00", "02:00:00:00:00:00"] and len(legacy) == 2
    assert legacy[-1] == legacy.get_mac_entry(-1) == legacy.get_mac_entry(1)
    ranges: Any = ctypes.create_string_buffer(64)
    policy = placed("VSPortVlanPolicy", ranges)
    policy.numRanges = 2
    assert len(policy) == len(list(policy)) == 2
    for read in (policy.get_vid_range, legacy.get_mac_entry):
        with pytest.raises(IndexError):
            read(2)


def test_filters_know_how_many_but_not_of_which_kind() -> None:
    memory: Any = ctypes.create_string_buffer(64)
    memory[4] = 2
    filters = placed("VSMcastFilters", memory)
    memory[8] = 0xE0
    assert (
        len(filters) == 2
        and filters.get_ip_entry(0) == "224.0.0.0"
        and filters.get_mac_entry(-1) == "00:00:00:00:00:00"
    )
    with pytest.raises(TypeError, match="'VSMcastFilters' object is not iterable"):
        iter(filters)
    for read in (filters.get_ip_entry, filters.get_mac_entry, filters.get_ipv6_entry):
        for beyond in (2, -3):
            with pytest.raises(IndexError):
                read(beyond)
    memory[24], memory[4] = 1, 0
    sources = placed("VSMcastFilterStats", memory)
    assert len(sources) == 1 and sources.get_ip_entry(0) == "0.0.0.0"
    with pytest.raises(IndexError):
        sources.get_ipv6_entry(1)


def test_rows_of_fixed_number_end() -> None:
    static, entries = vs.VSStaticLEEntry(), vs.VSMACEntries()
    assert static.vlan_get_values(63) == static.vlan_get_values(-1) == 0
    entries.set_mac_address(-1, b"\1\2\3\4\5\6")
    assert bytes(entries)[-6:] == b"\1\2\3\4\5\6"
    for use in (static.vlan_get_values, lambda index: entries.set_mac_address(index, bytes(6))):
        for beyond in (64, -65, 2**40):
            with pytest.raises(IndexError):
                use(beyond)
    with pytest.raises(IndexError):
        entries.set_mac_address(25, bytes(6))


def test_fewer_than_six_bytes_are_no_address() -> None:
    entry = vs.VSMACEntry()
    for short in (b"", b"12345", bytearray(5), memoryview(b"1234")):
        with pytest.raises(
            ValueError, match="in method 'VSMACEntry_set_mac_address', argument 2: six bytes are needed, not"
        ):
            entry.set_mac_address(short)
    entry.set_mac_address(b"\1\2\3\4\5\6more")
    assert entry.macAddress.startswith("01:02:03:04:05:06")
    with pytest.raises(TypeError):
        entry.set_mac_address("123456")
