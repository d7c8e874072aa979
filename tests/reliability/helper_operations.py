"""The functions that the module itself offers beside the host's calls, and those that take back what the host has
handed out, as operations (see operations.py): what is allocated is released by the function that takes it back, and
every function is there once for itself."""

from collections.abc import Callable, Iterator
from functools import partial
from typing import Any

import _libvswitch as m
from operations import INTERFACE, Operation, one, refused

# What each allocating helper is given, and by what it is taken back.
ALLOCATING: dict[str, tuple[tuple[int, ...], str]] = {
    "alloc_dvmirror_session_table": ((2, 3), "free_dvmirror_session_table"),
    "alloc_hnq_query": ((16,), "free_hnq_query"),
    "alloc_ls_team_table": ((2,), "free_ls_team_table"),
    "alloc_rtm_mod_query": ((2,), "free_rtm_mod_query"),
    "alloc_rtm_query": ((2,), "free_rtm_query"),
    "alloc_vs_info": ((), "free_vs_info"),
    "new_pvlanmapentryArray": ((3,), "delete_pvlanmapentryArray"),
    "new_vidrangeArray": ((3,), "delete_vidrangeArray"),
}
ARRAYS = {"pvlanmapentryArray": m.new_VSPvlanMapEntry, "vidrangeArray": m.new_qel_HNQPortVIDRange}


def helpers() -> Iterator[Operation]:
    """In both forms: the module's function, and the layer's of the same name."""
    import libvswitch as vs

    for title, module in (("", m), ("layer's ", vs)):
        yield from allocating(title, module)
        yield from giving_back(title, module, vs)
        yield Operation(f"{title}Panic", partial(module.Panic, "a text", 5))
        yield Operation(f"{title}Panic refuses", partial(module.Panic, 5))
        yield from arrays(title, module)
        yield from switch_lists(title, module)
        of_name = module.get_runtime_option_type_from_name
        yield Operation(f"{title}get_runtime_option_type_from_name", partial(of_name, "VS_RTOPT_TYPE_UINT32"))
        for name in ("MIRROR_ENCAP_TYPE", "MIRROR_ASSERT"):
            yield Operation(f"{title}{name}", getattr(module, name))
    rows = {call["name"]: call["arguments"] for call in INTERFACE["calls"]}
    for name, (arguments, release) in ALLOCATING.items():
        # A number beyond 64 bits is passed on as -1, and what that allocates is lost with the error.
        refusals = refused(name, getattr(m, name), rows[name], list(arguments))
        yield from (operation for operation in refusals if not operation.quirk)
        yield from refused(release, getattr(m, release), rows[release], [None])
    yield from refused("get_runtime_option_type_from_name", m.get_runtime_option_type_from_name,
                       rows["get_runtime_option_type_from_name"], ["name"])


def allocating(title: str, module: Any) -> Iterator[Operation]:
    for name, (arguments, release_name) in ALLOCATING.items():
        make, release = getattr(module, name), getattr(module, release_name)
        yield Operation(f"{title}{name}", partial(make, *arguments), may_be_none=True,
                        discard=lambda made, release=release: made is not None and release(made))
        yield Operation(f"{title}{release_name}", release, prepare=partial(one, make, *arguments))


def giving_back(title: str, module: Any, vs: Any) -> Iterator[Operation]:
    """The arguments of the native functions are bare pointers: what the layer made of them would give them back as
    well."""

    def record(call: Any, *arguments: Any) -> tuple[Any, ...]:
        status, made = call(*arguments)
        assert status == 0
        return (made,)

    def stored(kind: str, call: Any, *arguments: Any) -> tuple[Any, ...]:
        cell = vs.cell(kind)
        assert call(cell, *arguments) == 0
        return (vs._records.pointer(vs._records.address(cell.value), "_p_void"),)

    made: dict[str, Callable[[], tuple[Any, ...]]] = {
        "VSQEL_FreeMemory": partial(record, module.VSQEL_GetSwitchInfo, "workload"),
        "VSDVS_FreeMemory": partial(record, module.VSDVS_GetLSTeamingPolicyTable, "workload"),
        "DVSQEL_DataFree": lambda: stored("void **", module.DVSQEL_StateGet, vs.cell("int *")),
        "DVSData_Free": lambda: stored("DVSDataHandle *", module.DVSData_Alloc, None, None),
    }
    for name, prepare in made.items():
        yield Operation(f"{title}{name}", getattr(module, name), prepare=prepare)
        yield Operation(f"{title}{name} refuses", partial(getattr(module, name), 5))


def arrays(title: str, module: Any) -> Iterator[Operation]:
    for name, make_entry in ARRAYS.items():
        array, entry = getattr(m, f"new_{name}")(3), make_entry()
        entry.disown()
        for index in range(3):
            getattr(m, f"{name}_setitem")(array, index, entry)
        get, put = getattr(module, f"{name}_getitem"), getattr(module, f"{name}_setitem")
        yield Operation(f"{title}{name}_getitem", partial(get, array, 1), may_be_none=True)
        yield Operation(f"{title}{name}_setitem", partial(put, array, 1, entry))
        yield Operation(f"{title}{name}_getitem refuses null", partial(get, None, 1))
        yield Operation(f"{title}{name}_setitem refuses null", partial(put, array, 1, None))


def switch_lists(title: str, module: Any) -> Iterator[Operation]:
    listed, free = module.VSQEL_GetSwitchesPy, module.free_switches
    yield Operation(f"{title}VSQEL_GetSwitchesPy", partial(listed, m.VS_LIST_DVS_ALIAS), may_be_none=True, varies=True,
                    discard=lambda made: made is not None and free(made))
    yield Operation(f"{title}VSQEL_GetSwitchesPy fails", partial(listed, 99), may_be_none=True)
    yield Operation(f"{title}free_switches", free, prepare=lambda: (listed(m.VS_LIST_DVS_ALIAS),))
