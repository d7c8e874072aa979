"""Images of state: as bytes, in files, and taken apart."""

from __future__ import annotations

import os
from typing import Any, Self

from vswitch.errors import NotSupported
from vswitch.values.kinds import wrong_type

__all__ = ["StateImage"]

_MAGIC, _HEAD = b"vswstate", 20
_CONTENTS = ("state", "port", "properties")


class StateImage:
    """State of the host, a port, or a list of properties in the library's serial form. A value: equal by its bytes.

    `data`, `len(image)`, `bytes(image)`: the bytes. What is in them is the library's to check, when it takes them.
    """

    __slots__ = ("_data",)

    def __init__(self, data: bytes) -> None:
        """An image of these bytes. TypeError."""
        if not isinstance(data, (bytes, bytearray, memoryview)):
            raise wrong_type("data: bytes", data)
        self._data = bytes(data)

    @property
    def data(self) -> bytes:
        """The bytes."""
        return self._data

    def __len__(self) -> int:
        return len(self._data)

    def __bytes__(self) -> bytes:
        return self._data

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, StateImage):
            return NotImplemented
        return self._data == other._data

    def __hash__(self) -> int:
        return hash((StateImage, self._data))

    def __repr__(self) -> str:
        return f"<StateImage of {len(self)} bytes>"

    def __reduce__(self) -> tuple[Any, ...]:
        return StateImage, (self._data,)

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes a new file of mode 0600, which takes the place of `path` in one step. OSError."""
        import tempfile

        folder, name = os.path.split(os.fspath(path))
        handle, made = tempfile.mkstemp(prefix=f".{name}.", dir=folder or ".")
        try:
            with os.fdopen(handle, "wb") as file:
                file.write(self._data)
                file.flush()
                os.fsync(file.fileno())
            os.replace(made, path)
        except BaseException:
            os.unlink(made)
            raise

    @classmethod
    def load(cls, path: str | os.PathLike[str]) -> Self:
        """The image of a file. OSError."""
        with open(path, "rb") as file:
            return cls(file.read())

    def _document(self) -> dict[str, Any] | None:
        """What is in it, None where the form is another than the simulated host's."""
        data = self._data
        if data[:8] != _MAGIC or len(data) < _HEAD or int.from_bytes(data[8:12], "little") != 1:
            return None
        if int.from_bytes(data[12:16], "little") != len(data) - _HEAD:
            return None
        import cbor2

        try:
            document = cbor2.loads(data[_HEAD:])
        except Exception:  # noqa: BLE001 - what is no CBOR is another form, however it is found
            return None
        return document if isinstance(document, dict) and document.get("content") in _CONTENTS else None

    @property
    def content(self) -> str | None:
        """What it is of: "state", "port" or "properties"; None where the form is not known."""
        document = self._document()
        return None if document is None else str(document["content"])

    def summary(self) -> dict[str, Any]:
        """What is in it, values of properties as `{"bytes": N}`. NotSupported where `content` is None."""
        document = self._document()
        if document is None:
            raise NotSupported("the form of this image is not known")
        summary: dict[str, Any] = _without_bytes(document)
        return summary

    def document(self) -> dict[str, Any]:
        """What is in it, values of properties as bytes. NotSupported where `content` is None."""
        document = self._document()
        if document is None:
            raise NotSupported("the form of this image is not known")
        return document


def _without_bytes(given: Any) -> Any:
    if isinstance(given, bytes):
        return {"bytes": len(given)}
    if isinstance(given, dict):
        return {str(key): _without_bytes(one) for key, one in given.items()}
    return [_without_bytes(one) for one in given] if isinstance(given, list) else given


def image_bytes(image: StateImage | bytes) -> bytes:
    """The bytes of what is accepted as an image. TypeError."""
    if isinstance(image, StateImage):
        return image.data
    if not isinstance(image, (bytes, bytearray, memoryview)):
        raise wrong_type("image: a StateImage or bytes", image)
    return bytes(image)
