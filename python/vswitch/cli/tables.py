"""The verbs that print tables."""

from __future__ import annotations

from collections.abc import Iterable
from typing import Any

from vswitch import Host, MacTable, PortType
from vswitch.cli.grammar import PORT, SWITCH, argument, option, verb
from vswitch.cli.output import Style, cell, put_table
from vswitch.topology import vlan_text


@verb()
def switch_list(style: Style) -> None:
    """List the switches."""

    def rows() -> Iterable[tuple[object, ...]]:
        for switch in Host().switches.values():
            if switch.connected:
                info = switch.info
                yield (switch.alias, info.id, info.mtu, info.active_ports, info.max_ports, len(switch.uplinks),
                       switch.status)
            else:
                yield switch.alias, switch.id, switch.mtu, None, switch.max_ports, len(switch.uplinks), None

    put_table(style, "ALIAS ID MTU ACTIVE MAX UPLINKS STATUS", rows())


@verb(argument("switch", SWITCH), option("--type", "kind", metavar="TYPE", help="Only ports of this type."))
def port_list(style: Style, switch: str, kind: str | None) -> None:
    """List the ports of SWITCH; without --type neither uplink ports nor removed ones that a client still holds."""
    handle = Host().switches[switch]
    ports = handle.ports.values() if kind is None else handle.ports.by_type(PortType(PortType.from_json(kind)))
    rows = ((port.id, port.number, port.type, port.vlan, port.client, port.link.state) for port in ports)
    put_table(style, "PORT NUMBER TYPE VLAN CLIENT LINK", rows, texts=[None, None, None, vlan_text])


@verb(argument("switch", SWITCH))
def uplink_list(style: Style, switch: str) -> None:
    """List the uplinks of SWITCH; the speed is in Mbit/s."""

    def rows() -> Iterable[tuple[object, ...]]:
        for uplink in Host().switches[switch].uplinks.values():
            nic = uplink.nic
            yield (uplink.name, uplink.port.id, nic and nic.name, uplink.link, uplink.lacp_link,
                   nic and nic.link.speed)

    put_table(style, "UPLINK PORT NIC LINK LACP SPEED", rows())


@verb()
def nic_list(style: Style) -> None:
    """List the physical NICs behind uplinks; the speed is in Mbit/s."""

    def rows() -> Iterable[tuple[object, ...]]:
        for nic in Host().nics.values():
            link = nic.link
            yield nic.name, nic.switch.alias, nic.uplink.name, link.state, link.speed, link.duplex

    put_table(style, "NIC SWITCH UPLINK LINK SPEED DUPLEX", rows())


@verb(argument("switch", SWITCH))
def lag_list(style: Style, switch: str) -> None:
    """List the link aggregation groups of SWITCH."""
    lags = Host().switches[switch].lags.values()
    put_table(style, "LAG STATE MEMBERS", ((lag.name, lag.state, [each.nic for each in lag.members]) for lag in lags))


@verb()
def option_list(style: Style) -> None:
    """List the runtime options of the host."""
    put_table(style, "OPTION VALUE", Host().runtime_options.items())


@verb(
    argument("switch", SWITCH),
    option("--port", type=PORT, help="Only what was learned or set on this port."),
    option("--uplinks", is_flag=True, help="The addresses behind the uplinks."),
    option("--type", "kind", metavar="TYPE", help="Only entries of this type."),
    option("--mac", help="Only this address."),
    option("--vlan", type=int, help="Only entries of this VLAN."),
)
def mac_list(
    style: Style, switch: str, port: str | None, uplinks: bool, kind: str | None, mac: str | None, vlan: int | None
) -> None:
    """List the MAC table of SWITCH; ages are in seconds."""
    from vswitch import MacType

    handle = Host().switches[switch]
    table: MacTable = handle.uplink_mac_table if uplinks else handle.mac_table
    if port is not None:
        table = handle.ports[port].mac_table
    wanted = MacType.ALL if kind is None else MacType.from_json(kind)
    entries = [entry for entry in table.entries(wanted) if vlan is None or entry.vlan == vlan]
    if mac is not None:
        found = set(table.find(mac))
        entries = [entry for entry in entries if entry in found]
    rows = ((each.mac, each.vlan, each.vni, each.type, each.port, each.age, each.moves) for each in entries)
    put_table(style, "MAC VLAN VNI TYPE PORT AGE MOVES", rows)


