"""Random hosts: what calls may be given, and how they are made. Scripts of the tests import this."""

import json
import os
import traceback
from collections.abc import Callable
from typing import Any

from hypothesis import strategies as st

import vswitch
from vswitch import LoadBalance, MulticastMode, PrivateVlanType, TeamCriterion, TeamFlag

host = vswitch.Host()

names = st.sampled_from(["a", "b", "p-1", "100", "true", "x/y", "x~y", "\u00e9", "exact", "with blank", " "])
uplinks = st.lists(st.sampled_from(["nic0", "nic1", "nic2", "nic3", "up", "over/there"]), max_size=4, unique=True)
macs = st.integers(0, 255).map(lambda number: f"01:00:5e:00:00:{number:02x}")
texts = st.text(st.characters(blacklist_characters="\0", blacklist_categories=("Cs",)), min_size=1, max_size=20)


def flags(kind: Any) -> st.SearchStrategy[Any]:
    return st.sets(st.sampled_from(list(kind))).map(lambda bits: kind(sum(int(bit) for bit in bits)))


team = dict(load_balance=st.sampled_from(list(LoadBalance)), criteria=flags(TeamCriterion), flags=flags(TeamFlag))
teams = st.builds(vswitch.TeamingPolicy, active=uplinks, **team, percent_error=st.integers(0, 100),
    speed=st.integers(0, 65535))
vlans = st.one_of(
    st.integers(0, 4094).map(vswitch.VlanPolicy),
    st.builds(vswitch.VlanPolicy, id=st.integers(0, 4094), priority=st.none() | st.integers(0, 7)),
    st.lists(st.integers(0, 4094), max_size=4, unique=True).map(lambda ids: vswitch.VlanPolicy.trunk_of(*ids)),
    st.sampled_from([vswitch.VlanPolicy.secondary(11), vswitch.VlanPolicy.secondary(12)]),
)
ends = st.lists(st.sampled_from(["port:a", "port:b", "uplink:nic0", "vlan:7", "number:9", "mac:02:00:00:00:00:01"]),
    max_size=3, unique=True)
sessions = st.builds(
    vswitch.MirrorSession, id=names, name=texts | st.just(""), destinations=st.just(["port:a"]), sources_in=ends,
    sources_out=ends,
    enabled=st.booleans(), snap_length=st.none() | st.integers(1, 9000), sampling=st.integers(0, 9),
    vlan=st.integers(0, 4094),
)
learning = st.builds(vswitch.MacLearning, st.booleans(), st.booleans(), st.integers(0, 4096),
    st.sampled_from(list(vswitch.MacLimitPolicy)))
private = st.sampled_from([(), ((10, 10, "PROMISC"), (10, 11, "ISOLATED"), (10, 12, "COMMUNITY"))]).map(
    lambda rows: [vswitch.PrivateVlan(one, two, PrivateVlanType[kind]) for one, two, kind in rows]
)
SWITCH = dict(
    mtu=st.integers(1280, 9000), teaming=teams, mac_learning=st.builds(vswitch.SwitchMacLearning, st.integers(0,
    1000000), st.integers(0, 65536)),
    static_mac_allow=st.booleans(), learn_static=st.booleans(), private_vlans=private,
    multicast_mode=st.sampled_from(list(MulticastMode)),
    multicast=st.lists(macs, max_size=3, unique=True), rcf_type=st.sampled_from(list(vswitch.RcfType)),
    forwarding_disabled=st.booleans(),
)
PORT = dict(
    vlan=vlans, nested_vlan_tagging=st.booleans(), tx_uplink_always=st.booleans(), priority_retain=st.booleans(),
    multicast_override=st.booleans(), blocked=st.booleans(), passthrough_allowed=st.booleans(), teaming=teams,
    teaming_override=st.sampled_from(["nic0", "up"]), teaming_policy=names, mac_learning=learning,
    mac_changes=st.booleans(),
    security=st.builds(vswitch.SecurityPolicy, st.booleans(), st.booleans(), st.booleans()),
    filter=st.builds(vswitch.EthernetFilter, flags(vswitch.EthernetFilterFlag), st.lists(macs, max_size=3,
    unique=True)),
    multicast=st.lists(macs, max_size=3, unique=True), connect_id=st.integers(0, 0xFFFFFFFF), alias=texts,
    port_group=texts,
    resource_pool=texts, resources=st.builds(vswitch.ResourcePool, st.integers(0, 100), st.integers(-1, 99),
    st.just(0)),
)


