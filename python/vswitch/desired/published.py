"""The JSON Schemas that the package publishes: of documents, of plans, and of errors as the command prints them."""

from __future__ import annotations

import json
from pathlib import Path
from typing import Any

DRAFT = "https://json-schema.org/draft/2020-12/schema"
NAMES = {"state": "vswitch-state-1.json", "plan": "vswitch-plan-1.json", "error": "vswitch-error-1.json"}

Schema = dict[str, Any]


def schema(of: str = "state") -> dict[str, Any]:
    """The JSON Schema (draft 2020-12) of desired-state documents ("state"), of plans ("plan": `Plan.to_dict()`, and
    what `vswitch plan --json` prints), or of errors ("error": what `--json` prints on standard error,
    `Error.to_dict()` in it). ValueError for another name."""
    if of not in NAMES:
        raise ValueError(f"{of!r} is no schema: use one of {', '.join(NAMES)}")
    text = Path(__file__).with_name(NAMES[of]).read_text(encoding="utf-8")
    loaded: dict[str, Any] = json.loads(text)
    return loaded


def text_of(made: Schema) -> str:
    """The text of a schema's file."""
    return json.dumps(made, indent=1, ensure_ascii=False) + "\n"


def made_schemas() -> dict[str, Schema]:
    """The schemas that follow from the code, by their names; the files in this package are these."""
    from vswitch.desired.schema import made_schema

    return {"state": made_schema(), "plan": _plan(), "error": _error()}


# ---- plans and errors -----------------------------------------------------------------------------------------

_TEXT: Schema = {"type": "string"}
_TEXT_OR_NULL: Schema = {"type": ["string", "null"]}
_CALL: Schema = {
    "description": "A call of the library and its inputs by name",
    "type": "array",
    "prefixItems": [{"type": "string", "minLength": 1}, {"type": "object"}],
    "items": False,
    "minItems": 2,
}
_OPERATION = {
    "number": {"type": "integer", "minimum": 1},
    "action": {"enum": ["create", "remove", "set", "clear"]},
    "path": _TEXT,
    "calls": {"type": "array", "items": {"$ref": "#/$defs/call"}},
    "undo": {"type": "array", "items": {"$ref": "#/$defs/call"}},
    "before": {"description": "What was there, in the short form; null: nothing"},
    "after": {"description": "What is there afterwards, in the short form; null: nothing"},
}


def _object(members: Schema, optional: Schema | None = None) -> Schema:
    """An object that has all members, perhaps the optional ones, and no others."""
    return {
        "type": "object",
        "properties": {**members, **(optional or {})},
        "required": list(members),
        "additionalProperties": False,
    }


_DEFINITIONS: Schema = {"operation": _object(_OPERATION), "call": _CALL}
_OPERATIONS: Schema = {"type": "array", "items": {"$ref": "#/$defs/operation"}}


def _head(name: str, title: str) -> Schema:
    return {"$schema": DRAFT, "$id": NAMES[name], "title": title}


def _plan() -> Schema:
    members = {
        "format": {"const": 1},
        "id": {"description": "Follows from the operations", "type": "string", "pattern": "^[0-9a-f]{16}$"},
        "operations": _OPERATIONS,
    }
    diff = {"diff": {"description": "What the command adds: the plan as text", **_TEXT}}
    title = "What a host lacks to be as a document says"
    return {**_head("plan", title), **_object(members, diff), "$defs": _DEFINITIONS}


def _error() -> Schema:
    members = {
        "class": {"type": "string", "minLength": 1},
        "status": {"description": "The library's status; null: no error of the host", "type": ["integer", "null"]},
        "name": {"type": ["string", "null"], "pattern": "^QEL_"},
        "call": {"description": "The library call that failed; empty: none", **_TEXT},
        "arguments": {"description": "The inputs of the call by name", "type": "object"},
        "hint": _TEXT,
        "path": {"description": "The place in a document", **_TEXT_OR_NULL},
        "message": _TEXT,
    }
    of_apply = {
        "rolled_back": {"description": "Everything is as before the apply", "type": "boolean"},
        "done": _OPERATIONS,
        "undone": _OPERATIONS,
        "not_undone": _OPERATIONS,
    }
    error = {**_object(members, of_apply), "dependentRequired": {name: list(of_apply) for name in of_apply}}
    return {
        **_head("error", "What failed"),
        **_object({"error": {"$ref": "#/$defs/error"}}),
        "$defs": {"error": error, **_DEFINITIONS},
    }


__all__ = ["schema"]
