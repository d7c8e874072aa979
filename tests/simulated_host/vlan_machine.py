"""Calls on VLAN policies and private VLAN maps, on the host and on the model. Part of model_machine.py."""

import ctypes
import struct
from typing import Any

import _libvswitch as m
from base_machine import Machine, aliases, handed_out_with_length, host, memory, picks, ports
from host_model import Switch
from hypothesis import strategies as st
from hypothesis.stateful import rule
from vlan_model import NO_PRIORITY, map_bytes, private_vlan, read_map
MAPS = [
    [(10, 10, 1), (10, 11, 2), (10, 12, 3)],
    [(10, 10, 1), (10, 12, 3)],
    [(20, 21, 3), (20, 20, 1), (10, 10, 1), (10, 11, 2)],
    [],
    [(10, 10, 1), (10, 11, 2), (10, 12, 2)],
]
maps = st.one_of(
    st.sampled_from(MAPS),
    st.lists(
        st.tuples(st.sampled_from([10, 20, 0, 4094, 4095]), st.sampled_from([10, 11, 12, 20, 0]), st.integers(0, 4)),
        max_size=4,
    ),
    st.sampled_from(MAPS),
)
ranges_of_trunks = st.sampled_from(
    [[], [(1, 9), (20, 20)], [(30, 4094), (1, 29)]] * 3
    + [
        [(0, 0)],
        [(5, 4)],
        [(1, 4095)],
        [(1, 9), (9, 12)],
        [(3, 5), (1, 9)],
        [(vlan, vlan) for vlan in range(4096)],
    ]
)


class VlanMachine(Machine):
    @rule(
        pick=picks,
        alias=aliases,
        port=picks,
        dvport_id=ports,
        vlan=st.sampled_from([0, 5, 10, 11, 12, 4094, 4095, 4096]),
        priority=st.sampled_from([NO_PRIORITY, 0, 7, 3] * 3 + [8, -1]),
        kind=st.sampled_from(["private", "trunk", "access", "private", "trunk", "access", "private", "both"]),
        ranges=ranges_of_trunks,
        with_ranges=st.booleans(),
    )
    def set_vlan_policy(
        self, pick: int, alias: str, port: int, dvport_id: str, vlan: int, priority: int, kind: str,
        ranges: list[tuple[int, int]], with_ranges: bool,
    ) -> None:
        is_trunk, is_private = kind in ("trunk", "both"), kind in ("private", "both")
        alias = self.existing(pick, alias, lambda switch: switch.ports and (not is_private or self.secondaries(switch)))
        dvport_id = self.existing_port(port, alias, dvport_id)
        switch = self.model.switches.get(alias)
        secondaries = self.secondaries(switch) if switch else []
        if is_private and secondaries and vlan < 4094:
            vlan = secondaries[vlan % len(secondaries)]
        given = ranges if is_trunk or (with_ranges and priority == 3) else []
        data = b"".join(struct.pack("<HH", *pair) for pair in given)
        status = host.VSDVS_SetPortVLANPolicy(
            alias.encode(),
            dvport_id.encode(),
            vlan,
            priority,
            is_trunk,
            is_private,
            memory(data) if given else None,
            len(given),
        )
        allowed = self.model.set_vlan_policy(alias, dvport_id, vlan, priority, is_trunk, is_private, given)
        self.expect(allowed, status)

    def secondaries(self, switch: Switch) -> list[int]:
        return [entry[1] for entry in read_map(self.model.in_effect(switch, m.VSPROP_PVLAN_MAP))] if switch else []

    def has_private_port(self, switch: Switch) -> bool:
        return any(private_vlan(self.model, switch, name) is not None for name in switch.ports)

    @rule(pick=picks, alias=aliases, port=picks, dvport_id=ports)
    def clear_vlan_policy(self, pick: int, alias: str, port: int, dvport_id: str) -> None:
        alias, dvport_id = self.port_of_a_switch(pick, alias, port, dvport_id)
        status = host.VSDVS_ClearPortVLANPolicy(alias.encode(), dvport_id.encode())
        self.expect(self.model.clear_vlan_policy(alias, dvport_id), status)

    @rule(pick=picks, alias=aliases, entries=maps, negative=st.integers(0, 15))
    def set_map(self, pick: int, alias: str, entries: Any, negative: bool) -> None:
        alias = self.existing(pick, alias, self.has_private_port if pick % 2 else lambda switch: True)
        data = map_bytes(entries)
        if negative == 0:
            allowed = {"QEL_BAD_PARAM"} | ({"QEL_NOT_FOUND"} if alias not in self.model.switches else set())
            self.expect(allowed, host.VSDVS_SetPrivateVLANMap(alias.encode(), memory(data), -1))
            return
        status = host.VSDVS_SetPrivateVLANMap(alias.encode(), memory(data) if entries else None, len(entries))
        self.expect(self.model.set_switch_value(alias, m.VSPROP_PVLAN_MAP, data), status)

    # ---- what the host says ----

    def same_vlans(self, switch: Switch) -> None:
        alias = switch.alias.encode()
        entries, count = ctypes.c_void_p(), ctypes.c_int()
        assert host.VSDVS_GetPrivateVLANMap(alias, ctypes.addressof(entries), ctypes.addressof(count)) == 0
        data = ctypes.string_at(entries.value, 8 * count.value) if entries.value else b""
        host.VSQEL_FreeMemory(entries)
        assert (data, count.value) == (self.model.in_effect(switch, m.VSPROP_PVLAN_MAP), len(data) // 8)
        if not switch.ports:
            return
        one = list(switch.ports)[self.turn % len(switch.ports)]
        status, policy = handed_out_with_length(host.VSDVS_GetPortVLANPolicy, alias, one.encode())
        assert status == 0
        assert policy == self.model.in_effect(switch, m.VSPROP_PORT_VLAN, one)
