"""What the tests of the extensions share: the text that native code has printed."""

import pytest
from native_memory import c_library


@pytest.fixture
def printed(capfd):
    """Called, it gives what was printed since the last call, through C stdio or otherwise."""

    def take() -> str:
        c_library.fflush(None)
        return capfd.readouterr().out

    take()
    return take
