"""The type stubs are in step with what is there, and say something about each name."""

import ast
import re

import _libvswitch
import libvswitch
import pytest
from workspace import BUILD

STUBS = ast.parse((BUILD / "python" / "libvswitch.pyi").read_text())
CLASSES = {node.name: node for node in STUBS.body if isinstance(node, ast.ClassDef)}
FUNCTIONS = {node.name: node for node in STUBS.body if isinstance(node, ast.FunctionDef)}
VALUES = {node.target.id: ast.unparse(node.annotation) for node in STUBS.body if isinstance(node, ast.AnnAssign)}
RECORDS = [name for name in CLASSES if hasattr(_libvswitch, f"{name}_swigregister")]


def test_every_public_name_is_in_the_stubs():
    public = {name for name in vars(libvswitch) if not name.startswith("_")}
    stubbed = set(CLASSES) | set(FUNCTIONS) | set(VALUES)
    # The proxy's and the link's types have no name in the module.
    assert stubbed - {"_Field", "_Read", "_Written", "SwigPyObject", "swigvarlink"} == public
    assert len(RECORDS) == 117


def test_constants_have_the_types_of_their_values():
    for name, annotation in VALUES.items():
        if name not in ("cvar", "_Read", "_Written"):
            assert type(getattr(libvswitch, name)).__name__ == annotation, name


def members(node):
    """Attribute and method names of a class in the stubs, each with its documentation."""
    found = {}
    for item, following in zip(node.body, [*node.body[1:], None]):
        if isinstance(item, ast.AnnAssign):
            assert isinstance(following, ast.Expr), (node.name, item.target.id)
            found[item.target.id] = following.value.value
        elif isinstance(item, ast.FunctionDef):
            found[item.name] = ast.get_docstring(item)
    return found


@pytest.mark.parametrize("name", RECORDS)
def test_a_class_has_the_members_of_the_record(name):
    actual = {member for member in vars(getattr(libvswitch, name)) if member not in
              ("__module__", "__slots__", "__doc__", "__swig_destroy__")}
    assert set(members(CLASSES[name])) | {"__iter__"} == actual | {"__iter__"}


def test_read_only_attributes_are_read_only_in_both():
    for name in RECORDS:
        kind = getattr(libvswitch, name)
        for item in CLASSES[name].body:
            if isinstance(item, ast.FunctionDef) and item.decorator_list:
                assert getattr(kind, item.name).fset is None
            elif isinstance(item, ast.AnnAssign):
                assert getattr(kind, item.target.id).fset is not None


def words(text):
    return {word.lower() for word in re.findall(r"[A-Za-z]+", re.sub(r"([a-z])([A-Z])", r"\1 \2", text))}


def says_something(name, text):
    """More than the words of its own name, an article and a verb."""
    return text and len(words(text) - words(name.replace("_", " ")) - {"the", "a", "an", "of", "is", "and", "sets", "gets"}) >= 2


def test_every_record_member_and_call_is_documented():
    poor = [name for name in RECORDS if not says_something(name, ast.get_docstring(CLASSES[name]))]
    for name in RECORDS:
        for member, text in members(CLASSES[name]).items():
            if member not in ("__init__", "__iter__") and not says_something(member, text):
                poor.append(f"{name}.{member}")
    for name, node in FUNCTIONS.items():
        accessor = re.search(r"_(get|set)$", name) or name.startswith(("new_", "delete_")) or name.endswith("_swigregister")
        if not accessor and not says_something(name, ast.get_docstring(node)):
            poor.append(name)
    assert poor == []


def test_arguments_are_positional_and_as_many_as_the_function_takes():
    for name, node in FUNCTIONS.items():
        if name in ("check", "Panic", "SWIG_PyInstanceMethod_New", "DVSAliasToPortsetName"):
            continue
        assert not node.args.args and not node.args.kwonlyargs, name
        count = len(node.args.posonlyargs)
        with pytest.raises(TypeError, match=rf"takes exactly {count} argument"):
            getattr(libvswitch, name)(*[None] * (count + 1))
