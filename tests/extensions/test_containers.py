"""Indexed access: name slots, tables of records, runs of records, arrays, and the values within records."""

import ctypes
import struct
from collections.abc import Callable
from typing import Any, NamedTuple

import _libvswitch as m
import pytest
from exact import raises
from native_memory import Memory, bare, check_arguments, check_method, take_copy
from workspace import Script

INVALID = "Invalid array index."
HIGHEST, LOWEST = 2**31 - 1, -(2**31)
# Records stand at odd addresses as well as at even ones.
PLACES = [512, 513]


@pytest.fixture(params=PLACES, ids=["aligned", "unaligned"])
def place(request: pytest.FixtureRequest) -> Any:
    return request.param


# ---- names in slots ------------------------------------------------------------------------------------


class Slots(NamedTuple):
    """Where a record keeps its names; without a count there are 32 of them."""

    record: str
    count_at: int | None
    first: int
    stride: int
    width: int

    def method(self, name: str) -> Any:
        return getattr(m, f"{self.record}___{name}__")


COUNTED = [
    Slots("VSUplinks", 4, 8, 36, 32),
    Slots("VSUplinkPorts", 0, 4, 81, 81),
    Slots("VSUplinkPortIds", 0, 4, 48, 48),
    Slots("VSLAGStatus", 84, 88, 32, 32),
]
READ_ONLY = [Slots("VSDVMirrorSessionIDs", 4, 8, 32, 32)]
FIXED = [Slots("VSTeamPolicy", None, 24, 81, 81), Slots("LSTeamPolicy", None, 156, 81, 81)]
WITH_LENGTH = COUNTED[:3]


def named(slots: Slots) -> str:
    return slots.record


class Names(Memory):
    """A record of name slots in the middle of a block, with `count` of them valid."""

    def __init__(self, slots: Slots, place: int, count: int = 3) -> None:
        super().__init__(4096)
        self.slots = slots
        self.place = place
        if slots.count_at is not None:
            self.write_int(place + slots.count_at, count)
        self.proxy = self.record(slots.record, place)

    def at(self, index: int) -> int:
        return self.place + self.slots.first + self.slots.stride * index

    def get(self, index: int) -> Any:
        return self.slots.method("getitem")(self.proxy, index)

    def set(self, index: int, text: Any) -> Any:
        return self.slots.method("setitem")(self.proxy, index, text)


@pytest.mark.parametrize("slots", COUNTED + READ_ONLY + FIXED, ids=named)
def test_names_are_read_from_their_slots(slots: Slots, place: int, printed: Callable[[], str]) -> None:
    names = Names(slots, place)
    texts = [b"vmnic0", b"", b"x" * (slots.width - 1)]
    for index, text in enumerate(texts):
        names.write(names.at(index), text.ljust(slots.width, b"\0"))
    assert [names.get(index) for index in range(3)] == [text.decode() for text in texts]
    names.write(names.at(1), b"\xffu\xc3\xa9\0")
    assert names.get(1) == "\udcffu\u00e9"
    assert printed() == ""


@pytest.mark.parametrize("slots", COUNTED + READ_ONLY, ids=named)
@pytest.mark.parametrize("count", [0, 1, 3])
def test_an_index_that_is_not_below_the_count_is_reported_and_reads_none(
    slots: Slots, place: int, count: int, printed: Callable[[], str]
) -> None:
    names = Names(slots, place, count)
    for index in (count, count + 1, 17, HIGHEST, -1, -3, LOWEST):
        assert names.get(index) is None
        assert printed() == INVALID
    for index in range(count):
        names.write(names.at(index), b"name\0")
        assert names.get(index) == "name"
        assert printed() == ""


def test_minus_one_is_invalid_for_uplinks_and_not_refused_for_a_teaming_policy(printed: Callable[[], str]) -> None:
    uplinks = Names(COUNTED[0], 512)
    assert uplinks.get(-1) is None
    assert printed() == INVALID
    policy = Names(FIXED[0], 512)
    policy.write(policy.at(-1), b"before the first\0")
    assert policy.get(-1) == "before the first"
    assert printed() == ""


