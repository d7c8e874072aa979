"""Handles and collections: every member does what it says, on the built-in host. Long because there are so
many members."""

import uuid
from typing import Any

import pytest

import libvswitch
import vswitch as v
from vswitch._calls import observed

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises

HOST = v.Host()
WORK = v.Switch("workload")


def lab(**options: Any) -> Any:
    return HOST.switches.create("lab", **options)


# ---- handles ---------------------------------------------------------------------------------------------------------


def test_handles_are_their_names() -> None:
    assert HOST == v.Host() and hash(HOST) == hash(v.Host())
    assert v.Switch("a") == v.Switch("a") != v.Switch("b")
    assert v.Port(v.Switch("a"), "1") == v.Port(v.Switch("a"), "1") != v.Uplink(v.Switch("a"), "1")
    assert len({v.Nic("a"), v.Nic("a"), v.Nic("b")}) == 2
    assert v.Switch("a") != "a"
    assert [repr(one) for one in (HOST, WORK, v.Port(WORK, "web-1"), v.Uplink(WORK, "nic4"), v.Nic("nic4"))] == [
        "<Host>",
        "<Switch 'workload'>",
        "<Port 'web-1' of switch 'workload'>",
        "<Uplink 'nic4' of switch 'workload'>",
        "<Nic 'nic4'>",
    ]


def test_what_collections_and_tables_are_called() -> None:
    port = v.Port(WORK, "100")
    with v.PropertyList() as entries:
        shown = [repr(entries)]
    steps = HOST.save_restore(WORK)
    everything = (
        entries, HOST.switches, HOST.nics, HOST.runtime_options, WORK.ports, WORK.uplinks, WORK.lags, WORK.mirrors,
        port.mirrors, WORK.teaming_policies, WORK.mac_table, port.mac_table, WORK.properties, WORK.host_properties,
        port.properties, v.Uplink(WORK, "uplink-a").data, steps, steps.modules(WORK, 1),
    )  # fmt: skip
    assert [*shown, *map(repr, everything)] == [
        "<PropertyList>",
        "<PropertyList (closed)>",
        "<Switches>",
        "<Nics>",
        "<RuntimeOptions>",
        "<Ports of switch 'workload'>",
        "<Uplinks of switch 'workload'>",
        "<Lags of switch 'workload'>",
        "<Mirrors of switch 'workload'>",
        "<Mirrors of port '100' of switch 'workload'>",
        "<TeamingPolicies of switch 'workload'>",
        "<MacTable of switch 'workload'>",
        "<MacTable of port '100' of switch 'workload'>",
        "<global properties of 'workload'>",
        "<host properties of 'workload'>",
        "<port properties of 'workload' port '100'>",
        "<data of uplink 'uplink-a' of switch 'workload'>",
        repr(steps),
        repr(steps.modules(WORK, 1)),
    ]
    assert "workload" in repr(steps) and "workload" in repr(steps.modules(WORK, 1))


def test_making_a_handle_calls_nothing() -> None:
    names = []
    with observed(lambda name, *rest: names.append(name)):
        port = v.Port(v.Switch("nowhere"), "x")
        assert [port.id, port.switch.alias, v.Uplink(WORK, "u").name, v.Nic("n").name] == ["x", "nowhere", "u", "n"]
        port.properties, port.mirrors, port.mac_table, WORK.ports, WORK.uplinks, HOST.nics, HOST.runtime_options
    assert names == []


@pytest.mark.parametrize(
    ("make", "member"),
    [
        (lambda value: v.Switch(value), "alias"),
        (lambda value: v.Port(WORK, value), "id"),
        (lambda value: v.Uplink(WORK, value), "name"),
        (lambda value: v.Nic(value), "name"),
        (lambda value: HOST.switches.create(value), "alias"),
        (lambda value: WORK.ports.create(value), "id"),
        (lambda value: WORK.ports.by_external_id(value), "text"),
        (lambda value: WORK.uplinks.create(value), "name"),
        (lambda value: WORK.command(value), "text"),
        (lambda value: HOST.switches.by_id(value), "id"),
        (lambda value: WORK.mirrors.statistics(value), "id"),
    ],
)
def test_texts_are_checked_before_a_call(make: Any, member: Any) -> None:
    for wrong in (5, None, b"x"):
        with raises(TypeError, match=f"^{member}: "):
            make(wrong)
    with raises(ValueError, match=f"^{member}: "):
        make("a\0b")
    with raises(TypeError, match="^switch: "):
        v.Port("workload", "1")  # type: ignore[arg-type]


def test_handles_name_what_may_be_gone() -> None:
    switch = lab()
    port = switch.ports.create("1")
    assert switch.exists and port.exists
    switch.remove()
    assert not switch.exists and not port.exists
    with raises(v.NotFound):
        port.number
    lab().ports.create("1")
    assert port.exists and port.number > 0


# ---- collections -----------------------------------------------------------------------------------------------------

COLLECTIONS: dict[str, Any] = {
    "switches": (lambda: HOST.switches, ["management", "workload"]),
    "nics": (lambda: HOST.nics, ["nic0", "nic1", "nic2"]),
    "ports": (lambda: WORK.ports, ["100", "101", "102", "103"]),
    "uplinks": (lambda: WORK.uplinks, ["uplink-a", "uplink-b"]),
    "lags": (lambda: WORK.lags, ["lag-1"]),
    "mirrors": (lambda: v.Port(v.Switch("management"), "2").mirrors, ["management-tap"]),
}


@pytest.mark.parametrize("name", COLLECTIONS)
def test_a_collection_is_a_mapping(name: Any) -> None:
    make, names = COLLECTIONS[name]
    collection = make()
    assert list(collection) == list(collection.keys()) == names
    assert len(collection) == len(names)
    assert list(collection.values()) == [collection[one] for one in names]
    assert list(collection.items()) == [(one, collection[one]) for one in names]
    assert names[0] in collection and "nope" not in collection and 5 not in collection and "a\0" not in collection
    assert collection.get("nope") is None and collection.get("nope", 5) == 5
    assert collection.get(names[0]) == collection[names[0]]
    with raises(KeyError):
        collection["nope"]
    with raises(v.NotFound) as refused:
        collection[names[0] + "x"]
    assert refused.value.hint.endswith(f"; did you mean {names[0]!r}?")
    assert str(refused.value) == refused.value.hint and refused.value.call == ""
    with raises(TypeError):
        collection[5]
    assert collection != make() and collection == collection and hash(collection)


