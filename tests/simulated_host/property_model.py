"""The property store of the model: values in two lifetimes, owners, and the rules of the properties that have rules."""

from __future__ import annotations

import dataclasses
import struct
from collections.abc import Callable, Iterable
from typing import TYPE_CHECKING, Any, ClassVar

if TYPE_CHECKING:
    from host_model import Switch


OK = {"QEL_OK"}
NOT_FOUND = {"QEL_NOT_FOUND"}


def refused(**conditions: bool) -> set[str]:
    """The statuses whose condition holds, or QEL_OK."""
    return {status for status, holds in conditions.items() if holds} or OK


def number(value: int) -> bytes:
    return struct.pack("<I", value)


@dataclasses.dataclass
class Known:
    """A property that the host has rules for."""

    scope: str
    # Of the model and the switch.
    default: Callable[..., bytes]
    # The statuses that a value is refused with: of the model, the switch, the port's identifier and the value. Read
    # only without one.
    refusals: Callable[..., set[str]] | None = None
    # Values that suit it.
    samples: list[bytes] = dataclasses.field(default_factory=list)
    # Rules tie it to other properties. No rule says how such a tie meets a volatile value.
    is_tied: bool = False


def limited(refuses: Callable[[bytes], bool]) -> Callable[..., set[str]]:
    """The refusals of a property whose values depend on nothing else."""
    return lambda model, switch, dvport_id, data: refused(QEL_BAD_PARAM=refuses(data))


def outside(lowest: int, highest: int) -> Callable[[bytes], bool]:
    return lambda data: len(data) != 4 or not lowest <= struct.unpack("<I", data)[0] <= highest


@dataclasses.dataclass
class Property:
    owner: str
    persistent: bytes | None = None
    volatile: bytes | None = None


class PropertyModel:
    switches: dict[str, Switch]
    known: ClassVar[dict[str, Known]] = {}

    def place(self, alias: str, scope: str, dvport_id: str | None, name: str) -> tuple[set[str], dict[Any, Any], Any]:
        """The statuses that the place of a property is refused with, the properties there, and its key."""
        if alias not in self.switches:
            return NOT_FOUND, {}, None
        switch = self.switches[alias]
        port = switch.ports.get(dvport_id or "")
        if scope == "port" and port is None:
            return NOT_FOUND, {}, None
        known = self.known.get(name)
        if known and (known.scope == "port") != (scope == "port"):
            return {"QEL_BAD_PARAM"}, {}, None
        if scope == "port":
            assert port
            return OK, port.properties, name
        return OK, switch.properties, (known.scope if known else scope, name)

    def refusals(self, alias: str, dvport_id: str | None, name: str, data: bytes) -> set[str]:
        """Of the rules of the property, whose place is right."""
        known = self.known.get(name)
        if known is None:
            return set()
        if known.refusals is None:
            return {"QEL_READ_ONLY"}
        return known.refusals(self, self.switches[alias], dvport_id, data) - OK

    def set_property(
        self, alias: str, scope: str, dvport_id: str | None, name: str, data: bytes, owner: str = "",
        persistent: bool = True,
    ) -> set[str]:
        statuses, properties, key = self.place(alias, scope, dvport_id, name)
        if statuses != OK:
            return statuses
        stored = properties.get(key)
        refusals = self.refusals(alias, dvport_id, name, data)
        if stored is not None and stored.owner and owner and stored.owner != owner:
            refusals = refusals | {"QEL_NO_PERMISSION"}
        if refusals:
            return refusals
        stored = properties.setdefault(key, Property(owner))
        stored.owner = stored.owner or owner
        if persistent:
            stored.persistent, stored.volatile = data, None
        else:
            stored.volatile = data
        return OK

    def get_property(
        self, alias: str, scope: str, dvport_id: str | None, name: str, owner: str = "", persistent: bool = False
    ) -> tuple[set[str], bytes | None]:
        statuses, properties, key = self.place(alias, scope, dvport_id, name)
        if statuses != OK:
            return statuses, None
        stored = properties.get(key)
        if owner and (stored is None or stored.owner != owner):
            return NOT_FOUND, None
        value = None
        if stored is not None:
            value = stored.persistent if persistent or stored.volatile is None else stored.volatile
        if value is None and name in self.known:
            value = self.known[name].default(self, self.switches[alias])
        return (OK, value) if value is not None else (NOT_FOUND, None)

    def in_effect(self, switch: Switch, name: str, dvport_id: str | None = None) -> bytes:
        """The value in effect of a property with rules, of the switch or of a port of it."""
        value = self.get_property(switch.alias, self.known[name].scope, dvport_id, name)[1]
        assert value is not None
        return value

    def clear_property(
        self, alias: str, scope: str, dvport_id: str | None, name: str, owner: str = "", persistent: bool = True
    ) -> set[str]:
        statuses, properties, key = self.place(alias, scope, dvport_id, name)
        if statuses != OK:
            return statuses
        known = self.known.get(name)
        stored = properties.get(key)
        nothing = stored is None or (not persistent and stored.volatile is None)
        statuses = refused(
            QEL_READ_ONLY=known is not None and known.refusals is None,
            QEL_NO_PERMISSION=stored is not None and bool(owner) and stored.owner != owner,
            QEL_NOT_FOUND=nothing and known is None,
        )
        if known and known.is_tied and not nothing and persistent:
            # What would be in effect then has to suit the others.
            default = known.default(self, self.switches[alias])
            statuses = (statuses - OK | self.refusals(alias, dvport_id, name, default)) or OK
        if statuses == OK and stored is not None:
            stored.volatile = None
            if persistent or stored.persistent is None:
                del properties[key]
        return statuses

    def set_port_value(self, alias: str, dvport_id: str | None, name: str, data: bytes) -> set[str]:
        """A typed call: persistent, and of no owner."""
        return self.set_property(alias, "port", dvport_id, name, data)

    def set_switch_value(self, alias: str, name: str, data: bytes) -> set[str]:
        return self.set_property(alias, "global", None, name, data)

    def clear_typed(self, alias: str, name: str, dvport_id: str | None = None) -> set[str]:
        return self.clear_property(alias, self.known[name].scope, dvport_id, name)

    def forget_volatile(self) -> None:
        self.forget_volatile_of(self.switches.values())

    @staticmethod
    def forget_volatile_of(switches: Iterable[Switch]) -> None:
        for switch in switches:
            stores: list[dict[Any, Property]] = [
                switch.properties,
                *(port.properties for port in switch.ports.values()),
            ]
            for properties in stores:
                for key in list(properties):
                    properties[key].volatile = None
                    if properties[key].persistent is None:
                        del properties[key]
