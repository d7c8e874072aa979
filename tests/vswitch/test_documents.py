"""Documents: what they may be, and the place and the reason of everything that is refused."""

import json
import pathlib
import time
from collections.abc import Iterator
from typing import Any

import pytest
from workspace import SOURCE

import vswitch
from vswitch.desired import document, published, schema

pytestmark = pytest.mark.pure_python

PORT = "format: 1\nswitches: {lab: {ports: {web-1: %s}}}\n"
SWITCH = "format: 1\nswitches: {lab: %s}\n"

# Text, path, reason.
REFUSED = [
    (PORT % "{vlna: 3}", "switches/lab/ports/web-1/vlna", "no such member; did you mean 'vlan'?"),
    (PORT % "{alias: 100}", "switches/lab/ports/web-1/alias", 'a text is wanted: write "100"'),
    (PORT % "{alias: true}", "switches/lab/ports/web-1/alias", 'a text is wanted: write "true"'),
    (PORT % "{vlan: x}", "switches/lab/ports/web-1/vlan", "a number or a mapping is wanted, not a text"),
    (PORT % "{vlan: {id: []}}", "switches/lab/ports/web-1/vlan/id", "a whole number is wanted, not a list"),
    (PORT % "{vlan: {trunk: [1, 10-x]}}", "switches/lab/ports/web-1/vlan/trunk/1", "not a range: '10-x'"),
    (
        PORT % "{vlan: {trunk: [], private: true}}",
        "switches/lab/ports/web-1/vlan/trunk",
        "a port in a private VLAN is no trunk",
    ),
    (PORT % "{mirrors: null}", "switches/lab/ports/web-1/mirrors", "a mapping is wanted, not null"),
    (PORT % "{external_id: null}", "switches/lab/ports/web-1/external_id", "a text is wanted, not null"),
    (PORT % "{sink: true}", "switches/lab/ports/web-1/sink", "no such member"),
    (PORT % "{static_addresses: [{vlan: 1}]}", "switches/lab/ports/web-1/static_addresses/0/mac", "must be there"),
    (PORT % "{multicast: [1:2]}", "switches/lab/ports/web-1/multicast/0", "not a MAC address: '1:2'"),
    (
        PORT % "{mirrors: {tap: {destinations: [prot:x]}}}",
        "switches/lab/ports/web-1/mirrors/tap/destinations/0",
        "not an end of a mirror session: 'prot:x'; write port, uplink, vlan, ip, number, mac and ':VALUE'",
    ),
    (SWITCH % "{mtu: '9000'}", "switches/lab/mtu", "a whole number is wanted, not a text"),
    (SWITCH % "{mtu: 1.5}", "switches/lab/mtu", "a whole number is wanted, not a text"),
    (SWITCH % "{connected: 1}", "switches/lab/connected", "true or false is wanted, not a number"),
    (SWITCH % "{version: null}", "switches/lab/version", "a name is wanted, not null"),
    (SWITCH % "{uplinks: null}", "switches/lab/uplinks", "a list is wanted, not null"),
    (SWITCH % "{uplinks: [nic4, {port: x}]}", "switches/lab/uplinks/1/name", "must be there"),
    (SWITCH % "{teaming: {active: [nic4, 5]}}", "switches/lab/teaming/active/1", 'a text is wanted: write "5"'),
    (
        SWITCH % "{teaming: {load_balance: fo-explict}}",
        "switches/lab/teaming/load_balance",
        "'fo-explict' is no LoadBalance: use one of none, lb-ip, lb-srcmac, lb-srcid, fo-explicit, lb-lbt;"
        " did you mean 'fo-explicit'?",
    ),
    (
        SWITCH % "{properties: {com.taliko.vswitch.mtu: x}}",
        "switches/lab/properties/com.taliko.vswitch.mtu",
        "use the member 'mtu'",
    ),
    (SWITCH % "{properties: {VSPROP_MTU: x}}", "switches/lab/properties/VSPROP_MTU", "use the member 'mtu'"),
    (
        SWITCH % "{host_properties: {com.taliko.common.host.volatile.status: x}}",
        "switches/lab/host_properties/com.taliko.common.host.volatile.status",
        "is read only",
    ),
    (
        SWITCH % "{properties: {a: {text: x, hex: '00'}}}",
        "switches/lab/properties/a",
        "one of text, hex, base64, int is wanted",
    ),
    (SWITCH % "{properties: {a: {hex: '0'}}}", "switches/lab/properties/a/hex", "not hex: '0'"),
    (
        SWITCH % "{properties: {a: {int: 300, size: 1}}}",
        "switches/lab/properties/a/int",
        "a number of 1 bytes is wanted",
    ),
    (SWITCH % "{properties: {a: 1}}", "switches/lab/properties/a", 'a text is wanted: write "1"'),
    (
        SWITCH % "{uplink_ports: {nic4: null}}",
        "switches/lab/uplink_ports/nic4",
        "an uplink port goes with its uplink: use the member 'uplinks'",
    ),
    ("format: 1\nswitches: {a/b: {x~y: 1}}", "switches/a~1b/x~0y", "no such member"),
    ("format: 1\nswitches: null", "switches", "a mapping is wanted, not null"),
    ("format: 1\nmac_learning: null", "mac_learning", "a mapping is wanted, not null"),
    (
        "format: 1\nruntime_options: {IGMPversion: 2}",
        "runtime_options/IGMPversion",
        "no such member; did you mean 'IGMPVersion'?",
    ),
    (
        "format: 1\nruntime_options: {IGMPVersion: null}",
        "runtime_options/IGMPVersion",
        "a whole number is wanted, not null",
    ),
    ("switches: {}", "format", "must be there"),
    ("format: 2", "format", "the number 1 is wanted"),
    ("", "", "a mapping is wanted, not null"),
    ("- 1", "", "a mapping is wanted, not a list"),
    ("format: 1\nswitches: {lab: {}, lab: {}}", "switches/lab", "stands twice"),
    ("format: 1\n---\nformat: 1", "", "a second document"),
    ("format: !!int 1", "format", "a tag: tag:yaml.org,2002:int"),
    ("format: 1\nswitches: {lab: &a [*a]}", "switches/lab/0", "the alias 'a' stands in what it names"),
    ("format: *a", "format", "no anchor 'a' before this alias"),
    ("? [a]\n: 1", "", "a key is a text"),
    ("a: [1, 2", "a/1", None),
    ("\tformat: 1", "", None),
]


