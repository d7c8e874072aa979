"""Random sequences of calls on the host and on the model beside each other. Prints how many calls there were, and how
many of them succeeded. Part of test_model.py.

Usage: model_machine.py EXAMPLES STEPS"""

import ctypes
import itertools
import json
import struct
import sys
from typing import Any

import _libvswitch as m
import home_model
from base_machine import ALIASES, ANY, FREE, Machine, aliases, boot, counts, host, memory, picks, ports, uplinks
from host_model import Port, Switch
from hypothesis import HealthCheck, settings
from hypothesis import strategies as st
from hypothesis.stateful import initialize, invariant, precondition, rule, run_state_machine_as_test
from image_machine import ImageMachine
from lag_machine import LagMachine
from mac_machine import MacMachine
from mirror_machine import MirrorMachine
from ready_arguments import HNQQuery
from vlan_machine import VlanMachine

# One of them is the alias of another switch: a name may mean several.
SWITCH_IDS = ["i", "j", "k", "a"]
EXTERNAL_IDS = ["x", "y", "z", "external"]
OWNERS = ["", "red", "", "blue", ""]
SCOPES = ["global", "host", "port"]
PROPERTIES = [
    *FREE,
    m.VSPROP_MTU,
    m.VSPROP_MULTICAST_FILTER,
    m.QEL_HNQPROP_SWITCH_ALIAS,
    m.QEL_HNQPROP_SWITCH_VERSION,
    m.QEL_HNQPROP_PORT_CONNECTID,
]
# The first ones suit most of the properties that have rules.
VALUES = [*(struct.pack("<I", n) for n in (1500, 1280, 9000, 0, 1, 2, 3, 4, 1279, 9001)), b"text", b"", b"\0\1\2"]
ROOM = 4096

owners = st.sampled_from(OWNERS)
versions = st.sampled_from([0, m.DVS_VERSION_60, m.DVS_VERSION_65, m.DVS_VERSION_66, m.DVS_VERSION_70, 100, 107, 1000])
max_ports = st.sampled_from([8, 0, 1, 4, 6, 8192, 8193])
mtus = st.sampled_from([1500, 1280, 2000, 9000, 3000, 8999, 1279, 9001, 0])


def places(*choices: tuple[str, str]) -> st.SearchStrategy[tuple[str, str, int, str]]:
    """The scope and name of a property, and the port that it is at if it is at one."""
    return st.tuples(st.sampled_from(choices), picks, ports).map(lambda t: (*t[0], t[1], t[2]))


free_places = places(*itertools.product(SCOPES, FREE))
known_places = places(
    ("global", m.VSPROP_MTU),
    ("port", m.QEL_HNQPROP_PORT_CONNECTID),
    ("host", m.VSPROP_MTU),
    ("global", m.VSPROP_MULTICAST_FILTER),
    ("port", m.QEL_HNQPROP_PORT_CONNECTID),
)
all_places = places(*itertools.product(SCOPES, PROPERTIES))


