"""Counters and states of a host for Prometheus: a collector, and a server for it."""

from __future__ import annotations

import threading
import time
from collections.abc import Iterable, Iterator
from dataclasses import dataclass
from typing import Any

from prometheus_client import CollectorRegistry, start_http_server
from prometheus_client.core import CounterMetricFamily, GaugeMetricFamily, Metric
from prometheus_client.registry import Collector as _Collector

from vswitch import Host, LinkState, PortFlag, PortType, PropertyKey, Statistics, Switch, _walk
from vswitch.desired.state import PropertyReader, StatusReader
from vswitch.values.base import fields_of
from vswitch.values.mac import STATISTICS_SIZE, MacStatistics

DIRECTIONS = ("in", "out")
CASTS = ("unicast", "multicast", "broadcast")
PORT = ("switch", "port")
_STATISTICS = str(PropertyKey.QEL_HNQPROP_PORT_STATISTICS)
_COUNTERS = tuple(name for name, _, _ in fields_of(Statistics))  # 64 bits each


@dataclass(frozen=True)
class _Family:
    """A metric as it stands in the table: its kind is told by its name."""

    meaning: str
    labels: tuple[str, ...]


FAMILIES = {
    "vswitch_switch_info": _Family("A switch, always 1", ("switch", "id", "portset", "version")),
    "vswitch_switch_mtu_bytes": _Family("Largest payload of a frame", ("switch",)),
    "vswitch_switch_ports": _Family("Ports without those of uplinks", ("switch",)),
    "vswitch_switch_active_ports": _Family("Ports with a client", ("switch",)),
    "vswitch_switch_max_ports": _Family("Most ports the switch may have", ("switch",)),
    "vswitch_switch_status": _Family("Status of the switch, a number of vswitch.SwitchStatus", ("switch",)),
    "vswitch_port_packets_total": _Family("Packets; in: from the client", (*PORT, "direction", "cast")),
    "vswitch_port_bytes_total": _Family("Bytes; in: from the client", (*PORT, "direction", "cast")),
    "vswitch_port_dropped_packets_total": _Family("Packets that were dropped", (*PORT, "direction")),
    "vswitch_port_exception_packets_total": _Family("Packets that took a slow path", (*PORT, "direction")),
    "vswitch_port_link_up": _Family("Whether the client's link is up", (*PORT, "client")),
    "vswitch_uplink_link_up": _Family("Whether the uplink's link is up", ("switch", "uplink", "nic")),
    "vswitch_uplink_speed_mbps": _Family("Speed of the uplink's NIC in Mbit/s", ("switch", "uplink", "nic")),
    "vswitch_lag_up": _Family("Whether the link aggregation group is up", ("switch", "lag")),
    "vswitch_mac_learned": _Family("Addresses learned at the port", PORT),
    "vswitch_mac_moves_total": _Family("Addresses that moved to the port", PORT),
    "vswitch_mac_unlearned_packets_total": _Family(
        "Packets whose sender could not be learned", (*PORT, "action")),
    "vswitch_mirror_copies_total": _Family("Copies that a mirror session delivered", ("switch", "session")),
    "vswitch_mirror_failed_copies_total": _Family("Copies that it could not deliver", ("switch", "session")),
    "vswitch_announcement_packets_total": _Family("Announcements that were sent", ("switch",)),
}


class Collector(_Collector):
    """Collects the metrics of one host; a failing host gives `vswitch_up 0` and nothing else of it.

    host: the host to read. interval: seconds for which one reading serves all scrapes; 0: each scrape reads.
    """

    def __init__(self, host: Host, *, interval: float = 0.0) -> None:
        self._host = host
        self._interval = interval
        self._lock = threading.Lock()  # the server answers each scrape in a thread of its own
        self._metrics: list[Metric] = []
        self._read_at = float("-inf")

    def collect(self) -> Iterator[Metric]:
        """The metrics, read from the host at once."""
        with self._lock:
            if not self._metrics or time.monotonic() - self._read_at >= self._interval:
                self._metrics = self._read()
                self._read_at = time.monotonic()
            yield from self._metrics

    def describe(self) -> Iterable[Metric]:
        """Nothing: a registry need not read the host to learn what it will get."""
        return ()

    def _read(self) -> list[Metric]:
        began = time.monotonic()
        families: dict[str, Metric] = {}
        for name, family in FAMILIES.items():
            kind = CounterMetricFamily if name.endswith("_total") else GaugeMetricFamily
            families[name] = kind(name.removesuffix("_total"), family.meaning, labels=family.labels)
        try:
            for switch in self._host.switches.values():
                _add_switch(families, switch)
            up, found = 1, list(families.values())
        except Exception:  # noqa: BLE001 - whatever the host does, the scrape says it
            up, found = 0, []
        took = time.monotonic() - began
        return [
            GaugeMetricFamily("vswitch_up", "Whether the host could be read", value=up),
            GaugeMetricFamily("vswitch_scrape_seconds", "How long reading the host took", value=took),
            *found,
        ]