@pytest.mark.parametrize(
    ("text", "path", "reason"), REFUSED, ids=[case[1] or str(number) for number, case in enumerate(REFUSED)]
)
def test_what_is_refused_has_its_place_and_reason(text: str, path: str, reason: str) -> None:
    with pytest.raises(vswitch.DocumentError) as caught:
        document.read(text)
    assert caught.value.path == path
    assert isinstance(caught.value, ValueError)
    if reason is None:
        assert caught.value.reason.startswith("not YAML: line ")
    else:
        assert caught.value.reason == reason
    assert str(caught.value) == (f"{path}: {caught.value.reason}" if path else caught.value.reason)


@pytest.mark.parametrize(
    ("text", "value"),
    [
        ("null", None),
        ("~", None),
        ("", None),
        ("true", True),
        ("false", False),
        ("yes", "yes"),
        ("on", "on"),
        ("10", 10),
        ("-3", -3),
        ("010", 10),
        ("0x1F", 31),
        ("0o17", 15),
        ("1.5", "1.5"),
        ("1e3", "1e3"),
        (".inf", ".inf"),
        ("1_000", "1_000"),
        ("0b11", "0b11"),
        ("02:00:00:00:00:01", "02:00:00:00:00:01"),
        ("12:30:45", "12:30:45"),
        ("2026-11-22", "2026-11-22"),
        ("<<", "<<"),
        ("'10'", "10"),
        ('"true"', "true"),
    ],
)
def test_scalars_have_the_core_schema(text: str, value: object) -> None:
    assert document.parse(f"a: {text}\n") == {"a": value}


