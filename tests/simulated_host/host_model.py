"""A small model of the documented rules of the host, for test_model.py: switches, ports, uplink ports, the property
store. Each call on it gives the set of statuses that the rules allow (no rule says which of several refusals comes
first), and changes the model only where that is QEL_OK alone."""

import dataclasses
import struct

import _libvswitch as m

OK = {"QEL_OK"}
NOT_FOUND = {"QEL_NOT_FOUND"}
MOST_SWITCHES, MOST_PORTS, MOST_UPLINKS = 128, 8192, 32
DEFAULT_PORTS = 128
# The physical NICs of the built-in description that no switch has, and whether their carrier is up.
NICS = {"nic3": False, "nic4": True, "nic5": True}


def number(value: int) -> bytes:
    return struct.pack("<I", value)


def is_version(version: int) -> bool:
    """Of the state format, or of the switch implementation."""
    return (
        m.DVS_VERSION_60 <= version <= m.DVS_VERSION_70
        or m.VS_QBR_HNQ_VERSION_10 <= version <= m.VS_QBRT_ON_DVS70_VERSION
    )


def is_number_in(lowest: int, highest: int):
    return lambda data: len(data) == 4 and lowest <= struct.unpack("<I", data)[0] <= highest


@dataclasses.dataclass
class Known:
    """A property that the host has rules for."""

    scope: str
    default: object
    admits: object = None  # read only without one


KNOWN = {
    m.VSPROP_MTU: Known("global", lambda switch: number(1500), is_number_in(1280, 9000)),
    m.VSPROP_MULTICAST_FILTER: Known("global", lambda switch: number(0), is_number_in(m.VS_MCAST_FILTER_MODE_LEGACY, m.VS_MCAST_FILTER_MODE_MLD)),
    m.QEL_HNQPROP_SWITCH_ALIAS: Known("global", lambda switch: switch.alias.encode()),
    m.QEL_HNQPROP_SWITCH_VERSION: Known("global", lambda switch: number(switch.version)),
    m.QEL_HNQPROP_PORT_CONNECTID: Known("port", lambda switch: number(0), is_number_in(0, 2**32 - 1)),
}


@dataclasses.dataclass
class Property:
    owner: str
    persistent: bytes | None = None
    volatile: bytes | None = None


@dataclasses.dataclass
class Port:
    properties: dict[str, Property] = dataclasses.field(default_factory=dict)
    external_id: str | None = None
    uplink: str | None = None
    made_for_uplink: bool = False
    number: int | None = None  # learnt from the host


@dataclasses.dataclass
class Switch:
    alias: str
    switch_id: str
    max_ports: int
    persistent: bool
    version: int
    flags: int
    has_portset: bool = True
    ports: dict[str, Port] = dataclasses.field(default_factory=dict)
    uplinks: list[str] = dataclasses.field(default_factory=list)
    properties: dict[tuple[str, str], Property] = dataclasses.field(default_factory=dict)
    team: tuple[list[str], list[str]] | None = None  # the active and standby ones of a policy that was set

    def port_of(self, uplink: str) -> str:
        return next(name for name, port in self.ports.items() if port.uplink == uplink)

    def active_ports(self) -> int:
        return sum(port.uplink is not None for port in self.ports.values())


