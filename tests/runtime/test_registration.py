"""Module initialisation and the type registry that wrapper modules share."""

import ctypes
import pathlib
import shutil

import _libvswitch
import registry
from workspace import BUILD, SOURCE, Script


class MethodDefinition(ctypes.Structure):
    _fields_ = [
        ("name", ctypes.c_char_p),
        ("function", ctypes.c_void_p),
        ("flags", ctypes.c_int),
        ("documentation", ctypes.c_char_p),
    ]


class ModuleDefinition(ctypes.Structure):
    _fields_ = [
        ("object", ctypes.c_ssize_t * 2),
        ("initialise", ctypes.c_void_p),
        ("index", ctypes.c_ssize_t),
        ("copy", ctypes.c_void_p),
        ("name", ctypes.c_char_p),
        ("documentation", ctypes.c_char_p),
        ("size", ctypes.c_ssize_t),
        ("methods", ctypes.POINTER(MethodDefinition)),
        ("slots", ctypes.c_void_p),
        ("traverse", ctypes.c_void_p),
        ("clear", ctypes.c_void_p),
        ("free", ctypes.c_void_p),
    ]


def definition() -> ModuleDefinition:
    of_module = ctypes.pythonapi.PyModule_GetDef
    of_module.argtypes, of_module.restype = [ctypes.py_object], ctypes.POINTER(ModuleDefinition)
    found: ModuleDefinition = of_module(_libvswitch).contents
    return found


METH_VARARGS, METH_O = 1, 8


def test_the_definition_has_a_name_no_documentation_and_no_state() -> None:
    module = definition()
    assert module.name == b"_libvswitch"
    assert module.documentation is None
    assert module.size == -1
    assert [module.slots, module.traverse, module.clear, module.free] == [None] * 4


def test_the_definition_holds_the_method_table() -> None:
    table = definition().methods
    listed = (SOURCE / "tests" / "data" / "functions.txt").read_text().split()
    assert len(listed) == 1777
    assert [table[index].name.decode() for index in range(len(listed))] == listed
    assert all(table[index].function for index in range(len(listed)))
    assert [table[index].documentation for index in range(len(listed))] == [None] * len(listed)
    assert [table[index].flags for index in range(len(listed))] == [METH_O] + [METH_VARARGS] * (len(listed) - 1)
    end = table[len(listed)]
    assert (end.name, end.function, end.flags, end.documentation) == (None, None, 0, None)


def test_the_functions_are_those_of_the_definition() -> None:
    """Built-in function objects point at their entry of the table, and belong to the module."""
    table = ctypes.addressof(definition().methods.contents)
    listed = (SOURCE / "tests" / "data" / "functions.txt").read_text().split()
    for index, name in enumerate(listed):
        function = getattr(_libvswitch, name)
        entry = ctypes.c_void_p.from_address(id(function) + object.__basicsize__).value
        assert entry == table + index * ctypes.sizeof(MethodDefinition), name
        assert function.__self__ is _libvswitch and function.__module__ == "_libvswitch"


def test_the_library_functions_end_with_the_global_property_and_the_release() -> None:
    listed = [name for name in vars(_libvswitch) if name.startswith("VS")]
    start = listed.index("VSQEL_RTMOp")
    assert listed[start + 1] == "VSQEL_RTMModOp"
    assert listed[listed.index("VSDVS_GetGlobProp") + 1] == "VSDVS_FreeMemory"


def test_a_repeated_import_gives_the_same_functions(script: Script) -> None:
    script(
        """
        import sys, _libvswitch as first
        before = dict(vars(first))
        del sys.modules["_libvswitch"]
        import _libvswitch as second
        assert second is not first
        for name, value in before.items():
            if not name.startswith("__"):
                assert vars(second)[name] is value, name
        """
    )


def test_method_table_begins_with_the_instance_method_maker() -> None:
    functions = [name for name, value in vars(_libvswitch).items() if callable(value)]
    assert functions[0] == "SWIG_PyInstanceMethod_New"

    class Holder:
        method = _libvswitch.SWIG_PyInstanceMethod_New(lambda self, value: (self, value))

    holder = Holder()
    assert holder.method(5) == (holder, 5)


def test_module_has_no_documentation_and_no_keyword_arguments(script: Script) -> None:
    assert _libvswitch.__doc__ is None
    assert _libvswitch.VSDVS_SetMTU.__doc__ is None
    script(
        """
        import _libvswitch as m
        for function in vars(m).values():
            if callable(function):
                try:
                    function(unexpected=1)
                except TypeError as error:
                    assert "takes no keyword arguments" in str(error), (function, error)
                else:
                    raise AssertionError(function)
        """
    )


