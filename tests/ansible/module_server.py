"""Runs modules as Ansible does, one process each, forked from one that has loaded what they need.

A line of JSON on standard input, {"module", "arguments", "environment"}, is answered by one with what the module
printed."""

import importlib
import io
import json
import os
import sys
from typing import Any

import ansible.module_utils.basic as basic

import vswitch.desired.apply
import vswitch.desired.difference
import vswitch.desired.managed


def run(request: dict[str, Any]) -> str:
    """In a child: the module's own main."""
    os.environ.update(request["environment"])
    basic._ANSIBLE_ARGS = json.dumps({"ANSIBLE_MODULE_ARGS": request["arguments"]}).encode()
    name = f"ansible_collections.vswitchpy.vswitch.plugins.modules.{request['module']}"
    sys.stdout = io.StringIO()
    try:
        importlib.import_module(name).main()
    except SystemExit:
        return sys.stdout.getvalue()
    return json.dumps({"failed": True, "msg": "the module did not end"})


for line in sys.stdin:
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        os.close(reader)
        with os.fdopen(writer, "w") as answer:
            answer.write(run(json.loads(line)))
        os._exit(0)
    os.close(writer)
    with os.fdopen(reader) as answer:
        said = answer.read()
    os.waitpid(child, 0)
    print(said.strip().replace("\n", " "), flush=True)
