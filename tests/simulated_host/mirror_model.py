"""Mirror session tables in the model: what makes one refused, and which sessions a switch has."""

from __future__ import annotations

import dataclasses
import struct
from typing import TYPE_CHECKING, Any

import _libvswitch as m
from property_model import NOT_FOUND, OK, Known, PropertyModel, refused

if TYPE_CHECKING:
    from host_model import Switch

MAGIC = m.VS_DVMIRROR_MAGIC_NUM & 0xFFFFFFFF
VERSIONS = range(m.VS_DVMIRROR_VERSION_V1, m.VS_DVMIRROR_VERSION_V4 + 1)
HEADER = struct.Struct("<IIIIHH")
# sid, dname, type, snapLen, flags, encapVlan, wildIn, wildOut, samplingRate, greKey, uplinkFilter, stack, encapType,
# erspanID, erspanCOS, erspanGra, numFilterRules, startRuleIdx, numDst, numSrcIn, numSrcOut, startIdx
SESSION = struct.Struct("<32s81s3xIIIHHH2xIIIBIHBBHH55xIIII")
# startIPIdx, numSrcIPs, numDstIPs, protocol, which of the next ones count, source ports, destination ports, action
RULE = struct.Struct("<HHHHBHHHHI")
ENTITY_SIZE, PREFIX_SIZE = 52, 20
MOST_SESSIONS, MOST_ENTITIES, MOST_RULES, MOST_PREFIXES = 64, 4096, 1024, 4096
HAS_PROTOCOL, HAS_SOURCE_PORTS, HAS_DESTINATION_PORTS = 1, 2, 4
FLAGS, WILDCARDS = 127, 31
LEGACY = m.VS_DVMIRROR_DEFAULT_LEGACY_SESSION_SID.encode()

PORTS = {m.MIRROR_ENTTYPE_DVPORT, m.MIRROR_ENTTYPE_PORT, m.MIRROR_ENTTYPE_MAC}
UPLINK, VLAN, ADDRESS = {m.MIRROR_ENTTYPE_UPLINK}, {m.MIRROR_ENTTYPE_VLAN}, {m.MIRROR_ENTTYPE_IP}
# The kinds of destinations and of sources.
KINDS = {
    m.VS_DVMIRROR_SESSIONTYPE_MIXDST: (PORTS | UPLINK | ADDRESS, PORTS | UPLINK | VLAN),
    m.VS_DVMIRROR_SESSIONTYPE_DVPORT: (PORTS, PORTS | UPLINK | VLAN),
    m.VS_DVMIRROR_SESSIONTYPE_LOGICAL_DVPORT: (PORTS, PORTS | UPLINK | VLAN),
    m.VS_DVMIRROR_SESSIONTYPE_RMIRROR_SRC: (UPLINK, PORTS | UPLINK | VLAN),
    m.VS_DVMIRROR_SESSIONTYPE_RMIRROR_DST: (PORTS, VLAN),
    m.VS_DVMIRROR_SESSIONTYPE_ERMIRROR_SRC: (ADDRESS, PORTS | UPLINK | VLAN),
}


@dataclasses.dataclass
class Fields:
    """Of a session that has nothing but a name; in the order of SESSION."""

    sid: bytes
    dname: bytes = b""
    type: int = m.VS_DVMIRROR_SESSIONTYPE_DVPORT
    snap_length: int = 0
    flags: int = 0
    encapsulation_vlan: int = 0
    wild_in: int = 0
    wild_out: int = 0
    sampling_rate: int = 0
    gre_key: int = 0
    uplink_filter: int = 0
    stack: int = 0
    encapsulation: int = 0
    erspan_id: int = 0
    erspan_cos: int = 0
    erspan_granularity: int = 0
    rules: int = 0
    first_rule: int = 0
    destinations: int = 0
    sources_in: int = 0
    sources_out: int = 0
    first_entity: int = 0

    def entities(self) -> int:
        return self.destinations + self.sources_in + self.sources_out


@dataclasses.dataclass
class Session:
    fields: Fields
    entities: list[bytes]
    # Each with its prefixes.
    rules: list[tuple[bytes, list[bytes]]]


@dataclasses.dataclass
class Table:
    version: int
    sessions: list[Session]


def text(field: bytes) -> bytes:
    return field.split(b"\0")[0]


def table_bytes(table: Table, magic: int = MAGIC) -> bytes:
    """As the host puts one together: the runs in the order of the sessions."""
    sessions: list[bytes] = []
    entities: list[bytes] = []
    rules: list[bytes] = []
    prefixes: list[bytes] = []
    for session in table.sessions:
        fields = dataclasses.replace(session.fields, first_entity=len(entities), first_rule=len(rules))
        sessions.append(SESSION.pack(*dataclasses.astuple(fields)))
        entities += session.entities
        for rule, of_rule in session.rules:
            rules.append(struct.pack("<H", len(prefixes)) + rule[2:])
            prefixes += of_rule
    header = HEADER.pack(magic, table.version, len(sessions), len(entities), len(rules), len(prefixes))
    return header + b"".join(sessions + entities + rules + prefixes)


