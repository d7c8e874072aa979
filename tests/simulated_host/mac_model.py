"""MAC tables and learning settings in the model. Nothing is learned here (no traffic): what was learned comes from the
boot description, at a clock that stands."""

from __future__ import annotations

import abc
import dataclasses
import struct
from collections.abc import Callable
from typing import TYPE_CHECKING, Any

import _libvswitch as m
from property_model import NOT_FOUND, OK, Known, PropertyModel, limited, refused

if TYPE_CHECKING:
    from host_model import Port, Switch

STATIC, USER, LEARNED, ALL = (
    m.VS_MAC_ADDR_TYPE_STATIC,
    m.VS_MAC_ADDR_TYPE_USER,
    m.VS_MAC_ADDR_TYPE_LEARNED,
    m.VS_MAC_ADDR_TYPE_ALL,
)
LONGEST_AGING, MOST_OF_SWITCH, MOST_OF_PORT, MOST_OF_TEAM = 1000000, 1048576, 4096, 16384
LAST_VLAN, LAST_VNI = 4094, 16777215
MULTICAST_BIT = 1
ALLOW, DROP = m.VSPORT_MAC_LEARNING_LIMIT_POLICY_ALLOW, m.VSPORT_MAC_LEARNING_LIMIT_POLICY_DROP


@dataclasses.dataclass(frozen=True)
class MacKey:
    mac: bytes
    vlan: int
    vni: int = 0


@dataclasses.dataclass
class MacEntry:
    kind: int
    dvport_id: str
    age: int = 0  # seconds since the address was seen
    ages: bool = False
    # Of a learned one, when it was looked at last: the VLAN policy of its port, the private VLANs, whether it had a
    # link.
    learned_by: tuple[bytes, bytes, bool] | None = None


@dataclasses.dataclass
class GlobalLearning:
    """What holds for every switch without a setting of its own."""

    aging: int = 600
    limit: int = 65536
    learn_static: bool = False
    static_allowed: bool = True


def learning_bytes(aging: int, limit: int, reserved: int = 0) -> bytes:
    return struct.pack("<II", aging | reserved << 24, limit)


def policy_bytes(learning: bool, flooding: bool, limit: int, at_limit: int) -> bytes:
    return struct.pack("<BBII", learning, flooding, limit, at_limit)


def learning_refusals(model: Any, switch: Switch, dvport_id: str, data: bytes) -> set[str]:
    if len(data) != 8:
        return {"QEL_BAD_PARAM"}
    aging, limit = struct.unpack("<II", data)
    return refused(QEL_BAD_PARAM=aging > LONGEST_AGING, QEL_LIMIT_EXCEEDED=limit > MOST_OF_SWITCH)


def management_refusals(model: Any, switch: Switch, dvport_id: str, data: bytes) -> set[str]:
    if len(data) != 11:
        return {"QEL_BAD_PARAM"}
    limit, at_limit = struct.unpack_from("<II", data, 3)
    return refused(QEL_LIMIT_EXCEEDED=limit > MOST_OF_PORT, QEL_BAD_PARAM=at_limit not in (ALLOW, DROP))


not_a_byte = limited(lambda data: len(data) != 1)
BYTES = [b"\0", b"\1", b"\7", b"\0\0"]
KNOWN = {
    m.VSPROP_SWITCH_MAC_LEARNING: Known(
        "global",
        lambda model, switch: learning_bytes(model.learning.aging, model.learning.limit),
        learning_refusals,
        [learning_bytes(0, 1), learning_bytes(600, 1048577), learning_bytes(5000, 9)],
    ),
    m.VSPROP_SWITCH_MAC_LEARN_STATIC: Known(
        "global", lambda model, switch: bytes([model.learning.learn_static]), not_a_byte, BYTES
    ),
    m.VSPROP_SWITCH_STATIC_MAC_ALLOW: Known(
        "global", lambda model, switch: bytes([model.learning.static_allowed]), not_a_byte, BYTES
    ),
    m.VSPROP_PORT_MAC_MANAGEMENT: Known(
        "port",
        lambda model, switch: b"\1" + policy_bytes(False, False, MOST_OF_PORT, ALLOW),
        management_refusals,
        [b"\0" + policy_bytes(True, True, 2, DROP), b"\1" + policy_bytes(True, False, 4097, ALLOW)],
    ),
}