def test_descriptors_are_sorted_and_each_casts_to_itself_alone() -> None:
    ours = registry.descriptors(registry.module_with("_p_VSInfo"))
    names = [name.encode() for name in ours]
    assert names == sorted(names)
    for name, type_info in ours.items():
        casts = registry.casts(type_info)
        assert [cast.type.contents.name for cast in casts] == [name.encode()]
        assert casts[0].converter is None


def test_a_record_displays_its_tag_and_its_alias() -> None:
    ours = registry.descriptors(registry.module_with("_p_VSInfo"))
    assert ours["_p_VSList"].str == b"struct VSList *|VSList *"
    assert ours["_p_VSUplinks_entries"].str == b"VSUplinks_entries *"
    assert ours["_p_p_VSList"].str == b"struct VSList **|VSList **"


def test_a_second_import_yields_the_same_descriptors(script: Script) -> None:
    script(
        """
        import sys, registry, _libvswitch
        def table():
            known = registry.descriptors(registry.module_with("_p_VSInfo"))
            return {name: registry.address(kind.cast) for name, kind in known.items()}
        before, size = table(), len(registry.modules())
        del sys.modules["_libvswitch"]
        import _libvswitch as again
        assert table() == before and len(registry.modules()) == size
        assert again.VSList_count_get(again.new_VSList()) == 0
        """
    )


def test_a_second_initialisation_registers_nothing_twice(script: Script, tmp_path: pathlib.Path) -> None:
    """The same file under another path is initialised again; its record is in the ring already."""
    link = tmp_path / "_libvswitch.so"
    link.symlink_to(BUILD / "python" / "libvswitchpy.so")
    script(
        """
        import sys, registry, swig_peer, _libvswitch as first
        import importlib.machinery, importlib.util
        proxy = first.new_VSList()
        size = len(registry.modules())
        assert size == 2
        loader = importlib.machinery.ExtensionFileLoader("_libvswitch", sys.argv[1])
        second = importlib.util.module_from_spec(importlib.util.spec_from_loader("_libvswitch", loader))
        assert second is not first
        assert len(registry.modules()) == size
        types = registry.descriptors(registry.module_with("_p_VSInfo")).values()
        assert all(len(registry.casts(t)) == 1 for t in types)
        assert second.VSList_count_get(proxy) == 0
        """,
        str(link),
    )


def test_a_copy_of_the_module_shares_the_descriptors(script: Script, tmp_path: pathlib.Path) -> None:
    copy = tmp_path / "python" / "_libvswitch.so"
    copy.parent.mkdir()
    shutil.copy(BUILD / "python" / "libvswitchpy.so", copy)
    (tmp_path / "host").symlink_to(BUILD / "host")
    script(
        """
        import sys, registry, _libvswitch as first
        import importlib.machinery, importlib.util
        loader = importlib.machinery.ExtensionFileLoader("_libvswitch", sys.argv[1])
        second = importlib.util.module_from_spec(importlib.util.spec_from_loader("_libvswitch", loader))
        ring = registry.modules()
        assert len(ring) == 2
        tables = [{n: registry.address(t.cast) for n, t in registry.descriptors(m).items()} for m in ring]
        assert tables[0] == tables[1]
        assert all(len(registry.casts(t)) == 1 for t in registry.descriptors(ring[1]).values())
        assert second.VSList_count_get(first.new_VSList()) == 0
        """,
        str(copy),
    )


PEERS = """
import sys
if sys.argv[1] == "ours first":
    import _libvswitch as ours, swig_peer as peer, _swig_peer as raw_peer
else:
    import swig_peer as peer, _swig_peer as raw_peer, _libvswitch as ours
import registry
assert len(registry.modules()) == 2
tables = [registry.descriptors(module) for module in registry.modules()]
assert registry.address(tables[0]["_p_VSList"].cast) == registry.address(tables[1]["_p_VSList"].cast)

# Ours to theirs: a bare proxy, and one in an instance of their class.
mine = ours.new_VSList()
ours.VSList_count_set(mine, 7)
assert raw_peer.count_of(mine) == 7
# Theirs to ours.
theirs = peer.VSList()
theirs.count = 9
assert ours.VSList_count_get(theirs) == 9
assert ours.VSList_count_get(theirs.this) == 9
# What they return of ours is the same record; what ours returns is their class, once registered.
assert ours.VSList_count_get(raw_peer.same_list(mine)) == 7
assert mine == raw_peer.same_list(mine).this
try:
    ours.VSInfo_mtu_get(theirs)
except TypeError as error:
    assert str(error) == "in method 'VSInfo_mtu_get', argument 1 of type 'struct VSInfo *'"
else:
    raise AssertionError("a VSList is not a VSInfo")
"""


