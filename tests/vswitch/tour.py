"""A use of every call: small scripts, each good on a fresh built-in host."""

from typing import Any

import vswitch as v

HOST = v.Host()
WORK, MANAGEMENT = v.Switch("workload"), v.Switch("management")
TAP = v.MirrorSession("tap", destinations=["port:103"])


def setting(handle: Any, name: Any, value: Any) -> Any:
    """Reads, writes and deletes a setting."""
    getattr(handle, name)
    setattr(handle, name, value)
    delattr(handle, name)


def switches() -> Any:
    list(HOST.switches), HOST.portsets, HOST.switches["workload"].id, WORK.class_name, WORK.version, WORK.max_ports
    HOST.switches.by_portset("portset-2")
    lab = HOST.switches.create("lab")
    lab.version, lab.max_ports = v.SwitchVersion.DVS_70, 9
    lab.remove()
    other = HOST.switches.create("other", connected=False)
    other.connect()
    other.disconnect()
    other.remove()
    WORK.portset, WORK.info, WORK.refresh_numa(), WORK.command("switch")  # type: ignore[func-returns-value]


def host() -> Any:
    HOST.mac_learning = HOST.mac_learning
    HOST.runtime_options["IGMPVersion"] = HOST.runtime_options["IGMPVersion"]
    image = HOST.image(persistent=True)
    HOST.restore(HOST.image())
    HOST.restore(image, merge=True)
    HOST.sanitize()
    HOST.reload()
    HOST.release_handles()
    HOST.reset()


def switch_settings() -> Any:
    setting(WORK, "mtu", 1500)
    setting(WORK, "teaming", v.TeamingPolicy())
    setting(WORK, "mac_learning", v.SwitchMacLearning())
    setting(WORK, "static_mac_allow", True)
    setting(WORK, "learn_static", True)
    setting(WORK, "private_vlans", [v.PrivateVlan(9, 9, v.PrivateVlanType.PROMISC)])
    setting(WORK, "multicast_mode", v.MulticastMode.IGMP)
    setting(WORK, "multicast", ["01:00:5e:00:00:01"])
    setting(WORK, "rcf_type", v.RcfType.EBPF)
    WORK.teaming_policies.set([v.NamedTeaming("gold")])
    WORK.teaming_policies.in_force, list(WORK.teaming_policies)
    WORK.teaming_policies.clear()


def port_settings() -> Any:
    WORK.teaming_policies.set([v.NamedTeaming("gold")])
    port = WORK.ports["103"]
    setting(port, "vlan", v.VlanPolicy.trunk_of(5))
    setting(port, "nested_vlan_tagging", True)
    setting(port, "tx_uplink_always", True)
    setting(port, "teaming", v.TeamingPolicy())
    setting(port, "teaming_override", "uplink-a")
    setting(port, "teaming_policy", "gold")
    setting(port, "mac_learning", v.MacLearning())
    setting(port, "security", v.SecurityPolicy())
    setting(port, "filter", v.EthernetFilter())
    setting(port, "sink", True)
    setting(port, "multicast", ["01:00:5e:00:00:01"])
    port.origin.vlan


def running_switch() -> Any:
    WORK.mac_summary, WORK.mac_policies, WORK.mac_statistics, WORK.security_in_force, WORK.static_entries
    WORK.announcements, WORK.service_port, WORK.running_multicast_mode, WORK.running_mirrors, WORK.promiscuous_ports
    list(WORK.lags), list(WORK.mac_table), list(WORK.uplink_mac_table)


def ports() -> Any:
    ports = WORK.ports
    ports.create("a")
    ports.create("b", external_id="e")
    ports.create("c", image=ports["a"].image())
    ports.by_external_id("e").image(persistent=True)
    ports.by_type(v.PortType.ACTIVE)
    ports.remove("a")
    ports.remove("b", force=True)
    port = ports["100"]
    port.exists, port.number, port.uplink_hint, port.teaming_policy_in_force, port.mac_statistics, port.static_entries
    MANAGEMENT.multicast_mode = v.MulticastMode.SNOOPING
    MANAGEMENT.ports["1"].multicast_filters(v.MulticastMode.IGMP)
    MANAGEMENT.ports["1"].multicast_group("239.255.0.1")
    port.mac_table.add("02:00:00:00:00:77")
    port.mac_table.remove("02:00:00:00:00:77")
    list(port.mac_table)


def uplinks() -> Any:
    lab = HOST.switches.create("lab")
    uplink = lab.uplinks.create("nic5")
    uplink.link, uplink.nic.port  # type: ignore[union-attr]
    uplink.set_admin("up")
    uplink.data[1] = b"x"
    uplink.data[1]
    WORK.uplinks["uplink-a"].lacp_link
    for key in ("a", "b"):
        lab.properties[key] = lab.host_properties[key] = uplink.port.properties[key] = "x"
    lab.properties.smartnic("a"), lab.host_properties.smartnic("a"), uplink.port.properties.smartnic("a")
    lab.uplinks.remove("nic5")
    lab.uplinks.set(["nic4"])
    lab.uplinks.clear()


def mirrors() -> Any:
    mirrors = WORK.mirrors
    mirrors.create(TAP)
    mirrors.set([TAP])
    list(mirrors), mirrors.statistics("tap")
    mirrors.remove("tap")
    mirrors.clear()


def properties() -> Any:
    for properties, default in (
        (WORK.properties, "VSPROP_SWITCH_LLSPAN_RX_DISPATCHER"),
        (WORK.host_properties, "VSPROP_SWITCH_STATUS"),
        (WORK.ports["103"].properties, "VSPROP_PORT_VLAN"),
    ):
        properties.effective(default)
        properties["a"] = "x"
        properties["a"], properties.effective("a")
        properties.set("b", "x", kinds=v.PropertyKind.CONFIG)
        properties.vendor().close()
        del properties["a"]
    WORK.host_properties.set("c", "x", runtime=True)
    with WORK.properties.extra(), WORK.ports["103"].properties.extra(), v.PropertyList({"a": b"x"}) as entries:
        entries.to_image()


def save_and_restore() -> Any:
    with HOST.save_restore(WORK) as steps:
        steps.register_save()
        steps.modules(WORK, 1).register_save().complete()
        WORK.ports["100"].block(1)
        WORK.ports["100"].unblock(1)


EVERYTHING = (
    switches,
    switch_settings,
    port_settings,
    running_switch,
    ports,
    uplinks,
    mirrors,
    properties,
    save_and_restore,
    host,
)
