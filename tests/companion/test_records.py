"""The companion layer: names, record classes, iteration, statuses as exceptions."""

import os
import pathlib
import pickle
import subprocess
import sys
from typing import Any
from unittest import mock

import _libvswitch
import libvswitch
import pytest
from misused import vs
from workspace import SEARCH, SOURCE, Script

# ---- names -------------------------------------------------------------------------------------------------------


def test_names_of_the_native_module_are_here() -> None:
    for name, value in vars(_libvswitch).items():
        if name.startswith("_"):
            continue
        mine = getattr(vs, name)
        if type(value).__name__ == "builtin_function_or_method":
            assert mine.__name__ == value.__name__ or name.endswith("_swigregister")
        else:
            assert mine is value
        assert getattr(vs, name) is mine


def test_names_are_found_when_they_are_first_used(script: Script) -> None:
    script(
        """
        import libvswitch as vs
        assert "VSDVS_SetMTU" not in vars(vs) and "VSDVS_SetMTU" in dir(vs)
        assert hasattr(vs, "VSDVS_SetMTU") and "VSDVS_SetMTU" in vars(vs)
        assert not hasattr(vs, "VSDVS_SetMUT") and not hasattr(vs, "sys_") and "sys" not in dir(vs)
        try:
            vs.VSDVS_SetMUT
        except AttributeError as error:
            assert str(error) == "module 'libvswitch' has no attribute 'VSDVS_SetMUT'"
        assert len(dir(vs)) == len(set(dir(vs)))
        assert all(hasattr(vs, name) for name in dir(vs))
        """
    )


def test_importing_brings_nothing_heavy(script: Script) -> None:
    loaded = script("import sys; before = set(sys.modules); import libvswitch; print(*(set(sys.modules) - before))")
    assert set(loaded.split()) == {"libvswitch", "libvswitch._records", "_libvswitch", "swig_runtime_data4"}


def test_all_names_can_be_imported(script: Script) -> None:
    script(
        """
        from libvswitch import *
        import libvswitch
        missing = [name for name in dir(libvswitch) if not name.startswith("_") and name not in globals()]
        assert missing == [], missing
        assert check is libvswitch.check and QEL_OK == 0 and VSInfo is libvswitch.VSInfo
        """
    )


def test_functions_can_be_replaced_and_come_back() -> None:
    real = vs.VSDVS_SetMTU
    with mock.patch.object(vs, "VSDVS_SetMTU", return_value=5) as replaced:
        assert vs.VSDVS_SetMTU("x", 1) == 5
    replaced.assert_called_once_with("x", 1)
    assert vs.VSDVS_SetMTU is real
    with mock.patch("libvswitch.VSDVS_DestroyVSwitch", create=False):
        pass
    vs.VSDVS_DestroyVSwitch  # found as before


