"""Enumerations of policies: teaming, VLAN, security, filters, and the kinds of properties."""

import libvswitch

from vswitch.enums._member import Bits, Number


class LoadBalance(Number, constants="TEAM_FRP_TYPE_{}"):
    """How a team of uplinks chooses the one that carries a port's traffic."""

    NONE = libvswitch.TEAM_FRP_TYPE_NONE, "always the first active uplink, and nothing in its place when it fails"
    LB_IP = libvswitch.TEAM_FRP_TYPE_LB_IP, "spreads by the IP addresses of packets"
    LB_SRCMAC = libvswitch.TEAM_FRP_TYPE_LB_SRCMAC, "spreads by the last byte of the client's MAC address"
    LB_SRCID = libvswitch.TEAM_FRP_TYPE_LB_SRCID, "spreads by the number of the port"
    FO_EXPLICIT = libvswitch.TEAM_FRP_TYPE_FO_EXPLICIT, "the first uplink in order that is fit, the others in reserve"
    LB_LBT = (
        libvswitch.TEAM_FRP_TYPE_LB_LBT,
        "spreads by how busy the uplinks are; by port number while that is unknown",
    )


class TeamCriterion(Bits, constants="TEAM_FRP_CRIT_{}"):
    """What makes an uplink unfit to carry traffic."""

    LINK_SPEED = libvswitch.TEAM_FRP_CRIT_LINK_SPEED, "its speed is another than the policy's"
    LINK_SPEED_GTE = libvswitch.TEAM_FRP_CRIT_LINK_SPEED_GTE, "its speed is lower than the policy's"
    LINK_DUPLEX = libvswitch.TEAM_FRP_CRIT_LINK_DUPLEX, "its duplex mode is another than the policy's"
    LACP_PORT_DOWN = libvswitch.TEAM_FRP_CRIT_LACP_PORT_DOWN, "it is in a LAG, and LACP has not brought it up"
    BEACON_STATE = libvswitch.TEAM_FRP_CRIT_BEACON_STATE, "probes that the other uplinks send do not arrive at it"
    LINK_ERR = libvswitch.TEAM_FRP_CRIT_LINK_ERR, "more frames with errors than the percentage of the policy"
    LINK_STATE = libvswitch.TEAM_FRP_CRIT_LINK_STATE, "its link is down, or came back only a moment ago"
    PORT_BLOCKED = libvswitch.TEAM_FRP_CRIT_PORT_BLOCKED, "an administrator has stopped its port"
    DRV_PRESENT = libvswitch.TEAM_FRP_CRIT_DRV_PRESENT, "no physical NIC is behind it"


class TeamFlag(Bits, constants="TEAM_FRP_FLAG_{}"):
    """How a team of uplinks behaves."""

    ALL_AVAILABLE = libvswitch.TEAM_FRP_FLAG_ALL_AVAILABLE, "standby uplinks carry traffic as well"
    REVERSE = libvswitch.TEAM_FRP_FLAG_REVERSE, "reads the lists of active and standby uplinks from their ends"
    BEST_EFFORT = libvswitch.TEAM_FRP_FLAG_BEST_EFFORT, "when none is fit, overlooks wrong speed and duplex mode"
    ROLLING = libvswitch.TEAM_FRP_FLAG_ROLLING, "an uplink that comes back waits at the end of its list"
    SHOTGUN = (
        libvswitch.TEAM_FRP_FLAG_SHOTGUN,
        "while beacons do not tell which uplink is good, sends on every one that is fit",
    )
    NOTIFY_SWITCH = (
        libvswitch.TEAM_FRP_FLAG_NOTIFY_SWITCH,
        "tells physical switches by RARP where clients are after a change",
    )
    BLOCK_OUTPUT = libvswitch.TEAM_FRP_FLAG_BLOCK_OUTPUT, "sends nothing to the uplinks"
    LACP_CLIENT = (
        libvswitch.TEAM_FRP_FLAG_LACP_CLIENT,
        "counts a LAG member as failed while LACP has not brought it up, criterion or not",
    )
    LST = libvswitch.TEAM_FRP_FLAG_LST, "while no uplink is fit, the links of the clients are down as well"


