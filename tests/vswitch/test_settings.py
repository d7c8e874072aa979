"""Settings: each read, written, volatile, deleted, and told where its value comes from."""

from typing import Any

import pytest

import libvswitch
import vswitch as v
from vswitch.handles.setting import settings_of

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises

TEAM = v.TeamingPolicy(["uplink-b"], ["uplink-a"], v.LoadBalance.FO_EXPLICIT, speed=100)
MACS = ("01:00:5e:00:00:01", "01:00:5e:00:00:02")
PVLANS = (
    v.PrivateVlan(100, 100, v.PrivateVlanType.PROMISC),
    v.PrivateVlan(100, 101, v.PrivateVlanType.ISOLATED),
)

# Of each setting two values that are not the default, in the forms that are written, and how the first is read.
SWITCH: dict[str, Any] = {
    "mtu": (4000, 1400),
    "teaming": (TEAM, TEAM.replace(speed=10)),
    "mac_learning": (v.SwitchMacLearning(5, 6), v.SwitchMacLearning(7, 8)),
    "static_mac_allow": (False, True),
    "learn_static": (True, False),
    "private_vlans": (PVLANS, PVLANS[:1]),
    "multicast_mode": (v.MulticastMode.SNOOPING, v.MulticastMode.IGMP),
    "multicast": (MACS, MACS[1:]),
    "rcf_type": (v.RcfType.EBPF, v.RcfType.CBPF),
    "forwarding_disabled": (True, False),
}
PORT: dict[str, Any] = {
    "vlan": (v.VlanPolicy(10, 3), v.VlanPolicy.trunk_of((10, 19), 30)),
    "nested_vlan_tagging": (True, False),
    "tx_uplink_always": (True, False),
    "priority_retain": (True, False),
    "multicast_override": (True, False),
    "blocked": (True, False),
    "passthrough_allowed": (True, False),
    "teaming": (TEAM, TEAM.replace(speed=10)),
    "teaming_override": ("uplink-a", "uplink-b"),
    "teaming_policy": ("gold", "silver"),
    "mac_learning": (v.MacLearning(True, True, 9, v.MacLimitPolicy.DROP), v.MacLearning(True)),
    "mac_changes": (False, True),
    "security": (v.SecurityPolicy.strict(), v.SecurityPolicy(False)),
    "filter": (v.EthernetFilter(v.EthernetFilterFlag.ALLMULTI, MACS), v.EthernetFilter(v.EthernetFilterFlag.SINK)),
    "sink": (True, False),
    "multicast": (MACS, MACS[1:]),
    "connect_id": (4294967295, 7),
    "alias": ("front", "back"),
    "port_group": ("web", "data"),
    "resource_pool": ("fast", "slow"),
    "resources": (v.ResourcePool(1, 100, 50, 3, 4), v.ResourcePool(2)),
}
EVERY = [("switch", name) for name in SWITCH] + [("port", name) for name in PORT]


def handle_of(kind: Any) -> Any:
    switch = v.Switch("workload")
    if kind == "switch":
        return switch, SWITCH
    switch.teaming_policies.set([v.NamedTeaming("gold", ["uplink-a"]), v.NamedTeaming("silver")])
    return switch.ports.create("probe"), PORT


def write_volatile(handle: Any, setting: Any) -> Any:
    """Gives the properties of a setting their present values as volatile ones, and takes the persistent ones away."""
    for key in setting.keys:
        if key in handle.properties:
            data = handle.properties[key].data
            del handle.properties[key]
            handle.properties.set(key, data, volatile=True)


def test_there_are_values_for_every_setting() -> None:
    assert set(settings_of(v.Switch)) == set(SWITCH)
    assert set(settings_of(v.Port)) == set(PORT)
    assert set(settings_of(v.Host)) == {"mac_learning"}
    assert dir(v.Switch("x").origin) == sorted(SWITCH)


