"""Enumerations of switches: version, health, save and restore; and the layer's own two, whose a value is and where."""

import libvswitch

from vswitch.enums._member import Number


class SwitchVersion(Number):
    """Version of a switch, which decides which images and features it takes. A switch's version only grows."""

    DVS_60 = libvswitch.DVS_VERSION_60, "state format 6.0, the oldest that a switch can have"
    DVS_65 = libvswitch.DVS_VERSION_65, "state format 6.5"
    DVS_66 = libvswitch.DVS_VERSION_66, "state format 6.6"
    DVS_70 = libvswitch.DVS_VERSION_70, "state format 7.0, which new switches have unless told otherwise"
    QBR_10 = libvswitch.VS_QBR_HNQ_VERSION_10, "this implementation's own state format, goes with the enhanced datapath"
    QBR_ON_DVS70 = libvswitch.VS_QBRT_ON_DVS70_VERSION, "enhanced datapath on top of state format 7.0"

    def _constant_of(self, name: str) -> str:
        own = {"QBR_10": "VS_QBR_HNQ_VERSION_10", "QBR_ON_DVS70": "VS_QBRT_ON_DVS70_VERSION"}
        return own.get(name) or "DVS_VERSION_" + name.removeprefix("DVS_")


class SwitchStatus(Number, constants="QEL_HNQ_STATUS_{}"):
    """Health of a switch on this host, by the links of its uplink ports."""

    OK = libvswitch.QEL_HNQ_STATUS_OK, "the links of all uplink ports are up"
    DEGRADED = libvswitch.QEL_HNQ_STATUS_DEGRADED, "the links of only some uplink ports are up"
    DOWN = libvswitch.QEL_HNQ_STATUS_DOWN, "no uplink port has a link that is up"


class SaveRestoreMode(Number, constants="RTM_IOCCMD_{}"):
    """Steps by which a switch keeps its running state over an upgrade of its modules, and modes that are no steps."""

    REG_SAVE = libvswitch.RTM_IOCCMD_REG_SAVE, "takes the switch into save and restore; the first step"
    REG_RESTORE = libvswitch.RTM_IOCCMD_REG_RESTORE, "the upgraded switch reports that it can be restored"
    REG_SAVE_DUALLOAD = (
        libvswitch.RTM_IOCCMD_REG_SAVE_DUALLOAD,
        "first step where the old and the new module are loaded at once",
    )
    REG_RESTORE_DUALLOAD = (
        libvswitch.RTM_IOCCMD_REG_RESTORE_DUALLOAD,
        "the upgraded switch reports that it can be restored, with both modules loaded",
    )
    SAVE = (
        libvswitch.RTM_IOCCMD_SAVE,
        "saves volatile properties, MAC tables and counters; the last one before blocking counts",
    )
    RESTORE = libvswitch.RTM_IOCCMD_RESTORE, "brings back what was saved, where the port is still there"
    BLOCKPORTS = libvswitch.RTM_IOCCMD_BLOCKPORTS, "stops the traffic of all ports of the switch; the outage begins"
    PREDUALLOAD = libvswitch.RTM_IOCCMD_PREDUALLOAD, "makes room for the second module"
    GLOBALCONFIG_SAVERESTORE = (
        libvswitch.RTM_IOCCMD_GLOBALCONFIG_SAVERESTORE,
        "saves the runtime options and MAC settings of the host, the second time brings them back",
    )
    PS_UPGRADE = libvswitch.RTM_IOCCMD_PS_UPGRADE, "replaces the switch; its running state is lost"
    PORT_UPGRADE = libvswitch.RTM_IOCCMD_PORT_UPGRADE, "replaces the ports of the switch"
    COMPLETE = libvswitch.RTM_IOCCMD_COMPLETE, "ends save and restore after whatever step, with the ports open again"
    RESTORE_COMPLETE = (
        libvswitch.RTM_IOCCMD_RESTORE_COMPLETE,
        "lets traffic pass again and answers with the longest outage",
    )
    ORV_OP = libvswitch.RTM_IOCCMD_ORV_OP, "sets and answers the modes of the enhanced datapath that are kept"
    CSWITCH_OP = libvswitch.RTM_IOCCMD_CSWITCH_OP, "only answers with the modes that are kept"


class Origin(Number):
    """Whose value of a setting is in effect."""

    DEFAULT = 0, "nobody has set it"
    HOST = 1, "set for all switches of the host"
    SWITCH = 2, "set on the switch"
    PORT = 3, "set on the port itself"


class Scope(Number):
    """Where a property stands."""

    GLOBAL = 0, "of a switch, the same on all its hosts"
    HOST = 1, "of a switch on this host only"
    PORT = 2, "of one port of a switch"
