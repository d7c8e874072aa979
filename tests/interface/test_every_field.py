"""Every field of every record: where it lies, what it reads, what it stores, what it refuses."""

import ctypes
import re
from collections.abc import Callable, Iterable
from typing import Any

import _libvswitch as m
import pytest
from exact import raises
from fields import COUNTED, FIELDS, UNSIGNED, kind_of, of_kind
from native_memory import POINTER_OFFSET, proxy_at

RECORDS = list(dict.fromkeys(row["record"] for row in FIELDS))
UNTAGGED = {"qel_String", "qel_LinkStatus", "qel_SocketIPv6AddressAddr___u6_addr", "VSPortInfo_vlan",
            "VSPortInfo_ethFrpAccepted", "VSUplinks_entries"}


class Memory:
    """A record over a block of our own, with guard bytes behind it."""

    def __init__(self, record: str) -> None:
        size = next(row["size"] for row in FIELDS if row["record"] == record)
        self.name = record
        self.size = COUNTED.get(record) or int(size)
        self.block: Any = ctypes.create_string_buffer(self.size + 64)
        self.proxy = proxy_at(ctypes.addressof(self.block), record)

    def fill(self, byte: int) -> None:
        ctypes.memset(self.block, byte, self.size + 64)

    @property
    def content(self) -> bytes:
        return bytes(self.block)[:-1]


@pytest.fixture
def memory() -> type[Memory]:
    return Memory


def accessors(row: dict[str, str]) -> tuple[Any, Any]:
    name = f"{row['record']}_{row['field']}"
    return getattr(m, f"{name}_get"), getattr(m, f"{name}_set", None)


def changed(before: bytes, after: bytes) -> list[int]:
    return [i for i in range(len(before)) if before[i] != after[i]]


def message(row: dict[str, str], kind: str | None = None) -> str:
    kind = kind or re.sub(r" \((embedded record|pointer|read as MAC text)\)", "", row["type"])
    return f"in method '{row['record']}_{row['field']}_set', argument 2 of type '{kind}'"


def span(row: dict[str, str]) -> range:
    return range(int(row["offset"]), int(row["offset"]) + int(row["width"]))


@pytest.mark.parametrize("record", RECORDS)
def test_the_record_is_known_and_its_accessors_check_it(record: str, memory: type[Memory]) -> None:
    getter = next(accessors(row)[0] for row in FIELDS if row["record"] == record)
    spelled = f"{record} *" if record in UNTAGGED else f"struct {record} *"
    with raises(TypeError, f"in method '{getter.__name__}', argument 1 of type '{spelled}'"):
        getter(object())
    with raises(ValueError, f"invalid null reference in method '{getter.__name__}', argument 1 of type '{spelled}'"):
        getter(None)


