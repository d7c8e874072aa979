"""Writes valid inputs for the fuzz targets to a folder: what the model of the host holds, and what the host hands out.

Usage: make_seeds.py FOLDER, with the module, tests/support and tests/simulated_host on PYTHONPATH."""

import copy
import ctypes
import io
import json
import os
import pathlib
import random
import struct
import sys
from collections.abc import Callable, Iterator
from typing import Any

os.environ["VSWITCH_HOST"] = ":memory:"

import _libvswitch as m
import home_model
import host_model
import mirror_model
import vlan_model
from host_calls import Host

SOURCE = pathlib.Path(__file__).resolve().parents[1]
host = Host()
SWITCH, PORT, UPLINKS = b"workload", b"100", [b"uplink-a", b"uplink-b"]


def taken(call: Callable[..., object], *arguments: object) -> bytes:
    result, size = ctypes.c_void_p(), ctypes.c_int()
    assert call(*arguments, ctypes.addressof(result), ctypes.addressof(size)) == 0
    return ctypes.string_at(result.value or 0, size.value)


def described() -> str:
    """A description with every member."""
    description = json.loads((SOURCE / "platform" / "default_host.json").read_text())
    description["mac_learning"] = {"aging_time": 60, "limit": 9, "learn_static": True, "allow_static": True}
    description["runtime_options"] = {"IGMPQueries": 3, "IGMPRouterIP": "10.0.0.1", "MLDRouterIP": "fe80::1"}
    description["stopped_clock"] = 1_000_000_000_000_000
    description["physical_nics"][0] |= {"duplex": "half", "link": "down", "numa_node": 1, "smartnic": True, "speed": 10}
    names = ["not_learned_allowed", "packets_in_unicast", "bytes_out_broadcast"]
    switch = {
        "alias": "all",
        "switch_id": "all-id",
        "class": "cswitch",
        "max_ports": 20,
        "persistent": False,
        "mtu": 2000,
        "version": 103,
        "flags": 5,
        "uplinks": [
            {"name": "u", "nic": None, "dvport_id": "at-u", "made_port": False, "counters": dict.fromkeys(names, 7)},
            {"name": "nic4", "learned": [{"mac": "02:00:00:00:00:07", "vlan": 3, "vni": 5, "aging": False}]},
        ],
        "ports": [
            {
                "dvport_id": "p",
                "connect_id": 4,
                "external_id": "x",
                "client": {
                    "name": "c",
                    "type": "vnic",
                    "mac": "02:00:00:00:00:09",
                    "numa_node": 1,
                    "router": True,
                    "promiscuous": True,
                },
                "mac_learning": {"learning": True, "flooding": False, "limit": 3, "at_limit": "drop"},
                "learned": [{"mac": "02:00:00:00:00:08", "age": 3}],
                "user_macs": [{"mac": "02:00:00:00:00:06", "vlan": 4, "vni": 1, "age": 2}],
                "multicast_groups": [
                    {"address": "224.0.0.9", "version": 3, "sources": ["10.0.0.1"], "mode": "exclude", "updated": 4},
                    {"address": "ff02::9", "vni": 3},
                ],
                "properties": [{"name": "free", "value": "00ff", "owner": "o", "type": 16, "volatile": True}],
            },
            {"dvport_id": "q", "local_cache": True},
        ],
        "global_properties": [{"name": m.VSPROP_PVLAN_MAP, "value": vlan_model.map_bytes([(10, 10, 1)]).hex()}],
        "host_properties": [{"name": "h", "value": ""}],
        "lags": [{"name": "lag", "members": [{"uplink": "u", "lacp": "down"}, {"uplink": "nic4"}]}],
        "counters": {"rarp_packets": 4, "service_port_tx": 2},
        "mirror_sessions": [
            {
                "session_id": "s",
                "name": "n",
                "port": "p",
                "enabled": False,
                "destinations": ["p"],
                "sources_in": ["q"],
                "sources_out": ["q"],
                "counters": {"copies": 1, "copies_failed": 2, "mirrored": 3, "discarded": 4, "failed": 5},
            }
        ],
    }
    plain = {"alias": "plain", "switch_id": "plain-id", "portset": False}
    description["switches"] += [switch, plain]
    return json.dumps(description)


