"""Exports lead back: of hosts that random calls have made, onto themselves, onto a fresh host, and past the schema."""

import json
import os
import pathlib

import pytest
from workspace import SOURCE, run_script

from vswitch.desired.schema import PORT, SWITCH

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]

# How many of the members may be in none of the examples.
MOST_MISSING = 4
NICS = [{"name": f"nic{number}", "mac": f"02:00:00:00:00:{number:02x}"} for number in range(4)]

SCRIPT = """
import json, sys
sys.path.insert(0, sys.argv[1])
from hypothesis import HealthCheck, Phase, given, settings, strategies as st
import vswitch
from random_actions import PORT, SWITCH, actions, do, host, in_child, made_by

host.portsets
try:
    import jsonschema
    schema = jsonschema.Draft202012Validator(vswitch.schema())
except ImportError:
    schema = None

def made(steps):
    made_by(steps)
    exported = host.export()
    for observed in (exported, host.export(observed=True)):
        plan = host.plan(observed)
        assert not plan, plan.diff()
    # The validator is slow: what is observed it sees of every fifth host.
    if schema is not None:
        schema.validate(observed if len(counted) % 5 == 0 else exported)
    return exported

def applied(exported):
    host.plan(exported).apply()
    again = host.export()
    assert not host.plan(exported)
    return again

@settings(max_examples=int(sys.argv[2]), deadline=None, database=None, derandomize=True,
    phases=[Phase.generate, Phase.shrink], suppress_health_check=list(HealthCheck))
@given(
    st.lists(actions, min_size=5, max_size=40),
    st.fixed_dictionaries({}, optional=SWITCH),
    st.fixed_dictionaries({}, optional=PORT),
)
def round_trip(steps, of_switch, of_port):
    version = vswitch.SwitchVersion.DVS_70
    begin = [("switch", "a", True, 0, version), ("uplinks", "a", ["nic0", "up"])]
    begin += [("port", "a", "a", None), ("port", "a", "b", None)]
    begin += [("set", "a", pair) for pair in of_switch.items()]
    begin += [("set port", "a", "a", pair, len(of_port) % 3 == 0) for pair in of_port.items()]
    exported = in_child(made, [*begin, *steps])
    again = in_child(applied, exported)
    one, other = exported["switches"], again["switches"]
    assert again == exported, "\\n".join(
        f"{name}: {one[name]} | {other.get(name)}" for name in one if one[name] != other.get(name)
    )
    counted.append(exported)

counted = []
round_trip()
# Nothing of what the actions are about was always refused.
switches = [switch for exported in counted for switch in exported["switches"].values()]
ports = [port for switch in switches for port in switch.get("ports", {}).values()]
members = {name for switch in switches for name in switch}
print(json.dumps({"examples": len(counted), "switch": sorted(members), "port": sorted({n for p in ports for n in p})}))
"""


def test_exports_of_random_hosts(tmp_path: pathlib.Path) -> None:
    description = tmp_path / "empty.json"
    description.write_text(json.dumps({"format": 1, "physical_nics": NICS}))
    examples = 200 if os.environ.get("VSWITCHPY_FULL") else 25
    outcome = run_script(
        SCRIPT, str(SOURCE / "tests/vswitch"), str(examples), limit=1200, VSWITCH_HOST=":memory:",
        VSWITCH_HOST_INIT=str(description), PYTHONHASHSEED="0",
    )  # fmt: skip
    assert outcome.code == 0, outcome
    told = json.loads(outcome.out)
    assert told["examples"] >= examples
    missing = (set(SWITCH.members) - set(told["switch"])) | (set(PORT.members) - set(told["port"]))
    assert len(missing - {"flags", "observed"}) <= MOST_MISSING, sorted(missing)
