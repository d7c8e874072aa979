"""The package itself: what importing it costs, its public names, its version."""

import re

import pytest
from workspace import SOURCE

import vswitch

pytestmark = pytest.mark.pure_python


def test_importing_loads_neither_the_library_nor_what_other_parts_need(script):
    script(
        """
        import sys
        import vswitch
        loaded = {name.split(".")[0] for name in sys.modules}
        assert not loaded & {"libvswitch", "_libvswitch", "click", "rich", "yaml", "cbor2", "ctypes", "uuid"}, loaded
        """
    )


def test_the_version_is_the_project_s():
    assert vswitch.__version__ == re.search(r"VERSION ([\d.]+)", (SOURCE / "CMakeLists.txt").read_text().split("project(")[1])[1]


def test_a_wrong_name_is_an_attribute_error():
    with pytest.raises(AttributeError, match="module 'vswitch' has no attribute 'Hots'"):
        vswitch.Hots