@pytest.mark.parametrize(
    "name", ["ports", "uplinks", "lags", "mirrors", "teaming_policies", "properties", "host_properties"]
)
def test_a_collection_whose_switch_is_gone(name: Any) -> None:
    collection = getattr(v.Switch("worload"), name)
    for use in (
        lambda: "x" in collection,
        lambda: collection.get("x"),
        lambda: len(collection),
        lambda: list(collection),
        lambda: collection["x"],
        lambda: list(collection.values()),
    ):
        with raises(v.NotFound) as refused:
            use()  # type: ignore[no-untyped-call]
        assert refused.value.hint == "no switch 'worload'; did you mean 'workload'?"


def test_iteration_walks_what_was_there() -> None:
    names = []
    for alias in HOST.switches:
        names.append(alias)
        lab(exist_ok=True)
    assert names == ["management", "workload"]
    for port in WORK.ports.values():
        port.remove(force=True)
    assert list(WORK.ports) == []


# ---- switches --------------------------------------------------------------------------------------------------------


def test_creating_switches() -> None:
    switch = lab(max_ports=16, mtu=9000, version=v.SwitchVersion.DVS_66, flags=5, persistent=False)
    assert switch == v.Switch("lab")
    info = switch.info
    assert (info.alias, info.mtu, info.max_ports, info.flags, info.active_ports) == ("lab", 9000, 16, 5, 0)
    assert (switch.max_ports, switch.version) == (16, v.SwitchVersion.DVS_66)
    assert (switch.persistent, switch.class_name) == (False, "cswitch")
    assert switch.id == info.id == str(uuid.uuid5(uuid.NAMESPACE_URL, "vswitch:lab"))
    with raises(v.AlreadyExists) as refused:
        lab()
    assert refused.value.hint == "switch 'lab' exists"
    assert lab(mtu=1500, exist_ok=True).mtu == 9000
    assert lab(id=switch.id, exist_ok=True) == switch
    with raises(v.AlreadyExists):
        lab(id="another", exist_ok=True)
    with raises(v.AlreadyExists) as refused:
        HOST.switches.create("lab2", id=switch.id)
    assert refused.value.hint == f"switch 'lab' has the identifier {switch.id!r}"
    wrong: Any
    for wrong in ({"class_name": "x"}, {"persistent": False}, {"mtu": 1500}, {"flags": 1}):
        with raises(ValueError):
            HOST.switches.create("apart", connected=False, **wrong)
    for wrong in ({"max_ports": "x"}, {"persistent": 1}, {"mtu": True}, {"version": "x"}, {"id": 5}, {"connected": 0}):
        with raises(TypeError, match=f"^{next(iter(wrong))}: "):
            HOST.switches.create("apart", **wrong)
    with raises(v.NotFound) as refused:
        HOST.switches.create("apart", class_name="x")
    assert refused.value.hint == "no class of switches 'x'"
    with raises(v.NotSupported):
        HOST.switches.create("apart", version=3)
    with raises(v.LimitExceeded):
        HOST.switches.create("apart", max_ports=8193)
    with raises(v.BadParameter) as refused:
        HOST.switches.create("x" * 81)
    assert refused.value.hint == "a name of this kind has at most 80 bytes"
    assert "apart" not in HOST.switches


def test_a_switch_without_a_port_set() -> None:
    switch = lab(connected=False, max_ports=10)
    assert (switch.connected, switch.portset, switch.max_ports, list(switch.lags)) == (False, None, 10, [])
    assert list(HOST.switches) == ["management", "workload", "lab"]
    switch.ports.create("1").vlan = 5
    assert switch.ports["1"].vlan.id == 5
    for read in ("info", "mac_summary", "running_mirrors", "announcements", "static_entries", "mac_policies"):
        with raises(v.WrongState) as refused:
            getattr(switch, read)
        assert refused.value.hint == "switch 'lab' has no port set"
    with raises(v.WrongState):
        len(switch.mac_table)
    assert switch.disconnect() is False
    assert switch.connect() is True
    assert switch.connect() is False
    assert (switch.connected, switch.portset) == (True, "portset-3")
    assert HOST.portsets == ("portset-1", "portset-2", "portset-3")
    assert HOST.switches.by_portset("portset-3") == switch
    assert switch.disconnect() is True
    assert HOST.switches.remove("lab") is True
    assert HOST.switches.remove("lab", missing_ok=True) is False
    with raises(v.NotFound):
        HOST.switches.remove("lab")
    with raises(v.Busy) as refused:
        WORK.disconnect()
    assert refused.value.hint == "port '100' has the client 'web0.eth0'"


def test_names_of_switches() -> None:
    assert HOST.switches.by_id("776f726b-6c6f-6164-0000-000000000002") == WORK
    with raises(v.NotFound, match="no switch with the identifier 'x'"):
        HOST.switches.by_id("x")
    with raises(v.NotFound) as refused:
        HOST.switches.by_portset("portset-9")
    assert refused.value.hint == "no port set 'portset-9'; did you mean 'portset-1'?"
    assert (WORK.id, WORK.class_name, WORK.portset) == ("776f726b-6c6f-6164-0000-000000000002", "cswitch", "portset-2")
    assert WORK.persistent is True
    with raises(v.NotFound):
        v.Switch("worload").persistent


def test_version_and_number_of_ports() -> None:
    switch = lab(version=v.SwitchVersion.DVS_60)
    switch.version = v.SwitchVersion.DVS_70
    switch.max_ports = 4
    assert (switch.version, switch.max_ports) == (v.SwitchVersion.DVS_70, 4)
    with raises(v.BadImage) as refused:
        switch.version = 5
    assert refused.value.hint == "the version of a switch only grows"
    with raises(v.BadParameter):
        switch.max_ports = 0
    with raises(v.Busy):
        WORK.max_ports = 1
    for name in ("version", "max_ports"):
        with raises(AttributeError):
            delattr(switch, name)
        with raises(TypeError, match=f"^{name}: "):
            setattr(switch, name, None)