def test_the_raw_style_works_beside_the_classes(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        import libvswitch as vs
        proxy = m.new_VSInfo()
        m.VSInfo_mtu_set(proxy, 1600)
        assert m.VSInfo_mtu_get(proxy) == 1600 and type(proxy).__name__ == "SwigPyObject"
        m.delete_VSInfo(proxy)
        status, info = m.VSQEL_GetSwitchInfo("workload")
        assert status == vs.QEL_OK and isinstance(info, vs.VSInfo)
        assert m.VSInfo_mtu_get(info) == m.VSInfo_mtu_get(info.this) == info.mtu == 9000
        m.VSQEL_FreeMemory(info)
        """
    )


def test_raw_style_examples_run(tmp_path: pathlib.Path) -> None:
    for example in sorted((SOURCE / "examples").glob("raw*.py")):
        process = subprocess.run(
            [sys.executable, example],
            env=dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH), VSWITCH_HOST=str(tmp_path / "host.db")),
            capture_output=True,
            text=True,
            timeout=120,
            check=False,
        )
        assert process.returncode == 0 and process.stdout, process.stderr


# ---- records -----------------------------------------------------------------------------------------------------


def test_attributes_are_the_fields() -> None:
    info = vs.VSInfo()
    assert info.thisown is True
    info.mtu = 9000
    assert info.mtu == 9000 == vs.VSInfo_mtu_get(info)
    with pytest.raises(OverflowError, match="argument 2 of type 'qel_uint32'"):
        info.mtu = -1
    with pytest.raises(TypeError, match="argument 2 of type 'qel_uint32'"):
        info.mtu = "9000"
    with pytest.raises(AttributeError):
        info.mtuu = 9000
    with pytest.raises(AttributeError):
        del info.mtu


def test_fields_and_methods_describe_themselves() -> None:
    field = vs.VSInfo.mtu
    assert (field.__name__, field.kind, field.__objclass__) == ("mtu", "scalar", vs.VSInfo)
    assert (field.fget, field.fset) == (vs.VSInfo_mtu_get, vs.VSInfo_mtu_set)
    assert repr(field) == "<field 'mtu' of 'libvswitch.VSInfo' records>"
    assert vs.VSPortInfo.vlan.fset is None and vs.VSPortInfo.vlan.kind == "record"
    method = vs.VSUplinkPorts.__getitem__
    assert (method.__name__, method.__qualname__) == ("__getitem__", "VSUplinkPorts.__getitem__")
    with pytest.raises(TypeError, match="takes no keyword arguments"):
        vs.VSLAGStatus.get_uplink_name(vs.VSLAGStatus(), index=0)


def test_members_are_there_whoever_has_looked_for_them_too_early(script: Script) -> None:
    """They are made when a class is first looked at; the interpreter remembers where it has found nothing."""
    script(
        """
        import libvswitch as vs
        try:
            type.__getattribute__(vs.VSInfo, "mtu")
        except AttributeError:
            pass
        assert vs.VSInfo.mtu.__name__ == "mtu" and vs.VSInfo().mtu == 0
        """
    )


def test_nested_records_are_views_of_their_class() -> None:
    signature = vs.qel_MgmtApiSignature()
    signature.name.string = "module"
    assert isinstance(signature.name, vs.qel_Name) and signature.name.thisown is False
    assert signature.name.string == "module" and repr(signature.name) == "module"
    assert signature.name == signature.name and signature.name != signature.vendor


def test_read_only_parts_cannot_be_assigned() -> None:
    port = vs.VSPortInfo()
    with pytest.raises(AttributeError, match="the field 'vlan' of 'libvswitch.VSPortInfo' records cannot be assigned"):
        port.vlan = port.vlan


def test_records_show_their_plain_fields() -> None:
    info = vs.VSInfo()
    info.mtu = 9000
    assert repr(info) == (
        f"<VSInfo mtu=9000, maxValidVlan=0, minValidVlan=0, activePorts=0, maxPorts=0, numSinkPorts=0, flags=0 "
        f"at 0x{int(info.this):x}>"
    )
    assert "vlan=<VSPortInfo_vlan>" in repr(vs.VSPortInfo())
    session = vs.DVMirrorSession()
    session.sid = "x" * 31
    assert f"sid='{'x' * 31}'" in repr(session)


# ---- iteration ---------------------------------------------------------------------------------------------------


@pytest.mark.parametrize(
    ("kind", "count"),
    [(vs.VSUplinkPorts, "nUplinkPorts"), (vs.VSUplinkPortIds, "nUplinkPorts"), (vs.VSUplinks, "numEntries")],
)
def test_counted_records_index_and_iterate(kind: Any, count: str) -> None:
    # One more than used: a VSUplinks has room for fewer than it counts.
    ports = kind(4)
    setattr(ports, count, 3)
    ports[0], ports[1], ports[2] = "first", "second", None
    assert len(ports) == 3 and list(ports) == ["first", "second", ""] and "second" in ports
    with pytest.raises(TypeError):
        del ports[0]
    assert list(kind(0)) == []


def test_a_walk_ends_where_the_count_ends_by_then() -> None:
    ports = vs.VSUplinkPorts(3)
    walk = iter(ports)
    next(walk)
    ports.nUplinkPorts = 1
    assert list(walk) == []


def test_teaming_policies_walk_in_failover_order() -> None:
    policy = vs.VSTeamPolicy()
    policy.numActive, policy.numStandby = 2, 1
    policy[0], policy[1], policy[2] = "a", "b", "c"
    assert list(policy) == ["a", "b", "c"]
    entry = vs.LSTeamPolicy()
    entry.numActive = 1
    entry[0] = "x"
    assert list(entry) == ["x"]
    policy.numActive, policy.numStandby = 31, 1
    assert len(list(policy)) == 32
    policy.numStandby = 2
    with pytest.raises(ValueError, match="a teaming policy of 33 uplinks, where 32 have room"):
        list(policy)


def test_tables_of_the_allocation_helpers_walk() -> None:
    with vs.allocated(vs.alloc_ls_team_table, 2) as teams, vs.allocated(vs.alloc_rtm_query, 3) as query:
        teams[1].numActive = 1
        assert [policy.numActive for policy in teams] == [0, 1]
        assert [type(entry) for entry in query] == [vs.RTM_Portset] * 3
    with vs.allocated(vs.alloc_rtm_mod_query, 2) as modules:
        assert [type(entry) for entry in modules] == [vs.RTM_ModInfo] * 2


def test_mirror_sessions_and_their_entities_walk() -> None:
    with vs.allocated(vs.alloc_dvmirror_session_table, 2, 3) as table:
        first, second = table
        first.numDstEntities, first.numSrcInEntities = 1, 1
        second.startIdx, second.numSrcOutEntities = 2, 1
        for index, name in enumerate(["a", "b", "c"]):
            entity = table.get_first_session_entity(index)
            entity.type = vs.MIRROR_ENTTYPE_DVPORT
            entity.set_entity(name)
        assert [entity.get_entity() for entity in table.entities(first)] == ["a", "b"]
        assert [entity.get_entity() for entity in table.entities(second)] == ["c"]
        first.numDstEntities = first.numSrcInEntities = 0
        assert list(table.entities(first)) == []


def test_lists_and_lags_of_the_host_walk() -> None:
    with vs.allocated(vs.VSQEL_GetLAGTable, "workload") as lags:
        assert [(lag.get_name(), list(lag)) for lag in lags] == [("lag-1", ["nic1", "nic2"])]
    assert list(vs.VSQEL_GetSwitchesPy(vs.VS_LIST_DVS_ALIAS)) == ["management", "workload"]
    with vs.allocated(vs.VSQEL_GetUplinks, "workload") as uplinks:
        assert list(uplinks) == [uplinks[index] for index in range(len(uplinks))]
    assert list(vs.VSLAGTable()) == list(vs.VSList()) == list(vs.VSDVMirrorSessionIDs()) == []
    assert list(vs.VSPromiscSessionActiveDsts()) == list(vs.VSLAGStatus()) == []


def test_runtime_options_walk() -> None:
    options = vs.VSRuntimeOptions(64)
    options.set_options_length(60)
    end = options.get_first_option()
    for name, value in (("IGMPQueryInterval", 125), ("MaxRARPsPerInterval", 128)):
        end = options.add_int_option(end, name, vs.get_runtime_option_type_from_name(name), value)
    options.set_options_length(16)
    assert [(option.get_option_name(), option.get_option_value()) for option in options] == [
        ("IGMPQueryInterval", 125),
        ("MaxRARPsPerInterval", 128),
    ]
    options.set_options_length(0)
    assert list(options) == []
    options.set_options_length(16)
    options.get_first_option().length = 0
    with pytest.raises(ValueError, match="a runtime option of length 0"):
        list(options)


@pytest.mark.parametrize("derived", [False, True])
def test_a_record_that_does_not_know_its_length_does_not_iterate(derived: Any) -> None:
    for kind, reason in (
        (vs.VSMACEntry, "it does not know how many elements follow; write "),
        (vs.VSPvlanMapEntry, "it does not know how many elements follow; write "),
        (vs.VSInfo, "object is not iterable$"),
        (vs.DVMirrorEntity, "object is not iterable$"),
    ):
        made = type(kind.__name__, (kind,), {})() if derived else kind()
        with pytest.raises(TypeError, match=f"'{kind.__name__}' object is not iterable.*"):
            iter(made)
        with pytest.raises(TypeError, match=reason):
            list(made)
        with pytest.raises(TypeError):
            len(made)


# ---- statuses ----------------------------------------------------------------------------------------------------


def test_check_raises_for_a_failing_status() -> None:
    assert vs.check(vs.QEL_OK) is None
    assert vs.check([vs.QEL_OK, 5]) == 5
    assert vs.check([vs.QEL_OK, 5, "x"]) == (5, "x")
    assert vs.check([vs.QEL_OK, None]) is None
    with pytest.raises(vs.VSwitchError) as caught:
        vs.check([vs.QEL_NOT_FOUND, None])
    assert (caught.value.status, caught.value.name, str(caught.value)) == (
        vs.QEL_NOT_FOUND,
        "QEL_NOT_FOUND",
        "QEL_NOT_FOUND",
    )
    for number, text in ((5, "unknown status 0x00000005"), (-5, "unknown status 0xfffffffb")):
        with pytest.raises(vs.VSwitchError, match=text) as caught:
            vs.check(number)
        assert caught.value.name is None and caught.value.status == number
    wrong: Any
    for wrong in (None, "0", True, [], ["x"], (0, 1), 0.0):
        with pytest.raises(TypeError, match="neither a status nor a list that begins with one"):
            vs.check(wrong)


def test_every_status_has_its_name_and_pickles() -> None:
    numbers = {name: getattr(vs, name) for name in dir(vs) if name.startswith("QEL_")}
    numbers = {name: number for name, number in numbers.items() if type(number) is int and number < 2**31}
    statuses = [name for name, number in numbers.items() if vs.QEL_ReturnStatusToString(number) == name]
    assert len(statuses) > 50 and "QEL_BUSY" in statuses
    for name in statuses:
        error = pickle.loads(pickle.dumps(vs.VSwitchError(getattr(vs, name))))
        assert (error.name, str(error), error.status) == (name, name, getattr(vs, name))


# ---- contents ----------------------------------------------------------------------------------------------------


def test_records_of_the_same_bytes_have_the_same_contents() -> None:
    one, two = vs.VSInfo(), vs.VSInfo()
    assert one != two and one.same_contents(two) and one.same_contents(one)
    two.flags = 1
    assert not one.same_contents(two) and not two.same_contents(one)
    two.flags = 0
    assert one.same_contents(two)
    two.maxPorts = 2**31
    assert not one.same_contents(two)
    first, last = vs.VSInfo(), vs.VSInfo()
    first.mtu, last.flags = 1, 2**63
    for other in (first, last):  # in the first and in the last byte only
        assert not one.same_contents(other) and not other.same_contents(one)

    class Derived(libvswitch.VSInfo):
        pass

    assert one.same_contents(Derived()) and Derived().same_contents(one)


def test_contents_are_compared_with_those_of_the_same_kind() -> None:
    info = vs.VSInfo()
    for other in (vs.VSStats(), None, 5, b"", info.this):
        kind = "libvswitch.VSStats" if isinstance(other, vs.VSStats) else type(other).__name__
        with pytest.raises(TypeError, match=f"^'{kind}' cannot have the contents of a 'libvswitch.VSInfo'$"):
            info.same_contents(other)
    with pytest.raises(TypeError, match="no fixed size"):
        vs.VSUplinks(1).same_contents(vs.VSUplinks(1))
    released = vs.VSInfo()
    released.release()
    for left, right in ((info, released), (released, info)):
        with pytest.raises(ValueError, match="released"):
            left.same_contents(right)
    with pytest.raises(ValueError, match="no memory"):
        info.same_contents(vs.VSInfo.__new__(vs.VSInfo))


def test_the_base_says_what_equal_means() -> None:
    assert "same native memory" in vs.Record.__doc__ and "same_contents()" in vs.Record.__doc__


# ---- mirroring ---------------------------------------------------------------------------------------------------


def test_a_whole_copy_is_said_by_its_constant() -> None:
    session = vs.DVMirrorSession()
    session.snapLen = vs.VS_DVMIRROR_SNAPLEN_COMPLETE
    assert session.snapLen == 2**32 - 1 == vs.DVMirrorSession_snapLen_get(session)
    session.flags = 0
    for wrong in (-2, 2**32, 2**63, -(2**31)):
        with pytest.raises(OverflowError):
            session.snapLen = wrong
    with pytest.raises(OverflowError):
        session.flags = -1
    with pytest.raises(TypeError):
        session.snapLen = -1.0
    assert (session.snapLen, session.flags) == (2**32 - 1, 0)
    session.release()
    with pytest.raises(ValueError, match="released"):
        session.snapLen = vs.VS_DVMIRROR_SNAPLEN_COMPLETE


ENTITIES = [
    (vs.MIRROR_ENTTYPE_IP, ["192.0.2.1", "::1"], ["192.0.2.256", "", "192.0.2", "host", "1::2::3", "fe80::1%eth0"]),
    (vs.MIRROR_ENTTYPE_VLAN, ["0", "4095"], ["4096", "-1", "", "1x", "0x10", "٣"]),
    (vs.MIRROR_ENTTYPE_PORT, ["0", "-1", "67108871"], ["4294967296", "", "port", "-2147483649"]),
    (vs.MIRROR_ENTTYPE_MAC, ["02:00:00:00:00:0a"], ["02:00:00:00:00", "02:00:00:00:00:gg", ""]),
    (vs.MIRROR_ENTTYPE_DVPORT, ["port-1", ""], []),
    (vs.MIRROR_ENTTYPE_UPLINK, ["uplink-a", ""], []),
]


@pytest.mark.parametrize(("kind", "right", "wrong"), ENTITIES)
def test_an_entity_is_what_its_type_asks_for(kind: Any, right: Any, wrong: Any) -> None:
    entity = vs.DVMirrorEntity()
    entity.type = kind
    for text in right:
        entity.set_entity(text)
        assert entity.get_entity() == text
    for text in wrong:
        before = bytes(entity)
        with pytest.raises(ValueError):
            entity.set_entity(text)
        assert bytes(entity) == before
    entity.set_entity(None)
    assert entity.get_entity() == right[-1]
    for other in (5, b"1"):
        with pytest.raises(TypeError):
            entity.set_entity(other)


# ---- the README --------------------------------------------------------------------------------------------------


def test_the_lines_of_the_readme_run_twice(tmp_path: pathlib.Path) -> None:
    text = (SOURCE / "README.md").read_text(encoding="utf-8")
    lines, rest = text.split("```python\n")[1].split("```\n", 1)
    printed = rest.split("```\n")[1]
    for _ in range(2):
        process = subprocess.run(
            [sys.executable, "-c", lines],
            env=dict(os.environ, PYTHONPATH=os.pathsep.join(SEARCH), VSWITCH_HOST=str(tmp_path / "host.db")),
            capture_output=True,
            text=True,
            timeout=120,
            check=False,
        )
        assert (process.stdout, process.stderr) == (printed, "")