@pytest.mark.parametrize(("kind", "name"), EVERY)
def test_reading_writing_and_deleting(kind: Any, name: Any) -> None:
    handle, values = handle_of(kind)
    one, other = values[name]
    own = v.Origin.PORT if kind == "port" else v.Origin.SWITCH
    if name in ("mtu", "connect_id"):
        delattr(handle, name)  # the MTU of the boot description, the connection identifier of a new port
    default = getattr(handle, name)
    inherited = getattr(handle.origin, name)
    host_wide = kind == "switch" and name in ("mac_learning", "static_mac_allow", "learn_static")
    assert inherited == (v.Origin.HOST if host_wide else v.Origin.DEFAULT)
    assert getattr(handle.stored, name) == default
    assert getattr(handle.is_volatile, name) is False
    for value in (one, other, one):
        setattr(handle, name, value)
        assert getattr(handle, name) == value == getattr(handle.stored, name)
        assert type(getattr(handle, name)) is type(value)
        assert getattr(handle.origin, name) == own
        assert getattr(handle.is_volatile, name) is False
    assert default != one
    # from a fresh handle: nothing is kept in this one
    again = v.Switch("workload") if kind == "switch" else v.Port(v.Switch("workload"), "probe")
    assert getattr(again, name) == one
    write_volatile(handle, vars_of(handle)[name])
    assert getattr(handle, name) == one
    assert getattr(handle.stored, name) == default
    assert getattr(handle.is_volatile, name) is True
    assert getattr(handle.origin, name) == own
    setattr(handle, name, one)  # a write removes the volatile value
    assert getattr(handle.is_volatile, name) is False
    delattr(handle, name)
    assert getattr(handle, name) == default
    assert getattr(handle.stored, name) == default
    if name not in ("sink", "private_vlans"):  # the filter without the flag, and a map without entries, stay written
        assert getattr(handle.origin, name) == inherited
    delattr(handle, name)  # what was not set


def vars_of(handle: Any) -> Any:
    return settings_of(type(handle))


@pytest.mark.parametrize(("kind", "name"), EVERY)
def test_wrong_types_and_none(kind: Any, name: Any) -> None:
    handle, _ = handle_of(kind)
    for wrong in (None, 1.5, object()):
        with raises(TypeError, match=f"^{name}: "):
            setattr(handle, name, wrong)


@pytest.mark.parametrize(("kind", "name"), EVERY)
def test_a_handle_of_nothing(kind: Any, name: Any) -> None:
    values = SWITCH if kind == "switch" else PORT
    switch = v.Switch("worload") if kind == "switch" else v.Switch("workload")
    handle, hint = (
        (switch, "no switch 'worload'; did you mean 'workload'?")
        if kind == "switch"
        else (v.Port(switch, "10"), "no port '10' on switch 'workload'; did you mean '100'?")
    )
    uses = [
        lambda: getattr(handle, name),
        lambda: getattr(handle.stored, name),
        lambda: getattr(handle.is_volatile, name),
        lambda: getattr(handle.origin, name),
        lambda: setattr(handle, name, values[name][0]),
        lambda: delattr(handle, name),
    ]
    for use in uses:
        with raises(v.NotFound) as refused:
            use()  # type: ignore[no-untyped-call]
        assert refused.value.hint == hint, use


def test_what_a_write_also_accepts() -> None:
    port, _ = handle_of("port")
    port.vlan = 7
    assert port.vlan == v.VlanPolicy(7)
    port.multicast = [one.upper().replace(":", "-") for one in MACS]
    assert port.multicast == MACS  # type: ignore[comparison-overlap]
    switch = v.Switch("workload")
    switch.private_vlans = iter(PVLANS)
    assert switch.private_vlans == PVLANS
    switch.multicast_mode = 2
    assert switch.multicast_mode is v.MulticastMode.IGMP


def test_a_port_inherits_the_teaming_of_its_switch() -> None:
    port, _ = handle_of("port")
    port.switch.teaming = TEAM
    assert (port.teaming, port.origin.teaming) == (TEAM, v.Origin.SWITCH)
    port.teaming = TEAM.replace(speed=1)
    assert port.origin.teaming == v.Origin.PORT
    del port.teaming
    assert (port.teaming, port.stored.teaming, port.origin.teaming) == (TEAM, TEAM, v.Origin.SWITCH)
    del port.switch.teaming
    assert port.origin.teaming == v.Origin.DEFAULT


