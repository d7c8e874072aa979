"""Keys of the properties that the library knows."""

import enum
from typing import Self

import libvswitch


class PropertyKey(enum.StrEnum):
    """Keys of the properties that the library knows; any other text is a key too. A member is the key's text."""

    meaning: str
    """What the value holds, in one line."""

    def __new__(cls, key: str, meaning: str = "") -> Self:
        member = str.__new__(cls, key)
        member._value_ = key
        member.meaning = meaning
        return member

    @property
    def constant(self) -> str:
        """The name of the constant in `libvswitch`, which is the member's."""
        return self.name

    def to_json(self) -> str:
        """The key's text."""
        return self.value

    @classmethod
    def from_json(cls, given: object) -> Self:
        """The member for the key's text, the member's name, or that in lower case with hyphens. ValueError lists the
        choices; TypeError for what is no text."""
        if not isinstance(given, str):
            raise TypeError(f"a {cls.__name__} is wanted, not {type(given).__name__}")
        for name, member in cls.__members__.items():
            if given in (member.value, name, name.lower().replace("_", "-")):
                return member
        raise ValueError(f"{given!r} is no {cls.__name__}: use one of {', '.join(cls.__members__)}")

    QEL_HNQPROP_SWITCH_ALIAS = libvswitch.QEL_HNQPROP_SWITCH_ALIAS, "alias of the switch; read only"
    QEL_HNQPROP_SWITCH_VERSION = libvswitch.QEL_HNQPROP_SWITCH_VERSION, "version of the switch, uint32; read only"
    QEL_HNQPROP_SWITCH_UPLINKPORTS = (
        libvswitch.QEL_HNQPROP_SWITCH_UPLINKPORTS,
        "names of the uplink ports in order, a VSUplinkPorts block; read only",
    )
    QEL_HNQPROP_SWITCH_OVERLAY = (
        libvswitch.QEL_HNQPROP_SWITCH_OVERLAY,
        "overlay networks of the switch, in the form of whoever writes it",
    )
    QEL_HNQPROP_SWITCH_RESPOOLS_LIST = (
        libvswitch.QEL_HNQPROP_SWITCH_RESPOOLS_LIST,
        "resource pools of the switch, in the form of whoever writes it",
    )
    QEL_HNQPROP_SWITCH_RESPOOLS_SCHED = (
        libvswitch.QEL_HNQPROP_SWITCH_RESPOOLS_SCHED,
        "how the resource pools of the switch are scheduled, in the form of whoever writes it",
    )
    QEL_HNQPROP_HOST_STATUS = (
        libvswitch.QEL_HNQPROP_HOST_STATUS,
        "health of the switch on this host, a SwitchStatus as uint32; read only",
    )
    QEL_HNQPROP_HOST_PROXY_STATE = (
        libvswitch.QEL_HNQPROP_HOST_PROXY_STATE,
        "state of the switch's port set on this host, uint32: 0 active, 1 not, 2 being replaced",
    )
    QEL_HNQPROP_HOST_PROXY = libvswitch.QEL_HNQPROP_HOST_PROXY, "name of the switch's port set on this host; read only"
    QEL_HNQPROP_HOST_UPLINKPORTS = (
        libvswitch.QEL_HNQPROP_HOST_UPLINKPORTS,
        "names of the uplink ports on this host and the identifiers of their ports, two blocks",
    )
    QEL_HNQPROP_PORT_STATUS = (
        libvswitch.QEL_HNQPROP_PORT_STATUS,
        "whether the port is in use, up, blocked, and by whom, a qel_HNQPortStatus; read only",
    )
    QEL_HNQPROP_PORT_TYPE = libvswitch.QEL_HNQPROP_PORT_TYPE, "kind of the port, a PortType as uint32; read only"
    QEL_HNQPROP_PORT_VLAN = (
        libvswitch.QEL_HNQPROP_PORT_VLAN,
        "ranges of VLANs in force at the port, a qel_HNQPortVlanInfo; read only",
    )
    QEL_HNQPROP_PORT_PERSIST = (
        libvswitch.QEL_HNQPROP_PORT_PERSIST,
        "byte: 1 if the port outlives a boot with its switch; read only",
    )
    QEL_HNQPROP_PORT_PTALLOWED = (
        libvswitch.QEL_HNQPROP_PORT_PTALLOWED,
        "byte: whether the client may go past the switch, straight to hardware",
    )
    QEL_HNQPROP_PORT_PTALLOWEDRT = (
        libvswitch.QEL_HNQPROP_PORT_PTALLOWEDRT,
        "byte: whether going past the switch is possible at present",
    )
    QEL_HNQPROP_PORT_STATISTICS = (
        libvswitch.QEL_HNQPROP_PORT_STATISTICS,
        "packets and bytes in and out since the port was made, a qel_HNQPortStatistics; read only",
    )
    QEL_HNQPROP_PORT_ALIAS = libvswitch.QEL_HNQPROP_PORT_ALIAS, "second name of the port, at most 80 bytes"
    QEL_HNQPROP_PORT_CONNECTID = (
        libvswitch.QEL_HNQPROP_PORT_CONNECTID,
        "number by which the client asks to be connected, uint32",
    )
    QEL_HNQPROP_PORT_QELNIC_VLANID = (
        libvswitch.QEL_HNQPROP_PORT_QELNIC_VLANID,
        "VLAN of the host's own NIC at the port, uint32, 0 to 4095",
    )
    QEL_HNQPROP_PORT_VNIC_CONNECTEE = (
        libvswitch.QEL_HNQPROP_PORT_VNIC_CONNECTEE,
        "name of the virtual NIC at the port, empty without one; read only",
    )
    QEL_HNQPROP_PORT_PORTGROUP = (
        libvswitch.QEL_HNQPROP_PORT_PORTGROUP,
        "identifier of the group that the port belongs to, at most 63 bytes",
    )
    QEL_HNQPROP_PORT_BLOCK = (
        libvswitch.QEL_HNQPROP_PORT_BLOCK,
        "byte: whether an administrator stops all frames of the port",
    )
    QEL_HNQPROP_PORT_LINK_STATUS = (
        libvswitch.QEL_HNQPROP_PORT_LINK_STATUS,
        "state, speed and duplex mode of the link, a qel_LinkStatus; read only",
    )
    QEL_HNQPROP_PORT_RESPOOLS_CFG = (
        libvswitch.QEL_HNQPROP_PORT_RESPOOLS_CFG,
        "shares, limit and reservation of bandwidth of the port, a qel_PortsetResPoolCfg",
    )
    QEL_HNQPROP_PORT_RESPOOL_ASSOC = (
        libvswitch.QEL_HNQPROP_PORT_RESPOOL_ASSOC,
        "name of the resource pool whose bandwidth the port uses, at most 127 bytes",
    )
    QEL_HNQPROP_PORT_SHAPER_INPUT = (
        libvswitch.QEL_HNQPROP_PORT_SHAPER_INPUT,
        "limits on what the client sends, in the form of whoever writes it",
    )
    QEL_HNQPROP_PORT_SHAPER_BROADCAST = (
        libvswitch.QEL_HNQPROP_PORT_SHAPER_BROADCAST,
        "limits on broadcasts of the client, in the form of whoever writes it",
    )
    QEL_HNQPROP_PORT_SHAPER_OUTPUT = (
        libvswitch.QEL_HNQPROP_PORT_SHAPER_OUTPUT,
        "limits on what the client receives, in the form of whoever writes it",
    )
    QEL_HNQPROP_PORT_OVERLAY = (
        libvswitch.QEL_HNQPROP_PORT_OVERLAY,
        "overlay network of the port, in the form of whoever writes it",
    )
    QEL_HNQPROP_PORT_DVFILTER = (
        libvswitch.QEL_HNQPROP_PORT_DVFILTER,
        "packet filters between port and client, in the form of whoever writes it",
    )
    QEL_CISCO_PROP_SWITCH_CDP = libvswitch.QEL_CISCO_PROP_SWITCH_CDP, "settings of the discovery protocol CDP"
    QBR_PRP_LAN_TEAMING_POLICY = (
        libvswitch.QBR_PRP_LAN_TEAMING_POLICY,
        "uplinks of the two networks of the parallel redundancy protocol, a VSTeamPolicy",
    )
    QBR_ORV_PRP_TUNABLE_PROP = (
        libvswitch.QBR_ORV_PRP_TUNABLE_PROP,
        "times and multicast address of the parallel redundancy protocol, an OrvPRPTunablesData",
    )
    QBR_ORV_PRP_CONFIG_PROP = (
        libvswitch.QBR_ORV_PRP_CONFIG_PROP,
        "who takes part in the parallel redundancy protocol, in the form of whoever writes it",
    )
    QBR_ORV_PRP_STATUS = (
        libvswitch.QBR_ORV_PRP_STATUS,
        "how the parallel redundancy protocol fares on this host, in the form of whoever writes it",
    )
    VSPROP_MTU = libvswitch.VSPROP_MTU, "largest payload of a frame in bytes, uint32, 1280 to 9000"
    VSPROP_PVLAN_MAP = libvswitch.VSPROP_PVLAN_MAP, "private VLANs of the switch, VSPvlanMapEntry records"
    VSPROP_MULTICAST_FILTER = (
        libvswitch.VSPROP_MULTICAST_FILTER,
        "by what multicast is filtered, a MulticastMode as uint32",
    )
    VSPROP_SWITCH_TEAMING = (
        libvswitch.VSPROP_SWITCH_TEAMING,
        "teaming policy of ports that have none of their own, a VSTeamPolicy",
    )
    VSPROP_SWITCH_FORWARDING_DISABLED = (
        libvswitch.VSPROP_SWITCH_FORWARDING_DISABLED,
        "byte: other than 0 stops all forwarding",
    )
    VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS = (
        libvswitch.VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS,
        "mirror sessions that belong to the switch and to no port, a mirror session table",
    )
    VSPROP_SWITCH_MAC_LEARNING = (
        libvswitch.VSPROP_SWITCH_MAC_LEARNING,
        "aging time and limit of learned addresses, a VSPropMACLearning",
    )
    VSPROP_SWITCH_MAC_LEARN_STATIC = (
        libvswitch.VSPROP_SWITCH_MAC_LEARN_STATIC,
        "byte: whether addresses that are static are learned too",
    )
    VSPROP_SWITCH_STATIC_MAC_ALLOW = (
        libvswitch.VSPROP_SWITCH_STATIC_MAC_ALLOW,
        "byte: whether static addresses are in the MAC tables",
    )
    VSPROP_SWITCH_LLSPAN_RX_DISPATCHER = (
        libvswitch.VSPROP_SWITCH_LLSPAN_RX_DISPATCHER,
        "byte: whether received frames are mirrored where they come in",
    )
    VSPROP_SWITCH_STATUS = (
        libvswitch.VSPROP_SWITCH_STATUS,
        "health that components report for the switch, a SwitchStatus as uint32",
    )
    VSPROP_RCF_INSN_TYPE = libvswitch.VSPROP_RCF_INSN_TYPE, "instruction set of filter programs, an RcfType as uint32"
    VSPROP_USER_MCAST_ADDRESSES = (
        libvswitch.VSPROP_USER_MCAST_ADDRESSES,
        "multicast addresses that all ports receive, a VSUserMcastLegacyKeys with addresses",
    )
    VSPROP_PORT_SECURITY = (
        libvswitch.VSPROP_PORT_SECURITY,
        "what is refused to the client, SecurityFlag bits, a VSPropSecurity",
    )
    VSPROP_PORT_TEAMING_POLICY = (
        libvswitch.VSPROP_PORT_TEAMING_POLICY,
        "how the port uses uplinks, in place of the switch's policy, a VSTeamPolicy",
    )
    VSPROP_PORT_TEAMING_OVERRIDE = (
        libvswitch.VSPROP_PORT_TEAMING_OVERRIDE,
        "name of the one uplink port that the port is tied to",
    )
    VSPROP_PORT_VLAN = libvswitch.VSPROP_PORT_VLAN, "access VLAN, trunk or private VLAN, a VSPortVlanPolicy with ranges"
    VSPROP_PORT_PRIORITY = libvswitch.VSPROP_PORT_PRIORITY, "priority that frames of the port get, uint32, 0 to 7"
    VSPROP_PORT_TX_UPLINK = (
        libvswitch.VSPROP_PORT_TX_UPLINK,
        "byte: whether frames for ports of the same switch go to an uplink as well",
    )
    VSPROP_PORT_MIRROR_SESSIONS = (
        libvswitch.VSPROP_PORT_MIRROR_SESSIONS,
        "mirror sessions that belong to the port, a mirror session table",
    )
    VSPROP_PORT_VLAN_NESTEDTAG = (
        libvswitch.VSPROP_PORT_VLAN_NESTEDTAG,
        "byte: whether frames may have a second VLAN tag",
    )
    VSPROP_PORT_EXTRA_ETH_FRP = (
        libvswitch.VSPROP_PORT_EXTRA_ETH_FRP,
        "frames that the client gets beside its own, a VSExtraEthFilter",
    )
    VSPROP_PORT_MAC_MANAGEMENT = (
        libvswitch.VSPROP_PORT_MAC_MANAGEMENT,
        "MAC changes and MAC learning of the port, a VSPMACManagement",
    )
    VSPROP_PORT_MAC_LEARNING_STATS = (
        libvswitch.VSPROP_PORT_MAC_LEARNING_STATS,
        "counters of MAC learning, a VSPMACLearningStats; read only",
    )
    VSPROP_PORT_PRIORITY_RETAIN = (
        libvswitch.VSPROP_PORT_PRIORITY_RETAIN,
        "byte: other than 0 leaves the priority of frames that have one",
    )
    VSPROP_PORT_USER_MCAST_ADDRESSES = (
        libvswitch.VSPROP_PORT_USER_MCAST_ADDRESSES,
        "multicast addresses that the port receives, a VSUserMcastLegacyKeys with addresses",
    )
    VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE = (
        libvswitch.VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE,
        "byte: whether the port's multicast addresses replace those of the switch",
    )
    VSPROP_PORT_LS_TEAMING_POLICY = (
        libvswitch.VSPROP_PORT_LS_TEAMING_POLICY,
        "name of the switch's teaming policy that the port follows",
    )
    VSPROP_LS_TEAMING_POLICY = (
        libvswitch.VSPROP_LS_TEAMING_POLICY,
        "teaming policies with names, for ports to choose from, an LSTeamTable",
    )
