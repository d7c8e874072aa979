"""Rehearsals: a plan is applied to a private simulated twin of the host, in a process of its own, which also tells who
reaches whom before and after."""

from __future__ import annotations

import json
import os
import subprocess
import sys
from collections.abc import Iterable, Mapping
from dataclasses import dataclass
from importlib import import_module
from pathlib import Path
from typing import Any, NamedTuple

from vswitch import errors
from vswitch.desired.apply import ApplyResult
from vswitch.desired.names import path_of
from vswitch.desired.plan import Operation, Plan
from vswitch.enums import LinkDuplex, SwitchVersion
from vswitch.errors import ApplyError, Error, Failed, NotSupported

__all__ = ["Connectivity", "Rehearsal"]

Pairs = frozenset[tuple[str, str]]


class Connectivity(NamedTuple):
    """Who reaches whom: pairs of endpoints, of which a broadcast of the first arrives at the second. An endpoint is
    `switch/port` of a port with a client, or the name of a NIC."""

    before: Pairs
    """Before the plan."""
    after: Pairs
    """After it."""
    lost: Pairs
    """What only `before` has."""
    gained: Pairs
    """What only `after` has."""

    def to_dict(self) -> dict[str, list[list[str]]]:
        """All of it as plain data, sorted."""
        return {name: [list(pair) for pair in sorted(pairs)] for name, pairs in self._asdict().items()}


@dataclass(frozen=True, slots=True)
class Rehearsal:
    """What came of a plan on a simulated twin of the host: whether it works (`ok`), or the `error`; the `result` of the
    apply, the `state` afterwards as `Host.export()` gives it, and whom the plan cuts off or joins (`connectivity`)."""

    ok: bool
    error: Error | None
    result: ApplyResult | None
    state: dict[str, Any]
    connectivity: Connectivity

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {
            "ok": self.ok,
            "error": None if self.error is None else self.error.to_dict(),
            "result": None if self.result is None else self.result.to_dict(),
            "state": self.state,
            "connectivity": self.connectivity.to_dict(),
        }


def rehearse(plan: Plan) -> Rehearsal:
    """See Plan.rehearse."""
    from vswitch.handles.host import Host

    libraries = simulated_libraries()
    host = Host()
    exported = host.export(observed=True)
    nics = {name: nic.link for name, nic in host.nics.items()}
    given = {"boot": description(exported, nics), "state": _without_observed(exported), "plan": plan.to_dict()}
    told = _child(libraries, given)
    before, after = (frozenset((one, other) for one, other in told[name]) for name in ("before", "after"))
    error = _error(told["error"])
    made = told["result"]
    result = made and ApplyResult(made["changed"], plan.operations, made["verified"], made["seconds"])
    connectivity = Connectivity(before, after, before - after, after - before)
    return Rehearsal(error is None, error, result, told["state"], connectivity)


# ---- the process -----------------------------------------------------------------------------------------------------


def simulated_libraries() -> Path:
    """The folder of the simulated host's libraries. NotSupported where it is not found."""
    named = os.environ.get("VSWITCH_SIMULATED_HOST")
    if named is not None:
        places = [Path(named)]
    else:
        module = Path(str(import_module("_libvswitch").__file__)).resolve()
        # In a build tree beside `python`; installed, below the `lib` that the module is in.
        places = [module.parent.parent / "host"]
        places += [folder / "vswitchpy" / "host" for folder in module.parents if folder.name == "lib"]
    for place in places:
        if (place / "libvswitch.so").exists():
            return place
    raise NotSupported("the simulated host is not installed (VSWITCH_SIMULATED_HOST names the folder of its libraries)")


