"""Calls on MAC tables and MAC learning, on the host and on the model. Part of model_machine.py."""

import ctypes
import struct
from collections.abc import Callable
from typing import Any

import _libvswitch as m
from base_machine import Machine, aliases, counted, handed_out, host, memory, picks, ports
from home_model import CLIENTS, LEARNT
from host_model import Port, Switch
from hypothesis import strategies as st
from hypothesis.stateful import precondition, rule
from mac_model import ALL, ALLOW, DROP, LEARNED, STATIC, USER, MacKey, learning_bytes, policy_bytes

ENTRY = struct.Struct("<6sBIBHIII")
INFO = struct.Struct("<IIIIIBBIIIQQQ6xQIII4x")

KEYS = [
    *LEARNT,
    *(MacKey(mac, 0) for _, mac in CLIENTS.values()),
    *(MacKey(bytes([2, 9, 0, 0, 0, n]), vlan, vni) for n, vlan, vni in ((1, 0, 0), (2, 7, 0), (2, 7, 5), (3, 4094, 9))),
]
WRONG_KEYS = [
    MacKey(bytes([3, 9, 0, 0, 0, 1]), 0),
    MacKey(bytes(6), 0),
    MacKey(bytes([2, 9, 0, 0, 0, 1]), 4095),
    MacKey(bytes([2, 9, 0, 0, 0, 1]), 0, 1 << 24),
]
keys = st.sampled_from(KEYS * 4 + WRONG_KEYS)
kinds_to_add = st.sampled_from([USER] * 6 + [0] * 4 + [LEARNED, 4])
reserved_bits = st.sampled_from([0] * 5 + [1])
aging_times = st.sampled_from([600, 0, 20, 30, 31, 5, 1000000, 1000001])
limits_of_switches = st.sampled_from([65536, 0, 9, 1048576, 1048577])
limits_of_ports = st.sampled_from([1, 2, 4096, 0, 3, 1, 2, 4097])
flags = st.sampled_from([1, 0, 1, 7])


