"""Calls on mirror sessions, on the host and on the model. Part of model_machine.py."""

import ctypes
import dataclasses
import struct
from typing import Any

import _libvswitch as m
from base_machine import Machine, aliases, counted, handed_out, host, memory, picks, ports
from host_model import Switch
from hypothesis import strategies as st
from hypothesis.stateful import precondition, rule
from mirror_model import (
    ENTITY_SIZE,
    HAS_PROTOCOL,
    HAS_SOURCE_PORTS,
    HEADER,
    KINDS,
    LEGACY,
    MAGIC,
    PREFIX_SIZE,
    RULE,
    SESSION,
    Fields,
    Session,
    Table,
    lists,
    table_bytes,
)

SIDS = [b"one", b"two", b"three", b"four", b"five", b"six"]
STATS = struct.Struct("<QQQQQ81s")
SID_SIZE = 32


def entity(kind: int, value: bytes) -> bytes:
    return struct.pack("<I", kind) + value.ljust(ENTITY_SIZE - 4, b"\0")


ENTITIES = [
    entity(m.MIRROR_ENTTYPE_DVPORT, b"p"),
    entity(m.MIRROR_ENTTYPE_UPLINK, b"u"),
    entity(m.MIRROR_ENTTYPE_VLAN, struct.pack("<H", 4094)),
    entity(m.MIRROR_ENTTYPE_IP, b"\0\0\0\0\xc0\0\2\1"),
    entity(m.MIRROR_ENTTYPE_PORT, struct.pack("<I", 1)),
    entity(m.MIRROR_ENTTYPE_MAC, bytes([2, 0, 0, 0, 0, 1])),
]
WRONG_ENTITIES = [
    entity(m.MIRROR_ENTTYPE_DVPORT, b""),
    entity(m.MIRROR_ENTTYPE_DVPORT, b"x" * 48),
    entity(m.MIRROR_ENTTYPE_UPLINK, b"x" * 32),
    entity(m.MIRROR_ENTTYPE_VLAN, struct.pack("<H", 4095)),
    entity(m.MIRROR_ENTTYPE_PORT, struct.pack("<I", 0)),
    entity(6, b""),
]
PREFIX, PREFIX_6 = bytes([0, 32, 0, 0]) + bytes(16), bytes([1, 128, 0, 0]) + bytes(16)
RULES: list[tuple[bytes, list[bytes]]] = [
    (RULE.pack(0, 0, 0, 256, 0, 2, 1, 2, 1, m.ACTION_MIRROR), []),
    (RULE.pack(0, 1, 1, 255, HAS_PROTOCOL, 0, 0, 0, 0, m.ACTION_DONT_MIRROR), [PREFIX, PREFIX_6]),
    (RULE.pack(0, 0, 1, 0, HAS_SOURCE_PORTS, 80, 80, 0, 0, m.ACTION_MIRROR), [PREFIX]),
]
WRONG_RULES: list[tuple[bytes, list[bytes]]] = [
    (RULE.pack(0, 0, 0, 256, HAS_PROTOCOL, 0, 0, 0, 0, m.ACTION_MIRROR), []),
    (RULE.pack(0, 0, 0, 0, HAS_SOURCE_PORTS, 2, 1, 0, 0, m.ACTION_MIRROR), []),
    (RULE.pack(0, 0, 0, 0, 4, 0, 0, 2, 1, m.ACTION_MIRROR), []),
    (RULE.pack(0, 0, 0, 0, 0, 0, 0, 0, 0, m.ACTION_MAX), []),
    (RULE.pack(0, 1, 0, 0, 0, 0, 0, 0, 0, m.ACTION_MIRROR), [bytes([0, 33]) + PREFIX[2:]]),
    (RULE.pack(0, 1, 0, 0, 0, 0, 0, 0, 0, m.ACTION_MIRROR), [bytes([1, 129]) + PREFIX[2:]]),
]
WRONG_FIELDS = [
    {"sid": b""},
    {"sid": b"x" * 32},
    {"sid": LEGACY},
    {"dname": b"x" * 81},
    {"type": 6},
    {"flags": 128},
    {"wild_in": 32},
    {"wild_out": 32},
    {"encapsulation_vlan": 4095},
    {"uplink_filter": m.MIRROR_UPLINK_FILTER_TYPE_MAX},
    {"encapsulation": m.DVMIRROR_ENCAP_TYPE_MAX},
    {"erspan_id": 1024},
    {"erspan_cos": 8},
    {"erspan_granularity": 4},
]
# What is written over the header's fields.
WRONG_HEADERS = [
    (0, MAGIC + 1),
    (4, 0),
    (4, m.VS_DVMIRROR_VERSION_UNSUPPORTED),
    (8, 65),
    (12, 4097),
    (16, 1025),
    (16, 4097 << 16),
]


