"""The link object `cvar`."""

import ctypes

import _libvswitch as m
from exact import raises


def test_the_module_identifier_reads_zero_and_refuses_assignment() -> None:
    assert m.cvar.qel_ModuleCurrentID == 0
    with raises(AttributeError, "Variable qel_ModuleCurrentID is read-only."):
        m.cvar.qel_ModuleCurrentID = 1
    with raises(AttributeError, "Variable qel_ModuleCurrentID is read-only."):
        del m.cvar.qel_ModuleCurrentID
    assert m.cvar.qel_ModuleCurrentID == 0


def test_the_option_names_are_a_table_of_texts() -> None:
    names = m.cvar.runtimeOptionNames
    assert "'char **'" in repr(names) and names.own() is False
    table = (ctypes.c_char_p * 18).from_address(int(names))
    assert list(table)[:8] == [
        b"IGMPQueryInterval", b"IGMPV3MaxSrcIPNum", b"IGMPQueries", b"IGMPVersion", b"MLDVersion",
        b"MLDV2MaxSrcIPNum", b"MaxRARPsPerInterval", b"RARPAdvertisementDuration",
    ]
    assert table[17] == b"MLDRouterIP"
    with raises(AttributeError, "in variable 'read-only runtimeOptionNames' of type 'char const *[]'"):
        m.cvar.runtimeOptionNames = None


def test_an_unknown_name_is_named() -> None:
    with raises(AttributeError, "Unknown C global variable 'nothing'"):
        m.cvar.nothing
    with raises(AttributeError, "Unknown C global variable 'nothing'"):
        m.cvar.nothing = 1


def test_how_it_shows_itself() -> None:
    assert repr(m.cvar) == str(m.cvar) == "<Swig global variables>"
    assert type(m.cvar).__name__ == "swigvarlink" and type(m.cvar).__doc__ == "Swig var link object"
    assert type(m.cvar).__basicsize__ > object.__basicsize__  # which variables it has stands in itself


def test_the_module_identifier_is_an_exported_read_only_symbol() -> None:
    symbol = ctypes.c_int.in_dll(ctypes.CDLL(m.__file__), "qel_ModuleCurrentID")
    assert symbol.value == 0
    address = ctypes.addressof(symbol)
    with open("/proc/self/maps", encoding="ascii") as maps:
        for line in maps:
            begin, end = (int(part, 16) for part in line.split()[0].split("-"))
            if begin <= address < end:
                assert "w" not in line.split()[1]
                break
        else:
            raise AssertionError("not mapped")
