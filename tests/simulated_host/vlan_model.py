"""VLAN policies of ports and private VLAN maps of switches in the model."""

from __future__ import annotations

import struct
from typing import TYPE_CHECKING, Any

import _libvswitch as m
from property_model import OK, Known, PropertyModel, limited, number, outside, refused

if TYPE_CHECKING:
    from host_model import Switch

ALL_VLANS, LAST_VLAN = 4095, 4094
MOST_RANGES, MOST_MAP_ENTRIES = 4095, 4094
FLAGS = m.VSPORT_VLAN_GUEST_TAGGING | m.VSPORT_VLAN_PVLAN_ENABLED | m.VSPORT_VLAN_SET_PRIORITY
NO_PRIORITY = m.QEL_VLAN_PRIORITY_INVALID


def policy_bytes(flags: int, vlan: int, ranges: list[tuple[int, int]]) -> bytes:
    return struct.pack("<HHHH", flags, vlan, 0, len(ranges)) + b"".join(struct.pack("<HH", *pair) for pair in ranges)


def map_bytes(entries: list[tuple[int, int, int]]) -> bytes:
    return b"".join(struct.pack("<HHBxxx", *entry) for entry in entries)


def read_policy(data: bytes) -> tuple[int, int, list[tuple[int, int]]]:
    flags, vlan, _, count = struct.unpack_from("<HHHH", data)
    ranges: list[Any] = [struct.unpack_from("<HH", data, 8 + 4 * i) for i in range(count)]
    return flags, vlan, ranges


def read_map(data: bytes) -> list[tuple[int, int, int]]:
    entries: list[Any] = [struct.unpack_from("<HHB", data, offset) for offset in range(0, len(data), 8)]
    return entries


def meet(ranges: list[tuple[int, int]]) -> bool:
    return any(one[0] <= other[1] and other[0] <= one[1] for i, one in enumerate(ranges) for other in ranges[:i])


def private_vlan(model: Any, switch: Switch, dvport_id: str) -> int | None:
    flags, vlan, _ = read_policy(model.in_effect(switch, m.VSPROP_PORT_VLAN, dvport_id))
    return vlan if flags & m.VSPORT_VLAN_PVLAN_ENABLED else None


def policy_refusals(model: Any, switch: Switch, dvport_id: str, data: bytes) -> set[str]:
    if len(data) < 8 or len(data) != 8 + 4 * struct.unpack_from("<H", data, 6)[0]:
        return {"QEL_BAD_PARAM"}
    flags, vlan, ranges = read_policy(data)
    is_trunk = bool(flags & m.VSPORT_VLAN_GUEST_TAGGING)
    is_private = bool(flags & m.VSPORT_VLAN_PVLAN_ENABLED)
    secondaries = [entry[1] for entry in read_map(model.in_effect(switch, m.VSPROP_PVLAN_MAP))]
    return refused(
        QEL_BAD_PARAM=bool(flags & ~FLAGS)
        or vlan > ALL_VLANS
        or (vlan == ALL_VLANS and not is_trunk)
        or (is_trunk and is_private)
        or (bool(ranges) and not is_trunk)
        or any(low > high or high > LAST_VLAN for low, high in ranges)
        or meet(ranges[:100]),
        QEL_LIMIT_EXCEEDED=len(ranges) > MOST_RANGES,
        QEL_NOT_FOUND=is_private and vlan not in secondaries,
    )


