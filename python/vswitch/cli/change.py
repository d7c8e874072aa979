"""The verbs that change one thing."""

from __future__ import annotations

from collections.abc import Callable, Mapping
from typing import Any

from vswitch import Host, Properties
from vswitch.cli.grammar import KEY, OPTION, PORT, SWITCH, UPLINK, argument, option, verb
from vswitch.cli.output import Style, answer, put_diff
from vswitch.desired.names import path_of


def _done(style: Style, thing: str, path: str, result: str) -> None:
    changed = result not in ("already there", "not there")
    answer(style, f"{thing}: {result}", {"changed": changed, "path": path, "result": result})


def _only_planned(style: Style, switches: Mapping[str, Any]) -> bool:
    """With --dry-run: prints what the change would do, as a plan says it."""
    if style.dry_run:
        put_diff(style, Host().plan({"format": 1, "switches": dict(switches)}).diff())
    return style.dry_run


def _make(style: Style, thing: str, path: str, there: bool, create: Callable[[], object], *, may_exist: bool) -> None:
    """Creates a thing, unless it is there and may be."""
    if there and may_exist:
        _done(style, thing, path, "already there")
        return
    create()
    _done(style, thing, path, "created")


MAY_EXIST = option("--may-exist", is_flag=True, help="One that is there is left as it is.")
IF_EXISTS = option("--if-exists", is_flag=True, help="One that is not there is no error.")


@verb(
    argument("switch"),
    option("--id", "identifier", help="Identifier of the switch; default: one made of its alias."),
    option("--mtu", type=int, default=0, help="Largest payload in bytes, 1280 to 9000."),
    option("--max-ports", type=int, default=0, help="Most ports, 1 to 8192."),
    MAY_EXIST,
)
def switch_add(style: Style, switch: str, identifier: str | None, mtu: int, max_ports: int, may_exist: bool) -> None:
    """Make SWITCH."""
    switches = Host().switches
    there = switch in switches
    made_with = {"id": identifier, "mtu": mtu or None, "max_ports": max_ports or None}
    wanted = {name: value for name, value in made_with.items() if value is not None}
    if not (there and may_exist) and _only_planned(style, {switch: wanted}):
        return
    _make(
        style, f"switch {switch}", path_of("switches", switch), there,
        lambda: switches.create(switch, id=identifier, mtu=mtu, max_ports=max_ports), may_exist=may_exist,
    )


@verb(argument("switch", SWITCH), IF_EXISTS)
def switch_remove(style: Style, switch: str, if_exists: bool) -> None:
    """Remove SWITCH with its ports, uplinks and properties."""
    if _only_planned(style, {switch: None}):
        return
    removed = Host().switches.remove(switch, missing_ok=if_exists)
    _done(style, f"switch {switch}", path_of("switches", switch), "removed" if removed else "not there")


@verb(
    argument("switch", SWITCH),
    argument("port"),
    option("--connect-id", type=int, default=0, help="Number that tells one connection from the next."),
    option("--external-id", help="Identifier at another party, for a port that it manages."),
    option("--vlan", type=int, help="Access VLAN."),
    MAY_EXIST,
)
def port_add(
    style: Style, switch: str, port: str, connect_id: int, external_id: str | None, vlan: int | None, may_exist: bool
) -> None:
    """Make PORT on SWITCH."""
    ports = Host().switches[switch].ports
    there = port in ports
    wanted: dict[str, Any] = {"connect_id": connect_id} if connect_id else {}
    if external_id is not None:
        wanted["external_id"] = external_id
    if vlan is not None:
        wanted["vlan"] = vlan
    if not (there and may_exist) and _only_planned(style, {switch: {"ports": {port: wanted}}}):
        return

    def create() -> None:
        made = ports.create(port, connect_id=connect_id, external_id=external_id)
        if vlan is not None:
            try:
                made.vlan = vlan
            except BaseException:
                made.remove(missing_ok=True)
                raise

    path = path_of("switches", switch, "ports", port)
    _make(style, f"port {port} of switch {switch}", path, there, create, may_exist=may_exist)


