"""Bulk reading: what the for-each calls and lists give in one walk, instead of a call for each thing."""

from __future__ import annotations

from collections.abc import Callable, Iterable
from struct import unpack_from
from typing import Any, NamedTuple, TypeVar

import libvswitch

from vswitch._calls import OK, call, pointed, status_of, take, take_pointer
from vswitch.errors import NotFound

T = TypeVar("T")

NAME_SLOT, ID_SLOT = 81, 48
PORT_DATA, PORTSET_SLOT, NIC_ENTRY = 52, 128, 36


class Written(NamedTuple):
    """A property that was written: its kinds (bits) and the value in effect."""

    kinds: int
    data: bytes


def text(data: bytes) -> str:
    """The text up to its terminator."""
    return data.partition(b"\0")[0].decode(errors="surrogateescape")


def _walk(name: str, visit: Callable[[Any], T], *handle: Any) -> list[T]:
    """What `visit` gives for each thing that a for-each call visits."""
    found: list[T] = []
    visitor = libvswitch.callback(lambda item: found.append(visit(item)))
    call(name, *handle, visitor, None)
    visitor.reraise()
    return found


def _text_by(name: str) -> Callable[[Any], str | None]:
    """What the call `name` gives for a handle; None for one that went."""

    def read(handle: Any) -> str | None:
        given: str | None = call(name, handle)
        return given

    return read


class _Items:
    """Reads the properties of one thing after the other, with one visitor and one cell for all of them."""

    def __init__(self) -> None:
        self._place = libvswitch.cell("void **")
        self._visitor = libvswitch.callback(self._visit)
        self._found: dict[str, Written] = {}

    def _visit(self, item: Any) -> None:
        size = call("DVSData_Data", item, self._place)
        data = pointed(self._place.value, size) if size else b""
        self._found[call("DVSData_Name", item) or ""] = Written(call("DVSData_PropType", item), data)

    def of(self, name: str, handle: Any) -> dict[str, Written]:
        """What the for-each call `name` visits of a handle, by name. The items go with the walk."""
        found: dict[str, Written] = {}
        self._found = found
        call(name, handle, self._visitor, None)
        self._visitor.reraise()
        return found


# ---- switches --------------------------------------------------------------------------------------------------------


def aliases() -> list[str]:
    """Aliases of all switches, in the library's order, also of those without a port set."""
    return [name for name in _walk("DVSState_SwitchForEach", _text_by("DVS_SwitchName")) if name is not None]


def portsets() -> list[str]:
    """Names of the port sets of this host."""

    def read(names: Any) -> list[str]:
        (count,) = unpack_from("<i", pointed(names, 4))
        data = pointed(names, 8 + count * PORTSET_SLOT)
        return [text(data[start : start + PORTSET_SLOT]) for start in range(8, 8 + count * PORTSET_SLOT, PORTSET_SLOT)]

    return take_pointer(read, "VSList **", "VSQEL_GetSwitches", libvswitch.VS_LIST_PS)


def nics(alias: str) -> list[tuple[str, int]]:
    """Names of the NICs behind the uplink ports of a running switch, and numbers of these ports, in order."""

    def read(uplinks: Any) -> list[tuple[str, int]]:
        _, count = unpack_from("<II", pointed(uplinks, 8))
        data = pointed(uplinks, 8 + count * NIC_ENTRY)
        return [
            (text(data[start : start + 32]), unpack_from("<I", data, start + 32)[0])
            for start in range(8, 8 + count * NIC_ENTRY, NIC_ENTRY)
        ]

    return take(read, "VSQEL_GetUplinks", alias)


def switch_handle(alias: str) -> Any:
    """The library's handle of a switch; None if there is none."""
    return call("DVSState_SwitchFindByAlias", alias)


def known_switch(alias: str) -> Any:
    """The library's handle of a switch. NotFound, with what was meant perhaps."""
    handle = switch_handle(alias)
    if handle is None:
        from vswitch import _hints

        raise NotFound(_hints.asked(_hints.no_switch, alias))
    return handle


# ---- ports -----------------------------------------------------------------------------------------------------------


def all_ports(alias: str) -> list[str]:
    """Identifiers of all ports of a switch by their numbers, uplink ports and zombies included. NotFound."""
    found = _walk("DVSState_PortForEach", _text_by("DVS_PortId"), known_switch(alias))
    return [port for port in found if port is not None]


