"""Calls random functions of the module, and uses records of the companion layer, with random arguments; one process of
test_random_calls.py. What the documentation leaves unchecked is kept out by how the arguments are made, see there.
Longer than most: arguments of every kind, calls and games are one program that one seed repeats.

Usage: random_calls.py (native|layer|records) SEED CALLS NOTE
The note is a file that says, when the process dies, what it was doing. Prints what was done as JSON."""

import collections
import ctypes
import functools
import gc
import json
import os
import random
import resource
import sys
import traceback
from collections.abc import Callable
from typing import Any

import _libvswitch as m
import workspace
from native_memory import COUNTED, proxy_at

# More than any element that an index below MOST_INDEX reaches.
ROOM = 1 << 18
MOST_INDEX = 40
MOST_MEMORY = 1 << 30
FRESH_EVERY = 40

INTERFACE = json.loads((workspace.BUILD / "interface.json").read_text(encoding="utf-8"))
RECORDS = [record["name"] for record in INTERFACE["records"]]
FUNCTIONS = (workspace.SOURCE / "tests" / "data" / "functions.txt").read_text(encoding="utf-8").split()

# Say how much memory lies behind a pointer, of an argument or of the record itself.
LENGTHS = {"length", "count", "num_ranges", "input_length", "size"}
COUNT_FIELDS = {
    *("count", "numEntries", "nUplinkPorts", "numSessions", "numEntities", "numUplinks", "numLAGs", "numLSTeam"),
    *("numPortsets", "numMod", "numRanges", "totalLength", "length", "propLen", "numActive", "numStandby", "startIdx"),
    *("numDstEntities", "numSrcInEntities", "numSrcOutEntities", "n"),
}
# Take memory back: of their own kind they get only what was just handed out.
MAKERS: dict[str, Callable[[], Any]] = {
    "free_dvmirror_session_table": lambda: m.alloc_dvmirror_session_table(1, 2),
    "free_ls_team_table": lambda: m.alloc_ls_team_table(1),
    "free_rtm_query": lambda: m.alloc_rtm_query(1),
    "free_rtm_mod_query": lambda: m.alloc_rtm_mod_query(1),
    "free_hnq_query": lambda: m.alloc_hnq_query(8),
    "free_vs_info": lambda: m.alloc_vs_info(),
    "free_switches": lambda: m.VSQEL_GetSwitchesPy(m.VS_LIST_PS),
    "delete_vidrangeArray": lambda: m.new_vidrangeArray(2),
    "delete_pvlanmapentryArray": lambda: m.new_pvlanmapentryArray(2),
}
for _record in RECORDS:
    MAKERS[f"delete_{_record}"] = functools.partial(
        getattr(m, f"new_{_record}"), *([COUNTED[_record]] if _record in COUNTED else []))

LIBRARY_RELEASES = ("VSQEL_FreeMemory", "VSDVS_FreeMemory", "DVSQEL_DataFree")

NAMES = {
    "alias": ["workload", "management"],
    "switch_name": ["workload", "portset-1", "management"],
    "switch_id": ["776f726b-6c6f-6164-0000-000000000002", "new-id"],
    "portset": ["portset-1", "portset-2"],
    "dvport_id": ["101", "102", "103", "new"],
    "name": ["probe", "com.example.mtu"],
    "uplink": ["uplink-a", "uplink-b", "nic3"],
    "uplink_name": ["uplink-a", "nic2"],
    "command": ["help", "switch", "ports", "uplinks", "properties", "port-properties"],
}
RANGES = {
    "unsigned 8": (0, 2**8 - 1),
    "unsigned 16": (0, 2**16 - 1),
    "unsigned 32": (0, 2**32 - 1),
    "unsigned 64": (0, 2**64 - 1),
    "size": (0, 2**64 - 1),
    "signed 32": (-(2**31), 2**31 - 1),
    "signed 32 in byte": (-(2**31), 2**31 - 1),
    "character": (-128, 127),
}


class Number(int):
    """A subclass, as scripts have them: enumerations."""


class Text(str):
    pass


class Data(bytes):
    pass


class Points:
    """Something with an attribute `this`."""

    def __init__(self, target: Any) -> None:
        self.this = target


class Raises:
    @property
    def this(self) -> None:
        raise RuntimeError("no pointer here")

    def __index__(self) -> None:
        raise RuntimeError("no number here")


