"""The MAC table: learning, limits, aging, look-up."""

from dataclasses import dataclass

from .configuration import Port
from .ports import address, table_address
from .reasons import Refused
from .state import Learned, MacEntry, View
from .vlan import InVlan, database_vlan, is_member, policy_of

TEAM_LIMIT = 16384


def forget_old(view: View) -> None:
    """MAC-3: an entry is gone at `seen + agingTime`."""
    aging = view.switch.mac_settings.aging_time
    if aging:
        for key, entry in list(view.state.learned.items()):
            if entry.aging and view.now >= (entry.seen + aging) * 1_000_000:
                del view.state.learned[key]


def learns(view: View, port: Port, vlan: int) -> bool:
    """MAC-2."""
    if port.is_uplink:
        if not any(other.mac_management and other.mac_management.learning for other in view.switch.client_ports):
            return False
    elif port.mac_management is None or not port.mac_management.learning:
        return False
    return not any(  # M-6
        session.runs and session.type == "rmirror_dst"
        and any(entity.kind == "vlan" and int(entity.value) == vlan
                for entity in session.sources_in + session.sources_out)
        for session in view.switch.mirror_sessions
    )


def never_learned(view: View, mac: bytes, vlan: int) -> bool:
    """MAC-2: a static address, while static addresses are allowed and not to be learned. The effective address is
    meant, in violation too."""
    settings = view.switch.mac_settings
    if not settings.static_allowed or settings.learn_static:
        return False
    if any(address(port) == mac for port in view.switch.client_ports):
        return True
    return _by_hand(view, mac, vlan) is not None


def learn(view: View, ingress: Port, way: InVlan) -> None:
    """Step 8. Raises Refused for a frame that a limit drops."""
    mac, vlan = way.frame.source, database_vlan(view.switch, way.vlan)  # MAC-1, PV-2
    if not learns(view, ingress, way.vlan) or never_learned(view, mac, way.vlan):
        return
    second = view.now // 1_000_000
    entry = view.state.learned.get((mac, vlan))
    if entry is not None and entry.port == ingress.number:
        entry.seen = second  # MAC-3
        return
    if _at_limit(view, ingress, entry):
        _count_at_limit(view, ingress, entry)
        return
    if entry is None:
        view.state.learned[mac, vlan] = Learned(ingress.number, second)
        return
    former = view.switch.port(entry.port)
    entry.port, entry.seen = ingress.number, second  # MAC-7
    if not _same_lag(view, former, ingress):
        entry.moves += 1
        view.state.of_port(ingress.number)["numMACsMoved"] += 1


def _same_lag(view: View, one: Port, other: Port) -> bool:
    return any(one.uplink in lag.members and other.uplink in lag.members for lag in view.switch.lags)


def _at_own_limit(view: View, ingress: Port) -> bool:
    """The port's own limit, which entries by hand count toward; an uplink has one where it has a policy."""
    if ingress.mac_management is None:
        return False
    here = sum(entry.port == ingress.number for entry in view.state.learned.values())
    by_hand = len(ingress.user_macs) if view.switch.mac_settings.static_allowed else 0
    return here + by_hand >= ingress.mac_management.limit


def _at_limit(view: View, ingress: Port, entry: Learned | None) -> bool:
    """MAC-9: for an address that is new at the ingress port; `entry` if it is learned elsewhere."""
    if _at_own_limit(view, ingress):
        return True

    def same_side(found: Learned) -> bool:
        return view.switch.port(found.port).is_uplink == ingress.is_uplink

    if entry is not None and same_side(entry):
        return False  # not new on this side
    limit = TEAM_LIMIT if ingress.is_uplink else view.switch.mac_settings.limit
    return sum(map(same_side, view.state.learned.values())) >= limit


def _count_at_limit(view: View, ingress: Port, entry: Learned | None) -> None:
    counters = view.state.of_port(ingress.number)
    if ingress.mac_management is not None and ingress.mac_management.at_limit == "drop":
        counters["noLearningDroppedPkts"] += 1
        raise Refused("mac-limit", "MAC-9")
    counters["noLearningAllowedPkts"] += 1
    if ingress.is_uplink and _at_own_limit(view, ingress):
        view.state.team_allowed_at_port_limit += 1


