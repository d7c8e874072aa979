"""Pictures of a host: its switches with uplinks, NICs, LAGs, ports and clients, as data, text, DOT and SVG."""

from __future__ import annotations

import subprocess
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any

from vswitch.desired import export, settings, state
from vswitch.desired.state import PortState, SwitchState
from vswitch.errors import Failed, NotSupported, TimedOut
from vswitch.values.base import span_text
from vswitch.values.vlan import VlanPolicy

PATIENCE = 30.0  # seconds for Graphviz


@dataclass(frozen=True, slots=True)
class Node:
    """Something in a picture: its `id`, its `kind` ("switch", "uplink", "nic", "port", "client", "lag"), its `label`,
    and what else is known of it."""

    id: str
    kind: str
    label: str
    attributes: dict[str, Any]

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {"id": self.id, "kind": self.kind, "label": self.label, "attributes": self.attributes}


@dataclass(frozen=True, slots=True)
class Edge:
    """A line between two nodes, by their ids; `state`: "up", "down", or empty where it has none."""

    source: str
    target: str
    state: str

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {"source": self.source, "target": self.target, "state": self.state}


@dataclass(frozen=True, slots=True)
class Topology:
    """The picture of a host. The same state gives the same text."""

    nodes: tuple[Node, ...]
    edges: tuple[Edge, ...]

    def to_dict(self) -> dict[str, Any]:
        """All of it as plain data."""
        return {"nodes": [node.to_dict() for node in self.nodes], "edges": [edge.to_dict() for edge in self.edges]}

    def only(self, alias: str) -> Topology:
        """The picture of one switch with what is connected to it."""
        root = f"switch:{alias}"
        mine = {node.id for node in self.nodes if node.id == root or node.attributes.get("switch") == alias}
        edges = tuple(edge for edge in self.edges if edge.source in mine)
        kept = mine | {edge.target for edge in edges}
        return Topology(tuple(node for node in self.nodes if node.id in kept), edges)

    def to_text(self) -> str:
        """A few lines for each switch."""
        lines: list[str] = []
        for node in self.nodes:
            if node.kind == "switch":
                lines += self._switch_lines(node)
        return "".join(line + "\n" for line in lines)

    def _switch_lines(self, switch: Node) -> list[str]:
        mine = [node for node in self.nodes if node.attributes.get("switch") == switch.label]
        uplinks = [node for node in mine if node.kind == "uplink"]
        ports = [node for node in mine if node.kind == "port"]
        counts = f"{_count(len(uplinks), 'uplink')}, {_count(len(ports), 'port')}"
        lines = [f"{switch.label} (MTU {switch.attributes['mtu']}, {counts})"]
        for node in uplinks:
            nic = node.attributes.get("nic")
            link = node.attributes.get("link")
            behind = f"NIC {nic}" if nic else "no NIC"
            lines.append(f"  uplink {node.label} -- {behind}" + (f": {link}" if link else ""))
        for node in mine:
            if node.kind == "lag":
                members = ", ".join(node.attributes["members"])
                lines.append(f"  lag {node.label} ({members}): {node.attributes['state']}")
        for node in ports:
            client = node.attributes.get("client")
            vlan = node.attributes["vlan"]
            lines.append(f"  port {node.label}: VLAN {vlan}" + (f", client {client}" if client else ""))
        return lines

    def to_dot(self) -> str:
        """The picture in the language of Graphviz."""
        lines = [
            "graph vswitch {",
            '  graph [rankdir=LR, fontname="sans-serif", ranksep=0.9, nodesep=0.2];',
            '  node [fontname="sans-serif", fontsize=11, style=filled, fillcolor=white, color="#5b6573"];',
            '  edge [color="#5b6573"];',
        ]
        for node in self.nodes:
            shape, colour = _SHAPES[node.kind]
            label = "\\n".join(_dot_text(line) for line in _label_lines(node))
            lines.append(f'  "{_dot_text(node.id)}" [label="{label}", shape={shape}, fillcolor="{colour}"];')
        for edge in self.edges:
            style = ' [style=dashed, color="#c0392b"]' if edge.state == "down" else ""
            lines.append(f'  "{_dot_text(edge.source)}" -- "{_dot_text(edge.target)}"{style};')
        return "\n".join([*lines, "}", ""])

    def to_svg(self) -> str:
        """The picture as SVG, made by Graphviz. NotSupported where that is not installed, TimedOut after 30 seconds."""
        try:
            outcome = subprocess.run(
                ["dot", "-Tsvg"], input=self.to_dot().encode(), capture_output=True, timeout=PATIENCE, check=False
            )
        except FileNotFoundError:
            raise NotSupported("Graphviz is not installed (package graphviz)") from None
        except subprocess.TimeoutExpired:
            raise TimedOut(f"Graphviz took longer than {PATIENCE:g} s") from None
        if outcome.returncode:
            raise Failed(f"Graphviz failed: {outcome.stderr.decode(errors='replace').strip()}")
        return outcome.stdout.decode()


