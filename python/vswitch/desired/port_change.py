"""What changes on the ports of a switch, and on those of its uplinks."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

from vswitch import _walk
from vswitch._similar import did_you_mean
from vswitch.desired import export, restore, settings
from vswitch.desired.names import joined
from vswitch.desired.object_change import NOTHING, ObjectChange, PropertyOwner, refuse_clients
from vswitch.desired.order import Phase
from vswitch.desired.schema import Collection, StaticAddress
from vswitch.desired.settings import Call, Calls, Place
from vswitch.desired.state import Object, PortState
from vswitch.errors import DocumentError
from vswitch.values.kinds import short
from vswitch.values.mac import MacLearning


class PortChanges(ObjectChange):
    """The part of a switch's changes that is about ports."""

    def _ports(self) -> None:
        wanted: Collection = self.members.get("ports", NOTHING)
        base = f"{self.path}/ports"
        found = self.switch.ports
        of_uplinks = {one.port: one.name for one in (*self.switch.uplinks, *self.uplinks) if one.port is not None}
        going = [port for port, members in wanted.entries.items() if members is None and port in found]
        if "ports" in self.members and self.planner.is_exact(wanted):
            going += sorted(port for port in found if port not in wanted.entries and port not in of_uplinks)
        if going:
            refuse_clients(base, self.switch, going)
        for port in going:
            self._remove_port(joined(base, port), port, found[port])
        zombies = self._zombies([port for port, members in wanted.entries.items() if members is not None])
        for port, members in wanted.entries.items():
            if members is None:
                continue
            path = joined(base, port)
            if port in of_uplinks and port not in found:
                uplink = of_uplinks[port]
                raise DocumentError(path, f"is the port of the uplink '{uplink}': use the member 'uplink_ports'")
            self._port(path, port, members, found.get(port), port in zombies)
        self._uplink_ports()

    def _zombies(self, ports: list[str]) -> set[str]:
        if self.new or all(port in self.switch.ports for port in ports):
            return set()
        return _walk.zombies(self.alias)

    def _remove_port(self, path: str, port: str, was: PortState) -> None:
        self.lost_ports.append(port)
        calls = [("VSDVS_RemoveDVPort", {**self.place, "dvport_id": port})]
        undo = restore.port_calls(self.alias, port, was)
        self.planner.add(Phase.REMOVE_PORTS, "remove", path, calls, undo, export.port_members(was), None)

    def _port(self, path: str, port: str, members: Mapping[str, Any], found: PortState | None, zombie: bool) -> None:
        place = {"alias": self.alias, "dvport_id": port}
        if found is None:
            self.made_ports.append(port)
            members = self._create_port(path, place, members, zombie)
        elif self.switch.details and members.get("external_id", found.external_id) != found.external_id:
            raise DocumentError(f"{path}/external_id", "cannot change")
        if members:
            self._members_of_port(path, place, members, found or PortState(), found is None)

    def _create_port(self, path: str, place: Place, members: Mapping[str, Any], zombie: bool) -> Mapping[str, Any]:
        """The step that makes a port; what is left of its members."""
        external, connect = members.get("external_id"), members.get("connect_id")
        after: dict[str, Any] = {}
        taken = {"external_id"}
        remove = "VSDVS_RemoveDVPort"
        if external is not None:
            calls: list[Call] = [("VSDVS_AddOpaqueDVPort", {**place, "external_id": external})]
            after["external_id"] = external
        elif zombie:
            calls, remove = [("DVSQEL_PortAdd", {**place, "data": None, "length": 0})], "DVSQEL_PortRemove"
        else:
            calls = [("VSDVS_AddDVPort", {**place, "connect_id": connect or 0})]
            taken.add("connect_id")
            if connect is not None:
                after["connect_id"] = connect
        self.planner.add(Phase.PORTS, "create", path, calls, [(remove, place)], None, after)
        return {name: value for name, value in members.items() if name not in taken}

    def _uplink_ports(self) -> None:
        """Settings and the rest of the ports of uplinks."""
        base = f"{self.path}/uplink_ports"
        present = {one.name: one.port for one in self.uplinks}
        for name, members in self.members.get("uplink_ports", {}).items():
            path = joined(base, name)
            if name not in present:
                raise DocumentError(path, f"no uplink '{name}'{did_you_mean(name, present)}")
            if members and present[name] is not None:
                stays = any(one.name == name and one.port == present[name] for one in self.switch.uplinks)
                kept = self.switch.uplink_ports.get(name, PortState()) if stays else PortState()
                if "external_id" in members and members["external_id"] != kept.external_id:
                    raise DocumentError(f"{path}/external_id", "cannot change")
                place = {**self.place, "dvport_id": present[name]}
                self._members_of_port(path, place, members, kept, not stays)

    def _members_of_port(
        self, path: str, place: Place, members: Mapping[str, Any], kept: PortState, new: bool
    ) -> None:
        managed = False
        for name, setting in settings.PORT.items():
            if name not in members:
                continue
            if settings.MANAGEMENT in setting.keys:
                managed = True
                continue
            self._setting(Phase.PORTS, path, place, kept, setting, members[name], new)
        if managed:
            self._management(path, place, members, kept, new)
        if "mirrors" in members:
            self._mirrors(path, place, kept, settings.PORT_MIRRORS, members)
        if "properties" in members:
            self._properties("properties", PropertyOwner(path, place, kept, settings.PORT_KEYS), members)
        if "static_addresses" in members:
            self._static(path, place, kept, members["static_addresses"])

    def _management(self, path: str, place: Place, members: Mapping[str, Any], kept: Object, new: bool) -> None:
        """MAC learning and MAC changes share a property: each writes its part and leaves the other, and where all of it
        is the default again, it is cleared."""
        own = settings.MANAGEMENT in kept.stored
        now = settings.management(kept.data())
        first, was_own = now, own
        undo: Calls = restore.property_calls(place, kept, settings.MANAGEMENT)
        for name in ("mac_learning", "mac_changes"):
            if name not in members:
                continue
            setting = settings.PORT[name]
            wanted = members[name]
            value = setting.default if wanted is None else wanted
            here = setting.decode({settings.MANAGEMENT: now})
            part = value.to_bytes() if isinstance(value, MacLearning) else bytes([value])
            then = now[:1] + part if name == "mac_learning" else part + now[1:]
            cleared = wanted is None and settings.is_default_management(then)
            if (here == value and (own or not new) and not (cleared and own)) or (wanted is None and not own):
                continue
            calls: Calls
            if cleared:
                calls = setting.clear(place)
            elif isinstance(value, MacLearning):
                calls = setting.write(place, value)
            else:
                calls = (settings.write_property(place, settings.MANAGEMENT, then),)
            before = short(setting.decode({settings.MANAGEMENT: first})) if was_own else None
            after = None if wanted is None else short(value)
            action = "clear" if wanted is None else "set"
            self.planner.add(Phase.PORTS, action, f"{path}/{name}", calls, undo, before, after)
            own, now = not cleared, then
            undo = (settings.write_property(place, settings.MANAGEMENT, now),) if own else setting.clear(place)

    def _static(self, path: str, place: Place, kept: PortState, wanted: tuple[StaticAddress, ...]) -> None:
        where = f"{path}/static_addresses"
        if wanted and not (self.members.get("connected", self.switch.connected) and self.switch.connected | self.new):
            if not self.members.get("connected", False):
                raise DocumentError(where, "the switch is not connected")
        now, after = sorted(set(kept.static)), sorted(set(wanted))
        if len(after) != len(wanted):
            raise DocumentError(where, "an address stands twice")
        gone, added = [one for one in now if one not in after], [one for one in after if one not in now]
        alias, port = str(place["alias"]), str(place["dvport_id"])
        left = [one for one in now if one in after]
        for phase, changes, remove, before, then in (
            (Phase.LOSE_ADDRESSES, gone, True, now, left),
            (Phase.ADDRESSES, added, False, left, after),
        ):
            if changes:
                calls = [restore.address_call(alias, port, one, remove) for one in changes]
                undo = [restore.address_call(alias, port, one, not remove) for one in reversed(changes)]
                sides = [[export.static_form(one) for one in side] or None for side in (before, then)]
                self.planner.add(phase, "set", where, calls, undo, *sides)
