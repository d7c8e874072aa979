"""The type stubs, the documentation and the signatures are in step with what is there, and say something about it."""

import ast
import importlib
import inspect
import itertools
import json
import pathlib
import re
import textwrap
from collections.abc import Iterator
from typing import Any

import _libvswitch
import libvswitch
import pytest
from libvswitch import _records
from workspace import BUILD, SOURCE

STUBS = ast.parse((BUILD / "python" / "libvswitch" / "__init__.pyi").read_text())
CLASSES = {node.name: node for node in STUBS.body if isinstance(node, ast.ClassDef)}
FUNCTIONS = {
    name: list(nodes)
    for name, nodes in itertools.groupby(
        (node for node in STUBS.body if isinstance(node, ast.FunctionDef)), key=lambda node: node.name
    )
}
VALUES = {
    ast.unparse(node.target): ast.unparse(node.annotation) for node in STUBS.body if isinstance(node, ast.AnnAssign)
}
PARTS = {
    alias.asname or alias.name: node.module
    for node in STUBS.body
    if isinstance(node, ast.ImportFrom) and node.module and node.module.startswith("libvswitch.")
    for alias in node.names
}
RECORDS = [name for name in CLASSES if hasattr(_libvswitch, f"{name}_swigregister")]
# Types that only annotations need: a proxy's and the link's have no name in a module, the others no instances.
ONLY_STUBBED = {"_Field", "_RecordClass", "Outputs", "SwigPyObject", "swigvarlink"}


def public_names() -> set[str]:
    return {name for name in dir(libvswitch) if not name.startswith("_")}


def test_the_stubs_have_every_public_name_and_no_other() -> None:
    assert len(RECORDS) == 117
    assert set(CLASSES) - ONLY_STUBBED | set(FUNCTIONS) | set(VALUES) | set(PARTS) == public_names()
    assert public_names() >= {name for name in vars(_libvswitch) if not name.startswith("_")}


def test_constants_have_the_types_of_their_values() -> None:
    assert len(VALUES) == 1028
    for name in VALUES.keys() - {"cvar"}:
        assert type(getattr(libvswitch, name)).__name__ == VALUES[name], name


def test_names_of_the_python_part_are_those_of_its_modules() -> None:
    for name, module in PARTS.items():
        assert getattr(libvswitch, name) is getattr(importlib.import_module(module), name)


# ---- members -------------------------------------------------------------------------------------------------


def members(node: ast.ClassDef) -> dict[str, str | None]:
    """Attributes and methods of a class in the stubs, each with its documentation."""
    found: dict[str, str | None] = {}
    for item, following in zip(node.body, [*node.body[1:], None]):
        if isinstance(item, ast.AnnAssign) and (name := ast.unparse(item.target)) != "__hash__":
            assert isinstance(following, ast.Expr), (node.name, name)
            found[name] = inspect.cleandoc(ast.literal_eval(following.value))
        elif isinstance(item, ast.FunctionDef):
            found[item.name] = ast.get_docstring(item)
    return found


def is_field(member: object) -> bool:
    return type(member) is _records.field


@pytest.mark.parametrize("name", RECORDS)
def test_a_class_has_the_members_of_the_record(name: str) -> None:
    actual = set(vars(getattr(libvswitch, name))) - {"__doc__", "__module__", "__swig_destroy__"}
    # What comes with a slot: every class has the first two, and deleting an element is refused.
    slots = {"__init__", "__iter__", "__delitem__", "__bool__"}
    assert set(members(CLASSES[name])) - slots == actual - slots


def test_attributes_are_read_only_in_both() -> None:
    read_only = 0
    for name in RECORDS:
        for item in CLASSES[name].body:
            member: Any = getattr(getattr(libvswitch, name), getattr(item, "name", ""), None)
            if isinstance(item, ast.FunctionDef) and item.decorator_list:
                assert is_field(member) and member.fset is None
                read_only += 1
            elif isinstance(item, ast.AnnAssign):
                assert getattr(getattr(libvswitch, name), ast.unparse(item.target)).fset is not None
    assert read_only > 0


# Records that count what they hold, and those that an array holds whose record counts them.
COUNTED = {
    *("DVMirrorSessionTable", "DVPortList", "LSTeamPolicy", "LSTeamTable", "RTMIOCtlQuery", "RTMModIOCtlQuery"),
    *("VSDVMirrorSessionIDs", "VSL2Security", "VSLAGStatus", "VSLAGTable", "VSList", "VSMACLearningEntries"),
    *("VSMACLearningStats", "VSMACTable", "VSMcastFilterStats", "VSMcastFilters", "VSPortList", "VSPortVlanPolicy"),
    *("VSPromiscSessionActiveDsts", "VSStaticLeCtxEntries", "VSTeamPolicy", "VSUplinkPortIds", "VSUplinkPorts"),
    *("VSUplinks", "VSUserMcastLegacyKeys", "qel_HNQPortVlanInfo"),
}
IN_ARRAYS = {
    *("DVPortData", "VSMACEntry", "VSPMACLearningInfo", "VSPMACLearningStatsPortInfo", "VSPropSecurityPortInfo"),
    *("VSStaticLEEntry", "qel_HNQPortVIDRange"),
}
# Their elements are of several kinds, of which the record does not know which; these know their bytes, not their
# number.
WITHOUT_ELEMENTS = {"VSMcastFilters", "VSMcastFilterStats"}
WITHOUT_COUNT = {"VSRuntimeOptions"}
# Without a count: runs of records, and a single one.
INDEXED_WITHOUT_COUNT = {"VSPvlanMapEntry"}


