"""Walks the tables that have no fixed shape: mirror sessions, LAGs, runtime options, multicast filters.

In the raw style: only what the native module itself offers. Takes the alias of a switch and a port's number.
"""

import ipaddress
import sys

import libvswitch as vs

OPTIONS_CAPACITY = 64


def build_mirror_table():
    """One session that mirrors what a port receives to an uplink and to a collector; the caller frees it."""
    table = vs.alloc_dvmirror_session_table(1, 3)
    table.version = vs.VS_DVMIRROR_VERSION_V4
    session = table[0]
    session.sid, session.dname = "capture", "web traffic"
    session.type = vs.VS_DVMIRROR_SESSIONTYPE_MIXDST
    session.numDstEntities, session.numSrcInEntities = 2, 1
    entity = table.get_first_session_entity(0)
    for kind, value in (
        (vs.MIRROR_ENTTYPE_UPLINK, "nic1"),
        (vs.MIRROR_ENTTYPE_IP, "2001:db8::9"),
        (vs.MIRROR_ENTTYPE_DVPORT, "100"),
    ):
        entity.type = kind
        entity.set_entity(value)
        entity = entity.__next__()
    return table


def show_mirror_table(table) -> None:
    print(f"mirror table: {table.numSessions} sessions, {table.numEntities} entities")
    for index in range(table.numSessions):
        session = table[index]
        print(f"  session {session.sid} ({session.dname})")
        entity = table.get_first_session_entity(session.startIdx)
        for role, count in (
            ("to", session.numDstEntities),
            ("received by", session.numSrcInEntities),
            ("sent by", session.numSrcOutEntities),
        ):
            for _ in range(count):
                print(f"    {role} {entity.get_entity()}")
                entity = entity.__next__()


def show_lag_table(table) -> None:
    print(f"LAG table: {table.numLAGs} LAGs")
    lag = table.vs_lag_table_first_lag()
    for _ in range(table.numLAGs):
        state = "up" if lag.state == vs.QEL_LINK_STATE_UP else "down"
        members = []
        for index in range(lag.numUplinks):
            link = "up" if lag.uplinkLinkupBitmap >> index & 1 else "down"
            members.append(f"{lag.get_uplink_name(index)} {link}")
        print(f"  {lag.get_name()} is {state}: {', '.join(members) or 'no uplinks'}")
        lag = lag.vs_lag_table_next_lag()


def build_options():
    """A buffer of runtime options: numbers and a text."""
    options = vs.VSRuntimeOptions(OPTIONS_CAPACITY)
    options.set_options_length(OPTIONS_CAPACITY - 4)
    position = options.get_first_option()
    used = 0
    for name, value in (("IGMPQueryInterval", 125), ("MaxRARPsPerInterval", 128)):
        kind = vs.get_runtime_option_type_from_name(name)
        position = options.add_int_option(position, name, kind, value)
        used += 8
    address = "192.0.2.1"
    kind = vs.get_runtime_option_type_from_name("IGMPRouterIP")
    options.add_str_option(position, "IGMPRouterIP", kind, address)
    used += 4 + len(address) + 1
    options.set_options_length(used)
    return options


def show_options(options) -> None:
    print(f"runtime options: {options.totalLength} bytes")
    option = options.get_first_option() if options.totalLength > 4 else None
    while option is not None:
        value = option.get_option_value()
        print(f"  {option.get_option_name()} = {value.decode() if isinstance(value, bytes) else value}")
        option = options.get_next_option(option)


def show_filters(filters, kind: str) -> None:
    read = {"mac": filters.get_mac_entry, "ipv4": filters.get_ip_entry, "ipv6": filters.get_ipv6_entry}[kind]
    print(f"multicast filters ({kind}): {filters.numEntries} of {filters.totalEntries}")
    for index in range(filters.numEntries):
        text = read(index)
        scope = "" if kind == "mac" else f" ({'link-local' if ipaddress.ip_address(text).is_link_local else 'routed'})"
        print(f"  {text}{scope}")


def ask(what: str, result: list):
    """The record that the host returned, or None with a line that says why there is none."""
    status, record = result
    if status != vs.QEL_OK:
        print(f"{what}: the host answers {vs.QEL_ReturnStatusToString(status)}")
        return None
    return record


def main(switch: str, port: int) -> int:
    table = build_mirror_table()
    show_mirror_table(table)
    vs.free_dvmirror_session_table(table)
    show_options(build_options())
    if lags := ask("LAG table", vs.VSQEL_GetLAGTable(switch)):
        show_lag_table(lags)
        vs.VSQEL_FreeMemory(lags)
    for kind, mode in (("mac", vs.VS_MCAST_FILTER_MODE_LEGACY), ("ipv6", vs.VS_MCAST_FILTER_MODE_MLD)):
        if filters := ask(f"multicast filters ({kind})", vs.VSQEL_GetMcastFilters(switch, port, mode)):
            show_filters(filters, kind)
            vs.VSQEL_FreeMemory(filters)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1] if len(sys.argv) > 1 else "workload", int(sys.argv[2]) if len(sys.argv) > 2 else 1))
