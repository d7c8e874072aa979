"""The runtime options of the host."""

from typing import Self

import libvswitch

from vswitch.enums._member import Number


class RuntimeOption(Number, constants="VS_RT_OPT_{}"):
    """Options for all switches of the host, in effect until the next boot."""

    option_name: str
    """The name under which the library and users know it."""

    def __new__(cls, number: int, option_name: str = "", meaning: str = "") -> Self:
        member = int.__new__(cls, number)
        member._value_ = number
        member.option_name = option_name
        member.meaning = meaning
        return member

    IGMP_QUERY_INTERVAL = (
        libvswitch.VS_RT_OPT_IGMP_QUERY_INTERVAL,
        "IGMPQueryInterval",
        "seconds between two queries for members of multicast groups, 1 to 65535",
    )
    IGMP_V3_MAX_SRC_IP_NUM = (
        libvswitch.VS_RT_OPT_IGMP_V3_MAX_SRC_IP_NUM,
        "IGMPV3MaxSrcIPNum",
        "most senders that are kept for an IPv4 group, 1 to 64",
    )
    IGMP_QUERIES = (
        libvswitch.VS_RT_OPT_IGMP_QUERIES,
        "IGMPQueries",
        "unanswered queries after which a member is gone, 1 to 16",
    )
    IGMP_VERSION = (
        libvswitch.VS_RT_OPT_IGMP_VERSION,
        "IGMPVersion",
        "version in which IPv4 members are asked for, 1 to 3",
    )
    MLD_VERSION = libvswitch.VS_RT_OPT_MLD_VERSION, "MLDVersion", "version in which IPv6 members are asked for, 1 or 2"
    MLD_V2_MAX_SRC_IP_NUM = (
        libvswitch.VS_RT_OPT_MLD_V2_MAX_SRC_IP_NUM,
        "MLDV2MaxSrcIPNum",
        "most senders that are kept for an IPv6 group, 1 to 64",
    )
    MAX_RARPS_PER_INTERVAL = (
        libvswitch.VS_RT_OPT_MAX_RARPS_PER_INTERVAL,
        "MaxRARPsPerInterval",
        "most announcements of clients in 100 milliseconds, 1 to 65535",
    )
    RARP_ADVERTISEMENT_DURATION = (
        libvswitch.VS_RT_OPT_RARP_ADVERTISEMENT_DURATION,
        "RARPAdvertisementDuration",
        "seconds for which clients are announced after a change of uplinks, 1 to 3600",
    )
    REVERSE_PATH_FWD_CHECK = (
        libvswitch.VS_RT_OPT_REVERSE_PATH_FWD_CHECK,
        "ReversePathFwdCheck",
        "1: a port gets frames only from the uplink that carries its own",
    )
    REVERSE_PATH_FWD_CHECK_PROMISC = (
        libvswitch.VS_RT_OPT_REVERSE_PATH_FWD_CHECK_PROMISC,
        "ReversePathFwdCheckPromisc",
        "1: the same check for copies to promiscuous ports",
    )
    ALLOW_FAST_PATH = (
        libvswitch.VS_RT_OPT_ALLOW_FAST_PATH,
        "AllowFastPath",
        "1: frames of a known flow skip the full lookup",
    )
    TEAM_POLICY_UP_DELAY = (
        libvswitch.VS_RT_OPT_TEAM_POLICY_UP_DELAY,
        "TeamPolicyUpDelay",
        "milliseconds for which an uplink that came back is not used, 0 to 300000",
    )
    ALLOW_MIRROR_STATS = (
        libvswitch.VS_RT_OPT_ALLOW_MIRROR_STATS,
        "AllowMirrorStats",
        "1: mirror sessions count their packets",
    )
    TEAMING_NUMA_AWARE = (
        libvswitch.VS_RT_OPT_TEAMING_NUMA_AWARE,
        "TeamingNUMAAware",
        "1: a port prefers uplinks on the NUMA node of its client",
    )
    SEND_IGMP_REPORT_TO_UPLINK = (
        libvswitch.VS_RT_OPT_SEND_IGMP_REPORT_TO_UPLINK,
        "SendIGMPReportToUplink",
        "1: what clients report as members goes to the physical network too",
    )
    TEAMING_IGNORE_SHOTGUN = (
        libvswitch.VS_RT_OPT_TEAMING_IGNORE_SHOTGUN,
        "TeamingIgnoreShotgun",
        "1: teams never send on several uplinks at once, whatever their policy",
    )
    IGMP_ROUTER_IP = (
        libvswitch.VS_RT_OPT_IGMP_ROUTER_IP,
        "IGMPRouterIP",
        "IPv4 address that queries come from; 0.0.0.0 for none",
    )
    MLD_ROUTER_IP = (
        libvswitch.VS_RT_OPT_MLD_ROUTER_IP,
        "MLDRouterIP",
        "IPv6 address that queries come from; :: for none",
    )

    @property
    def is_text(self) -> bool:
        """Whether its value is an address as text; else a number."""
        return self.value >= libvswitch.NUM_RUNTIME_INT_OPTIONS