@verb(argument("switch", SWITCH), argument("port", PORT, required=False))
def stats(style: Style, switch: str, port: str | None) -> None:
    """Print the counters of the ports of SWITCH, or of one PORT. In: from the port's client into the switch."""
    from vswitch.cli.output import put_json

    handle = Host().switches[switch]
    ports = handle.ports.values() if port is None else [handle.ports[port]]
    counted = [(each.id, each.statistics) for each in ports]
    if style.json:
        put_json(style, [{"port": name, **statistics.to_dict()} for name, statistics in counted])
        return
    rows = (
        (name, each.packets_in, each.bytes_in, each.packets_out, each.bytes_out, each.packets_in_dropped,
         each.packets_out_dropped)
        for name, each in counted
    )
    put_table(style, "PORT IN_PACKETS IN_BYTES OUT_PACKETS OUT_BYTES IN_DROPPED OUT_DROPPED", rows)


@verb(argument("switch", SWITCH), option("--port", type=PORT, help="Only the sessions of this port."))
def mirror_list(style: Style, switch: str, port: str | None) -> None:
    """List the mirror sessions of SWITCH and of its ports; the owner of a session is the switch (-) or a port."""
    handle = Host().switches[switch]

    def rows() -> Iterable[tuple[object, ...]]:
        owners: list[tuple[str | None, Any]]
        if port is not None:
            owners = [(port, handle.ports[port].mirrors)]
        else:
            owners = [(None, handle.mirrors), *((each.id, each.mirrors) for each in handle.ports.values())]
        for owner, sessions in owners:
            for session in sessions.values():
                sources = dict.fromkeys([*session.sources_in, *session.sources_out])
                yield (session.id, session.name, session.type, owner, session.enabled,
                       [str(each) for each in session.destinations], [str(each) for each in sources])

    put_table(style, "SESSION NAME TYPE OWNER ENABLED DESTINATIONS SOURCES", rows())


@verb(argument("switch", SWITCH))
def mirror_stats(style: Style, switch: str) -> None:
    """Print the counters of the running mirror sessions of SWITCH."""
    handle = Host().switches[switch]
    rows = ((name, handle.mirrors.statistics(name)) for name in handle.running_mirrors)
    put_table(
        style,
        "SESSION COPIES FAILED MIRRORED DISCARDED",
        ((name, each.copies, each.copies_failed, each.mirrored, each.discarded) for name, each in rows),
    )


@verb(
    argument("switch", SWITCH),
    option("--port", type=PORT, help="Properties of this port."),
    option("--host-scope", is_flag=True, help="Properties of the switch on this host alone."),
    option("--hex", "as_hex", is_flag=True, help="Values in hexadecimal."),
    option("--owner", help="Only values of this owner."),
    option("--volatile", is_flag=True, help="Only volatile values."),
)
def property_list(
    style: Style, switch: str, port: str | None, host_scope: bool, as_hex: bool, owner: str | None, volatile: bool
) -> None:
    """List the properties that were written on SWITCH."""
    from vswitch.cli.change import properties_of

    properties = properties_of(switch, port, host_scope)
    found = [properties.get(key, owner=owner) for key in properties]
    rows = [
        (each.key, len(each.data), each.kinds, each.data.hex() if as_hex else property_text(each))
        for each in found
        if each is not None and (each.volatile or not volatile)
    ]
    put_table(style, "KEY BYTES KINDS VALUE", rows)


def property_text(value: Any) -> str:
    """A property's value as people read it: its text or number, else hexadecimal."""
    typed = value.value
    if isinstance(typed, bytes):
        try:
            text = typed.decode()
        except UnicodeDecodeError:
            return typed.hex()
        return text if text.isprintable() else typed.hex()
    from vswitch.values.kinds import short

    return cell(short(typed))


@verb()
def pending(style: Style) -> None:
    """Print the apply that waits to be confirmed."""
    waiting = Host().pending
    rows = [] if waiting is None else [
        (waiting.id, waiting.to_dict()["deadline"], len(waiting.operations), waiting.guarded)
    ]
    put_table(style, "ID DEADLINE OPERATIONS GUARDED", rows)


@verb(argument("text", required=False, default=""))
def constants(style: Style, text: str) -> None:
    """Print the constants whose name or meaning contains TEXT."""
    import vswitch

    wanted = text.lower()
    rows = (
        (each.name, each.value, each.meaning)
        for each in vswitch.constants().values()
        if wanted in each.name.lower() or wanted in each.meaning.lower()
    )
    put_table(style, "NAME VALUE MEANING", rows)
