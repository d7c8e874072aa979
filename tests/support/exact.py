"""The exact-error check, for tests in the test process itself."""

import contextlib
from collections.abc import Iterator


@contextlib.contextmanager
def raises(exception_class: type[BaseException], text: str) -> Iterator[None]:
    """The block must raise exactly this class with exactly this text."""
    try:
        yield
    except BaseException as error:
        assert type(error) is exception_class, repr(error)
        assert str(error) == text, str(error)
    else:
        raise AssertionError(f"nothing raised instead of {exception_class.__name__}: {text}")
