#!/usr/bin/python
# Copyright: vswitchpy developers
# MIT License (see https://opensource.org/licenses/MIT)
"""Writes or clears one property."""

from __future__ import absolute_import, division, print_function
from __future__ import annotations

__metaclass__ = type

DOCUMENTATION = r"""
module: property
short_description: Write or clear a property of a virtual switch or port
version_added: "1.0.0"
description:
  - Writes one entry of the property store, or clears it. Settings that documents know are better left to
    M(vswitchpy.vswitch.state).
options:
  switch:
    description:
      - The alias of the switch.
    type: str
    required: true
  key:
    description:
      - The name of the property, or of the constant that has it.
    type: str
    required: true
  port:
    description:
      - The identifier of the port. Without it the property is the switch's.
    type: str
  scope:
    description:
      - Whose property it is; of the switch on every host, of the switch on this host, or of the port.
      - C(port) if I(port) is given, else C(global).
    type: str
    choices: [global, host, port]
  value:
    description:
      - What is written, as text. One of I(value), I(hex) and I(base64) is required with I(state=present).
    type: str
  hex:
    description:
      - What is written, in hexadecimal.
    type: str
  base64:
    description:
      - What is written, in base64.
    type: str
  owner:
    description:
      - Who owns the property. One that somebody else owns is not written.
    type: str
  volatile:
    description:
      - The value that lasts until the next boot, in front of the one that is stored.
    type: bool
    default: false
  state:
    description:
      - Whether the property is to be there. C(absent) with I(volatile) clears the volatile value alone.
    type: str
    choices: [present, absent]
    default: present
attributes:
  diff_mode:
    description: Returns the property before and after, as YAML.
    support: full
extends_documentation_fragment:
  - vswitchpy.vswitch.host
"""

EXAMPLES = r"""
- name: Note in which rack the host stands
  vswitchpy.vswitch.property:
    switch: production
    scope: host
    key: org.example.rack
    value: B12

- name: Clear a property of a port
  vswitchpy.vswitch.property:
    switch: production
    port: web-1
    key: org.example.ticket
    state: absent
"""

RETURN = r"""
before:
  description: The value before, in base64; null if there was none.
  returned: success
  type: str
  sample: QjEy
after:
  description: The value afterwards, in base64; null if there is none.
  returned: success
  type: str
  sample: QjE0
error:
  description: What went wrong, as plain data.
  returned: failure
  type: dict
"""

import base64
import binascii
from typing import Any

from ansible_collections.vswitchpy.vswitch.plugins.module_utils.host import base64_text, made, run

ARGUMENTS = dict(
    switch=dict(type="str", required=True),
    # It is the name of something, not a secret.
    key=dict(type="str", required=True, no_log=False),
    port=dict(type="str"),
    scope=dict(type="str", choices=["global", "host", "port"]),
    value=dict(type="str"),
    hex=dict(type="str"),
    base64=dict(type="str"),
    owner=dict(type="str"),
    volatile=dict(type="bool", default=False),
    state=dict(type="str", choices=["present", "absent"], default="present"),
)
FORMS = ("value", "hex", "base64")
RULES = dict(
    mutually_exclusive=[FORMS],
    required_if=[("state", "present", FORMS, True), ("scope", "port", ("port",))],
)


def wanted(params: dict[str, Any]) -> bytes | None:
    """The bytes that are to be there; None for none."""
    if params["state"] == "absent":
        return None
    try:
        if params["hex"] is not None:
            return bytes.fromhex(params["hex"])
        if params["base64"] is not None:
            return base64.b64decode(params["base64"], validate=True)
    except (ValueError, binascii.Error) as error:
        raise ValueError("{0}: {1}".format("hex" if params["hex"] is not None else "base64", error))
    return str(params["value"]).encode("utf-8")


def work(module: Any, vswitch: Any) -> dict[str, Any]:
    """Looks, and writes if it is something else."""
    params = module.params
    scope = params["scope"] or ("port" if params["port"] is not None else "global")
    if params["port"] is not None and scope != "port":
        raise ValueError("scope: a port has properties of the scope port alone")
    switch = vswitch.Host().switches[params["switch"]]
    if scope == "port":
        properties = switch.ports[params["port"]].properties
    else:
        properties = switch.host_properties if scope == "host" else switch.properties
    key, owner, volatile, data = params["key"], params["owner"], params["volatile"], wanted(params)

    def now() -> bytes | None:
        found = properties.get(key, owner=owner, stored=not volatile)
        return None if found is None or (volatile and not found.volatile) else found.data

    before = now()
    changed = before != data
    if changed and not module.check_mode:
        if data is None:
            properties.remove(key, owner=owner, volatile_only=volatile)
        else:
            properties.set(key, data, owner=owner, volatile=volatile)
    after = data if module.check_mode else now()
    results = dict(changed=changed, before=base64_text(before), after=base64_text(after))
    if module._diff:
        results["diff"] = dict(before=shown(params, scope, before), after=shown(params, scope, after))
    return results


def shown(params: dict[str, Any], scope: str, data: bytes | None) -> str:
    """The property as YAML, where a document has it."""
    from vswitch.desired.export import data_form
    from vswitch.desired.yaml_text import to_yaml

    if data is None:
        return ""
    form = data_form(data)
    entry = {params["key"]: form.get("text", form)}
    if scope == "port":
        switch = {"ports": {params["port"]: {"properties": entry}}}
    else:
        switch = {"host_properties" if scope == "host" else "properties": entry}
    return to_yaml({"switches": {params["switch"]: switch}})


def main() -> None:
    """The module."""
    run(made(ARGUMENTS, **RULES), work)


if __name__ == "__main__":
    main()
