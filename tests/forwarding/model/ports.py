"""State of ports: link, blocked, security in force."""

from .configuration import NO_MAC, Port
from .frame import Frame
from .state import View
from .team import is_blocked, team_of, uplink_link


def link_up(view: View, port: Port) -> bool:
    """X-3, T-16."""
    if port.is_uplink:
        return uplink_link(view, port)
    if port.client is None or not port.client.link:
        return False
    team = team_of(view, port)
    return not (team.has("lst") and not team.fit)


def cannot_receive(view: View, port: Port) -> str | None:
    """X-5: why a port that the table names receives nothing."""
    if port.client is None:
        return "no-client"
    if port.zombie:
        return "zombie-port"
    if not link_up(view, port):
        return "link-down"
    return "port-blocked" if is_blocked(port) else None


def address(port: Port) -> bytes | None:
    """The effective address of the client (S-1)."""
    mac = port.client.effective_mac if port.client else None
    return None if mac is None or mac == NO_MAC else mac


def in_violation(port: Port) -> bool:
    """S-1."""
    if port.client is None or port.is_uplink:
        return False
    fixed = port.security.disallow_mac_change or (
        port.mac_management is not None and not port.mac_management.change_allowed)
    return fixed and port.client.effective_mac != port.client.mac


def table_address(port: Port) -> bytes | None:
    """What the look-up has for the client: the effective address, in violation the assigned one (S-3)."""
    if not in_violation(port):
        return address(port)
    assert port.client is not None
    return port.client.mac


def forged(port: Port, frame: Frame) -> bool:
    """S-2: a client without an address can send nothing."""
    return port.is_client_port and port.security.disallow_forged_src and frame.source != address(port)


def promiscuous(port: Port) -> bool:
    """S-4."""
    if not port.is_client_port or port.security.disallow_promisc:
        return False
    return (port.client is not None and port.client.promiscuous) or "promisc" in port.extra_filter.flags


def floods(port: Port) -> bool:
    """MAC-5: gets unknown unicast."""
    return (port.mac_management is not None and port.mac_management.flooding) or "sink" in port.extra_filter.flags


def is_mirror_destination(view: View, port: Port, flag: str) -> bool:
    """M-3: the client port is the destination of a running session that has `no_output` or `no_input`."""
    return any(
        session.runs and getattr(session, flag) and any(
            entity_port(view, entity.kind, entity.value) == port for entity in session.destinations)
        for session in view.switch.mirror_sessions
    )


def entity_port(view: View, kind: str, value: str) -> Port | None:
    """M-1: the port that an entity of a mirror session names by identifier, number or its client's address."""
    for port in view.switch.ports:
        if kind == "dvport" and port.dvport_id == value:
            return port
        if kind == "port" and str(port.number) == value:
            return port
        mac = address(port)
        if kind == "mac" and not port.is_uplink and mac is not None and mac.hex(":") == value:
            return port
    return None


def entity_uplink(view: View, value: str) -> Port | None:
    """M-1: by the name of the uplink port, else of the NIC."""
    uplinks = view.switch.uplinks
    return (next((port for port in uplinks if port.uplink == value), None)
            or next((port for port in uplinks if port.nic == value), None))