def map_refusals(model: Any, switch: Switch, dvport_id: str, data: bytes) -> set[str]:
    if len(data) % 8:
        return {"QEL_BAD_PARAM"}
    entries = read_map(data)
    secondaries = [secondary for _, secondary, _ in entries]
    isolated = [primary for primary, _, kind in entries if kind == m.VSPORT_PVLAN_TYPE_ISOLATED]
    promiscuous = {primary for primary, _, kind in entries if kind == m.VSPORT_PVLAN_TYPE_PROMISC}
    return refused(
        QEL_BAD_PARAM=any(
            not 1 <= primary <= LAST_VLAN
            or not 1 <= secondary <= LAST_VLAN
            or kind not in (m.VSPORT_PVLAN_TYPE_PROMISC, m.VSPORT_PVLAN_TYPE_ISOLATED, m.VSPORT_PVLAN_TYPE_COMMUNITY)
            or (kind == m.VSPORT_PVLAN_TYPE_PROMISC) != (primary == secondary)
            or primary not in promiscuous
            for primary, secondary, kind in entries
        ),
        QEL_EXISTS=len(set(secondaries)) < len(secondaries) or len(set(isolated)) < len(isolated),
        QEL_LIMIT_EXCEEDED=len(entries) > MOST_MAP_ENTRIES,
        QEL_BUSY=not {private_vlan(model, switch, port) for port in switch.ports} - {None} <= set(secondaries),
    )


KNOWN = {
    m.VSPROP_PORT_VLAN: Known(
        "port",
        lambda model, switch: policy_bytes(0, 0, []),
        policy_refusals,
        [
            policy_bytes(0, 5, []),
            policy_bytes(m.VSPORT_VLAN_GUEST_TAGGING, 0, [(1, 9), (20, 20)]),
            policy_bytes(m.VSPORT_VLAN_PVLAN_ENABLED, 11, []),
            policy_bytes(m.VSPORT_VLAN_GUEST_TAGGING, 0, [(1, 9), (9, 20)]),
            policy_bytes(8, 0, []),
        ],
        is_tied=True,
    ),
    m.VSPROP_PORT_PRIORITY: Known(
        "port", lambda model, switch: number(0), limited(outside(0, 7)), [number(n) for n in (0, 7, 8)]
    ),
    m.VSPROP_PVLAN_MAP: Known(
        "global",
        lambda model, switch: b"",
        map_refusals,
        [map_bytes([(10, 10, 1), (10, 11, 2)]), map_bytes([(10, 10, 1), (10, 12, 3)]), b"", bytes(8)],
        is_tied=True,
    ),
}


class VlanModel(PropertyModel):
    def set_vlan_policy(
        self, alias: str, dvport_id: str, vlan: int, priority: int, is_trunk: bool, is_private: bool,
        ranges: list[tuple[int, int]],
    ) -> set[str]:
        has_priority = priority != NO_PRIORITY
        flags = (
            m.VSPORT_VLAN_GUEST_TAGGING * is_trunk
            | m.VSPORT_VLAN_PVLAN_ENABLED * is_private
            | m.VSPORT_VLAN_SET_PRIORITY * has_priority
        )
        data = policy_bytes(flags, vlan, ranges)
        statuses, _, _ = self.place(alias, "port", dvport_id, m.VSPROP_PORT_VLAN)
        if statuses != OK:
            return statuses
        refusals = self.refusals(alias, dvport_id, m.VSPROP_PORT_VLAN, data)
        if has_priority and not 0 <= priority <= 7:
            refusals = refusals | {"QEL_BAD_PARAM"}
        if refusals:
            return refusals
        if has_priority:
            self.set_port_value(alias, dvport_id, m.VSPROP_PORT_PRIORITY, number(priority))
        else:
            self.clear_typed(alias, m.VSPROP_PORT_PRIORITY, dvport_id)
        return self.set_port_value(alias, dvport_id, m.VSPROP_PORT_VLAN, data)

    def clear_vlan_policy(self, alias: str, dvport_id: str) -> set[str]:
        self.clear_typed(alias, m.VSPROP_PORT_PRIORITY, dvport_id)
        return self.clear_typed(alias, m.VSPROP_PORT_VLAN, dvport_id)

    def access_vlan(self, switch: Switch, dvport_id: str) -> int:
        """Of the client's frames; 0 where it tags them itself."""
        flags, vlan, _ = read_policy(self.in_effect(switch, m.VSPROP_PORT_VLAN, dvport_id))
        return 0 if flags & m.VSPORT_VLAN_GUEST_TAGGING else vlan
