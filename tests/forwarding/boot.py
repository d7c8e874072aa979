"""The boot description of a simulated host that is configured as a document of the model says.

Ports get the numbers of the document if these count the ports up from 1: switch by switch, first the uplink ports.
What a description cannot ask for is refused (ValueError): zombies, blocks of save and restore, links that were down
meanwhile, ports that load has moved, beacons that were heard.
"""

import functools
import ipaddress
import pathlib
import re
import struct
from typing import Any

from model import Model, to_json
from model.configuration import (
    ExtraFilter, FilterRule, Host, Lag, MirrorSession, Port, Security, Switch, TeamPolicy, VlanPolicy,
)

Document = dict[str, Any]

CONSTANTS = pathlib.Path(__file__).parents[2] / "constants"
BALANCE = {"none": "NONE", "ip": "LB_IP", "srcmac": "LB_SRCMAC", "srcid": "LB_SRCID", "explicit": "FO_EXPLICIT",
           "lbt": "LB_LBT"}
ENTITIES = {"dvport": "DVPORT", "uplink": "UPLINK", "vlan": "VLAN", "ip": "IP", "port": "PORT", "mac": "MAC"}
PRIVATE = {"promiscuous": "PROMISC", "isolated": "ISOLATED", "community": "COMMUNITY"}


@functools.cache
def constants() -> dict[str, int | str]:
    """The named constants of the interface."""
    found: dict[str, int | str] = {}
    for path in CONSTANTS.glob("*.def"):
        for kind, name, value in re.findall(r"^(INTEGER|TEXT)\((\w+), (.*)\)$", path.read_text(), re.MULTILINE):
            found[name] = int(value, 0) if kind == "INTEGER" else value.strip('"')
    return found


def number(name: str) -> int:
    return int(constants()[name])


def bits(prefix: str, names: "tuple[str, ...]") -> int:
    return sum(number(prefix + name.upper()) for name in names)


def description(document: Document, now: int) -> Document:
    """Of a host whose clock stands at `now`, microseconds since the epoch."""
    host = Model.from_json(document).host
    _check(host)
    return {
        "format": 1,
        "stopped_clock": now,
        "runtime_options": to_json(host.options),
        "stacks": {name: {field: value for field, value in stack.items() if value is not None}
                   for name, stack in to_json(host.stacks).items()},
        "physical_nics": [
            {"name": nic.name, "mac": nic.mac.hex(":"), "speed": nic.speed, "duplex": nic.duplex,
             "link": "up" if nic.carrier else "down", "numa_node": nic.numa_node, "errors": nic.errors}
            for nic in host.nics],
        "switches": [_switch(switch, now) for switch in host.switches],
    }


def _check(host: Host) -> None:
    for nic in host.nics:
        if not nic.admin_up or nic.up_since is not None or nic.returned or nic.numa_node is None:
            raise ValueError(f"{nic.name}: a boot puts all links up")
    for switch in host.switches:
        if switch.beacons_undecided or switch.beacons_failed:
            raise ValueError(f"{switch.alias}: no beacons were heard before a boot")
        for port in switch.ports:
            if port.zombie or port.rtm_block or port.moved_to is not None or any(e.moves for e in port.learned):
                raise ValueError(f"{port.dvport_id}: a boot ends this")


def _switch(switch: Switch, now: int) -> Document:
    settings = switch.mac_settings
    properties = {
        "VSPROP_MULTICAST_FILTER": struct.pack("<I", number(f"VS_MCAST_FILTER_MODE_{switch.multicast_mode.upper()}")),
        "VSPROP_SWITCH_MAC_LEARNING": struct.pack("<II", settings.aging_time, settings.limit),
        "VSPROP_SWITCH_MAC_LEARN_STATIC": bytes((settings.learn_static,)),
        "VSPROP_SWITCH_STATIC_MAC_ALLOW": bytes((settings.static_allowed,)),
        "VSPROP_SWITCH_FORWARDING_DISABLED": bytes((switch.forwarding_disabled,)),
    }
    if switch.user_multicast:
        properties["VSPROP_USER_MCAST_ADDRESSES"] = _keys(switch.user_multicast)
    if switch.private_vlans:
        properties["VSPROP_PVLAN_MAP"] = b"".join(
            struct.pack("<HHB3x", entry.primary, entry.secondary, number(f"VSPORT_PVLAN_TYPE_{PRIVATE[entry.type]}"))
            for entry in switch.private_vlans)
    if switch.team is not None:
        properties["VSPROP_SWITCH_TEAMING"] = _team(switch.team)
    if switch.logical_teams:
        properties["VSPROP_LS_TEAMING_POLICY"] = struct.pack("<I", len(switch.logical_teams)) + b"".join(
            _text(team.name or "", 136) + struct.pack("<IIIII", *_heads(team)) + _names(team)
            for team in switch.logical_teams)
    if switch.mirror_sessions:
        properties["VSPROP_SWITCH_UPLINK_MIRROR_SESSIONS"] = MirrorTable(switch.mirror_sessions).packed()
    host_properties = {}
    if switch.proxy_state:
        host_properties["QEL_HNQPROP_HOST_PROXY_STATE"] = struct.pack("<I", switch.proxy_state)
    return {
        "alias": switch.alias, "switch_id": switch.switch_id, "mtu": switch.mtu, "portset": switch.portset is not None,
        "global_properties": _listed(properties), "host_properties": _listed(host_properties),
        "lags": [_lag(lag) for lag in switch.lags],
        "uplinks": [{"name": port.uplink, "nic": port.nic, **_port(port, now)} for port in switch.uplinks],
        "ports": [_port(port, now) for port in switch.ports if not port.is_uplink],
    }


