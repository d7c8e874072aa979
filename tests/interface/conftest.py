"""What the tests of the interface share."""

import _libvswitch as m
import pytest


@pytest.fixture
def make():
    """Makes records by name and frees them after the test."""
    made = []

    def new(name, *arguments):
        record = getattr(m, f"new_{name}")(*arguments)
        made.append((name, record))
        return record

    yield new
    for name, record in made:
        getattr(m, f"delete_{name}")(record)