def ring() -> Any:
    made = Points(None)
    made.this = made
    return made


# Nothing that points anywhere, of every type that a script could pass by mistake.
STRANGE = [
    *(
        None,
        True,
        0,
        1,
        -1,
        2**31 - 1,
        2**31,
        2**32,
        2**63,
        2**64 - 1,
        2**64,
        -(2**31),
        -(2**63),
        -(2**63) - 1,
        10**40,
    ),
    *(Number(3), Number(2**70), 1.5, float("nan"), 1j),
    *("", "a", "ab", "x" * 5000, "\ud800", "a\udcff", "a\0b", "ü€😀"),
    *(Text("workload"), Text("\udc80"), b"", b"abc\0def", b"\xff" * 300, Data(b"abcdef"), bytearray(b"12345678")),
    *(
        memoryview(b"123456789"),
        object(),
        [],
        [1],
        (),
        {},
        {"this": 1},
        Points(None),
        Points(5),
        Points("text"),
        ring(),
    ),
    *(Raises(), int, Points, len, Ellipsis, NotImplemented, range(3), slice(None), Exception("an error")),
]


class Pool:
    """A record of each kind in memory that is larger than any, and storage for the other pointers."""

    def __init__(self, choice: random.Random) -> None:
        self.random = choice
        self.block = ctypes.create_string_buffer(ROOM * (len(RECORDS) + 1))
        start = ctypes.addressof(self.block)
        self.records = {name: proxy_at(start + ROOM * i, name) for i, name in enumerate(RECORDS)}

    def clear(self) -> None:
        # Values that a setter has copied are given up with the rest.
        ctypes.memset(self.block, 0, len(self.block))


