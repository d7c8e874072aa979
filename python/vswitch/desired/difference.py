"""What a host lacks to be as a document says: each difference as an operation with its calls, and those that undo it."""

from __future__ import annotations

import uuid
from collections.abc import Callable, Iterable, Mapping
from typing import Any, NamedTuple

from vswitch import _walk
from vswitch._similar import did_you_mean
from vswitch.desired import document, export, order, restore, settings, state
from vswitch.desired.forms import WrittenProperty, joined
from vswitch.desired.order import Phase
from vswitch.desired.plan import Operation, Plan
from vswitch.desired.schema import Collection, StaticAddress, Uplink
from vswitch.desired.settings import Call, Calls, Place, Setting, short
from vswitch.desired.state import Object, PortState, SwitchState
from vswitch.enums import RuntimeOption, SwitchVersion
from vswitch.errors import Busy, DocumentError
from vswitch.values.base import ip
from vswitch.values.mac import MacLearning
from vswitch.values.teaming import TeamingPolicy
from vswitch.values.vlan import VlanPolicy

DEFAULT_MAX_PORTS = 128
NOTHING = Collection({})


class Step(NamedTuple):
    """An operation without its number."""

    phase: Phase
    action: str
    path: str
    calls: Calls
    undo: Calls
    before: Any
    after: Any


# What a setting names, or what goes: ("uplink", name), ("policy", name), ("secondary VLAN", number).
Name = tuple[str, str | int]


def plan(desired: object, *, exact: bool | None = None) -> Plan:
    """The plan that leads the host in use to a document's state."""
    if exact is not None and not isinstance(exact, bool):
        raise TypeError(f"exact: a bool is wanted, not {exact!r}")
    return Planner(document.read(desired), exact).plan()


def names_in(name: str, value: Any) -> set[Name]:
    """What the value of a setting names."""
    if isinstance(value, TeamingPolicy):
        return {("uplink", one) for one in (*value.active, *value.standby)}
    if isinstance(value, VlanPolicy):
        return {("secondary VLAN", value.id)} if value.private else set()
    if isinstance(value, str) and name == "teaming_override":
        return {("uplink", value)}
    return {("policy", value)} if isinstance(value, str) and name == "teaming_policy" else set()


RELEASED_OF_SWITCH = ("teaming",)
RELEASED_OF_PORT = ("teaming_override", "teaming_policy", "teaming", "vlan")


