"""The named teaming policies of a switch."""

from __future__ import annotations

from collections.abc import Iterable

from vswitch import _hints
from vswitch._calls import Packed, call, take
from vswitch.errors import AlreadyExists, NotFound
from vswitch.handles.collection import Collection, text
from vswitch.handles.setting import named, one_of
from vswitch.values.base import several, truth
from vswitch.values.teaming import NamedTeaming, table_bytes, table_of

__all__ = ["TeamingPolicies"]

_policy = one_of("teaming.NamedTeaming")


class TeamingPolicies(Collection[NamedTeaming]):
    """Named teaming policies by name, in the order of their table; a port chooses one by `port.teaming_policy`."""

    __slots__ = ("_alias",)

    def __init__(self, alias: str) -> None:
        self._alias = alias

    def _all(self) -> dict[str, NamedTeaming]:
        return {policy.name: policy for policy in take(table_of, "VSDVS_GetLSTeamingPolicyTable", self._alias)}

    def _missing(self, name: str) -> str:
        return _hints.asked(_hints.no_policy, self._alias, name, list(self._all()))

    @property
    def in_force(self) -> tuple[NamedTeaming, ...]:
        """What the running switch works with: the policies without uplinks that it does not have. WrongState where it
        has no port set."""
        return take(table_of, "VSQEL_GetLSTeamingPolicyTable", self._alias)

    def create(self, policy: NamedTeaming, *, exist_ok: bool = False) -> NamedTeaming:
        """Adds a policy behind the others and returns it; with `exist_ok` one of that name that is there, unchanged.
        AlreadyExists, NotFound for an uplink that the switch does not have, LimitExceeded, BadParameter."""
        policy = named("policy", _policy, policy)
        there = self._all()
        if policy.name in there:
            if named("exist_ok", truth, exist_ok):
                return there[policy.name]
            raise AlreadyExists(f"teaming policy {policy.name!r} exists on switch {self._alias!r}")
        self.set((*there.values(), policy))
        return policy

    def remove(self, name: str, *, missing_ok: bool = False) -> bool:
        """Removes a policy; returns whether there was one. Ports keep their choice, which is not in force then.
        NotFound."""
        there = self._all()
        if there.pop(text("name", name), None) is None:
            if named("missing_ok", truth, missing_ok):
                return False
            raise NotFound(_hints.asked(_hints.no_policy, self._alias, name, list(there)))
        if there:
            self.set(there.values())
        else:
            self.clear()
        return True

    def __delitem__(self, name: str) -> None:
        self.remove(name)

    def set(self, policies: Iterable[NamedTeaming]) -> None:
        """Replaces all. AlreadyExists for a name twice; otherwise as `create`."""
        listed = named("policies", lambda given: several(given, _policy), policies)
        shown = [policy.to_dict() for policy in listed]
        call("VSDVS_SetLSTeamingPolicy", self._alias, Packed("LSTeamTable", table_bytes(listed), shown))

    def clear(self) -> None:
        """Removes all; that there are none is no error."""
        call("VSDVS_ClearLSTeamingPolicy", self._alias)

    def __repr__(self) -> str:
        return f"<TeamingPolicies of switch {self._alias!r}>"
