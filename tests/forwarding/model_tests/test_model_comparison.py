"""The comparison of hosts with the model: that it finds a difference of each kind. The host is another model here."""

import compare
import pytest
from model import Host, Model
from random_hosts import START, random_host

pytestmark = pytest.mark.pure_python

SEED = 3


class OtherModel:
    """The interface of a simulated host over a model; `spoil` changes what it says."""

    def __init__(self, seed, spoil=lambda kind, value: value):
        self.document = random_host(seed)
        self.model = Model.from_json(self.document)
        self.now = START
        self.spoil = spoil
        self.closed = False

    def advance(self, seconds):
        self.now += round(seconds * 1_000_000)

    def set_client(self, place, **changes):
        self.spoil("set_client", None)
        for switch in self.document["switches"]:
            for port in switch["ports"]:
                if (switch["alias"], port["dvport_id"]) == place:
                    client = port["client"]
                    client.update(changes, mac=client["mac"])
                    if "mac" in changes:
                        client["effective_mac"] = changes["mac"] or client["mac"]
        self.model.reconfigure(Host.from_json(self.document), self.now)

    def explain(self, endpoint, frame):
        return "explained"

    def send(self, endpoint, frame):
        return self.spoil("send", self.model.send(endpoint, frame, self.now))

    def counters(self, place):
        return self.spoil("counters", self.model.counters(place, self.now))

    def mac_table(self, alias):
        return self.spoil("mac_table", self.model.mac_table(alias, self.now))

    def close(self):
        self.closed = True


def found(spoil=lambda kind, value: value):
    made = []

    def opened(boot):
        assert boot["stopped_clock"] == START
        made.append(OtherModel(SEED, spoil))
        return made[0]

    texts = list(compare.differences(SEED, 80, opened))
    assert made[0].closed
    return texts


def test_equals_are_equal():
    changes = []
    assert found(lambda kind, value: changes.append(kind) if kind == "set_client" else value) == []
    assert changes


@pytest.mark.parametrize(
    "change",
    [
        lambda result: result._replace(deliveries=result.deliveries[::-1]) if len(result.deliveries) > 1 else result,
        lambda result: result._replace(deliveries=[d._replace(frame=d.frame + b"!") for d in result.deliveries]),
        lambda result: result._replace(deliveries=[d._replace(kind="made") for d in result.deliveries]),
        lambda result: result._replace(drops=[d._replace(reason="runt") for d in result.drops]),
        lambda result: result._replace(drops=[]),
        lambda result: result._replace(consumed=not result.consumed),
    ],
)
def test_other_results_are_found(change):
    (text,) = found(lambda kind, value: change(value) if kind == "send" else value)
    assert text.startswith(f"seed {SEED}, frame ") and "the host: explained" in text and "the model: " in text


def test_other_counters_and_tables_are_found():
    texts = found(lambda kind, value: {**value, "pktsInDropped": -1} if kind == "counters" else value)
    assert texts and all("'pktsInDropped': (-1, " in text for text in texts)
    texts = found(lambda kind, value: value[1:] if kind == "mac_table" else value)
    assert texts and all(", MAC tables of " in text for text in texts)


def test_a_host_that_fails_is_found():
    def fail(kind, value):
        if kind == "send":
            raise RuntimeError("no")
        return value

    (text,) = found(fail)
    assert text.endswith(": RuntimeError: no")
