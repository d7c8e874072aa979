"""Tests of what the protocols of a host do, each on a host of its own whose clock stands: `pytest test_protocols.py`.

Change what the host boots from, or what a test expects, and see what happens.
"""

from collections.abc import Iterator

import pytest

import vswitch
from vswitch.simulated import Group, Kind, LacpPartner, SimulatedHost

MULTICAST = bytes.fromhex("01005e010203 020000000101 0800 4500001c00000000011100 00 c0000201 ef010203") + bytes(26)
BROADCAST = bytes.fromhex("ffffffffffff 020000000101 88b5") + bytes(46)


@pytest.fixture
def host() -> Iterator[SimulatedHost]:
    """Three ports, and two NICs in a LAG that negotiates."""
    members = [{"uplink": "nic1"}, {"uplink": "nic2"}]
    clients = [{"name": name, "type": "vnic", "mac": f"02:00:00:00:01:0{n}"} for n, name in enumerate("abc", 1)]
    switch = {
        "alias": "sw",
        "switch_id": "example",
        "uplinks": [{"name": "nic1"}, {"name": "nic2"}],
        "lags": [{"name": "lag", "mode": "active", "fast": True, "members": members}],
        "ports": [{"dvport_id": client["name"], "client": client} for client in clients],
    }
    nics = [{"name": f"nic{n}", "mac": f"02:00:00:00:00:0{n}"} for n in (1, 2)]
    boot = {"format": 1, "stopped_clock": 1_700_000_000_000_000, "physical_nics": nics, "switches": [switch]}
    with SimulatedHost(boot=boot) as simulated:
        yield simulated


def test_a_lag_is_up_two_seconds_after_both_ends_speak(host: SimulatedHost) -> None:
    for number in (1, 2):
        host.set_partner(f"nic{number}", LacpPartner(port=number, fast=True))
    host.advance(1.9)
    assert not host.lacp("nic1").up
    host.advance(0.2)
    assert host.lacp("nic1").up and host.lacp("nic2").up
    host.set_partner("nic2", None)  # it falls silent
    host.advance(4)
    assert (host.lacp("nic1").up, host.lacp("nic2").up) == (True, False)


def test_multicast_goes_to_members(host: SimulatedHost) -> None:
    vswitch.Host().switches["sw"].multicast_mode = vswitch.MulticastMode.SNOOPING
    host.set_client(("sw", "b"), groups=[Group("239.1.2.3")])
    assert [delivery.endpoint for delivery in host.send(("sw", "a"), MULTICAST).deliveries] == [("sw", "b")]


def test_a_mirror_shows_what_a_port_sends(host: SimulatedHost) -> None:
    switch = vswitch.Host().switches["sw"]
    switch.mirrors.create(vswitch.MirrorSession("watch", sources_in=["port:a"], destinations=["port:c"]))
    result = host.send(("sw", "a"), BROADCAST)
    assert [delivery.endpoint for delivery in result.deliveries if delivery.kind is Kind.MIRROR] == [("sw", "c")]
