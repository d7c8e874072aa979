"""Collections: mappings from names to handles or values that ask the host at each use. And what handles have in
common."""

from __future__ import annotations

from abc import abstractmethod
from collections.abc import ItemsView, Iterator, Mapping, ValuesView
from typing import Any, ClassVar, TypeVar, overload

from vswitch.errors import NotFound
from vswitch.handles.setting import OriginView, StoredView, VolatileView, named
from vswitch.values.kinds import plain_text

__all__ = ["Collection"]

H = TypeVar("H")
D = TypeVar("D")


def text(member: str, value: object) -> str:
    """A text without NUL. TypeError and ValueError with the member's name."""
    return named(member, plain_text, value)


class Handle:
    """Base of the handles: names, which are asked for at each use. Equal when class and names are."""

    __slots__ = ("_names",)
    _names: tuple[str, ...]

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Handle):
            return NotImplemented
        return type(self) is type(other) and self._names == other._names

    def __hash__(self) -> int:
        return hash((type(self), self._names))


class WithSettings(Handle):
    """A handle that has settings, and the views on them."""

    __slots__ = ()
    _described: ClassVar[str] = ""

    @property
    def origin(self) -> OriginView:
        """For each setting, whose value is in effect: an Origin."""
        return OriginView(self)

    @property
    def stored(self) -> StoredView:
        """For each setting, the persistent value, or what would be in effect without one."""
        return StoredView(self)

    @property
    def is_volatile(self) -> VolatileView:
        """For each setting, whether the value in effect is not the stored one."""
        return VolatileView(self)


class _Values(ValuesView[H]):
    def __iter__(self) -> Iterator[H]:
        return iter(self._mapping._all().values())  # type: ignore[attr-defined]


class _Items(ItemsView[str, H]):
    def __iter__(self) -> Iterator[tuple[str, H]]:
        return iter(self._mapping._all().items())  # type: ignore[attr-defined]


class Collection(Mapping[str, H]):
    """A mapping from names to handles or values, in the library's order, of what there is at the time of each use.

    `c[name]` raises NotFound, which is also a KeyError. Where the parent is gone (the switch of ports), all uses raise
    NotFound. Iteration walks what was there when it began. Collections compare by identity.
    """

    __slots__ = ()

    @abstractmethod
    def _all(self) -> dict[str, H]:
        """All members, in order. NotFound where the parent is gone."""

    @abstractmethod
    def _missing(self, name: str) -> str:
        """What is said of a name that is not there."""

    def _find(self, name: str) -> H | None:
        """The member of a name, None if it is not there. NotFound where the parent is gone."""
        return self._all().get(name)

    def __getitem__(self, name: str) -> H:
        found = self._find(text("name", name))
        if found is None:
            raise NotFound(self._missing(name))
        return found

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and "\0" not in name and self._find(name) is not None

    @overload
    def get(self, name: str, /) -> H | None: ...
    @overload
    def get(self, name: str, /, default: D) -> H | D: ...
    def get(self, name: str, /, default: Any = None) -> Any:
        """The member of a name, `default` where it is not there."""
        found = self._find(name) if isinstance(name, str) and "\0" not in name else None
        return default if found is None else found

    def __iter__(self) -> Iterator[str]:
        return iter(self._all())

    def __len__(self) -> int:
        return len(self._all())

    def values(self) -> ValuesView[H]:
        """The members, in order."""
        return _Values(self)

    def items(self) -> ItemsView[str, H]:
        """Names and members, in order."""
        return _Items(self)

    __eq__ = object.__eq__
    __hash__ = object.__hash__
