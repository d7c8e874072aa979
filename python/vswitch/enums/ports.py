"""Enumerations of ports and their links."""

import libvswitch

from vswitch.enums._member import Bits, Number


class PortType(Number, constants="DVSPORT_TYPE_{}"):
    """Kinds of distributed port."""

    INVALID = libvswitch.DVSPORT_TYPE_INVALID, "no kind of port; calls refuse it"
    ACTIVE = libvswitch.DVSPORT_TYPE_ACTIVE, "with a client"
    SHADOW = libvswitch.DVSPORT_TYPE_SHADOW, "without a client, made on this host"
    ZOMBIE = (
        libvswitch.DVSPORT_TYPE_ZOMBIE,
        "removed from the state while its client was connected; gone at the next boot",
    )
    LOCALCACHE = (
        libvswitch.DVSPORT_TYPE_LOCALCACHE,
        "without a client, this host's copy of a port that was made elsewhere",
    )


class PortFlag(Bits, constants="QEL_HNQPORT_STATUS_{}"):
    """What a port's status says."""

    INUSE = libvswitch.QEL_HNQPORT_STATUS_INUSE, "a client is connected"
    LINKUP = libvswitch.QEL_HNQPORT_STATUS_LINKUP, "frames can pass"
    BLOCKED = libvswitch.QEL_HNQPORT_STATUS_BLOCKED, "an administrator stops all frames of the port"
    PASSTHRU = libvswitch.QEL_HNQPORT_STATUS_PASSTHRU, "frames go between client and hardware without the switch"


class LinkState(Number, constants="QEL_LINK_STATE_{}"):
    """Whether a link carries frames."""

    DOWN = libvswitch.QEL_LINK_STATE_DOWN, "no carrier, set down by hand, or no NIC behind it"
    UP = libvswitch.QEL_LINK_STATE_UP, "carries frames"


class LinkDuplex(Number, constants="QEL_LINK_DUPLEX_{}"):
    """Duplex mode of a link."""

    AUTO = libvswitch.QEL_LINK_DUPLEX_AUTO, "left to negotiation with the other end"
    HALF = libvswitch.QEL_LINK_DUPLEX_HALF, "one direction at a time"
    FULL = libvswitch.QEL_LINK_DUPLEX_FULL, "both directions at once"