class Caller:
    def __init__(self, kind: str, seed: int) -> None:
        self.random = random.Random(seed)
        self.pool = Pool(self.random)
        self.done: collections.Counter[str] = collections.Counter()
        self.raised: collections.Counter[str] = collections.Counter()
        self.layer: Any = None
        if kind != "native":
            import libvswitch

            self.layer = libvswitch
        self.module = self.layer or m
        self.functions = {name: getattr(self.module, name) for name in FUNCTIONS}
        self.rows = self._rows()
        self.giving = self._giving()
        self.pools = list(self.pool.records.values())

    def _rows(self) -> dict[str, tuple[str, list[Any]]]:
        """What kind of function each is, and its arguments."""
        rows: dict[str, tuple[str, list[Any]]] = {}
        for call in INTERFACE["calls"]:
            rows.setdefault(call["name"], ("call", [a for a in call["arguments"] if not a["output"]]))
        for record in INTERFACE["records"]:
            name = record["name"]
            me = {"name": "self", "typemap": "self", "target": name}
            for field in record["fields"]:
                value = dict(field, typemap="field")
                rows[f"{name}_{field['name']}_set"] = ("setter", [me, value])
                rows[f"{name}_{field['name']}_get"] = ("getter", [me])
            for method in record["methods"]:
                rows[f"{name}_{method['name']}"] = ("method", [a for a in method["arguments"] if not a["output"]])
            count = [{"name": "entries", "typemap": "scalar", "scalar": "signed 32"}]
            rows[f"new_{name}"] = ("constructor", count if record["counted"] else [])
            rows[f"delete_{name}"] = ("destructor", [dict(me, typemap="pointer")])
            rows[f"{name}_swigregister"] = ("registration", [{"name": "class", "typemap": "class"}])
        rows["SWIG_PyInstanceMethod_New"] = ("other", [{"name": "function", "typemap": "class"}])
        rows["Panic"] = ("other", [{"name": "text", "typemap": "text"}])
        return {name: rows[name] for name in FUNCTIONS}

    @staticmethod
    def _giving() -> dict[str, list[str]]:
        """Functions that give records of a kind, from a record alone or with an index."""
        giving = collections.defaultdict(list)
        for record in INTERFACE["records"]:
            for field in record["fields"]:
                if field["kind"] in ("record", "array"):
                    giving[field["target"]].append(f"{record['name']}_{field['name']}_get")
            for method in record["methods"]:
                if (
                    method["result"] in ("owned pointer", "borrowed pointer")
                    and len(method["arguments"]) == 2
                    and method["arguments"][1]["typemap"] == "scalar"
                ):
                    giving[method["target"]].append(f"{record['name']}_{method['name']}")
        return giving

    # ---- arguments -------------------------------------------------------------------------------------------

    def record(self, name: str) -> Any:
        proxy = self.pool.records[name]
        how = self.random.randrange(4)
        if self.layer and how:
            kind = getattr(self.layer, name)
            if how == 3:
                kind = type(name, (kind,), {})
            made = kind.__new__(kind)
            made.this = proxy
            return made
        return Points(Points(proxy)) if how == 1 else proxy

    def strange(self, *, below_six: bool = False) -> Any:
        value = self.random.choice(STRANGE)
        return (
            value if below_six or not (isinstance(value, (bytes, bytearray, memoryview)) and len(value) < 6) else None
        )

    def number(self, scalar: str, name: str, *, index: bool = False) -> Any:
        low, high = RANGES[scalar]
        if index:
            return self.random.randrange(MOST_INDEX)
        if name in LENGTHS or name in COUNT_FIELDS:
            # -1 stands for a number that is too large to be read.
            return self.random.choice([0, 1, 1, -1, 2**40, "1", None])
        return self.random.choice([0, 1, low, high, self.random.randint(low, high), self.random.randint(0, 20)])

    def text(self, name: str) -> Any:
        known = NAMES.get(name)
        if known and self.random.random() < 0.7:
            return self.random.choice(known)
        return self.random.choice(
            ["", "a", "probe", "x" * 31, "x" * 300, "\udcff", "a\0b", None, Text("workload"), "02:00:00:00:00:01"]
        )

    def argument(self, kind: str, argument: dict[str, Any], method: bool) -> Any:
        typemap, name = argument["typemap"], argument["name"]
        if typemap == "class":
            return self.random.choice(
                [
                    object,
                    type,
                    int,
                    Points,
                    Raises,
                    len,
                    None,
                    5,
                    "text",
                    type(len),
                    type(iter([])),
                    type(self.pools[0]),
                ]
            )
        if typemap == "field":
            return self.value(argument)
        bounded = method and name in ("index", "n") or name in LENGTHS | COUNT_FIELDS
        if not bounded and self.random.random() < 0.15:
            return (
                self.strange()
                if typemap in ("six bytes", "raw bytes", "raw bytes or text")
                else self.strange(below_six=True)
            )
        if typemap in ("text", "fixed text"):
            return self.text(name)
        if typemap == "scalar":
            return self.number(argument["scalar"], name, index=method and name in ("index", "n"))
        if typemap == "six bytes":
            return self.random.choice([b"abcdef", bytearray(b"abcdefgh"), memoryview(b"123456"), Data(b"abcdefg")])
        if typemap in ("raw bytes", "raw bytes or text"):
            return self.random.choice([b"some bytes", Data(b"data"), "text", "\udcff", None, 5, bytearray(b"abc")])
        if typemap == "any pointer":
            return self.random.choice([None, self.record(self.random.choice(RECORDS))])
        target = argument.get("target", "")
        if target in self.pool.records and self.random.random() < 0.9:
            return self.record(target)
        return self.random.choice([None, self.record(self.random.choice(RECORDS))])

    def value(self, field: dict[str, Any]) -> Any:
        """For a field: of its type, or anything."""
        counts = field["name"] in COUNT_FIELDS
        if field["kind"] in ("scalar", "bits"):
            if not counts and self.random.random() < 0.3:
                return self.strange(below_six=True)
            return self.number(field["scalar"], field["name"])
        if self.random.random() < 0.3:
            return self.strange(below_six=True)
        if field["kind"] in ("characters", "mac", "owned text"):
            return self.text(field["name"])
        target = field.get("target")
        return self.record(target if target in self.pool.records else self.random.choice(RECORDS))

    def arguments(self, name: str) -> list[Any]:
        kind, rows = self.rows[name]
        if name in LIBRARY_RELEASES:
            given = [self.random.choice([None, "text", 5, object()])]
        elif name in MAKERS:
            given = [self.random.choice([None, MAKERS[name](), "text", 5, object()])]
        else:
            given = [self.argument(kind, row, kind == "method" or "Array" in name) for row in rows]
        how = self.random.random()
        if how < 0.02:
            return given[:-1]
        if how < 0.04:
            return [*given, None]
        return given

    # ---- calling ---------------------------------------------------------------------------------------------

    def settle(self, name: str, result: Any) -> None:
        """Gives back what the result holds, where that is known."""
        if name.startswith("alloc_") and result is not None:
            getattr(self.module, f"free_{name.removeprefix('alloc_')}")(result)
        elif name.startswith("new_") and result is not None:
            getattr(self.module, f"delete_{name.removeprefix('new_')}")(result)

    def call(self, name: str, note: Callable[[str, list[Any]], object]) -> None:
        arguments = self.arguments(name)
        note(name, arguments)
        try:
            result = self.functions[name](*arguments)
        except SystemError as error:
            # A result with an error pending: see the rules of deferred errors.
            assert "returned a result with an exception set" in str(error), error
            self.raised["SystemError"] += 1
        except Exception as error:  # noqa: BLE001 - any exception will do, a crash will not
            self.raised[type(error).__name__] += 1
        else:
            self.settle(name, result)
        self.done[name] += 1
        if name.endswith("_swigregister"):
            self.use_class(name.removesuffix("_swigregister"))

    def use_class(self, record: str) -> None:
        """What a strange class does to results; then one that is none takes its place."""
        for name in self.giving.get(record, ()):
            try:
                self.functions[name](
                    *([self.pool.records[self.rows[name][1][0]["target"]]] + [0] * (len(self.rows[name][1]) - 1))
                )
            except Exception as error:  # noqa: BLE001
                self.raised[type(error).__name__] += 1
        shadow = (
            getattr(self.layer, record)
            if self.layer
            else type(record, (), {"__swig_destroy__": getattr(m, f"delete_{record}")})
        )
        getattr(m, f"{record}_swigregister")(shadow)


