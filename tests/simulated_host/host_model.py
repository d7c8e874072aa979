"""A small model of the documented rules of the host, for test_model.py: switches, ports, uplink ports and teaming, put
together with the other parts of the model. Each call on it gives the set of statuses that the rules allow (no rule says
which of several refusals comes first), and changes the model only where that is QEL_OK alone."""

import dataclasses

import _libvswitch as m
import mac_model
import mirror_model
import vlan_model
from image_model import ImageModel
from lag_model import Lag, LagModel
from mac_model import GlobalLearning, MacEntry, MacKey
from mirror_model import MirrorModel
from property_model import NOT_FOUND, OK, Known, Property, limited, number, outside, refused
from vlan_model import VlanModel

MOST_SWITCHES, MOST_PORTS, MOST_UPLINKS = 128, 8192, 32
DEFAULT_PORTS = 128
# The physical NICs, and whether their carrier is up.
NICS = {"nic0": True, "nic1": True, "nic2": False, "nic3": False, "nic4": True, "nic5": True}


def is_version(version: int) -> bool:
    """Of the state format, or of the switch implementation."""
    return bool(
        m.DVS_VERSION_60 <= version <= m.DVS_VERSION_70
        or m.VS_QBR_HNQ_VERSION_10 <= version <= m.VS_QBRT_ON_DVS70_VERSION
    )


CORE = {
    m.VSPROP_MTU: Known("global", lambda model, switch: number(1500), limited(outside(1280, 9000))),
    m.VSPROP_MULTICAST_FILTER: Known(
        "global",
        lambda model, switch: number(0),
        limited(outside(m.VS_MCAST_FILTER_MODE_LEGACY, m.VS_MCAST_FILTER_MODE_MLD)),
    ),
    m.QEL_HNQPROP_SWITCH_ALIAS: Known("global", lambda model, switch: bytes(switch.alias.encode())),
    m.QEL_HNQPROP_SWITCH_VERSION: Known("global", lambda model, switch: number(switch.version)),
    m.QEL_HNQPROP_PORT_CONNECTID: Known("port", lambda model, switch: number(0), limited(outside(0, 2**32 - 1))),
}


@dataclasses.dataclass
class Port:
    properties: dict[str, Property] = dataclasses.field(default_factory=dict)
    external_id: str | None = None
    uplink: str | None = None
    made_for_uplink: bool = False
    client_mac: bytes | None = None  # of a client that is no uplink
    is_local_copy: bool = False  # made from an image
    number: int | None = None  # learnt from the host

    def is_active(self) -> bool:
        return self.uplink is not None or self.client_mac is not None

    def become_new(self) -> None:
        """Of an image's port that the switch did not have."""
        self.number, self.client_mac, self.is_local_copy = None, None, True


@dataclasses.dataclass
class Switch:
    alias: str
    switch_id: str
    max_ports: int
    persistent: bool
    version: int
    flags: int
    has_portset: bool = True
    portset_name: str | None = None  # learnt from the host; a switch without a port set gets the same one again
    ports: dict[str, Port] = dataclasses.field(default_factory=dict)
    uplinks: list[str] = dataclasses.field(default_factory=list)
    properties: dict[tuple[str, str], Property] = dataclasses.field(default_factory=dict)
    team: tuple[list[str], list[str]] | None = None  # the active and standby ones of a policy that was set
    lags: list[Lag] = dataclasses.field(default_factory=list)
    macs: dict[tuple[MacKey, int], MacEntry] = dataclasses.field(default_factory=dict)  # by hand, and learned

    def port_of(self, uplink: str) -> str:
        return next(name for name, port in self.ports.items() if port.uplink == uplink)

    def active_ports(self) -> int:
        return sum(port.is_active() for port in self.ports.values())

    def has_clients(self) -> bool:
        return any(port.client_mac is not None for port in self.ports.values())