def elements(data: bytes, size: int, first: int, count: int) -> list[bytes]:
    return [data[size * i : size * (i + 1)] for i in range(first, first + count)]


def lists(data: bytes) -> list[bytes]:
    """The lists behind the header."""
    counts = HEADER.unpack_from(data)[2:]
    ends = [HEADER.size]
    for count, size in zip(counts, (SESSION.size, ENTITY_SIZE, RULE.size, PREFIX_SIZE)):
        ends.append(ends[-1] + count * size)
    return [data[start:end] for start, end in zip(ends, ends[1:])]


def read_table(data: bytes) -> Table:
    """Of one whose runs are right."""
    sessions, entities, rules, prefixes = lists(data)
    table = Table(HEADER.unpack_from(data)[1], [])
    for record in SESSION.iter_unpack(sessions):
        fields = Fields(*record)
        own_rules = []
        for rule in elements(rules, RULE.size, fields.first_rule, fields.rules):
            first, sources, destinations = struct.unpack_from("<HHH", rule)
            own_rules.append((rule, elements(prefixes, PREFIX_SIZE, first, sources + destinations)))
        own = elements(entities, ENTITY_SIZE, fields.first_entity, fields.entities())
        table.sessions.append(Session(fields, own, own_rules))
    return table


def runs_are_wrong(runs: list[tuple[int, int]], length: int) -> bool:
    taken = [i for first, count in runs for i in range(first, first + min(count, length + 1))]
    outside = any(first + count > length for first, count in runs)
    return outside or len(set(taken)) < len(taken)


def has_wrong_runs(data: bytes) -> bool:
    _, _, _, entities, rules, prefixes = HEADER.unpack_from(data)
    sessions, _, rule_list, _ = lists(data)
    fields = [Fields(*record) for record in SESSION.iter_unpack(sessions)]
    records = [RULE.unpack(rule) for rule in elements(rule_list, RULE.size, 0, rules)]
    return (
        runs_are_wrong([(f.first_entity, f.entities()) for f in fields], entities)
        or runs_are_wrong([(f.first_rule, f.rules) for f in fields], rules)
        or runs_are_wrong([(rule[0], rule[1] + rule[2]) for rule in records], prefixes)
    )


def name_refusals(field: bytes) -> set[str]:
    return refused(QEL_INVALID_NAME=not text(field), QEL_NAME_TOO_LONG=b"\0" not in field) - OK


def entity_refusals(entity: bytes, kinds: set[int]) -> set[str]:
    kind = struct.unpack_from("<I", entity)[0]
    if kind not in kinds:
        return {"QEL_BAD_PARAM"}
    if kind == m.MIRROR_ENTTYPE_DVPORT:
        return name_refusals(entity[4:])
    if kind == m.MIRROR_ENTTYPE_UPLINK:
        return name_refusals(entity[4:36])
    wrong = (kind == m.MIRROR_ENTTYPE_VLAN and struct.unpack_from("<H", entity, 4)[0] > 4094) or (
        kind == m.MIRROR_ENTTYPE_PORT and struct.unpack_from("<I", entity, 4)[0] == 0
    )
    return {"QEL_BAD_PARAM"} if wrong else set()


def rule_refusals(rule: bytes, prefixes: list[bytes]) -> set[str]:
    _, _, _, protocol, has, source, last_source, destination, last_destination, action = RULE.unpack(rule)
    wrong = (
        (has & HAS_PROTOCOL and protocol > 255)
        or (has & HAS_SOURCE_PORTS and source > last_source)
        or (has & HAS_DESTINATION_PORTS and destination > last_destination)
        or action not in (m.ACTION_DONT_MIRROR, m.ACTION_MIRROR)
        or any(prefix[1] > (128 if prefix[0] else 32) for prefix in prefixes)
    )
    return {"QEL_BAD_PARAM"} if wrong else set()


def session_refusals(session: Session) -> set[str]:
    fields = session.fields
    refusals = name_refusals(fields.sid)
    if b"\0" not in fields.dname:
        refusals.add("QEL_NAME_TOO_LONG")
    if (
        fields.type not in KINDS
        or fields.flags & ~FLAGS
        or (fields.wild_in | fields.wild_out) & ~WILDCARDS
        or fields.encapsulation_vlan > 4094
        or fields.uplink_filter >= m.MIRROR_UPLINK_FILTER_TYPE_MAX
        or fields.encapsulation >= m.DVMIRROR_ENCAP_TYPE_MAX
        or fields.erspan_id > 1023
        or fields.erspan_cos > 7
        or fields.erspan_granularity > 3
    ):
        refusals.add("QEL_BAD_PARAM")
    for i, entity in enumerate(session.entities):
        refusals |= entity_refusals(entity, KINDS.get(fields.type, (set(), set()))[i >= fields.destinations])
    for rule, prefixes in session.rules:
        refusals |= rule_refusals(rule, prefixes)
    return refusals


