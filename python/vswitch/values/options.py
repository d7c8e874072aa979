"""Runtime options of the host: the buffer that the library reads and gives."""

from __future__ import annotations

import struct
from collections.abc import Mapping

from vswitch.enums import RuntimeOption
from vswitch.errors import BadParameter
from vswitch.values.base import plain_text, whole_number

_TOTAL = struct.Struct("<I")
_HEAD = struct.Struct("<HH")
_NUMBER = struct.Struct("<I")
TEXTS = frozenset((RuntimeOption.IGMP_ROUTER_IP, RuntimeOption.MLD_ROUTER_IP))


def checked(option: RuntimeOption, value: object) -> int | str:
    """The value of an option: a text for the addresses of routers, an int for any other (a bool counts as 0 or 1).
    TypeError with the option's name, ValueError for a text with NUL."""
    try:
        if option in TEXTS:
            return plain_text(value)
        return int(value) if isinstance(value, bool) else whole_number(value)
    except (TypeError, ValueError) as error:
        raise type(error)(f"{option.option_name}: {error}") from None


def options_bytes(options: Mapping[RuntimeOption, int | str]) -> bytes:
    """A `VSRuntimeOptions` with these options. BadParameter for a number that has no room."""
    entries = b""
    for option, value in options.items():
        if isinstance(value, int):
            if not 0 <= value <= 0xFFFFFFFF:
                raise BadParameter(f"{option.option_name}: {value} is out of its range")
            data = _NUMBER.pack(value)
        else:
            data = value.encode(errors="surrogateescape")[:0xFFF0] + b"\0"
        entries += _HEAD.pack(option, _HEAD.size + len(data)) + data
    # Buffers have a byte to spare: the platform takes an entry that ends with the buffer for one that does not fit.
    return _TOTAL.pack(_TOTAL.size + len(entries)) + entries + b"\0"


def options_from(data: bytes) -> dict[RuntimeOption, int | str]:
    """The options of a `VSRuntimeOptions`; those that this package does not know are left out."""
    found: dict[RuntimeOption, int | str] = {}
    place = _TOTAL.size
    while place + _HEAD.size <= len(data):
        number, length = _HEAD.unpack_from(data, place)
        if length < _HEAD.size:
            break
        value = data[place + _HEAD.size : place + length]
        option = RuntimeOption.of(number)
        if isinstance(option, RuntimeOption):
            text = value.partition(b"\0")[0].decode(errors="surrogateescape")
            found[option] = text if option in TEXTS else int.from_bytes(value[:4], "little")
        place += length
    return found
