"""Every attribute of every record: exactly the bytes that the declaration says, and none beside them.

What is expected comes from the list of fields (tests/data/fields.tsv) and from plain integers, texts and bytes; memory
is looked at where it lies, between guard bytes. `rows` is held to the same.
"""

import ctypes
from typing import Any

import pytest
from fields import COUNTED, FIELDS, UNSIGNED, kind_of, of_kind
from libvswitch import _records
from misused import vs

GUARD = 64


class Placed:
    """A record in the middle of memory of our own."""

    def __init__(self, row: dict[str, str]) -> None:
        self.size = COUNTED.get(row["record"]) or int(row["size"])
        self.block = ctypes.create_string_buffer(self.size + 2 * GUARD)
        self.address = ctypes.addressof(self.block) + GUARD
        self.record = _records.pointer(self.address, f"_p_{row['record']}")
        assert type(self.record) is getattr(vs, row["record"])
        self.name = row["field"]
        self.start = GUARD + int(row["offset"])

    def fill(self, byte: int) -> None:
        ctypes.memset(self.block, byte, len(self.block))

    def content(self) -> bytes:
        return ctypes.string_at(self.block, len(self.block))

    def put(self, data: bytes) -> None:
        ctypes.memmove(ctypes.addressof(self.block) + self.start, data, len(data))

    def read(self) -> Any:
        """As an attribute, and as `rows` has it where it has it."""
        value = getattr(self.record, self.name)
        if self.name not in ("__u6_addr",) and type(self.record).__name__ not in COUNTED:
            assert vs.rows(self.record, 1, self.name) == [(value,)]
        return value

    def write(self, value: object) -> None:
        setattr(self.record, self.name, value)


def written(background: int, placed: Placed, data: bytes) -> bytes:
    """The whole memory when only these bytes have changed."""
    content = bytearray([background] * len(placed.block))
    content[placed.start : placed.start + len(data)] = data
    return bytes(content)


def refuses(placed: Placed, errors: Any) -> None:
    placed.fill(0x5A)
    before = placed.content()
    for value, error in errors:
        with pytest.raises(error, match="argument 2 of type"):
            placed.write(value)
        assert placed.content() == before, value


