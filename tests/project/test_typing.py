"""What a type checker says of scripts: nothing of right ones, and what is wrong of wrong ones."""

import collections
import os
import pathlib
import re
import subprocess
import sys
from typing import Protocol

import pytest
from workspace import BUILD, SOURCE

PACKAGE = BUILD / "python"
# The folders with Python that is no package.
PYTHON = ("ansible", "bench", "docs", "examples", "fuzz", "tests", "tools")
# What the stubs tell differently from what inspection finds, as regular expressions.
DIFFERENT = [
    # For generated modules; scripts have no use for it.
    r"libvswitch\.\w+\.__swig_destroy__",
    # A slot takes any arguments as far as inspection goes; test_stubs.py tries the real ones.
    r"libvswitch\.(\w+\.)*__init__",
    # Types that only annotations name.
    r"libvswitch\.(_\w+\.)?(Outputs|SwigPyObject|swigvarlink)",
    r"libvswitch\._\w+\.(Record|VSList|DVMirrorEntity|Callable|Generic|AbstractContextManager)(\.\w+)?",
    # The record classes derive from it, scripts from those.
    r"libvswitch\.(_\w+\.)?Record",
    # The checker mangles the name as if a class body used it.
    r"libvswitch\.qel_SocketIPv6AddressAddr\.__u6_addr",
]


class Mypy(Protocol):
    """Runs a tool of mypy on what the arguments name, and gives what it says."""

    def __call__(self, tool: str, *arguments: str | pathlib.Path) -> str: ...


@pytest.fixture(scope="module")
def mypy(tmp_path_factory: pytest.TempPathFactory) -> Mypy:
    """What has been learned of a file stays in the build folder for as long as it is as it was."""
    environment = dict(os.environ, MYPYPATH=str(PACKAGE), PYTHONPATH=str(PACKAGE), VSWITCH_HOST=":memory:")
    folder = tmp_path_factory.mktemp("mypy")
    options = ["--config-file", str(SOURCE / "mypy.ini"), "--cache-dir", str(BUILD / "mypy")]

    def run(tool: str, *arguments: str | pathlib.Path) -> str:
        process = subprocess.run(
            [sys.executable, "-m", tool, *(options if tool == "mypy" else []), *arguments], env=environment, cwd=folder,
            capture_output=True, text=True, timeout=300, check=False,
        )
        return process.stdout + process.stderr

    return run


def sources(links: pathlib.Path) -> list[pathlib.Path]:
    """All of the project's Python that is no package. A file is its module's name to mypy: where two have the same one,
    or a package's, links stand for them whose names say where they lie."""
    found = [path for folder in PYTHON for path in sorted((SOURCE / folder).rglob("*.py"))]
    modules = [path for path in found if not (path.parent / "__init__.py").exists()]
    times = collections.Counter([path.stem for path in modules] + [path.name for path in PACKAGE.iterdir()])
    named = []
    for path in modules:
        if times[path.stem] > 1:
            link = links / ("_".join(path.relative_to(SOURCE).with_suffix("").parts) + ".py")
            link.symlink_to(path)
            path = link
        named.append(path)
    return named + [path for path in found if path not in modules]


@pytest.mark.pure_python
@pytest.mark.parametrize("package", ["libvswitch", "vswitch"])
def test_packages_are_typed_strictly(mypy: Mypy, package: str) -> None:
    assert mypy("mypy", "-p", package).startswith("Success: no issues found in ")


@pytest.mark.pure_python
def test_everything_else_is_typed_strictly(mypy: Mypy, tmp_path: pathlib.Path) -> None:
    files = sources(tmp_path)
    assert len(files) > 200
    assert mypy("mypy", *files) == f"Success: no issues found in {len(files)} source files\n"


def test_the_stubs_are_what_inspection_finds(mypy: Mypy, tmp_path: pathlib.Path) -> None:
    (tmp_path / "different").write_text("\n".join(DIFFERENT))
    assert "Success: no issues found" in mypy(
        "mypy.stubtest", "libvswitch", "--allowlist", tmp_path / "different"
    )


