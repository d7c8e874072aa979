"""Physical NICs behind uplink ports."""

from __future__ import annotations

from typing import TYPE_CHECKING

from vswitch import _walk
from vswitch._calls import call
from vswitch._similar import did_you_mean
from vswitch.errors import NotFound, WrongState
from vswitch.handles.collection import Collection, Handle, text

if TYPE_CHECKING:
    from vswitch.handles.port import Port
    from vswitch.handles.switch import Switch
    from vswitch.handles.uplink import Uplink
    from vswitch.values.link import LinkStatus

__all__ = ["Nic", "Nics"]


def _running() -> dict[str, list[tuple[str, int]]]:
    """NICs and numbers of their ports, by alias of the switch; switches without a port set are left out."""
    found = {}
    for alias in _walk.aliases():
        try:
            found[alias] = _walk.nics(alias)
        except (NotFound, WrongState):
            continue
    return found


class Nic(Handle):
    """A physical NIC behind an uplink port of a connected switch. All uses raise NotFound where there is no such
    NIC."""

    __slots__ = ()

    def __init__(self, name: str) -> None:
        """The NIC of a name. Asks the host nothing."""
        self._names = (text("name", name),)

    @property
    def name(self) -> str:
        """Its name, 1 to 31 bytes."""
        return self._names[0]

    def _place(self) -> tuple[str, int]:
        """The alias of its switch, and the number of its port."""
        running = _running()
        for alias, nics in running.items():
            for name, number in nics:
                if name == self.name:
                    return alias, number
        raise NotFound(_missing(self.name, [name for nics in running.values() for name, _ in nics]))

    @property
    def switch(self) -> Switch:
        """The switch whose uplink it is."""
        from vswitch.handles.switch import Switch

        return Switch(self._place()[0])

    @property
    def port(self) -> Port:
        """The port of its uplink."""
        from vswitch.handles.port import Port
        from vswitch.handles.switch import Switch

        alias, number = self._place()
        try:
            # What this names may be an uplink port of another switch: the number tells.
            found = call("VSQEL_GetUplinkDVPortID", self.name)
            if _walk.port_number(alias, found) == number:
                return Port(Switch(alias), found)
        except NotFound:
            pass
        return Switch(alias).ports.by_number(number)

    @property
    def uplink(self) -> Uplink:
        """The uplink port that it is behind."""
        from vswitch.handles.uplink import Uplink

        port = self.port
        for name, id in _walk.uplinks(port.switch.alias):
            if id == port.id:
                return Uplink(port.switch, name)
        raise NotFound(_missing(self.name, ()))

    @property
    def link(self) -> LinkStatus:
        """Its link: state, speed (Mbit/s), duplex mode."""
        return self.port.link

    def __repr__(self) -> str:
        return f"<Nic {self.name!r}>"


def _missing(name: str, known: list[str] | tuple[str, ...]) -> str:
    return f"no NIC {name!r}{did_you_mean(name, known)}"


class Nics(Collection[Nic]):
    """The physical NICs behind uplink ports of connected switches, by name; the library lists no others."""

    __slots__ = ()

    def _all(self) -> dict[str, Nic]:
        return {name: Nic(name) for nics in _running().values() for name, _ in nics}

    def _missing(self, name: str) -> str:
        return _missing(name, list(self._all()))

    def __repr__(self) -> str:
        return "<Nics>"
