"""The collection as users have it: built, installed in a folder of its own, used by Ansible's own programs."""

from __future__ import annotations

import functools
import json
import os
import pathlib
import shutil
import subprocess
from typing import Any

import pytest
from workspace import BUILD, FOREIGN, SOURCE

HERE = pathlib.Path(__file__).parent
MODULES = ("confirm", "info", "property", "state")


def needs(program: str, package: str) -> None:
    """Skips the test where a program is not installed."""
    if shutil.which(program) is None and not pathlib.Path("/usr/sbin", program).exists():
        pytest.skip(f"{program} is not installed (package {package})")


class Ansible:
    """Ansible's programs with their files in a folder, and the collection installed in it."""

    def __init__(self, folder: pathlib.Path) -> None:
        self.folder = folder
        self.told = folder / "told"
        self.collections = folder / "collections"
        self.collection = self.collections / "ansible_collections" / "vswitchpy" / "vswitch"
        kept = {name: value for name, value in FOREIGN.items() if not name.startswith(("ANSIBLE_", "VSWITCH_"))}
        self.environment = {
            **kept,
            "PATH": os.pathsep.join(["/usr/bin", "/bin", os.environ["PATH"]]),  # Debian's interpreter
            "PYTHONPATH": str(BUILD / "python"),
            "PYTHONDONTWRITEBYTECODE": "",
            "HOME": str(folder),
            "LC_ALL": "C.UTF-8",
            "NO_COLOR": "1",
            "TOLD": str(self.told),
            "VSWITCH_APPLY_DIR": str(folder / "applies"),
            "ANSIBLE_COLLECTIONS_PATH": str(self.collections),
            "ANSIBLE_CALLBACK_PLUGINS": str(HERE / "callback"),
            "ANSIBLE_LOCAL_TEMP": str(folder / "local"),
            "ANSIBLE_PIPELINING": "1",
            "ANSIBLE_HOST_KEY_CHECKING": "0",
            "ANSIBLE_STDOUT_CALLBACK": "told",
            "ANSIBLE_TIMEOUT": "120",
        }

    def run(self, *command: str | pathlib.Path, code: int = 0, cwd: pathlib.Path | None = None, **more: str) -> str:
        """Runs a program; what it printed. Its exit code is to be `code`."""
        process = subprocess.run(
            command,
            cwd=cwd or self.folder,
            env={**self.environment, **more},
            stdin=subprocess.DEVNULL,  # Ansible refuses one that does not block
            capture_output=True,
            text=True,
            timeout=900,
            check=False,
        )
        assert process.returncode == code, process.stdout + process.stderr
        return process.stdout

    def install(self) -> None:
        """Builds the collection and installs what was built."""
        self.run("ansible-galaxy", "collection", "build", SOURCE / "ansible", "--output-path", self.folder)
        (built,) = self.folder.glob("*.tar.gz")
        self.run("ansible-galaxy", "collection", "install", built, "-p", self.collections, "--offline")

    def results(self) -> list[dict[str, Any]]:
        """What came of the tasks since the last time."""
        lines = self.told.read_text().splitlines() if self.told.exists() else []
        self.told.unlink(missing_ok=True)
        return [json.loads(line) for line in lines]


@functools.cache
def documentation(name: str) -> dict[str, Any]:
    """DOCUMENTATION, EXAMPLES and RETURN of a module, and what all have in common."""
    import ast

    import yaml

    found: dict[str, Any] = {}
    for path in ("plugins/doc_fragments/host.py", f"plugins/modules/{name}.py"):
        for node in ast.walk(ast.parse((SOURCE / "ansible" / path).read_text())):
            value = getattr(node, "value", None) if isinstance(node, ast.Assign) else None
            if isinstance(node, ast.Assign) and isinstance(value, ast.Constant) and isinstance(value.value, str):
                part = yaml.safe_load(value.value)
                target = ast.unparse(node.targets[0])
                if target == "DOCUMENTATION" and target in found:
                    part["options"] = {**found[target]["options"], **part["options"]}
                found[target] = part
    return found
