"""Writes capture files by their formats, byte by byte: what captures have to look like, and what replay reads."""

import struct
from collections.abc import Iterable

ETHERNET = 1


def padded(data: bytes) -> bytes:
    return data + bytes(-len(data) % 4)


class Pcapng:
    """Blocks of one byte order, `"<"` or `">"`."""

    def __init__(self, order: str = "<") -> None:
        self.order = order

    def pack(self, form: str, *values: int) -> bytes:
        return struct.pack(self.order + form, *values)

    def block(self, kind: int, body: bytes) -> bytes:
        length = self.pack("I", len(padded(body)) + 12)
        return self.pack("I", kind) + length + padded(body) + length

    def options(self, options: Iterable[tuple[int, bytes]]) -> bytes:
        made = b"".join(self.pack("HH", code, len(value)) + padded(value) for code, value in options)
        return made + bytes(4) if made else b""

    def section(self, version: int = 1) -> bytes:
        return self.block(0x0A0D0D0A, self.pack("IHHq", 0x1A2B3C4D, version, 0, -1))

    def interface(self, linktype: int = ETHERNET, snaplen: int = 262144,
                  options: "Iterable[tuple[int, bytes]]" = ()) -> bytes:
        return self.block(1, self.pack("HHI", linktype, 0, snaplen) + self.options(options))

    def enhanced(self, data: bytes, stamp: int = 0, interface: int = 0, length: "int | None" = None,
                 captured: "int | None" = None, options: "Iterable[tuple[int, bytes]]" = ()) -> bytes:
        head = self.pack("IIIII", interface, stamp >> 32, stamp & 0xFFFFFFFF,
                         len(data) if captured is None else captured,
                         len(data) if length is None else length)
        return self.block(6, head + padded(data) + self.options(options))

    def simple(self, data: bytes, length: "int | None" = None) -> bytes:
        return self.block(3, self.pack("I", len(data) if length is None else length) + data)


def capture(name: str, frames: "Iterable[tuple[int, bytes, int, str | None]]", snaplen: int = 262144) -> bytes:
    """A capture of a host: (time in microseconds, frame, 1 in or 2 out, the reason of a drop) each."""
    writer = Pcapng()
    made = writer.section() + writer.interface(snaplen=snaplen, options=[(2, name.encode()), (9, b"\x06")])
    for time, frame, direction, reason in frames:
        comment = [(1, f"drop: {reason}".encode())] if reason else []
        made += writer.enhanced(frame[:snaplen or None], time, length=len(frame),
                                options=[*comment, (2, struct.pack("<I", direction))])
    return made


def pcap(frames: "Iterable[tuple[float, bytes]]", order: str = "<", nanoseconds: bool = False,
         linktype: int = ETHERNET) -> bytes:
    """(seconds, frame) each."""
    made = struct.pack(order + "IHHiIII", 0xA1B23C4D if nanoseconds else 0xA1B2C3D4, 2, 4, 0, 0, 262144, linktype)
    for time, frame in frames:
        fraction = round(time % 1 * (10**9 if nanoseconds else 10**6))
        made += struct.pack(order + "IIII", int(time), fraction, len(frame), len(frame)) + frame
    return made
