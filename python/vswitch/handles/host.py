"""The host: where everything begins."""

from __future__ import annotations

from typing import Any


from vswitch import _walk
from vswitch._calls import Data, Packed, call, fill, take_bytes
from vswitch.enums import Origin
from vswitch.errors import NotSupported
from vswitch.handles.collection import WithSettings
from vswitch.handles.image import StateImage, image_bytes
from vswitch.handles.nic import Nics
from vswitch.handles.options import RuntimeOptions
from vswitch.handles.save_restore import SaveRestore, alias_of
from vswitch.handles.setting import Names, Raw, Setting, Ways, named, one_of
from vswitch.handles.switches import Switches
from vswitch.values.base import truth
from vswitch.values.mac import HostMacLearning

__all__ = ["Host"]


def _read_learning(_names: Names) -> HostMacLearning:
    return HostMacLearning.from_bytes(fill("VSMACLearningGlobalProps", "VSQEL_GetGlobalMACLearningProps"))


def _write_learning(_names: Names, settings: HostMacLearning) -> None:
    call("VSQEL_SetGlobalMACLearningProps", Packed("VSMACLearningGlobalProps", settings.to_bytes(), settings))


def _clear_learning(_names: Names) -> None:
    raise NotSupported("mac_learning: the library has no call that clears the settings of the host")


class _HostSetting(Setting[HostMacLearning, HostMacLearning]):
    """A setting of the host, which has one value: no property, and none that is volatile."""

    def stored(self, names: Names) -> HostMacLearning:
        return self.ways.read(names)

    def is_volatile(self, names: Names) -> bool:
        self.ways.read(names)
        return False

    def origin(self, names: Names) -> Origin:
        self.ways.read(names)
        return Origin.HOST


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
        "MAC learning of the switches without settings of their own: a HostMacLearning, kept over a boot. It has no `del`"
        " (NotSupported). BadParameter, LimitExceeded.",
        "",
        one_of(HostMacLearning),
        Ways(_read_learning, _write_learning, _clear_learning, _no_property),
        else_origin=Origin.HOST,
    )

    @property
    def switches(self) -> Switches:
        """Its switches."""
        return Switches()

    @property
    def portsets(self) -> tuple[str, ...]:
        """Names of the port sets, in the order of their switches."""
        return tuple(_walk.portsets())

    @property
    def nics(self) -> Nics:
        """The physical NICs behind uplink ports of connected switches."""
        return Nics()

    @property
    def runtime_options(self) -> RuntimeOptions:
        """Options for all switches, in effect until the next boot."""
        return RuntimeOptions()

    def image(self, *, persistent: bool = False) -> StateImage:
        """The state of all switches; `persistent`: of persistent switches and values only."""
        name = "DVSQEL_PersistentStateGet" if named("persistent", truth, persistent) else "DVSQEL_StateGet"
        return StateImage(take_bytes(name))

    def restore(self, image: StateImage | bytes, *, merge: bool = False) -> None:
        """Makes the state what an image says; switches that it does not have are removed. `merge`: only its persistent
        part, and other switches stay. Busy where a port with a client would go; BadImage, AlreadyExists."""
        data = image_bytes(image)
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
        """Steps of save and restore for some switches (Switch, or aliases). `dual_load`: both versions are loaded at once.
        `max_outage`: milliseconds, 0 for any. `enhanced`: switches of the versions QBR_*."""
        names = tuple(alias_of(switch) for switch in switches)
        return SaveRestore(names, dual_load=dual_load, max_outage=max_outage, enhanced=enhanced)

    def __repr__(self) -> str:
        return "<Host>"
