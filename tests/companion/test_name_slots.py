"""Names in slots of fixed width: libvswitch ends a name that fills its slot there, unlike the native module."""

from typing import Any

import _libvswitch
import pytest
from misused import vs
from workspace import Script


@pytest.mark.parametrize(
    ("record", "width"),
    [(vs.VSTeamPolicy(), 81), (vs.LSTeamPolicy(), 81), (vs.VSUplinkPorts(3), 81), (vs.VSUplinkPortIds(3), 48)],
    ids=lambda value: type(value).__name__,
)
def test_a_name_that_fills_its_slot_ends_there(record: Any, width: int) -> None:
    record[0] = "a" * width
    record[1] = "second"
    assert record[0] == "a" * width
    assert record[1] == "second"
    name = f"{type(record).__name__}___getitem__"
    assert getattr(vs, name)(record, 0) == "a" * width
    assert getattr(_libvswitch, name)(record, 0) == "a" * width + "second"


def test_the_layer_finds_its_functions_after_a_repeated_import_of_the_module(script: Script) -> None:
    script(
        """
        import sys, _libvswitch as first
        del sys.modules["_libvswitch"]
        import _libvswitch as second, libvswitch as vs
        assert second is not first
        assert vs.VSDVS_SetMTU.__doc__ and vs.new_VSInfo().own()
        info = vs.VSInfo()
        info.mtu = 9000
        assert vs.VSInfo_mtu_get(info) == first.VSInfo_mtu_get(info) == 9000
        """
    )
