#!/usr/bin/python
# Copyright: vswitchpy developers
# MIT License (see https://opensource.org/licenses/MIT)
"""Keeps changes that wait to be confirmed."""

from __future__ import absolute_import, division, print_function
from __future__ import annotations

__metaclass__ = type

DOCUMENTATION = r"""
module: confirm
short_description: Keep changes of the virtual switches that wait to be confirmed
version_added: "1.0.0"
description:
  - Confirms what M(vswitchpy.vswitch.state) has changed with I(confirm_within).
  - As this is a task of its own, it comes over a connection that works after the change. Put
    C(meta; reset_connection) between the two where connections are kept open.
options:
  id:
    description:
      - The I(confirmation_id) of the earlier task.
    type: str
    required: true
attributes:
  diff_mode:
    description: There is no difference to return.
    support: none
extends_documentation_fragment:
  - vswitchpy.vswitch.host
seealso:
  - module: vswitchpy.vswitch.state
"""

EXAMPLES = r"""
- name: Keep the changes, now that the host is still reached
  vswitchpy.vswitch.confirm:
    id: "{{ applied.confirmation_id }}"
  when: applied.confirmation_id is defined
"""

RETURN = r"""
result:
  description: What was confirmed. In I(operations) stands what the apply had changed.
  returned: success, not in check mode
  type: dict
  sample: {"changed": false, "confirmation": null, "operations": [], "seconds": 0.002, "verified": true}
error:
  description: What went wrong, as plain data. It is too late once the changes are being taken back.
  returned: failure
  type: dict
"""

from typing import Any

from ansible_collections.vswitchpy.vswitch.plugins.module_utils.host import made, run

ARGUMENTS = dict(id=dict(type="str", required=True))
RULES: dict[str, Any] = dict()


def work(module: Any, vswitch: Any) -> dict[str, Any]:
    """Confirms; in check mode it is only looked whether there is something of that name."""
    host, name = vswitch.Host(), module.params["id"]
    if not module.check_mode:
        return dict(changed=True, result=host.confirm(name).to_dict())
    pending = host.pending
    if pending is None:
        raise vswitch.NotFound("nothing waits to be confirmed")
    if pending.id != name:
        raise vswitch.NotFound("no changes {0!r} wait to be confirmed; {1!r} do".format(name, pending.id))
    return dict(changed=True)


def main() -> None:
    """The module."""
    run(made(ARGUMENTS, **RULES), work)


if __name__ == "__main__":
    main()
