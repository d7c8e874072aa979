"""State images in the model: what an image holds of the switches, and what the switches are after it was read."""

from __future__ import annotations

import abc
import copy
import dataclasses
from typing import TYPE_CHECKING

from mac_model import MacModel

if TYPE_CHECKING:
    from host_model import Switch


@dataclasses.dataclass
class Image:
    data: bytes
    # As they were.
    switches: list[Switch]
    # The uplink ports with a NIC behind them, by switch identifier.
    bound: dict[str, list[str]]


class ImageModel(MacModel, abc.ABC):
    bound: dict[str, tuple[str, str]]

    @abc.abstractmethod
    def destroy(self, alias: str) -> set[str]: ...

    @abc.abstractmethod
    def bind(self, alias: str, uplink: str) -> None: ...

    @abc.abstractmethod
    def unbind(self, alias: str, uplink: str) -> None: ...

    def take_image(self, data: bytes, persistent_only: bool) -> Image:
        wanted = [switch for switch in self.switches.values() if switch.persistent or not persistent_only]
        switches = copy.deepcopy(wanted)
        if persistent_only:
            self.forget_volatile_of(switches)
        bound = {
            switch.switch_id: [uplink for uplink in switch.uplinks if self.bound.get(uplink) == (switch.alias, uplink)]
            for switch in switches
        }
        return Image(data, switches, bound)

    def replace_state(self, image: Image) -> set[str]:
        """All of it."""
        if self.would_lose_client(image):
            return {"QEL_BUSY"}
        known = [switch.switch_id for switch in image.switches]
        for alias in [alias for alias, switch in self.switches.items() if switch.switch_id not in known]:
            self.destroy(alias)
        self.read_switches(image)
        return {"QEL_OK"}

    def merge_state(self, image: Image) -> set[str]:
        """Of an image of persistent switches and values; the other switches stay."""
        ids = {switch.alias: switch.switch_id for switch in image.switches}
        if any(s.alias in ids and s.switch_id not in ids.values() for s in self.switches.values()):
            return {"QEL_EXISTS"}
        self.read_switches(image)
        return {"QEL_OK"}

    def would_lose_client(self, image: Image) -> bool:
        wanted = {switch.switch_id: switch for switch in image.switches}
        for switch in self.switches.values():
            clients = {name for name, port in switch.ports.items() if port.client_mac is not None}
            after = wanted.get(switch.switch_id)
            if clients and (after is None or not after.has_portset or not clients <= set(after.ports)):
                return True
        return False

    def read_switches(self, image: Image) -> None:
        """Those that are there already come first: they are the older ones."""
        coming = {switch.switch_id: copy.deepcopy(switch) for switch in image.switches}
        after = []
        for switch in list(self.switches.values()):
            for uplink in switch.uplinks if switch.switch_id in coming else []:
                self.unbind(switch.alias, uplink)
            wanted = coming.pop(switch.switch_id, None)
            after.append(self.taken_over(switch, wanted) if wanted else switch)
        for switch in coming.values():
            switch.portset_name = None
            switch.lags, switch.macs = [], {}
            for port in switch.ports.values():
                port.become_new()
            after.append(switch)
        self.switches = {switch.alias: switch for switch in after}
        for switch in after:
            for uplink in image.bound.get(switch.switch_id, []):
                # One that a switch uses which the image does not have is left out.
                if uplink not in self.bound:
                    self.bind(switch.alias, uplink)

    def taken_over(self, switch: Switch, wanted: Switch) -> Switch:
        """What the host has by itself stays; the rest is what the image says."""
        wanted.portset_name, wanted.lags, wanted.macs = switch.portset_name, switch.lags, switch.macs
        for name, port in wanted.ports.items():
            former = switch.ports.get(name)
            if former is None:
                port.become_new()
                continue
            port.number, port.client_mac, port.is_local_copy = former.number, former.client_mac, former.is_local_copy
            if port.uplink != former.uplink:
                self.forget_learned(wanted, name)
        self.forget_macs(wanted, set(switch.ports) - set(wanted.ports))
        return wanted