def test_the_stubs_of_simulated_hosts_are_what_inspection_finds(mypy: Mypy, tmp_path: pathlib.Path) -> None:
    # The binding library's classes have a class of their own, and constructors that say that there is none.
    (tmp_path / "different").write_text(r"vswitch\.simulated\._native\.((Capture|Result)(\.__init__)?|Host)")
    said = mypy("mypy.stubtest", "vswitch.simulated._native", "--allowlist", tmp_path / "different")
    assert "Success: no issues found" in said, said


@pytest.mark.pure_python
def test_the_readme_is_right(mypy: Mypy, tmp_path: pathlib.Path) -> None:
    readme = tmp_path / "readme.py"
    readme.write_text("".join(re.findall(r"```python\n(.*?)```", (SOURCE / "README.md").read_text(), re.S)))
    assert mypy("mypy", readme) == "Success: no issues found in 1 source file\n"


RIGHT = """
from typing import assert_type
import ctypes
import libvswitch as vs

with vs.allocated(vs.VSDVS_GetDVMirrorSessions, "x", "y") as table:
    for session in table:
        assert_type(session, vs.DVMirrorSession)
        for entity in table.entities(session):
            assert_type(entity.get_entity(), str)
    assert_type(table[-1].sid, str)
    assert_type(len(table), int)
made = vs.alloc_dvmirror_session_table(1, 1)
assert made is not None
for session in made:
    session.sid = "first"
with vs.allocated(vs.VSQEL_GetMACTable, "x", 0) as macs:
    assert_type([entry.vid for entry in macs], list[int])
    assert_type(macs.macEntries[0].macAddress, str)
    for mac in macs.macEntries:
        assert_type(mac, vs.VSMACEntry)
for port in vs.VSPortList():
    assert_type(port, int)
assert_type(vs.VSInfo().same_contents(vs.VSInfo()), bool)
number = vs.cell("qel_uint32 *")
vs.check(vs.VSDVS_GetMTU("x", number))
assert_type(number.value, int)
image, length = vs.cell("void **"), vs.cell("int *")
vs.check(vs.DVSQEL_StateGet(image, length))
if image.value is not None:
    assert_type(vs.pointed_bytes(image.value, length.value), bytes)
    vs.DVSQEL_DataFree(image.value)
vs.DVSQEL_StateInit(vs.buffer(b"abc"), 3)
switches = vs.cell("VSList **")
vs.check(vs.VSQEL_GetSwitches(vs.VS_LIST_DVS_ALIAS, switches))
assert_type(switches.value, vs.VSList | None)
ports = vs.cell("DVPortList **")
vs.DVSQEL_SwitchPortList("x", ports, 0)
with vs.callback(lambda handle: print(vs.DVS_SwitchName(handle))) as visitor:
    vs.DVSState_SwitchForEach(visitor, None)
data = vs.cell("DVSDataHandle *")
vs.DVSData_Alloc(data, *vs.allocator(lambda size: None, lambda address: None))
vs.DVSData_Alloc(data, None, None)
vs.DVSData_Update(data.value, "name", vs.buffer(b"x"), 1, vs.CONFIG_PROP_TYPE)
assert_type(vs.check(vs.VSQEL_GetSwitchInfo("x")), vs.VSInfo)
names, ids = vs.check(vs.VSDVS_GetSwitchUplinkPorts("x"))
assert_type(names, vs.VSUplinkPorts)
assert_type(ids, vs.VSUplinkPortIds)
assert_type(list(names), list[str])
assert_type(names[0], str)
assert_type(len(names), int)
assert_type(vs.check(vs.VSDVS_SetMTU("x", 1500)), None)
assert_type(vs.check(vs.VSQEL_GetUplinkLinkState("x", "nic0")), int)
with vs.allocated(vs.VSQEL_GetSwitchInfo, "x") as info:
    assert_type(info, vs.VSInfo)
with vs.allocated(vs.alloc_dvmirror_session_table, 1, 2) as table:
    assert_type(table, vs.DVMirrorSessionTable)
    for session in table:
        assert_type(session, vs.DVMirrorSession)
        for entity in table.entities(session):
            assert_type(entity.get_entity(), str)
            assert_type(entity.__next__(), vs.DVMirrorEntity)
    assert_type(table[0], vs.DVMirrorSession)
    assert_type(table.get_first_session_entity(0), vs.DVMirrorEntity)
lags = vs.VSLAGTable()
for lag in lags:
    assert_type(lag, vs.VSLAGStatus)
    assert_type(list(lag), list[str])
assert_type(lags.vs_lag_table_first_lag().vs_lag_table_next_lag().get_name(), str)
options = vs.VSRuntimeOptions(64)
for option in options:
    assert_type(option.get_option_value(), int | bytes)
assert_type(options.get_next_option(options.get_first_option()), vs.VSRuntimeOptionHeader | None)
assert_type(list(vs.VSPromiscSessionActiveDsts()), list[int])
assert_type([policy for policy in vs.LSTeamTable()], list[vs.LSTeamPolicy])
class Mine(vs.VSInfo):
    pass
assert_type(Mine.from_bytes(bytes(176)), Mine)
with Mine() as mine:
    assert_type(mine, Mine)
entry = vs.VSMACEntry()
entry.set_mac_address(vs.mac_bytes("02:00:00:00:00:01"))
entry.macAddress = vs.buffer(bytes(6)).this
entry.set_mac_address(bytearray(6))
vs.VSDVS_SetGlobProp("x", "name", "text", 4, None, 1)
vs.VSDVS_SetGlobProp("x", "name", b"text", 4, None, "\\1")
assert_type(vs.mac_text(b"abcdef"), str)
assert_type(vs.QEL_OK, int)
assert_type(vs.VSInfo().thisown, bool)
assert_type(vs.VSInfo().this.own(), bool)
vs.VSQEL_GetVSInfo("x", vs.VSInfo())
vs.VSQEL_FreeMemory(vs.VSInfo())
vs.VSQEL_GetVSInfo("x", vs.VSInfo().this)
assert_type(vs.DVSAliasToPortsetName("x"), vs.Outputs[str])
assert_type(vs.DVSAliasToPortsetName("x", "y"), int)
"""


