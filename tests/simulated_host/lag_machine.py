"""What the host says of LAGs, and the model. Part of model_machine.py."""

import ctypes
import struct

import _libvswitch as m
from base_machine import Machine, handed_out, host
from host_model import Switch

STATUS = struct.Struct("<II68sQI")
NAME_SIZE = 32


def table_length(address: int) -> int:
    length = 4
    for _ in range(ctypes.c_uint32.from_address(address).value):
        length += STATUS.size + NAME_SIZE * ctypes.c_uint32.from_address(address + length + STATUS.size - 4).value
    return length


class LagMachine(Machine):
    def same_lags(self, switch: Switch) -> None:
        if not switch.has_portset:
            return
        status, data = handed_out(host.VSQEL_GetLAGTable, switch.alias.encode(), length=table_length)
        assert status == 0
        expected = struct.pack("<I", len(switch.lags))
        for number, lag in enumerate(switch.lags, 1):
            is_up, links, names = self.model.lag_status(switch, lag)
            state = m.QEL_LINK_STATE_UP if is_up else m.QEL_LINK_STATE_DOWN
            expected += STATUS.pack(state, number, lag.name.encode(), links, len(names))
            expected += b"".join(name.encode().ljust(NAME_SIZE, b"\0") for name in names)
        assert data == expected
        for uplink in [*switch.uplinks, "none"]:
            state = ctypes.c_int()
            status = host.VSQEL_GetUplinkLACPLinkState(switch.alias.encode(), uplink.encode(), ctypes.addressof(state))
            allowed, lacp_is_up = self.model.lacp_link_state(switch, uplink)
            assert host.status(status) in allowed
            if lacp_is_up is not None:
                assert state.value == (m.QEL_LINK_STATE_UP if lacp_is_up else m.QEL_LINK_STATE_DOWN)