def test_the_state_of_a_running_switch() -> None:
    assert WORK.announcements == v.Announcements(6, 100, 200)
    assert WORK.service_port == v.ServicePort(40, 30, 9, 1, 55, 0)
    assert WORK.running_multicast_mode == v.MulticastMode.LEGACY
    assert v.Switch("management").running_mirrors == ("management-tap",)
    assert WORK.promiscuous_ports == ()
    WORK.ports["101"].filter = v.EthernetFilter(v.EthernetFilterFlag.PROMISC)
    assert WORK.promiscuous_ports == (WORK.ports["101"],)
    WORK.ports["100"].security = v.SecurityPolicy.strict()
    assert WORK.security_in_force == {
        "100": v.SecurityPolicy.strict(),
        "101": v.SecurityPolicy(),
        "102": v.SecurityPolicy(),
    }
    assert WORK.mac_policies["103"] == v.MacLearning(True, True, 64, v.MacLimitPolicy.DROP)
    assert list(WORK.mac_policies) == ["100", "101", "102", "103"] == list(WORK.mac_statistics)
    assert WORK.mac_statistics["103"] == v.MacStatistics(2, 0, 3, 1) == WORK.ports["103"].mac_statistics
    summary = WORK.mac_summary
    assert (summary.aging_time, summary.limit, summary.learning_ports, summary.learned) == (600, 65536, 1, 2)
    assert (summary.team_learned, summary.team.learning, summary.team.limit) == (2, True, 16384)
    entries = WORK.static_entries
    assert [(entry.mac, entry.port, entry.vlans) for entry in entries] == [
        ("02:00:00:00:02:00", "100", ((0, 0),)),
        ("02:00:00:00:02:01", "101", ((0, 0),)),
        ("02:00:00:00:02:02", "102", ((0, 0),)),
    ]
    assert WORK.ports["101"].static_entries == entries[1:2]
    assert WORK.status == v.SwitchStatus.OK
    WORK.uplinks["uplink-a"].set_admin("down")
    assert WORK.status == v.SwitchStatus.DEGRADED
    assert WORK.lags["lag-1"] == v.Lag(
        "lag-1", 1, v.LinkState.DOWN, (v.LagMember("nic1", v.LinkState.DOWN), v.LagMember("nic2", v.LinkState.UP))
    )
    assert WORK.refresh_numa() is None  # type: ignore[func-returns-value]


def test_commands() -> None:
    assert "ports\n" in WORK.command("help")
    assert WORK.command("port-properties", "100").startswith("com.")
    assert WORK.command("port-properties", b"100") == WORK.command("port-properties", "100")
    with raises(v.NotSupported) as refused:
        WORK.command("halp")
    assert refused.value.hint == "no command 'halp'"
    with raises(v.BadParameter):
        WORK.command("help", "input")
    with raises(TypeError, match="^input: "):
        WORK.command("help", 5)  # type: ignore[arg-type]


def test_named_teaming_policies() -> None:
    policies = WORK.teaming_policies
    gold, silver = v.NamedTeaming("gold", ["uplink-a"]), v.NamedTeaming("silver", ["uplink-b"])
    assert len(policies) == 0
    assert policies.create(gold) == gold
    with raises(v.AlreadyExists, match="teaming policy 'gold' exists on switch 'workload'"):
        policies.create(gold)
    assert policies.create(gold.replace(active=()), exist_ok=True) == gold
    policies.create(silver)
    assert list(policies) == ["gold", "silver"] and policies["silver"] == silver
    assert policies.in_force == (gold, silver)
    with raises(v.NotFound) as refused:
        policies.create(v.NamedTeaming("x", ["uplink-c"]))
    assert refused.value.hint == "no uplink 'uplink-c' on switch 'workload'; did you mean 'uplink-a'?"
    with raises(v.NotFound) as refused:
        policies["golf"]
    assert refused.value.hint == "no teaming policy 'golf' on switch 'workload'; did you mean 'gold'?"
    port = WORK.ports["100"]
    with raises(v.NotFound) as refused:
        port.teaming_policy = "glod"
    assert refused.value.hint == "no teaming policy 'glod' on switch 'workload'; did you mean 'gold'?"
    port.teaming_policy = "gold"
    assert port.teaming_policy_in_force == "gold"
    assert policies.remove("gold") is True
    assert (port.teaming_policy, port.teaming_policy_in_force) == ("gold", None)  # type: ignore[comparison-overlap]
    assert policies.remove("gold", missing_ok=True) is False
    with raises(v.NotFound):
        policies.remove("gold")
    policies.set([gold, silver])
    del policies["silver"]
    assert policies.remove("gold") and len(policies) == 0
    policies.set([gold])
    policies.clear()
    assert list(policies) == []
    with raises(TypeError, match="^policy: "):
        policies.create("gold")  # type: ignore[arg-type]


# ---- ports -----------------------------------------------------------------------------------------------------------


def test_creating_and_removing_ports() -> None:
    ports = WORK.ports
    assert ports.create("a", connect_id=7).connect_id == 7
    assert ports.create("b", external_id="ext").external_id == "ext"
    assert ports.by_external_id("ext") == ports["b"]
    assert ports["a"].external_id is None
    with raises(v.AlreadyExists) as refused:
        ports.create("a")
    assert refused.value.hint == "port 'a' exists on switch 'workload'"
    with raises(v.AlreadyExists):
        ports.create("c", external_id="ext")
    assert ports.create("a", connect_id=9, exist_ok=True).connect_id == 7
    wrong: Any
    both = {"connect_id": 1, "external_id": "x", "image": b""}
    for wrong in ({name: both[name] for name in both if name != left_out} for left_out in both):
        with raises(ValueError, match="at most one of"):
            ports.create("c", **wrong)
    for wrong in ({"connect_id": "x"}, {"external_id": 5}, {"image": 5}, {"exist_ok": 1}):
        with raises(TypeError, match=f"^{next(iter(wrong))}: "):
            ports.create("c", **wrong)
    with raises(v.BadParameter):
        ports.create("c", connect_id=1 << 32)
    with raises(v.BadImage) as refused:
        ports.create("c", image=b"no image")
    assert refused.value.hint == "it is no image of this kind"
    assert "c" not in ports
    assert ports["a"].remove() is True
    assert ports.remove("a", missing_ok=True) is False
    with raises(v.NotFound) as refused:
        ports.remove("10")
    assert refused.value.hint == "no port '10' on switch 'workload'; did you mean '100'?"
    with raises(v.Busy) as refused:
        ports.remove("100")
    assert refused.value.hint == "port '100' has the client 'web0.eth0'"