def test_keys_are_texts_as_they_stand() -> None:
    assert document.parse("{100: 1, true: 2, ~: 3, <<: {a: 4}, 0x10: 5}") == {
        "100": 1,
        "true": 2,
        "~": 3,
        "<<": {"a": 4},
        "0x10": 5,
    }
    assert document.parse("{&k 7: 1, x: {*k : 2}}") == {"7": 1, "x": {"7": 2}}
    assert document.read({"format": 1, "switches": {"lab": {"ports": {100: {}}}}})["switches"].entries["lab"][
        "ports"
    ].entries == {"100": {}}
    with pytest.raises(vswitch.DocumentError, match="switches/lab/ports/100: stands twice"):
        document.read({"format": 1, "switches": {"lab": {"ports": {100: {}, "100": {}}}}})


def test_aliases_are_written_out() -> None:
    read = document.read("format: 1\nswitches: {a: &one {mtu: 9000, ports: {p: {}}}, b: *one}")["switches"].entries
    assert read["a"] == read["b"]


def test_exact_is_a_direction_only_where_it_is_a_boolean() -> None:
    read = document.read(
        "format: 1\nswitches: {exact: true, a: {ports: {exact: {vlan: 1}, b: {}}, mirrors: {exact: false}}}"
    )
    switches = read["switches"]
    assert switches.exact and list(switches.entries) == ["a"]
    assert list(switches.entries["a"]["ports"].entries) == ["exact", "b"]
    assert switches.entries["a"]["mirrors"] == schema.Collection({}, False)
    assert document.read("format: 1\nswitches: {exact: null}")["switches"].entries == {"exact": None}


TOO_MANY = {
    "a long list": "a: [" + "x," * 1_000_001 + "]",
    "many lines of a list": "a:\n" + "- x\n" * 1_000_001,
    "many members": "{" + ",".join(f"k{number}: v" for number in range(500_001)) + "}",
    "many lines of members": "".join(f"k{number}: v\n" for number in range(500_001)),
    "many lists": "[" + "[]," * 1_000_001 + "]",
    "many nested lists": "- - - x\n" * 340_000,
    "many texts": "[" + "'x'," * 1_000_001 + "]",
}
HOSTILE = {
    "too long": "x" * ((64 << 20) + 1),
    "too long in bytes": "\u20ac" * (22 << 20),
    "deep lists": "[" * 100_000,
    "deep mappings": '{"a":' * 100_000,
    "anchors that multiply": "a: &a [x,x,x,x,x,x,x,x,x,x]\n"
    + "".join(
        f"{name}: &{name} [{','.join(['*' + former] * 10)}]\n"
        for former, name in zip("abcdefgh", "bcdefghi", strict=False)
    ),
    "anchors that nest": "a: &a [x]\n"
    + "".join(f"b{number}: &b{number} [{'*a' if not number else f'*b{number - 1}'}]\n" for number in range(40)),
    "NUL": "format: 1\nswitches: {\0: {}}",
    "escaped NUL": 'format: 1\nswitches: {"a\\0b": {}}',
    "surrogate": "format: 1\nswitches: {\ud800: {}}",
    "long number": "format: " + "9" * 1_000_000,
    "long hexadecimal number": "format: 0x" + "f" * 1_000_000,
    "long key": "format: 1\nswitches: 1\n" + "k" * 10_000_000 + ": 1",
    "binary": bytes(range(256)).decode("latin-1"),
    "a long text": "a: " + "x" * (64 << 20) + "\n",
    "a long comment": "#" + "x" * (63 << 20),
    "many lines": "a:" + "\n" * (63 << 20),
}


def test_too_many_values_are_counted_before_any_is_made(monkeypatch: pytest.MonkeyPatch) -> None:
    made = []
    monkeypatch.setattr(document._Yaml, "node", lambda self, event, depth: made.append(event))
    for name, text in TOO_MANY.items():
        with pytest.raises(vswitch.DocumentError) as caught:
            document.read(text)
        assert str(caught.value) == "more than 1,000,000 values", name
    assert not made


