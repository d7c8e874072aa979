"""What changes on an object: its settings, its tables, its properties, each with the calls that undo it."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Mapping
from typing import TYPE_CHECKING, Any, NamedTuple

from vswitch.desired import export, restore, settings, state
from vswitch.desired.names import joined
from vswitch.desired.order import Phase
from vswitch.desired.schema import Collection, Uplink
from vswitch.desired.settings import Call, Place, Setting
from vswitch.desired.state import Object, SwitchState
from vswitch.desired.value_forms import AllUplinks, WrittenProperty
from vswitch.enums import SwitchVersion
from vswitch.errors import Busy
from vswitch.values.kinds import short
from vswitch.values.teaming import TeamingPolicy
from vswitch.values.vlan import VlanPolicy

if TYPE_CHECKING:
    from vswitch.desired.difference import Planner

DEFAULT_MAX_PORTS = 128
NOTHING = Collection({})
# What a setting names, or what goes: ("uplink", name), ("policy", name), ("secondary VLAN", number).
Name = tuple[str, str | int]


def names_in(name: str, value: Any) -> set[Name]:
    """What the value of a setting names."""
    if isinstance(value, TeamingPolicy):
        return {("uplink", one) for one in (*value.active, *value.standby)}
    if isinstance(value, VlanPolicy):
        return {("secondary VLAN", value.id)} if value.private else set()
    if isinstance(value, str) and name == "teaming_override":
        return {("uplink", value)}
    return {("policy", value)} if isinstance(value, str) and name == "teaming_policy" else set()


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
            where = path if ports is None else joined(path, port)
            raise Busy(f"port '{port}' has the client '{found[port]}'", path=where)


class PropertyOwner(NamedTuple):
    """Whose properties these are: where they are written, what is there, the keys that have members of their own."""

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


class ObjectChange:
    """What changes on a switch and all that is on it: what every object of it needs."""

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

    def _wanted_uplinks(self) -> list[Uplink]:
        """The uplinks as they are to be."""
        raise NotImplementedError

    def add(
        self, phase: Phase, action: str, name: str, calls: Iterable[Call], undo: Iterable[Call], *values: Any
    ) -> None:
        """A step on a member of this switch."""
        self.planner.add(phase, action, f"{self.path}/{name}", calls, undo, *values)

    def _filled(self, setting: Setting, value: Any) -> Any:
        """A teaming policy that says nothing of uplinks has all of them."""
        if isinstance(value, AllUplinks):
            return value.policy.replace(active=tuple(names(self.uplinks)))
        return value

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
        # A port that is made here goes before anything else is taken back. That of an uplink goes with its uplink,
        # which stays while a setting names it.
        goes = new and "dvport_id" in place and path.split("/")[2] == "ports"
        back = () if goes else self._undo(place, kept, setting, released)
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
        same = all(after[name] == now[name] for name in now if name in after)
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
        keeper_name = keeper or None
        calls.append(settings.write_property(owner.place, key, wanted.data, keeper_name, wanted.volatile, owner.host))
        undo = restore.property_calls(owner.place, kept, key, owner.host)
        before = export.property_form(now, wanted.volatile and key in kept.volatile) if now is not None else None
        after = export.property_form(state.Entry(wanted.data, keeper, 0), wanted.volatile)
        self.planner.add(Phase.PROPERTIES, "set", path, calls, undo, before, after)