class VlanFlag(Bits, constants="VSPORT_VLAN_{}"):
    """What a port's VLAN policy does with tags."""

    GUEST_TAGGING = libvswitch.VSPORT_VLAN_GUEST_TAGGING, "the client tags its frames: a trunk"
    PVLAN_ENABLED = libvswitch.VSPORT_VLAN_PVLAN_ENABLED, "the VLAN is a secondary one of a private VLAN"
    SET_PRIORITY = libvswitch.VSPORT_VLAN_SET_PRIORITY, "frames get the priority of the port"


class PrivateVlanType(Number, constants="VSPORT_PVLAN_TYPE_{}"):
    """Who may talk to whom in a secondary VLAN of a private VLAN."""

    PROMISC = libvswitch.VSPORT_PVLAN_TYPE_PROMISC, "talks to all ports of the primary VLAN"
    ISOLATED = libvswitch.VSPORT_PVLAN_TYPE_ISOLATED, "talks only to promiscuous ports"
    COMMUNITY = libvswitch.VSPORT_PVLAN_TYPE_COMMUNITY, "talks to ports of the same secondary VLAN and promiscuous ones"


class SecurityFlag(Bits, constants="VSPORT_SECURITY_{}"):
    """What a port's security policy refuses to its client."""

    DISALLOW_PROMISC = libvswitch.VSPORT_SECURITY_DISALLOW_PROMISC, "receiving frames for others"
    DISALLOW_MAC_CHANGE = libvswitch.VSPORT_SECURITY_DISALLOW_MAC_CHANGE, "receiving under another address than its own"
    DISALLOW_FORGED_SRC = (
        libvswitch.VSPORT_SECURITY_DISALLOW_FORGED_SRC,
        "sending with another source address than its own",
    )


class EthernetFilterFlag(Bits, constants="QEL_ETH_FILTER_{}"):
    """Which frames a port's extra filter lets through to its client."""

    UNICAST = libvswitch.QEL_ETH_FILTER_UNICAST, "those to the client's own address"
    MULTICAST = libvswitch.QEL_ETH_FILTER_MULTICAST, "those to the multicast addresses of the filter"
    ALLMULTI = libvswitch.QEL_ETH_FILTER_ALLMULTI, "those to any multicast address"
    BROADCAST = libvswitch.QEL_ETH_FILTER_BROADCAST, "those to all stations"
    PROMISC = libvswitch.QEL_ETH_FILTER_PROMISC, "all of its VLANs, to whatever address"
    USE_LADRF = libvswitch.QEL_ETH_FILTER_USE_LADRF, "multicast by a hash of the address, as hardware filters do"
    SINK = libvswitch.QEL_ETH_FILTER_SINK, "those to unicast addresses that are at no port: a sink port"


class RcfType(Number, constants="QBR_RCF_INSN_TYPE_{}"):
    """Instruction set of the filter programs that a switch runs."""

    CBPF = libvswitch.QBR_RCF_INSN_TYPE_CBPF, "classic BPF, with two registers of 32 bits"
    EBPF = libvswitch.QBR_RCF_INSN_TYPE_EBPF, "extended BPF, with eleven registers of 64 bits"


class PropertyKind(Bits, constants="{}_PROP_TYPE"):
    """What a property is for, and where its value goes; the calls that list properties select by these bits."""

    VOLATILE = libvswitch.VOLATILE_PROP_TYPE, "the value is lost at the next boot"
    POLICY = libvswitch.POLICY_PROP_TYPE, "says how traffic is treated"
    CONFIG = libvswitch.CONFIG_PROP_TYPE, "set by an administrator; what a plain write gives"
    RUNTIME = libvswitch.RUNTIME_PROP_TYPE, "describes the running state"
    NO_REPLICATE = libvswitch.NO_REPLICATE_PROP_TYPE, "stays out of the images of ports"
    NO_SET_LOCAL_CALLBACK = (
        libvswitch.NO_SET_LOCAL_CALLBACK_PROP_TYPE,
        "writing it here calls no function that watches the property",
    )
    NO_SYNC = libvswitch.NO_SYNC_PROP_TYPE, "SmartNICs do not see it, and lists have it only when asked for this bit"
