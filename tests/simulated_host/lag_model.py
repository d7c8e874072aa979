"""LAGs in the model. They come from the boot description; what changes is which of their members are there, and the
links of these."""

from __future__ import annotations

import abc
import dataclasses
from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from host_model import Switch


@dataclasses.dataclass
class Lag:
    name: str
    # The names of uplink ports, and what LACP negotiated on each.
    members: dict[str, bool]


class LagModel(abc.ABC):
    @abc.abstractmethod
    def link_is_up(self, switch: Switch, uplink: str) -> bool: ...

    def lag_status(self, switch: Switch, lag: Lag) -> tuple[bool, int, list[str]]:
        """Whether it is up, the bitmap of the links of its members, and their names."""
        present = [uplink for uplink in lag.members if uplink in switch.uplinks]
        links = sum(1 << i for i, uplink in enumerate(present) if self.link_is_up(switch, uplink))
        return any(self.lacp_is_up(switch, lag, uplink) for uplink in present), links, present

    def lacp_is_up(self, switch: Switch, lag: Lag, uplink: str) -> bool:
        return self.link_is_up(switch, uplink) and lag.members[uplink]

    def lacp_link_state(self, switch: Switch, uplink: str) -> tuple[set[str], bool | None]:
        if switch is None or uplink not in switch.uplinks:
            return {"QEL_NOT_FOUND"}, None
        for lag in switch.lags:
            if uplink in lag.members:
                return {"QEL_OK"}, self.lacp_is_up(switch, lag, uplink)
        return {"QEL_NOT_SUPPORTED"}, None
