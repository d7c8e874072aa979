"""Switches of the host."""

from __future__ import annotations

import struct
from typing import TYPE_CHECKING, Any

import libvswitch

from vswitch import _walk, enums, handles, values
from vswitch._calls import Data, Output, call, fill, pointed, query, take, take_pointer
from vswitch.errors import AlreadyExists, Error, NotSupported
from vswitch.handles.collection import text
from vswitch.handles.setting import named
from vswitch.handles.switch_settings import SwitchSettings
from vswitch.values.kinds import number_of, plain_text, whole_number

if TYPE_CHECKING:
    from vswitch.enums import MulticastMode, SwitchStatus, SwitchVersion
    from vswitch.handles.lags import Lags
    from vswitch.handles.mac_table import MacTable
    from vswitch.handles.mirrors import Mirrors
    from vswitch.handles.port import Port, Ports
    from vswitch.handles.properties import Properties
    from vswitch.handles.teaming_policies import TeamingPolicies
    from vswitch.handles.uplink import Uplinks
    from vswitch.values.mac import MacLearning, MacStatistics, MacSummary, StaticEntry
    from vswitch.values.security import SecurityPolicy
    from vswitch.values.statistics import Announcements, ServicePort, SwitchInfo

__all__ = ["Switch"]

_VERSION = number_of("SwitchVersion")


