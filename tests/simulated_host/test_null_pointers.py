"""Null in the place of every pointer of every function, one at a time and all together: no function crashes, and each
refuses what it needs."""

import collections
from typing import Any

import pytest
import workspace
from host_calls import RELEASING, outcomes_of, prototypes

PROGRAM = workspace.SOURCE / "tests" / "simulated_host" / "null_pointer_calls.py"
BATCHES = 8

# Where null has a meaning of its own: the class and the owner are the default ones, the context belongs to the caller,
# and releasing nothing does nothing.
MAY_BE_NULL = {"class_name", "vendor", "context", "memory"}
MAY_BE_NULL_IN = {
    # Identifiers are made up.
    ("VSDVS_SetSwitchUplinkPorts", "dvport_ids"),
    # The table of the switch instead of a port's.
    ("VSDVS_SetDVMirrorSessions", "dvport_id"),
    ("VSDVS_AppendDVMirrorSessions", "dvport_id"),
    ("VSDVS_GetDVMirrorSessions", "dvport_id"),
    ("VSDVS_RemoveDVMirrorSession", "dvport_id"),
    ("VSDVS_ClearDVMirrorSessions", "dvport_id"),
}
# An array without elements may be null.
ARRAYS = {
    ("VSQEL_GetRuntimeOptions", "types"),
    ("VSDVS_SetPortVLANPolicy", "ranges"),
    ("VSDVS_SetPrivateVLANMap", "map"),
    ("VSDVS_SetMcastUserLegacyEntries", "entries"),
    ("VSDVS_SetPortMcastUserLegacyEntries", "entries"),
}
# A list of values that is none.
HANDLES = {("DVSData_Update", "data"), ("DVSData_Serialize", "data")}

FUNCTIONS = [name for name, prototype in prototypes().items() if prototype.pointers()]


@pytest.fixture(scope="module")
def outcomes() -> dict[str, list[dict[str, Any]]]:
    by_function = collections.defaultdict(list)
    for first in range(BATCHES):
        for outcome in outcomes_of(PROGRAM, FUNCTIONS[first::BATCHES]):
            by_function[outcome["function"]].append(outcome)
    return by_function


def test_all_functions_with_pointers_were_called(outcomes: Any) -> None:
    assert sorted(outcomes) == sorted(FUNCTIONS)
    for name, calls in outcomes.items():
        plain = [call for call in calls if not call["claimed"]]
        # With nothing null (but for what releases memory), with each pointer, and with all of them.
        assert len(plain) == len(prototypes()[name].pointers()) + 1 + (name not in RELEASING)


def test_no_null_pointer_crashes(outcomes: Any) -> None:
    crashed = [call for calls in outcomes.values() for call in calls if call["signal"] is not None]
    assert crashed == []
    assert [call for calls in outcomes.values() for call in calls if call["result"].startswith("exit")] == []


# Else the refusals below could have another reason than the null pointer.
def test_nothing_is_refused_for_its_pointers_when_none_is_null(outcomes: Any) -> None:
    refused = [name for name, calls in outcomes.items() for call in calls if not call["null"] and is_refused(call)]
    assert sorted(refused) == sorted(REFUSED_FOR_THEIR_CONTENT)


# A record of zeros is none that these take.
REFUSED_FOR_THEIR_CONTENT = {
    "VSQEL_RTMOp",
    "VSQEL_SetRuntimeOptions",
    "VSDVS_SetDVMirrorSessions",
    "VSDVS_AppendDVMirrorSessions",
}


def is_refused(call: dict[str, Any]) -> bool:
    return bool(call["result"] == "QEL_BAD_PARAM")


def may_be_null(name: str, parameter: str, claimed: int) -> bool:
    place = (name, parameter)
    return parameter in MAY_BE_NULL or place in MAY_BE_NULL_IN or (place in ARRAYS and not claimed)


@pytest.mark.parametrize("name", FUNCTIONS)
def test_what_is_needed_is_refused_when_it_is_null(outcomes: Any, name: str) -> None:
    prototype = prototypes()[name]
    for call in outcomes[name]:
        if not call["null"]:
            continue
        if not prototype.has_status:
            assert call["result"] == "nothing", call
        elif all(may_be_null(name, parameter, call["claimed"]) for parameter in call["null"]):
            assert not is_refused(call) or name in REFUSED_FOR_THEIR_CONTENT, call
        elif all((name, parameter) in HANDLES for parameter in call["null"]):
            assert call["result"] == "QEL_INVALID_HANDLE", call
        else:
            assert is_refused(call), call
