"""The simulated host under the module: aborts become exceptions, processes share one state."""

import os
import pathlib

from workspace import Script

LIBRARIES_FIRST = """
import ctypes, os
for name in ("libtlklibs.so", "libdvs.so", "libvswitch.so"):
    ctypes.CDLL(os.path.join(os.environ["HOST_FOLDER"], name))
"""

DAMAGED = """
import os, pathlib, _libvswitch as m
path = os.environ["VSWITCH_HOST"]
before = pathlib.Path(path).read_bytes()
for attempt in range(2):
    for call in (lambda: m.VSDVS_SetMTU("management", 1500), lambda: m.VSQEL_GetSwitchInfo("management")):
        try:
            call()
        except OSError as error:
            assert type(error) is OSError and path in str(error) and len(str(error)) > len(path) + 5, error
        else:
            raise AssertionError("no abort")
# What needs no state still works, and the file is as it was.
assert m.QEL_ReturnStatusToString(0) == "QEL_OK"
assert pathlib.Path(path).read_bytes() == before
"""


def damaged_file(tmp_path: pathlib.Path) -> str:
    path = tmp_path / "host.db"
    path.write_bytes(b"this is no state file\n" * 500)
    return str(path)


def test_a_damaged_state_file_raises_with_its_name_and_the_reason(script: Script, tmp_path: pathlib.Path) -> None:
    script(DAMAGED, VSWITCH_HOST=damaged_file(tmp_path))


def test_the_libraries_find_a_module_that_is_loaded_after_them(script: Script, tmp_path: pathlib.Path) -> None:
    from workspace import BUILD

    script(LIBRARIES_FIRST + DAMAGED, VSWITCH_HOST=damaged_file(tmp_path), HOST_FOLDER=str(BUILD / "host"))


def test_an_unreadable_boot_description_raises_and_makes_no_host(script: Script, tmp_path: pathlib.Path) -> None:
    description = tmp_path / "boot.json"
    description.write_text('{"format": 1, "switches": [{"alias": "a"}]}')
    host = tmp_path / "host.db"
    script(
        """
        import os, _libvswitch as m
        try:
            m.VSDVS_SetMTU("a", 1500)
        except RuntimeError as error:
            assert os.environ["VSWITCH_HOST_INIT"] in str(error) and "switch_id" in str(error), error
        else:
            raise AssertionError
        """,
        VSWITCH_HOST=str(host), VSWITCH_HOST_INIT=str(description),
    )
    description.write_text('{"format": 1, "switches": [{"alias": "a", "switch_id": "a-1"}]}')
    script('import _libvswitch as m; assert m.VSDVS_SetMTU("a", 1500) == 0',
           VSWITCH_HOST=str(host), VSWITCH_HOST_INIT=str(description))


def test_a_forked_child_and_its_parent_see_each_others_changes(script: Script, tmp_path: pathlib.Path) -> None:
    script(
        """
        import os, libvswitch as vs
        check = vs.check
        assert check(vs.VSQEL_GetSwitchInfo("management")).mtu == 1500
        child = os.fork()
        if child == 0:
            check(vs.VSDVS_SetMTU("management", 9000))
            os._exit(0)
        assert os.waitpid(child, 0)[1] == 0
        assert check(vs.VSQEL_GetSwitchInfo("management")).mtu == 9000
        """,
        VSWITCH_HOST=str(tmp_path / "host.db"),
    )


def test_the_state_file_is_its_owners_alone(script: Script, tmp_path: pathlib.Path) -> None:
    host = tmp_path / "folder" / "host.db"
    script('import _libvswitch as m; m.VSDVS_SetMTU("management", 1500)', VSWITCH_HOST=str(host))
    assert host.stat().st_mode & 0o777 == 0o600 and host.parent.stat().st_mode & 0o777 == 0o700


def test_the_default_state_file_is_under_the_users_state_folder(script: Script, tmp_path: pathlib.Path) -> None:
    script(
        'import _libvswitch as m; m.VSDVS_SetMTU("management", 1500)',
        VSWITCH_HOST="", XDG_STATE_HOME=str(tmp_path),
    )
    assert (tmp_path / "vswitchpy" / "host.db").exists()
    assert pathlib.Path(os.environ["VSWITCH_HOST"]).name == ":memory:"
