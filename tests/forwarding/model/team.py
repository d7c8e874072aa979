"""The team: which uplink carries a frame, and which uplinks a port receives from."""

from dataclasses import dataclass, replace

from .configuration import Lag, Nic, Port, TeamPolicy
from .frame import TCP, UDP, Frame, IpHeader, ip_header
from .reasons import Refused
from .state import View

BY_SPEED = {"link_speed", "link_speed_gte", "link_duplex"}


@dataclass(frozen=True)
class Team:
    """What teaming has for a port. A tied port has no policy, and its `fit` is its uplink."""

    policy: TeamPolicy | None
    fit: tuple[Port, ...]

    @property
    def tied(self) -> bool:
        return self.policy is None

    def has(self, flag: str) -> bool:
        return self.policy is not None and flag in self.policy.flags


def uplink_link(view: View, uplink: Port) -> bool:
    nic = view.host.nic(uplink.nic)
    return nic is not None and nic.link


def is_blocked(port: Port) -> bool:
    return port.block or port.not_ready_block or port.rtm_block


def lag_of(view: View, uplink: Port) -> Lag | None:
    return next((lag for lag in view.switch.lags if uplink.uplink in lag.members), None)


def lacp_up(view: View, uplink: Port) -> bool:
    """L-6: of a member of a LAG."""
    lag = lag_of(view, uplink)
    return lag is not None and uplink.uplink in lag.up and uplink_link(view, uplink)


def team_of(view: View, port: Port | None) -> Team:
    """For a port, or (None) for the switch itself: docs/host.md, "Team", with T-12, T-15, T-17 and the beacons."""
    if port is not None and port.tied_to is not None:
        uplink = view.switch.uplink(port.tied_to)
        if uplink is not None:
            return Team(None, (uplink,))
    policy = _policy_for(view, port)
    fit = _fit(view, policy, overlook=False)
    if not fit and "best_effort" in policy.flags:
        fit = _fit(view, policy, overlook=True)
    if view.host.options.TeamingNUMAAware and port is not None and port.client is not None:
        near = [uplink for uplink in fit if _numa_node(view, uplink) == port.client.numa_node]
        fit = near or fit
    return Team(policy, tuple(fit))


def _policy_for(view: View, port: Port | None) -> TeamPolicy:
    if port is not None:
        for policy in view.switch.logical_teams:
            if policy.name == port.logical_team:
                return replace(policy, criteria=tuple(c for c in policy.criteria if c not in BY_SPEED | {"link_err"}))
        if port.team is not None:
            return port.team
    return view.switch.policy


def _numa_node(view: View, uplink: Port) -> int | None:
    nic = view.host.nic(uplink.nic)
    return nic.numa_node if nic else None


def _ordered(view: View, policy: TeamPolicy, names: tuple[str, ...]) -> list[Port]:
    """Step 1: the uplinks of the switch among these names, in the order of teaming."""
    uplinks = [uplink for uplink in map(view.switch.uplink, names) if uplink is not None]
    if "reverse" in policy.flags:
        uplinks.reverse()
    if "rolling" in policy.flags:
        def returned(uplink: Port) -> int:
            nic = view.host.nic(uplink.nic)
            return nic.returned if nic else 0
        uplinks.sort(key=returned)
    return uplinks


def _fit(view: View, policy: TeamPolicy, overlook: bool) -> list[Port]:
    criteria: set[str] = {name for name in policy.criteria if not (overlook and name in BY_SPEED)}
    if "lacp_client" in policy.flags:
        criteria.add("lacp_port_down")  # T-15
    active = _ordered(view, policy, policy.active)
    standby = _ordered(view, policy, policy.standby)
    fit = [uplink for uplink in active if not _failed(view, policy, criteria, uplink)]
    reserve = [uplink for uplink in standby if not _failed(view, policy, criteria, uplink)]
    if "all_available" in policy.flags:
        return fit + reserve  # T-12
    return fit + reserve[:max(len(active), 1) - len(fit)]


def _failed(view: View, policy: TeamPolicy, criteria: set[str], uplink: Port) -> bool:
    nic = view.host.nic(uplink.nic)
    lag = lag_of(view, uplink)
    return (
        ("link_state" in criteria and not _link_fit(view, nic))
        or ("drv_present" in criteria and nic is None)
        or ("lacp_port_down" in criteria and lag is not None and not lacp_up(view, uplink))
        or ("port_blocked" in criteria and is_blocked(uplink))
        or ("link_speed" in criteria and (nic is None or nic.speed != policy.speed))
        or ("link_speed_gte" in criteria and (nic is None or nic.speed < policy.speed))
        or ("link_duplex" in criteria and (nic is None or (nic.duplex == "full") != policy.full_duplex))
        or ("beacon_state" in criteria and uplink.uplink in view.switch.beacons_failed)  # BC-4
        or ("link_err" in criteria and nic is not None and nic.errors >= policy.percent_error > 0)  # T-17
    )