def test_the_two_settings_of_mac_management_leave_each_other_alone() -> None:
    port, _ = handle_of("port")
    learning = v.MacLearning(True, limit=9)
    port.mac_learning, port.mac_changes = learning, False
    assert (port.mac_learning, port.mac_changes) == (learning, False)
    del port.mac_changes
    assert (port.mac_learning, port.mac_changes) == (learning, True)
    port.mac_changes = False
    del port.mac_learning
    assert (port.mac_learning, port.mac_changes) == (v.MacLearning(), False)
    assert "VSPROP_PORT_MAC_MANAGEMENT" in port.properties
    del port.mac_changes
    assert "VSPROP_PORT_MAC_MANAGEMENT" not in port.properties


def test_a_sink_is_a_flag_of_the_filter() -> None:
    port, _ = handle_of("port")
    port.filter = v.EthernetFilter(v.EthernetFilterFlag.ALLMULTI)
    port.sink = True
    assert port.filter.flags == v.EthernetFilterFlag.ALLMULTI | v.EthernetFilterFlag.SINK
    del port.sink
    assert port.filter.flags == v.EthernetFilterFlag.ALLMULTI
    port.sink = True
    del port.filter
    assert port.sink is False


def test_the_priority_of_a_vlan_policy_is_a_property_of_its_own() -> None:
    port, _ = handle_of("port")
    port.vlan = v.VlanPolicy(10, 5)
    assert int(port.properties["VSPROP_PORT_PRIORITY"]) == 5
    port.vlan = 10
    assert port.vlan.priority is None  # type: ignore[attr-defined]
    for priority in (8, 255, 256, -1):
        with raises(v.BadParameter):
            port.vlan = v.VlanPolicy(10, priority)
    assert port.vlan == v.VlanPolicy(10)


def test_the_host_s_mac_learning() -> None:
    host = v.Host()
    assert host.mac_learning == v.HostMacLearning() == host.stored.mac_learning
    host.mac_learning = v.HostMacLearning(300, 100, True, False)
    assert host.mac_learning == v.HostMacLearning(300, 100, True, False) == host.stored.mac_learning
    assert (host.origin.mac_learning, host.is_volatile.mac_learning) == (v.Origin.HOST, False)
    assert host.switches["workload"].mac_learning == v.SwitchMacLearning(300, 100)
    with raises(v.NotSupported):
        del host.mac_learning


def test_a_setting_that_is_none() -> None:
    with raises(AttributeError, match="Port has no setting 'vlna'"):
        v.Switch("workload").ports["100"].origin.vlna


def test_settings_say_what_they_are() -> None:
    for kind in (v.Host, v.Switch, v.Port):
        for name, setting in settings_of(kind).items():
            assert getattr(kind, name) is setting
            assert str(setting.__doc__).endswith("."), name
    assert "bytes" in str(v.Switch.mtu.__doc__)


def test_limits_are_the_library_s_to_judge() -> None:
    switch = v.Switch("workload")
    for mtu in (1279, 9001, -1, 1 << 40):
        with raises(v.BadParameter) as refused:
            switch.mtu = mtu
        assert refused.value.hint == "an MTU is 1280 to 9000 bytes"
        assert str(refused.value) == (
            f"VSDVS_SetMTU(alias='workload', mtu={mtu}): QEL_BAD_PARAM: an MTU is 1280 to 9000 bytes"
        )
    with raises(v.BadParameter):
        switch.teaming = TEAM.replace(speed=70000)
    with raises(v.LimitExceeded):
        switch.multicast = [f"01:00:5e:00:00:{number:02x}" for number in range(26)]
    assert switch.mtu == 9000
    port = switch.ports["100"]
    for name, most in (("alias", 80), ("port_group", 63), ("resource_pool", 127)):
        setattr(port, name, "x" * most)
        for wrong in ("x" * (most + 1), ""):
            with raises(v.BadParameter) as refused:
                setattr(port, name, wrong)
            assert refused.value.hint == f"a name of this kind has 1 to {most} bytes"
    with raises(v.BadParameter) as refused:
        v.Switch("workload\udcff").mtu = 1500
    assert (refused.value.name, refused.value.hint) == ("QEL_INVALID_NAME", "a text that has no form in UTF-8")


def test_reading_asks_for_what_is_in_effect_and_nothing_more() -> None:
    from vswitch._calls import observed

    port = v.Switch("workload").ports["100"]
    names = []
    with observed(lambda name, *rest: names.append(name)):
        port.vlan
    assert names == ["VSDVS_GetPortVLANPolicy", "VSDVS_FreeMemory"]
    assert libvswitch.QEL_OK == 0
