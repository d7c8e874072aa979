"""Boot descriptions of the model's documents: values of properties by the layouts of the interface's records."""

from typing import Any

import pytest
from boot import MirrorTable, constants, description
from model.configuration import MirrorSession
from model.document import read
from model_hosts import NOW, Host, mac, trunk
from random_hosts import START, random_host

pytestmark = pytest.mark.pure_python


def properties(described: dict[str, Any]) -> dict[str, Any]:
    return {item["name"]: item["value"] for item in described["properties"]}


def test_a_port() -> None:
    host = Host()
    host.port("a", vlan=trunk([10, 12], native=7), mac_management={"learning": True, "limit": 3, "at_limit": "drop"},
              security={"disallow_forged_src": True}, user_macs=[{"mac": mac(9), "vlan": 5, "since": NOW - 4_000_000}],
              learned=[{"mac": mac(8), "seen": NOW // 1_000_000 - 2}],
              client={"groups": [{"address": "239.1.1.1"}], "effective_mac": mac(7)})
    made = description(host.document, NOW)
    (port,) = made["switches"][0]["ports"]
    assert properties(port) == {
        "com.taliko.vswitch.port.vlan": "0100" "0700" "0000" "0100" "0a000c00",
        "com.taliko.vswitch.port.macManagement": "01" "01" "00" "03000000" "01000000",
        "com.taliko.vswitch.port.security": "04000000",
    }
    assert port["user_macs"] == [{"mac": mac(9), "vlan": 5, "vni": 0, "age": 4}]
    assert port["learned"] == [{"mac": mac(8), "vlan": 0, "aging": True, "age": 2}]
    assert port["multicast_groups"] == [{"address": "239.1.1.1"}]
    assert port["client"]["mac"] == mac(2) and port["client"]["effective_mac"] == mac(7)
    assert made["switches"][0]["uplinks"] == [{"name": "nic0", "nic": "nic0", "dvport_id": "uplink-0",
                                               "properties": []}]


def test_sizes_of_records() -> None:
    policy = {"active": ["nic0"], "balance": "ip"}
    host = Host(team=policy, logical_teams=[{**policy, "name": "l"}], user_multicast=["01:00:5e:01:01:01"],
                private_vlans=[{"primary": 5, "secondary": 5, "type": "promiscuous"}])
    host.port("a", extra_filter={"flags": ["sink"], "addresses": ["01:00:5e:01:01:01"]})
    switch = description(host.document, NOW)["switches"][0]
    sizes = {item["name"].rpartition("vswitch.")[2]: len(item["value"]) // 2 for item in switch["global_properties"]}
    assert sizes == {"multicastFilter": 4, "macLearning": 8, "macLearning.learnStatic": 1,
                     "macLearning.staticMACAllow": 1, "disabled": 1, "mcast.user.addresses": 7, "pvlanMap": 8,
                     "teaming": 2616, "logicalswitch.teaming": 4 + 2748}
    extra = bytes.fromhex(properties(switch["ports"][0])["com.taliko.vswitch.port.extraEthFRP"])
    assert len(extra) == 200 and extra[:12] == bytes.fromhex("00000100 0100 01005e010101")


def test_a_mirror_table() -> None:
    rule = {"mirror": True, "sources": ["192.0.2.0/24", "2001:db8::/32"], "protocol": 17, "destination_ports": [1, 2]}
    session = read(MirrorSession, {
        "session_id": "s", "destinations": [{"kind": "ip", "value": "198.51.100.9"}], "snap_length": 40,
        "sources_in": [{"kind": "vlan", "value": "10"}], "rules": [rule], "erspan_id": 100, "no_input": True})
    table = MirrorTable((session,)).packed()
    assert len(table) == 20 + 232 + 2 * 52 + 21 + 2 * 20
    assert int.from_bytes(table[:4], "little", signed=True) == constants()["VS_DVMIRROR_MAGIC_NUM"]
    entities = table[20 + 232:]
    assert entities[:12].hex() == "03000000" "00000000" "c6336409" and entities[52:58].hex() == "02000000" "0a00"
    found = entities[104:125]
    assert found.hex() == "0000" "0200" "0000" "1100" "05" "0000" "0000" "0100" "0200" "01000000"
    assert entities[125:].hex() == "00180000c0000200" + "00" * 12 + "01200000" + "20010db8" + "00" * 12


def test_what_a_boot_cannot_ask_for() -> None:
    host = Host()
    host.port("a", zombie=True)
    with pytest.raises(ValueError, match="a: a boot ends this"):
        description(host.document, NOW)
    for seed in range(30):
        description(random_host(seed), START)