def _link_fit(view: View, nic: Nic | None) -> bool:
    """T-5: out at once, fit again after TeamPolicyUpDelay."""
    if nic is None or not nic.link:
        return False
    return nic.up_since is None or view.now >= nic.up_since + view.host.options.TeamPolicyUpDelay * 1000


# ---- the choice -----------------------------------------------------------------------------------------------------


def choose(view: View, team: Team, number: int, address: bytes | None, frame: Frame | None,
           moved_to: str | None = None) -> Port | None:
    """T-1: `fit[i mod n]`, for a port of this number whose client has this address; without a frame for hints and
    T-20. None: no uplink."""
    if not team.fit or team.policy is None:
        return team.fit[0] if team.fit else None
    balance = team.policy.balance
    if balance == "none":
        active = _ordered(view, team.policy, team.policy.active)
        return active[0] if active and active[0] in team.fit else None
    if balance == "explicit":
        return team.fit[0]
    if balance == "lbt" and moved_to is not None:
        for uplink in team.fit:
            if uplink.uplink == moved_to:
                return uplink  # T-7 has moved the port
    index = number
    if balance == "srcmac":
        index = frame.source[5] if frame else address[5] if address else 0
    elif balance == "ip" and frame is not None:
        index = ip_index(frame)
    return team.fit[index % len(team.fit)]


def ip_index(frame: Frame) -> int:
    """T-2."""
    header = ip_header(frame)
    if header is None:
        return frame.source[5] ^ frame.destination[5]
    return folded(ip_words(header)) & 0xFF


def ip_words(header: IpHeader) -> int:
    words = 0
    for at in range(0, len(header.source), 4):
        words ^= int.from_bytes(header.source[at:at + 4], "big") ^ int.from_bytes(header.destination[at:at + 4], "big")
    return words


def folded(number: int) -> int:
    number ^= number >> 16
    return number ^ number >> 8


def lag_index(lag: Lag, frame: Frame, vlan: int) -> int:
    """T-3: the values of `hash`."""
    source, destination = frame.source, frame.destination
    if lag.hash == "vlan+srcmac":
        return vlan ^ int.from_bytes(source[:3], "big") ^ int.from_bytes(source[3:], "big")
    layer2 = source[5] ^ destination[5] ^ frame.inner_type
    header = ip_header(frame)
    if header is None or lag.hash == "l2":
        return layer2
    if lag.hash == "l2+3":
        return folded(layer2 ^ ip_words(header))
    ports = header.ports if header.protocol in (TCP, UDP) and not header.fragmented else None
    both = ports[0] << 16 | ports[1] if ports else 0
    return folded(both ^ ip_words(header)) >> 1


def carrier(view: View, team: Team, uplink: Port, frame: Frame, vlan: int) -> Port:
    """T-3: the member of a LAG that carries the frame in place of the uplink. Raises Refused."""
    lag = lag_of(view, uplink)
    if lag is None or team.tied:
        return uplink
    members = [member for member in map(view.switch.uplink, lag.members) if member is not None]
    up = [member for member in members if lacp_up(view, member)]
    if not up:
        raise Refused("no-uplink", "T-3")
    return up[lag_index(lag, frame, vlan) % len(up)]


def with_lags(view: View, uplinks: list[Port]) -> set[int]:
    """Numbers of these uplinks and of all members of their LAGs."""
    numbers = {uplink.number for uplink in uplinks}
    for lag in view.switch.lags:
        members = {port.number for port in view.switch.uplinks if port.uplink in lag.members}
        if members & numbers:
            numbers |= members
    return numbers


def receives_from(view: View, port: Port) -> set[int]:
    """T-20: RX of a client port."""
    team = team_of(view, port)
    undecided = view.switch.beacons_undecided
    if team.policy is not None and (team.policy.balance == "ip" or undecided):
        return with_lags(view, list(team.fit))
    address = port.client.effective_mac if port.client else None
    uplink = choose(view, team, port.number, address, None, port.moved_to)
    return with_lags(view, [uplink] if uplink else [])