def test_a_port_of_an_image() -> None:
    port = WORK.ports.create("a")
    port.vlan, port.alias = 7, "front"
    made = WORK.ports.create("b", image=port.image())
    assert (made.vlan.id, made.alias, made.type) == (7, "front", v.PortType.LOCALCACHE)
    assert WORK.ports.create("c", image=port.image(persistent=True).data).vlan.id == 7
    with v.PropertyList({"org.example.a": b"x"}) as entries:
        entries.add("VSPROP_PORT_VLAN", v.VlanPolicy(9))
        assert entries.names() == ("com.taliko.vswitch.port.vlan", "org.example.a")
        made = WORK.ports.create("d", image=entries)
    assert (made.vlan.id, made.properties["org.example.a"].data) == (9, b"x")
    with raises(ValueError, match="version: only of a persistent image"):
        port.image(version=4)
    assert port.image(persistent=True, version=4).content == "port"
    with raises(v.NotSupported):
        port.image(persistent=True, version=3)


def test_a_zombie_is_no_port_and_can_be_revived() -> None:
    ports = WORK.ports
    number = ports["100"].number
    assert ports.remove("100", force=True) is True
    assert "100" not in ports and list(ports) == ["101", "102", "103"]
    assert not v.Port(WORK, "100").exists
    assert ports.by_type(v.PortType.ZOMBIE) == (v.Port(WORK, "100"),)
    with raises(v.NotFound):
        ports.remove("100")
    with raises(v.NotFound):
        ports.remove("100", force=True)
    assert ports.remove("100", missing_ok=True) is ports.remove("100", missing_ok=True, force=True) is False
    port = ports.create("100", connect_id=44)
    assert (port.number, port.connect_id, port.client, port.exists) == (number, 44, "web0.eth0", True)


def test_uplink_ports_are_no_ports() -> None:
    assert "uplink-1" not in WORK.ports
    port = WORK.uplinks["uplink-a"].port
    assert (port.id, port.exists, port.type) == ("uplink-1", True, v.PortType.ACTIVE)
    assert port in WORK.ports.by_type(v.PortType.ACTIVE)
    assert WORK.ports.by_number(port.number) == port
    with raises(v.AlreadyExists):
        WORK.ports.create("uplink-1", exist_ok=True)
    with raises(v.BadParameter) as refused:
        port.uplink_hint
    assert refused.value.hint == "the port is an uplink"
    with raises(v.NotFound, match="no port with the number 999 on switch 'workload'"):
        WORK.ports.by_number(999)
    with raises(v.NotFound) as refused:
        WORK.ports.by_external_id("x")
    assert refused.value.hint == "no port with the external identifier 'x' on switch 'workload'"


def test_numbers_are_found_wherever_they_stand() -> None:
    switch = lab()
    for name in range(40):
        switch.ports.create(f"p{name}")
    for name in range(0, 40, 3):
        switch.ports.remove(f"p{name}")
    for port in switch.ports.values():
        assert switch.ports.by_number(port.number) == port


def test_what_a_port_says() -> None:
    port, free = WORK.ports["100"], WORK.ports["103"]
    assert (port.type, free.type, port.client, free.client) == (v.PortType.ACTIVE, v.PortType.SHADOW, "web0.eth0", None)
    status = port.status
    assert (status.in_use, status.link_up, status.blocked, status.number) == (True, True, False, port.number)
    port.blocked = True
    assert port.status.blocked
    assert (free.link.state, free.link.speed) == (v.LinkState.DOWN, 0)
    assert WORK.uplinks["uplink-b"].port.link == v.LinkStatus(v.LinkState.UP, 25000, v.LinkDuplex.FULL)
    assert port.uplink_hint in ("nic1", "nic2")
    for uplink in WORK.uplinks.values():
        uplink.set_admin(v.LinkState.DOWN)
    assert port.uplink_hint is None
    assert port.statistics == v.Statistics(*[0] * 16)
    assert free.mac_statistics == v.MacStatistics(2, 0, 3, 1)
    assert port.teaming_policy_in_force is None


def test_multicast_of_a_port() -> None:
    switch = v.Switch("management")
    port = switch.ports["1"]
    switch.multicast_mode = v.MulticastMode.SNOOPING
    assert port.multicast_filters(v.MulticastMode.IGMP) == ("239.255.0.1",)
    assert port.multicast_filters(v.MulticastMode.MLD) == ("ff05::1:3",)
    assert port.multicast_filters(v.MulticastMode.LEGACY) == ()
    group = port.multicast_group("239.255.0.1")
    assert (group.address, group.version, group.mode, group.sources) == (
        "239.255.0.1",
        3,
        v.SourceFilterMode.INCLUDE,
        ("192.0.2.1",),
    )
    assert port.multicast_group("FF05::1:3").version == 2
    with raises(v.NotFound):
        port.multicast_group("239.255.0.9")
    with raises(ValueError, match="^address: not an IP address"):
        port.multicast_group("somewhere")
    with raises(v.BadParameter) as refused:
        port.multicast_filters(v.MulticastMode.SNOOPING)
    assert refused.value.hint == "the kind is LEGACY, IGMP or MLD"
    switch.multicast_mode = v.MulticastMode.LEGACY
    switch.multicast = ["01:00:5e:00:00:07"]
    assert "01:00:5e:00:00:07" in port.multicast_filters(v.MulticastMode.LEGACY)


# ---- uplinks and NICs ------------------------------------------------------------------------------------------------


