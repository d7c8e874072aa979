"""Mirror sessions: what is copied, where to, and the table that the library keeps them in."""

from __future__ import annotations

import struct
from collections.abc import Iterable, Mapping, Sequence
from typing import TYPE_CHECKING, Self

import libvswitch

from vswitch.enums import (
    MirrorAction,
    MirrorEncapsulation,
    MirrorEndType,
    MirrorFlag,
    MirrorType,
    MirrorUplinkFilter,
    MirrorWildcard,
)
from vswitch.values.base import (
    BOOL,
    INT,
    OPTIONAL_INT,
    PREFIX,
    SPAN,
    TEXT,
    Kind,
    Value,
    bits_of,
    exactly,
    fields_of,
    ip,
    ip_bytes,
    ip_of,
    mac,
    mac_bytes,
    mac_of,
    many,
    number_of,
    of,
    optional,
    pack,
    plain_text,
    slot,
    slot_text,
    value,
    value_of,
    whole_number,
    wrong_type,
)

__all__ = ["MirrorEnd", "MirrorRule", "MirrorSession"]

END = struct.Struct("<i48s")
RULE = struct.Struct("<HHHHBHHHHi")
PREFIX_RECORD = struct.Struct("<?B2x16s")

COMPLETE = libvswitch.VS_DVMIRROR_SNAPLEN_COMPLETE & 0xFFFFFFFF
DISABLED = int(MirrorFlag.DISABLED)

_KINDS = {
    "port": MirrorEndType.DVPORT,
    "uplink": MirrorEndType.UPLINK,
    "vlan": MirrorEndType.VLAN,
    "ip": MirrorEndType.IP,
    "number": MirrorEndType.PORT,
    "mac": MirrorEndType.MAC,
}
_KIND_OF = {end_type: kind for kind, end_type in _KINDS.items()}
_NUMBERS = (MirrorEndType.VLAN, MirrorEndType.PORT)
_CHECKS = {
    MirrorEndType.DVPORT: plain_text,
    MirrorEndType.UPLINK: plain_text,
    MirrorEndType.VLAN: whole_number,
    MirrorEndType.IP: ip,
    MirrorEndType.PORT: whole_number,
    MirrorEndType.MAC: mac,
}


def _text_or_number(given: object) -> str | int:
    return whole_number(given) if isinstance(given, int) else plain_text(given)


