# Copyright: vswitchpy developers
# MIT License (see https://opensource.org/licenses/MIT)
"""What the modules have in common: the host that they work on, and failures as Ansible reports them."""

from __future__ import absolute_import, division, print_function
from __future__ import annotations

__metaclass__ = type

import os
from typing import Any

from ansible.module_utils.basic import AnsibleModule

MISSING = "the Python package vswitch is needed on the managed host"


def made(argument_spec: dict[str, Any], **options: Any) -> Any:
    """The module, with the option that all have."""
    spec = dict(argument_spec, host_file=dict(type="path"))
    return AnsibleModule(argument_spec=spec, supports_check_mode=True, **options)


def run(module: Any, work: Any) -> None:
    """Does the work of a module, `work(module, vswitch)`, and ends it with its results, or with what went wrong."""
    if module.params["host_file"]:
        os.environ["VSWITCH_HOST"] = module.params["host_file"]
    try:
        import vswitch

        failure = vswitch.Error  # what the package needs is imported with the first of its names
    except ImportError as error:
        if error.name != "vswitch":
            module.fail_json(msg="{0}, and this one cannot be imported: {1}".format(MISSING, error))
        module.fail_json(msg=MISSING)
    try:
        results = work(module, vswitch)
    except failure as error:
        module.fail_json(msg=str(error), error=error.to_dict(), **left(vswitch, error))
    except (OSError, RuntimeError, MemoryError, TypeError, ValueError) as error:
        module.fail_json(
            msg=str(error) or type(error).__name__, error={"class": type(error).__name__, "message": str(error)}
        )
    module.exit_json(**results)


def left(vswitch: Any, error: Any) -> dict[str, Any]:
    """What an apply that failed has left."""
    if not isinstance(error, vswitch.ApplyError):
        return {}
    told = error.to_dict()
    return dict((name, told[name]) for name in ("rolled_back", "done", "undone", "not_undone"))


def base64_text(data: bytes | None) -> str | None:
    """Bytes as Ansible returns them; None for none."""
    import base64

    return None if data is None else base64.b64encode(data).decode("ascii")