def test_uplinks() -> None:
    switch = lab()
    uplink = switch.uplinks.create("nic4")
    assert (uplink.name, uplink.switch, uplink.exists, uplink.nic) == ("nic4", switch, True, v.Nic("nic4"))
    assert (uplink.link, uplink.lacp_link, uplink.port.id) == (v.LinkState.UP, None, "uplink-1")
    assert switch.uplinks.create("bare").nic is None
    with raises(v.AlreadyExists) as refused:
        switch.uplinks.create("nic4")
    assert refused.value.hint == "uplink 'nic4' exists on switch 'lab'"
    assert switch.uplinks.create("nic4", exist_ok=True) == uplink
    with raises(v.Busy) as refused:
        switch.uplinks.create("nic0")
    assert refused.value.hint == "NIC 'nic0' is behind an uplink of switch 'management'"
    assert list(switch.uplinks) == ["nic4", "bare"]
    with raises(v.NotFound) as refused:
        switch.uplinks["bear"]
    assert refused.value.hint == "no uplink 'bear' on switch 'lab'; did you mean 'bare'?"
    with raises(v.NotFound) as refused:
        v.Uplink(switch, "nic5").set_admin("up")
    assert refused.value.hint == "no uplink 'nic5' on switch 'lab'; did you mean 'nic4'?"
    with raises(v.NotFound) as refused:
        switch.uplinks["bare"].set_admin("up")
    assert refused.value.hint == "no NIC behind uplink 'bare'"
    with raises(ValueError, match="^state: "):
        uplink.set_admin("sideways")
    with raises(v.BadParameter):
        uplink.set_admin(7)
    uplink.set_admin("down")
    assert uplink.link == v.LinkState.DOWN
    switch.ports.create("one").teaming = v.TeamingPolicy(["bare"])
    with raises(v.Busy) as refused:
        switch.uplinks.remove("bare")
    assert refused.value.hint == "port 'one' names the uplink 'bare'"
    with raises(v.Busy) as refused:
        switch.uplinks.clear()
    assert refused.value.hint == "port 'one' names the uplink 'bare'"
    del switch.ports["one"].teaming
    switch.ports["one"].teaming_override = "bare"
    with raises(v.Busy) as refused:
        switch.uplinks.set(["nic4"])
    assert refused.value.hint == "port 'one' names the uplink 'bare'"
    del switch.ports["one"].teaming_override
    assert switch.uplinks.remove("bare") is True
    assert switch.uplinks.remove("bare", missing_ok=True) is False
    switch.uplinks.set(["nic5", ("nic4", "up-4")])
    assert list(switch.uplinks) == ["nic5", "nic4"] and switch.uplinks["nic4"].port.id == "up-4"
    for wrong in (["nic5", "nic5"], ["nic5", ("nic4", "up"), ("x", "up")]):
        with raises(v.AlreadyExists):
            switch.uplinks.set(wrong)
    with raises(TypeError, match="^names: "):
        switch.uplinks.set("nic4")
    switch.uplinks.clear()
    switch.uplinks.clear()
    assert len(switch.uplinks) == 0
    assert WORK.uplinks["uplink-a"].lacp_link == v.LinkState.UP
    assert WORK.uplinks["uplink-b"].lacp_link == v.LinkState.DOWN


def test_data_of_an_uplink() -> None:
    data = WORK.uplinks["uplink-a"].data
    assert 7 not in data
    data[7] = b"seven"
    data[8] = b""
    assert (data[7], data[8], 7 in data, "7" in data) == (b"seven", b"", True, False)
    with raises(v.NotFound) as refused:
        data[9]
    assert refused.value.hint == "uplink 'uplink-a' of switch 'workload' has no data of kind 9"
    with raises(TypeError):
        iter(data)
    with raises(TypeError, match="^kind: "):
        data["x"] = b""  # type: ignore[index]
    with raises(TypeError, match="^data: "):
        data[7] = "text"  # type: ignore[assignment]
    with raises(v.NotFound):
        7 in v.Uplink(WORK, "uplink-c").data


def test_nics() -> None:
    nic = HOST.nics["nic1"]
    uplink = WORK.uplinks["uplink-a"]
    assert (nic.name, nic.switch, nic.uplink, nic.port, uplink.nic) == ("nic1", WORK, uplink, uplink.port, nic)
    assert nic.link == v.LinkStatus(v.LinkState.UP, 10000, v.LinkDuplex.FULL)
    # an uplink port of that name on another switch is somebody else
    lab().uplinks.create("nicx")
    v.Switch("lab").uplinks.set([("nicx", "free")])
    assert "nicx" not in HOST.nics
    with raises(v.NotFound) as refused:
        v.Nic("nic9").port
    assert refused.value.hint == "no NIC 'nic9'; did you mean 'nic0'?"


# ---- mirrors ---------------------------------------------------------------------------------------------------------


def test_mirrors_of_a_switch_and_of_a_port() -> None:
    port = WORK.ports.create("monitor")
    tap = v.MirrorSession("tap", destinations=["port:monitor"], sources_in=["port:100"])
    rich = v.MirrorSession(
        "rich",
        "Everything",
        v.MirrorType.MIXDST,
        ["port:monitor", "ip:2001:db8::1"],
        ["vlan:10", "uplink:uplink-a"],
        ["port:101"],
        rules=[
            v.MirrorRule(protocol=6, source_ports=443, sources=["10.0.0.0/8"]),
            v.MirrorRule(v.MirrorAction.DONT_MIRROR),
        ],
        snap_length=128,
    )
    assert port.mirrors.create(tap) == tap
    port.mirrors["rich"] = rich
    assert list(port.mirrors.values()) == [tap, rich]
    assert WORK.running_mirrors == ("tap", "rich")
    assert WORK.mirrors.statistics("tap") == v.MirrorStatistics("", 0, 0, 0, 0, 0)
    changed = tap.replace(enabled=False)
    port.mirrors["tap"] = changed
    assert list(port.mirrors.values()) == [changed, rich]
    assert port.mirrors.create(changed, exist_ok=True) == changed
    with raises(v.AlreadyExists) as refused:
        port.mirrors.create(tap, exist_ok=True)
    assert refused.value.hint == "mirror session 'tap' exists on switch 'workload'"
    with raises(v.AlreadyExists):
        WORK.mirrors.create(tap)
    names = []
    with observed(lambda name, *rest: names.append(name)):
        port.mirrors["tap"] = changed
    assert names == ["VSDVS_GetDVMirrorSessions", "VSDVS_FreeMemory"]
    with raises(ValueError, match="^id: the session has the identifier 'tap', not 'pat'"):
        port.mirrors["pat"] = tap
    with raises(v.NotFound) as refused:
        port.mirrors.remove("tip")
    assert refused.value.hint == "no mirror session 'tip' on switch 'workload'; did you mean 'tap'?"
    with raises(v.NotFound) as refused:
        WORK.mirrors.statistics("rick")
    assert refused.value.hint == "no mirror session 'rick' on switch 'workload'; did you mean 'rich'?"
    assert port.mirrors.remove("rich") is True
    assert port.mirrors.remove("rich", missing_ok=True) is False
    del port.mirrors["tap"]
    assert len(port.mirrors) == 0
    WORK.mirrors.set([rich, tap])
    assert list(WORK.mirrors) == ["rich", "tap"] and list(port.mirrors) == []
    WORK.mirrors.clear()
    WORK.mirrors.clear()
    assert list(WORK.mirrors) == []
    with raises(v.BadParameter):
        WORK.mirrors.create(v.MirrorSession("x" * 40))
    with raises(v.BadParameter):
        WORK.mirrors.statistics("x" * 40)
    with raises(v.BadParameter):
        WORK.mirrors.create(tap.replace(destinations=["uplink:uplink-a"]))


