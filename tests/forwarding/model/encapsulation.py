"""Copies that go to an address: GRE, ERSPAN type II and III, and the way they leave by the team (E-0 to E-5)."""

import ipaddress
from dataclasses import dataclass

from .configuration import MirrorSession, Port, Stack
from .frame import Tag, checksum, parse, payload_length
from .reasons import Refused
from .state import View
from .team import carrier, choose, is_blocked, team_of, uplink_link
from .vlan import is_member

GRE = 47


@dataclass(frozen=True)
class Selected:
    """Of the frame that is copied: number of the port where it was selected, direction, VLAN, whether it was cut."""

    port: int
    out: bool
    vlan: int
    cut: bool


def encapsulate(view: View, session: MirrorSession, address: str, frame: bytes, selected: Selected
                ) -> tuple[bytes, Port]:
    """The outer frame and the uplink that carries it. Raises Refused for a copy that fails."""
    stacks = view.host.stacks
    stack = stacks.mirror if session.stack else stacks.default
    sequence = view.state.of_mirror(session.session_id).sequence
    number = sequence[address]
    inner = _header(view, session, number, selected) + frame
    outer = _ethernet(view, stack, address, number, inner)
    uplink = _uplink(view, stack, outer)
    sequence[address] += 1  # E-5: a failed copy takes no number
    return outer, uplink


def _header(view: View, session: MirrorSession, number: int, selected: Selected) -> bytes:
    """GRE and what ERSPAN has behind it (E-1, E-3, E-4)."""
    if session.encapsulation == "gre":
        key = session.gre_key.to_bytes(4, "big") if session.gre_key else b""
        return (b"\x20\0" if key else b"\0\0") + b"\x65\x58" + key
    has_tag = session.original_vlan and selected.vlan != 0
    word = selected.vlan << 16 | session.erspan_cos << 13 | selected.cut << 10 | session.erspan_id
    counted = (number & 0xFFFFFFFF).to_bytes(4, "big")
    if session.encapsulation == "erspan2":
        how = 0 if selected.vlan == 0 else 3 if has_tag else 2
        return (b"\x10\0\x88\xbe" + counted + (1 << 28 | word | how << 11).to_bytes(4, "big")
                + (selected.port & 0xFFFFF).to_bytes(4, "big"))
    last = 1 << 15 | selected.out << 3 | session.erspan_gra << 1
    return (b"\x10\0\x22\xeb" + counted + (2 << 28 | word).to_bytes(4, "big")
            + _time(view.now, session.erspan_gra).to_bytes(4, "big") + last.to_bytes(4, "big"))


def _time(now: int, granularity: int) -> int:
    """E-4: `now` in microseconds."""
    if granularity == 0:
        return now // 100 & 0xFFFFFFFF
    if granularity == 1:
        return now * 10 & 0xFFFFFFFF
    return now % 1_000_000 * 1000 if granularity == 2 else now & 0xFFFFFFFF


def _ethernet(view: View, stack: Stack, address: str, number: int, inner: bytes) -> bytes:
    """E-0."""
    destination = ipaddress.ip_address(address)
    if destination.version == 4:
        head = (bytes((0x45, stack.dscp << 2)) + (20 + len(inner)).to_bytes(2, "big")
                + (number & 0xFFFF).to_bytes(2, "big") + b"\x40\0" + bytes((stack.ttl, GRE)))
        ends = ipaddress.IPv4Address(stack.ipv4).packed + destination.packed
        ip = b"\x08\0" + head + checksum(head + b"\0\0" + ends).to_bytes(2, "big") + ends
    else:
        ip = (b"\x86\xdd" + (6 << 28 | stack.dscp << 22).to_bytes(4, "big") + len(inner).to_bytes(2, "big")
              + bytes((GRE, stack.ttl)) + ipaddress.IPv6Address(stack.ipv6).packed + destination.packed)
    tag = Tag(stack.vlan).bytes() if stack.vlan else b""
    return stack.gateway_mac + (stack.mac or view.switch.own_mac) + tag + ip + inner


def _uplink(view: View, stack: Stack, outer: bytes) -> Port:
    """By the switch's policy, port number 0 and the outer frame (T-1, T-3); refused by what T-9 refuses."""
    if payload_length(outer) > view.switch.mtu:
        raise Refused("failed", "X-1")
    frame = parse(outer)
    assert frame is not None
    team = team_of(view, None)
    chosen = None if team.has("block_output") else choose(view, team, 0, None, frame)
    if chosen is None:
        raise Refused("failed", "E-0")
    uplink = carrier(view, team, chosen, frame, stack.vlan)
    if (view.host.nic(uplink.nic) is None or not uplink_link(view, uplink) or is_blocked(uplink)
            or not is_member(view.switch, uplink, stack.vlan)):
        raise Refused("failed", "T-9")
    return uplink
