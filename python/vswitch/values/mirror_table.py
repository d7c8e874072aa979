"""The table that the library keeps mirror sessions in: sessions, ends, rules and prefixes behind a head."""

from __future__ import annotations

import struct
from collections.abc import Iterable
from typing import Any

import libvswitch

from vswitch.enums import MirrorEncapsulation, MirrorFlag, MirrorType, MirrorUplinkFilter, MirrorWildcard
from vswitch.values.base import pack, slot, slot_text
from vswitch.values.mirror import (
    COMPLETE,
    DISABLED,
    END,
    PREFIX_RECORD,
    RULE,
    MirrorEnd,
    MirrorRule,
    MirrorSession,
    snap_length_of,
)

_HEAD = struct.Struct("<IiIIHH")
_SESSION = struct.Struct("<32s81s3xiIIHHH2xIIiBiHBBHH55xIIII")

MAGIC = libvswitch.VS_DVMIRROR_MAGIC_NUM & 0xFFFFFFFF
VERSION = libvswitch.VS_DVMIRROR_VERSION_V4


def table_bytes(sessions: Iterable[MirrorSession]) -> bytes:
    """A `DVMirrorSessionTable` of version 4 with its sessions, ends, rules and prefixes behind it."""
    records, ends, rules, prefixes = b"", b"", b"", b""
    count = 0
    for count, session in enumerate(sessions, 1):
        records += pack(
            _SESSION,
            slot(session.id, 32),
            slot(session.name, 81),
            session.type,
            COMPLETE if session.snap_length is None else session.snap_length,
            session.flags | (0 if session.enabled else DISABLED),
            session.vlan,
            session.wildcards_in,
            session.wildcards_out,
            session.sampling,
            session.gre_key,
            session.uplink_filter,
            session.mirror_stack,
            session.encapsulation,
            session.erspan_id,
            session.erspan_cos,
            session.erspan_gra,
            len(session.rules),
            len(rules) // RULE.size,
            len(session.destinations),
            len(session.sources_in),
            len(session.sources_out),
            len(ends) // END.size,
        )
        ends += b"".join(end.to_bytes() for end in (*session.destinations, *session.sources_in, *session.sources_out))
        for rule in session.rules:
            rules += rule.record(len(prefixes) // PREFIX_RECORD.size)
            prefixes += rule.prefixes()
    counts = (count, len(ends) // END.size, len(rules) // RULE.size, len(prefixes) // PREFIX_RECORD.size)
    return pack(_HEAD, MAGIC, VERSION, *counts) + records + ends + rules + prefixes


def table_from(data: bytes) -> tuple[MirrorSession, ...]:
    """The sessions of a `DVMirrorSessionTable` with its lists behind it. ValueError."""
    if not data:
        return ()
    if len(data) < _HEAD.size or len(data) < table_size(data[: _HEAD.size]):
        raise ValueError(f"a DVMirrorSessionTable that is longer than {len(data)} bytes")
    _, _, sessions, ends, rules, _ = _HEAD.unpack_from(data)
    end_place = _HEAD.size + sessions * _SESSION.size
    rule_place = end_place + ends * END.size
    prefixes = data[rule_place + rules * RULE.size :]

    def slices(place: int, size: int, first: int, count: int) -> list[bytes]:
        return [data[at : at + size] for at in range(place + first * size, place + (first + count) * size, size)]

    found = []
    for place in range(_HEAD.size, end_place, _SESSION.size):
        (
            session_id,
            name,
            kind,
            snap_length,
            flags,
            vlan,
            wild_in,
            wild_out,
            sampling,
            gre_key,
            uplink_filter,
            stack,
            encapsulation,
            erspan_id,
            erspan_cos,
            erspan_gra,
            rule_count,
            first_rule,
            to,
            inward,
            outward,
            first_end,
        ) = _SESSION.unpack_from(data, place)
        records = slices(end_place, END.size, first_end, to + inward + outward)
        all_ends = tuple(MirrorEnd.from_bytes(record) for record in records)
        found.append(
            MirrorSession._made(
                slot_text(session_id),
                slot_text(name),
                MirrorType.of(kind),
                all_ends[:to],
                all_ends[to : to + inward],
                all_ends[to + inward :],
                not flags & DISABLED,
                MirrorFlag(flags & ~DISABLED),
                snap_length_of(snap_length),
                sampling,
                vlan,
                MirrorWildcard(wild_in),
                MirrorWildcard(wild_out),
                MirrorUplinkFilter.of(uplink_filter),
                MirrorEncapsulation.of(encapsulation),
                gre_key,
                erspan_id,
                erspan_cos,
                erspan_gra,
                bool(stack),
                tuple(
                    MirrorRule.read(record, prefixes)
                    for record in slices(rule_place, RULE.size, first_rule, rule_count)
                ),
            )
        )
    return tuple(found)


def table_size(head: bytes) -> int:
    """The bytes of a table with its lists, by its fixed part."""
    _, _, sessions, ends, rules, prefixes = _HEAD.unpack(head)
    return int(
        _HEAD.size + sessions * _SESSION.size + ends * END.size + rules * RULE.size + prefixes * PREFIX_RECORD.size
    )


def sessions_of(record: Any) -> tuple[MirrorSession, ...]:
    """The sessions of a `DVMirrorSessionTable` that a call has handed out."""
    size = table_size(libvswitch.pointed_bytes(record, _HEAD.size))
    return table_from(libvswitch.pointed_bytes(record, size))