def test_counters_of_a_session() -> None:
    mirrors = v.Switch("management").mirrors
    assert mirrors.statistics("management-tap") == v.MirrorStatistics("Management traffic", 240, 2, 238, 10, 1)


# ---- MAC tables ------------------------------------------------------------------------------------------------------


def test_mac_tables() -> None:
    table = WORK.mac_table
    assert [(entry.mac, entry.type, entry.port) for entry in table] == [
        ("02:00:00:00:02:00", v.MacType.STATIC, "100"),
        ("02:00:00:00:02:01", v.MacType.STATIC, "101"),
        ("02:00:00:00:02:02", v.MacType.STATIC, "102"),
        ("02:00:00:00:03:01", v.MacType.LEARNED, "103"),
        ("02:00:00:00:03:02", v.MacType.LEARNED, "103"),
    ]
    assert (len(table), table.total, len(table.entries(v.MacType.LEARNED))) == (5, 5, 2)
    (entry,) = table.find("02-00-00-00-03-02")
    assert (entry.vlan, entry.ages, entry.number) == (20, True, WORK.ports["103"].number)
    assert table.find("02:00:00:00:03:02", vlan=21) == table.find("02:00:00:00:03:02", vni=5) == ()
    assert [entry.port for entry in WORK.uplink_mac_table] == ["uplink-1", "uplink-2"]
    assert WORK.uplink_mac_table.entries()[0].ages is False
    port = WORK.ports["103"]
    mine = port.mac_table
    assert [entry.mac for entry in mine] == ["02:00:00:00:03:01", "02:00:00:00:03:02"]
    mine.add("0A-00-00-00-00-01", vlan=5)
    with raises(v.AlreadyExists) as refused:
        mine.add("0a:00:00:00:00:01", vlan=5)
    assert refused.value.hint == "MAC 0a:00:00:00:00:01 is set by hand on switch 'workload'"
    mine.add("0a:00:00:00:00:01", vlan=5, exist_ok=True)
    with raises(v.AlreadyExists):
        WORK.ports["100"].mac_table.add("0a:00:00:00:00:01", vlan=5, exist_ok=True)
    assert mine.find("0a:00:00:00:00:01")[0].type == v.MacType.USER
    assert mine.remove("0a:00:00:00:00:01", vlan=5) is True
    assert mine.remove("0a:00:00:00:00:01", vlan=5, missing_ok=True) is False
    with raises(v.NotFound) as refused:
        mine.remove("0a:00:00:00:00:01", vlan=5)
    assert refused.value.hint == "no such entry of MAC 0a:00:00:00:00:01 at port '103' of switch 'workload'"
    assert mine.remove("02:00:00:00:03:01", type=v.MacType.LEARNED) is True
    wrong: Any
    for wrong in ({"vlan": 4095}, {"vlan": 70000}, {"vni": 1 << 24}):
        with raises(v.BadParameter):
            mine.add("0a:00:00:00:00:01", **wrong)
    with raises(v.BadParameter):
        mine.add("01:00:5e:00:00:01")
    with raises(ValueError, match="^mac: not a MAC address"):
        mine.add("x")
    with raises(v.BadParameter):
        table.entries(9)
    WORK.static_mac_allow = False
    with raises(v.PermissionDenied) as refused:
        mine.add("0a:00:00:00:00:01")
    assert refused.value.hint == "static addresses are not allowed on switch 'workload'"
    with raises(v.NotFound):
        len(v.Port(WORK, "x").mac_table)


# ---- properties ------------------------------------------------------------------------------------------------------

SCOPES: dict[str, Any] = {
    "global": lambda: WORK.properties,
    "host": lambda: WORK.host_properties,
    "port": lambda: WORK.ports["103"].properties,
}


