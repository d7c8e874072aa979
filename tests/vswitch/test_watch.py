"""Watching for changes, waiting for conditions, pictures of a host."""

import asyncio
import shutil
import threading
import time
from typing import Any

import pytest
from workspace import SOURCE

import vswitch
from vswitch import Host

pytestmark = pytest.mark.pure_python

LINK = "switches/workload/observed/uplinks/uplink-a/link"


def flat(sets: Any) -> list[Any]:
    return [(change.path, change.kind, change.before, change.after) for one in sets for change in one.changes]


def test_changes_are_told_one_for_each_value() -> None:
    host = Host()
    workload = host.switches["workload"]
    watch = host.watch(interval=0.05, timeout=0.3, observed=False)
    workload.mtu = 1500
    workload.ports["103"].mac_learning = vswitch.MacLearning(limit=9)
    workload.ports.create("new", connect_id=7)
    workload.properties["a/b"] = "x"
    workload.mirrors.create(vswitch.MirrorSession("tap", destinations=["port:new"]))
    host.runtime_options["IGMPVersion"] = 2
    begin = time.monotonic()
    found = flat(watch)
    assert time.monotonic() - begin < 20
    assert found == [
        ("switches/workload/mtu", "changed", 9000, 1500),
        (
            "switches/workload/ports/103/mac_learning",
            "changed",
            {"learning": True, "flooding": True, "limit": 64, "at_limit": "drop"},
            {"limit": 9},
        ),
        ("runtime_options/IGMPVersion", "changed", 3, 2),
        ("switches/workload/mirrors/tap", "added", None, {"destinations": ["port:new"]}),
        ("switches/workload/properties/a~1b", "added", None, "x"),
        ("switches/workload/ports/new/connect_id", "added", None, 7),
    ]


def test_only_what_is_below_the_paths() -> None:
    host = Host()
    host.switches.create("lab")
    watch = host.watch("switches/workload/mtu", "switches/lab", interval=0.05, timeout=0.2)
    host.switches["workload"].mtu = 1500
    host.switches["management"].mtu = 9000
    host.switches["workload"].rcf_type = vswitch.RcfType.EBPF
    host.switches.remove("lab")
    found = flat(watch)
    assert found[0] == ("switches/workload/mtu", "changed", 9000, 1500)
    assert {path.split("/")[1] for path, *_ in found[1:]} == {"lab"}
    assert {kind for _, kind, *_ in found[1:]} == {"removed"}
    assert list(watch) == []


def test_a_watch_ends_by_close_from_another_thread_and_with_its_block() -> None:
    host = Host()
    with host.watch(interval=3600) as watch:
        threading.Timer(0.1, watch.close).start()
        assert list(watch) == []
    with host.watch(interval=0.05) as watch:
        host.switches["workload"].mtu = 1500
        assert next(watch).changes[0].after == 1500
    with pytest.raises(StopIteration):
        next(watch)


def test_a_watch_is_an_asynchronous_iterator() -> Any:
    host = Host()

    async def one() -> vswitch.ChangeSet:
        watch = host.watch("switches/workload", interval=0.05, timeout=20, observed=False)
        await asyncio.to_thread(setattr, host.switches["workload"], "mtu", 1500)
        async for changes in watch:
            return changes
        raise AssertionError("nothing")

    assert [change.path for change in asyncio.run(one()).changes] == ["switches/workload/mtu"]


def test_limits_of_watches() -> None:
    for wrong in (0.049, 3600.1, -1):
        with pytest.raises(ValueError, match="interval"):
            Host().watch(interval=wrong)
    host: Any = Host()
    with pytest.raises(TypeError):
        host.watch(interval="1")
    with pytest.raises(TypeError):
        host.watch(7)
    with pytest.raises(ValueError, match="timeout"):
        Host().watch(timeout=-1)


@pytest.mark.parametrize(
    ("condition", "result"),
    [
        (f"{LINK} == up", "up"),
        (f"{LINK} != down", "up"),
        ("switches/workload/mtu == 9000", 9000),
        ("switches/workload/mtu >= 0x2328", 9000),
        ("switches/management/mtu < 9000", 1500),
        ("switches/workload/ports/100/vlan == 0", 0),
        ("switches/workload/ports/103/mac_learning/at_limit == drop", "drop"),
        ("switches/workload/ports/100/mac_learning/limit == 4096", 4096),
        ("switches/workload/uplinks contains uplink-a", ["uplink-a", "uplink-b"]),
        ("switches/workload/uplinks/1 == uplink-b", "uplink-b"),
        ("switches/workload/uplink_ports/uplink-a/blocked == false", False),
        ("switches/workload/observed/lags/lag-1/state == up", "up"),
        ("switches/management/ports/2/mirrors/management-tap/name contains Management", "Management traffic"),
        ("switches/management/ports/2/mirrors/management-tap/enabled == true", True),
        ("switches/management/ports/1/observed/client == kernel0", "kernel0"),
        ("mac_learning/aging_time <= 600", 600),
        ("runtime_options/IGMPVersion == 3", 3),
        ("switches/workload/teaming/active == [uplink-a, uplink-b]", ["uplink-a", "uplink-b"]),
        ("switches/none absent", None),
        ("switches/none/mtu != 7", None),
        ("switches/workload/ports/99 absent", None),
    ],
)
def test_conditions_that_hold(condition: str, result: bool) -> None:
    assert Host().wait_until(condition, timeout=0) == result


