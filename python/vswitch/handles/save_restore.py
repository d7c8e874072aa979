"""Save and restore: keeping what switches only have while they run over an upgrade of their modules."""

from __future__ import annotations

from types import TracebackType
from typing import Any, Self

import libvswitch

from vswitch._calls import Queried, call
from vswitch.enums import SaveRestoreMode
from vswitch.handles.collection import text
from vswitch.handles.setting import named
from vswitch.values.base import truth, whole_number

__all__ = ["ModuleSteps", "SaveRestore"]

_M = SaveRestoreMode
ACTIVATE, DEACTIVATE = libvswitch.RTM_IOCCMD_ORV_ACTIVATE, libvswitch.RTM_IOCCMD_ORV_DEACTIVATE


def _portset(alias: str) -> str:
    name: str = call("DVSAliasToPortsetName", alias)
    return name


class SaveRestore:
    """Steps of save and restore for some switches, all of them or none in each step.

    Each step is a method that returns the object itself. At the end of a `with` block `complete()` is called if a step
    was made and it is not complete. `outage`, after `restore_complete`: the longest outage of the switches in
    milliseconds.
    """

    __slots__ = ("_begun", "_dual_load", "_enhanced", "_max_outage", "_names", "outage")

    outage: int | None

    def __init__(self, names: tuple[str, ...], *, dual_load: bool, max_outage: int, enhanced: bool) -> None:
        """For the switches of these aliases; see Host.save_restore."""
        self._names = names
        self._dual_load = named("dual_load", truth, dual_load)
        self._max_outage = named("max_outage", whole_number, max_outage)
        self._enhanced = named("enhanced", truth, enhanced)
        self._begun = False
        self.outage = None

    def _query(self, active: bool | None = None, *, empty: bool = False) -> Queried:
        names = () if empty else self._names
        portsets = [_portset(name) for name in names]
        query = libvswitch.alloc_rtm_query(len(names))
        if query is None:
            raise MemoryError("no memory for a request")
        query.isQBRV = int(self._enhanced)
        query.maxAllowedOutage = self._max_outage
        for index, portset in enumerate(portsets):
            entry: Any = query[index]
            entry.psName = portset
            entry.orvSwitchMode = DEACTIVATE if active is None else ACTIVATE if active else DEACTIVATE
            entry.orvPsMode = DEACTIVATE
        return Queried(query, {"switches": list(names)}, libvswitch.free_rtm_query)

    def _run(self, mode: int, active: bool | None = None, *, empty: bool = False) -> tuple[dict[str, bool], int]:
        """One step; the modes of the switches and the outage that it answers with."""
        with self._query(active, empty=empty) as query:
            call("VSQEL_RTMOp", query, int(mode))
            native = query.native
            names = () if empty else self._names
            modes = {name: native[index].orvSwitchMode == ACTIVATE for index, name in enumerate(names)}
            return modes, int(native.maxAllowedOutage)

    def _step(self, mode: SaveRestoreMode) -> Self:
        self._run(mode)
        self._begun = mode is not _M.COMPLETE
        return self

    def register_save(self) -> Self:
        """Begins: the switches are in save and restore. WrongState, AlreadyExists for one that is."""
        return self._step(_M.REG_SAVE_DUALLOAD if self._dual_load else _M.REG_SAVE)

    def prepare_dual_load(self) -> Self:
        """Makes room for the second version; only with `dual_load`, and needed there."""
        return self._step(_M.PREDUALLOAD)

    def save(self) -> Self:
        """Saves; may be repeated until the ports are blocked."""
        return self._step(_M.SAVE)

    def block_ports(self) -> Self:
        """Blocks all ports of the switches: the outage begins."""
        return self._step(_M.BLOCKPORTS)

    def upgrade_switch(self) -> Self:
        """The upgrade of the switches: what was to be saved is lost. TimedOut where the outage is too long."""
        return self._step(_M.PS_UPGRADE)

    def upgrade_ports(self) -> Self:
        """The upgrade of their ports. TimedOut where the outage is too long."""
        return self._step(_M.PORT_UPGRADE)

    def register_restore(self) -> Self:
        """The switches are ready to be restored."""
        return self._step(_M.REG_RESTORE_DUALLOAD if self._dual_load else _M.REG_RESTORE)

    def restore(self) -> Self:
        """Brings back what was saved."""
        return self._step(_M.RESTORE)

    def restore_complete(self) -> Self:
        """Unblocks the ports; `outage` is known then. Busy while a module waits to be restored."""
        _, self.outage = self._run(_M.RESTORE_COMPLETE)
        self._begun = True
        return self

    def complete(self) -> Self:
        """Ends it, after any step; what was saved and not restored is lost. Busy while a module waits."""
        return self._step(_M.COMPLETE)

    def toggle_global(self) -> Self:
        """Saves the runtime options and the MAC learning of the host the first time, brings them back the second
        time."""
        self._run(_M.GLOBALCONFIG_SAVERESTORE, empty=not self._names)
        return self

    def set_mode(self, active: bool) -> dict[str, bool]:
        """Sets the mode of the switches; returns the former ones by alias."""
        return self._run(_M.ORV_OP, named("active", truth, active))[0]

    def modes(self) -> dict[str, bool]:
        """The modes of the switches by alias."""
        return self._run(_M.CSWITCH_OP)[0]

    def modules(self, switch: Any, *ids: int, replaced: bool = False) -> ModuleSteps:
        """The steps of modules of one switch (a Switch or its alias) that is in save and restore. `replaced`: they are
        the modules that are replaced."""
        return ModuleSteps(alias_of(switch), ids, dual_load=self._dual_load, replaced=replaced)

    def __enter__(self) -> Self:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        if not self._begun:
            return
        if error is None:
            self.complete()
            return
        try:
            self.complete()
        except Exception as another:  # noqa: BLE001 - the first one is what is raised
            error.add_note(f"completing save and restore failed, too: {another}")

    def __repr__(self) -> str:
        return f"<SaveRestore of {', '.join(map(repr, self._names))}>"