class MacMachine(Machine):
    def entry(self, key: MacKey, kind: int) -> Any:
        return memory(ENTRY.pack(key.mac, kind, 77, 1, key.vlan, key.vni, 88, 99))

    @rule(pick=picks, alias=aliases, port=picks, dvport_id=ports, key=keys, kind=kinds_to_add)
    def add_mac(self, pick: int, alias: str, port: int, dvport_id: str, key: MacKey, kind: int) -> None:
        alias, dvport_id = self.port_of_a_switch(pick, alias, port, dvport_id)
        switch = self.model.running(alias)
        limited = self.limited_ports(switch)
        small = [name for name in limited if switch and self.model.port_limit(switch, name) < 4]
        if small and port % 4:
            dvport_id = small[port % len(small)]
        status = host.VSQEL_SetPortMACTable(alias.encode(), dvport_id.encode(), self.entry(key, kind))
        self.expect(self.model.add_mac(switch, dvport_id, key, kind), status)

    @staticmethod
    def limited_ports(switch: Switch | None) -> list[str]:
        """Those with a limit of their own."""
        found = switch.ports.items() if switch else []
        return [name for name, port in found if m.VSPROP_PORT_MAC_MANAGEMENT in port.properties]

    @precondition(lambda self: any(switch.macs for switch in self.model.switches.values()))
    @rule(
        pick=picks,
        alias=aliases,
        which=picks,
        port=picks,
        dvport_id=ports,
        key=keys,
        kind=st.sampled_from([ALL, USER, LEARNED, 0, ALL, USER, ALL, 4]),
    )
    def remove_mac(self, pick: int, alias: str, which: int, port: int, dvport_id: str, key: MacKey, kind: int) -> None:
        alias = self.existing(pick, alias, lambda switch: switch.macs)
        switch = self.model.running(alias)
        dvport_id = self.existing_port(port, alias, dvport_id)
        if switch and switch.macs and which % 4:
            (key, _), entry = list(switch.macs.items())[which % len(switch.macs)]
            dvport_id = entry.dvport_id
        status = host.VSQEL_ClearPortMACTable(alias.encode(), dvport_id.encode(), self.entry(key, kind))
        self.expect(self.model.remove_mac(switch, dvport_id, key, kind), status)

    # ---- learning ----

    @rule(aging=aging_times, limit=limits_of_switches, learn_static=flags, static_allowed=flags)
    def set_global_learning(self, aging: int, limit: int, learn_static: bool, static_allowed: bool) -> None:
        settings = struct.pack("<IIBB", aging, limit, learn_static, static_allowed)
        status = host.VSQEL_SetGlobalMACLearningProps(memory(settings))
        self.expect(self.model.set_global_learning(aging, limit, learn_static, static_allowed), status)

    @rule(pick=picks, alias=aliases, aging=aging_times, limit=limits_of_switches, reserved=reserved_bits)
    def set_learning(self, pick: int, alias: str, aging: int, limit: int, reserved: int) -> None:
        alias = self.existing(pick, alias)
        data = learning_bytes(aging, limit, reserved)
        status = host.VSDVS_SetMACLearning(alias.encode(), memory(data))
        self.expect(self.model.set_switch_value(alias, m.VSPROP_SWITCH_MAC_LEARNING, data), status)

    @rule(pick=picks, alias=aliases, allowed=flags, of_learning=st.booleans())
    def set_static(self, pick: int, alias: str, allowed: bool, of_learning: bool) -> None:
        alias = self.existing(pick, alias)
        call = host.VSDVS_SetLearnStatic if of_learning else host.VSDVS_SetStaticMACAllow
        name = m.VSPROP_SWITCH_MAC_LEARN_STATIC if of_learning else m.VSPROP_SWITCH_STATIC_MAC_ALLOW
        self.expect(self.model.set_switch_value(alias, name, bytes([allowed])), call(alias.encode(), allowed))

    @rule(pick=picks, alias=aliases, which=st.integers(0, 2))
    def clear_learning(self, pick: int, alias: str, which: int) -> None:
        alias = self.existing(pick, alias)
        call, name = (
            (host.VSDVS_ClearMACLearning, m.VSPROP_SWITCH_MAC_LEARNING),
            (host.VSDVS_ClearLearnStatic, m.VSPROP_SWITCH_MAC_LEARN_STATIC),
            (host.VSDVS_ClearStaticMACAllow, m.VSPROP_SWITCH_STATIC_MAC_ALLOW),
        )[which]
        self.expect(self.model.clear_typed(alias, name), call(alias.encode()))

    @rule(
        pick=picks,
        alias=aliases,
        port=picks,
        dvport_id=ports,
        learning=st.booleans(),
        flooding=st.booleans(),
        limit=limits_of_ports,
        at_limit=st.sampled_from([ALLOW, DROP, ALLOW, DROP, 2]),
    )
    def set_port_learning(
        self, pick: int, alias: str, port: int, dvport_id: str, learning: bool, flooding: bool, limit: int,
        at_limit: int,
    ) -> None:
        alias, dvport_id = self.port_of_a_switch(pick, alias, port, dvport_id)
        policy = policy_bytes(learning, flooding, limit, at_limit)
        status = host.VSDVS_SetPortMACLearning(alias.encode(), dvport_id.encode(), memory(policy))
        self.expect(self.model.set_port_learning(alias, dvport_id, policy), status)

    # ---- what the host says ----

    def same_macs(self, switch: Switch) -> None:
        if not switch.has_portset:
            return
        kind = (STATIC, USER, LEARNED, ALL)[self.turn % 4]
        alias = switch.alias.encode()
        self.same_table(switch, kind, lambda name, port: port.uplink is None, host.VSQEL_GetMACTable, alias)
        self.same_table(switch, kind, lambda name, port: port.uplink is not None, host.VSQEL_GetTeamMACTable, alias)
        if switch.ports:
            one = list(switch.ports)[self.turn % len(switch.ports)]
            place = (alias, one.encode())
            self.same_table(switch, kind, lambda name, port: name == one, host.VSQEL_GetPortMACTable, *place)
            policy = ctypes.create_string_buffer(10)
            assert host.VSDVS_GetPortMACLearning(*place, ctypes.addressof(policy)) == 0
            assert policy.raw == self.model.learning_policy(switch, one)
        self.same_learning(switch)

    def same_table(
        self,
        switch: Switch,
        kind: int,
        wanted_port: Callable[[str, Port], bool],
        call: Callable[..., int],
        *place: object,
    ) -> None:
        status, data = handed_out(call, *place, kind, length=counted(8, 4, ENTRY.size))
        assert status == 0
        entries = self.model.mac_table(switch, wanted_port)
        expected = [
            (key.mac, entry.kind, switch.ports[entry.dvport_id].number, entry.ages, key.vlan, key.vni, entry.age, 0)
            for key, entry in entries
            if kind in (ALL, entry.kind)
        ]
        assert struct.unpack_from("<I", data)[0] == len(entries)
        assert list(ENTRY.iter_unpack(data[8:])) == expected

    def same_learning(self, switch: Switch) -> None:
        room = ctypes.create_string_buffer(INFO.size)
        assert host.VSQEL_GetSwitchMACLearningInfo(switch.alias.encode(), ctypes.addressof(room)) == 0
        aging, limit, learning_ports, learned, of_team, *rest = INFO.unpack(room.raw)
        learns, floods, most, at_limit, *counters, hit, sinks, flooded = rest
        assert (at_limit, counters, sinks) == (ALLOW, [of_team, 0, 0, 0, 0], 0)
        assert self.model.learning_info(switch) == {
            "aging": aging,
            "limit": limit,
            "learning ports": learning_ports,
            "learned": learned,
            "learned by the team": of_team,
            "team": (bool(learns), bool(floods), most),
            "at their limit": hit,
            "flooded": flooded,
        }
