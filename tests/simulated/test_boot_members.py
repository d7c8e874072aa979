"""What forwarding has added to boot descriptions: the limits of each member, what is said where it cannot be, and that
an export has all of it but what runs."""

import functools
import json
import os
import struct
import subprocess
from collections.abc import Iterable
from typing import Any

import pytest
from group_frames import data, join
from hosts import constants, description, mac, setting
from workspace import BUILD

from vswitch.simulated import Group, SimulatedHost, SimulationError

TOOL = BUILD / "host" / "bin" / "vswitch-host"
A, B = ("sw", "a"), ("sw", "b")

Boot = dict[str, Any]


def boot_description() -> Boot:
    """A host that snoops, with an object of each kind that has members of its own, without these."""
    snooping = setting("VSPROP_MULTICAST_FILTER", struct.pack("<I", int(constants()["VS_MCAST_FILTER_MODE_SNOOPING"])))
    boot = description(2, 3, lags=[{"name": "front", "members": [{"uplink": "nic1"}, {"uplink": "nic2"}]}],
                       global_properties=[snooping])
    boot["physical_nics"][1]["partner"] = {}
    return boot | {"stacks": {"default": {}, "mirror": {}}, "mac_learning": {}}


# Where the objects with these members stand.
STACKS = "stacks.default", "stacks.mirror"
NIC = ("physical_nics[1]",)
PARTNER = ("physical_nics[1].partner",)
LAG = ("switches[0].lags[0]",)
CLIENT = ("switches[0].ports[0].client",)


def steps(place: str) -> list[str | int]:
    """`a[1].b` as keys."""
    return [int(part) if part.isdigit() else part for part in place.replace("[", ".").replace("]", "").split(".")]


def step(value: Any, key: str | int) -> Any:
    return value[key]


def put(boot: Boot, place: str, value: object) -> Boot:
    *to, last = steps(place)
    found: Any = functools.reduce(step, to, boot)
    found[last] = value
    return boot


def at(place: str, boot: Boot) -> Any:
    return functools.reduce(step, steps(place), boot)


def exported(host: SimulatedHost, folder: Any) -> Boot:
    """What the tool exports of a host."""
    file = folder / "host.db"
    host.snapshot(file, force=True)
    process = subprocess.run([TOOL, "export"], env=dict(os.environ, VSWITCH_HOST=str(file)), capture_output=True,
                             text=True, timeout=60, check=False)
    assert process.returncode == 0, process.stderr
    boot = json.loads(process.stdout)
    assert isinstance(boot, dict)
    return boot


def range_of(lowest: int, highest: int) -> tuple[list[object], list[object], str]:
    """Values that can be, values that cannot, and what is said of these."""
    wrong = [lowest - 1, highest + 1, 2**32 + lowest, lowest + 0.5, str(lowest), True, None]
    return [lowest, highest], wrong, f"must be a number from {lowest} to {highest}"


TRUTH = [True, False], [0, 1, "true", None], "must be true or false"
TEXT = 'must be a MAC address such as "02:00:00:00:00:01"'
MAC = ["02:00:00:00:00:99", "fe:ff:ff:ff:ff:ff"], ["02:00:00:00:00", "02:00:00:00:00:0g", "020000000001"], TEXT
WIDE = range_of(0, 65535)

# Places, the member, values that can be, values that cannot, what is said of these.
MEMBERS: list[tuple[Iterable[str], str, tuple[list[Any], list[Any], str]]] = [
    (STACKS, "mac", MAC),
    (STACKS, "gateway_mac", MAC),
    (STACKS, "ipv4", (["0.0.0.0", "198.51.100.255"], ["192.0.2.256", "192.0.2", "host"],
                      "must be an IPv4 or IPv6 address")),
    (STACKS, "ipv4", ([], ["2001:db8::1"], "must be an IPv4 address")),
    (STACKS, "ipv6", (["::", "2001:1db8:1111:2222:3333:4444:5555:6666"], ["2001:db8:::1", "host"],
                      "must be an IPv4 or IPv6 address")),
    (STACKS, "ipv6", ([], ["192.0.2.1"], "must be an IPv6 address")),
    (STACKS, "vlan", range_of(0, 4094)),
    (STACKS, "ttl", range_of(1, 255)),
    (STACKS, "dscp", range_of(0, 63)),
    (STACKS, "ip4", ([], ["192.0.2.1"], "is not a member of this object")),
    (["stacks"], "other", ([], [{}], "is not a member of this object")),
    (["stacks"], "mirror", ([], [[], None, 1], "must be an object")),
    (NIC, "errors", range_of(0, 100)),
    (NIC, "segment", (["", "x" * 31, "ä" * 15 + "x"], ["x" * 32, "ä" * 16], "is longer than 31 bytes")),
    (NIC, "segment", ([], [1, None, ["x"]], "must be a text")),
    (NIC, "segment", ([], ["a\0b"], "contains a zero character")),
    (NIC, "partner", ([], [[], 1, "on"], "must be an object")),
    (PARTNER, "system", MAC),
    (PARTNER, "system_priority", WIDE),
    (PARTNER, "key", WIDE),
    (PARTNER, "port", WIDE),
    (PARTNER, "port_priority", WIDE),
    (PARTNER, "active", TRUTH),
    (PARTNER, "fast", TRUTH),
    (PARTNER, "aggregatable", TRUTH),
    (PARTNER, "on", TRUTH),
    (PARTNER, "priority", ([], [1], "is not a member of this object")),
    (LAG, "mode", (["fixed", "active", "passive"], ["Active", "on", ""], 'must be "fixed", "active" or "passive"')),
    (LAG, "mode", ([], [1, None], "must be a text")),
    (LAG, "fast", TRUTH),
    (LAG, "hash", (["l2", "l2+3", "l3+4", "vlan+srcmac"], ["l4", "L2", ""],
                   'must be "l2", "l2+3", "l3+4" or "vlan+srcmac"')),
    (LAG, "system", MAC),
    (LAG, "system_priority", WIDE),
    (LAG, "key", WIDE),
    (LAG, "max_active", range_of(1, 32)),
    (LAG, "fallback", TRUTH),
    (LAG, "slow", ([], [True], "is not a member of this object")),
    (CLIENT, "effective_mac", MAC),
    (CLIENT, "effective_mac", ([], ["01:00:00:00:00:01", "00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff"],
                               "must not be zero or a multicast address")),
    (CLIENT, "link", (["up", "down"], ["Up", ""], 'must be "up" or "down"')),
    (CLIENT, "multicast_macs", ([[], ["01:00:5e:01:02:03", "33:33:00:00:00:07"]], [["02:00:00:00:00:01"]],
                                "must hold multicast addresses")),
    (CLIENT, "multicast_macs", ([], [["01:00:5e"]], 'must hold MAC addresses such as "02:00:00:00:00:01"')),
]
CASES = [(f"{place}.{member}", *rest) for places, member, rest in MEMBERS for place in places]
# What runs is not exported.
RUNNING = "errors", "effective_mac", "link"