# What each member of a document is replaced by.
STRANGE: list[Any] = [
    *(None, False, True, 5, 70_000, 2**32, 2**63, -1, 1.5, "", "x", "a\0b", "ff", "02:00:00:00:00:09", "10.0.0.1"),
    *("\u00e9" * 60, "x" * 400, [], [5], ["x"], ["x", "x"], {}, {"a": 1}),
]


def changed(document: Any) -> Iterator[Any]:
    """The document with one member replaced, left out, added, or twice in its list."""

    def places(node: Any) -> Iterator[tuple[Any, Any]]:
        for key in list(node) if isinstance(node, dict) else range(len(node)) if isinstance(node, list) else ():
            yield node, key
            yield from places(node[key])

    def fill(container: Any, content: Any) -> None:
        container.clear()
        container.update(content) if isinstance(container, dict) else container.extend(content)

    for container, key in list(places(document)):
        whole = copy.copy(container)
        for value in STRANGE:
            container[key] = value
            yield document
        fill(container, whole)
        del container[key]
        yield document
        fill(container, whole | {"unknown": 1} if isinstance(whole, dict) else [*whole, whole[key]])
        yield document
        fill(container, whole)


def from_cbor(data: bytes) -> object:
    """Of what the host writes: all lengths are given, and there are no tags."""
    rest = io.BytesIO(data)

    def value() -> object:
        kind, number = divmod(rest.read(1)[0], 32)
        if kind == 7:
            return {20: False, 21: True, 22: None}[number]
        if number > 23:
            number = int.from_bytes(rest.read(1 << number - 24), "big")
        if kind in (2, 3):
            return rest.read(number) if kind == 2 else rest.read(number).decode()
        if kind == 4:
            return [value() for _ in range(number)]
        return {value(): value() for _ in range(number)} if kind == 5 else number

    return value()


def to_cbor(value: Any) -> bytes:
    def head(kind: int, number: int) -> bytes:
        if number < 24:
            return bytes([kind << 5 | number])
        size = next(size for size in range(4) if number < 256 ** (1 << size))
        return bytes([kind << 5 | 24 + size]) + number.to_bytes(1 << size, "big")

    match value:
        case None | bool():
            return {False: b"\xf4", True: b"\xf5", None: b"\xf6"}[value]
        case int():
            return head(0, value) if value >= 0 else head(1, -1 - value)
        case float():
            return b"\xfb" + struct.pack(">d", value)
        case bytes():
            return head(2, len(value)) + value
        case str():
            return head(3, len(value.encode())) + value.encode()
        case list():
            return head(4, len(value)) + b"".join(map(to_cbor, value))
    return head(5, len(value)) + b"".join(to_cbor(key) + to_cbor(member) for key, member in value.items())


def changed_images(body: bytes) -> Iterator[bytes]:
    document: Any = from_cbor(body)
    assert to_cbor(document) == body
    for switch in document.get("switches", []):
        for name, member in switch.items():
            # One of each kind is enough, except for ports: those with clients must not go.
            if isinstance(member, list) and name != "ports":
                switch[name] = member[:1]
    return map(to_cbor, changed(document))


def state_images() -> list[bytes]:
    host.VSDVS_CreateVSwitch(b"edge", b"edge-id", None, 8, 1, 9000, 0, 5)
    host.VSDVS_AddOpaqueDVPort(b"edge", b"p", b"x")
    host.VSDVS_AddSwitchUplinkPort(b"edge", b"nic4")
    host.VSDVS_SetGlobProp(b"edge", b"free", b"one", 3, b"owner", 1)
    host.VSDVS_SetGlobProp(b"edge", b"free", b"two", 3, b"", 0)
    images = [taken(host.DVSQEL_StateGet), taken(host.DVSQEL_PersistentStateGet)]
    # Switches of the targets' home state: one without a port set and one that has one, and uplinks that a boot loses.
    assert host.VSDVS_CreateVSwitch(b"spare", b"spare-id", None, 8, 1, 1500, 0, 0) == 0
    assert host.DVSQEL_SwitchDissociate(b"spare") == 0
    assert host.DVSQEL_SwitchAdd(b"passing", b"passing-id", 8, m.DVS_VERSION_70) == 0
    assert host.DVSQEL_SwitchAssociate(b"passing") == 0
    names, ids = struct.pack("<I81s", 1, b"lost"), struct.pack("<I48s", 1, b"")
    lost = names + ids
    assert host.VSDVS_SetHostProp(b"spare", m.QEL_HNQPROP_HOST_UPLINKPORTS.encode(), lost, len(lost), b"", 0) == 0
    assert host.VSDVS_SetTeamingPolicy(b"spare", policy([b"lost"], [])) == 0
    images += [taken(host.DVSQEL_StateGet), taken(host.DVSQEL_PersistentStateGet)]
    ports = [taken(host.DVSQEL_PortStateGet, SWITCH, PORT), taken(host.DVSQEL_PortStateGet, b"edge", b"p")]
    return [
        *(bytes([kind]) + body for body in changed_images(images[0][20:]) for kind in (0, 2)),
        *(b"\4" + body for body in changed_images(ports[0][20:])),
        *(bytes([kind]) + image[20:] for image in images for kind in (0, 2)),
        *(b"\1" + image for image in images),
        b"\0" + b"\x81" * 40,
        *(b"\4" + image[20:] for image in ports),
        *(b"\5" + image for image in ports),
    ]