@pytest.mark.parametrize("slots", FIXED, ids=named)
def test_fixed_arrays_have_32_slots_and_pass_negative_indexes(
    slots: Slots, place: int, printed: Callable[[], str]
) -> None:
    names = Names(slots, place)
    for index in (31, -1, -2):
        names.write(names.at(index), f"slot {index}".encode() + b"\0")
    for index in (31, -1, -2):
        assert names.get(index) == f"slot {index}"
    names.set(-2, "negative")
    assert names.read(names.at(-2), 81) == b"negative".ljust(81, b"\0")
    assert printed() == ""
    before = names.all()
    for index in (32, 33, HIGHEST):
        assert names.get(index) is None
        assert names.set(index, "text") is None
        assert printed() == INVALID * 2
    assert names.all() == before


@pytest.mark.parametrize("slots", COUNTED + FIXED, ids=named)
def test_a_text_is_copied_into_its_slot_and_padded_with_zeros(
    slots: Slots, place: int, printed: Callable[[], str]
) -> None:
    names = Names(slots, place)
    width = slots.width
    for text in ("vmnic1", "", "\u00e9", "y" * (width - 1), "y" * width, "y" * (width + 9), "\u00e9" * width, None):
        expected = bytearray(names.all())
        expected[names.at(1) : names.at(1) + width] = (text or "").encode()[:width].ljust(width, b"\0")
        names.write(names.at(1), b"\x55" * width)
        assert names.set(1, text) is None
        assert names.all() == bytes(expected)
    assert printed() == ""


def test_a_name_of_81_characters_leaves_its_slot_without_a_terminator() -> None:
    ports = Names(COUNTED[1], 512)
    ports.set(0, "z" * 81)
    assert ports.read(ports.at(0), 82) == b"z" * 81 + b"\xaa"


@pytest.mark.parametrize("slots", COUNTED + READ_ONLY + FIXED, ids=named)
def test_a_name_that_fills_its_slot_runs_on_up_to_the_next_terminator(
    slots: Slots, place: int, printed: Callable[[], str]
) -> None:
    names = Names(slots, place)
    names.write(names.at(0), b"z" * slots.width + b"next\0")
    assert names.get(0) == "z" * slots.width + "next"
    # Over more than one slot, too, and through bytes that are no UTF-8.
    names.write(names.at(0), b"\xff" * (names.at(2) - names.at(0)) + b"end\0")
    assert names.get(0) == "\udcff" * (names.at(2) - names.at(0)) + "end"
    assert printed() == ""


@pytest.mark.parametrize("slots", COUNTED, ids=named)
def test_writing_at_an_invalid_index_is_reported_and_stores_nothing(
    slots: Slots, place: int, printed: Callable[[], str]
) -> None:
    names = Names(slots, place, 2)
    before = names.all()
    for index in (2, 3, HIGHEST, -1, LOWEST):
        assert names.set(index, "text") is None
        assert printed() == INVALID
    assert names.all() == before


@pytest.mark.parametrize("slots", WITH_LENGTH, ids=named)
def test_the_length_is_the_count_as_a_signed_number(slots: Slots, place: int) -> None:
    for count, length in ((0, 0), (3, 3), (HIGHEST, HIGHEST), (2**31, LOWEST), (2**32 - 1, -1)):
        assert slots.method("len")(Names(slots, place, count).proxy) == length


def test_names_in_a_record_of_its_own_can_be_used_through_a_class(script: Script) -> None:
    """With the methods as a class's own, subscripts and len work, and so does walking to the length."""
    output = script(
        """
        import _libvswitch as m

        class VSUplinkPorts:
            def __init__(self, count): self.this = m.new_VSUplinkPorts(count)
            __len__ = m.SWIG_PyInstanceMethod_New(m.VSUplinkPorts___len__)
            __getitem__ = m.SWIG_PyInstanceMethod_New(m.VSUplinkPorts___getitem__)
            __setitem__ = m.SWIG_PyInstanceMethod_New(m.VSUplinkPorts___setitem__)
            __swig_destroy__ = m.delete_VSUplinkPorts

        m.VSUplinkPorts_swigregister(VSUplinkPorts)
        ports = VSUplinkPorts(2)
        ports[0], ports[1] = "first", "second"
        assert len(ports) == 2
        assert [ports[index] for index in range(len(ports))] == ["first", "second"]
        assert ports[2] is None
        del ports
        """
    )
    assert output == INVALID


# ---- the switch list -----------------------------------------------------------------------------------


