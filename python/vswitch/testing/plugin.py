"""The pytest plugin: a fresh host and a log of calls for each test, and what a failing test has changed."""

from __future__ import annotations

import os
import secrets
import shutil
import tempfile
from collections.abc import Iterator, Mapping
from contextlib import contextmanager
from pathlib import Path
from typing import TYPE_CHECKING, Any

import pytest

if TYPE_CHECKING:
    from vswitch.simulated import SimulatedHost
    from vswitch.testing.calls import CallLog
    from vswitch.testing.host import LabHost

NAME = "vswitch.testing.plugin"
MARKER = "vswitch_host"
_APPLIES = "VSWITCH_APPLY_DIR"

_host_of = pytest.StashKey["LabHost"]()
_failed = pytest.StashKey[bool]()
_booted = pytest.StashKey[dict[bytes | None, "SimulatedHost"]]()


class _Installed:
    """What the entry point names. A run may name the plugin itself as well (`-p vswitch.testing.plugin`)."""

    def pytest_configure(self, config: pytest.Config) -> None:
        """Registers the plugin, once."""
        from importlib import import_module

        if not config.pluginmanager.has_plugin(NAME):
            config.pluginmanager.register(import_module(NAME), NAME)


installed = _Installed()


def pytest_configure(config: pytest.Config) -> None:
    """Says what the marker is for."""
    config.addinivalue_line(
        "markers",
        f"{MARKER}(description=None, state=None, file=False): the host that the fixture vswitch_host gives: booted"
        " from a boot description (dict or path), with a desired-state document applied, in a state file of the"
        " test's folder",
    )


def pytest_unconfigure(config: pytest.Config) -> None:
    """Gives the booted hosts back."""
    for host in config.stash.get(_booted, {}).values():
        host.close()


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]
def pytest_runtest_makereport(item: pytest.Item, call: pytest.CallInfo[None]) -> Iterator[None]:
    """Adds to the report of a failing test what it has changed on its host."""
    outcome: Any = yield
    report = outcome.get_result()
    host = item.stash.get(_host_of, None)
    if report.when != "call" or not report.failed or host is None:
        return
    item.stash[_failed] = True
    try:
        text = host.diff() or "nothing"
    except Exception as error:  # noqa: BLE001 - the report is about the test's own failure
        text = f"not known: {type(error).__name__}: {error}"
    report.sections.append(("What the test has changed on its host", text))


# ---- fixtures --------------------------------------------------------------------------------------------------------


class _Options:
    """What the marker says."""

    def __init__(
        self, *, description: Mapping[str, Any] | str | Path | None = None, state: Any = None, file: bool = False
    ) -> None:
        self.description, self.state, self.file = description, state, file

    @classmethod
    def of(cls, item: pytest.Item) -> _Options:
        """Those of a test. A path is looked for beside the file of the test first."""
        marker = item.get_closest_marker(MARKER)
        if marker is None:
            return cls()
        try:
            options = cls(*marker.args, **marker.kwargs)
        except TypeError as error:
            pytest.fail(f"the marker {MARKER}: {error}", pytrace=False)
        if isinstance(options.description, (str, os.PathLike)):
            options.description = _beside(item, Path(options.description))
        if isinstance(options.state, os.PathLike):
            options.state = _beside(item, Path(options.state))
        return options


def _beside(item: pytest.Item, path: Path) -> Path:
    place = item.path.parent / path
    return place if place.exists() else path


def _boot(config: pytest.Config, description: Mapping[str, Any] | Path | None) -> SimulatedHost:
    """The host of a description, booted when it is first wanted in this process."""
    from vswitch.simulated import SimulatedHost
    from vswitch.simulated._arguments import boot_text

    hosts: dict[bytes | None, SimulatedHost] = config.stash.get(_booted, {})
    config.stash[_booted] = hosts
    key = boot_text(description)
    if key not in hosts:
        hosts[key] = SimulatedHost(boot=description)
    return hosts[key]


def _begun(booted: SimulatedHost, state: Any) -> SimulatedHost:
    """A copy of a booted host, with a document applied."""
    from vswitch import Host

    copy = booted.fork()
    if state is not None:
        try:
            with copy:
                Host().plan(state).apply()
        except BaseException:
            copy.close()
            raise
    return copy


@pytest.fixture
def vswitch_host(request: pytest.FixtureRequest) -> Iterator[LabHost]:
    """A fresh simulated host in use, with the objects of vswitch over it: a LabHost. The marker `vswitch_host` says
    what it boots from."""
    missing = _missing()
    if missing:
        pytest.fail(f"the simulated host is needed (package vswitchpy-host): {missing}", pytrace=False)
    from vswitch.simulated import SimulatedHost
    from vswitch.testing.host import LabHost

    options = _Options.of(request.node)
    booted = _boot(request.config, options.description)  # type: ignore[arg-type]
    with _apply_folder(request, options.file) as folder:
        simulated = _begun(booted, options.state)
        if options.file:
            state_file = folder / "host.db"
            simulated.snapshot(state_file)
            simulated.close()
            simulated = SimulatedHost(state_file)
        path = simulated.path if options.file else ""
        simulated.use()
        host = LabHost(simulated, lambda: _begun(booted, options.state))
        request.node.stash[_host_of] = host
        try:
            yield host
        finally:
            del request.node.stash[_host_of]
            host.close()
            if path:
                _remove(path, keep_state=request.node.stash.get(_failed, False))


def _missing() -> str:
    """Why there are no simulated hosts in this process; empty if there are."""
    try:
        # In this order: where the library is another, a real host's, they are refused.
        import libvswitch  # noqa: F401
        import vswitch.simulated  # noqa: F401
    except ImportError as error:
        return str(error)
    return ""


@contextmanager
def _apply_folder(request: pytest.FixtureRequest, file: bool) -> Iterator[Path]:
    """Where the journals of applies of a test stand: in its folder if it has one, else in one that is made when there
    is a journal, and removed."""
    own = not (file or "tmp_path" in request.fixturenames)
    if own:
        folder = Path(tempfile.gettempdir(), f"vswitch-test-{secrets.token_hex(8)}")
    else:
        folder = request.getfixturevalue("tmp_path")
    before = os.environ.get(_APPLIES)
    os.environ[_APPLIES] = str(folder)
    try:
        yield folder
    finally:
        if before is None:
            os.environ.pop(_APPLIES, None)
        else:
            os.environ[_APPLIES] = before
        if own:
            shutil.rmtree(folder, ignore_errors=True)


def _remove(path: str, keep_state: bool) -> None:
    """Removes what a host in a file leaves. After a failure the state stays to be looked at; a journal never does, as
    the process that guards a change which nobody has confirmed ends with it."""
    from vswitch.desired.journal import Journal

    applies = Journal(path)
    for file in (applies.path, applies.guard, applies.last, applies.lock):
        file.unlink(missing_ok=True)
    for end in () if keep_state else ("", "-wal", "-shm"):
        Path(path + end).unlink(missing_ok=True)


@pytest.fixture
def vswitch_call_log(request: pytest.FixtureRequest) -> Iterator[CallLog]:
    """What the test calls through vswitch: a CallLog, which grows."""
    from vswitch import _calls
    from vswitch.testing.calls import CallLog

    if "vswitch_host" in request.fixturenames:
        request.getfixturevalue("vswitch_host")  # what makes the host ready is not the test's
    log = CallLog()
    with _calls.observed(log.note):
        yield log