@pytest.mark.parametrize(
    "text", ["a: [" + "x," * 499_998 + "]", "a:\n" + "- x\n" * 499_990, "- [x, y]\n" * 10], ids=range(3)
)
def test_what_is_not_too_many_is_read(text: str) -> None:
    assert document.most_values(text) >= 30
    value = document.parse(text)
    assert len(value["a"] if isinstance(value, dict) else value) >= 10


@pytest.mark.parametrize(
    "text", ["{" + "a: b, " * 3 + "}", "- - - a", "a:\nb:\n", "? a\n? b", "[a: b, c: d]", "-\n-\n", "a: [{}, []]"]
)
def test_no_more_values_than_are_thought_possible(text: str) -> None:
    events: list[Any] = list(iter(document._Yaml(text).parser().get_event, None))
    kinds = ("ScalarEvent", "SequenceStartEvent", "MappingStartEvent")
    values = [event for event in events if type(event).__name__ in kinds]
    assert len(values) <= document.most_values(text) - 8


@pytest.mark.parametrize(
    "text",
    [
        "[a, b, [c, d], {e: f, g: h}]",
        "{'a': 'b, c, d', \"e\":\"f,,,,,\", g: 'it''s, it', h: it's, i: 'j,k'}",
        '["a\\"b,,,", "c"] # ,,,,,',
        "[a#b, c 'd, e, 'f,,,,']",
        "a:\n- b\n- c\nd: e\n\n# f\ng:\nh: i\n",
        "a: |\n  b: c\n  d: e\nf: g\n",
        "a: 'b\nc: d\ne: f'\n",
        "a: [b\n, c\n, d]\n",
        "a:\n\n\n\n\n# b: c\n\n#\nd:\n",
    ],
)
def test_no_fewer_values_than_are_thought_certain(text: str) -> None:
    events: list[Any] = list(iter(document._Yaml(text).parser().get_event, None))
    kinds = ("ScalarEvent", "SequenceStartEvent", "MappingStartEvent")
    assert document.least_values(text) <= len([event for event in events if type(event).__name__ in kinds])


@pytest.mark.parametrize("mark", ["\n", "\r\n", "\u2028"])
def test_too_many_lines_are_refused(mark: str) -> None:
    with pytest.raises(vswitch.DocumentError) as caught:
        document.read("a:" + mark * 4_000_001)
    assert str(caught.value) == "more than 4,000,000 lines"
    assert document.parse("a:" + "\n" * 1_500_000) == {"a": None}


@pytest.mark.parametrize("text", ["{a: '" + "," * 2_000_000 + "'}", "a: |\n" + "  b: c\n" * 600_000], ids=range(2))
def test_a_long_text_is_one_value(text: str) -> None:
    assert len(document.parse(text)["a"]) > 1_000_000


@pytest.mark.parametrize("name", HOSTILE)
def test_hostile_texts_end_with_a_place(name: str) -> None:
    begin = time.monotonic()
    with pytest.raises(vswitch.DocumentError) as caught:
        document.read(HOSTILE[name])
    assert caught.value.path is not None
    assert caught.value.reason
    # Generous: the machine may be busy.
    assert time.monotonic() - begin < 10


@pytest.mark.parametrize(
    ("text", "message"),
    [
        ("[" * 100_000, "/".join("0" * 32) + ": more than 32 deep"),
        ('{"a":' * 100_000, "/".join("a" * 32) + ": more than 32 deep"),
        ('{"format": 1, "mac_learning": {"limit": 1, "limit": 2}}', "mac_learning/limit: stands twice"),
        ('{"format": NaN}', "not JSON: NaN"),
        ('{"format": 1,}', "not JSON: line 1, column 14: Expecting property name enclosed in double quotes"),
        ("{'format': 1}", "not JSON: line 1, column 2: Expecting property name enclosed in double quotes"),
        ("[" + "1," * 2_000_000 + "1]", "more than 1,000,000 values"),
        (
            '{"format": 1, "switches": {"lab": {"mtu": 1500.0}}}',
            "switches/lab/mtu: a whole number is wanted, not 1500.0",
        ),
        ('{"format": 1, "switches": {"\\ud800": {}}}', "switches/\ud800: a text of Unicode characters is wanted"),
    ],
    ids=range(9),
)
def test_json_files(tmp_path: pathlib.Path, text: str, message: str) -> None:
    path = tmp_path / "state.json"
    path.write_text(text)
    with pytest.raises(vswitch.DocumentError) as caught:
        document.read(path)
    assert str(caught.value) == message


