"""The gate: each call of the library is used, fails as its exception, aborts as it is, and gets its memory back."""

import os
import pathlib
import pickle
import subprocess
from typing import Any

import pytest
from tour import EVERYTHING
from workspace import BUILD, SOURCE, run_script

import libvswitch
import vswitch as v
from vswitch import _calls

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises

ROWS = [line.split("\t") for line in (SOURCE / "tests" / "data" / "calls.tsv").read_text().splitlines()[1:]]
CALLS = {row[0]: row[2] for row in ROWS}
USED = {name for name, place in v.coverage().items() if not place.startswith("not used: ")}
# DVS_GetMaxPorts gives a number.
WITH_STATUS = sorted(name for name in USED if CALLS[name] == "status" and name != "DVS_GetMaxPorts")

CLASSES = {
    "NotFound": "NOT_FOUND NO_SUCH_DEVICE MODULE_NOT_FOUND INVALID_MODULE INVALID_WORLD",
    "AlreadyExists": "EXISTS EALREADY DUPLICATE_UID",
    "Busy": "BUSY LOCK_EXISTS RETRY",
    "BadParameter": (
        "BAD_PARAM INVALID_NAME NAME_TOO_LONG INVALID_ADDRESS BAD_VLANID BAD_PARAM_COUNT BAD_PARAM_TYPE"
    ),
    "NotSupported": "NOT_SUPPORTED NOT_IMPLEMENTED EOPNOTSUPP",
    "ReadOnly": "READ_ONLY",
    "LimitExceeded": "LIMIT_EXCEEDED TOO_MANY_ELEMENTS QUOTA_LIMIT_EXCEEDED RESULT_TOO_LARGE BUF_TOO_SMALL",
    "PermissionDenied": "NO_PERMISSION ACCESS_DENIED NO_ACCESS",
    "TimedOut": "TIMEOUT WAIT_INTERRUPTED",
    "NoMemory": "NO_MEMORY NO_MEMORY_NICE",
    "NoSpace": "NO_SPACE_ON_DEVICE NO_SPACE",
    "WrongState": "INVALID_STATE IS_DISCONNECTED IS_CONNECTED ENETDOWN NOT_READY",
    "BadImage": "INVALID_METADATA CHECKSUM_MISMATCH VERSION_MISMATCH_MAJOR VERSION_MISMATCH_MINOR",
}
CLASS_OF = {f"QEL_{status}": name for name, statuses in CLASSES.items() for status in statuses.split()}


# ---- which calls are used --------------------------------------------------------------------------------------------


def test_coverage_has_every_call_and_tells_the_truth() -> None:
    assert set(v.coverage()) == set(CALLS) and len(CALLS) == 198
    package = SOURCE / "python" / "vswitch"
    text = "\n".join(path.read_text() for path in package.rglob("*.py") if path.name != "coverage.py")
    quoted = {name for name in CALLS if f'"{name}"' in text}
    assert USED - quoted == set()
    assert {name for name in quoted if name not in USED} == set()


def test_the_module_of_the_name_can_be_called_too() -> None:
    import vswitch.coverage

    assert vswitch.coverage() == v.coverage()


def test_every_used_call_succeeds_at_the_gate() -> None:
    seen = set()

    def see(name: Any, arguments: Any, status: Any, result: Any, seconds: Any) -> Any:
        if status in (None, libvswitch.QEL_OK):
            seen.add(name)
        assert seconds >= 0

    with _calls.observed(see):
        for use in EVERYTHING:
            use()
        with raises(v.NotFound):
            v.Switch("worload").mtu
    assert seen == USED
    seen.clear()
    v.Switch("workload").mtu
    assert seen == set()


# ---- how they fail ---------------------------------------------------------------------------------------------------


@pytest.mark.parametrize("use", EVERYTHING, ids=lambda use: use.__name__)  # type: ignore[no-any-return]
def test_every_call_that_fails_reaches_the_caller(use: Any) -> None:
    names = told(lambda: calls_of(use))
    assert names
    for number, name in enumerate(n for n in names if n in WITH_STATUS):
        status = v.Status.FAILURE if number % 2 else v.Status.NO_RESOURCES
        outcome = told(lambda name=name, status=status: failure_of(use, name, status))
        assert outcome is not None, f"{name} failed, and nobody was told"
        kind, error_status, call, arguments, text = outcome
        assert (kind, error_status) == ("Failed", int(status)), outcome
        assert call == name and text.startswith(f"{name}("), outcome
        assert all(isinstance(key, str) for key in arguments)


