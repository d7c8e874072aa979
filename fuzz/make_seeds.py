"""Writes valid inputs for the fuzz targets to a folder: what the model of the host holds, and what the host hands out.

Usage: make_seeds.py FOLDER, with the module, tests/support and tests/simulated_host on PYTHONPATH."""

import ctypes
import json
import os
import pathlib
import struct
import sys

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


def taken(call, *arguments) -> bytes:
    result, size = ctypes.c_void_p(), ctypes.c_int()
    assert call(*arguments, ctypes.addressof(result), ctypes.addressof(size)) == 0
    return ctypes.string_at(result.value, size.value)


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


def state_images() -> list[bytes]:
    host.VSDVS_CreateVSwitch(b"edge", b"edge-id", None, 8, 1, 9000, 0, 5)
    host.VSDVS_AddOpaqueDVPort(b"edge", b"p", b"x")
    host.VSDVS_AddSwitchUplinkPort(b"edge", b"nic4")
    host.VSDVS_SetGlobProp(b"edge", b"free", b"one", 3, b"owner", 1)
    host.VSDVS_SetGlobProp(b"edge", b"free", b"two", 3, b"", 0)
    images = [taken(host.DVSQEL_StateGet), taken(host.DVSQEL_PersistentStateGet)]
    ports = [taken(host.DVSQEL_PortStateGet, SWITCH, PORT)]
    return [
        *(bytes([kind]) + image[20:] for image in images for kind in (0, 2)),
        *(b"\1" + image for image in images),
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


def mirror_tables() -> list[bytes]:
    return [bytes([kind]) + data for data in mirror_model.SAMPLES for kind in (0, 1, 2, 3, 4, 5)]


def runtime_options() -> list[bytes]:
    entries = [struct.pack("<HHI", kind, 8, 1) for kind in range(16)]
    texts = [struct.pack("<HH", kind, 4 + len(text)) + text for kind, text in ((16, b"10.0.0.1\0"), (17, b"fe80::1"))]
    buffers = [b"", b"".join(entries), b"".join(texts), *entries, *texts]
    return [struct.pack("<I", 4 + len(data)) + data for data in buffers]


def property_values() -> list[bytes]:
    samples = [sample for known in host_model.Model.known.values() for sample in known.samples if len(sample) < 300]
    fixed = [struct.pack("<I", 1500), bytes(200), bytes(20), b"\1", b"name", bytes(4), bytes(14), b"\1\1\0\x5e\0\0\1"]
    raw = [bytes([4 * which + at]) + data for data in samples + fixed for which in range(1, 12) for at in (2, 3)]
    names = struct.pack("<I", 1) + b"u".ljust(81, b"\0")
    lists = [
        b"\0" + names + struct.pack("<I", 1) + b"p".ljust(48, b"\0"),
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
    numbers = {name: value for name, value in vars(m).items() if name.startswith("RTM_IOCCMD_") and isinstance(value, int)}

    def step(name: str, of_modules: bool = False) -> bytes:
        data = modules if of_modules else request
        data += bytes(-len(data) % 4)
        return bytes([numbers[f"RTM_IOCCMD_{name}"] | 0x80 * of_modules, len(data) // 4]) + data

    upgrade = ["REG_SAVE", "SAVE", "BLOCKPORTS", "PS_UPGRADE", "PORT_UPGRADE", "REG_RESTORE", "RESTORE"]
    ways = [
        [step(name) for name in [*upgrade, "RESTORE_COMPLETE", "COMPLETE"]],
        [step("REG_SAVE_DUALLOAD"), step("PREDUALLOAD"), step("SAVE"), step("BLOCKPORTS"), step("REG_RESTORE_DUALLOAD")],
        [step("REG_SAVE"), step("REG_SAVE", True), step("SAVE", True), step("REG_RESTORE", True), step("COMPLETE", True)],
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
            b'{"format": 1}',
        ],
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
