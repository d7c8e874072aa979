"""The verbs that show: the host, one object, one value, the whole state, pictures, completion."""

from __future__ import annotations

import sys
from typing import Any

import click

from vswitch import Host
from vswitch.cli.grammar import KEY, PATH, PORT, SWITCH, argument, option, verb
from vswitch.cli.output import Style, answer, put, put_json, put_value


@verb(argument("switch", SWITCH, required=False))
def show(style: Style, switch: str | None) -> None:
    """Show the switches with their uplinks, groups and ports, or one SWITCH."""
    topology = _topology_of(switch)
    answer(style, topology.to_text(), topology.to_dict())


def _topology_of(switch: str | None) -> Any:
    host = Host()
    if switch is None:
        return host.topology()
    host.switches[switch]  # asked for the error that names it
    return host.topology().only(switch)


@verb(argument("switch", SWITCH))
def switch_show(style: Style, switch: str) -> None:
    """Show the state of SWITCH as `export --observed` gives it."""
    host = Host()
    host.switches[switch]
    put_value(style, host.export(observed=True, only=[switch])["switches"][switch], ["switches", switch])


@verb(argument("switch", SWITCH), argument("port", PORT))
def port_show(style: Style, switch: str, port: str) -> None:
    """Show the state of PORT of SWITCH as `export --observed` gives it."""
    host = Host()
    host.switches[switch].ports[port]
    state = host.export(observed=True, only=[switch])["switches"][switch]["ports"][port]
    put_value(style, state, ["switches", switch, "ports", port])


@verb(argument("path", PATH))
def get(style: Style, path: str) -> None:
    """Print the value in effect at PATH, such as switches/lab/ports/web-1/vlan."""
    from vswitch.cli.value import put_value_at

    put_value_at(style, path)


@verb(
    argument("switch", SWITCH),
    argument("key", KEY),
    option("--port", type=PORT, help="A property of this port."),
    option("--host-scope", is_flag=True, help="A property of the switch on this host alone."),
    option("--hex", "as_hex", is_flag=True, help="The value in hexadecimal."),
    option("--volatile", is_flag=True, help="Only a volatile value."),
    option("--owner", help="Owner of the value."),
)
def property_get(
    style: Style, switch: str, key: str, port: str | None, host_scope: bool, as_hex: bool, volatile: bool,
    owner: str | None,
) -> None:
    """Print the value in effect of the property KEY of SWITCH, or of a port; also a default."""
    from vswitch import NotFound
    from vswitch.cli.change import properties_of
    from vswitch.cli.tables import property_text

    value = properties_of(switch, port, host_scope).effective(key, owner=owner)
    if volatile and not value.volatile:
        raise NotFound(f"no volatile value of the property {key!r}")
    text = value.data.hex() if as_hex else property_text(value)
    answer(style, text, {"key": value.key, "bytes": len(value.data), "hex": value.data.hex(), "value": text})


@verb(
    argument("switches", SWITCH, nargs=-1),
    option("--observed", is_flag=True, help="Also what is observed, such as links and clients."),
)
def export(style: Style, switches: tuple[str, ...], observed: bool) -> None:
    """Print the state of the host, or of some SWITCHES, as a document that `apply` takes."""
    host = Host()
    for name in switches:
        host.switches[name]
    state = host.export(observed=observed, only=switches or None)
    put_value(style, {"$schema": "vswitch-state-1.json", **state})


@verb(argument("of", click.Choice(["state", "plan", "error"]), required=False, default="state"))
def schema(style: Style, of: str) -> None:
    """Print the JSON Schema of documents (state), or of plans or errors in JSON."""
    import vswitch

    put_json(style, vswitch.schema(of))


@verb(
    argument("switch", SWITCH, required=False),
    option("--dot", metavar="FILE", help="Write the picture for Graphviz; - is standard output."),
    option("--svg", metavar="FILE", help="Draw the picture with Graphviz; - is standard output."),
)
def topology(style: Style, switch: str | None, dot: str | None, svg: str | None) -> None:
    """Draw the host, or one SWITCH."""
    if (dot is None) == (svg is None):
        raise click.UsageError("one of --dot and --svg is needed; 'vswitch show' prints the text")
    picture = _topology_of(switch)
    text = picture.to_dot() if dot is not None else picture.to_svg()
    file = dot or svg
    if file == "-":
        put(style, text)
        return
    with open(str(file), "w", encoding="utf-8") as stream:
        stream.write(text)


@verb(argument("shell", click.Choice(["bash", "zsh", "fish"])))
def completion(style: Style, shell: str) -> None:
    """Print the script that completes verbs, options and the names of the host; for `eval` in a start file."""
    from click.shell_completion import get_completion_class

    maker = get_completion_class(shell)
    assert maker is not None
    root = click.get_current_context().find_root().command
    # Not `source()`: that runs the shell to ask its version, also of a shell that is not installed here.
    completer = maker(root, {}, "vswitch", "_VSWITCH_COMPLETE")
    put(style, completer.source_template % completer.source_vars())
    sys.stdout.flush()