def with_member(member: str) -> set[str]:
    return {name for name in RECORDS if member in members(CLASSES[name])}


def has(name: str, member: str) -> bool:
    return hasattr(getattr(libvswitch, name), member)


def test_classes_have_a_length_in_both_or_in_neither() -> None:
    assert with_member("__len__") == COUNTED | IN_ARRAYS == {name for name in RECORDS if has(name, "__len__")}


def test_classes_that_can_be_walked_are_those_that_know_what_they_hold() -> None:
    assert with_member("__iter__") == COUNTED - WITHOUT_ELEMENTS | WITHOUT_COUNT | IN_ARRAYS


def test_classes_have_an_index_in_both_or_in_neither() -> None:
    assert with_member("__getitem__") == {name for name in RECORDS if has(name, "__getitem__")}
    walked = {"VSLAGTable"}
    assert with_member("__getitem__") == COUNTED - WITHOUT_ELEMENTS - walked | IN_ARRAYS | INDEXED_WITHOUT_COUNT


# ---- documentation ---------------------------------------------------------------------------------------------


def words(text: str) -> set[str]:
    return {word.lower() for word in re.findall(r"[A-Za-z]+", re.sub(r"([a-z])([A-Z])", r"\1 \2", text))}


# Words that tell nothing by themselves.
EMPTY = {"the", "a", "an", "of", "is", "and", "or", "to", "in", "this", "sets", "gets", "reads", "writes", "value"}


def says_something(name: str, text: str | None) -> bool:
    """More than the words of its own name and some that tell nothing."""
    return text is not None and len(words(text) - words(name.replace("_", " ")) - EMPTY) >= 2


def test_a_text_of_the_names_own_words_says_nothing() -> None:
    assert not says_something("VSDVS_SetMTU", "Sets the MTU of a VSDVS.")
    assert not says_something("numActive", "The value of num active.")
    assert not says_something("numActive", None)
    assert says_something("numActive", "How many uplinks carry traffic.")


def documented() -> Iterator[tuple[str, Any, list[str | None]]]:
    """Every public name and member with what it is at run time and its texts in the stubs."""
    for name in RECORDS:
        kind = getattr(libvswitch, name)
        yield name, kind, [ast.get_docstring(CLASSES[name])]
        for member, text in members(CLASSES[name]).items():
            if member not in ("__init__", "__iter__"):
                yield f"{name}.{member}", getattr(kind, member), [text]
    for member, text in members(CLASSES["Record"]).items():
        yield f"Record.{member}", inspect.getattr_static(libvswitch.Record, member), [text]
    yield "Record", libvswitch.Record, [ast.get_docstring(CLASSES["Record"])]
    for name, nodes in FUNCTIONS.items():
        yield name, getattr(libvswitch, name), [ast.get_docstring(node) for node in nodes]


def test_everything_is_documented_in_the_stubs_and_at_run_time() -> None:
    poor = []
    for name, value, texts in documented():
        short = name.rpartition(".")[2]
        for text in [*texts, value.__doc__]:
            if not says_something(short, text):
                poor.append((name, text))
    for name in PARTS:
        if not says_something(name, getattr(libvswitch, name).__doc__):
            poor.append((name, getattr(libvswitch, name).__doc__))
    assert poor == []
    assert says_something("libvswitch", libvswitch.__doc__)


def test_the_python_parts_members_are_documented() -> None:
    for name in PARTS:
        kind = getattr(libvswitch, name)
        for member, value in vars(kind).items() if isinstance(kind, type) else ():
            if not member.startswith("_") and not inspect.ismemberdescriptor(value):
                assert says_something(member, value.__doc__), f"{name}.{member}"


def test_the_stubs_say_what_docstrings_say() -> None:
    for name, value, texts in documented():
        assert " ".join(" ".join(text or "" for text in texts).split()) == " ".join(value.__doc__.split()), name


def test_calls_of_the_host_name_the_page_that_defines_them() -> None:
    for name in FUNCTIONS:
        if re.match("VSQEL_|VSDVS_|DVSQEL_", name) and not name.endswith(("FreeMemory", "Py", "DataFree")):
            assert "docs/host.md" in getattr(libvswitch, name).__doc__, name


# ---- signatures ------------------------------------------------------------------------------------------------


def stub_signature(node: Any) -> list[str]:
    assert not node.args.args and not node.args.kwonlyargs and not node.args.kwarg, node.name
    return [argument.arg for argument in node.args.posonlyargs]


