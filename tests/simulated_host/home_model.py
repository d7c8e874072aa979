"""The switch that the host of the model boots with. It has what no call can make: clients, learned addresses, LAGs."""

import json
from typing import Any

import _libvswitch as m
from host_model import NICS, Port, Switch
from lag_model import Lag
from mac_model import ALLOW, LEARNED, MacEntry, MacKey, policy_bytes
from property_model import Property

ALIAS, SWITCH_ID, MOST_PORTS = "home", "home-id", 12
# The NIC of that name is behind an uplink port, if there is one. What LACP negotiated.
LAGS = [Lag("lag-1", {"nic0": True, "nic1": False}), Lag("lag-2", {"nic2": True, "plain": True})]
UPLINKS = [uplink for lag in LAGS for uplink in lag.members]
CLIENTS = {"c": ("vnic", bytes([2, 0, 0, 0, 0, 0xC1])), "d": ("tcpip", bytes([2, 0, 0, 0, 0, 0xC2]))}
# One more address, and it is at its limit.
LEARNING_PORT, LEARNING_LIMIT = "learning", 3
# The port's name, the VLAN, and the age where it ages. The first bytes differ, so that an order is seen.
LEARNT = {
    MacKey(bytes([2, 1, 0, 0, 0, 1]), 0): (LEARNING_PORT, 5),
    MacKey(bytes([6, 1, 0, 0, 0, 2]), 20): (LEARNING_PORT, None),
    MacKey(bytes([2, 1, 0, 0, 0, 3]), 5): ("nic0", None),
    MacKey(bytes([6, 1, 0, 0, 0, 4]), 0): ("nic1", 30),
}


def mac_text(mac: bytes) -> str:
    return ":".join(f"{byte:02x}" for byte in mac)


def timing(age: int | None) -> dict[str, Any]:
    return {"aging": False} if age is None else {"age": age}


def learnt_at(name: str) -> list[dict[str, Any]]:
    found: list[dict[str, Any]] = [
        {"mac": mac_text(key.mac), "vlan": key.vlan} | timing(age)
        for key, (place, age) in LEARNT.items()
        if place == name
    ]
    return found


def description() -> str:
    """What the host boots from."""
    return json.dumps(
        {
            "format": 1,
            "stopped_clock": 1_000_000_000_000_000,
            "physical_nics": [
                {"name": nic, "mac": mac_text(bytes([2, 0, 0, 1, 0, i])), "link": "up" if up else "down"}
                for i, (nic, up) in enumerate(NICS.items())
            ],
            "switches": [
                {
                    "alias": ALIAS,
                    "switch_id": SWITCH_ID,
                    "max_ports": MOST_PORTS,
                    "uplinks": [
                        {"name": name, "dvport_id": f"at-{name}", "learned": learnt_at(name)} for name in UPLINKS
                    ],
                    "ports": [
                        {"dvport_id": name, "client": {"name": f"client {name}", "type": kind, "mac": mac_text(mac)}}
                        for name, (kind, mac) in CLIENTS.items()
                    ]
                    + [
                        {
                            "dvport_id": LEARNING_PORT,
                            "mac_learning": {"limit": LEARNING_LIMIT},
                            "learned": learnt_at(LEARNING_PORT),
                        }
                    ],
                    "lags": [
                        {
                            "name": lag.name,
                            "members": [
                                {"uplink": uplink, "lacp": "up" if up else "down"} for uplink, up in lag.members.items()
                            ],
                        }
                        for lag in LAGS
                    ],
                }
            ],
        }
    )


def home() -> Switch:
    """What the model makes of it."""
    switch = Switch(ALIAS, SWITCH_ID, MOST_PORTS, True, m.DVS_VERSION_70, 0, uplinks=list(UPLINKS), lags=LAGS)
    for uplink in UPLINKS:
        switch.ports[f"at-{uplink}"] = Port(uplink=uplink, made_for_uplink=True)
    for name, (_, mac) in CLIENTS.items():
        switch.ports[name] = Port(client_mac=mac)
    learning = Property("", b"\1" + policy_bytes(True, True, LEARNING_LIMIT, ALLOW))
    switch.ports[LEARNING_PORT] = Port({m.VSPROP_PORT_MAC_MANAGEMENT: learning})
    for key, (place, age) in LEARNT.items():
        port = f"at-{place}" if place in UPLINKS else place
        switch.macs[key, LEARNED] = MacEntry(LEARNED, port, age or 0, age is not None)
    return switch
