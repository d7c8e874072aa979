"""What the parts of the machine share: the host, the strategies, and how calls and what they return are compared with
the model. Part of test_model.py."""

import atexit
import ctypes
import os
import tempfile
from collections.abc import Callable
from typing import Any

import home_model
from host_calls import Host
from host_model import NICS, Model, Switch
from hypothesis import strategies as st
from hypothesis.stateful import RuleBasedStateMachine

ALIASES = ["a", "b", "c", "d"]
PORTS = ["p", "q", "r", "s", "t", "port", "uplink-1", "uplink-2"]
UPLINKS = ["u", "v", "w", "plain", *NICS]
# Names of properties without rules.
FREE = ["free", "other"]

aliases = st.sampled_from(ALIASES)
ports = st.sampled_from(PORTS)
uplinks = st.sampled_from(UPLINKS)
# Which of the existing ones, or for the last one whatever comes.
ANY = 15
picks = st.integers(0, ANY)

host = Host()
boot = getattr(host.libraries[0], "_ZN4host4bootEv")
# The next call has a fresh host, as it is in memory.
close_host = getattr(host.libraries[0], "_ZN4host10close_hostEv")
counts = {"calls": 0, "successes": 0}

with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False) as file:
    file.write(home_model.description())
atexit.register(os.unlink, file.name)
os.environ["VSWITCH_HOST_INIT"] = file.name


def handed_out(call: Callable[..., int], *arguments: Any, length: Callable[[int], int]) -> tuple[int, bytes]:
    """The status of a call that returns a record, and the record, whose length follows from its address."""
    result = ctypes.c_void_p()
    status = call(*arguments, ctypes.addressof(result))
    if status != 0:
        assert result.value is None
        return status, b""
    address = result.value or 0
    data = ctypes.string_at(address, length(address))
    host.VSQEL_FreeMemory(result)
    return status, data


def handed_out_with_length(call: Callable[..., int], *arguments: Any) -> tuple[int, bytes]:
    """The same for a call that returns the length beside the record; nothing is a null pointer."""
    result, size = ctypes.c_void_p(), ctypes.c_int()
    status = call(*arguments, ctypes.addressof(result), ctypes.addressof(size))
    if result.value is None:
        return status, b""
    data = ctypes.string_at(result.value, size.value)
    host.VSQEL_FreeMemory(result)
    return status, data


def counted(header: int, position: int, size: int) -> Callable[[int], int]:
    """The length of a record of elements behind a header, which has their number at that position."""
    return lambda address: header + size * ctypes.c_uint32.from_address(address + position).value


def memory(data: bytes) -> ctypes.Array[ctypes.c_char]:
    """Exactly as long as the data, so that what reads beyond them is found where memory is checked."""
    return ctypes.create_string_buffer(data, max(len(data), 1))


class Machine(RuleBasedStateMachine):
    def __init__(self) -> None:
        super().__init__()
        self.model = Model(home_model.home())
        self.portset_names: set[str] = set()
        self.numbers: set[int] = set()
        self.turn = 0

    def teardown(self) -> None:
        close_host()

    def expect(self, allowed: set[str], status: int) -> bool:
        counts["calls"] += 1
        counts["successes"] += status == 0
        assert host.status(status) in allowed, f"{host.status(status)} instead of {allowed}"
        return status == 0

    def existing(self, pick: int, alias: str, is_wanted: Callable[[Switch], object] = lambda switch: True) -> str:
        """Mostly a switch that exists (a wanted one, if there is one), else the alias."""
        wanted = [name for name, switch in self.model.switches.items() if is_wanted(switch)]
        switches = wanted or list(self.model.switches)
        return switches[pick % len(switches)] if switches and pick != ANY else alias

    def existing_port(self, pick: int, alias: str, dvport_id: str) -> str:
        switch = self.model.switches.get(alias)
        found = list(switch.ports) if switch else []
        return found[pick % len(found)] if found and pick != ANY else dvport_id

    def existing_uplink(self, pick: int, alias: str, uplink: str) -> str:
        switch = self.model.switches.get(alias)
        found = switch.uplinks if switch else []
        return found[pick % len(found)] if found and pick != ANY else uplink

    def port_of_a_switch(self, pick: int, alias: str, port: int, dvport_id: str) -> tuple[str, str]:
        """Mostly a port that exists."""
        alias = self.existing(pick, alias, lambda switch: switch.ports)
        return alias, self.existing_port(port, alias, dvport_id)

    def learn_portset(self, alias: str) -> None:
        room = ctypes.create_string_buffer(128)
        assert host.status(host.DVSAliasToPortsetName(alias.encode(), ctypes.addressof(room))) == "QEL_OK"
        name, switch = room.value.decode(), self.model.switches[alias]
        if switch.portset_name is None:
            assert name not in self.portset_names, "a port-set name was used twice"
            self.portset_names.add(name)
            switch.portset_name = name
        assert name == switch.portset_name, "it gets the same name again"

    def learn_numbers(self, switch: Switch) -> None:
        for dvport_id, port in switch.ports.items():
            result = ctypes.c_uint32()
            status = host.VSDVS_DvPortIDToPortID(switch.alias.encode(), dvport_id.encode(), ctypes.addressof(result))
            assert host.status(status) == "QEL_OK", dvport_id
            if port.number is None:
                assert result.value not in self.numbers | {0}, "a number was used twice"
                port.number = result.value
                self.numbers.add(port.number)
            assert result.value == port.number