def setting(table: dict[str, Any]) -> st.SearchStrategy[Any]:
    return st.sampled_from(sorted(table)).flatmap(lambda name: st.tuples(st.just(name), st.none() | table[name]))


properties = st.tuples(texts, st.binary(max_size=12) | texts, st.sampled_from([None, None, "me"]), st.booleans())
actions = st.one_of(
    st.tuples(st.just("switch"), names, st.booleans(), st.sampled_from([0, 8, 300]),
    st.sampled_from(list(vswitch.SwitchVersion))),
    st.tuples(st.just("port"), names, names, st.none() | texts),
    st.tuples(st.just("uplinks"), names, uplinks),
    st.tuples(st.just("set"), names, setting(SWITCH)),
    st.tuples(st.just("set port"), names, names, setting(PORT), st.booleans()),
    st.tuples(st.just("policies"), names, st.lists(st.builds(vswitch.NamedTeaming, name=names, active=uplinks,
    **team), max_size=3)),
    st.tuples(st.just("mirror"), names, st.none() | names, sessions),
    st.tuples(st.just("property"), names, st.none() | names, properties, st.booleans()),
    st.tuples(st.just("address"), names, names, st.integers(0, 255), st.integers(0, 4094)),
    st.tuples(st.just("connected"), names, st.booleans()),
)


def switch_of(index: int) -> vswitch.Switch | None:
    aliases = list(host.switches)
    return host.switches[aliases[index % len(aliases)]] if aliases else None


def port_of(switch: vswitch.Switch, name: str) -> vswitch.Port | None:
    ports = list(switch.ports)
    return switch.ports[ports[hash(name) % len(ports)]] if ports else None


def do(kind: str, alias: str, *rest: Any) -> None:
    if kind == "switch":
        persistent, most, version = rest
        host.switches.create(alias, max_ports=most, persistent=persistent, version=version)
        return
    switch = host.switches[alias] if alias in host.switches else switch_of(len(alias))
    if switch is None:
        return
    if kind == "port":
        switch.ports.create(rest[0], external_id=rest[1])
    elif kind == "uplinks":
        # One name is an uplink of one switch only: two that list it are refused by every document.
        others = {name for one in host.switches.values() if one != switch for name in one.uplinks}
        switch.uplinks.set([name for name in rest[0] if name not in others])
    elif kind == "set":
        change(switch, *rest[0])
    elif kind == "policies":
        switch.teaming_policies.set(rest[0])
    elif kind == "connected":
        switch.connect() if rest[0] else switch.disconnect()
    else:
        port = port_of(switch, rest[0]) if rest[0] is not None else None
        if kind == "set port":
            uplinks = list(switch.uplinks.values())
            port = uplinks[0].port if rest[2] and uplinks else port
            if port is not None:
                change(port, *rest[1])
        elif kind == "mirror":
            (port or switch).mirrors.create(rest[1])
        elif kind == "property":
            key, data, owner, volatile = rest[1]
            owned = (port or switch).properties if port or not rest[2] else switch.host_properties
            owned.set(key, data, owner=owner, volatile=volatile)
        elif kind == "address" and port is not None:
            port.mac_table.add(f"02:00:00:00:01:{rest[1]:02x}", vlan=rest[2])


def change(handle: Any, name: str, value: Any) -> None:
    if value is None:
        delattr(handle, name)
    else:
        setattr(handle, name, value)


def in_child(work: Callable[..., Any], *arguments: Any) -> Any:
    reader, writer = os.pipe()
    child = os.fork()
    if not child:
        try:
            told = {"result": work(*arguments)}
        except BaseException:
            told = {"failed": traceback.format_exc()}
        with os.fdopen(writer, "w") as pipe:
            json.dump(told, pipe)
        os._exit(0)
    os.close(writer)
    with os.fdopen(reader) as pipe:
        told = json.load(pipe)
    os.waitpid(child, 0)
    assert "failed" not in told, told["failed"]
    return told["result"]


def made_by(steps: Any) -> Any:
    """Does what of the steps is not refused."""
    for step in steps:
        try:
            do(*step)
        except (vswitch.Error, ValueError, TypeError):
            pass
