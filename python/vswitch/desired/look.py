"""What is at the paths of operations: read after and before an apply, and compared with what is wanted."""

from __future__ import annotations

from collections.abc import Iterable
from typing import Any

from vswitch.desired import export, order, settings, state
from vswitch.desired.names import split
from vswitch.desired.plan import Operation, place_of
from vswitch.desired.state import Object, PortState, SwitchState
from vswitch.enums import SwitchVersion
from vswitch.values.kinds import short


class Look:
    """The host as it is now, as far as some operations concern it."""

    def __init__(self, operations: Iterable[Operation]) -> None:
        self.paths = {operation.path: place_of(operation.path) for operation in operations}
        aliases = {split(place)[1] for place, _ in self.paths.values() if place}
        self.host = state.read(aliases, volatile=True, own=any(not place for place, _ in self.paths.values()))
        self._objects: dict[str, Any] = {}

    def differs(self, operation: Operation, expected: Any) -> tuple[str, Any, Any] | None:
        """Where what is at an operation's path is not as expected, what is there and what is expected; None if it
        is."""
        place, names = self.paths[operation.path]
        found = self._object(place)
        if not names:
            return self._object_differs(operation, found, expected)
        if found is None:
            return None if not expected else (operation.path, None, expected)
        if names[0] in order.TABLES:
            return self._table_differs(operation, self._table(found, names[0]), expected or {})
        if len(names) == 2:
            now = self._property(operation, found, *names)
        else:
            now = self._member(found, names[0])
            shared = settings.PORT.get(names[0]) if isinstance(found, PortState) else None
            if shared is not None and settings.MANAGEMENT in shared.keys:
                # Whether the default is written depends on the other setting of the property, too.
                default = short(shared.default)
                now, expected = default if now is None else now, default if expected is None else expected
        return None if now == expected else (operation.path, now, expected)

    def _object(self, place: str) -> Any:
        """The host, switch or port at a path; None if it is not there."""
        if not place:
            return self.host
        if place not in self._objects:
            parts = split(place)
            switch = self.host.switches.get(parts[1])
            found: Any = switch
            if len(parts) == 4 and switch is not None:
                found = (switch.ports if parts[2] == "ports" else switch.uplink_ports).get(parts[3])
            self._objects[place] = found
        return self._objects[place]

    def _object_differs(self, operation: Operation, found: Any, expected: Any) -> tuple[str, Any, Any] | None:
        if expected is None or found is None:
            return None if found is expected else (operation.path, None if found is None else "there", expected)
        if operation.action == "create":
            for name, value in expected.items():
                now = self._member(found, name)
                if now != value:
                    return f"{operation.path}/{name}", now, value
            return None
        now = export.switch_members(found) if isinstance(found, SwitchState) else export.port_members(found)
        return None if now == expected else (operation.path, now, expected)

    def _table_differs(self, operation: Operation, now: Any, expected: Any) -> tuple[str, Any, Any] | None:
        for name in (operation.before or {}) | (operation.after or {}):
            if now.get(name) != expected.get(name):
                return f"{operation.path}/{name}", now.get(name), expected.get(name)
        return None

    def _table(self, found: Any, name: str) -> dict[str, Any]:
        if name == "runtime_options":
            return {option.option_name: value for option, value in self.host.options.items()}
        if name == "teaming_policies":
            return {policy.name: short(policy) for policy in export.teaming_policies(found)}
        if isinstance(found, SwitchState):
            return export.mirrors(found.common, settings.SWITCH_MIRRORS)
        return export.mirrors(found, settings.PORT_MIRRORS)

    def _property(self, operation: Operation, found: Any, member: str, key: str) -> Any:
        kept: Object = found
        if isinstance(found, SwitchState):
            kept = found.common if member == "properties" else found.local
        sides = (operation.before, operation.after)
        if any(isinstance(side, dict) and side.get("volatile") for side in sides):
            entry = kept.in_effect(key)
            return None if entry is None else export.property_form(entry, key in kept.volatile)
        entry = kept.stored.get(key)
        return None if entry is None else export.property_form(entry)

    def _member(self, found: Any, name: str) -> Any:
        """The short form of a member; None for a setting that is not own."""
        if isinstance(found, state.HostState):
            return short(found.mac_learning)
        if isinstance(found, SwitchState):
            if name in settings.SWITCH:
                return self._setting(found.common, settings.SWITCH[name])
            if name == "uplinks":
                return export.uplinks(found.uplinks)
            if name == "version":
                return short(SwitchVersion.of(found.version))
            return getattr(found, "class_name" if name == "class" else name)
        assert isinstance(found, PortState)
        if name in settings.PORT:
            return self._setting(found, settings.PORT[name])
        return export.static_addresses(found) or None if name == "static_addresses" else found.external_id

    @staticmethod
    def _setting(kept: Object, setting: settings.Setting) -> Any:
        return short(export.value_of(kept, setting))
