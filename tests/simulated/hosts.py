"""Hosts and frames that the tests of simulated hosts share."""

import pathlib
import struct
import sys
from collections.abc import Callable
from typing import Any

sys.path.append(str(pathlib.Path(__file__).parents[1] / "forwarding"))  # random hosts and frames, the constants
from boot import constants as constants  # noqa: E402

from vswitch.simulated import SimulatedHost  # noqa: E402

BROADCAST = "ffffffffffff"


def setting(name: str, value: bytes) -> dict[str, Any]:
    """A property of a boot description, by the name of its constant."""
    return {"name": constants()[name], "value": value.hex()}


def access(vlan: int) -> dict[str, Any]:
    return setting("VSPROP_PORT_VLAN", struct.pack("<HHHH", 0, vlan, 0, 0))


def trunk(native: int, *ranges: tuple[int, int]) -> dict[str, Any]:
    flags = int(constants()["VSPORT_VLAN_GUEST_TAGGING"])
    packed = b"".join(struct.pack("<HH", *both) for both in ranges)
    return setting("VSPROP_PORT_VLAN", struct.pack("<HHHH", flags, native, 0, len(ranges)) + packed)


def private(vlan: int) -> dict[str, Any]:
    return setting("VSPROP_PORT_VLAN", struct.pack("<HHHH", int(constants()["VSPORT_VLAN_PVLAN_ENABLED"]), vlan, 0, 0))


def security(*flags: str) -> dict[str, Any]:
    """`"FORGED_SRC"`, `"MAC_CHANGE"`, `"PROMISC"`: what is forbidden."""
    bits = sum(int(constants()[f"VSPORT_SECURITY_DISALLOW_{flag}"]) for flag in flags)
    return setting("VSPROP_PORT_SECURITY", struct.pack("<I", bits))


def mac(number: int) -> str:
    """The address of client number `number`, as a boot description has it."""
    return f"02:00:00:00:01:{number:02x}"


def frame(source: str, destination: str = BROADCAST, payload: bytes = bytes(46), kind: str = "0800") -> bytes:
    return bytes.fromhex(destination.replace(":", "") + source.replace(":", "") + kind) + payload


def description(ports: "dict[str, dict[str, Any]] | int" = 3, nics: int = 1, **switch: Any) -> dict[str, Any]:
    """A stopped host with a switch `sw`, on each of whose ports is a client of the port's name: `a`, `b`, ..."""
    if isinstance(ports, int):
        ports = {chr(ord("a") + number): {} for number in range(ports)}
    made: list[dict[str, Any]] = []
    for number, (name, port) in enumerate(ports.items()):
        client = {"name": name, "type": "vnic", "mac": mac(10 + number)}
        made.append({"dvport_id": name, "client": client} | port)
    return {
        "format": 1,
        "stopped_clock": 1_700_000_000_000_000,
        "physical_nics": [{"name": f"nic{number}", "mac": f"02:00:00:00:00:{number + 1:02x}"}
                          for number in range(nics)],
        "switches": [{"alias": "sw", "switch_id": "id", "uplinks": [{"name": f"nic{n}"} for n in range(nics)],
                      "ports": made} | switch],
    }


def each(*operations: Callable[[], object]) -> tuple[Callable[[], object], ...]:
    """Operations of any results, in a row."""
    return operations


def host(*arguments: Any, **options: Any) -> SimulatedHost:
    return SimulatedHost(boot=description(*arguments, **options))