# Bytes of these are pointers, which are not for inventing.
POINTING = {
    record["name"]
    for record in INTERFACE["records"]
    if any(field["kind"] in ("pointer", "any pointer", "owned text") for field in record["fields"])
}
SIZES = {record["name"]: record["size"] for record in INTERFACE["records"]}
UNCOUNTED = [name for name in RECORDS if name not in COUNTED]
REFUSALS = (ValueError, TypeError, AttributeError)


class Root:
    """A record with memory, the views into it, and what is known of them."""

    def __init__(self, record: Any, kind: str, size: int, takes_back: str) -> None:
        self.record = record  # None once the script has dropped it
        self.kind = kind
        self.size = size
        self.takes_back = takes_back
        self.views: list[Any] = []
        self.released = False


class Games:
    """Random games with records of the layer: fields, views, and giving memory back in every way and order. Whatever is
    done, memory is given back once, a view has its record's bytes as long as it lives, and using what was released
    raises an exception."""

    def __init__(self, caller: Caller) -> None:
        self.caller = caller
        self.random = caller.random
        self.layer = caller.layer
        self.roots: list[Root] = []
        self.actions = [
            *[self.make] * 4,
            *[self.write] * 4,
            *[self.take_view] * 3,
            *(self.drop, self.drop_view, self.release, self.delete, self.use_with, self.free_view, self.take_this),
            *(
                self.flip_ownership,
                self.strange_value,
                self.strange_attribute,
                self.look,
                self.assign_view,
                self.make_again,
                self.noise,
            ),
        ]

    def choose(self) -> Any:
        """A root that the script still holds, of those that are released as well."""
        held = [root for root in self.roots if root.record is not None]
        return self.random.choice(held) if held else self.make()

    def step(self, note: Callable[[str, list[Any]], object]) -> str:
        action = self.random.choice(self.actions)
        note(action.__name__, [])
        action()
        if len(self.roots) > 40:
            self.roots.pop(self.random.randrange(len(self.roots)))
        if self.roots:
            self.check(self.random.choice(self.roots))
        return action.__name__

    # ---- actions -----------------------------------------------------------------------------------------------

    def make(self) -> Root:
        how = self.random.randrange(8)
        vs = self.layer
        if how == 0:
            root = Root(vs.check(vs.VSQEL_GetSwitchInfo("workload")), "VSInfo", SIZES["VSInfo"], "VSQEL_FreeMemory")
        elif how == 1:
            root = Root(vs.alloc_vs_info(), "VSInfo", SIZES["VSInfo"], "free_vs_info")
        else:
            name = self.random.choice(RECORDS)
            kind = getattr(vs, name)
            if how == 2:
                kind = type(name, (kind,), {"__del__": lambda record: repr(record)})
            if how in (3, 4) and name not in POINTING and name not in COUNTED:
                record = kind.from_bytes(self.random.randbytes(SIZES[name]))
            else:
                record = kind(*([self.random.randrange(1, 4) * 16] if name in COUNTED else []))
            root = Root(record, name, 0 if name in COUNTED else SIZES[name], f"delete_{name}")
        self.roots.append(root)
        return root

    def fields(self, record: Any, *kinds: str) -> list[Any]:
        kind = next(cls for cls in type(record).__mro__ if cls.__base__ is self.layer.Record)
        return [field for field in vars(kind).values() if getattr(field, "kind", None) in kinds]

    def write(self) -> None:
        root = self.choose()
        target = self.random.choice([root.record, *root.views])
        for field in self.random.sample(self.fields(target, "scalar"), 1) if self.fields(target, "scalar") else []:
            value = self.random.randrange(100)
            try:
                setattr(target, field.__name__, value)
            except AttributeError:
                assert field.fset is None
            except ValueError:
                assert root.released
            else:
                assert not root.released
                got = getattr(target, field.__name__)
                assert (ord(got) if isinstance(got, str) else got) == value, (root.kind, field, got, value)

    def take_view(self) -> None:
        root = self.choose()
        target = self.random.choice([root.record, *root.views])
        for field in self.fields(target, "record"):
            try:
                view = field.__get__(target)
            except ValueError:
                assert root.released
                return
            assert not root.released
            if isinstance(view, self.layer.Record):
                assert view.thisown is False
                root.views.append(view)

    def drop(self) -> None:
        root = self.choose()
        root.record = None
        if self.random.random() < 0.3:
            gc.collect()

    def drop_view(self) -> None:
        root = self.choose()
        if root.views:
            root.views.pop(self.random.randrange(len(root.views)))

    def end(self, root: Root, function: Callable[..., Any], *arguments: object) -> None:
        """Gives the memory back; a second time is refused, or does nothing."""
        try:
            function(*arguments)
        except REFUSALS:
            assert root.released, (root.kind, function)
        root.released = True

    def release(self) -> None:
        root = self.choose()
        self.end(root, root.record.release)

    def delete(self) -> None:
        root = self.choose()
        # The native module's own destructor knows records as well.
        module = m if root.takes_back.startswith("delete_") and self.random.random() < 0.5 else self.layer
        self.end(root, getattr(module, root.takes_back), root.record)

    def use_with(self) -> None:
        root = self.choose()

        def block() -> None:
            with root.record:
                pass

        self.end(root, block)

    def free_view(self) -> None:
        root = self.choose()
        if not root.views:
            return
        view = self.random.choice(root.views)
        name = next(cls.__name__ for cls in type(view).__mro__ if cls.__base__ is self.layer.Record)
        functions = [getattr(self.layer, f"delete_{name}"), self.layer.VSQEL_FreeMemory, type(view).release]
        try:
            self.random.choice(functions)(view)
        except REFUSALS:
            pass
        try:
            view.thisown = True
        except ValueError:
            return
        raise AssertionError("the memory has two owners")

    def take_this(self) -> None:
        root = self.choose()
        target = self.random.choice([root.record, *root.views])
        try:
            proxy = target.this
        except AttributeError:
            assert root.released
            return
        assert root.released or int(proxy) != 0
        if root.record.thisown or root.released:
            for other in (proxy, None, 5):
                try:
                    root.record.this = other
                except ValueError:
                    continue
                raise AssertionError("the record has two memories")

    def flip_ownership(self) -> None:
        root = self.choose()
        if root.record.thisown:
            root.record.thisown = False
            assert root.record.thisown is False
            root.record.thisown = True
            assert root.record.thisown is True
        elif root.released:
            try:
                root.record.thisown = True
            except ValueError:
                return
            raise AssertionError("memory that is gone has an owner")

    def strange_value(self) -> None:
        root = self.choose()
        fields = [
            field
            for field in self.fields(root.record, "scalar", "bits", "text", "mac", "record", "array")
            if field.fset
        ]
        if fields:
            field = self.random.choice(fields)
            try:
                setattr(root.record, field.__name__, self.caller.strange(below_six=True))
            except Exception as error:  # noqa: BLE001 - any exception will do
                self.caller.raised[type(error).__name__] += 1

    def strange_attribute(self) -> None:
        root = self.choose()
        attempts: tuple[Callable[[], object], ...] = (
            lambda: delattr(root.record, self.random.choice([*dir(root.record), "nothing"])),
            lambda: getattr(root.record, "no_such_field"),
            lambda: hash(root.record),
            lambda: root.record < root.record,
            lambda: type(root.record).from_bytes(self.caller.strange(below_six=True)),
            lambda: type(root.record)(self.caller.strange(below_six=True)),
            lambda: root.record == self.caller.strange(below_six=True),
        )
        for attempt in attempts:
            try:
                attempt()
            except Exception as error:  # noqa: BLE001 - any exception will do
                self.caller.raised[type(error).__name__] += 1

    def make_again(self) -> None:
        root = self.choose()
        if root.record.thisown or root.released:
            try:
                root.record.__init__(*([1] if root.kind in COUNTED else []))
            except ValueError:
                return
            raise AssertionError("the record has two memories")

    def look(self) -> None:
        root = self.choose()
        assert root.record == root.record
        # A name shows itself as its text.
        if root.kind != "qel_Name":
            assert ("released" in repr(root.record)) == root.released, root.kind

    def assign_view(self) -> None:
        first, second = self.choose(), self.choose()
        for field in self.fields(first.record, "record"):
            try:
                setattr(first.record, field.__name__, field.__get__(first.record))
                setattr(first.record, field.__name__, getattr(second.record, field.__name__, second.record))
            except REFUSALS:
                pass

    def noise(self) -> None:
        """Memory that was freed too early is taken by others."""
        kept = [getattr(self.layer, self.random.choice(UNCOUNTED))() for _ in range(20)]
        del kept

    # ---- what must hold ------------------------------------------------------------------------------------------

    def check(self, root: Root) -> None:
        for item in [root.record, *root.views]:
            if item is None:
                continue
            try:
                data = bytes(item)
            except TypeError:
                assert root.size == 0
            except ValueError:
                assert root.released, root.kind
            else:
                assert not root.released, root.kind
                # What is read twice is the same: nobody else has the memory.
                keep = [bytes(64) for _ in range(5)]
                assert bytes(item) == data and keep
                if root.record is not None and item is not root.record and root.size:
                    assert data in bytes(root.record), root.kind


