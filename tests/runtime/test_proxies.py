"""Proxy objects: what they show, who owns the memory, and how shadow classes wrap them."""

import ctypes
import re
from collections.abc import Iterator
from typing import Any

import _libvswitch as m
import pytest
from workspace import Script


@pytest.fixture
def proxy() -> Iterator[Any]:
    value = m.new_VSList()
    yield value
    if value.own():
        m.delete_VSList(value)


def test_repr_names_the_alias_and_the_address_of_the_proxy(proxy: Any) -> None:
    assert re.fullmatch(rf"<Swig Object of type 'VSList \*' at {hex(id(proxy))}>", repr(proxy))
    assert proxy.__repr__() == repr(proxy)


def test_carrier_names_and_documentation(proxy: Any) -> None:
    kind = type(proxy)
    assert kind.__name__ == "SwigPyObject"
    assert kind.__doc__ == "Swig object carries a C/C++ instance pointer"
    documented = {
        "disown": "releases ownership of the pointer",
        "acquire": "acquires ownership of the pointer",
        "own": "returns/sets ownership of the pointer",
        "append": "appends another 'this' object",
        "next": "returns the next 'this' object",
    }
    for name, text in documented.items():
        assert getattr(proxy, name).__doc__ == text
    with pytest.raises(TypeError):
        type("Derived", (kind,), {})
    with pytest.raises(TypeError):
        kind()


def test_int_is_the_native_address(proxy: Any) -> None:
    m.VSList_count_set(proxy, 0x01020304)
    assert ctypes.string_at(int(proxy), 4) == b"\x04\x03\x02\x01"


def test_equality_compares_addresses_and_nothing_else(proxy: Any) -> None:
    entry = m.new_qel_MgmtApiSignature()
    assert m.qel_MgmtApiSignature_name_get(entry) == m.qel_MgmtApiSignature_name_get(entry)
    assert m.qel_MgmtApiSignature_name_get(entry) != m.qel_MgmtApiSignature_vendor_get(entry)
    assert (proxy == int(proxy)) is False
    assert (proxy != None) is True  # noqa: E711
    for operation in ("__lt__", "__le__", "__gt__", "__ge__"):
        assert getattr(proxy, operation)(proxy) is NotImplemented
    with pytest.raises(TypeError):
        hash(proxy)
    m.delete_qel_MgmtApiSignature(entry)


def test_own_reports_the_ownership_before_the_call(proxy: Any) -> None:
    assert proxy.own() is True
    assert proxy.own(0) is True
    assert proxy.own() is False
    assert proxy.own(["true"]) is False
    assert proxy.own() is True
    assert proxy.disown() is None
    assert proxy.own() is False
    assert proxy.acquire() is None
    assert proxy.own() is True
    with pytest.raises(TypeError):
        proxy.own(1, 2)


def test_own_with_a_flag_that_has_no_truth_changes_nothing(proxy: Any) -> None:
    class Undecided:
        def __bool__(self) -> None:
            raise LookupError("undecided")

    with pytest.raises(LookupError):
        proxy.own(Undecided())
    assert proxy.own() is True


def test_append_chains_proxies(proxy: Any) -> None:
    other = m.new_qel_Name()
    assert proxy.next() is None
    assert proxy.append(other) is None
    assert proxy.next() is other
    assert repr(proxy).endswith(repr(other))
    assert repr(proxy).startswith("<Swig Object of type 'VSList *' at")
    # The first proxy of the chain that has the type wanted is used.
    m.qel_Name_string_set(other, "found")
    assert m.qel_Name_string_get(proxy) == "found"
    m.delete_qel_Name(other)


def test_append_refuses_what_is_not_a_proxy(proxy: Any) -> None:
    for other in (None, 5, "text", object()):
        with pytest.raises(TypeError):
            proxy.append(other)
    assert proxy.next() is None