@pytest.mark.parametrize(("kind", "width"), [(1, 128), (0, 81), (2, 81), (-1, 81)])
def test_the_slots_of_a_switch_list_have_the_width_of_its_kind(
    kind: int, width: int, place: int, printed: Callable[[], str]
) -> None:
    memory = Memory(4096)
    memory.write(place, struct.pack("<ii", 3, kind))
    for index, text in ((-1, b"before"), (0, b"vSwitch0"), (1, b"s" * (width - 1)), (2, b"\xe9")):
        memory.write(place + 8 + width * index, text.ljust(width, b"\0") if index >= 0 else text + b"\0")
    switches = memory.record("VSList", place)
    memory.write(place, struct.pack("<ii", 3, kind))
    assert [m.VSList___getitem__(switches, index) for index in range(3)] == ["vSwitch0", "s" * (width - 1), "\udce9"]
    memory.write(place + 8 + 2 * width - 1, b"s")
    assert m.VSList___getitem__(switches, 1) == "s" * width + "\udce9"
    assert printed() == ""


def test_a_switch_list_reports_with_a_line_end_and_without_a_full_stop(printed: Callable[[], str]) -> None:
    memory = Memory(1024)
    for count in (0, 2):
        memory.write(512, struct.pack("<ii", count, 1))
        for index in (count, count + 1, HIGHEST):
            assert m.VSList___getitem__(memory.record("VSList", 512), index) is None
            assert printed() == "Invalid array index\n"


def test_a_switch_list_does_not_refuse_negative_indexes(printed: Callable[[], str]) -> None:
    for kind, width in ((1, 128), (2, 81)):
        memory = Memory(1024)
        memory.write(512, struct.pack("<ii", 0, kind))
        memory.write(520 - 2 * width, b"before\0")
        assert m.VSList___getitem__(memory.record("VSList", 512), -2) == "before"
    # The count is signed as well.
    memory.write(512, struct.pack("<ii", -2, 1))
    assert m.VSList___getitem__(memory.record("VSList", 512), -2) is None
    assert printed() == "Invalid array index\n"


# ---- tables of records ---------------------------------------------------------------------------------

# Record, offset of its count, first entry, entry, its size.
TABLES = [
    ("DVMirrorSessionTable", 8, 20, "DVMirrorSession", 232),
    ("LSTeamTable", 0, 4, "LSTeamPolicy", 2748),
    ("RTMIOCtlQuery", 0, 9, "RTM_Portset", 136),
    ("RTMModIOCtlQuery", 0, 132, "RTM_ModInfo", 5),
]
tables = pytest.mark.parametrize(("record", "count_at", "first", "entry", "size"), TABLES, ids=[t[0] for t in TABLES])


@tables
def test_entries_are_views_into_their_table(
    record: str, count_at: int, first: int, entry: str, size: int, place: int
) -> None:
    memory = Memory(3 * size + 2048)
    memory.write_int(place + count_at, 3)
    for index in range(3):
        view = getattr(m, f"{record}___getitem__")(memory.record(record, place), index)
        assert int(bare(view)) == memory.address + place + first + size * index
        assert bare(view).own() is False
        assert f"'{entry} *'" in repr(bare(view))


def test_a_change_through_a_view_changes_the_table() -> None:
    query = m.alloc_rtm_query(2)
    m.RTM_Portset_psName_set(m.RTMIOCtlQuery___getitem__(query, 1), "vSwitch1")
    assert m.RTM_Portset_psName_get(m.RTMIOCtlQuery___getitem__(query, 1)) == "vSwitch1"
    assert ctypes.string_at(int(query) + 9 + 136, 9) == b"vSwitch1\0"
    m.free_rtm_query(query)


@tables
def test_a_whole_entry_is_copied_into_its_slot(
    record: str, count_at: int, first: int, entry: str, size: int, place: int
) -> None:
    memory = Memory(3 * size + 2048)
    memory.write_int(place + count_at, 3)
    data = bytes(number * 7 % 251 for number in range(size))
    source = Memory(size + 1)
    source.write(1, data)
    for index in (0, 2):
        expected = bytearray(memory.all())
        start = place + first + size * index
        expected[start : start + size] = data
        store = getattr(m, f"{record}___setitem__")
        assert store(memory.record(record, place), index, source.record(entry, 1)) is None
        assert memory.all() == bytes(expected)
    # An entry of the table itself, also a shifted one.
    view = getattr(m, f"{record}___getitem__")(memory.record(record, place), 0)
    store(memory.record(record, place), 1, view)
    assert memory.read(place + first + size, size) == data
    overlapping = memory.record(entry, place + first + 1)
    moved = memory.read(place + first + 1, size)
    store(memory.record(record, place), 0, overlapping)
    assert memory.read(place + first, size) == moved