class MacModel(PropertyModel, abc.ABC):
    @abc.abstractmethod
    def link_is_up(self, switch: Switch, uplink: str) -> bool: ...

    @abc.abstractmethod
    def access_vlan(self, switch: Switch, dvport_id: str) -> int: ...

    """Of a switch that is None no call finds anything: see running()."""

    def set_global_learning(self, aging: int, limit: int, learn_static: bool, static_allowed: bool) -> set[str]:
        statuses = refused(QEL_BAD_PARAM=aging > LONGEST_AGING, QEL_LIMIT_EXCEEDED=limit > MOST_OF_SWITCH)
        if statuses == OK:
            self.learning = GlobalLearning(aging, limit, bool(learn_static), bool(static_allowed))
        return statuses

    def set_port_learning(self, alias: str, dvport_id: str, policy: bytes) -> set[str]:
        statuses, _, _ = self.place(alias, "port", dvport_id, m.VSPROP_PORT_MAC_MANAGEMENT)
        if statuses != OK:
            return statuses
        former = self.in_effect(self.switches[alias], m.VSPROP_PORT_MAC_MANAGEMENT, dvport_id)
        return self.set_port_value(alias, dvport_id, m.VSPROP_PORT_MAC_MANAGEMENT, former[:1] + policy)

    def static_allowed(self, switch: Switch) -> bool:
        return self.in_effect(switch, m.VSPROP_SWITCH_STATIC_MAC_ALLOW) != b"\0"

    def learns_static(self, switch: Switch) -> bool:
        return self.in_effect(switch, m.VSPROP_SWITCH_MAC_LEARN_STATIC) != b"\0"

    def learning_policy(self, switch: Switch, dvport_id: str) -> bytes:
        return self.in_effect(switch, m.VSPROP_PORT_MAC_MANAGEMENT, dvport_id)[1:]

    def port_limit(self, switch: Switch, dvport_id: str) -> int:
        return int.from_bytes(self.learning_policy(switch, dvport_id)[2:6], "little")

    def aging_time(self, switch: Switch) -> int:
        return int.from_bytes(self.in_effect(switch, m.VSPROP_SWITCH_MAC_LEARNING)[:4], "little")

    def is_forgotten(self, switch: Switch, entry: MacEntry) -> bool:
        return entry.ages and 0 < self.aging_time(switch) <= entry.age

    def settle_macs(self, switch: Switch) -> None:
        """What has gone since the last look is gone for good: it has aged, or what it was learned by is not there."""
        for (key, kind), entry in list(switch.macs.items()):
            if kind != LEARNED or entry.dvport_id not in switch.ports:
                continue
            private = self.in_effect(switch, m.VSPROP_PVLAN_MAP)
            uplink = switch.ports[entry.dvport_id].uplink
            now = (self.in_effect(switch, m.VSPROP_PORT_VLAN, entry.dvport_id), private,
                   uplink is None or self.link_is_up(switch, uplink))
            former = entry.learned_by or now
            vlans = {vlan for map_ in (former[1], private) for pair in struct.iter_unpack("<HHB3x", map_)
                     for vlan in pair[:2]}
            is_lost = former[0] != now[0] or (former[1] != private and key.vlan in vlans) or (former[2] and not now[2])
            if is_lost or self.is_forgotten(switch, entry):
                del switch.macs[key, kind]
            entry.learned_by = now

    def entries_at(self, switch: Switch, dvport_id: str) -> list[tuple[MacKey, MacEntry]]:
        """Those by hand and the learned ones, which count toward the limit of a port."""
        return [
            (key, entry)
            for (key, _), entry in switch.macs.items()
            if entry.dvport_id == dvport_id and not self.is_forgotten(switch, entry)
        ]

    def mac_table(self, switch: Switch, wanted_port: Callable[[str, Port], bool]) -> list[tuple[MacKey, MacEntry]]:
        """The entries at the ports for which the predicate holds, in the order of the tables."""
        found = []
        for name, port in switch.ports.items():
            if not wanted_port(name, port):
                continue
            found += self.entries_at(switch, name)
            if port.client_mac is not None:
                found.append((MacKey(port.client_mac, self.access_vlan(switch, name)), MacEntry(STATIC, name)))
        shown = [pair for pair in found if pair[1].kind == LEARNED or self.static_allowed(switch)]
        return sorted(shown, key=lambda pair: (pair[1].kind, pair[0].mac, pair[0].vlan, pair[0].vni))

    @staticmethod
    def key_refusals(key: MacKey, kind: int, kinds: tuple[int, ...]) -> set[str]:
        return (
            refused(
                QEL_INVALID_ADDRESS=bool(key.mac[0] & MULTICAST_BIT) or key.mac == bytes(6),
                QEL_BAD_VLANID=key.vlan > LAST_VLAN,
                QEL_BAD_PARAM=key.vni > LAST_VNI or kind not in kinds,
            )
            - OK
        )

    def add_mac(self, switch: Switch | None, dvport_id: str, key: MacKey, kind: int) -> set[str]:
        if switch is None or dvport_id not in switch.ports:
            return NOT_FOUND | self.key_refusals(key, kind, (0, USER))
        port = switch.ports[dvport_id]
        limit = self.port_limit(switch, dvport_id)
        if port.uplink is not None and m.VSPROP_PORT_MAC_MANAGEMENT not in port.properties:
            limit = MOST_OF_TEAM
        makes_way = [(key, LEARNED)] if not self.learns_static(switch) else []
        there = [pair for pair in self.entries_at(switch, dvport_id) if (pair[0], pair[1].kind) not in makes_way]
        statuses = self.key_refusals(key, kind, (0, USER)) | refused(
            QEL_EXISTS=(key, USER) in switch.macs,
            QEL_NO_PERMISSION=not self.static_allowed(switch),
            QEL_LIMIT_EXCEEDED=len(there) >= limit,
        )
        if statuses == OK:
            for entry in makes_way:
                switch.macs.pop(entry, None)
            switch.macs[key, USER] = MacEntry(USER, dvport_id)
            return OK
        return statuses - OK

    def remove_mac(self, switch: Switch | None, dvport_id: str, key: MacKey, kind: int) -> set[str]:
        refusals = self.key_refusals(key, kind, (0, USER, LEARNED, ALL))
        if switch is None or dvport_id not in switch.ports:
            return NOT_FOUND | refusals
        kinds = (USER, LEARNED) if kind == ALL else (kind or USER,)
        going = [(other, e.kind) for other, e in self.entries_at(switch, dvport_id) if other == key and e.kind in kinds]
        if not going:
            refusals |= NOT_FOUND
        if refusals:
            return refusals
        for known in going:
            del switch.macs[known]
        return OK

    @staticmethod
    def forget_macs(switch: Switch, gone: set[str]) -> None:
        """What is at ports that are gone."""
        for known in [known for known, entry in switch.macs.items() if entry.dvport_id in gone]:
            del switch.macs[known]

    @staticmethod
    def forget_learned(switch: Switch, dvport_id: str) -> None:
        """As the client of a port does when it goes."""
        for known in [known for known, entry in switch.macs.items() if entry.dvport_id == dvport_id]:
            if known[1] == LEARNED:
                del switch.macs[known]

    def learning_info(self, switch: Switch) -> dict[str, object]:
        own = [name for name, port in switch.ports.items() if port.uplink is None]
        policies = {name: struct.unpack("<BBII", self.learning_policy(switch, name)) for name in own}
        learning = [name for name, policy in policies.items() if policy[0]]
        learned = {n: sum(e.kind == LEARNED for _, e in self.entries_at(switch, n)) for n in switch.ports}
        aging, limit = struct.unpack("<II", self.in_effect(switch, m.VSPROP_SWITCH_MAC_LEARNING))
        return {
            "aging": aging,
            "limit": limit,
            "learning ports": len(learning),
            "learned": sum(learned[name] for name in own),
            "learned by the team": sum(learned.values()) - sum(learned[name] for name in own),
            "team": (bool(learning), bool(learning), MOST_OF_TEAM),
            "at their limit": sum(len(self.entries_at(switch, name)) >= policies[name][2] for name in learning),
            "flooded": sum(bool(policy[1]) for policy in policies.values()),
        }
