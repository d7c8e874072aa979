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


def changed(document: object) -> Iterator[object]:
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