@tables
def test_an_invalid_index_of_a_table_is_reported(
    record: str, count_at: int, first: int, entry: str, size: int, printed: Callable[[], str]
) -> None:
    memory = Memory(3 * size + 2048)
    memory.write_int(512 + count_at, 2)
    table = memory.record(record, 512)
    source = memory.record(entry, 0)
    before = memory.all()
    for index in (2, 3, HIGHEST, -1, LOWEST):
        assert getattr(m, f"{record}___getitem__")(table, index) is None
        assert printed() == INVALID
        for given in (source, None):
            assert getattr(m, f"{record}___setitem__")(table, index, given) is None
            assert printed() == INVALID
    assert memory.all() == before


@tables
def test_a_null_entry_is_refused_and_changes_nothing(
    record: str, count_at: int, first: int, entry: str, size: int, printed: Callable[[], str]
) -> None:
    memory = Memory(3 * size + 2048)
    memory.write_int(512 + count_at, 2)
    table = memory.record(record, 512)
    before = memory.all()
    with raises(
        ValueError, f"invalid null reference in method '{record}___setitem__', argument 3 of type '{entry} const *'"
    ):
        getattr(m, f"{record}___setitem__")(table, 1, None)
    assert memory.all() == before
    assert printed() == ""


# ---- runs of records -----------------------------------------------------------------------------------

RUNS = {
    "VSMACEntry": 26,
    "VSStaticLEEntry": 529,
    "VSPMACLearningStatsPortInfo": 32,
    "VSPMACLearningInfo": 14,
    "VSPropSecurityPortInfo": 8,
    "VSPvlanMapEntry": 8,
}


@pytest.mark.parametrize(("record", "size"), RUNS.items(), ids=RUNS.keys())
def test_elements_of_a_run_are_copies_that_their_proxies_own(
    record: str, size: int, place: int, printed: Callable[[], str]
) -> None:
    memory = Memory(6000)
    memory.write(0, bytes(number * 7 % 251 for number in range(6000)))
    start = place + 100
    run = memory.record(record, start)
    # Nothing tests the index; -1 is the element before.
    for index in (0, 1, 7, -1):
        copy = getattr(m, f"{record}___getitem__")(run, index)
        assert f"'{record} *'" in repr(bare(copy))
        assert not memory.address <= int(bare(copy)) < memory.address + memory.size
        assert take_copy(record, copy, size) == memory.read(start + size * index, size)
    assert printed() == ""


def test_a_copy_does_not_follow_its_source() -> None:
    entry = m.new_VSMACEntry()
    m.VSMACEntry_vni_set(entry, 5)
    copy = m.VSMACEntry___getitem__(entry, 0)
    m.VSMACEntry_vni_set(entry, 6)
    m.VSMACEntry_vid_set(copy, 7)
    assert m.VSMACEntry_vni_get(copy) == 5
    assert m.VSMACEntry_vid_get(entry) == 0
    m.delete_VSMACEntry(entry)
    assert m.VSMACEntry_vid_get(copy) == 7
    m.delete_VSMACEntry(copy)


def test_trunk_ranges_are_copied_from_behind_the_policy(place: int) -> None:
    memory = Memory(1024)
    policy = memory.record("VSPortVlanPolicy", place)
    memory.write(place, bytes(range(48)))
    for index in (0, 1, 9, -1):
        copy = m.VSPortVlanPolicy_get_vid_range(policy, index)
        assert take_copy("qel_HNQPortVIDRange", copy, 4) == bytes(range(8 + 4 * index, 12 + 4 * index))


# ---- arrays that scripts make ----------------------------------------------------------------------------

ARRAYS = [("vidrangeArray", "qel_HNQPortVIDRange", 4), ("pvlanmapentryArray", "VSPvlanMapEntry", 8)]
arrays = pytest.mark.parametrize(("array", "element", "size"), ARRAYS, ids=["vidrange", "pvlanmapentry"])


