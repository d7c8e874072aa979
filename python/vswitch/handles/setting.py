"""Settings: properties of a handle that are read, written and deleted, and the three views on where a value comes
from."""

from __future__ import annotations

from collections.abc import Callable, Iterable
from typing import TYPE_CHECKING, Any, ClassVar, Generic, Protocol, TypeVar, overload

import libvswitch

from vswitch import _walk, enums, values
from vswitch._calls import OK, Output, Packed, call, fill, pointed, query, status_of, take
from vswitch.errors import NotFound
from vswitch.values import type_at
from vswitch.values.codecs import CODECS, FLAG, NUMBER, OPTIONAL_TEXTUAL, Codec
from vswitch.values.kinds import wrong_type

if TYPE_CHECKING:
    from vswitch.enums import Origin

T = TypeVar("T")
W = TypeVar("W", contravariant=True)

Names = tuple[str, ...]
Raw = Callable[[str], bytes]


def named(member: str, check: Callable[[Any], T], value: object) -> T:
    """What `check` makes of a value; its TypeError or ValueError with the member's name."""
    try:
        return check(value)
    except (TypeError, ValueError) as error:
        if isinstance(error, libvswitch.VSwitchError):
            raise
        raise type(error)(f"{member}: {error}") from None


# ---- raw properties of a handle --------------------------------------------------------------------------------------

# By the number of names: of a switch, of a port.
_GET = {1: "VSDVS_GetGlobProp", 2: "VSDVS_GetPortProp"}
_SET = {1: "VSDVS_SetGlobProp", 2: "VSDVS_SetPortProp"}
_CLEAR = {1: "VSDVS_ClearGlobProp", 2: "VSDVS_ClearPortProp"}


def read_raw(names: Names, key: str, *, persistent: bool = False) -> bytes:
    """The value in effect, or the persistent one, of a property of a switch or port."""
    return query(_GET[len(names)], *names, key, after=(None, int(persistent)))


def write_raw(names: Names, key: str, data: bytes) -> None:
    """Writes the persistent value, which removes a volatile one."""
    call(_SET[len(names)], *names, key, data, len(data), None, 1)


def clear_raw(names: Names, key: str) -> None:
    """Removes both values; that there is none is no error."""
    try:
        call(_CLEAR[len(names)], *names, key, None, 1)
    except NotFound:
        if not _exists(names):
            raise


def _exists(names: Names) -> bool:
    if len(names) == 1:
        return _walk.switch_handle(names[0]) is not None
    return status_of("DVSQEL_PortFind", *names) == OK


# ---- the descriptor --------------------------------------------------------------------------------------------------


class SettingHandle(Protocol):
    """A handle that has settings."""

    @property
    def _names(self) -> Names: ...


class Ways(Generic[T]):
    """How a setting is read, written and cleared: the library's calls for it."""

    def __init__(
        self,
        read: Callable[[Names], T],
        write: Callable[[Names, T], None],
        clear: Callable[[Names], None],
        decode: Callable[[Raw], T],
    ) -> None:
        self.read = read
        self.write = write
        self.clear = clear
        self.decode = decode


class Setting(Generic[T, W]):
    """A setting of a handle: reading gives the value in effect, writing writes the persistent value (which removes a
    volatile one), `del` clears both, so that what it inherits or the default is in effect."""

    name: str

    def __init__(
        self,
        doc: str,
        keys: str,
        accept: Callable[[Any], T],
        ways: Ways[T],
        *,
        inherits: str = "",
        else_origin: str = "DEFAULT",
    ) -> None:
        """`keys`: constants of its properties. `accept`: makes the value of what is written (TypeError). `inherits`:
        the constant of the switch's property whose value a port has without its own. `else_origin`: whose value it is
        where nothing is written, as Origin names it."""
        self.__doc__ = doc
        self.keys = tuple(str(getattr(libvswitch, key)) for key in keys.split())
        self.accept = accept
        self.ways = ways
        self.inherits = str(getattr(libvswitch, inherits)) if inherits else None
        self.else_origin = else_origin

    def __set_name__(self, owner: type, name: str) -> None:
        self.name = name

    @overload
    def __get__(self, handle: None, owner: type) -> Setting[T, W]: ...
    @overload
    def __get__(self, handle: SettingHandle, owner: type) -> T: ...
    def __get__(self, handle: SettingHandle | None, owner: type) -> Setting[T, W] | T:
        if handle is None:
            return self
        return self.ways.read(handle._names)

    def __set__(self, handle: SettingHandle, value: W) -> None:
        if value is None:
            raise TypeError(f"{self.name}: None is no value; del clears the setting")
        self.ways.write(handle._names, named(self.name, self.accept, value))

    def __delete__(self, handle: SettingHandle) -> None:
        self.ways.clear(handle._names)

    def stored(self, names: Names) -> T:
        """The persistent value, or what would be in effect without one."""
        return self.ways.decode(lambda key: read_raw(names, key, persistent=True))

    def is_volatile(self, names: Names) -> bool:
        """Whether the value in effect is not the stored one."""
        return self.ways.decode(lambda key: read_raw(names, key)) != self.stored(names)

    def origin(self, names: Names) -> Origin:
        """Whose value is in effect."""
        written = _walk.port_properties(*names) if len(names) > 1 else _walk.switch_properties(*names)
        if any(key in written for key in self.keys):
            return enums.Origin.PORT if len(names) > 1 else enums.Origin.SWITCH
        if self.inherits is not None and self.inherits in _walk.switch_properties(names[0]):
            return enums.Origin.SWITCH
        return enums.Origin[self.else_origin]