def policy(active: list[bytes], standby: list[bytes], percent: int = 0) -> bytes:
    data = struct.pack("<IIBBHIII", 1, 1, percent, 0, 0, 0, len(active), len(standby))
    return (data + b"".join(name.ljust(81, b"\0") for name in active + standby)).ljust(2616, b"\0")


def ls_table(*policies: tuple[bytes, list[bytes], list[bytes]]) -> bytes:
    data = struct.pack("<I", len(policies))
    for name, active, standby in policies:
        one = name.ljust(136, b"\0") + struct.pack("<IIIII", 1, 1, 0, len(active), len(standby))
        data += (one + b"".join(uplink.ljust(81, b"\0") for uplink in active + standby)).ljust(2748, b"\0")
    return data


def teaming() -> list[bytes]:
    policies = [policy(UPLINKS, []), policy(UPLINKS[:1], UPLINKS[1:]), policy([b"none"], []), policy(UPLINKS, [], 101)]
    tables = [ls_table(), ls_table((b"one", UPLINKS, []), (b"two", UPLINKS[1:], UPLINKS[:1]))]
    kinds = {0: policies, 1: policies, 2: tables, 3: [UPLINKS[0], b"none", b""], 4: tables, 5: policies}
    return [bytes([kind]) + data for kind, values in kinds.items() for data in values]


def entity(kind: int) -> bytes:
    values = {
        m.MIRROR_ENTTYPE_DVPORT: PORT,
        m.MIRROR_ENTTYPE_UPLINK: UPLINKS[0],
        m.MIRROR_ENTTYPE_VLAN: struct.pack("<H", 20),
        m.MIRROR_ENTTYPE_PORT: struct.pack("<I", 7),
    }
    return (struct.pack("<I", kind) + values.get(kind, b"\x02\0\0\0\2\1")).ljust(mirror_model.ENTITY_SIZE, b"\0")


def session_of_type(kind: int) -> bytes:
    destinations, sources = (sorted(kinds) for kinds in mirror_model.KINDS[kind])
    fields = mirror_model.Fields(
        b"s%d" % kind, type=kind, rules=1, destinations=len(destinations), sources_in=1, sources_out=len(sources) - 1
    )
    prefixes = [bytes([is_v6, 24]).ljust(mirror_model.PREFIX_SIZE, b"\1") for is_v6 in (0, 1)]
    rule = mirror_model.RULE.pack(0, 1, 1, 6, 7, 1, 2, 80, 443, m.ACTION_MIRROR)
    entities = [entity(one) for one in destinations + sources]
    session = mirror_model.Session(fields, entities, [(rule, prefixes)])
    bare = mirror_model.Session(mirror_model.Fields(b"t"), [], [])
    return mirror_model.table_bytes(mirror_model.Table(4, [session, bare]))


def mirror_tables() -> list[bytes]:
    tables = mirror_model.SAMPLES + [session_of_type(kind) for kind in mirror_model.KINDS]
    return [bytes([kind]) + data for data in tables for kind in (0, 1, 2, 3, 4, 5)]


