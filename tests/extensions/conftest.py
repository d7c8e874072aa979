"""What the tests of the extensions share: the text that native code has printed."""

from collections.abc import Callable

import pytest
from native_memory import c_library


@pytest.fixture
def printed(capfd: pytest.CaptureFixture[str]) -> Callable[[], str]:
    """Called, it gives what was printed since the last call, through C stdio or otherwise."""

    def take() -> str:
        c_library.fflush(None)
        return capfd.readouterr().out

    take()
    return take