class Model:
    def __init__(self):
        self.switches: dict[str, Switch] = {}
        self.bound: dict[str, tuple[str, str]] = {}  # NIC to alias and uplink port
        self.admin_up = dict.fromkeys(NICS, True)

    # ---- switches ----

    def is_taken(self, alias: str, switch_id: str) -> bool:
        return alias in self.switches or any(s.switch_id == switch_id for s in self.switches.values())

    def create(self, alias, switch_id, max_ports, persistent, mtu, version, flags, class_name="") -> set[str]:
        refusals = refused(
            QEL_EXISTS=self.is_taken(alias, switch_id),
            QEL_MODULE_NOT_FOUND=class_name not in ("", m.PS_CLASS_NAME),
            QEL_NOT_SUPPORTED=version != 0 and not is_version(version),
            QEL_BAD_PARAM=mtu != 0 and not 1280 <= mtu <= 9000,
            QEL_LIMIT_EXCEEDED=max_ports > MOST_PORTS,
        )
        if refusals == OK:
            switch = Switch(
                alias, switch_id, max_ports or DEFAULT_PORTS, persistent, version or m.DVS_VERSION_70, flags
            )
            if mtu:
                switch.properties["global", m.VSPROP_MTU] = Property("", number(mtu))
            self.switches[alias] = switch
        return refusals

    def destroy(self, alias) -> set[str]:
        if alias not in self.switches:
            return NOT_FOUND
        for uplink in self.switches[alias].uplinks:
            self.unbind(alias, uplink)
        del self.switches[alias]
        return OK

    def add_state(self, alias, switch_id, max_ports, version) -> set[str]:
        statuses = self.create(alias, switch_id, max_ports, True, 0, version, 0)
        if statuses == OK:
            self.switches[alias].has_portset = False
        return statuses

    def remove_state(self, alias) -> set[str]:
        if alias in self.switches and self.switches[alias].has_portset:
            return {"QEL_BUSY"}
        return self.destroy(alias)

    def set_portset(self, alias, wanted: bool) -> set[str]:
        if alias not in self.switches:
            return NOT_FOUND
        switch = self.switches[alias]
        if switch.has_portset == wanted:
            return {"QEL_EXISTS"} if wanted else {"QEL_IS_DISCONNECTED"}
        switch.has_portset = wanted
        return OK

    def set_version(self, alias, version) -> set[str]:
        known = is_version(version)
        switch = self.switches.get(alias)
        statuses = refused(
            QEL_NOT_FOUND=switch is None,
            QEL_NOT_SUPPORTED=not known,
            QEL_VERSION_MISMATCH_MAJOR=known and switch is not None and version < switch.version,
        )
        if statuses == OK:
            switch.version = version
        return statuses

    def set_max_ports(self, alias, max_ports) -> set[str]:
        switch = self.switches.get(alias)
        statuses = refused(
            QEL_NOT_FOUND=switch is None,
            QEL_BAD_PARAM=max_ports == 0,
            QEL_LIMIT_EXCEEDED=max_ports > MOST_PORTS,
            QEL_BUSY=switch is not None and max_ports < len(switch.ports),
        )
        if statuses == OK:
            switch.max_ports = max_ports
        return statuses

    def running(self, name: str, portsets: dict[str, str]) -> Switch | None:
        """The switch that a name stands for, of those with a port set; `portsets` gives the names of these."""
        running = [switch for switch in self.switches.values() if switch.has_portset]
        for key in (lambda s: s.alias, lambda s: portsets.get(s.alias), lambda s: s.switch_id):
            for switch in running:
                if key(switch) == name:
                    return switch
        return None

    def boot(self) -> None:
        self.admin_up = dict.fromkeys(NICS, True)
        for alias in [alias for alias, switch in self.switches.items() if not switch.persistent]:
            self.destroy(alias)
        for switch in self.switches.values():
            for properties in [switch.properties, *(port.properties for port in switch.ports.values())]:
                for key in list(properties):
                    properties[key].volatile = None
                    if properties[key].persistent is None:
                        del properties[key]

    # ---- ports ----

    def add_port(self, alias, dvport_id, connect_id=0, external_id=None) -> set[str]:
        if alias not in self.switches:
            return NOT_FOUND
        switch = self.switches[alias]
        same = [p for p in switch.ports.values() if external_id is not None and p.external_id == external_id]
        statuses = refused(
            QEL_EXISTS=dvport_id in switch.ports or bool(same),
            QEL_LIMIT_EXCEEDED=len(switch.ports) >= switch.max_ports,
        )
        if statuses == OK:
            port = Port(external_id=external_id)
            if external_id is None:
                port.properties[m.QEL_HNQPROP_PORT_CONNECTID] = Property("", number(connect_id))
            switch.ports[dvport_id] = port
        return statuses

    def remove_port(self, alias, dvport_id) -> set[str]:
        if alias not in self.switches or dvport_id not in self.switches[alias].ports:
            return NOT_FOUND
        if self.switches[alias].ports[dvport_id].uplink is not None:
            return {"QEL_BUSY"}
        del self.switches[alias].ports[dvport_id]
        return OK

    # ---- uplink ports ----

    def bind(self, alias: str, uplink: str) -> None:
        if uplink in NICS:
            self.bound[uplink] = (alias, uplink)

    def unbind(self, alias: str, uplink: str) -> None:
        if self.bound.get(uplink) == (alias, uplink):
            del self.bound[uplink]

    def add_uplink(self, alias, uplink) -> set[str]:
        if alias not in self.switches:
            return NOT_FOUND
        switch = self.switches[alias]
        return self.set_uplinks(alias, [*switch.uplinks, uplink], None)

    def set_uplinks(self, alias, names: list[str], dvport_ids: list[str] | None) -> set[str]:
        """Only where the wanted identifiers are empty or those of no uplink port: see the callers."""
        if alias not in self.switches:
            return NOT_FOUND
        switch = self.switches[alias]
        if dvport_ids is not None and len(dvport_ids) != len(names):
            return {"QEL_BAD_PARAM"}
        kept = {name: switch.port_of(name) for name in names if name in switch.uplinks}
        wanted = [given or kept.get(name, "") for name, given in zip(names, dvport_ids or [""] * len(names))]
        explicit = [dvport_id for dvport_id in wanted if dvport_id]
        members = set().union(*switch.team) if switch.team else set()
        going = [uplink for uplink in switch.uplinks if uplink not in names]
        others = [port for port, content in switch.ports.items() if not content.made_for_uplink]
        made = [dvport_id for dvport_id in wanted if not dvport_id or dvport_id not in others]
        statuses = refused(
            QEL_EXISTS=len(set(names)) < len(names) or len(set(explicit)) < len(explicit),
            QEL_LIMIT_EXCEEDED=len(names) > MOST_UPLINKS or len(others) + len(made) > switch.max_ports,
            QEL_BUSY=bool(members & set(going))
            or any(self.bound.get(name, (alias, name)) != (alias, name) for name in names),
        )
        if statuses == OK:
            self._replace_uplinks(switch, names, wanted)
        return statuses

    def _replace_uplinks(self, switch: Switch, names: list[str], wanted: list[str]) -> None:
        wanted_of = dict(zip(names, wanted))
        for uplink in switch.uplinks:
            dvport_id = switch.port_of(uplink)
            if wanted_of.get(uplink) == dvport_id:
                continue
            if switch.ports[dvport_id].made_for_uplink:
                del switch.ports[dvport_id]
            else:
                switch.ports[dvport_id].uplink = None
            if uplink not in names:
                self.unbind(switch.alias, uplink)
        for name in names:
            dvport_id = wanted_of[name] or self._free_id(switch)
            port = switch.ports.setdefault(dvport_id, Port(made_for_uplink=True))
            port.uplink = name
            self.bind(switch.alias, name)
        switch.uplinks = list(names)

    @staticmethod
    def _free_id(switch: Switch) -> str:
        counter = 1
        while f"uplink-{counter}" in switch.ports:
            counter += 1
        return f"uplink-{counter}"

    def remove_uplink(self, alias, uplink) -> set[str]:
        if alias not in self.switches or uplink not in self.switches[alias].uplinks:
            return NOT_FOUND
        return self.set_uplinks(alias, [name for name in self.switches[alias].uplinks if name != uplink], None)

    def set_admin_state(self, switch: Switch | None, uplink, up: bool) -> set[str]:
        if switch is None or uplink not in switch.uplinks:
            return NOT_FOUND
        if uplink not in NICS:
            return {"QEL_NO_SUCH_DEVICE"}
        self.admin_up[uplink] = up
        return OK

    def link_is_up(self, uplink) -> bool:
        return uplink in NICS and NICS[uplink] and self.admin_up[uplink]

    # ---- teaming ----

    def set_team(self, alias, active: list[str], standby: list[str]) -> set[str]:
        if alias not in self.switches:
            return NOT_FOUND
        switch = self.switches[alias]
        names = active + standby
        statuses = refused(
            QEL_BAD_PARAM=len(set(names)) < len(names), QEL_NOT_FOUND=not set(names) <= set(switch.uplinks)
        )
        if statuses == OK:
            switch.team = (active, standby)
        return statuses

    # ---- properties ----

    def _place(self, alias, scope, dvport_id, name):
        """The statuses that the place of a property is refused with, the properties there, and its key."""
        if alias not in self.switches:
            return NOT_FOUND, {}, None
        switch = self.switches[alias]
        if scope == "port" and dvport_id not in switch.ports:
            return NOT_FOUND, {}, None
        known = KNOWN.get(name)
        if known and (known.scope == "port") != (scope == "port"):
            return {"QEL_BAD_PARAM"}, {}, None
        if scope == "port":
            return OK, switch.ports[dvport_id].properties, name
        return OK, switch.properties, (known.scope if known else scope, name)

    def set_property(self, alias, scope, dvport_id, name, data, owner, persistent) -> set[str]:
        statuses, properties, key = self._place(alias, scope, dvport_id, name)
        if statuses != OK:
            return statuses
        known = KNOWN.get(name)
        stored = properties.get(key)
        statuses = refused(
            QEL_READ_ONLY=known is not None and known.admits is None,
            QEL_NO_PERMISSION=stored is not None and bool(stored.owner) and bool(owner) and stored.owner != owner,
            QEL_BAD_PARAM=known is not None and known.admits is not None and not known.admits(data),
        )
        if statuses == OK:
            stored = properties.setdefault(key, Property(owner))
            stored.owner = stored.owner or owner
            if persistent:
                stored.persistent, stored.volatile = data, None
            else:
                stored.volatile = data
        return statuses

    def get_property(self, alias, scope, dvport_id, name, owner, persistent) -> tuple[set[str], bytes | None]:
        statuses, properties, key = self._place(alias, scope, dvport_id, name)
        if statuses != OK:
            return statuses, None
        stored = properties.get(key)
        if owner and (stored is None or stored.owner != owner):
            return NOT_FOUND, None
        value = None
        if stored is not None:
            value = stored.persistent if persistent or stored.volatile is None else stored.volatile
        if value is None and name in KNOWN:
            value = KNOWN[name].default(self.switches[alias])
        return (OK, value) if value is not None else (NOT_FOUND, None)

    def clear_property(self, alias, scope, dvport_id, name, owner, persistent) -> set[str]:
        statuses, properties, key = self._place(alias, scope, dvport_id, name)
        if statuses != OK:
            return statuses
        known = KNOWN.get(name)
        stored = properties.get(key)
        nothing = stored is None or (not persistent and stored.volatile is None)
        statuses = refused(
            QEL_READ_ONLY=known is not None and known.admits is None,
            QEL_NO_PERMISSION=stored is not None and bool(owner) and stored.owner != owner,
            QEL_NOT_FOUND=nothing and known is None,
        )
        if statuses == OK and stored is not None:
            stored.volatile = None
            if persistent or stored.persistent is None:
                del properties[key]
        return statuses


def refused(**conditions: bool) -> set[str]:
    """The statuses whose condition holds, or QEL_OK."""
    return {status for status, holds in conditions.items() if holds} or OK
