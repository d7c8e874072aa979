"""What the client of a port may do, and which frames reach it besides its own."""

from __future__ import annotations

import struct
from collections.abc import Iterable
from typing import TYPE_CHECKING, Self

from vswitch.enums import EthernetFilterFlag, SecurityFlag
from vswitch.values.base import BOOL, MAC, Value, bits_of, exactly, mac_bytes, mac_of, many, of, pack, value

__all__ = ["EthernetFilter", "SecurityPolicy"]

_SECURITY = struct.Struct("<I")
_FILTER = struct.Struct("<IH192s2x")
_DENIED = (SecurityFlag.DISALLOW_PROMISC, SecurityFlag.DISALLOW_MAC_CHANGE, SecurityFlag.DISALLOW_FORGED_SRC)


@value
class SecurityPolicy(Value):
    """What the client of a port is allowed: `promiscuous` mode, changes of its MAC address (`mac_changes`), frames with
    other source addresses than its own (`forged_transmits`)."""

    promiscuous: bool = of(BOOL, True)
    mac_changes: bool = of(BOOL, True)
    forged_transmits: bool = of(BOOL, True)

    @classmethod
    def strict(cls) -> Self:
        """Nothing is allowed."""
        return cls(False, False, False)

    def to_bytes(self) -> bytes:
        """A `VSPropSecurity`, 4 bytes."""
        allowed = (self.promiscuous, self.mac_changes, self.forged_transmits)
        return pack(_SECURITY, sum(int(flag) for flag, yes in zip(_DENIED, allowed, strict=True) if not yes))

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The policy of a `VSPropSecurity`. ValueError."""
        (flags,) = _SECURITY.unpack(exactly(data, _SECURITY.size, "VSPropSecurity"))
        return cls._made(*(not flags & flag for flag in _DENIED))


@value
class EthernetFilter(Value):
    """What reaches a port besides the frames for its client's address: kinds of frames (`flags`), and multicast
    `addresses` (MACs, at most 32)."""

    flags: EthernetFilterFlag = of(bits_of("EthernetFilterFlag"), EthernetFilterFlag(0))
    addresses: tuple[str, ...] = of(many(MAC), ())

    if TYPE_CHECKING:  # what is accepted is more than what is kept

        def __init__(
            self,
            flags: int = EthernetFilterFlag(0),
            addresses: Iterable[str] = (),
        ) -> None: ...

    def to_bytes(self) -> bytes:
        """A `VSExtraEthFilter`, 200 bytes."""
        addresses = b"".join(map(mac_bytes, self.addresses))
        return pack(_FILTER, self.flags, len(self.addresses), addresses[:192])

    @classmethod
    def from_bytes(cls, data: bytes) -> Self:
        """The filter of a `VSExtraEthFilter`. ValueError."""
        flags, count, addresses = _FILTER.unpack(exactly(data, _FILTER.size, "VSExtraEthFilter"))
        count = min(count, 32)
        return cls._made(EthernetFilterFlag(flags), tuple(mac_of(addresses[i : i + 6]) for i in range(0, count * 6, 6)))