def _add_switch(families: dict[str, Any], switch: Switch) -> None:
    name = switch.alias

    def add(family: str, value: float, *labels: str) -> None:
        families["vswitch_" + family].add_metric((name, *labels), value)

    portset = switch.portset
    add("switch_info", 1, switch.id, portset or "", str(switch.version))
    add("switch_mtu_bytes", switch.mtu)
    add("switch_max_ports", switch.max_ports)
    ports = _ports(name)
    add("switch_ports", len(ports))
    if portset is None:  # nothing of it runs
        return
    add("switch_active_ports", switch.info.active_ports)
    add("switch_status", int(switch.status))
    uplinks = list(switch.uplinks.values())
    for uplink in uplinks:
        nic = uplink.nic
        nic_name = nic.name if nic is not None else ""
        add("uplink_link_up", uplink.link == LinkState.UP, uplink.name, nic_name)
        add("uplink_speed_mbps", nic.link.speed if nic is not None else 0, uplink.name, nic_name)
    numbers = {}
    status = StatusReader(name)
    for port in ports:
        flags, number, client = status.read(port)
        numbers[number] = port
        add("port_link_up", bool(flags & PortFlag.LINKUP), port, client)
    statistics = PropertyReader(name, _STATISTICS, len(_COUNTERS) * 8)
    for port in [*ports, *(uplink.port.id for uplink in uplinks)]:
        counted = dict(zip(_COUNTERS, statistics.data(port).cast("Q"), strict=True))
        for direction in DIRECTIONS:
            for cast in CASTS:
                add("port_packets_total", counted[f"packets_{direction}_{cast}"], port, direction, cast)
                add("port_bytes_total", counted[f"bytes_{direction}_{cast}"], port, direction, cast)
            add("port_dropped_packets_total", counted[f"packets_{direction}_dropped"], port, direction)
            add("port_exception_packets_total", counted[f"packets_{direction}_exception"], port, direction)
    for number, data in _walk.by_number("VSQEL_GetSwitchMACLearningStats", name, 4 + STATISTICS_SIZE):
        if number not in numbers:  # came meanwhile
            continue
        identifier, learned = numbers[number], MacStatistics.from_bytes(data)
        add("mac_learned", learned.learned, identifier)
        add("mac_moves_total", learned.moved, identifier)
        add("mac_unlearned_packets_total", learned.allowed_unlearned, identifier, "allowed")
        add("mac_unlearned_packets_total", learned.dropped_unlearned, identifier, "dropped")
    for session in switch.running_mirrors:
        mirrored = switch.mirrors.statistics(session)
        add("mirror_copies_total", mirrored.copies, session)
        add("mirror_failed_copies_total", mirrored.copies_failed, session)
    for lag in switch.lags.values():
        add("lag_up", lag.state == LinkState.UP, lag.name)
    add("announcement_packets_total", switch.announcements.packets)


def _ports(alias: str) -> list[str]:
    """Identifiers of the ports of a switch without those of uplinks, kind by kind: one call for each kind."""
    uplinks = {port for _, port in _walk.uplinks(alias)}
    kinds = (PortType.ACTIVE, PortType.SHADOW, PortType.LOCALCACHE)
    return [port for kind in kinds for port in _walk.ports_of_type(alias, kind) if port not in uplinks]


def serve(host: Host, *, address: str = "127.0.0.1", port: int = 9690, interval: float = 0.0) -> None:
    """Serves `/metrics` in threads of its own, until the process ends."""
    registry = CollectorRegistry()
    registry.register(Collector(host, interval=interval))
    start_http_server(port, addr=address, registry=registry)