def _child(libraries: Path, given: Mapping[str, Any]) -> dict[str, Any]:
    """What the twin tells, in a process with the simulated libraries: real ones may be loaded in this one."""
    root = str(Path(__file__).resolve().parents[2])
    kept = {name: value for name, value in os.environ.items() if not name.startswith("VSWITCH_")}
    paths = [root, *(path for path in kept.get("PYTHONPATH", "").split(os.pathsep) if path)]
    folders = [str(libraries), *(one for one in kept.get("LD_LIBRARY_PATH", "").split(os.pathsep) if one)]
    made = {"LD_LIBRARY_PATH": os.pathsep.join(folders), "PYTHONPATH": os.pathsep.join(paths)}
    process = subprocess.run(
        [sys.executable, "-m", "vswitch.desired.rehearse"],
        input=json.dumps(given),
        capture_output=True,
        encoding="utf-8",
        errors="surrogateescape",
        env={**kept, **made, "VSWITCH_HOST": ":memory:"},
        cwd="/",
        check=False,
    )
    if process.returncode != 0:
        said = process.stderr.strip().splitlines()
        if said and said[-1].startswith("ModuleNotFoundError"):
            raise NotSupported("frames through simulated hosts are not installed (vswitch.simulated)")
        raise Failed(f"the rehearsal did not end: {said[-1] if said else f'status {process.returncode}'}")
    told: dict[str, Any] = json.loads(process.stdout)
    return told


def _error(told: Mapping[str, Any] | None) -> Error | None:
    """An error of its plain form."""
    if told is None:
        return None
    kind: Any = getattr(errors, str(told["class"]), Failed)
    if kind is ApplyError:
        done, undone, not_undone = (
            tuple(Operation.from_dict(one) for one in told[name]) for name in ("done", "undone", "not_undone")
        )
        operation = None if told["operation"] is None else Operation.from_dict(told["operation"])
        cause = _error(told["cause"]) or Failed(str(told["message"]))
        return ApplyError(cause, operation, done, undone, not_undone, bool(told["rolled_back"]))
    error = kind.__new__(kind)  # as an Error is unpickled
    for name in ("status", "name", "call", "arguments", "hint", "path"):
        setattr(error, name, told[name])
    if isinstance(error, errors.DocumentError):
        error.reason = str(told["hint"])
    made: Error = error
    return made


# ---- the twin as a boot description ----------------------------------------------------------------------------------

_MADE_UP = "02:76:73"  # the first bytes of addresses that are not known


def _address(number: int) -> str:
    return _MADE_UP + "".join(f":{byte:02x}" for byte in number.to_bytes(3, "big"))


def description(exported: Mapping[str, Any], nics: Mapping[str, Any]) -> dict[str, Any]:
    """The boot description of the host of an export with what is observed: its switches, uplinks, NICs, LAGs, ports and
    clients. `nics`: the link of each NIC by name. Settings are left to the export itself."""
    switches = exported["switches"]
    numbers = iter(range(1, 1 << 24))
    return {
        "format": 1,
        "physical_nics": [_nic(name, link, next(numbers)) for name, link in nics.items()],
        "switches": [_switch(alias, switch, numbers) for alias, switch in switches.items()],
    }


def _nic(name: str, link: Any, number: int) -> dict[str, Any]:
    made = {"name": name, "mac": _address(number), "link": "up" if str(link.state) == "up" else "down"}
    if link.speed:
        made["speed"] = link.speed
    if link.duplex == LinkDuplex.HALF:
        made["duplex"] = "half"
    return made


def _switch(alias: str, switch: Mapping[str, Any], numbers: Iterable[int]) -> dict[str, Any]:
    observed = switch.get("observed", {})
    behind = {name: one["nic"] for name, one in observed.get("uplinks", {}).items()}
    made: dict[str, Any] = {
        "alias": alias,
        "switch_id": switch["id"],
        "class": switch["class"],
        "max_ports": switch["max_ports"],
        "persistent": switch.get("persistent", True),
        "version": int(SwitchVersion.from_json(switch["version"])),
        "flags": switch.get("flags", 0),
        "uplinks": [_uplink(one, behind) for one in switch["uplinks"]],
        "ports": [_port(name, port, numbers) for name, port in switch.get("ports", {}).items()],
    }
    if not switch.get("connected", True):
        made["portset"] = False
    names = {nic: name for name, nic in behind.items() if nic is not None}
    made["lags"] = [
        {
            "name": lag["name"],
            "members": [
                {"uplink": names.get(one["nic"], one["nic"]), "lacp": "up" if one["link"] == "up" else "down"}
                for one in lag["members"]
            ],
        }
        for lag in observed.get("lags", [])
    ]
    return made


