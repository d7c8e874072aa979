"""What `cmake --install` and the Debian packages bring, and that it works without the sources and the build."""

import gzip
import pathlib
import re
import shutil
import subprocess
import sys
import sysconfig
from typing import Any

import pytest
from test_build_products import SANITIZED
from workspace import BUILD, SOURCE

pytestmark = pytest.mark.skipif(SANITIZED, reason="what users install is built without sanitizers")



def version() -> str:
    (found,) = re.findall(r"project\(vswitchpy VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())
    return str(found)


PYTHON = "lib/python3/dist-packages"
HOST = "lib/vswitchpy/host"
DOC = "share/doc"
PACKAGES = [
    str(path.relative_to(SOURCE / "python"))
    for name in ("libvswitch", "vswitch")
    for path in (SOURCE / "python" / name).rglob("*")
    if path.is_file() and not {"__pycache__", ".mypy_cache"} & set(path.parts) and path.suffix not in (".cpp", ".hpp")
]
SIMULATED = [name for name in PACKAGES if name.startswith("vswitch/simulated/")]
MODULE_FILES = {
    f"{PYTHON}/_libvswitch.so",
    f"{PYTHON}/libvswitchpy.so",
    f"{PYTHON}/libvswitch/__init__.pyi",
    f"{PYTHON}/libvswitch/_records.{sysconfig.get_config_var('SOABI')}.so",
    *(f"{PYTHON}/{name}" for name in PACKAGES if name not in SIMULATED),
    f"{PYTHON}/vswitch/enums/families.json",
    *(f"{PYTHON}/vswitchpy-{version()}.dist-info/{name}" for name in ("METADATA", "entry_points.txt")),
    "bin/vswitch",
    "share/man/man1/vswitch.1.gz",
    f"{DOC}/vswitchpy/changelog.gz",
    f"{DOC}/vswitchpy/copyright",
    "share/lintian/overrides/vswitchpy",
}
HOST_FILES = {
    "bin/vswitch-host",
    f"{HOST}/bin/vswitch-host",
    f"{HOST}/libdvs.so",
    f"{HOST}/libtlklibs.so",
    f"{HOST}/libvswitch.so",
    f"{HOST}/libvswitchsim.so",
    *(f"{PYTHON}/{name}" for name in SIMULATED),
    f"{PYTHON}/vswitch/simulated/_native.{sysconfig.get_config_var('SOABI')}.so",
    "include/vswitch_sim.h",
    f"{DOC}/vswitchpy-host/changelog.gz",
    f"{DOC}/vswitchpy-host/copyright",
    f"{DOC}/vswitchpy-host/host.md",
    "share/man/man1/vswitch-host.1.gz",
    *(f"{DOC}/vswitchpy-host/{path.relative_to(SOURCE)}" for path in (SOURCE / "examples").rglob("*.py")),
}
BINARIES = [path for path in MODULE_FILES | HOST_FILES if path.endswith(".so") or path == f"{HOST}/bin/vswitch-host"]


def output(*command: str | pathlib.Path, **options: Any) -> str:
    process = subprocess.run(command, capture_output=True, text=True, timeout=120, check=False, **options)
    assert process.returncode == 0, process.stdout + process.stderr
    return str(process.stdout)


# Runs a shell command in a mount namespace of its own.
NAMESPACE = ["unshare", "--map-root-user", "--mount", "sh", "-ec"]
SYSTEM = f"/usr/lib/{sysconfig.get_config_var('MULTIARCH')}"
RECORDING = BUILD / "tests" / "support" / "recording"  # libraries that answer nothing
HIDE = f"mount -t tmpfs none '{BUILD}'; mount -t tmpfs none '{SOURCE}'"
PUT_INTO_SYSTEM = f"mount -t overlay none -o 'lowerdir={RECORDING}:{SYSTEM}' {SYSTEM}"


def permitted(mount: str) -> bool:
    return subprocess.run([*NAMESPACE, mount], capture_output=True, check=False).returncode == 0


def run_installed(
    prefix: pathlib.Path, *command: str | pathlib.Path, mount: str = HIDE if permitted(HIDE) else ":",
    **environment: str,
) -> str:
    """Runs a command on what is installed, with nothing in its environment but that, and where the system permits it
    with the sources and the build hidden."""
    if mount != ":":
        command = (*NAMESPACE, f'{mount}; exec "$@"', "sh", *command)
    variables = {"PATH": "/usr/bin:/bin", "PYTHONPATH": prefix / PYTHON, "PYTHONDONTWRITEBYTECODE": "1", **environment}
    return output(*command, env=variables, cwd=prefix)


def files(root: pathlib.Path) -> set[str]:
    return {str(path.relative_to(root)) for path in root.rglob("*") if path.is_symlink() or not path.is_dir()}


def demo_of_the_build(tmp_path: pathlib.Path) -> str:
    variables = {"PYTHONPATH": BUILD / "python", "VSWITCH_HOST": str(tmp_path / "build-host.db")}
    return output(sys.executable, SOURCE / "examples" / "set_up_switch.py", env=variables)


def assert_the_demo_runs(prefix: pathlib.Path, tmp_path: pathlib.Path) -> None:
    expected = demo_of_the_build(tmp_path)
    script = tmp_path / "copied.py"
    shutil.copy(SOURCE / "examples" / "set_up_switch.py", script)
    state = str(tmp_path / "host.db")
    assert run_installed(prefix, sys.executable, script, VSWITCH_HOST=state) == expected
    assert "switch production: " in run_installed(prefix, prefix / "bin" / "vswitch-host", "show", VSWITCH_HOST=state)


@pytest.fixture(scope="module")
def installed(tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    prefix = tmp_path_factory.mktemp("prefix")
    output("cmake", "--install", BUILD, "--prefix", prefix)
    return prefix


def test_exactly_these_files_are_installed(installed: pathlib.Path) -> None:
    assert files(installed) == MODULE_FILES | HOST_FILES


def test_nothing_that_is_installed_names_the_sources_or_the_build(installed: pathlib.Path) -> None:
    for path in files(installed):
        content = (installed / path).read_bytes()
        assert f"{SOURCE}/".encode() not in content and f"{BUILD}/".encode() not in content, path


def test_a_script_runs_on_what_is_installed_alone(installed: pathlib.Path, tmp_path: pathlib.Path) -> None:
    assert_the_demo_runs(installed, tmp_path)


def test_frames_go_through_what_is_installed_alone(installed: pathlib.Path) -> None:
    script = "from vswitch.simulated import SimulatedHost as H; print(H().send('nic1', b'').drops[0].reason)"
    assert run_installed(installed, sys.executable, "-c", script) == "Reason.RUNT\n"


TESTS = """
def test_without_a_host():
    pass

def test_with_one(vswitch_host):
    assert vswitch_host.switches["workload"].mtu == 9000
"""


def test_pytest_finds_the_plugin_of_what_is_installed(installed: pathlib.Path, tmp_path: pathlib.Path) -> None:
    (tmp_path / "test_it.py").write_text(TESTS)
    said = run_installed(installed, sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", tmp_path)
    assert "2 passed" in said


def test_an_installed_tree_can_be_moved(installed: pathlib.Path, tmp_path: pathlib.Path) -> None:
    moved = tmp_path / "moved"
    shutil.copytree(installed, moved, symlinks=True)
    assert_the_demo_runs(moved, tmp_path)


ANSWER = "import _libvswitch as m; print(m.QEL_ReturnStatusToString(0))"

@pytest.mark.skipif(not permitted(PUT_INTO_SYSTEM), reason="this system permits no overlay on its folder of libraries")
def test_the_libraries_of_the_system_are_taken_before_the_simulated_host(installed: pathlib.Path) -> None:
    assert run_installed(installed, sys.executable, "-c", ANSWER, mount=PUT_INTO_SYSTEM) == "None\n"
    told = {"LD_LIBRARY_PATH": str(installed / HOST)}
    assert run_installed(installed, sys.executable, "-c", ANSWER, mount=PUT_INTO_SYSTEM, **told) == "QEL_OK\n"
    assert run_installed(installed, sys.executable, "-c", ANSWER) == "QEL_OK\n"


@pytest.fixture(scope="module")
def packages(tmp_path_factory: pytest.TempPathFactory) -> dict[str, pathlib.Path]:
    """The two packages, by their names."""
    folder = tmp_path_factory.mktemp("packages")
    output("cpack", "--config", BUILD / "CPackConfig.cmake", "-G", "DEB", "-B", folder)
    made = {path.name.split("_")[0]: path for path in folder.glob("*.deb")}
    assert sorted(made) == ["vswitchpy", "vswitchpy-host"]
    return made


@pytest.fixture(scope="module")
def unpacked(packages: dict[str, pathlib.Path], tmp_path_factory: pytest.TempPathFactory) -> pathlib.Path:
    root = tmp_path_factory.mktemp("root")
    for package in packages.values():
        output("dpkg-deb", "--extract", package, root)
    return root


@pytest.mark.parametrize(("name", "expected"), [("vswitchpy", MODULE_FILES), ("vswitchpy-host", HOST_FILES)])
def test_a_package_has_exactly_its_files_and_they_belong_to_root(
    packages: dict[str, pathlib.Path], name: str, expected: set[str]
) -> None:
    listing = [line.split(maxsplit=5) for line in output("dpkg-deb", "--contents", packages[name]).splitlines()]
    modes = {path.split(" -> ")[0].removeprefix("./"): mode for mode, _, _, _, _, path in listing}
    assert {path for path in modes if not path.endswith("/")} == {f"usr/{path}" for path in expected}
    assert {owner for _, owner, *_ in listing} == {"root/root"}
    executables = {f"usr/{HOST}/bin/vswitch-host", "usr/bin/vswitch"} & modes.keys()
    assert {path: mode for path, mode in modes.items() if mode[0] == "-" and mode != "-rw-r--r--"} == {
        path: "-rwxr-xr-x" for path in executables
    }
    assert {mode for mode in modes.values() if mode[0] == "d"} == {"drwxr-xr-x"}


def control(package: pathlib.Path) -> dict[str, str]:
    names = "Version Architecture Maintainer Section Depends Recommends Suggests Description".split()
    return {name: output("dpkg-deb", "--field", package, name).rstrip("\n") for name in names}


def needed(fields: dict[str, str]) -> set[str]:
    """Of a package: the names that it depends on."""
    return {one.split()[0] for one in fields["Depends"].split(",")}


def test_what_the_packages_say_of_themselves(packages: dict[str, pathlib.Path]) -> None:
    module, host = control(packages["vswitchpy"]), control(packages["vswitchpy-host"])
    for fields in (module, host):
        assert fields["Version"] == version()
        assert fields["Architecture"] == output("dpkg", "--print-architecture").strip()
        assert fields["Maintainer"] == "vswitchpy developers <developers@vswitchpy.invalid>"
        assert all(line.startswith(" ") for line in fields["Description"].splitlines()[1:])
    assert module["Recommends"] == "python3-prometheus-client, graphviz"
    assert host["Recommends"] == ""
    # A real host brings its own libraries: the simulated one is not to be installed with the module.
    assert module["Suggests"] == "vswitchpy-host"
    assert "libc6 (>= 2.36), python3 (>= 3.11), python3 (<< 3.12)" in module["Depends"]
    assert needed(module) == {"python3", "python3-cbor2", "python3-click", "python3-rich", "python3-yaml", "libc6"}
    assert needed(host) == {"libc6", "libgcc-s1", "libsqlite3-0", "libstdc++6"}
    assert (module["Section"], host["Section"]) == ("python", "net")
    assert module["Description"].startswith("Python access to a host's virtual switches\n Switches, ports,")
    assert host["Description"].startswith("simulated host for scripts that manage virtual switches\n Implements")


def test_only_the_module_has_scripts_and_they_see_to_the_bytecode(
    packages: dict[str, pathlib.Path], tmp_path: pathlib.Path
) -> None:
    scripts_of: dict[str, set[str]] = {"vswitchpy": {"postinst", "prerm"}, "vswitchpy-host": set()}
    for name, scripts in scripts_of.items():
        folder = tmp_path / name
        output("dpkg-deb", "--control", packages[name], folder)
        assert {path.name for path in folder.iterdir()} == {"control", "md5sums"} | scripts
        for script in scripts:
            assert (folder / script).stat().st_mode & 0o777 == 0o755
            output("sh", "-n", folder / script)


def test_packaged_binaries_are_stripped(unpacked: pathlib.Path) -> None:
    for path in BINARIES:
        sections = output("readelf", "--sections", "--wide", unpacked / "usr" / path)
        assert ".dynsym" in sections and ".symtab" not in sections and ".debug" not in sections, path


def test_the_packages_have_the_licence_and_a_changelog_that_starts_with_their_version(unpacked: pathlib.Path) -> None:
    for name in ("vswitchpy", "vswitchpy-host"):
        folder = unpacked / "usr" / DOC / name
        assert (folder / "copyright").read_text() == (SOURCE / "LICENSE").read_text()
        assert gzip.open(folder / "changelog.gz", "rt").readline().startswith(f"vswitchpy ({version()}) ")


def test_a_script_runs_on_the_packages_alone(unpacked: pathlib.Path, tmp_path: pathlib.Path) -> None:
    assert_the_demo_runs(unpacked / "usr", tmp_path)


def test_the_module_without_any_host_says_what_it_misses(
    packages: dict[str, pathlib.Path], tmp_path: pathlib.Path
) -> None:
    output("dpkg-deb", "--extract", packages["vswitchpy"], tmp_path)
    script = "try: import libvswitch\nexcept ImportError as error: print(error)"
    printed = run_installed(tmp_path / "usr", sys.executable, "-c", script)
    assert printed == "libvswitch.so: cannot open shared object file: No such file or directory\n"
    # The plugin is there, and only tests that want a host miss one.
    (tmp_path / "test_it.py").write_text(TESTS)
    tests = "-m pytest -q -p no:cacheprovider --tb=line".split()
    said = run_installed(
        tmp_path / "usr",
        "sh",
        "-c",
        'PYTHONPATH=$PYTHONPATH "$@" || true',
        "sh",
        sys.executable,
        *tests,
        tmp_path / "test_it.py",
    )
    assert "1 passed, 1 error" in said
    assert "the simulated host is needed (package vswitchpy-host): " in said
