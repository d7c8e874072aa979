"""The calls that bring back what was: properties with owners and both values, ports, whole switches."""

from __future__ import annotations

import struct
import zlib
from typing import Any

import libvswitch

from vswitch.desired import settings
from vswitch.desired.schema import StaticAddress, Uplink
from vswitch.desired.settings import Call, Calls, Place
from vswitch.desired.state import MAGIC, Entry, Object, PortState, SwitchState

_VOLATILE = int(libvswitch.VOLATILE_PROP_TYPE)
_CONFIG = int(libvswitch.CONFIG_PROP_TYPE)
_IMAGE_FORMAT = 1


def entry_calls(place: Place, key: str, entry: Entry, volatile: bool, host: bool = False) -> Calls:
    """The calls that write one of the two values of a property as it was."""
    calls = [settings.write_property(place, key, entry.data, entry.owner or None, volatile, host)]
    kinds = entry.kinds | _VOLATILE if volatile else entry.kinds & ~_VOLATILE
    if entry.kinds & ~_VOLATILE not in (0, _CONFIG):
        name = "DVSQEL_PortDataSet" if "dvport_id" in place else f"DVSQEL_{'Host' if host else 'Global'}PropSet"
        arguments = {"name": key, "data": settings.data(entry.data), "length": len(entry.data)}
        calls.append((name, {**place, **arguments, "property_type": kinds}))
    return tuple(calls)


def property_calls(place: Place, kept: Object, key: str, host: bool = False) -> Calls:
    """The calls that bring a property back, with both of its values or none."""
    stored, volatile = kept.stored.get(key), kept.volatile.get(key)
    calls: list[Call] = []
    # On a switch that is not persistent a volatile value counts as stored, and is volatile all the same.
    if stored is not None and stored is not volatile:
        calls += entry_calls(place, key, stored, False, host)
    else:
        calls.append(settings.clear_property(place, key, None, host))
    if volatile is not None:
        calls += entry_calls(place, key, volatile, True, host)
    return tuple(calls)


def all_properties(place: Place, kept: Object, host: bool = False, without: tuple[str, ...] = ()) -> list[Call]:
    """The calls that write all properties of a new object."""
    calls: list[Call] = []
    for values, volatile in ((kept.stored, False), (kept.volatile, True)):
        for key in sorted(values, key=_needed_first):
            if key in without or key in settings.READ_ONLY or (not volatile and kept.volatile.get(key) is values[key]):
                continue
            calls += entry_calls(place, key, values[key], volatile, host)
    return calls


def _needed_first(key: str) -> tuple[bool, str]:
    return key in (settings.CONNECT_ID,), key


def address_call(alias: str, port: str, address: StaticAddress, remove: bool = False) -> Call:
    """The call that sets an address by hand, or removes it."""
    entry = {"mac": address.mac, "vlan": address.vlan, "vni": address.vni}
    name = "VSQEL_ClearPortMACTable" if remove else "VSQEL_SetPortMACTable"
    return name, {"switch_name": alias, "dvport_id": port, "entry": entry}


def port_calls(alias: str, port: str, was: PortState) -> list[Call]:
    """The calls that make a port again, with all that it had."""
    place = {"alias": alias, "dvport_id": port}
    connect = was.stored.get(settings.CONNECT_ID)
    made: Call
    if was.external_id:
        made = ("VSDVS_AddOpaqueDVPort", {**place, "external_id": was.external_id})
    elif connect is not None and len(connect.data) == 4:
        made = ("VSDVS_AddDVPort", {**place, "connect_id": int.from_bytes(connect.data, "little")})
    else:
        made = ("DVSQEL_PortAdd", {**place, "data": None, "length": 0})
    without = (settings.CONNECT_ID,) if made[0] == "VSDVS_AddDVPort" else ()
    calls = [made, *all_properties(place, was, without=without)]
    return calls + [address_call(alias, port, one) for one in was.static]


