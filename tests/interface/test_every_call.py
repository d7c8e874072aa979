"""Every library call, against recording libraries: what reaches the library and what comes back.

The checks run in one process of their own each; `CALLS` there is the table of calls, and for each argument a value
to pass, how the library must see it, and values that must be refused.
"""

from workspace import Script

PRELUDE = """
import csv, ctypes, itertools, pathlib, re
import swig_peer
from native_memory import proxy_at

ROWS = list(csv.DictReader(open(DATA / "calls.tsv"), delimiter="\\t"))
RECORDS = {name[4:] for name in vars(m) if name.startswith("new_") and hasattr(m, f"{name[4:]}_swigregister")}
serial = itertools.count(1)


class Argument:
    def __init__(self, text, position):
        self.typemap, self.type, *rest = text.split(":")
        self.position = position
        self.is_output = self.typemap.endswith("-output")
        self.capacity = int(rest[0]) if rest and rest[0].isdigit() else None
        self.record = rest[0] if rest and not rest[0].isdigit() else None

    def sample(self):
        "A value to pass, and how the library sees it."
        number = next(serial)
        if self.typemap == "text-input":
            return f"text {number}", f'"text {number}"'
        if self.typemap == "fixed-text-input":
            text = f"{number}-".ljust(self.capacity - 1, "x")
            return text, f'"{text}"'
        if self.typemap == "unsigned-32-bit":
            return 2**32 - number, str(2**32 - number)
        if self.typemap == "unsigned-16-bit":
            return 2**16 - number % 1000, str(2**16 - number % 1000)
        if self.typemap == "signed-32-bit":
            value = number % 1000 - 2**31
            return value, str(value & 255 if self.type == "VSMACAddrType" else value)
        if self.typemap == "boolean":
            return -(number % 100), str(-(number % 100))
        if self.typemap == "raw-data":
            return f"data {number}".encode(), f'"data {number}"'
        pointer = self.pointer(number)
        return pointer, str(int(pointer))

    def pointer(self, number):
        if self.typemap == "any-pointer":
            return swig_peer.at(0x10000 + number)
        target = self.type.removesuffix(" *").removesuffix(" const")
        if target in RECORDS:
            return proxy_at(0x10000 + number, target)
        return {
            "VSList **": swig_peer.new_list_cell, "DVPortList **": swig_peer.new_port_list_cell,
            "OpaqueDVPortData **": swig_peer.new_opaque_port_cell, "void **": swig_peer.new_pointer_cell,
            "DVSDataHandle *": swig_peer.new_pointer_cell, "DVSDataItem *": swig_peer.new_pointer_cell,
            "int *": swig_peer.new_int_cell, "qel_uint32 *": swig_peer.new_uint32_cell,
            "qel_uint16 const *": swig_peer.new_uint16_cell, "DVSwitchCallback": swig_peer.a_visitor,
            "DVSPortCallback": swig_peer.a_visitor, "DVSPortDataCallback": swig_peer.a_visitor,
            "DVSData_MemAlloc": swig_peer.an_allocator, "DVSData_MemFree": swig_peer.a_releaser,
        }[self.type]()

    def refused(self):
        "Values that fail, each with its exception class."
        if self.typemap == "text-input":
            return [(5, TypeError), (b"bytes", TypeError), ("\\ud800", TypeError)]
        if self.typemap == "fixed-text-input":
            return [("x" * self.capacity, TypeError), (5, TypeError)]
        if self.typemap == "unsigned-32-bit":
            wrong = [(2**32, OverflowError), (-1, OverflowError), (2**64, TypeError), ("1", TypeError)]
            return [*wrong, (None, TypeError)]
        if self.typemap == "unsigned-16-bit":
            return [(2**16, OverflowError), (-1, OverflowError), (1.0, TypeError)]
        if self.typemap == "signed-32-bit":
            return [(2**31, OverflowError), (-(2**31) - 1, OverflowError), ("1", TypeError), (None, TypeError)]
        if self.typemap == "boolean":
            return [(128, OverflowError), (-129, OverflowError), ("no", TypeError), (None, TypeError)]
        if self.typemap == "raw-data":
            return []
        return [(5, TypeError), ("text", TypeError), (object(), TypeError)]


class Call:
    def __init__(self, row):
        self.name = row["function"]
        self.returns = row["returns"]
        texts = [text for text in row["arguments"].split("; ") if text]
        self.arguments = [Argument(text, position) for position, text in enumerate(texts, 1)]
        self.inputs = [argument for argument in self.arguments if not argument.is_output]
        self.outputs = [argument for argument in self.arguments if argument.is_output]

    def __call__(self, *values):
        return getattr(m, self.name)(*values)

    def samples(self):
        return [argument.sample() for argument in self.inputs]

    def logged(self):
        "What the one call since the last look was given, inputs only."
        (name, *seen), = calls()
        assert name == self.name and len(seen) == len(self.arguments), (self.name, seen)
        return [seen[argument.position - 1] for argument in self.inputs]


CALLS = [Call(row) for row in ROWS]
assert len(CALLS) == 198
"""


def check(recording: Script, source: str) -> None:
    from workspace import SOURCE

    recording(f"import pathlib\nDATA = pathlib.Path({str(SOURCE / 'tests' / 'data')!r})\n" + PRELUDE + source)