def main(kind: str, seed: int, calls: int, note_path: str) -> None:
    # Sizes are random too. A sanitizer reserves more than any limit.
    if "VSWITCHPY_PRELOAD" not in os.environ:
        resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))
    answers = os.dup(1)
    os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
    os.dup2(os.open(os.devnull, os.O_WRONLY), 2)
    descriptor = os.open(note_path, os.O_RDWR | os.O_CREAT, 0o600)
    caller = Caller(kind, seed)
    position = 0

    def note(name: str, arguments: list[Any]) -> None:
        try:
            said = ", ".join(ascii(a)[:60] for a in arguments)
        except Exception:  # noqa: BLE001
            said = "?"
        text = f"{kind} seed {seed} call {position}: {name}({said})".encode().ljust(1000)
        os.pwrite(descriptor, text[:1000], 0)

    # Each function in turn, in a new order each time.
    names: list[str] = []
    games = Games(caller) if kind == "records" else None
    try:
        while position < calls:
            if games:
                caller.done[games.step(note)] += 1
                position += 1
                continue
            if not names:
                names = FUNCTIONS[:]
                caller.random.shuffle(names)
            if position % FRESH_EVERY == 0:
                caller.pool.clear()
            if position % 2000 == 0:
                gc.collect()
            caller.call(names.pop(), note)
            position += 1
    except BaseException:
        os.write(answers, json.dumps({"failure": traceback.format_exc()}).encode())
        raise
    answer = {"calls": sum(caller.done.values()), "functions": sorted(caller.done), "raised": dict(caller.raised)}
    os.write(answers, json.dumps(answer).encode())
    # What the pool still points at is not the process's to take down.
    os._exit(0)


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4])