def _uplink(one: Any, behind: Mapping[str, str | None]) -> dict[str, Any]:
    name = one if isinstance(one, str) else one["name"]
    made = {"name": name, "nic": behind.get(name)}
    if not isinstance(one, str) and one.get("port"):
        made["dvport_id"] = one["port"]
    return made


def _port(name: str, port: Mapping[str, Any], numbers: Any) -> dict[str, Any]:
    made: dict[str, Any] = {"dvport_id": name}
    if "external_id" in port:
        made["external_id"] = port["external_id"]
    client = port.get("observed", {}).get("client")
    if client is not None:
        made["client"] = {"name": client, "type": "vnic", "mac": _address(next(numbers))}
    return made


def _without_observed(given: Any) -> Any:
    if isinstance(given, dict):
        return {name: _without_observed(one) for name, one in given.items() if name != "observed"}
    return given


# ---- in the process --------------------------------------------------------------------------------------------------


def main() -> int:
    """The process itself: what is to be done on standard input, what came of it on standard output."""
    from vswitch.handles.host import Host

    given = json.load(sys.stdin)
    simulated = import_module("vswitch.simulated")
    with simulated.SimulatedHost(boot=given["boot"]) as twin:
        host = Host()
        host.plan(given["state"]).apply()
        before = _connections(host, twin)
        error: dict[str, Any] | None = None
        result = None
        try:
            result = Plan.from_dict(given["plan"]).apply().to_dict()
        except Error as caught:
            error = caught.to_dict()
            if isinstance(caught, ApplyError):
                operation = caught.operation
                cause = caught.cause.to_dict() if isinstance(caught.cause, Error) else None
                error |= {"operation": None if operation is None else operation.to_dict(), "cause": cause}
        after = _connections(host, twin)
        told = {"error": error, "result": result, "state": host.export(), "before": before, "after": after}
    print(json.dumps(told))
    return 0


_BROADCAST, _TYPE_OF_TAG, _CONTENT = b"\xff" * 6, b"\x81\x00", b"\x08\x00" + bytes(46)


def _connections(host: Any, twin: Any) -> list[tuple[str, str]]:
    """The pairs of endpoints of which a broadcast of the first arrives at the second."""
    vlans: dict[Any, list[int]] = {}
    for alias, switch in host.export(observed=True)["switches"].items():
        for name, port in switch.get("ports", {}).items():
            if port["observed"]["client"] is not None:
                vlans[alias, name] = _sent_in(port.get("vlan", 0))
    vlans |= {nic: [0] for nic in host.nics}
    found = []
    for endpoint, sent_in in vlans.items():
        source = _source(twin, endpoint)
        reached = {
            _named(delivery.endpoint)
            for vid in sent_in
            for delivery in twin.explain(endpoint, _frame(source, vid)).deliveries
            if delivery.kind.value == "frame" and delivery.endpoint != endpoint
        }
        found += [(_named(endpoint), other) for other in sorted(reached)]
    return found


def _sent_in(vlan: Any) -> list[int]:
    """The VLANs that a client tags its broadcasts with, 0 for none: of a trunk the first of each range."""
    if not isinstance(vlan, dict) or not vlan.get("trunk"):
        return [0]
    return [int(str(one).partition("-")[0]) for one in vlan["trunk"]]


def _source(twin: Any, endpoint: Any) -> bytes:
    mac = _address((1 << 24) - 1) if isinstance(endpoint, str) else twin.client(endpoint).mac
    return bytes.fromhex(str(mac or _address((1 << 24) - 2)).replace(":", ""))


def _frame(source: bytes, vid: int) -> bytes:
    tag = _TYPE_OF_TAG + vid.to_bytes(2, "big") if vid else b""
    return _BROADCAST + source + tag + _CONTENT


def _named(endpoint: Any) -> str:
    return endpoint if isinstance(endpoint, str) else path_of(*endpoint)


if __name__ == "__main__":
    sys.exit(main())
