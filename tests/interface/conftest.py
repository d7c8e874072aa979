"""What the tests of the interface share."""

from collections.abc import Callable, Iterator
from typing import Any

import _libvswitch as m
import pytest


@pytest.fixture
def make() -> Iterator[Callable[..., Any]]:
    """Makes records by name and frees them after the test."""
    made = []

    def new(name: str, *arguments: Any) -> Any:
        record = getattr(m, f"new_{name}")(*arguments)
        made.append((name, record))
        return record

    yield new
    for name, record in made:
        getattr(m, f"delete_{name}")(record)
