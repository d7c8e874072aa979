"""VLANs and private VLANs: the VLAN of a frame, who is a member of it, how a frame leaves a port."""

from dataclasses import dataclass

from .configuration import Port, PrivateVlan, Switch, VlanPolicy
from .frame import Frame, Tag
from .reasons import Refused

ALL_VLANS = VlanPolicy(mode="trunk")


@dataclass(frozen=True)
class InVlan:
    """A frame from step 4 on: in a VLAN, with a priority that goes with it (V-6)."""

    frame: Frame
    vlan: int
    pcp: int
    dei: int


def policy_of(port: Port) -> VlanPolicy:
    if port.vlan is not None:
        return port.vlan
    return ALL_VLANS if port.is_uplink else VlanPolicy()


def nested_allowed(port: Port) -> bool:
    """V-13: an uplink without the property lets nested frames pass."""
    return port.is_uplink if port.nested_tag is None else port.nested_tag


def native_vlan(policy: VlanPolicy) -> int:
    return 0 if policy.vlan == 4095 else policy.vlan  # V-4


def in_ranges(policy: VlanPolicy, vlan: int) -> bool:
    return not policy.ranges or any(first <= vlan <= last for first, last in policy.ranges)  # V-3


def entry_of(switch: Switch, vlan: int) -> PrivateVlan | None:
    return next((entry for entry in switch.private_vlans if entry.secondary == vlan), None)


def database_vlan(switch: Switch, vlan: int) -> int:
    """PV-2: all VLANs of one primary VLAN have one filtering database."""
    entry = entry_of(switch, vlan)
    return entry.primary if entry else vlan


def classify(switch: Switch, port: Port, frame: Frame) -> InVlan:
    """Step 4. Raises Refused."""
    policy = policy_of(port)
    if (policy.mode == "access" and 1 <= policy.vlan <= 4094 and nested_allowed(port)
            and frame.tag is not None and frame.tag.vid >= 1):
        frame = frame.with_tag_as_payload()  # V-13 takes 4095, too
    tag = frame.tag
    vid = tag.vid if tag else 0
    if vid == 4095:
        raise Refused("vlan-reserved", "V-1")
    if policy.mode == "trunk":
        vlan = _in_trunk(policy, vid)
    elif vid:
        raise Refused("vlan-tagged", "V-2")  # V-2; PV-4: a private port sees untagged frames only
    else:
        vlan = policy.vlan
    if frame.nested and not nested_allowed(port):
        raise Refused("nested-tag", "V-13")  # V-14: 88a8 and 9100 at offset 12, too
    if vlan == 0 and frame.inner_type == 0x8100:
        raise Refused("nested-tag", "V-15")
    if policy.mode == "private" and entry_of(switch, vlan) is None:
        raise Refused("private-vlan", "PV-1")
    pcp, dei = (tag.pcp, tag.dei) if tag else (0, 0)
    if policy.set_priority and not (port.retain_priority and tag):
        pcp = port.priority  # V-6
    return InVlan(frame, vlan, pcp, dei)


def _in_trunk(policy: VlanPolicy, vid: int) -> int:
    native = native_vlan(policy)
    if vid:
        if not in_ranges(policy, vid) and vid != native:
            raise Refused("vlan-not-allowed", "V-3")
        return vid
    if native == 0 and not in_ranges(policy, 0):
        raise Refused("vlan-untagged", "V-4")
    return native


def is_member(switch: Switch, port: Port, vlan: int) -> bool:
    """V-5 and PV-1: whether the port may receive a frame of this VLAN."""
    policy = policy_of(port)
    if policy.mode == "access":
        return vlan == policy.vlan
    if policy.mode == "trunk":
        native = native_vlan(policy)
        if vlan == 0:
            return native == 0 and in_ranges(policy, 0)  # the precision of V-5
        return vlan == native or in_ranges(policy, vlan)
    return _private_receives(switch, policy.vlan, vlan)


def _private_receives(switch: Switch, own: int, vlan: int) -> bool:
    """PV-1, PV-4: a private port in VLAN `own`, a frame of VLAN `vlan`."""
    receiver, sent = entry_of(switch, own), entry_of(switch, vlan)
    if receiver is None or sent is None or receiver.primary != sent.primary:
        return False
    if sent.type == "promiscuous" or receiver.type == "promiscuous":
        return True
    return sent.type == "community" and own == vlan


def leave(port: Port, way: InVlan) -> bytes:
    """V-10 to V-12, V-16: the frame as it leaves the port."""
    policy = policy_of(port)
    if policy.mode != "trunk":
        return way.frame.bytes(None)  # V-10
    tag = Tag(way.vlan, way.pcp, way.dei)
    if way.vlan != native_vlan(policy):
        return way.frame.bytes(tag)  # V-11
    if way.vlan == 0:
        return way.frame.bytes(tag if way.pcp or way.dei else None)  # V-11: priority-tagged
    return way.frame.bytes(tag if way.frame.nested else None)  # V-16
