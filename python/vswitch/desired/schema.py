"""The form of a document: the members of each object, read from plain values and published as JSON Schema."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any, NamedTuple

from vswitch.desired import forms, settings, value_forms
from vswitch.desired.forms import Form, Schema, check_text, named, no_member
from vswitch.desired.names import joined
from vswitch.desired.published import DRAFT, NAMES
from vswitch.enums import PropertyKey, RuntimeOption, SwitchVersion
from vswitch.errors import DocumentError

FORMAT = 1


class Collection(NamedTuple):
    """Objects by name, None for one that is not to be; `exact`: others are not to be either."""

    entries: dict[str, Any]
    exact: bool = False


class Anything(Form):
    """What is not looked at."""

    def read(self, given: Any, path: str) -> Any:
        return None

    def schema(self) -> Schema:
        return {}


class Constant(Form):
    """One number."""

    def __init__(self, value: int) -> None:
        self.value = value

    def read(self, given: Any, path: str) -> Any:
        if type(given) is not int or given != self.value:
            raise DocumentError(path, f"the number {self.value} is wanted")
        return given

    def schema(self) -> Schema:
        return {"const": self.value}


class ObjectForm(Form):
    """An object: a mapping with known members."""

    wanted = "a mapping"

    def __init__(self, members: Mapping[str, Form], required: tuple[str, ...] = (), definition: str = "") -> None:
        self.members, self.required, self.definition = members, required, definition

    def read(self, given: Any, path: str) -> Any:
        if not isinstance(given, dict):
            raise self.refuse(given, path)
        members = self.members
        found = {}
        for name, value in given.items():
            form = members.get(name)
            if form is None:
                raise no_member(path, name, members)
            found[name] = form.read(value, f"{path}/{name}" if path else name)
        for name in self.required:
            if name not in found:
                raise DocumentError(joined(path, name), "must be there")
        return found

    def schema(self) -> Schema:
        return {"$ref": f"#/$defs/{self.definition}"} if self.definition else self.full_schema()

    def full_schema(self) -> Schema:
        """The schema itself, where `schema` is a reference to it."""
        made: Schema = {
            "type": "object",
            "properties": {name: form.schema() for name, form in self.members.items()},
            "additionalProperties": False,
        }
        if self.required:
            made["required"] = list(self.required)
        return made


class CollectionForm(Form):
    """Objects by name, null for one that is not to be, and `exact` where that is a boolean. `refused`: names that
    cannot stand here, and why."""

    wanted = "a mapping"

    def __init__(
        self, entry: Form, refused: Mapping[str, str] | None = None, aliases: Mapping[str, str] | None = None
    ) -> None:
        self.entry, self.refused, self.aliases = entry, refused or {}, aliases or {}

    def read(self, given: Any, path: str) -> Any:
        if not isinstance(given, dict):
            raise self.refuse(given, path)
        entries = {}
        exact = False
        read = self.entry.read
        for name, value in given.items():
            if name == "exact" and isinstance(value, bool):
                exact = value
                continue
            place = joined(path, name)
            if not name.isascii() or "\0" in name:
                check_text(name, place)
            key = self.aliases.get(name, name)
            if key in self.refused:
                raise DocumentError(place, self.refused[key])
            if key in entries:
                raise DocumentError(place, "stands twice")
            entries[key] = None if value is None else read(value, place)
        return Collection(entries, exact)

    def schema(self) -> Schema:
        entry = {"anyOf": [self.entry.schema(), {"type": "null"}]}
        made: Schema = {
            "type": "object",
            "properties": {"exact": {"anyOf": [{"type": "boolean"}, *entry["anyOf"]]}},
            "additionalProperties": entry,
        }
        if self.refused:
            names = [*self.refused, *(alias for alias, key in self.aliases.items() if key in self.refused)]
            made["propertyNames"] = {"not": {"enum": sorted(names)}}
        return made


class UplinkPorts(Form):
    """Ports of uplinks by the uplinks' names; they come and go with their uplinks."""

    wanted = "a mapping"

    def __init__(self, entry: Form) -> None:
        self.entry = entry

    def read(self, given: Any, path: str) -> Any:
        if not isinstance(given, dict):
            raise self.refuse(given, path)
        found = {}
        for name, value in given.items():
            place = joined(path, name)
            check_text(name, place)
            if value is None:
                raise DocumentError(place, "an uplink port goes with its uplink: use the member 'uplinks'")
            found[name] = self.entry.read(value, place)
        return found

    def schema(self) -> Schema:
        return {"type": "object", "additionalProperties": self.entry.schema()}


class Uplink(NamedTuple):
    """An uplink in its place; `port` None: whatever port it has."""

    name: str
    port: str | None = None


