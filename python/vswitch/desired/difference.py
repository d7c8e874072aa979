"""What a host lacks to be as a document says: each difference as an operation with its calls, and what undoes it."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from typing import Any, NamedTuple

from vswitch.desired import document, export, order, restore, state
from vswitch.desired.names import joined
from vswitch.desired.object_change import NOTHING, names, refuse_clients
from vswitch.desired.order import Phase
from vswitch.desired.plan import Operation, Plan
from vswitch.desired.schema import Collection
from vswitch.desired.settings import Call, Calls
from vswitch.desired.state import SwitchState
from vswitch.desired.switch_change import SwitchChange
from vswitch.errors import DocumentError
from vswitch.values.base import ip
from vswitch.values.kinds import short


class Step(NamedTuple):
    """An operation without its number."""

    phase: Phase
    action: str
    path: str
    calls: Calls
    undo: Calls
    before: Any
    after: Any


def plan(desired: object, *, exact: bool | None = None) -> Plan:
    """The plan that leads the host in use to a document's state."""
    if exact is not None and not isinstance(exact, bool):
        raise TypeError(f"exact: a bool is wanted, not {exact!r}")
    return Planner(document.read(desired), exact).plan()


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

    # ---- switches that go -----------------------------------------------------------------------------------------

    def _remove_switch(self, switch: SwitchState) -> None:
        path = joined("switches", switch.alias)
        place = {"alias": switch.alias}
        refuse_clients(path, switch, None)
        call = "VSDVS_DestroyVSwitch" if switch.connected else "DVSQEL_SwitchRemove"
        undo = restore.switch_calls(switch)
        self.add(Phase.REMOVE_SWITCHES, "remove", path, [(call, place)], undo, export.switch_members(switch), None)

    # ---- uplinks --------------------------------------------------------------------------------------------------

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
            pairs = []
            for one in waiting:
                now, wanted = names(one.now), names(one.uplinks)
                given = [name for name in now if name not in wanted]
                pairs.append((one.alias, given, [name for name in wanted if name not in now]))
            done, ring = order.givers_first(pairs)
            by_alias = {one.alias: one for one in waiting}
            for alias in done:
                by_alias[alias].set_uplinks(by_alias[alias].uplinks)
            waiting = [one for one in waiting if one.alias not in done]
            if ring is not None:
                change = by_alias[ring]
                change.set_uplinks([one for one in change.uplinks if one.name in names(change.now)])

    # ---- the host's own -------------------------------------------------------------------------------------------

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
