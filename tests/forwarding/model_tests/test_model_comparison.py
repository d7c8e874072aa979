"""The comparison of hosts with the model: that it finds a difference of each kind. The host is another model here."""

from collections.abc import Callable
from typing import Any

import compare
import pytest
from model import Host, Model
from random_hosts import START, random_host

pytestmark = pytest.mark.pure_python

SEED = 3


class OtherModel:
    """The interface of a simulated host over a model; `spoil` changes what it says."""

    def __init__(self, seed: int, spoil: Callable[[str, Any], Any] = lambda kind, value: value) -> None:
        self.document = random_host(seed)
        self.model = Model.from_json(self.document)
        self.now = START
        self.spoil = spoil
        self.closed = False

    def advance(self, seconds: float) -> None:
        self.now += round(seconds * 1_000_000)

    def set_client(self, place: Any, **changes: Any) -> None:
        self.spoil("set_client", None)
        for switch in self.document["switches"]:
            for port in switch["ports"]:
                if (switch["alias"], port["dvport_id"]) == place:
                    client = port["client"]
                    client.update(changes, mac=client["mac"])
                    if "mac" in changes:
                        client["effective_mac"] = changes["mac"] or client["mac"]
        self.model.reconfigure(Host.from_json(self.document), self.now)

    def explain(self, endpoint: Any, frame: bytes) -> str:
        return "explained"

    def send(self, endpoint: Any, frame: bytes) -> Any:
        return self.spoil("send", self.model.send(endpoint, frame, self.now))

    def counters(self, place: Any) -> Any:
        return self.spoil("counters", self.model.counters(place, self.now))

    def mac_table(self, alias: str) -> Any:
        return self.spoil("mac_table", self.model.mac_table(alias, self.now))

    def close(self) -> None:
        self.closed = True


def found(spoil: Callable[[str, Any], Any] = lambda kind, value: value) -> list[str]:
    made = []

    def opened(boot: Any) -> Any:
        assert boot["stopped_clock"] == START
        made.append(OtherModel(SEED, spoil))
        return made[0]

    texts = list(compare.differences(SEED, 80, opened))
    assert made[0].closed
    return texts


def test_equals_are_equal() -> None:
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
def test_other_results_are_found(change: Callable[[Any], Any]) -> None:
    (text,) = found(lambda kind, value: change(value) if kind == "send" else value)
    assert text.startswith(f"seed {SEED}, frame ") and "the host: explained" in text and "the model: " in text


def test_other_counters_and_tables_are_found() -> None:
    texts = found(lambda kind, value: {**value, "pktsInDropped": -1} if kind == "counters" else value)
    assert texts and all("'pktsInDropped': (-1, " in text for text in texts)
    texts = found(lambda kind, value: value[1:] if kind == "mac_table" else value)
    assert texts and all(", MAC tables of " in text for text in texts)


def test_a_host_that_fails_is_found() -> None:
    def fail(kind: str, value: Any) -> Any:
        if kind == "send":
            raise RuntimeError("no")
        return value

    (text,) = found(fail)
    assert text.endswith(": RuntimeError: no")