def test_files_are_json_by_name_and_yaml_else(tmp_path: pathlib.Path) -> None:
    (tmp_path / "a.json").write_text(json.dumps({"format": 1, "switches": {"lab": {"mtu": 9000}}}))
    (tmp_path / "a.yml").write_text("format: 1\nswitches: {lab: {mtu: 9000}}\n")
    assert document.read(tmp_path / "a.json") == document.read(tmp_path / "a.yml")
    with pytest.raises(FileNotFoundError):
        document.read(tmp_path / "none.yml")
    with pytest.raises(TypeError):
        document.read(7)


# Every kind of value, put into every place.
VALUES = [
    None,
    True,
    0,
    -1,
    1 << 70,
    1.5,
    float("nan"),
    "",
    "x",
    "\0",
    [],
    [None],
    [[]],
    {},
    {"a": None},
    {"exact": 1},
    object(),
]


def places(form: Any, path: tuple[str, ...] = ()) -> Iterator[tuple[str, ...]]:
    """The paths of all members."""
    for name, inner in form.members.items():
        yield (*path, name)
        while hasattr(inner, "form"):
            inner = inner.form
        if hasattr(inner, "entry"):
            yield (*path, name, "x")
            inner = inner.entry
            if hasattr(inner, "members"):
                yield from places(inner, (*path, name, "x"))
        elif hasattr(inner, "members"):
            yield from places(inner, (*path, name))
        elif hasattr(inner, "record"):
            for field in inner.record.fields:
                yield (*path, name, field)
        elif hasattr(inner, "fields"):
            for field in inner.fields:
                yield (*path, name, field)


def test_every_kind_of_value_in_every_place_is_taken_or_refused_with_a_place() -> None:
    paths = list(places(schema.DOCUMENT))
    assert len(paths) > 180
    refused = 0
    for path in paths:
        for value in VALUES:
            made: Any = value
            for name in reversed(path):
                made = {name: made}
            made["format"] = value if path == ("format",) else 1
            try:
                document.read(made)
            except vswitch.DocumentError as error:
                refused += 1
                assert error.path and error.path.split("/")[0] == path[0]
    assert refused > len(paths) * 5


def test_the_published_schemas_are_those_of_the_code() -> None:
    jsonschema = pytest.importorskip("jsonschema", reason="the schema is checked where python3-jsonschema is installed")
    for name, made in published.made_schemas().items():
        file = f"vswitch-{name}-1.json"
        assert (SOURCE / "python/vswitch/desired" / file).read_text() == published.text_of(made)
        found = vswitch.schema(name)
        assert found["$id"] == file
        assert found["$schema"] == "https://json-schema.org/draft/2020-12/schema"
        jsonschema.Draft202012Validator.check_schema(found)
    assert vswitch.schema() == vswitch.schema("state")
    with pytest.raises(ValueError, match="'stat' is no schema: use one of state, plan, error"):
        vswitch.schema("stat")


def test_the_schema_refuses_what_the_reader_refuses_for_its_form() -> None:
    jsonschema = pytest.importorskip("jsonschema", reason="the schema is checked where python3-jsonschema is installed")
    validator = jsonschema.Draft202012Validator(vswitch.schema())
    # What no schema says: uniqueness of keys, limits of the text itself, and fields that exclude each other.
    textual = (
        "stands twice",
        "second document",
        "tag",
        "alias",
        "anchor",
        "key is a text",
        "not YAML",
        "private VLAN",
        "1 bytes",
        "not hex",
    )
    for text, path, reason in REFUSED:
        if reason is None or any(word in reason for word in textual):
            continue
        plain = document.parse(text)
        assert not validator.is_valid(plain), (path, reason)