@st.composite
def sessions(draw: st.DrawFn, sid: bytes) -> Session:
    kind = draw(st.sampled_from(sorted(KINDS)))
    destinations, sources = (
        draw(st.lists(st.sampled_from([ENTITIES[i] for i in sorted(kinds)]), max_size=2)) for kinds in KINDS[kind]
    )
    sources_in = draw(st.integers(0, len(sources)))
    rules = draw(st.lists(st.sampled_from(RULES), max_size=2))
    fields = Fields(
        sid,
        sid.upper(),
        kind,
        snap_length=draw(st.sampled_from([0, 2**32 - 1])),
        flags=draw(st.sampled_from([0, m.VS_DVMIRROR_FLAG_DISABLED, 127])),
        wild_in=31,
        encapsulation_vlan=4094,
        erspan_id=1023,
        erspan_cos=7,
        erspan_granularity=3,
        rules=len(rules),
        destinations=len(destinations),
        sources_in=sources_in,
        sources_out=len(sources) - sources_in,
    )
    return Session(fields, destinations + sources, rules)


@st.composite
def tables(draw: st.DrawFn) -> bytes:
    sids = draw(st.lists(st.sampled_from(SIDS), max_size=2, unique=draw(st.integers(0, 7)) > 0))
    table = Table(draw(st.sampled_from([4, 4, 3, 2, 1])), [draw(sessions(sid)) for sid in sids])
    damage = draw(
        st.sampled_from(["none"] * 5 + ["unused", "fields", "entity", "rule", "header", "run outside", "run twice"])
    )
    if damage == "header":
        data = bytearray(table_bytes(table))
        struct.pack_into("<I", data, *draw(st.sampled_from(WRONG_HEADERS)))
        return bytes(data)
    if not table.sessions:
        return table_bytes(table)
    session = table.sessions[-1]
    if damage == "fields":
        session.fields = dataclasses.replace(session.fields, **draw(st.sampled_from(WRONG_FIELDS)))
    if damage == "entity":
        wrong = draw(st.sampled_from(ENTITIES + WRONG_ENTITIES))
        session.entities.insert(0, wrong)
        session.fields.destinations += 1
    if damage == "rule":
        session.rules.append(draw(st.sampled_from(WRONG_RULES)))
        session.fields.rules += 1
    if damage == "unused":
        # Elements that are in no run stand behind the others.
        return with_unused(table_bytes(table))
    data = bytearray(table_bytes(table))
    last = HEADER.size + SESSION.size * (len(sids) - 1)
    if damage == "run outside":
        struct.pack_into("<I", data, last + SESSION.size - 16, 2**32 - draw(st.integers(1, 3)))
    if damage == "run twice" and len(sids) > 1:
        struct.pack_into("<I", data, last + SESSION.size - 4, 0)
    return bytes(data)


def with_unused(data: bytes) -> bytes:
    magic, version, count, entities, rules, prefixes = HEADER.unpack_from(data)
    of_sessions, of_entities, of_rules, of_prefixes = lists(data)
    return (
        HEADER.pack(magic, version, count, entities + 1, rules + 1, prefixes + 1)
        + of_sessions
        + of_entities
        + WRONG_ENTITIES[0]
        + of_rules
        + RULE.pack(*[0] * 10)
        + of_prefixes
        + bytes(PREFIX_SIZE)
    )


def table_length(address: int) -> int:
    counts: tuple[int, ...] = HEADER.unpack(ctypes.string_at(address, HEADER.size))[2:]
    return HEADER.size + sum(n * size for n, size in zip(counts, (SESSION.size, ENTITY_SIZE, RULE.size, PREFIX_SIZE)))