# ---- look-up --------------------------------------------------------------------------------------------------------


@dataclass(frozen=True)
class Found:
    port: Port
    type: str


def _by_hand(view: View, mac: bytes, vlan: int) -> Port | None:
    """PV-2: of several the lowest port number."""
    wanted = database_vlan(view.switch, vlan)
    for port in view.switch.ports:
        for entry in port.user_macs:
            if entry.mac == mac and entry.vni == 0 and database_vlan(view.switch, entry.vlan) == wanted:
                return port
    return None


def _of_client(view: View, mac: bytes, vlan: int) -> Port | None:
    """MAC-20: in every VLAN of which the port is a member, at a private port in every VLAN of its primary one."""
    for port in view.switch.client_ports:
        if table_address(port) != mac:
            continue
        if policy_of(port).mode == "private":
            own = policy_of(port).vlan
            known = any(own == entry.secondary for entry in view.switch.private_vlans)
            if known and database_vlan(view.switch, own) == database_vlan(view.switch, vlan):
                return port
        elif is_member(view.switch, port, vlan):
            return port
    return None


def _learned(view: View, mac: bytes, vlan: int) -> Port | None:
    entry = view.state.learned.get((mac, database_vlan(view.switch, vlan)))
    return view.switch.port(entry.port) if entry else None


def look_up(view: View, mac: bytes, vlan: int) -> Found | None:
    """MAC-20."""
    settings = view.switch.mac_settings
    order = [("user", _by_hand), ("static", _of_client)] if settings.static_allowed else []
    order.insert(0 if settings.learn_static else len(order), ("learned", _learned))
    for kind, search in order:
        port = search(view, mac, vlan)
        if port is not None:
            return Found(port, kind)
    return None


def is_static_at_client_port(view: View, mac: bytes, vlan: int) -> bool:
    """T-4: by hand or a client's at a client port. With static addresses off, these do not reflect."""
    if not view.switch.mac_settings.static_allowed:
        return False
    wanted = database_vlan(view.switch, vlan)
    by_hand = any(
        entry.mac == mac and entry.vni == 0 and database_vlan(view.switch, entry.vlan) == wanted
        for port in view.switch.client_ports for entry in port.user_macs
    )
    return by_hand or _of_client(view, mac, vlan) is not None


def learned_at_client_port(view: View, mac: bytes, vlan: int) -> Port | None:
    port = _learned(view, mac, vlan)
    return port if port is not None and port.is_client_port else None


# ---- the tables as calls show them ----------------------------------------------------------------------------------


def tables(view: View) -> list[MacEntry]:
    """The switch's table, then the team's; each by type, address, VLAN."""
    rows: list[tuple[bool, int, bytes, int, int, str, int, int]] = []
    types = ("static", "user", "learned")
    if view.switch.mac_settings.static_allowed:
        for port in view.switch.client_ports:
            mac = table_address(port)
            if mac is not None:
                policy = policy_of(port)
                rows.append((False, 0, mac, 0 if policy.mode == "trunk" else policy.vlan, port.number,
                             port.dvport_id, 0, 0))
        for port in view.switch.ports:
            for hand in port.user_macs:
                rows.append((port.is_uplink, 1, hand.mac, hand.vlan, port.number, port.dvport_id,
                             max(0, view.now - hand.since) // 1_000_000, 0))
    for (mac, vlan), entry in view.state.learned.items():
        port = view.switch.port(entry.port)
        rows.append((port.is_uplink, 2, mac, vlan, port.number, port.dvport_id,
                     max(0, view.now // 1_000_000 - entry.seen), entry.moves))
    return [MacEntry(mac.hex(":"), vlan, types[kind], dvport_id, elapsed, moves, team)
            for team, kind, mac, vlan, _, dvport_id, elapsed, moves in sorted(rows)]
