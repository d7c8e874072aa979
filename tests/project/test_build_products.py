"""What is built: exported symbols, needed libraries, and that it is found without being told where."""

import os
import pathlib
import re
import subprocess
import sys

import pytest
from workspace import BUILD, run_script

MODULE = BUILD / "python" / "libvswitchpy.so"
SANITIZED = "asan" in subprocess.run(["ldd", str(MODULE)], capture_output=True, text=True, check=True).stdout

EXPORTED = {
    # name: (nm's kind, size of data)
    "PyInit__libvswitch": "T", "SWIG_strnlen": "T", "VSQEL_GetSwitchesPy": "T", "free_switches": "T",
    "alloc_dvmirror_session_table": "T", "free_dvmirror_session_table": "T", "alloc_ls_team_table": "T",
    "free_ls_team_table": "T", "alloc_rtm_query": "T", "free_rtm_query": "T", "alloc_rtm_mod_query": "T",
    "free_rtm_mod_query": "T", "alloc_hnq_query": "T", "free_hnq_query": "T", "alloc_vs_info": "T", "free_vs_info": "T",
    "get_runtime_option_type_from_name": "T", "exception_buffer": "B", "exception_status": "B", "exceptionType": "B",
    "exceptionMsg": "B", "qel_ModuleCurrentID": "R",
}
SIZES = {
    "exception_buffer": 200,
    "exception_status": 4,
    "exceptionType": 8,
    "exceptionMsg": 8,
    "qel_ModuleCurrentID": 4,
}


def output(*command: str | pathlib.Path) -> str:
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def test_the_module_exports_exactly_the_names_of_the_interface() -> None:
    symbols = {line.split()[2]: line.split()[1] for line in output("nm", "-D", "--defined-only", MODULE).splitlines()}
    if SANITIZED:  # the compiler adds symbols of its own
        symbols = {name: kind for name, kind in symbols.items() if not name.startswith("__")}
    assert symbols == EXPORTED


def test_the_exported_data_has_its_sizes() -> None:
    sizes = {}
    for line in output("readelf", "--wide", "--dyn-syms", MODULE).splitlines():
        columns = line.split()
        if len(columns) == 8 and columns[3] == "OBJECT" and columns[6] != "UND":
            sizes[columns[7]] = int(columns[2])
    assert {name: sizes[name] for name in SIZES} == SIZES


@pytest.mark.skipif(SANITIZED, reason="the sanitizers' runtime is a C++ library")
def test_the_module_needs_the_platform_libraries_and_no_cpp_runtime() -> None:
    dynamic = output("readelf", "-d", MODULE)
    needed = re.findall(r"NEEDED.*\[(.*)\]", dynamic)
    assert needed == ["libvswitch.so", "libdvs.so", "libtlklibs.so", "libc.so.6"]
    assert re.findall(r"(RUNPATH|RPATH).*\[(.*)\]", dynamic) == [("RUNPATH", "$ORIGIN/../host")]
    assert re.findall(r"SONAME.*\[(.*)\]", dynamic) == ["libvswitchpy.so"]


@pytest.mark.parametrize("name", ["libvswitch.so", "libdvs.so", "libtlklibs.so"])
def test_the_host_libraries_have_their_sonames(name: str) -> None:
    assert re.findall(r"SONAME.*\[(.*)\]", output("readelf", "-d", BUILD / "host" / name)) == [name]


def test_the_libraries_in_front_are_taken_instead() -> None:
    script = "import _libvswitch as m; print(m.QEL_ReturnStatusToString(0))"
    assert run_script(script).out == "QEL_OK\n"
    assert run_script(script, library_path=str(BUILD / "tests" / "support" / "recording")).out == "None\n"


def test_the_build_folder_can_be_moved(tmp_path: pathlib.Path) -> None:
    for folder in ("python", "host"):
        (tmp_path / folder).symlink_to(BUILD / folder)
    environment = dict(os.environ, PYTHONPATH=str(tmp_path / "python"))
    subprocess.run(
        [sys.executable, "-c", "import libvswitch; assert libvswitch.QEL_ReturnStatusToString(0) == 'QEL_OK'"],
        env=environment, check=True,
    )
