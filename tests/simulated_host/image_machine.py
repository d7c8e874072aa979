"""State images: taken, damaged and read back, on the host and on the model. Part of model_machine.py."""

import struct
import zlib
from collections.abc import Callable

from base_machine import FREE, Machine, handed_out_with_length, host, memory
from hypothesis import strategies as st
from hypothesis.stateful import precondition, rule
from image_model import Image

SIGNATURE = b"vswstate"
MOST_IMAGES = 3


def sealed(body: bytes, version: int = 1) -> bytes:
    numbers = struct.pack("<II", version, len(body))
    return SIGNATURE + numbers + struct.pack("<I", zlib.crc32(numbers + body)) + body


# A document in CBOR: {"content": "state", "switches": []}.
NO_SWITCHES = sealed(b"\xa2\x67content\x65state\x68switches\x80")


class ImageMachine(Machine):
    def __init__(self) -> None:
        super().__init__()
        self.images: list[tuple[bool, Image]] = []

    @rule(persistent=st.booleans(), place=st.integers(0, MOST_IMAGES - 1))
    def take_image(self, persistent: bool, place: int) -> None:
        call = host.DVSQEL_PersistentStateGet if persistent else host.DVSQEL_StateGet
        status, data = handed_out_with_length(call)
        self.expect({"QEL_OK"}, status)
        assert data[:8] == SIGNATURE and sealed(data[20:]) == data
        assert (status, data) == handed_out_with_length(call), "the same state gives the same image"
        self.images[place : place + 1] = [(persistent, self.model.take_image(data, persistent))]

    # Often enough to matter, and so seldom that the other rules have a state to work on.
    @precondition(lambda self: bool(self.images))
    @rule(which=st.integers(0, MOST_IMAGES - 1), chance=st.integers(0, 1))
    def read_image(self, which: int, chance: int) -> None:
        if chance:
            return
        persistent, image = self.images[which % len(self.images)]
        if self.expect(self.model.replace_state(image), host.DVSQEL_StateInit(memory(image.data), len(image.data))):
            self.same_after_reading()
            # The order of creation is the host's own.
            if [s.switch_id for s in self.model.switches.values()] == [s.switch_id for s in image.switches]:
                call = host.DVSQEL_PersistentStateGet if persistent else host.DVSQEL_StateGet
                assert handed_out_with_length(call)[1] == image.data

    @precondition(lambda self: any(persistent for persistent, _ in self.images))
    @rule(which=st.integers(0, MOST_IMAGES - 1), chance=st.integers(0, 2))
    def merge_image(self, which: int, chance: int) -> None:
        if chance:
            return
        found = [image for persistent, image in self.images if persistent]
        image = found[which % len(found)]
        status = host.DVSState_ConfigDeserialize(memory(image.data), len(image.data))
        if self.expect(self.model.merge_state(image), status):
            self.same_after_reading()

    @rule(chance=st.integers(0, 7))
    def load_config(self, chance: int) -> None:
        if chance == 0:
            self.expect(self.model.load_config(), host.DVSLoadConfig())

    @precondition(lambda self: bool(self.images))
    @rule(
        which=st.integers(0, MOST_IMAGES - 1),
        place=st.integers(0, 2**16),
        bit=st.integers(0, 7),
        kind=st.sampled_from(["bit", "bit", "short", "long", "newer", "none", "negative", "no switches"]),
        merge=st.booleans(),
    )
    def read_wrong_image(self, which: int, place: int, bit: int, kind: str, merge: bool) -> None:
        data = self.images[which % len(self.images)][1].data
        size = None
        if kind == "bit":
            place %= len(data)
            data = data[:place] + bytes([data[place] ^ 1 << bit]) + data[place + 1 :]
            allowed = "QEL_INVALID_METADATA" if place < 8 or 12 <= place < 16 else "QEL_CHECKSUM_MISMATCH"
            if 8 <= place < 12:
                # Format 1 becomes 0, or a higher one.
                allowed = "QEL_CHECKSUM_MISMATCH" if (place, bit) == (8, 0) else "QEL_VERSION_MISMATCH_MAJOR"
        elif kind == "short":
            data, allowed = data[: place % len(data)], "QEL_INVALID_METADATA"
        elif kind == "long":
            data, allowed = data + b"\0", "QEL_INVALID_METADATA"
        elif kind == "newer":
            data, allowed = sealed(data[20:], 2), "QEL_VERSION_MISMATCH_MAJOR"
        elif kind == "none":
            allowed = "QEL_BAD_PARAM"
        elif kind == "negative":
            size, allowed = -1, "QEL_BAD_PARAM"
        else:
            # The first switch of the host has clients.
            data, allowed = NO_SWITCHES, "QEL_OK" if merge else "QEL_BUSY"
        call = host.DVSState_ConfigDeserialize if merge else host.DVSQEL_StateInit
        self.expect({allowed}, call(memory(data) if kind != "none" else None, len(data) if size is None else size))

    def same_after_reading(self) -> None:
        """What the host gives by itself, and every value in effect."""
        for alias, switch in self.model.switches.items():
            self.learn_numbers(switch)
            if switch.has_portset:
                self.learn_portset(alias)
            for name in [*FREE, *self.model.known]:
                if name in FREE or self.model.known[name].scope == "global":
                    self.same_value(host.DVSQEL_GlobalPropGet, "global", name, alias)
                for dvport_id in switch.ports:
                    if name in FREE or self.model.known[name].scope == "port":
                        self.same_value(host.DVSQEL_PortDataGet, "port", name, alias, dvport_id)

    def same_value(
        self, call: Callable[..., int], scope: str, name: str, alias: str, dvport_id: str | None = None
    ) -> None:
        place = [alias.encode()] + ([dvport_id.encode()] if dvport_id else [])
        status, data = handed_out_with_length(call, *place, name.encode())
        allowed, value = self.model.get_property(alias, scope, dvport_id, name)
        assert host.status(status) in allowed and data == (value or b""), name