class MirrorMachine(Machine):
    def mirror_place(self, pick: int, alias: str, port: int, dvport_id: str) -> tuple[str, str]:
        """A port, or with the empty identifier the switch."""
        alias, dvport_id = self.port_of_a_switch(pick, alias, port, dvport_id)
        return alias, "" if port % 3 == 0 else dvport_id

    def mirror_call(self, verb: str, alias: str, dvport_id: str, *arguments: Any) -> int:
        place = dvport_id.encode() if dvport_id else (None, b"")[self.turn % 2]
        return int(getattr(host, f"VSDVS_{verb}")(alias.encode(), place, *arguments))

    @rule(pick=picks, alias=aliases, port=picks, dvport_id=ports, data=tables(), append=st.booleans())
    def write_mirror(self, pick: int, alias: str, port: int, dvport_id: str, data: bytes, append: bool) -> None:
        alias, dvport_id = self.mirror_place(pick, alias, port, dvport_id)
        change, verb = (self.model.append_mirror, "Append") if append else (self.model.set_mirror, "Set")
        status = self.mirror_call(f"{verb}DVMirrorSessions", alias, dvport_id, memory(data))
        self.expect(change(alias, dvport_id, data), status)

    def has_tables(self) -> bool:
        return any(
            ("global", m.VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS) in switch.properties
            or any(m.VSPROP_PORT_MIRROR_SESSIONS in port.properties for port in switch.ports.values())
            for switch in self.model.switches.values()
        )

    def with_sessions(self) -> list[tuple[str, str, bytes]]:
        """The switches, ports and identifiers of the sessions that there are."""
        return [
            (alias, place, sid)
            for alias, switch in self.model.switches.items()
            for place in ["", *switch.ports]
            for sid in self.model.mirror_sids(switch, place)
        ]

    @precondition(lambda self: bool(self.has_tables()))
    @rule(which=st.integers(0, 31), other=st.sampled_from([None] * 6 + SIDS))
    def remove_mirror(self, which: int, other: bytes | None) -> None:
        found = self.with_sessions() or [("a", "", SIDS[0])]
        alias, dvport_id, sid = found[which % len(found)]
        sid = other or sid
        status = self.mirror_call("RemoveDVMirrorSession", alias, dvport_id, sid)
        self.expect(self.model.remove_mirror(alias, dvport_id, sid), status)

    @precondition(lambda self: bool(self.has_tables()))
    @rule(pick=picks, alias=aliases, port=picks, dvport_id=ports)
    def clear_mirror(self, pick: int, alias: str, port: int, dvport_id: str) -> None:
        alias, dvport_id = self.mirror_place(pick, alias, port, dvport_id)
        status = self.mirror_call("ClearDVMirrorSessions", alias, dvport_id)
        if not self.model.has_mirror_place(alias, dvport_id):
            self.expect({"QEL_NOT_FOUND"}, status)
        else:
            self.expect(self.model.clear_mirror(alias, dvport_id), status)

    # ---- what the host says ----

    def same_mirrors(self, switch: Switch) -> None:
        for one in {"", ["", *switch.ports][self.turn % (1 + len(switch.ports))]}:
            place = (switch.alias.encode(), one.encode())
            status, data = handed_out(host.VSDVS_GetDVMirrorSessions, *place, length=table_length)
            assert status == 0
            assert data == self.model.mirror_table(switch, one)
        if not switch.has_portset:
            return
        alias = switch.alias.encode()
        status, data = handed_out(host.VSQEL_GetDVMirrorSessionIDs, alias, length=counted(8, 4, SID_SIZE))
        assert status == 0
        running = [data[i : i + SID_SIZE].rstrip(b"\0") for i in range(8, len(data), SID_SIZE)]
        assert running == self.model.running_sessions(switch)
        sid = SIDS[self.turn % len(SIDS)]
        stats = ctypes.create_string_buffer(STATS.size)
        status = host.VSQEL_GetDVMirrorSessionStats(alias, sid, ctypes.addressof(stats))
        name = self.model.session_name(switch, sid)
        assert host.status(status) == ("QEL_NOT_FOUND" if name is None else "QEL_OK")
        if name is not None:
            assert STATS.unpack(stats.raw) == (0, 0, 0, 0, 0, name.ljust(81, b"\0"))
