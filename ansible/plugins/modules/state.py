#!/usr/bin/python
# Copyright: vswitchpy developers
# MIT License (see https://opensource.org/licenses/MIT)
"""Brings a host to a desired-state document."""

from __future__ import absolute_import, division, print_function
from __future__ import annotations

__metaclass__ = type

DOCUMENTATION = r"""
module: state
short_description: Bring the virtual switches of a host to a desired state
version_added: "1.0.0"
description:
  - Compares a document with the host and makes the changes that are missing.
  - A change that fails is taken back with everything that was done before it.
  - Only what the document mentions is managed.
  - What an apply has left that was killed on the way is kept and completed, unless it waits to be confirmed.
options:
  document:
    description:
      - The desired state, with I(format) and I(switches) and what else a document has.
      - In a playbook it is YAML 1.1, where MAC addresses and texts such as C(on) need quotes.
      - One of I(document) and I(path) is required.
    type: dict
  path:
    description:
      - A file with the document on the managed host, YAML, or JSON where its name ends in C(.json).
    type: path
  exact:
    description:
      - Whether switches, ports and other objects that the document does not mention are removed, in every collection.
      - Without it each collection says so itself.
    type: bool
  confirm_within:
    description:
      - Take the changes back after so many seconds, 1 to 86400, unless M(vswitchpy.vswitch.confirm) comes in time.
    type: int
  verify:
    description:
      - Read what was changed, and take everything back if it is not as it should be.
    type: bool
    default: true
attributes:
  diff_mode:
    description: Returns the managed members before and after, as YAML.
    support: full
extends_documentation_fragment:
  - vswitchpy.vswitch.host
seealso:
  - module: vswitchpy.vswitch.confirm
"""

EXAMPLES = r"""
- name: Make sure that the switch of the web servers is there
  vswitchpy.vswitch.state:
    document:
      format: 1
      switches:
        production:
          mtu: 9000
          uplinks: [nic4, nic5]
          ports:
            web-1: {vlan: 10}

- name: Bring the host to a document, and come back to confirm it
  vswitchpy.vswitch.state:
    document: "{{ lookup('ansible.builtin.file', 'rack.yaml') | from_yaml }}"
    confirm_within: 60
  register: applied

- name: Keep the changes
  vswitchpy.vswitch.confirm:
    id: "{{ applied.confirmation_id }}"
  when: applied.confirmation_id is defined
"""

RETURN = r"""
plan:
  description: What the host lacked, as the plan's plain form.
  returned: when the document could be compared with the host
  type: dict
  sample: {"format": 1, "id": "4f53cda18c2baa0c", "operations": []}
diff_text:
  description: The same as text, a line for each member.
  returned: when the document could be compared with the host
  type: str
  sample: "switches/workload:\n  ~ mtu: 9000 -> 1500\n"
result:
  description: What the apply did.
  returned: success, not in check mode
  type: dict
  sample: {"changed": false, "confirmation": null, "operations": [], "seconds": 0.004, "verified": true}
confirmation_id:
  description: What M(vswitchpy.vswitch.confirm) is to be told.
  returned: with I(confirm_within), when something was changed
  type: str
  sample: 5f0c7d1e
error:
  description: What went wrong, as plain data.
  returned: failure
  type: dict
rolled_back:
  description: Whether everything is as it was before.
  returned: when an apply failed
  type: bool
done:
  description: The operations that were made before one failed.
  returned: when an apply failed
  type: list
  elements: dict
undone:
  description: Those that were taken back.
  returned: when an apply failed
  type: list
  elements: dict
not_undone:
  description: Those that could not be taken back.
  returned: when an apply failed
  type: list
  elements: dict
"""

import pathlib
from typing import Any

from ansible_collections.vswitchpy.vswitch.plugins.module_utils.host import left, made, run

ARGUMENTS = dict(
    document=dict(type="dict"),
    path=dict(type="path"),
    exact=dict(type="bool"),
    confirm_within=dict(type="int"),
    verify=dict(type="bool", default=True),
)
RULES = dict(mutually_exclusive=[("document", "path")], required_one_of=[("document", "path")])


# Another apply may be at work, whose changes the plan could not know: so often it is made anew.
ATTEMPTS = 3


def interrupted(host: Any) -> Any:
    """What an apply has left whose process is gone; None where there is nothing, or where it waits to be confirmed or
    taken back."""
    pending = host.pending
    return None if pending is None or pending.finished or pending.guarded else pending


def apply(module: Any, vswitch: Any, host: Any, plan: Any) -> Any:
    """The result of applying a plan; None if the host has become another since it was made."""
    left_over = interrupted(host)
    if left_over is not None:
        # The plan has what is missing.
        host.confirm(left_over.id)
        module.warn("an apply was interrupted on this host; what it had done was kept, and the rest is done now")
    try:
        return plan.apply(confirm_within=module.params["confirm_within"], verify=module.params["verify"])
    except vswitch.PlanChanged:
        return None
    except vswitch.Busy:
        if interrupted(host) is None:
            raise
        return None


def work(module: Any, vswitch: Any) -> dict[str, Any]:
    """Plans, and applies unless it is only asked for."""
    from vswitch.desired.managed import afterwards, managed
    from vswitch.desired.yaml_text import to_yaml

    host = vswitch.Host()
    desired, exact = module.params["document"], module.params["exact"]
    if desired is None:
        desired = pathlib.Path(module.params["path"])
    for attempt in range(ATTEMPTS):
        before = host.export() if module._diff else None
        plan = host.plan(desired, exact=exact)
        results = dict(changed=bool(plan), plan=plan.to_dict(), diff_text=plan.diff())
        if module.check_mode:
            break
        try:
            result = apply(module, vswitch, host, plan)
        except vswitch.Error as error:
            told = left(vswitch, error)
            results["changed"] = not told.get("rolled_back", True)
            module.fail_json(msg=str(error), error=error.to_dict(), **dict(results, **told))
        if result is not None:
            results.update(changed=result.changed, result=result.to_dict())
            if result.confirmation is not None:
                results["confirmation_id"] = result.confirmation.id
            break
    else:
        raise vswitch.PlanChanged("the host is changed by somebody else all the time")
    if module._diff:
        after = afterwards(before, plan) if module.check_mode else host.export()
        sides = (managed(desired, side, exact=exact) for side in (before, after))
        results["diff"] = dict(zip(("before", "after"), map(to_yaml, sides)))
    return results


def main() -> None:
    """The module."""
    run(made(ARGUMENTS, **RULES), work)


if __name__ == "__main__":
    main()
