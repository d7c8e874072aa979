"""The kit's own fixtures for its tests, whether pytest has found the plugin by itself or not."""

from typing import Any

import pytest
from inner import Session
from vswitch.testing.plugin import installed


def pytest_configure(config: Any) -> None:
    installed.pytest_configure(config)


@pytest.fixture
def session(tmp_path: Any) -> Session:
    """A folder of tests of somebody else, and what pytest says of it."""
    return Session(tmp_path)
