"""Sends random frames to simulated hosts and to the model, and says where the two differ. Clients change meanwhile.

    python3 tests/forwarding/compare.py --hosts 500 --frames 200 [--first SEED]

Each seed is one host; a host stops at its first difference, of which the explanation and the model's steps are printed.
Exit code 1 if there was one. The simulated host's own package must be found (`build/python` on PYTHONPATH).
"""

import argparse
import importlib
import json
import sys
from collections.abc import Callable, Iterator
from random import Random
from typing import Any

from boot import description
from model import Host, Model, Place, Result
from random_hosts import START, random_change, random_host, random_traffic

OpenHost = Callable[[dict[str, Any]], Any]
MakeHost = Callable[[int], dict[str, Any]]


def simulated_host(boot: dict[str, Any]) -> Any:
    """A private host, by vswitch.simulated."""
    return importlib.import_module("vswitch.simulated").SimulatedHost(boot=boot)


def shown(result: Any) -> dict[str, object]:
    """What is compared of a result, the model's or the host's."""
    def name(value: Any) -> str:
        return str(getattr(value, "value", value))

    return {
        "deliveries": [(d.endpoint, name(d.kind), bytes(d.frame).hex()) for d in result.deliveries],
        "drops": [(d.place, name(d.reason), d.stage) for d in result.drops],
        "consumed": int(result.consumed),
    }


def differences(seed: int, frames: int, open_host: OpenHost = simulated_host,
                make_host: MakeHost = random_host) -> Iterator[str]:
    """What differs for the host of a seed: at most one frame, and then nothing further; or counters and tables."""
    document = make_host(seed)
    model, host = Model.from_json(document), open_host(description(document, START))
    random = Random(f"changes {seed}")
    try:
        now = START
        traffic = random_traffic(seed, document, frames)
        for index, (endpoint, frame, at) in enumerate(traffic):
            if at > now:
                host.advance((at - now) / 1_000_000)
                now = at
            changed = random_change(random, document) if random.random() < 0.05 else None
            if changed is not None:
                document, port, changes = changed
                host.set_client(port, **changes)
                model.reconfigure(Host.from_json(document), at)
            try:
                explanation = str(host.explain(endpoint, frame))
                theirs = shown(host.send(endpoint, frame))
            except Exception as error:  # any: it is what is to be reported
                yield f"seed {seed}, frame {index}, {endpoint}: {frame.hex()}: {type(error).__name__}: {error}"
                return
            result = model.send(endpoint, frame, at)
            ours = shown(result)
            if theirs != ours:
                yield "\n".join(_difference(seed, index, endpoint, frame, theirs, ours, explanation, result))
                return
        yield from _states(seed, model, host, now)
    finally:
        host.close()


def _difference(seed: int, index: int, endpoint: Place, frame: bytes, theirs: dict[str, object],
                ours: dict[str, object], explanation: str, result: Result) -> Iterator[str]:
    yield f"seed {seed}, frame {index}, {endpoint}: {frame.hex()}"
    for part, value in ours.items():
        if theirs[part] != value:
            yield f"  {part}: the host: {theirs[part]}"
            yield f"  {part}: the model: {value}"
    yield from (f"  the host: {line}" for line in explanation.splitlines())
    yield from (f"  the model: {step.rule} {step.place}: {step.text}" for step in result.steps)


def _states(seed: int, model: Model, host: Any, now: int) -> Iterator[str]:
    """Counters of all endpoints and the MAC tables."""
    for switch in model.host.switches:
        for port in switch.ports:
            place: Place | None = port.nic if port.is_uplink else (switch.alias, port.dvport_id)
            if place is None:
                continue
            ours, theirs = model.counters(place, now), host.counters(place)
            wrong = {name: (theirs.get(name), ours.get(name)) for name in sorted(ours.keys() | theirs.keys())
                     if theirs.get(name) != ours.get(name)}
            if wrong:
                yield f"seed {seed}, counters of {place}, the host's and the model's: {wrong}"
        if switch.portset is None:
            continue
        tables = [tuple(entry) for entry in host.mac_table(switch.alias)], [
            tuple(entry) for entry in model.mac_table(switch.alias, now)]
        if tables[0] != tables[1]:
            yield f"seed {seed}, MAC tables of {switch.alias}, the host's and the model's: {tables}"


def main() -> int:
    parser = argparse.ArgumentParser(description="Compares simulated hosts with the model.")
    parser.add_argument("--hosts", type=int, default=500)
    parser.add_argument("--frames", type=int, default=200)
    parser.add_argument("--first", type=int, default=0, help="the first seed")
    parser.add_argument("--description", type=int, metavar="SEED", help="print the boot description of a seed")
    chosen = parser.parse_args()
    if chosen.description is not None:
        print(json.dumps(description(random_host(chosen.description), START), indent=1))
        return 0
    different = 0
    for seed in range(chosen.first, chosen.first + chosen.hosts):
        found = list(differences(seed, chosen.frames))
        different += bool(found)
        for text in found:
            print(text, flush=True)
    print(f"{chosen.hosts} hosts from seed {chosen.first}, {chosen.frames} frames each: {different} differ")
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
