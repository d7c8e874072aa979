"""Inside a script that runs on the recording stand-ins: the recorder, the module, and a check for errors."""

import ctypes

import _libvswitch as m
from exact import raises as raises  # for the scripts

rec = ctypes.CDLL("libtlklibs.so")
rec.recorder_log.restype = ctypes.c_char_p
rec.recorder_return.argtypes = [ctypes.c_longlong]
rec.recorder_store.argtypes = [ctypes.c_int, ctypes.c_longlong, ctypes.c_int]
rec.recorder_store_text.argtypes = [ctypes.c_int, ctypes.c_char_p, ctypes.c_int]
rec.recorder_abort.argtypes = [ctypes.py_object, ctypes.c_char_p, ctypes.c_int]
rec.recorder_abort.restype = None
rec.recorder_kept_text.restype = ctypes.c_char_p


def calls() -> list[list[str]]:
    """The calls since the last look: for each the function and its arguments as text."""
    lines = rec.recorder_log().decode("utf-8", "surrogateescape").splitlines()
    rec.recorder_reset()
    return [line.split("\t") for line in lines]
