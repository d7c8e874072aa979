"""The property store: of a switch, of a switch on this host, of a port; and lists of properties outside the state."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Mapping
from types import TracebackType
from typing import Any, Self

import libvswitch

from vswitch import _hints, _walk
from vswitch._calls import Data, Output, call, query, take_bytes
from vswitch.enums import PropertyKind, Scope
from vswitch.errors import NotFound, NotSupported
from vswitch.handles.collection import text
from vswitch.handles.image import StateImage
from vswitch.handles.setting import named
from vswitch.values.base import bits_of, truth, whole_number
from vswitch.values.properties import PropertyValue, key_text, native_bytes

__all__ = ["Properties", "PropertyList"]

_KINDS = bits_of("PropertyKind")

# The calls of each scope.
_GET = {Scope.GLOBAL: "VSDVS_GetGlobProp", Scope.HOST: "VSDVS_GetHostProp", Scope.PORT: "VSDVS_GetPortProp"}
_SET = {Scope.GLOBAL: "VSDVS_SetGlobProp", Scope.HOST: "VSDVS_SetHostProp", Scope.PORT: "VSDVS_SetPortProp"}
_CLEAR = {Scope.GLOBAL: "VSDVS_ClearGlobProp", Scope.HOST: "VSDVS_ClearHostProp", Scope.PORT: "VSDVS_ClearPortProp"}
_SET_KINDS = {Scope.GLOBAL: "DVSQEL_GlobalPropSet", Scope.HOST: "DVSQEL_HostPropSet", Scope.PORT: "DVSQEL_PortDataSet"}
_LOOKUP = {Scope.GLOBAL: "DVSState_GlobalPropLookup", Scope.HOST: "DVSState_HostPropLookup"}
_SMARTNIC = {
    Scope.GLOBAL: "DVSQEL_SmartNICGlobalPropGet",
    Scope.HOST: "DVSQEL_SmartNICHostPropGet",
    Scope.PORT: "DVSQEL_SmartNICPortDataGet",
}
_VENDOR = {
    Scope.GLOBAL: "DVSQEL_VendorGlobalPropList",
    Scope.HOST: "DVSQEL_VendorHostPropList",
    Scope.PORT: "DVSQEL_VendorPortPropList",
}
_EXTRA = {Scope.GLOBAL: "DVSQEL_ExtraConfigPropList", Scope.PORT: "DVSQEL_ExtraConfigPortPropList"}


def _bits(kinds: int) -> int:
    """Kinds as calls take them, without a sign."""
    return int(named("kinds", _KINDS.accept, kinds)) & 0xFFFFFFFF


def _owner(owner: str | None) -> str | None:
    return None if owner is None else text("owner", owner)


class Properties(Mapping[str, PropertyValue]):
    """Properties that were written, by key: `switch.properties["org.example.rack"] = "B12"`.

    A key is its text, the name of a constant ("VSPROP_MTU") or a PropertyKey. Iteration, `in` and `[]` are about what
    was written; `effective(key)` gives defaults too. `p[key]` raises NotFound, which is also a KeyError.
    """

    __slots__ = ("_names", "_scope")

    def __init__(self, scope: Scope, *names: str) -> None:
        """Those of a switch (its alias), or of a port (alias and identifier)."""
        self._scope = scope
        self._names = names

    def _written(self) -> dict[str, _walk.Written]:
        """What was written, with the value in effect."""
        if self._scope is Scope.PORT:
            return _walk.port_properties(*self._names)
        walk = _walk.switch_properties if self._scope is Scope.GLOBAL else _walk.host_properties
        return walk(*self._names)

    def _read(self, key: str, owner: str | None, *, stored: bool) -> bytes:
        return query(_GET[self._scope], *self._names, key, after=(owner, int(stored)))

    def _value(self, key: str, owner: str | None, *, stored: bool, kinds: int, written: bool) -> PropertyValue:
        data = self._read(key, owner, stored=stored)
        volatile = False
        if written and not stored:
            try:
                volatile = self._read(key, owner, stored=True) != data
            except NotFound:
                volatile = True
        return PropertyValue(key, data, self._scope, PropertyKind(kinds), written, volatile)

    def _missing(self, key: str) -> NotFound:
        port = self._names[1] if self._scope is Scope.PORT else None
        return NotFound(
            _hints.asked(lambda: _hints.no_property(self._names[0], port, key, host=self._scope is Scope.HOST))
        )

    def __getitem__(self, key: str) -> PropertyValue:
        name = named("key", key_text, key)
        written = self._written().get(name)
        if written is None:
            raise self._missing(name)
        return self._value(name, None, stored=False, kinds=written.kinds, written=True)

    def get(
        self, key: str, default: Any = None, *, owner: str | None = None, stored: bool = False
    ) -> Any:
        """The property of a key, `default` where none was written, or where another than `owner` has written it.
        `stored`: the persistent value in place of the one in effect."""
        name = named("key", key_text, key)
        owner, stored = _owner(owner), named("stored", truth, stored)
        written = self._written().get(name)
        if written is None:
            return default
        try:
            return self._value(name, owner, stored=stored, kinds=written.kinds, written=True)
        except NotFound:
            return default

    def effective(self, key: str, *, owner: str | None = None) -> PropertyValue:
        """The value in effect, also a default that nobody wrote (`written` is False then). NotFound for a key without
        either."""
        name, owner = named("key", key_text, key), _owner(owner)
        written = self._written().get(name)
        kinds = int(PropertyKind.CONFIG) if written is None else written.kinds
        if written is None and self._scope in _LOOKUP:
            item = libvswitch.cell("DVSDataItem *")
            call(_LOOKUP[self._scope], *self._names, name, Output(item))
            kinds = call("DVSData_PropType", item.value) or kinds
        return self._value(name, owner, stored=False, kinds=kinds, written=written is not None)

    def __iter__(self) -> Iterator[str]:
        return iter(self._written())

    def __len__(self) -> int:
        return len(self._written())

    def __contains__(self, key: object) -> bool:
        return isinstance(key, str) and "\0" not in key and key_text(key) in self._written()

    def __setitem__(self, key: str, value: Any) -> None:
        self.set(key, value)

    def update(self, mapping: Mapping[str, Any]) -> None:
        """Sets each of them, in order. What was set stays where a later one is refused."""
        for key, value in mapping.items():
            self.set(key, value)

    def set(
        self,
        key: str,
        value: Any,
        *,
        owner: str | None = None,
        volatile: bool = False,
        kinds: PropertyKind | None = None,
        runtime: bool = False,
        size: int | None = None,
    ) -> None:
        """Writes a property.

        `value`: bytes, a text (UTF-8, without terminator), a bool (1 byte), an int (little-endian, of `size` 1, 2, 4 or
        8 bytes; 4), a PropertyValue, or a value with a native form. `owner`: who becomes its owner, 1 to 127 bytes.
        `volatile`: the value is lost at the next boot, and the persistent one stays. `kinds`: what it is for; without
        an owner. `runtime`: it describes the running state; of the host scope only. BadParameter for a value that the
        property cannot have, PermissionDenied for another's, ReadOnly.
        """
        name, owner = named("key", key_text, key), _owner(owner)
        data = named("value", lambda given: native_bytes(given, size), value)
        volatile, runtime = named("volatile", truth, volatile), named("runtime", truth, runtime)
        if runtime and (self._scope is not Scope.HOST or kinds is not None):
            raise ValueError("runtime: only of the host scope, and without kinds")
        if kinds is not None:
            if owner is not None:
                raise ValueError("owner: not together with kinds")
            bits = _bits(kinds) | (_bits(PropertyKind.VOLATILE) if volatile else 0)
            call(_SET_KINDS[self._scope], *self._names, name, Data(data), len(data), bits)
            return
        call_name = "VSDVS_SetRuntimeHostProp" if runtime else _SET[self._scope]
        call(call_name, *self._names, name, data, len(data), owner, int(not volatile))

    def __delitem__(self, key: str) -> None:
        self.remove(key)

    def remove(
        self, key: str, *, owner: str | None = None, volatile_only: bool = False, missing_ok: bool = False
    ) -> bool:
        """Clears a property, of both its values or of the volatile one, so that its default is in effect or it is gone;
        returns whether there was one. NotFound, PermissionDenied, ReadOnly."""
        name, owner = named("key", key_text, key), _owner(owner)
        if name not in self._written():
            if named("missing_ok", truth, missing_ok):
                return False
            raise self._missing(name)
        try:
            call(_CLEAR[self._scope], *self._names, name, owner, int(not named("volatile_only", truth, volatile_only)))
        except NotFound:
            if missing_ok and name not in self._written():
                return False
            raise
        return True

    def smartnic(self, key: str) -> bytes:
        """What SmartNICs see of a property. NotSupported where no uplink has one, NotFound."""
        return take_bytes(_SMARTNIC[self._scope], *self._names, named("key", key_text, key))

    def vendor(self, kinds: PropertyKind | int = 0) -> PropertyList:
        """A list of the properties that have an owner and one of these kinds (0: all public ones)."""
        return PropertyList._listed(_VENDOR[self._scope], *self._names, kinds=kinds)

    def extra(self, kinds: PropertyKind | int = 0) -> PropertyList:
        """A list of the properties that have no owner and no rules here. NotSupported for the host scope."""
        if self._scope not in _EXTRA:
            raise NotSupported("the host scope has no list of its own: that of the switch has its properties too")
        return PropertyList._listed(_EXTRA[self._scope], *self._names, kinds=kinds)

    __eq__ = object.__eq__
    __hash__ = object.__hash__

    def __repr__(self) -> str:
        return f"<{self._scope} properties of {' port '.join(map(repr, self._names))}>"


class PropertyList:
    """A list of properties outside the state, as new ports are made of.

    Entries are pairs of name and value, or triples with kinds, or a mapping. Used in a `with` block, or closed with
    `close()`; use after that raises ValueError.
    """

    __slots__ = ("_handle",)
    _handle: Any

    def __init__(self, entries: Iterable[Any] | Mapping[str, Any] = ()) -> None:
        """A new list with these entries. TypeError, LimitExceeded."""
        cell = libvswitch.cell("DVSDataHandle *")
        call("DVSData_Alloc", Output(cell), None, None)
        self._handle = cell.value
        try:
            for entry in entries.items() if isinstance(entries, Mapping) else entries:
                self.add(*entry)
        except BaseException:
            self.close()
            raise

    @classmethod
    def _listed(cls, name: str, *names: str, kinds: int) -> Self:
        bits = _bits(kinds)
        cell = libvswitch.cell("DVSDataHandle *")
        call(name, *names, Output(cell), bits)
        self = cls.__new__(cls)
        self._handle = cell.value
        return self

    def _open(self) -> Any:
        if getattr(self, "_handle", None) is None:
            raise ValueError("the list of properties is closed")
        return self._handle

    def add(self, name: str, value: Any, kinds: PropertyKind | int = PropertyKind.CONFIG) -> None:
        """Adds a property, or replaces the one of that name. TypeError, ValueError, LimitExceeded."""
        handle = self._open()
        data = named("value", native_bytes, value)
        call("DVSData_Update", handle, named("name", key_text, name), Data(data), len(data), _bits(kinds))

    def to_image(self, version: int = 0) -> StateImage:
        """An image of the list for ports of switches of `version` or later (0: DVS_70). NotSupported."""
        handle = self._open()
        version = named("version", whole_number, version)
        return StateImage(take_bytes("DVSData_Serialize", handle, length="unsigned int *", after=(version,)))

    def names(self) -> tuple[str, ...]:
        """Names of its properties, in the order of the image. NotSupported where the form of images is not known."""
        return tuple(entry["name"] for entry in self.to_image().document()["properties"])

    def close(self) -> None:
        """Releases the list. Closing twice does nothing."""
        handle, self._handle = getattr(self, "_handle", None), None
        if handle is not None:
            call("DVSData_Free", handle)

    def __enter__(self) -> Self:
        self._open()
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __del__(self) -> None:
        try:
            self.close()
        except Exception:  # noqa: BLE001, S110 - nobody is there to hear it
            pass

    def __repr__(self) -> str:
        return f"<PropertyList{' (closed)' if getattr(self, '_handle', None) is None else ''}>"
