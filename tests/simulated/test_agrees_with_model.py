"""Simulated hosts and the model of the pipeline, a second implementation made of its description alone, on the same
random hosts and frames: deliveries, drops, counters and MAC tables are the same, while clients change and time
passes."""

import os
from typing import Any

import pytest
import hosts  # noqa: F401 - before those that it finds
from compare import differences  # noqa: I001
from random_hosts import random_host

from vswitch.simulated import SimulatedHost

FULL = bool(os.environ.get("VSWITCHPY_FULL"))
HOSTS = 500 if FULL else 12
FRAMES = 200 if FULL else 60


def made(seed: int) -> dict[str, Any]:
    document = random_host(seed)
    for switch in document["switches"]:
        # Only a description has addresses at a port without link; a host forgets them when that is set again.
        for port in switch["ports"]:
            port["learned"] = []
    return document


@pytest.mark.parametrize("seed", range(HOSTS))
def test_agrees_with_the_model(seed: int) -> None:
    assert not list(differences(seed, FRAMES, lambda boot: SimulatedHost(boot=boot), made))
