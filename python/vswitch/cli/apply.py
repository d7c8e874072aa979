"""The verbs for desired state: check, plan, apply, confirm, revert, drift, and setting one member."""

from __future__ import annotations

import json
import sys
from pathlib import Path
from typing import Any

import click

from vswitch import Host
from vswitch.cli import DIFFERENT, FAILED, OK
from vswitch.cli.grammar import FILE, PATH, argument, option, verb
from vswitch.cli.output import Style, answer, console, on_terminal, put, put_diff, put_json
from vswitch.desired.names import split


def _document(file: str) -> Any:
    """What `Host.plan` takes: the file's path, or the text of standard input."""
    return sys.stdin.buffer.read().decode() if file == "-" else Path(file)


EXACT = option("--exact", is_flag=True, default=None, help="Also remove what the document does not mention.")


@verb(argument("file", FILE))
def check(style: Style, file: str) -> None:
    """Check the form of the document in FILE, without asking the host."""
    from vswitch.desired.document import read

    read(_document(file))
    answer(style, "ok", {"ok": True})


@verb(argument("file", FILE), EXACT, option("--out", metavar="PLANFILE", help="Write the plan for `apply --plan`."))
def plan(style: Style, file: str, exact: bool | None, out: str | None) -> None:
    """Print what `apply` of the document in FILE would do."""
    made = Host().plan(_document(file), exact=exact)
    if out is not None and not style.dry_run:
        with open(out, "w", encoding="utf-8") as stream:
            json.dump(made.to_dict(), stream, ensure_ascii=False)
    if style.json:
        put_json(style, {**made.to_dict(), "diff": made.diff()})
    else:
        put_diff(style, made.diff())


@verb(argument("file", FILE), EXACT)
def drift(style: Style, file: str, exact: bool | None) -> int:
    """Compare the host with the document in FILE: exit code 3 if they differ."""
    made = Host().plan(_document(file), exact=exact)
    if style.json:
        put_json(style, {**made.to_dict(), "diff": made.diff()})
    else:
        put_diff(style, made.diff())
    return DIFFERENT if made else OK


@verb(argument("file", FILE), EXACT)
def rehearse(style: Style, file: str, exact: bool | None) -> int:
    """Apply the document in FILE to a simulated twin of the host: exit code 1 if that fails, 3 if connections are
    lost."""
    made = Host().plan(_document(file), exact=exact)
    if not style.json:
        put_diff(style, made.diff())
    found = made.rehearse()
    if style.json:
        put_json(style, found.to_dict())
    else:
        put(style, "works" if found.ok else str(found.error))
        lines = [f"+ {one} -> {other}" for one, other in sorted(found.connectivity.gained)]
        lines += [f"- {one} -> {other}" for one, other in sorted(found.connectivity.lost)]
        put(style, "\n".join(lines))
    if not found.ok:
        return FAILED
    return DIFFERENT if found.connectivity.lost else OK


def _planned(file: str | None, planned: str | None, exact: bool | None) -> Any:
    from vswitch import Plan

    if (file is None) == (planned is None):
        raise click.UsageError("either FILE or --plan PLANFILE is needed")
    if planned is None:
        assert file is not None
        return Host().plan(_document(file), exact=exact)
    if exact:
        raise click.UsageError("--exact belongs to the making of a plan")
    with sys.stdin if planned == "-" else open(planned, encoding="utf-8") as stream:
        return Plan.from_dict(json.load(stream))


@verb(
    argument("file", FILE, required=False),
    option("--plan", "planned", metavar="PLANFILE", help="Apply the plan that `plan --out` wrote."),
    EXACT,
    option("--confirm-within", type=click.IntRange(1, 86400), metavar="S", help="Revert after S seconds, if not"
           " confirmed."),
    option("--no-verify", is_flag=True, help="Do not read back what was written."),
    option("--yes", is_flag=True, help="Do not ask."),
)
def apply(
    style: Style, file: str | None, planned: str | None, exact: bool | None, confirm_within: int | None,
    no_verify: bool, yes: bool,
) -> int:
    """Make the host what the document in FILE says; after a failure it is what it was."""
    made = _planned(file, planned, exact)
    if not style.json:
        put_diff(style, made.diff())
    if style.dry_run:
        if style.json:
            put_json(style, {**made.to_dict(), "diff": made.diff()})
        return OK
    asking = not (yes or style.json or style.quiet) and sys.stdin.isatty() and on_terminal()
    if made and asking and not click.confirm("apply this?", default=False, err=True):
        return FAILED
    result = _apply(style, made, confirm_within, not no_verify)
    if style.json:
        put_json(style, result.to_dict())
    elif not result.changed:
        answer(style, "nothing to do", None)
    else:
        text = f"applied {len(result.operations)} operations in {result.seconds:.1f} s"
        if result.confirmation is not None:
            text += f"\nconfirm within {confirm_within} s: vswitch confirm {result.confirmation.id}"
        answer(style, text, None)
    return OK


def _apply(style: Style, made: Any, confirm_within: int | None, verify: bool) -> Any:
    named = {"confirm_within": confirm_within, "verify": verify}
    if style.json or style.quiet or not made or not on_terminal():
        return made.apply(**named)
    from rich.progress import BarColumn, MofNCompleteColumn, Progress, TextColumn

    columns = (BarColumn(), MofNCompleteColumn(), TextColumn("{task.description}", markup=False))
    with Progress(*columns, console=console(style), transient=True) as progress:
        task = progress.add_task("", total=len(made))

        def show(done: int, total: int, operation: Any) -> None:
            progress.update(task, completed=done, total=total, description=operation.path)

        return made.apply(progress=show, **named)


@verb(argument("identifier", metavar="[ID]", required=False))
def confirm(style: Style, identifier: str | None) -> None:
    """Keep what was applied with --confirm-within."""
    host = Host()
    if style.dry_run:
        return
    waiting = host.pending
    result = host.confirm(identifier)
    name = identifier or (waiting.id if waiting is not None else "")
    answer(style, f"confirmed {name}", result.to_dict())


@verb(argument("identifier", metavar="[ID]", required=False))
def revert(style: Style, identifier: str | None) -> None:
    """Undo what was applied with --confirm-within, or what an interrupted apply left."""
    if style.dry_run:
        return
    result = Host().revert(identifier)
    answer(style, f"reverted {len(result.operations)} operations", result.to_dict())


# ---- one member -----------------------------------------------------------------------------------------------


def _document_of(path: str, value: object) -> dict[str, Any]:
    """The document that holds nothing but one member."""
    document: Any = value
    for name in reversed(split(path)):
        document = {name: document}
    return {"format": 1, **document}


def _apply_member(style: Style, path: str, value: object) -> None:
    from vswitch.paths import object_at

    host = Host()
    object_at(host, split(path))
    made = host.plan(_document_of(path, value))
    if not style.dry_run:
        made.apply()
    if style.json:
        put_json(style, {**made.to_dict(), "diff": made.diff()})
    else:
        put_diff(style, made.diff())


@verb(argument("path", PATH), argument("value"))
def set_member(style: Style, path: str, value: str) -> None:
    """Set the member at PATH, such as switches/lab/mtu, to VALUE (in YAML)."""
    from vswitch.desired.document import parse

    _apply_member(style, path, parse(value))


@verb(argument("path", PATH))
def clear_member(style: Style, path: str) -> None:
    """Clear the setting at PATH, so that what it inherits or its default is in effect."""
    _apply_member(style, path, None)