def test_a_chain_closed_into_a_ring_ends(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        proxy = m.new_VSList()
        proxy.append(proxy)
        assert repr(proxy).startswith("<Swig Object of type 'VSList *'")
        try:
            m.VSInfo_mtu_get(proxy)
        except TypeError:
            pass
        else:
            raise AssertionError
        """
    )


def test_a_this_that_leads_to_itself_ends() -> None:
    class Loop:
        @property
        def this(self) -> object:
            return self

    with pytest.raises(TypeError, match="argument 1 of type 'struct VSList \\*'"):
        m.VSList_count_get(Loop())


def test_this_is_followed_through_several_objects(proxy: Any) -> None:
    class Holder:
        def __init__(self, this: object) -> None:
            self.this = this

    m.VSList_count_set(proxy, 3)
    assert m.VSList_count_get(Holder(Holder(proxy))) == 3


def test_a_scripts_own_class_of_that_name_is_not_a_proxy() -> None:
    class SwigPyObject:
        __slots__ = ("a", "b", "c", "d", "e", "f")

    with pytest.raises(TypeError):
        m.VSList_count_get(SwigPyObject())


OWNERSHIP = """
import _libvswitch as m
freed = []
class List:
    @staticmethod
    def __swig_destroy__(proxy):
        freed.append(int(proxy))
        assert proxy.own() is False
m.VSList_swigregister(List)
"""


def test_dropping_a_disowned_proxy_frees_nothing(script: Script) -> None:
    script(OWNERSHIP + "p = m.new_VSList(); p.disown(); del p; assert freed == []")


def test_dropping_an_acquired_proxy_destroys_its_record(script: Script) -> None:
    script(
        OWNERSHIP
        + """
p = m.new_VSList(); address = int(p)
p.disown(); p.acquire(); del p
assert freed == [address]
"""
    )


def test_a_destructor_that_takes_its_argument_alone_gets_the_proxy_itself(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        class Watcher:
            def __eq__(self, proxy):
                self.seen = (id(proxy), int(proxy), proxy.own())
        watcher = Watcher()
        class List:
            __swig_destroy__ = [watcher].count      # a built-in method of one argument
        m.VSList_swigregister(List)
        p = m.new_VSList()
        expected = (id(p), int(p), True)
        del p
        assert watcher.seen == expected
        """
    )


def test_a_destructor_may_keep_the_proxy(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        kept = []
        class List:
            __swig_destroy__ = kept.append
        m.VSList_swigregister(List)
        p = m.new_VSList(); address = int(p)
        del p
        assert int(kept[0]) == address and kept[0].own() is False
        kept.clear()
        """
    )


def test_without_a_class_an_owned_record_is_reported_and_not_freed(script: Script) -> None:
    output = script("import _libvswitch as m; p = m.new_VSList(); del p")
    assert output == "swig/python detected a memory leak of type 'VSList *', no destructor found.\n"


def test_an_error_of_the_destructor_stays_pending(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        class List:
            @staticmethod
            def __swig_destroy__(proxy):
                raise LookupError("not freed")
        m.VSList_swigregister(List)
        p = m.new_VSList()
        try:
            del p
            len("the interpreter notices here at the latest")
        except (LookupError, SystemError) as error:
            causes = []
            while error:
                causes.append(type(error))
                error = error.__cause__ or error.__context__
            assert LookupError in causes
        else:
            raise AssertionError("the error was lost")
        """
    )


def test_constructors_return_the_bare_owning_proxy_also_with_a_class(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        class Name: __swig_destroy__ = m.delete_qel_Name
        m.qel_Name_swigregister(Name)
        p = m.new_qel_Name()
        assert type(p).__name__ == "SwigPyObject" and p.own() is True
        """
    )


def test_other_results_are_instances_once_a_class_is_registered(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        signature = m.new_qel_MgmtApiSignature()
        assert type(m.qel_MgmtApiSignature_name_get(signature)).__name__ == "SwigPyObject"
        class Name:
            def __init__(self): raise AssertionError("not constructed, only allocated")
        assert m.qel_Name_swigregister(Name) is None
        view = m.qel_MgmtApiSignature_name_get(signature)
        assert type(view) is Name and view.this.own() is False
        m.qel_Name_string_set(view, "seen")
        assert m.qel_Name_string_get(view) == "seen"
        """
    )


def test_a_class_that_is_no_type_is_made_by_its_raw_new(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        class Instance: pass
        class Maker:
            def __new__(*arguments):
                made.append(arguments)
                return object.__new__(Instance)
        made = []
        maker = object.__new__(Maker)
        m.qel_Name_swigregister(maker)
        signature = m.new_qel_MgmtApiSignature()
        view = m.qel_MgmtApiSignature_name_get(signature)
        assert type(view) is Instance and view.this.own() is False
        assert made == [(maker,)]
        """
    )


def test_registering_again_replaces_the_class(script: Script) -> None:
    script(
        """
        import _libvswitch as m
        signature = m.new_qel_MgmtApiSignature()
        class First: pass
        class Second: pass
        m.qel_Name_swigregister(First)
        old = m.qel_MgmtApiSignature_name_get(signature)
        m.qel_Name_swigregister(Second)
        assert type(old) is First
        assert type(m.qel_MgmtApiSignature_name_get(signature)) is Second
        """
    )


def test_registration_takes_exactly_one_argument() -> None:
    with pytest.raises(TypeError, match=r"^swigregister\(\) takes exactly 1 argument \(0 given\)$"):
        m.VSList_swigregister()
    with pytest.raises(TypeError, match=r"^swigregister\(\) takes exactly 1 argument \(2 given\)$"):
        m.VSList_swigregister(int, int)


def test_a_null_pointer_comes_back_as_none() -> None:
    links = m.new_qel_ListLinks()
    assert m.qel_ListLinks_prevPtr_get(links) is None
    m.delete_qel_ListLinks(links)
