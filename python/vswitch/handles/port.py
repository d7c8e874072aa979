"""Ports of a switch."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import libvswitch

from vswitch import _walk, enums, handles, values
from vswitch._calls import Data, call, fill, pointed, take, take_bytes, take_pointer
from vswitch.errors import AlreadyExists, Busy, Error, NotFound, NotSupported
from vswitch.handles.collection import Collection, text
from vswitch.handles.port_settings import PortSettings
from vswitch.handles.setting import is_on, named, read_raw, write_raw
from vswitch.values.codecs import number_bytes
from vswitch.values.kinds import ip, ip_text, number_of, plain_text, truth, whole_number

if TYPE_CHECKING:
    from vswitch.enums import MulticastMode, PortType
    from vswitch.handles.image import StateImage
    from vswitch.handles.mac_table import PortMacTable
    from vswitch.handles.mirrors import Mirrors
    from vswitch.handles.properties import Properties, PropertyList
    from vswitch.handles.switch import Switch
    from vswitch.values.link import LinkStatus, PortStatus
    from vswitch.values.mac import MacStatistics, StaticEntry
    from vswitch.values.multicast import MulticastGroup
    from vswitch.values.statistics import Statistics

__all__ = ["Port", "Ports"]

_TYPE, _MODE = number_of("PortType"), number_of("MulticastMode")


def static_entries(name: str, alias: str, *names: str) -> tuple[StaticEntry, ...]:
    """The static addresses that a call gives, with identifiers of their ports."""

    size = values.mac.STATIC_SIZE

    def read(table: Any) -> list[bytes]:
        data = pointed(table, 8 + table.numEntries * size)
        return [data[place : place + size] for place in range(8, len(data), size)]

    records = take(read, name, alias, *names)
    found = [values.mac.StaticEntry.from_bytes(one) for one in records]
    ports = _walk.identifiers(alias, {entry.number for entry in found})
    return tuple(entry.replace(port=ports.get(entry.number)) for entry in found)


class Port(PortSettings):
    """A port of a switch. Its settings are read, written and deleted as attributes; beside them stand the views
    `origin`, `stored` and `is_volatile`. All uses raise NotFound where the switch has no such port."""

    __slots__ = ()

    def __init__(self, switch: Switch, id: str) -> None:  # noqa: A002 - the field's name
        """The port `id` of a switch. Asks the host nothing."""
        if not isinstance(switch, handles.switch.Switch):
            raise TypeError(f"switch: a Switch is wanted, not {switch!r}")
        self._names = (switch.alias, text("id", id))

    @property
    def switch(self) -> Switch:
        """Its switch."""
        return handles.switch.Switch(self._names[0])

    @property
    def id(self) -> str:
        """Its identifier, 1 to 47 bytes."""
        return self._names[1]

    @property
    def exists(self) -> bool:
        """Whether the switch has it, as a port or an uplink port."""
        there = is_on(call("DVPortExist", *self._names))
        return there and self.id not in _walk.zombies(self._names[0])

    @property
    def number(self) -> int:
        """Its number, 1 to 4294967295, unique on the host."""
        return _walk.port_number(*self._names)

    def _raw(self, constant: str) -> bytes:
        return read_raw(self._names, getattr(libvswitch, constant))

    @property
    def type(self) -> PortType | int:
        """What kind of port it is."""
        return enums.PortType.of(int.from_bytes(self._raw("QEL_HNQPROP_PORT_TYPE"), "little"))

    @property
    def status(self) -> PortStatus:
        """Its state: flags, number, client."""
        return values.link.PortStatus.from_bytes(self._raw("QEL_HNQPROP_PORT_STATUS"))

    @property
    def link(self) -> LinkStatus:
        """Its link: state, speed (Mbit/s), duplex mode."""
        return values.link.LinkStatus.from_bytes(self._raw("QEL_HNQPROP_PORT_LINK_STATUS"))

    @property
    def client(self) -> str | None:
        """The name of its client, None without one."""
        status = self.status
        return status.client if status.in_use else None

    @property
    def external_id(self) -> str | None:
        """The identifier by which another party knows it. NotSupported where the form of images is not known."""
        image = self.image()
        if image.content is None:
            raise NotSupported("the form of images is not known, and nothing else tells the external identifier")
        return image.document().get("external_id") or None

    @property
    def uplink_hint(self) -> str | None:
        """The NIC (or the uplink port without one) that teaming chooses for it now; None where none is fit.
        BadParameter for an uplink port."""
        try:
            found = fill("qel_Name", "VSQEL_PortGetTeamUplinkHint", self.number)
        except Error as error:
            if error.name == "QEL_ENETDOWN":
                return None
            raise
        return _walk.text(found)

    @property
    def teaming_policy_in_force(self) -> str | None:
        """The name of the named teaming policy that it has chosen, while the switch has such a policy."""
        return call("VSQEL_GetPortLSTeamingPolicyName", self.number) or None

    @property
    def statistics(self) -> Statistics:
        """Its packets and bytes."""
        return values.statistics.Statistics.from_bytes(self._raw("QEL_HNQPROP_PORT_STATISTICS"))

    @property
    def mac_statistics(self) -> MacStatistics:
        """Its counters of MAC learning. WrongState where the switch has no port set."""
        data = fill("VSPMACLearningStats", "VSQEL_GetPortMACLearningStats", *self._names)
        return values.mac.MacStatistics.from_bytes(data)

    @property
    def mac_table(self) -> PortMacTable:
        """The addresses behind it."""
        return handles.mac_table.PortMacTable("VSQEL_GetPortMACTable", *self._names)

    @property
    def static_entries(self) -> tuple[StaticEntry, ...]:
        """The static addresses behind it. WrongState where the switch has no port set."""
        return static_entries("VSQEL_GetPortStaticLectx", *self._names)

    @property
    def mirrors(self) -> Mirrors:
        """Its mirror sessions."""
        return handles.mirrors.Mirrors(*self._names)

    @property
    def properties(self) -> Properties:
        """Its properties."""
        return handles.properties.Properties(enums.Scope.PORT, *self._names)

    def remove(self, *, force: bool = False, missing_ok: bool = False) -> bool:
        """As `switch.ports.remove`."""
        return self.switch.ports.remove(self.id, force=force, missing_ok=missing_ok)

    def multicast_filters(self, kind: MulticastMode) -> tuple[str, ...]:
        """What it receives by multicast addresses of one kind: LEGACY (MACs), IGMP (IPv4), MLD (IPv6). BadParameter for
        another kind, WrongState where the switch has no port set."""
        from ipaddress import ip_address

        mode = int(named("kind", _MODE.accept, kind))
        size = {int(enums.MulticastMode.LEGACY): 6, int(enums.MulticastMode.IGMP): 4}.get(mode, 16)

        def read(table: Any) -> tuple[str, ...]:
            data = pointed(table, 8 + table.numEntries * size)
            entries = [data[place : place + size] for place in range(8, len(data), size)]
            return tuple(one.hex(":") if size == 6 else ip_text(ip_address(one)) for one in entries)

        return take(read, "VSQEL_GetMcastFilters", self._names[0], self.number, mode)

    def multicast_group(self, address: str) -> MulticastGroup:
        """A group that its client has joined, by its IPv4 or IPv6 address. NotFound where it has not."""
        from ipaddress import ip_address

        group = named("address", ip, address)
        mode = enums.MulticastMode.MLD if ":" in group else enums.MulticastMode.IGMP
        multicast = values.multicast

        def read(record: Any) -> MulticastGroup:
            data = pointed(record, multicast.group_size(pointed(record, multicast.GROUP_HEAD), group))
            return multicast.MulticastGroup.from_bytes(data, group)

        packed = ip_address(group).packed
        return take(read, "VSQEL_GetMcastFilterStats", self._names[0], self.number, int(mode), packed)

    def image(self, *, persistent: bool = False, version: int = 0) -> StateImage:
        """Its state as an image. `persistent`: of persistent values only; then `version` is the earliest version of a
        switch that may take it (0: that of its switch), else ValueError."""
        version = named("version", whole_number, version)
        if named("persistent", truth, persistent):
            return handles.image.StateImage(take_bytes("DVSQEL_PersistentPortStateGet", *self._names, version))
        if version:
            raise ValueError("version: only of a persistent image")
        return handles.image.StateImage(take_bytes("DVSQEL_PortStateGet", *self._names))

    def block(self, world: int) -> None:
        """Blocks it for a world while the switch is in save and restore. WrongState, Busy."""
        call("VSQEL_RTMPortOp", named("world", whole_number, world), self.number, 1)

    def unblock(self, world: int) -> None:
        """Unblocks it. PermissionDenied where another world has blocked it."""
        call("VSQEL_RTMPortOp", named("world", whole_number, world), self.number, 0)

    def __repr__(self) -> str:
        return f"<Port {self.id!r} of switch {self._names[0]!r}>"


class Ports(Collection[Port]):
    """The ports of a switch by identifier, by their numbers, without uplink ports and zombies."""

    __slots__ = ("_switch",)

    def __init__(self, switch: Switch) -> None:
        self._switch = switch

    def _all(self) -> dict[str, Port]:
        return {id: Port(self._switch, id) for id in _walk.ports(self._switch.alias)}

    def _find(self, name: str) -> Port | None:
        alias = self._switch.alias
        if not _walk.has_port(alias, name):
            return None
        if any(name == port for _, port in _walk.uplinks(alias)) or name in _walk.zombies(alias):
            return None
        return Port(self._switch, name)

    def _missing(self, name: str) -> str:
        from vswitch import _hints

        return _hints.asked(_hints.no_port, self._switch.alias, name)

    def create(
        self,
        id: str,  # noqa: A002 - the field's name
        *,
        connect_id: int = 0,
        external_id: str | None = None,
        image: StateImage | bytes | PropertyList | None = None,
        exist_ok: bool = False,
    ) -> Port:
        """Makes a port without a client and returns it.

        `id`: 1 to 47 bytes. At most one of `connect_id`, `external_id` (1 to 127 bytes) and `image` (of a port, or a
        list of properties), else ValueError. `exist_ok`: a port that is there is returned unchanged. A port that was
        removed while its client was connected is made a port again. AlreadyExists, LimitExceeded, BadParameter,
        BadImage.
        """
        port = Port(self._switch, id)
        connect_id = named("connect_id", whole_number, connect_id)
        if (connect_id != 0) + (external_id is not None) + (image is not None) > 1:
            raise ValueError("at most one of connect_id, external_id and image")
        if named("exist_ok", truth, exist_ok) and self._find(port.id) is not None:
            return port
        try:
            self._make(port, connect_id, external_id, image)
        except AlreadyExists:
            if not exist_ok or self._find(port.id) is None:
                raise
        return port

    def _make(
        self, port: Port, connect_id: int, external_id: str | None, image: StateImage | bytes | PropertyList | None
    ) -> None:
        names = port._names
        if image is not None:
            listed = handles.properties.PropertyList
            data = image.to_image().data if isinstance(image, listed) else handles.image.image_bytes(image)
            call("DVSQEL_PortAdd", *names, Data(data), len(data))
        elif external_id is not None:
            call("VSDVS_AddOpaqueDVPort", *names, text("external_id", external_id))
        else:
            try:
                call("VSDVS_AddDVPort", *names, connect_id)
            except AlreadyExists:
                if port.id not in _walk.zombies(names[0]):
                    raise
                self._revive(port, connect_id)

    def _revive(self, port: Port, connect_id: int) -> None:
        """Makes a zombie a port again."""
        call("DVSQEL_PortAdd", *port._names, None, 0)
        if connect_id:
            key = libvswitch.QEL_HNQPROP_PORT_CONNECTID
            try:
                write_raw(port._names, key, number_bytes(connect_id))
            except BaseException:
                call("DVSQEL_PortRemove", *port._names)
                raise

    def remove(
        self,
        id: str,  # noqa: A002 - the field's name
        *,
        force: bool = False,
        missing_ok: bool = False,
    ) -> bool:
        """Removes a port and its properties; returns whether there was one. Busy for one with a client; with `force`
        that becomes a zombie, which is no port any more and goes at the next boot. NotFound."""
        names = (self._switch.alias, text("id", id))
        force, missing_ok = named("force", truth, force), named("missing_ok", truth, missing_ok)
        try:
            call("DVSQEL_PortRemove" if force else "VSDVS_RemoveDVPort", *names)
        except NotFound:
            if missing_ok and (not _walk.has_port(*names) or id in _walk.zombies(names[0])):
                return False
            raise
        except Busy:
            if id not in _walk.zombies(names[0]):
                raise
            if missing_ok:
                return False
            raise NotFound(self._missing(id)) from None
        return True

    def by_type(self, type: PortType) -> tuple[Port, ...]:  # noqa: A002 - the field's name
        """The ports of one type by their numbers, also uplink ports and zombies. BadParameter."""
        kind = int(named("type", _TYPE.accept, type))
        return tuple(Port(self._switch, id) for id in _walk.ports_of_type(self._switch.alias, kind))

    def by_number(self, number: int) -> Port:
        """The port of a number. NotFound."""
        wanted = named("number", whole_number, number)
        found = _walk.identifiers(self._switch.alias, [wanted])
        if wanted not in found:
            raise NotFound(f"no port with the number {wanted} on switch {self._switch.alias!r}")
        return Port(self._switch, found[wanted])

    def by_external_id(self, text: str) -> Port:
        """The port of an external identifier. NotFound."""
        wanted = named("text", plain_text, text)
        data = take_pointer(
            lambda record: pointed(record, 176),
            "OpaqueDVPortData **",
            "DVSQEL_PortGetByExternalId",
            self._switch.alias,
            wanted,
        )
        return Port(self._switch, _walk.text(data[:48]))

    def __repr__(self) -> str:
        return f"<Ports of switch {self._switch.alias!r}>"
