"""Enumerations of MAC learning."""

import libvswitch

from vswitch.enums._member import Number


class MacType(Number, constants="VS_MAC_ADDR_TYPE_{}"):
    """Where an entry of a MAC table comes from."""

    STATIC = libvswitch.VS_MAC_ADDR_TYPE_STATIC, "the client of a port"
    USER = libvswitch.VS_MAC_ADDR_TYPE_USER, "set by hand, until the next boot"
    LEARNED = libvswitch.VS_MAC_ADDR_TYPE_LEARNED, "seen as the source of frames"
    ALL = libvswitch.VS_MAC_ADDR_TYPE_ALL, "whatever its source; selects entries, no entry has it"


class MacLimitPolicy(Number, constants="VSPORT_MAC_LEARNING_LIMIT_POLICY_{}"):
    """What becomes of frames from further addresses when a port has learned as many as it may."""

    ALLOW = libvswitch.VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW, "they pass, and their addresses are not learned"
    DROP = libvswitch.VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP, "they are dropped"
