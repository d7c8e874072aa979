"""A scrape reads the host once: what it asks grows by two calls for a port, whatever the port has."""

from collections import Counter
from typing import Any

import pytest

import vswitch as v
from vswitch._calls import observed

prometheus = pytest.importorskip("prometheus_client", reason="python3-prometheus-client is not installed")
pytestmark = pytest.mark.pure_python


def scrape(registry: Any) -> tuple[list[Any], Counter[str]]:
    """The samples of a scrape, by name, and the calls that it made."""
    from prometheus_client import generate_latest
    from prometheus_client.parser import text_string_to_metric_families

    calls: Counter[str] = Counter()
    with observed(lambda name, *rest: calls.update([name])):
        text = generate_latest(registry).decode()
    families: Any = text_string_to_metric_families
    samples = [sample for family in families(text) for sample in family.samples]
    return samples, calls


def registry_of(**options: Any) -> Any:
    from prometheus_client import CollectorRegistry

    from vswitch.exporter import Collector

    registry = CollectorRegistry()
    registry.register(Collector(v.Host(), **options))
    return registry


def test_a_thousand_ports_in_one_reading() -> None:
    many = v.Host().switches.create("many", max_ports=2000)
    many.uplinks.create("nic4")
    registry, asked = registry_of(), {}
    made = 0
    for count in (10, 1000):
        for number in range(made, count):
            port = many.ports.create(f"port-{number}", connect_id=number + 1)
            if number % 10 == 0:
                port.vlan, port.security, port.alias = 5, v.SecurityPolicy.strict(), "x"
        made = count
        samples, asked[count] = scrape(registry)
        of_many = [sample for sample in samples if sample.labels.get("switch") == "many"]
        found = Counter(sample.name for sample in of_many)
        assert found["vswitch_port_link_up"] == count == found["vswitch_mac_learned"]
        assert found["vswitch_port_packets_total"] == 6 * (count + 1)  # of the uplink's port too
        assert {sample.value for sample in of_many if sample.name == "vswitch_switch_ports"} == {count}
        assert [sample.value for sample in samples if sample.name == "vswitch_up"] == [1]
    more = asked[1000] - asked[10]
    # The library gives the status and the statistics of one port at a time, and everything else at once.
    assert dict(more) == {"VSDVS_GetPortProp": 2 * 990}
    assert asked[10].total() < 300


def test_one_reading_serves_an_interval() -> None:
    registry = registry_of(interval=3600.0)
    first, calls = scrape(registry)
    again, none = scrape(registry)
    assert first == again and calls and not none


def test_what_is_told_of_a_port() -> None:
    samples, _ = scrape(registry_of())
    told = {(sample.name, *(sample.labels[name] for name in sorted(sample.labels))): sample.value for sample in samples}
    port = v.Switch("workload").ports["103"]
    counted, learned = port.statistics, port.mac_statistics
    assert told["vswitch_port_packets_total", "unicast", "in", "103", "workload"] == counted.packets_in_unicast
    assert told["vswitch_port_bytes_total", "broadcast", "out", "103", "workload"] == counted.bytes_out_broadcast
    assert told["vswitch_port_dropped_packets_total", "in", "103", "workload"] == counted.packets_in_dropped == 3
    assert told["vswitch_mac_learned", "103", "workload"] == learned.learned == 2
    assert told["vswitch_port_link_up", "web0.eth0", "100", "workload"] == 1
    assert told["vswitch_port_link_up", "", "103", "workload"] == 0


def test_a_host_that_fails_on_the_way_says_so(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr("vswitch._walk.uplinks", lambda alias: 1 / 0)
    samples, _ = scrape(registry_of())
    assert {sample.name: sample.value for sample in samples}["vswitch_up"] == 0
    assert {sample.name for sample in samples} == {"vswitch_up", "vswitch_scrape_seconds"}
