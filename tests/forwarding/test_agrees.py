"""The data plane and the model, on the same random hosts and frames: deliveries, drops with their rules, counters and
learned addresses, memberships and router ports are the same."""

import json
import os
import pathlib
import subprocess
from typing import Any

import pytest
from model import Model
from random_hosts import random_host, random_traffic

BUILD = pathlib.Path(os.environ.get("VSWITCHPY_BUILD", pathlib.Path(__file__).parents[2] / "build"))
PROGRAM = BUILD / "tests" / "support" / "forwarding_answers"
FULL = bool(os.environ.get("VSWITCHPY_FULL"))
HOSTS = 500 if FULL else 60
FRAMES = 200 if FULL else 100

# Where the model names the rule that chose the uplink, the data plane names that of the reason.
RULES = {("no-uplink", "T-3"): "T-8", ("link-down", "T-9"): "X-3", ("port-blocked", "T-9"): "X-4"}


def host(seed: int) -> dict[str, Any]:
    """One in three is a host that no boot description asks for."""
    return random_host(seed, bootable=seed % 3 != 0)


def ask(document: dict[str, Any], traffic: list[Any]) -> tuple[list[Any], Any]:
    """The program's answers, and its counters in the end."""
    lines = [json.dumps(document)]
    lines += [json.dumps([endpoint, frame.hex(), now]) for endpoint, frame, now in traffic]
    answer = subprocess.run([PROGRAM], input="\n".join([*lines, "", ""]), capture_output=True, text=True, check=True)
    results = [json.loads(line) for line in answer.stdout.splitlines()]
    return results[:-1], results[-1]


def expected(result: Any) -> list[Any]:
    """A result of the model in the form of the program's."""
    place = [list(where) if isinstance(where, tuple) else where for where in
             [delivery.endpoint for delivery in result.deliveries] + [drop.place for drop in result.drops]]
    places = iter(place)
    deliveries = [[next(places), delivery.frame.hex(), delivery.kind] for delivery in result.deliveries]
    drops = [[next(places), drop.reason, drop.stage, RULES.get((drop.reason, drop.rule), drop.rule)]
             for drop in result.drops]
    return [deliveries, drops, result.consumed]


@pytest.mark.parametrize("seed", range(HOSTS))
def test_agrees(seed: int) -> None:
    document = host(seed)
    model = Model.from_json(document)
    if not document["nics"] and not any(switch["ports"] for switch in document["switches"]):
        return
    traffic = list(random_traffic(seed, document, FRAMES))
    answers, everything = ask(document, traffic)
    assert len(answers) == len(traffic)
    for (endpoint, frame, now), answer in zip(traffic, answers, strict=True):
        wanted = expected(model.send(endpoint, frame, now))
        assert answer == wanted, f"seed {seed}: {endpoint} {frame.hex()} at {now}"
    now = traffic[-1][2]
    for (alias, port), counters in everything["ports"]:
        assert counters == model.counters((alias, port), now), f"seed {seed}: {alias}/{port}"
    for switch, counters in zip(model.host.switches, everything["switches"], strict=True):
        assert counters.pop("teamAllowedPktsWithPortLimit") == model.team_allowed_at_port_limit(switch.alias)
        learned = counters.pop("learned")
        state = model.state[switch.alias]
        assert learned == sorted(
            [int.from_bytes(mac, "big"), vlan, entry.port, entry.seen, entry.moves]
            for (mac, vlan), entry in state.learned.items()), f"seed {seed}"
        assert counters.pop("routers") == sorted(state.router_ports), f"seed {seed}"
        assert counters.pop("memberships") == sorted(
            [number, group.hex(), one.mode, sorted(source.hex() for source in one.sources), one.version, one.updated,
             one.expires] for (number, group), one in state.memberships.items()), f"seed {seed}"
        for session, numbers in counters.pop("sessions").items():
            assert numbers == model.mirror_counters(switch.alias, session), f"seed {seed}: {session}"
        promiscuous = model.mirror_counters(switch.alias, "legacy_promiscuous")
        assert counters.pop("mirrorPktCnt") == promiscuous["mirrorPktCnt"]
        assert counters.pop("mirroredPkts") == promiscuous["mirroredPkts"]
        assert counters == model.service_counters(switch.alias), f"seed {seed}"
