"""The switches of the host."""

from __future__ import annotations

from typing import TYPE_CHECKING

from vswitch import _walk
from vswitch._calls import call
from vswitch.errors import AlreadyExists, NotFound
from vswitch.handles.collection import Collection, text
from vswitch.handles.setting import named
from vswitch.handles.switch import Switch
from vswitch.values.kinds import number_of, truth, whole_number

if TYPE_CHECKING:
    from vswitch.enums import SwitchVersion

__all__ = ["Switches"]

_VERSION = number_of("SwitchVersion")


def made_identifier(alias: str) -> str:
    """The identifier of a switch that is made without one: always the same for an alias."""
    import uuid

    return str(uuid.uuid5(uuid.NAMESPACE_URL, f"vswitch:{alias}"))


class Switches(Collection[Switch]):
    """The switches of the host by alias, in the library's order, also those without a port set."""

    __slots__ = ()

    def _all(self) -> dict[str, Switch]:
        return {alias: Switch(alias) for alias in _walk.aliases()}

    def _find(self, name: str) -> Switch | None:
        return Switch(name) if _walk.switch_handle(name) is not None else None

    def _missing(self, name: str) -> str:
        from vswitch import _hints

        return _hints.asked(_hints.no_switch, name)

    def create(
        self,
        alias: str,
        *,
        id: str | None = None,  # noqa: A002 - the field's name
        class_name: str = "",
        max_ports: int = 0,
        persistent: bool = True,
        mtu: int = 0,
        version: SwitchVersion | int = 0,
        flags: int = 0,
        connected: bool = True,
        exist_ok: bool = False,
    ) -> Switch:
        """Makes a switch and returns it.

        `alias`: 1 to 80 bytes. `id`: 1 to 63 bytes; None: made of the alias, always the same. `class_name`: empty for
        the usual one. `max_ports`: 1 to 8192, 0 for the usual number. `persistent`: it outlives a boot. `mtu`: 1280 to
        9000 bytes, 0 for the default. `version`: 0 for the latest. `flags`: kept and reported. `connected`: with a port
        set; without one `class_name`, `persistent`, `mtu` and `flags` keep their defaults (ValueError). `exist_ok`: a
        switch that is there is returned unchanged, unless its identifier is not `id`. AlreadyExists, BadParameter,
        LimitExceeded, NotSupported, NotFound for another class.
        """
        switch = Switch(alias)
        name = text("id", id) if id is not None else made_identifier(alias)
        class_name = text("class_name", class_name)
        max_ports = named("max_ports", whole_number, max_ports)
        persistent, connected = named("persistent", truth, persistent), named("connected", truth, connected)
        mtu, flags = named("mtu", whole_number, mtu), named("flags", whole_number, flags)
        version = int(named("version", _VERSION.accept, version))
        if not connected and (class_name or not persistent or mtu or flags):
            raise ValueError("connected: a switch without a port set has no class_name, persistent, mtu or flags")
        if named("exist_ok", truth, exist_ok) and switch.exists:
            return self._same(switch, id)
        try:
            if connected:
                arguments = (class_name, max_ports, int(persistent), mtu, version, flags)
                call("VSDVS_CreateVSwitch", alias, name, *arguments)
            else:
                call("DVSQEL_SwitchAdd", alias, name, max_ports, version)
        except AlreadyExists:
            if not exist_ok or not switch.exists:
                raise
            return self._same(switch, id)
        return switch

    def _same(self, switch: Switch, id: str | None) -> Switch:  # noqa: A002 - the field's name
        """A switch that is there, if it has the wanted identifier."""
        if id is not None and switch.id != id:
            raise AlreadyExists(f"switch {switch.alias!r} exists with the identifier {switch.id!r}")
        return switch

    def remove(self, alias: str, *, missing_ok: bool = False) -> bool:
        """Removes a switch with its ports and properties; returns whether there was one. Busy where a port has a
        client. NotFound."""
        switch = Switch(alias)
        missing_ok = named("missing_ok", truth, missing_ok)
        try:
            call("VSDVS_DestroyVSwitch" if switch.connected else "DVSQEL_SwitchRemove", switch.alias)
        except NotFound:
            if missing_ok and not switch.exists:
                return False
            raise
        return True

    def by_id(self, id: str) -> Switch:  # noqa: A002 - the field's name
        """The switch of an identifier. NotFound."""
        wanted = text("id", id)
        for alias in _walk.aliases():
            if call("DVS_SwitchId", _walk.switch_handle(alias)) == wanted:
                return Switch(alias)
        raise NotFound(f"no switch with the identifier {wanted!r}")

    def by_portset(self, name: str) -> Switch:
        """The switch of a port set's name. NotFound."""
        return Switch(call("VSDVS_GetAliasFromPortset", text("name", name)))

    def __repr__(self) -> str:
        return "<Switches>"