@verb(
    argument("switch", SWITCH),
    argument("port", PORT),
    option("--force", is_flag=True, help="Also with a client; it is gone when the client is."),
    IF_EXISTS,
)
def port_remove(style: Style, switch: str, port: str, force: bool, if_exists: bool) -> None:
    """Remove PORT of SWITCH."""
    ports = Host().switches[switch].ports
    if _only_planned(style, {switch: {"ports": {port: None}}}):
        return
    removed = ports.remove(port, force=force, missing_ok=if_exists)
    path = path_of("switches", switch, "ports", port)
    _done(style, f"port {port} of switch {switch}", path, "removed" if removed else "not there")


@verb(argument("switch", SWITCH), argument("uplink"), MAY_EXIST)
def uplink_add(style: Style, switch: str, uplink: str, may_exist: bool) -> None:
    """Add UPLINK behind the other uplinks of SWITCH; the NIC of that name, if there is one, is bound to it."""
    uplinks = Host().switches[switch].uplinks
    there = uplink in uplinks
    if not (there and may_exist) and _only_planned(style, {switch: {"uplinks": [*uplinks, uplink]}}):
        return
    path = path_of("switches", switch, "uplinks", uplink)
    _make(style, f"uplink {uplink} of switch {switch}", path, there, lambda: uplinks.create(uplink),
          may_exist=may_exist)


@verb(argument("switch", SWITCH), argument("uplink", UPLINK), IF_EXISTS)
def uplink_remove(style: Style, switch: str, uplink: str, if_exists: bool) -> None:
    """Remove UPLINK of SWITCH and release its NIC."""
    uplinks = Host().switches[switch].uplinks
    if _only_planned(style, {switch: {"uplinks": [name for name in uplinks if name != uplink]}}):
        return
    removed = uplinks.remove(uplink, missing_ok=if_exists)
    path = path_of("switches", switch, "uplinks", uplink)
    _done(style, f"uplink {uplink} of switch {switch}", path, "removed" if removed else "not there")


def _set_admin(style: Style, switch: str, uplink: str, state: str) -> None:
    handle = Host().switches[switch].uplinks[uplink]
    if not style.dry_run:
        handle.set_admin(state)
        _done(style, f"uplink {uplink} of switch {switch}", path_of("switches", switch, "uplinks", uplink), state)


@verb(argument("switch", SWITCH), argument("uplink", UPLINK))
def uplink_up(style: Style, switch: str, uplink: str) -> None:
    """Set UPLINK of SWITCH up, until the host boots."""
    _set_admin(style, switch, uplink, "up")


@verb(argument("switch", SWITCH), argument("uplink", UPLINK))
def uplink_down(style: Style, switch: str, uplink: str) -> None:
    """Set UPLINK of SWITCH down, until the host boots."""
    _set_admin(style, switch, uplink, "down")


VLAN = option("--vlan", type=int, default=0, help="VLAN of the address.")
VNI = option("--vni", type=int, default=0, help="Network identifier of the address.")


def _mac_planned(style: Style, switch: str, port: str, mac: str, vlan: int, vni: int, there: bool) -> bool:
    """With --dry-run: the plan for the addresses set by hand on a port, with or without this one."""
    if not style.dry_run:
        return False
    exported = Host().export(only=[switch])["switches"][switch].get("ports", {}).get(port, {})
    entry = {"mac": mac, "vlan": vlan, "vni": vni}
    others = [
        each for each in exported.get("static_addresses", []) if {"vlan": 0, "vni": 0, **each} != entry
    ]
    return _only_planned(style, {switch: {"ports": {port: {"static_addresses": others + [entry] * there}}}})


@verb(argument("switch", SWITCH), argument("port", PORT), argument("mac"), VLAN, VNI, MAY_EXIST)
def mac_add(style: Style, switch: str, port: str, mac: str, vlan: int, vni: int, may_exist: bool) -> None:
    """Set the address MAC on PORT of SWITCH by hand."""
    table = Host().switches[switch].ports[port].mac_table
    there = may_exist and bool(table.find(mac, vlan=vlan, vni=vni))
    if not there and _mac_planned(style, switch, port, mac, vlan, vni, True):
        return
    path = path_of("switches", switch, "ports", port, "static_addresses")
    _make(style, f"MAC {mac} of port {port} of switch {switch}", path, there,
          lambda: table.add(mac, vlan=vlan, vni=vni), may_exist=may_exist)


