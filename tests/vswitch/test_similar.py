"""Which name is suggested for a misspelt one."""

from typing import Any

import pytest

from vswitch._similar import did_you_mean, distance, similar

pytestmark = [pytest.mark.pure_python, pytest.mark.same_process]


@pytest.mark.parametrize(
    ("one", "other", "expected"),
    [
        ("", "", 0),
        ("abc", "", 3),
        ("abc", "abc", 0),
        ("abc", "acb", 1),
        ("abc", "abd", 1),
        ("abc", "abcd", 1),
        ("ca", "abc", 2),
        ("kitten", "sitting", 3),
        ("worload", "workload", 1),
    ],
)
def test_distances(one: Any, other: Any, expected: Any) -> None:
    assert distance(one, other) == distance(other, one) == expected


@pytest.mark.parametrize(
    ("text", "candidates", "expected"),
    [
        ("worload", ["management", "workload"], "workload"),
        ("wrklod", ["workload"], "workload"),
        ("wrkld", ["workload"], None),
        ("abcdefghi", ["abcdef"], None),  # 3 is too far, however long the text
        ("ab", ["cb"], "cb"),
        ("ab", ["cd"], None),  # a third of two, rounded up, is one
        ("abc", ["abd", "abe"], "abd"),
        ("abc", ["xbd", "abe"], "abe"),
        ("abcd", ["abdc"], "abdc"),
        ("", ["a"], None),
        ("a", [], None),
    ],
)
def test_suggestions(text: Any, candidates: Any, expected: Any) -> None:
    assert similar(text, candidates) == expected
    assert did_you_mean(text, candidates) == (f"; did you mean {expected!r}?" if expected else "")