class HostMachine(MacMachine, VlanMachine, MirrorMachine, LagMachine, ImageMachine, Machine):
    def unused(self, pick: int, alias: str, switch_id: str) -> tuple[str, str]:
        """Mostly an alias and an identifier that no switch has."""
        taken = [switch.switch_id for switch in self.model.switches.values()]
        free = ([a for a in ALIASES if a not in self.model.switches], [i for i in SWITCH_IDS if i not in taken])
        return (free[0][0], free[1][0]) if free[0] and free[1] and pick != ANY else (alias, switch_id)

    # ---- switches ----

    @initialize()
    def start(self) -> None:
        self.learn_portset(home_model.ALIAS)
        for alias, switch_id in (("a", "i"), ("b", "j")):
            status = host.VSDVS_CreateVSwitch(alias.encode(), switch_id.encode(), None, 8, 1, 0, 0, 0)
            self.expect(self.model.create(alias, switch_id, 8, True, 0, 0, 0), status)
            self.learn_portset(alias)

    @rule(
        pick=picks,
        alias=aliases,
        switch_id=st.sampled_from(SWITCH_IDS),
        ports_at_most=max_ports,
        persistent=st.booleans(),
        mtu=mtus,
        version=versions,
        flags=st.integers(0, 2**32 - 1),
        class_name=st.sampled_from(["", m.PS_CLASS_NAME, "", m.PS_CLASS_NAME, "", "other"]),
    )
    def create(
        self, pick: int, alias: str, switch_id: str, ports_at_most: int, persistent: bool, mtu: int, version: int,
        flags: int, class_name: str,
    ) -> None:
        alias, switch_id = self.unused(pick, alias, switch_id)
        status = host.VSDVS_CreateVSwitch(
            alias.encode(), switch_id.encode(), class_name.encode(), ports_at_most, persistent, mtu, version, flags
        )
        allowed = self.model.create(alias, switch_id, ports_at_most, persistent, mtu, version, flags, class_name)
        if self.expect(allowed, status):
            self.learn_portset(alias)

    # Without enough switches little can happen to them.
    @precondition(lambda self: len(self.model.switches) >= 3)
    @rule(pick=picks, alias=aliases)
    def destroy(self, pick: int, alias: str) -> None:
        alias = self.existing(pick, alias, lambda switch: not switch.has_clients())
        self.expect(self.model.destroy(alias), host.VSDVS_DestroyVSwitch(alias.encode()))

    @rule(pick=picks, alias=aliases, switch_id=st.sampled_from(SWITCH_IDS), ports_at_most=max_ports, version=versions)
    def add_state(self, pick: int, alias: str, switch_id: str, ports_at_most: int, version: int) -> None:
        alias, switch_id = self.unused(pick, alias, switch_id)
        status = host.DVSQEL_SwitchAdd(alias.encode(), switch_id.encode(), ports_at_most, version)
        self.expect(self.model.add_state(alias, switch_id, ports_at_most, version), status)

    @precondition(lambda self: not all(switch.has_portset for switch in self.model.switches.values()))
    @rule(pick=picks, alias=aliases)
    def remove_state(self, pick: int, alias: str) -> None:
        alias = self.existing(pick, alias, lambda switch: not switch.has_portset)
        self.expect(self.model.remove_state(alias), host.DVSQEL_SwitchRemove(alias.encode()))

    @rule(pick=picks, alias=aliases)
    def associate(self, pick: int, alias: str) -> None:
        alias = self.existing(pick, alias, lambda switch: not switch.has_portset)
        if self.expect(self.model.set_portset(alias, True), host.DVSQEL_SwitchAssociate(alias.encode())):
            self.learn_portset(alias)

    @rule(pick=picks, alias=aliases)
    def dissociate(self, pick: int, alias: str) -> None:
        alias = self.existing(pick, alias, lambda switch: switch.has_portset and not switch.has_clients())
        self.expect(self.model.set_portset(alias, False), host.DVSQEL_SwitchDissociate(alias.encode()))

    @rule(pick=picks, alias=aliases, version=st.sampled_from([m.DVS_VERSION_70, 107, m.DVS_VERSION_66, 1000]))
    def set_version(self, pick: int, alias: str, version: int) -> None:
        alias = self.existing(pick, alias)
        self.expect(self.model.set_version(alias, version), host.DVSQEL_SwitchSetVersion(alias.encode(), version))

    @rule(pick=picks, alias=aliases, ports_at_most=max_ports)
    def set_max_ports(self, pick: int, alias: str, ports_at_most: int) -> None:
        alias = self.existing(pick, alias)
        status = host.DVSQEL_SwitchSetMaxPorts(alias.encode(), ports_at_most)
        self.expect(self.model.set_max_ports(alias, ports_at_most), status)

    @rule(chance=st.integers(0, 7))
    def boot_again(self, chance: int) -> None:
        if chance == 0:
            self.model.boot()
            assert boot() == 0

    # ---- ports ----

    @rule(pick=picks, alias=aliases, dvport_id=ports, connect_id=st.integers(0, 2**32 - 1))
    def add_port(self, pick: int, alias: str, dvport_id: str, connect_id: int) -> None:
        alias = self.existing(pick, alias)
        status = host.VSDVS_AddDVPort(alias.encode(), dvport_id.encode(), connect_id)
        self.expect(self.model.add_port(alias, dvport_id, connect_id), status)

    @rule(pick=picks, alias=aliases, dvport_id=ports, external_id=st.sampled_from(EXTERNAL_IDS))
    def add_opaque_port(self, pick: int, alias: str, dvport_id: str, external_id: str) -> None:
        alias = self.existing(pick, alias)
        status = host.VSDVS_AddOpaqueDVPort(alias.encode(), dvport_id.encode(), external_id.encode())
        self.expect(self.model.add_port(alias, dvport_id, external_id=external_id), status)

    @rule(pick=picks, alias=aliases, port=picks, dvport_id=ports, of_the_state=st.booleans())
    def remove_port(self, pick: int, alias: str, port: int, dvport_id: str, of_the_state: bool) -> None:
        alias, dvport_id = self.port_of_a_switch(pick, alias, port, dvport_id)
        # The model has no zombies.
        of_the_state = of_the_state and dvport_id not in home_model.CLIENTS
        call = host.DVSQEL_PortRemove if of_the_state else host.VSDVS_RemoveDVPort
        self.expect(self.model.remove_port(alias, dvport_id), call(alias.encode(), dvport_id.encode()))

    # ---- uplink ports ----

    @rule(pick=picks, alias=aliases, uplink=uplinks)
    def add_uplink(self, pick: int, alias: str, uplink: str) -> None:
        alias = self.existing(pick, alias)
        status = host.VSDVS_AddSwitchUplinkPort(alias.encode(), uplink.encode())
        self.expect(self.model.add_uplink(alias, uplink), status)

    @precondition(lambda self: any(switch.uplinks for switch in self.model.switches.values()))
    @rule(pick=picks, alias=aliases, which=picks, uplink=uplinks)
    def remove_uplink(self, pick: int, alias: str, which: int, uplink: str) -> None:
        alias = self.existing(pick, alias, lambda switch: switch.uplinks)
        uplink = self.existing_uplink(which, alias, uplink)
        status = host.VSDVS_RemoveSwitchUplinkPort(alias.encode(), uplink.encode())
        self.expect(self.model.remove_uplink(alias, uplink), status)

    @precondition(lambda self: any(switch.uplinks for switch in self.model.switches.values()))
    @rule(pick=picks, alias=aliases)
    def clear_uplinks(self, pick: int, alias: str) -> None:
        alias = self.existing(pick, alias, lambda switch: switch.uplinks)
        status = host.VSDVS_ClearSwitchUplinkPorts(alias.encode())
        self.expect(self.model.set_uplinks(alias, [], None), status)

    @rule(
        pick=picks,
        alias=aliases,
        # The generated identifiers depend on the order in which ports come and go: the plain ones do not.
        wanted=st.lists(
            st.tuples(uplinks, st.sampled_from(["p", "q", "r", "s", *home_model.CLIENTS])),
            max_size=4,
            unique_by=lambda t: str(t[1]),
        ),
        missing=st.booleans(),
    )
    def set_uplinks(self, pick: int, alias: str, wanted: Any, missing: bool) -> None:
        alias = self.existing(pick, alias)
        switch = self.model.switches.get(alias)
        # An identifier of another uplink port that stays or goes has rules of its own, which the model leaves out.
        held = {port: p.uplink for port, p in switch.ports.items() if p.uplink} if switch else {}
        wanted = [(name, port) for name, port in wanted if held.get(port, name) == name]
        chosen = [name for name, _ in wanted]
        ids = [port for _, port in wanted][: -1 if missing else None]
        name_block = struct.pack("<I", len(chosen)) + b"".join(name.encode().ljust(81, b"\0") for name in chosen)
        id_block = struct.pack("<I", len(ids)) + b"".join(port.encode().ljust(48, b"\0") for port in ids)
        status = host.VSDVS_SetSwitchUplinkPorts(alias.encode(), memory(name_block), memory(id_block))
        self.expect(self.model.set_uplinks(alias, chosen, ids), status)

    @precondition(lambda self: any(switch.uplinks for switch in self.model.switches.values()))
    @rule(pick=picks, alias=aliases, which=picks, uplink=uplinks, up=st.booleans())
    def set_admin_state(self, pick: int, alias: str, which: int, uplink: str, up: bool) -> None:
        alias = self.existing(pick, alias, lambda switch: switch.uplinks)
        uplink = self.existing_uplink(which, alias, uplink)
        state = m.QEL_LINK_STATE_UP if up else m.QEL_LINK_STATE_DOWN
        status = host.VSQEL_SetUplinkAdminLinkState(alias.encode(), uplink.encode(), state)
        running = self.model.running(alias)
        self.expect(self.model.set_admin_state(running, uplink, up), status)

    # ---- policies ----

    @rule(pick=picks, alias=aliases, mtu=mtus)
    def set_mtu(self, pick: int, alias: str, mtu: int) -> None:
        alias = self.existing(pick, alias)
        allowed = self.model.set_property(alias, "global", None, m.VSPROP_MTU, struct.pack("<I", mtu), "", True)
        self.expect(allowed, host.VSDVS_SetMTU(alias.encode(), mtu))

    @rule(pick=picks, alias=aliases, mode=st.integers(0, 4))
    def set_filter_mode(self, pick: int, alias: str, mode: int) -> None:
        alias = self.existing(pick, alias)
        data = struct.pack("<I", mode)
        allowed = self.model.set_property(alias, "global", None, m.VSPROP_MULTICAST_FILTER, data, "", True)
        self.expect(allowed, host.VSDVS_SetMcastFilterMode(alias.encode(), mode))

    @rule(pick=picks, alias=aliases, count=st.integers(0, 3), standby=st.integers(0, 3), stranger=st.integers(0, 5))
    def set_team(self, pick: int, alias: str, count: int, standby: int, stranger: bool) -> None:
        alias = self.existing(pick, alias)
        switch = self.model.switches.get(alias)
        members = list(switch.uplinks[: count + standby]) if switch else []
        if stranger == 0:
            members.append("u")
        active, rest = members[:count], members[count:]
        policy = struct.pack("<IIBBHIII", 0, 0, 0, 0, 0, 0, len(active), len(rest))
        policy += b"".join(name.encode().ljust(81, b"\0") for name in members)
        status = host.VSDVS_SetTeamingPolicy(alias.encode(), memory(policy.ljust(2616, b"\0")))
        self.expect(self.model.set_team(alias, active, rest), status)

    @rule(pick=picks, alias=aliases)
    def clear_team(self, pick: int, alias: str) -> None:
        alias = self.existing(pick, alias)
        switch = self.model.switches.get(alias)
        if switch:
            switch.team = None
        allowed = {"QEL_OK"} if switch else {"QEL_NOT_FOUND"}
        self.expect(allowed, host.VSDVS_ClearTeamingPolicy(alias.encode()))

    # ---- properties ----

    def property_call(self, verb: str, scope: str, alias: str, dvport_id: str, *arguments: Any) -> int:
        call = getattr(host, f"VSDVS_{verb}{ {'global': 'Glob', 'host': 'Host', 'port': 'Port'}[scope] }Prop")
        place = [alias.encode(), dvport_id.encode()] if scope == "port" else [alias.encode()]
        return int(call(*place, *arguments))

    def set_property(
        self, pick: int, alias: str, place: tuple[str, str, int, str], data: bytes, owner: str, persistent: bool
    ) -> None:
        scope, name, dvport_id = self.placed(pick, alias, place)
        alias = self.existing(pick, alias)
        status = self.property_call(
            "Set", scope, alias, dvport_id, name.encode(), memory(data), len(data), owner.encode(), persistent
        )
        self.expect(self.model.set_property(alias, scope, dvport_id, name, data, owner, persistent), status)

    def get_property(
        self, pick: int, alias: str, place: tuple[str, str, int, str], owner: str, persistent: bool, room: int
    ) -> None:
        scope, name, dvport_id = self.placed(pick, alias, place)
        alias = self.existing(pick, alias)
        storage = ctypes.create_string_buffer(b"\xaa" * ROOM, ROOM)
        query = HNQQuery(room, ctypes.addressof(storage))
        status = self.property_call(
            "Get", scope, alias, dvport_id, name.encode(), ctypes.addressof(query), owner.encode(), persistent
        )
        allowed, value = self.model.get_property(alias, scope, dvport_id, name, owner, persistent)
        if value is not None and len(value) > room:
            allowed = {"QEL_BUF_TOO_SMALL"}
        if self.expect(allowed, status):
            assert storage.raw[: query.propLen] == value
        else:
            assert query.propLen == room
        written = len(value or b"") if status == 0 else 0
        assert storage.raw[written:] == b"\xaa" * (ROOM - written)

    def clear_property(
        self, pick: int, alias: str, place: tuple[str, str, int, str], owner: str, persistent: bool
    ) -> None:
        scope, name, dvport_id = self.placed(pick, alias, place)
        alias = self.existing(pick, alias)
        status = self.property_call("Clear", scope, alias, dvport_id, name.encode(), owner.encode(), persistent)
        self.expect(self.model.clear_property(alias, scope, dvport_id, name, owner, persistent), status)

    def placed(self, pick: int, alias: str, place: tuple[str, str, int, str]) -> tuple[str, str, str]:
        scope, name, port, dvport_id = place
        return scope, name, self.existing_port(port, self.existing(pick, alias), dvport_id)

    def stored(self, alias: str) -> list[tuple[str, str, str]]:
        """The scopes, names and ports of a switch's properties that have a value."""
        switch = self.model.switches.get(alias)
        if not switch:
            return []
        of_ports = [("port", name, port) for port, content in switch.ports.items() for name in content.properties]
        return [(scope, name, "") for scope, name in switch.properties] + of_ports

    @rule(
        pick=picks,
        alias=aliases,
        which=st.integers(0, 63),
        owner=owners,
        persistent=st.booleans(),
        change=st.sampled_from(["get", "get", "set", "clear"]),
        data=st.sampled_from(VALUES),
    )
    def use_stored(
        self, pick: int, alias: str, which: int, owner: str, persistent: bool, change: str, data: bytes
    ) -> None:
        alias = self.existing(pick, alias, lambda switch: self.stored(switch.alias))
        found = self.stored(alias)
        if not found:
            return
        scope, name, dvport_id = found[which % len(found)]
        place = (scope, name, ANY, dvport_id)
        pick = list(self.model.switches).index(alias)
        known = self.model.known.get(name)
        if known:
            data = [*known.samples, *VALUES][which % (len(known.samples) + len(VALUES))]
            persistent = persistent or known.is_tied
        if change == "get":
            self.get_property(pick, alias, place, owner, persistent, ROOM)
        elif change == "set":
            self.set_property(pick, alias, place, data, owner, persistent)
        else:
            self.clear_property(pick, alias, place, owner, persistent)

    # A rule for each kind of place, so that calls on properties are as frequent as their variety wants.
    setting: dict[str, Any] = {
        "pick": picks,
        "alias": aliases,
        "data": st.sampled_from(VALUES),
        "owner": owners,
        "persistent": st.booleans(),
    }
    of_places: Any = rule
    set_free = of_places(place=free_places, **setting)(set_property)
    set_known = of_places(place=known_places, **{**setting, "data": st.sampled_from(VALUES[:6])})(set_property)
    set_any = of_places(place=all_places, **setting)(set_property)
    getting: dict[str, Any] = {
        "pick": picks,
        "alias": aliases,
        "owner": owners,
        "persistent": st.booleans(),
        "room": st.sampled_from([ROOM, 4, 3, 0]),
    }
    get_known = of_places(place=known_places, **getting)(get_property)
    get_any = of_places(place=all_places, **getting)(get_property)
    clearing: dict[str, Any] = {"pick": picks, "alias": aliases, "owner": owners, "persistent": st.booleans()}
    clear_any = of_places(place=all_places, **clearing)(clear_property)

    # ---- what the host says of itself, after every call ----

    @invariant()
    def same_state(self) -> None:
        for each in self.model.switches.values():
            self.model.settle_macs(each)
        switches = list(self.model.switches.values())
        running = [switch for switch in switches if switch.has_portset]
        assert self.listed() == [switch.alias for switch in running]
        if not switches:
            return
        self.turn += 1
        switch = switches[self.turn % len(switches)]
        self.same_switch(switch)
        self.same_ports(switch)
        self.same_macs(switch)
        self.same_vlans(switch)
        self.same_mirrors(switch)
        self.same_lags(switch)

    def listed(self) -> list[str]:
        result = ctypes.c_void_p()
        assert host.VSQEL_GetSwitches(m.VS_LIST_DVS_ALIAS, ctypes.addressof(result)) == 0
        count = ctypes.c_int.from_address(result.value or 0).value
        slots = [ctypes.string_at((result.value or 0) + 8 + 81 * i).decode() for i in range(count)]
        host.VSQEL_FreeMemory(result)
        return slots

    def same_switch(self, switch: Switch) -> None:
        room = ctypes.create_string_buffer(218)
        name = [switch.alias, switch.switch_id, switch.portset_name or "none"][self.turn // 4 % 3]
        status = host.VSQEL_GetVSInfo(name.encode(), ctypes.addressof(room))
        # The name may be another switch's, or that of none that runs.
        meant = self.model.running(name)
        if meant is None:
            assert host.status(status) == "QEL_NOT_FOUND"
            return
        assert host.status(status) == "QEL_OK"
        mtu, highest, lowest, active, most = struct.unpack_from("<IHHII", room.raw)
        _, wanted = self.model.get_property(meant.alias, "global", None, m.VSPROP_MTU, "", False)
        assert (struct.pack("<I", mtu), lowest, highest) == (wanted, 1, 4094)
        assert (active, most) == (meant.active_ports(), meant.max_ports)
        assert room.raw[16:144].rstrip(b"\0").decode() == meant.alias
        assert room.raw[144:208].rstrip(b"\0").decode() == meant.switch_id
        assert struct.unpack_from("<Q", room.raw, 210)[0] == meant.flags

    def same_ports(self, switch: Switch) -> None:
        alias = switch.alias.encode()
        self.learn_numbers(switch)
        by_number = sorted(switch.ports.items(), key=lambda item: item[1].number or 0)
        kinds = {name: self.port_type(port) for name, port in by_number}
        for kind in (m.DVSPORT_TYPE_ACTIVE, m.DVSPORT_TYPE_SHADOW, m.DVSPORT_TYPE_LOCALCACHE):
            result = ctypes.c_void_p()
            assert host.DVSQEL_SwitchPortList(alias, ctypes.addressof(result), kind) == 0
            count = ctypes.c_int.from_address(result.value or 0).value
            entries = [ctypes.string_at((result.value or 0) + 8 + 52 * i, 52) for i in range(count)]
            host.VSQEL_FreeMemory(result)
            expected = [(name, self.connect_id(switch, name)) for name in kinds if kinds[name] == kind]
            assert [(entry[:48].rstrip(b"\0").decode(), entry[48:]) for entry in entries] == expected
        self.same_uplinks(switch)

    @staticmethod
    def port_type(port: Port) -> int:
        if port.is_active():
            return int(m.DVSPORT_TYPE_ACTIVE)
        return int(m.DVSPORT_TYPE_LOCALCACHE if port.is_local_copy else m.DVSPORT_TYPE_SHADOW)

    def connect_id(self, switch: Switch, dvport_id: str) -> bytes | None:
        return self.model.get_property(switch.alias, "port", dvport_id, m.QEL_HNQPROP_PORT_CONNECTID, "", False)[1]

    def same_uplinks(self, switch: Switch) -> None:
        alias = switch.alias.encode()
        blocks = (ctypes.c_void_p(), ctypes.c_void_p())
        status = host.VSDVS_GetSwitchUplinkPorts(alias, *(ctypes.addressof(block) for block in blocks))
        assert host.status(status) == "QEL_OK"
        texts = []
        for block, slot in zip(blocks, (81, 48)):
            count = ctypes.c_uint32.from_address(block.value or 0).value
            texts.append([ctypes.string_at((block.value or 0) + 4 + slot * i).decode() for i in range(count)])
            host.VSDVS_FreeMemory(block)
        assert texts == [switch.uplinks, [switch.port_of(name) for name in switch.uplinks]]
        for uplink in switch.uplinks if switch.has_portset else []:
            state = ctypes.c_int()
            assert host.VSQEL_GetUplinkLinkState(alias, uplink.encode(), ctypes.addressof(state)) == 0
            assert (state.value == m.QEL_LINK_STATE_UP) == self.model.link_is_up(switch, uplink)
        policy = ctypes.create_string_buffer(2616)
        assert host.VSDVS_GetTeamingPolicy(alias, ctypes.addressof(policy)) == 0
        active, standby = struct.unpack_from("<II", policy.raw, 16)
        members = [policy.raw[24 + 81 * i :][:81].split(b"\0")[0].decode() for i in range(active + standby)]
        assert (members[:active], members[active:]) == (switch.team or (switch.uplinks, []))


def main(examples: int, steps: int) -> None:
    run_state_machine_as_test(  # type: ignore[no-untyped-call]
        HostMachine,
        settings=settings(
            max_examples=examples,
            stateful_step_count=steps,
            derandomize=True,
            database=None,
            deadline=None,
            suppress_health_check=list(HealthCheck),
        ),
    )
    print(json.dumps(counts))


if __name__ == "__main__":
    main(int(sys.argv[1]), int(sys.argv[2]))
