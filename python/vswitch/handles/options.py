"""Runtime options of the host, as a mapping."""

from __future__ import annotations

from collections.abc import Iterator, Mapping
from typing import Any

import libvswitch

from vswitch._calls import Input, Packed, call, pointed, take
from vswitch._similar import did_you_mean
from vswitch.enums import RuntimeOption
from vswitch.values.options import checked, options_bytes, options_from

__all__ = ["RuntimeOptions"]

_BY_NAME = {option.option_name: option for option in RuntimeOption}


def _option(key: object) -> RuntimeOption:
    """The option of a name or member. KeyError with what was meant perhaps."""
    if isinstance(key, RuntimeOption):
        return key
    found = _BY_NAME.get(key) if isinstance(key, str) else None
    if found is None:
        suggestion = did_you_mean(key, _BY_NAME) if isinstance(key, str) else ""
        raise KeyError(f"no runtime option {key!r}{suggestion}")
    return found


class _Shown:
    """Options for the text of an error."""

    def __init__(self, options: Mapping[RuntimeOption, int | str]) -> None:
        self._options = options

    def to_dict(self) -> dict[str, Any]:
        return {option.option_name: value for option, value in self._options.items()}


class RuntimeOptions(Mapping[str, "int | str"]):
    """The options of all switches of the host, in effect until the next boot: `host.runtime_options["IGMPVersion"] =
    2`.

    Keys are the names of the 18 options, or members of RuntimeOption. Values are ints (a bool counts as 0 or 1), texts
    for the two addresses of routers. A wrong name raises KeyError, a value out of range BadParameter. There is no
    `del`.
    """

    __slots__ = ()

    def __getitem__(self, key: str | RuntimeOption) -> int | str:
        option = _option(key)
        return self._read([option])[option]

    def __setitem__(self, key: str | RuntimeOption, value: int | str) -> None:
        self.update({key: value})

    def update(self, options: Mapping[Any, int | str]) -> None:
        """Sets several in one call, all or none. KeyError, TypeError, BadParameter."""
        checked_options = {_option(key): value for key, value in options.items()}
        given = {option: checked(option, value) for option, value in checked_options.items()}
        if given:
            call("VSQEL_SetRuntimeOptions", Packed("VSRuntimeOptions", options_bytes(given), _Shown(given)))

    def __contains__(self, key: object) -> bool:
        return isinstance(key, RuntimeOption) or key in _BY_NAME

    def __iter__(self) -> Iterator[str]:
        return iter(_BY_NAME)

    def __len__(self) -> int:
        return len(_BY_NAME)

    def items(self) -> Any:
        """Names and values of all options, by one call."""
        return {option.option_name: value for option, value in self._read(list(RuntimeOption)).items()}.items()

    def values(self) -> Any:
        """Values of all options, by one call."""
        return self._read(list(RuntimeOption)).values()

    __eq__ = object.__eq__
    __hash__ = object.__hash__

    def __repr__(self) -> str:
        return "<RuntimeOptions>"

    @staticmethod
    def _read(options: list[RuntimeOption]) -> dict[RuntimeOption, int | str]:
        types = libvswitch.cell("qel_uint16 *", *map(int, options))

        def read(buffer: Any) -> dict[RuntimeOption, int | str]:
            return options_from(pointed(buffer, buffer.totalLength))

        names = [option.option_name for option in options]
        return take(read, "VSQEL_GetRuntimeOptions", Input(types, names), len(options))