def runtime_options() -> list[bytes]:
    entries = [struct.pack("<HHI", kind, 8, 1) for kind in range(16)]
    texts = [struct.pack("<HH", kind, 4 + len(text)) + text for kind, text in ((16, b"10.0.0.1\0"), (17, b"fe80::1"))]
    buffers = [b"", b"".join(entries), b"".join(texts), *entries, *texts]
    return [struct.pack("<I", 4 + len(data)) + data for data in buffers]


def property_values() -> list[bytes]:
    samples = [sample for known in host_model.Model.known.values() for sample in known.samples if len(sample) < 300]
    fixed = [struct.pack("<I", 1500), bytes(200), bytes(20), b"\1", b"name", bytes(4), bytes(14), b"\1\1\0\x5e\0\0\1"]
    raw = [bytes([4 * which + at]) + data for data in samples + fixed for which in range(1, 12) for at in (2, 3)]
    def uplinks(*pairs: tuple[bytes, bytes]) -> bytes:
        count = struct.pack("<I", len(pairs))
        names = b"".join(name.ljust(81, b"\0") for name, _ in pairs)
        return count + names + count + b"".join(dvport_id.ljust(48, b"\0") for _, dvport_id in pairs)

    both = [(UPLINKS[0], b""), (UPLINKS[1], b"")]
    more: list[list[tuple[bytes, bytes]]] = [
        [], [(b"nic4", b"")], [(b"u", b"103")], [(b"nic0", b"")], [(b"nic1", b"")], [(b"u", PORT)], both[:1]]
    uplink_lists: list[list[tuple[bytes, bytes]]] = [
        [(b"u", b"p")], [], [(UPLINKS[0], b"p"), both[1]], both[1:], *(both + one for one in more)]
    lists = [
        *(first + uplinks(*pairs) for pairs in uplink_lists for first in (b"\0", b"\x80")),
        b"\x81" + struct.pack("<H", 2) + vlan_model.map_bytes([(10, 10, 1), (10, 12, 2)]),
        b"\x83" + struct.pack("<HBBH", 11, 3, 2, 0),
        b"\1" + struct.pack("<H", 2) + vlan_model.map_bytes([(10, 10, 1), (10, 11, 2)]),
        b"\2\2" + bytes([1, 0, 94, 0, 0, 1, 1, 0, 94, 0, 0, 2]),
        b"\3" + struct.pack("<HBBH", 0, 3, 1, 2) + struct.pack("<HHHH", 1, 9, 20, 20),
    ]
    return raw + lists