@value
class MirrorEnd(Value):
    """Where packets are copied from or to. `type` says what `value` is: the identifier of a port, the name of an
    uplink, a VLAN, an IP address, the number of a port, a MAC address. `str(end)` and `MirrorEnd.of("port:monitor")`
    are the short form: `port`, `uplink`, `vlan`, `ip`, `number` or `mac`, a colon, the value."""

    type: MirrorEndType | int = of(number_of("MirrorEndType"))
    value: str | int = of(Kind(_text_or_number))

    def _check(self) -> None:
        check = _CHECKS.get(self.type) if isinstance(self.type, MirrorEndType) else None
        if check is not None:
            object.__setattr__(self, "value", check(self.value))

    def __str__(self) -> str:
        kind = _KIND_OF.get(self.type, str(int(self.type))) if isinstance(self.type, MirrorEndType) else self.type
        return f"{kind}:{self.value}"

    @classmethod
    def of(cls, text: str) -> Self:
        """The end of a short form such as "port:monitor". ValueError for any other text."""
        kind, colon, rest = plain_text(text).partition(":")
        end_type: MirrorEndType | int | None = _KINDS.get(kind)
        if end_type is None and kind.isascii() and kind.isdecimal():
            end_type = MirrorEndType.of(int(kind))
        if not colon or end_type is None:
            raise ValueError(f"not an end of a mirror session: {text!r}; write {', '.join(_KINDS)} and ':VALUE'")
        if end_type in _NUMBERS:
            if not (rest.isascii() and rest.isdecimal()):
                raise ValueError(f"not a number: {text!r}")
            return cls(end_type, int(rest))
        return cls(end_type, rest)

    def to_bytes(self) -> bytes:
        """A `DVMirrorEntity`, 52 bytes."""
        kind, given = self.type, self.value
        if isinstance(given, int):
            contents = pack(struct.Struct("<I" if kind == MirrorEndType.PORT else "<H"), given)
        elif kind == MirrorEndType.UPLINK:
            contents = slot(given, 32)
        elif kind == MirrorEndType.IP:
            address = ip_bytes(given)
            contents = struct.pack("<?3x", len(address) == 16) + address
        elif kind == MirrorEndType.MAC:
            contents = mac_bytes(given)
        elif kind == MirrorEndType.DVPORT:
            contents = slot(given, 48)
        else:
            contents = bytes.fromhex(given)
        return pack(END, kind, contents)

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The end of a `DVMirrorEntity`; the contents of an unknown type in hexadecimal. ValueError."""
        number, contents = END.unpack(exactly(data, END.size, "DVMirrorEntity"))
        kind = MirrorEndType.of(number)
        given: str | int
        if kind == MirrorEndType.VLAN:
            (given,) = struct.unpack_from("<H", contents)
        elif kind == MirrorEndType.PORT:
            (given,) = struct.unpack_from("<I", contents)
        elif kind == MirrorEndType.IP:
            given = ip_of(contents[4:20] if contents[0] else contents[4:8])
        elif kind == MirrorEndType.MAC:
            given = mac_of(contents[:6])
        elif kind == MirrorEndType.UPLINK:
            given = slot_text(contents[:32])
        elif kind == MirrorEndType.DVPORT:
            given = slot_text(contents)
        else:
            given = contents.hex()
        return cls._made(kind, given)


def _end(given: object) -> MirrorEnd:
    if isinstance(given, str):
        return MirrorEnd.of(given)
    if not isinstance(given, MirrorEnd):
        raise wrong_type("a MirrorEnd or a text like 'port:monitor'", given)
    return given


_ENDS = many(Kind(_end, str, lambda data: MirrorEnd.from_dict(data) if isinstance(data, Mapping) else data))
_PORTS = optional(SPAN)


@value
class MirrorRule(Value):
    """Which packets a session copies: the first rule that fits decides. `action`; `protocol`: IP protocol number, None
    for any; `source_ports`, `destination_ports`: ranges, None for any; `sources`, `destinations`: IP prefixes, `()` for
    any."""

    action: MirrorAction | int = of(number_of("MirrorAction"), MirrorAction.MIRROR)
    protocol: int | None = of(OPTIONAL_INT, None)
    source_ports: tuple[int, int] | None = of(_PORTS, None)
    destination_ports: tuple[int, int] | None = of(_PORTS, None)
    sources: tuple[str, ...] = of(many(PREFIX), ())
    destinations: tuple[str, ...] = of(many(PREFIX), ())

    if TYPE_CHECKING:  # what is accepted is more than what is kept

        def __init__(
            self,
            action: int = MirrorAction.MIRROR,
            protocol: int | None = None,
            source_ports: int | str | Sequence[int] | None = None,
            destination_ports: int | str | Sequence[int] | None = None,
            sources: Iterable[str] = (),
            destinations: Iterable[str] = (),
        ) -> None: ...

    def to_bytes(self) -> bytes:
        """A `DVMirrorFilterRule`, with its prefixes (`DVMirrorIpPrefix`) behind it."""
        return self.record(0) + self.prefixes()

    def record(self, start: int) -> bytes:
        """A `DVMirrorFilterRule` alone, whose prefixes begin with number `start`."""
        has = (self.protocol is not None) | (self.source_ports is not None) << 1
        has |= (self.destination_ports is not None) << 2
        return pack(
            RULE,
            start,
            len(self.sources),
            len(self.destinations),
            self.protocol or 0,
            has,
            *(self.source_ports or (0, 0)),
            *(self.destination_ports or (0, 0)),
            self.action,
        )

    def prefixes(self) -> bytes:
        """Its prefixes, `DVMirrorIpPrefix` records side by side."""
        made = b""
        for text in (*self.sources, *self.destinations):
            address, _, length = text.partition("/")
            data = ip_bytes(address)
            made += pack(PREFIX_RECORD, len(data) == 16, int(length), data)
        return made

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The rule of a `DVMirrorFilterRule` with its prefixes behind it. ValueError."""
        if len(data) < RULE.size:
            raise ValueError(f"a DVMirrorFilterRule has at least {RULE.size} bytes, not {len(data)}")
        return cls.read(data[: RULE.size], data[RULE.size :], 0)

    @classmethod
    def read(cls, record: bytes, prefixes: bytes, start: int | None = None) -> Self:
        """The rule of a `DVMirrorFilterRule` and the prefixes of its table, from number `start` on (None: as it
        says)."""
        first, sources, destinations, protocol, has, *ports, action = RULE.unpack(record)
        texts = []
        first = first if start is None else start
        for index in range(first, first + sources + destinations):
            wide, length, address = PREFIX_RECORD.unpack_from(prefixes, index * PREFIX_RECORD.size)
            texts.append(f"{ip_of(address if wide else address[:4])}/{length}")
        return cls._made(
            MirrorAction.of(action),
            protocol if has & 1 else None,
            (ports[0], ports[1]) if has & 2 else None,
            (ports[2], ports[3]) if has & 4 else None,
            tuple(texts[:sources]),
            tuple(texts[sources:]),
        )


