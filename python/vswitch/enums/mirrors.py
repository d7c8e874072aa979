"""Enumerations of mirror sessions."""

import libvswitch

from vswitch.enums._member import Bits, Number


class MirrorType(Number, constants="VS_DVMIRROR_SESSIONTYPE_{}"):
    """Where a mirror session takes frames from, and where it can send copies."""

    MIXDST = libvswitch.VS_DVMIRROR_SESSIONTYPE_MIXDST, "copies to ports, uplinks and addresses"
    DVPORT = libvswitch.VS_DVMIRROR_SESSIONTYPE_DVPORT, "copies to ports of the switch"
    RMIRROR_SRC = (
        libvswitch.VS_DVMIRROR_SESSIONTYPE_RMIRROR_SRC,
        "copies to uplinks, in a VLAN that carries them elsewhere",
    )
    RMIRROR_DST = (
        libvswitch.VS_DVMIRROR_SESSIONTYPE_RMIRROR_DST,
        "takes copies that come in a VLAN to ports of the switch",
    )
    ERMIRROR_SRC = libvswitch.VS_DVMIRROR_SESSIONTYPE_ERMIRROR_SRC, "copies to IP addresses, in GRE or ERSPAN packets"
    LOGICAL_DVPORT = libvswitch.VS_DVMIRROR_SESSIONTYPE_LOGICAL_DVPORT, "copies to ports, of a logical switch"


class MirrorFlag(Bits, constants="VS_DVMIRROR_FLAG_{}"):
    """How a mirror session treats its copies and destinations."""

    DST_NO_OUTPUT = (
        libvswitch.VS_DVMIRROR_FLAG_DST_NO_OUTPUT,
        "destination ports get copies only, no traffic of their own",
    )
    DST_NO_INPUT = libvswitch.VS_DVMIRROR_FLAG_DST_NO_INPUT, "what destination ports send is dropped"
    DST_ORIG_VLAN = libvswitch.VS_DVMIRROR_FLAG_DST_ORIG_VLAN, "copies are tagged with the VLAN of the frame"
    DST_ENCAP = libvswitch.VS_DVMIRROR_FLAG_DST_ENCAP, "copies are tagged with the VLAN of the session"
    LEGACY = libvswitch.VS_DVMIRROR_FLAG_LEGACY, "made for a port in promiscuous mode"
    DISABLED = libvswitch.VS_DVMIRROR_FLAG_DISABLED, "configured, and copies nothing"
    SRC_UPLINK_MIRROR = libvswitch.VS_DVMIRROR_FLAG_SRC_UPLINK_MIRROR, "all uplinks are sources, both ways"


class MirrorEndType(Number, constants="MIRROR_ENTTYPE_{}"):
    """What kind of thing a source or destination of a mirror session is."""

    DVPORT = libvswitch.MIRROR_ENTTYPE_DVPORT, "the port with this identifier"
    UPLINK = libvswitch.MIRROR_ENTTYPE_UPLINK, "an uplink port or NIC, by name"
    VLAN = libvswitch.MIRROR_ENTTYPE_VLAN, "all frames in a VLAN"
    IP = libvswitch.MIRROR_ENTTYPE_IP, "a remote IPv4 or IPv6 address"
    PORT = libvswitch.MIRROR_ENTTYPE_PORT, "the port with this number"
    MAC = libvswitch.MIRROR_ENTTYPE_MAC, "the port whose client has this address"


class MirrorWildcard(Bits, constants="VS_DVMIRROR_WILDCARD_{}"):
    """Classes of ports that are sources of a mirror session without being listed."""

    VMM = libvswitch.VS_DVMIRROR_WILDCARD_VMM, "ports with a virtual NIC"
    PNIC = libvswitch.VS_DVMIRROR_WILDCARD_PNIC, "uplinks"
    COS = libvswitch.VS_DVMIRROR_WILDCARD_COS, "ports of the service console, which this host does not have"
    TCPIP = libvswitch.VS_DVMIRROR_WILDCARD_TCPIP, "ports of the host's own TCP/IP stack"
    TEST = libvswitch.VS_DVMIRROR_WILDCARD_TEST, "ports that testing tools make, which this host does not have"


class MirrorUplinkFilter(Number, constants="MIRROR_UPLINK_FILTER_{}"):
    """Which traffic of an uplink a mirror session copies, by its encapsulation."""

    NONE = libvswitch.MIRROR_UPLINK_FILTER_NONE, "no filter: all traffic"
    NORMAL = libvswitch.MIRROR_UPLINK_FILTER_NORMAL, "only what is not encapsulated"
    STT = libvswitch.MIRROR_UPLINK_FILTER_STT, "only what is in STT packets"
    VXLAN = libvswitch.MIRROR_UPLINK_FILTER_VXLAN, "only what is in VXLAN packets"
    GENEVE = libvswitch.MIRROR_UPLINK_FILTER_GENEVE, "only what is in Geneve packets"
    ALL_ENCAP = libvswitch.MIRROR_UPLINK_FILTER_ALL_ENCAP, "only what is in packets of any of these overlays"


class MirrorEncapsulation(Number, constants="DVMIRROR_ENCAP_{}"):
    """How copies travel to a remote address."""

    GRE = libvswitch.DVMIRROR_ENCAP_GRE, "transparent Ethernet in GRE (RFC 2784), with a key"
    ERSPAN2 = libvswitch.DVMIRROR_ENCAP_ERSPAN2, "with the 8-byte header of the second version"
    ERSPAN3 = libvswitch.DVMIRROR_ENCAP_ERSPAN3, "with the 12-byte header of the third version, which has a time stamp"


class MirrorAction(Number, constants="ACTION_{}"):
    """What a filter rule of a mirror session does with packets that match."""

    DONT_MIRROR = libvswitch.ACTION_DONT_MIRROR, "leaves them out"
    MIRROR = libvswitch.ACTION_MIRROR, "copies them"
