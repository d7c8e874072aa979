"""The host: where everything begins."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping
from importlib import import_module
from typing import TYPE_CHECKING, Any

from vswitch import _walk, enums, handles, values
from vswitch._calls import Data, Packed, call, fill, take_bytes
from vswitch.errors import NotSupported
from vswitch.handles.collection import WithSettings
from vswitch.handles.setting import Names, Raw, Setting, Ways, named, one_of
from vswitch.values.kinds import truth

if TYPE_CHECKING:
    from pathlib import Path

    from vswitch.desired.apply import ApplyResult, Confirmation
    from vswitch.desired.plan import Plan
    from vswitch.enums import Origin
    from vswitch.handles.image import StateImage
    from vswitch.handles.nic import Nics
    from vswitch.handles.options import RuntimeOptions
    from vswitch.handles.save_restore import SaveRestore
    from vswitch.handles.switches import Switches
    from vswitch.topology import Topology
    from vswitch.values.mac import HostMacLearning
    from vswitch.watch import Watch

__all__ = ["Host"]


def _read_learning(_names: Names) -> HostMacLearning:
    return values.mac.HostMacLearning.from_bytes(fill("VSMACLearningGlobalProps", "VSQEL_GetGlobalMACLearningProps"))


def _write_learning(_names: Names, settings: HostMacLearning) -> None:
    call("VSQEL_SetGlobalMACLearningProps", Packed("VSMACLearningGlobalProps", settings.to_bytes(), settings))


def _clear_learning(_names: Names) -> None:
    raise NotSupported("mac_learning: the library has no call that clears the settings of the host")


class _HostSetting(Setting["HostMacLearning", "HostMacLearning"]):
    """A setting of the host, which has one value: no property, and none that is volatile."""

    def stored(self, names: Names) -> HostMacLearning:
        return self.ways.read(names)

    def is_volatile(self, names: Names) -> bool:
        self.ways.read(names)
        return False

    def origin(self, names: Names) -> Origin:
        self.ways.read(names)
        return enums.Origin.HOST


def _no_property(_raw: Raw) -> HostMacLearning:
    raise NotSupported("the settings of the host are no property")


class Host(WithSettings):
    """The host that is in use: that of this process's environment.

    `Host() == Host()`; making one asks nothing. `host.switches` leads to everything on it.
    """

    __slots__ = ()

    def __init__(self) -> None:
        """The host that is in use."""
        self._names = ()

    mac_learning = _HostSetting(
        "MAC learning of the switches without settings of their own: a HostMacLearning, kept over a boot. It"
        " has no `del`"
        " (NotSupported). BadParameter, LimitExceeded.",
        "",
        one_of("mac.HostMacLearning"),
        Ways(_read_learning, _write_learning, _clear_learning, _no_property),
        else_origin="HOST",
    )

    @property
    def switches(self) -> Switches:
        """Its switches."""
        return handles.switches.Switches()

    @property
    def portsets(self) -> tuple[str, ...]:
        """Names of the port sets, in the order of their switches."""
        return tuple(_walk.portsets())

    @property
    def nics(self) -> Nics:
        """The physical NICs behind uplink ports of connected switches."""
        return handles.nic.Nics()

    @property
    def runtime_options(self) -> RuntimeOptions:
        """Options for all switches, in effect until the next boot."""
        return handles.options.RuntimeOptions()

    def image(self, *, persistent: bool = False) -> StateImage:
        """The state of all switches; `persistent`: of persistent switches and values only."""
        name = "DVSQEL_PersistentStateGet" if named("persistent", truth, persistent) else "DVSQEL_StateGet"
        return handles.image.StateImage(take_bytes(name))

    def restore(self, image: StateImage | bytes, *, merge: bool = False) -> None:
        """Makes the state what an image says; switches that it does not have are removed. `merge`: only its persistent
        part, and other switches stay. Busy where a port with a client would go; BadImage, AlreadyExists."""
        data = handles.image.image_bytes(image)
        name = "DVSState_ConfigDeserialize" if named("merge", truth, merge) else "DVSQEL_StateInit"
        call(name, Data(data), len(data))

    def reset(self) -> None:
        """Removes all switches; of those with clients the ports of these stay."""
        call("DVSState_ConfigReset")

    def reload(self) -> None:
        """Goes back to what is stored: volatile values and switches that are not persistent are gone. Busy."""
        call("DVSLoadConfig")

    def sanitize(self) -> None:
        """Removes what is left of ports that are gone, and values that their rules no longer admit."""
        call("DVSQEL_StateSanitize")

    def release_handles(self) -> None:
        """Releases the memory that the library holds for its own handles. The state stays."""
        call("DVSQEL_StateCleanup")

    def save_restore(
        self, *switches: Any, dual_load: bool = False, max_outage: int = 0, enhanced: bool = False
    ) -> SaveRestore:
        """Steps of save and restore for some switches (Switch, or aliases). `dual_load`: both versions are loaded at
        once. `max_outage`: milliseconds, 0 for any. `enhanced`: switches of the versions QBR_*."""
        names = tuple(handles.save_restore.alias_of(switch) for switch in switches)
        return handles.save_restore.SaveRestore(names, dual_load=dual_load, max_outage=max_outage, enhanced=enhanced)

    # ---- desired state -----------------------------------------------------------------------------------------------

    def export(self, *, observed: bool = False, only: Iterable[str] | None = None) -> dict[str, Any]:
        """What is stored, as a desired-state document: of the switches with the aliases `only` (NotFound), or of all
        and the host itself. `observed`: with what runs, which plans ignore."""
        made: dict[str, Any] = _desired("export").export(observed=observed, only=only)
        return made

    def plan(self, desired: Mapping[str, Any] | Path | str, *, exact: bool | None = None) -> Plan:
        """What this host lacks to be as a document says: a dict, a path, or a text of YAML or JSON. Changes nothing.
        `exact`: goes before what the document's collections say. DocumentError for a document that is wrong, Busy and
        others for one that cannot be reached, with the path in the document."""
        made: Plan = _desired("difference").plan(desired, exact=exact)
        return made

    @property
    def pending(self) -> Confirmation | None:
        """The apply that waits to be confirmed or was interrupted; None without one, and for a host in memory."""
        found: Confirmation | None = _desired("apply").pending()
        return found

    def confirm(self, id: str | None = None) -> ApplyResult:  # noqa: A002 - the name in the journal
        """Keeps the changes that wait to be confirmed. NotFound if none do, or not those of `id`; TimedOut once they
        are being reverted."""
        result: ApplyResult = _desired("apply").confirm(id)
        return result

    def revert(self, id: str | None = None) -> ApplyResult:  # noqa: A002 - the name in the journal
        """Takes the changes back that wait to be confirmed, or that an interrupted apply left. NotFound if there are
        none, or not those of `id`; ApplyError with what could not be taken back."""
        result: ApplyResult = _desired("apply").revert(id)
        return result

    def watch(
        self, *paths: str, interval: float = 1.0, timeout: float | None = None, observed: bool = True
    ) -> Watch:
        """An iterator of what changes below `paths`, or anywhere, looked at each `interval` (0.05 to 3600 seconds, else
        ValueError); it ends after `timeout` seconds."""
        made: Watch = import_module("vswitch.watch").Watch(paths, interval, timeout, observed)
        return made

    def wait_until(
        self, condition: str | Callable[[Host], Any], *, timeout: float = 30.0, interval: float = 0.2
    ) -> Any:
        """Waits for a condition: a callable of the host, whose first true result is returned, or a text `PATH OP
        [VALUE]` such as "switches/lab/observed/uplinks/nic4/link == up", for which the value at the path is. TimedOut
        after `timeout` seconds, ValueError for a text that is no condition."""
        return import_module("vswitch.watch").wait_until(self, condition, timeout, interval)

    def topology(self, *, observed: bool = True) -> Topology:
        """The switches with their uplinks, NICs, LAGs, ports and clients as a picture."""
        made: Topology = import_module("vswitch.topology").topology(observed=observed)
        return made

    def __repr__(self) -> str:
        return "<Host>"


def _desired(name: str) -> Any:
    """A module of the layer above, which is loaded when it is first used."""
    return import_module(f"vswitch.desired.{name}")
