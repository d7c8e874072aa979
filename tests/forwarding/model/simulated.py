"""The host as a whole: sends frames, shows counters and tables, takes over a new configuration."""

from collections import Counter

from . import addresses, multicast, ports
from .configuration import Host, Port, Switch
from .pipeline import Way
from .state import (
    LEARNING_FIELDS, MIRROR_FIELDS, SERVICE_FIELDS, TRAFFIC_FIELDS, Drop, Learned, MacEntry, Place, Result, Step,
    SwitchState, View,
)
from .vlan import database_vlan


class Model:
    """A host with its traffic. `now` is the host's clock in microseconds since the epoch; it may not go back."""

    def __init__(self, host: Host) -> None:
        self.host = host
        self.state = {switch.alias: _first_state(switch) for switch in host.switches}

    @classmethod
    def from_json(cls, document: object) -> "Model":
        return cls(Host.from_json(document))

    # ---- frames -----------------------------------------------------------------------------------------------------

    def send(self, endpoint: Place, frame: bytes, now: int) -> Result:
        """One frame into an endpoint, (switch alias, dvport id) or the name of a NIC. ValueError: no such endpoint."""
        if isinstance(endpoint, str):
            if self.host.nic(endpoint) is None:
                raise ValueError(f"no NIC {endpoint!r}")
            found = self._behind(endpoint)
            if found is None:  # P-6; without a counter
                drop = Drop(endpoint, "nic-unbound", "in", "P-6")
                return Result([], [drop], False, [Step("P-6", endpoint, "nic-unbound")])
            switch, port = found
        else:
            switch, port = self._port(endpoint)
            if port.is_uplink:
                raise ValueError(f"{endpoint!r} is an uplink port: send to its NIC")  # API-1
        view = self._view(switch, now)
        self._forget_old(view)
        return Way(view, port, bytes(frame)).run()

    # ---- what there is to see ---------------------------------------------------------------------------------------

    def counters(self, endpoint: Place, now: int = 0) -> dict[str, int]:
        """The fields of qel_HNQPortStatistics and VSPMACLearningStats by name. A NIC: its uplink. C-7."""
        if isinstance(endpoint, str):
            found = self._behind(endpoint)
            if found is None:
                return dict.fromkeys(TRAFFIC_FIELDS + LEARNING_FIELDS, 0)
            switch, port = found
        else:
            switch, port = self._port(endpoint)
        self._forget_old(self._view(switch, now))
        state = self.state[switch.alias]
        counted = state.of_port(port.number)
        shown = {name: counted[name] for name in TRAFFIC_FIELDS + LEARNING_FIELDS}
        shown["pktsInDropped"] += counted["noLearningDroppedPkts"]
        shown["numMACsLearned"] = sum(entry.port == port.number for entry in state.learned.values())
        return {name: number % 2**64 for name, number in shown.items()}  # C-4

    def mac_table(self, alias: str, now: int = 0) -> list[MacEntry]:
        """By type, address and VLAN behind the ports, then the same behind the uplinks."""
        view = self._view(self.host.switch(alias), now)
        self._forget_old(view)
        return addresses.tables(view)

    def service_counters(self, alias: str) -> dict[str, int]:
        """The fields of VSServicePortTeamingStats."""
        return {name: self.state[alias].service[name] for name in SERVICE_FIELDS}

    def mirror_counters(self, alias: str, session_id: str) -> dict[str, int]:
        """The numbers of VSDVMirrorSessionStats, also of `legacy_promiscuous`."""
        counted = self.state[alias].of_mirror(session_id).counters
        return {name: counted[name] for name in MIRROR_FIELDS}

    def team_allowed_at_port_limit(self, alias: str) -> int:
        return self.state[alias].team_allowed_at_port_limit

    # ---- changes ----------------------------------------------------------------------------------------------------

    def reconfigure(self, host: Host, now: int) -> None:
        """Takes over a configuration, with what a change of it removes: V-8, MAC-3, MAC-8, X-2."""
        former = self.host
        for switch in former.switches:
            self._forget_old(self._view(switch, now))
        self.host = host
        for switch in host.switches:
            before = next((old for old in former.switches if old.alias == switch.alias), None)
            if before is None:
                self.state[switch.alias] = _first_state(switch)
                continue
            self._change(before, switch, View(former, before, self.state[switch.alias], now), now)
        for alias in set(self.state) - {switch.alias for switch in host.switches}:
            del self.state[alias]

    def _change(self, before: Switch, after: Switch, old: View, now: int) -> None:
        view = self._view(after, now)
        state = view.state
        numbers = {port.number: port for port in after.ports}
        gone: set[int] = set()
        for port in before.ports:
            changed = numbers.get(port.number)
            if changed is None:
                state.counters.pop(port.number, None)
            if changed is None or _other_client(port, changed):
                state.memberships = {key: kept for key, kept in state.memberships.items() if key[0] != port.number}
                state.router_ports.pop(port.number, None)
                gone.add(port.number)
            elif changed.vlan != port.vlan or (ports.link_up(old, port) and not ports.link_up(view, changed)):
                gone.add(port.number)  # V-8, MAC-8
        vlans: set[int] = set()
        if before.private_vlans != after.private_vlans:  # V-8
            for entry in before.private_vlans + after.private_vlans:
                vlans |= {entry.primary, entry.secondary}
        state.learned = {key: entry for key, entry in state.learned.items()
                         if entry.port not in gone and key[1] not in vlans}
        self._forget_old(view)

    def _forget_old(self, view: View) -> None:
        addresses.forget_old(view)
        multicast.forget_old(view)

    def _view(self, switch: Switch, now: int) -> View:
        return View(self.host, switch, self.state[switch.alias], now)

    def _behind(self, nic: str) -> tuple[Switch, Port] | None:
        for switch in self.host.switches:
            for port in switch.uplinks:
                if port.nic == nic:
                    return switch, port
        return None

    def _port(self, endpoint: tuple[str, str]) -> tuple[Switch, Port]:
        alias, dvport_id = endpoint
        switch = self.host.switch(alias)
        for port in switch.ports:
            if port.dvport_id == dvport_id:
                return switch, port
        raise ValueError(f"no port {dvport_id!r} on switch {alias!r}")


def _other_client(before: Port, after: Port) -> bool:
    """Whether the client has gone, or another one has come."""
    if before.client is None or after.client is None:
        return before.client is not after.client
    return (before.client.name, before.client.type) != (after.client.name, after.client.type)


def _first_state(switch: Switch) -> SwitchState:
    state = SwitchState(counters={port.number: Counter() for port in switch.ports})
    for port in switch.ports:
        for entry in port.learned:
            key = entry.mac, database_vlan(switch, entry.vlan)
            state.learned[key] = Learned(port.number, entry.seen, entry.moves, entry.aging)
    return state


def send(model: Model, endpoint: Place, frame: bytes, now: int) -> Result:
    """The deliveries and drops of a frame; see Model.send."""
    return model.send(endpoint, frame, now)