def header_refusals(data: bytes) -> set[str]:
    magic, version, sessions, entities, rules, prefixes = HEADER.unpack_from(data)
    return (
        refused(
            QEL_BAD_PARAM=magic != MAGIC,
            QEL_NOT_SUPPORTED=version not in VERSIONS,
            QEL_LIMIT_EXCEEDED=sessions > MOST_SESSIONS
            or entities > MOST_ENTITIES
            or rules > MOST_RULES
            or prefixes > MOST_PREFIXES,
        )
        - OK
    )


def content_refusals(model: Any, switch: Switch, dvport_id: str, table: Table) -> set[str]:
    sids = [text(session.fields.sid) for session in table.sessions]
    refusals = set().union(*(session_refusals(session) for session in table.sessions))
    elsewhere = {sid for port in [None, *switch.ports] if port != dvport_id for sid in model.mirror_sids(switch, port)}
    if len(set(sids)) < len(sids) or set(sids) & (elsewhere | {LEGACY}):
        refusals.add("QEL_EXISTS")
    return refusals


def table_refusals(model: Any, switch: Switch, dvport_id: str, data: bytes) -> set[str]:
    if len(data) < HEADER.size:
        return {"QEL_BAD_PARAM"}
    refusals = header_refusals(data)
    if "QEL_LIMIT_EXCEEDED" in refusals:
        return refusals
    if len(data) != HEADER.size + sum(map(len, lists(data))) or has_wrong_runs(data):
        return refusals | {"QEL_BAD_PARAM"}
    return refusals | content_refusals(model, switch, dvport_id, read_table(data)) or OK


EMPTY = Table(m.VS_DVMIRROR_VERSION_V4, [])
SAMPLES = [
    table_bytes(EMPTY),
    table_bytes(Table(1, [Session(Fields(b"raw", b"Raw"), [], [])])),
    table_bytes(Table(2, [Session(Fields(b"one"), [], [])])),
    table_bytes(EMPTY)[:-1],
]
KNOWN = {
    name: Known(scope, lambda model, switch: table_bytes(EMPTY), table_refusals, SAMPLES, is_tied=True)
    for scope, name in (
        ("global", m.VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS),
        ("port", m.VSPROP_PORT_MIRROR_SESSIONS),
    )
}


def property_of(dvport_id: str) -> str:
    return str(m.VSPROP_PORT_MIRROR_SESSIONS if dvport_id else m.VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS)


class MirrorModel(PropertyModel):
    """An empty identifier of a port means the switch."""

    def mirror_table(self, switch: Switch, dvport_id: str) -> bytes:
        return self.in_effect(switch, property_of(dvport_id), dvport_id)

    def mirror_sids(self, switch: Switch, dvport_id: str) -> list[bytes]:
        return [text(session.fields.sid) for session in read_table(self.mirror_table(switch, dvport_id)).sessions]

    def has_mirror_place(self, alias: str, dvport_id: str) -> bool:
        return alias in self.switches and (not dvport_id or dvport_id in self.switches[alias].ports)

    def set_mirror(self, alias: str, dvport_id: str, data: bytes) -> set[str]:
        if not self.has_mirror_place(alias, dvport_id):
            return NOT_FOUND
        if dvport_id:
            return self.set_port_value(alias, dvport_id, m.VSPROP_PORT_MIRROR_SESSIONS, data)
        return self.set_switch_value(alias, m.VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS, data)

    def append_mirror(self, alias: str, dvport_id: str, data: bytes) -> set[str]:
        if not self.has_mirror_place(alias, dvport_id):
            return NOT_FOUND
        refusals = header_refusals(data)
        if refusals:
            return refusals
        if has_wrong_runs(data):
            return {"QEL_BAD_PARAM"}
        added, there = read_table(data), read_table(self.mirror_table(self.switches[alias], dvport_id))
        version = max(there.version, added.version) if there.sessions else added.version
        return self.set_mirror(alias, dvport_id, table_bytes(Table(version, there.sessions + added.sessions)))

    def remove_mirror(self, alias: str, dvport_id: str, sid: bytes) -> set[str]:
        if not self.has_mirror_place(alias, dvport_id):
            return NOT_FOUND
        there = read_table(self.mirror_table(self.switches[alias], dvport_id))
        left = [session for session in there.sessions if text(session.fields.sid) != sid]
        if len(left) == len(there.sessions):
            return NOT_FOUND
        return self.set_mirror(alias, dvport_id, table_bytes(Table(there.version, left)))

    def clear_mirror(self, alias: str, dvport_id: str) -> set[str]:
        return self.clear_typed(alias, property_of(dvport_id), dvport_id or None)

    def running_sessions(self, switch: Switch) -> list[bytes]:
        by_number = sorted(switch.ports, key=lambda name: switch.ports[name].number or 0)
        tables = [read_table(self.mirror_table(switch, place)) for place in ["", *by_number]]
        return [
            text(session.fields.sid)
            for table in tables
            for session in table.sessions
            if not session.fields.flags & m.VS_DVMIRROR_FLAG_DISABLED
        ]

    def session_name(self, switch: Switch, sid: bytes) -> bytes | None:
        for place in ["", *switch.ports]:
            for session in read_table(self.mirror_table(switch, place)).sessions:
                if text(session.fields.sid) == sid:
                    return text(session.fields.dname)
        return None