def _lag(lag: Lag) -> Document:
    return {"name": lag.name, "hash": lag.hash,
            "members": [{"uplink": name, "lacp": "up" if name in lag.up else "down"} for name in lag.members]}


def _port(port: Port, now: int) -> Document:
    made: Document = {"dvport_id": port.dvport_id, "properties": _listed(_port_properties(port))}
    if port.user_macs:
        made["user_macs"] = [{"mac": entry.mac.hex(":"), "vlan": entry.vlan, "vni": entry.vni,
                              "age": (now - entry.since) // 1_000_000} for entry in port.user_macs]
    if port.learned:
        made["learned"] = [{"mac": entry.mac.hex(":"), "vlan": entry.vlan, "aging": entry.aging,
                            "age": now // 1_000_000 - entry.seen} for entry in port.learned]
    client = port.client
    if client is not None:
        made["client"] = {"name": client.name, "type": client.type, "numa_node": client.numa_node,
                          "router": client.router, "promiscuous": client.promiscuous,
                          "link": "up" if client.link else "down"}
        for name, address in (("mac", client.mac), ("effective_mac", client.effective_mac)):
            if address is not None:
                made["client"][name] = address.hex(":")
        if client.multicast_macs:
            made["client"]["multicast_macs"] = [address.hex(":") for address in client.multicast_macs]
        if client.groups:
            made["multicast_groups"] = [
                {"address": str(group.address), **({"sources": [str(source) for source in group.sources],
                                                    "mode": group.mode} if group.sources else {})}
                for group in client.groups]
    return made


def _listed(properties: dict[str, bytes]) -> list[Document]:
    return [{"name": constants()[name], "value": value.hex()} for name, value in properties.items()]


def _port_properties(port: Port) -> dict[str, bytes]:
    made: dict[str, bytes] = {}
    if port.vlan is not None:
        made["VSPROP_PORT_VLAN"] = _vlan(port.vlan)
    if port.mac_management is not None:
        policy = port.mac_management
        made["VSPROP_PORT_MAC_MANAGEMENT"] = struct.pack(
            "<BBBII", policy.change_allowed, policy.learning, policy.flooding, policy.limit,
            number(f"VSPORT_MAC_LEARNING_LIMIT_POLICY_{policy.at_limit.upper()}"))
    if port.nested_tag is not None:
        made["VSPROP_PORT_VLAN_NESTEDTAG"] = bytes((port.nested_tag,))
    if port.priority:
        made["VSPROP_PORT_PRIORITY"] = struct.pack("<I", port.priority)
    for name, on in (("VSPROP_PORT_PRIORITY_RETAIN", port.retain_priority),
                     ("VSPROP_PORT_TX_UPLINK", port.tx_uplink),
                     ("VSPROP_PORT_USER_MCAST_ADDRESSES_OVERRIDE", port.user_multicast_override),
                     ("QEL_HNQPROP_PORT_BLOCK", port.block),
                     ("QEL_HNQPORT_FORWARD_NOT_READY_BLOCK", port.not_ready_block)):
        if on:
            made[name] = b"\1"
    if port.security != Security():
        made["VSPROP_PORT_SECURITY"] = struct.pack("<I", bits("VSPORT_SECURITY_", tuple(
            name for name, on in to_json(port.security).items() if on)))
    if port.extra_filter != ExtraFilter():
        addresses = port.extra_filter.addresses
        made["VSPROP_PORT_EXTRA_ETH_FRP"] = struct.pack(
            "<IH192s2x", bits("QEL_ETH_FILTER_", port.extra_filter.flags), len(addresses), b"".join(addresses))
    if port.user_multicast:
        made["VSPROP_PORT_USER_MCAST_ADDRESSES"] = _keys(port.user_multicast)
    if port.team is not None:
        made["VSPROP_PORT_TEAMING_POLICY"] = _team(port.team)
    if port.logical_team is not None:
        made["VSPROP_PORT_LS_TEAMING_POLICY"] = port.logical_team.encode()
    if port.tied_to is not None:
        made["VSPROP_PORT_TEAMING_OVERRIDE"] = port.tied_to.encode()
    return made


def _vlan(policy: VlanPolicy) -> bytes:
    names = {"access": (), "trunk": ("GUEST_TAGGING",), "private": ("PVLAN_ENABLED",)}[policy.mode]
    flags = bits("VSPORT_VLAN_", names) | (number("VSPORT_VLAN_SET_PRIORITY") if policy.set_priority else 0)
    ranges = b"".join(struct.pack("<HH", first, last) for first, last in policy.ranges)
    return struct.pack("<HHHH", flags, policy.vlan, 0, len(policy.ranges)) + ranges


def _keys(addresses: "tuple[bytes, ...]") -> bytes:
    return bytes((len(addresses),)) + b"".join(addresses)


def _text(text: str, size: int) -> bytes:
    return text.encode().ljust(size, b"\0")


def _heads(team: TeamPolicy) -> tuple[int, int, int, int, int]:
    return (number(f"TEAM_FRP_TYPE_{BALANCE[team.balance]}"), bits("TEAM_FRP_CRIT_", team.criteria),
            bits("TEAM_FRP_FLAG_", team.flags), len(team.active), len(team.standby))


def _names(team: TeamPolicy) -> bytes:
    return b"".join(_text(name, 81) for name in team.active + team.standby).ljust(32 * 81, b"\0")


def _team(team: TeamPolicy) -> bytes:
    balance, criteria, flags, active, standby = _heads(team)
    return struct.pack("<IIBBHIII", balance, criteria, team.percent_error, team.full_duplex, team.speed, flags, active,
                       standby) + _names(team)


# ---- mirror sessions ------------------------------------------------------------------------------------------------


def _address(text: str) -> tuple[bool, bytes]:
    address = ipaddress.ip_address(text)
    return address.version == 6, address.packed.ljust(16, b"\0")


class MirrorTable:
    """A DVMirrorSessionTable, each session with runs of its own."""

    def __init__(self, sessions: "tuple[MirrorSession, ...]") -> None:
        self.entities: list[bytes] = []
        self.rules: list[bytes] = []
        self.prefixes: list[bytes] = []
        self.sessions = [self.session(session) for session in sessions]

    def packed(self) -> bytes:
        head = struct.pack("<iIIIHH", number("VS_DVMIRROR_MAGIC_NUM"), number("VS_DVMIRROR_VERSION_V4"),
                           len(self.sessions), len(self.entities), len(self.rules), len(self.prefixes))
        return head + b"".join(self.sessions + self.entities + self.rules + self.prefixes)

    def session(self, session: MirrorSession) -> bytes:
        first, first_rule = len(self.entities), len(self.rules)
        for entity in session.destinations + session.sources_in + session.sources_out:
            self.entities.append(self.entity(entity.kind, entity.value))
        self.rules += [self.rule(rule) for rule in session.rules]
        chosen = {"DST_NO_OUTPUT": session.no_output, "DST_NO_INPUT": session.no_input,
                  "DST_ORIG_VLAN": session.original_vlan, "DST_ENCAP": session.encapsulate,
                  "DISABLED": not session.enabled, "SRC_UPLINK_MIRROR": session.all_uplinks}
        flags = bits("VS_DVMIRROR_FLAG_", tuple(name for name, on in chosen.items() if on))
        return struct.pack(
            "<32s81s3xIIIHHHHIIIBIHBBHH55xIIII", session.session_id.encode(), b"",
            number(f"VS_DVMIRROR_SESSIONTYPE_{session.type.upper()}"), session.snap_length, flags, session.encap_vlan,
            bits("VS_DVMIRROR_WILDCARD_", session.wild_in), bits("VS_DVMIRROR_WILDCARD_", session.wild_out), 0,
            session.sampling_rate, session.gre_key, number(f"MIRROR_UPLINK_FILTER_{session.uplink_filter.upper()}"),
            session.stack, number(f"DVMIRROR_ENCAP_{session.encapsulation.upper()}"), session.erspan_id,
            session.erspan_cos, session.erspan_gra, len(session.rules), first_rule, len(session.destinations),
            len(session.sources_in), len(session.sources_out), first)

    def entity(self, kind: str, value: str) -> bytes:
        if kind in ("dvport", "uplink"):
            data = value.encode()
        elif kind == "vlan":
            data = struct.pack("<H", int(value))
        elif kind == "port":
            data = struct.pack("<I", int(value))
        elif kind == "mac":
            data = bytes.fromhex(value.replace(":", ""))
        else:
            data = struct.pack("<B3x16s", *_address(value))
        return struct.pack("<I48s", number(f"MIRROR_ENTTYPE_{ENTITIES[kind]}"), data)

    def rule(self, rule: FilterRule) -> bytes:
        first = len(self.prefixes)
        for prefix in rule.sources + rule.destinations:
            address, length = prefix.split("/")
            version_6, data = _address(address)
            self.prefixes.append(struct.pack("<BB2x16s", version_6, int(length), data))
        has = (rule.protocol is not None) | (rule.source_ports is not None) << 1 | (
            rule.destination_ports is not None) << 2
        return struct.pack("<HHHHBHHHHI", first, len(rule.sources), len(rule.destinations), rule.protocol or 0, has,
                           *(rule.source_ports or (0, 0)), *(rule.destination_ports or (0, 0)),
                           number("ACTION_MIRROR" if rule.mirror else "ACTION_DONT_MIRROR"))