@pytest.mark.parametrize("scope", SCOPES)
def test_properties(scope: Any) -> None:
    properties = SCOPES[scope]()
    key = "org.example.rack"
    before = list(properties)
    assert key not in properties and properties.get(key) is None and properties.get(key, 5) == 5
    properties[key] = "B12"
    value = properties[key]
    assert value == v.PropertyValue(key, b"B12", v.Scope.from_json(scope)) == properties.get(key)
    assert list(properties) == sorted([*before, key]) and len(properties) == len(before) + 1
    with raises(v.NotFound) as refused:
        properties["org.example.rakc"]
    assert refused.value.hint.startswith("no property 'org.example.rakc' on ")
    assert refused.value.hint.endswith("; did you mean 'org.example.rack'?")
    properties.set(key, "B13", volatile=True)
    assert (properties[key].data, properties[key].volatile) == (b"B13", True)
    assert properties.get(key, stored=True).data == b"B12"
    assert properties.remove(key, volatile_only=True) is True
    assert (properties[key].data, properties[key].volatile) == (b"B12", False)
    del properties[key]
    assert key not in properties
    assert properties.remove(key, missing_ok=True) is False
    with raises(v.NotFound):
        del properties[key]
    with raises(v.NotFound):
        properties.effective(key)
    policy = v.VlanPolicy(3)
    for given, data in [(b"\0\1", b"\0\1"), (True, b"\1"), (5, b"\5\0\0\0"), (policy, policy.to_bytes())]:
        properties[key] = given
        assert properties[key].data == data
    properties.set(key, 300, size=2)
    assert (properties[key].data, int(properties[key])) == (b"\x2c\1", 300)
    properties[key] = properties[key].replace(data=b"copied")
    assert bytes(properties[key]) == b"copied"
    for wrong in (None, 1.5, ["x"]):
        with raises(TypeError, match="^value: "):
            properties[key] = wrong
    with raises(ValueError):
        properties.set(key, 5, size=3)
    with raises(TypeError, match="size"):
        properties.set(key, "x", size=2)
    properties.set(key, "theirs", owner="example")
    with raises(v.PermissionDenied) as refused:
        properties.set(key, "mine", owner="other")
    assert refused.value.hint == "property 'org.example.rack' has another owner"
    assert properties.get(key, owner="other") is None and properties.get(key, owner="example").data == b"theirs"
    assert properties.effective(key, owner="example").data == b"theirs"
    with raises(ValueError, match="^owner: not together with kinds"):
        properties.set(key, "x", owner="example", kinds=v.PropertyKind.RUNTIME)
    properties.set(key, "noted", kinds=v.PropertyKind.RUNTIME | v.PropertyKind.NO_SYNC)
    assert properties[key].kinds == v.PropertyKind.RUNTIME | v.PropertyKind.NO_SYNC
    properties.set(key, "soft", kinds=v.PropertyKind.POLICY, volatile=True)
    assert properties[key].volatile is True
    properties.update({key: "one", "org.example.two": "two"})
    assert properties["org.example.two"].data == b"two"
    with v.PropertyList() as made:
        assert made.names() == ()
    with properties.vendor() as listed:
        assert key in listed.names()
    if scope == "host":
        with raises(v.NotSupported):
            properties.extra()
        properties.set("org.example.run", "x", runtime=True)
        assert properties["org.example.run"].kinds == v.PropertyKind.RUNTIME
    else:
        with properties.extra(v.PropertyKind.CONFIG) as listed:
            assert "org.example.two" in listed.names()
        with raises(ValueError, match="^runtime: "):
            properties.set(key, "x", runtime=True)
    with raises(v.NotSupported) as refused:
        properties.smartnic(key)
    assert refused.value.hint == "no uplink of switch 'workload' has a SmartNIC"


def test_keys_of_properties() -> None:
    properties = WORK.properties
    assert properties["VSPROP_MTU"] == properties[v.PropertyKey.VSPROP_MTU] == properties["com.taliko.vswitch.mtu"]
    assert "VSPROP_MTU" in properties and "VSPROP_PVLAN_MAP" not in properties
    default = properties.effective("VSPROP_PVLAN_MAP")
    assert (default.written, default.value, default.data) == (False, (), b"")
    assert properties.effective("VSPROP_MTU").value == 9000
    with raises(v.ReadOnly) as refused:
        properties["QEL_HNQPROP_SWITCH_ALIAS"] = "x"
    assert refused.value.hint == "property 'com.taliko.common.alias' is read only"
    with raises(v.BadParameter):
        properties["VSPROP_MTU"] = 5
    with raises(v.BadParameter):
        properties["VSPROP_PORT_VLAN"] = b""
    with raises(v.LimitExceeded):
        properties["big"] = bytes(1048577)
    properties["big"] = bytes(1048576)
    assert len(properties["big"].data) == 1048576
    with raises(TypeError, match="^key: "):
        properties[5]  # type: ignore[index]
    with raises(v.BadParameter) as refused:
        properties["x" * 256] = b""
    assert refused.value.hint == "a name of this kind has at most 255 bytes"


def test_what_smartnics_see() -> None:
    switch = lab()
    switch.uplinks.create("nic5")
    switch.properties["org.example.a"] = "seen"
    assert switch.properties.smartnic("org.example.a") == b"seen"
    switch.host_properties["org.example.h"] = "too"
    assert switch.host_properties.smartnic("org.example.h") == b"too"
    port = switch.ports.create("1")
    port.properties["org.example.p"] = "also"
    assert port.properties.smartnic("org.example.p") == b"also"
    with raises(v.NotFound):
        port.properties.smartnic("org.example.q")


def test_lists_of_properties() -> None:
    entries = v.PropertyList([("b", "x"), ("a", 5, v.PropertyKind.RUNTIME)])
    assert entries.names() == ("a", "b")
    image = entries.to_image()
    assert image.content == "properties"
    assert image.summary()["properties"][0]["value"] == {"bytes": 4}
    with raises(v.NotSupported):
        entries.to_image(3)
    with raises(TypeError, match="^value: "):
        entries.add("c", None)
    with raises(v.LimitExceeded):
        entries.add("c", bytes(1048577))
    entries.close()
    entries.close()
    for use in (lambda: entries.add("c", b""), entries.to_image, entries.names, entries.__enter__):
        with raises(ValueError, match="the list of properties is closed"):
            use()  # type: ignore[operator]


# ---- the host --------------------------------------------------------------------------------------------------------


def test_runtime_options() -> None:
    options = HOST.runtime_options
    assert len(options) == 18 == len(list(options)) and options["IGMPVersion"] == 3
    options["IGMPVersion"] = 2
    options[v.RuntimeOption.ALLOW_FAST_PATH] = False
    assert (options["IGMPVersion"], options["AllowFastPath"]) == (2, 0)
    options.update({"MLDRouterIP": "2001:db8::1", "TeamPolicyUpDelay": 0})
    assert dict(options)["MLDRouterIP"] == "2001:db8::1"
    assert dict(options.items()) == {name: options[name] for name in options} and list(options.values())[3] == 2
    with raises(v.BadParameter):
        options.update({"IGMPVersion": 1, "MLDVersion": 9})
    assert options["IGMPVersion"] == 2
    with raises(v.BadParameter):
        options["IGMPRouterIP"] = "nowhere"
    with raises(v.BadParameter):
        options["IGMPVersion"] = 1 << 40
    wrong: Any
    for wrong in ("IGMPVersio", 5):
        with raises(KeyError):
            options[wrong]
    with raises(KeyError, match="no runtime option 'IGMPVersio'; did you mean 'IGMPVersion'"):
        options["IGMPVersio"] = 1
    for name, wrong in (("IGMPVersion", "2"), ("IGMPRouterIP", 5)):
        with raises(TypeError, match=f"^{name}: "):
            options[name] = wrong
    assert "IGMPVersion" in options and "x" not in options
    with raises(AttributeError):
        del options["IGMPVersion"]  # type: ignore[attr-defined]


