"""The forms of the values in documents: policies, mirror sessions, private VLANs, properties."""

from __future__ import annotations

import base64
import binascii
from collections.abc import Mapping
from typing import Any, NamedTuple

from vswitch.desired import forms
from vswitch.enums import (
    LoadBalance,
    MirrorAction,
    MirrorEncapsulation,
    MirrorFlag,
    MirrorType,
    MirrorUplinkFilter,
    MirrorWildcard,
    TeamCriterion,
    TeamFlag,
)
from vswitch.errors import DocumentError
from vswitch.values import base
from vswitch.values.mac import HostMacLearning
from vswitch.values.mirror import MirrorEnd, MirrorRule, MirrorSession
from vswitch.values.teaming import NamedTeaming, TeamingPolicy
from vswitch.values.vlan import VlanPolicy

TEXT, WHOLE, TRUTH = forms.Text(), forms.Whole(), forms.Truth()
MAC = forms.Text(base.mac, "^[0-9A-Fa-f]{1,2}([:-][0-9A-Fa-f]{1,2}){5}$")
NAMES = forms.Listed(TEXT)
_ENDS = forms.Listed(forms.Text(MirrorEnd.of, "^(?:(?:port|uplink|ip|mac|[0-9]+):|(?:vlan|number):[0-9]+$)"))
_TEAM: dict[str, forms.Form] = {
    "active": NAMES,
    "standby": NAMES,
    "load_balance": forms.Choice(LoadBalance),
    "criteria": forms.Flags(TeamCriterion),
    "flags": forms.Flags(TeamFlag),
}


class AllUplinks(NamedTuple):
    """A teaming policy in which all uplinks are active, whichever there will be."""

    policy: TeamingPolicy


class _Teaming(forms.Record):
    """A teaming policy. One that says nothing of uplinks has all of them; an empty list is none."""

    def read(self, given: Any, path: str) -> Any:
        policy = super().read(given, path)
        silent = isinstance(given, dict) and "active" not in given and "standby" not in given
        return AllUplinks(policy) if silent else policy


TEAMING = _Teaming(TeamingPolicy, (), **_TEAM, percent_error=WHOLE, full_duplex=TRUTH, speed=WHOLE)
VLAN = forms.Either(
    "a number or a mapping",
    forms.Converted(WHOLE, VlanPolicy),
    forms.Record(
        VlanPolicy,
        id=WHOLE,
        priority=forms.Maybe(WHOLE),
        trunk=forms.Maybe(forms.Listed(forms.Span())),
        private=TRUTH,
    ),
    (int,),
)
_RULE = forms.Record(
    MirrorRule,
    action=forms.Choice(MirrorAction),
    protocol=forms.Maybe(WHOLE),
    source_ports=forms.Maybe(forms.Span()),
    destination_ports=forms.Maybe(forms.Span()),
    sources=forms.Listed(forms.Text(base.prefix)),
    destinations=forms.Listed(forms.Text(base.prefix)),
)
SESSION = forms.Record(
    None,
    name=TEXT,
    type=forms.Choice(MirrorType),
    destinations=_ENDS,
    sources_in=_ENDS,
    sources_out=_ENDS,
    enabled=TRUTH,
    flags=forms.Flags(MirrorFlag),
    snap_length=forms.Maybe(WHOLE),
    sampling=WHOLE,
    vlan=WHOLE,
    wildcards_in=forms.Flags(MirrorWildcard),
    wildcards_out=forms.Flags(MirrorWildcard),
    uplink_filter=forms.Choice(MirrorUplinkFilter),
    encapsulation=forms.Choice(MirrorEncapsulation),
    gre_key=WHOLE,
    erspan_id=WHOLE,
    erspan_cos=WHOLE,
    erspan_gra=WHOLE,
    mirror_stack=TRUTH,
    rules=forms.Listed(_RULE),
)


class Named(forms.Form):
    """An entry of a table: a value whose name is its key in the document."""

    def __init__(self, kind: type[base.Value], key: str, record: forms.Record) -> None:
        self.kind, self.key, self.record = kind, key, record

    def read(self, given: Any, path: str) -> Any:
        name = path.rpartition("/")[2].replace("~1", "/").replace("~0", "~")
        if isinstance(given, self.kind):
            given = {field: one for field, one in given.to_dict().items() if field != self.key}
        values = self.record.read_fields(given, path)
        return forms.Record(self.kind).make({self.key: name, **values}, path)

    def schema(self) -> forms.Schema:
        return self.record.schema()


MIRROR = Named(MirrorSession, "id", SESSION)
NAMED_TEAMING = Named(NamedTeaming, "name", forms.Record(None, (), **_TEAM))
HOST_MAC_LEARNING = forms.Record(HostMacLearning, aging_time=WHOLE, limit=WHOLE, learn_static=TRUTH, allow_static=TRUTH)


# ---- properties -----------------------------------------------------------------------------------------------


class WrittenProperty(NamedTuple):
    """A property as a document wants it. `owner` None: whoever it is."""

    data: bytes
    owner: str | None = None
    volatile: bool = False


_SIZES = (1, 2, 4, 8)


class PropertyForm(forms.Form):
    """A text, or a mapping with the bytes in one of four forms."""

    wanted = "a text or a mapping"
    encodings = ("text", "hex", "base64", "int")
    record = forms.Record(
        None,
        text=TEXT,
        hex=TEXT,
        base64=TEXT,
        int=WHOLE,
        size=WHOLE,
        owner=TEXT,
        volatile=TRUTH,
    )

    def read(self, given: Any, path: str) -> Any:
        if isinstance(given, str):
            forms.check_text(given, path)
            return WrittenProperty(given.encode())
        if isinstance(given, (int, float)):
            TEXT.read(given, path)
        if not isinstance(given, dict):
            raise self.refuse(given, path)
        values = self.record.read_fields(given, path)
        chosen = [name for name in self.encodings if name in values]
        if len(chosen) != 1:
            raise DocumentError(path, f"one of {', '.join(self.encodings)} is wanted")
        if "size" in values and chosen != ["int"]:
            raise DocumentError(f"{path}/size", "goes with 'int' only")
        return WrittenProperty(
            self._data(values, chosen[0], path), values.get("owner"), values.get("volatile", False)
        )

    def _data(self, values: Mapping[str, Any], chosen: str, path: str) -> bytes:
        given = values[chosen]
        if chosen == "text":
            return bytes(given.encode())
        if chosen == "int":
            size = values.get("size", 4)
            if size not in _SIZES:
                raise DocumentError(f"{path}/size", "1, 2, 4 or 8 bytes are wanted")
            try:
                return bytes(given.to_bytes(size, "little", signed=given < 0))
            except OverflowError:
                raise DocumentError(f"{path}/int", f"a number of {size} bytes is wanted") from None
        try:
            return bytes.fromhex(given) if chosen == "hex" else base64.b64decode(given, validate=True)
        except (ValueError, binascii.Error):
            raise DocumentError(f"{path}/{chosen}", f"not {chosen}: {given!r}") from None

    def schema(self) -> forms.Schema:
        record = self.record.schema()
        record["properties"]["size"] = {"enum": list(_SIZES)}
        record["oneOf"] = [{"required": [name]} for name in self.encodings]
        record["dependentRequired"] = {"size": ["int"]}
        return {"anyOf": [{"type": "string"}, record]}
