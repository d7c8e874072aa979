"""Runs one command line: the verb, and what becomes of errors."""

from __future__ import annotations

import os
import signal
import sys
from collections.abc import Sequence
from typing import NoReturn

from vswitch.cli import FAILED, OK, TIMED_OUT, WRONG_USAGE
from vswitch.cli.output import Style, complain


def run(words: Sequence[str]) -> int:
    """Runs one command line and gives its exit code; whatever fails is said on standard error in one line."""
    style = Style(json="--json" in words)
    signal.signal(signal.SIGTERM, _interrupt)
    try:
        result = _dispatch(style, words)
        sys.stdout.flush()
        return result
    except BrokenPipeError:
        _stop_writing()
        return FAILED
    except KeyboardInterrupt:
        complain(style, {**_as_data(KeyboardInterrupt()), "message": "interrupted"})
        return FAILED
    except (AssertionError, AttributeError, NameError):  # a mistake in here: not the user's to read in one line
        raise
    except Exception as error:  # noqa: BLE001 - whatever the library and the host raise
        complain(style, _as_data(error))
        return _exit_code(error)


def _dispatch(style: Style, words: Sequence[str]) -> int:
    # `get PATH` without options, of which scripts run many: the grammar costs more than the answer.
    if len(words) == 2 and words[0] == "get" and words[1][:1] not in ("-", ""):
        from vswitch.cli.value import put_value_at

        put_value_at(style, words[1])
        return OK
    from vswitch.cli.grammar import dispatch

    return dispatch(style, words)


def _interrupt(*_: object) -> NoReturn:
    raise KeyboardInterrupt


def _stop_writing() -> None:
    """After the reader of standard output went away: what is buffered must not fail once more at exit."""
    os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())


def _as_data(error: BaseException) -> dict[str, object]:
    to_dict = getattr(error, "to_dict", None)
    if to_dict is not None:
        data: dict[str, object] = to_dict()
        return data
    format_message = getattr(error, "format_message", None)  # of the grammar
    if format_message is not None:
        text = format_message()
    elif isinstance(error, OSError) and error.filename is not None:
        text = f"{error.filename}: {error.strerror}"
    elif isinstance(error, KeyError) and error.args:
        text = str(error.args[0])
    else:
        text = str(error) or type(error).__name__
    return {"class": type(error).__name__, "status": None, "name": None, "call": "", "arguments": {}, "hint": "",
            "path": None, "message": text}


def _exit_code(error: BaseException) -> int:
    if isinstance(error, TimeoutError):
        return TIMED_OUT
    if type(error).__name__ == "DocumentError":
        return WRONG_USAGE
    code = getattr(error, "exit_code", FAILED)  # of the grammar
    return WRONG_USAGE if code == WRONG_USAGE else FAILED
