"""No public member of a handle, a collection or a table is left out: the members are those of the classes, and the
tests of the handles drive each of them on a host, where they hold what it gives."""

import sys
from functools import partial
from inspect import signature
from pathlib import Path
from tempfile import TemporaryDirectory
from types import FunctionType
from typing import Any

import pytest
import test_handles
import test_settings
from test_calls import told

import vswitch as v
from vswitch.handles.setting import Setting, settings_of

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises

KINDS = [
    getattr(v, name)
    for place, names in v._PLACES.items()
    for name in names.split()
    if place.startswith("handles.")
]
OPERATORS = """__getitem__ __setitem__ __delitem__ __contains__ __iter__ __len__ __enter__ __exit__ __bytes__ __eq__
    __hash__ __repr__ __init__ __reduce__""".split()


def functions_of(member: Any) -> list[FunctionType]:
    """The functions of a member of a class."""
    if isinstance(member, property):
        return [one for one in (member.fget, member.fset, member.fdel) if isinstance(one, FunctionType)]
    if isinstance(member, (classmethod, staticmethod)):
        return [member.__func__]  # type: ignore[list-item]
    return [member] if isinstance(member, FunctionType) else []


def members() -> dict[Any, str]:
    """Code of each public member and operator of each class, by what it is called."""
    found: dict[Any, str] = {}
    for kind in KINDS:
        for base in kind.__mro__:
            if not base.__module__.startswith("vswitch."):
                continue
            for name, member in vars(base).items():
                if name in OPERATORS or not name.startswith("_"):
                    for function in functions_of(member):
                        found[function.__code__] = f"{base.__name__}.{name}"
    return found


def in_a_folder(test: Any) -> None:
    """Runs a test with a folder of its own."""
    with TemporaryDirectory() as folder:
        test(Path(folder))


def of_desired_state() -> None:
    """What leads to the layer above, whose own tests hold what it gives."""
    host = v.Host()
    exported = host.export(only=["management"])
    assert not host.plan(exported) and host.pending is None
    assert host.topology().nodes and host.wait_until("switches/workload/mtu == 9000") == 9000
    with host.watch(timeout=0.1, interval=0.05) as changes:
        assert list(changes) == []
    for verb in (host.confirm, host.revert):
        with raises(v.NotFound, match="nothing waits to be confirmed"):
            verb()


def asserting() -> list[Any]:
    """The tests of the handles, each with its parameters."""
    found = []
    for module in (test_handles, test_settings):
        for name, test in vars(module).items():
            if name.startswith("test_"):
                if "tmp_path" in signature(test).parameters:
                    found.append(partial(in_a_folder, test))
                    continue
                cases = [mark.args for mark in getattr(test, "pytestmark", []) if mark.name == "parametrize"]
                names, values = cases[0] if cases else ((), [()])
                for value in values:
                    one = isinstance(names, str) and "," not in names
                    found.append(partial(test, *((value,) if one else value)))
    return found


def driven(use: Any) -> set[str]:
    """The members that a use enters."""
    wanted, seen = members(), set()

    def enter(frame: Any, event: str, argument: Any) -> None:
        if event == "call":
            seen.add(frame.f_code)

    sys.setprofile(enter)
    try:
        use()
    finally:
        sys.setprofile(None)
    return {name for code, name in wanted.items() if code in seen}


def test_every_member_is_driven() -> None:
    every = set(members().values())
    assert len(every) > 150 and {"Switch.info", "Ports.by_number", "Uplink.set_admin", "Mirrors.__setitem__"} <= every
    found: set[str] = set()
    for use in (*asserting(), of_desired_state):
        found |= told(lambda use=use: driven(use))
    assert sorted(every - found) == []


def test_every_setting_of_every_handle_has_its_values() -> None:
    for kind in KINDS:
        expected = {v.Switch: set(test_settings.SWITCH), v.Port: set(test_settings.PORT), v.Host: {"mac_learning"}}
        assert set(settings_of(kind)) == expected.get(kind, set())
    assert {name for kind in KINDS for name, one in vars(kind).items() if isinstance(one, Setting)} == {"mac_learning"}


def test_every_value_type_has_samples_that_differ_in_every_field() -> None:
    from samples import SAMPLES

    from vswitch.values.base import Value, fields_of

    kinds = [getattr(v, name) for place, names in v._PLACES.items() for name in names.split() if place[:7] == "values."]
    assert set(SAMPLES) == set(kinds) and all(issubclass(kind, Value) for kind in kinds)
    for kind, samples in SAMPLES.items():
        for name, _, _ in fields_of(kind):
            assert len({repr(getattr(one, name)) for one in samples}) > 1, f"{kind.__name__}.{name}"