def check_integer(
    row: dict[str, str], memory: type[Memory], values: Iterable[int], width: int, decode: Callable[[int], Any]
) -> None:
    block = memory(row["record"])
    read, write = accessors(row)
    for background in (0x00, 0xFF, 0xA5):
        for value in values:
            block.fill(background)
            assert write(block.proxy, value) is None
            expected = bytearray([background] * len(block.content))
            expected[span(row).start : span(row).stop] = (value & (2**width - 1)).to_bytes(width // 8, "little")
            assert block.content == bytes(expected)
            assert read(block.proxy) == decode(value)


@of_kind("unsigned")
def test_unsigned_fields(row: dict[str, str], memory: type[Memory]) -> None:
    width = UNSIGNED[row["type"]]
    assert width == 8 * int(row["width"])
    top = 2**width - 1
    check_integer(row, memory, [0, 1, top, top // 3, top - 1], width, lambda value: value)
    block = memory(row["record"])
    read, write = accessors(row)
    block.fill(0x5A)
    before = block.content
    for value, error in (
        (top + 1, TypeError if width == 64 else OverflowError),
        (-1, TypeError if width == 64 else OverflowError),
        ("1", TypeError),
        (1.0, TypeError),
        (None, TypeError),
        (2**64, TypeError),
    ):
        with raises(error, message(row)):
            write(block.proxy, value)
    assert block.content == before


@of_kind("signed")
def test_signed_fields(row: dict[str, str], memory: type[Memory]) -> None:
    assert row["width"] == "4"
    check_integer(row, memory, [0, 1, -1, 2**31 - 1, -(2**31)], 32, lambda value: value)
    block = memory(row["record"])
    read, write = accessors(row)
    block.fill(0x5A)
    before = block.content
    for value, error in ((2**31, OverflowError), (-(2**31) - 1, OverflowError), ("1", TypeError), (None, TypeError)):
        with raises(error, message(row)):
            write(block.proxy, value)
    assert block.content == before


@of_kind("byte")
def test_one_byte_enumerations(row: dict[str, str], memory: type[Memory]) -> None:
    assert row["width"] == "1"
    check_integer(row, memory, [0, 3, 255, 300, -1, -(2**31)], 8, lambda value: value & 255)


@of_kind("bool")
def test_one_byte_characters(row: dict[str, str], memory: type[Memory]) -> None:
    assert row["width"] == "1"
    block = memory(row["record"])
    read, write = accessors(row)
    for value, byte, text in (("a", 97, "a"), (1, 1, "\x01"), (0, 0, "\0"), (-1, 255, "\udcff"), ("", 0, "\0")):
        block.fill(0x5A)
        write(block.proxy, value)
        assert block.content[int(row["offset"])] == byte and read(block.proxy) == text
        assert set(changed(b"\x5a" * len(block.content), block.content)) <= set(span(row))
    for value, error in (("ab", TypeError), (None, TypeError), (128, OverflowError)):
        with raises(error, message(row)):
            write(block.proxy, value)


@of_kind("bits")
def test_bit_fields(row: dict[str, str], memory: type[Memory]) -> None:
    first, count = (int(number) for number in row["width"].split()[1:])
    offset = int(row["offset"])
    size = (first + count + 7) // 8
    mask = ((1 << count) - 1) << first
    top = 2 ** UNSIGNED[row["type"]] - 1
    block = memory(row["record"])
    read, write = accessors(row)
    for background in (0x00, 0xFF, 0xA5):
        for value in (0, 1, (1 << count) - 1, 1 << count, top):
            if value > top:
                continue
            block.fill(background)
            before = block.content
            write(block.proxy, value)
            word = int.from_bytes(before[offset : offset + size], "little")
            word = (word & ~mask) | ((value << first) & mask)
            assert block.content == before[:offset] + word.to_bytes(size, "little") + before[offset + size :]
            assert read(block.proxy) == value & ((1 << count) - 1)
    for value, error in ((top + 1, OverflowError), (-1, OverflowError), ("1", TypeError)):
        with raises(error, message(row)):
            write(block.proxy, value)


@of_kind("text")
def test_character_arrays(row: dict[str, str], memory: type[Memory]) -> None:
    width = int(row["width"])
    block = memory(row["record"])
    read, write = accessors(row)
    block.fill(0x5A)
    before = block.content
    for text in ("x" * width, "x" * (width + 1)):
        with raises(TypeError, message(row)):
            write(block.proxy, text)
    assert block.content == before
    if width:
        for text in ("", "abc"[: width - 1], "y" * (width - 1)):
            block.fill(0x5A)
            write(block.proxy, text)
            expected = bytearray(before)
            expected[span(row).start : span(row).stop] = text.encode().ljust(width, b"\0")
            assert block.content == bytes(expected) and read(block.proxy) == text
        block.fill(0x41)
        assert read(block.proxy) == "A" * width
    write(block.proxy, None)
    assert read(block.proxy) == ""


def element_view(row: dict[str, str], block: Any) -> tuple[Any, Any]:
    """A proxy of the field's element type, from a second record of the same kind."""
    other = type(block)(row["record"])
    other.fill(0x33)
    return other, accessors(row)[0](other.proxy)


@of_kind("array")
def test_arrays(row: dict[str, str], memory: type[Memory]) -> None:
    block = memory(row["record"])
    read, write = accessors(row)
    view = read(block.proxy)
    assert int(view) == ctypes.addressof(block.block) + int(row["offset"]) and view.own() is False
    other, elements = element_view(row, block)
    block.fill(0x5A)
    before = block.content
    write(block.proxy, elements)
    assert changed(before, block.content) == list(span(row))
    assert all(block.content[i] == 0x33 for i in span(row))
    spelled = re.sub(r" \(.*", "", row["type"]) if "(read" in row["type"] else row["type"]
    with raises(ValueError, f"invalid null reference in variable '{row['field']}' of type '{spelled}'"):
        write(block.proxy, None)
    with raises(TypeError, message(row)):
        write(block.proxy, b"bytes")


ARRAYS_OF_SOME = [row for row in FIELDS if kind_of(row) in ("array", "mac") and int(row["width"])]


@pytest.mark.parametrize("row", ARRAYS_OF_SOME, ids=[f"{row['record']}.{row['field']}" for row in ARRAYS_OF_SOME])
def test_arrays_are_copied_element_by_element_from_the_first(row: dict[str, str], memory: type[Memory]) -> None:
    """Where source and field overlap, each element is stored before the next one is read."""
    width, before = int(row["width"]), 512
    length = int(re.findall(r"\[(\d+)\]", row["type"])[0])
    element = width // length
    assert element * length == width
    _, write = accessors(row)
    block: Any = ctypes.create_string_buffer(before + int(row["size"]) + width)
    place = before + int(row["offset"])
    start = ctypes.addressof(block)
    proxy = proxy_at(start + before, row["record"])
    other, elements = element_view(row, memory(row["record"])) if kind_of(row) == "array" else mac_view()
    pattern = bytes((7 * i + i // 251) % 256 for i in range(len(block)))
    for shift in (1, -1, element, -element, element + 1, 2 * element + 1, 1 - element, width - 1, 1 - width, width):
        source = place - shift
        if not 0 <= source <= len(block) - width:
            continue
        block[:] = pattern
        expected = bytearray(pattern)
        for i in range(length):
            one = bytes(expected[source + element * i : source + element * (i + 1)])
            expected[place + element * i : place + element * (i + 1)] = one
        ctypes.c_void_p.from_address(id(elements) + POINTER_OFFSET).value = start + source
        write(proxy, elements)
        assert bytes(block) == bytes(expected), shift
    del other


def mac_view() -> tuple[Any, str]:
    header = m.new_qel_EthHdr()
    return header, m.qel_EthHdr_daddr_get(header)


@of_kind("mac")
def test_mac_texts(row: dict[str, str], memory: type[Memory]) -> None:
    block = memory(row["record"])
    read, write = accessors(row)
    offset = int(row["offset"])
    block.block[offset : offset + 6] = b"\x00\x1a\x2b\x3c\x4d\xfe"
    assert read(block.proxy) == "00:1a:2b:3c:4d:fe"
    header = m.new_qel_EthHdr()
    ctypes.memset(int(header), 0x33, 14)
    block.fill(0x5A)
    before = block.content
    write(block.proxy, m.qel_EthHdr_daddr_get(header))
    assert changed(before, block.content) == list(range(offset, offset + 6))
    spelled = row["type"].removesuffix(" (read as MAC text)")
    with raises(ValueError, f"invalid null reference in variable '{row['field']}' of type '{spelled}'"):
        write(block.proxy, None)
    with raises(TypeError, message(row)):
        write(block.proxy, "00:1a:2b:3c:4d:fe")
    header.disown()


@of_kind("embedded")
def test_embedded_records(row: dict[str, str], memory: type[Memory]) -> None:
    nested = row["type"].removesuffix(" (embedded record)")
    block = memory(row["record"])
    read, write = accessors(row)
    view = read(block.proxy)
    assert int(view) == ctypes.addressof(block.block) + int(row["offset"]) and view.own() is False
    assert f"'{nested} *'" in repr(view)
    source = memory(nested)
    source.fill(0x33)
    block.fill(0x5A)
    before = block.content
    write(block.proxy, source.proxy)
    assert changed(before, block.content) == list(span(row))
    for value in (None, 5, block.proxy if nested != row["record"] else 5):
        with raises(TypeError, message(row, f"{nested} *")):
            write(block.proxy, value)


@of_kind("pointer")
def test_pointers(row: dict[str, str], memory: type[Memory]) -> None:
    assert row["width"] == "8"
    block = memory(row["record"])
    read, write = accessors(row)
    block.fill(0)
    assert read(block.proxy) is None
    target = row["type"].removesuffix(" (pointer)")
    address = 0x1122334455667788
    offset = int(row["offset"])
    block.block[offset : offset + 8] = address.to_bytes(8, "little")
    value = read(block.proxy)
    assert int(value) == address and value.own() is False
    block.fill(0x5A)
    before = block.content
    write(block.proxy, value)
    assert changed(before, block.content) == list(span(row))
    write(block.proxy, None)
    assert block.content[offset : offset + 8] == bytes(8)
    with raises(TypeError, message(row, target)):
        write(block.proxy, 5)


OWNERS = {"qel_ListLinks": m.new_qel_ListLinks, "qel_MgmtCallbackInfo": m.new_qel_MgmtCallbackInfo,
          "VSMACTable": m.new_VSMACTable}


@of_kind("pointer")
def test_pointers_take_the_target_s_ownership(row: dict[str, str], memory: type[Memory]) -> None:
    """Of a record of the field's type; for `void *`, of a record of any type. For bytes there is no record to own."""
    block = memory(row["record"])
    write = accessors(row)[1]
    target = row["type"].removesuffix(" (pointer)").removesuffix("*").removeprefix("struct ").strip()
    makers = list(OWNERS.values()) if target == "void" else [OWNERS[target]] if target in OWNERS else []
    assert makers or target in ("qel_uint8", "unsigned char"), target
    for make in makers:
        owner = make()
        assert owner.own() is True
        write(block.proxy, owner)
        assert owner.own() is False
        offset = int(row["offset"])
        assert block.content[offset : offset + 8] == int(owner).to_bytes(8, "little")
        owner.acquire()


@of_kind("read-only")
def test_read_only_parts(row: dict[str, str], memory: type[Memory]) -> None:
    block = memory(row["record"])
    read, write = accessors(row)
    assert write is None
    assert int(read(block.proxy)) == ctypes.addressof(block.block) + int(row["offset"])


def test_the_kinds_are_as_many_as_the_interface_has() -> None:
    kinds = [kind_of(row) for row in FIELDS]
    assert len(FIELDS) == 574 and len(RECORDS) == 117
    assert kinds.count("bits") == 70
    assert kinds.count("mac") == 5
    assert kinds.count("read-only") == 12
    assert kinds.count("owned text") == 1
    # The texts of the null errors differ, but where two records share a field's name and type.
    arrays = [(row["field"], row["type"]) for row in FIELDS if kind_of(row) in ("array", "mac")]
    assert len(arrays) == 65 and len(set(arrays)) == 56
