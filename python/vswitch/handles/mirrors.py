"""Mirror sessions of a switch or a port."""

from __future__ import annotations

from collections.abc import Iterable

from vswitch import _hints
from vswitch._calls import Packed, call, fill, take
from vswitch.errors import NotFound
from vswitch.handles.collection import Collection, text
from vswitch.handles.setting import named, one_of
from vswitch.values.base import several, truth
from vswitch.values.mirror import MirrorSession
from vswitch.values.mirror_table import sessions_of, table_bytes
from vswitch.values.statistics import MirrorStatistics

__all__ = ["Mirrors"]

_session = one_of("mirror.MirrorSession")


def _packed(sessions: Iterable[MirrorSession]) -> Packed:
    listed = list(sessions)
    return Packed("DVMirrorSessionTable", table_bytes(listed), [session.to_dict() for session in listed])


class Mirrors(Collection[MirrorSession]):
    """Mirror sessions by identifier, in the order of their table: `port.mirrors["tap"] = MirrorSession("tap", ...)`.

    A switch has a table, and so has each of its ports; an identifier is in one table of a switch only.
    """

    __slots__ = ("_alias", "_port")

    def __init__(self, alias: str, port: str | None) -> None:
        """Those of a switch, or of its port."""
        self._alias = alias
        self._port = port

    def _all(self) -> dict[str, MirrorSession]:
        found = take(sessions_of, "VSDVS_GetDVMirrorSessions", self._alias, self._port)
        return {session.id: session for session in found}

    def _missing(self, name: str) -> str:
        return _hints.asked(_hints.no_session, self._alias, name, list(self._all()))

    def create(self, session: MirrorSession, *, exist_ok: bool = False) -> MirrorSession:
        """Adds a session behind the others and returns it. AlreadyExists for an identifier that a session of the switch
        has; with `exist_ok` only where that session differs. BadParameter, LimitExceeded."""
        session = named("session", _session, session)
        if named("exist_ok", truth, exist_ok) and self._all().get(session.id) == session:
            return session
        call("VSDVS_AppendDVMirrorSessions", self._alias, self._port, _packed([session]))
        return session

    def __setitem__(self, id: str, session: MirrorSession) -> None:  # noqa: A002 - the field's name
        session = named("session", _session, session)
        if session.id != text("id", id):
            raise ValueError(f"id: the session has the identifier {session.id!r}, not {id!r}")
        there = self._all()
        if there.get(id) == session:
            return
        if id in there:
            call("VSDVS_SetDVMirrorSessions", self._alias, self._port, _packed({**there, id: session}.values()))
        else:
            call("VSDVS_AppendDVMirrorSessions", self._alias, self._port, _packed([session]))

    def __delitem__(self, id: str) -> None:  # noqa: A002 - the field's name
        self.remove(id)

    def remove(self, id: str, *, missing_ok: bool = False) -> bool:  # noqa: A002 - the field's name
        """Removes a session; returns whether there was one. NotFound."""
        wanted = text("id", id)
        try:
            call("VSDVS_RemoveDVMirrorSession", self._alias, self._port, wanted)
        except NotFound:
            if named("missing_ok", truth, missing_ok) and wanted not in self._all():
                return False
            raise
        return True

    def set(self, sessions: Iterable[MirrorSession]) -> None:
        """Replaces the table. A session whose identifier stays keeps its counters."""
        listed = named("sessions", lambda given: several(given, _session), sessions)
        call("VSDVS_SetDVMirrorSessions", self._alias, self._port, _packed(listed))

    def clear(self) -> None:
        """Removes all sessions of this table; that there are none is no error."""
        call("VSDVS_ClearDVMirrorSessions", self._alias, self._port)

    def statistics(self, id: str) -> MirrorStatistics:  # noqa: A002 - the field's name
        """Counters of a session, of any table of the switch. NotFound, WrongState for a switch without a port set."""
        wanted = text("id", id)
        return MirrorStatistics.from_bytes(
            fill("VSDVMirrorSessionStats", "VSQEL_GetDVMirrorSessionStats", self._alias, wanted)
        )

    def __repr__(self) -> str:
        place = f"switch {self._alias!r}"
        return f"<Mirrors of {place if self._port is None else f'port {self._port!r} of {place}'}>"