@arrays
def test_elements_of_an_array_are_stored_and_read_as_copies(
    array: str, element: str, size: int, printed: Callable[[], str]
) -> None:
    elements = getattr(m, f"new_{array}")(5)
    assert elements.own() is False
    assert f"'{element} *'" in repr(elements)
    source = Memory(size)
    for index in range(5):
        source.write(0, bytes(range(10 * index, 10 * index + size)))
        assert getattr(m, f"{array}_setitem")(elements, index, source.record(element)) is None
    assert ctypes.string_at(int(elements), 5 * size) == b"".join(bytes(range(10 * i, 10 * i + size)) for i in range(5))
    for index in range(5):
        copy = getattr(m, f"{array}_getitem")(elements, index)
        assert take_copy(element, copy, size) == bytes(range(10 * index, 10 * index + size))
    assert getattr(m, f"delete_{array}")(elements) is None
    assert printed() == ""


@arrays
def test_the_proxy_of_an_array_is_the_first_element(array: str, element: str, size: int) -> None:
    elements = getattr(m, f"new_{array}")(2)
    ctypes.memset(int(elements), 0, 2 * size)
    field = {"vidrangeArray": "minVID", "pvlanmapentryArray": "primaryVID"}[array]
    getattr(m, f"{element}_{field}_set")(elements, 100)
    copy = getattr(m, f"{array}_getitem")(elements, 0)
    assert getattr(m, f"{element}_{field}_get")(copy) == 100
    getattr(m, f"delete_{element}")(copy)
    getattr(m, f"delete_{array}")(elements)