def settings_of(cls: type) -> dict[str, Setting[Any, Any]]:
    """The settings of a class of handles, in their order."""
    return {name: one for base in reversed(cls.__mro__) for name, one in vars(base).items() if isinstance(one, Setting)}


class _View:
    """An attribute for each setting of a handle."""

    _answer: ClassVar[str]

    def __init__(self, handle: SettingHandle) -> None:
        self._handle = handle

    def __getattr__(self, name: str) -> Any:
        setting = settings_of(type(self._handle)).get(name)
        if setting is None:
            raise AttributeError(f"{type(self._handle).__name__} has no setting {name!r}", name=name, obj=self)
        return getattr(setting, self._answer)(self._handle._names)

    def __dir__(self) -> Iterable[str]:
        return settings_of(type(self._handle))

    def __repr__(self) -> str:
        return f"<{type(self).__name__.lower()} of {self._handle!r}>"


class OriginView(_View):
    """For each setting, whose value is in effect: an Origin."""

    _answer = "origin"


class StoredView(_View):
    """For each setting, the persistent value, or what would be in effect without one."""

    _answer = "stored"


class VolatileView(_View):
    """For each setting, whether the value in effect is not the stored one."""

    _answer = "is_volatile"


# ---- ways ------------------------------------------------------------------------------------------------------------


def key_of(constant: str) -> str:
    """The text of a property's key."""
    return str(getattr(libvswitch, constant))


def clear_property(constant: str) -> Callable[[Names], None]:
    """Clears the property."""
    key = key_of(constant)
    return lambda names: clear_raw(names, key)


def clear_by(name: str) -> Callable[[Names], None]:
    """Clears by a call of its own."""

    def clear(names: Names) -> None:
        call(name, *names)

    return clear


def decode_one(constant: str, codec: Codec | None = None) -> Callable[[Raw], Any]:
    """Decodes one property."""
    key = key_of(constant)
    decode = (codec or CODECS[key]).decode
    return lambda raw: decode(raw(key))


def is_on(given: object) -> bool:
    """A truth value as calls give it: a number or a character."""
    return given not in (0, "\0", "", b"\0")


def flag(constant: str, get: str, put: str, clear: str | None = None) -> Ways[bool]:
    """A byte with calls of its own."""

    def write(names: Names, value: bool) -> None:
        call(put, *names, int(value))

    return Ways(
        lambda names: is_on(call(get, *names)),
        write,
        clear_by(clear) if clear else clear_property(constant),
        decode_one(constant, FLAG),
    )


def raw(constant: str, codec: Codec | None = None) -> Ways[Any]:
    """A property that is read and written as it is."""
    key = key_of(constant)
    used = codec or CODECS[key]

    def write(names: Names, value: Any) -> None:
        write_raw(names, key, used.encode(value))

    return Ways(
        lambda names: used.decode(read_raw(names, key)), write, clear_property(constant), decode_one(constant, used)
    )


def record(constant: str, kind: str, place: str, get: str, put: str, clear: str | None = None) -> Ways[Any]:
    """A record that a call fills, and that another reads; a value of the type at `place` of the values."""

    def write(names: Names, value: Any) -> None:
        call(put, *names, Packed(kind, value.to_bytes(), value))

    return Ways(
        lambda names: type_at(place).from_bytes(fill(kind, get, *names)),
        write,
        clear_by(clear) if clear else clear_property(constant),
        decode_one(constant),
    )


def number(constant: str, get: str, put: str, cell: str = "") -> Ways[int]:
    """A number, which a call gives, or stores in a cell."""

    def read(names: Names) -> int:
        if not cell:
            return int(call(get, *names))
        place = libvswitch.cell(cell)
        call(get, *names, Output(place))
        return int(place.value)

    return Ways(read, _writing(put), clear_property(constant), decode_one(constant, NUMBER))


def member(constant: str, kind: str, get: str, put: str) -> Ways[Any]:
    """A member of the enumeration `kind`, whose number a call gives."""
    return Ways(
        lambda names: getattr(enums, kind).of(call(get, *names)),
        _writing(put),
        clear_property(constant),
        lambda raw_value: getattr(enums, kind).of(NUMBER.decode(raw_value(key_of(constant)))),
    )


def _writing(put: str) -> Callable[[Names, int], None]:
    def write(names: Names, value: int) -> None:
        call(put, *names, int(value))

    return write


def multicast_ways(constant: str, get: str, put: str, clear: str) -> Ways[tuple[str, ...]]:
    """Multicast addresses that the user has set."""

    def read(names: Names) -> tuple[str, ...]:
        return take(lambda keys: values.multicast.keys_from(pointed(keys, 1 + keys.numEntries * 6)), get, *names)

    def write(names: Names, addresses: tuple[str, ...]) -> None:
        data = values.multicast.entries_bytes(addresses)
        call(put, *names, len(addresses), Packed("VSMACEntries", data, list(addresses)))

    return Ways(read, write, clear_by(clear), decode_one(constant))


def name(constant: str, get: str, put: str, clear: str) -> Ways[str | None]:
    """A name, None where there is none."""

    def write(names: Names, value: str | None) -> None:
        call(put, *names, value)

    return Ways(
        lambda names: call(get, *names) or None, write, clear_by(clear), decode_one(constant, OPTIONAL_TEXTUAL)
    )


def one_of(place: str) -> Callable[[Any], Any]:
    """Accepts values of one type, by its place among the values such as "mac.MacLearning"."""

    def accept(value: object) -> Any:
        cls = type_at(place)
        if not isinstance(value, cls):
            raise wrong_type(f"a {cls.__name__}", value)
        return value

    return accept