class ModuleSteps:
    """Steps of save and restore for modules of one switch; each is a method that returns the object itself."""

    __slots__ = ("_alias", "_dual_load", "_ids", "_replaced")

    def __init__(self, alias: str, ids: tuple[int, ...], *, dual_load: bool, replaced: bool) -> None:
        self._alias = alias
        self._ids = tuple(named("ids", whole_number, number) for number in ids)
        self._dual_load = dual_load
        self._replaced = named("replaced", truth, replaced)

    def _step(self, mode: SaveRestoreMode) -> Self:
        portset = _portset(self._alias)
        query = libvswitch.alloc_rtm_mod_query(len(self._ids))
        if query is None:
            raise MemoryError("no memory for a request")
        query.psName = portset
        for index, number in enumerate(self._ids):
            entry: Any = query[index]
            entry.isFromMod = int(self._replaced)
            entry.ModID = number
        shown = {"switch": self._alias, "modules": list(self._ids)}
        with Queried(query, shown, libvswitch.free_rtm_mod_query) as made:
            call("VSQEL_RTMModOp", made, int(mode))
        return self

    def register_save(self) -> Self:
        """The modules take part. AlreadyExists, WrongState."""
        return self._step(_M.REG_SAVE_DUALLOAD if self._dual_load else _M.REG_SAVE)

    def save(self) -> Self:
        """They have saved."""
        return self._step(_M.SAVE)

    def register_restore(self) -> Self:
        """They are ready to be restored."""
        return self._step(_M.REG_RESTORE_DUALLOAD if self._dual_load else _M.REG_RESTORE)

    def restore(self) -> Self:
        """They are restored, after their switch."""
        return self._step(_M.RESTORE)

    def complete(self) -> Self:
        """They take no part any more."""
        return self._step(_M.COMPLETE)

    def __repr__(self) -> str:
        return f"<modules {', '.join(map(str, self._ids))} of switch {self._alias!r}>"


def alias_of(switch: Any) -> str:
    """The alias of a Switch, or the text itself. TypeError."""
    alias = getattr(switch, "alias", switch)
    return text("switch", alias)