@arrays
def test_an_array_that_no_memory_holds_is_none(array: str, element: str, size: int) -> None:
    for count in (2**64 - 1, 2**64 // size, 2**63 // size, 2**62):
        assert getattr(m, f"new_{array}")(count) is None


@arrays
def test_arguments_of_the_array_functions(array: str, element: str, size: int) -> None:
    elements = getattr(m, f"new_{array}")(1)
    pointer = (f"{element} *", elements)
    check_arguments(f"new_{array}", ("size_t", 1))
    check_arguments(f"delete_{array}", (f"{element} *", None))
    check_arguments(f"{array}_getitem", pointer, ("size_t", 0))
    check_arguments(f"{array}_setitem", pointer, ("size_t", 0), (element, elements))
    assert getattr(m, f"delete_{array}")(None) is None
    null = "invalid null reference in method '{}', argument {} of type '{}'"
    with raises(ValueError, null.format(f"{array}_setitem", 3, element)):
        getattr(m, f"{array}_setitem")(elements, 0, None)
    with raises(ValueError, null.format(f"{array}_setitem", 1, f"{element} *")):
        getattr(m, f"{array}_setitem")(None, 0, elements)
    with raises(ValueError, null.format(f"{array}_getitem", 1, f"{element} *")):
        getattr(m, f"{array}_getitem")(None, 0)
    getattr(m, f"delete_{array}")(elements)


# ---- the counted integer array ---------------------------------------------------------------------------


def test_active_destinations_are_unsigned_integers(place: int, printed: Callable[[], str]) -> None:
    memory = Memory(1024)
    memory.write_int(place + 4, 3)
    destinations = memory.record("VSPromiscSessionActiveDsts", place)
    for index, port in enumerate((0, 67108880, 0xFFFFFFFF)):
        expected = bytearray(memory.all())
        expected[place + 8 + 4 * index : place + 12 + 4 * index] = struct.pack("<I", port)
        assert m.VSPromiscSessionActiveDsts___setitem__(destinations, index, port) is None
        assert memory.all() == bytes(expected)
        assert m.VSPromiscSessionActiveDsts___getitem__(destinations, index) == port
    assert printed() == ""


def test_an_invalid_destination_reads_0_and_stores_nothing(printed: Callable[[], str]) -> None:
    memory = Memory(1024)
    memory.write_int(516, 2)
    destinations = memory.record("VSPromiscSessionActiveDsts", 512)
    before = memory.all()
    for index in (2, HIGHEST, -1, LOWEST):
        assert m.VSPromiscSessionActiveDsts___getitem__(destinations, index) == 0
        assert printed() == INVALID
        assert m.VSPromiscSessionActiveDsts___setitem__(destinations, index, 5) is None
        assert printed() == INVALID
    assert memory.all() == before


# ---- values within records -------------------------------------------------------------------------------


@pytest.mark.parametrize(
    ("record", "method", "member", "size"),
    [
        ("VSPMACLearningStatsPortInfo", "get_mac_learning_stats", "VSPMACLearningStats", 28),
        ("VSPropSecurityPortInfo", "get_port_sec", "VSPropSecurity", 4),
        ("VSPMACLearningInfo", "get_mac_learning_config", "VSPMACLearning", 10),
    ],
)
def test_members_are_copied_from_behind_the_port(record: str, method: str, member: str, size: int, place: int) -> None:
    memory = Memory(1024)
    memory.write(place, bytes(range(64)))
    copy = getattr(m, f"{record}_{method}")(memory.record(record, place))
    assert f"'{member} *'" in repr(bare(copy))
    assert take_copy(member, copy, size) == bytes(range(4, 4 + size))


def test_words_of_a_vlan_bitmap_are_unsigned(place: int) -> None:
    memory = Memory(2048)
    words = [0, 2**64 - 1, 2**63, 0x0123456789ABCDEF]
    for index, word in zip((0, 1, 63, -1), words):
        memory.write(place + 8 * index, struct.pack("<Q", word))
    entry = memory.record("VSStaticLEEntry", place)
    assert [m.VSStaticLEEntry_vlan_get_values(entry, index) for index in (0, 1, 63, -1)] == words


@pytest.mark.parametrize("data", [b"", b"v", b"with\0zeros\0", bytes(range(256)) * 3])
def test_a_property_value_is_all_its_bytes(data: bytes) -> None:
    query = m.alloc_hnq_query(len(data))
    (value,) = struct.unpack("<Q", ctypes.string_at(int(query) + 4, 8))
    ctypes.memmove(value, data, len(data))
    assert m.HNQQuery_get_val_in_bytes(query) == data
    if data:
        m.HNQQuery_propLen_set(query, len(data) - 1)
        assert m.HNQQuery_get_val_in_bytes(query) == data[:-1]
    m.HNQQuery_propLen_set(query, -1)
    assert m.HNQQuery_get_val_in_bytes(query) == b""
    m.free_hnq_query(query)


def test_a_property_without_a_value_is_empty() -> None:
    query = m.new_HNQQuery()
    m.HNQQuery_propLen_set(query, 10)
    assert m.HNQQuery_get_val_in_bytes(query) == b""
    m.delete_HNQQuery(query)


def test_a_name_shows_as_its_text(place: int) -> None:
    memory = Memory(1024)
    name = memory.record("qel_Name", place)
    for data, text in ((b"vmnic0\0", "vmnic0"), (b"\0", ""), (b"n" * 32, "n" * 32), (b"\xff\0", "\udcff")):
        memory.write(place, data)
        assert m.qel_Name___repr__(name) == text


def test_the_name_of_a_null_record_is_none() -> None:
    assert m.qel_Name___repr__(None) is None
    check_arguments("qel_Name___repr__", ("struct qel_Name *", None))


# ---- arguments -------------------------------------------------------------------------------------------


def test_arguments_of_the_name_methods() -> None:
    text = ("char const *", "text")
    for slots in COUNTED + FIXED:
        check_method("__getitem__", slots.record, ("int", 99))
        check_method("__setitem__", slots.record, ("int", 99), text)
    for slots in WITH_LENGTH:
        check_method("__len__", slots.record)
    check_method("__getitem__", "VSDVMirrorSessionIDs", ("int", 0))
    check_method("__getitem__", "VSList", ("int", 0))


@tables
def test_arguments_of_the_table_methods(record: str, count_at: int, first: int, entry: str, size: int) -> None:
    other = getattr(m, f"new_{entry}")()
    check_method("__getitem__", record, ("int", 99))
    check_method("__setitem__", record, ("int", 99), (f"{entry} const *", other))
    getattr(m, f"delete_{entry}")(other)


def test_arguments_of_the_other_methods() -> None:
    for record in RUNS:
        check_method("__getitem__", record, ("int", 0))
    check_method("get_vid_range", "VSPortVlanPolicy", ("int", 0))
    check_method("__getitem__", "VSPromiscSessionActiveDsts", ("int", 0))
    check_method("__setitem__", "VSPromiscSessionActiveDsts", ("int", 0), ("qel_SwitchPortID", 1))
    check_method("get_mac_learning_stats", "VSPMACLearningStatsPortInfo")
    check_method("get_mac_learning_config", "VSPMACLearningInfo")
    check_method("get_port_sec", "VSPropSecurityPortInfo")
    check_method("vlan_get_values", "VSStaticLEEntry", ("int", 0))
    check_method("get_val_in_bytes", "HNQQuery")
