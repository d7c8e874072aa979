"""MAC tables of switches, teams of uplinks, and ports."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

from vswitch import _walk
from vswitch._calls import Packed, call, pointed, take
from vswitch.enums import MacType
from vswitch.errors import AlreadyExists, NotFound
from vswitch.handles.setting import named
from vswitch.values.base import mac as mac_text
from vswitch.values.base import number_of, truth, whole_number
from vswitch.values.mac import ENTRY_SIZE, MacEntry, entries_of, numbers_in

__all__ = ["MacTable", "PortMacTable"]

_TYPE = number_of("MacType")
_HEAD = 8


class MacTable:
    """The addresses that a switch knows behind its ports or its uplinks; iteration gives MacEntry values, by type,
    address, VLAN and overlay network. Each use reads the table once."""

    __slots__ = ("_call", "_names")

    def __init__(self, call_name: str, *names: str) -> None:
        self._call = call_name
        self._names = names

    def _ports(self, data: bytes) -> dict[int, str]:
        """Identifiers of the ports that entries name, by number."""
        return _walk.identifiers(self._names[0], numbers_in(data))

    def _read(self, kind: int) -> tuple[int, bytes]:
        """The number of entries of all types, and the records of the wanted type."""

        def read(table: Any) -> tuple[int, bytes]:
            count = table.numEntries
            return table.totalEntries, pointed(table, _HEAD + count * ENTRY_SIZE)[_HEAD:]

        return take(read, self._call, *self._names, kind)

    def entries(self, type: MacType | int = MacType.ALL) -> tuple[MacEntry, ...]:  # noqa: A002 - the field's name
        """The entries of one type, or of all. NotFound, WrongState for a switch without a port set."""
        _, data = self._read(int(named("type", _TYPE.accept, type)))
        return entries_of(data, self._ports(data))

    def find(self, mac: str, *, vlan: int | None = None, vni: int | None = None) -> tuple[MacEntry, ...]:
        """The entries of an address, in one VLAN or overlay network where they are given."""
        wanted = named("mac", mac_text, mac)
        if vlan is not None:
            vlan = named("vlan", whole_number, vlan)
        if vni is not None:
            vni = named("vni", whole_number, vni)
        return tuple(
            entry
            for entry in self.entries()
            if entry.mac == wanted and vlan in (None, entry.vlan) and vni in (None, entry.vni)
        )

    @property
    def total(self) -> int:
        """The number of entries of all types."""
        return self._read(int(MacType.ALL))[0]

    def __iter__(self) -> Iterator[MacEntry]:
        return iter(self.entries())

    def __len__(self) -> int:
        return len(self._read(int(MacType.ALL))[1]) // ENTRY_SIZE

    def __repr__(self) -> str:
        return f"<MacTable of switch {self._names[0]!r}>"


class PortMacTable(MacTable):
    """The addresses that a switch knows behind one port, where entries can be added and removed by hand."""

    __slots__ = ()

    def _ports(self, data: bytes) -> dict[int, str]:
        return dict.fromkeys(numbers_in(data), self._names[1])

    def _entry(self, mac: str, vlan: int, vni: int, kind: int) -> Packed:
        entry = MacEntry(
            named("mac", mac_text, mac),
            kind,
            None,
            0,
            named("vlan", whole_number, vlan),
            named("vni", whole_number, vni),
        )
        return Packed("VSMACEntry", entry.to_bytes(), entry)

    def add(self, mac: str, *, vlan: int = 0, vni: int = 0, exist_ok: bool = False) -> None:
        """Adds an address in a VLAN and overlay network, until the next boot. AlreadyExists for one that is set at any
        port; with `exist_ok` only where it is another port. BadParameter, PermissionDenied, LimitExceeded."""
        named("exist_ok", truth, exist_ok)
        try:
            call("VSQEL_SetPortMACTable", *self._names, self._entry(mac, vlan, vni, MacType.USER))
        except AlreadyExists:
            if not exist_ok or not any(entry.type == MacType.USER for entry in self.find(mac, vlan=vlan, vni=vni)):
                raise

    def remove(
        self,
        mac: str,
        *,
        vlan: int = 0,
        vni: int = 0,
        type: MacType | int = MacType.USER,  # noqa: A002 - the field's name
        missing_ok: bool = False,
    ) -> bool:
        """Removes an address that was added by hand (`type` LEARNED: one that was learned; ALL: both); returns whether
        there was one. NotFound, BadParameter."""
        named("missing_ok", truth, missing_ok)
        kind = int(named("type", _TYPE.accept, type))
        try:
            call("VSQEL_ClearPortMACTable", *self._names, self._entry(mac, vlan, vni, kind))
        except NotFound:
            if missing_ok and _walk.has_port(*self._names):
                return False
            raise
        return True

    def __repr__(self) -> str:
        return f"<MacTable of port {self._names[1]!r} of switch {self._names[0]!r}>"
