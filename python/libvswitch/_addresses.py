"""MAC and IP addresses between text and the bytes that records hold.

MAC-48 addresses in the notation of IEEE 802 (six octets, here separated by colons or hyphens); IPv4 as dotted decimal,
IPv6 as RFC 4291 and RFC 5952 write it.
"""

from __future__ import annotations

import ipaddress
import re
from collections.abc import Callable
from typing import TYPE_CHECKING

import libvswitch
from libvswitch import _records

if TYPE_CHECKING:
    from libvswitch import DVMirrorEntity, SwigPyObject

_MAC = re.compile(r"[0-9A-Fa-f]{1,2}(?:([:-])[0-9A-Fa-f]{1,2})(?:\1[0-9A-Fa-f]{1,2}){4}")


def _bytes_of(value: bytes | bytearray | memoryview | SwigPyObject, size: int) -> bytes:
    """`size` bytes of an object with a buffer, or from where a proxy points."""
    if isinstance(value, (bytes, bytearray, memoryview)):
        return bytes(value)
    return _records.read(value, size)


def mac_bytes(text: str) -> bytes:
    """The six bytes of a MAC address such as "02:00:00:00:00:01"; hyphens and one-digit octets are accepted, and the
    closing NUL that MAC text attributes carry is ignored. ValueError for any other text."""
    text = text.rstrip("\0")
    if not _MAC.fullmatch(text):
        raise ValueError(f"not a MAC address: {text!r}")
    return bytes(int(octet, 16) for octet in re.split("[:-]", text))


def mac_text(address: bytes | bytearray | memoryview | SwigPyObject) -> str:
    """The text of six bytes, or of those that a proxy of an array field points at: "02:00:00:00:00:01". ValueError
    unless they are six."""
    octets = _bytes_of(address, 6)
    if len(octets) != 6:
        raise ValueError(f"a MAC address has 6 bytes, not {len(octets)}")
    return octets.hex(":")


def ip_bytes(text: str) -> bytes:
    """The bytes of an IPv4 (4) or IPv6 (16) address, in network byte order. ValueError for any other text, also for an
    address with a zone, for which the bytes have no place."""
    if "%" in text:
        raise ValueError(f"an address with a zone: {text!r}")
    return ipaddress.ip_address(text).packed


def ip_text(address: bytes | bytearray | memoryview | SwigPyObject, size: int | None = None) -> str:
    """The text of an IPv4 or IPv6 address in network byte order. A proxy needs `size`, 4 or 16 bytes. ValueError for
    another number of bytes."""
    octets = _bytes_of(address, size or 16)
    if size is not None and len(octets) != size:
        raise ValueError(f"expected {size} bytes, not {len(octets)}")
    if len(octets) not in (4, 16):
        raise ValueError(f"an IP address has 4 or 16 bytes, not {len(octets)}")
    return str(ipaddress.ip_address(octets))


def _decimal(text: str, lowest: int, highest: int) -> None:
    if not re.fullmatch("-?[0-9]+", text, re.ASCII) or not lowest <= int(text) <= highest:
        raise ValueError(f"not a number from {lowest} to {highest}: {text!r}")


# What the text of a mirror entity has to be, by its type; the module would store what it can make of any.
_ENTITIES: dict[int, Callable[[str], object]] = {
    libvswitch.MIRROR_ENTTYPE_VLAN: lambda text: _decimal(text, 0, 4095),
    libvswitch.MIRROR_ENTTYPE_IP: ip_bytes,
    # Read back as a signed number.
    libvswitch.MIRROR_ENTTYPE_PORT: lambda text: _decimal(text, -(2**31), 2**32 - 1),
    libvswitch.MIRROR_ENTTYPE_MAC: mac_bytes,
}


def set_entity(self: DVMirrorEntity, text: str | None, /) -> None:
    if isinstance(text, str) and (check := _ENTITIES.get(self.type)):
        check(text)
    libvswitch.DVMirrorEntity_set_entity(self, text)


set_entity.__doc__ = libvswitch.DVMirrorEntity_set_entity.__doc__
