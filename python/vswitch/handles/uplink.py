"""Uplink ports of a switch."""

from __future__ import annotations

import struct
from collections.abc import Iterable
from typing import TYPE_CHECKING

from vswitch import _hints, _walk
from vswitch._calls import Data, Packed, call, take_bytes
from vswitch.enums import LinkState, PropertyKind
from vswitch.errors import AlreadyExists, Error, NotFound
from vswitch.handles.collection import Collection, Handle, text
from vswitch.handles.nic import Nic
from vswitch.handles.port import Port
from vswitch.handles.properties import _bits
from vswitch.handles.setting import named
from vswitch.values.base import number_of, several, slot, truth, whole_number, wrong_type

if TYPE_CHECKING:
    from vswitch.handles.switch import Switch

__all__ = ["Uplink", "UplinkData", "Uplinks"]

_STATE = number_of("LinkState")


class Uplink(Handle):
    """An uplink port of a switch: a port whose client is the way out. All uses raise NotFound where the switch has no
    such uplink."""

    __slots__ = ()

    def __init__(self, switch: Switch, name: str) -> None:
        """The uplink port `name` of a switch. Asks the host nothing."""
        from vswitch.handles.switch import Switch

        if not isinstance(switch, Switch):
            raise TypeError(f"switch: a Switch is wanted, not {switch!r}")
        self._names = (switch.alias, text("name", name))

    @property
    def switch(self) -> Switch:
        """Its switch."""
        from vswitch.handles.switch import Switch

        return Switch(self._names[0])

    @property
    def name(self) -> str:
        """Its name, 1 to 80 bytes."""
        return self._names[1]

    @property
    def exists(self) -> bool:
        """Whether the switch has it."""
        alias, name = self._names
        return _walk.switch_handle(alias) is not None and any(name == one for one, _ in _walk.uplinks(alias))

    @property
    def port(self) -> Port:
        """Its port, which has statistics, properties and a MAC table."""
        for name, id in _walk.uplinks(self._names[0]):
            if name == self.name:
                return Port(self.switch, id)
        raise NotFound(_hints.asked(_hints.no_uplink, *self._names))

    @property
    def nic(self) -> Nic | None:
        """The physical NIC behind it, None without one. WrongState where the switch has no port set."""
        number = self.port.number
        for name, port in _walk.nics(self._names[0]):
            if port == number:
                return Nic(name)
        return None

    @property
    def link(self) -> LinkState | int:
        """Whether its link is up; without a NIC it is down. WrongState where the switch has no port set."""
        return LinkState.of(call("VSQEL_GetUplinkLinkState", *self._names))

    @property
    def lacp_link(self) -> LinkState | int | None:
        """Whether LACP has it up; None where it is in no LAG. WrongState where the switch has no port set."""
        try:
            return LinkState.of(call("VSQEL_GetUplinkLACPLinkState", *self._names))
        except Error as error:
            if error.name == "QEL_NOT_SUPPORTED":
                return None
            raise

    def set_admin(self, state: LinkState | str) -> None:
        """Sets its NIC up or down ("up", "down") until the host boots. NotFound without a NIC, BadParameter."""
        wanted = named("state", LinkState.from_json if isinstance(state, str) else _STATE.accept, state)
        call("VSQEL_SetUplinkAdminLinkState", *self._names, int(wanted))

    @property
    def data(self) -> UplinkData:
        """Bytes that the host keeps with it, by kind."""
        return UplinkData(*self._names)

    def __repr__(self) -> str:
        return f"<Uplink {self.name!r} of switch {self._names[0]!r}>"