def told(ask: Any) -> Any:
    """What a function gives in a child process with a host of its own."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            with os.fdopen(writer, "wb") as pipe:
                pickle.dump(ask(), pipe)
        finally:
            os._exit(0)
    os.close(writer)
    with os.fdopen(reader, "rb") as pipe:
        data = pipe.read()
    os.waitpid(child, 0)
    return pickle.loads(data)


def calls_of(use: Any) -> Any:
    names: dict[str, None] = {}
    with _calls.observed(lambda name, *rest: names.setdefault(name)):
        use()
    return list(names)


def failure_of(use: Any, name: Any, status: Any) -> Any:
    """What a caller sees when a call gives a status in place of its result."""
    _calls._functions[name] = (lambda *arguments: int(status), True)
    try:
        use()
    except v.Error as error:
        return type(error).__name__, error.status, error.call, error.arguments, str(error)
    return None


def test_the_tour_makes_every_call_with_a_status() -> None:
    names = set()
    for use in EVERYTHING:
        names |= set(told(lambda use=use: calls_of(use)))
    assert set(WITH_STATUS) <= names


@pytest.mark.parametrize("name", WITH_STATUS)
def test_every_status_is_its_exception(name: Any) -> None:
    _calls._asking.busy = True  # no hints, which would ask the host
    for status in v.Status:
        if status == libvswitch.QEL_OK:
            continue
        _calls._functions[name] = (lambda *arguments, status=status: [int(status), None], True)
        with raises(v.Error) as failed:
            _calls.call(name)
        error = failed.value
        assert type(error).__name__ == CLASS_OF.get(status.constant, "Failed")
        assert (error.status, error.name, error.call, error.path) == (status, status.constant, name, None)
        assert isinstance(error, libvswitch.VSwitchError)


def test_classes_of_python_that_errors_also_are() -> None:
    for name, kind in [
        ("NotFound", KeyError),
        ("BadParameter", ValueError),
        ("TimedOut", TimeoutError),
        ("NoMemory", MemoryError),
        ("DocumentError", ValueError),
    ]:
        assert issubclass(getattr(v, name), kind)


def test_an_unknown_status() -> None:
    _calls._functions["VSDVS_SetMTU"] = (lambda *arguments: 0x12345678, True)
    with raises(v.Failed) as failed:
        v.Switch("workload").mtu = 1500
    assert (failed.value.status, failed.value.name) == (0x12345678, None)
    assert str(failed.value) == "VSDVS_SetMTU(alias='workload', mtu=1500): unknown status 0x12345678"


def test_an_error_tells_everything_and_travels() -> None:
    port = v.Port(v.Switch("workload"), "10" + "x" * 20)
    with raises(v.NotFound) as failed:
        port.teaming = v.TeamingPolicy(["nic4"] * 2)
    error = failed.value
    assert error.arguments["policy"]["active"] == ["nic4", "nic4"]
    assert list(error.arguments) == ["alias", "dvport_id", "policy"]
    assert "policy={'active': ['nic4', 'nic4'], 'standby': [], 'load_balance...): QEL_NOT_FOUND: no port" in str(error)
    plain = error.to_dict()
    assert list(plain) == ["class", "status", "name", "call", "arguments", "hint", "path", "message"]
    assert (plain["class"], plain["message"], plain["name"]) == ("NotFound", str(error), "QEL_NOT_FOUND")
    copied = pickle.loads(pickle.dumps(error))
    assert (type(copied), copied.to_dict(), str(copied)) == (v.NotFound, plain, str(error))
    own = pickle.loads(pickle.dumps(v.DocumentError("a/b", "wrong")))
    assert (own.path, own.reason, str(own), own.status, own.name) == (
        "a/b",
        "wrong",
        "a/b: wrong",
        libvswitch.QEL_BAD_PARAM,
        "QEL_BAD_PARAM",
    )
    _calls._functions["VSQEL_GetRuntimeOptions"] = (lambda *arguments: libvswitch.QEL_BUSY, True)
    with raises(v.Busy) as failed:
        v.Host().runtime_options["IGMPVersion"]
    assert failed.value.arguments == {"types": ["IGMPVersion"], "count": 1}
    assert failed.value.hint == "another process holds the host"
    with raises(v.BadParameter) as failed:
        v.Switch("workload").properties.set("k", b"12345", owner="o" * 200)
    assert failed.value.arguments["data"] == "<5 bytes>"


def test_hints_are_asked_after_the_failure_only() -> None:
    names = []
    with _calls.observed(lambda name, *rest: names.append(name)):
        v.Switch("workload").mtu = 1500
        assert names == ["VSDVS_SetMTU"]
        with raises(v.NotFound):
            v.Switch("worload").mtu = 1500
    assert names[1] == "VSDVS_SetMTU" and len(names) > 3


def test_what_is_asked_for_a_hint_may_fail() -> None:
    for name in ("DVSState_SwitchFindByAlias", "DVSState_SwitchForEach"):

        def abort(*arguments: Any) -> Any:
            raise OSError("the state file is damaged")

        _calls._functions[name] = (abort, False)
    with raises(v.NotFound) as failed:
        v.Switch("worload").mtu
    assert (failed.value.hint, failed.value.name) == ("", "QEL_NOT_FOUND")


# ---- aborts, and memory ----------------------------------------------------------------------------------------------

TOOL = BUILD / "host" / "bin" / "vswitch-host"


@pytest.mark.same_process
@pytest.mark.parametrize("kind", ["OSError", "RuntimeError", "MemoryError", "ValueError"])
def test_aborts_pass_unchanged(tmp_path: Any, kind: Any) -> None:
    host = tmp_path / "host.db"
    subprocess.run([TOOL, "--host", host, "init"], check=True, capture_output=True)
    rule = ["--call", "VSDVS_GetMTU", "--exception", kind, "--message", "gone"]
    subprocess.run([TOOL, "--host", host, "fault", "add", "abort", *rule], check=True, capture_output=True)
    outcome = run_script(
        f"""
        import vswitch
        from vswitch._calls import observed
        seen = []
        with observed(lambda name, arguments, status, result, seconds: seen.append((name, status, result))):
            try:
                vswitch.Switch("workload").mtu
            except {kind} as error:
                assert type(error) is {kind} and str(error) == "gone" and not isinstance(error, vswitch.Error)
                assert seen == [("VSDVS_GetMTU", None, error)]
                print("aborted")
        """,
        VSWITCH_HOST=str(host),
    )
    assert (outcome.code, outcome.out) == (0, "aborted\n"), outcome


@pytest.mark.same_process
def test_memory_is_given_back_on_every_path(tmp_path: Any) -> None:
    trace = tmp_path / "trace"
    outcome = run_script(
        f"""
        import sys
        sys.path.insert(0, {str(pathlib.Path(__file__).parent)!r})
        import tour
        import vswitch as v
        from vswitch import _calls, _walk
        for use in tour.EVERYTHING[:-1]:
            use()
        for refused in (
            lambda: tour.WORK.ports["nope"],
            lambda: tour.WORK.mirrors["nope"],
            lambda: tour.WORK.teaming_policies["nope"],
            lambda: v.Switch("nope").info,
            lambda: v.PropertyList([("a", b"x"), ("b", None)]),
        ):
            try:
                refused()
            except (v.Error, TypeError):
                pass
            else:
                raise AssertionError(refused)
        # what is read of the memory fails
        def broken(*arguments):
            raise ZeroDivisionError
        libvswitch = sys.modules["libvswitch"]
        libvswitch.pointed_bytes = broken
        for reading in (
            lambda: tour.WORK.info,
            lambda: list(tour.WORK.mac_table),
            lambda: list(tour.WORK.mirrors),
            lambda: list(tour.WORK.uplinks),
            lambda: tour.WORK.ports["100"].vlan,
            lambda: tour.HOST.portsets,
            lambda: tour.HOST.image(),
            lambda: tour.WORK.ports.by_type(1),
        ):
            try:
                reading()
            except ZeroDivisionError:
                pass
            else:
                raise AssertionError(reading)
        """,
        VSWITCH_HOST_TRACE=str(trace),
    )
    assert outcome.code == 0, outcome
    import json

    lines = [json.loads(line) for line in trace.read_text().splitlines()]
    assert sum("released" in line for line in lines) > 50
    assert [line for line in lines if "never_released" in line or line.get("released") is False] == []