class Planner:
    """Compares a document with the host."""

    def __init__(self, members: Mapping[str, Any], exact: bool | None) -> None:
        self.members = members
        self.exact = exact
        self.steps: list[Step] = []
        self.places: list[str] = []
        self.uplink_changes: list[SwitchChange] = []

    def is_exact(self, collection: Collection) -> bool:
        """Whether a collection names all that there may be."""
        return collection.exact if self.exact is None else self.exact

    def plan(self) -> Plan:
        """The plan."""
        wanted: Collection = self.members.get("switches", NOTHING)
        own = "mac_learning" in self.members or "runtime_options" in self.members
        everything = self.is_exact(wanted) and "switches" in self.members
        host = state.read(None if everything else wanted.entries, volatile=True, own=own)
        self._uplinks_once(wanted, host.switches)
        changes: dict[str, SwitchChange] = {}
        going = [alias for alias, members in wanted.entries.items() if members is None and alias in host.switches]
        if everything:
            going += sorted(alias for alias in host.switches if alias not in wanted.entries)
        for alias, members in wanted.entries.items():
            if members is not None:
                changes[alias] = SwitchChange(self, alias, members, host.switches.get(alias))
        for alias in going:
            self._remove_switch(host.switches[alias])
        for change in changes.values():
            change.compare()
        self._uplinks()
        self._host(host)
        self._in_order(host)
        old = [alias for alias in host.switches if alias in changes]
        for alias in (*old, *(alias for alias in changes if alias not in host.switches)):
            self.places += changes[alias].places()
        self.places += [joined("switches", alias) for alias in going]
        self.steps.sort(key=lambda step: step.phase)
        return Plan([Operation(number, *step[1:]) for number, step in enumerate(self.steps, 1)], self.places)

    def _in_order(self, host: state.HostState) -> None:
        """Ports in the library's order, where the order of several shows in the text."""
        several: dict[str, set[str]] = {}
        for step in self.steps:
            parts = step.path.split("/", 4)
            if len(parts) > 3 and parts[2] == "ports":
                several.setdefault(parts[1], set()).add(parts[3])
        for path, ports in several.items():
            switch = host.switches.get(path.replace("~1", "/").replace("~0", "~"))
            if switch is not None and len(ports) > 1:
                state.in_order(switch)

    def add(
        self, phase: Phase, action: str, path: str, calls: Iterable[Call], undo: Iterable[Call], before: Any, after: Any
    ) -> None:
        """One more step."""
        self.steps.append(Step(phase, action, path, tuple(calls), tuple(undo), before, after))

    # ---- switches that go ---------------------------------------------------------------------------------------------------

    def _remove_switch(self, switch: SwitchState) -> None:
        path = joined("switches", switch.alias)
        place = {"alias": switch.alias}
        refuse_clients(path, switch, None)
        call = "VSDVS_DestroyVSwitch" if switch.connected else "DVSQEL_SwitchRemove"
        undo = restore.switch_calls(switch)
        self.add(Phase.REMOVE_SWITCHES, "remove", path, [(call, place)], undo, export.switch_members(switch), None)

    # ---- uplinks ------------------------------------------------------------------------------------------------------------

    def _uplinks_once(self, wanted: Collection, present: Mapping[str, SwitchState]) -> None:
        """Refuses an uplink on two switches, where it is not there already."""
        first: dict[str, str] = {}
        for alias, members in wanted.entries.items():
            for index, uplink in enumerate((members or {}).get("uplinks", ())):
                other = first.setdefault(uplink.name, alias)
                path = joined(joined(joined(joined("", "switches"), alias), "uplinks"), index)
                if other == alias:
                    continue
                both = [one for one in (other, alias) if one in present]
                if len(both) < 2 or any(uplink.name not in names(present[one].uplinks) for one in both):
                    raise DocumentError(path, f"the uplink '{uplink.name}' is listed on switch '{other}' too")

    def _uplinks(self) -> None:
        """The operations of all switches whose uplinks change, givers first."""
        waiting = list(self.uplink_changes)
        while waiting:
            pairs = [(one.alias, set(names(one.now)) - set(names(one.uplinks)), names(one.uplinks)) for one in waiting]
            done, ring = order.givers_first(
                [(alias, given, [name for name in taken if name not in names(self._now(alias))]) for alias, given, taken in pairs]
            )
            by_alias = {one.alias: one for one in waiting}
            for alias in done:
                by_alias[alias].set_uplinks(by_alias[alias].uplinks)
            waiting = [one for one in waiting if one.alias not in done]
            if ring is not None:
                change = by_alias[ring]
                change.set_uplinks([one for one in change.uplinks if one.name in names(change.now)])

    def _now(self, alias: str) -> list[Uplink]:
        return next(one.now for one in self.uplink_changes if one.alias == alias)

    # ---- the host's own ---------------------------------------------------------------------------------------------------------

    def _host(self, host: state.HostState) -> None:
        learning = self.members.get("mac_learning")
        if learning is not None and learning != host.mac_learning:
            call, before = "VSQEL_SetGlobalMACLearningProps", host.mac_learning
            calls, undo = [(call, {"props": learning.to_dict()})], [(call, {"props": before.to_dict()})]
            self.add(Phase.HOST, "set", "mac_learning", calls, undo, short(before), short(learning))
        now = {option.option_name: value for option, value in host.options.items()}
        wanted = {name: _address(value) for name, value in self.members.get("runtime_options", {}).items()}
        after = {name: value for name, value in wanted.items() if now.get(name) != value}
        if after:
            former = {name: now[name] for name in after if name in now}
            calls = [("VSQEL_SetRuntimeOptions", {"options": after})]
            undo = [("VSQEL_SetRuntimeOptions", {"options": former})]
            self.add(Phase.HOST, "set", "runtime_options", calls, undo, former, dict(after))


def _address(value: Any) -> Any:
    """An address as the library writes it; what is none is left to the library."""
    try:
        return ip(value) if isinstance(value, str) else value
    except ValueError:
        return value


def names(uplinks: Iterable[Uplink]) -> list[str]:
    """The names of uplinks."""
    return [one.name for one in uplinks]


def refuse_clients(path: str, switch: SwitchState, ports: Iterable[str] | None) -> None:
    """Busy if a port of these, or any, has a client that is no uplink."""
    if not switch.connected:
        return
    found = state.clients(switch.alias)
    for port in found if ports is None else ports:
        if port in found:
            raise Busy(f"port '{port}' has the client '{found[port]}'", path=path if ports is None else joined(path, port))