def own_functions() -> Iterator[tuple[str, ast.FunctionDef]]:
    for name, nodes in FUNCTIONS.items():
        # The two forms of one function have no signature of one line; two functions take theirs in other ways.
        if len(nodes) == 1 and name not in ("Panic", "SWIG_PyInstanceMethod_New"):
            yield name, nodes[0]


def test_functions_have_the_signature_of_the_stubs() -> None:
    for name, node in own_functions():
        function = getattr(libvswitch, name)
        signature = inspect.signature(function)
        assert list(signature.parameters) == stub_signature(node), name
        assert all(parameter.kind is parameter.POSITIONAL_ONLY for parameter in signature.parameters.values())
        assert function.__name__ == name and function.__module__ == "libvswitch"


def test_methods_have_the_signature_of_the_stubs() -> None:
    for name in RECORDS:
        for item in CLASSES[name].body:
            if (
                not isinstance(item, ast.FunctionDef)
                or item.decorator_list
                or item.name in ("__init__", "__iter__", "entities")
            ):
                continue
            signature = inspect.signature(getattr(getattr(libvswitch, name), item.name))
            assert list(signature.parameters) == stub_signature(item), f"{name}.{item.name}"


@pytest.mark.parametrize("difference", [1, -1])
def test_functions_take_as_many_arguments_as_they_tell(difference: int) -> None:
    for name, node in own_functions():
        count = len(stub_signature(node))
        given = count + difference
        if given < 0:
            continue
        told = "swigregister" if name.endswith("_swigregister") else name
        with pytest.raises(TypeError) as caught:
            getattr(libvswitch, name)(*[None] * given)
        assert (
            str(caught.value) == f"{told}() takes exactly {count} argument{'' if count == 1 else 's'} ({given} given)"
        )


def test_functions_take_no_keywords() -> None:
    for name in FUNCTIONS:
        with pytest.raises(TypeError, match="takes no keyword arguments"):
            getattr(libvswitch, name)(alias="x")


def returned(node: ast.FunctionDef) -> str:
    assert node.returns
    return ast.unparse(node.returns)


def test_a_function_with_two_forms_has_both_in_the_stubs() -> None:
    forms = [returned(node) for node in FUNCTIONS["DVSAliasToPortsetName"]]
    assert forms == ["Outputs[str]", "int"]
    assert libvswitch.DVSAliasToPortsetName("none such") == [libvswitch.QEL_NOT_FOUND, ""]
    assert libvswitch.DVSAliasToPortsetName("none such", "") == libvswitch.QEL_NOT_FOUND


def test_outputs_are_told_for_the_calls_that_have_some() -> None:
    for name, nodes in FUNCTIONS.items():
        for node in nodes:
            text = " ".join((ast.get_docstring(node) or "").split())
            gives = "Gives [status, " in text
            assert returned(node).startswith("Outputs[") == gives, name
            if gives:
                told = re.findall(r"Gives \[(.*?)\]", text)[0].split(", ")
                assert isinstance(node.returns, ast.Subscript)
                inside = node.returns.slice
                several = (
                    isinstance(inside, ast.Subscript) and isinstance(inside.slice, ast.Tuple) and inside.slice.elts
                )
                assert told[0] == "status" and len(told) - 1 == len(several or [inside]), name


def test_texts_fit_their_lines() -> None:
    for name, value, _ in documented():
        for line in textwrap.dedent(value.__doc__).splitlines():
            assert len(line) <= 120, name


# ---- the rows --------------------------------------------------------------------------------------------------


def rows_of_the_interface() -> list[pathlib.Path]:
    return sorted([*SOURCE.glob("interface/*.rows.hpp"), *SOURCE.glob("extensions/*.rows.hpp")])


def test_rows_fit_on_a_screen() -> None:
    assert len(rows_of_the_interface()) > 9
    for file in rows_of_the_interface():
        long = [number for number, line in enumerate(file.read_text().splitlines(), 1) if len(line) > 120]
        assert long == [], file.name


def test_what_every_call_means_by_an_argument_is_said_once() -> None:
    rows = "".join(file.read_text() for file in rows_of_the_interface())
    for name, meaning in re.findall(r'{"(\w+)", "(.*)"}', (SOURCE / "interface" / "glossary.hpp").read_text()):
        assert rows.count(f'IN({name}, char const *, "{meaning}")') == 0
        assert sum(f"{name}: {meaning}." in texts_of(node) for _, node in own_functions()) >= 8, name


def texts_of(node: Any) -> str:
    return " ".join((ast.get_docstring(node) or "").split())


def test_inputs_of_the_library_calls_are_explained() -> None:
    with open(BUILD / "interface.json", encoding="utf-8") as source:
        calls = [call for call in json.load(source)["calls"] if call["name"].startswith(("VSQEL_", "VSDVS_", "DVS"))]
    assert len(calls) > 150
    for call in calls:
        text = " ".join(getattr(libvswitch, call["name"]).__doc__.split())
        for argument in call["arguments"]:
            if not argument["output"] and call["name"] != "VSQEL_GetSwitchesPy":
                assert re.search(rf"\b{argument['name']}\b", text), (call["name"], argument["name"])
                assert f"{argument['name']}: {argument.get('doc', '')}" in text or "doc" not in argument
