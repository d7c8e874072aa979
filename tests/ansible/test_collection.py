"""The collection as such: it is built, documented, clean, and of the package's version."""

import importlib.util
import re
import sys
from typing import Any

import pytest
import yaml
from collection import MODULES, Ansible, documentation, needs
from workspace import SOURCE

import vswitch

pytestmark = pytest.mark.pure_python

COLLECTION = SOURCE / "ansible"
KEYS = ("type", "required", "default", "choices", "elements", "aliases")


def test_what_is_built_has_what_users_need(ansible: Ansible) -> None:
    found = {str(path.relative_to(ansible.collection)) for path in ansible.collection.rglob("*") if path.is_file()}
    assert found == {
        "CHANGELOG.md",
        "FILES.json",
        "MANIFEST.json",
        "README.md",
        "meta/runtime.yml",
        "playbooks/rack.yml",
        "plugins/doc_fragments/host.py",
        "plugins/module_utils/host.py",
        *(f"plugins/modules/{name}.py" for name in MODULES),
    }


def test_the_version_is_the_package_s() -> None:
    told = yaml.safe_load((COLLECTION / "galaxy.yml").read_text())
    assert (told["namespace"], told["name"], told["version"]) == ("vswitchpy", "vswitch", vswitch.__version__)
    assert f"## {vswitch.__version__}\n" in (COLLECTION / "CHANGELOG.md").read_text()
    assert f"vswitchpy-vswitch-{vswitch.__version__}.tar.gz" in (COLLECTION / "README.md").read_text()
    assert {f'version_added: "{vswitch.__version__}"'} == {
        line for name in MODULES for line in re.findall(r"^version_added: .*", source(name), re.M)
    }


def source(name: str) -> str:
    return (COLLECTION / "plugins" / "modules" / f"{name}.py").read_text()


def loaded(ansible: Ansible, name: str, monkeypatch: Any) -> Any:
    """The module of what is installed."""
    monkeypatch.syspath_prepend(str(ansible.collections))
    for known in [known for known in sys.modules if known.startswith("ansible_collections")]:
        monkeypatch.delitem(sys.modules, known)
    path = ansible.collection / "plugins" / "modules" / f"{name}.py"
    spec = importlib.util.spec_from_file_location(f"state_of_{name}", path)
    assert spec is not None and spec.loader is not None
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


@pytest.mark.parametrize("name", MODULES)
def test_a_module_takes_what_its_documentation_says(name: str, ansible: Ansible, monkeypatch: Any) -> None:
    module = loaded(ansible, name, monkeypatch)
    made: dict[str, Any] = {}
    monkeypatch.setattr(module, "run", lambda *arguments: None)
    spec = importlib.import_module("ansible_collections.vswitchpy.vswitch.plugins.module_utils.host")
    monkeypatch.setattr(spec, "AnsibleModule", lambda **given: made.update(given))
    module.main()
    accepted = made.pop("argument_spec")
    assert made.pop("supports_check_mode") is True
    options = documentation(name)["DOCUMENTATION"]["options"]
    assert set(accepted) == set(options)
    for option, said in options.items():
        told = {key: said[key] for key in KEYS if key in said}
        taken = {key: value for key, value in accepted[option].items() if key in KEYS}
        assert {"required": False, "default": None, **told} == {"required": False, "default": None, **taken}, option
        assert said["description"], option
    # What holds for several options is said in words.
    for rule in made.get("required_one_of", []):
        assert any("is required" in text for option in rule for text in options[option]["description"]), rule


@pytest.mark.parametrize("name", MODULES)
def test_a_module_documents_examples_and_results(name: str) -> None:
    found = documentation(name)
    assert found["DOCUMENTATION"]["module"] == name
    for task in found["EXAMPLES"]:
        used = [key for key in task if "." in key]
        assert len(used) == 1, task
        if used[0].startswith("vswitchpy."):
            module = used[0].rpartition(".")[2]
            assert set(task[used[0]] or {}) <= set(documentation(module)["DOCUMENTATION"]["options"])
    for result, told in found["RETURN"].items():
        assert told["description"] and told["returned"] and told["type"], result
    assert "diff_mode" in found["DOCUMENTATION"]["attributes"]


def test_ansible_doc_prints_all_of_them(ansible: Ansible) -> None:
    said = ansible.run("ansible-doc", *(f"vswitchpy.vswitch.{name}" for name in MODULES))
    for name in MODULES:
        assert f"> VSWITCHPY.VSWITCH.{name.upper()} " in said
        for option in documentation(name)["DOCUMENTATION"]["options"]:
            assert re.search(rf"^[-=] {option}$", said, re.M), (name, option)
    assert said.count("check_mode") >= len(MODULES) and "RETURN VALUES:" in said


def test_the_linter_has_nothing_to_say(ansible: Ansible) -> None:
    needs("ansible-lint", "ansible-lint")
    assert ansible.run("ansible-lint", "--offline", "--strict", cwd=ansible.collection) == ""


def test_the_sanity_tests_pass_that_need_nothing_else(ansible: Ansible) -> None:
    needs("ansible-test", "ansible-core")
    names = ["compile", "action-plugin-docs", "future-import-boilerplate", "metaclass-boilerplate", "shebang"]
    tests = [word for name in names for word in ("--test", name)]
    ansible.run("ansible-test", "sanity", *tests, "--python", "3.11", cwd=ansible.collection)


def test_the_readme_names_every_module() -> None:
    text = (COLLECTION / "README.md").read_text()
    assert [name for name in MODULES if f"`vswitchpy.vswitch.{name}`" not in text] == []