class SwitchChange:
    """What changes on one switch."""

    def __init__(self, planner: Planner, alias: str, members: Mapping[str, Any], found: SwitchState | None) -> None:
        self.planner, self.alias, self.members = planner, alias, members
        self.path = joined("switches", alias)
        self.place: Place = {"alias": alias}
        self.new = found is None
        self.switch = found or SwitchState(
            alias,
            version=int(members.get("version", SwitchVersion.DVS_70)),
            max_ports=members.get("max_ports", DEFAULT_MAX_PORTS),
        )
        self.now = list(self.switch.uplinks)
        self.uplinks = self._wanted_uplinks()
        self.gone: set[Name] = set()
        self.missing: Callable[[Name], bool] = lambda name: False
        self.released: dict[str, Any] = {}
        self.made_ports: list[str] = []
        self.lost_ports: list[str] = []

    def add(self, phase: Phase, action: str, name: str, calls: Iterable[Call], undo: Iterable[Call], *values: Any) -> None:
        """A step on a member of this switch."""
        self.planner.add(phase, action, f"{self.path}/{name}", calls, undo, *values)

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

    # ---- the switch itself ---------------------------------------------------------------------------------------------------

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

    # ---- uplinks ---------------------------------------------------------------------------------------------------------------

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

    # ---- what goes, and who names it ---------------------------------------------------------------------------------------------

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

    # ---- settings -------------------------------------------------------------------------------------------------------------------

    def _filled(self, setting: Setting, value: Any) -> Any:
        """A teaming policy that says nothing of uplinks has all of them."""
        if isinstance(value, settings.AllUplinks):
            return value.policy.replace(active=tuple(names(self.uplinks)))
        return value

    def _settings(self) -> None:
        last = ("private_vlans", "teaming")
        members = {name: value for name, value in self.members.items() if name in settings.SWITCH}
        if self.new:
            members.pop("mtu", None)
        ordered = [name for name in settings.SWITCH if name in members and name not in last]
        for name in ordered:
            self._setting(Phase.SWITCH, self.path, self.place, self.switch.common, settings.SWITCH[name], members[name], self.new)
        if "private_vlans" in members:
            setting = settings.SWITCH["private_vlans"]
            self._setting(Phase.SWITCH, self.path, self.place, self.switch.common, setting, members["private_vlans"], self.new)
        if "teaming_policies" in self.members:
            path = f"{self.path}/teaming_policies"
            now = {policy.name: policy for policy in export.teaming_policies(self.switch)}
            now = self.released.get(path, now)
            after = self._policies_after()
            if after != now or list(after) != list(now):
                self._table(Phase.SWITCH, now, after)
        if "teaming" in members:
            setting = settings.SWITCH["teaming"]
            self._setting(Phase.SWITCH, self.path, self.place, self.switch.common, setting, members["teaming"], self.new)

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

    def _setting(
        self, phase: Phase, path: str, place: Place, kept: Object, setting: Setting, value: Any, new: bool
    ) -> None:
        """The step that a setting needs, if any. `new`: its object is made by this plan."""
        where = f"{path}/{setting.name}"
        own = any(key in kept.stored for key in setting.keys)
        now = setting.decode(kept.data()) if own else None
        value = self._filled(setting, value)
        released = where in self.released
        if released:
            now = self.released[where]
            own = now is not None
        if value is None:
            if own:
                undo = [call for key in setting.keys for call in restore.property_calls(place, kept, key)]
                self.planner.add(phase, "clear", where, setting.clear(place), undo, short(now), None)
            return
        if own and now == value:
            return
        if not own and not new and not released and self._is_default(path, setting, value):
            return
        back = () if new and "dvport_id" in place else self._undo(place, kept, setting, released)
        self.planner.add(phase, "set", where, setting.write(place, value), back, short(now), short(value))

    def _undo(self, place: Place, kept: Object, setting: Setting, released: bool) -> Iterable[Call]:
        if released:
            return setting.clear(place)
        return [call for key in setting.keys for call in restore.property_calls(place, kept, key)]

    def _is_default(self, path: str, setting: Setting, value: Any) -> bool:
        """Whether a setting that is nowhere written has this value."""
        if setting.name != "teaming":
            return setting.default is not None and bool(value == setting.default)
        if path != self.path and self._teaming_after():
            return False
        return bool(value == TeamingPolicy(active=tuple(names(self.uplinks))))

    def _teaming_after(self) -> bool:
        """Whether the switch will have a teaming policy of its own."""
        if "teaming" in self.members:
            return self.members["teaming"] is not None
        return any(key in self.switch.common.stored for key in settings.SWITCH["teaming"].keys)

    # ---- ports ----------------------------------------------------------------------------------------------------------------------

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
                raise DocumentError(path, f"is the port of the uplink '{of_uplinks[port]}': use the member 'uplink_ports'")
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

    # ---- tables, properties, addresses --------------------------------------------------------------------------------------------------

    def _mirrors(self, path: str, place: Place, kept: Object, key: str, members: Mapping[str, Any]) -> None:
        wanted: Collection | None = members.get("mirrors")
        if wanted is None:
            return
        now = {session.id: session for session in export.sessions(kept, key)}
        after = table_after(now, wanted, self.planner.is_exact(wanted))
        if after == now and list(after) == list(now):
            return
        where: Place = {"dvport_id": None, **place}
        lost = [name for name in now if name not in after]
        same = {name: after[name] for name in now if name in after} == {name: now[name] for name in now if name in after}
        added = [after[name] for name in after if name not in now]
        name = "VSDVS_SetDVMirrorSessions"
        arguments: dict[str, Any] = {"table": [session.to_dict() for session in after.values()]}
        if not after:
            name, arguments = "VSDVS_ClearDVMirrorSessions", {}
        elif same and not lost:
            name, arguments = "VSDVS_AppendDVMirrorSessions", {"table": [session.to_dict() for session in added]}
        phase = Phase.LOSE_MIRRORS if same and not added else Phase.MIRRORS_THAT_LOSE if lost else Phase.MIRRORS
        undo = restore.property_calls(place, kept, key)
        before, then = changed(now, after)
        self.planner.add(phase, "set", f"{path}/mirrors", [(name, {**where, **arguments})], undo, before, then)

    def _properties(self, member: str, owner: PropertyOwner, members: Mapping[str, Any]) -> None:
        wanted: Collection | None = members.get(member)
        if wanted is None:
            return
        path = f"{owner.path}/{member}"
        kept = owner.kept
        going = [key for key, value in wanted.entries.items() if value is None and key in kept.stored | kept.volatile]
        if self.planner.is_exact(wanted):
            free = (key for key in kept.stored if export.is_free(key, owner.keys))
            going += sorted(key for key in free if key not in wanted.entries)
        for key in going:
            entry = kept.in_effect(key)
            assert entry is not None
            calls = [settings.clear_property(owner.place, key, entry.owner or None, owner.host)]
            undo = restore.property_calls(owner.place, kept, key, owner.host)
            stored = kept.stored.get(key)
            before = export.property_form(entry, key in kept.volatile and stored is None)
            if stored is not None:
                before = export.property_form(stored)
            self.planner.add(Phase.LOSE_PROPERTIES, "clear", joined(path, key), calls, undo, before, None)
        for key, value in wanted.entries.items():
            if value is not None:
                self._property(joined(path, key), owner, key, value)

    def _property(self, path: str, owner: PropertyOwner, key: str, wanted: WrittenProperty) -> None:
        kept = owner.kept
        now = kept.in_effect(key) if wanted.volatile else kept.stored.get(key)
        other = kept.in_effect(key)
        if now is not None and now.data == wanted.data and wanted.owner in (None, now.owner):
            return
        calls: list[Call] = []
        if other is not None and other.owner and wanted.owner is not None and other.owner != wanted.owner:
            calls.append(settings.clear_property(owner.place, key, other.owner, owner.host))
        keeper = wanted.owner if wanted.owner is not None else (other.owner if other is not None else "")
        calls.append(settings.write_property(owner.place, key, wanted.data, keeper or None, wanted.volatile, owner.host))
        undo = restore.property_calls(owner.place, kept, key, owner.host)
        before = export.property_form(now, wanted.volatile and key in kept.volatile) if now is not None else None
        after = export.property_form(state.Entry(wanted.data, keeper, 0), wanted.volatile)
        self.planner.add(Phase.PROPERTIES, "set", path, calls, undo, before, after)

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


class PropertyOwner(NamedTuple):
    """Whose properties these are: where they are written, what is there, and the keys that have members of their own."""

    path: str
    place: Place
    kept: Object
    keys: dict[str, str]
    host: bool = False


def table_after(now: Mapping[str, Any], wanted: Collection, exact: bool) -> dict[str, Any]:
    """The entries of a table as they are to be: in their places, new ones behind them."""
    entries = wanted.entries
    after = {name: entries.get(name, one) for name, one in now.items() if not exact or name in entries}
    after.update(entries)
    return {name: now[name] if now.get(name) == one else one for name, one in after.items() if one is not None}


def changed(now: Mapping[str, Any], after: Mapping[str, Any]) -> tuple[dict[str, Any], dict[str, Any]]:
    """The entries that change, as they are and as they will be, in the short form."""
    names = [name for name in (*now, *(name for name in after if name not in now)) if now.get(name) != after.get(name)]
    return (
        {name: short(now[name]) for name in names if name in now},
        {name: short(after[name]) for name in names if name in after},
    )