def test_each_argument_reaches_the_library_as_given_and_in_order(recording: Script) -> None:
    check(
        recording,
        """
for call in CALLS:
    samples = call.samples()
    call(*[value for value, _ in samples])
    assert call.logged() == [seen for _, seen in samples], call.name
""",
    )


def test_none_is_null_for_every_text_and_pointer(recording: Script) -> None:
    check(
        recording,
        """
numbers = {"unsigned-32-bit", "unsigned-16-bit", "signed-32-bit", "boolean", "raw-data"}
for call in CALLS:
    values = [argument.sample()[0] if argument.typemap in numbers else None for argument in call.inputs]
    call(*values)
    for argument, seen in zip(call.inputs, call.logged()):
        if argument.typemap == "text-input":
            assert seen == "null", call.name
        elif argument.typemap == "fixed-text-input":
            assert seen == '""', call.name
        elif argument.typemap not in numbers:
            assert seen == "0", call.name
""",
    )


def test_each_argument_that_can_fail_raises_its_message_and_the_library_is_not_called(recording: Script) -> None:
    check(
        recording,
        """
for call in CALLS:
    if call.name == "DVSAliasToPortsetName":
        continue        # overloaded: no form fits, and that is its one error
    for index, argument in enumerate(call.inputs):
        for bad, error in argument.refused():
            values = [value for value, _ in call.samples()]
            values[index] = bad
            with raises(error, f"in method '{call.name}', argument {argument.position} of type '{argument.type}'"):
                call(*values)
            assert calls() == [], call.name
""",
    )


def test_each_call_takes_exactly_its_arguments(recording: Script) -> None:
    check(
        recording,
        """
for call in CALLS:
    if call.name == "DVSAliasToPortsetName":
        continue
    count = len(call.inputs)
    values = [value for value, _ in call.samples()]
    for given in ([], values + [None]):
        if len(given) == count:
            continue
        plural = "" if count == 1 else "s"
        with raises(TypeError, f"{call.name}() takes exactly {count} argument{plural} ({len(given)} given)"):
            call(*given)
    with raises(TypeError, f"{call.name}() takes no keyword arguments"):
        getattr(m, call.name)(alias=1)
assert calls() == []
""",
    )


def test_the_result_is_the_status_or_what_the_call_returns(recording: Script) -> None:
    check(
        recording,
        """
text = ctypes.create_string_buffer(b"a text \\xff")
expected = {
    "status": [(-7, -7), (0x0bad0007, 0x0bad0007), (0, 0)], "none": [(5, None)],
    "str": [(ctypes.addressof(text), "a text \\udcff"), (0, None)], "uint": [(-1, 2**32 - 1), (7, 7)],
    "char": [(0, "\\0"), (65, "A"), (200, "\\udcc8")], "handle": [(0, None), (0x1234, 0x1234)],
}
for call in CALLS:
    for native, wanted in expected[call.returns]:
        rec.recorder_return(native)
        result = call(*[value for value, _ in call.samples()])
        if call.outputs:
            assert isinstance(result, list) and len(result) == 1 + len(call.outputs), call.name
            result = result[0]
        if call.returns == "handle" and result is not None:
            assert result.own() is False
            result = int(result)
        assert result == wanted and type(result) is type(wanted), (call.name, result)
    rec.recorder_reset()
""",
    )


def test_outputs_come_back_in_native_order_with_a_failing_status(recording: Script) -> None:
    check(
        recording,
        """
for call in CALLS:
    if not call.outputs:
        continue
    wanted = []
    for argument in call.outputs:
        number = next(serial)
        if argument.typemap == "record-output":
            rec.recorder_store(argument.position, 0x10000 + number, 8)
            wanted.append((argument.record, 0x10000 + number))
        elif argument.typemap == "integer-output":
            rec.recorder_store(argument.position, -number, 4)
            wanted.append(-number)
        elif argument.typemap == "boolean-output":
            rec.recorder_store(argument.position, 256 - number % 100, 1)
            wanted.append(-(number % 100))
        else:
            room = b"z" * (argument.capacity + 1)
            rec.recorder_store_text(argument.position, room, len(room))
            wanted.append("z" * argument.capacity)
    rec.recorder_return(-3)
    result = call(*[value for value, _ in call.samples()])
    assert result[0] == -3
    seen = [(re.search("'(\\\\w+) \\\\*'", repr(value))[1], int(value)) if "Swig" in repr(value) else value
            for value in result[1:]]
    assert seen == wanted, (call.name, seen, wanted)
    rec.recorder_reset()
    cleared = call(*[value for value, _ in call.samples()])
    blank = {"record-output": None, "integer-output": 0, "boolean-output": 0, "bounded-text-output": ""}
    assert cleared == [0] + [blank[argument.typemap] for argument in call.outputs], call.name
    rec.recorder_reset()
""",
    )


def test_an_abort_of_each_call_is_exactly_what_the_library_left(recording: Script) -> None:
    check(
        recording,
        """
classes = [ValueError, OSError, MemoryError, LookupError]
for index, call in enumerate(CALLS):
    text = f"aborted {call.name}"
    rec.recorder_abort(classes[index % 4], text.encode(), index + 1)
    with raises(classes[index % 4], text):
        call(*[value for value, _ in call.samples()])
    rec.recorder_reset()
    call(*[value for value, _ in call.samples()])
    assert calls()[-1][0] == call.name
""",
    )