_SHAPES = {
    "switch": ("box", "#dbe9f6"),
    "uplink": ("box", "#eef2f5"),
    "nic": ("component", "#e8f3e4"),
    "port": ("box", "#ffffff"),
    "client": ("ellipse", "#fdf3dc"),
    "lag": ("octagon", "#eee6f6"),
}


def _label_lines(node: Node) -> list[str]:
    if node.kind == "switch":
        return [node.label, f"MTU {node.attributes['mtu']}"]
    if node.kind == "port":
        return [f"port {node.label}", f"VLAN {node.attributes['vlan']}"]
    return [f"{'NIC' if node.kind == 'nic' else node.kind} {node.label}" if node.kind != "client" else node.label]


def _dot_text(text: str) -> str:
    return text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", " ")


def _count(number: int, noun: str) -> str:
    return f"{number or 'no'} {noun}{'' if number == 1 else 's'}"


def vlan_text(policy: VlanPolicy) -> str:
    """A VLAN policy in a few words: `10`, `trunk 10-19, 30`, `trunk all`, `private 101`."""
    if policy.trunk is not None:
        return f"trunk {', '.join(map(span_text, policy.trunk)) or 'all'}"
    return f"private {policy.id}" if policy.private else str(policy.id)


def topology(*, observed: bool = True) -> Topology:
    """See Host.topology."""
    nodes: list[Node] = []
    edges: list[Edge] = []
    host = state.read(volatile=True, own=False)
    for switch in host.switches.values():
        state.in_order(switch)
        seen = export.switch_members(switch, observed=observed)
        _switch(switch, seen, nodes, edges)
    return Topology(tuple(nodes), tuple(edges))


def _effective(kept: PortState | state.Object, setting: settings.Setting) -> Any:
    values = {**kept.stored, **kept.volatile}
    if not any(key in values for key in setting.keys):
        return setting.default
    return setting.decode({key: entry.data for key, entry in values.items()})


def _switch(switch: SwitchState, seen: dict[str, Any], nodes: list[Node], edges: list[Edge]) -> None:
    alias = switch.alias
    root = f"switch:{alias}"
    running = seen.get("observed", {})
    attributes = {"id": switch.id, "mtu": _effective(switch.common, settings.SWITCH["mtu"])}
    if "status" in running:
        attributes["status"] = running["status"]
    nodes.append(Node(root, "switch", alias, attributes))
    for uplink in switch.uplinks:
        known = running.get("uplinks", {}).get(uplink.name, {})
        nic = known.get("nic") or switch.nics.get(uplink.name)
        link = known.get("link", "")
        name = f"uplink:{alias}/{uplink.name}"
        known_of = {"switch": alias, "port": uplink.port, "nic": nic, "link": link}
        nodes.append(Node(name, "uplink", uplink.name, known_of))
        edges.append(Edge(root, name, link))
        if nic:
            nodes.append(Node(f"nic:{nic}", "nic", nic, {"link": link}))
            edges.append(Edge(name, f"nic:{nic}", link))
    for lag in running.get("lags", ()):
        name = f"lag:{alias}/{lag['name']}"
        members = [member["nic"] for member in lag["members"]]
        nodes.append(Node(name, "lag", lag["name"], {"switch": alias, "state": lag["state"], "members": members}))
        edges += [Edge(name, found, lag["state"]) for found in _found(nodes, alias, members)]
    for port, kept in switch.ports.items():
        known = seen.get("ports", {}).get(port, {}).get("observed", {})
        link, client = known.get("link", ""), known.get("client")
        name = f"port:{alias}/{port}"
        vlan = vlan_text(_effective(kept, settings.PORT["vlan"]))
        nodes.append(Node(name, "port", port, {"switch": alias, "vlan": vlan, "client": client, "link": link}))
        edges.append(Edge(root, name, link))
        if client:
            nodes.append(Node(f"client:{alias}/{port}", "client", client, {}))
            edges.append(Edge(name, f"client:{alias}/{port}", link))


def _found(nodes: Iterable[Node], alias: str, members: list[str]) -> list[str]:
    """The uplinks that the members of a LAG are, which go by their NICs."""
    uplinks = [node for node in nodes if node.kind == "uplink" and node.attributes["switch"] == alias]
    return [node.id for node in uplinks if node.attributes["nic"] in members or node.label in members]
