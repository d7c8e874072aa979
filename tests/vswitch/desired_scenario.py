"""A host with everything that documents manage, a document that changes most of it, and the whole state for
comparison."""

import os
import pathlib
import signal
import subprocess
from typing import Any

import vswitch
from vswitch.desired import journal, settings, state

PREPARED = """
format: 1
switches:
  old:
    mtu: 2000
    uplinks: [nic3, x]
    teaming: {active: [nic3], standby: [x]}
    teaming_policies: {gold: {active: [x]}}
    private_vlans: [{primary: 100, secondary: 100, type: promisc}, {primary: 100, secondary: 101, type: isolated}]
    mirrors: {m: {destinations: ["port:a"]}}
    properties: {org.a: {text: one, owner: me}, org.b: two}
    host_properties: {org.h: three}
    ports:
      a:
        vlan: {id: 101, private: true}
        teaming_policy: gold
        mac_learning: {learning: true}
        properties: {p.q: r}
        static_addresses: [{mac: 02:00:00:00:00:77, vlan: 5}]
      b: {teaming_override: x}
      c: {external_id: ext-c, connect_id: 7}
    uplink_ports: {x: {blocked: true, properties: {u.p: v}}}
  management:
    uplinks: [nic0, nic4]
    properties: {keep: "1", drop: "2"}
    ports:
      spare: {vlan: 3, security: {promiscuous: false}, properties: {k: v}}
      gone: {vlan: 9, static_addresses: [{mac: 02:00:00:00:00:78}]}
  workload:
    uplinks: [uplink-a, uplink-b, nic5]
    mirrors: {t1: {destinations: ["port:100"]}, t2: {destinations: ["port:101"]}}
"""

WANTED = """
format: 1
switches:
  exact: false
  new:
    mtu: 9000
    version: dvs-66
    uplinks: [nic5, {name: nic4, port: up-4}]
    teaming: {active: [nic4], standby: [nic5], load_balance: fo-explicit}
    teaming_policies: {blue: {active: [nic5]}}
    private_vlans: [{primary: 200, secondary: 200, type: promisc}, {primary: 200, secondary: 201, type: isolated}]
    properties: {org.n: x}
    ports:
      n1:
        connect_id: 5
        vlan: {id: 201, private: true}
        teaming_policy: blue
        static_addresses: [{mac: 02:00:00:00:00:79}]
      n2: {external_id: ext, vlan: {trunk: [10-19]}, mac_changes: false, mac_learning: {learning: true}}
    uplink_ports: {nic5: {blocked: true}}
  late: {connected: false, ports: {l: {}}}
  old: null
  management:
    uplinks: [nic0, nic3]
    max_ports: 64
    mtu: 3000
    properties: {exact: true, keep: "3", add: {text: z, owner: who}}
    ports: {spare: {vlan: 4, security: null, properties: {k: w}}, gone: null}
  workload:
    uplinks: [uplink-b]
    max_ports: 600
    version: qbr-10
    teaming: {active: [uplink-b], flags: [reverse]}
    mirrors: {t1: null, t3: {destinations: ["port:103"]}}
    ports: {103: {mac_learning: null, mac_changes: false}}
mac_learning: {aging_time: 300}
runtime_options: {IGMPVersion: 2, IGMPRouterIP: 10.0.0.1}
"""


def prepare() -> vswitch.Host:
    """The host with volatile values as well."""
    host = vswitch.Host()
    host.plan(PREPARED).apply()
    old = host.switches["old"]
    old.properties.set("org.vol", b"vv", volatile=True)
    old.properties.set("org.b", b"volatile two", volatile=True)
    old.ports["a"].properties.set("p.vol", "z", volatile=True)
    host.switches["management"].ports["spare"].properties.set("k", "volatile", volatile=True)
    return host


def whole() -> dict[str, Any]:
    """Everything that an apply promises to bring back, stored and volatile, with owners and kinds."""
    host = state.read(volatile=True)
    found: dict[str, Any] = {"mac_learning": host.mac_learning, "options": host.options}
    for alias, switch in host.switches.items():
        found[alias] = {
            "made with": (switch.id, switch.class_name, switch.flags, switch.persistent),
            "version": switch.version,
            "max_ports": switch.max_ports,
            "connected": switch.connected,
            "uplinks": list(switch.uplinks),
            "nics": switch.nics,
            "properties": (switch.common.stored, switch.common.volatile),
            # An empty list of uplinks and none are the same.
            "host_properties": [
                {key: entry for key, entry in values.items() if key != settings.UPLINKS}
                for values in (switch.local.stored, switch.local.volatile)
            ],
        }
        for kind, ports in (("port", switch.ports), ("uplink", switch.uplink_ports)):
            for name, port in ports.items():
                found[f"{alias} {kind} {name}"] = (port.external_id, port.static, port.stored, port.volatile)
    return found


def difference(one: dict[str, Any], other: dict[str, Any]) -> str:
    """Where two states differ."""
    names = [name for name in {**one, **other} if one.get(name) != other.get(name)]
    return "\n".join(f"{name}: {one.get(name)} | {other.get(name)}" for name in names)


class Tool:
    """The tool of the simulated host, on the host of this process's environment."""

    def __init__(self, program: str) -> None:
        self.program = program

    def __call__(self, *arguments: str) -> None:
        subprocess.run([self.program, *arguments], check=True, stdout=subprocess.DEVNULL)

    def fault(self, kind: str, skip: int, times: int | None = 1, **options: str) -> None:
        """A rule that lets calls fail after the first `skip`."""
        chosen = {"exception": "OSError", "message": "boom"} if kind == "abort" else {"status": "QEL_BUSY"}
        words = ["fault", "add", kind, "--skip", str(skip), *(["--times", str(times)] if times else [])]
        for name, value in {**chosen, **options}.items():
            words += [f"--{name}", value]
        self(*words)


def killed(plan: vswitch.Plan, number: int, before_line: bool, torn: bool) -> bool:
    """A copy of this process applies and is killed at that line of the journal, before it, perhaps with the beginning
    of one that is torn, or behind it. False where there is no such line."""
    child = os.fork()
    if child:
        return os.WIFSIGNALED(os.waitpid(child, 0)[1])
    count, write = 0, journal.Journal.write

    def counted(self: journal.Journal, kind: str, **members: Any) -> None:
        nonlocal count
        if before_line and count == number:
            if torn:
                os.write(self._descriptor, b'{"type": "do')
            os.kill(os.getpid(), signal.SIGKILL)
        write(self, kind, **members)
        count += 1
        if count == number + 1:
            os.kill(os.getpid(), signal.SIGKILL)

    setattr(journal.Journal, "write", counted)
    try:
        plan.apply()
    except vswitch.Error:
        pass  # a plan that fails by itself takes itself back: its journal has these lines too
    finally:
        os._exit(0)


def journals() -> list[str]:
    """The names of the files of journals."""
    return sorted(path.name.partition(".")[2] for path in pathlib.Path(os.environ["VSWITCH_APPLY_DIR"]).iterdir())