@pytest.mark.pure_python
def test_right_scripts_of_every_kind_are_right(mypy: Mypy, tmp_path: pathlib.Path) -> None:
    script = tmp_path / "right.py"
    script.write_text(RIGHT)
    assert mypy("mypy", script) == "Success: no issues found in 1 source file\n"


# A wrong line each, with a part of what the checker says of it.
WRONG = [
    ('vs.VSDVS_SetMTU("x", "1500")', 'Argument 2 to "VSDVS_SetMTU" has incompatible type "str"; expected "int"'),
    ('vs.VSDVS_SetMTU(b"x", 1500)', 'Argument 1 to "VSDVS_SetMTU" has incompatible type "bytes"'),
    ('vs.VSDVS_SetMTU("x")', 'Too few arguments for "VSDVS_SetMTU"'),
    ('vs.VSDVS_SetMTU("x", 1500, 1)', 'Too many arguments for "VSDVS_SetMTU"'),
    ('vs.VSDVS_SetMTU("x", mtu=1500)', 'Unexpected keyword argument "mtu" for "VSDVS_SetMTU"'),
    ('vs.VSDVS_GetMTU("x", 1500)', 'Argument 2 to "VSDVS_GetMTU" has incompatible type "int"'),
    ('vs.VSDVS_GetMTU("x", vs.VSInfo())', 'Argument 2 to "VSDVS_GetMTU" has incompatible type "VSInfo"'),
    (
        'vs.VSQEL_GetVSInfo("x", vs.VSTeamPolicy())',
        'Argument 2 to "VSQEL_GetVSInfo" has incompatible type "VSTeamPolicy"',
    ),
    ('vs.VSQEL_GetVSInfo("x", vs.cell("int *"))', 'Argument 2 to "VSQEL_GetVSInfo" has incompatible type "Cell[int]"'),
    ('vs.DVSQEL_StateGet(vs.cell("int *"), vs.cell("int *"))', 'Argument 1 to "DVSQEL_StateGet" has incompatible type'),
    ("vs.DVSState_SwitchForEach(print, None)", 'Argument 1 to "DVSState_SwitchForEach" has incompatible type'),
    ('vs.DVSQEL_StateInit(b"image", 5)', 'Argument 1 to "DVSQEL_StateInit" has incompatible type "bytes"'),
    ("vs.VSInfo().mtuu", '"VSInfo" has no attribute "mtuu"; maybe "mtu"?'),
    ("vs.VSInfo().mtuu = 9000", '"VSInfo" has no attribute "mtuu"; maybe "mtu"?'),
    ('vs.VSInfo().mtu = "9000"', 'expression has type "str", variable has type "int"'),
    ("vs.VSPortInfo().vlan = vs.VSPortInfo().vlan", 'Property "vlan" defined in "VSPortInfo" is read-only'),
    ("vs.cvar.qel_ModuleCurrentID = 5", 'Property "qel_ModuleCurrentID" defined in "swigvarlink" is read-only'),
    ("vs.VSDVS_SetMUT", 'Module has no attribute "VSDVS_SetMUT"; maybe "VSDVS_SetMTU"'),
    ("vs.VSQEL_GetSwitchesPy(vs.VS_LIST_PS).count", 'Item "None" of "Optional[VSList]" has no attribute "count"'),
    (
        "vs.alloc_dvmirror_session_table(1, 1).version",
        'Item "None" of "Optional[DVMirrorSessionTable]" has no attribute',
    ),
    ("vs.VSUplinkPorts(1)[0] + 1", 'Unsupported operand types for + ("str" and "int")'),
    (
        'vs.DVS_SwitchName(vs.DVSState_SwitchFindByAlias("x")).upper()',
        'Item "None" of "Optional[str]" has no attribute "upper"',
    ),
    ('vs.VSQEL_GetSwitchInfo("x").mtu', '"Outputs[VSInfo]" has no attribute "mtu"'),
    ('vs.check("x")', 'No overload variant of "check" matches argument type "str"'),
    (
        'vs.check(vs.VSDVS_GetSwitchUplinkPorts("x")).mtu',
        '"Tuple[VSUplinkPorts, VSUplinkPortIds]" has no attribute "mtu"',
    ),
    ("[x for x in vs.VSPvlanMapEntry()]", '"VSPvlanMapEntry" has no attribute "__iter__" (not iterable)'),
    ("len(vs.VSInfo())", 'Argument 1 to "len" has incompatible type "VSInfo"; expected "Sized"'),
    ("vs.VSUplinkPorts()", 'Too few arguments for "VSUplinkPorts"'),
    ("vs.VSInfo(1)", 'Too many arguments for "VSInfo"'),
    ("vs.VSTeamPolicy()[0] = 5", 'target has type "Optional[str]"'),
    ('vs.VSMACEntry().set_mac_address("02:00:00:00:00:01")', 'Argument 1 to "set_mac_address" of "VSMACEntry" has'),
    ("vs.cell('int *').value = 'x'", 'expression has type "str", variable has type "int"'),
    ("vs.callback(lambda: 0)", 'Argument 1 to "callback" has incompatible type'),
    ("vs.mac_bytes(b'abcdef')", 'Argument 1 to "mac_bytes" has incompatible type "bytes"; expected "str"'),
    ("with vs.allocated(vs.VSQEL_GetSwitchInfo, 'x') as info: info.mtuu", '"VSInfo" has no attribute "mtuu"'),
]


@pytest.mark.pure_python
def test_each_wrong_line_is_found(mypy: Mypy, tmp_path: pathlib.Path) -> None:
    script = tmp_path / "wrong.py"
    script.write_text("\n".join(["import libvswitch as vs", *(line for line, _ in WRONG)]))
    said: dict[int, list[str]] = {}
    for line in mypy("mypy", script).splitlines():
        found = re.match(r".*wrong\.py:(\d+): error: (.*)", line)
        if found:
            said.setdefault(int(found[1]), []).append(found[2])
    for number, (line, expected) in enumerate(WRONG, 2):
        assert any(expected in text for text in said.get(number, [])), (line, said.get(number))