def uplinks(alias: str) -> list[tuple[str, str]]:
    """Names of the uplink ports of a switch and identifiers of their ports, in order."""

    def read(names: Any, ids: Any) -> list[tuple[str, str]]:
        count = names.nUplinkPorts
        all_names, all_ids = pointed(names, 4 + count * NAME_SLOT), pointed(ids, 4 + count * ID_SLOT)
        return [
            (
                text(all_names[4 + i * NAME_SLOT : 4 + (i + 1) * NAME_SLOT]),
                text(all_ids[4 + i * ID_SLOT : 4 + (i + 1) * ID_SLOT]),
            )
            for i in range(count)
        ]

    return take(read, "VSDVS_GetSwitchUplinkPorts", alias)


def ports_of_type(alias: str, kind: int) -> list[str]:
    """Identifiers of the ports of one type, by their numbers."""

    def read(ports: Any) -> list[str]:
        (count,) = unpack_from("<i", pointed(ports, 4))
        data = pointed(ports, 8 + count * PORT_DATA)
        return [text(data[start : start + ID_SLOT]) for start in range(8, 8 + count * PORT_DATA, PORT_DATA)]

    return take_pointer(read, "DVPortList **", "DVSQEL_SwitchPortList", alias, after=(int(kind),))


def zombies(alias: str) -> set[str]:
    """Identifiers of the ports that were removed while their client was connected."""
    return set(ports_of_type(alias, libvswitch.DVSPORT_TYPE_ZOMBIE))


def ports(alias: str) -> list[str]:
    """Identifiers of the ports of a switch by their numbers, without uplink ports and zombies."""
    everything = all_ports(alias)
    others = {port for _, port in uplinks(alias)} | zombies(alias)
    return [port for port in everything if port not in others]


def has_port(alias: str, port: str) -> bool:
    """Whether a switch has a port of an identifier, of whatever kind. NotFound where there is no such switch."""
    status = status_of("DVSQEL_PortFind", alias, port)
    if status == OK:
        return True
    known_switch(alias)
    if status == libvswitch.QEL_NOT_FOUND:
        return False
    call("DVSQEL_PortFind", alias, port)  # fails, and says why
    return True


def port_number(alias: str, port: str) -> int:
    """The number of a port."""
    number: int = call("VSDVS_DvPortIDToPortID", alias, port)
    return number & 0xFFFFFFFF


def identifiers(alias: str, numbers: Iterable[int]) -> dict[int, str]:
    """Identifiers of ports by their numbers; numbers that no port has are left out. Ports are listed by their numbers,
    so each number is found by halving, with the numbers that are known already."""
    wanted = sorted(set(numbers))
    if not wanted:
        return {}
    listed = all_ports(alias)
    known: dict[int, int] = {}

    def number_at(index: int) -> int:
        if index not in known:
            known[index] = port_number(alias, listed[index])
        return known[index]

    found: dict[int, str] = {}
    first = 0
    for number in wanted:
        low, high = first, len(listed)
        while low < high:
            middle = (low + high) // 2
            try:
                here = number_at(middle)
            except NotFound:  # went meanwhile
                del listed[middle]
                known = {}
                high = min(high - 1, len(listed))
                continue
            if here < number:
                low = middle + 1
            else:
                high = middle
        first = low
        if low < len(listed) and number_at(low) == number:
            found[number] = listed[low]
    return found


def by_number(name: str, alias: str, size: int) -> list[tuple[int, bytes]]:
    """The records that a call gives for the ports of a running switch, each behind the number of its port."""

    def read(table: Any) -> list[tuple[int, bytes]]:
        data = pointed(table, 8 + table.numEntries * size)
        places = range(8, len(data), size)
        return [(unpack_from("<I", data, place)[0], data[place + 4 : place + size]) for place in places]

    return take(read, name, alias)


# ---- properties ------------------------------------------------------------------------------------------------------


def switch_properties(alias: str) -> dict[str, Written]:
    """What was written for a switch on all its hosts, by name. NotFound."""
    return _Items().of("DVSState_GlobalPropForEach", known_switch(alias))


def host_properties(alias: str) -> dict[str, Written]:
    """What was written for a switch on this host, by name. NotFound."""
    return _Items().of("DVSState_HostPropForEach", known_switch(alias))


def port_properties(alias: str, port: str) -> dict[str, Written]:
    """What was written for a port, by name. NotFound."""
    handle = call("DVSState_PortFind", alias, port)
    if handle is None:
        from vswitch import _hints

        known_switch(alias)
        raise NotFound(_hints.asked(_hints.no_port, alias, port))
    return _Items().of("DVSState_PortDataForEach", handle)


def properties_of_ports(alias: str) -> dict[str, dict[str, Written]]:
    """What was written for each port of a switch, uplink ports and zombies included, by their numbers: one walk."""
    items = _Items()

    def port(handle: Any) -> tuple[str, dict[str, Written]]:
        return call("DVS_PortId", handle) or "", items.of("DVSState_PortDataForEach", handle)

    return dict(_walk("DVSState_PortForEach", port, known_switch(alias)))
