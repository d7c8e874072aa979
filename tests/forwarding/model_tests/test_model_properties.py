"""What holds of the model on any host and for any frame; the seeds are those of the parameters."""

import functools
from typing import Any

import pytest
from model import REASONS, Host, Model, to_json
from model.document import DocumentError
from model.frame import parse
from model.configuration import VlanPolicy
from model.vlan import ALL_VLANS, database_vlan
from random_hosts import random_host, random_traffic

pytestmark = pytest.mark.pure_python

SEEDS = range(120)
FRAMES = 60
STAGED = {(reason, stage) for reason, (_, stages) in REASONS.items() for stage in stages}


@functools.cache
def run(seed: int) -> tuple[dict[str, Any], Model, list[Any]]:
    """A random host after its traffic, and each frame with its result. One in three is a host that no boot description
    asks for."""
    document = random_host(seed, bootable=seed % 3 != 0)
    model = Model.from_json(document)
    if not model.host.nics and not any(switch.ports for switch in model.host.switches):
        return document, model, []
    sent = [(endpoint, frame, now, model.send(endpoint, frame, now))
            for endpoint, frame, now in random_traffic(seed, document, FRAMES)]
    return document, model, sent


def port_at(model: Model, place: Any) -> Any:
    """Switch and port of an endpoint; NICs behind no uplink have none."""
    for switch in model.host.switches:
        for port in switch.ports:
            if place in (port.nic, (switch.alias, port.dvport_id)):
                return switch, port
    return None


def vlan_on_the_wire(port: Any, frame: bytes) -> int:
    """The VLAN that a frame at a port is in by what can be seen there, None if the tag is that of the guest."""
    policy = port.vlan or (ALL_VLANS if port.is_uplink else VlanPolicy())
    parsed = parse(frame)
    assert parsed
    tag = parsed.tag
    if policy.mode != "trunk":
        return policy.vlan
    return tag.vid if tag and tag.vid else 0 if policy.vlan == 4095 else policy.vlan


@pytest.mark.parametrize("seed", SEEDS)
def test_each_frame_has_one_outcome(seed: int) -> None:
    for endpoint, _, _, result in run(seed)[2]:
        normal = [d for d in result.deliveries if d.kind in ("frame", "promiscuous")]
        ingress = [drop for drop in result.drops if drop.stage == "in"]
        assert all((drop.reason, drop.stage) in STAGED for drop in result.drops)
        # P-2, P-3: delivered, dropped or consumed; one drop at the ingress at most, and then nothing of kind `frame`.
        assert result.consumed + bool(normal or result.drops) == 1
        assert len(ingress) <= 1 and all(drop.place == endpoint for drop in ingress)
        if ingress:
            assert not [drop for drop in result.drops if drop.stage == "out"]
            assert all(d.kind == "promiscuous" for d in normal)
        # P-4: nothing back, nobody twice, and who refuses a frame does not get it.
        places = [d.endpoint for d in normal] + [drop.place for drop in result.drops if drop.stage == "out"]
        assert endpoint not in places and len(set(places)) == len(places)
        kinds = [d.kind == "mirror" for d in result.deliveries]
        assert kinds == sorted(kinds)


@pytest.mark.parametrize("seed", SEEDS)
def test_no_frame_leaves_its_vlan(seed: int) -> None:
    _, model, sent = run(seed)
    for endpoint, frame, _, result in sent:
        normal = [d for d in result.deliveries if d.kind in ("frame", "promiscuous")]
        if not normal:
            continue
        switch, ingress = port_at(model, endpoint)
        inside = {port_at(model, d.endpoint)[0].alias for d in normal}
        assert inside == {switch.alias}
        own = vlan_on_the_wire(ingress, frame)
        for delivery in normal:
            _, port = port_at(model, delivery.endpoint)
            if (ingress.vlan and ingress.vlan.mode == "private") or (port.vlan and port.vlan.mode == "private"):
                # Between private ports the VLAN changes, but not the primary one.
                assert database_vlan(switch, vlan_on_the_wire(port, delivery.frame)) == database_vlan(switch, own)
            else:
                assert vlan_on_the_wire(port, delivery.frame) == own
            # Nothing but the outer tag changes (V-12), which comes, goes or stays.
            parsed = parse(frame)
            assert parsed and delivery.frame[:12] == frame[:12] and delivery.frame.endswith(parsed.body)
            assert len(delivery.frame) - len(frame) in (-4, 0, 4)