def save_restore() -> list[bytes]:
    room = ctypes.create_string_buffer(128)
    assert host.DVSAliasToPortsetName(SWITCH, ctypes.addressof(room)) == 0
    request = struct.pack("<IBI", 1, 0, 0) + room.raw + bytes(8)
    modules = struct.pack("<I", 1) + room.raw + b"\1" + struct.pack("<i", 7)
    numbers = {
        name: value for name, value in vars(m).items() if name.startswith("RTM_IOCCMD_") and isinstance(value, int)
    }

    def step(name: str, of_modules: bool = False) -> bytes:
        data = modules if of_modules else request
        data += bytes(-len(data) % 4)
        return bytes([numbers[f"RTM_IOCCMD_{name}"] | 0x80 * of_modules, len(data) // 4]) + data

    upgrade = ["REG_SAVE", "SAVE", "BLOCKPORTS", "PS_UPGRADE", "PORT_UPGRADE", "REG_RESTORE", "RESTORE"]
    dual_load = ["REG_SAVE_DUALLOAD", "PREDUALLOAD", "SAVE", "BLOCKPORTS", "REG_RESTORE_DUALLOAD"]
    of_modules = [step(name, True) for name in ("REG_SAVE", "SAVE", "REG_RESTORE")]
    blocked = ((1, 1, 7), (1, 2, 7), (0, 2, 7), (0, 1, 7), (1, 255, 7), (1, 1, 99))
    ways = [
        [step(name) for name in [*upgrade, "RESTORE_COMPLETE", "COMPLETE"]],
        [step(name) for name in dual_load],
        [step("REG_SAVE"), *of_modules, step("COMPLETE", True)],
        [step("REG_SAVE"), step("REG_SAVE", True), step("BLOCKPORTS", True)],
        [step("REG_SAVE"), *of_modules, *map(step, upgrade[1:]), step("RESTORE", True), step("COMPLETE")],
        [step("REG_SAVE"), *(bytes([0x40 | block, 1, world, port, 0, 0]) for block, world, port in blocked)],
        [step("GLOBALCONFIG_SAVERESTORE")] * 2,
        [step("ORV_OP")],
        [step("CSWITCH_OP")],
    ]
    return [b"".join(way) for way in ways]


# ---- operations of simulated hosts, as fuzz/simulation.cpp numbers them ----------------------------------------------

FORKED, COPIED, IN_A_FILE = b"\2", b"\x42", b"\x41"
A_PORT, ROUTER, FREE, NIC, MEMBER, UNBOUND = 0, 3, 13, 10, 7, 12
CONNECT, SET_CLIENT, SET_NIC, PARTNER, FAULT = range(5)
CLIENT = bytes.fromhex("020000000101")

SETTINGS_OF_SWITCHES = [
    m.VSPROP_MTU,
    m.VSPROP_MULTICAST_FILTER,
    m.VSPROP_LS_TEAMING_POLICY,
    m.VSPROP_PVLAN_MAP,
    m.VSPROP_SWITCH_MAC_LEARNING,
    m.VSPROP_SWITCH_MAC_LEARN_STATIC,
    m.VSPROP_SWITCH_STATIC_MAC_ALLOW,
    m.VSPROP_USER_MCAST_ADDRESSES,
    m.VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS,
    m.VSPROP_SWITCH_FORWARDING_DISABLED,
    m.QEL_HNQPROP_HOST_PROXY_STATE,
]
SETTINGS_OF_PORTS = [
    m.VSPROP_PORT_VLAN,
    m.VSPROP_PORT_PRIORITY,
    m.VSPROP_PORT_PRIORITY_RETAIN,
    m.VSPROP_PORT_VLAN_NESTEDTAG,
    m.VSPROP_PORT_SECURITY,
    m.VSPROP_PORT_EXTRA_ETH_FRP,
    m.VSPROP_PORT_MAC_MANAGEMENT,
    m.VSPROP_PORT_USER_MCAST_ADDRESSES,
    m.VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE,
    m.VSPROP_PORT_LS_TEAMING_POLICY,
    m.VSPROP_PORT_TEAMING_OVERRIDE,
    m.VSPROP_PORT_TX_UPLINK,
    m.VSPROP_PORT_MIRROR_SESSIONS,
    m.QEL_HNQPROP_PORT_BLOCK,
    m.QEL_HNQPORT_FORWARD_NOT_READY_BLOCK,
]


def sized(data: bytes) -> bytes:
    return struct.pack(">H", len(data)) + data


def sent(endpoint: int, *frames: bytes, compared: int = 0x60) -> bytes:
    raw = b"".join(bytes([endpoint]) + b"\0" + sized(frame) for frame in frames)
    return bytes([0, compared | len(frames) - 1]) + raw


def advanced(milliseconds: int) -> bytes:
    return b"\3\1" + struct.pack(">H", milliseconds)


def told(kind: int, endpoint: int, document: object) -> bytes:
    rest = b"\1" if kind in (PARTNER, FAULT) else b""
    return bytes([9, kind, endpoint]) + sized(json.dumps(document).encode()) + rest


def ethernet(destination: str, source: bytes, payload: str) -> bytes:
    return (bytes.fromhex(destination) + source + bytes.fromhex(payload)).ljust(60, b"\0")


def some_frames() -> dict[int, list[bytes]]:
    """By the endpoint that they are sent in at."""
    lacp = "88090101 0114 8000 0200000000ff 0001 8000 0001 3d000000 0214 8000 027673000001 0001 8000 0001 3d000000 0310"
    beacon = "8922 56534231 6553f100" + b"b-id".ljust(64, b"\0").hex() + "00000009"
    query = "0800 46c00024 00004000 01020413 00000000 e0000001 94040000 1164ec1e00000000 027d0000"
    report = "0800 46c00020 00004000 010241f8 c0000209 e0000016 94040000 1600fafdef000001"
    neighbour = bytes.fromhex("020000000777")
    return {
        A_PORT: [
            ethernet("ffffffffffff", CLIENT, "0806"),
            ethernet("020000000102", CLIENT, "0800"),
            ethernet("020000000999", CLIENT, "81000001 0800"),
            ethernet("01005e000116", CLIENT, report),
        ],
        ROUTER: [ethernet("01005e000001", bytes.fromhex("020000000104"), query)],
        MEMBER: [
            ethernet("0180c2000002", neighbour, lacp).ljust(124, b"\0"),
            ethernet("020000000101", neighbour, "8100000a 0800"),
            ethernet("ffffffffffff", CLIENT, "81000065 0806"),
        ],
        NIC: [ethernet("ffffffffffff", neighbour, beacon), neighbour * 2],
        UNBOUND: [ethernet("ffffffffffff", neighbour, "0806")],
    }


def packet_files() -> list[bytes]:
    frames = [frame for of_endpoint in some_frames().values() for frame in of_endpoint]
    files = []
    for order, magic in (("<", 0xA1B2C3D4), (">", 0xA1B2C3D4), ("<", 0xA1B23C4D)):
        head = struct.pack(order + "IHHiIII", magic, 2, 4, 0, 0, 65535, 1)
        records = (struct.pack(order + "IIII", 5, 6, len(frame), len(frame)) + frame for frame in frames)
        files.append(head + b"".join(records))

    def block(order: str, kind: int, body: bytes) -> bytes:
        body += bytes(-len(body) % 4)
        length = struct.pack(order + "I", len(body) + 12)
        return struct.pack(order + "I", kind) + length + body + length

    for order in "<>":
        section = block(order, 0x0A0D0D0A, struct.pack(order + "IHHq", 0x1A2B3C4D, 1, 0, -1))
        options = struct.pack(order + "HHB3xHHqHH", 9, 1, 0x8A, 14, 8, 1000, 0, 0)
        interface = block(order, 1, struct.pack(order + "HHI", 1, 0, 48)) + block(
            order, 1, struct.pack(order + "HHI", 1, 0, 0) + options
        )
        enhanced = (
            block(order, 6, struct.pack(order + "IIIII", 1, 5, 6, len(frame), len(frame)) + frame) for frame in frames
        )
        simple = block(order, 3, struct.pack(order + "I", len(frames[0])) + frames[0][:48])
        others = block(order, 5, bytes(12)) + block(order, 2, bytes(20))
        files.append(section + interface + b"".join(enhanced) + simple)
        files.append((section + interface + simple) * 2 + others)
    return files


def simulated_documents() -> list[tuple[int, int, object]]:
    """What calls take: the kind of call, an endpoint for it, the argument."""
    groups = [
        "239.0.0.2",
        {"address": "ff0e::2", "sources": ["2001:db8::1"], "mode": "exclude", "version": 2},
        {"address": "239.0.0.3", "sources": ["10.0.0.1", "10.0.0.2"]},
    ]
    client = {
        "mac": "02:00:00:00:01:09",
        "promiscuous": True,
        "link": False,
        "groups": groups,
        "multicast_macs": ["01:00:5e:00:01:17"],
    }
    partner = {
        "system": "02:00:00:ff:ff:09",
        "system_priority": 5,
        "key": 2,
        "port": 3,
        "port_priority": 4,
        "active": False,
        "fast": True,
        "aggregatable": True,
        "on": True,
    }
    fault = {
        "kind": "fail",
        "call": "VSDVS_SetMTU",
        "status": "QEL_FAILURE",
        "exception": None,
        "message": None,
        "milliseconds": None,
        "skip": 1,
        "times": 2,
        "probability": 0.5,
        "seed": 7,
    }
    return [
        (CONNECT, FREE, {"name": "new", "mac": "02:00:00:00:01:08", "type": "tcpip"}),
        (SET_CLIENT, A_PORT, client),
        (SET_NIC, MEMBER, {"errors": 7, "segment": "x", "link": False}),
        (PARTNER, MEMBER, partner),
        (FAULT, A_PORT, fault),
        (FAULT, A_PORT, {"kind": "abort", "exception": "out_of_memory", "message": "none left"}),
        (FAULT, A_PORT, {"kind": "delay", "milliseconds": 20}),
    ]


def copied_to_addresses() -> Iterator[bytes]:
    """What gives a switch a session that sends what its clients send to an address."""
    for encapsulation in (m.DVMIRROR_ENCAP_GRE, m.DVMIRROR_ENCAP_ERSPAN2, m.DVMIRROR_ENCAP_ERSPAN3):
        for is_v6 in (0, 1):
            fields = mirror_model.Fields(
                b"e",
                type=m.VS_DVMIRROR_SESSIONTYPE_ERMIRROR_SRC,
                wild_in=m.VS_DVMIRROR_WILDCARD_VMM,
                gre_key=is_v6,
                encapsulation=encapsulation,
                destinations=1,
            )
            address = struct.pack("<IB3x16s", m.MIRROR_ENTTYPE_IP, is_v6, b"\xc6\x33\x64\x09" * 4)
            session = mirror_model.Session(fields, [address.ljust(mirror_model.ENTITY_SIZE, b"\0")], [])
            which = SETTINGS_OF_SWITCHES.index(m.VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS)
            yield bytes([11, 0, 0, which]) + sized(mirror_model.table_bytes(mirror_model.Table(4, [session])))


def simulations() -> list[bytes]:
    of_endpoints = some_frames().items()
    frames = b"".join(sent(endpoint, frame) for endpoint, some in of_endpoints for frame in some)
    batches = b"".join(sent(endpoint, *some) for endpoint, some in of_endpoints)
    everything = frames + advanced(2500) + batches + advanced(31000)
    documents = [
        (kind, endpoint, changed_one)
        for kind, endpoint, document in simulated_documents()
        for changed_one in (copy.deepcopy(one) for one in changed([document]))
    ]
    cheap = b"".join(sent(endpoint, *some, compared=0) for endpoint, some in of_endpoints)
    settings = [
        start + bytes([which]) + sized(value)
        for start, names in ((b"\x0b\0\0", SETTINGS_OF_SWITCHES), (b"\x0b\0\1\2", SETTINGS_OF_PORTS))
        for which, name in enumerate(names)
        if name in host_model.Model.known
        for value in host_model.Model.known[name].samples
        if len(value) < 1000
    ]
    captures = bytes([8, 1, A_PORT, 3, 60, 8, 1, NIC, 2, 0])
    to_neighbour = sent(A_PORT, ethernet("020000000102", CLIENT, "0800"))
    anew = [bytes([18, 2, 18, how]) for how in range(5)]
    return [
        *(start + everything for start in (FORKED, IN_A_FILE)),
        b"\0" + sized(b'{"format": 1, "stopped_clock": %d}' % (2**63 - 1)) + advanced(0),
        *(FORKED + bytes([6, 1, NIC]) + sized(file) for file in packet_files()),
        *(FORKED + told(kind, endpoint, wrapped[0] if wrapped else None) for kind, endpoint, wrapped in documents[::4]),
        *(FORKED + told(*one) + cheap + advanced(3000) + frames for one in simulated_documents()),
        *(FORKED + setting + cheap for setting in settings),
        FORKED + captures + everything,
        *(FORKED + mirrored + advanced(3000) + cheap for mirrored in copied_to_addresses()),
        FORKED + told(SET_CLIENT, A_PORT + 1, {"link": False}) + to_neighbour,
        *(COPIED + cheap + way + batches for way in anew),
        *(FORKED + random.Random(number).randbytes(400 + 40 * number) for number in range(16)),
    ]


def main(folder: pathlib.Path) -> None:
    seeds = {
        "boot_description": [
            (SOURCE / "platform" / "default_host.json").read_bytes(),
            home_model.description().encode(),
            described().encode(),
            *(json.dumps(document).encode() for document in changed(json.loads(described()))),
            b'{"format": 1}',
            b'{"format": ' + b"[" * 40,
        ],
        "frame": [random.Random(number).randbytes(600 + 40 * number) for number in range(24)],
        "save_restore": save_restore(),
        "simulation": simulations(),
        "state_image": state_images(),
        "teaming": teaming(),
        "mirror_table": mirror_tables(),
        "runtime_options": runtime_options(),
        "property_value": property_values(),
    }
    for reader, inputs in seeds.items():
        (folder / reader).mkdir(parents=True, exist_ok=True)
        for number, data in enumerate(inputs):
            (folder / reader / f"seed-{number}").write_bytes(data)


main(pathlib.Path(sys.argv[1]))
