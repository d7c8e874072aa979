"""The grammar of the command line: verbs that are loaded when they are used, global options anywhere, exit codes."""

from __future__ import annotations

import os
from collections.abc import Callable, Mapping, Sequence
from importlib import import_module
from typing import TYPE_CHECKING, Any

import click
from click.shell_completion import CompletionItem

from vswitch import __version__
from vswitch.cli import OK
from vswitch.cli.output import Style
from vswitch.desired.names import joined

if TYPE_CHECKING:
    from vswitch import Host, Switch

# Where each verb is: module of `vswitch.cli` and the name there. A group of verbs: what it is about, and its verbs.
VERBS: Mapping[str, str | tuple[str, Mapping[str, str]]] = {
    "show": "show:show",
    "switch": ("Switches.", {
        "list": "tables:switch_list", "show": "show:switch_show", "add": "change:switch_add",
        "remove": "change:switch_remove"}),
    "port": ("Ports of a switch.", {
        "list": "tables:port_list", "show": "show:port_show", "add": "change:port_add",
        "remove": "change:port_remove"}),
    "uplink": ("Uplinks of a switch.", {
        "list": "tables:uplink_list", "add": "change:uplink_add", "remove": "change:uplink_remove",
        "up": "change:uplink_up", "down": "change:uplink_down"}),
    "nic": ("Physical NICs behind uplinks.", {"list": "tables:nic_list"}),
    "lag": ("Link aggregation groups.", {"list": "tables:lag_list"}),
    "mac": ("MAC tables.", {"list": "tables:mac_list", "add": "change:mac_add", "remove": "change:mac_remove"}),
    "stats": "tables:stats",
    "mirror": ("Mirror sessions.", {"list": "tables:mirror_list", "stats": "tables:mirror_stats"}),
    "option": ("Runtime options of the host.", {"list": "tables:option_list", "set": "change:option_set"}),
    "get": "show:get",
    "set": "apply:set_member",
    "clear": "apply:clear_member",
    "property": ("The property store.", {
        "list": "tables:property_list", "get": "show:property_get", "set": "change:property_set",
        "clear": "change:property_clear"}),
    "image": ("Images of the host's state.", {
        "save": "images:save", "restore": "images:restore", "show": "images:show"}),
    "export": "show:export",
    "check": "apply:check",
    "schema": "show:schema",
    "drift": "apply:drift",
    "plan": "apply:plan",
    "apply": "apply:apply",
    "rehearse": "apply:rehearse",
    "confirm": "apply:confirm",
    "revert": "apply:revert",
    "pending": "tables:pending",
    "watch": "watch:watch",
    "wait-until": "watch:wait_until",
    "topology": "show:topology",
    "constants": "tables:constants",
    "exporter": "watch:exporter",
    "completion": "show:completion",
}


def _remember(member: str) -> Callable[[click.Context, click.Parameter, Any], None]:
    def store(context: click.Context, _: click.Parameter, value: Any) -> None:
        if value:
            setattr(context.find_root().obj, member, True)

    return store


def _use_host(_: click.Context, __: click.Parameter, value: str | None) -> None:
    if value is not None:
        os.environ["VSWITCH_HOST"] = value


def _no_color(context: click.Context, _: click.Parameter, value: bool) -> None:
    if value:
        context.find_root().obj.color = False


def _print_version(context: click.Context, _: click.Parameter, value: bool) -> None:
    if value:
        click.echo(f"vswitch {__version__}")
        context.exit()


def _global_options() -> list[click.Parameter]:
    """The options that every verb knows: they may stand anywhere before its arguments end."""

    def flag(*names: str, does: Callable[[click.Context, click.Parameter, Any], None], meaning: str) -> click.Option:
        return click.Option(names, is_flag=True, expose_value=False, is_eager=True, callback=does, help=meaning)

    return [
        flag("--json", does=_remember("json"), meaning="Answer in JSON, also of errors."),
        flag("--quiet", "-q", does=_remember("quiet"), meaning="Print nothing but errors."),
        flag("--no-color", does=_no_color, meaning="No colours."),
        flag("--dry-run", does=_remember("dry_run"), meaning="Print what a change would do, and do nothing."),
        click.Option(["--host"], metavar="FILE", expose_value=False, is_eager=True, callback=_use_host,
                     help="State file of a simulated host (sets VSWITCH_HOST)."),
        flag("--version", does=_print_version, meaning="Print the version."),
    ]