def test_proxies_pass_between_modules_when_ours_is_first(script: Script) -> None:
    script(PEERS, "ours first")


def test_proxies_pass_between_modules_when_ours_is_second(script: Script) -> None:
    script(PEERS, "ours second")


def test_classes_survive_an_early_end_of_the_capsule(script: Script) -> None:
    """Generated modules do not count their references to the capsule exactly."""
    script(
        """
        import sys, gc, _libvswitch as m
        freed = []
        class Info:
            @staticmethod
            def __swig_destroy__(proxy): freed.append(int(proxy))
        m.VSInfo_swigregister(Info)
        del sys.modules["swig_runtime_data4"].type_pointer_capsule
        gc.collect()
        owner = m.new_VSInfo()
        address = int(owner)
        del owner
        assert freed == [address]
        """
    )


def test_nothing_is_written_when_the_interpreter_ends_with_owned_records_alive(script: Script) -> None:
    output = script(
        """
        import _libvswitch as m
        class Info:
            __swig_destroy__ = m.delete_VSInfo
        m.VSInfo_swigregister(Info)
        kept = m.new_VSInfo()
        def function(): return kept
        """
    )
    assert output == ""


def test_the_registry_holds_216_descriptors_of_the_kinds_of_the_interface() -> None:
    ours = registry.descriptors(registry.module_with("_p_VSInfo"))
    assert len(ours) == 216
    displays = {name: type_info.str.decode() for name, type_info in ours.items()}
    pointers = sorted(name for name in displays if name.startswith("_p_p_"))
    assert pointers == [
        "_p_p_DVMirrorSessionTable", "_p_p_DVPortList", "_p_p_LSTeamTable", "_p_p_OpaqueDVPortData",
        "_p_p_VSDVMirrorSessionIDs", "_p_p_VSInfo", "_p_p_VSL2Security", "_p_p_VSLAGTable", "_p_p_VSList",
        "_p_p_VSMACLearningEntries", "_p_p_VSMACLearningStats", "_p_p_VSMACTable", "_p_p_VSMcastFilterStats",
        "_p_p_VSMcastFilters", "_p_p_VSPortVlanPolicy", "_p_p_VSPromiscSessionActiveDsts", "_p_p_VSPvlanMapEntry",
        "_p_p_VSRuntimeOptions", "_p_p_VSStaticLeCtxEntries", "_p_p_VSUplinkPortIds", "_p_p_VSUplinkPorts",
        "_p_p_VSUplinks", "_p_p_VSUserMcastLegacyKeys", "_p_p_char", "_p_p_void",
    ]
    assert len([text for text in displays.values() if text.startswith("enum ")]) == 47
    stated = {
        "_p_DVMirrorEncapType": "enum DVMirrorEncapType *|DVMirrorEncapType *",
        "_p_PktHandle": "struct PktHandle *|qel_PktHandle *",
        "_p_Portset": "struct Portset *|qel_Portset *",
        "_p_a_64__char": "DVSwitchId *|char (*)[64]",
        "_p_a_6__unsigned_char": "unsigned char (*)[6]|qel_EthAddress *",
        "_p_f_size_t__p_void": "void *(*)(size_t)|DVSData_MemAlloc",
        "_p_f_p_void__void": "DVSData_MemFree|void (*)(void *)",
    }
    assert {name: displays[name] for name in stated} == stated
    assert "LSTeamPolicyName *|char (*)[(32*4) +8]" in displays.values()
    assert "qel_VlanID" in displays["_p_unsigned_short"] and "qel_uint16" in displays["_p_unsigned_short"]
    assert displays["_p_void"].startswith("DVSwitchHandle|DVSPortHandle|") and displays["_p_void"].endswith("void *")
    for nested in ("_p_VSUplinks_entries", "_p__uplink", "_p__mcastFilter", "_p_DVMirrorPortRanage"):
        assert nested in displays


def test_the_method_table_holds_exactly_the_functions_of_the_interface() -> None:
    functions = [name for name, value in vars(_libvswitch).items() if callable(value)]
    listed = (SOURCE / "tests" / "data" / "functions.txt").read_text().split()
    assert functions == listed
    assert len(functions) == 1777