class UplinkData:
    """Bytes that the host keeps with an uplink port and gives no meaning: `uplink.data[7] = b"..."`. The keys are any
    numbers, which cannot be listed."""

    __slots__ = ("_names",)

    def __init__(self, alias: str, name: str) -> None:
        self._names = (alias, name)

    def __getitem__(self, kind: int) -> bytes:
        return take_bytes_of(self._names, named("kind", whole_number, kind))

    def __setitem__(self, kind: int, data: bytes) -> None:
        if not isinstance(data, (bytes, bytearray, memoryview)):
            raise wrong_type("data: bytes", data)
        number, kept = named("kind", whole_number, kind), bytes(data)
        call("DVSQEL_UplinkDataSet", *self._names, number, Data(kept), len(kept), _bits(PropertyKind.CONFIG))

    def __contains__(self, kind: object) -> bool:
        if not isinstance(kind, int) or isinstance(kind, bool):
            return False
        try:
            take_bytes_of(self._names, kind)
        except NotFound:
            if any(self._names[1] == name for name, _ in _walk.uplinks(self._names[0])):
                return False
            raise
        return True

    __iter__ = None  # the library cannot list the kinds

    def __repr__(self) -> str:
        return f"<data of uplink {self._names[1]!r} of switch {self._names[0]!r}>"


def take_bytes_of(names: tuple[str, ...], kind: int) -> bytes:
    """The data of one kind. NotFound."""
    return take_bytes("DVSQEL_UplinkDataGet", *names, kind)


class Uplinks(Collection[Uplink]):
    """The uplink ports of a switch by name, in their order."""

    __slots__ = ("_switch",)

    def __init__(self, switch: Switch) -> None:
        self._switch = switch

    def _all(self) -> dict[str, Uplink]:
        return {name: Uplink(self._switch, name) for name, _ in _walk.uplinks(self._switch.alias)}

    def _missing(self, name: str) -> str:
        return _hints.asked(_hints.no_uplink, self._switch.alias, name)

    def create(self, name: str, *, exist_ok: bool = False) -> Uplink:
        """Adds an uplink port at the end and returns it; the NIC of that name, if there is one, comes behind it.
        AlreadyExists, unless `exist_ok`; Busy where the NIC is behind another uplink; LimitExceeded, BadParameter."""
        uplink = Uplink(self._switch, name)
        try:
            call("VSDVS_AddSwitchUplinkPort", *uplink._names)
        except AlreadyExists:
            if not named("exist_ok", truth, exist_ok) or self._find(uplink.name) is None:
                raise
        return uplink

    def remove(self, name: str, *, missing_ok: bool = False) -> bool:
        """Removes an uplink port, and the port that was made for it; returns whether there was one. Busy where a
        teaming policy names it. NotFound."""
        names = (self._switch.alias, text("name", name))
        try:
            call("VSDVS_RemoveSwitchUplinkPort", *names)
        except NotFound:
            if named("missing_ok", truth, missing_ok) and self._find(name) is None:
                return False
            raise
        return True

    def set(self, names: Iterable[str | tuple[str, str]]) -> None:
        """Replaces all, in this order: names, or pairs of a name and the identifier of its port. An uplink port that
        stays keeps its port. Busy where a policy names one that would go, or a NIC is elsewhere; AlreadyExists for a
        name twice; LimitExceeded."""
        pairs = named("names", lambda given: several(given, _pair), names)
        listed = [name for name, _ in pairs]
        ids = [id for _, id in pairs]
        count = struct.pack("<I", len(pairs))
        call(
            "VSDVS_SetSwitchUplinkPorts",
            self._switch.alias,
            Packed("VSUplinkPorts", count + b"".join(slot(name, _walk.NAME_SLOT) for name in listed), list(listed)),
            Packed("VSUplinkPortIds", count + b"".join(slot(id, _walk.ID_SLOT) for id in ids), list(ids)),
        )

    def clear(self) -> None:
        """Removes all; that there are none is no error. Busy where a teaming policy names one."""
        call("VSDVS_ClearSwitchUplinkPorts", self._switch.alias)

    def __repr__(self) -> str:
        return f"<Uplinks of switch {self._switch.alias!r}>"


def _pair(given: object) -> tuple[str, str]:
    if isinstance(given, str):
        return text("name", given), ""
    pair = several(given, lambda one: text("name", one))
    if len(pair) != 2:
        raise ValueError(f"a name and the identifier of a port are wanted, not {given!r}")
    return pair[0], pair[1]
