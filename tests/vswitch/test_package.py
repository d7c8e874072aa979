"""The package itself: what importing it costs, its public names, its version."""

import re
from typing import Any

import pytest
from workspace import SOURCE

import vswitch

pytestmark = pytest.mark.pure_python
raises: Any = pytest.raises


def test_importing_loads_neither_the_library_nor_what_other_parts_need(script: Any) -> None:
    script(
        """
        import sys
        import vswitch
        loaded = {name.split(".")[0] for name in sys.modules}
        assert not loaded & {"libvswitch", "_libvswitch", "click", "rich", "yaml", "cbor2", "ctypes", "uuid"}, loaded
        """
    )


def test_the_version_is_the_project_s() -> None:
    project = (SOURCE / "CMakeLists.txt").read_text().split("project(")[1]
    assert [vswitch.__version__] == re.findall(r"VERSION ([\d.]+)", project)[:1]


def test_a_wrong_name_is_an_attribute_error() -> None:
    with raises(AttributeError, match="module 'vswitch' has no attribute 'Hots'"):
        vswitch.Hots
