"""The published schemas accept what the command prints as plans and errors, and nothing that is a little different."""

import copy
import json
import pathlib
from collections.abc import Callable, Iterator
from typing import Any

import pytest

import vswitch

jsonschema = pytest.importorskip("jsonschema", reason="the schemas are checked where python3-jsonschema is installed")
pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]
SESSIONS = pathlib.Path(__file__).with_name("sessions")


def printed() -> list[dict[str, Any]]:
    """What the transcripts show that is JSON, on standard output and on standard error."""
    found = []
    for session in sorted(SESSIONS.glob("*.txt")):
        for block in session.read_text().split("$ vswitch ")[1:]:
            lines = [line for line in block.splitlines()[1:] if not line.startswith("[") or line == "["]
            for text in ("\n".join(line.removeprefix("! ") for line in lines),):
                try:
                    found.append(json.loads(text))
                except ValueError:
                    continue
    return [one for one in found if isinstance(one, dict)]


PRINTED = printed()
ERRORS = [one for one in PRINTED if "error" in one]
PLANS = [one for one in PRINTED if {"operations", "diff"} <= set(one)]
GIVEN = {"plan": PLANS, "error": ERRORS}


def accepts(name: str, instance: object) -> bool:
    return bool(jsonschema.Draft202012Validator(vswitch.schema(name)).is_valid(instance))


def test_there_is_enough_to_look_at() -> None:
    assert len(ERRORS) >= 12 and len(PLANS) >= 5
    assert {one["error"]["class"] for one in ERRORS} >= {
        "ApplyError", "UsageError", "NotFound", "AlreadyExists", "Busy", "DocumentError", "TimedOut",
    }  # fmt: skip
    assert any(one["error"].get("undone") for one in ERRORS)


@pytest.mark.parametrize("name", GIVEN)
def test_what_is_printed_is_accepted(name: str) -> None:
    for one in GIVEN[name]:
        assert accepts(name, one), one
        assert not accepts("error" if name == "plan" else "plan", one)


def test_a_plan_and_an_error_are_accepted_as_the_package_gives_them() -> None:
    for one in PLANS:
        plan = vswitch.Plan.from_dict(one)
        assert accepts("plan", plan.to_dict())
    for error in (vswitch.NotFound("no switch 'x'"), vswitch.DocumentError("a/b", "no such member")):
        assert accepts("error", {"error": error.to_dict()})


# ---- a little different ----------------------------------------------------------------------------------------------

ANYTHING = {"before", "after"}  # may be of any type


def places(value: Any, path: tuple[Any, ...] = ()) -> Iterator[tuple[Any, ...]]:
    """The paths of all values that have a form: not those in the inputs of calls, and in what was there."""
    yield path
    if isinstance(value, dict) and not (path and inputs(path)):
        for name, inner in value.items():
            if name not in ANYTHING:
                yield from places(inner, (*path, name))
    elif isinstance(value, list):
        for index, inner in enumerate(value):
            yield from places(inner, (*path, index))


def changed_at(whole: Any, path: tuple[Any, ...], change: Callable[[Any, Any], object]) -> Any:
    """A copy in which `change` was made to what holds the last name of a path."""
    made = copy.deepcopy(whole)
    place = made
    for part in path[:-1]:
        place = place[part]
    change(place, path[-1])
    return made


def inputs(path: tuple[Any, ...]) -> bool:
    """Whether this is the inputs of a call: whatever they are, they are an object."""
    return path[-1] == "arguments" or (len(path) > 2 and path[-3] in ("calls", "undo") and path[-1] == 1)


def different(whole: Any, path: tuple[Any, ...]) -> Iterator[Any]:
    """Copies of an instance with one thing wrong at a path."""
    found = whole
    for part in path:
        found = found[part]
    other = {} if isinstance(found, (list, str)) or found is None else [found]
    yield changed_at(whole, path, lambda place, name: place.__setitem__(name, other))
    if isinstance(found, dict) and not inputs(path):
        yield changed_at(whole, path, lambda place, name: place[name].update(more=1))
    if path[-1] != "diff" and (
        isinstance(path[-1], str) or path[-1] in (0, 1) and len(path) > 2 and path[-3] in ("calls", "undo")
    ):
        yield changed_at(whole, path, lambda place, name: place.pop(name))


@pytest.mark.parametrize("name", GIVEN)
def test_what_is_a_little_different_is_refused(name: str) -> None:
    count = 0
    for one in GIVEN[name]:
        assert not accepts(name, {**one, "more": 1})
        for path in places(one):
            for changed in different(one, path) if path else ():
                assert not accepts(name, changed), (path, changed)
                count += 1
    assert count >= 200


@pytest.mark.parametrize(
    ("name", "path", "value"),
    [
        ("plan", ["format"], 2),
        ("plan", ["id"], "0123"),
        ("plan", ["id"], "0123456789ABCDEF"),
        ("plan", ["operations", 0, "number"], 0),
        ("plan", ["operations", 0, "action"], "change"),
        ("plan", ["operations", 0, "calls", 0], ["VSDVS_SetMTU"]),
        ("plan", ["operations", 0, "calls", 0], ["VSDVS_SetMTU", {}, 1]),
        ("plan", ["operations", 0, "calls", 0], ["", {}]),
        ("error", ["error", "class"], ""),
        ("error", ["error", "status"], 1.5),
        ("error", ["error", "name"], "NOT_FOUND"),
        ("error", ["error", "rolled_back"], True),
    ],
)
def test_values_that_cannot_be_are_refused(name: str, path: tuple[Any, ...], value: Any) -> None:
    whole = next(one for one in GIVEN[name] if one.get("operations") or "error" in one and "done" not in one["error"])
    changed = copy.deepcopy(whole)
    place = changed
    for part in path[:-1]:
        place = place[part]
    place[path[-1]] = value
    assert accepts(name, whole) and not accepts(name, changed)
