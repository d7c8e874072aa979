"""Interpreters of another version: the module, the layer and the build refuse them, and say so."""

import os
import pathlib
import subprocess
import sys
import sysconfig

import pytest
from workspace import BUILD, SEARCH, SOURCE

OTHERS = os.environ.get("PYTHON_OTHERS", "").split()
BUILT_FOR = "3.11"
OURS = f"{sys.version_info.major}.{sys.version_info.minor}"

# Each on its own; what is loaded by its path has no layer around it.
IMPORTS = """
import importlib.machinery, importlib.util, sys
if len(sys.argv) > 2:
    # What the interpreter answers is written over: "mov rax, answer; ret".
    import ctypes, mmap, struct
    answer = ctypes.create_string_buffer(sys.argv[2].encode())
    function = ctypes.cast(ctypes.pythonapi.Py_GetVersion, ctypes.c_void_p).value
    page = function & -mmap.PAGESIZE
    protect = ctypes.CDLL(None).mprotect
    protect.argtypes = [ctypes.c_void_p, ctypes.c_size_t, ctypes.c_int]
    assert protect(page, 2 * mmap.PAGESIZE, mmap.PROT_READ | mmap.PROT_WRITE | mmap.PROT_EXEC) == 0
    ctypes.memmove(function, b"\\x48\\xb8" + struct.pack("<Q", ctypes.addressof(answer)) + b"\\xc3", 11)
def load(name, path):
    loader = importlib.machinery.ExtensionFileLoader(name, path)
    return importlib.util.module_from_spec(importlib.util.spec_from_file_location(name, path, loader=loader))
for name, attempt in (
    ("_libvswitch", lambda: __import__("_libvswitch")),
    ("_libvswitch", lambda: __import__("libvswitch")),
    ("libvswitch._records", lambda: load("libvswitch._records", sys.argv[1])),
):
    try:
        attempt()
    except ImportError as error:
        print(name + ": " + str(error))
    else:
        print(name + " was imported")
"""
RECORDS = str(BUILD / "python" / "libvswitch" / f"_records.{sysconfig.get_config_var('SOABI')}.so")


def refusals(version: str) -> str:
    text = f"is built for Python {BUILT_FOR}, and this is Python {version}"
    return "".join(f"{name}: {name} {text}\n" for name in ("_libvswitch", "_libvswitch", "libvswitch._records"))


def imports(interpreter: str, *version: str) -> subprocess.CompletedProcess[str]:
    variables = dict(os.environ, PYTHONPATH=SEARCH[0])
    command = [interpreter, "-c", IMPORTS, RECORDS, *version]
    return subprocess.run(command, capture_output=True, text=True, env=variables, check=False)


def version_of(interpreter: str) -> str:
    source = "import platform; print(platform.python_version())"
    return subprocess.run([interpreter, "-c", source], capture_output=True, text=True, check=True).stdout.strip()


@pytest.mark.parametrize("version", ["3.12.1", "3.1.5", "3.110.0", "3.9.18+", "4.11.0", "2.7.18"])
def test_another_version_is_refused(version: str) -> None:
    done = imports(sys.executable, f"{version} (main, Nov 22 2026, 10:00:00) [GCC 12.2.0]")
    assert (done.returncode, done.stdout, done.stderr) == (0, refusals(version.rstrip("+")), "")


def test_the_version_that_it_is_built_for_is_taken() -> None:
    assert OURS == BUILT_FOR
    done = imports(sys.executable)
    assert done.returncode == 0 and done.stdout.startswith("_libvswitch was imported\n_libvswitch was imported\n"), done


@pytest.mark.skipif(not OTHERS, reason="PYTHON_OTHERS lists no interpreters of other versions")
def test_every_other_interpreter_is_refused() -> None:
    for interpreter in OTHERS:
        version = version_of(interpreter)
        done = imports(interpreter)
        assert (done.returncode, done.stdout, done.stderr) == (0, refusals(version), ""), interpreter


def configured(version: str, python: str) -> subprocess.CompletedProcess[str]:
    defined = [f"-DPython3_VERSION={version}", f"-DPYTHON={python}"]
    script = SOURCE / "cmake" / "PythonVersion.cmake"
    return subprocess.run(["cmake", *defined, "-P", script], capture_output=True, text=True, check=False)


@pytest.mark.parametrize("version", ["3.12.1", "3.10.13", "3.1", "3.110.2", "2.7.18"])
def test_the_build_refuses_another_version(version: str) -> None:
    done = configured(version, "/opt/other/bin/python3")
    assert done.returncode != 0
    said = " ".join(done.stderr.split())
    assert f"vswitchpy is for Python 3.11, and /opt/other/bin/python3 is Python {version}" in said


@pytest.mark.parametrize("version", ["3.11", "3.11.2", "3.11.15"])
def test_the_build_takes_its_own_version(version: str) -> None:
    assert configured(version, "/usr/bin/python3").returncode == 0


@pytest.mark.skipif(not OTHERS, reason="PYTHON_OTHERS lists no interpreters of other versions")
def test_the_whole_build_refuses_another_interpreter(tmp_path: pathlib.Path) -> None:
    others = [interpreter for interpreter in OTHERS if not version_of(interpreter).startswith(f"{BUILT_FOR}.")]
    command = ("cmake", "-S", SOURCE, "-B", tmp_path / "build", f"-DPYTHON={others[0]}")
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    assert done.returncode != 0
    assert f"vswitchpy is for Python 3.11, and {others[0]} is Python" in " ".join(done.stderr.split())


def test_the_files_of_the_layers_carry_the_interpreter_s_tag() -> None:
    """That of the module does not: its name is what other software looks for."""
    built = {path.name for path in (BUILD / "python").rglob("*.so")}
    tagged = {f"{name}.{sysconfig.get_config_var('SOABI')}.so" for name in ("_records", "_native")}
    assert built == {"libvswitchpy.so", "_libvswitch.so"} | tagged