class Switch(SwitchSettings):
    """A switch. Its settings are read, written and deleted as attributes; beside them stand the views `origin`,
    `stored` and `is_volatile`. All uses raise NotFound where there is no such switch; what tells its running state
    raises WrongState where it has no port set."""

    __slots__ = ()

    def __init__(self, alias: str) -> None:
        """The switch of an alias. Asks the host nothing."""
        self._names = (text("alias", alias),)

    @property
    def alias(self) -> str:
        """Its alias, 1 to 80 bytes."""
        return self._names[0]

    @property
    def exists(self) -> bool:
        """Whether the host has it."""
        return _walk.switch_handle(self.alias) is not None

    @property
    def id(self) -> str:
        """Its identifier, 1 to 63 bytes."""
        found: str = self._ask("DVS_SwitchId")
        return found

    @property
    def class_name(self) -> str:
        """Its class, such as "cswitch"."""
        found: str = self._ask("DVS_ClassName")
        return found

    def _ask(self, name: str) -> Any:
        """What a call gives for its handle."""
        found = call(name, _walk.known_switch(self.alias))
        if found is None:  # went meanwhile
            _walk.known_switch(self.alias)
        return found

    @property
    def version(self) -> SwitchVersion | int:
        """Its version, which only grows; writable. NotSupported, BadImage for an earlier one."""
        return enums.SwitchVersion.of(self._ask("DVS_Version"))

    @version.setter
    def version(self, version: SwitchVersion | int) -> None:
        call("DVSQEL_SwitchSetVersion", self.alias, int(named("version", _VERSION.accept, version)))

    @property
    def max_ports(self) -> int:
        """How many ports it may have, 1 to 8192; writable. Busy where it has more, LimitExceeded, BadParameter."""
        return int(self._ask("DVS_GetMaxPorts"))

    @max_ports.setter
    def max_ports(self, count: int) -> None:
        call("DVSQEL_SwitchSetMaxPorts", self.alias, named("max_ports", whole_number, count))

    @property
    def portset(self) -> str | None:
        """The name of its port set on this host, None without one."""
        try:
            found: str = call("DVSAliasToPortsetName", self.alias)
        except Error as error:
            if error.name == "QEL_IS_DISCONNECTED":
                return None
            raise
        return found

    @property
    def connected(self) -> bool:
        """Whether it has a port set on this host."""
        return self.portset is not None

    def connect(self) -> bool:
        """Gives it a port set; returns whether it had none."""
        try:
            call("DVSQEL_SwitchAssociate", self.alias)
        except AlreadyExists:
            return False
        return True

    def disconnect(self) -> bool:
        """Takes its port set away; returns whether it had one. Busy where a port has a client."""
        try:
            call("DVSQEL_SwitchDissociate", self.alias)
        except Error as error:
            if error.name == "QEL_IS_DISCONNECTED":
                return False
            raise
        return True

    @property
    def persistent(self) -> bool:
        """Whether it outlives a boot. NotSupported where the form of images is not known."""
        _walk.known_switch(self.alias)
        image = handles.host.Host().image(persistent=True)
        if image.content is None:
            raise NotSupported("the form of images is not known, and nothing else tells whether a switch is persistent")
        return any(switch["alias"] == self.alias for switch in image.document()["switches"])

    @property
    def info(self) -> SwitchInfo:
        """What it is as a whole: MTU, numbers of ports, names."""
        size = 218
        return take(
            lambda record: values.statistics.SwitchInfo.from_bytes(pointed(record, size)),
            "VSQEL_GetSwitchInfo",
            self.alias,
        )

    @property
    def status(self) -> SwitchStatus | int:
        """Whether the links of its uplink ports are up: OK, DEGRADED or DOWN."""
        data = query("VSDVS_GetHostProp", self.alias, libvswitch.QEL_HNQPROP_HOST_STATUS, after=(None, 0))
        return enums.SwitchStatus.of(int.from_bytes(data, "little"))

    @property
    def ports(self) -> Ports:
        """Its ports, without uplink ports."""
        return handles.port.Ports(self)

    @property
    def uplinks(self) -> Uplinks:
        """Its uplink ports."""
        return handles.uplink.Uplinks(self)

    @property
    def properties(self) -> Properties:
        """Its properties on all its hosts."""
        return handles.properties.Properties(enums.Scope.GLOBAL, self.alias)

    @property
    def host_properties(self) -> Properties:
        """Its properties on this host."""
        return handles.properties.Properties(enums.Scope.HOST, self.alias)

    def remove(self, *, missing_ok: bool = False) -> bool:
        """As `host.switches.remove`."""
        return handles.switches.Switches().remove(self.alias, missing_ok=missing_ok)

    @property
    def lags(self) -> Lags:
        """Its LAGs; none without a port set."""
        return handles.lags.Lags(self.alias)

    @property
    def mirrors(self) -> Mirrors:
        """Its own mirror sessions, beside those of its ports."""
        return handles.mirrors.Mirrors(self.alias, None)

    @property
    def running_mirrors(self) -> tuple[str, ...]:
        """Identifiers of the mirror sessions that run, its own and those of its ports."""

        def read(table: Any) -> tuple[str, ...]:
            data = pointed(table, 8 + table.numEntries * 32)
            return tuple(_walk.text(data[place : place + 32]) for place in range(8, len(data), 32))

        return take(read, "VSQEL_GetDVMirrorSessionIDs", self.alias)

    @property
    def promiscuous_ports(self) -> tuple[Port, ...]:
        """The ports that receive everything, by their numbers."""

        def read(table: Any) -> tuple[int, ...]:
            count = table.numEntries
            return struct.unpack_from(f"<{count}I", pointed(table, 8 + count * 4), 8)

        numbers = take(read, "VSQEL_GetPromiscSessionActiveDsts", self.alias)
        ports = _walk.identifiers(self.alias, numbers)
        return tuple(handles.port.Port(self, ports[number]) for number in numbers if number in ports)

    @property
    def teaming_policies(self) -> TeamingPolicies:
        """Its named teaming policies, which ports choose."""
        return handles.teaming_policies.TeamingPolicies(self.alias)

    @property
    def mac_table(self) -> MacTable:
        """The addresses behind its ports."""
        return handles.mac_table.MacTable("VSQEL_GetMACTable", self.alias)

    @property
    def uplink_mac_table(self) -> MacTable:
        """The addresses behind its uplinks."""
        return handles.mac_table.MacTable("VSQEL_GetTeamMACTable", self.alias)

    @property
    def mac_summary(self) -> MacSummary:
        """MAC learning as a whole."""
        data = fill("VSMACLearningSwitchInfo", "VSQEL_GetSwitchMACLearningInfo", self.alias)
        return values.mac.MacSummary.from_bytes(data)

    def _by_port(self, name: str, size: int, made: Any) -> dict[str, Any]:
        """A mapping from ports to values, of records that begin with the number of a port."""
        found = _walk.by_number(name, self.alias, size)
        ports = _walk.identifiers(self.alias, [number for number, _ in found])
        return {ports[number]: made(data) for number, data in found if number in ports}

    @property
    def mac_statistics(self) -> dict[str, MacStatistics]:
        """Counters of MAC learning by port, without uplink ports."""
        mac = values.mac
        made = mac.MacStatistics.from_bytes
        return self._by_port("VSQEL_GetSwitchMACLearningStats", 4 + mac.STATISTICS_SIZE, made)

    @property
    def mac_policies(self) -> dict[str, MacLearning]:
        """MAC learning policies by port, without uplink ports."""
        mac = values.mac
        return self._by_port("VSQEL_GetMACLearningAllPorts", 4 + mac.LEARNING_SIZE, mac.MacLearning.from_bytes)

    @property
    def security_in_force(self) -> dict[str, SecurityPolicy]:
        """What clients are allowed, by port with a client that is no uplink."""
        return self._by_port("VSQEL_GetL2Security", 8, values.security.SecurityPolicy.from_bytes)

    @property
    def static_entries(self) -> tuple[StaticEntry, ...]:
        """Its static addresses: those of clients, and those that were set by hand."""
        return handles.port.static_entries("VSQEL_GetStaticLectx", self.alias)

    @property
    def announcements(self) -> Announcements:
        """Counters of its announcements."""
        return values.statistics.Announcements.from_bytes(fill("VSRARPStats", "VSQEL_GetRARPStats", self.alias))

    @property
    def service_port(self) -> ServicePort:
        """Counters of its service port."""
        return values.statistics.ServicePort.from_bytes(
            fill("VSServicePortTeamingStats", "VSQEL_GetServicePortTeamingStats", self.alias)
        )

    @property
    def running_multicast_mode(self) -> MulticastMode | int:
        """How the running switch filters multicast."""
        return enums.MulticastMode.of(call("VSQEL_GetMcastFilterMode", self.alias))

    def refresh_numa(self) -> None:
        """Teaming looks up anew on which NUMA nodes the NICs are."""
        call("VSQEL_RefreshDevNUMAInfo", self.alias)

    def command(self, text: str, input: bytes | str = b"") -> str:  # noqa: A002 - what it is
        """Has the component behind the switch execute a command; its answer as a text (UTF-8, wrong bytes replaced).
        NotSupported for an unknown command, BadParameter for an input where none is taken."""
        command = named("text", plain_text, text)
        data = input.encode() if isinstance(input, str) else input
        if not isinstance(data, (bytes, bytearray, memoryview)):
            raise TypeError(f"input: bytes or a str is wanted, not {input!r}")
        data = bytes(data)
        length = libvswitch.cell("int *")
        given = Data(data) if data else None
        answer = take_pointer(
            lambda pointer: pointed(pointer, length.value) if pointer is not None else b"",
            "void **",
            "DVSQEL_CmdExec",
            self.alias,
            command,
            given,
            len(data),
            after=(Output(length),),
        )
        return answer.decode(errors="replace")

    def __repr__(self) -> str:
        return f"<Switch {self.alias!r}>"