def check_numbers(row: dict[str, str], values: Any, width: int, decode: Any) -> Placed:
    placed = Placed(row)
    for background in (0x00, 0xFF, 0xA5):
        for value in values:
            placed.fill(background)
            placed.write(value)
            data = (value & (2**width - 1)).to_bytes(width // 8, "little")
            assert placed.content() == written(background, placed, data), value
            assert placed.read() == decode(value)
            # And by bytes that nothing of the layer has written.
            placed.fill(background)
            placed.put(data)
            assert placed.read() == decode(value)
    return placed


@of_kind("unsigned")
def test_unsigned_numbers(row: dict[str, str]) -> None:
    width = UNSIGNED[row["type"]]
    assert width == 8 * int(row["width"])
    top = 2**width - 1
    values = [0, 1, top, top - 1, top // 3, top // 2 + 1, int.from_bytes(bytes(range(1, width // 8 + 1)), "little")]
    placed = check_numbers(row, values, width, lambda value: value)
    beyond = TypeError if width == 64 else OverflowError
    errors = [
        (top + 1, beyond),
        (2**64, TypeError),
        ("1", TypeError),
        (1.0, TypeError),
        (None, TypeError),
        (b"1", TypeError),
    ]
    errors += [(-2, beyond)] if row["field"] == "snapLen" else [(-1, beyond)]
    refuses(placed, errors)


@of_kind("signed")
def test_signed_numbers(row: dict[str, str]) -> None:
    assert row["width"] == "4"
    placed = check_numbers(row, [0, 1, -1, 2**31 - 1, -(2**31), 0x04030201], 32, lambda value: value)
    refuses(placed, [(2**31, OverflowError), (-(2**31) - 1, OverflowError), ("1", TypeError), (None, TypeError)])


@of_kind("byte")
def test_enumerations_of_one_byte(row: dict[str, str]) -> None:
    check_numbers(row, [0, 3, 255, 300, -1, -(2**31)], 8, lambda value: value & 255)


@of_kind("bool")
def test_characters_of_one_byte(row: dict[str, str]) -> None:
    placed = Placed(row)
    for value, byte, text in (
        ("a", 97, "a"),
        (1, 1, "\x01"),
        (0, 0, "\0"),
        (-1, 255, "\udcff"),
        ("", 0, "\0"),
        (127, 127, "\x7f"),
    ):
        for background in (0x5A, 0xFF):
            placed.fill(background)
            placed.write(value)
            assert placed.content() == written(background, placed, bytes([byte])) and placed.read() == text
    refuses(placed, [("ab", TypeError), (None, TypeError), (128, OverflowError), (-129, OverflowError)])


@of_kind("bits")
def test_bits_leave_their_neighbours(row: dict[str, str]) -> None:
    first, count = (int(number) for number in row["width"].split()[1:])
    size, highest = (first + count + 7) // 8, (1 << count) - 1
    mask, top = highest << first, 2 ** UNSIGNED[row["type"]] - 1
    placed = Placed(row)
    for background in (0x00, 0xFF, 0xA5):
        for value in (0, 1, highest, highest // 2 + 1, highest + 1, top):
            if value > top:
                continue
            word = int.from_bytes(bytes([background] * size), "little") & ~mask | (value << first) & mask
            placed.fill(background)
            placed.write(value)
            assert placed.content() == written(background, placed, word.to_bytes(size, "little")), value
            assert placed.read() == value & highest
    refuses(placed, [(top + 1, OverflowError), (-1, OverflowError), ("1", TypeError), (None, TypeError)])


@of_kind("text")
def test_texts_of_every_length(row: dict[str, str]) -> None:
    width = int(row["width"])
    placed = Placed(row)
    if width:
        texts = {"", "a", "ab" * width, "\u00e4" * width, "0123456789" * width}
        for text in {text[:length] for text in texts for length in (0, 1, width // 2, width - 2, width - 1, width)}:
            data = text.encode()
            if len(data) >= width:
                continue
            placed.fill(0x5A)
            placed.write(text)
            assert placed.content() == written(0x5A, placed, data.ljust(width, b"\0"))
            assert placed.read() == text
        # A text that fills its field ends where the field ends.
        placed.fill(0x41)
        assert placed.read() == "A" * width
        for length in range(0, width, max(1, width // 9)):
            placed.fill(0x42)
            placed.put(b"C" * length + b"\0")
            assert placed.read() == "C" * length
        placed.fill(0xFF)
        assert placed.read() == "\udcff" * width
    placed.fill(0x5A)
    placed.write(None)
    assert placed.content() == written(0x5A, placed, bytes(width)) and placed.read() == ""
    refuses(
        placed, [("x" * max(width, 2), TypeError), ("x" * (width + 2), TypeError), (5, TypeError), (b"x", TypeError)]
    )


@of_kind("mac")
def test_addresses(row: dict[str, str]) -> None:
    placed = Placed(row)
    placed.put(b"\x00\x1a\x2b\x3c\x4d\xfe")
    assert placed.read() == "00:1a:2b:3c:4d:fe"
    placed.fill(0x5A)
    six = vs.qel_EthHdr.from_bytes(bytes(range(1, 15)))
    placed.write(vs._records.pointer(vs._records.address(six), "_p_unsigned_char"))
    assert placed.content() == written(0x5A, placed, bytes(range(1, 7)))
    refuses(placed, [("00:1a:2b:3c:4d:fe", TypeError), (vs.VSInfo(), TypeError), (b"123456", TypeError)])


@of_kind("array")
def test_arrays(row: dict[str, str]) -> None:
    width = int(row["width"])
    placed, other = Placed(row), Placed(row)
    placed.fill(0x5A)
    other.fill(0x33)
    view, elements = getattr(placed.record, placed.name), getattr(other.record, other.name)
    assert _records.address(view) == placed.address + int(row["offset"])
    placed.write(elements)
    assert placed.content() == written(0x5A, placed, b"\x33" * width)
    placed.fill(0x5A)
    with pytest.raises(ValueError, match="invalid null reference"):
        placed.write(None)
    foreign = vs.VSInfo() if not row["type"].startswith("VSInfo") else vs.VSStats()
    refuses(placed, [(b"bytes", TypeError), (foreign, TypeError), (foreign.this, TypeError)])


@of_kind("embedded")
def test_embedded_records(row: dict[str, str]) -> None:
    nested = row["type"].removesuffix(" (embedded record)")
    placed, other = Placed(row), Placed(row)
    placed.fill(0x5A)
    other.fill(0x33)
    view, source = getattr(placed.record, placed.name), getattr(other.record, other.name)
    assert _records.address(view) == placed.address + int(row["offset"])
    assert type(view).__name__ in (nested, "SwigPyObject")
    placed.write(source)
    assert placed.content() == written(0x5A, placed, b"\x33" * int(row["width"]))
    foreign = vs.VSInfo() if nested != "VSInfo" else vs.VSStats()
    refuses(placed, [(None, TypeError), (5, TypeError), (foreign, TypeError), (foreign.this, TypeError)])


@of_kind("pointer")
def test_pointers(row: dict[str, str]) -> None:
    placed = Placed(row)
    placed.fill(0)
    assert getattr(placed.record, placed.name) is None
    placed.put((0x1122334455667788).to_bytes(8, "little"))
    value = getattr(placed.record, placed.name)
    assert _records.address(value) == 0x1122334455667788 and not getattr(value, "thisown", False)
    placed.fill(0x5A)
    placed.write(value)
    assert placed.content() == written(0x5A, placed, (0x1122334455667788).to_bytes(8, "little"))
    placed.fill(0x5A)
    placed.write(None)
    assert placed.content() == written(0x5A, placed, bytes(8))
    wrong = [(5, TypeError), ("x", TypeError)]
    if not row["type"].startswith("void *"):
        wrong += [(vs.qel_VLANHdr(), TypeError), (vs.qel_VLANHdr().this, TypeError)]
    refuses(placed, wrong)


@of_kind("pointer")
def test_a_pointer_field_takes_its_target_over(row: dict[str, str]) -> None:
    target = row["type"].removesuffix(" (pointer)").removesuffix(" *").removeprefix("struct ")
    kind = vs.VSInfo if target in ("void", "") else getattr(vs, target, None)
    if not isinstance(kind, type):
        # A record whose pointer has no class here has no memory that a test could put there.
        pytest.skip("nothing of this type owns memory")
    placed, owned = Placed(row), kind()
    placed.fill(0)
    placed.write(owned)
    assert owned.thisown is False and _records.address(getattr(placed.record, placed.name)) == _records.address(owned)
    placed.fill(0)
    owned.thisown = True


def test_the_text_that_a_record_owns() -> None:
    query = vs.alloc_hnq_query(4)
    for text in ("", "a", "\u00e4" * 100, None):
        query.propValue = text
        assert query.propValue == text
    with pytest.raises(TypeError):
        query.propValue = 5
    vs.free_hnq_query(query)


@of_kind("read-only")
def test_read_only_parts(row: dict[str, str]) -> None:
    placed = Placed(row)
    value = getattr(placed.record, placed.name)
    assert _records.address(value) == placed.address + int(row["offset"])
    with pytest.raises(AttributeError, match="cannot be assigned"):
        placed.write(value)


def test_every_field_has_its_attribute() -> None:
    assert len(FIELDS) == 574
    for row in FIELDS:
        member = vars(getattr(vs, row["record"]))[row["field"]]
        assert type(member) is _records.field and (member.fset is None) == (kind_of(row) == "read-only")
    kinds = [kind_of(row) for row in FIELDS]
    assert [kinds.count(kind) for kind in ("bits", "mac", "read-only", "owned text")] == [70, 5, 12, 1]


# ---- records and proxies of another type --------------------------------------------------------------------------


def first_fields() -> list[dict[str, str]]:
    seen: dict[str, dict[str, str]] = {}
    for row in FIELDS:
        if kind_of(row) in ("unsigned", "signed", "bits", "text", "bool", "byte"):
            seen.setdefault(row["record"], row)
    return list(seen.values())


FIRST = first_fields()


@pytest.mark.parametrize("row", FIRST, ids=[row["record"] for row in FIRST])
def test_no_accessor_takes_memory_of_another_type(row: dict[str, str]) -> None:
    name = f"{row['record']}_{row['field']}"
    getter, setter = getattr(vs, f"{name}_get"), getattr(vs, f"{name}_set")
    field = vars(getattr(vs, row["record"]))[row["field"]]
    other = vs.VSStats() if row["record"] != "VSStats" else vs.VSInfo()
    before = bytes(other)
    for foreign in (other, other.this, vs.buffer(8).this, vs.cell("int *"), object(), 5):
        with pytest.raises(TypeError, match=f"in method '{name}_get', argument 1 of type"):
            getter(foreign)
        with pytest.raises(TypeError, match=f"in method '{name}_set', argument 1 of type"):
            setter(foreign, 1)
        with pytest.raises(TypeError):
            field.__get__(foreign)
        with pytest.raises(TypeError):
            field.__set__(foreign, 1)
    assert bytes(other) == before