@pytest.mark.parametrize("seed", SEEDS)
def test_counters_are_what_results_showed(seed: int) -> None:
    _, model, sent = run(seed)
    expected: dict[Any, dict[str, int]] = {}

    def note(place: Any, **counts: int) -> None:
        counted = expected.setdefault(place, dict.fromkeys((
            "pktsIn", "bytesIn", "pktsOut", "bytesOut", "pktsInDropped", "pktsOutDropped"), 0))
        for name, number in counts.items():
            counted[name] += number

    gate = {"no-portset", "forwarding-disabled", "zombie-port", "no-client", "link-down", "port-blocked", "runt"}
    for endpoint, frame, _, result in sent:
        if port_at(model, endpoint) is None:
            assert [drop.reason for drop in result.drops] == ["nic-unbound"]
            continue
        if not any(drop.stage == "in" and drop.reason in gate for drop in result.drops):
            note(endpoint, pktsIn=1, bytesIn=len(frame))
        for delivery in result.deliveries:
            note(delivery.endpoint, pktsOut=1, bytesOut=len(delivery.frame))
        for drop in result.drops:
            note(drop.place, **{"pktsInDropped" if drop.stage == "in" else "pktsOutDropped": 1})
    for place, counts in expected.items():
        shown = model.counters(place, sent[-1][2])
        for name, number in counts.items():
            casts = ("",) if name.endswith("Dropped") else ("Unicast", "Multicast", "Broadcast")
            assert sum(shown[name + cast] for cast in casts) == number, (place, name)
    for switch in model.host.switches:
        table = model.mac_table(switch.alias, sent[-1][2] if sent else 0)
        learned = [entry.port for entry in table if entry.type == "learned"]
        for port in switch.ports:
            place = port.nic or (switch.alias, port.dvport_id)
            assert model.counters(place)["numMACsLearned"] == learned.count(port.dvport_id)


@pytest.mark.parametrize("seed", SEEDS[::10])
def test_the_same_again(seed: int) -> None:
    document, model, sent = run(seed)
    again = Model.from_json(to_json(Host.from_json(document)))
    assert again.host == model.host
    assert [again.send(endpoint, frame, now) for endpoint, frame, now, _ in sent] == [item[3] for item in sent]


def test_what_the_sample_has_met() -> None:
    """A sample that lacks a reason, a kind of delivery or a consumed frame would show little."""
    met, kinds, consumed = set(), set(), 0
    for seed in SEEDS:
        for _, _, _, result in run(seed)[2]:
            met |= {(drop.reason, drop.stage) for drop in result.drops}
            kinds |= {delivery.kind for delivery in result.deliveries}
            consumed += result.consumed
    assert len(STAGED - met) <= 5, STAGED - met
    assert kinds == {"frame", "promiscuous", "mirror"} and consumed


@pytest.mark.parametrize(
    ("document", "text"),
    [
        ([], "document: not an object"),
        ({"nics": [{"name": "nic0"}]}, "nics[0].mac: is missing"),
        ({"nics": [{"name": "nic0", "mac": "2"}]}, "nics[0].mac: '2' is no MAC address"),
        ({"switch": []}, "switch: unknown member"),
        ({"switches": [{"alias": "a", "switch_id": "b", "mtu": "1500"}]}, "switches[0].mtu: '1500' is no int"),
        ({"switches": [{"alias": "a", "switch_id": "b", "ports": [{"number": 1, "dvport_id": "x", "vlan": {
            "mode": "trnk"}}]}]}, "switches[0].ports[0].vlan.mode: 'trnk' is none of 'access', 'trunk', 'private'"),
    ],
)
def test_documents_that_are_refused(document: Any, text: str) -> None:
    with pytest.raises(DocumentError) as refused:
        Model.from_json(document)
    assert str(refused.value) == text


def test_endpoints_that_are_none() -> None:
    ports = [{"number": 1, "dvport_id": "u", "uplink": "nic0", "nic": "nic0"}]
    model = Model.from_json({"nics": [{"name": "nic0", "mac": "02:00:00:00:00:01"}], "switches": [
        {"alias": "sw", "switch_id": "id", "ports": ports}]})
    endpoint: Any
    for endpoint, text in ((("x", "y"), "no switch 'x'"), (("sw", "y"), "no port 'y' on switch 'sw'"),
                           ("z", "no NIC 'z'"), (("sw", "u"), "('sw', 'u') is an uplink port: send to its NIC")):
        with pytest.raises(ValueError) as refused:
            model.send(endpoint, bytes(60), 0)
        assert str(refused.value) == text
