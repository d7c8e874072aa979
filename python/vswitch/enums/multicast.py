"""Enumerations of multicast filtering."""

import libvswitch

from vswitch.enums._member import Number


class MulticastMode(Number, constants="VS_MCAST_FILTER_MODE_{}"):
    """By what a switch decides which ports get a multicast frame."""

    LEGACY = libvswitch.VS_MCAST_FILTER_MODE_LEGACY, "hardware addresses, as clients and administrators have set them"
    SNOOPING = libvswitch.VS_MCAST_FILTER_MODE_SNOOPING, "IPv4 and IPv6 groups that clients have joined"
    IGMP = libvswitch.VS_MCAST_FILTER_MODE_IGMP, "IPv4 groups that clients have joined"
    MLD = libvswitch.VS_MCAST_FILTER_MODE_MLD, "IPv6 groups that clients have joined"


class SourceFilterMode(Number, constants="VS_MCAST_SRC_IP_FILTER_MODE_{}"):
    """What the sources that a client gave with a group mean."""

    NONE = libvswitch.VS_MCAST_SRC_IP_FILTER_MODE_NONE, "the group is received from all senders"
    INCLUDE = libvswitch.VS_MCAST_SRC_IP_FILTER_MODE_INCLUDE, "only from the listed senders"
    EXCLUDE = libvswitch.VS_MCAST_SRC_IP_FILTER_MODE_EXCLUDE, "from all but the listed senders"
