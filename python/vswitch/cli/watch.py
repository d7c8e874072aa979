"""The verbs that look at the host again and again."""

from __future__ import annotations

import json

import click

from vswitch import Host
from vswitch.cli.grammar import PATH, argument, option, verb
from vswitch.cli.output import Style, put, put_line_json, put_value
from vswitch.desired.names import split
from vswitch.watch import condition

INTERVAL = option("--interval", type=float, metavar="S", help="Seconds between looks.")
TIMEOUT = option("--timeout", type=float, metavar="S", help="Seconds to the end.")

MARKS = {"added": "+ ", "removed": "- ", "changed": ""}


def _json(value: object) -> str:
    return json.dumps(value, ensure_ascii=False)


@verb(argument("paths", PATH, nargs=-1, metavar="[PATH]..."), INTERVAL, TIMEOUT)
def watch(style: Style, paths: tuple[str, ...], interval: float | None, timeout: float | None) -> None:
    """Print each change below the PATHs, or anywhere, until interrupted."""
    import sys

    try:
        for changes in Host().watch(*paths, interval=1.0 if interval is None else interval, timeout=timeout):
            time = changes.time.isoformat()
            for change in changes.changes:
                if style.json:
                    put_line_json(style, {"time": time, "path": change.path, "kind": change.kind,
                                          "before": change.before, "after": change.after})
                    continue
                values = f"{_json(change.before)} -> {_json(change.after)}"
                if change.kind != "changed":
                    values = _json(change.after if change.kind == "added" else change.before)
                put(style, f"{time} {MARKS[change.kind]}{change.path}: {values}")
            sys.stdout.flush()
    except KeyboardInterrupt:
        pass


@verb(argument("path", PATH), argument("operator", metavar="OP"), argument("value", required=False), INTERVAL, TIMEOUT)
def wait_until(
    style: Style, path: str, operator: str, value: str | None, interval: float | None, timeout: float | None
) -> None:
    """Wait until the value at PATH fulfils OP (== != < <= > >= contains exists absent) VALUE; print it."""
    text = " ".join(each for each in (path, operator, value) if each is not None)
    try:
        condition(text)
    except ValueError as error:
        raise click.UsageError(str(error)) from None
    found = Host().wait_until(
        text, interval=0.2 if interval is None else interval, timeout=30.0 if timeout is None else timeout
    )
    put_value(style, found, split(path))


@verb(
    option("--listen", default="127.0.0.1", show_default=True, metavar="ADDRESS", help="Address to serve on."),
    option("--port", default=9690, show_default=True, type=int, help="TCP port to serve on."),
    option("--interval", default=0.0, type=float, metavar="S", help="Seconds that one reading of the host serves."),
)
def exporter(style: Style, listen: str, port: int, interval: float) -> None:
    """Serve counters and states for Prometheus at /metrics, until interrupted."""
    import sys
    from threading import Event

    from vswitch.exporter import serve

    serve(Host(), address=listen, port=port, interval=interval)
    if not style.quiet:
        print(f"vswitch: serving http://{listen}:{port}/metrics", file=sys.stderr, flush=True)
    try:
        Event().wait()
    except KeyboardInterrupt:
        pass
