"""Two values of each type, which differ in every field."""

from typing import Any

import vswitch as v

MAC, OTHER_MAC = "02:00:00:00:00:01", "0a:0b:0c:0d:0e:0f"
LEARNING = v.MacLearning(True, True, 7, v.MacLimitPolicy.DROP)

SAMPLES: dict[type[Any], tuple[Any, Any]] = {
    v.VlanPolicy: (v.VlanPolicy(10, 3, None, True), v.VlanPolicy(11, None, ((5, 5), (7, 9)), False)),
    v.PrivateVlan: (
        v.PrivateVlan(100, 100, v.PrivateVlanType.PROMISC),
        v.PrivateVlan(200, 201, v.PrivateVlanType.ISOLATED),
    ),
    v.TeamingPolicy: (
        v.TeamingPolicy(
            ("a",), ("b", "c"), v.LoadBalance.LB_IP, v.TeamCriterion.LINK_SPEED, v.TeamFlag.ROLLING, 9, True, 100
        ),
        v.TeamingPolicy(),
    ),
    v.NamedTeaming: (
        v.NamedTeaming("gold", ("a",), ("b",), v.LoadBalance.NONE, v.TeamCriterion.LINK_ERR, v.TeamFlag.REVERSE),
        v.NamedTeaming("silver"),
    ),
    v.SecurityPolicy: (v.SecurityPolicy(), v.SecurityPolicy.strict()),
    v.EthernetFilter: (
        v.EthernetFilter(v.EthernetFilterFlag.UNICAST | v.EthernetFilterFlag.SINK, ("01:00:5e:00:00:01",)),
        v.EthernetFilter(),
    ),
    v.MacLearning: (LEARNING, v.MacLearning()),
    v.SwitchMacLearning: (v.SwitchMacLearning(5, 6), v.SwitchMacLearning()),
    v.HostMacLearning: (v.HostMacLearning(5, 6, True, False), v.HostMacLearning()),
    v.MacEntry: (
        v.MacEntry(MAC, v.MacType.USER, None, 4, 10, 20, True, 30, 40),
        v.MacEntry(OTHER_MAC, v.MacType.LEARNED, "p", 5),
    ),
    v.StaticEntry: (
        v.StaticEntry(MAC, v.MacType.USER, None, 4, ((0, 3), (4000, 4095)), 7, True, False),
        v.StaticEntry(OTHER_MAC, v.MacType.STATIC, "p", 5, (), 0, False, True),
    ),
    v.MacStatistics: (v.MacStatistics(1, 2, 3, 4), v.MacStatistics(5, 6, 7, 8)),
    v.MacSummary: (
        v.MacSummary(1, 2, 3, 4, 5, LEARNING, v.MacStatistics(1, 2, 3, 4), 6, 7, 8, 9),
        v.MacSummary(11, 12, 13, 14, 15, v.MacLearning(), v.MacStatistics(0, 0, 0, 0), 16, 17, 18, 19),
    ),
    v.Statistics: (v.Statistics(*range(1, 17)), v.Statistics(*range(101, 117))),
    v.Announcements: (v.Announcements(1, 2, 3), v.Announcements(4, 5, 6)),
    v.ServicePort: (v.ServicePort(1, 2, 3, 4, 5, 6), v.ServicePort(7, 8, 9, 10, 11, 12)),
    v.SwitchInfo: (
        v.SwitchInfo("lab", "id", 1500, 1, 2, 3, 4, 5, 6),
        v.SwitchInfo("other", "di", 9000, 11, 12, 13, 14, 15, 16),
    ),
    v.PortStatus: (v.PortStatus(v.PortFlag.INUSE, 2, 3, "web"), v.PortStatus(v.PortFlag.BLOCKED, 5, 6, "")),
    v.LinkStatus: (
        v.LinkStatus(v.LinkState.UP, 10000, v.LinkDuplex.FULL),
        v.LinkStatus(v.LinkState.DOWN, 0, v.LinkDuplex.AUTO),
    ),
    v.LagMember: (v.LagMember("nic1", v.LinkState.UP), v.LagMember("nic2", v.LinkState.DOWN)),
    v.Lag: (
        v.Lag("lag-1", 1, v.LinkState.UP, (v.LagMember("nic1", v.LinkState.DOWN), v.LagMember("nic2", v.LinkState.UP))),
        v.Lag("lag-2", 2, v.LinkState.DOWN, ()),
    ),
    v.MirrorSession: (
        v.MirrorSession(
            "tap",
            "Tap",
            v.MirrorType.MIXDST,
            ("port:a", "uplink:b", "ip:192.0.2.1", "ip:2001:db8::1", "number:7", "mac:02:00:00:00:00:01"),
            ("vlan:10",),
            ("port:c", "port:d"),
            False,
            v.MirrorFlag.DST_NO_INPUT,
            128,
            2,
            30,
            v.MirrorWildcard.COS,
            v.MirrorWildcard.TCPIP,
            v.MirrorUplinkFilter.GENEVE,
            v.MirrorEncapsulation.ERSPAN3,
            4,
            5,
            6,
            3,
            True,
            (v.MirrorRule(protocol=6, sources=("10.0.0.0/8", "2001:db8::/32")), v.MirrorRule()),
        ),
        v.MirrorSession("other"),
    ),
    v.MirrorEnd: (v.MirrorEnd(v.MirrorEndType.DVPORT, "100"), v.MirrorEnd(v.MirrorEndType.VLAN, 10)),
    v.MirrorRule: (
        v.MirrorRule(v.MirrorAction.DONT_MIRROR, 17, (1, 2), (3, 4), ("10.0.0.0/8",), ("192.0.2.0/24", "::/0")),
        v.MirrorRule(),
    ),
    v.MirrorStatistics: (v.MirrorStatistics("tap", 1, 2, 3, 4, 5), v.MirrorStatistics("", 6, 7, 8, 9, 10)),
    v.MulticastGroup: (
        v.MulticastGroup("239.0.0.1", 3, v.SourceFilterMode.EXCLUDE, ("192.0.2.1",), 5, 6),
        v.MulticastGroup("ff05::1", 2, v.SourceFilterMode.NONE, (), 7, 8),
    ),
    v.ResourcePool: (v.ResourcePool(), v.ResourcePool(1, 2, 3, 4, 5)),
    v.PropertyValue: (
        v.PropertyValue("a", b"x", v.Scope.PORT, v.PropertyKind.RUNTIME | v.PropertyKind.NO_SYNC, False, True),
        v.PropertyValue("b", b"\xff", v.Scope.HOST),
    ),
}
EVERY = [sample for samples in SAMPLES.values() for sample in samples]