def test_conditions_that_come_true_and_those_that_do_not() -> None:
    host = Host()
    workload = host.switches["workload"]
    threading.Timer(0.2, setattr, (workload, "mtu", 2000)).start()
    assert host.wait_until("switches/workload/mtu == 2000", timeout=20, interval=0.05) == 2000
    assert host.wait_until(lambda one: one.switches["workload"].mtu - 1999, timeout=0) == 1
    for condition, hint in (
        (f"{LINK} == down", f"{LINK} is up"),
        ("switches/workload/mtu > 9000", "switches/workload/mtu is 2000"),
        ("switches/workload/mtu contains 2", "switches/workload/mtu is 2000"),
        ("switches/workload/uplinks/0 > 3", "switches/workload/uplinks/0 is uplink-a"),
        ("switches/none exists", "switches/none is absent"),
        ("switches/workload/ports/100/vlan absent", "switches/workload/ports/100/vlan is 0"),
    ):
        with pytest.raises(vswitch.TimedOut) as caught:
            host.wait_until(condition, timeout=0)
        assert str(caught.value) == hint and isinstance(caught.value, TimeoutError)
    with pytest.raises(vswitch.TimedOut):
        host.wait_until(lambda one: False, timeout=0.1, interval=0.05)


@pytest.mark.parametrize("text", ["", "a", "a b c", "a ==", "a exists b", "a = b", "a == [", "== b"])
def test_texts_that_are_no_condition(text: str) -> None:
    with pytest.raises(ValueError, match="not a condition"):
        Host().wait_until(text, timeout=0)


def test_the_text_of_the_built_in_host() -> None:
    assert Host().topology().to_text() == (
        "management (MTU 1500, 1 uplink, 2 ports)\n"
        "  uplink nic0 -- NIC nic0: up\n"
        "  port 1: VLAN 0, client kernel0\n"
        "  port 2: VLAN 0\n"
        "workload (MTU 9000, 2 uplinks, 4 ports)\n"
        "  uplink uplink-a -- NIC nic1: up\n"
        "  uplink uplink-b -- NIC nic2: up\n"
        "  lag lag-1 (nic1, nic2): up\n"
        "  port 100: VLAN 0, client web0.eth0\n"
        "  port 101: VLAN 0, client web1.eth0\n"
        "  port 102: VLAN 0, client database0.eth0\n"
        "  port 103: VLAN 0\n"
    )


def test_texts_of_other_switches() -> None:
    host = Host()
    host.plan(
        """
        format: 1
        switches:
          lab:
            uplinks: [x]
            private_vlans: [{primary: 5, secondary: 5, type: promisc}, {primary: 5, secondary: 6, type: isolated}]
            ports: {a: {vlan: {trunk: [1-3, 7]}}, b: {vlan: {trunk: []}},
              c: {vlan: {id: 6, private: true}}, d: {vlan: 12}}
          empty: {connected: false}
        """
    ).apply()
    host.switches["workload"].ports.remove("100", force=True)
    text = host.topology().to_text()
    assert (
        "lab (MTU 1500, 1 uplink, 4 ports)\n  uplink x -- no NIC: down\n"
        "  port a: VLAN trunk 1-3, 7\n  port b: VLAN trunk all\n  port c: VLAN private 6\n  port d: VLAN 12\n"
        "empty (MTU 1500, no uplinks, no ports)\n"
    ) in text
    assert "port 100" not in text
    host.switches["lab"].ports.remove("d")
    assert "port d" not in host.topology().to_text()
    assert host.topology() == host.topology()


def test_pictures() -> None:
    host = Host()
    topology = host.topology()
    kinds = [node.kind for node in topology.nodes]
    assert {kind: kinds.count(kind) for kind in kinds} == {
        "switch": 2,
        "uplink": 3,
        "nic": 3,
        "port": 6,
        "client": 4,
        "lag": 1,
    }
    ids = {node.id for node in topology.nodes}
    assert len(ids) == len(topology.nodes)
    assert {edge.source for edge in topology.edges} | {edge.target for edge in topology.edges} <= ids
    assert {edge.state for edge in topology.edges} == {"up", "down"}
    data = topology.to_dict()
    assert list(data) == ["nodes", "edges"] and list(data["nodes"][0]) == ["id", "kind", "label", "attributes"]
    assert list(data["edges"][0]) == ["source", "target", "state"]
    dot = topology.to_dot()
    assert dot.startswith("graph vswitch {") and '"port:workload/100" -- "client:workload/100"' in dot
    assert dot == host.topology().to_dot()
    assert {edge.state for edge in host.topology(observed=False).edges} == {""}


def test_svg(monkeypatch: pytest.MonkeyPatch) -> None:
    if shutil.which("dot") is None:
        pytest.skip("Graphviz is not installed")
    host = Host()
    host.switches["workload"].ports.create('quote " and \\ back')
    svg = host.topology().to_svg()
    assert "<svg" in svg and "web0.eth0" in svg and "quote &quot; and" in svg
    monkeypatch.setenv("PATH", str(SOURCE / "docs"))
    with pytest.raises(vswitch.NotSupported, match=r"Graphviz is not installed \(package graphviz\)"):
        host.topology().to_svg()


def test_the_picture_in_the_manual_is_that_of_the_built_in_host() -> None:
    assert (SOURCE / "docs/manual/pictures/topology.dot").read_text() == Host().topology().to_dot()