def uplinks_call(alias: str, uplinks: list[Uplink]) -> Call:
    """The call that sets all uplinks; one without a port keeps its port or gets a new one."""
    if not uplinks:
        return "VSDVS_ClearSwitchUplinkPorts", {"alias": alias}
    names = [one.name for one in uplinks]
    ports = [one.port or "" for one in uplinks]
    return "VSDVS_SetSwitchUplinkPorts", {"alias": alias, "names": names, "dvport_ids": ports}


def uplink_port_calls(switch: SwitchState, names: list[str]) -> list[Call]:
    """The calls that bring back what the ports of uplinks had."""
    calls: list[Call] = []
    for uplink in switch.uplinks:
        if uplink.name in names and uplink.name in switch.uplink_ports:
            was = switch.uplink_ports[uplink.name]
            calls += all_properties({"alias": switch.alias, "dvport_id": uplink.port}, was)
            calls += [address_call(switch.alias, str(uplink.port), one) for one in was.static]
    return calls


def switch_calls(switch: SwitchState) -> list[Call]:
    """The calls that make a switch again, with all that it had."""
    place = {"alias": switch.alias}
    arguments = {
        "alias": switch.alias,
        "switch_id": switch.id,
        "class_name": switch.class_name,
        "max_ports": switch.max_ports,
        "persistent": int(switch.persistent),
        "mtu": 0,
        "version": switch.version,
        "flags": switch.flags,
    }
    calls: list[Call] = [("VSDVS_CreateVSwitch", arguments)]
    named = {str(one.port) for one in switch.uplinks}
    for port, was in switch.ports.items():
        if port not in named:
            calls += port_calls(switch.alias, port, PortState(external_id=was.external_id))
    if switch.uplinks:
        calls.append(uplinks_call(switch.alias, switch.uplinks))
    calls += all_properties(place, switch.common)
    calls += all_properties(place, switch.local, host=True, without=(settings.UPLINKS,))
    for port, was in switch.ports.items():
        calls += all_properties({**place, "dvport_id": port}, was)
        calls += [address_call(switch.alias, port, one) for one in was.static]
    calls += uplink_port_calls(switch, [one.name for one in switch.uplinks])
    if not switch.connected:
        calls.append(("DVSQEL_SwitchDissociate", place))
    if any(switch.nics.get(one.name) not in (None, one.name) for one in switch.uplinks):
        calls += image_calls(switch)
    return calls


def image_calls(switch: SwitchState) -> list[Call]:
    """The call that brings back what no other call does: the NICs behind uplinks of other names, a smaller version.
    Only for what outlives a boot."""
    if switch.image is None or not switch.persistent:
        return []
    image = made_image(switch.image)
    place = {"alias": switch.alias}
    calls: list[Call] = [("DVSState_ConfigDeserialize", {"image": settings.data(image), "length": len(image)})]
    calls += volatile_calls(place, switch.common) + volatile_calls(place, switch.local, host=True)
    ports = {str(one.port): switch.uplink_ports[one.name] for one in switch.uplinks if one.name in switch.uplink_ports}
    for port, was in {**switch.ports, **ports}.items():
        calls += volatile_calls({**place, "dvport_id": port}, was)
    return calls


def volatile_calls(place: Place, kept: Object, host: bool = False) -> list[Call]:
    """The calls that write the volatile values, which an image of what is stored takes away."""
    return all_properties(place, Object({}, kept.volatile), host)


def made_image(switch: dict[str, Any]) -> bytes:
    """An image of the stored state of one switch."""
    import cbor2

    def stored(properties: list[dict[str, Any]]) -> list[dict[str, Any]]:
        return [one for one in properties if not one["volatile"]]

    kept = {
        **switch,
        "global": stored(switch["global"]),
        "host": stored(switch["host"]),
        "ports": [{**port, "properties": stored(port["properties"])} for port in switch["ports"]],
    }
    body: bytes = cbor2.dumps({"content": "state", "switches": [kept]})
    numbers = struct.pack("<II", _IMAGE_FORMAT, len(body))
    return MAGIC + numbers + struct.pack("<I", zlib.crc32(numbers + body)) + body