_CONTEXT: dict[str, Any] = {"help_option_names": ["-h", "--help"], "max_content_width": 120}


class Verb(click.Command):
    """A command with the global options behind its own."""

    def __init__(self, *arguments: Any, **named: Any) -> None:
        named["context_settings"] = _CONTEXT
        super().__init__(*arguments, **named)
        self.params.extend(_global_options())


class Verbs(click.MultiCommand):
    """A group of verbs, each loaded when it is used."""

    def __init__(self, name: str, places: Mapping[str, str | tuple[str, Mapping[str, str]]], **named: Any) -> None:
        super().__init__(name, context_settings=_CONTEXT, **named)
        self.params.extend(_global_options())
        self._places = places

    def list_commands(self, ctx: click.Context) -> list[str]:
        return list(self._places)

    def get_command(self, ctx: click.Context, cmd_name: str) -> click.Command | None:
        place = self._places.get(cmd_name)
        if place is None:
            return None
        if isinstance(place, tuple):
            return Verbs(cmd_name, place[1], help=place[0])
        module, _, name = place.partition(":")
        command: click.Command = getattr(import_module(f"vswitch.cli.{module}"), name)
        return command

    def resolve_command(
        self, ctx: click.Context, args: list[str]
    ) -> tuple[str | None, click.Command | None, list[str]]:
        name = args[0]
        if not name.startswith("-") and name not in self._places:
            from vswitch._similar import did_you_mean

            ctx.fail(f"no verb {name!r}{did_you_mean(name, self._places)}")
        return super().resolve_command(ctx, args)


root = Verbs("vswitch", VERBS, help="Administer a host's virtual switches.")


def verb(*parameters: Callable[[Any], Any]) -> Callable[[Callable[..., int | None]], click.Command]:
    """Makes a function a verb: it gets the `Style` first, then its parameters by name; it gives the exit code."""

    def make(function: Callable[..., int | None]) -> click.Command:
        wrapped: Any = click.pass_obj(function)
        for parameter in reversed(parameters):
            wrapped = parameter(wrapped)
        return click.command(cls=Verb, help=function.__doc__)(wrapped)

    return make


# ---- arguments that the shell completes by asking the host ------------------------------------------------


class Named(click.ParamType):
    """A text that the host can complete; its own failures then complete nothing."""

    name = "text"

    def __init__(self, names: Callable[[Host, Mapping[str, Any]], Sequence[str]]) -> None:
        self._names = names

    def shell_complete(self, ctx: click.Context, param: click.Parameter, incomplete: str) -> list[CompletionItem]:
        from vswitch import Host

        try:
            names = self._names(Host(), ctx.params)
        except Exception:  # noqa: BLE001 - whatever it is, a shell that completes is no place to say it
            return []
        return [CompletionItem(name) for name in names if name.startswith(incomplete)]


def _switch_in(host: Host, given: Mapping[str, Any]) -> Switch:
    return host.switches[given["switch"]]


def paths_of(document: Mapping[str, Any], prefix: str = "") -> list[str]:
    """The paths of all members of a document."""
    paths = []
    for name, value in document.items():
        path = joined(prefix, str(name))
        paths.append(path)
        if isinstance(value, Mapping):
            paths.extend(paths_of(value, path))
    return paths


SWITCH = Named(lambda host, given: list(host.switches))
PORT = Named(lambda host, given: list(_switch_in(host, given).ports))
UPLINK = Named(lambda host, given: list(_switch_in(host, given).uplinks))
OPTION = Named(lambda host, given: list(host.runtime_options))
KEY = Named(lambda host, given: list(_switch_in(host, given).properties))
PATH = Named(lambda host, given: paths_of(host.export(observed=True)))


def argument(name: str, type: Any = None, **named: Any) -> Callable[[Any], Any]:
    """A positional argument."""
    return click.argument(name, type=type, **named)


option = click.option
FILE = click.Path(dir_okay=False, allow_dash=True)


# ---- running -----------------------------------------------------------------------------------------------


def dispatch(style: Style, words: Sequence[str]) -> int:
    """Runs the verb of a command line and gives its exit code."""
    try:
        result = root.main(args=list(words), prog_name="vswitch", standalone_mode=False, obj=style)
    except click.Abort:
        raise KeyboardInterrupt from None
    return result if isinstance(result, int) else OK
