"""The exception bridge, against a library that really jumps."""

from workspace import Script


GLOBALS = """
import ctypes
library = ctypes.CDLL(m.__file__)
def status(): return ctypes.c_int.in_dll(library, "exception_status").value
"""


def test_an_abort_raises_the_class_and_text_that_the_library_left(recording: Script) -> None:
    recording(
        GLOBALS
        + """
assert status() == 0
rec.recorder_abort(ValueError, "the state file is damaged".encode(), 1)
with raises(ValueError, "the state file is damaged"):
    m.VSDVS_SetMTU("alpha", 1500)
assert status() == 1
"""
    )


def test_the_next_call_succeeds_and_resets_the_status(recording: Script) -> None:
    recording(
        GLOBALS
        + """
for attempt in range(2):        # twice in a row, with text arguments
    rec.recorder_abort(OSError, b"gone", 7)
    with raises(OSError, "gone"):
        m.VSDVS_AddOpaqueDVPort("alpha", "port", "external")
    assert status() == 7
for attempt in range(2):        # and without
    rec.recorder_abort(RuntimeError, b"again", 2)
    with raises(RuntimeError, "again"):
        m.DVSLoadConfig()
    assert status() == 2
rec.recorder_return(-5)
assert m.VSDVS_SetMTU("alpha", 1500) == -5
assert status() == 0
"""
    )


def test_an_abort_in_a_call_with_outputs_returns_none_of_them(recording: Script) -> None:
    recording(
        """
rec.recorder_store(2, 1, 4)
rec.recorder_abort(KeyError, b"lost", 1)
try:
    m.VSQEL_GetMcastFilterMode("alpha")
except KeyError as error:
    assert error.args == ("lost",)
else:
    raise AssertionError
assert m.VSQEL_GetMcastFilterMode("alpha") == [0, 1]
"""
    )


def test_an_abort_without_an_exception_class_is_a_system_error(recording: Script) -> None:
    """Libraries have to leave one; the first abort of this one has not."""
    recording(
        GLOBALS
        + """
rec.recorder_abort.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
rec.recorder_abort(None, b"nobody says what this is", 5)
with raises(SystemError, "a host library aborted the call without an exception class"):
    m.VSDVS_SetMTU("alpha", 1500)
assert status() == 5
assert m.VSDVS_SetMTU("alpha", 1500) == 0
"""
    )


def test_a_message_that_is_no_utf8_comes_whole(recording: Script) -> None:
    recording(
        """
rec.recorder_abort(ValueError, b"file \\xff", 1)
with raises(ValueError, "file \\udcff"):
    m.VSDVS_DestroyVSwitch("alpha")
"""
    )


def test_an_argument_error_does_not_arm_the_bridge(recording: Script) -> None:
    recording(
        GLOBALS
        + """
rec.recorder_abort(ValueError, b"first", 3)
with raises(ValueError, "first"):
    m.DVSLoadConfig()
with raises(OverflowError, "in method 'VSDVS_SetMTU', argument 2 of type 'qel_uint32'"):
    m.VSDVS_SetMTU("alpha", -1)
assert status() == 3
# Accessors and registration do not arm it either; constructors and destructors do.
record = None
m.qel_Name_swigregister(object)
assert status() == 3
record = m.new_qel_Name()
assert status() == 0
m.qel_Name_string_set(record, "x")
m.delete_qel_Name(record)
"""
    )


def test_texts_of_an_aborted_call_stay_where_they_are(recording: Script) -> None:
    """The library may have kept their addresses; a later call must not use the memory again."""
    recording(
        """
texts = [f"a text that the library keeps {attempt}" for attempt in range(50)]
for text in texts:
    rec.recorder_abort(ValueError, b"kept", 1)
    with raises(ValueError, "kept"):
        m.VSDVS_DestroyVSwitch(text)
for _ in range(200):
    m.VSDVS_DestroyVSwitch("another text of about the same length")
assert [rec.recorder_kept_text(index).decode() for index in range(50)] == texts
"""
    )


def test_the_globals_are_zero_before_the_first_abort(recording: Script) -> None:
    recording(
        GLOBALS
        + """
assert ctypes.c_void_p.in_dll(library, "exceptionType").value is None
assert ctypes.c_void_p.in_dll(library, "exceptionMsg").value is None
assert bytes((ctypes.c_char * 200).in_dll(library, "exception_buffer")) == bytes(200)
"""
    )


def test_the_globals_keep_what_the_library_last_stored(recording: Script) -> None:
    recording(
        GLOBALS
        + """
rec.recorder_abort(ValueError, b"text", 1)
with raises(ValueError, "text"):
    m.DVSLoadConfig()
m.DVSLoadConfig()
assert ctypes.c_void_p.in_dll(library, "exceptionType").value == id(ValueError)
assert ctypes.c_char_p.in_dll(library, "exceptionMsg").value == b"text"
"""
    )


def test_panic_passes_its_first_argument_and_a_null(recording: Script) -> None:
    recording(
        """
assert m.Panic("x %s", 1, 2) is None
assert m.Panic(None) is None
assert calls() == [["Panic", '"x %s"', "0"], ["Panic", "null", "0"]]
with raises(TypeError, "Panic() takes exactly 1 argument (0 given)"):
    m.Panic()
with raises(TypeError, "in method 'Panic', argument 1 of type 'char const *'"):
    m.Panic(5)
assert calls() == []
"""
    )