def snap_length_of(given: object) -> int | None:
    """A length; None for what the library takes for all of a packet."""
    kept = None if given is None else whole_number(given)
    return None if kept in (0, COMPLETE) else kept


@value
class MirrorSession(Value):
    """Copies of packets: from where, to where, which and how.

    `id` (1 to 31 bytes, unique on the switch), `name` (at most 80 bytes), `type`. `destinations`; `sources_in`: ends
    whose packets into the switch are copied; `sources_out`: of packets out of it; all take texts like "port:monitor".
    `enabled`. `flags` (without DISABLED, which is `enabled`: ValueError). `snap_length`: bytes to which copies are cut,
    None: whole. `sampling`: one of so many packets, 0 and 1: all. `vlan` of copies that are encapsulated,
    `wildcards_in`, `wildcards_out`, `uplink_filter`. `encapsulation`, `gre_key`, `erspan_id` (0 to 1023), `erspan_cos`
    (0 to 7), `erspan_gra` (0 to 3) of copies that are sent to an address, `mirror_stack`: by the stack for mirroring.
    `rules`: which packets are copied.
    """

    _entry_name = "id"

    id: str = of(TEXT)
    name: str = of(TEXT, "")
    type: MirrorType | int = of(number_of("MirrorType"), MirrorType.DVPORT)
    destinations: tuple[MirrorEnd, ...] = of(_ENDS, ())
    sources_in: tuple[MirrorEnd, ...] = of(_ENDS, ())
    sources_out: tuple[MirrorEnd, ...] = of(_ENDS, ())
    enabled: bool = of(BOOL, True)
    flags: MirrorFlag = of(bits_of("MirrorFlag"), MirrorFlag(0))
    snap_length: int | None = of(Kind(snap_length_of), None)
    sampling: int = of(INT, 0)
    vlan: int = of(INT, 0)
    wildcards_in: MirrorWildcard = of(bits_of("MirrorWildcard"), MirrorWildcard(0))
    wildcards_out: MirrorWildcard = of(bits_of("MirrorWildcard"), MirrorWildcard(0))
    uplink_filter: MirrorUplinkFilter | int = of(number_of("MirrorUplinkFilter"), MirrorUplinkFilter.NONE)
    encapsulation: MirrorEncapsulation | int = of(number_of("MirrorEncapsulation"), MirrorEncapsulation.GRE)
    gre_key: int = of(INT, 0)
    erspan_id: int = of(INT, 0)
    erspan_cos: int = of(INT, 0)
    erspan_gra: int = of(INT, 0)
    mirror_stack: bool = of(BOOL, False)
    rules: tuple[MirrorRule, ...] = of(many(value_of(MirrorRule)), ())

    if TYPE_CHECKING:  # what is accepted is more than what is kept

        def __init__(
            self,
            id: str,  # noqa: A002
            name: str = "",
            type: int = MirrorType.DVPORT,  # noqa: A002
            destinations: Iterable[MirrorEnd | str] = (),
            sources_in: Iterable[MirrorEnd | str] = (),
            sources_out: Iterable[MirrorEnd | str] = (),
            enabled: bool = True,
            flags: int = MirrorFlag(0),
            snap_length: int | None = None,
            sampling: int = 0,
            vlan: int = 0,
            wildcards_in: int = MirrorWildcard(0),
            wildcards_out: int = MirrorWildcard(0),
            uplink_filter: int = MirrorUplinkFilter.NONE,
            encapsulation: int = MirrorEncapsulation.GRE,
            gre_key: int = 0,
            erspan_id: int = 0,
            erspan_cos: int = 0,
            erspan_gra: int = 0,
            mirror_stack: bool = False,
            rules: Iterable[MirrorRule] = (),
        ) -> None: ...

    def _check(self) -> None:
        if self.flags & DISABLED:
            raise ValueError("MirrorSession.flags: write enabled=False instead of DISABLED")

    def to_bytes(self) -> bytes:
        """A `DVMirrorSessionTable` of version 4 with this session alone."""
        from vswitch.values.mirror_table import table_bytes

        return table_bytes([self])

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The session of a table that has one. ValueError."""
        from vswitch.values.mirror_table import table_from

        found = table_from(data)
        if len(found) != 1:
            raise ValueError(f"a table of {len(found)} sessions, not one")
        return cls._made(*(getattr(found[0], name) for name, _, _ in fields_of(cls)))