def test_images_of_the_host(tmp_path: Any) -> None:
    lab(persistent=False)
    image = HOST.image()
    assert (image.content, HOST.image(persistent=True).content) == ("state", "state")
    assert [switch["alias"] for switch in image.summary()["switches"]] == ["management", "workload", "lab"]
    image.save(tmp_path / "image")
    assert (tmp_path / "image").stat().st_mode & 0o777 == 0o600
    assert v.StateImage.load(tmp_path / "image") == image and hash(v.StateImage(image.data)) == hash(image)
    assert bytes(image) == image.data and len(image) == len(image.data)
    assert list(tmp_path.iterdir()) == [tmp_path / "image"]
    WORK.mtu = 1500
    v.Switch("lab").remove()
    HOST.switches.create("extra")
    HOST.restore(image)
    assert (WORK.mtu, "lab" in HOST.switches, "extra" in HOST.switches) == (9000, True, False)
    HOST.switches.create("extra")
    v.Switch("lab").remove()
    HOST.restore(image.data, merge=True)
    assert ("lab" in HOST.switches, "extra" in HOST.switches) == (False, True)
    damaged = bytearray(image.data)
    damaged[-1] ^= 1
    with raises(v.BadImage) as refused:
        HOST.restore(bytes(damaged))
    assert (refused.value.name, refused.value.hint) == ("QEL_CHECKSUM_MISMATCH", "the image is damaged")
    assert refused.value.arguments == {"image": f"<{len(image)} bytes>", "length": len(image)}
    other = v.StateImage(b"something else")
    assert other.content is None
    for use in (other.summary, other.document):
        with raises(v.NotSupported):
            use()
    with raises(TypeError, match="^image: "):
        HOST.restore("x")  # type: ignore[arg-type]
    with raises(TypeError):
        v.StateImage("x")  # type: ignore[arg-type]


def test_an_image_is_its_bytes_and_travels() -> None:
    import pickle

    image = v.StateImage(b"abc")
    assert repr(image) == "<StateImage of 3 bytes>"
    assert pickle.loads(pickle.dumps(image)) == image != v.StateImage(b"abd")
    assert image != b"abc" and len({image, v.StateImage(b"abc")}) == 1


def test_state_of_the_host() -> None:
    lab(persistent=False)
    WORK.properties.set("org.example.x", "x", volatile=True)
    HOST.reload()
    assert "lab" not in HOST.switches and "org.example.x" not in WORK.properties
    WORK.mtu = 1500
    assert HOST.sanitize() is None and HOST.release_handles() is None  # type: ignore[func-returns-value]
    assert WORK.mtu == 1500
    lab()
    HOST.reset()
    assert list(HOST.switches) == ["management", "workload"] and list(WORK.ports) == ["100", "101", "102"]


def test_save_and_restore() -> None:
    port = WORK.ports["100"]
    WORK.properties.set("org.example.x", "x", volatile=True)
    with HOST.save_restore(WORK, "management", max_outage=60000) as steps:
        assert steps.register_save().save() is steps
        port.block(7)
        with raises(v.Busy) as refused:
            port.block(8)
        assert refused.value.hint == "another world has blocked the port"
        with raises(v.PermissionDenied):
            port.unblock(8)
        port.unblock(7)
        with steps_of(steps) as modules:
            steps.block_ports().upgrade_switch().upgrade_ports()
            assert "org.example.x" not in WORK.properties
            steps.register_restore()
            modules.register_restore()
            steps.restore()
            with raises(v.Busy) as refused:
                steps.restore_complete()
            assert refused.value.hint == "a module waits to be restored"
            modules.restore()
        assert steps.outage is None
        steps.restore_complete()
        assert steps.outage >= 0  # type: ignore[operator]
    assert WORK.properties["org.example.x"].data == b"x"
    with raises(v.WrongState) as refused:
        steps.save()
    assert refused.value.hint == "this step may not follow the last one"


class steps_of:
    """Modules of a switch, which take part in a block."""

    def __init__(self, steps: Any) -> None:
        self.modules = steps.modules(WORK, 3, 4)

    def __enter__(self) -> Any:
        return self.modules.register_save().save()

    def __exit__(self, *details: Any) -> None:
        self.modules.complete()


def test_leaving_save_and_restore_early() -> None:
    with raises(ZeroDivisionError), HOST.save_restore(WORK) as steps:
        steps.register_save().save().block_ports()
        1 / 0
    HOST.save_restore(WORK).register_save().complete()
    with HOST.save_restore(WORK):
        pass  # no step, nothing to complete
    with HOST.save_restore(WORK, dual_load=True) as steps:
        steps.register_save().prepare_dual_load().save()
        with raises(v.AlreadyExists) as refused:
            HOST.save_restore(WORK).register_save()
        assert refused.value.hint == "a switch is in save and restore"
        assert refused.value.arguments["query"] == {"switches": ["workload"]}
    with raises(v.AlreadyExists) as refused, HOST.save_restore(WORK, "workload") as steps:
        steps.register_save()
    assert refused.value.hint == "a switch stands twice"
    with raises(v.NotFound):
        HOST.save_restore("worload").register_save()
    steps = HOST.save_restore(WORK)
    steps.register_save()
    HOST.save_restore(WORK).complete()
    error = ValueError("first")
    with raises(ValueError) as raised, steps:
        raise error
    assert raised.value is error and "completing save and restore failed, too: VSQEL_RTMOp(" in error.__notes__[0]


def test_modes_and_the_settings_of_the_host_over_an_upgrade() -> None:
    steps = HOST.save_restore(WORK)
    steps.register_save()
    assert steps.set_mode(True) == {"workload": False}
    assert steps.modes() == {"workload": True}
    steps.complete()
    HOST.runtime_options["IGMPVersion"] = 2
    everything = HOST.save_restore()
    assert everything.toggle_global() is everything
    HOST.runtime_options["IGMPVersion"] = 1
    everything.toggle_global()
    assert HOST.runtime_options["IGMPVersion"] == 2
    with raises(v.BadParameter):
        everything.save()
    assert libvswitch.QEL_OK == 0
