"""What changes on a switch: its making, its numbers, its uplinks, what has to be released first, its settings."""

from __future__ import annotations

import uuid
from collections.abc import Mapping
from typing import Any

from vswitch.desired import export, restore, settings
from vswitch.desired.names import joined
from vswitch.desired.object_change import NOTHING, Name, PropertyOwner, changed, names, names_in, table_after
from vswitch.desired.order import Phase
from vswitch.desired.port_change import PortChanges
from vswitch.desired.schema import Collection, Uplink
from vswitch.desired.settings import Call, Calls, Place, Setting
from vswitch.desired.state import Object
from vswitch.enums import SwitchVersion
from vswitch.errors import Busy, DocumentError
from vswitch.values.kinds import short

RELEASED_OF_SWITCH = ("teaming",)
RELEASED_OF_PORT = ("teaming_override", "teaming_policy", "teaming", "vlan")


class SwitchChange(PortChanges):
    """What changes on one switch."""

    def places(self) -> list[str]:
        """The paths of the objects of this switch in the order of an export afterwards."""
        base = f"{self.path}/ports"
        kept = [joined(base, port) for port in self.switch.ports if port not in self.lost_ports]
        made = [joined(base, port) for port in (*self.made_ports, *self.lost_ports)]
        uplinks = [joined(f"{self.path}/uplink_ports", one.name) for one in self.uplinks]
        return [self.path, *kept, *made, *uplinks]

    def compare(self) -> None:
        """Adds the steps that this switch needs."""
        if self.new:
            self._create()
        else:
            self._cannot_change()
        self._find_gone()
        self._scalars()
        self._release()
        if self.uplinks != self.now:
            self.planner.uplink_changes.append(self)
        self._settings()
        self._ports()
        self._mirrors(self.path, self.place, self.switch.common, settings.SWITCH_MIRRORS, self.members)
        owner = PropertyOwner(self.path, self.place, self.switch.common, settings.SWITCH_KEYS)
        self._properties("properties", owner, self.members)
        owner = PropertyOwner(self.path, self.place, self.switch.local, settings.SWITCH_KEYS, True)
        self._properties("host_properties", owner, self.members)

    def _create(self) -> None:
        members = self.members
        mtu = members.get("mtu")
        arguments = {
            "alias": self.alias,
            "switch_id": members.get("id", str(uuid.uuid5(uuid.NAMESPACE_URL, f"vswitch:{self.alias}"))),
            "class_name": members.get("class", ""),
            "max_ports": members.get("max_ports", 0),
            "persistent": int(members.get("persistent", True)),
            "mtu": mtu or 0,
            "version": int(members.get("version", 0)),
            "flags": members.get("flags", 0),
        }
        taken = ("id", "class", "persistent", "flags", "version", "max_ports")
        after = {name: short(members[name]) for name in taken if name in members}
        if mtu is not None:
            after["mtu"] = mtu
        calls, undo = [("VSDVS_CreateVSwitch", arguments)], [("VSDVS_DestroyVSwitch", self.place)]
        self.planner.add(Phase.MAKE_SWITCHES, "create", self.path, calls, undo, None, after)

    def _cannot_change(self) -> None:
        found = self.switch
        present = {"id": found.id, "class": found.class_name}
        if found.details:
            present["persistent"] = found.persistent  # type: ignore[assignment]
            if found.connected:
                present["flags"] = found.flags  # type: ignore[assignment]
        for name, value in present.items():
            if name in self.members and self.members[name] != value:
                raise DocumentError(f"{self.path}/{name}", "cannot change")

    def _scalars(self) -> None:
        members, switch, place = self.members, self.switch, self.place
        if not self.new:
            version = members.get("version")
            if version is not None and version != switch.version:
                now = SwitchVersion.of(switch.version)
                if version < switch.version:
                    raise DocumentError(f"{self.path}/version", f"cannot be smaller than {now}")
                calls = [("DVSQEL_SwitchSetVersion", {**place, "version": int(version)})]
                undo = restore.image_calls(switch)
                self.add(Phase.MAKE_SWITCHES, "set", "version", calls, undo, short(now), short(version))
            most = members.get("max_ports")
            if most is not None and most != switch.max_ports:
                phase = Phase.MAKE_SWITCHES if most > switch.max_ports else Phase.SHRINK
                name = "DVSQEL_SwitchSetMaxPorts"
                calls, undo = [(name, {**place, "max_ports": most})], [(name, {**place, "max_ports": switch.max_ports})]
                self.add(phase, "set", "max_ports", calls, undo, switch.max_ports, most)
        connected = members.get("connected")
        if connected is not None and connected != switch.connected:
            pair = [("DVSQEL_SwitchDissociate", place)], [("DVSQEL_SwitchAssociate", place)]
            calls, undo = (pair[1], pair[0]) if connected else pair
            phase = Phase.MAKE_SWITCHES if connected else Phase.DISCONNECT
            before = None if self.new else switch.connected
            self.add(phase, "set", "connected", calls, undo, before, connected)

    def _wanted_uplinks(self) -> list[Uplink]:
        """The uplinks as they are to be: those that stay have the ports that they have, new ones that port settings are
        wanted for have one that is named."""
        wanted = self.members.get("uplinks")
        path = f"{self.path}/uplinks"
        if wanted is None:
            return list(self.now)
        present = {one.name: one.port for one in self.now}
        seen: set[str] = set()
        made = []
        for index, one in enumerate(wanted):
            if one.name in seen:
                raise DocumentError(f"{path}/{index}", f"the uplink '{one.name}' stands twice")
            seen.add(one.name)
            made.append(Uplink(one.name, one.port if one.port is not None else present.get(one.name)))
        taken = {one.port for one in made} | set(self.switch.ports) | {one.port for one in self.now}
        with_settings = self.members.get("uplink_ports", {})
        for index, one in enumerate(made):
            if one.port is None and with_settings.get(one.name):
                number = next(number for number in range(1, 1 << 16) if f"uplink-{number}" not in taken)
                made[index] = Uplink(one.name, f"uplink-{number}")
                taken.add(f"uplink-{number}")
        return made

    def set_uplinks(self, wanted: list[Uplink]) -> None:
        """The step that makes the uplinks these."""
        now = self.now
        kept, added = wanted[: len(now)], wanted[len(now) :]
        gone = [one for one in now if one.name not in names(wanted)]
        place, switch = self.place, self.switch
        calls: list[Call]
        undo: list[Call]
        if kept == now and added and all(one.port is None for one in added):
            calls = [("VSDVS_AddSwitchUplinkPort", {**place, "uplink": one.name}) for one in added]
            undo = [("VSDVS_RemoveSwitchUplinkPort", {**place, "uplink": one.name}) for one in reversed(added)]
        else:
            if len(gone) == 1 and wanted == [one for one in now if one is not gone[0]]:
                calls = [("VSDVS_RemoveSwitchUplinkPort", {**place, "uplink": gone[0].name})]
            else:
                calls = [restore.uplinks_call(self.alias, wanted)]
            undo = [restore.uplinks_call(self.alias, now), *restore.uplink_port_calls(switch, names(gone))]
            if any(switch.nics.get(one.name) not in (None, one.name) for one in gone):
                undo += restore.image_calls(switch)
        before = None if self.new and now == switch.uplinks else export.uplinks(now)
        self.add(Phase.UPLINKS, "set", "uplinks", calls, undo, before, export.uplinks(wanted))
        self.now = wanted

    def _find_gone(self) -> None:
        members, switch = self.members, self.switch
        present: set[Name] = {("uplink", one.name) for one in self.now}
        after: set[Name] = {("uplink", one.name) for one in self.uplinks}
        policies = {policy.name for policy in export.teaming_policies(switch)}
        wanted = self._policies_after()
        present |= {("policy", name) for name in policies}
        after |= {("policy", name) for name in wanted}
        private = export.value_of(switch.common, settings.SWITCH["private_vlans"]) or ()
        mentioned = members["private_vlans"] or () if "private_vlans" in members else private
        present |= {("secondary VLAN", one.secondary) for one in private}
        after |= {("secondary VLAN", one.secondary) for one in mentioned}
        self.gone = present - after
        self.missing = lambda name: name not in present

    def _policies_after(self) -> dict[str, Any]:
        """The named policies as they are to be."""
        wanted: Collection = self.members.get("teaming_policies", NOTHING)
        return table_after(
            {policy.name: policy for policy in export.teaming_policies(self.switch)},
            wanted,
            "teaming_policies" in self.members and self.planner.is_exact(wanted),
        )

    def _release(self) -> None:
        """Settings that name what goes: written or cleared first where the document mentions them, else refused."""
        if not self.gone:
            return
        for name in RELEASED_OF_SWITCH:
            self._release_one(self.path, self.place, self.switch.common, settings.SWITCH[name], self.members)
        self._release_policies()
        wanted: Collection = self.members.get("ports", NOTHING)
        exact = "ports" in self.members and self.planner.is_exact(wanted)
        for port, kept in self.switch.ports.items():
            if wanted.entries.get(port, {}) is None or (exact and port not in wanted.entries):
                continue
            path, place = joined(f"{self.path}/ports", port), {**self.place, "dvport_id": port}
            for name in RELEASED_OF_PORT:
                self._release_one(path, place, kept, settings.PORT[name], wanted.entries.get(port, {}))
        staying = {one.name: one.port for one in self.switch.uplinks if one.name in names(self.uplinks)}
        for uplink, identifier in staying.items():
            path, place = joined(f"{self.path}/uplink_ports", uplink), {**self.place, "dvport_id": str(identifier)}
            members = self.members.get("uplink_ports", {}).get(uplink, {})
            for name in RELEASED_OF_PORT:
                self._release_one(path, place, self.switch.uplink_ports[uplink], settings.PORT[name], members)

    def _release_one(self, path: str, place: Place, kept: Object, setting: Setting, members: Mapping[str, Any]) -> None:
        named: set[Name] = set()
        for values in (kept.stored, {**kept.stored, **kept.volatile}):
            if any(key in values for key in setting.keys):
                value = setting.decode({key: entry.data for key, entry in values.items()})
                named |= names_in(setting.name, value) & self.gone
        if not named:
            return
        where = f"{path}/{setting.name}"
        if setting.name not in members:
            kind, one = min(named, key=str)
            raise Busy(f"{where} names the {kind} '{one}'", path=where)
        before = short(export.value_of(kept, setting))
        value = self._filled(setting, members[setting.name])
        if value is not None and not any(self.missing(name) for name in names_in(setting.name, value)):
            action, calls, after = "set", setting.write(place, value), short(value)
        else:
            action, calls, after, value = "clear", setting.clear(place), None, None
        undo = [call for key in setting.keys for call in restore.property_calls(place, kept, key)]
        self.planner.add(Phase.RELEASE, action, where, calls, undo, before, after)
        self.released[where] = value

    def _release_policies(self) -> None:
        """The same of the table of named policies."""
        now = {policy.name: policy for policy in export.teaming_policies(self.switch)}
        going = {name for kind, name in self.gone if kind == "uplink"}
        naming = [name for name, policy in now.items() if going & {*policy.active, *policy.standby}]
        if not naming:
            return
        path = f"{self.path}/teaming_policies"
        after = self._policies_after()
        for name in naming:
            if after.get(name) == now[name]:
                uplink = min(going & {*now[name].active, *now[name].standby})
                where = joined(path, name)
                raise Busy(f"{where} names the uplink '{uplink}'", path=where)
        kept = {
            name: policy
            for name, policy in after.items()
            if not any(self.missing(("uplink", one)) for one in (*policy.active, *policy.standby))
        }
        self._table(Phase.RELEASE, now, kept)
        self.released[path] = kept

    def _settings(self) -> None:
        last = ("private_vlans", "teaming")
        members = {name: value for name, value in self.members.items() if name in settings.SWITCH}
        if self.new:
            members.pop("mtu", None)
        ordered = [name for name in settings.SWITCH if name in members and name not in last]
        for name in ordered:
            self._own_setting(name)
        if "private_vlans" in members:
            self._own_setting("private_vlans")
        if "teaming_policies" in self.members:
            path = f"{self.path}/teaming_policies"
            now = {policy.name: policy for policy in export.teaming_policies(self.switch)}
            now = self.released.get(path, now)
            after = self._policies_after()
            if after != now or list(after) != list(now):
                self._table(Phase.SWITCH, now, after)
        if "teaming" in members:
            self._own_setting("teaming")

    def _own_setting(self, name: str) -> None:
        setting, value = settings.SWITCH[name], self.members[name]
        self._setting(Phase.SWITCH, self.path, self.place, self.switch.common, setting, value, self.new)

    def _table(self, phase: Phase, now: Mapping[str, Any], after: Mapping[str, Any]) -> None:
        """The step that makes the table of named policies this."""
        place, table = self.place, [policy.to_dict() for policy in after.values()]
        name = "VSDVS_SetLSTeamingPolicy" if table else "VSDVS_ClearLSTeamingPolicy"
        calls = [(name, {**place, "table": table} if table else dict(place))]
        if f"{self.path}/teaming_policies" in self.released:
            former = [policy.to_dict() for policy in now.values()]
            undo: Calls = (("VSDVS_SetLSTeamingPolicy", {**place, "table": former}),)
        else:
            undo = restore.property_calls(place, self.switch.common, settings.TEAMING_TABLE)
        before, then = changed(now, after)
        self.add(phase, "set", "teaming_policies", calls, undo, before, then)