class UplinkForm(Form):
    """The name of an uplink, or that and the identifier of its port."""

    wanted = "a text or a mapping"
    record = forms.Record(None, ("name",), name=value_forms.TEXT, port=value_forms.TEXT)

    def read(self, given: Any, path: str) -> Any:
        if isinstance(given, str):
            check_text(given, path)
            return Uplink(given)
        if isinstance(given, (int, float)):
            value_forms.TEXT.read(given, path)
        if not isinstance(given, dict):
            raise self.refuse(given, path)
        return Uplink(**self.record.read_fields(given, path))

    def schema(self) -> Schema:
        return {"anyOf": [{"type": "string"}, self.record.schema()]}


class StaticAddress(NamedTuple):
    """An address that was set by hand."""

    mac: str
    vlan: int = 0
    vni: int = 0


class StaticForm(Form):
    """An address that is set by hand."""

    wanted = "a mapping"
    record = forms.Record(None, ("mac",), mac=value_forms.MAC, vlan=value_forms.WHOLE, vni=value_forms.WHOLE)

    def read(self, given: Any, path: str) -> Any:
        return StaticAddress(**self.record.read(given, path))

    def schema(self) -> Schema:
        return self.record.schema()


class OptionForm(Form):
    """The value of a runtime option."""

    wanted = "a number or a text"

    def __init__(self, is_text: bool) -> None:
        self.form = value_forms.TEXT if is_text else value_forms.WHOLE

    def read(self, given: Any, path: str) -> Any:
        if isinstance(given, bool) and self.form is value_forms.WHOLE:
            return int(given)
        return self.form.read(given, path)

    def schema(self) -> Schema:
        if self.form is value_forms.TEXT:
            return self.form.schema()
        return {"anyOf": [self.form.schema(), {"type": "boolean"}]}


# ---- the members ----------------------------------------------------------------------------------------------


def _refused_keys(members: Mapping[str, str]) -> dict[str, str]:
    refused = {key: f"use the member '{member}'" for key, member in members.items()}
    return refused | {key: "is read only" for key in settings.READ_ONLY}


_ALIASES = {name: str(member) for name, member in PropertyKey.__members__.items()}
_PROPERTY = value_forms.PropertyForm()
_OBSERVED = Anything()

PORT = ObjectForm(
    {
        "external_id": value_forms.TEXT,
        **{name: forms.Maybe(setting.form) for name, setting in settings.PORT.items()},
        "mirrors": CollectionForm(value_forms.MIRROR),
        "properties": CollectionForm(_PROPERTY, _refused_keys(settings.PORT_KEYS), _ALIASES),
        "static_addresses": forms.Listed(StaticForm()),
        "observed": _OBSERVED,
    },
    definition="port",
)
_SWITCH_PROPERTIES = CollectionForm(_PROPERTY, _refused_keys(settings.SWITCH_KEYS), _ALIASES)
SWITCH = ObjectForm(
    {
        "id": value_forms.TEXT,
        "class": value_forms.TEXT,
        "persistent": value_forms.TRUTH,
        "flags": value_forms.WHOLE,
        "connected": value_forms.TRUTH,
        "version": forms.Choice(SwitchVersion),
        "max_ports": value_forms.WHOLE,
        **{name: forms.Maybe(setting.form) for name, setting in settings.SWITCH.items()},
        "uplinks": forms.Listed(UplinkForm()),
        "teaming_policies": CollectionForm(value_forms.NAMED_TEAMING),
        "mirrors": CollectionForm(value_forms.MIRROR),
        "properties": _SWITCH_PROPERTIES,
        "host_properties": _SWITCH_PROPERTIES,
        "ports": CollectionForm(PORT),
        "uplink_ports": UplinkPorts(PORT),
        "observed": _OBSERVED,
    },
    definition="switch",
)
DOCUMENT = ObjectForm(
    {
        "$schema": value_forms.TEXT,
        "format": Constant(FORMAT),
        "switches": CollectionForm(SWITCH),
        "mac_learning": value_forms.HOST_MAC_LEARNING,
        "runtime_options": ObjectForm({option.option_name: OptionForm(option.is_text) for option in RuntimeOption}),
        "observed": _OBSERVED,
    },
    ("format",),
)


# ---- JSON Schema ----------------------------------------------------------------------------------------------


def made_schema() -> Schema:
    """The JSON Schema that follows from the members; the file in this package is this."""
    return {
        "$schema": DRAFT,
        "$id": NAMES["state"],
        "title": "The wanted state of a host's virtual switches",
        **DOCUMENT.full_schema(),
        "$defs": {form.definition: form.full_schema() for form in (SWITCH, PORT)},
    }


__all__ = ["Collection", "named"]