@verb(argument("switch", SWITCH), argument("port", PORT), argument("mac"), VLAN, VNI, IF_EXISTS)
def mac_remove(style: Style, switch: str, port: str, mac: str, vlan: int, vni: int, if_exists: bool) -> None:
    """Remove the address MAC that was set on PORT of SWITCH by hand."""
    table = Host().switches[switch].ports[port].mac_table
    if _mac_planned(style, switch, port, mac, vlan, vni, False):
        return
    removed = table.remove(mac, vlan=vlan, vni=vni, missing_ok=if_exists)
    path = path_of("switches", switch, "ports", port, "static_addresses")
    _done(style, f"MAC {mac} of port {port} of switch {switch}", path, "removed" if removed else "not there")


@verb(argument("name", OPTION), argument("value"))
def option_set(style: Style, name: str, value: str) -> None:
    """Set the runtime option NAME of the host to VALUE, until the host boots."""
    host = Host()
    typed: int | str = value
    try:
        typed = int(value, 0)
    except ValueError:
        pass
    if style.dry_run:
        put_diff(style, host.plan({"format": 1, "runtime_options": {name: typed}}).diff())
        return
    host.runtime_options[name] = typed
    _done(style, f"option {name}", path_of("runtime_options", name), "set")


# ---- properties ---------------------------------------------------------------------------------------------


def properties_of(switch: str, port: str | None, host_scope: bool) -> Properties:
    """The properties that --port and --host-scope name."""
    from click import UsageError

    if port is not None and host_scope:
        raise UsageError("--port and --host-scope exclude each other")
    handle = Host().switches[switch]
    if port is not None:
        return handle.ports[port].properties
    return handle.host_properties if host_scope else handle.properties


def property_options(function: Any) -> Any:
    """The options of the verbs for one property."""
    for add in (
        option("--owner", help="Owner of the value."),
        option("--volatile", is_flag=True, help="The value that ends with the next boot."),
        option("--hex", "as_hex", is_flag=True, help="The value in hexadecimal."),
        option("--host-scope", is_flag=True, help="A property of the switch on this host alone."),
        option("--port", type=PORT, help="A property of this port."),
    ):
        function = add(function)
    return function


def _property_path(switch: str, port: str | None, host_scope: bool, key: str) -> str:
    if port is not None:
        return path_of("switches", switch, "ports", port, "properties", key)
    return path_of("switches", switch, "host_properties" if host_scope else "properties", key)


def _property_planned(
    style: Style, switch: str, port: str | None, host_scope: bool, key: str, value: Mapping[str, Any] | None
) -> bool:
    member = "host_properties" if host_scope else "properties"
    document: dict[str, Any] = {member: {key: value}}
    return _only_planned(style, {switch: document if port is None else {"ports": {port: document}}})


@verb(argument("switch", SWITCH), argument("key", KEY), argument("value"), property_options)
def property_set(
    style: Style, switch: str, key: str, value: str, port: str | None, host_scope: bool, as_hex: bool, volatile: bool,
    owner: str | None,
) -> None:
    """Set the property KEY of SWITCH, or of a port, to VALUE."""
    from click import UsageError

    try:
        data = bytes.fromhex(value) if as_hex else value.encode()
    except ValueError:
        raise UsageError(f"VALUE is not hexadecimal: {value!r}") from None
    properties = properties_of(switch, port, host_scope)
    wanted: dict[str, Any] = {"hex": data.hex(), "volatile": volatile}
    if owner is not None:
        wanted["owner"] = owner
    if _property_planned(style, switch, port, host_scope, key, wanted):
        return
    properties.set(key, data, owner=owner, volatile=volatile)
    _done(style, f"property {key}", _property_path(switch, port, host_scope, key), "set")


@verb(argument("switch", SWITCH), argument("key", KEY), property_options)
def property_clear(
    style: Style, switch: str, key: str, port: str | None, host_scope: bool, as_hex: bool, volatile: bool,
    owner: str | None,
) -> None:
    """Clear the property KEY of SWITCH, or of a port."""
    properties = properties_of(switch, port, host_scope)
    if _property_planned(style, switch, port, host_scope, key, None):
        return
    properties.remove(key, owner=owner, volatile_only=volatile)
    _done(style, f"property {key}", _property_path(switch, port, host_scope, key), "cleared")