@pytest.mark.parametrize(("place", "values", "complaint"), [(place, *rest) for place, _, *rest in CASES])
def test_API_9_what_cannot_be_is_refused_with_its_place(place: str, values: list[Any], complaint: str) -> None:
    for value in values:
        with pytest.raises(SimulationError) as refused:
            SimulatedHost(boot=put(boot_description(), place, value))
        assert str(refused.value) == f"{place}: {complaint}", value


def test_API_9_what_lacp_negotiated_is_only_for_fixed_lags() -> None:
    for lacp in ("up", "down"):
        for mode in ("active", "passive"):
            boot = put(boot_description(), f"{LAG[0]}.mode", mode)
            with pytest.raises(SimulationError) as refused:
                SimulatedHost(boot=put(boot, f"{LAG[0]}.members[1].lacp", lacp))
            assert str(refused.value) == f'{LAG[0]}.members[1].lacp: is only for a LAG of mode "fixed"'
        SimulatedHost(boot=put(boot_description(), f"{LAG[0]}.members[1].lacp", lacp))


def test_API_9_a_switch_learns_a_million_addresses_at_most(tmp_path: Any) -> None:
    host = SimulatedHost(boot=put(boot_description(), "mac_learning.limit", 2**20))
    assert at("mac_learning.limit", exported(host, tmp_path)) == 2**20
    with pytest.raises(SimulationError, match="^mac_learning: the host refuses it with QEL_LIMIT_EXCEEDED$"):
        SimulatedHost(boot=put(boot_description(), "mac_learning.limit", 2**20 + 1))
    assert at("mac_learning.limit", exported(SimulatedHost(boot=boot_description()), tmp_path)) == 65536


@pytest.mark.parametrize("turn", range(4))
def test_API_9_an_export_has_every_member_but_what_runs(turn: int, tmp_path: Any) -> None:
    """In each turn the members have other values that they may have."""
    boot = boot_description()
    wanted = {place: possible[turn % len(possible)] for place, possible, _, _ in CASES if possible}
    for place, value in wanted.items():
        put(boot, place, value)
    host = SimulatedHost(boot=boot)
    assert host.client(A).mac == wanted[f"{CLIENT[0]}.effective_mac"]
    assert host.client(A).link == (wanted[f"{CLIENT[0]}.link"] == "up")
    # Of the memberships those that a test has made stay, and what was reported goes.
    host.set_client(A, link=True)
    groups = Group("239.1.1.1"), Group("ff0e::1", ("2001:db8::1", "2001:db8::2"), "exclude")
    host.set_client(B, groups=groups)
    host.send(B, join(mac(11), "239.2.2.2"))
    assert host.send(A, data(mac(10), "239.2.2.2")).to(B)

    first = exported(host, tmp_path)
    for place, value in wanted.items():
        *_, member = steps(place)
        if member in RUNNING:
            assert member not in at(place.removesuffix(f".{member}"), first), place
        elif value != []:
            assert at(place, first) == value, place
    again = SimulatedHost(boot=first)
    assert exported(again, tmp_path) == first
    client = again.client(A)
    assert (client.mac, client.link) == (mac(10), True)
    assert again.client(B).groups == tuple(group._replace(version=3 if "." in group.address else 2)
                                           for group in groups)


def test_D_2_a_snapshot_has_what_runs(tmp_path: Any) -> None:
    boot = boot_description()
    boot["switches"][0]["ports"][0]["client"] |= {"effective_mac": mac(99), "link": "down",
                                                  "multicast_macs": ["01:00:5e:01:02:03"]}
    host = SimulatedHost(boot=boot)
    host.snapshot(tmp_path / "host.db")
    assert SimulatedHost(tmp_path / "host.db").client(A) == host.client(A)
    assert host.client(A)[2:] == (mac(10), mac(99), False, False, (), ("01:00:5e:01:02:03",))