class Model(VlanModel, MirrorModel, LagModel, ImageModel):
    known = {**CORE, **mac_model.KNOWN, **vlan_model.KNOWN, **mirror_model.KNOWN}

    def __init__(self, home: Switch) -> None:
        self.switches: dict[str, Switch] = {home.alias: home}
        self.learning = GlobalLearning()
        self.bound: dict[str, tuple[str, str]] = {}  # NIC to alias and uplink port
        self.admin_up = dict.fromkeys(NICS, True)
        for uplink in home.uplinks:
            self.bind(home.alias, uplink)

    # ---- switches ----

    def is_taken(self, alias: str, switch_id: str) -> bool:
        return alias in self.switches or any(s.switch_id == switch_id for s in self.switches.values())

    def create(
        self, alias: str, switch_id: str, max_ports: int, persistent: bool, mtu: int, version: int, flags: int,
        class_name: str = "",
    ) -> set[str]:
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

    def destroy(self, alias: str) -> set[str]:
        if alias not in self.switches:
            return NOT_FOUND
        if self.switches[alias].has_clients():
            return {"QEL_BUSY"}
        for uplink in self.switches[alias].uplinks:
            self.unbind(alias, uplink)
        del self.switches[alias]
        return OK

    def add_state(self, alias: str, switch_id: str, max_ports: int, version: int) -> set[str]:
        statuses = self.create(alias, switch_id, max_ports, True, 0, version, 0)
        if statuses == OK:
            self.switches[alias].has_portset = False
        return statuses

    def remove_state(self, alias: str) -> set[str]:
        if alias in self.switches and self.switches[alias].has_portset:
            return {"QEL_BUSY"}
        return self.destroy(alias)

    def set_portset(self, alias: str, wanted: bool) -> set[str]:
        if alias not in self.switches:
            return NOT_FOUND
        switch = self.switches[alias]
        if switch.has_portset == wanted:
            return {"QEL_EXISTS"} if wanted else {"QEL_IS_DISCONNECTED"}
        if switch.has_clients():
            return {"QEL_BUSY"}
        switch.has_portset = wanted
        return OK

    def set_version(self, alias: str, version: int) -> set[str]:
        known = is_version(version)
        switch = self.switches.get(alias)
        statuses = refused(
            QEL_NOT_FOUND=switch is None,
            QEL_NOT_SUPPORTED=not known,
            QEL_VERSION_MISMATCH_MAJOR=known and switch is not None and version < switch.version,
        )
        if statuses == OK:
            assert switch
            switch.version = version
        return statuses

    def set_max_ports(self, alias: str, max_ports: int) -> set[str]:
        switch = self.switches.get(alias)
        statuses = refused(
            QEL_NOT_FOUND=switch is None,
            QEL_BAD_PARAM=max_ports == 0,
            QEL_LIMIT_EXCEEDED=max_ports > MOST_PORTS,
            QEL_BUSY=switch is not None and max_ports < len(switch.ports),
        )
        if statuses == OK:
            assert switch
            switch.max_ports = max_ports
        return statuses

    def running(self, name: str) -> Switch | None:
        """The switch that a name stands for, of those with a port set."""
        running = [switch for switch in self.switches.values() if switch.has_portset]
        for key in ("alias", "portset_name", "switch_id"):
            for switch in running:
                if getattr(switch, key) == name:
                    return switch
        return None

    def load_config(self) -> set[str]:
        for alias in [alias for alias, switch in self.switches.items() if not switch.persistent]:
            self.destroy(alias)
        self.forget_volatile()
        return OK

    def boot(self) -> None:
        self.load_config()
        self.admin_up = dict.fromkeys(NICS, True)
        for switch in self.switches.values():
            switch.macs.clear()

    # ---- ports ----

    def add_port(self, alias: str, dvport_id: str, connect_id: int = 0, external_id: str | None = None) -> set[str]:
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

    def remove_port(self, alias: str, dvport_id: str) -> set[str]:
        if alias not in self.switches or dvport_id not in self.switches[alias].ports:
            return NOT_FOUND
        switch = self.switches[alias]
        if switch.ports[dvport_id].is_active():
            return {"QEL_BUSY"}
        self.drop_port(switch, dvport_id)
        return OK

    def drop_port(self, switch: Switch, dvport_id: str) -> None:
        del switch.ports[dvport_id]
        self.forget_macs(switch, {dvport_id})

    # ---- uplink ports ----

    def bind(self, alias: str, uplink: str) -> None:
        if uplink in NICS:
            self.bound[uplink] = (alias, uplink)

    def unbind(self, alias: str, uplink: str) -> None:
        if self.bound.get(uplink) == (alias, uplink):
            del self.bound[uplink]

    def add_uplink(self, alias: str, uplink: str) -> set[str]:
        if alias not in self.switches:
            return NOT_FOUND
        switch = self.switches[alias]
        return self.set_uplinks(alias, [*switch.uplinks, uplink], None)

    def set_uplinks(self, alias: str, names: list[str], dvport_ids: list[str] | None) -> set[str]:
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
            or any(switch.ports[port].client_mac is not None for port in explicit if port in switch.ports)
            or any(self.bound.get(name, (alias, name)) != (alias, name) for name in names if name not in kept),
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
                self.drop_port(switch, dvport_id)
            else:
                switch.ports[dvport_id].uplink = None
                self.forget_learned(switch, dvport_id)
            if uplink not in names:
                self.unbind(switch.alias, uplink)
        for name in names:
            dvport_id = wanted_of[name] or self._free_id(switch)
            port = switch.ports.setdefault(dvport_id, Port(made_for_uplink=True))
            if port.uplink != name and name not in self.bound:
                self.bind(switch.alias, name)
            port.uplink = name
        switch.uplinks = list(names)

    @staticmethod
    def _free_id(switch: Switch) -> str:
        counter = 1
        while f"uplink-{counter}" in switch.ports:
            counter += 1
        return f"uplink-{counter}"

    def remove_uplink(self, alias: str, uplink: str) -> set[str]:
        if alias not in self.switches or uplink not in self.switches[alias].uplinks:
            return NOT_FOUND
        return self.set_uplinks(alias, [name for name in self.switches[alias].uplinks if name != uplink], None)

    def set_admin_state(self, switch: Switch | None, uplink: str, up: bool) -> set[str]:
        if switch is None or uplink not in switch.uplinks:
            return NOT_FOUND
        if self.bound.get(uplink) != (switch.alias, uplink):
            return {"QEL_NO_SUCH_DEVICE"}
        self.admin_up[uplink] = up
        return OK

    def link_is_up(self, switch: Switch, uplink: str) -> bool:
        return self.bound.get(uplink) == (switch.alias, uplink) and NICS[uplink] and self.admin_up[uplink]

    # ---- teaming ----

    def set_team(self, alias: str, active: list[str], standby: list[str]) -> set[str]:
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
