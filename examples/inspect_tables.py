"""Shows what a switch is configured with and does: mirror sessions, LAGs, MAC addresses, multicast filters; and the
host's runtime options.

Usage: inspect_tables.py [SWITCH [PORT]]     the alias of a switch, and the identifier of one of its ports
"""

import sys

import libvswitch as vs
from libvswitch import VSwitchError, allocated, cell, check

NUMBER_OPTIONS = ("IGMPQueryInterval", "MaxRARPsPerInterval")
TEXT_OPTIONS = ("IGMPRouterIP",)
MAC_KINDS = {
    vs.VS_MAC_ADDR_TYPE_STATIC: "static",
    vs.VS_MAC_ADDR_TYPE_USER: "set by hand",
    vs.VS_MAC_ADDR_TYPE_LEARNED: "learned",
}


def show_mirror_sessions(switch: str, port: str | None) -> None:
    """The sessions of a port, or of the switch itself."""
    with allocated(vs.VSDVS_GetDVMirrorSessions, switch, port) as table:
        print(f"mirror sessions of {port or 'the switch'}: {table.numSessions}")
        for session in table:
            print(f"  {session.sid} ({session.dname or 'no description'})")
            roles = (
                ["to"] * session.numDstEntities
                + ["received by"] * session.numSrcInEntities
                + ["sent by"] * session.numSrcOutEntities
            )
            for role, entity in zip(roles, table.entities(session)):
                print(f"    {role} {entity.get_entity()}")


def show_lags(switch: str) -> None:
    with allocated(vs.VSQEL_GetLAGTable, switch) as table:
        print(f"LAGs: {table.numLAGs}")
        for lag in table:
            links = [lag.uplinkLinkupBitmap >> index & 1 for index in range(lag.numUplinks)]
            members = [f"{name} {'up' if link else 'down'}" for name, link in zip(lag, links)]
            state = "up" if lag.state == vs.QEL_LINK_STATE_UP else "down"
            print(f"  {lag.get_name()} is {state}: {', '.join(members) or 'no uplinks'}")


def show_mac_addresses(switch: str) -> None:
    with allocated(vs.VSQEL_GetMACTable, switch, vs.VS_MAC_ADDR_TYPE_ALL) as table:
        print(f"MAC addresses: {table.numEntries}")
        for index in range(table.numEntries):
            entry = table.macEntries[index]
            print(f"  {entry.macAddress} in VLAN {entry.vid} at port {entry.portID}: {MAC_KINDS[entry.macAddrType]}")


def show_filters(switch: str, port: str) -> None:
    """The multicast addresses that a port receives; none of a kind by which the switch does not filter."""
    number = check(vs.VSDVS_DvPortIDToPortID(switch, port))
    for kind, mode, read in (
        ("MAC", vs.VS_MCAST_FILTER_MODE_LEGACY, vs.VSMcastFilters.get_mac_entry),
        ("IPv4", vs.VS_MCAST_FILTER_MODE_IGMP, vs.VSMcastFilters.get_ip_entry),
        ("IPv6", vs.VS_MCAST_FILTER_MODE_MLD, vs.VSMcastFilters.get_ipv6_entry),
    ):
        with allocated(vs.VSQEL_GetMcastFilters, switch, number, mode) as filters:
            print(f"multicast filters of {port} ({kind}): {filters.numEntries} of {filters.totalEntries}")
            for index in range(filters.numEntries):
                print(f"  {read(filters, index)}")


def show_runtime_options() -> None:
    types = [vs.get_runtime_option_type_from_name(name) for name in (*NUMBER_OPTIONS, *TEXT_OPTIONS)]
    wanted = cell("qel_uint16 *", *types)
    with allocated(vs.VSQEL_GetRuntimeOptions, wanted, len(types)) as options:
        print(f"runtime options: {options.totalLength} bytes")
        for option in options:
            value = option.get_option_value()
            print(f"  {option.get_option_name()} = {value.decode() if isinstance(value, bytes) else value}")


def main(switch: str, port: str | None) -> int:
    try:
        show_mirror_sessions(switch, None)
        if port is not None:
            show_mirror_sessions(switch, port)
        show_lags(switch)
        show_mac_addresses(switch)
        if port is not None:
            show_filters(switch, port)
        show_runtime_options()
    except VSwitchError as error:
        print(f"{switch}: the host answers {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1] if len(sys.argv) > 1 else "management", sys.argv[2] if len(sys.argv) > 2 else None))
