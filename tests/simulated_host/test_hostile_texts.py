"""Texts that no name can be, in the place of every text of every function: no crash, and a text that is longer than
any name is refused and changes nothing."""

from typing import Any

import pytest
import workspace
from host_calls import outcomes_of, prototypes

PROGRAM = workspace.SOURCE / "tests" / "simulated_host" / "hostile_text_calls.py"
FUNCTIONS = [name for name, prototype in prototypes().items() if any(p.is_text for p in prototype.parameters)]


@pytest.fixture(scope="module")
def outcomes() -> list[dict[str, Any]]:
    return outcomes_of(PROGRAM, FUNCTIONS)


def test_every_function_with_texts_was_called(outcomes: Any) -> None:
    assert {call["function"] for call in outcomes} == set(FUNCTIONS)


def test_no_text_ends_the_process(outcomes: Any) -> None:
    assert [call for call in outcomes if call["signal"]] == []


def test_a_text_longer_than_any_name_is_refused_and_changes_nothing(outcomes: Any) -> None:
    for call in outcomes:
        if call["kind"] == "too long":
            assert call["unchanged"], call
            if prototypes()[call["function"]].has_status:
                assert call["result"] in ("QEL_NAME_TOO_LONG", "QEL_NOT_FOUND", "QEL_BAD_PARAM"), call
            else:
                assert call["result"] == "nothing", call


def test_a_text_that_is_no_utf8_gives_a_status(outcomes: Any) -> None:
    for call in outcomes:
        assert not call["result"].startswith("no status"), call
        if call["result"].startswith("QEL_") and call["result"] != "QEL_OK":
            assert call["unchanged"], call
